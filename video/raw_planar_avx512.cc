// AVX-512 forms of the raw planar element rules, eight or sixteen elements a
// vector, and the fused column blocks built on them; this source alone is
// compiled for AVX-512 and is reached only through the CPU detection. Each
// equals the plain rule bit for bit.
#include <immintrin.h>

#include "video/raw_planar_kernels.h"
#include "video/simd_blocks.h"
#include "video/transpose_blocks.h"

// GCC 12 reports the undefined pass-through operand inside its own AVX-512
// headers as (maybe) uninitialised.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"

namespace rivulet {
namespace {

// floorToInt16 on eight doubles: floor, clamp, NaN lanes to 0.
inline __m128i floorToInt16x8(__m512d x) {
  const __m512d y = _mm512_roundscale_pd(_mm512_mul_pd(x, _mm512_set1_pd(32768.0)), _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC);
  const __m512d c = _mm512_max_pd(_mm512_min_pd(y, _mm512_set1_pd(32767.0)), _mm512_set1_pd(-32768.0));
  const __mmask8 number = _mm512_cmp_pd_mask(y, y, _CMP_ORD_Q);
  return _mm256_cvtepi32_epi16(_mm512_maskz_cvttpd_epi32(number, c));
}

std::int64_t doubleToInt16(const void* src, void* dst, std::int64_t n) {
  const double* s = static_cast<const double*>(src);
  std::int16_t* d = static_cast<std::int16_t*>(dst);
  std::int64_t i = 0;
  for (; i + 8 <= n; i += 8) _mm_storeu_si128(reinterpret_cast<__m128i*>(d + i), floorToInt16x8(_mm512_loadu_pd(s + i)));
  return i;
}

// Single precision: x * 32768 is exact in float wherever it is finite, and
// overflows only where the double product saturates anyway, so the floor and
// clamp can stay in float, sixteen lanes at a time.
std::int64_t singleToInt16(const void* src, void* dst, std::int64_t n) {
  const float* s = static_cast<const float*>(src);
  std::int16_t* d = static_cast<std::int16_t*>(dst);
  std::int64_t i = 0;
  for (; i + 16 <= n; i += 16) {
    const __m512 y = _mm512_roundscale_ps(_mm512_mul_ps(_mm512_loadu_ps(s + i), _mm512_set1_ps(32768.0f)),
                                          _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC);
    const __m512 c = _mm512_max_ps(_mm512_min_ps(y, _mm512_set1_ps(32767.0f)), _mm512_set1_ps(-32768.0f));
    const __mmask16 number = _mm512_cmp_ps_mask(y, y, _CMP_ORD_Q);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i), _mm512_cvtepi32_epi16(_mm512_maskz_cvttps_epi32(number, c)));
  }
  return i;
}

// Division by 65536 toward zero: negative values get 65535 added before the
// arithmetic shift.
std::int64_t int32ToInt16(const void* src, void* dst, std::int64_t n) {
  const int* s = static_cast<const int*>(src);
  std::int16_t* d = static_cast<std::int16_t*>(dst);
  std::int64_t i = 0;
  for (; i + 16 <= n; i += 16) {
    const __m512i x = _mm512_loadu_si512(s + i);
    const __m512i q = _mm512_srai_epi32(_mm512_add_epi32(x, _mm512_srli_epi32(_mm512_srai_epi32(x, 31), 16)), 16);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i), _mm512_cvtepi32_epi16(q));
  }
  return i;
}

std::int64_t uint32ToUint16(const void* src, void* dst, std::int64_t n) {
  const unsigned* s = static_cast<const unsigned*>(src);
  std::uint16_t* d = static_cast<std::uint16_t*>(dst);
  std::int64_t i = 0;
  for (; i + 16 <= n; i += 16)
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i),
                        _mm512_cvtepi32_epi16(_mm512_srli_epi32(_mm512_loadu_si512(s + i), 16)));
  return i;
}

// ---- Fused blocks: 32 source columns by 16 rows, converted in registers --------------------

// The low (or high) 16-bit halves of the 32 dwords of a and b, in order.
inline __m512i words(__m512i a, __m512i b, bool high) {
  const __m512i even = _mm512_set_epi16(62, 60, 58, 56, 54, 52, 50, 48, 46, 44, 42, 40, 38, 36, 34, 32, 30, 28, 26,
                                        24, 22, 20, 18, 16, 14, 12, 10, 8, 6, 4, 2, 0);
  const __m512i idx = high ? _mm512_add_epi16(even, _mm512_set1_epi16(1)) : even;
  return _mm512_permutex2var_epi16(a, idx, b);
}

// floorToInt16 on sixteen floats or eight doubles, as dwords: clamp first (a
// NaN lane takes the upper bound here and is zeroed by the mask), then
// convert rounding down; the bounds are whole, so flooring the clamped value
// equals clamping the floor.
inline __m512i floorToInt16x16(__m512 x) {
  const __m512 y = _mm512_mul_ps(x, _mm512_set1_ps(32768.0f));
  const __m512 c = _mm512_max_ps(_mm512_min_ps(y, _mm512_set1_ps(32767.0f)), _mm512_set1_ps(-32768.0f));
  return _mm512_maskz_cvt_roundps_epi32(_mm512_cmp_ps_mask(y, y, _CMP_ORD_Q), c,
                                        _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC);
}
inline __m256i floorToInt16x8d(__m512d x) {
  const __m512d y = _mm512_mul_pd(x, _mm512_set1_pd(32768.0));
  const __m512d c = _mm512_max_pd(_mm512_min_pd(y, _mm512_set1_pd(32767.0)), _mm512_set1_pd(-32768.0));
  return _mm512_maskz_cvt_roundpd_epi32(_mm512_cmp_pd_mask(y, y, _CMP_ORD_Q), c,
                                        _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC);
}

