// x86-64 fast forms of the intensity row kernels declared in
// intensity_kernels.h.
#include "video/intensity_kernels.h"

namespace rivulet {

std::int64_t intensityRowFromBGR_U8_SIMD(const std::uint8_t*, std::uint8_t*, std::int64_t) { return 0; }
std::int64_t intensityRowFromBGR_F64_SIMD(const std::uint8_t*, double*, std::int64_t) { return 0; }
std::int64_t intensityRunFromPlanes_U8_SIMD(const std::uint8_t*, const std::uint8_t*, const std::uint8_t*,
                                            std::uint8_t*, std::int64_t) {
  return 0;
}
std::int64_t intensityRunFromPlanes_F64_SIMD(const std::uint8_t*, const std::uint8_t*, const std::uint8_t*,
                                             double*, std::int64_t) {
  return 0;
}

}  // namespace rivulet
