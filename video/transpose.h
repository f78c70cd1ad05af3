// The tiled transpose layer: every change between row-major and column-major
// element order in the video families goes through transposeTile, in tiles a
// driver sizes so that each destination column gets a run of whole cache
// lines while they are held.
#ifndef RIVULET_VIDEO_TRANSPOSE_H
#define RIVULET_VIDEO_TRANSPOSE_H

#include <algorithm>
#include <cstdint>

#include "video/kernels.h"

namespace rivulet {

// Tile shape of the column-major drivers: kTileRows<T> rows fill one 64-byte
// line of a destination column (at least 8 rows); kTileCols<T> columns make
// a tile of a plane 16 KiB, so the tiles of three planes stay in L1 and
// each source row is read in runs of several lines.
template <typename T>
inline constexpr int kTileRows = sizeof(T) >= 8 ? 8 : 64 / static_cast<int>(sizeof(T));
template <typename T>
inline constexpr int kTileCols = 16384 / (kTileRows<T> * static_cast<int>(sizeof(T)));

// dst[c * dstStride + r] = src[r * srcStride + c] for r < rows, c < cols.
template <typename T>
inline void transposeTile_C(const T* src, std::int64_t srcStride, T* dst, std::int64_t dstStride,
                            int rows, int cols) {
  for (int r = 0; r < rows; ++r)
    for (int c = 0; c < cols; ++c) dst[c * dstStride + r] = src[r * srcStride + c];
}

// Block transposes of 2-, 4- and 8-byte elements (strides in elements): the
// whole 8 x 8 blocks of a rows x cols tile, that is rows and cols each
// rounded down to a multiple of 8; the caller does the edges.
struct TransposeForms {
  using Blocks = void (*)(const void* src, std::int64_t srcStride, void* dst, std::int64_t dstStride, int rows,
                          int cols);
  Blocks blocks2, blocks4, blocks8;
};

// Index k is the set of Simd level k (types/cpu.h), null where a set adds
// nothing; transposeForms() is the widest the CPU runs, or null in a build
// without SIMD, picked once.
extern const TransposeForms* const kTransposeFormsBySet[5];
const TransposeForms* transposeForms();

// transposeTile_C with the whole 8 x 8 blocks of 2-, 4- and 8-byte elements
// by the block forms.
template <typename T>
inline void transposeWideTile(const T* src, std::int64_t srcStride, T* dst, std::int64_t dstStride, int rows,
                              int cols) {
  static_assert(sizeof(T) == 2 || sizeof(T) == 4 || sizeof(T) == 8);
  const TransposeForms* f = transposeForms();
  if (f == nullptr || rows < 8 || cols < 8) return transposeTile_C(src, srcStride, dst, dstStride, rows, cols);
  (sizeof(T) == 2 ? f->blocks2 : sizeof(T) == 4 ? f->blocks4 : f->blocks8)(src, srcStride, dst, dstStride, rows,
                                                                              cols);
  const int rows8 = rows & ~7, cols8 = cols & ~7;
  transposeTile_C(src + rows8 * srcStride, srcStride, dst + rows8, dstStride, rows - rows8, cols);
  transposeTile_C(src + cols8, srcStride, dst + cols8 * dstStride, dstStride, rows8, cols - cols8);
}

// The same, bytes by the block forms where whole blocks fit; with `stream`, a
// tile one line high whose destination columns start on a line boundary goes
// to memory a line per column past the caches (the driver fences).
template <typename T>
inline void transposeTile(const T* src, std::int64_t srcStride, T* dst, std::int64_t dstStride,
                          int rows, int cols, bool stream = false) {
  const VideoForms& f = videoForms();
  if constexpr (sizeof(T) == 1) {
    const auto* s = reinterpret_cast<const std::uint8_t*>(src);
    auto* d = reinterpret_cast<std::uint8_t*>(dst);
    const int rows16 = rows & ~15, rows64 = rows & ~63;
    int done = 0;  // columns [0, done) of rows [0, rows16) are written
    if (f.transposeBytes64x64 != nullptr && rows64 > 0)
      for (; done + 64 <= cols; done += 64) {
        for (int r = 0; r < rows64; r += 64)
          f.transposeBytes64x64(s + r * srcStride + done, srcStride, d + done * dstStride + r, dstStride);
        for (int r = rows64; r < rows16; r += 16)
          f.transposeBytes16x64(s + r * srcStride + done, srcStride, d + done * dstStride + r, dstStride);
      }
    if (f.transposeBytes16x64 != nullptr)
      for (; done + 64 <= cols; done += 64)
        for (int r = 0; r < rows16; r += 16)
          f.transposeBytes16x64(s + r * srcStride + done, srcStride, d + done * dstStride + r, dstStride);
    if (f.transposeBytes16x16 != nullptr)
      for (; done + 16 <= cols; done += 16)
        for (int r = 0; r < rows16; r += 16)
          f.transposeBytes16x16(s + r * srcStride + done, srcStride, d + done * dstStride + r, dstStride);
    if (done == 0) return transposeTile_C(src, srcStride, dst, dstStride, rows, cols);
    transposeTile_C(src + rows16 * srcStride, srcStride, dst + rows16, dstStride, rows - rows16, done);
    transposeTile_C(src + done, srcStride, dst + done * dstStride, dstStride, rows, cols - done);
  } else {
    if (stream && f.streamLine != nullptr && rows * sizeof(T) == 64 &&
        (reinterpret_cast<std::uintptr_t>(dst) | dstStride * sizeof(T)) % 64 == 0) {
      // A block of columns is gathered before any is streamed: a line read
      // right after its elements were stored one by one would wait for them.
      constexpr int kBlock = 16, kLine = 64 / sizeof(T);
      alignas(64) T lines[kBlock][kLine];
      int c0 = 0;
      if (sizeof(T) == 8 && f.streamTranspose8x8 != nullptr)
        for (; c0 + 8 <= cols; c0 += 8) f.streamTranspose8x8(src + c0, srcStride, dst + c0 * dstStride, dstStride);
      for (; c0 < cols; c0 += kBlock) {
        const int m = std::min(kBlock, cols - c0);
        transposeWideTile(src + c0, srcStride, &lines[0][0], kLine, rows, m);
        for (int c = 0; c < m; ++c) f.streamLine(dst + (c0 + c) * dstStride, lines[c]);
      }
      return;
    }
    transposeWideTile(src, srcStride, dst, dstStride, rows, cols);
  }
}

// A whole row-major w x h plane to column-major, tile by tile: a strip of
// kTileCols<T> columns at a time from top to bottom, so each destination column
// is written in order and its lines are completed one after the other.
template <typename T>
inline void transposePlane(const T* src, T* dst, int w, int h) {
  const std::int64_t W = w, H = h;
  for (int c0 = 0; c0 < w; c0 += kTileCols<T>)
    for (int r0 = 0; r0 < h; r0 += kTileRows<T>)
      transposeTile(src + r0 * W + c0, W, dst + c0 * H + r0, H, std::min(kTileRows<T>, h - r0),
                    std::min(kTileCols<T>, w - c0));
}

}  // namespace rivulet

#endif
