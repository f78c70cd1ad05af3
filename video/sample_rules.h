// The two sample rules every video family goes through, and the frame layout
// arithmetic they share.
#ifndef RIVULET_VIDEO_SAMPLE_RULES_H
#define RIVULET_VIDEO_SAMPLE_RULES_H

#include <cstdint>

#include "rivulet/video.h"
#include "types/traits.h"

namespace rivulet {

template <int N>
using Sample = typename videoTraits<N>::type;

// The widening table of a type, or null for VIDEO_UINT8, which needs none.
template <int N>
inline Sample<N> const* eightBitTable() {
  if constexpr (N == VIDEO_UINT8)
    return nullptr;
  else
    return videoTraits<N>::EightBitLUT.data();
}

// Widening: one look-up in the type's EightBitLUT; VIDEO_UINT8 is the byte
// itself. The caller fetches the table once (eightBitTable) for a whole frame.
template <int N>
inline Sample<N> byteToSample(Sample<N> const* lut, std::uint8_t b) {
  if constexpr (N == VIDEO_UINT8)
    return b;
  else
    return lut[b];
}

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

// Bytes per row of a packed frame: its pixel bytes rounded up to a multiple of four.
inline std::int64_t paddedRowBytes(std::int64_t bytes) { return (bytes + 3) & ~std::int64_t{3}; }
inline std::int64_t bgrRowStride(int w) { return paddedRowBytes(3 * static_cast<std::int64_t>(w)); }

// w * h as a signed 32-bit product (wrapping like the two's-complement
// multiply it is, without undefined behaviour).
inline std::int32_t pixelCount32(int w, int h) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(w) * static_cast<std::uint32_t>(h));
}

}  // namespace rivulet

#endif
