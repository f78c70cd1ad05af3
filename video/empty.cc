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
  const std::int32_t count = product32(w, h);
  if (count <= 0) return;
  void* planes[3] = {p0, p1, p2};
  for (int p = 0; p < Planes; ++p)
    std::fill_n(static_cast<Sample<N>*>(planes[p]), count, videoTraits<N>::min);
}

}  // namespace

constexpr VideoInputTable kToRGBChannelsEmpty = buildVideoTable<VideoInputFcn, kEmptyTypes>(
    []<int N> { return &toChannelsEmpty<N, 3>; });
constexpr VideoInputTable kToIntensityChannelsEmpty = buildVideoTable<VideoInputFcn, kEmptyTypes>(
    []<int N> { return &toChannelsEmpty<N, 1>; });

}  // namespace rivulet
