// rivulet: locks, reference-counted frames and the producer/consumer media queues.
//
// A queue carries frames from one producer thread to one consumer thread of the
// host and holds at most `capacity` of them. The consumer never waits for a
// frame: its copy call converts the frame at the head of the list into the
// consumer's layout with `copyFcn`, or, when the list is empty, fills the
// consumer's buffers through `emptyFcn`, so that it always gets something.
//
// A short example (the same program is built and run as examples/sync_demo.cc):
//
//   MMAudioQueue queue(8, AUDIO_INT16, 2,
//                      MM_GetAudioConvertCopyFcn(AUDIO_INT16, AUDIO_DOUBLE),
//                      MM_GetAudioEmptyFcn(AUDIO_DOUBLE));
//   // producer thread
//   while (more) {
//     AudioFrame* f = queue.createAudioFrame();    // waits up to ~1 s for room
//     if (!f) continue;                            // still full: try again
//     f->init(block, 256 * 2 * sizeof(short));     // 256 stereo periods
//     if (!queue.appendAudioFrame(f)) f->Release(); // the list takes our reference
//   }
//   queue.setStopping(true);
//   // consumer thread
//   double out[2 * 256];
//   for (int done = 0; done < 256;) {               // one call reads from one frame
//     int wanted = 256 - done;                      // (see copyAudioFrame for the
//     done += queue.copyAudioFrame(out + 2 * done, wanted, wanted);  // last argument)
//   }
//
// Video works the same way, except that its frames come from a pool made once,
// and that copyVideoFrame leaves the frame at the head (the consumer may convert
// the same picture again) until the consumer calls dropVideoFrame.
#ifndef RIVULET_SYNC_H
#define RIVULET_SYNC_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "rivulet/types.h"
#include "rivulet/video.h"
#include "rivulet/audio.h"

// ---- Mutex and Semaphore ----------------------------------------------------------
//
// Copies share the underlying lock or semaphore; it lives until the last copy
// is gone, and destroying one copy never disturbs another.

// A recursive lock: the thread that holds it may lock it again, and must unlock
// it as often.
class RIVULET_API Mutex {
 public:
  Mutex();
  void lock();
  bool try_lock();  // true when the lock was obtained; never waits
  void unlock();

  std::shared_ptr<std::recursive_mutex> mutexHandle;
};

// A counting semaphore whose count runs from 0 to MAX_COUNT; a post at
// MAX_COUNT is lost. `count` mirrors the semaphore's count (initial count plus
// posts less successful waits). It is changed under `countLock` just after each
// operation, so it may lag the semaphore for a moment and, with a post racing a
// wait, even pass below zero. The library reads it for no decision; read it only
// while no other thread uses the object. A copy starts with the original's
// `count` and then goes its own way.
class RIVULET_API Semaphore {
 public:
  static const std::int32_t MAX_COUNT = 2147483647;

  explicit Semaphore(int initialCount = 0);  // a negative count starts at 0
  void post();
  void wait();
  bool try_wait();
  // Waits up to the low 32 bits of `milliseconds`; 0xFFFFFFFF waits forever.
  // True when the semaphore was obtained.
  bool timed_wait(std::uint64_t milliseconds);
  // Takes every count there is, then posts n times (a negative n as 0). Not
  // atomic: posts and waits of other threads meanwhile may land either side.
  void reset(int n);

  struct Object;  // the semaphore itself, private to the library
  std::shared_ptr<Object> semaphoreHandle;
  Mutex countLock;
  std::int32_t count;
};

// ---- Frames -----------------------------------------------------------------------
//
// A frame is a block of samples with a count of holders. Frames are made only
// by the queues and ended only by Release. refCount is atomic, so a holder's
// Release may race the producer's look through the video pool; still, each
// reference belongs to one thread at a time, and a Release after the last one
// is a use after free.
class RIVULET_API MMFrame {
 public:
  // Takes one reference away. At 0 the data and the frame are freed; returns
  // the count left.
  int Release();

