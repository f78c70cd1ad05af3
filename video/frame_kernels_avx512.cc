// AVX-512 (BW, VBMI) forms of the row kernels (frame_kernels_simd.h): the
// YUY2 rearrangements as VBMI byte permutes across whole 64-byte vectors, the
// backward transform pair by pair (each macro-pixel's chroma part computed
// once for both its pixels; the BGR output by byte permutes), narrowing sixteen samples a step, and
// widening by byte-permute table look-ups, the forward transform with the
// BGR split by byte permutes. The plain planes-to-BGR merge stays at AVX2
// width (it measured faster there).
#include <immintrin.h>

#include <algorithm>

// GCC 12's AVX-512 headers seed some intrinsics with an undefined vector and
// then warn about it; the values are fully defined.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"

#include "video/frame_kernels_avx512_backward.h"
#include "video/frame_kernels_simd.h"
#include "video/ycbcr_rules.h"

namespace rivulet {
namespace {

// ---- Permute indices ----------------------------------------------------------------------------

// For a two-source byte permute, index i < 64 picks byte i of the first
// source and 64 + i byte i of the second.
struct PermuteIndices {
  alignas(64) std::uint8_t even[64];     // bytes 0, 2, .., 126: the lumas of 32 YUY2 pairs
  alignas(64) std::uint8_t chroma[64];   // bytes 1, 5, .., 125 then 3, 7, .., 127: Cb then Cr
  alignas(64) std::uint8_t chromaPairs[64];  // Cb k, Cr k for k < 32 (Cb first source)
  alignas(64) std::uint8_t yuy2[2][64];  // YUY2 of pairs 16h..16h+15 from Y and (Cb, Cr) pairs
  // Input orders for the widening blocks (see widen4Block and widen8Block):
  // for a run of bytes, and for YUY2 to Y, Y, Cb, Cr (4-byte samples) or
  // Y x 4, Cb x 2, Cr x 2 (8-byte samples).
  // BGR split: byte j of component k (0 blue, 1 green, 2 red) is byte
  // 3j + k of 192 pixel bytes a0 a1 a2; indices below 128 come from a0 a1 by
  // a two-source permute, the rest from a2 by a masked one (bits of fromA2).
  alignas(64) std::uint8_t splitLow[3][64];
  alignas(64) std::uint8_t splitHigh[3][64];
  std::uint64_t fromA2[3];
  alignas(64) std::uint8_t order2[64];
  alignas(64) std::uint8_t order4[64];
  alignas(64) std::uint8_t order8[64];
  alignas(64) std::uint8_t yuy2Order4[64];
  alignas(64) std::uint8_t yuy2Order8[64];
  // Byte of a 64-byte YUY2 block (16 pairs) that holds sample e of component
  // c: 0 luma (32), 1 Cb (16), 2 Cr (16).
  static constexpr int yuy2Byte(int c, int e) { return c == 0 ? 2 * e : 4 * e + (c == 1 ? 1 : 3); }
  constexpr PermuteIndices()
      : even{}, chroma{}, chromaPairs{}, yuy2{}, splitLow{}, splitHigh{}, fromA2{}, order2{}, order4{}, order8{}, yuy2Order4{},
        yuy2Order8{} {
    for (int i = 0; i < 64; ++i) {
      const int j = i / 16, s = i % 16;  // 128-bit lane, byte within it
      for (int c = 0; c < 3; ++c) {
        const int b = 3 * i + c;
        splitLow[c][i] = static_cast<std::uint8_t>(b & 127);
        splitHigh[c][i] = static_cast<std::uint8_t>(b >= 128 ? b - 128 : 0);
        if (b >= 128) fromA2[c] |= std::uint64_t{1} << i;
      }
      // 2-byte results: q = s / 8 holds sample 8j + s % 8 of its 32.
      order2[i] = static_cast<std::uint8_t>(32 * (s / 8) + 8 * j + s % 8);
      // 4-byte results: q = s / 4 holds sample 4j + s % 4 of its 16.
      const int q4 = s / 4, e4 = 4 * j + s % 4;
      order4[i] = static_cast<std::uint8_t>(16 * q4 + e4);
      yuy2Order4[i] = static_cast<std::uint8_t>(q4 < 2 ? yuy2Byte(0, 16 * q4 + e4) : yuy2Byte(q4 - 1, e4));
      // 8-byte results: q = s / 2 holds sample 2j + s % 2 of its 8.
      const int q8 = s / 2, e8 = 2 * j + s % 2;
      order8[i] = static_cast<std::uint8_t>(8 * q8 + e8);
      yuy2Order8[i] = static_cast<std::uint8_t>(q8 < 4 ? yuy2Byte(0, 8 * q8 + e8)
                                                       : yuy2Byte(1 + (q8 - 4) / 2, 8 * (q8 % 2) + e8));
      even[i] = static_cast<std::uint8_t>(2 * i);
      chroma[i] = static_cast<std::uint8_t>(i < 32 ? 4 * i + 1 : 4 * (i - 32) + 3);
      chromaPairs[i] = static_cast<std::uint8_t>(i % 2 == 0 ? i / 2 : 64 + i / 2);
      for (int h = 0; h < 2; ++h) {
        const int k = 16 * h + i / 4;  // pair
        const int at[4] = {2 * k, 64 + 2 * k, 2 * k + 1, 64 + 2 * k + 1};
        yuy2[h][i] = static_cast<std::uint8_t>(at[i % 4]);
      }
    }
  }
};
constexpr PermuteIndices kIdx;

inline __m512i idx(const std::uint8_t (&m)[64]) { return _mm512_load_si512(m); }
inline __m512i load(const void* p) { return _mm512_loadu_si512(p); }
inline void store(void* p, __m512i v) { _mm512_storeu_si512(p, v); }

// ---- Byte rearrangements ------------------------------------------------------------------------

int yuy2ToPlanes(const std::uint8_t* f, std::uint8_t* y, std::uint8_t* cb, std::uint8_t* cr,
                 int pairs) {
  int k = 0;
  for (; k + 64 <= pairs; k += 64) {
    const std::uint8_t* p = f + 4 * k;
    const __m512i v0 = load(p), v1 = load(p + 64), v2 = load(p + 128), v3 = load(p + 192);
    store(y + 2 * k, _mm512_permutex2var_epi8(v0, idx(kIdx.even), v1));
    store(y + 2 * k + 64, _mm512_permutex2var_epi8(v2, idx(kIdx.even), v3));
    // Each holds the Cb of its 32 pairs in the low half and their Cr in the high half.
    const __m512i a = _mm512_permutex2var_epi8(v0, idx(kIdx.chroma), v1);
    const __m512i b = _mm512_permutex2var_epi8(v2, idx(kIdx.chroma), v3);
    store(cb + k, _mm512_shuffle_i64x2(a, b, 0x44));
    store(cr + k, _mm512_shuffle_i64x2(a, b, 0xEE));
  }
  // A last step of 32 pairs (the short last run of a column-major tile row).
  if (k + 32 <= pairs) {
    const __m512i v0 = load(f + 4 * k), v1 = load(f + 4 * k + 64);
    store(y + 2 * k, _mm512_permutex2var_epi8(v0, idx(kIdx.even), v1));
    const __m512i a = _mm512_permutex2var_epi8(v0, idx(kIdx.chroma), v1);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(cb + k), _mm512_castsi512_si256(a));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(cr + k), _mm512_extracti64x4_epi64(a, 1));
    k += 32;
  }
  return k;
}

