// Column-major planes for row kernels. A family's row kernel works on runs of
// "units" (a pixel, or a pair of pixels) of one picture row; these drivers let
// the same kernel serve column-major planes by passing it rows of a small
// row-major tile, which the shared transpose layer moves to or from the
// planes. (The pixel-based plane driver holds planes of one width; these
// drivers let a pair's luma and chroma planes differ.)
// Plane p has per[p] columns for each unit (2 for the luma of a pair, 1 for
// its chroma). A tile covers a line of rows and kBlockUnits units, so each
// plane column is read or written as a run of consecutive elements while its
// cache lines are held, instead of one element per row.
#ifndef RIVULET_VIDEO_COLUMN_TILES_H
#define RIVULET_VIDEO_COLUMN_TILES_H

#include <algorithm>
#include <cstdint>

#include "video/transpose.h"

namespace rivulet {

// A strip is as many rows as fill one 64-byte line of a plane column (at
// least 8), so each column line is completed while it is held. A block is
// 128 units: each frame row is then read in runs long enough for the
// hardware prefetchers (32 left the walk waiting on frame loads), while
// the tiles of three planes (48 KiB) stay within L2.
template <typename E>
inline constexpr int kStripRows = sizeof(E) >= 8 ? 8 : 64 / static_cast<int>(sizeof(E));
inline constexpr int kBlockUnits = 128;
inline constexpr int kTileStride = 2 * kBlockUnits;

// A tile: kStripRows<E> rows of up to 2 * kBlockUnits elements of each of P planes.
template <typename E, int P, int Rows = kStripRows<E>>
using Tile = E[P][Rows][kTileStride];

// tile[rr][c] to plane element (c0 + c) * H + r0 + rr, for c < cols, through
// the shared tiled transpose layer.
template <typename E>
inline void scatterTile(const E (*tile)[kTileStride], int rows, int cols, E* plane,
                        std::int64_t H, std::int64_t c0, int r0) {
  if (rows > 64 || cols > kTileStride) __builtin_unreachable();
  transposeTile(&tile[0][0], kTileStride, plane + c0 * H + r0, H, rows, cols);
}

// GCC (12) cannot see that a tile of at most 16 columns leaves the 64-column
// block loop of the transpose layer empty, and warns of a write past the tile
// on that path; it is never taken.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wstringop-overflow"
#pragma GCC diagnostic ignored "-Warray-bounds"
// The reverse: plane elements (c0 + c) * H + r0 + rr to tile[rr][c].
template <typename E>
inline void gatherTile(E const* plane, std::int64_t H, std::int64_t c0, int r0, int rows,
                       int cols, E (*tile)[kTileStride]) {
  if (rows > 64 || cols > kTileStride) __builtin_unreachable();
  transposeTile(plane + c0 * H + r0, H, &tile[0][0], kTileStride, cols, rows);
}
#pragma GCC diagnostic pop

// Asks for `bytes` bytes from p ahead of use: a column-major walk reads each
// frame row a block at a time, rows apart, which the hardware prefetchers do
// not follow.
inline void prefetchRun(const void* p, std::int64_t bytes) {
  for (std::int64_t b = 0; b < bytes; b += 64) __builtin_prefetch(static_cast<const char*>(p) + b);
}

// Planes written column-major: rowFn(r, u0, n, dst) fills, for picture row r,
// units [u0, u0 + n) into dst[p] (per[p] * n elements each), and the tile goes
// to plane p at columns [per[p] * u0, per[p] * (u0 + n)).
template <typename E, int P, typename RowFn>
void rowsToColumns(E* const (&planes)[P], const int (&per)[P], int h, int units, RowFn&& rowFn) {
  Tile<E, P> tile;
  for (int r0 = 0; r0 < h; r0 += kStripRows<E>) {
    const int rows = std::min(kStripRows<E>, h - r0);
    for (int u0 = 0; u0 < units; u0 += kBlockUnits) {
      const int n = std::min(kBlockUnits, units - u0);
      for (int rr = 0; rr < rows; ++rr) {
        E* dst[P];
        for (int p = 0; p < P; ++p) dst[p] = tile[p][rr];
        rowFn(r0 + rr, u0, n, dst);
      }
      for (int p = 0; p < P; ++p)
        scatterTile(tile[p], rows, per[p] * n, planes[p], h, std::int64_t{per[p]} * u0, r0);
    }
  }
}

// Planes read column-major: the tile is gathered from plane p's columns
// [per[p] * u0, per[p] * (u0 + n)), then rowFn(r, u0, n, src) runs on each of
// its rows, src[p] holding per[p] * n elements of plane p for row r.
template <typename E, int P, typename RowFn>
void columnsToRows(E const* const (&planes)[P], const int (&per)[P], int h, int units,
                   RowFn&& rowFn) {
  Tile<E, P> tile;
  for (int r0 = 0; r0 < h; r0 += kStripRows<E>) {
    const int rows = std::min(kStripRows<E>, h - r0);
    for (int u0 = 0; u0 < units; u0 += kBlockUnits) {
      const int n = std::min(kBlockUnits, units - u0);
      for (int p = 0; p < P; ++p)
        gatherTile(planes[p], h, std::int64_t{per[p]} * u0, r0, rows, per[p] * n, tile[p]);
      for (int rr = 0; rr < rows; ++rr) {
        E const* src[P];
        for (int p = 0; p < P; ++p) src[p] = tile[p][rr];
        rowFn(r0 + rr, u0, n, src);
      }
    }
  }
}

}  // namespace rivulet

#endif