// The elements of mask m among sixteen consecutive ones of two source
// columns, through the element rule: a's sixteen 16-bit results in the low
// half of the vector, b's in the high half (those outside the mask are
// neither read nor meaningful).
template <int S>
inline __m512i columnPair16(const Sample<S>* a, const Sample<S>* b, __mmask16 m) {
  if constexpr (S == VIDEO_DOUBLE) {
    const auto dwords = [m](const double* p) {
      return _mm512_inserti64x4(_mm512_castsi256_si512(floorToInt16x8d(_mm512_maskz_loadu_pd(m & 0xFF, p))),
                                floorToInt16x8d(_mm512_maskz_loadu_pd(m >> 8, p + 8)), 1);
    };
    return words(dwords(a), dwords(b), false);
  } else if constexpr (S == VIDEO_SINGLE) {
    return words(floorToInt16x16(_mm512_maskz_loadu_ps(m, a)), floorToInt16x16(_mm512_maskz_loadu_ps(m, b)), false);
  } else if constexpr (S == VIDEO_INT32) {
    // Division by 65536 toward zero: 65535 added to a negative value, then
    // its high half.
    const auto biased = [m](const int* p) {
      const __m512i x = _mm512_maskz_loadu_epi32(m, p);
      return _mm512_add_epi32(x, _mm512_srli_epi32(_mm512_srai_epi32(x, 31), 16));
    };
    return words(biased(a), biased(b), true);
  } else {
    return words(_mm512_maskz_loadu_epi32(m, a), _mm512_maskz_loadu_epi32(m, b), true);  // UINT32: the high halves
  }
}

// Rows [r0, r0 + n) (n at most 16) of a strip of 32 source columns, held in
// sixteen vectors: v[i] has the rows of column i in its low half and of
// column i + 16 in its high half. The 8 x 8 transposes within each 128-bit
// lane of v[0-7] and of v[8-15] leave in v[8g + j] lane 0 row j and lane 1
// row 8 + j of columns 8g to 8g + 7, lanes 2 and 3 the same of columns
// 16 + 8g on; one two-source permute of v[j] and v[8 + j] then puts together
// each of rows j and 8 + j, stored as a 64-byte piece. Inlined into both
// calls, so that the whole blocks keep a constant mask (plain loads, every
// row stored).
template <int S>
[[gnu::always_inline]] inline void block16(const Sample<S>* s, std::int64_t h, std::uint16_t* d,
                                           std::int64_t step, std::int64_t r0, int n, bool prefetch) {
  constexpr int kRunBytes = 16 * sizeof(Sample<S>), kAhead = 256;
  const __m512i rowLo = _mm512_set_epi64(13, 12, 5, 4, 9, 8, 1, 0);
  const __m512i rowHi = _mm512_set_epi64(15, 14, 7, 6, 11, 10, 3, 2);
  const __mmask16 m = static_cast<__mmask16>((1u << n) - 1);
  __m512i v[16];
  for (int i = 0; i < 16; ++i) {
    const Sample<S>* a = s + i * h + r0;
    const Sample<S>* b = a + 16 * h;
    if (prefetch)
      for (int k = 0; k < kRunBytes; k += 64) {
        _mm_prefetch(reinterpret_cast<const char*>(a) + kAhead + k, _MM_HINT_T0);
        _mm_prefetch(reinterpret_cast<const char*>(b) + kAhead + k, _MM_HINT_T0);
      }
    v[i] = columnPair16<S>(a, b, m);
  }
  transposeShorts8<Unpacks512>(v);
  transposeShorts8<Unpacks512>(v + 8);
  for (int j = 0; j < 8 && j < n; ++j) {
    _mm512_storeu_si512(d + (r0 + j) * step, _mm512_permutex2var_epi64(v[j], rowLo, v[8 + j]));
    if (8 + j < n) _mm512_storeu_si512(d + (r0 + 8 + j) * step, _mm512_permutex2var_epi64(v[j], rowHi, v[8 + j]));
  }
}

// All rows of a strip of 32 source columns, sixteen at a time, the last
// block through masks; the columns' runs are asked for a few lines ahead
// (past the end of a column that is the next one's start, and harmless).
template <int S>
std::int64_t columns32(const void* src, std::int64_t h, void* row0, std::int64_t step, std::int64_t rows) {
  using Ts = Sample<S>;
  const Ts* s = static_cast<const Ts*>(src);
  auto* d = static_cast<std::uint16_t*>(row0);
  std::int64_t r0 = 0;
  for (; r0 + 16 <= rows; r0 += 16) block16<S>(s, h, d, step, r0, 16, true);
  if (r0 < rows) block16<S>(s, h, d, step, r0, static_cast<int>(rows - r0), false);
  return rows;
}

}  // namespace

extern const RawPlanarForms kRawPlanarForms_AVX512 = {
    {&doubleToInt16, &singleToInt16, nullptr, nullptr, nullptr, nullptr, &int32ToInt16, &uint32ToUint16, nullptr},
    // None for the 16-bit copies: a fused form measured no faster than the
    // tile transpose there.
    {&columns32<VIDEO_DOUBLE>, &columns32<VIDEO_SINGLE>, nullptr, nullptr, nullptr, nullptr, &columns32<VIDEO_INT32>,
     &columns32<VIDEO_UINT32>, nullptr}};

}  // namespace rivulet
