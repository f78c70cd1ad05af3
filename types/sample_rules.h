// The 8-bit rules of the video sample types, side by side: the widening
// rule that fills each type's EightBitLUT, and the narrowing rule back to a
// byte; and the wrapping 32-bit product that sizes a picture or a block.
// Every routine of types/, video/ and audio/ computes these here.
#ifndef RIVULET_TYPES_SAMPLE_RULES_H
#define RIVULET_TYPES_SAMPLE_RULES_H

#include <cstdint>

#include "types/traits.h"

namespace rivulet {

template <int N>
using Sample = typename videoTraits<N>::type;

// An int * int as the signed 32-bit product it is (a pixel count w * h, an
// element count samples * channels), wrapping like the two's-complement
// multiply without undefined behaviour.
inline std::int32_t product32(int a, int b) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

// ---- Widening: entry i of a type's EightBitLUT ------------------------------------------

// Entry rules of the 8-bit tables. The floating tables divide in double and
// round to single; the integer ones are plain shifts of i or i - 128, so they
// start at the signed minimum and stop short of max.
template <int N>
inline Sample<N> widenByte(int i) {
  if constexpr (N == VIDEO_DOUBLE)
    return static_cast<double>(static_cast<float>(i / 255.0));
  else if constexpr (N == VIDEO_SINGLE)
    return static_cast<float>(i / 255.0);
  else if constexpr (N == VIDEO_INT8)
    return static_cast<char>(i - 128);
  else if constexpr (N == VIDEO_UINT8)
    return static_cast<unsigned char>(i);
  else if constexpr (N == VIDEO_INT16)
    return static_cast<short>((i - 128) * 256);
  else if constexpr (N == VIDEO_UINT16)
    return static_cast<unsigned short>(i * 256);
  else if constexpr (N == VIDEO_INT32)
    return (i - 128) * 16777216;
  else if constexpr (N == VIDEO_UINT32)
    return static_cast<unsigned int>(i) << 24;
  else
    return static_cast<unsigned char>(i != 0);
}

// ---- Narrowing --------------------------------------------------------------------------

// A sample as single precision: doubles round, 32-bit unsigned goes through a
// 64-bit integer so it stays unsigned, every other integer through int32.
template <int N>
inline float sampleAsSingle(Sample<N> x) {
  if constexpr (N == VIDEO_DOUBLE || N == VIDEO_SINGLE)
    return static_cast<float>(x);
  else if constexpr (N == VIDEO_UINT32)
    return static_cast<float>(static_cast<std::int64_t>(x));
  else
    return static_cast<float>(static_cast<std::int32_t>(x));
}

// Narrowing, saturating, in single precision:
//   t = ((x - min) / (max - min)) * 255, then (int)(double(t) + 0.5) truncated,
// and a result with bits above the low eight becomes 0 if negative, else 255.
// NaN and values too large for int32 truncate to INT32_MIN and so give 0.
// min and max go through the same single-precision step as x: INT32 gets the
// range 4294967296.0, which is intended.
template <int N>
inline std::uint8_t sampleToByte(Sample<N> x) {
  if constexpr (N == VIDEO_UINT8) {
    return x;
  } else {
    const float lo = sampleAsSingle<N>(videoTraits<N>::min);
    const float hi = sampleAsSingle<N>(videoTraits<N>::max);
    const float range = hi - lo;
    const float t = ((sampleAsSingle<N>(x) - lo) / range) * 255.0f;
    std::int32_t v = truncateToInt32(static_cast<double>(t) + 0.5);
    if (v & ~0xFF) v = v < 0 ? 0 : 255;
    return static_cast<std::uint8_t>(v);
  }
}

}  // namespace rivulet

#endif
