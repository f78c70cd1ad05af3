// Channel-mapped copy: like the transpose copy, but channelMap[j] names the
// slot of an interleaved period that per-channel channel j is tied to.
#include "audio/families.h"

namespace rivulet {
namespace {

// Interleaved source, per-channel destination; fifth = frameStride,
// sixth = channels. Equal map entries feed one slot to several channels.
template <int S, int D>
void mappedFromInterleaved(void const* source, void* destination, int channelStride, int samples,
                           int frameStride, int channels, int* channelMap) {
  if (samples < 1 || channels < 1) return;
  auto const* src = static_cast<std::uint8_t const*>(source);
  auto* dst = static_cast<std::uint8_t*>(destination);
  for (int i = 0; i < samples; ++i) {
    const std::int64_t period = std::int64_t{i} * frameStride;
    for (int j = 0; j < channels; ++j)
      storeSample<D>(dst, std::int64_t{j} * channelStride + i,
                     convertSample<S, D>(loadSample<S>(src, period + channelMap[j])));
  }
}

// Per-channel source, interleaved destination; fifth = channels,
// sixth = frameStride. Slots the map doesn't name keep their contents; with
// equal entries the later j wins.
template <int S, int D>
void mappedToInterleaved(void const* source, void* destination, int channelStride, int samples,
                         int channels, int frameStride, int* channelMap) {
  if (samples < 1 || channels < 1) return;
  auto const* src = static_cast<std::uint8_t const*>(source);
  auto* dst = static_cast<std::uint8_t*>(destination);
  for (int i = 0; i < samples; ++i) {
    const std::int64_t period = std::int64_t{i} * frameStride;
    for (int j = 0; j < channels; ++j)
      storeSample<D>(dst, period + channelMap[j],
                     convertSample<S, D>(loadSample<S>(src, std::int64_t{j} * channelStride + i)));
  }
}

template <int S, int D>
struct FromInterleavedMember {
  static constexpr AudioConvertCopyWithMapFcn fcn = &mappedFromInterleaved<S, D>;
};
template <int S, int D>
struct ToInterleavedMember {
  static constexpr AudioConvertCopyWithMapFcn fcn = &mappedToInterleaved<S, D>;
};

}  // namespace

constexpr AudioMapTable kAudioMappedFromInterleaved =
    buildAudioTable<AudioConvertCopyWithMapFcn, FromInterleavedMember>();
constexpr AudioMapTable kAudioMappedToInterleaved =
    buildAudioTable<AudioConvertCopyWithMapFcn, ToInterleavedMember>();
static_assert(kAudioMappedFromInterleaved.size() == 36 && kAudioMappedToInterleaved.size() == 36);

}  // namespace rivulet
