// Plain moves between doubles and six integer storage types.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "rivulet/rivulet.h"

namespace {

template <typename Fix>
Fix toFix(ScaledDoubleFunctionIndex index, double v) {
  Fix out{};
  MM_GetDoubleToFixFcn(index)(&v, &out, 1);
  return out;
}

template <typename Fix>
double fromFix(ScaledDoubleFunctionIndex index, Fix v) {
  double out = 0;
  MM_GetFixToDoubleFcn(index)(&out, &v, 1);
  return out;
}

}  // namespace

TEST(Scaled, NoneIsNullEveryOtherIndexHasBothDirections) {
  EXPECT_EQ(MM_GetDoubleToFixFcn(SCALED_NONE), nullptr);
  EXPECT_EQ(MM_GetFixToDoubleFcn(SCALED_NONE), nullptr);
  for (int i = 1; i <= 6; ++i) {
    EXPECT_NE(MM_GetDoubleToFixFcn(static_cast<ScaledDoubleFunctionIndex>(i)), nullptr);
    EXPECT_NE(MM_GetFixToDoubleFcn(static_cast<ScaledDoubleFunctionIndex>(i)), nullptr);
  }
  // Outside the enum: a null answer rather than a read past the table.
  EXPECT_EQ(MM_GetDoubleToFixFcn(static_cast<ScaledDoubleFunctionIndex>(7)), nullptr);
  EXPECT_EQ(MM_GetFixToDoubleFcn(static_cast<ScaledDoubleFunctionIndex>(-1)), nullptr);
}

TEST(Scaled, FixToDoubleKeepsTheStorageSign) {
  EXPECT_EQ(fromFix<std::uint32_t>(SCALED_UINT32, 4294967295u), 4294967295.0);
  EXPECT_EQ(fromFix<std::uint32_t>(SCALED_INT32, 4294967295u), -1.0);
  EXPECT_EQ(fromFix<std::uint8_t>(SCALED_UINT8, 255), 255.0);
  EXPECT_EQ(fromFix<std::uint8_t>(SCALED_INT8, 255), -1.0);
  EXPECT_EQ(fromFix<std::uint16_t>(SCALED_UINT16, 65535), 65535.0);
  EXPECT_EQ(fromFix<std::uint16_t>(SCALED_INT16, 32768), -32768.0);
}

TEST(Scaled, FixToDoubleEveryEightAndSixteenBitWord) {
  std::vector<std::uint16_t> words(65536);
  for (int i = 0; i < 65536; ++i) words[i] = static_cast<std::uint16_t>(i);
  std::vector<double> u(65536), s(65536);
  MM_GetFixToDoubleFcn(SCALED_UINT16)(u.data(), words.data(), 65536);
  MM_GetFixToDoubleFcn(SCALED_INT16)(s.data(), words.data(), 65536);
  for (int i = 0; i < 65536; ++i) {
    ASSERT_EQ(u[i], i);
    ASSERT_EQ(s[i], i < 32768 ? i : i - 65536);
  }
  std::vector<std::uint8_t> bytes(256);
  for (int i = 0; i < 256; ++i) bytes[i] = static_cast<std::uint8_t>(i);
  MM_GetFixToDoubleFcn(SCALED_UINT8)(u.data(), bytes.data(), 256);
  MM_GetFixToDoubleFcn(SCALED_INT8)(s.data(), bytes.data(), 256);
  for (int i = 0; i < 256; ++i) {
    ASSERT_EQ(u[i], i);
    ASSERT_EQ(s[i], i < 128 ? i : i - 256);
  }
}

TEST(Scaled, DoubleToFixTruncatesTowardZero) {
  for (auto idx : {SCALED_INT8, SCALED_INT16, SCALED_INT32}) {
    EXPECT_EQ(static_cast<std::int8_t>(toFix<std::int32_t>(idx, 2.9)), 2);
    EXPECT_EQ(static_cast<std::int8_t>(toFix<std::int32_t>(idx, -2.9)), -2);
  }
  EXPECT_EQ(toFix<std::int8_t>(SCALED_INT8, 2.9), 2);
  EXPECT_EQ(toFix<std::int8_t>(SCALED_INT8, -2.9), -2);
  EXPECT_EQ(toFix<std::int16_t>(SCALED_INT16, -2.9), -2);
  EXPECT_EQ(toFix<std::int32_t>(SCALED_INT32, -2.9), -2);
}

TEST(Scaled, DoubleToFixWrapsThenSaturatesAtTheWideConversion) {
  EXPECT_EQ(toFix<std::uint8_t>(SCALED_UINT8, -1.0), 255);
  EXPECT_EQ(toFix<std::uint8_t>(SCALED_UINT8, 256.0), 0);
  EXPECT_EQ(toFix<std::uint8_t>(SCALED_UINT8, 300.7), 44);
  EXPECT_EQ(toFix<std::int16_t>(SCALED_INT16, 40000.0), -25536);
  EXPECT_EQ(toFix<std::int32_t>(SCALED_INT32, 3000000000.0), std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(toFix<std::uint32_t>(SCALED_UINT32, 3000000000.0), 3000000000u);
  EXPECT_EQ(toFix<std::uint32_t>(SCALED_UINT32, -1.0), 4294967295u);
  // Past int32 the signed conversion gives the most negative int: low bits 0.
  EXPECT_EQ(toFix<std::int8_t>(SCALED_INT8, 3e9), 0);
  EXPECT_EQ(toFix<std::int16_t>(SCALED_INT16, -3e9), 0);
  EXPECT_EQ(toFix<std::int16_t>(SCALED_INT16, std::nan("")), 0);
  EXPECT_EQ(toFix<std::int32_t>(SCALED_INT32, std::nan("")), std::numeric_limits<std::int32_t>::min());
  // Past int64 the unsigned storage gets the low bits of the most negative int64.
  EXPECT_EQ(toFix<std::uint32_t>(SCALED_UINT32, 1e30), 0u);
  EXPECT_EQ(toFix<std::uint16_t>(SCALED_UINT16, std::numeric_limits<double>::infinity()), 0u);
  EXPECT_EQ(toFix<std::uint32_t>(SCALED_UINT32, 4294967296.0 + 5.0), 5u);
}

TEST(Scaled, FixToDoubleExpandsInPlaceAndCountBelowOneDoesNothing) {
  constexpr int n = 37;
  std::vector<double> buf(n, 0.0);
  auto* words = reinterpret_cast<std::int32_t*>(buf.data());
  for (int i = 0; i < n; ++i) words[i] = -1000 * i + 7;
  MM_GetFixToDoubleFcn(SCALED_INT32)(buf.data(), buf.data(), n);
  for (int i = 0; i < n; ++i) EXPECT_EQ(buf[i], -1000.0 * i + 7) << i;

  double d = 42.0;
  std::int16_t w = 5;
  MM_GetFixToDoubleFcn(SCALED_INT16)(&d, &w, 0);
  MM_GetDoubleToFixFcn(SCALED_INT16)(&d, &w, -3);
  EXPECT_EQ(d, 42.0);
  EXPECT_EQ(w, 5);
}
