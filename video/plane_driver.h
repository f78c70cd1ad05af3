// The plane driver every video family runs on. A family supplies a row
// kernel for one run of pixels of one picture row; the driver settles the
// orientation once and hands the kernel either the destination rows
// themselves (row-major planes) or rows of a strip of the column walk
// (column_tiles.h), which the transpose layer moves to or from the columns
// (column-major planes). Packed frames are
// addressed through PackedRows, which holds the row step, the bottom-up
// order and the row padding.
#ifndef RIVULET_VIDEO_PLANE_DRIVER_H
#define RIVULET_VIDEO_PLANE_DRIVER_H

#include <algorithm>
#include <cstdint>

#include "rivulet/video.h"
#include "types/stream.h"
#include "video/sample_rules.h"
#include "video/column_tiles.h"

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

// Ends a routine whose fast forms wrote past the caches.
inline void endStream(bool stream) {
  if (stream && videoForms().streamFence != nullptr) videoForms().streamFence();
}

// Frame to planes: row(r, c, n, out, stream) writes out[p][0..n) with plane
// p of pixels (r, c) to (r, c + n - 1). Row-major planes get their own rows,
// and `stream` says whether to write them past the caches; any other
// orientation means column-major planes (element (r, c) at c * h + r), whose
// rows go to a strip of the column walk (stream false), with one column per
// pixel in every plane.
template <typename T, int P, typename Row>
void planesFromRows(const Row& row, T* const planes[P], int w, int h,
                    VideoFrameOrientation orientation, bool stream = false) {
  const std::int64_t W = w;
  if (orientation == ORIENTATION_ROW_MAJOR) {
    T* out[P];
    for (int r = 0; r < h; ++r) {
      for (int p = 0; p < P; ++p) out[p] = planes[p] + r * W;
      row(r, 0, w, out, stream);
    }
    return;
  }
  T* to[P];
  int per[P];
  std::copy_n(planes, P, to);
  std::fill_n(per, P, 1);
  rowsToColumns<T, P>(to, per, h, w, [&](int r, int c, int n, T* const* out) { row(r, c, n, out, false); }, stream);
}

// Planes to frame: row(r, c, n, in) reads in[p][0..n), plane p of pixels
// (r, c) to (r, c + n - 1), and writes them to the frame.
template <typename T, int P, typename Row>
void planesToRows(const Row& row, T const* const planes[P], int w, int h,
                  VideoFrameOrientation orientation) {
  const std::int64_t W = w;
  if (orientation == ORIENTATION_ROW_MAJOR) {
    const T* in[P];
    for (int r = 0; r < h; ++r) {
      for (int p = 0; p < P; ++p) in[p] = planes[p] + r * W;
      row(r, 0, w, in);
    }
    return;
  }
  T const* from[P];
  int per[P];
  std::copy_n(planes, P, from);
  std::fill_n(per, P, 1);
  columnsToRows<T, P>(from, per, h, w, [&](int r, int c, int n, T const* const* in) { row(r, c, n, in); });
}

}  // namespace rivulet

#endif
