// Packed RGB24 copy (frame to three planes) and padded output (three planes
// to frame) on a 1920 x 1080 picture, both orientations, beside a memset of
// the copy's output and a memcpy of the frame.
#include "bench/video_bench_frames.h"
#include "rivulet/rivulet.h"
#include "video/sample_rules.h"

namespace {

using namespace vbench;

template <int N>
void BM_RGB24ChannelsCopy(benchmark::State& state) {
  using T = rivulet::Sample<N>;
  const VideoInputFcn f = MM_GetRGB24ChannelsCopyFcn(static_cast<VideoDataType>(N));
  const auto& src = randomBytes(rivulet::bgrRowStride(kW) * kH);
  auto r = faulted<T>(kPixels), g = faulted<T>(kPixels), b = faulted<T>(kPixels);
  for (auto _ : state) {
    f(src.data(), r.data(), g.data(), b.data(), kW, kH, static_cast<VideoFrameOrientation>(state.range(0)));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * 3 * kPixels * sizeof(T));
}
BENCHMARK(BM_RGB24ChannelsCopy<VIDEO_UINT8>)->ArgName("colmajor")->Arg(0)->Arg(1)->UseRealTime();
BENCHMARK(BM_RGB24ChannelsCopy<VIDEO_DOUBLE>)->ArgName("colmajor")->Arg(0)->Arg(1)->UseRealTime();
BENCHMARK(BM_RGB24ChannelsCopy<VIDEO_INT16>)->ArgName("colmajor")->Arg(0)->Arg(1)->UseRealTime();

template <int N>
void BM_PaddedRGB24ChannelsOutput(benchmark::State& state) {
  using T = rivulet::Sample<N>;
  const VideoOutputFcn f = MM_GetPaddedRGB24ChannelsOutputFcn(static_cast<VideoDataType>(N));
  std::vector<T> planes[3];
  for (auto& p : planes) {
    p.resize(kPixels);
    const auto& bytes = randomBytes(kPixels);
    for (size_t i = 0; i < kPixels; ++i) p[i] = static_cast<T>(bytes[i]);
  }
  auto frame = faulted<std::uint8_t>(rivulet::bgrRowStride(kW) * kH);
  for (auto _ : state) {
    f(planes[0].data(), planes[1].data(), planes[2].data(), frame.data(), kW, kH,
      static_cast<VideoFrameOrientation>(state.range(0)));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * 3 * kPixels * sizeof(T));
}
BENCHMARK(BM_PaddedRGB24ChannelsOutput<VIDEO_UINT8>)->ArgName("colmajor")->Arg(0)->Arg(1)->UseRealTime();
BENCHMARK(BM_PaddedRGB24ChannelsOutput<VIDEO_DOUBLE>)->ArgName("colmajor")->Arg(0)->Arg(1)->UseRealTime();

void BM_MemsetRGB24CopyOutput(benchmark::State& state) { memsetBytes(state, 3 * kPixels * state.range(0)); }
BENCHMARK(BM_MemsetRGB24CopyOutput)->ArgName("elementbytes")->Arg(1)->Arg(8)->UseRealTime();
void BM_MemcpyRGB24Frame(benchmark::State& state) { memcpyBytes(state, rivulet::bgrRowStride(kW) * kH); }
BENCHMARK(BM_MemcpyRGB24Frame)->UseRealTime();

}  // namespace
