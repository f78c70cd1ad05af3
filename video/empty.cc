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

template <int Planes>
struct Fill {
  template <int N>
  struct Of {
    static constexpr VideoInputFcn fcn = [] {
      if constexpr (N == VIDEO_BOOLEAN)
        return VideoInputFcn{nullptr};
      else
        return &toChannelsEmpty<N, Planes>;
    }();
  };
};

}  // namespace

constexpr VideoInputTable kToRGBChannelsEmpty = buildVideoTable<VideoInputFcn, Fill<3>::Of>();
constexpr VideoInputTable kToIntensityChannelsEmpty = buildVideoTable<VideoInputFcn, Fill<1>::Of>();
#ifndef RIVULET_SANITIZE
static_assert(typesOf(kToRGBChannelsEmpty) == kEmptyTypes);
static_assert(typesOf(kToIntensityChannelsEmpty) == kEmptyTypes);
#endif

}  // namespace rivulet
