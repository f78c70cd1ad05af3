// Planes back to frames and YCbCr in and out on a 1920 x 1080 picture, beside
// libyuv's counterparts and memcpy/memset of the same bytes, in one binary.
#include <benchmark/benchmark.h>
#include <libyuv/convert.h>
#include <libyuv/convert_argb.h>
#include <libyuv/convert_from.h>
#include <libyuv/convert_from_argb.h>
#include <libyuv/planar_functions.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "rivulet/rivulet.h"
#include "video/sample_rules.h"

namespace {

constexpr int kW = 1920, kH = 1080;
constexpr size_t kPixels = size_t{kW} * kH;
using Bytes = std::vector<std::uint8_t>;

Bytes randomBytes(size_t n) {
  Bytes v(n);
  std::mt19937 rng(1);
  for (auto& x : v) x = static_cast<std::uint8_t>(rng());
  return v;
}
// Buffers of rivulet's routines hold elements of the type under test, filled
// with widened random bytes where they are read.
template <typename T>
std::vector<T> samples(size_t n) {
  std::vector<T> v(n);
  const Bytes b = randomBytes(n);
  for (size_t i = 0; i < n; ++i) v[i] = static_cast<T>(b[i] / 255.0 * (sizeof(T) >= 4 ? 1 : 255));
  return v;
}

// ---- rivulet ---------------------------------------------------------------------------------

// Input routines: frame of `frameBytes` to three planes (Y, Cb, Cr when chroma).
template <int N>
void runInput(benchmark::State& state, VideoInputFcn (*select)(VideoDataType), size_t frameBytes,
              bool chroma) {
  using T = rivulet::Sample<N>;
  const auto o = static_cast<VideoFrameOrientation>(state.range(0));
  const VideoInputFcn f = select(static_cast<VideoDataType>(N));
  const Bytes frame = randomBytes(frameBytes);
  const size_t side = chroma ? kPixels / 2 : kPixels;
  std::vector<T> p0(kPixels), p1(side), p2(side);
  for (auto _ : state) {
    f(frame.data(), p0.data(), p1.data(), p2.data(), kW, kH, o);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * (kPixels + 2 * side) * sizeof(T));
}

template <int N>
void runOutput(benchmark::State& state, VideoOutputFcn (*select)(VideoDataType), size_t frameBytes,
               bool chroma) {
  using T = rivulet::Sample<N>;
  const auto o = static_cast<VideoFrameOrientation>(state.range(0));
  const VideoOutputFcn f = select(static_cast<VideoDataType>(N));
  const size_t side = chroma ? kPixels / 2 : kPixels;
  const std::vector<T> p0 = samples<T>(kPixels), p1 = samples<T>(side), p2 = samples<T>(side);
  Bytes frame(frameBytes, 1);
  for (auto _ : state) {
    f(p0.data(), p1.data(), p2.data(), frame.data(), kW, kH, o);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * frameBytes);
}

const size_t kBGR = rivulet::bgrRowStride(kW) * kH, kYUY2 = 2 * kPixels;

template <int N>
void BM_YCbCrToYCbCrChannelsInput(benchmark::State& s) { runInput<N>(s, MM_GetYCbCrToYCbCrChannelsInputFcn, kYUY2, true); }
template <int N>
void BM_YCbCrToRGBChannelsInput(benchmark::State& s) { runInput<N>(s, MM_GetYCbCrToRGBChannelsInputFcn, kYUY2, false); }
template <int N>
void BM_RGBToYCbCrChannelsInput(benchmark::State& s) { runInput<N>(s, MM_GetRGBToYCbCrChannelsInputFcn, kBGR, true); }
template <int N>
void BM_YCbCrToYCbCrChannelsOutput(benchmark::State& s) { runOutput<N>(s, MM_GetYCbCrToYCbCrChannelsOutputFcn, kYUY2, true); }
template <int N>
void BM_RGBToRGBChannelsOutput(benchmark::State& s) { runOutput<N>(s, MM_GetRGBToRGBChannelsOutputFcn, kBGR, false); }
template <int N>
void BM_YCbCrToRGBChannelsOutput(benchmark::State& s) { runOutput<N>(s, MM_GetYCbCrToRGBChannelsOutputFcn, kBGR, true); }

#define RIVULET_BENCH(name)                                                                  \
  BENCHMARK(name<VIDEO_UINT8>)->ArgName("colmajor")->Arg(0)->Arg(1)->UseRealTime();          \
  BENCHMARK(name<VIDEO_SINGLE>)->ArgName("colmajor")->Arg(0)->UseRealTime();                 \
  BENCHMARK(name<VIDEO_INT32>)->ArgName("colmajor")->Arg(0)->UseRealTime();                  \
  BENCHMARK(name<VIDEO_DOUBLE>)->ArgName("colmajor")->Arg(0)->Arg(1)->UseRealTime();
RIVULET_BENCH(BM_YCbCrToYCbCrChannelsInput)
RIVULET_BENCH(BM_YCbCrToYCbCrChannelsOutput)
RIVULET_BENCH(BM_RGBToRGBChannelsOutput)
RIVULET_BENCH(BM_YCbCrToRGBChannelsInput)
RIVULET_BENCH(BM_YCbCrToRGBChannelsOutput)
RIVULET_BENCH(BM_RGBToYCbCrChannelsInput)
#undef RIVULET_BENCH

// ---- Anchors ---------------------------------------------------------------------------------

void BM_Memcpy(benchmark::State& state) {
  const size_t n = static_cast<size_t>(state.range(0));
  const Bytes src = randomBytes(n);
  Bytes dst(n, 1);
  for (auto _ : state) {
    std::memcpy(dst.data(), src.data(), n);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * n);
}
BENCHMARK(BM_Memcpy)->Arg(kYUY2)->Arg(kBGR)->UseRealTime();

// Output bytes of the wide types: 2 or 3 planes' worth of 4 and 8 bytes.
// The fill is not zero: zero fills of tens of megabytes take a fast path on
// some machines (twice as fast here) that no computed output gets.
void BM_Memset(benchmark::State& state) {
  const size_t n = static_cast<size_t>(state.range(0));
  Bytes dst(n, 1);
  for (auto _ : state) {
    std::memset(dst.data(), 7, n);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * n);
}
BENCHMARK(BM_Memset)->Arg(2 * kPixels * 4)->Arg(3 * kPixels * 4)->Arg(2 * kPixels * 8)->Arg(3 * kPixels * 8)->UseRealTime();

void BM_LibyuvYUY2ToI422(benchmark::State& state) {
  const Bytes f = randomBytes(kYUY2);
  Bytes y(kPixels), u(kPixels / 2), v(kPixels / 2);
  for (auto _ : state) {
    libyuv::YUY2ToI422(f.data(), 2 * kW, y.data(), kW, u.data(), kW / 2, v.data(), kW / 2, kW, kH);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_LibyuvYUY2ToI422)->UseRealTime();

void BM_LibyuvI422ToYUY2(benchmark::State& state) {
  const Bytes y = randomBytes(kPixels), u = randomBytes(kPixels / 2), v = randomBytes(kPixels / 2);
  Bytes f(kYUY2, 1);
  for (auto _ : state) {
    libyuv::I422ToYUY2(y.data(), kW, u.data(), kW / 2, v.data(), kW / 2, f.data(), 2 * kW, kW, kH);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_LibyuvI422ToYUY2)->UseRealTime();

void BM_LibyuvMergeRGBPlane(benchmark::State& state) {
  const Bytes r = randomBytes(kPixels), g = randomBytes(kPixels), b = randomBytes(kPixels);
  Bytes f(kBGR, 1);
  const int stride = static_cast<int>(rivulet::bgrRowStride(kW));
  for (auto _ : state) {
    libyuv::MergeRGBPlane(r.data(), kW, g.data(), kW, b.data(), kW, f.data(), stride, kW, kH);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_LibyuvMergeRGBPlane)->UseRealTime();

void BM_LibyuvYUY2ToARGB(benchmark::State& state) {
  const Bytes f = randomBytes(kYUY2);
  Bytes argb(4 * kPixels);
  for (auto _ : state) {
    libyuv::YUY2ToARGB(f.data(), 2 * kW, argb.data(), 4 * kW, kW, kH);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_LibyuvYUY2ToARGB)->UseRealTime();

void BM_LibyuvI422ToRGB24(benchmark::State& state) {
  const Bytes y = randomBytes(kPixels), u = randomBytes(kPixels / 2), v = randomBytes(kPixels / 2);
  Bytes f(kBGR, 1);
  for (auto _ : state) {
    libyuv::I422ToRGB24(y.data(), kW, u.data(), kW / 2, v.data(), kW / 2, f.data(), 3 * kW, kW, kH);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_LibyuvI422ToRGB24)->UseRealTime();

// libyuv has no BGR -> 4:4:4 in one step: through ARGB, as a host would do.
void BM_LibyuvRGB24ToARGBToI444(benchmark::State& state) {
  const Bytes f = randomBytes(kBGR);
  Bytes argb(4 * kPixels), y(kPixels), u(kPixels), v(kPixels);
  for (auto _ : state) {
    libyuv::RGB24ToARGB(f.data(), 3 * kW, argb.data(), 4 * kW, kW, kH);
    libyuv::ARGBToI444(argb.data(), 4 * kW, y.data(), kW, u.data(), kW, v.data(), kW, kW, kH);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_LibyuvRGB24ToARGBToI444)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
