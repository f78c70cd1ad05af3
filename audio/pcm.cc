// PCM family: interleaved file-style PCM to and from packed per-channel memory
// data (channel c of period i at c * samples + i), and the silence fill.
#include <cstring>

#include "audio/families.h"
#include "audio/pcm_rules.h"

namespace rivulet {
namespace {

// Members whose channel counter is 16 bits wide; they refuse larger counts.
inline constexpr int kMaxShortChannels = 32767;

// PCM of W bytes per sample, read in memory order, to memory type P.
template <int W, int P>
void pcmCopy(void* source, void* destination, int samples, int channels) {
  if (samples < 1 || channels < 1) return;
  auto const* src = static_cast<std::uint8_t const*>(source);
  auto* dst = static_cast<std::uint8_t*>(destination);
  constexpr int kIn = kPcmStorage<W>;
  if constexpr (W == 4 && (P == kPosUInt8 || P == kPosInt16)) {
    // The read position moves only past in-range samples: after the first
    // out-of-range one, every later element gets its clipped value.
    std::int64_t pos = 0;
    for (int i = 0; i < samples; ++i) {
      for (int c = 0; c < channels; ++c) {
        const float x = loadSample<kIn>(src, pos);
        PcmRead<AudioValue<P>> r;
        if constexpr (P == kPosUInt8) r = pcmFloatToUInt8(x);
        else r = pcmFloatToInt16(x);
        storeSample<P>(dst, std::int64_t{c} * samples + i, r.value);
        pos += r.advance;
      }
    }
  } else {
    if constexpr (W == 2 && P == kPosSingle) {
      if (channels == 2) {
        std::uint8_t* right = dst + std::int64_t{samples} * kAudioBytes<P>;
        stereoPeriods(
            samples, [&] { return FastPcmStereoCopy16ToSingle::run(src, dst, right, samples); },
            [&](int i) {
              storeSample<P>(dst, i, pcmToSample<W, P>(loadSample<kIn>(src, 2 * std::int64_t{i})));
              storeSample<P>(right, i, pcmToSample<W, P>(loadSample<kIn>(src, 2 * std::int64_t{i} + 1)));
            });
        return;
      }
    }
    if constexpr (FastPcmCopyRun<W, P>::kAvailable) {
      if (channels <= kMaxStagedChannels) {
        stagedFromInterleaved<W, kAudioBytes<P>>(
            src, dst, samples, channels, samples,
            [](std::uint8_t const* s, std::uint8_t* d, std::int64_t n) {
              const std::int64_t done = FastPcmCopyRun<W, P>::run(s, d, n);
              for (std::int64_t k = done; k < n; ++k)
                storeSample<P>(d, k, pcmToSample<W, P>(loadSample<kIn>(s, k)));
            });
        return;
      }
    }
    std::int64_t pos = 0;
    for (int i = 0; i < samples; ++i)
      for (int c = 0; c < channels; ++c, ++pos)
        storeSample<P>(dst, std::int64_t{c} * samples + i,
                       pcmToSample<W, P>(loadSample<kIn>(src, pos)));
  }
}

// Memory type P to PCM of W bytes per sample.
template <int P, int W>
void pcmOutput(void const* source, void* destination, int samples, int channels) {
  if (samples < 1 || channels < 1) return;
  constexpr bool kShortCounter = ((P == kPosDouble || P == kPosSingle) && (W == 4 || W == 1)) ||
                                 (P == kPosInt16 && W == 1) || (P == kPosUInt8 && W == 2);
  if (kShortCounter && channels > kMaxShortChannels) return;
  auto const* src = static_cast<std::uint8_t const*>(source);
  auto* dst = static_cast<std::uint8_t*>(destination);
  constexpr int kOut = kPcmStorage<W>;
  if constexpr (P == kPosDouble && W == 2) {
    if (channels == 2) {
      std::uint8_t const* right = src + std::int64_t{samples} * kAudioBytes<P>;
      stereoPeriods(
          samples, [&] { return FastPcmStereoOutputDoubleTo16::run(src, right, dst, samples); },
          [&](int i) {
            storeSample<kOut>(dst, 2 * std::int64_t{i}, sampleToPcm<P, W>(loadSample<P>(src, i)));
            storeSample<kOut>(dst, 2 * std::int64_t{i} + 1, sampleToPcm<P, W>(loadSample<P>(right, i)));
          });
      return;
    }
  }
  if constexpr (FastPcmOutputRun<P, W>::kAvailable) {
    if (channels <= kMaxStagedChannels) {
      stagedToInterleaved<kAudioBytes<P>, W>(
          src, dst, samples, channels, samples,
          [](std::uint8_t const* s, std::uint8_t* d, std::int64_t n) {
            const std::int64_t done = FastPcmOutputRun<P, W>::run(s, d, n);
            for (std::int64_t k = done; k < n; ++k)
              storeSample<kOut>(d, k, sampleToPcm<P, W>(loadSample<P>(s, k)));
          });
      return;
    }
  }
  for (int i = 0; i < samples; ++i) {
    const std::int64_t period = std::int64_t{i} * channels;
    for (int c = 0; c < channels; ++c)
      storeSample<kOut>(dst, period + c,
                        sampleToPcm<P, W>(loadSample<P>(src, std::int64_t{c} * samples + i)));
  }
}

// samples * channels elements of silence: zero bytes, or 0x80 for AUDIO_UINT8.
template <int P>
void pcmEmpty(void*, void* destination, int samples, int channels) {
  if (samples < 1 || channels < 1) return;
  const auto bytes = static_cast<std::size_t>(std::int64_t{samples} * channels * kAudioBytes<P>);
  std::memset(destination, P == kPosUInt8 ? 0x80 : 0, bytes);
}

}  // namespace

// Four neighbouring entries per AudioDataType, for widths 32, 24, 16 and 8.
constexpr std::array<PCMAudioCopyFcn, 36> kPCMAudioCopy = {
    // AUDIO_DOUBLE (0)
    &pcmCopy<4, kPosDouble>, &pcmCopy<3, kPosDouble>, &pcmCopy<2, kPosDouble>, &pcmCopy<1, kPosDouble>,
    // AUDIO_SINGLE (1)
    &pcmCopy<4, kPosSingle>, &pcmCopy<3, kPosSingle>, &pcmCopy<2, kPosSingle>, &pcmCopy<1, kPosSingle>,
    // 2: not an audio type
    nullptr, nullptr, nullptr, nullptr,
    // AUDIO_UINT8 (3)
    &pcmCopy<4, kPosUInt8>, &pcmCopy<3, kPosUInt8>, &pcmCopy<2, kPosUInt8>, &pcmCopy<1, kPosUInt8>,
    // AUDIO_INT16 (4)
    &pcmCopy<4, kPosInt16>, &pcmCopy<3, kPosInt16>, &pcmCopy<2, kPosInt16>, &pcmCopy<1, kPosInt16>,
    // 5: not an audio type
    nullptr, nullptr, nullptr, nullptr,
    // AUDIO_INT32 (6): no PCM routine
    nullptr, nullptr, nullptr, nullptr,
    // 7: not an audio type
    nullptr, nullptr, nullptr, nullptr,
    // AUDIO_UNSUPPORTED (8)
    nullptr, nullptr, nullptr, nullptr,
};
#ifndef RIVULET_SANITIZE
// Routines for AUDIO_DOUBLE, AUDIO_SINGLE, AUDIO_UINT8 and AUDIO_INT16 at every width.
static_assert(nonNullEntries(kPCMAudioCopy) == 0xF'F0FFull);
#endif

constexpr std::array<PCMAudioOutputFcn, 36> kPCMAudioOutput = {
    // AUDIO_DOUBLE (0)
    &pcmOutput<kPosDouble, 4>, &pcmOutput<kPosDouble, 3>, &pcmOutput<kPosDouble, 2>, &pcmOutput<kPosDouble, 1>,
    // AUDIO_SINGLE (1)
    &pcmOutput<kPosSingle, 4>, &pcmOutput<kPosSingle, 3>, &pcmOutput<kPosSingle, 2>, &pcmOutput<kPosSingle, 1>,
    // 2: not an audio type
    nullptr, nullptr, nullptr, nullptr,
    // AUDIO_UINT8 (3): no 32- or 24-bit output
    nullptr, nullptr, &pcmOutput<kPosUInt8, 2>, &pcmOutput<kPosUInt8, 1>,
    // AUDIO_INT16 (4): no 32- or 24-bit output
    nullptr, nullptr, &pcmOutput<kPosInt16, 2>, &pcmOutput<kPosInt16, 1>,
    // 5: not an audio type
    nullptr, nullptr, nullptr, nullptr,
    // AUDIO_INT32 (6): no PCM routine
    nullptr, nullptr, nullptr, nullptr,
    // 7: not an audio type
    nullptr, nullptr, nullptr, nullptr,
    // AUDIO_UNSUPPORTED (8)
    nullptr, nullptr, nullptr, nullptr,
};
#ifndef RIVULET_SANITIZE
// The floating types at every width, the integer ones at 16 and 8 bits.
static_assert(nonNullEntries(kPCMAudioOutput) == 0xC'C0FFull);
#endif

PCMAudioEmptyFcn pcmAudioEmpty(AudioDataType type) {
  switch (static_cast<int>(type)) {
    case AUDIO_DOUBLE: return &pcmEmpty<kPosDouble>;
    case AUDIO_SINGLE: return &pcmEmpty<kPosSingle>;
    case AUDIO_UINT8: return &pcmEmpty<kPosUInt8>;
    case AUDIO_INT16: return &pcmEmpty<kPosInt16>;
    default: return nullptr;  // AUDIO_INT32, AUDIO_INT24 and non-types: no silence routine
  }
}

}  // namespace rivulet
