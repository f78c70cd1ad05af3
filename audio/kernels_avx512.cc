// AVX-512 form of the AUDIO_SINGLE -> AUDIO_INT16 run; this source alone is
// compiled for AVX-512 and is reached only through the CPU detection.
#include <immintrin.h>

// GCC 12 reports the lanes its own AVX-512 intrinsics leave undefined on
// purpose (_mm512_undefined_*) as uninitialised.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"

#include "audio/single_to_int16.h"

namespace rivulet {
namespace {

// NaN lanes are zeroed by the conversion's mask; the narrowing store saturates
// as the SSE2 pack does.
struct Avx512Ops {
  static constexpr int kLanes = 16;
  static __m256i convert(std::uint8_t const* src) {
    const __m512 a = _mm512_mul_ps(_mm512_loadu_ps(src), _mm512_set1_ps(32768.0f));
    const __mmask16 number = _mm512_cmp_ps_mask(a, a, _CMP_ORD_Q);
    return _mm512_cvtsepi32_epi16(_mm512_maskz_cvttps_epi32(number, _mm512_min_ps(_mm512_set1_ps(32767.0f), a)));
  }
  static __m512i pack(std::uint8_t const* src) {
    return _mm512_inserti64x4(_mm512_castsi256_si512(convert(src)), convert(src + 64), 1);
  }
  static void step(std::uint8_t const* src, std::uint8_t* dst) { _mm512_storeu_si512(dst, pack(src)); }
};

}  // namespace

std::int64_t singleToInt16Run_AVX512(std::uint8_t const* src, std::uint8_t* dst, std::int64_t n) {
  const std::int64_t done = singleToInt16Run<Avx512Ops>(src, dst, n);
  return done + singleToInt16Run<SingleToInt16Ops128>(src + 4 * done, dst + 2 * done, n - done);
}

}  // namespace rivulet
