// SSSE3 forms of the video layers: the BGR split, 16 pixels a step.
#include <tmmintrin.h>

#include "video/kernels.h"
#include "video/simd_blocks.h"

namespace rivulet {
namespace {

int splitBGR(const std::uint8_t* bgr, std::uint8_t* red, std::uint8_t* green, std::uint8_t* blue, int n) {
  return splitBGRGroups<SplitOps128>(bgr, red, green, blue, n);
}

}  // namespace

extern const VideoForms kVideoFormsSsse3;
constinit const VideoForms kVideoFormsSsse3 = [] {
  VideoForms f{};
  f.splitBGR = &splitBGR;
  return f;
}();

}  // namespace rivulet
