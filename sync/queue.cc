// The bounded frame list shared by both queues, and the video and audio queues.
#include <algorithm>
#include <climits>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>

#include "rivulet/sync.h"
#include "sync/wait.h"

namespace {

// How long a waiting create call sleeps between looks at the list; also the
// longest a set `stopping` goes unseen.
constexpr int kWaitStepMs = 10;
// The create calls' budget: at most 100 steps, about a second.
constexpr int kCreateWaitMs = 1000;

// Bytes of one element, indexed by VideoDataType and by AudioDataType (the two
// enums share their numbers; 9 is the three-byte AUDIO_INT24).
constexpr int kElementBytes[10] = {8, 4, 1, 1, 2, 2, 4, 4, 1, 3};

int videoElementBytes(VideoDataType type) {
  // A value outside the enum sizes for the widest element.
  return type >= VIDEO_DOUBLE && type <= VIDEO_BOOLEAN ? kElementBytes[type] : 8;
}

int audioSampleBytes(AudioDataType type) {
  return type >= 0 && type <= 9 ? kElementBytes[type] : 1;
}

}  // namespace

// ---- MMFrameQueue ------------------------------------------------------------------

MMFrameQueue::MMFrameQueue(unsigned places)
    : capacity(places > 0 ? places : 1),
      frames(new MMFrame*[capacity]()),
      head(0),
      frameCount(0),
      stopping(false) {}

MMFrameQueue::~MMFrameQueue() { delete[] frames; }

void MMFrameQueue::setStopping(bool value) { stopping.store(value); }

bool MMFrameQueue::isStopping() const { return stopping.load(); }

unsigned MMFrameQueue::getCapacity() const { return capacity; }

unsigned MMFrameQueue::getFrameCount() const { return frameCount.load(); }

// Called by the consumer only. The consumer alone removes frames and moves
// `head`, and the producer stores a frame before it raises the count, so once
// the count is seen above 0 the head place holds a frame that stays there until
// this thread pops it: no lock is needed to look at it.
MMFrame* MMFrameQueue::peekFrame() {
  return frameCount.load(std::memory_order_acquire) > 0 ? frames[head] : nullptr;
}

MMFrame* MMFrameQueue::popFrame() {
  MMFrame* frame;
  {
    std::lock_guard<Mutex> hold(queueLock);
    unsigned n = frameCount.load(std::memory_order_relaxed);
    if (n == 0) return nullptr;
    frame = frames[head];
    frames[head] = nullptr;
    head = head + 1 == capacity ? 0 : head + 1;
    frameCount.store(n - 1, std::memory_order_release);
  }
  spaceAvailable.post();  // after the lock, so that the producer it wakes finds it free
  return frame;
}

bool MMFrameQueue::appendFrame(MMFrame* frame) {
  if (frame == nullptr) return false;
  unsigned n;
  {
    std::lock_guard<Mutex> hold(queueLock);
    n = frameCount.load(std::memory_order_relaxed);
    if (n >= capacity) return false;
    std::uint64_t tail = (static_cast<std::uint64_t>(head) + n) % capacity;
    frames[tail] = frame;
    frameCount.store(n + 1, std::memory_order_release);
  }
  if (n == 0) framesAvailable.post();  // only an empty list has a consumer waiting
  return true;
}

namespace {

// Sleeps on `s` in steps of up to 10 ms while `waiting()` holds, for a budget
// of `milliseconds`, unless `stopping` is set. Every pop posts spaceAvailable
// and every append to an empty list framesAvailable, whether or not anyone
// waits, so posts made before a wait are taken first: they would end it at
// once, and the budget, which counts 10 ms for each step, would run out in
// a flash. A step ends early once `posts` posts have come.
template <typename Waiting>
void sleepWhile(Semaphore& s, std::atomic<bool> const& stopping, int milliseconds,
                std::uint32_t posts, Waiting waiting) {
  while (waiting()) {
    if (stopping.load() || milliseconds < 1) break;
    while (s.try_wait()) {
    }
    if (!waiting()) break;  // a post taken just now may have been for us
    timedWaitForPosts(s, static_cast<std::uint32_t>(std::min(milliseconds, kWaitStepMs)), posts);
    milliseconds -= kWaitStepMs;
  }
}

}  // namespace

