// AVX2 fast forms of the byte row kernels (frame_kernels_simd.h), 32 pixels
// (16 pairs) a step. The colour transforms run in 16-bit lanes (forward) or
// as 16 x 16 -> 32-bit multiply-adds (backward), which are exact only for
// matrices whose sums fit those lanes: each form checks the matrix it is given
// and leaves everything to the plain form if it does not fit.
#include <immintrin.h>

#include "video/frame_kernels_simd.h"
#include "video/ycbcr_rules.h"

namespace rivulet {
namespace {

// ---- Byte shuffles between packed BGR and three byte planes ----------------------------------

// Within one 128-bit lane, 16 pixels are 48 bytes in three thirds. splitMask
// [k][v] gathers component k (0 blue, 1 green, 2 red) of the 16 pixels from
// third v; mergeMask[v][k] places component k of 16 pixels into third v.
// 0x80 makes a zero byte, so the three shuffles of a result are ORed.
struct ShuffleMasks {
  alignas(32) std::uint8_t split[3][3][32];
  alignas(32) std::uint8_t merge[3][3][32];
  constexpr ShuffleMasks() : split{}, merge{} {
    for (int k = 0; k < 3; ++k)
      for (int v = 0; v < 3; ++v)
        for (int j = 0; j < 32; ++j) {
          const int i = j % 16;  // same mask in both lanes
          const int s = 3 * i + k - 16 * v;
          split[k][v][j] = (s >= 0 && s < 16) ? static_cast<std::uint8_t>(s) : 0x80;
          const int t = 16 * v + i;
          merge[v][k][j] = t % 3 == k ? static_cast<std::uint8_t>(t / 3) : 0x80;
        }
  }
};
constexpr ShuffleMasks kMasks;

inline __m256i mask(const std::uint8_t (&m)[32]) {
  return _mm256_load_si256(reinterpret_cast<const __m256i*>(m));
}
inline __m256i load(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
inline void store(void* p, __m256i v) { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }

// 32 BGR pixels (96 bytes) to blue, green, red vectors in pixel order: the low
// lane takes pixels 0-15, the high lane pixels 16-31.
inline void splitBGR32(const std::uint8_t* p, __m256i& b, __m256i& g, __m256i& r) {
  __m256i a[3];
  for (int v = 0; v < 3; ++v)
    a[v] = _mm256_inserti128_si256(
        _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * v))),
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 48 + 16 * v)), 1);
  __m256i out[3];
  for (int k = 0; k < 3; ++k)
    out[k] = _mm256_or_si256(_mm256_or_si256(_mm256_shuffle_epi8(a[0], mask(kMasks.split[k][0])),
                                             _mm256_shuffle_epi8(a[1], mask(kMasks.split[k][1]))),
                             _mm256_shuffle_epi8(a[2], mask(kMasks.split[k][2])));
  b = out[0], g = out[1], r = out[2];
}

// The inverse: 32 pixels in pixel order to 96 BGR bytes.
inline void mergeBGR32(__m256i b, __m256i g, __m256i r, std::uint8_t* out) {
  __m256i o[3];
  for (int v = 0; v < 3; ++v)
    o[v] = _mm256_or_si256(_mm256_or_si256(_mm256_shuffle_epi8(b, mask(kMasks.merge[v][0])),
                                           _mm256_shuffle_epi8(g, mask(kMasks.merge[v][1]))),
                           _mm256_shuffle_epi8(r, mask(kMasks.merge[v][2])));
  // o[v] holds third v of pixels 0-15 (low lane) and of pixels 16-31 (high).
  store(out, _mm256_permute2x128_si256(o[0], o[1], 0x20));
  store(out + 32, _mm256_permute2x128_si256(o[2], o[0], 0x30));
  store(out + 64, _mm256_permute2x128_si256(o[1], o[2], 0x31));
}

// Two vectors of 16-bit lanes packed to bytes in lane order (the pack works
// within 128-bit lanes; the permute puts the quarters back in order).
inline __m256i packBytes(__m256i lo, __m256i hi) {
  return _mm256_permute4x64_epi64(_mm256_packus_epi16(lo, hi), 0xD8);
}

int mergeBGR(const std::uint8_t* red, const std::uint8_t* green, const std::uint8_t* blue,
             std::uint8_t* out, int n) {
  int i = 0;
  for (; i + 32 <= n; i += 32) mergeBGR32(load(blue + i), load(green + i), load(red + i), out + 3 * i);
  return i;
}

// ---- YUY2 and Y, Cb, Cr byte planes ----------------------------------------------------------

