// Library-internal side of the sample types: the table initialiser and the
// integer colour constants computed at load.
#ifndef RIVULET_TYPES_TRAITS_H
#define RIVULET_TYPES_TRAITS_H

#include <emmintrin.h>

#include <cstdint>

#include "rivulet/types.h"

namespace rivulet {

// Fills videoTraits<type>::EightBitLUT with its 256 entries, every time it is
// called. VIDEO_UINT8 and any value above 8 (as unsigned) return at once.
void initEightBitLUT(VideoDataType type);

// Y, Cb, Cr offsets: 16, 128, 128.
extern const int YCbCrOffsets[3];
// Rows Y, Cb, Cr; columns R, G, B; integers rounded from the BT.601 matrix
// scaled to 8-bit studio range.
extern const int RGBToYCbCrFixed[9];
// Rows R, G, B; columns Y, Cb, Cr; 14 fractional bits.
extern const int YCbCrToRGBFixed[9];

// Half away from zero: add 0.5 to the magnitude, truncate, restore the sign.
constexpr int roundHalfAway(double v) {
  if (v < 0.0) return -static_cast<int>(-v + 0.5);
  return static_cast<int>(v + 0.5);
}

// Float to integer conversions whose edges the sample rules define: truncation
// toward zero, and NaN or anything outside the target's range gives the most
// negative integer. These are the SSE2 truncating conversions, which behave
// exactly so; a bare cast would be undefined there.
inline std::int32_t truncateToInt32(double v) { return _mm_cvttsd_si32(_mm_set_sd(v)); }
inline std::int32_t truncateToInt32(float v) { return _mm_cvttss_si32(_mm_set_ss(v)); }
inline std::int64_t truncateToInt64(double v) { return _mm_cvttsd_si64(_mm_set_sd(v)); }
inline std::int64_t truncateToInt64(float v) { return _mm_cvttss_si64(_mm_set_ss(v)); }

}  // namespace rivulet

#endif