int planesToYUY2(const std::uint8_t* y, const std::uint8_t* cb, const std::uint8_t* cr,
                 std::uint8_t* out, int pairs) {
  int k = 0;
  for (; k + 32 <= pairs; k += 32) {
    const __m512i l = load(y + 2 * k);
    const __m256i u = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(cb + k));
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(cr + k));
    const __m512i uv = _mm512_permutex2var_epi8(_mm512_castsi256_si512(u), idx(kIdx.chromaPairs),
                                                _mm512_castsi256_si512(v));
    store(out + 4 * k, _mm512_permutex2var_epi8(l, idx(kIdx.yuy2[0]), uv));
    store(out + 4 * k + 64, _mm512_permutex2var_epi8(l, idx(kIdx.yuy2[1]), uv));
  }
  return k;
}

// ---- Backward transform ------------------------------------------------------------------------

int yuy2ToRGB(const std::uint8_t* f, std::uint8_t* red, std::uint8_t* green, std::uint8_t* blue,
              int pairs, const YCbCrMatrices& m) {
  return backward512::yuy2ToRGB<false>(f, red, green, blue, pairs, m);
}
int ycbcrToBGR(const std::uint8_t* y, const std::uint8_t* cb, const std::uint8_t* cr,
               std::uint8_t* out, int pairs, const YCbCrMatrices& m) {
  return backward512::ycbcrToBGR<false>(y, cb, cr, out, pairs, m);
}

