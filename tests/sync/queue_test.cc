// Frames and the two queues on one thread (and a second one where a call must
// be seen to wait): reference counts, pool sizing, what the copy calls pass to
// their routines, partial reads, teardown.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <vector>

#include "inspect.h"
#include "rivulet/sync.h"

namespace {

// ---- A video routine that records its arguments ------------------------------------

struct VideoCall {
  int calls = 0;
  void const* frame = nullptr;
  void* planes[3] = {};
  int w = 0, h = 0;
  VideoFrameOrientation orientation = ORIENTATION_ROW_MAJOR;
};
VideoCall copied, emptied;

void record(VideoCall& c, void const* f, void* p0, void* p1, void* p2, int w, int h,
            VideoFrameOrientation o) {
  ++c.calls;
  c.frame = f;
  c.planes[0] = p0, c.planes[1] = p1, c.planes[2] = p2;
  c.w = w, c.h = h, c.orientation = o;
}
void recordCopy(void const* f, void* p0, void* p1, void* p2, int w, int h, VideoFrameOrientation o) {
  record(copied, f, p0, p1, p2, w, h, o);
}
void recordEmpty(void const* f, void* p0, void* p1, void* p2, int w, int h, VideoFrameOrientation o) {
  record(emptied, f, p0, p1, p2, w, h, o);
}

VideoQueue* rgbQueue(unsigned capacity, VideoInputFcn copy = recordCopy,
                     VideoInputFcn empty = recordEmpty, int w = 5, int h = 2) {
  return new VideoQueue(capacity, FOURCC_RGB, FOURCC_RGB, VIDEO_DOUBLE, w, h,
                        ORIENTATION_COLUMN_MAJOR, copy, empty);
}

// ---- Frames -------------------------------------------------------------------------

TEST(Frames, ReferenceCountsAndInit) {
  AudioQueue q(4, AUDIO_INT16, 1, nullptr, nullptr);
  AudioFrame* a = q.createAudioFrame();
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a->refCount, 1);
  EXPECT_EQ(a->data, nullptr);
  EXPECT_EQ(a->size, 0);
  EXPECT_EQ(a->readOffset, 0);
  std::uint8_t bytes[6] = {1, 2, 3, 4, 5, 6};
  a->init(bytes, 6);
  a->init(nullptr, 4);  // the first block is freed, not lost
  EXPECT_EQ(a->size, 4);
  a->init(bytes, -3);
  EXPECT_EQ(a->size, 0);
  a->init(bytes, 6);
  EXPECT_EQ(std::memcmp(a->data, bytes, 6), 0);
  a->refCount++;
  EXPECT_EQ(a->Release(), 1);
  EXPECT_EQ(a->data[5], 6);  // still alive
  EXPECT_EQ(a->Release(), 0);

  VideoQueue& v = *rgbQueue(2);
  VideoFrame* f = v.createVideoFrame();
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(f->refCount, 2);
  EXPECT_EQ(f->size, 240);
  unsigned char* buffer = f->data;
  f->init(nullptr, 240, 7, -8);
  EXPECT_EQ(f->data, buffer);
  EXPECT_EQ(f->userValue1, 7);
  EXPECT_EQ(f->userValue2, -8);
  f->init(bytes, 6, 0, 0);  // smaller: same buffer, bytes copied
  EXPECT_EQ(f->data, buffer);
  EXPECT_EQ(f->size, 6);
  EXPECT_EQ(std::memcmp(f->data, bytes, 6), 0);
  std::vector<std::uint8_t> big(1000, 0x5A);
  f->init(big.data(), 1000, 0, 0);  // larger than the pool size: a new block
  EXPECT_EQ(f->size, 1000);
  EXPECT_EQ(f->data[999], 0x5A);
  f->init(nullptr, 240, 0, 0);
  // Every pool frame held, list empty: null with no wait.
  VideoFrame* g = v.createVideoFrame();
  double ms = elapsedMs([&] { EXPECT_EQ(v.createVideoFrame(), nullptr); });
  EXPECT_LT(ms, 500.0);
  EXPECT_EQ(f->Release(), 1);  // back in the pool
  EXPECT_EQ(v.createVideoFrame(), f);  // and found again
  EXPECT_EQ(f->Release(), 1);
  EXPECT_EQ(g->Release(), 1);
  delete &v;  // the pool's reference frees them
}

