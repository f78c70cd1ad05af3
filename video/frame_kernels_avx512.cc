// AVX-512 (BW) form of the YUY2 to R, G, B byte kernel: the AVX2 form's
// multiply-adds at twice the width, 32 pairs a step. The other byte kernels
// are bound by memory at AVX2 width and stay there.
#include <immintrin.h>

// GCC 12's AVX-512 headers seed some intrinsics with an undefined vector and
// then warn about it; the values are fully defined.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"

#include "video/frame_kernels_simd.h"
#include "video/ycbcr_rules.h"

namespace rivulet {
namespace {

inline __m512i pair(int lo, int hi) {
  return _mm512_set1_epi32(static_cast<int>((static_cast<unsigned>(hi) << 16) |
                                            (static_cast<unsigned>(lo) & 0xFFFF)));
}

// 16-bit lanes packed to bytes in lane order (the pack works per 128-bit lane).
inline __m512i packBytes(__m512i lo, __m512i hi) {
  return _mm512_permutexvar_epi64(_mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7),
                                  _mm512_packus_epi16(lo, hi));
}

int yuy2ToRGB(const std::uint8_t* f, std::uint8_t* red, std::uint8_t* green, std::uint8_t* blue,
              int pairs, const YCbCrMatrices& m) {
  if (!backwardFitsMultiplyAdd(m)) return 0;
  const int* c = m.bwd;
  const __m512i e = pair(c[0], 8192), cr = pair(c[1], c[2]), cg = pair(c[4], c[5]),
                cb = pair(c[7] / 2, c[8] / 2);
  const __m512i yOff = _mm512_set1_epi16(static_cast<short>(m.off[0])), cOff = pair(m.off[1], m.off[2]);
  const __m512i low = _mm512_set1_epi16(0x00FF), one = _mm512_set1_epi16(1);
  int k = 0;
  for (; k + 32 <= pairs; k += 32) {
    __m512i out[2][3];
    for (int half = 0; half < 2; ++half) {
      const __m512i v = _mm512_loadu_si512(f + 4 * k + 64 * half);
      const __m512i y = _mm512_sub_epi16(_mm512_and_si512(v, low), yOff);
      const __m512i uv = _mm512_sub_epi16(_mm512_srli_epi16(v, 8), cOff);
      // Per 128-bit lane j: pixels 8j..8j+3 (lo) and 8j+4..8j+7 (hi), each
      // with its pair's (Cb, Cr).
      const __m512i yl = _mm512_unpacklo_epi16(y, one), yh = _mm512_unpackhi_epi16(y, one);
      const __m512i ql = _mm512_unpacklo_epi32(uv, uv), qh = _mm512_unpackhi_epi32(uv, uv);
      const __m512i el = _mm512_madd_epi16(yl, e), eh = _mm512_madd_epi16(yh, e);
      auto comp = [&](__m512i coef, bool twice) {
        __m512i lo = _mm512_madd_epi16(ql, coef), hi = _mm512_madd_epi16(qh, coef);
        if (twice) lo = _mm512_slli_epi32(lo, 1), hi = _mm512_slli_epi32(hi, 1);
        return _mm512_packs_epi32(_mm512_srai_epi32(_mm512_add_epi32(el, lo), 14),
                                  _mm512_srai_epi32(_mm512_add_epi32(eh, hi), 14));
      };
      out[half][0] = comp(cr, false);
      out[half][1] = comp(cg, false);
      out[half][2] = comp(cb, true);
    }
    _mm512_storeu_si512(red + 2 * k, packBytes(out[0][0], out[1][0]));
    _mm512_storeu_si512(green + 2 * k, packBytes(out[0][1], out[1][1]));
    _mm512_storeu_si512(blue + 2 * k, packBytes(out[0][2], out[1][2]));
  }
  return k;
}

}  // namespace

extern const FrameSimd kFrameSimdAVX2;
FrameSimd frameSimdAVX512() {
  FrameSimd s = kFrameSimdAVX2;
  s.yuy2ToRGB = &yuy2ToRGB;
  return s;
}

}  // namespace rivulet