// ---- Forward transform ----------------------------------------------------------------------------

// The shared 16-bit arithmetic (Forward16) at 512 bits, 32 pairs a step: the
// pixels split into component bytes by permutes, the left and right pixel of
// each pair in the low and high byte of a 16-bit lane.
struct Ops32x16 {
  using V = __m512i;
  static V set1(short x) { return _mm512_set1_epi16(x); }
  static V add(V a, V b) { return _mm512_add_epi16(a, b); }
  static V mul(V a, V b) { return _mm512_mullo_epi16(a, b); }
  static V minU(V a, V b) { return _mm512_min_epu16(a, b); }
  static V shiftRight(V a) { return _mm512_srli_epi16(a, 8); }
  static V shiftRightSigned(V a) { return _mm512_srai_epi16(a, 8); }
};
using Forward512 = Forward16<Ops32x16>;

int bgrToYCbCr(const std::uint8_t* bgr, std::uint8_t* y, std::uint8_t* cb, std::uint8_t* cr,
               int pairs, const YCbCrMatrices& m) {
  const Forward512 t(m);
  if (!t.ok) return 0;
  const __m512i low = _mm512_set1_epi16(0x00FF);
  // Cb of the 32 pairs in quadwords 0, 2, 4, 6 of the pack, Cr in 1, 3, 5, 7.
  const __m512i apart = _mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7);
  int k = 0;
  for (; k + 32 <= pairs; k += 32) {
    const std::uint8_t* p = bgr + 6 * k;
    const __m512i a0 = load(p), a1 = load(p + 64), a2 = load(p + 128);
    __m512i comp[3];  // blue, green, red
    for (int c = 0; c < 3; ++c)
      comp[c] = _mm512_mask_permutexvar_epi8(_mm512_permutex2var_epi8(a0, idx(kIdx.splitLow[c]), a1),
                                             kIdx.fromA2[c], idx(kIdx.splitHigh[c]), a2);
    const __m512i rE = _mm512_and_si512(comp[2], low), gE = _mm512_and_si512(comp[1], low),
                  bE = _mm512_and_si512(comp[0], low);
    const __m512i rO = _mm512_srli_epi16(comp[2], 8), gO = _mm512_srli_epi16(comp[1], 8),
                  bO = _mm512_srli_epi16(comp[0], 8);
    store(y + 2 * k, _mm512_or_si512(t.luma(rE, gE, bE), _mm512_slli_epi16(t.luma(rO, gO, bO), 8)));
    const __m512i c = _mm512_permutexvar_epi64(apart, _mm512_packus_epi16(t.chroma(1, rE, gE, bE),
                                                                          t.chroma(2, rE, gE, bE)));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(cb + k), _mm512_castsi512_si256(c));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(cr + k), _mm512_extracti64x4_epi64(c, 1));
  }
  return k;
}

// ---- Narrowing ----------------------------------------------------------------------------------

// The rule on sixteen samples, all in single precision. With t = (x - lo)
// scaled (by the exact reciprocal, or divided) times 255, the rule's
// (int)(double(t) + 0.5) is floor(t) + (t - floor(t) >= 0.5) wherever it lands
// in int32: floor(t) and t - floor(t) are exact in single. Where it does not
// (NaN, t >= 2^31), the truncating conversion gives the most negative
// integer, as the rule's does; negatives then go to 0 and the unsigned
// saturation takes the rest to 255.
struct Scale {
  __m512 lo, range, inverse;
  bool multiply;
  Scale(float l, float r)
      : lo(_mm512_set1_ps(l)), range(_mm512_set1_ps(r)), inverse(_mm512_set1_ps(exactReciprocal(r))),
        multiply(exactReciprocal(r) != 0.0f) {}
};

