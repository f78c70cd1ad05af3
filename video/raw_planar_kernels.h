// The transpose of the raw planar routines: source column c of h elements
// (index c * h + r) becomes element c of target row r, which starts at
// row0 + r * step (step is negative for reversed rows). Plain form in tiles,
// and a fast form for bytes on the 16 x 16 block transpose.
#ifndef RIVULET_VIDEO_RAW_PLANAR_KERNELS_H
#define RIVULET_VIDEO_RAW_PLANAR_KERNELS_H

#include <algorithm>
#include <cstdint>

#include "video/full_range_rules.h"
#include "video/rgb_kernels.h"

namespace rivulet {

// Rows [r0, r1) and columns [c0, c1), in square tiles: a tile's source
// columns and target rows stay in L1 while it is moved.
template <int S, int D>
void transposeRect_C(const Sample<S>* src, Sample<D>* row0, std::int64_t step, std::int64_t h,
                     std::int64_t r0, std::int64_t r1, std::int64_t c0, std::int64_t c1) {
  constexpr std::int64_t B = 32;
  for (std::int64_t tr = r0; tr < r1; tr += B) {
    const std::int64_t tr1 = std::min(r1, tr + B);
    for (std::int64_t tc = c0; tc < c1; tc += B) {
      const std::int64_t tc1 = std::min(c1, tc + B);
      for (std::int64_t r = tr; r < tr1; ++r) {
        Sample<D>* out = row0 + r * step;
        for (std::int64_t c = tc; c < tc1; ++c) out[c] = rawPlanarElement<S, D>(src[c * h + r]);
      }
    }
  }
}

template <int S, int D>
void transposeColumnsToRows_C(const Sample<S>* src, Sample<D>* row0, std::int64_t step,
                              std::int64_t w, std::int64_t h) {
  transposeRect_C<S, D>(src, row0, step, h, 0, h, 0, w);
}

template <int S, int D>
void transposeColumnsToRows(const Sample<S>* src, Sample<D>* row0, std::int64_t step,
                            std::int64_t w, std::int64_t h) {
  if constexpr (S == D && sizeof(Sample<S>) == 1) {
    // Whole 16 x 16 blocks, a strip of 16 target rows at a time; then the
    // ragged right edge and bottom strip by the plain form.
    const std::int64_t w16 = w & ~15, h16 = h & ~15;
    const auto* s = reinterpret_cast<const std::uint8_t*>(src);
    auto* d = reinterpret_cast<std::uint8_t*>(row0);
    for (std::int64_t r = 0; r < h16; r += 16)
      for (std::int64_t c = 0; c < w16; c += 16) transposeBlock16_SIMD(s + c * h + r, h, d + r * step + c, step);
    transposeRect_C<S, D>(src, row0, step, h, 0, h16, w16, w);
    transposeRect_C<S, D>(src, row0, step, h, h16, h, 0, w);
  } else {
    transposeColumnsToRows_C<S, D>(src, row0, step, w, h);
  }
}

}  // namespace rivulet

#endif
