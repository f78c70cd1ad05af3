// Selectors as a host sees them: the decision tables, null answers, and which
// selectors fill the 8-bit tables. Side-effect checks run in a child process
// that re-executes this binary, so no earlier test has filled anything.
#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "rivulet/rivulet.h"

namespace {

using InputSelector = VideoInputFcn (*)(VideoDataType);
using OutputSelector = VideoOutputFcn (*)(VideoDataType);

const InputSelector kFillingSelectors[] = {
    MM_GetRGBToRGBChannelsInputFcn,       MM_GetRGBToRGBChannelsInputFcn_mmr,
    MM_GetRGBToIntensityChannelsInputFcn, MM_GetRGBToIntensityChannelsInputFcn_mmr,
    MM_GetRGBToYCbCrChannelsInputFcn,     MM_GetRGBToYCbCrChannelsInputFcn_mmr,
    MM_GetYCbCrToRGBChannelsInputFcn,     MM_GetYCbCrToIntensityChannelsInputFcn,
    MM_GetYCbCrToYCbCrChannelsInputFcn,   MM_GetToRGBChannelsEmptyFcn,
    MM_GetToIntensityChannelsEmptyFcn,    MM_GetToYCbCrChannelsEmptyFcn};

const OutputSelector kPlainSelectors[] = {
    MM_GetRGBToRGBChannelsOutputFcn,         MM_GetIntensityToRGBChannelsOutputFcn,
    MM_GetRGBToRGB24ChannelsConvertCopyFcn,  MM_GetIntensityToRGB24ChannelsConvertCopyFcn,
    MM_GetYCbCrToRGBChannelsOutputFcn,       MM_GetRGBToYCbCrChannelsOutputFcn,
    MM_GetIntensityToYCbCrChannelsOutputFcn, MM_GetYCbCrToYCbCrChannelsOutputFcn};

// Sizes of the eight tables, in VideoDataType order (UINT8 has none: -1).
std::vector<long> tableSizes() {
  return {static_cast<long>(videoTraits<0>::EightBitLUT.size()),
          static_cast<long>(videoTraits<1>::EightBitLUT.size()),
          static_cast<long>(videoTraits<2>::EightBitLUT.size()),
          -1,
          static_cast<long>(videoTraits<4>::EightBitLUT.size()),
          static_cast<long>(videoTraits<5>::EightBitLUT.size()),
          static_cast<long>(videoTraits<6>::EightBitLUT.size()),
          static_cast<long>(videoTraits<7>::EightBitLUT.size()),
          static_cast<long>(videoTraits<8>::EightBitLUT.size())};
}

// Runs body in a fresh process; the child exits 0 on success, 1 otherwise.
template <typename F>
void inFreshProcess(F body) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(std::exit(body() ? 0 : 1), testing::ExitedWithCode(0), "");
}

const std::vector<long> kAllEmpty = {0, 0, 0, -1, 0, 0, 0, 0, 0};

}  // namespace