inline void narrow16(__m512 x, const Scale& s, std::uint8_t* dst) {
  const __m512 d = _mm512_sub_ps(x, s.lo);
  const __m512 t = _mm512_mul_ps(s.multiply ? _mm512_mul_ps(d, s.inverse) : _mm512_div_ps(d, s.range),
                                 _mm512_set1_ps(255.0f));
  const __m512 whole = _mm512_roundscale_ps(t, _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC);
  const __mmask16 up = _mm512_cmp_ps_mask(_mm512_sub_ps(t, whole), _mm512_set1_ps(0.5f), _CMP_GE_OQ);
  __m512i v = _mm512_cvttps_epi32(whole);
  v = _mm512_mask_add_epi32(v, up, v, _mm512_set1_epi32(1));
  v = _mm512_max_epi32(v, _mm512_setzero_si512());
  _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), _mm512_cvtusepi32_epi8(v));
}

int narrowSingle(const float* src, std::uint8_t* dst, int n, float lo, float range) {
  const Scale s(lo, range);
  int i = 0;
  for (; i + 16 <= n; i += 16) narrow16(_mm512_loadu_ps(src + i), s, dst + i);
  return i;
}

int narrowDouble(const double* src, std::uint8_t* dst, int n, float lo, float range) {
  const Scale s(lo, range);
  int i = 0;
  for (; i + 16 <= n; i += 16) {
    // Doubles round to single first, as the rule does.
    const __m512 x = _mm512_castpd_ps(_mm512_insertf64x4(
        _mm512_castps_pd(_mm512_castps256_ps512(_mm512_cvtpd_ps(_mm512_loadu_pd(src + i)))),
        _mm256_castps_pd(_mm512_cvtpd_ps(_mm512_loadu_pd(src + i + 8))), 1));
    narrow16(x, s, dst + i);
  }
  return i;
}

int narrowInt32(const std::int32_t* src, std::uint8_t* dst, int n, float lo, float range) {
  const Scale s(lo, range);
  int i = 0;
  for (; i + 16 <= n; i += 16) narrow16(_mm512_cvtepi32_ps(load(src + i)), s, dst + i);
  return i;
}

// ---- Widening ------------------------------------------------------------------------------------

// Byte plane j of the table for 64 indices: two 128-entry permutes (bits 0-6
// of each index) and bit 7 choosing between them.
inline __m512i lookUp(const WidenPlanes& t, int j, __m512i x, __mmask64 top) {
  if ((t.used >> j & 1) == 0) return _mm512_setzero_si512();
  const std::uint8_t* p = t.plane[j];
  const __m512i lo = _mm512_permutex2var_epi8(load(p), x, load(p + 64));
  const __m512i hi = _mm512_permutex2var_epi8(load(p + 128), x, load(p + 192));
  return _mm512_mask_blend_epi8(top, lo, hi);
}

template <bool Stream>
void storeAs(std::uint8_t* p, __m512i v) {
  if constexpr (Stream)
    _mm512_stream_si512(reinterpret_cast<__m512i*>(p), v);
  else
    _mm512_storeu_si512(p, v);
}

// 64 look-ups of 2-byte samples: result q holds 32 samples, lane j the
// bytes 16j + 8q.. of x's lane (order2 puts sample 8j + e of result q there).
inline void widen2Block(const WidenPlanes& t, __m512i x, __m512i (&r)[2]) {
  const __mmask64 top = _mm512_movepi8_mask(x);
  const __m512i p0 = lookUp(t, 0, x, top), p1 = lookUp(t, 1, x, top);
  r[0] = _mm512_unpacklo_epi8(p0, p1);
  r[1] = _mm512_unpackhi_epi8(p0, p1);
}

// 64 look-ups of 4-byte samples: result q holds 16 samples. The in-lane
// unpacks that join the four byte planes give lane j of result q the bytes
// 16j + 4q.. of x's lane, so x comes in reordered (order4, yuy2Order4) to put
// sample 4j + e of result q there.
inline void widen4Block(const WidenPlanes& t, __m512i x, __m512i (&r)[4]) {
  const __mmask64 top = _mm512_movepi8_mask(x);
  __m512i p[4];
  for (int j = 0; j < 4; ++j) p[j] = lookUp(t, j, x, top);
  const __m512i a0 = _mm512_unpacklo_epi8(p[0], p[1]), a1 = _mm512_unpackhi_epi8(p[0], p[1]);
  const __m512i b0 = _mm512_unpacklo_epi8(p[2], p[3]), b1 = _mm512_unpackhi_epi8(p[2], p[3]);
  r[0] = _mm512_unpacklo_epi16(a0, b0);
  r[1] = _mm512_unpackhi_epi16(a0, b0);
  r[2] = _mm512_unpacklo_epi16(a1, b1);
  r[3] = _mm512_unpackhi_epi16(a1, b1);
}

