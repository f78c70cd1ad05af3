// x86-64 fast forms of the byte kernels in rgb_kernels.h.
#include "video/rgb_kernels.h"

namespace rivulet {

int splitBGRRowBytes_SIMD(const std::uint8_t*, std::uint8_t*, std::uint8_t*, std::uint8_t*, int) {
  return 0;
}

}  // namespace rivulet
