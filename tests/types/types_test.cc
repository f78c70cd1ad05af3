// Classifiers, traits limits, the load-time colour constants and the
// identification strings, seen from a host.
#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <string>
#include <vector>

#include "rivulet/rivulet.h"

TEST(Classifiers, AudioDataTypeByBitsAndFloat) {
  EXPECT_EQ(getAudioDataType(64, true), AUDIO_DOUBLE);
  EXPECT_EQ(getAudioDataType(32, true), AUDIO_SINGLE);
  EXPECT_EQ(getAudioDataType(32, false), AUDIO_INT32);
  EXPECT_EQ(getAudioDataType(8, false), AUDIO_UINT8);
  EXPECT_EQ(getAudioDataType(16, false), AUDIO_INT16);
  EXPECT_EQ(getAudioDataType(24, false), AUDIO_INT24);
  for (int bits : {64, 0, -8, 1, 7, 12, 48, 128}) EXPECT_EQ(getAudioDataType(bits, false), AUDIO_UNSUPPORTED) << bits;
  for (int bits : {24, 16, 8, 0, 128, -32}) EXPECT_EQ(getAudioDataType(bits, true), AUDIO_UNSUPPORTED) << bits;
}

TEST(Classifiers, FourccComparesFirstFourCharactersCaseSensitively) {
  EXPECT_EQ(getFourccEnum("RGB "), FOURCC_RGB);
  EXPECT_EQ(getFourccEnum("GREY"), FOURCC_GREY);
  EXPECT_EQ(getFourccEnum("YUY2"), FOURCC_YUY2);
  EXPECT_EQ(getFourccEnum("YUY2xyz"), FOURCC_YUY2);
  EXPECT_EQ(getFourccEnum("GREYSCALE"), FOURCC_GREY);
  EXPECT_EQ(getFourccEnum("RGB"), FOURCC_UNKNOWN);  // the terminator is the fourth character
  EXPECT_EQ(getFourccEnum("ARGB"), FOURCC_UNKNOWN);
  EXPECT_EQ(getFourccEnum("grey"), FOURCC_UNKNOWN);
  EXPECT_EQ(getFourccEnum("yuy2"), FOURCC_UNKNOWN);
  EXPECT_EQ(getFourccEnum(""), FOURCC_UNKNOWN);
}

TEST(Traits, NumbersSizesAndLimitsAreTheBinaryInterface) {
  // Hosts pass these numbers in and size buffers from these constants.
  EXPECT_EQ((std::vector<int>{AUDIO_DOUBLE, AUDIO_SINGLE, AUDIO_UINT8, AUDIO_INT16, AUDIO_INT32,
                              AUDIO_UNSUPPORTED, AUDIO_INT24}),
            (std::vector<int>{0, 1, 3, 4, 6, 8, 9}));
  EXPECT_EQ(sizeof(VideoDataType), 4u);
  const std::uint64_t sizes[9] = {videoTraits<0>::size, videoTraits<1>::size, videoTraits<2>::size,
                                  videoTraits<3>::size, videoTraits<4>::size, videoTraits<5>::size,
                                  videoTraits<6>::size, videoTraits<7>::size, videoTraits<8>::size};
  EXPECT_EQ(std::vector<std::uint64_t>(sizes, sizes + 9), (std::vector<std::uint64_t>{8, 4, 1, 1, 2, 2, 4, 4, 1}));
  EXPECT_EQ(videoTraits<2>::min, -128);
  EXPECT_EQ(videoTraits<6>::min, -2147483647 - 1);
  EXPECT_EQ(videoTraits<7>::max, 4294967295u);
  EXPECT_EQ(videoTraits<8>::max, 1);
  // The limits are addressable data of the library; assignment changes nothing.
  const double* pmax = &videoTraits<0>::max;
  EXPECT_EQ(*pmax, 1.0);
  videoTraits<6> a, b;
  EXPECT_EQ(&(a = b), &a);
}

namespace {

// Whether text is count groups of digits separated by sep, and nothing else.
bool digitGroups(const std::string& text, char sep, int count) {
  int groups = 0;
  size_t i = 0;
  while (i < text.size()) {
    const size_t start = i;
    while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i]))) ++i;
    if (i == start) return false;
    ++groups;
    if (i < text.size() && text[i++] != sep) return false;
    if (i == text.size() && text.back() == sep) return false;
  }
  return groups == count;
}

}  // namespace

TEST(Identification, VersionAndBuildDate) {
  ASSERT_NE(rivulet_version, nullptr);
  EXPECT_TRUE(digitGroups(rivulet_version, '.', 4)) << rivulet_version;
  ASSERT_NE(rivulet_build_date, nullptr);
  // "Mmm dd yyyy"; a one-digit day is padded with a blank.
  const std::string date = rivulet_build_date;
  ASSERT_EQ(date.size(), 11u) << date;
  EXPECT_NE(std::string("JanFebMarAprMayJunJulAugSepOctNovDec").find(date.substr(0, 3)), std::string::npos);
  EXPECT_EQ(date[3], ' ');
  EXPECT_TRUE(std::isdigit(static_cast<unsigned char>(date[5])));
  EXPECT_EQ(date[6], ' ');
  EXPECT_TRUE(digitGroups(date.substr(7), ' ', 1)) << date;
}