  std::atomic<std::int32_t> refCount;  // holders; 1 for a new frame
  unsigned char* data;                 // null until init
  std::int32_t size;                   // bytes in data

 protected:
  typedef void (*Destroy)(MMFrame*);
  explicit MMFrame(Destroy destroy);
  ~MMFrame();
  MMFrame(MMFrame const&) = delete;
  MMFrame& operator=(MMFrame const&) = delete;

 private:
  Destroy destroy;  // deletes the frame as its own class
};

class RIVULET_API AudioFrame : public MMFrame {
 public:
  // Allocates `size` bytes (a negative size as 0) and copies them from `source`
  // unless it is null; any earlier data is freed. readOffset is not touched.
  void init(void* source, int size);

  std::int32_t readOffset;  // bytes of data a reader has consumed

 private:
  friend class MMAudioQueue;
  AudioFrame();
  ~AudioFrame();
  static void destroyFrame(MMFrame* frame);
};

class RIVULET_API VideoFrame : public MMFrame {
 public:
  // Stores size (a negative size as 0) and the two host values. The existing
  // data is reused when it holds `size` bytes, as pool frames always do within
  // the size they were made with; otherwise it is replaced by a new block. The
  // bytes are copied from `source` unless it is null.
  void init(void* source, int size, long long value1, long long value2);

  std::int64_t userValue1;  // for the host; the library never reads them
  std::int64_t userValue2;

 private:
  friend class MMVideoQueue;
  VideoFrame();
  ~VideoFrame();
  static void destroyFrame(MMFrame* frame);
  std::int32_t allocated;  // bytes behind data
};

// ---- Queues -----------------------------------------------------------------------
//
// The part both queues share: the bounded list and its two semaphores. One
// producer and one consumer thread; setStopping and the getters may be called
// from any thread. The list holds one reference to each of its frames.
class RIVULET_API MMFrameQueue {
 public:
  // Once set, the create calls return null at once when the list is full
  // instead of waiting for room (within ~10 ms for a call already waiting).
  void setStopping(bool value);
  bool isStopping() const;
  unsigned getCapacity() const;
  unsigned getFrameCount() const;  // frames in the list
  // For a consumer that has nothing else to do: waits until the list holds a
  // frame, `stopping` is set or about `milliseconds` have passed, in steps of
  // at most 10 ms. True when a frame is there.
  bool waitForFrame(int milliseconds);

 protected:
  explicit MMFrameQueue(unsigned capacity);
  ~MMFrameQueue();
  MMFrameQueue(MMFrameQueue const&) = delete;
  MMFrameQueue& operator=(MMFrameQueue const&) = delete;

  MMFrame* peekFrame();
  MMFrame* popFrame();  // the caller takes over the list's reference
  bool appendFrame(MMFrame* frame);
  bool waitForSpace(int milliseconds);
  void clear();

  unsigned capacity;
  Mutex queueLock;                  // guards the list
  MMFrame** frames;                 // ring of capacity places
  unsigned head;                    // place of the first frame
  std::atomic<unsigned> frameCount;  // changed under queueLock, read anywhere
  std::atomic<bool> stopping;
  Semaphore framesAvailable;  // posted when an append fills an empty list
  Semaphore spaceAvailable;   // posted for each frame that leaves the list
};

// Packed video frames converted into planes.
class RIVULET_API MMVideoQueue : public MMFrameQueue {
 public:
  // frameFourCC is the packed layout of a frame (FOURCC_RGB, FOURCC_YUY2),
  // planeFourCC the planes' colour model, dataType their element type; copyFcn
  // and emptyFcn as MM_GetVideoInputFcn and MM_GetVideoEmptyFcn return them. A
  // capacity of 0 is taken as 1. A null routine is skipped by copyVideoFrame.
  MMVideoQueue(unsigned capacity, FourCCType frameFourCC, FourCCType planeFourCC,
               VideoDataType dataType, int width, int height, VideoFrameOrientation orientation,
               VideoInputFcn copyFcn, VideoInputFcn emptyFcn);
  // Frames in the list and the pool lose their references; a frame that a
  // thread still holds stays valid until its own Release.
  ~MMVideoQueue();

