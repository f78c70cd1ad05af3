// The narrowing rule against the reference over edge values of every type,
// its pinned edges, and the widening/narrowing round trip of every 8-bit
// value through every type.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>

#include "rivulet/rivulet.h"
#include "types/sample_rules.h"
#include "video/reference.h"

using namespace rivulet;

namespace {

template <int N>
void expectRoundTrip() {
  for (int b = 0; b < 256; ++b) {
    const std::uint8_t back = sampleToByte<N>(widenByte<N>(b));
    if constexpr (N == VIDEO_BOOLEAN) {
      ASSERT_EQ(back, b == 0 ? 0 : 255) << b;
    } else if constexpr (N == VIDEO_DOUBLE || N == VIDEO_SINGLE || N == VIDEO_INT8 || N == VIDEO_UINT8) {
      ASSERT_EQ(back, b) << "type " << N << " byte " << b;
    } else {
      // The wide integer tables are shifts (b * 256, b << 24) while the
      // narrowing divides by the full range, so the upper bytes come back one
      // lower: the tables are deliberately not rescaled to reach max.
      ASSERT_TRUE(back == b || back == b - 1) << "type " << N << " byte " << b << " -> " << int(back);
      if (b < 64) {
        ASSERT_EQ(back, b) << "type " << N << " byte " << b;
      }
    }
  }
}

}  // namespace

TEST(SampleToByte, FloatingEdges) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(sampleToByte<VIDEO_DOUBLE>(0.5), 128);
  EXPECT_EQ(sampleToByte<VIDEO_DOUBLE>(1.0), 255);
  EXPECT_EQ(sampleToByte<VIDEO_DOUBLE>(1.5), 255);
  EXPECT_EQ(sampleToByte<VIDEO_DOUBLE>(-0.25), 0);
  EXPECT_EQ(sampleToByte<VIDEO_DOUBLE>(-0.0), 0);
  EXPECT_EQ(sampleToByte<VIDEO_DOUBLE>(1e300), 0);  // too large for int32: most negative, then 0
  EXPECT_EQ(sampleToByte<VIDEO_DOUBLE>(-1e300), 0);
  EXPECT_EQ(sampleToByte<VIDEO_DOUBLE>(nan), 0);
  EXPECT_EQ(sampleToByte<VIDEO_DOUBLE>(1e6), 255);  // large but fits: saturates high
  EXPECT_EQ(sampleToByte<VIDEO_SINGLE>(std::numeric_limits<float>::infinity()), 0);
  EXPECT_EQ(sampleToByte<VIDEO_SINGLE>(2.0f), 255);
  EXPECT_EQ(sampleToByte<VIDEO_SINGLE>(0.5f / 255.0f), 1);  // exactly half rounds up
}

TEST(SampleToByte, IntegerEdges) {
  EXPECT_EQ(sampleToByte<VIDEO_INT8>(-128), 0);
  EXPECT_EQ(sampleToByte<VIDEO_INT8>(127), 255);
  EXPECT_EQ(sampleToByte<VIDEO_INT16>(-32768), 0);
  EXPECT_EQ(sampleToByte<VIDEO_INT16>(32767), 255);
  EXPECT_EQ(sampleToByte<VIDEO_UINT16>(65535), 255);
  EXPECT_EQ(sampleToByte<VIDEO_UINT16>(32768), 128);
  EXPECT_EQ(sampleToByte<VIDEO_UINT32>(4294967295u), 255);
  EXPECT_EQ(sampleToByte<VIDEO_UINT32>(0u), 0);
  EXPECT_EQ(sampleToByte<VIDEO_INT32>(std::numeric_limits<int>::min()), 0);
  EXPECT_EQ(sampleToByte<VIDEO_INT32>(std::numeric_limits<int>::max()), 255);
  EXPECT_EQ(sampleToByte<VIDEO_INT32>(0), 128);  // 2^31 / 2^32 * 255 = 127.5, rounds up
  EXPECT_EQ(sampleToByte<VIDEO_BOOLEAN>(0), 0);
  EXPECT_EQ(sampleToByte<VIDEO_BOOLEAN>(1), 255);
  EXPECT_EQ(sampleToByte<VIDEO_BOOLEAN>(2), 255);  // saturates
  for (int b = 0; b < 256; ++b) EXPECT_EQ(sampleToByte<VIDEO_UINT8>(static_cast<std::uint8_t>(b)), b);
}

