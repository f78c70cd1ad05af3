// Row kernels of the families that close the round trip of a picture: planes
// to packed BGR and to byte planes, YCbCr planes from BGR and YUY2, and YUY2
// and BGR from planes. Each is a plain loop of the sample rules over a run of
// one row; the family drivers settle orientation, flip and padding and call
// them for both orientations (column-major through column_tiles.h).
//
// The _C forms are the rules, one element at a time. The forms without a
// suffix finish with the _C form after the fast forms (frame_kernels_simd.h:
// the byte kernels, and the narrowing and widening of 4- and 8-byte samples
// around them) have done what they can; the two agree bit for bit.
#ifndef RIVULET_VIDEO_FRAME_KERNELS_H
#define RIVULET_VIDEO_FRAME_KERNELS_H

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "video/bgr_rows.h"
#include "video/frame_kernels_simd.h"
#include "video/sample_rules.h"
#include "video/ycbcr_rules.h"

namespace rivulet {

// ---- Planes to packed BGR and to byte planes -----------------------------------------------

template <int N>
inline void mergeBGRRow_C(Sample<N> const* red, Sample<N> const* green, Sample<N> const* blue,
                          std::uint8_t* out, int n) {
  for (int i = 0; i < n; ++i) {
    out[3 * i] = sampleToByte<N>(blue[i]);
    out[3 * i + 1] = sampleToByte<N>(green[i]);
    out[3 * i + 2] = sampleToByte<N>(red[i]);
  }
}

template <int N>
inline void narrowRun_C(Sample<N> const* src, std::uint8_t* dst, std::int64_t n) {
  for (std::int64_t i = 0; i < n; ++i) dst[i] = sampleToByte<N>(src[i]);
}

// ---- YUY2 to planes ----------------------------------------------------------------------

// pairs macro-pixels Y0 Cb Y1 Cr: Y0, Y1 to the luma run, Cb and Cr once each.
template <int N>
inline void yuy2ToPlanesRow_C(const std::uint8_t* f, Sample<N>* y, Sample<N>* cb, Sample<N>* cr,
                              int pairs, Sample<N> const* lut) {
  for (int k = 0; k < pairs; ++k) {
    y[2 * k] = byteToSample<N>(lut, f[4 * k]);
    cb[k] = byteToSample<N>(lut, f[4 * k + 1]);
    y[2 * k + 1] = byteToSample<N>(lut, f[4 * k + 2]);
    cr[k] = byteToSample<N>(lut, f[4 * k + 3]);
  }
}

// Both pixels of a macro-pixel through the backward transform with its one
// chroma pair.
template <int N>
inline void yuy2ToRGBRow_C(const std::uint8_t* f, Sample<N>* red, Sample<N>* green,
                           Sample<N>* blue, int pairs, Sample<N> const* lut,
                           const YCbCrMatrices& m) {
  for (int k = 0; k < pairs; ++k) {
    const int cb = f[4 * k + 1], cr = f[4 * k + 3];
    for (int j = 0; j < 2; ++j) {
      const BGR8 p = backwardYCbCr(m, f[4 * k + 2 * j], cb, cr);
      red[2 * k + j] = byteToSample<N>(lut, p.r);
      green[2 * k + j] = byteToSample<N>(lut, p.g);
      blue[2 * k + j] = byteToSample<N>(lut, p.b);
    }
  }
}

// ---- 8-bit RGB to YCbCr planes ------------------------------------------------------------

// Pixel i has its components at r[Step * i], g[Step * i], b[Step * i] (Step 3
// for a BGR row, 1 for byte planes). Pair k is pixels 2k (P) and 2k + 1 (Q):
// both give their own Y, P alone gives Cb and Cr.
template <int N, int Step>
inline void rgbBytesToYCbCrRow_C(const std::uint8_t* r, const std::uint8_t* g,
                                 const std::uint8_t* b, Sample<N>* y, Sample<N>* cb,
                                 Sample<N>* cr, int pairs, Sample<N> const* lut,
                                 const YCbCrMatrices& m) {
  for (int k = 0; k < pairs; ++k) {
    const int p = Step * 2 * k, q = p + Step;
    y[2 * k] = byteToSample<N>(lut, forwardYCbCr(m, 0, r[p], g[p], b[p]));
    y[2 * k + 1] = byteToSample<N>(lut, forwardYCbCr(m, 0, r[q], g[q], b[q]));
    cb[k] = byteToSample<N>(lut, forwardYCbCr(m, 1, r[p], g[p], b[p]));
    cr[k] = byteToSample<N>(lut, forwardYCbCr(m, 2, r[p], g[p], b[p]));
  }
}

// ---- Planes to packed BGR through the backward transform ----------------------------------

template <int N>
inline void ycbcrToBGRRow_C(Sample<N> const* y, Sample<N> const* cb, Sample<N> const* cr,
                            std::uint8_t* out, int pairs, const YCbCrMatrices& m) {
  for (int k = 0; k < pairs; ++k) {
    const int u = sampleToByte<N>(cb[k]), v = sampleToByte<N>(cr[k]);
    for (int j = 0; j < 2; ++j) {
      const BGR8 p = backwardYCbCr(m, sampleToByte<N>(y[2 * k + j]), u, v);
      out[6 * k + 3 * j] = p.b;
      out[6 * k + 3 * j + 1] = p.g;
      out[6 * k + 3 * j + 2] = p.r;
    }
  }
}

// ---- Planes to YUY2 --------------------------------------------------------------------------

// steps macro-pixels Y(P) Cb(P) Y(Q) Cr(P), with P the element Step * k and Q
// the one after it: Step 2 is the regular pairing, Step 1 makes a step for
// every column (the row-major path of RGBToYCbCrChannelsOutput).
template <int N, int Step>
inline void rgbToYUY2Row_C(Sample<N> const* red, Sample<N> const* green, Sample<N> const* blue,
                           std::uint8_t* out, int steps, const YCbCrMatrices& m) {
  for (int k = 0; k < steps; ++k) {
    const int p = Step * k, q = p + 1;
    const int pr = sampleToByte<N>(red[p]), pg = sampleToByte<N>(green[p]),
              pb = sampleToByte<N>(blue[p]);
    out[4 * k] = forwardYCbCr(m, 0, pr, pg, pb);
    out[4 * k + 1] = forwardYCbCr(m, 1, pr, pg, pb);
    out[4 * k + 2] = forwardYCbCr(m, 0, sampleToByte<N>(red[q]), sampleToByte<N>(green[q]),
                                  sampleToByte<N>(blue[q]));
    out[4 * k + 3] = forwardYCbCr(m, 2, pr, pg, pb);
  }
}

// Grey pairs: L(b0), 128, L(b1), 128; with Twice the right pixel's luma is
// L(L(b1)) (the row-major path of IntensityToYCbCrChannelsOutput).
template <int N, bool Twice>
inline void intensityToYUY2Row_C(Sample<N> const* grey, std::uint8_t* out, int pairs,
                                 const YCbCrMatrices& m) {
  const auto cb = static_cast<std::uint8_t>(m.off[1]), cr = static_cast<std::uint8_t>(m.off[2]);
  for (int k = 0; k < pairs; ++k) {
    const std::uint8_t l1 = intensityLuma(m, sampleToByte<N>(grey[2 * k + 1]));
    out[4 * k] = intensityLuma(m, sampleToByte<N>(grey[2 * k]));
    out[4 * k + 1] = cb;
    out[4 * k + 2] = Twice ? intensityLuma(m, l1) : l1;
    out[4 * k + 3] = cr;
  }
}

// Interleaving only: Y 2k, Cb k, Y 2k + 1, Cr k.
template <int N>
inline void planesToYUY2Row_C(Sample<N> const* y, Sample<N> const* cb, Sample<N> const* cr,
                              std::uint8_t* out, int pairs) {
  for (int k = 0; k < pairs; ++k) {
    out[4 * k] = sampleToByte<N>(y[2 * k]);
    out[4 * k + 1] = sampleToByte<N>(cb[k]);
    out[4 * k + 2] = sampleToByte<N>(y[2 * k + 1]);
    out[4 * k + 3] = sampleToByte<N>(cr[k]);
  }
}

// ---- Dispatching forms: the fast byte form first, the plain form for the rest ----------------

// Narrowing of a run: the vector form for float, double and int32 samples,
// the rule for the rest.
template <int N>
inline void narrowRun(Sample<N> const* src, std::uint8_t* dst, int n) {
  int done = 0;
  if constexpr (N == VIDEO_SINGLE || N == VIDEO_DOUBLE || N == VIDEO_INT32) {
    const float lo = sampleAsSingle<N>(videoTraits<N>::min);
    const float range = sampleAsSingle<N>(videoTraits<N>::max) - lo;
    if constexpr (N == VIDEO_SINGLE) done = frameSimd().narrowSingle(src, dst, n, lo, range);
    if constexpr (N == VIDEO_DOUBLE) done = frameSimd().narrowDouble(src, dst, n, lo, range);
    if constexpr (N == VIDEO_INT32) done = frameSimd().narrowInt32(src, dst, n, lo, range);
  }
  narrowRun_C<N>(src + done, dst + done, n - done);
}

// Output rows of wide types: each plane's run narrowed to bytes in L1, then
// the byte kernel; the same bytes as narrowing each sample where it is used.
inline constexpr int kNarrowChunk = 256;

template <int N>
inline void mergeBGRRow(Sample<N> const* red, Sample<N> const* green, Sample<N> const* blue,
                        std::uint8_t* out, int n) {
  if constexpr (N == VIDEO_UINT8) {
    const int done = frameSimd().mergeBGR(red, green, blue, out, n);
    mergeBGRRow_C<N>(red + done, green + done, blue + done, out + 3 * done, n - done);
  } else {
    std::uint8_t b[3][kNarrowChunk];
    for (int i = 0; i < n; i += kNarrowChunk) {
      const int m = std::min(kNarrowChunk, n - i);
      narrowRun<N>(red + i, b[0], m);
      narrowRun<N>(green + i, b[1], m);
      narrowRun<N>(blue + i, b[2], m);
      mergeBGRRow<VIDEO_UINT8>(b[0], b[1], b[2], out + 3 * i, m);
    }
  }
}

// Wide types: the byte form makes a chunk of bytes in L1, which is then
// widened run by run; the same values as widening each byte where it is made.
inline constexpr int kWidenChunkPairs = 1024;

// Pairs in the chunk that starts at pair k. A run of more than one chunk
// has a short first chunk that ends where the first plane (perPair samples a
// pair) reaches a 64-byte boundary, so that the later ones start on whole
// lines of it (and of the other planes where they keep the same pace and
// alignment): no partial line between chunks.
template <typename T>
inline int widenChunk(int k, int pairs, const T* first, int perPair) {
  int n = kWidenChunkPairs;
  const auto address = reinterpret_cast<std::uintptr_t>(first);
  const std::uintptr_t pairBytes = perPair * sizeof(T);
  if (k == 0 && pairs > n && address % pairBytes == 0 && address % 64 != 0)
    n = static_cast<int>((64 - address % 64) / pairBytes);
  return std::min(n, pairs - k);
}

template <int N>
inline void yuy2ToPlanesRow(const std::uint8_t* f, Sample<N>* y, Sample<N>* cb, Sample<N>* cr,
                            int pairs, Sample<N> const* lut, bool stream = false) {
  if constexpr (N == VIDEO_UINT8) {
    const int done = frameSimd().yuy2ToPlanes(f, y, cb, cr, pairs);
    yuy2ToPlanesRow_C<N>(f + 4 * done, y + 2 * done, cb + done, cr + done, pairs - done, lut);
  } else {
    // Through the caches, 4- and 8-byte samples straight from the frame where
    // the CPU has the forms; past them, by chunks, each plane from its own
    // first line boundary (the three rarely share an alignment).
    int k = 0;
    if constexpr (sizeof(Sample<N>) == 4 || sizeof(Sample<N>) == 8) {
      const WidenPlanes* planes = widenPlanesOf<N>(lut);
      if (!stream && planes != nullptr) {
        const FrameSimd& s = frameSimd();
        k = (sizeof(Sample<N>) == 4 ? s.yuy2ToPlanes4 : s.yuy2ToPlanes8)(f, y, cb, cr, pairs, *planes);
      }
    }
    std::uint8_t yb[2 * kWidenChunkPairs], ub[kWidenChunkPairs], vb[kWidenChunkPairs];
    for (int n; k < pairs; k += n) {
      n = widenChunk(k, pairs, y, 2);
      yuy2ToPlanesRow<VIDEO_UINT8>(f + 4 * k, yb, ub, vb, n, nullptr);
      widenRun<N>(yb, y + 2 * k, 2 * n, lut, stream);
      widenRun<N>(ub, cb + k, n, lut, stream);
      widenRun<N>(vb, cr + k, n, lut, stream);
    }
  }
}

template <int N>
inline void planesToYUY2Row(Sample<N> const* y, Sample<N> const* cb, Sample<N> const* cr,
                            std::uint8_t* out, int pairs) {
  if constexpr (N == VIDEO_UINT8) {
    const int done = frameSimd().planesToYUY2(y, cb, cr, out, pairs);
    planesToYUY2Row_C<N>(y + 2 * done, cb + done, cr + done, out + 4 * done, pairs - done);
  } else {
    std::uint8_t yb[2 * kNarrowChunk], ub[kNarrowChunk], vb[kNarrowChunk];
    for (int k = 0; k < pairs; k += kNarrowChunk) {
      const int m = std::min(kNarrowChunk, pairs - k);
      narrowRun<N>(y + 2 * k, yb, 2 * m);
      narrowRun<N>(cb + k, ub, m);
      narrowRun<N>(cr + k, vb, m);
      planesToYUY2Row<VIDEO_UINT8>(yb, ub, vb, out + 4 * k, m);
    }
  }
}

template <int N>
inline void yuy2ToRGBRow(const std::uint8_t* f, Sample<N>* red, Sample<N>* green, Sample<N>* blue,
                         int pairs, Sample<N> const* lut, const YCbCrMatrices& m,
                         bool stream = false) {
  if constexpr (N == VIDEO_UINT8) {
    const int done = frameSimd().yuy2ToRGB(f, red, green, blue, pairs, m);
    yuy2ToRGBRow_C<N>(f + 4 * done, red + 2 * done, green + 2 * done, blue + 2 * done,
                      pairs - done, lut, m);
  } else {
    std::uint8_t b[3][2 * kWidenChunkPairs];
    for (int k = 0, n; k < pairs; k += n) {
      n = widenChunk(k, pairs, red, 2);
      yuy2ToRGBRow<VIDEO_UINT8>(f + 4 * k, b[0], b[1], b[2], n, nullptr, m);
      widenRun<N>(b[0], red + 2 * k, 2 * n, lut, stream);
      widenRun<N>(b[1], green + 2 * k, 2 * n, lut, stream);
      widenRun<N>(b[2], blue + 2 * k, 2 * n, lut, stream);
    }
  }
}

template <int N>
inline void ycbcrToBGRRow(Sample<N> const* y, Sample<N> const* cb, Sample<N> const* cr,
                          std::uint8_t* out, int pairs, const YCbCrMatrices& m) {
  if constexpr (N == VIDEO_UINT8) {
    const int done = frameSimd().ycbcrToBGR(y, cb, cr, out, pairs, m);
    ycbcrToBGRRow_C<N>(y + 2 * done, cb + done, cr + done, out + 6 * done, pairs - done, m);
  } else {
    std::uint8_t yb[2 * kNarrowChunk], ub[kNarrowChunk], vb[kNarrowChunk];
    for (int k = 0; k < pairs; k += kNarrowChunk) {
      const int c = std::min(kNarrowChunk, pairs - k);
      narrowRun<N>(y + 2 * k, yb, 2 * c);
      narrowRun<N>(cb + k, ub, c);
      narrowRun<N>(cr + k, vb, c);
      ycbcrToBGRRow<VIDEO_UINT8>(yb, ub, vb, out + 6 * k, c, m);
    }
  }
}

template <int N>
inline void bgrToYCbCrRow(const std::uint8_t* bgr, Sample<N>* y, Sample<N>* cb, Sample<N>* cr,
                          int pairs, Sample<N> const* lut, const YCbCrMatrices& m,
                          bool stream = false) {
  if constexpr (N == VIDEO_UINT8) {
    const int done = frameSimd().bgrToYCbCr(bgr, y, cb, cr, pairs, m);
    const std::uint8_t* px = bgr + 6 * done;
    rgbBytesToYCbCrRow_C<N, 3>(px + 2, px + 1, px, y + 2 * done, cb + done, cr + done,
                               pairs - done, lut, m);
  } else {
    std::uint8_t yb[2 * kWidenChunkPairs], ub[kWidenChunkPairs], vb[kWidenChunkPairs];
    for (int k = 0, n; k < pairs; k += n) {
      n = widenChunk(k, pairs, y, 2);
      bgrToYCbCrRow<VIDEO_UINT8>(bgr + 6 * k, yb, ub, vb, n, nullptr, m);
      widenRun<N>(yb, y + 2 * k, 2 * n, lut, stream);
      widenRun<N>(ub, cb + k, n, lut, stream);
      widenRun<N>(vb, cr + k, n, lut, stream);
    }
  }
}

}  // namespace rivulet

#endif
