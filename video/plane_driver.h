// The plane driver every video family runs on. A family supplies a row
// kernel for one run of pixels of one picture row; the driver settles the
// orientation once and hands the kernel either the destination rows
// themselves (row-major planes) or rows of a small tile that the transpose
// layer then writes into columns (column-major planes). Packed frames are
// addressed through PackedRows, which holds the row step, the bottom-up
// order and the row padding.
#ifndef RIVULET_VIDEO_PLANE_DRIVER_H
#define RIVULET_VIDEO_PLANE_DRIVER_H

#include <algorithm>
#include <cstdint>

#include "rivulet/video.h"
#include "types/stream.h"
#include "video/sample_rules.h"
#include "video/transpose.h"

namespace rivulet {

// Rows of a packed frame of `rowBytes` bytes each, padded to a multiple of
// four, stored bottom-up: picture row r lies at memory row h - 1 - r.
template <typename Byte>
struct PackedRows {
  Byte* top;
  std::int64_t step;  // from one picture row to the next (negative)
  PackedRows(Byte* frame, std::int64_t rowBytes, int h)
      : top(frame + (h - 1) * paddedRowBytes(rowBytes)), step(-paddedRowBytes(rowBytes)) {}
  Byte* row(int r) const { return top + r * step; }
};

// Whether a routine that writes `bytes` should write past the caches.
inline bool streamFor(std::int64_t bytes) { return bytes >= kStreamMinBytes; }

// Ends a routine whose fast forms wrote past the caches.
inline void endStream(bool stream) {
  if (stream && videoForms().streamFence != nullptr) videoForms().streamFence();
}

// Frame to planes: row(r, c, n, out, stream) writes out[p][0..n) with plane
// p of pixels (r, c) to (r, c + n - 1). Row-major planes get their own rows,
// and `stream` says whether to write them past the caches; any other
// orientation means column-major planes (element (r, c) at c * h + r), whose
// rows go to a tile in L1 (stream false) that the transpose layer writes out.
// Where planes need passes of their own (below), out[p] is null for each
// plane the pass does not write: the kernel skips that plane.
template <typename T, int P, typename Row>
void planesFromRows(const Row& row, T* const planes[P], int w, int h,
                    VideoFrameOrientation orientation, bool stream = false) {
  const std::int64_t W = w, H = h;
  T* out[P];
  if (orientation == ORIENTATION_ROW_MAJOR) {
    for (int r = 0; r < h; ++r) {
      for (int p = 0; p < P; ++p) out[p] = planes[p] + r * W;
      row(r, 0, w, out, stream);
    }
    return;
  }
  // Bands of BR rows, top to bottom, each swept left to right a tile at a
  // time: the source is read along its rows, and each destination column
  // gets BR consecutive elements per band. Where a column holds whole lines
  // of a wide type, the first band is short, so that the others start on a
  // line boundary and are streamed whole, two lines of a column close
  // together (columns written a single line at a time take about half as
  // long again); planes whose alignments differ get a pass each.
  constexpr int kLines = sizeof(T) >= 4 ? 2 : 1;
  constexpr int TR = kTileRows<T>, BR = kLines * TR, TC = kTileCols<T> / kLines;
  alignas(64) T tile[P][BR * TC];
  int lead[P] = {};
  if constexpr (sizeof(T) >= 4)
    if ((H * sizeof(T)) % 64 == 0)
      for (int p = 0; p < P; ++p) {
        const auto address = reinterpret_cast<std::uintptr_t>(planes[p]);
        if (address % sizeof(T) == 0) lead[p] = static_cast<int>((64 - address % 64) % 64 / sizeof(T));
      }
  const auto pass = [&](int first, int last, int firstBand) {
    for (int r0 = 0; r0 < h;) {
      const int nr = std::min(r0 == 0 && firstBand > 0 ? firstBand : BR, h - r0);
      for (int c0 = 0; c0 < w; c0 += TC) {
        const int nc = std::min(TC, w - c0);
        for (int r = 0; r < nr; ++r) {
          for (int p = 0; p < P; ++p) out[p] = p >= first && p < last ? tile[p] + r * TC : nullptr;
          row(r0 + r, c0, nc, out, false);
        }
        for (int p = first; p < last; ++p) {
          T* const to = planes[p] + c0 * H + r0;
          if (kLines == 1 || nr <= TR) {
            transposeTile(tile[p], TC, to, H, nr, nc, stream);
          } else {
            // Sixteen columns at a time, each column's lines one after the other.
            for (int c = 0; c < nc; c += 16)
              for (int s = 0; s < nr; s += TR)
                transposeTile(tile[p] + s * TC + c, TC, to + c * H + s, H, std::min(TR, nr - s),
                              std::min(16, nc - c), stream);
          }
        }
      }
      r0 += nr;
    }
  };
  if (std::all_of(lead, lead + P, [&](int l) { return l == lead[0]; })) {
    pass(0, P, lead[0]);
  } else {
    for (int p = 0; p < P; ++p) pass(p, p + 1, lead[p]);
  }
}

// Planes to frame: row(r, c, n, in) reads in[p][0..n), plane p of pixels
// (r, c) to (r, c + n - 1), and writes them to the frame.
template <typename T, int P, typename Row>
void planesToRows(const Row& row, T const* const planes[P], int w, int h,
                  VideoFrameOrientation orientation) {
  const std::int64_t W = w, H = h;
  const T* in[P];
  if (orientation == ORIENTATION_ROW_MAJOR) {
    for (int r = 0; r < h; ++r) {
      for (int p = 0; p < P; ++p) in[p] = planes[p] + r * W;
      row(r, 0, w, in);
    }
    return;
  }
  constexpr int TR = kTileRows<T>, TC = kTileCols<T>;
  alignas(64) T tile[P][TR * TC];
  for (int c0 = 0; c0 < w; c0 += TC) {
    const int nc = std::min(TC, w - c0);
    for (int r0 = 0; r0 < h; r0 += TR) {
      const int nr = std::min(TR, h - r0);
      // Columns c0.. of the plane are rows of the transpose.
      for (int p = 0; p < P; ++p) transposeTile(planes[p] + c0 * H + r0, H, tile[p], TC, nc, nr);
      for (int r = 0; r < nr; ++r) {
        for (int p = 0; p < P; ++p) in[p] = tile[p] + r * TC;
        row(r0 + r, c0, nc, in);
      }
    }
  }
}

}  // namespace rivulet

#endif
