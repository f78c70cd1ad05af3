// Routine tables of the audio families, read by the selectors, and the run
// converter that the copy families share.
#ifndef RIVULET_AUDIO_FAMILIES_H
#define RIVULET_AUDIO_FAMILIES_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "audio/kernels.h"
#include "audio/sample_rules.h"
#include "rivulet/audio.h"

namespace rivulet {

// 6 x 6 tables: entry 6 * position(source) + position(destination).
using AudioCopyTable = std::array<AudioCopyFcn, 36>;
using AudioMapTable = std::array<AudioConvertCopyWithMapFcn, 36>;
extern const AudioCopyTable kAudioConvertCopy;
extern const AudioCopyTable kAudioTransposeFromInterleaved;
extern const AudioCopyTable kAudioTransposeToInterleaved;
extern const AudioMapTable kAudioMappedFromInterleaved;
extern const AudioMapTable kAudioMappedToInterleaved;
// Entry position(type).
extern const std::array<AudioEmptyFcn, 6> kAudioEmpty;

// PCM tables: entry type * 4 + 4 - bits / 8.
extern const std::array<PCMAudioCopyFcn, 36> kPCMAudioCopy;
extern const std::array<PCMAudioOutputFcn, 36> kPCMAudioOutput;
PCMAudioEmptyFcn pcmAudioEmpty(AudioDataType type);

// Bit i set where entry i of a table is not null, for the checks that each
// table's null entries are where its layout says.
template <typename Fcn, std::size_t K>
constexpr std::uint64_t nonNullEntries(std::array<Fcn, K> const& table) {
  std::uint64_t bits = 0;
  for (std::size_t i = 0; i < K; ++i)
    if (table[i] != nullptr) bits |= std::uint64_t{1} << i;
  return bits;
}
// A 6 x 6 table: every cell filled, and the AUDIO_INT24 pair served by the
// AUDIO_INT32 pair.
template <typename Fcn>
constexpr bool isCellTable(std::array<Fcn, 36> const& table) {
  return nonNullEntries(table) == (std::uint64_t{1} << 36) - 1 &&
         table[6 * kPosInt24 + kPosInt24] == table[6 * kPosInt32 + kPosInt32] &&
         table[6 * kPosInt24 + kPosInt32] != table[6 * kPosInt32 + kPosInt32];
}

// ---- Runs ---------------------------------------------------------------------------------

// n elements, one after the other from the first: each element is read before
// it is written, which is what overlapping buffers get.
template <int S, int D>
inline void convertRun_C(std::uint8_t const* src, std::uint8_t* dst, std::int64_t n) {
  for (std::int64_t i = 0; i < n; ++i)
    storeSample<D>(dst, i, convertSample<S, D>(loadSample<S>(src, i)));
}

// n elements of buffers that don't overlap: the fast form where there is one,
// the tail by the plain form.
template <int S, int D>
inline void convertRun(std::uint8_t const* src, std::uint8_t* dst, std::int64_t n) {
  const std::int64_t done = FastConvertRun<S, D>::run(src, dst, n);
  convertRun_C<S, D>(src + done * kAudioBytes<S>, dst + done * kAudioBytes<D>, n - done);
}

// Interleaved stereo to or from two per-channel runs: fast() converts the
// first periods by a fast form and says how many, period(i) does one period
// by the plain rule; the rest of the periods go through period(i).
template <typename Fast, typename Period>
inline void stereoPeriods(int samples, Fast fast, Period period) {
  for (int i = static_cast<int>(fast()); i < samples; ++i) period(i);
}

// True if the byte ranges [a, a + na) and [b, b + nb) share a byte.
inline bool rangesOverlap(void const* a, std::int64_t na, void const* b, std::int64_t nb) {
  const auto pa = reinterpret_cast<std::uintptr_t>(a);
  const auto pb = reinterpret_cast<std::uintptr_t>(b);
  return pa < pb + static_cast<std::uintptr_t>(nb) && pb < pa + static_cast<std::uintptr_t>(na);
}

// ---- Staged transposes ---------------------------------------------------------------------
//
// A fast run works on contiguous elements. To use it across a layout change,
// whole periods are converted in blocks through a stack buffer, and the
// elements are moved to their places by a separate pure copy loop. Only for
// channel counts up to kMaxStagedChannels; wider blocks go element by element.

inline constexpr int kStagedElements = 2048;
inline constexpr int kMaxStagedChannels = 64;

template <int Bytes>
inline void moveElement(std::uint8_t const* from, std::int64_t fromIndex, std::uint8_t* to,
                        std::int64_t toIndex) {
  std::memcpy(to + toIndex * Bytes, from + fromIndex * Bytes, Bytes);
}

// Interleaved source (period stride = channels) to per-channel destination:
// run(src, dst, n) converts n contiguous elements of SB bytes into DB bytes.
template <int SB, int DB, typename Run>
inline void stagedFromInterleaved(std::uint8_t const* src, std::uint8_t* dst, int samples,
                                  int channels, std::int64_t channelStride, Run run) {
  alignas(16) std::uint8_t staged[kStagedElements * DB];
  const int block = kStagedElements / channels;
  for (int i0 = 0; i0 < samples; i0 += block) {
    const int m = std::min(block, samples - i0);
    run(src + std::int64_t{i0} * channels * SB, staged, std::int64_t{m} * channels);
    for (int c = 0; c < channels; ++c) {
      std::uint8_t* out = dst + (c * channelStride + i0) * DB;
      for (int i = 0; i < m; ++i) moveElement<DB>(staged, i * channels + c, out, i);
    }
  }
}

// Per-channel source to interleaved destination (period stride = channels).
template <int SB, int DB, typename Run>
inline void stagedToInterleaved(std::uint8_t const* src, std::uint8_t* dst, int samples,
                                int channels, std::int64_t channelStride, Run run) {
  alignas(16) std::uint8_t staged[kStagedElements * SB];
  const int block = kStagedElements / channels;
  for (int i0 = 0; i0 < samples; i0 += block) {
    const int m = std::min(block, samples - i0);
    for (int c = 0; c < channels; ++c) {
      std::uint8_t const* in = src + (c * channelStride + i0) * SB;
      for (int i = 0; i < m; ++i) moveElement<SB>(in, i, staged, i * channels + c);
    }
    run(staged, dst + std::int64_t{i0} * channels * DB, std::int64_t{m} * channels);
  }
}

}  // namespace rivulet

#endif
