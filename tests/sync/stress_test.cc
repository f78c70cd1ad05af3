// A producer and a consumer thread pass many small frames through each queue,
// with every sample checked on the way out through the conversion routines:
// nothing lost, nothing duplicated, nothing left behind (the sanitizer runs
// watch for leaks and races). Once with a consumer slower than the producer
// (the producer meets a full list) and once with one faster (the consumer meets
// an empty list and gets the empty routine's output).
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
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

enum Mode { kSlowConsumer, kFastConsumer };
const char* modeName(Mode m) { return m == kSlowConsumer ? "slow consumer" : "fast consumer"; }

void nap() { std::this_thread::sleep_for(std::chrono::milliseconds(1)); }

std::uint32_t mix(std::uint32_t x) {
  x ^= x >> 16;
  x *= 0x7feb352du;
  x ^= x >> 15;
  x *= 0x846ca68bu;
  return x ^ (x >> 16);
}

// ---- Video: 4 x 3 BGR frames into three column-major UINT16 planes -----------------

constexpr int kW = 4, kH = 3, kPacked = 12 * kH, kPlane = kW * kH;

void makePicture(int seq, std::uint8_t* bytes) {
  for (int k = 0; k < kPacked; ++k) bytes[k] = static_cast<std::uint8_t>(mix(seq * 64u + k));
}

TEST(Stress, VideoQueue) {
  VideoInputFcn copy = MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, VIDEO_UINT16, false);
  VideoInputFcn empty = MM_GetVideoEmptyFcn(FOURCC_RGB, VIDEO_UINT16);
  ASSERT_TRUE(copy && empty);
  std::vector<std::uint16_t> emptyPlanes(3 * kPlane, 0xEEEE);
  empty(nullptr, &emptyPlanes[0], &emptyPlanes[kPlane], &emptyPlanes[2 * kPlane], kW, kH,
        ORIENTATION_COLUMN_MAJOR);

  for (Mode mode : {kSlowConsumer, kFastConsumer}) {
    SCOPED_TRACE(modeName(mode));
    VideoQueue q(kCapacity, FOURCC_RGB, FOURCC_RGB, VIDEO_UINT16, kW, kH, ORIENTATION_COLUMN_MAJOR, copy,
                 empty);
    std::atomic<bool> producerDone{false};
    int fullSeen = 0, refused = 0;
    std::thread producer([&] {
      std::uint8_t picture[kPacked];
      for (int i = 0; i < kFrames; ++i) {
        if (mode == kFastConsumer && i % kNapEvery == kNapEvery - 1) nap();
        if (q.getFrameCount() == q.getCapacity()) ++fullSeen;
        VideoFrame* f;
        while ((f = q.createVideoFrame()) == nullptr) {
        }
        makePicture(i, picture);
        f->init(picture, kPacked, i, -i);
        if (!q.appendVideoFrame(f)) {
          ++refused;
          f->Release();
        }
      }
      producerDone = true;
    });

    int received = 0, empties = 0, wrong = 0;
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
      bool listed = q.getFrameCount() > 0;  // only this thread removes frames
      std::fill(planes.begin(), planes.end(), 0x5A5A);
      q.copyVideoFrame(&planes[0], &planes[kPlane], &planes[2 * kPlane]);
      bool isNext = planes == expected;
      if (listed) {
        wrong += !isNext;
        q.dropVideoFrame();
        ++received;
        if (mode == kSlowConsumer && received % kNapEvery == 0) nap();
      } else if (planes == emptyPlanes) {
        ++empties;
        std::this_thread::yield();  // leave the core to the producer
        if (producerDone && q.getFrameCount() == 0) break;  // a frame went missing
      } else {
        wrong += !isNext;  // a frame that arrived after the look is fine
      }
    }
    producer.join();
    EXPECT_EQ(received, kFrames);
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(refused, 0);
    EXPECT_EQ(q.getFrameCount(), 0u);
    for (unsigned i = 0; i < q.getCapacity(); ++i) EXPECT_EQ(q.framePool[i]->refCount, 1);
    if (mode == kSlowConsumer)
      EXPECT_GT(fullSeen, 0);
    else
      EXPECT_GT(empties, 0);
  }
}

// ---- Audio: blocks of 0 to 61 stereo INT16 periods into per-channel INT32 -----------

constexpr int kChannels = 2, kStride = 64;

// Sample of channel c in period k of the whole stream: odd, so never the
// empty routine's zero.
std::int16_t sampleAt(std::int64_t k, int c) {
  return static_cast<std::int16_t>(mix(static_cast<std::uint32_t>(k * kChannels + c)) | 1u);
}

int periodsOf(int frame) { return frame % 97 == 0 ? 0 : 1 + mix(frame) % 61; }

