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

// Destination element c * channelStride + i = rule(source element i * channels + c).
template <int S, int D>
void transposeFromInterleaved(void const* source, void* destination, int samples, int channels,
                              int channelStride) {
  if (samples < 1 || channels < 1) return;
  auto const* src = static_cast<std::uint8_t const*>(source);
  auto* dst = static_cast<std::uint8_t*>(destination);
  if constexpr (FastStereoFromInterleaved<S, D>::kAvailable) {
    if (channels == 2) {
      std::uint8_t* right = dst + std::int64_t{channelStride} * kAudioBytes<D>;
      const int done = static_cast<int>(FastStereoFromInterleaved<S, D>::run(src, dst, right, samples));
      for (int i = done; i < samples; ++i) {
        storeSample<D>(dst, i, convertSample<S, D>(loadSample<S>(src, 2 * std::int64_t{i})));
        storeSample<D>(right, i, convertSample<S, D>(loadSample<S>(src, 2 * std::int64_t{i} + 1)));
      }
      return;
    }
  }
  if constexpr (FastConvertRun<S, D>::kAvailable) {
    if (channels <= kMaxStagedChannels) {
      stagedFromInterleaved<kAudioBytes<S>, kAudioBytes<D>>(src, dst, samples, channels,
                                                            channelStride, runOf<S, D>);
      return;
    }
  }
  for (int c = 0; c < channels; ++c) {
    const std::int64_t base = std::int64_t{c} * channelStride;
    for (int i = 0; i < samples; ++i)
      storeSample<D>(dst, base + i,
                     convertSample<S, D>(loadSample<S>(src, std::int64_t{i} * channels + c)));
  }
}

// Destination element i * channels + c = rule(source element c * channelStride + i).
template <int S, int D>
void transposeToInterleaved(void const* source, void* destination, int samples, int channels,
                            int channelStride) {
  if (samples < 1 || channels < 1) return;
  auto const* src = static_cast<std::uint8_t const*>(source);
  auto* dst = static_cast<std::uint8_t*>(destination);
  if constexpr (FastConvertRun<S, D>::kAvailable) {
    if (channels <= kMaxStagedChannels) {
      stagedToInterleaved<kAudioBytes<S>, kAudioBytes<D>>(src, dst, samples, channels,
                                                          channelStride, runOf<S, D>);
      return;
    }
  }
  for (int c = 0; c < channels; ++c) {
    const std::int64_t base = std::int64_t{c} * channelStride;
    for (int i = 0; i < samples; ++i)
      storeSample<D>(dst, std::int64_t{i} * channels + c,
                     convertSample<S, D>(loadSample<S>(src, base + i)));
  }
}

template <int S, int D>
struct FromInterleavedMember {
  static constexpr AudioCopyFcn fcn = &transposeFromInterleaved<S, D>;
};
template <int S, int D>
struct ToInterleavedMember {
  static constexpr AudioCopyFcn fcn = &transposeToInterleaved<S, D>;
};

}  // namespace

constexpr AudioCopyTable kAudioTransposeFromInterleaved =
    buildAudioTable<AudioCopyFcn, FromInterleavedMember>();
constexpr AudioCopyTable kAudioTransposeToInterleaved =
    buildAudioTable<AudioCopyFcn, ToInterleavedMember>();
static_assert(kAudioTransposeFromInterleaved.size() == 36 &&
              kAudioTransposeToInterleaved.size() == 36);

}  // namespace rivulet