// The routes of the top-level selectors, as data: each (frame format, plane
// model) pair and the family selector it answers with; every other pair, and
// FOURCC_GREY frames, answer null. The _mmr flag matters for RGB frames only.
TEST(VideoSelectors, TopLevelRoutes) {
  struct InputRoute { FourCCType frame, model; InputSelector plain, mmr; };
  const InputRoute inputs[] = {
      {FOURCC_RGB, FOURCC_RGB, MM_GetRGBToRGBChannelsInputFcn, MM_GetRGBToRGBChannelsInputFcn_mmr},
      {FOURCC_RGB, FOURCC_GREY, MM_GetRGBToIntensityChannelsInputFcn, MM_GetRGBToIntensityChannelsInputFcn_mmr},
      {FOURCC_RGB, FOURCC_YUY2, MM_GetRGBToYCbCrChannelsInputFcn, MM_GetRGBToYCbCrChannelsInputFcn_mmr},
      {FOURCC_YUY2, FOURCC_RGB, MM_GetYCbCrToRGBChannelsInputFcn, MM_GetYCbCrToRGBChannelsInputFcn},
      {FOURCC_YUY2, FOURCC_GREY, MM_GetYCbCrToIntensityChannelsInputFcn, MM_GetYCbCrToIntensityChannelsInputFcn},
      {FOURCC_YUY2, FOURCC_YUY2, MM_GetYCbCrToYCbCrChannelsInputFcn, MM_GetYCbCrToYCbCrChannelsInputFcn}};
  struct OutputRoute { FourCCType model, frame; OutputSelector selector; };
  const OutputRoute outputs[] = {
      {FOURCC_RGB, FOURCC_RGB, MM_GetRGBToRGBChannelsOutputFcn},
      {FOURCC_GREY, FOURCC_RGB, MM_GetIntensityToRGBChannelsOutputFcn},
      {FOURCC_YUY2, FOURCC_RGB, MM_GetYCbCrToRGBChannelsOutputFcn},
      {FOURCC_RGB, FOURCC_YUY2, MM_GetRGBToYCbCrChannelsOutputFcn},
      {FOURCC_GREY, FOURCC_YUY2, MM_GetIntensityToYCbCrChannelsOutputFcn},
      {FOURCC_YUY2, FOURCC_YUY2, MM_GetYCbCrToYCbCrChannelsOutputFcn}};
  const int codes[] = {FOURCC_RGB, FOURCC_GREY, FOURCC_YUY2, FOURCC_UNKNOWN, 4};
  for (int t = 0; t <= 8; ++t) {
    const auto dt = static_cast<VideoDataType>(t);
    for (int xi : codes)
      for (int yi : codes) {
        const auto x = static_cast<FourCCType>(xi), y = static_cast<FourCCType>(yi);
        const InputRoute* in = nullptr;
        const OutputRoute* out = nullptr;
        for (auto& r : inputs) if (r.frame == xi && r.model == yi) in = &r;
        for (auto& r : outputs) if (r.model == xi && r.frame == yi) out = &r;
        for (bool mmr : {false, true})
          EXPECT_EQ(MM_GetVideoInputFcn(x, y, dt, mmr), in ? (mmr ? in->mmr : in->plain)(dt) : nullptr) << xi << yi << t;
        EXPECT_EQ(MM_GetVideoOutputFcn(x, y, dt), out ? out->selector(dt) : nullptr) << xi << yi << t;
      }
    // The RGB planes route is built in every type, plain and _mmr, distinct.
    EXPECT_NE(MM_GetRGBToRGBChannelsInputFcn(dt), nullptr);
    EXPECT_NE(MM_GetRGBToRGBChannelsInputFcn_mmr(dt), nullptr);
    EXPECT_NE(MM_GetRGBToRGBChannelsInputFcn(dt), MM_GetRGBToRGBChannelsInputFcn_mmr(dt));
  }
}

TEST(VideoEmptySelector, DecisionTableAndBooleanGap) {
  for (int t = 0; t <= 8; ++t) {
    const auto dt = static_cast<VideoDataType>(t);
    EXPECT_EQ(MM_GetVideoEmptyFcn(FOURCC_RGB, dt), MM_GetToRGBChannelsEmptyFcn(dt));
    EXPECT_EQ(MM_GetVideoEmptyFcn(FOURCC_GREY, dt), MM_GetToIntensityChannelsEmptyFcn(dt));
    EXPECT_EQ(MM_GetVideoEmptyFcn(FOURCC_YUY2, dt), MM_GetToYCbCrChannelsEmptyFcn(dt));
    EXPECT_EQ(MM_GetVideoEmptyFcn(FOURCC_UNKNOWN, dt), nullptr);
    // The YCbCr fill is the RGB fill: w * h elements in every plane.
    EXPECT_EQ(MM_GetToYCbCrChannelsEmptyFcn(dt), MM_GetToRGBChannelsEmptyFcn(dt));
    const bool boolean = t == VIDEO_BOOLEAN;
    EXPECT_EQ(MM_GetToRGBChannelsEmptyFcn(dt) == nullptr, boolean);
    EXPECT_EQ(MM_GetToIntensityChannelsEmptyFcn(dt) == nullptr, boolean);
  }
}