TEST(Stress, AudioQueue) {
  AudioCopyFcn copy = MM_GetAudioTransposeCopyFcn(AUDIO_INT16, AUDIO_INT32, true);
  AudioCopyFcn empty = MM_GetAudioEmptyFcn(AUDIO_INT32);
  // Every INT16 value through the same routine, as one channel.
  std::vector<std::int16_t> all(65536);
  std::vector<std::int32_t> widened(65536);
  for (int v = 0; v < 65536; ++v) all[v] = static_cast<std::int16_t>(v - 32768);
  copy(all.data(), widened.data(), 65536, 1, 65536);
  auto expect32 = [&](std::int16_t x) { return widened[x + 32768]; };

  std::int64_t totalPeriods = 0;
  for (int i = 0; i < kFrames; ++i) totalPeriods += periodsOf(i);

  for (Mode mode : {kSlowConsumer, kFastConsumer}) {
    SCOPED_TRACE(modeName(mode));
    AudioQueue q(kCapacity, AUDIO_INT16, kChannels, copy, empty);
    std::atomic<bool> producerDone{false};
    int fullSeen = 0, refused = 0;
    std::thread producer([&] {
      std::vector<std::int16_t> block(61 * kChannels);
      std::int64_t k = 0;
      for (int i = 0; i < kFrames; ++i) {
        if (mode == kFastConsumer && i % kNapEvery == kNapEvery - 1) nap();
        if (q.getFrameCount() == q.getCapacity()) ++fullSeen;
        int periods = periodsOf(i);
        for (int p = 0; p < periods; ++p, ++k)
          for (int c = 0; c < kChannels; ++c) block[p * kChannels + c] = sampleAt(k, c);
        AudioFrame* f;
        while ((f = q.createAudioFrame()) == nullptr) {
        }
        f->init(block.data(), periods * kChannels * 2);
        if (!q.appendAudioFrame(f)) {
          ++refused;
          f->Release();
        }
      }
      producerDone = true;
    });

    std::int64_t k = 0;
    int empties = 0, wrong = 0, frames = 0;
    std::vector<std::int32_t> out(kChannels * kStride);
    for (unsigned call = 0; k < totalPeriods; ++call) {
      int wanted = 1 + mix(call) % kStride;
      std::fill(out.begin(), out.end(), 0x55555555);
      bool listed = q.getFrameCount() > 0;
      unsigned before = q.getFrameCount();
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
      } else if (isEmpty && !listed) {
        ++empties;
        std::this_thread::yield();
        if (producerDone && q.getFrameCount() == 0) break;  // periods went missing
      } else {
        ++wrong;
        if (wrong > 10) break;
      }
    }
    producer.join();
    EXPECT_EQ(k, totalPeriods);
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(refused, 0);
    while (q.getFrameCount() > 0) q.copyAudioFrame(out.data(), 0, kStride);  // zero-period tails
    if (mode == kSlowConsumer)
      EXPECT_GT(fullSeen, 0);
    else
      EXPECT_GT(empties, 0);
  }
}

// ---- Stopping while both sides wait ------------------------------------------------
//
// The producer waits in a create call on a full queue, the consumer in
// waitForFrame on an empty one; setting `stopping` releases both well inside
// their budgets (one second and one minute).
template <typename Queue, typename Fill, typename Create>
void stopBothSides(Queue& full, Queue& empty, Fill fill, Create create) {
  fill(full);
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
  auto video = [] {
    return new VideoQueue(2, FOURCC_RGB, FOURCC_RGB, VIDEO_UINT8, 2, 2, ORIENTATION_ROW_MAJOR,
                          nullptr, nullptr);
  };
  VideoQueue *vf = video(), *ve = video();
  stopBothSides(
      *vf, *ve,
      [](VideoQueue& q) {
        for (int i = 0; i < 2; ++i) ASSERT_TRUE(q.appendVideoFrame(q.createVideoFrame()));
      },
      [](VideoQueue& q) { return q.createVideoFrame(); });
  delete vf;
  delete ve;

  AudioQueue af(1, AUDIO_UINT8, 1, nullptr, nullptr), ae(1, AUDIO_UINT8, 1, nullptr, nullptr);
  stopBothSides(
      af, ae, [](AudioQueue& q) { ASSERT_TRUE(q.appendAudioFrame(q.createAudioFrame())); },
      [](AudioQueue& q) { return q.createAudioFrame(); });
}

// A consumer that waits for frames rather than polling sees every one of them.
TEST(Stress, WaitingConsumerSeesEveryFrame) {
  const int frames = kFrames / 10;
  AudioQueue q(3, AUDIO_INT32, 1, MM_GetAudioConvertCopyFcn(AUDIO_INT32, AUDIO_INT32), nullptr);
  std::thread producer([&] {
    for (std::int32_t i = 0; i < frames; ++i) {
      AudioFrame* f;
      while ((f = q.createAudioFrame()) == nullptr) {
      }
      f->init(&i, 4);
      q.appendAudioFrame(f);
    }
    q.setStopping(true);
  });
  std::int32_t next = 0, wrong = 0;
  while (q.waitForFrame(1000) || !q.isStopping() || q.getFrameCount() > 0) {
    std::int32_t got = -1;
    if (q.getFrameCount() == 0) continue;
    EXPECT_EQ(q.copyAudioFrame(&got, 1, 0), 1);
    wrong += got != next++;
  }
  producer.join();
  EXPECT_EQ(next, frames);
  EXPECT_EQ(wrong, 0);
}

}  // namespace
