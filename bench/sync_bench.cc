// Queue benchmarks. Each runs a producer thread beside the benchmark's own
// (consumer) thread and counts frames taken out.
//
//   Video: 1080p BGR frames through MMVideoQueue into three VIDEO_DOUBLE planes,
//   beside the same conversion called directly on the same pool of source
//   frames. The producer runs at full rate: it takes a pool frame, stamps it
//   (the picture was written into every pool frame once) and appends it, so
//   what the queue adds is its own bookkeeping.
//
//   Audio: blocks of 256 stereo INT16 periods through MMAudioQueue into
//   interleaved doubles, beside a plain std::mutex + std::condition_variable
//   bounded queue of the same capacity carrying the same blocks (allocated and
//   copied per block, like AudioFrame::init) with the same conversion.
//
//   Both sides of the audio pair hand blocks between two threads, so their
//   figures are mostly the cost of falling asleep and waking: on a shared
//   machine they swing with the load, and only ratios from one run mean much.
//
// Run with --benchmark_repetitions=9 --benchmark_report_aggregates_only=true
// --benchmark_enable_random_interleaving=true (the pairs then alternate, so a
// change of load meets both sides alike).
#include <benchmark/benchmark.h>

#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "rivulet/sync.h"

namespace {

// ---- Video ------------------------------------------------------------------------

constexpr int kW = 1920, kH = 1080, kRow = (3 * kW + 3) / 4 * 4, kPacked = kRow * kH;
constexpr unsigned kVideoCapacity = 4;

void paint(std::uint8_t* frame, int seed) {
  for (int i = 0; i < kPacked; ++i) frame[i] = static_cast<std::uint8_t>(i * 7 + seed * 13 + (i >> 11));
}

struct Planes {
  std::vector<double> p0 = std::vector<double>(std::size_t{kW} * kH),
                      p1 = std::vector<double>(std::size_t{kW} * kH),
                      p2 = std::vector<double>(std::size_t{kW} * kH);
};

VideoInputFcn videoCopy() {
  return MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, VIDEO_DOUBLE, false);
}