// The same with 8 byte planes and three rounds of unpacks: result q holds 8
// samples, lane j the bytes 16j + 2q, 16j + 2q + 1 of x's lane (sample 2j + e).
inline void widen8Block(const WidenPlanes& t, __m512i x, __m512i (&r)[8]) {
  const __mmask64 top = _mm512_movepi8_mask(x);
  __m512i a[2][4];  // [byte half of the lane][plane pair]: 16-bit pieces
  for (int k = 0; k < 4; ++k) {
    const __m512i lo = lookUp(t, 2 * k, x, top), hi = lookUp(t, 2 * k + 1, x, top);
    a[0][k] = _mm512_unpacklo_epi8(lo, hi);
    a[1][k] = _mm512_unpackhi_epi8(lo, hi);
  }
  for (int h = 0; h < 2; ++h)
    for (int q = 0; q < 2; ++q) {
      // 32-bit pieces: bytes 0-3 and 4-7 of the samples at lane bytes 8h + 4q..
      const __m512i b0 = q ? _mm512_unpackhi_epi16(a[h][0], a[h][1]) : _mm512_unpacklo_epi16(a[h][0], a[h][1]);
      const __m512i b1 = q ? _mm512_unpackhi_epi16(a[h][2], a[h][3]) : _mm512_unpacklo_epi16(a[h][2], a[h][3]);
      r[4 * h + 2 * q] = _mm512_unpacklo_epi32(b0, b1);
      r[4 * h + 2 * q + 1] = _mm512_unpackhi_epi32(b0, b1);
    }
}

// Element masks of a block's results for its first m samples: result q of
// a block of Size-byte samples holds samples (64 / Size) q...
template <int Size>
inline std::uint32_t resultMask(int m, int q) {
  constexpr int kPer = 64 / Size;
  const int k = std::clamp(m - kPer * q, 0, kPer);
  return k == 32 ? ~0u : (1u << k) - 1;
}

// One block of up to 64 samples at out: the first m samples of src (a masked
// load: nothing past them is read) through the table, each result stored
// whole (m == 64, aligned and past the caches with Stream) or masked.
template <int Size, bool Stream, bool Whole>
[[gnu::always_inline]] inline void widenBlock(const std::uint8_t* src, std::uint8_t* out, int m, const WidenPlanes& t) {
  constexpr int kResults = Size;  // 64 samples of Size bytes: Size lines
  const __m512i x = Whole ? load(src) : _mm512_maskz_loadu_epi8(m >= 64 ? ~0ull : (1ull << m) - 1, src);
  __m512i r[kResults];
  if constexpr (Size == 2)
    widen2Block(t, _mm512_permutexvar_epi8(idx(kIdx.order2), x), r);
  else if constexpr (Size == 4)
    widen4Block(t, _mm512_permutexvar_epi8(idx(kIdx.order4), x), r);
  else
    widen8Block(t, _mm512_permutexvar_epi8(idx(kIdx.order8), x), r);
  for (int q = 0; q < kResults; ++q) {
    if constexpr (Whole) {
      if constexpr (Stream)
        _mm512_stream_si512(reinterpret_cast<__m512i*>(out + 64 * q), r[q]);
      else
        _mm512_store_si512(out + 64 * q, r[q]);
    } else if (const std::uint32_t k = resultMask<Size>(m, q); k != 0) {
      if constexpr (Size == 2)
        _mm512_mask_storeu_epi16(out + 64 * q, static_cast<__mmask32>(k), r[q]);
      else if constexpr (Size == 4)
        _mm512_mask_storeu_epi32(out + 64 * q, static_cast<__mmask16>(k), r[q]);
      else
        _mm512_mask_storeu_epi64(out + 64 * q, static_cast<__mmask8>(k), r[q]);
    }
  }
}

