// Transpose copy: interleaved to per-channel (fromInterleaved true) or back,
// converting the type on the way. Cells with a fast run go through the staged
// transposes; the others element by element in channel order.
#include "audio/families.h"

namespace rivulet {
namespace {

// The cell's run, as an object the staged transposes can inline.
template <int S, int D>
constexpr auto runOf = [](std::uint8_t const* src, std::uint8_t* dst, std::int64_t n) {
  convertRun<S, D>(src, dst, n);
};

// Element i * channels + c of the interleaved side and element
// c * channelStride + i of the per-channel side are source and destination,
// in the order the flag says.
template <int S, int D, bool FromInterleaved>
void transposeCopy(void const* source, void* destination, int samples, int channels,
                   int channelStride) {
  if (samples < 1 || channels < 1) return;
  auto const* src = static_cast<std::uint8_t const*>(source);
  auto* dst = static_cast<std::uint8_t*>(destination);
  if constexpr (FromInterleaved && FastStereoFromInterleaved<S, D>::kAvailable) {
    if (channels == 2) {
      std::uint8_t* right = dst + std::int64_t{channelStride} * kAudioBytes<D>;
      stereoPeriods(
          samples, [&] { return FastStereoFromInterleaved<S, D>::run(src, dst, right, samples); },
          [&](int i) {
            storeSample<D>(dst, i, convertSample<S, D>(loadSample<S>(src, 2 * std::int64_t{i})));
            storeSample<D>(right, i, convertSample<S, D>(loadSample<S>(src, 2 * std::int64_t{i} + 1)));
          });
      return;
    }
  }
  if constexpr (FastConvertRun<S, D>::kAvailable) {
    if (channels <= kMaxStagedChannels) {
      if constexpr (FromInterleaved)
        stagedFromInterleaved<kAudioBytes<S>, kAudioBytes<D>>(src, dst, samples, channels,
                                                              channelStride, runOf<S, D>);
      else
        stagedToInterleaved<kAudioBytes<S>, kAudioBytes<D>>(src, dst, samples, channels,
                                                            channelStride, runOf<S, D>);
      return;
    }
  }
  for (int c = 0; c < channels; ++c) {
    const std::int64_t base = std::int64_t{c} * channelStride;
    for (int i = 0; i < samples; ++i) {
      const std::int64_t interleaved = std::int64_t{i} * channels + c;
      storeSample<D>(dst, FromInterleaved ? base + i : interleaved,
                     convertSample<S, D>(loadSample<S>(src, FromInterleaved ? interleaved : base + i)));
    }
  }
}

}  // namespace

constexpr AudioCopyTable kAudioTransposeFromInterleaved =
    buildAudioTable<AudioCopyFcn>([]<int S, int D> { return &transposeCopy<S, D, true>; });
constexpr AudioCopyTable kAudioTransposeToInterleaved =
    buildAudioTable<AudioCopyFcn>([]<int S, int D> { return &transposeCopy<S, D, false>; });
#ifndef RIVULET_SANITIZE
static_assert(isCellTable(kAudioTransposeFromInterleaved) && isCellTable(kAudioTransposeToInterleaved));
#endif

}  // namespace rivulet
