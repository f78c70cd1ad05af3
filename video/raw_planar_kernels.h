// The transpose of the raw planar routines: source column c of h elements
// (index c * h + r) becomes element c of target row r, which starts at
// row0 + r * step (step is negative for reversed rows). The source is taken
// in tiles of kCols columns by kRows rows: each column's run goes through
// the element rule into a small tile of the target type (a contiguous loop),
// and the tiled transpose layer writes the tile into the target rows.
#ifndef RIVULET_VIDEO_RAW_PLANAR_KERNELS_H
#define RIVULET_VIDEO_RAW_PLANAR_KERNELS_H

#include <algorithm>
#include <cstdint>

#include "video/full_range_rules.h"
#include "video/transpose.h"

namespace rivulet {

// The plain form: the walk of the rule, element by element.
template <int S, int D>
void transposeColumnsToRows_C(const Sample<S>* src, Sample<D>* row0, std::int64_t step,
                              std::int64_t w, std::int64_t h) {
  for (std::int64_t r = 0; r < h; ++r)
    for (std::int64_t c = 0; c < w; ++c) row0[r * step + c] = rawPlanarElement<S, D>(src[c * h + r]);
}

template <int S, int D>
void transposeColumnsToRows(const Sample<S>* src, Sample<D>* row0, std::int64_t step, std::int64_t w,
                            std::int64_t h) {
  using Td = Sample<D>;
  // 64 target rows of one line's worth of elements per tile.
  constexpr int kRows = 64, kCols = 64 / static_cast<int>(sizeof(Td));
  alignas(64) Td tile[kCols * kRows];
  for (std::int64_t r0 = 0; r0 < h; r0 += kRows) {
    const int nr = static_cast<int>(std::min<std::int64_t>(kRows, h - r0));
    for (std::int64_t c0 = 0; c0 < w; c0 += kCols) {
      const int nc = static_cast<int>(std::min<std::int64_t>(kCols, w - c0));
      const Sample<S>* col = src + c0 * h + r0;
      if constexpr (S == D) {
        transposeTile(col, h, row0 + r0 * step + c0, step, nc, nr);
      } else {
        for (int c = 0; c < nc; ++c)
          for (int r = 0; r < nr; ++r) tile[c * kRows + r] = rawPlanarElement<S, D>(col[c * h + r]);
        transposeTile(tile, kRows, row0 + r0 * step + c0, step, nc, nr);
      }
    }
  }
}

}  // namespace rivulet

#endif