TEST(SampleToByte, SixteenBitSweepIsMonotoneAndSpansTheBytes) {
  int prevU = 0, prevS = 0;
  for (int v = 0; v < 65536; ++v) {
    const int u = sampleToByte<VIDEO_UINT16>(static_cast<unsigned short>(v));
    const int s = sampleToByte<VIDEO_INT16>(static_cast<short>(v - 32768));
    // Against the formula in double: the single-precision steps round the
    // same way for every 16-bit input.
    const int wantU = static_cast<int>(static_cast<float>(static_cast<float>(v) / 65535.0f) * 255.0f + 0.5);
    ASSERT_EQ(u, wantU) << v;
    ASSERT_GE(u, prevU);
    ASSERT_GE(s, prevS);
    ASSERT_LE(u - prevU, 1);
    prevU = u;
    prevS = s;
  }
  EXPECT_EQ(prevU, 255);
  EXPECT_EQ(prevS, 255);
}

TEST(SampleRules, WideningThenNarrowingReturnsEveryByte) {
  [&]<int... N>(std::integer_sequence<int, N...>) { (expectRoundTrip<N>(), ...); }(std::make_integer_sequence<int, 9>());
  EXPECT_EQ(sampleToByte<VIDEO_UINT16>(65280), 254);
  EXPECT_EQ(sampleToByte<VIDEO_UINT32>(129u << 24), 128);
  // The wide types do not come back to their max: 65535 -> 255 -> 65280.
  EXPECT_EQ(widenByte<VIDEO_UINT16>(sampleToByte<VIDEO_UINT16>(65535)), 65280);
  EXPECT_EQ(widenByte<VIDEO_UINT16>(sampleToByte<VIDEO_UINT16>(32768)), 32768);
}


// Every type, against the reference narrowing: the type's limits and their
// neighbours, every widened byte and the halfway points between them, and
// for the floating types the specials.
template <typename P>
class Narrowing : public testing::Test {};
TYPED_TEST_SUITE(Narrowing, videoref::AllTypes);

TYPED_TEST(Narrowing, EdgeSetsMatchTheReference) {
  constexpr int N = TypeParam::value;
  using T = Sample<N>;
  using L = std::numeric_limits<T>;
  std::vector<T> xs = {videoTraits<N>::min, videoTraits<N>::max, L::lowest(), L::max(), T(0), T(1)};
  for (int b = 0; b < 256; ++b) {
    const T x = widenByte<N>(b);
    xs.push_back(x);
    if constexpr (L::is_integer) {
      const std::int64_t step = std::int64_t{widenByte<N>(1)} - widenByte<N>(0);
      for (std::int64_t d : {std::int64_t{1}, std::int64_t{-1}, step / 2, step / 2 - 1})
        xs.push_back(static_cast<T>(static_cast<std::int64_t>(x) + d));  // wraps at the ends
    } else {
      xs.push_back(std::nextafter(x, T(2)));
      xs.push_back(std::nextafter(x, T(-1)));
      xs.push_back(static_cast<T>((b + 0.5) / 255.0));
    }
  }
  if constexpr (!L::is_integer)
    for (T x : {L::quiet_NaN(), -L::quiet_NaN(), L::infinity(), -L::infinity(), T(-0.0), L::denorm_min(), T(1e30), T(-1e30)})
      xs.push_back(x);
  for (T x : xs) ASSERT_EQ(sampleToByte<N>(x), videoref::narrow<N>(x)) << "type " << N << " x " << +x;
}
