// The one column-major walk of the video families. A family's row kernel
// works on runs of "units" (a pixel, or a pair of pixels) of one picture row;
// plane p has per[p] columns for each unit (2 for the luma of a pair, 1 for
// its chroma, 1 for every plane of a pixel family). The walk runs the kernel
// on whole rows into a strip: as many rows as fill a 64-byte line of a plane
// column (two lines for 4- and 8-byte samples), across the width, held in
// L2. The shared transpose layer then moves the strip to or from the
// column-major planes, each plane column getting a run of whole lines. The
// frame is read or written along its rows, as the row-major routines do.
#ifndef RIVULET_VIDEO_COLUMN_TILES_H
#define RIVULET_VIDEO_COLUMN_TILES_H

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "video/transpose.h"

namespace rivulet {

// Rows of a strip: one 64-byte line of a plane column (at least 8 rows), or
// two for samples of 4 and 8 bytes, whose columns are streamed out a line
// at a time and take about half as long again when written a single line
// per visit.
template <typename E>
inline constexpr int kLineRows = sizeof(E) >= 8 ? 8 : 64 / static_cast<int>(sizeof(E));
template <typename E>
inline constexpr int kStripRows = (sizeof(E) >= 4 ? 2 : 1) * kLineRows<E>;
// Rows of a strip read from column-major planes: runs of four lines of each
// column, which the hardware prefetchers follow (a run of one or two lines
// per column left the wide reads about 1.4x slower).
template <typename E>
inline constexpr int kReadRows = 4 * kLineRows<E>;

// The strip of each thread: taken from the heap at its first column-major
// call and kept until the thread ends. A strip wider than this buffer
// holds is walked in pieces of the width. Within the 1 MiB L2 of a core
// beside the frame rows being read.
inline constexpr std::int64_t kStripBytes = std::int64_t{384} << 10;
// Where the heap cannot give the strip, the walk runs in pieces of this
// size on the stack, slower but complete.
inline constexpr std::int64_t kStackStripBytes = std::int64_t{48} << 10;

inline unsigned char* threadStrip() {
  struct Buffer {
    unsigned char* p = static_cast<unsigned char*>(std::aligned_alloc(64, kStripBytes));
    ~Buffer() { std::free(p); }
  };
  thread_local Buffer buffer;
  return buffer.p;
}

// Elements of plane p in each strip row for a piece of n units: rounded up
// to a line, plus a line where rows would fall a multiple of 512 bytes
// apart (the column reads of the transposes would share cache sets).
template <typename E>
inline std::int64_t stripStride(int per, std::int64_t n) {
  std::int64_t bytes = (per * n * static_cast<std::int64_t>(sizeof(E)) + 63) & ~std::int64_t{63};
  if (bytes % 512 == 0) bytes += 64;
  return bytes / static_cast<std::int64_t>(sizeof(E));
}

// The strips of one walk. Rows of plane p sit in a ring of `ringRows` rows,
// picture row r at ring row (r + shift[p]) mod ringRows. Where the walk
// streams samples of 4 and 8 bytes and a plane's columns are not aligned
// to a line at row 0 (but are at some row lead, H being whole lines), the
// shift puts row lead at a ring line boundary: its columns are then written
// a whole line at a time past the caches, the rows short of a line held
// over to the next band. Without a shift the ring is one strip.
template <typename E, int P>
struct StripShape {
  int ringRows;
  int shift[P] = {};
  std::int64_t unitsPerPiece = 0;
  // extraRows: rows' worth of the buffer per unit kept for other use.
  StripShape(E const* const (&planes)[P], const int (&per)[P], int h, int units, std::int64_t bytes,
             bool stream, int rows, int extraRows = 0)
      : ringRows(rows) {
    constexpr int L = kLineRows<E>;
    if (sizeof(E) >= 4 && stream && (std::int64_t{h} * sizeof(E)) % 64 == 0)
      for (int p = 0; p < P; ++p) {
        const auto address = reinterpret_cast<std::uintptr_t>(planes[p]) % 64;
        if (address % sizeof(E) == 0) shift[p] = (L - static_cast<int>((64 - address) % 64 / sizeof(E))) % L;
        if (shift[p] != 0) ringRows = kStripRows<E> + L;
      }
    std::int64_t perUnit = 0;
    for (int p = 0; p < P; ++p) perUnit += per[p];
    // Strides round up and may gain a line: a line per plane of slack.
    const std::int64_t usable = bytes / (ringRows + extraRows) - P * 128;
    unitsPerPiece = std::max<std::int64_t>(1, std::min<std::int64_t>(units, usable / (perUnit * sizeof(E))));
  }
};

// A strip (rows x cols, stride in elements) to plane columns starting at
// `to`; streamed where the transpose layer can, which takes the columns a
// line at a time, sixteen columns together.
template <typename E>
inline void stripToColumns(const E* strip, std::int64_t stride, E* to, std::int64_t H, int rows, int cols,
                           bool stream) {
  constexpr int L = kLineRows<E>;
  if (!stream || sizeof(E) == 1 || rows <= L) return transposeTile(strip, stride, to, H, rows, cols, stream);
  for (int c = 0; c < cols; c += 16)
    for (int s = 0; s < rows; s += L)
      transposeTile(strip + s * stride + c, stride, to + c * H + s, H, std::min(L, rows - s),
                    std::min(16, cols - c), stream);
}

// One walk over a strip buffer of `bytes`: frame to planes where ToPlanes,
// else planes to frame. The width is walked in pieces that fit the buffer,
// each from top to bottom, so a ring holds rows of the piece alone.
template <bool ToPlanes, typename E, int P, typename Planes, typename RowFn>
void walkStrips(const Planes (&planes)[P], const int (&per)[P], int h, int units, RowFn& rowFn, bool stream,
                unsigned char* buffer, std::int64_t bytes) {
  constexpr int L = kLineRows<E>;
  // The longer read runs where the buffer holds them (not on the stack).
  const int S = ToPlanes || bytes < kStripBytes ? kStripRows<E> : kReadRows<E>;
  E const* view[P];
  for (int p = 0; p < P; ++p) view[p] = planes[p];
  // Byte columns in bands of a whole line of rows go out a whole line at a
  // time where the CPU has the form for it: each line of a column is
  // written once, the rows of a band past the column's last line boundary
  // carried (64 bytes a column) to the next band; with `stream`, the whole
  // lines past the caches. Not on the stack, whose buffer would then hold
  // too few columns a piece.
  auto* const linesForm =
      ToPlanes && sizeof(E) == 1 && h >= L && bytes >= kStripBytes ? videoForms().transposeBytes64x64Lines : nullptr;
  const StripShape<E, P> shape(view, per, h, units, bytes, ToPlanes && stream, S, linesForm ? L : 0);
  const int R = shape.ringRows;
  const std::int64_t H = h;
  // Strides for the widest piece serve every piece.
  E* strip[P];
  std::int64_t stride[P];
  E* next = reinterpret_cast<E*>(buffer);
  for (int p = 0; p < P; ++p) {
    strip[p] = next;
    stride[p] = stripStride<E>(per[p], shape.unitsPerPiece);
    next += stride[p] * R;
  }
  unsigned char* carry[P] = {};
  if (linesForm != nullptr)
    for (int p = 0; p < P; ++p) {
      carry[p] = reinterpret_cast<unsigned char*>(next);
      next += per[p] * shape.unitsPerPiece * 64;
    }
  for (int u0 = 0; u0 < units;) {
    const int n = static_cast<int>(std::min<std::int64_t>(shape.unitsPerPiece, units - u0));
    int done[P] = {};  // rows of plane p written to the planes
    for (int r0 = 0; r0 < h; r0 += S) {
      const int rows = std::min(S, h - r0);
      if constexpr (ToPlanes) {
        for (int rr = 0; rr < rows; ++rr) {
          E* dst[P];
          for (int p = 0; p < P; ++p) dst[p] = strip[p] + (r0 + rr + shape.shift[p]) % R * stride[p];
          rowFn(r0 + rr, u0, n, dst);
        }
        for (int p = 0; p < P; ++p) {
          // Up to the last line boundary of the plane's columns, or the end.
          const int end = r0 + rows == h ? h : (r0 + rows + shape.shift[p]) / L * L - shape.shift[p];
          E* const to = planes[p] + per[p] * std::int64_t{u0} * H;
          if constexpr (sizeof(E) == 1) {
            const int cols = per[p] * n, cols64 = linesForm != nullptr ? cols & ~63 : 0;
            if (cols64 > 0 && rows == L) {
              for (int c = 0; c < cols64; c += 64)
                linesForm(reinterpret_cast<const std::uint8_t*>(strip[p]) + c, stride[p],
                          reinterpret_cast<std::uint8_t*>(to + c * H + r0), H, carry[p] + 64 * c, r0 == 0,
                          stream);
              if (cols > cols64)
                transposeTile(strip[p] + cols64, stride[p], to + cols64 * H + r0, H, rows, cols - cols64);
              done[p] = end;
            }
            // After the last whole band, the carried rows go to their columns.
            if (cols64 > 0 && (rows == L ? r0 + rows == h : r0 > 0)) {
              const int at = rows == L ? h : r0;
              for (int c = 0; c < cols64; ++c) {
                E* const d = to + c * H + at;
                const int k = static_cast<int>(reinterpret_cast<std::uintptr_t>(d) % 64);
                std::copy_n(carry[p] + 64 * c, k, reinterpret_cast<unsigned char*>(d) - k);
              }
            }
          }
          while (done[p] < end) {
            // A first piece short of a line on its own, then whole lines.
            const int at = (done[p] + shape.shift[p]) % R, head = (L - at % L) % L;
            const int m = std::min({end - done[p], R - at, head > 0 ? head : R});
            stripToColumns(strip[p] + at * stride[p], stride[p], to + done[p], H, m, per[p] * n, stream);
            done[p] += m;
          }
        }
      } else {
        for (int p = 0; p < P; ++p)
          transposeTile(planes[p] + per[p] * std::int64_t{u0} * H + r0, H, strip[p], stride[p], per[p] * n, rows);
        for (int rr = 0; rr < rows; ++rr) {
          E const* src[P];
          for (int p = 0; p < P; ++p) src[p] = strip[p] + rr * stride[p];
          rowFn(r0 + rr, u0, n, src);
        }
      }
    }
    u0 += n;
  }
}

// The walk on a stack buffer, for a thread whose strip could not be had.
template <bool ToPlanes, typename E, int P, typename Planes, typename RowFn>
[[gnu::noinline]] void walkStripsOnStack(const Planes (&planes)[P], const int (&per)[P], int h, int units,
                                         RowFn& rowFn, bool stream) {
  alignas(64) unsigned char buffer[kStackStripBytes];
  walkStrips<ToPlanes, E>(planes, per, h, units, rowFn, stream, buffer, kStackStripBytes);
}

// Planes written column-major: rowFn(r, u0, n, dst) fills, for picture row r,
// units [u0, u0 + n) into dst[p] (per[p] * n elements each), which go to
// plane p at columns [per[p] * u0, per[p] * (u0 + n)). With `stream`, wide
// samples go to memory past the caches where their columns line up, and
// bytes where whole lines of their columns are written at once (the caller
// fences).
template <typename E, int P, typename RowFn>
void rowsToColumns(E* const (&planes)[P], const int (&per)[P], int h, int units, RowFn&& rowFn,
                   bool stream = false) {
  if (h <= 0 || units <= 0) return;
  if (unsigned char* strip = threadStrip())
    walkStrips<true, E>(planes, per, h, units, rowFn, stream, strip, kStripBytes);
  else
    walkStripsOnStack<true, E>(planes, per, h, units, rowFn, stream);
}

// Planes read column-major: plane p's columns [per[p] * u0, per[p] * (u0 + n))
// are gathered into rows, and rowFn(r, u0, n, src) runs on each, src[p]
// holding per[p] * n elements of plane p for row r.
template <typename E, int P, typename RowFn>
void columnsToRows(E const* const (&planes)[P], const int (&per)[P], int h, int units, RowFn&& rowFn) {
  if (h <= 0 || units <= 0) return;
  if (unsigned char* strip = threadStrip())
    walkStrips<false, E>(planes, per, h, units, rowFn, false, strip, kStripBytes);
  else
    walkStripsOnStack<false, E>(planes, per, h, units, rowFn, false);
}

// ---- Small tiles, for a walk between two column-major sides -------------------------------

// kLineRows<E> rows of up to kTileStride elements of each of P planes.
inline constexpr int kBlockUnits = 64;
inline constexpr int kTileStride = 2 * kBlockUnits;
template <typename E, int P, int Rows = kLineRows<E>>
using Tile = E[P][Rows][kTileStride];

// tile[rr][c] to plane element (c0 + c) * H + r0 + rr, for c < cols.
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

// Asks for `bytes` bytes from p ahead of use.
inline void prefetchRun(const void* p, std::int64_t bytes) {
  for (std::int64_t b = 0; b < bytes; b += 64) __builtin_prefetch(static_cast<const char*>(p) + b);
}

}  // namespace rivulet

#endif
