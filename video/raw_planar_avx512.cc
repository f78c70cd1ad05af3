// AVX-512 forms of the raw planar element rules, eight or sixteen elements a
// vector; this source alone is compiled for AVX-512 and is reached only
// through the CPU detection. Each equals the plain rule bit for bit.
#include <immintrin.h>

#include "video/raw_planar_kernels.h"

// GCC 12 reports the undefined pass-through operand inside its own AVX-512
// headers as maybe uninitialised.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"

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

}  // namespace

extern const RawPlanarForms kRawPlanarForms_AVX512 = {
    {&doubleToInt16, &singleToInt16, nullptr, nullptr, nullptr, nullptr, &int32ToInt16, &uint32ToUint16, nullptr}};

}  // namespace rivulet
