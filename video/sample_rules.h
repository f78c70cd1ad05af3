// The sample rules every video family goes through (the 8-bit widening and
// narrowing rules themselves are in types/sample_rules.h, beside the tables
// they fill), and the frame layout arithmetic the families share.
#ifndef RIVULET_VIDEO_SAMPLE_RULES_H
#define RIVULET_VIDEO_SAMPLE_RULES_H

#include <cstdint>

#include "rivulet/video.h"
#include "types/sample_rules.h"
#include "types/traits.h"

namespace rivulet {

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

// Bytes per row of a packed frame: its pixel bytes rounded up to a multiple of four.
inline std::int64_t paddedRowBytes(std::int64_t bytes) { return (bytes + 3) & ~std::int64_t{3}; }
inline std::int64_t bgrRowStride(int w) { return paddedRowBytes(3 * static_cast<std::int64_t>(w)); }

}  // namespace rivulet

#endif