int yuy2ToPlanes(const std::uint8_t* f, std::uint8_t* y, std::uint8_t* cb, std::uint8_t* cr,
                 int pairs) {
  const __m256i low = _mm256_set1_epi16(0x00FF);
  int k = 0;
  for (; k + 32 <= pairs; k += 32) {
    const std::uint8_t* p = f + 4 * k;
    const __m256i v0 = load(p), v1 = load(p + 32), v2 = load(p + 64), v3 = load(p + 96);
    // Even bytes are luma, odd bytes alternate Cb, Cr.
    store(y + 2 * k, packBytes(_mm256_and_si256(v0, low), _mm256_and_si256(v1, low)));
    store(y + 2 * k + 32, packBytes(_mm256_and_si256(v2, low), _mm256_and_si256(v3, low)));
    const __m256i uv0 = packBytes(_mm256_srli_epi16(v0, 8), _mm256_srli_epi16(v1, 8));
    const __m256i uv1 = packBytes(_mm256_srli_epi16(v2, 8), _mm256_srli_epi16(v3, 8));
    store(cb + k, packBytes(_mm256_and_si256(uv0, low), _mm256_and_si256(uv1, low)));
    store(cr + k, packBytes(_mm256_srli_epi16(uv0, 8), _mm256_srli_epi16(uv1, 8)));
  }
  return k;
}

int planesToYUY2(const std::uint8_t* y, const std::uint8_t* cb, const std::uint8_t* cr,
                 std::uint8_t* out, int pairs) {
  int k = 0;
  for (; k + 32 <= pairs; k += 32) {
    // The permutes make the in-lane interleaves come out in order: quarter
    // order 0 2 1 3, so unpacklo takes quarters 0 and 1, unpackhi 2 and 3.
    const __m256i u = _mm256_permute4x64_epi64(load(cb + k), 0xD8);
    const __m256i v = _mm256_permute4x64_epi64(load(cr + k), 0xD8);
    const __m256i uv[2] = {_mm256_permute4x64_epi64(_mm256_unpacklo_epi8(u, v), 0xD8),
                           _mm256_permute4x64_epi64(_mm256_unpackhi_epi8(u, v), 0xD8)};
    for (int half = 0; half < 2; ++half) {
      const __m256i l = _mm256_permute4x64_epi64(load(y + 2 * k + 32 * half), 0xD8);
      store(out + 4 * k + 64 * half, _mm256_unpacklo_epi8(l, uv[half]));
      store(out + 4 * k + 64 * half + 32, _mm256_unpackhi_epi8(l, uv[half]));
    }
  }
  return k;
}

// ---- Backward transform ---------------------------------------------------------------------

// Coefficients as 16-bit pairs for multiply-adds on (Y - 16, 1) and on
// (Cb - 128, Cr - 128). The luma gain must be the same for R, G and B, and
// the blue row is halved (33050 does not fit a signed 16-bit lane) and its
// product doubled, so its entries must be even.
struct Backward {
  __m256i e, r, g, b, yOff, cOff;
  bool ok;
  explicit Backward(const YCbCrMatrices& m) {
    const int* c = m.bwd;
    ok = backwardFitsMultiplyAdd(m);
    auto pair = [](int lo, int hi) {
      return _mm256_set1_epi32(static_cast<int>((static_cast<unsigned>(hi) << 16) |
                                                (static_cast<unsigned>(lo) & 0xFFFF)));
    };
    e = pair(c[0], 8192);
    r = pair(c[1], c[2]);
    g = pair(c[4], c[5]);
    b = pair(c[7] / 2, c[8] / 2);
    yOff = _mm256_set1_epi16(static_cast<short>(m.off[0]));
    cOff = pair(m.off[1], m.off[2]);
  }
  // y: 16 luma values in 16-bit lanes, pixel order; uv: (Cb, Cr) of the 8
  // pairs in 32-bit lanes. Gives R, G, B of the 16 pixels in 16-bit lanes,
  // saturated to signed 16 bits (a later unsigned pack clamps to 0..255).
  void run(__m256i y, __m256i uv, __m256i& R, __m256i& G, __m256i& B) const {
    const __m256i one = _mm256_set1_epi16(1);
    y = _mm256_sub_epi16(y, yOff);
    uv = _mm256_sub_epi16(uv, cOff);
    // Pixels 0-3 | 8-11 and 4-7 | 12-15: each pixel's pair duplicated.
    const __m256i yl = _mm256_unpacklo_epi16(y, one), yh = _mm256_unpackhi_epi16(y, one);
    const __m256i ql = _mm256_unpacklo_epi32(uv, uv), qh = _mm256_unpackhi_epi32(uv, uv);
    const __m256i el = _mm256_madd_epi16(yl, e), eh = _mm256_madd_epi16(yh, e);
    auto out = [&](__m256i coef, bool twice) {
      __m256i lo = _mm256_madd_epi16(ql, coef), hi = _mm256_madd_epi16(qh, coef);
      if (twice) lo = _mm256_slli_epi32(lo, 1), hi = _mm256_slli_epi32(hi, 1);
      lo = _mm256_srai_epi32(_mm256_add_epi32(el, lo), 14);
      hi = _mm256_srai_epi32(_mm256_add_epi32(eh, hi), 14);
      return _mm256_packs_epi32(lo, hi);  // back to pixel order 0-7 | 8-15
    };
    R = out(r, false);
    G = out(g, false);
    B = out(b, true);
  }
};

