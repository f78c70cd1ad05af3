// Run-time choice of the fast byte forms of frame_kernels.h.
#include "video/frame_kernels_simd.h"

namespace rivulet {

#if !defined(RIVULET_NO_SIMD) && defined(__x86_64__)
// In frame_kernels_avx2.cc, compiled for AVX2; null where the build has none.
const FrameSimd* frameSimdAVX2();
#endif

namespace {

int none3(const std::uint8_t*, const std::uint8_t*, const std::uint8_t*, std::uint8_t*, int) {
  return 0;
}
int noneSplit(const std::uint8_t*, std::uint8_t*, std::uint8_t*, std::uint8_t*, int) { return 0; }
int noneSplitM(const std::uint8_t*, std::uint8_t*, std::uint8_t*, std::uint8_t*, int,
               const YCbCrMatrices&) {
  return 0;
}
int noneMergeM(const std::uint8_t*, const std::uint8_t*, const std::uint8_t*, std::uint8_t*, int,
               const YCbCrMatrices&) {
  return 0;
}

constexpr FrameSimd kNone = {&none3, &noneSplit, &none3, &noneSplitM, &noneMergeM, &noneSplitM};

const FrameSimd& pick() {
#if !defined(RIVULET_NO_SIMD) && defined(__x86_64__)
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx2"))
    if (const FrameSimd* s = frameSimdAVX2()) return *s;
#endif
  return kNone;
}

const FrameSimd& kPicked = pick();

}  // namespace

const FrameSimd& frameSimd() { return kPicked; }
const FrameSimd& frameSimdNone() { return kNone; }

}  // namespace rivulet
