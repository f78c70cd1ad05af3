// Empty families: paint planes with the type's minimum. frame and orientation
// are not used; the element order does not matter for a fill.
#include <algorithm>

#include "video/families.h"
#include "video/sample_rules.h"

namespace rivulet {
namespace {

// A non-positive w * h writes nothing.
template <int N, int Planes>
void toChannelsEmpty(void const*, void* p0, void* p1, void* p2, int w, int h,
                     VideoFrameOrientation) {
  const std::int32_t count = pixelCount32(w, h);
  if (count <= 0) return;
  void* planes[3] = {p0, p1, p2};
  for (int p = 0; p < Planes; ++p)
    std::fill_n(static_cast<Sample<N>*>(planes[p]), count, videoTraits<N>::min);
}

}  // namespace

constexpr VideoInputFcn kToRGBChannelsEmpty[9] = {
    &toChannelsEmpty<0, 3>, &toChannelsEmpty<1, 3>, &toChannelsEmpty<2, 3>,
    &toChannelsEmpty<3, 3>, &toChannelsEmpty<4, 3>, &toChannelsEmpty<5, 3>,
    &toChannelsEmpty<6, 3>, &toChannelsEmpty<7, 3>,
    nullptr,  // VIDEO_BOOLEAN: no Empty member
};
constexpr VideoInputFcn kToIntensityChannelsEmpty[9] = {
    &toChannelsEmpty<0, 1>, &toChannelsEmpty<1, 1>, &toChannelsEmpty<2, 1>,
    &toChannelsEmpty<3, 1>, &toChannelsEmpty<4, 1>, &toChannelsEmpty<5, 1>,
    &toChannelsEmpty<6, 1>, &toChannelsEmpty<7, 1>,
    nullptr,  // VIDEO_BOOLEAN: no Empty member
};

}  // namespace rivulet