int yuy2ToRGB(const std::uint8_t* f, std::uint8_t* red, std::uint8_t* green, std::uint8_t* blue,
              int pairs, const YCbCrMatrices& m) {
  const Backward t(m);
  if (!t.ok) return 0;
  const __m256i low = _mm256_set1_epi16(0x00FF);
  int k = 0;
  for (; k + 16 <= pairs; k += 16) {
    __m256i c[2][3];
    for (int half = 0; half < 2; ++half) {
      const __m256i v = load(f + 4 * k + 32 * half);
      t.run(_mm256_and_si256(v, low), _mm256_srli_epi16(v, 8), c[half][0], c[half][1], c[half][2]);
    }
    store(red + 2 * k, packBytes(c[0][0], c[1][0]));
    store(green + 2 * k, packBytes(c[0][1], c[1][1]));
    store(blue + 2 * k, packBytes(c[0][2], c[1][2]));
  }
  return k;
}

int ycbcrToBGR(const std::uint8_t* y, const std::uint8_t* cb, const std::uint8_t* cr,
               std::uint8_t* out, int pairs, const YCbCrMatrices& m) {
  const Backward t(m);
  if (!t.ok) return 0;
  int k = 0;
  for (; k + 16 <= pairs; k += 16) {
    const __m128i uv8[2] = {
        _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(cb + k)),
                          _mm_loadl_epi64(reinterpret_cast<const __m128i*>(cr + k))),
        _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(cb + k + 8)),
                          _mm_loadl_epi64(reinterpret_cast<const __m128i*>(cr + k + 8)))};
    __m256i c[2][3];
    for (int half = 0; half < 2; ++half) {
      const __m256i l = _mm256_cvtepu8_epi16(
          _mm_loadu_si128(reinterpret_cast<const __m128i*>(y + 2 * k + 16 * half)));
      t.run(l, _mm256_cvtepu8_epi16(uv8[half]), c[half][0], c[half][1], c[half][2]);
    }
    mergeBGR32(packBytes(c[0][2], c[1][2]), packBytes(c[0][1], c[1][1]),
               packBytes(c[0][0], c[1][0]), out + 6 * k);
  }
  return k;
}

// ---- Forward transform ----------------------------------------------------------------------

// In 16-bit lanes, wrapping, for matrices that fit (forwardFitsInt16).
struct Ops16x16 {
  using V = __m256i;
  static V set1(short x) { return _mm256_set1_epi16(x); }
  static V add(V a, V b) { return _mm256_add_epi16(a, b); }
  static V mul(V a, V b) { return _mm256_mullo_epi16(a, b); }
  static V minU(V a, V b) { return _mm256_min_epu16(a, b); }
  static V shiftRight(V a) { return _mm256_srli_epi16(a, 8); }
  static V shiftRightSigned(V a) { return _mm256_srai_epi16(a, 8); }
};
using Forward = Forward16<Ops16x16>;

