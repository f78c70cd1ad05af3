// AVX2 fast forms of the byte row kernels (frame_kernels_simd.h).
#include "video/frame_kernels_simd.h"

namespace rivulet {

const FrameSimd* frameSimdAVX2() { return nullptr; }

}  // namespace rivulet
