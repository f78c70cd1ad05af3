// Convert copy (a flat run of samples * channels elements changes type) and
// empty (per-channel runs cleared to zero bytes).
#include <cstring>

#include "audio/families.h"

namespace rivulet {
namespace {

template <int S, int D>
void audioConvertCopy(void const* source, void* destination, int samples, int channels, int) {
  const std::int64_t n = product32(samples, channels);
  if (n < 1) return;
  auto const* src = static_cast<std::uint8_t const*>(source);
  auto* dst = static_cast<std::uint8_t*>(destination);
  if (rangesOverlap(src, n * kAudioBytes<S>, dst, n * kAudioBytes<D>)) {
    convertRun_C<S, D>(src, dst, n);
  } else if constexpr (S == D) {
    std::memcpy(dst, src, static_cast<std::size_t>(n) * kAudioBytes<S>);
  } else {
    convertRun<S, D>(src, dst, n);
  }
}

// Each channel's `samples` elements from c * channelStride on become zero bytes.
template <int P>
void audioEmpty(void const*, void* destination, int samples, int channels, int channelStride) {
  if (samples < 1 || channels < 1) return;
  auto* dst = static_cast<std::uint8_t*>(destination);
  for (int c = 0; c < channels; ++c)
    std::memset(dst + std::int64_t{c} * channelStride * kAudioBytes<P>, 0,
                static_cast<std::size_t>(samples) * kAudioBytes<P>);
}

// AUDIO_INT24 differs on purpose: channelStride counts bytes, and the write
// position steps one byte per sample, clearing three bytes each time, so a run
// of n samples clears bytes 0 to n + 1 of its channel.
template <>
void audioEmpty<kPosInt24>(void const*, void* destination, int samples, int channels,
                           int channelStride) {
  if (samples < 1 || channels < 1) return;
  auto* dst = static_cast<std::uint8_t*>(destination);
  for (int c = 0; c < channels; ++c)
    std::memset(dst + std::int64_t{c} * channelStride, 0, static_cast<std::size_t>(samples) + 2);
}

}  // namespace

constexpr AudioCopyTable kAudioConvertCopy = buildAudioTable<AudioCopyFcn>([]<int S, int D> { return &audioConvertCopy<S, D>; });
#ifndef RIVULET_SANITIZE
static_assert(isCellTable(kAudioConvertCopy));
#endif

constexpr std::array<AudioEmptyFcn, 6> kAudioEmpty = {
    &audioEmpty<kPosDouble>, &audioEmpty<kPosSingle>, &audioEmpty<kPosInt32>,
    &audioEmpty<kPosInt24>,  &audioEmpty<kPosInt16>,  &audioEmpty<kPosUInt8>,
};
static_assert(kAudioEmpty.size() == kAudioTypeCount);

}  // namespace rivulet
