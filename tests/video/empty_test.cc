// The Empty families: the type's minimum in w * h elements of each plane.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "rivulet/rivulet.h"
#include "video/sample_rules.h"

using namespace rivulet;

namespace {

template <typename TypeParam>
class EmptyFamily : public testing::Test {};
template <int N>
using Type = std::integral_constant<int, N>;
using EmptyTypes = testing::Types<Type<0>, Type<1>, Type<2>, Type<3>, Type<4>, Type<5>, Type<6>, Type<7>>;
TYPED_TEST_SUITE(EmptyFamily, EmptyTypes);

constexpr unsigned char kGuard = 0xA5;

}  // namespace

TYPED_TEST(EmptyFamily, FillsEachPlaneWithMinimumAndNothingElse) {
  constexpr int N = TypeParam::value;
  using T = Sample<N>;
  const VideoDataType dt = static_cast<VideoDataType>(N);
  for (auto [w, h] : {std::pair{1, 1}, {7, 3}, {16, 9}, {33, 2}, {0, 5}, {5, 0}, {-3, 4}, {-3, -4}}) {
    const int count = w * h > 0 ? w * h : 0;
    const size_t bytes = (count + 8) * sizeof(T);
    for (auto model : {FOURCC_RGB, FOURCC_GREY, FOURCC_YUY2}) {
      std::vector<unsigned char> p[3];
      for (auto& v : p) v.assign(bytes, kGuard);
      MM_GetVideoEmptyFcn(model, dt)(nullptr, p[0].data(), p[1].data(), p[2].data(), w, h,
                                     ORIENTATION_ROW_MAJOR);
      const int planes = model == FOURCC_GREY ? 1 : 3;
      for (int k = 0; k < 3; ++k) {
        for (int i = 0; i < count; ++i) {
          T v;
          std::memcpy(&v, p[k].data() + i * sizeof(T), sizeof v);
          if (k < planes) {
            ASSERT_EQ(v, videoTraits<N>::min) << "plane " << k << " element " << i;
          }
        }
        const size_t written = k < planes ? count * sizeof(T) : 0;
        for (size_t i = written; i < bytes; ++i) ASSERT_EQ(p[k][i], kGuard) << "plane " << k << " byte " << i;
      }
    }
  }
}

TEST(EmptyFamilyValues, Minimums) {
  MM_GetToRGBChannelsEmptyFcn(VIDEO_INT32);
  int p[2] = {1, 1};
  MM_GetToIntensityChannelsEmptyFcn(VIDEO_INT32)(nullptr, p, nullptr, nullptr, 2, 1, ORIENTATION_COLUMN_MAJOR);
  EXPECT_EQ(p[0], -2147483647 - 1);
  char c[3] = {0, 0, 0};
  MM_GetToIntensityChannelsEmptyFcn(VIDEO_INT8)(nullptr, c, nullptr, nullptr, 3, 1, static_cast<VideoFrameOrientation>(7));
  EXPECT_EQ(c[2], -128);
}
