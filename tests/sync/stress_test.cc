// A producer and a consumer thread pass many small frames through each queue,
// with every sample checked on the way out through the conversion routines:
// nothing lost, nothing duplicated, nothing left behind (the sanitizer runs
// watch for leaks and races). Each with a consumer slower than the producer
// (the producer meets a full list) and with one faster (the consumer meets an
// empty list and gets the empty routine's output).
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "inspect.h"
#include "rivulet/sync.h"

#ifndef RIVULET_STRESS_FRAMES
#define RIVULET_STRESS_FRAMES 100000
#endif

namespace {

constexpr int kFrames = RIVULET_STRESS_FRAMES;
// Every this many frames the slow side naps for a millisecond, long enough for
// the other side to fill or empty the list.
constexpr int kNapEvery = 4096;
constexpr unsigned kCapacity = 16;

// A slow consumer naps now and then, so the producer meets a full list; a fast
// one polls, and meets an empty list when the producer naps; a waiting one
// sleeps in waitForFrame whenever the list is empty, against a producer at full
// rate, so that both sides keep falling asleep and waking each other.
enum Mode { kSlowConsumer, kFastConsumer, kWaitingConsumer };

void nap() { std::this_thread::sleep_for(std::chrono::milliseconds(1)); }

std::uint32_t mix(std::uint32_t x) {
  x ^= x >> 16;
  x *= 0x7feb352du;
  x ^= x >> 15;
  x *= 0x846ca68bu;
  return x ^ (x >> 16);
}

// What both sides saw; the producer's part is read after its thread is joined.
struct Tally {
  std::atomic<bool> producerDone{false};
  int fullSeen = 0, refused = 0;  // producer
  int empties = 0, wrong = 0;     // consumer
};

VideoFrame* create(VideoQueue& q) { return q.createVideoFrame(); }
AudioFrame* create(AudioQueue& q) { return q.createAudioFrame(); }
bool append(VideoQueue& q, VideoFrame* f) { return q.appendVideoFrame(f); }
bool append(AudioQueue& q, AudioFrame* f) { return q.appendAudioFrame(f); }

// The producer thread: kFrames frames, each from a create call (retried until
// there is one), filled by fill(frame, i) and appended. A fast consumer's
// producer naps now and then, so that the list runs dry.
template <typename Queue, typename Fill>
std::thread produce(Queue& q, Mode mode, Tally& t, Fill fill) {
  return std::thread([&q, mode, &t, fill] {
    for (int i = 0; i < kFrames; ++i) {
      if (mode == kFastConsumer && i % kNapEvery == kNapEvery - 1) nap();
      if (q.getFrameCount() == q.getCapacity()) ++t.fullSeen;
      decltype(create(q)) f;
      while ((f = create(q)) == nullptr) {
      }
      fill(f, i);
      if (!append(q, f)) {
        ++t.refused;
        f->Release();
      }
    }
    t.producerDone = true;
  });
}

// After the run: nothing refused or wrong, and each mode met its edge.
void checkTally(Mode mode, Tally const& t) {
  EXPECT_EQ(t.wrong, 0);
  EXPECT_EQ(t.refused, 0);
  if (mode == kSlowConsumer) {
    EXPECT_GT(t.fullSeen, 0);  // the producer met a full list
  } else if (mode == kFastConsumer) {
    EXPECT_GT(t.empties, 0);  // the consumer met an empty one
  }
}

class Stress : public testing::TestWithParam<Mode> {};
std::string modeName(testing::TestParamInfo<Mode> const& info) {
  const char* names[] = {"SlowConsumer", "FastConsumer", "WaitingConsumer"};
  return names[info.param];
}
INSTANTIATE_TEST_SUITE_P(Modes, Stress,
                         testing::Values(kSlowConsumer, kFastConsumer, kWaitingConsumer),
                         modeName);

// ---- Video: 4 x 3 BGR frames into three column-major UINT16 planes -----------------

constexpr int kW = 4, kH = 3, kPacked = 12 * kH, kPlane = kW * kH;

void makePicture(int seq, std::uint8_t* bytes) {
  for (int k = 0; k < kPacked; ++k) bytes[k] = static_cast<std::uint8_t>(mix(seq * 64u + k));
}

TEST_P(Stress, VideoQueue) {
  const Mode mode = GetParam();
  VideoInputFcn copy = MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, VIDEO_UINT16, false);
  VideoInputFcn empty = MM_GetVideoEmptyFcn(FOURCC_RGB, VIDEO_UINT16);
  ASSERT_TRUE(copy && empty);
  std::vector<std::uint16_t> emptyPlanes(3 * kPlane, 0xEEEE);
  empty(nullptr, &emptyPlanes[0], &emptyPlanes[kPlane], &emptyPlanes[2 * kPlane], kW, kH,
        ORIENTATION_COLUMN_MAJOR);