// ---- Video queue ----------------------------------------------------------------------

TEST(VideoQueue, PoolFrameSize) {
  struct Case {
    FourCCType frame, planes;
    VideoDataType type;
    int w, h, minimum;
    int packed, size;
  };
  const Case cases[] = {
      // rows of 3 * 5 = 15 bytes padded to 16; three planes of doubles dominate
      {FOURCC_RGB, FOURCC_RGB, VIDEO_DOUBLE, 5, 2, 0, 32, 240},
      {FOURCC_RGB, FOURCC_GREY, VIDEO_UINT8, 5, 2, 0, 32, 32},
      {FOURCC_RGB, FOURCC_YUY2, VIDEO_INT16, 4, 3, 0, 36, 72},
      {FOURCC_YUY2, FOURCC_GREY, VIDEO_UINT8, 6, 2, 0, 24, 24},
      {FOURCC_YUY2, FOURCC_RGB, VIDEO_SINGLE, 6, 2, 0, 24, 144},
      {FOURCC_GREY, FOURCC_GREY, VIDEO_BOOLEAN, 7, 3, 0, 21, 21},
      {FOURCC_RGB, FOURCC_RGB, VIDEO_UINT8, 1, 1, 0, 4, 4},
      {FOURCC_RGB, FOURCC_RGB, VIDEO_UINT8, 5, 2, 1000, 32, 1000},
      {FOURCC_RGB, FOURCC_RGB, VIDEO_UINT8, 5, 2, -1000, 32, 32},
      {FOURCC_RGB, FOURCC_RGB, VIDEO_DOUBLE, 0, 9, 0, 0, 0},
      {FOURCC_RGB, FOURCC_RGB, VIDEO_DOUBLE, -4, 9, 0, 0, 0},
      {FOURCC_RGB, FOURCC_RGB, VIDEO_UINT32, 2, -1, 5, 0, 5},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.frame << " " << c.planes << " " << c.type << " " << c.w
                                    << "x" << c.h << " min " << c.minimum);
    VideoQueue q(3, c.frame, c.planes, c.type, c.w, c.h, ORIENTATION_ROW_MAJOR, nullptr, nullptr);
    EXPECT_EQ(q.getPackedFrameSize(), c.packed);
    EXPECT_EQ(q.getFrameSize(), 0);
    q.createFrames(c.minimum);
    EXPECT_EQ(q.getFrameSize(), c.size);
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(q.framePool[i]->size, c.size);
      EXPECT_EQ(q.framePool[i]->refCount, 1);
    }
    VideoFrame* first = q.framePool[0];
    q.createFrames(c.minimum + 64);  // a second call keeps the pool
    EXPECT_EQ(q.framePool[0], first);
    EXPECT_EQ(q.getFrameSize(), c.size);
  }
  VideoQueue huge(1, FOURCC_RGB, FOURCC_RGB, VIDEO_DOUBLE, 1 << 14, 1 << 14,
                  ORIENTATION_ROW_MAJOR, nullptr, nullptr);
  EXPECT_EQ(huge.getPackedFrameSize(), 3 << 28);
  EXPECT_THROW(huge.createFrames(0), std::length_error);
  EXPECT_EQ(huge.getFrameSize(), 0);
  EXPECT_THROW(huge.createVideoFrame(), std::length_error);
}

