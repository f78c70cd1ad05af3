// Column-major planes through a row kernel: the picture is cut into tiles of
// one cache line's worth of rows by 64 columns; a tile's rows are made (or
// consumed) by the family's row kernel in a small buffer on the stack, and
// each column of the tile is moved as one run of consecutive elements. So a
// family writes one row kernel and gets both orientations.
#ifndef RIVULET_VIDEO_STRIP_TILES_H
#define RIVULET_VIDEO_STRIP_TILES_H

#include <algorithm>
#include <cstdint>

namespace rivulet {

template <typename T>
inline constexpr int kStripRows = sizeof(T) >= 8 ? 8 : 64 / static_cast<int>(sizeof(T));
inline constexpr int kStripCols = 64;

// Writes P column-major planes of h rows: makeRow(r, c0, n, out) writes the
// elements of picture row r, columns [c0, c0 + n), of plane p to out[p][0..n).
template <typename T, int P, typename MakeRow>
void rowsToColumns(T* const planes[P], int w, int h, MakeRow&& makeRow) {
  constexpr int TR = kStripRows<T>, TC = kStripCols;
  alignas(64) T tile[P][TR][TC];
  const std::int64_t H = h;
  for (int r0 = 0; r0 < h; r0 += TR) {
    const int nr = std::min(TR, h - r0);
    for (int c0 = 0; c0 < w; c0 += TC) {
      const int nc = std::min(TC, w - c0);
      for (int r = 0; r < nr; ++r) {
        T* out[P];
        for (int p = 0; p < P; ++p) out[p] = tile[p][r];
        makeRow(r0 + r, c0, nc, out);
      }
      for (int p = 0; p < P; ++p)
        for (int c = 0; c < nc; ++c) {
          T* col = planes[p] + (c0 + c) * H + r0;
          for (int r = 0; r < nr; ++r) col[r] = tile[p][r][c];
        }
    }
  }
}

// Reads P column-major planes of h rows: useRow(r, c0, n, in) consumes the
// elements of picture row r, columns [c0, c0 + n), of plane p from in[p][0..n).
template <typename T, int P, typename UseRow>
void columnsToRows(T const* const planes[P], int w, int h, UseRow&& useRow) {
  constexpr int TR = kStripRows<T>, TC = kStripCols;
  alignas(64) T tile[P][TR][TC];
  const std::int64_t H = h;
  for (int r0 = 0; r0 < h; r0 += TR) {
    const int nr = std::min(TR, h - r0);
    for (int c0 = 0; c0 < w; c0 += TC) {
      const int nc = std::min(TC, w - c0);
      for (int p = 0; p < P; ++p)
        for (int c = 0; c < nc; ++c) {
          const T* col = planes[p] + (c0 + c) * H + r0;
          for (int r = 0; r < nr; ++r) tile[p][r][c] = col[r];
        }
      for (int r = 0; r < nr; ++r) {
        const T* in[P];
        for (int p = 0; p < P; ++p) in[p] = tile[p][r];
        useRow(r0 + r, c0, nc, in);
      }
    }
  }
}

}  // namespace rivulet

#endif
