// Every entry of every 8-bit table, against the entry rule written out here.
#include <gtest/gtest.h>

#include <cstdint>

#include "rivulet/rivulet.h"

TEST(EightBitLUT, FloatingTablesAreSinglePrecisionQuotients) {
  MM_GetRGBToRGBChannelsInputFcn(VIDEO_DOUBLE);
  MM_GetRGBToRGBChannelsInputFcn(VIDEO_SINGLE);
  const auto& d = videoTraits<0>::EightBitLUT;
  const auto& f = videoTraits<1>::EightBitLUT;
  ASSERT_EQ(d.size(), 256u);
  ASSERT_EQ(f.size(), 256u);
  for (int i = 0; i < 256; ++i) {
    const float q = static_cast<float>(static_cast<double>(i) / 255.0);
    EXPECT_EQ(f[i], q) << i;
    EXPECT_EQ(d[i], static_cast<double>(q)) << i;
  }
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
  const auto& u32 = videoTraits<7>::EightBitLUT;
  const auto& b = videoTraits<8>::EightBitLUT;
  for (auto n : {i8.size(), i16.size(), u16.size(), i32.size(), u32.size(), b.size()}) ASSERT_EQ(n, 256u);
  for (int i = 0; i < 256; ++i) {
    EXPECT_EQ(i8[i], i - 128);
    EXPECT_EQ(i16[i], (i - 128) * 256);
    EXPECT_EQ(u16[i], i * 256);
    EXPECT_EQ(i32[i], static_cast<std::int64_t>(i - 128) * 16777216);
    EXPECT_EQ(u32[i], static_cast<std::uint64_t>(i) * 16777216u);
    EXPECT_EQ(b[i], i == 0 ? 0 : 1);
  }
  EXPECT_EQ(u16[255], 65280);
  EXPECT_EQ(u16[128], 32768);
  EXPECT_EQ(i16[0], -32768);
  EXPECT_EQ(i16[255], 32512);
  EXPECT_EQ(i32[0], -2147483647 - 1);
  EXPECT_EQ(i32[128], 0);
  EXPECT_EQ(i32[255], 2130706432);
}