TEST(VideoQueue, CopyPassesTheHeadFrameOrRunsEmpty) {
  copied = emptied = VideoCall();
  VideoQueue& q = *rgbQueue(2);
  int planes[3];
  q.copyVideoFrame(&planes[0], &planes[1], &planes[2]);
  EXPECT_EQ(emptied.calls, 1);
  EXPECT_EQ(emptied.frame, nullptr);
  EXPECT_EQ(emptied.planes[2], &planes[2]);
  EXPECT_EQ(emptied.w, 5);
  EXPECT_EQ(emptied.h, 2);
  EXPECT_EQ(emptied.orientation, ORIENTATION_COLUMN_MAJOR);
  EXPECT_EQ(copied.calls, 0);

  VideoFrame* a = q.createVideoFrame();
  VideoFrame* b = q.createVideoFrame();
  ASSERT_TRUE(a && b && a != b);
  EXPECT_TRUE(q.appendVideoFrame(a));
  EXPECT_TRUE(q.appendVideoFrame(b));
  EXPECT_FALSE(q.appendVideoFrame(nullptr));
  for (int i = 0; i < 2; ++i) {  // the frame stays at the head
    q.copyVideoFrame(&planes[0], &planes[1], &planes[2]);
    EXPECT_EQ(copied.calls, i + 1);
    EXPECT_EQ(copied.frame, a->data);
    EXPECT_EQ(copied.planes[0], &planes[0]);
    EXPECT_EQ(copied.orientation, ORIENTATION_COLUMN_MAJOR);
  }
  EXPECT_TRUE(q.dropVideoFrame());
  EXPECT_EQ(a->refCount, 1);
  q.copyVideoFrame(&planes[0], &planes[1], &planes[2]);
  EXPECT_EQ(copied.frame, b->data);
  VideoFrame* taken = q.popVideoFrame();
  EXPECT_EQ(taken, b);
  EXPECT_EQ(b->refCount, 2);  // the list's reference is now ours
  EXPECT_EQ(b->Release(), 1);
  EXPECT_FALSE(q.dropVideoFrame());
  EXPECT_EQ(q.popVideoFrame(), nullptr);
  EXPECT_EQ(emptied.calls, 1);
  delete &q;

  // Null routines are skipped rather than called.
  VideoQueue& bare = *rgbQueue(1, nullptr, nullptr);
  bare.copyVideoFrame(planes, planes, planes);
  VideoFrame* f = bare.createVideoFrame();
  ASSERT_TRUE(bare.appendVideoFrame(f));
  bare.copyVideoFrame(planes, planes, planes);
  delete &bare;
}

// ---- Audio queue ----------------------------------------------------------------------

// An INT16 queue of `channels` channels whose consumer copies into INT16.
AudioQueue* int16Queue(unsigned capacity, int channels) {
  return new AudioQueue(capacity, AUDIO_INT16, channels,
                        MM_GetAudioConvertCopyFcn(AUDIO_INT16, AUDIO_INT16),
                        MM_GetAudioEmptyFcn(AUDIO_INT16));
}