// The count is read without the lock: it only decides whether to sleep, and
// the semaphores are only ways to sleep until the other side acts.
//
// A producer that finds the list full sleeps until half of it has gone (or the
// step of 10 ms ends), not just the first frame: it then refills the list in
// one run, and each side sleeps and wakes once for every half list instead of
// the two taking turns frame by frame, a wake each, while the list stays full.
// The consumer still has half a list in hand when the producer wakes.
bool MMFrameQueue::waitForSpace(int milliseconds) {
  sleepWhile(spaceAvailable, stopping, milliseconds, std::max(capacity / 2, 1u),
             [this] { return frameCount.load() == capacity; });
  return frameCount.load() < capacity;
}

bool MMFrameQueue::waitForFrame(int milliseconds) {
  sleepWhile(framesAvailable, stopping, milliseconds, 1,
             [this] { return frameCount.load() == 0; });
  return frameCount.load() > 0;
}

void MMFrameQueue::clear() {
  std::lock_guard<Mutex> hold(queueLock);
  while (MMFrame* frame = popFrame()) frame->Release();
  framesAvailable.reset(0);
  spaceAvailable.reset(0);
}

// ---- MMVideoQueue ------------------------------------------------------------------

MMVideoQueue::MMVideoQueue(unsigned places, FourCCType frameFormat, FourCCType planeModel,
                           VideoDataType type, int w, int h, VideoFrameOrientation order,
                           VideoInputFcn copy, VideoInputFcn empty)
    : MMFrameQueue(places),
      framePool(nullptr),
      frameFourCC(frameFormat),
      planeFourCC(planeModel),
      dataType(type),
      width(std::max(w, 0)),
      height(std::max(h, 0)),
      orientation(order != ORIENTATION_ROW_MAJOR ? 1 : 0),
      copyFcn(copy),
      emptyFcn(empty),
      frameSize(0) {}

MMVideoQueue::~MMVideoQueue() {
  clear();
  if (framePool != nullptr) {
    for (unsigned i = 0; i < capacity; ++i) framePool[i]->Release();
    delete[] framePool;
    framePool = nullptr;
  }
  clear();
}

namespace {

// Bytes of a packed frame: BGR rows padded to four bytes, two bytes a pixel
// for YUY2, one otherwise. Width and height are not negative.
std::int64_t packedBytes(FourCCType format, std::int64_t w, std::int64_t h) {
  if (format == FOURCC_RGB) return (3 * w + 3) / 4 * 4 * h;
  if (format == FOURCC_YUY2) return 2 * w * h;
  return w * h;
}

}  // namespace

int MMVideoQueue::getPackedFrameSize() const {
  return static_cast<int>(std::min<std::int64_t>(packedBytes(frameFourCC, width, height), INT_MAX));
}

int MMVideoQueue::getFrameSize() const { return frameSize; }

void MMVideoQueue::createFrames(int minimum) {
  if (framePool != nullptr) return;
  // The buffer holds either the packed frame or every plane in the element
  // type, so the producer may fill it in either form.
  int planes = planeFourCC == FOURCC_GREY ? 1 : 3;
  std::int64_t planeBytes =
      static_cast<std::int64_t>(videoElementBytes(dataType)) * planes * height * width;
  std::int64_t bytes = std::max({packedBytes(frameFourCC, width, height), planeBytes,
                                 static_cast<std::int64_t>(minimum)});
  if (bytes > INT_MAX) throw std::length_error("rivulet: video frame above 2^31 - 1 bytes");

  // Built aside, so that an allocation failure part way leaks nothing.
  VideoFrame** pool = new VideoFrame*[capacity]();
  try {
    for (unsigned i = 0; i < capacity; ++i) {
      pool[i] = new VideoFrame();
      pool[i]->init(nullptr, static_cast<int>(bytes), 0, 0);
    }
  } catch (...) {
    for (unsigned i = 0; i < capacity && pool[i] != nullptr; ++i) pool[i]->Release();
    delete[] pool;
    throw;
  }
  framePool = pool;
  frameSize = static_cast<int>(bytes);
}