// The conversion alone, cycling through as many source frames as the pool has.
void BM_VideoConvertAlone(benchmark::State& state) {
  VideoInputFcn copy = videoCopy();
  std::vector<std::vector<std::uint8_t>> sources(kVideoCapacity,
                                                 std::vector<std::uint8_t>(kPacked));
  for (unsigned i = 0; i < kVideoCapacity; ++i) paint(sources[i].data(), i);
  Planes out;
  unsigned next = 0;
  for (auto _ : state) {
    copy(sources[next].data(), out.p0.data(), out.p1.data(), out.p2.data(), kW, kH,
         ORIENTATION_ROW_MAJOR);
    next = next + 1 == kVideoCapacity ? 0 : next + 1;
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_VideoThroughQueue(benchmark::State& state) {
  MMVideoQueue q(kVideoCapacity, FOURCC_RGB, FOURCC_RGB, VIDEO_DOUBLE, kW, kH,
                 ORIENTATION_ROW_MAJOR, videoCopy(),
                 MM_GetVideoEmptyFcn(FOURCC_RGB, VIDEO_DOUBLE));
  q.createFrames(0);
  {  // write the picture into every pool frame once
    std::vector<VideoFrame*> all;
    for (unsigned i = 0; i < kVideoCapacity; ++i) {
      all.push_back(q.createVideoFrame());
      paint(all.back()->data, i);
    }
    for (VideoFrame* f : all) f->Release();
  }
  const std::int64_t frames = state.max_iterations;
  std::thread producer([&] {
    for (std::int64_t i = 0; i < frames;) {
      VideoFrame* f = q.createVideoFrame();
      if (f == nullptr) continue;
      f->init(nullptr, kPacked, i, 0);
      if (q.appendVideoFrame(f))
        ++i;
      else
        f->Release();
    }
  });
  Planes out;
  for (auto _ : state) {
    while (!q.waitForFrame(1000)) {
    }
    q.copyVideoFrame(out.p0.data(), out.p1.data(), out.p2.data());
    q.dropVideoFrame();
    benchmark::ClobberMemory();
  }
  producer.join();
  state.SetItemsProcessed(state.iterations());
}

// ---- Audio ------------------------------------------------------------------------

constexpr int kPeriods = 256, kChannels = 2, kBlockBytes = kPeriods * kChannels * 2;
constexpr unsigned kAudioCapacity = 8;

std::vector<short> makeBlock() {
  std::vector<short> b(kPeriods * kChannels);
  for (std::size_t i = 0; i < b.size(); ++i) b[i] = static_cast<short>(i * 37);
  return b;
}

void BM_AudioThroughQueue(benchmark::State& state) {
  AudioCopyFcn copy = MM_GetAudioConvertCopyFcn(AUDIO_INT16, AUDIO_DOUBLE);
  MMAudioQueue q(kAudioCapacity, AUDIO_INT16, kChannels, copy, MM_GetAudioEmptyFcn(AUDIO_DOUBLE));
  const std::int64_t frames = state.max_iterations;
  std::vector<short> block = makeBlock();
  std::thread producer([&] {
    for (std::int64_t i = 0; i < frames;) {
      AudioFrame* f = q.createAudioFrame();
      if (f == nullptr) continue;
      f->init(block.data(), kBlockBytes);
      if (q.appendAudioFrame(f))
        ++i;
      else
        f->Release();
    }
  });
  std::vector<double> out(kPeriods * kChannels);
  for (auto _ : state) {
    while (!q.waitForFrame(1000)) {
    }
    benchmark::DoNotOptimize(q.copyAudioFrame(out.data(), kPeriods, kPeriods));
    benchmark::ClobberMemory();
  }
  producer.join();
  state.SetItemsProcessed(state.iterations());
}

// The anchor: the textbook bounded queue of owned blocks.
class PlainQueue {
 public:
  explicit PlainQueue(std::size_t capacity) : capacity(capacity) {}
  void push(std::unique_ptr<short[]> block) {
    std::unique_lock<std::mutex> hold(lock);
    notFull.wait(hold, [this] { return blocks.size() < capacity; });
    blocks.push_back(std::move(block));
    hold.unlock();
    notEmpty.notify_one();
  }
  std::unique_ptr<short[]> pop() {
    std::unique_lock<std::mutex> hold(lock);
    notEmpty.wait(hold, [this] { return !blocks.empty(); });
    std::unique_ptr<short[]> block = std::move(blocks.front());
    blocks.pop_front();
    hold.unlock();
    notFull.notify_one();
    return block;
  }

 private:
  std::size_t capacity;
  std::mutex lock;
  std::condition_variable notEmpty, notFull;
  std::deque<std::unique_ptr<short[]>> blocks;
};

void BM_AudioThroughMutexCondvarQueue(benchmark::State& state) {
  AudioCopyFcn copy = MM_GetAudioConvertCopyFcn(AUDIO_INT16, AUDIO_DOUBLE);
  PlainQueue q(kAudioCapacity);
  const std::int64_t frames = state.max_iterations;
  std::vector<short> block = makeBlock();
  std::thread producer([&] {
    for (std::int64_t i = 0; i < frames; ++i) {
      std::unique_ptr<short[]> b(new short[kPeriods * kChannels]);
      std::memcpy(b.get(), block.data(), kBlockBytes);
      q.push(std::move(b));
    }
  });
  std::vector<double> out(kPeriods * kChannels);
  for (auto _ : state) {
    std::unique_ptr<short[]> b = q.pop();
    copy(b.get(), out.data(), kPeriods, kChannels, kPeriods);
    benchmark::ClobberMemory();
  }
  producer.join();
  state.SetItemsProcessed(state.iterations());
}

}  // namespace

BENCHMARK(BM_VideoConvertAlone)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_VideoThroughQueue)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AudioThroughQueue)->UseRealTime();
BENCHMARK(BM_AudioThroughMutexCondvarQueue)->UseRealTime();

BENCHMARK_MAIN();
