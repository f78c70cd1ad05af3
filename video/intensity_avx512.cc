// AVX-512 form of the intensity rules, eight pixels a vector; this source
// alone is compiled for AVX-512 (with VBMI) and is reached only through the
// CPU detection.
#include <immintrin.h>

#include "video/intensity_simd.h"

// GCC 12 reports the undefined pass-through operand inside its own AVX-512
// headers (_mm512_undefined_pd) as maybe uninitialised.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"

namespace rivulet {
namespace {

struct Avx512Ops {
  using V = __m512d;
  using I = __m256i;  // eight int32 lanes
  static constexpr int kLanes = 8;
  static constexpr int kBGRLoadBytes = 24;  // a masked load of exactly the pixels' bytes

  static V set1(double x) { return _mm512_set1_pd(x); }
  static V add(V a, V b) { return _mm512_add_pd(a, b); }
  static V sub(V a, V b) { return _mm512_sub_pd(a, b); }
  static V mul(V a, V b) { return _mm512_mul_pd(a, b); }
  static V min(V a, V b) { return _mm512_min_pd(a, b); }
  static V max(V a, V b) { return _mm512_max_pd(a, b); }
  static I trunc(V a) { return _mm512_cvttpd_epi32(a); }
  static V widen(__m128i bytes) { return _mm512_cvtepi32_pd(_mm256_cvtepu8_epi32(bytes)); }

  static V loadBytes(const std::uint8_t* p) { return widen(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))); }
  // Eight BGR pixels: one byte permute puts the reds in bytes 0-7, the greens
  // in 8-15 and the blues in 16-23.
  static void loadBGR(const std::uint8_t* p, V& r, V& g, V& b) {
    const __m256i x = _mm256_maskz_loadu_epi8(0xFFFFFF, p);
    const __m256i idx = _mm256_setr_epi8(2, 5, 8, 11, 14, 17, 20, 23, 1, 4, 7, 10, 13, 16, 19, 22,
                                         0, 3, 6, 9, 12, 15, 18, 21, 0, 0, 0, 0, 0, 0, 0, 0);
    const __m256i pick = _mm256_permutexvar_epi8(idx, x);
    const __m128i lo = _mm256_castsi256_si128(pick);
    r = widen(lo);
    g = widen(_mm_srli_si128(lo, 8));
    b = widen(_mm256_extracti128_si256(pick, 1));
  }

  static I replicate16(I b) { return _mm256_or_si256(_mm256_slli_epi32(b, 8), b); }
  static I replicate32(I b) { return _mm256_mullo_epi32(b, _mm256_set1_epi32(0x01010101)); }
  static void storeDouble(void* p, V v) { _mm512_storeu_pd(p, v); }
  static void storeFloat(void* p, V v) { _mm256_storeu_ps(static_cast<float*>(p), _mm512_cvtpd_ps(v)); }
  static void storeInts(void* p, I x) { _mm256_storeu_si256(static_cast<__m256i*>(p), x); }
  // The values fit the narrower type, so truncating each lane is exact.
  static void storeShorts(void* p, I x) { _mm_storeu_si128(static_cast<__m128i*>(p), _mm256_cvtepi32_epi16(x)); }
  static void storeBytes(void* p, I x) { _mm_storel_epi64(static_cast<__m128i*>(p), _mm256_cvtepi32_epi8(x)); }
};

}  // namespace

const IntensityForms kIntensityForms_AVX512 = makeIntensityForms<Avx512Ops>();

}  // namespace rivulet
