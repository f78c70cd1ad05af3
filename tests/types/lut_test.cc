// Every entry of every 8-bit table, as a host sees it, against the reference
// widening; and the pinned entries.
#include <gtest/gtest.h>

#include <cstdint>

#include "rivulet/rivulet.h"
#include "video/reference.h"

namespace {

template <int N>
void expectTable() {
  const auto& lut = videoTraits<N>::EightBitLUT;
  ASSERT_EQ(lut.size(), 256u) << N;
  for (int i = 0; i < 256; ++i) ASSERT_EQ(lut[i], videoref::widen<N>(static_cast<std::uint8_t>(i))) << N << " " << i;
}

}  // namespace

TEST(EightBitLUT, FloatingTablesAreSinglePrecisionQuotients) {
  MM_GetRGBToRGBChannelsInputFcn(VIDEO_DOUBLE);
  MM_GetRGBToRGBChannelsInputFcn(VIDEO_SINGLE);
  const auto& d = videoTraits<0>::EightBitLUT;
  expectTable<VIDEO_DOUBLE>();
  expectTable<VIDEO_SINGLE>();
  EXPECT_EQ(d[255], 1.0);
  EXPECT_EQ(d[0], 0.0);
  EXPECT_EQ(d[1], 0.003921568859368563);
  EXPECT_EQ(d[128], 0.501960813999176);
  EXPECT_NE(d[128], 128.0 / 255.0);
}

TEST(EightBitLUT, IntegerTablesAreShiftsThatStopShortOfMax) {
  for (int t : {VIDEO_INT8, VIDEO_INT16, VIDEO_UINT16, VIDEO_INT32, VIDEO_UINT32, VIDEO_BOOLEAN})
    MM_GetToIntensityChannelsEmptyFcn(static_cast<VideoDataType>(t));
  const auto& i8 = videoTraits<2>::EightBitLUT;
  const auto& i16 = videoTraits<4>::EightBitLUT;
  const auto& u16 = videoTraits<5>::EightBitLUT;
  const auto& i32 = videoTraits<6>::EightBitLUT;
  const auto& b = videoTraits<8>::EightBitLUT;
  expectTable<VIDEO_INT8>();
  expectTable<VIDEO_INT16>();
  expectTable<VIDEO_UINT16>();
  expectTable<VIDEO_INT32>();
  expectTable<VIDEO_UINT32>();
  expectTable<VIDEO_BOOLEAN>();
  EXPECT_EQ(i8[0], -128);
  EXPECT_EQ(b[0], 0);
  EXPECT_EQ(b[1], 1);
  EXPECT_EQ(u16[255], 65280);
  EXPECT_EQ(u16[128], 32768);
  EXPECT_EQ(i16[0], -32768);
  EXPECT_EQ(i16[255], 32512);
  EXPECT_EQ(i32[0], -2147483647 - 1);
  EXPECT_EQ(i32[128], 0);
  EXPECT_EQ(i32[255], 2130706432);
}
