// AVX2 form of the AUDIO_SINGLE -> AUDIO_INT16 run. Only this function is
// compiled for AVX2 (target attribute); it is chosen once, at the first call,
// by a CPU check (kernels_sse.cc). Same arithmetic as the SSE2 form, sixteen
// elements a step.
#include <immintrin.h>

#include <cstdint>

namespace rivulet {

__attribute__((target("avx2"))) std::int64_t singleToInt16Run_AVX2(std::uint8_t const* src, std::uint8_t* dst, std::int64_t n) {
  const __m256 k = _mm256_set1_ps(32768.0f);
  const __m256 hi = _mm256_set1_ps(32767.0f);
  std::int64_t i = 0;
  for (; i + 16 <= n; i += 16) {
    const __m256 a = _mm256_mul_ps(_mm256_loadu_ps(reinterpret_cast<float const*>(src + 4 * i)), k);
    const __m256 b =
        _mm256_mul_ps(_mm256_loadu_ps(reinterpret_cast<float const*>(src + 4 * i + 32)), k);
    const __m256i ta = _mm256_andnot_si256(_mm256_castps_si256(_mm256_cmp_ps(a, a, _CMP_UNORD_Q)),
                                           _mm256_cvttps_epi32(_mm256_min_ps(hi, a)));
    const __m256i tb = _mm256_andnot_si256(_mm256_castps_si256(_mm256_cmp_ps(b, b, _CMP_UNORD_Q)),
                                           _mm256_cvttps_epi32(_mm256_min_ps(hi, b)));
    // The pack works within 128-bit halves: a0 b0 a1 b1; put the quarters back in order.
    const __m256i packed = _mm256_permute4x64_epi64(_mm256_packs_epi32(ta, tb), 0xD8);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + 2 * i), packed);
  }
  return i;
}

}  // namespace rivulet
