// Channel-mapped copy: like the transpose copy, but channelMap[j] names the
// slot of an interleaved period that per-channel channel j is tied to.
#include "audio/families.h"

namespace rivulet {
namespace {

// The two tables take frameStride and channels in opposite order:
//   fromInterleaved true:  fifth = frameStride, sixth = channels
//   fromInterleaved false: fifth = channels,    sixth = frameStride
// Reading an interleaved buffer, equal map entries feed one slot to several
// channels; writing one, slots the map doesn't name keep their contents and
// with equal entries the later j wins.
template <int S, int D, bool FromInterleaved>
void mappedCopy(void const* source, void* destination, int channelStride, int samples, int fifth,
                int sixth, int* channelMap) {
  const int frameStride = FromInterleaved ? fifth : sixth;
  const int channels = FromInterleaved ? sixth : fifth;
  if (samples < 1 || channels < 1) return;
  auto const* src = static_cast<std::uint8_t const*>(source);
  auto* dst = static_cast<std::uint8_t*>(destination);
  for (int i = 0; i < samples; ++i) {
    const std::int64_t period = std::int64_t{i} * frameStride;
    for (int j = 0; j < channels; ++j) {
      const std::int64_t slot = period + channelMap[j];
      const std::int64_t perChannel = std::int64_t{j} * channelStride + i;
      storeSample<D>(dst, FromInterleaved ? perChannel : slot,
                     convertSample<S, D>(loadSample<S>(src, FromInterleaved ? slot : perChannel)));
    }
  }
}

}  // namespace

constexpr AudioMapTable kAudioMappedFromInterleaved =
    buildAudioTable<AudioConvertCopyWithMapFcn>([]<int S, int D> { return &mappedCopy<S, D, true>; });
constexpr AudioMapTable kAudioMappedToInterleaved =
    buildAudioTable<AudioConvertCopyWithMapFcn>([]<int S, int D> { return &mappedCopy<S, D, false>; });
#ifndef RIVULET_SANITIZE
static_assert(isCellTable(kAudioMappedFromInterleaved) && isCellTable(kAudioMappedToInterleaved));
#endif

}  // namespace rivulet