AudioFrame* appendRamp(AudioQueue& q, int periods, int channels, short first) {
  std::vector<short> samples(static_cast<size_t>(periods) * channels);
  for (size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<short>(first + i);
  AudioFrame* f = q.createAudioFrame();
  if (f == nullptr) return nullptr;
  f->init(samples.data(), static_cast<int>(samples.size() * sizeof(short)));
  EXPECT_TRUE(q.appendAudioFrame(f));
  return f;
}

TEST(AudioQueue, PartialReadsTakeFromOneFrameAtATime) {
  const int ch = 2;
  AudioQueue& q = *int16Queue(4, ch);
  ASSERT_TRUE(appendRamp(q, 100, ch, 1000));
  ASSERT_TRUE(appendRamp(q, 20, ch, 5000));
  std::vector<short> out(2 * 100 * ch, -1);
  // Wanted 60, then 60 again: 60 and the remaining 40, which removes the frame.
  EXPECT_EQ(q.copyAudioFrame(out.data(), 60, 0), 60);
  EXPECT_EQ(q.spaceAvailable.count, 0);
  EXPECT_EQ(q.copyAudioFrame(out.data() + 60 * ch, 60, 0), 40);
  EXPECT_EQ(q.spaceAvailable.count, 1);
  EXPECT_EQ(q.getFrameCount(), 1u);
  for (int i = 0; i < 100 * ch; ++i) ASSERT_EQ(out[i], 1000 + i) << i;
  EXPECT_EQ(out[100 * ch], -1);
  // Wanted equal to what is left removes the frame in the same call.
  EXPECT_EQ(q.copyAudioFrame(out.data(), 5, 0), 5);
  EXPECT_EQ(q.copyAudioFrame(out.data(), 15, 0), 15);
  EXPECT_EQ(q.getFrameCount(), 0u);
  EXPECT_EQ(q.spaceAvailable.count, 2);
  EXPECT_EQ(out[0], 5010);
  // An empty list is served in full by the empty routine; given the count as
  // its channel stride, it clears the interleaved block.
  EXPECT_EQ(q.copyAudioFrame(out.data(), 33, 33), 33);
  for (int i = 0; i < 33 * ch; ++i) ASSERT_EQ(out[i], 0);
  EXPECT_EQ(out[33 * ch], 1000 + 33 * ch);  // untouched beyond
  // A negative request is no request.
  ASSERT_TRUE(appendRamp(q, 3, ch, 7));
  EXPECT_EQ(q.copyAudioFrame(out.data(), -5, 0), 0);
  EXPECT_EQ(q.copyAudioFrame(out.data(), 0, 0), 0);
  EXPECT_EQ(q.getFrameCount(), 1u);
  EXPECT_EQ(q.copyAudioFrame(out.data(), 9, 0), 3);
  delete &q;
}

TEST(AudioQueue, FramesCountWholePeriodsOfTheirSampleType) {
  // Three channels of three-byte samples: nine bytes a period; stray bytes at
  // the end of a block do not make a period.
  struct Case {
    AudioDataType type;
    int channels, bytes, periods;
  };
  const Case cases[] = {{AUDIO_INT24, 3, 94, 10}, {AUDIO_DOUBLE, 1, 80, 10},
                        {AUDIO_UINT8, 5, 50, 10}, {AUDIO_INT32, 2, 7, 0},
                        {AUDIO_SINGLE, 0, 40, 10}, {AUDIO_INT16, -3, 20, 10}};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.type << " x" << c.channels << " " << c.bytes);
    int seen = -1;
    static int* sink;
    sink = &seen;
    AudioCopyFcn count = [](void const*, void*, int samples, int, int) { *sink = samples; };
    AudioQueue q(2, c.type, c.channels, count, count);
    AudioFrame* f = q.createAudioFrame();
    f->init(nullptr, c.bytes);
    ASSERT_TRUE(q.appendAudioFrame(f));
    EXPECT_EQ(q.copyAudioFrame(nullptr, 1000, 0), c.periods);
    EXPECT_EQ(seen, c.periods);
    EXPECT_EQ(q.getFrameCount(), 0u);  // used up, stray bytes and all
  }
}

TEST(AudioQueue, RoomIsLookedAtNotReserved) {
  AudioQueue& q = *int16Queue(2, 1);
  ASSERT_TRUE(appendRamp(q, 4, 1, 0));
  AudioFrame* f = q.createAudioFrame();
  AudioFrame* g = q.createAudioFrame();
  ASSERT_TRUE(f && g);
  EXPECT_TRUE(q.appendAudioFrame(f));
  EXPECT_FALSE(q.appendAudioFrame(g));  // full: the reference stays ours
  EXPECT_EQ(g->Release(), 0);
  delete &q;
}

// ---- Both queues ------------------------------------------------------------------------
//
// What the two queues share, run on each: a kind names the queue and how a test
// makes, fills and consumes one of its frames.
struct VideoKind {
  using Queue = VideoQueue;
  static constexpr int kUnheld = 1;  // refCount of a frame no one but the pool holds
  static Queue* make(unsigned capacity) { return rgbQueue(capacity); }
  static MMFrame* create(Queue& q) { return q.createVideoFrame(); }
  static bool append(Queue& q, MMFrame* f) { return q.appendVideoFrame(static_cast<VideoFrame*>(f)); }
  static void consume(Queue& q) { ASSERT_TRUE(q.dropVideoFrame()); }
};

