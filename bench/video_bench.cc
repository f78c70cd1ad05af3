// RGBToRGBChannelsInput on a 1920 x 1080 frame, beside its anchors in the same
// binary: memcpy of the frame's bytes, memset of the output bytes, and
// libyuv's SplitRGBPlane on the same frame.
#include <benchmark/benchmark.h>
#include <libyuv/planar_functions.h>
#include <libyuv/rotate.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "rivulet/rivulet.h"
#include "video/sample_rules.h"

namespace {

constexpr int kW = 1920, kH = 1080;
constexpr size_t kPixels = static_cast<size_t>(kW) * kH;

const std::vector<std::uint8_t>& frame() {
  static const std::vector<std::uint8_t> f = [] {
    std::vector<std::uint8_t> v(rivulet::bgrRowStride(kW) * kH);
    std::mt19937 rng(1);
    for (auto& x : v) x = static_cast<std::uint8_t>(rng());
    return v;
  }();
  return f;
}

template <typename T>
void touch(std::vector<T>& v) {
  std::memset(v.data(), 1, v.size() * sizeof(T));  // fault the pages in before timing
}

template <int N>
void BM_RGBToRGBChannelsInput(benchmark::State& state) {
  using T = rivulet::Sample<N>;
  const auto orientation = static_cast<VideoFrameOrientation>(state.range(0));
  VideoInputFcn f = MM_GetRGBToRGBChannelsInputFcn(static_cast<VideoDataType>(N));
  std::vector<T> r(kPixels), g(kPixels), b(kPixels);
  touch(r), touch(g), touch(b);
  const auto& src = frame();
  for (auto _ : state) {
    f(src.data(), r.data(), g.data(), b.data(), kW, kH, orientation);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * 3 * kPixels * sizeof(T));
}
BENCHMARK(BM_RGBToRGBChannelsInput<VIDEO_UINT8>)->ArgName("colmajor")->Arg(0)->Arg(1)->UseRealTime();
BENCHMARK(BM_RGBToRGBChannelsInput<VIDEO_DOUBLE>)->ArgName("colmajor")->Arg(0)->Arg(1)->UseRealTime();

// libyuv splits packed R,G,B bytes into three planes; with the planes given in
// blue, green, red order it does the same work on a BGR frame (without our flip).
void BM_LibyuvSplitRGBPlane(benchmark::State& state) {
  std::vector<std::uint8_t> r(kPixels), g(kPixels), b(kPixels);
  touch(r), touch(g), touch(b);
  const auto& src = frame();
  const int stride = static_cast<int>(rivulet::bgrRowStride(kW));
  for (auto _ : state) {
    libyuv::SplitRGBPlane(src.data(), stride, b.data(), kW, g.data(), kW, r.data(), kW, kW, kH);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * 3 * kPixels);
}
BENCHMARK(BM_LibyuvSplitRGBPlane)->UseRealTime();

// The nearest libyuv path to column-major byte planes: split, then transpose
// each plane (TransposePlane), through one scratch plane set.
void BM_LibyuvSplitThenTranspose(benchmark::State& state) {
  std::vector<std::uint8_t> tmp[3], out[3];
  for (auto& v : tmp) v.resize(kPixels), touch(v);
  for (auto& v : out) v.resize(kPixels), touch(v);
  const auto& src = frame();
  const int stride = static_cast<int>(rivulet::bgrRowStride(kW));
  for (auto _ : state) {
    libyuv::SplitRGBPlane(src.data(), stride, tmp[2].data(), kW, tmp[1].data(), kW, tmp[0].data(), kW, kW, kH);
    for (int p = 0; p < 3; ++p) libyuv::TransposePlane(tmp[p].data(), kW, out[p].data(), kH, kW, kH);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * 3 * kPixels);
}
BENCHMARK(BM_LibyuvSplitThenTranspose)->UseRealTime();

void BM_MemcpyFrame(benchmark::State& state) {
  const auto& src = frame();
  std::vector<std::uint8_t> dst(src.size());
  touch(dst);
  for (auto _ : state) {
    std::memcpy(dst.data(), src.data(), src.size());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * src.size());
}
BENCHMARK(BM_MemcpyFrame)->UseRealTime();

// memset of the output bytes of one type: three planes of w * h elements.
void BM_MemsetOutput(benchmark::State& state) {
  const size_t bytes = 3 * kPixels * static_cast<size_t>(state.range(0));
  std::vector<std::uint8_t> dst(bytes);
  touch(dst);
  for (auto _ : state) {
    std::memset(dst.data(), 7, bytes);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * bytes);
}
BENCHMARK(BM_MemsetOutput)->ArgName("elementbytes")->Arg(1)->Arg(8)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
