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
  static __m512i convert(__m512 x) {
    const __m512 a = _mm512_mul_ps(x, _mm512_set1_ps(32768.0f));
    const __mmask16 number = _mm512_cmp_ps_mask(a, a, _CMP_ORD_Q);
    return _mm512_maskz_cvttps_epi32(number, _mm512_min_ps(_mm512_set1_ps(32767.0f), a));
  }
  static __m512i pack(__m512 a, __m512 b) {
    const __m512i packed = _mm512_packs_epi32(convert(a), convert(b));
    return _mm512_permutexvar_epi64(_mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7), packed);
  }
  static void step(std::uint8_t const* src, std::uint8_t* dst) {
    _mm512_storeu_si512(dst, pack(_mm512_loadu_ps(src), _mm512_loadu_ps(src + 64)));
  }
  // The first k (0 to 32) elements of a step; the lanes past them are neither
  // read nor written.
  static void partialStep(std::uint8_t const* src, std::uint8_t* dst, int k) {
    const __mmask32 lanes = k >= 32 ? ~__mmask32{0} : (__mmask32{1} << k) - 1;
    const __m512 a = _mm512_maskz_loadu_ps(static_cast<__mmask16>(lanes), src);
    const __m512 b = _mm512_maskz_loadu_ps(static_cast<__mmask16>(lanes >> 16), src + 64);
    _mm512_mask_storeu_epi16(dst, lanes, pack(a, b));
  }
};

}  // namespace

// The whole run: a partial step first brings the destination to a 64-byte
// boundary (where it is even), so that each full step writes one cache line;
// a partial step does the last elements.
std::int64_t singleToInt16Run_AVX512(std::uint8_t const* src, std::uint8_t* dst, std::int64_t n) {
  const auto address = reinterpret_cast<std::uintptr_t>(dst);
  std::int64_t head = (address & 1) != 0 ? 0 : ((64 - (address & 63)) & 63) / 2;
  if (head > n) head = n;
  if (head > 0) Avx512Ops::partialStep(src, dst, static_cast<int>(head));
  const std::int64_t done = head + singleToInt16Run<Avx512Ops>(src + 4 * head, dst + 2 * head, n - head);
  if (done < n) Avx512Ops::partialStep(src + 4 * done, dst + 2 * done, static_cast<int>(n - done));
  return n;
}

}  // namespace rivulet
