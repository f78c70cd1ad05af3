// Intensity from BGR, contiguous planes and YUY2 luma on a 1920 x 1080
// picture, both orientations, beside libyuv's RGB24ToJ400 (BGR to full-range
// luma) and a memset of the output.
#include <libyuv/convert.h>

#include "bench/video_bench_frames.h"
#include "rivulet/rivulet.h"
#include "video/sample_rules.h"

namespace {

using namespace vbench;

template <int N>
void BM_Intensity(benchmark::State& state) {
  const auto dt = static_cast<VideoDataType>(N);
  const int source = static_cast<int>(state.range(0));  // 0 BGR, 1 _mmr planes, 2 YUY2
  const auto orientation = static_cast<VideoFrameOrientation>(state.range(1));
  const VideoInputFcn f = source == 0   ? MM_GetRGBToIntensityChannelsInputFcn(dt)
                          : source == 1 ? MM_GetRGBToIntensityChannelsInputFcn_mmr(dt)
                                        : MM_GetYCbCrToIntensityChannelsInputFcn(dt);
  const auto& src = randomBytes(source == 0 ? rivulet::bgrRowStride(kW) * kH : (source == 1 ? 3 : 2) * kPixels);
  auto out = faulted<rivulet::Sample<N>>(kPixels);
  for (auto _ : state) {
    f(src.data(), out.data(), nullptr, nullptr, kW, kH, orientation);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kPixels * sizeof(rivulet::Sample<N>));
}
void sources(benchmark::internal::Benchmark* b) {
  b->ArgNames({"src", "colmajor"});
  for (int s = 0; s < 3; ++s)
    for (int o = 0; o < 2; ++o) b->Args({s, o});
  b->UseRealTime();
}
BENCHMARK(BM_Intensity<VIDEO_UINT8>)->Apply(sources);
BENCHMARK(BM_Intensity<VIDEO_DOUBLE>)->Apply(sources);
BENCHMARK(BM_Intensity<VIDEO_INT16>)->Apply(sources);
BENCHMARK(BM_Intensity<VIDEO_UINT16>)->Apply(sources);
BENCHMARK(BM_Intensity<VIDEO_UINT32>)->Apply(sources);
// The other types computed in double, row-major from each source.
BENCHMARK(BM_Intensity<VIDEO_SINGLE>)->ArgNames({"src", "colmajor"})->Args({0, 0})->Args({1, 0})->Args({2, 0})->UseRealTime();
BENCHMARK(BM_Intensity<VIDEO_INT32>)->ArgNames({"src", "colmajor"})->Args({0, 0})->Args({1, 0})->Args({2, 0})->UseRealTime();

// The kernel's own floor: VIDEO_DOUBLE on a 480 x 270 picture, whose frame
// and plane stay in L2 (times 16 is the 1920 x 1080 figure it could reach).
void BM_IntensityDoubleInL2(benchmark::State& state) {
  const int w = 480, h = 270, source = static_cast<int>(state.range(0));
  const VideoInputFcn f = source == 0 ? MM_GetRGBToIntensityChannelsInputFcn(VIDEO_DOUBLE)
                                      : MM_GetYCbCrToIntensityChannelsInputFcn(VIDEO_DOUBLE);
  const auto& src = randomBytes(source == 0 ? rivulet::bgrRowStride(w) * h : 2 * w * h);
  auto out = faulted<double>(size_t{w} * h);
  for (auto _ : state) {
    f(src.data(), out.data(), nullptr, nullptr, w, h, ORIENTATION_ROW_MAJOR);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * w * h * sizeof(double));
}
BENCHMARK(BM_IntensityDoubleInL2)->ArgName("src")->Arg(0)->Arg(2)->UseRealTime();

void BM_LibyuvRGB24ToJ400(benchmark::State& state) {
  const int stride = static_cast<int>(rivulet::bgrRowStride(kW));
  const auto& src = randomBytes(static_cast<size_t>(stride) * kH);
  auto out = faulted<std::uint8_t>(kPixels);
  for (auto _ : state) {
    libyuv::RGB24ToJ400(src.data(), stride, out.data(), kW, kW, kH);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kPixels);
}
BENCHMARK(BM_LibyuvRGB24ToJ400)->UseRealTime();

void BM_MemsetIntensityOutput(benchmark::State& state) { memsetBytes(state, kPixels * state.range(0)); }
BENCHMARK(BM_MemsetIntensityOutput)->ArgName("elementbytes")->Arg(1)->Arg(2)->Arg(4)->Arg(8)->UseRealTime();

}  // namespace
