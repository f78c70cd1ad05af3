// The six audio sample types in table order, how an element of each is loaded
// and stored, and the 6 x 6 value rules between them. Every routine of the
// convert copy, transpose copy and mapped copy families computes its sample
// values here and nowhere else.
#ifndef RIVULET_AUDIO_SAMPLE_RULES_H
#define RIVULET_AUDIO_SAMPLE_RULES_H

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <utility>

#include "rivulet/audio.h"
#include "types/sample_rules.h"
#include "types/traits.h"

namespace rivulet {

// Table positions of the sample types; rows are sources, columns destinations.
enum AudioPosition : int {
  kPosDouble = 0,
  kPosSingle = 1,
  kPosInt32 = 2,
  kPosInt24 = 3,
  kPosInt16 = 4,
  kPosUInt8 = 5,
};
inline constexpr int kAudioTypeCount = 6;

// Table position of a sample type; throws a char * for anything else.
int GetConvertIndex(AudioDataType type);

// The value a sample of each position is computed in. AUDIO_INT24 lives in an
// int32 whose low byte is zero (its three bytes are the upper three).
template <int P> struct AudioTraits;
template <> struct AudioTraits<kPosDouble> { using Value = double;        static constexpr int bytes = 8; };
template <> struct AudioTraits<kPosSingle> { using Value = float;         static constexpr int bytes = 4; };
template <> struct AudioTraits<kPosInt32>  { using Value = std::int32_t;  static constexpr int bytes = 4; };
template <> struct AudioTraits<kPosInt24>  { using Value = std::int32_t;  static constexpr int bytes = 3; };
template <> struct AudioTraits<kPosInt16>  { using Value = std::int16_t;  static constexpr int bytes = 2; };
template <> struct AudioTraits<kPosUInt8>  { using Value = std::uint8_t;  static constexpr int bytes = 1; };

template <int P>
using AudioValue = typename AudioTraits<P>::Value;
template <int P>
inline constexpr int kAudioBytes = AudioTraits<P>::bytes;

// Element access by byte pointer and element index. memcpy keeps the access
// free of alignment and aliasing assumptions (source and destination may be
// the same buffer); it compiles to a plain load or store.
template <int P>
inline AudioValue<P> loadSample(std::uint8_t const* base, std::int64_t index) {
  std::uint8_t const* p = base + index * kAudioBytes<P>;
  if constexpr (P == kPosInt24) {
    // b0 * 2^8 + b1 * 2^16 + b2 * 2^24 with b2 signed.
    const std::uint32_t u = (std::uint32_t{p[0]} << 8) | (std::uint32_t{p[1]} << 16) |
                            (std::uint32_t{p[2]} << 24);
    return static_cast<std::int32_t>(u);
  } else {
    AudioValue<P> v;
    std::memcpy(&v, p, sizeof v);
    return v;
  }
}

template <int P>
inline void storeSample(std::uint8_t* base, std::int64_t index, AudioValue<P> v) {
  std::uint8_t* p = base + index * kAudioBytes<P>;
  if constexpr (P == kPosInt24) {
    // Bits 8-15, 16-23, 24-31; the low byte is dropped without rounding.
    const auto u = static_cast<std::uint32_t>(v);
    p[0] = static_cast<std::uint8_t>(u >> 8);
    p[1] = static_cast<std::uint8_t>(u >> 16);
    p[2] = static_cast<std::uint8_t>(u >> 24);
  } else {
    std::memcpy(p, &v, sizeof v);
  }
}

// Scale factors: 2^-31, 2^-15 and 2^-7, all exact in both precisions.
inline constexpr double kInt32Scale = 4.656612873077393e-10;
inline constexpr double kInt16Scale = 3.0517578125e-05;
inline constexpr double kUInt8Scale = 0.0078125;
static_assert(kInt32Scale == 0x1p-31 && kInt16Scale == 0x1p-15 && kUInt8Scale == 0x1p-7);

// x limited to [lo, hi] by replacement. NaN compares false both ways and
// passes through, for the conversion after it to define.
template <typename T>
inline T clip(T x, T lo, T hi) {
  return x > hi ? hi : x < lo ? lo : x;
}

// ---- Row AUDIO_DOUBLE: floor, clip in double, then convert ----------------------------

// floor(x * 2^31) clipped to the int32 range. NaN passes the clip and
// converts to the most negative value.
inline std::int32_t doubleToInt32(double x) {
  return truncateToInt32(clip(std::floor(x * 2147483648.0), -2147483648.0, 2147483647.0));
}

// floor(x * 2^15) clipped to the int16 range; NaN gives 0 (the low 16 bits of
// the most negative int32).
inline std::int16_t doubleToInt16(double x) {
  return static_cast<std::int16_t>(truncateToInt32(clip(std::floor(x * 32768.0), -32768.0, 32767.0)));
}

// x * 128 + 128 clipped to [0, 255], truncated; NaN gives 0.
inline std::uint8_t doubleToUInt8(double x) {
  return static_cast<std::uint8_t>(truncateToInt32(clip(x * 128.0 + 128.0, 0.0, 255.0)));
}

// ---- Row AUDIO_SINGLE: product in single precision, truncation, saturation ---------------

// p = x * 2^31 in single precision; p >= 2147483647 (as double) saturates, so
// +1.0 gives 2147483647; below -2^31 gives the minimum; otherwise trunc(p).
// Not a clip: single precision has no 2147483647, and the nearest value, 2^31,
// would convert to the minimum.
inline std::int32_t singleToInt32(float x) {
  const float p = x * 2147483648.0f;
  if (static_cast<double>(p) >= 2147483647.0) return 2147483647;
  if (static_cast<double>(p) < -2147483648.0) return -2147483647 - 1;
  return truncateToInt32(p);
}

// p = x * 2^15 in single precision, saturated, else truncated; NaN gives 0.
// The bounds are exact in single precision, so the clip may stay there.
inline std::int16_t singleToInt16(float x) {
  return static_cast<std::int16_t>(truncateToInt32(clip(x * 32768.0f, -32768.0f, 32767.0f)));
}

// p = x * 128 + 128 in single precision, saturated to [0, 255], else
// truncated; NaN gives 0.
inline std::uint8_t singleToUInt8(float x) {
  return static_cast<std::uint8_t>(truncateToInt32(clip(x * 128.0f + 128.0f, 0.0f, 255.0f)));
}

// ---- The matrix ----------------------------------------------------------------------------

// The value of destination position D for a source sample x of position S.
template <int S, int D>
inline AudioValue<D> convertSample(AudioValue<S> x) {
  if constexpr (S == D) {
    return x;  // bit for bit (AUDIO_INT24 keeps its zero low byte)
  } else if constexpr (S == kPosDouble) {
    if constexpr (D == kPosSingle) return static_cast<float>(x);
    else if constexpr (D == kPosInt32 || D == kPosInt24) return doubleToInt32(x);
    else if constexpr (D == kPosInt16) return doubleToInt16(x);
    else return doubleToUInt8(x);
  } else if constexpr (S == kPosSingle) {
    if constexpr (D == kPosDouble) return static_cast<double>(x);
    else if constexpr (D == kPosInt32 || D == kPosInt24) return singleToInt32(x);
    else if constexpr (D == kPosInt16) return singleToInt16(x);
    else return singleToUInt8(x);
  } else if constexpr (S == kPosInt32 || S == kPosInt24) {
    // An AUDIO_INT24 value is the 32-bit sample with a zero low byte, so the
    // two rows share their scaling; they differ where they narrow.
    if constexpr (D == kPosDouble) return x * kInt32Scale;
    else if constexpr (D == kPosSingle)
      return static_cast<float>(x) * static_cast<float>(kInt32Scale);
    else if constexpr (D == kPosInt32 || D == kPosInt24)
      return x;  // to AUDIO_INT24 the store drops the low byte
    else if constexpr (D == kPosInt16) {
      if constexpr (S == kPosInt32)
        return static_cast<std::int16_t>(x / 65536);  // toward zero: -1 -> 0
      else
        return static_cast<std::int16_t>(x >> 16);  // bytes b1, b2: toward -inf
    } else {
      if constexpr (S == kPosInt32)
        return static_cast<std::uint8_t>(x / 16777216 + 128);  // toward zero, mod 256
      else
        return static_cast<std::uint8_t>((x >> 24) + 128);  // b2 + 128 mod 256
    }
  } else if constexpr (S == kPosInt16) {
    if constexpr (D == kPosDouble) return x * kInt16Scale;
    else if constexpr (D == kPosSingle)
      return static_cast<float>(x) * static_cast<float>(kInt16Scale);
    else if constexpr (D == kPosInt32 || D == kPosInt24)
      return static_cast<std::int32_t>(x) * 65536;  // x << 16; fits in int32
    else
      return static_cast<std::uint8_t>(x / 256 + 128);  // toward zero, mod 256
  } else {  // kPosUInt8
    if constexpr (D == kPosDouble) return (x - 128.0) * kUInt8Scale;
    else if constexpr (D == kPosSingle)
      return (static_cast<float>(x) - 128.0f) * static_cast<float>(kUInt8Scale);
    else if constexpr (D == kPosInt32 || D == kPosInt24)
      return (static_cast<std::int32_t>(x) - 128) * 16777216;  // (x - 128) << 24
    else
      return static_cast<std::int16_t>((x - 128) * 256);  // (x - 128) << 8
  }
}

// The member that sits in cell (S, D) of every table. The AUDIO_INT24 pair is
// served by the AUDIO_INT32 pair: four-byte elements on both sides.
template <int S, int D>
inline constexpr int kCellSource = (S == kPosInt24 && D == kPosInt24) ? kPosInt32 : S;
template <int S, int D>
inline constexpr int kCellDestination = (S == kPosInt24 && D == kPosInt24) ? kPosInt32 : D;

// Builds a 36-entry table: entry 6 * S + D is member.template operator()<S',
// D'>() with the cell's positions, for a member such as
// []<int S, int D> { return &routine<S, D>; }. One table shape for every family.
template <typename Fcn, typename Member, std::size_t... I>
constexpr std::array<Fcn, sizeof...(I)> buildAudioTable(Member member, std::index_sequence<I...>) {
  return {{member.template operator()<kCellSource<int(I) / 6, int(I) % 6>,
                                      kCellDestination<int(I) / 6, int(I) % 6>>()...}};
}
template <typename Fcn, typename Member>
constexpr std::array<Fcn, 36> buildAudioTable(Member member) {
  return buildAudioTable<Fcn>(member, std::make_index_sequence<36>{});
}

}  // namespace rivulet

#endif