  // Makes the pool: capacity frames of the largest of the packed frame, all
  // planes in dataType, and `minimum` bytes. Only the first call (or the first
  // createVideoFrame) makes one; later calls do nothing. Throws
  // std::length_error for a frame above 2^31 - 1 bytes.
  void createFrames(int minimum);
  // Waits up to ~1 s for room (posts of spaceAvailable from before the wait
  // are taken first, so that they do not cut it short); then hands out a free
  // pool frame with the caller's reference. Null with no room, or with every
  // pool frame still held. A producer that finds the list full sleeps until
  // half of it has gone, or at most 10 ms once a frame has left, and then
  // refills it in one run rather than waking for each frame.
  VideoFrame* createVideoFrame();
  // Links the frame at the tail, taking over the caller's reference. False (the
  // reference stays with the caller) when the list is full or frame is null.
  bool appendVideoFrame(VideoFrame* frame);
  // Consumer: converts the head frame into the planes, or runs emptyFcn when the
  // list is empty. The frame stays at the head.
  void copyVideoFrame(void* plane1, void* plane2, void* plane3);
  // Consumer: removes the head frame and drops the list's reference. False when
  // the list was empty.
  bool dropVideoFrame();
  // Consumer: removes the head frame and hands the list's reference to the
  // caller, who ends it with Release. Null when the list is empty.
  VideoFrame* popVideoFrame();

  int getPackedFrameSize() const;
  int getFrameSize() const;  // bytes of each pool frame; 0 before the pool exists

 protected:
  VideoFrame** framePool;
  FourCCType frameFourCC;
  FourCCType planeFourCC;
  VideoDataType dataType;
  std::int32_t width;
  std::int32_t height;
  std::uint8_t orientation;
  VideoInputFcn copyFcn;
  VideoInputFcn emptyFcn;
  std::int32_t frameSize;
};

// Interleaved audio blocks converted into the consumer's layout.
class RIVULET_API MMAudioQueue : public MMFrameQueue {
 public:
  // copyFcn as MM_GetAudioConvertCopyFcn or MM_GetAudioTransposeCopyFcn returns
  // it, emptyFcn as MM_GetAudioEmptyFcn. A capacity of 0 is taken as 1, fewer
  // than 1 channel as 1. A null routine is skipped by copyAudioFrame.
  MMAudioQueue(unsigned capacity, AudioDataType sampleType, int channels, AudioCopyFcn copyFcn,
               AudioCopyFcn emptyFcn);
  ~MMAudioQueue();  // frames in the list are freed

  // Waits up to ~1 s for room, as createVideoFrame does; then a new frame with
  // the caller's reference and no data (fill it with init). Null with no room.
  AudioFrame* createAudioFrame();
  // As appendVideoFrame.
  bool appendAudioFrame(AudioFrame* frame);
  // Consumer: converts up to `wanted` periods (a negative count as 0) from the
  // head frame into destination, passing `parameter` as the routine's last
  // argument, and returns how many it converted. One call reads one frame: a
  // frame with fewer periods left gives fewer, and is then removed. An empty
  // list runs emptyFcn for `wanted` periods and returns `wanted`. Both routines
  // get the same `parameter`: a transpose copy's channel stride serves the empty
  // routine as well; with a convert copy (which ignores it) pass `wanted`, so that
  // the empty routine, reading it as a channel stride, clears the whole
  // interleaved block.
  int copyAudioFrame(void* destination, int wanted, int parameter);

 protected:
  void dropFrame();
  int getFrontFrameBytes(AudioFrame* frame) const;
  int getFrontFrameSamples(AudioFrame* frame) const;

  AudioDataType sampleType;
  std::int32_t channels;
  AudioCopyFcn copyFcn;
  AudioCopyFcn emptyFcn;
  std::int64_t periodBytes;  // sample size * channels
};

#endif  // RIVULET_SYNC_H