struct AudioKind {
  using Queue = AudioQueue;
  static constexpr int kUnheld = 0;  // freed
  static Queue* make(unsigned capacity) { return int16Queue(capacity, 1); }
  static MMFrame* create(Queue& q) {
    AudioFrame* f = q.createAudioFrame();
    if (f != nullptr) f->init(nullptr, 2);  // one period
    return f;
  }
  static bool append(Queue& q, MMFrame* f) { return q.appendAudioFrame(static_cast<AudioFrame*>(f)); }
  static void consume(Queue& q) {
    short sample;
    ASSERT_EQ(q.copyAudioFrame(&sample, 1, 1), 1);
  }
};

template <typename Kind>
class BothQueues : public testing::Test {};
using Kinds = testing::Types<VideoKind, AudioKind>;
TYPED_TEST_SUITE(BothQueues, Kinds);

TYPED_TEST(BothQueues, FullListWaitsOnlyWhileNotStopping) {
  using K = TypeParam;
  // Five places: a producer on a full list sleeps until two have gone, or for
  // a step of 10 ms, so the single drop below is seen on the step's end.
  const unsigned capacity = 5;
  typename K::Queue& q = *K::make(capacity);
  // 150 frames through first: their posts of spaceAvailable, made while no
  // one waited, must not cut the later wait short.
  for (int i = 0; i < 150; ++i) {
    ASSERT_TRUE(K::append(q, K::create(q)));
    K::consume(q);
  }
  EXPECT_EQ(q.spaceAvailable.count, 150);
  for (unsigned i = 0; i < capacity; ++i) ASSERT_TRUE(K::append(q, K::create(q)));
  EXPECT_FALSE(K::append(q, nullptr));
  // Full: create waits about a second, then gives up.
  double ms = elapsedMs([&] { EXPECT_EQ(K::create(q), nullptr); });
  EXPECT_GE(ms, 900.0);
  EXPECT_LT(ms, 10000.0);
  q.setStopping(true);
  EXPECT_TRUE(q.isStopping());
  ms = elapsedMs([&] { EXPECT_EQ(K::create(q), nullptr); });
  EXPECT_LT(ms, 500.0);
  K::consume(q);
  MMFrame* f = K::create(q);  // stopping only ends waits: with room, a frame
  ASSERT_NE(f, nullptr);
  ASSERT_TRUE(K::append(q, f));
  q.setStopping(false);
  // A consumer that takes one frame while the producer waits lets it through.
  std::thread consumer([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    K::consume(q);
  });
  ms = elapsedMs([&] { f = K::create(q); });
  consumer.join();
  ASSERT_NE(f, nullptr);
  EXPECT_LT(ms, 500.0);
  EXPECT_TRUE(K::append(q, f));
  EXPECT_EQ(q.getFrameCount(), capacity);
  delete &q;
}

TYPED_TEST(BothQueues, TeardownLeavesHeldFramesToTheirHolders) {
  using K = TypeParam;
  typename K::Queue& q = *K::make(3);
  MMFrame* producerHeld = K::create(q);
  MMFrame* first = K::create(q);
  ASSERT_TRUE(K::append(q, first) && K::append(q, K::create(q)));
  K::consume(q);
  EXPECT_EQ(q.framesAvailable.count, 1);  // the first append found the list empty
  EXPECT_EQ(q.spaceAvailable.count, 1);
  MMFrame* consumerHeld = nullptr;
  if constexpr (std::is_same_v<K, VideoKind>) {  // only video hands a frame out
    consumerHeld = q.popVideoFrame();
    ASSERT_NE(consumerHeld, nullptr);
    EXPECT_EQ(q.spaceAvailable.count, 2);
  }
  delete &q;  // a listed frame is freed with it (the leak checker watches)
  // Held frames outlive the queue with one reference each.
  for (MMFrame* held : {producerHeld, consumerHeld}) {
    if (held == nullptr) continue;
    EXPECT_EQ(held->refCount, 1);
    std::memset(held->data, 1, held->size);
    EXPECT_EQ(held->Release(), 0);
  }
}

}  // namespace
