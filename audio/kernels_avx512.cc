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

// NaN lanes are zeroed by the conversion's mask. Two vectors are narrowed by
// one saturating pack, as in the SSE2 form; the pack works within 128-bit
// quarters (a0 b0 a1 b1 ..), and one permute puts the quarters back in order
// (cheaper than two narrowing stores).
struct Avx512Ops {
  static constexpr int kLanes = 16;
  static __m512i convert(std::uint8_t const* src) {
    const __m512 a = _mm512_mul_ps(_mm512_loadu_ps(src), _mm512_set1_ps(32768.0f));
    const __mmask16 number = _mm512_cmp_ps_mask(a, a, _CMP_ORD_Q);
    return _mm512_maskz_cvttps_epi32(number, _mm512_min_ps(_mm512_set1_ps(32767.0f), a));
  }
  static __m512i pack(std::uint8_t const* src) {
    const __m512i packed = _mm512_packs_epi32(convert(src), convert(src + 64));
    return _mm512_permutexvar_epi64(_mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7), packed);
  }
  static void step(std::uint8_t const* src, std::uint8_t* dst) { _mm512_storeu_si512(dst, pack(src)); }
};

}  // namespace

std::int64_t singleToInt16Run_AVX512(std::uint8_t const* src, std::uint8_t* dst, std::int64_t n) {
  const std::int64_t done = singleToInt16Run<Avx512Ops>(src, dst, n);
  return done + singleToInt16Run<SingleToInt16Ops128>(src + 4 * done, dst + 2 * done, n - done);
}

}  // namespace rivulet
