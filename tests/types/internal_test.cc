// Internal numeric helpers: the defined-edge float to int conversions, the
// rounding of the colour matrices, and the integers it yields.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "types/traits.h"

using namespace rivulet;

TEST(Truncate, TowardZeroAndMostNegativeAtTheEdges) {
  constexpr auto kMin32 = std::numeric_limits<std::int32_t>::min();
  constexpr auto kMin64 = std::numeric_limits<std::int64_t>::min();
  EXPECT_EQ(truncateToInt32(2.9), 2);
  EXPECT_EQ(truncateToInt32(-2.9), -2);
  EXPECT_EQ(truncateToInt32(-0.0), 0);
  EXPECT_EQ(truncateToInt32(2147483647.9), 2147483647);
  EXPECT_EQ(truncateToInt32(-2147483648.9), kMin32);
  EXPECT_EQ(truncateToInt32(2147483648.0), kMin32);
  EXPECT_EQ(truncateToInt32(std::nan("")), kMin32);
  EXPECT_EQ(truncateToInt32(std::numeric_limits<double>::infinity()), kMin32);
  EXPECT_EQ(truncateToInt32(-std::numeric_limits<double>::infinity()), kMin32);
  EXPECT_EQ(truncateToInt32(1e300), kMin32);
  EXPECT_EQ(truncateToInt32(2147483648.0f), kMin32);
  EXPECT_EQ(truncateToInt32(-1.5f), -1);
  EXPECT_EQ(truncateToInt64(9223372036854775807.0), kMin64);  // rounds to 2^63
  EXPECT_EQ(truncateToInt64(-9223372036854775808.0), kMin64);
  EXPECT_EQ(truncateToInt64(4294967296.5), 4294967296);
  EXPECT_EQ(truncateToInt64(std::nanf("")), kMin64);
}

TEST(ColourConstants, RoundedHalfAwayFromZero) {
  EXPECT_EQ(roundHalfAway(0.5), 1);
  EXPECT_EQ(roundHalfAway(-0.5), -1);
  EXPECT_EQ(roundHalfAway(-37.79683972911964), -38);
  EXPECT_EQ(roundHalfAway(2.4999), 2);
  EXPECT_EQ(roundHalfAway(-2.4999), -2);
  const int offsets[3] = {16, 128, 128};
  const int toYCbCr[9] = {65, 129, 25, -38, -74, 112, 112, -94, -18};
  const int toRGB[9] = {19077, 0, 26149, 19077, -6419, -13320, 19077, 33050, 0};
  for (int i = 0; i < 3; ++i) EXPECT_EQ(YCbCrOffsets[i], offsets[i]);
  for (int i = 0; i < 9; ++i) {
    EXPECT_EQ(RGBToYCbCrFixed[i], toYCbCr[i]) << i;
    EXPECT_EQ(YCbCrToRGBFixed[i], toRGB[i]) << i;
  }
}
