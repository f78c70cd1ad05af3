// Library-internal side of the sample types: the table initialiser and the
// integer colour constants computed at load.
#ifndef RIVULET_TYPES_TRAITS_H
#define RIVULET_TYPES_TRAITS_H

#include <cstdint>
#include <climits>

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
// negative integer (what the x86 truncating conversions produce). A bare cast
// is undefined there, and the compiler may fold it to anything; the range test
// keeps these exact, and compiles to the conversion plus a select.
inline std::int32_t truncateToInt32(double v) {
  return (v > -2147483649.0 && v < 2147483648.0) ? static_cast<std::int32_t>(v) : INT32_MIN;
}
inline std::int32_t truncateToInt32(float v) {
  return (v >= -2147483648.0f && v < 2147483648.0f) ? static_cast<std::int32_t>(v) : INT32_MIN;
}
inline std::int64_t truncateToInt64(double v) {
  return (v >= -9223372036854775808.0 && v < 9223372036854775808.0) ? static_cast<std::int64_t>(v)
                                                                    : INT64_MIN;
}
inline std::int64_t truncateToInt64(float v) {
  return (v >= -9223372036854775808.0f && v < 9223372036854775808.0f) ? static_cast<std::int64_t>(v)
                                                                      : INT64_MIN;
}

}  // namespace rivulet

#endif