  VideoQueue q(kCapacity, FOURCC_RGB, FOURCC_RGB, VIDEO_UINT16, kW, kH, ORIENTATION_COLUMN_MAJOR,
               copy, empty);
  Tally t;
  std::thread producer = produce(q, mode, t,
                                 [](VideoFrame* f, int i) {
                                   std::uint8_t picture[kPacked];
                                   makePicture(i, picture);
                                   f->init(picture, kPacked, i, -i);
                                 });
  int received = 0;
  std::vector<std::uint16_t> planes(3 * kPlane), expected(3 * kPlane);
  std::uint8_t picture[kPacked];
  int expectedFor = -1;
  while (received < kFrames) {
    if (expectedFor != received) {  // the consumer's own model of the next frame
      makePicture(received, picture);
      copy(picture, &expected[0], &expected[kPlane], &expected[2 * kPlane], kW, kH,
           ORIENTATION_COLUMN_MAJOR);
      expectedFor = received;
    }
    if (mode == kWaitingConsumer) q.waitForFrame(1000);
    bool listed = q.getFrameCount() > 0;  // only this thread removes frames
    std::fill(planes.begin(), planes.end(), 0x5A5A);
    q.copyVideoFrame(&planes[0], &planes[kPlane], &planes[2 * kPlane]);
    bool isNext = planes == expected;
    if (listed) {
      t.wrong += !isNext;
      q.dropVideoFrame();
      ++received;
      if (mode == kSlowConsumer && received % kNapEvery == 0) nap();
    } else if (planes == emptyPlanes) {
      ++t.empties;
      std::this_thread::yield();  // leave the core to the producer
      if (t.producerDone && q.getFrameCount() == 0) break;  // a frame went missing
    } else {
      t.wrong += !isNext;  // a frame that arrived after the look is fine
    }
  }
  producer.join();
  EXPECT_EQ(received, kFrames);
  checkTally(mode, t);
  EXPECT_EQ(q.getFrameCount(), 0u);
  for (unsigned i = 0; i < q.getCapacity(); ++i) EXPECT_EQ(q.framePool[i]->refCount, 1);
}

// ---- Audio: blocks of 0 to 61 stereo INT16 periods into per-channel INT32 -----------

constexpr int kChannels = 2, kStride = 64;

// Sample of channel c in period k of the whole stream: odd, so never the
// empty routine's zero.
std::int16_t sampleAt(std::int64_t k, int c) {
  return static_cast<std::int16_t>(mix(static_cast<std::uint32_t>(k * kChannels + c)) | 1u);
}

int periodsOf(int frame) { return frame % 97 == 0 ? 0 : 1 + mix(frame) % 61; }

// First period of each frame in the whole stream, and the total at the end.
std::vector<std::int64_t> firstPeriods() {
  std::vector<std::int64_t> first(kFrames + 1, 0);
  for (int i = 0; i < kFrames; ++i) first[i + 1] = first[i] + periodsOf(i);
  return first;
}

