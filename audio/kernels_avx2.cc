// AVX2 form of the AUDIO_SINGLE -> AUDIO_INT16 run; this source alone is
// compiled for AVX2 and is reached only through the CPU detection.
#include <immintrin.h>

#include "audio/single_to_int16.h"

namespace rivulet {
namespace {

struct Avx2Ops {
  static constexpr int kLanes = 8;
  static __m256i convert(std::uint8_t const* src) {
    const __m256 a = _mm256_mul_ps(_mm256_loadu_ps(reinterpret_cast<float const*>(src)), _mm256_set1_ps(32768.0f));
    return _mm256_andnot_si256(_mm256_castps_si256(_mm256_cmp_ps(a, a, _CMP_UNORD_Q)),
                               _mm256_cvttps_epi32(_mm256_min_ps(_mm256_set1_ps(32767.0f), a)));
  }
  // The pack works within 128-bit halves: a0 b0 a1 b1; put the quarters back in order.
  static __m256i pack(std::uint8_t const* src) {
    return _mm256_permute4x64_epi64(_mm256_packs_epi32(convert(src), convert(src + 32)), 0xD8);
  }
  static void step(std::uint8_t const* src, std::uint8_t* dst) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst), pack(src));
  }
};

}  // namespace

std::int64_t singleToInt16Run_AVX2(std::uint8_t const* src, std::uint8_t* dst, std::int64_t n) {
  const std::int64_t done = singleToInt16Run<Avx2Ops>(src, dst, n);
  return done + singleToInt16Run<SingleToInt16Ops128>(src + 4 * done, dst + 2 * done, n - done);
}

}  // namespace rivulet
