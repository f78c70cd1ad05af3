// The transpose of the raw planar routines: source column c of h elements
// (index c * h + r) becomes element c of target row r, which starts at
// row0 + r * step (step is negative for reversed rows). The source is taken
// in tiles of kCols columns by kRows rows: each column's run goes through
// the element rule into a small tile of the target type (a contiguous loop),
// and the tiled transpose layer writes the tile into the target rows. Where
// the CPU has a fused form (4- and 8-byte sources to 2-byte targets), whole
// strips of 32 columns are converted and transposed in registers instead,
// with no tile between.
#ifndef RIVULET_VIDEO_RAW_PLANAR_KERNELS_H
#define RIVULET_VIDEO_RAW_PLANAR_KERNELS_H

#include <algorithm>
#include <cstdint>

#include "video/full_range_rules.h"
#include "video/transpose.h"

namespace rivulet {

// floorToInt16 without the call to floor, in a form the compiler vectorizes:
// clamp first (NaN to 0), then floor by truncation, less one where the
// truncation went up. Equal to floorToInt16 for every input: both saturate at
// the same points (floor(y) >= 32767 exactly when y >= 32767, and at or below
// -32768 exactly when y < -32767), and inside the range floor is that
// corrected truncation.
inline std::int16_t floorToInt16Fast(double x) {
  const double y = x * 32768.0;
  const double c = y != y ? 0.0 : (y >= 32767.0 ? 32767.0 : (y < -32768.0 ? -32768.0 : y));
  const int t = static_cast<int>(c);
  return static_cast<std::int16_t>(t - (t > c ? 1 : 0));
}

template <int S, int D>
inline Sample<D> rawPlanarElementFast(Sample<S> x) {
  if constexpr ((S == VIDEO_DOUBLE || S == VIDEO_SINGLE) && S != D)
    return floorToInt16Fast(static_cast<double>(x));
  else
    return rawPlanarElement<S, D>(x);
}

// The plain form: the walk of the rule, element by element.
template <int S, int D>
void transposeColumnsToRows_C(const Sample<S>* src, Sample<D>* row0, std::int64_t step,
                              std::int64_t w, std::int64_t h) {
  for (std::int64_t r = 0; r < h; ++r)
    for (std::int64_t c = 0; c < w; ++c) row0[r * step + c] = rawPlanarElement<S, D>(src[c * h + r]);
}

// ---- Fast forms (raw_planar_sse2.cc) ---------------------------------------------------

struct RawPlanarForms {
  // The element rule of source type S on the first elements of a run of n;
  // returns how many it did. Null where the plain rule is all there is.
  std::int64_t (*run[9])(const void* src, void* dst, std::int64_t n);
  // Source type S to its 2-byte target, fused: rows [0, rows) of a strip of
  // 32 source columns (column c at src + c * h), target row r at
  // row0 + r * step; returns the rows done. Null where there is no such form.
  std::int64_t (*columns32[9])(const void* src, std::int64_t h, void* row0, std::int64_t step, std::int64_t rows);
};

// The SSE2 forms, or null in a build without SIMD.
const RawPlanarForms* rawPlanarForms();

// A run of one source column through the element rule.
template <int S, int D>
inline void convertRun(const Sample<S>* src, Sample<D>* dst, std::int64_t n, const RawPlanarForms* f) {
  std::int64_t done = 0;
  if (f != nullptr && f->run[S] != nullptr) done = f->run[S](src, dst, n);
  for (std::int64_t i = done; i < n; ++i) dst[i] = rawPlanarElementFast<S, D>(src[i]);
}

// The routines' form: tiles of 64 target rows by one target line's worth of
// columns. Each source column's run goes through the element rule into a
// small tile (a contiguous loop), which the transpose forms write into the
// target rows; copies transpose straight from the source. A fused form
// takes a full strip whole; the tiles do the rest.
template <int S, int D>
void transposeColumnsToRows(const Sample<S>* src, Sample<D>* row0, std::int64_t step, std::int64_t w,
                            std::int64_t h) {
  using Td = Sample<D>;
  constexpr int kRows = 64, kCols = 64 / static_cast<int>(sizeof(Td));
  const RawPlanarForms* f = rawPlanarForms();
  alignas(64) Td tile[kCols * kRows];
  // A strip of kCols source columns at a time, top to bottom: each column
  // is read in memory order and each target row gets one line per strip.
  for (std::int64_t c0 = 0; c0 < w; c0 += kCols) {
    const int nc = static_cast<int>(std::min<std::int64_t>(kCols, w - c0));
    std::int64_t fused = 0;
    if constexpr (sizeof(Td) == 2)
      if (nc == kCols && f != nullptr && f->columns32[S] != nullptr)
        fused = f->columns32[S](src + c0 * h, h, row0 + c0, step, h);
    for (std::int64_t r0 = fused; r0 < h; r0 += kRows) {
      const int nr = static_cast<int>(std::min<std::int64_t>(kRows, h - r0));
      const Sample<S>* col = src + c0 * h + r0;
      Td* out = row0 + r0 * step + c0;
      const Td* t = reinterpret_cast<const Td*>(col);
      std::int64_t tStride = h;
      if constexpr (S != D) {
        for (int c = 0; c < nc; ++c) {
          // The column's next block, while this one converts.
          if (r0 + 2 * kRows <= h)
            for (int k = 0; k < kRows * static_cast<int>(sizeof(Sample<S>)); k += 64)
              __builtin_prefetch(reinterpret_cast<const char*>(col + c * h + kRows) + k);
          convertRun<S, D>(col + c * h, tile + c * kRows, nr, f);
        }
        t = tile;
        tStride = kRows;
      }
      transposeTile(t, tStride, out, step, nc, nr);
    }
  }
}

}  // namespace rivulet

#endif
