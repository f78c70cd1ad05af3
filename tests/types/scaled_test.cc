// Plain moves between doubles and six integer storage types.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "rivulet/rivulet.h"

namespace {

// One value through a routine: the storage word's bits, or a marker if a byte
// past the word changed.
std::uint64_t toFix(ScaledDoubleFunctionIndex index, double v) {
  constexpr std::uint64_t kGuard = 0xA5A5A5A5A5A5A5A5u;
  std::uint64_t out = kGuard;
  MM_GetDoubleToFixFcn(index)(&v, &out, 1);
  const int bytes = 1 << ((index - 1) % 3);
  const std::uint64_t word = ~std::uint64_t{0} >> (64 - 8 * bytes);
  return (out & ~word) == (kGuard & ~word) ? out & word : ~std::uint64_t{0};
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

// Double to fix truncates toward zero, wraps while the value fits the wide
// conversion (64 bits for unsigned storage, 32 for signed), and past it keeps
// the low bits of that width's most negative integer.
TEST(Scaled, DoubleToFixTruncatesWrapsThenSaturatesAtTheWideConversion) {
  const double inf = std::numeric_limits<double>::infinity(), nan = std::nan("");
  const struct {
    ScaledDoubleFunctionIndex index;
    double in;
    std::uint64_t bits;
  } cases[] = {
      {SCALED_INT8, 2.9, 2},          {SCALED_INT8, -2.9, 0xFE},           {SCALED_INT16, -2.9, 0xFFFE},
      {SCALED_INT32, -2.9, 0xFFFFFFFE}, {SCALED_UINT8, -1.0, 255},         {SCALED_UINT8, 256.0, 0},
      {SCALED_UINT8, 300.7, 44},      {SCALED_INT16, 40000.0, 40000},      {SCALED_INT32, 3e9, 0x80000000},
      {SCALED_UINT32, 3e9, 3000000000u}, {SCALED_UINT32, -1.0, 0xFFFFFFFF}, {SCALED_INT8, 3e9, 0},
      {SCALED_INT16, -3e9, 0},        {SCALED_INT16, nan, 0},              {SCALED_INT32, nan, 0x80000000},
      {SCALED_UINT32, 1e30, 0},       {SCALED_UINT16, inf, 0},             {SCALED_UINT32, 4294967301.0, 5},
  };
  for (const auto& c : cases) EXPECT_EQ(toFix(c.index, c.in), c.bits) << c.index << " " << c.in;
}

// The storage sign of 32-bit words (the sweep above covers the narrower
// ones); in place, the doubles overwrite the words behind them; a count below
// one does nothing.
TEST(Scaled, FixToDoubleExpandsInPlaceAndCountBelowOneDoesNothing) {
  std::uint32_t word = 4294967295u;
  double u = 0, s = 0;
  MM_GetFixToDoubleFcn(SCALED_UINT32)(&u, &word, 1);
  MM_GetFixToDoubleFcn(SCALED_INT32)(&s, &word, 1);
  EXPECT_EQ(u, 4294967295.0);
  EXPECT_EQ(s, -1.0);

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
