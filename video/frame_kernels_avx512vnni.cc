// AVX-512 VNNI forms of the backward transform (frame_kernels_avx512_backward.h):
// the chroma part of a component and its constant in one word dot product.
// The rest of the set is the AVX-512 one.
#include <immintrin.h>

// As in frame_kernels_avx512.cc: GCC 12's AVX-512 headers seed some
// intrinsics with an undefined vector and then warn about it.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"

#include "video/frame_kernels_avx512_backward.h"
#include "video/frame_kernels_simd.h"

namespace rivulet {

FrameSimd frameSimdAVX512();
FrameSimd frameSimdAVX512VNNI() {
  FrameSimd s = frameSimdAVX512();
  s.yuy2ToRGB = &backward512::yuy2ToRGB<true>;
  s.ycbcrToBGR = &backward512::ycbcrToBGR<true>;
  return s;
}

}  // namespace rivulet
