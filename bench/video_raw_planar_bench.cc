// Raw planar transposes of one 1920 x 1080 plane, beside libyuv's
// TransposePlane (bytes) and a memcpy of the source bytes (wide types).
#include <libyuv/rotate.h>

#include "bench/video_bench_frames.h"
#include "rivulet/rivulet.h"
#include "video/sample_rules.h"

namespace {

using namespace vbench;

template <int S, int D>
void BM_RawPlanar(benchmark::State& state) {
  const auto f = MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(static_cast<VideoDataType>(S),
                                                               static_cast<VideoDataType>(D));
  std::vector<rivulet::Sample<S>> src(kPixels);
  const auto& bytes = randomBytes(kPixels);
  for (size_t i = 0; i < kPixels; ++i) src[i] = static_cast<rivulet::Sample<S>>(bytes[i] / 255.0 * 2 - 1);
  auto dst = faulted<rivulet::Sample<D>>(kPixels);
  const bool flip = state.range(0) != 0;
  for (auto _ : state) {
    f(src.data(), dst.data(), kW, kH, 1, 0, flip);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kPixels * sizeof(rivulet::Sample<S>));
}
BENCHMARK(BM_RawPlanar<VIDEO_UINT8, VIDEO_UINT8>)->ArgName("flip")->Arg(0)->Arg(1)->UseRealTime();
BENCHMARK(BM_RawPlanar<VIDEO_BOOLEAN, VIDEO_UINT8>)->ArgName("flip")->Arg(0)->UseRealTime();
BENCHMARK(BM_RawPlanar<VIDEO_INT16, VIDEO_INT16>)->ArgName("flip")->Arg(0)->Arg(1)->UseRealTime();
BENCHMARK(BM_RawPlanar<VIDEO_DOUBLE, VIDEO_INT16>)->ArgName("flip")->Arg(0)->UseRealTime();
BENCHMARK(BM_RawPlanar<VIDEO_SINGLE, VIDEO_INT16>)->ArgName("flip")->Arg(0)->UseRealTime();
BENCHMARK(BM_RawPlanar<VIDEO_INT32, VIDEO_INT16>)->ArgName("flip")->Arg(0)->UseRealTime();
BENCHMARK(BM_RawPlanar<VIDEO_UINT32, VIDEO_UINT16>)->ArgName("flip")->Arg(0)->UseRealTime();

// The source is column-major: libyuv sees it as kW rows of kH bytes.
void BM_LibyuvTransposePlane(benchmark::State& state) {
  const auto& src = randomBytes(kPixels);
  auto dst = faulted<std::uint8_t>(kPixels);
  for (auto _ : state) {
    libyuv::TransposePlane(src.data(), kH, dst.data(), kW, kH, kW);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kPixels);
}
BENCHMARK(BM_LibyuvTransposePlane)->UseRealTime();

void BM_MemcpySourceBytes(benchmark::State& state) { memcpyBytes(state, kPixels * state.range(0)); }
BENCHMARK(BM_MemcpySourceBytes)->ArgName("elementbytes")->Arg(1)->Arg(2)->Arg(4)->Arg(8)->UseRealTime();

}  // namespace
