// AVX2 form of the intensity rules, four pixels a vector; this source alone is
// compiled for AVX2 and is reached only through the CPU detection.
#include <immintrin.h>

#include <cstring>

#include "video/intensity_simd.h"

namespace rivulet {
namespace {

struct Avx2Ops {
  using V = __m256d;
  using I = __m128i;  // four int32 lanes
  static constexpr int kLanes = 4;
  static constexpr int kBGRLoadBytes = 16;  // 12 used

  static V set1(double x) { return _mm256_set1_pd(x); }
  static V add(V a, V b) { return _mm256_add_pd(a, b); }
  static V sub(V a, V b) { return _mm256_sub_pd(a, b); }
  static V mul(V a, V b) { return _mm256_mul_pd(a, b); }
  static I trunc(V a) { return _mm256_cvttpd_epi32(a); }
  static V widen(I bytes) { return _mm256_cvtepi32_pd(_mm_cvtepu8_epi32(bytes)); }

  static V loadBytes(const std::uint8_t* p) {
    int x;
    std::memcpy(&x, p, 4);
    return widen(_mm_cvtsi32_si128(x));
  }
  // Four BGR pixels: bytes 2, 5, 8, 11 are red, 1, 4, 7, 10 green, 0, 3, 6, 9 blue.
  static void loadBGR(const std::uint8_t* p, V& r, V& g, V& b) {
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i pick = _mm_shuffle_epi8(x, _mm_setr_epi8(2, 5, 8, 11, 1, 4, 7, 10, 0, 3, 6, 9, -1, -1, -1, -1));
    r = widen(pick);
    g = widen(_mm_srli_si128(pick, 4));
    b = widen(_mm_srli_si128(pick, 8));
  }

  static I replicate16(I b) { return _mm_or_si128(_mm_slli_epi32(b, 8), b); }
  static I replicate32(I b) { return _mm_mullo_epi32(b, _mm_set1_epi32(0x01010101)); }
  static void storeDouble(void* p, V v) { _mm256_storeu_pd(static_cast<double*>(p), v); }
  static void streamDouble(double* p, V v) { _mm256_stream_pd(p, v); }
  static void storeFloat(void* p, V v) { _mm_storeu_ps(static_cast<float*>(p), _mm256_cvtpd_ps(v)); }
  static void storeInts(void* p, I x) { _mm_storeu_si128(static_cast<__m128i*>(p), x); }
  // The values fit the narrower type, so taking the low bytes of each lane is exact.
  static void storeShorts(void* p, I x) {
    _mm_storel_epi64(static_cast<__m128i*>(p), _mm_shuffle_epi8(x, _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, -1, -1, -1, -1, -1, -1, -1, -1)));
  }
  static void storeBytes(void* p, I x) {
    const int b = _mm_cvtsi128_si32(_mm_shuffle_epi8(x, _mm_setr_epi8(0, 4, 8, 12, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1)));
    std::memcpy(p, &b, 4);
  }
};

}  // namespace

const IntensityForms kIntensityForms_AVX2 = makeIntensityForms<Avx2Ops>();

}  // namespace rivulet