// The whole run: a masked block up to dst's first line boundary, whole
// blocks onto aligned lines, a masked block for the rest. A dst that is not
// aligned to its element is left to the plain form.
template <int Size, bool Stream>
int widenAll(const std::uint8_t* src, void* dst, int n, const WidenPlanes& t) {
  auto* out = static_cast<std::uint8_t*>(dst);
  const auto address = reinterpret_cast<std::uintptr_t>(dst);
  if (address % Size != 0) return 0;
  int i = 0;
  if (const int lead = std::min<int>(n, static_cast<int>((64 - address % 64) % 64 / Size)); lead > 0) {
    widenBlock<Size, false, false>(src, out, lead, t);
    i = lead;
  }
  for (; i + 64 <= n; i += 64) widenBlock<Size, Stream, true>(src + i, out + Size * i, 64, t);
  if (i < n) widenBlock<Size, false, false>(src + i, out + Size * i, n - i, t);
  return n;
}

// YUY2 straight to Y, Cb, Cr planes of 4- or 8-byte samples, 16 pairs a step.
int yuy2ToPlanes4(const std::uint8_t* f, void* y, void* cb, void* cr, int pairs,
                  const WidenPlanes& t) {
  auto *yo = static_cast<std::uint8_t*>(y), *uo = static_cast<std::uint8_t*>(cb),
       *vo = static_cast<std::uint8_t*>(cr);
  int k = 0;
  for (; k + 16 <= pairs; k += 16) {
    __m512i r[4];
    widen4Block(t, _mm512_permutexvar_epi8(idx(kIdx.yuy2Order4), load(f + 4 * k)), r);
    store(yo + 8 * k, r[0]);
    store(yo + 8 * k + 64, r[1]);
    store(uo + 4 * k, r[2]);
    store(vo + 4 * k, r[3]);
  }
  return k;
}

int yuy2ToPlanes8(const std::uint8_t* f, void* y, void* cb, void* cr, int pairs,
                  const WidenPlanes& t) {
  auto *yo = static_cast<std::uint8_t*>(y), *uo = static_cast<std::uint8_t*>(cb),
       *vo = static_cast<std::uint8_t*>(cr);
  int k = 0;
  for (; k + 16 <= pairs; k += 16) {
    __m512i r[8];
    widen8Block(t, _mm512_permutexvar_epi8(idx(kIdx.yuy2Order8), load(f + 4 * k)), r);
    for (int q = 0; q < 4; ++q) store(yo + 16 * k + 64 * q, r[q]);
    store(uo + 8 * k, r[4]);
    store(uo + 8 * k + 64, r[5]);
    store(vo + 8 * k, r[6]);
    store(vo + 8 * k + 64, r[7]);
  }
  return k;
}

int widen2(const std::uint8_t* src, void* dst, int n, const WidenPlanes& t, bool stream) {
  return stream ? widenAll<2, true>(src, dst, n, t) : widenAll<2, false>(src, dst, n, t);
}
int widen4(const std::uint8_t* src, void* dst, int n, const WidenPlanes& t, bool stream) {
  return stream ? widenAll<4, true>(src, dst, n, t) : widenAll<4, false>(src, dst, n, t);
}
int widen8(const std::uint8_t* src, void* dst, int n, const WidenPlanes& t, bool stream) {
  return stream ? widenAll<8, true>(src, dst, n, t) : widenAll<8, false>(src, dst, n, t);
}

}  // namespace

extern const FrameSimd kFrameSimdAVX2;
FrameSimd frameSimdAVX512() {
  FrameSimd s = kFrameSimdAVX2;
  s.yuy2ToPlanes = &yuy2ToPlanes;
  s.planesToYUY2 = &planesToYUY2;
  s.yuy2ToRGB = &yuy2ToRGB;
  s.ycbcrToBGR = &ycbcrToBGR;
  s.bgrToYCbCr = &bgrToYCbCr;
  s.narrowSingle = &narrowSingle;
  s.narrowDouble = &narrowDouble;
  s.narrowInt32 = &narrowInt32;
  s.widen2 = &widen2;
  s.widen4 = &widen4;
  s.widen8 = &widen8;
  s.yuy2ToPlanes4 = &yuy2ToPlanes4;
  s.yuy2ToPlanes8 = &yuy2ToPlanes8;
  return s;
}

}  // namespace rivulet
