// Row kernels and plane drivers shared by the families that widen 8-bit
// components into planes. Each kernel has its plain form (the rule, one
// element at a time) and, where it pays, a fast form that equals it bit for bit.
#ifndef RIVULET_VIDEO_RGB_KERNELS_H
#define RIVULET_VIDEO_RGB_KERNELS_H

#include <algorithm>
#include <cstdint>

#include "video/sample_rules.h"

namespace rivulet {

// ---- Fast forms (x86-64), defined in the SIMD sources ------------------------------------

// Splits w BGR pixels into three byte rows. Returns how many pixels it did (a
// multiple of its block); the caller finishes the rest with the plain form.
int splitBGRRowBytes_SIMD(const std::uint8_t* bgr, std::uint8_t* red, std::uint8_t* green,
                          std::uint8_t* blue, int w);
// Splits a 16 x 16 block of BGR pixels (16 rows rowStep bytes apart) and
// writes it transposed: column c of the block goes to 16 consecutive bytes at
// plane + c * h of each plane.
void splitBGRBlockToColumns_SIMD(const std::uint8_t* bgr, std::int64_t rowStep,
                                 std::uint8_t* red, std::uint8_t* green, std::uint8_t* blue,
                                 std::int64_t h);
// True where the block form can run (SSSE3).
bool haveBlockSplit();
// Transposes a 16 x 16 block of bytes (rows srcStride apart) into 16 runs of 16
// bytes dstStride apart.
void transposeBlock16_SIMD(const std::uint8_t* src, std::int64_t srcStride, std::uint8_t* dst,
                           std::int64_t dstStride);

// ---- Plain forms ----------------------------------------------------------------------------

template <int N>
inline void splitBGRRow_C(const std::uint8_t* bgr, Sample<N>* red, Sample<N>* green,
                          Sample<N>* blue, int w, Sample<N> const* lut) {
  for (int c = 0; c < w; ++c) {
    blue[c] = byteToSample<N>(lut, bgr[3 * c]);
    green[c] = byteToSample<N>(lut, bgr[3 * c + 1]);
    red[c] = byteToSample<N>(lut, bgr[3 * c + 2]);
  }
}

template <int N>
inline void splitBGRRow(const std::uint8_t* bgr, Sample<N>* red, Sample<N>* green,
                        Sample<N>* blue, int w, Sample<N> const* lut) {
  int done = 0;
  if constexpr (N == VIDEO_UINT8) done = splitBGRRowBytes_SIMD(bgr, red, green, blue, w);
  splitBGRRow_C<N>(bgr + 3 * done, red + done, green + done, blue + done, w - done, lut);
}

template <int N>
inline void widenRun(const std::uint8_t* src, Sample<N>* dst, std::int64_t count,
                     Sample<N> const* lut) {
  if constexpr (N == VIDEO_UINT8) {
    std::copy_n(src, count, dst);
  } else {
    for (std::int64_t i = 0; i < count; ++i) dst[i] = byteToSample<N>(lut, src[i]);
  }
}

// ---- Plane drivers ---------------------------------------------------------------------------

// Row-major planes from BGR rows: picture row r starts at top + r * rowStep.
template <int N>
void splitBGRRows(const std::uint8_t* top, std::int64_t rowStep, Sample<N>* const planes[3],
                  int w, int h, Sample<N> const* lut) {
  for (int r = 0; r < h; ++r) {
    const std::int64_t o = static_cast<std::int64_t>(r) * w;
    splitBGRRow<N>(top + r * rowStep, planes[0] + o, planes[1] + o, planes[2] + o, w, lut);
  }
}

// Tile sizes of the column-major drivers: a tile's height fills at least one
// cache line of a destination column; its width keeps the lines of the three
// planes that one tile writes within L1.
template <typename T>
inline constexpr int kTileRows = sizeof(T) >= 8 ? 8 : 64 / static_cast<int>(sizeof(T));
inline constexpr int kTileCols = 64;

// Column-major planes from BGR rows, for picture rows [r0, r1) and columns
// [c0, c1), walked in tiles so that each destination column receives a run of
// consecutive elements while its cache line is held.
template <int N>
void splitBGRRectToColumns_C(const std::uint8_t* top, std::int64_t rowStep,
                             Sample<N>* const planes[3], int h, int r0, int r1, int c0, int c1,
                             Sample<N> const* lut) {
  using T = Sample<N>;
  const std::int64_t H = h;
  for (int tr = r0; tr < r1; tr += kTileRows<T>) {
    const int tr1 = std::min(r1, tr + kTileRows<T>);
    for (int tc = c0; tc < c1; tc += kTileCols) {
      const int tc1 = std::min(c1, tc + kTileCols);
      for (int r = tr; r < tr1; ++r) {
        const std::uint8_t* px = top + r * rowStep;
        for (int c = tc; c < tc1; ++c) {
          const std::int64_t o = c * H + r;
          planes[0][o] = byteToSample<N>(lut, px[3 * c + 2]);
          planes[1][o] = byteToSample<N>(lut, px[3 * c + 1]);
          planes[2][o] = byteToSample<N>(lut, px[3 * c]);
        }
      }
    }
  }
}

template <int N>
void splitBGRRowsToColumns_C(const std::uint8_t* top, std::int64_t rowStep,
                             Sample<N>* const planes[3], int w, int h, Sample<N> const* lut) {
  splitBGRRectToColumns_C<N>(top, rowStep, planes, h, 0, h, 0, w, lut);
}

// Streams one cache line (64 bytes, line-aligned) past the caches.
void streamLine(void* dst, const void* src);
void streamFence();

// Widens component k (0 blue, 1 green, 2 red) of BGR rows [r0, r1) into a
// column-major plane, columns [c0, c1).
template <int N>
void widenComponentToColumns_C(const std::uint8_t* top, std::int64_t rowStep, int k,
                               Sample<N>* plane, int h, int r0, int r1, int c0, int c1,
                               Sample<N> const* lut) {
  const std::int64_t H = h;
  for (int r = r0; r < r1; ++r) {
    const std::uint8_t* px = top + r * rowStep + k;
    for (int c = c0; c < c1; ++c) plane[c * H + r] = byteToSample<N>(lut, px[3 * c]);
  }
}

// Wide types, when every column of a plane starts at the same offset within a
// cache line (h * size a multiple of 64): a tile of one line's worth of rows
// is gathered in a small buffer, then each column's line is streamed to memory
// whole. Column-major planes are written a line per column at a time, and
// streaming saves reading each line in before it is overwritten. Each plane
// has its own alignment, so each is done in its own pass; the rows before its
// first aligned line and after its last whole one go through the plain form.
// Returns false when the alignment does not hold.
template <int N>
bool splitBGRRowsToColumnsStreamed(const std::uint8_t* top, std::int64_t rowStep,
                                   Sample<N>* const planes[3], int w, int h, Sample<N> const* lut) {
  using T = Sample<N>;
  constexpr int kLine = 64;
  constexpr int TR = kLine / static_cast<int>(sizeof(T));
  constexpr int TC = 16;
  const std::int64_t H = h;
  if ((H * sizeof(T)) % kLine != 0) return false;
  for (int p = 0; p < 3; ++p)
    if (reinterpret_cast<std::uintptr_t>(planes[p]) % sizeof(T) != 0) return false;
  alignas(64) T tile[TC][TR];
  for (int p = 0; p < 3; ++p) {
    T* plane = planes[p];
    const int k = 2 - p;  // red is the third byte of a pixel
    const std::uintptr_t m = reinterpret_cast<std::uintptr_t>(plane) % kLine;
    const int lead = std::min<int>(h, static_cast<int>((kLine - m) % kLine / sizeof(T)));
    const int body = lead + (h - lead) / TR * TR;
    widenComponentToColumns_C<N>(top, rowStep, k, plane, h, 0, lead, 0, w, lut);
    for (int r0 = lead; r0 < body; r0 += TR) {
      for (int c0 = 0; c0 < w; c0 += TC) {
        const int n = std::min(TC, w - c0);
        for (int r = 0; r < TR; ++r) {
          const std::uint8_t* px = top + (r0 + r) * rowStep + 3 * c0 + k;
          for (int c = 0; c < n; ++c) tile[c][r] = byteToSample<N>(lut, px[3 * c]);
        }
        for (int c = 0; c < n; ++c) streamLine(plane + (c0 + c) * H + r0, tile[c]);
      }
    }
    widenComponentToColumns_C<N>(top, rowStep, k, plane, h, body, h, 0, w, lut);
  }
  streamFence();
  return true;
}

// Bytes: whole 16 x 16 blocks by the block split, a strip of 16 columns at a
// time from top to bottom, so each destination column is written in order and
// its cache lines are completed one after the other (sweeping across the rows
// instead leaves thousands of half-written lines open at once); the ragged
// right and bottom edges by the plain form.
template <int N>
void splitBGRRowsToColumns(const std::uint8_t* top, std::int64_t rowStep,
                           Sample<N>* const planes[3], int w, int h, Sample<N> const* lut) {
  if constexpr (N == VIDEO_UINT8) {
    if (haveBlockSplit()) {
      const int w16 = w & ~15, h16 = h & ~15;
      const std::int64_t H = h;
      for (int c = 0; c < w16; c += 16)
        for (int r = 0; r < h16; r += 16) {
          const std::int64_t o = c * H + r;
          splitBGRBlockToColumns_SIMD(top + r * rowStep + 3 * c, rowStep, planes[0] + o,
                                      planes[1] + o, planes[2] + o, H);
        }
      splitBGRRectToColumns_C<N>(top, rowStep, planes, h, 0, h16, w16, w, lut);
      splitBGRRectToColumns_C<N>(top, rowStep, planes, h, h16, h, 0, w, lut);
      return;
    }
  } else {
    if (splitBGRRowsToColumnsStreamed<N>(top, rowStep, planes, w, h, lut)) return;
  }
  splitBGRRowsToColumns_C<N>(top, rowStep, planes, w, h, lut);
}

// dst[c * h + r] = widen(src[r * w + c]): a row-major byte plane to a
// column-major plane, in tiles.
template <int N>
void transposePlane_C(const std::uint8_t* src, Sample<N>* dst, int w, int h,
                      Sample<N> const* lut) {
  using T = Sample<N>;
  const std::int64_t H = h;
  for (int r0 = 0; r0 < h; r0 += kTileRows<T>) {
    const int r1 = std::min(h, r0 + kTileRows<T>);
    for (int c0 = 0; c0 < w; c0 += kTileCols) {
      const int c1 = std::min(w, c0 + kTileCols);
      for (int r = r0; r < r1; ++r) {
        const std::uint8_t* row = src + static_cast<std::int64_t>(r) * w;
        for (int c = c0; c < c1; ++c) dst[c * H + r] = byteToSample<N>(lut, row[c]);
      }
    }
  }
}

template <int N>
void transposePlane(const std::uint8_t* src, Sample<N>* dst, int w, int h, Sample<N> const* lut) {
  if constexpr (N == VIDEO_UINT8) {
    const int w16 = w & ~15, h16 = h & ~15;
    const std::int64_t H = h, W = w;
    // Strips of 16 columns, top to bottom, as in splitBGRRowsToColumns.
    for (int c = 0; c < w16; c += 16)
      for (int r = 0; r < h16; r += 16) transposeBlock16_SIMD(src + r * W + c, W, dst + c * H + r, H);
    // Ragged right edge (all rows) and bottom edge (the block columns).
    for (int r = 0; r < h; ++r)
      for (int c = (r < h16 ? w16 : 0); c < w; ++c) dst[c * H + r] = src[r * W + c];
    return;
  }
  transposePlane_C<N>(src, dst, w, h, lut);
}

}  // namespace rivulet

#endif
