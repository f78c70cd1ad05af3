// Shared inputs of the video family benches: a 1920 x 1080 picture as random
// bytes, and buffers faulted in before timing.
#ifndef RIVULET_BENCH_VIDEO_BENCH_FRAMES_H
#define RIVULET_BENCH_VIDEO_BENCH_FRAMES_H

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

namespace vbench {

constexpr int kW = 1920, kH = 1080;
constexpr size_t kPixels = static_cast<size_t>(kW) * kH;

// n random bytes, made once per size.
inline const std::vector<std::uint8_t>& randomBytes(size_t n) {
  static std::vector<std::vector<std::uint8_t>> made;
  for (auto& v : made)
    if (v.size() == n) return v;
  made.emplace_back(n);
  std::mt19937 rng(static_cast<unsigned>(n));
  for (auto& x : made.back()) x = static_cast<std::uint8_t>(rng());
  return made.back();
}

template <typename T>
std::vector<T> faulted(size_t n) {
  std::vector<T> v(n);
  std::memset(static_cast<void*>(v.data()), 1, n * sizeof(T));
  return v;
}

// Anchors: memset of n output bytes, memcpy of n bytes.
inline void memsetBytes(benchmark::State& state, size_t n) {
  auto dst = faulted<std::uint8_t>(n);
  for (auto _ : state) {
    std::memset(dst.data(), 7, n);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * n);
}
inline void memcpyBytes(benchmark::State& state, size_t n) {
  const auto& src = randomBytes(n);
  auto dst = faulted<std::uint8_t>(n);
  for (auto _ : state) {
    std::memcpy(dst.data(), src.data(), n);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * n);
}

}  // namespace vbench

#endif