TEST(VideoSelectors, OutOfRangeTypeIsNullEverywhere) {
  for (int t : {9, 10, 100, -1, -2147483647 - 1}) {
    const auto dt = static_cast<VideoDataType>(t);
    for (auto s : kFillingSelectors) EXPECT_EQ(s(dt), nullptr) << t;
    for (auto s : kPlainSelectors) EXPECT_EQ(s(dt), nullptr) << t;
    for (auto f : {FOURCC_RGB, FOURCC_YUY2})
      for (auto m : {FOURCC_RGB, FOURCC_GREY, FOURCC_YUY2}) {
        EXPECT_EQ(MM_GetVideoInputFcn(f, m, dt, false), nullptr);
        EXPECT_EQ(MM_GetVideoInputFcn(f, m, dt, true), nullptr);
        EXPECT_EQ(MM_GetVideoOutputFcn(m, f, dt), nullptr);
      }
    for (auto m : {FOURCC_RGB, FOURCC_GREY, FOURCC_YUY2}) EXPECT_EQ(MM_GetVideoEmptyFcn(m, dt), nullptr);
  }
}

// ---- Side effects on the 8-bit tables, each in a fresh process -------------------------

TEST(LutSideEffects, NothingIsFilledAtLoad) {
  inFreshProcess([] { return tableSizes() == kAllEmpty; });
}

TEST(LutSideEffects, EveryFillingSelectorFillsExactlyItsType) {
  for (size_t s = 0; s < std::size(kFillingSelectors); ++s)
    for (int t = 0; t <= 8; ++t)
      inFreshProcess([s, t] {
        kFillingSelectors[s](static_cast<VideoDataType>(t));
        std::vector<long> want = kAllEmpty;
        if (t != VIDEO_UINT8) want[t] = 256;
        return tableSizes() == want;
      });
}

TEST(LutSideEffects, PlainSelectorsFillNothingAndTheirRoutinesNeedNoTable) {
  inFreshProcess([] {
    for (auto s : kPlainSelectors)
      for (int t = 0; t <= 8; ++t) s(static_cast<VideoDataType>(t));
    for (int t = 0; t <= 8; ++t) MM_GetVideoOutputFcn(FOURCC_RGB, FOURCC_RGB, static_cast<VideoDataType>(t));
    return tableSizes() == kAllEmpty;
  });
}

TEST(LutSideEffects, OutOfRangeTypesTouchNothing) {
  inFreshProcess([] {
    for (int t : {9, 200, -1}) {
      for (auto s : kFillingSelectors) s(static_cast<VideoDataType>(t));
      MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, static_cast<VideoDataType>(t), false);
      MM_GetVideoEmptyFcn(FOURCC_RGB, static_cast<VideoDataType>(t));
    }
    return tableSizes() == kAllEmpty;
  });
}

TEST(LutSideEffects, TopLevelSelectorsFillThroughTheirDelegates) {
  inFreshProcess([] {
    // The Empty selector fills the boolean table even though it answers null.
    const bool emptyNull = MM_GetVideoEmptyFcn(FOURCC_RGB, VIDEO_BOOLEAN) == nullptr;
    // A route without a family fills nothing: the selector is never reached.
    MM_GetVideoInputFcn(FOURCC_GREY, FOURCC_RGB, VIDEO_INT16, false);
    MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, VIDEO_UINT16, true);
    std::vector<long> want = kAllEmpty;
    want[VIDEO_BOOLEAN] = 256;
    want[VIDEO_UINT16] = 256;
    return emptyNull && tableSizes() == want;
  });
}

TEST(LutSideEffects, RepeatedSelectionKeepsSizeAndValues) {
  inFreshProcess([] {
    MM_GetRGBToRGBChannelsInputFcn(VIDEO_DOUBLE);
    const std::vector<double> first = videoTraits<0>::EightBitLUT;
    const double* data = videoTraits<0>::EightBitLUT.data();
    MM_GetToRGBChannelsEmptyFcn(VIDEO_DOUBLE);
    MM_GetRGBToRGBChannelsInputFcn_mmr(VIDEO_DOUBLE);
    return videoTraits<0>::EightBitLUT == first && videoTraits<0>::EightBitLUT.size() == 256 &&
           videoTraits<0>::EightBitLUT.data() == data;
  });
}