TEST_P(Stress, AudioQueue) {
  const Mode mode = GetParam();
  AudioCopyFcn copy = MM_GetAudioTransposeCopyFcn(AUDIO_INT16, AUDIO_INT32, true);
  AudioCopyFcn empty = MM_GetAudioEmptyFcn(AUDIO_INT32);
  // Every INT16 value through the same routine, as one channel.
  std::vector<std::int16_t> all(65536);
  std::vector<std::int32_t> widened(65536);
  for (int v = 0; v < 65536; ++v) all[v] = static_cast<std::int16_t>(v - 32768);
  copy(all.data(), widened.data(), 65536, 1, 65536);
  auto expect32 = [&](std::int16_t x) { return widened[x + 32768]; };
  const std::vector<std::int64_t> first = firstPeriods();
  const std::int64_t totalPeriods = first[kFrames];

  AudioQueue q(kCapacity, AUDIO_INT16, kChannels, copy, empty);
  Tally t;
  std::thread producer = produce(q, mode, t,
                                 [&first](AudioFrame* f, int i) {
                                   std::int16_t block[61 * kChannels];
                                   int periods = periodsOf(i);
                                   for (int p = 0; p < periods; ++p)
                                     for (int c = 0; c < kChannels; ++c)
                                       block[p * kChannels + c] = sampleAt(first[i] + p, c);
                                   f->init(block, periods * kChannels * 2);
                                 });
  std::int64_t k = 0;
  int frames = 0;
  std::vector<std::int32_t> out(kChannels * kStride);
  for (unsigned call = 0; k < totalPeriods; ++call) {
    int wanted = 1 + mix(call) % kStride;
    if (mode == kWaitingConsumer) q.waitForFrame(1000);
    std::fill(out.begin(), out.end(), 0x55555555);
    unsigned before = q.getFrameCount();  // only this thread removes frames
    int n = q.copyAudioFrame(out.data(), wanted, kStride);
    bool isNext = n <= wanted;
    bool isEmpty = n == wanted;
    for (int c = 0; c < kChannels; ++c) {
      for (int j = 0; j < kStride; ++j) {
        std::int32_t got = out[c * kStride + j];
        if (j < n) {
          isNext = isNext && k + j < totalPeriods && got == expect32(sampleAt(k + j, c));
          isEmpty = isEmpty && got == 0;
        } else {
          isNext = isNext && got == 0x55555555;  // nothing past the periods given
          isEmpty = isEmpty && got == 0x55555555;
        }
      }
    }
    if (isNext) {
      k += n;
      frames += q.getFrameCount() < before;
      if (mode == kSlowConsumer && n > 0 && frames % kNapEvery == 0) nap();
    } else if (isEmpty && before == 0) {
      ++t.empties;
      std::this_thread::yield();
      if (t.producerDone && q.getFrameCount() == 0) break;  // periods went missing
    } else if (++t.wrong > 10) {
      break;
    }
  }
  producer.join();
  EXPECT_EQ(k, totalPeriods);
  checkTally(mode, t);
  while (q.getFrameCount() > 0) q.copyAudioFrame(out.data(), 0, kStride);  // zero-period tails
}

// ---- Stopping while both sides wait ------------------------------------------------
//
// The producer waits in a create call on a full queue, the consumer in
// waitForFrame on an empty one; setting `stopping` releases both well inside
// their budgets (one second and one minute).
template <typename Queue>
void stopBothSides(Queue& full, Queue& empty) {
  while (full.getFrameCount() < full.getCapacity()) ASSERT_TRUE(append(full, create(full)));
  double producerMs = 0, consumerMs = 0;
  std::atomic<int> started{0};
  std::thread producer([&] {
    ++started;
    producerMs = elapsedMs([&] { EXPECT_EQ(create(full), nullptr); });
  });
  std::thread consumer([&] {
    ++started;
    consumerMs = elapsedMs([&] { EXPECT_FALSE(empty.waitForFrame(60000)); });
  });
  while (started < 2) std::this_thread::yield();
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  full.setStopping(true);
  empty.setStopping(true);
  producer.join();
  consumer.join();
  EXPECT_LT(producerMs, 800.0);
  EXPECT_LT(consumerMs, 5000.0);
}

TEST(Stress, StoppingReleasesWaitingProducerAndConsumer) {
  for (unsigned capacity : {1u, 2u, 6u}) {  // a producer waking for one frame, or for half
    SCOPED_TRACE(capacity);
    VideoQueue vf(capacity, FOURCC_RGB, FOURCC_RGB, VIDEO_UINT8, 2, 2, ORIENTATION_ROW_MAJOR,
                  nullptr, nullptr),
        ve(vf.getCapacity(), FOURCC_RGB, FOURCC_RGB, VIDEO_UINT8, 2, 2, ORIENTATION_ROW_MAJOR,
           nullptr, nullptr);
    stopBothSides(vf, ve);
    AudioQueue af(capacity, AUDIO_UINT8, 1, nullptr, nullptr),
        ae(capacity, AUDIO_UINT8, 1, nullptr, nullptr);
    stopBothSides(af, ae);
  }
}

}  // namespace