int bgrToYCbCr(const std::uint8_t* bgr, std::uint8_t* y, std::uint8_t* cb, std::uint8_t* cr,
               int pairs, const YCbCrMatrices& m) {
  const Forward t(m);
  if (!t.ok) return 0;
  const __m256i low = _mm256_set1_epi16(0x00FF);
  int k = 0;
  for (; k + 16 <= pairs; k += 16) {
    __m256i b8, g8, r8;
    splitBGR32(bgr + 6 * k, b8, g8, r8);
    // 16-bit lanes: the left pixels of the 16 pairs (E) and the right ones (O).
    const __m256i rE = _mm256_and_si256(r8, low), gE = _mm256_and_si256(g8, low),
                  bE = _mm256_and_si256(b8, low);
    const __m256i rO = _mm256_srli_epi16(r8, 8), gO = _mm256_srli_epi16(g8, 8),
                  bO = _mm256_srli_epi16(b8, 8);
    store(y + 2 * k, _mm256_or_si256(t.luma(rE, gE, bE), _mm256_slli_epi16(t.luma(rO, gO, bO), 8)));
    // Cb and Cr from the left pixels: low lane quarters Cb, high lane Cr after the permute.
    const __m256i c = packBytes(t.chroma(1, rE, gE, bE), t.chroma(2, rE, gE, bE));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(cb + k), _mm256_castsi256_si128(c));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(cr + k), _mm256_extracti128_si256(c, 1));
  }
  return k;
}

// ---- Narrowing -------------------------------------------------------------------------------

// (x - lo) / range of eight singles: a multiply by the reciprocal where that
// is exact (see exactReciprocal), else the division.
struct Scale {
  __m256 lo, range, inverse;
  bool multiply;
  Scale(float l, float r)
      : lo(_mm256_set1_ps(l)), range(_mm256_set1_ps(r)), inverse(_mm256_set1_ps(exactReciprocal(r))),
        multiply(exactReciprocal(r) != 0.0f) {}
  __m256 operator()(__m256 x) const {
    const __m256 d = _mm256_sub_ps(x, lo);
    return multiply ? _mm256_mul_ps(d, inverse) : _mm256_div_ps(d, range);
  }
};

// Eight samples as single precision to eight bytes: the same IEEE operations
// as the rule ((x - lo) / range, times 255, widened, plus 0.5), truncated by
// the conversion that gives the most negative integer for NaN and anything
// out of range, then saturated to 0..255 by two saturating packs (negative,
// including that integer, to 0; above 255 to 255).
inline void narrow8(__m256 x, const Scale& s, std::uint8_t* dst) {
  const __m256 t = _mm256_mul_ps(s(x), _mm256_set1_ps(255.0f));
  const __m256d half = _mm256_set1_pd(0.5);
  const __m128i a = _mm256_cvttpd_epi32(_mm256_add_pd(_mm256_cvtps_pd(_mm256_castps256_ps128(t)), half));
  const __m128i b = _mm256_cvttpd_epi32(_mm256_add_pd(_mm256_cvtps_pd(_mm256_extractf128_ps(t, 1)), half));
  const __m128i w = _mm_packs_epi32(a, b);
  _mm_storel_epi64(reinterpret_cast<__m128i*>(dst), _mm_packus_epi16(w, w));
}

int narrowSingle(const float* src, std::uint8_t* dst, int n, float lo, float range) {
  const Scale s(lo, range);
  int i = 0;
  for (; i + 8 <= n; i += 8) narrow8(_mm256_loadu_ps(src + i), s, dst + i);
  return i;
}

int narrowDouble(const double* src, std::uint8_t* dst, int n, float lo, float range) {
  const Scale s(lo, range);
  int i = 0;
  for (; i + 8 <= n; i += 8) {
    // Doubles round to single first, as the rule does.
    const __m256 x = _mm256_set_m128(_mm256_cvtpd_ps(_mm256_loadu_pd(src + i + 4)),
                                     _mm256_cvtpd_ps(_mm256_loadu_pd(src + i)));
    narrow8(x, s, dst + i);
  }
  return i;
}

int narrowInt32(const std::int32_t* src, std::uint8_t* dst, int n, float lo, float range) {
  const Scale s(lo, range);
  int i = 0;
  for (; i + 8 <= n; i += 8) narrow8(_mm256_cvtepi32_ps(load(src + i)), s, dst + i);
  return i;
}

// Widening stays with the table look-ups at this width (no byte permute
// across a whole vector).
int noWiden(const std::uint8_t*, void*, int, const WidenPlanes&, bool) { return 0; }
int noWidenYUY2(const std::uint8_t*, void*, void*, void*, int, const WidenPlanes&) { return 0; }

}  // namespace

extern const FrameSimd kFrameSimdAVX2 = {&mergeBGR,     &yuy2ToPlanes, &planesToYUY2,
                                         &yuy2ToRGB,    &ycbcrToBGR,   &bgrToYCbCr,
                                         &narrowSingle, &narrowDouble, &narrowInt32,
                                         &noWiden,      &noWiden,      &noWiden,
                                         &noWidenYUY2,
                                         &noWidenYUY2};

}  // namespace rivulet