VideoFrame* MMVideoQueue::createVideoFrame() {
  if (!waitForSpace(kCreateWaitMs)) return nullptr;
  if (framePool == nullptr) createFrames(0);
  // A free frame has the pool as its only holder. Only the producer raises a
  // count, so a 1 seen here stays 1 until the exchange.
  auto takeFree = [this]() -> VideoFrame* {
    for (unsigned i = 0; i < capacity; ++i) {
      std::int32_t free = 1;
      if (framePool[i]->refCount.compare_exchange_strong(free, 2, std::memory_order_acq_rel))
        return framePool[i];
    }
    return nullptr;
  };
  if (VideoFrame* frame = takeFree()) return frame;
  // The room seen above may come from a dropVideoFrame that has unlinked its
  // frame but not yet released it; it does both under queueLock, so one more
  // look under the lock finds that frame free.
  std::lock_guard<Mutex> hold(queueLock);
  return takeFree();
}

bool MMVideoQueue::appendVideoFrame(VideoFrame* frame) { return appendFrame(frame); }

void MMVideoQueue::copyVideoFrame(void* plane1, void* plane2, void* plane3) {
  VideoFrameOrientation order = orientation ? ORIENTATION_COLUMN_MAJOR : ORIENTATION_ROW_MAJOR;
  // No lock during the conversion: only this consumer removes the head frame.
  if (MMFrame* frame = peekFrame()) {
    if (copyFcn != nullptr) copyFcn(frame->data, plane1, plane2, plane3, width, height, order);
  } else if (emptyFcn != nullptr) {
    emptyFcn(nullptr, plane1, plane2, plane3, width, height, order);
  }
}

bool MMVideoQueue::dropVideoFrame() {
  std::lock_guard<Mutex> hold(queueLock);
  MMFrame* frame = popFrame();
  if (frame == nullptr) return false;
  frame->Release();
  return true;
}

VideoFrame* MMVideoQueue::popVideoFrame() { return static_cast<VideoFrame*>(popFrame()); }

// ---- MMAudioQueue ------------------------------------------------------------------

MMAudioQueue::MMAudioQueue(unsigned places, AudioDataType type, int channelCount,
                           AudioCopyFcn copy, AudioCopyFcn empty)
    : MMFrameQueue(places),
      sampleType(type),
      channels(std::max(channelCount, 1)),
      copyFcn(copy),
      emptyFcn(empty),
      periodBytes(static_cast<std::int64_t>(audioSampleBytes(type)) * channels) {}

MMAudioQueue::~MMAudioQueue() { clear(); }

AudioFrame* MMAudioQueue::createAudioFrame() {
  if (!waitForSpace(kCreateWaitMs)) return nullptr;
  return new (std::nothrow) AudioFrame();
}

bool MMAudioQueue::appendAudioFrame(AudioFrame* frame) { return appendFrame(frame); }

// The frame is freed outside the lock: an audio frame, once unlinked, is the
// consumer's alone.
void MMAudioQueue::dropFrame() {
  if (MMFrame* frame = popFrame()) frame->Release();
}

int MMAudioQueue::getFrontFrameBytes(AudioFrame* frame) const {
  return frame->size - frame->readOffset;
}

int MMAudioQueue::getFrontFrameSamples(AudioFrame* frame) const {
  return static_cast<int>(getFrontFrameBytes(frame) / periodBytes);
}

int MMAudioQueue::copyAudioFrame(void* destination, int wanted, int parameter) {
  if (wanted < 0) wanted = 0;
  AudioFrame* frame = static_cast<AudioFrame*>(peekFrame());
  if (frame == nullptr) {
    if (emptyFcn != nullptr) emptyFcn(nullptr, destination, wanted, channels, parameter);
    return wanted;
  }
  int left = getFrontFrameSamples(frame);
  int n = left <= wanted ? left : wanted;
  if (copyFcn != nullptr)
    copyFcn(frame->data + frame->readOffset, destination, n, channels, parameter);
  if (n == left)
    dropFrame();  // used up
  else
    frame->readOffset += static_cast<std::int32_t>(n * periodBytes);
  return n;
}
