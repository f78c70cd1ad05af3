// SSE2 fast forms of the audio runs declared in kernels.h. Each handles whole
// blocks of eight (or four) elements and leaves the tail to the plain rule.
// Unaligned loads and stores throughout: hosts pass any address. SSE2 is the
// x86-64 baseline; each form still asks the CPU detection, so that a build
// with RIVULET_NO_SIMD runs the plain rules alone.
#include <emmintrin.h>

#include "audio/kernels.h"
#include "audio/single_to_int16.h"
#include "types/cpu.h"

namespace rivulet {
namespace {

// ---- Vector building blocks ---------------------------------------------------------------

// Eight int16 to two vectors of four int32 (sign-extended).
inline void widenInt16(__m128i v, __m128i& lo, __m128i& hi) {
  lo = _mm_srai_epi32(_mm_unpacklo_epi16(v, v), 16);
  hi = _mm_srai_epi32(_mm_unpackhi_epi16(v, v), 16);
}

// Four int32 times a power of two, as doubles: both steps exact.
inline void storeInt32AsDouble(__m128i v, __m128d scale, std::uint8_t* dst) {
  _mm_storeu_pd(reinterpret_cast<double*>(dst), _mm_mul_pd(_mm_cvtepi32_pd(v), scale));
  _mm_storeu_pd(reinterpret_cast<double*>(dst + 16),
                _mm_mul_pd(_mm_cvtepi32_pd(_mm_unpackhi_epi64(v, v)), scale));
}

// Keeps the low 16 bits of each int32 lane as a signed value, so that a
// saturating pack afterwards is exact (the plain rule narrows by wrapping).
inline __m128i lowHalves(__m128i v) { return _mm_srai_epi32(_mm_slli_epi32(v, 16), 16); }

// floor(p) of two doubles already within int32 range (or NaN), as int32 in the
// low two lanes: truncate, and step down where truncation went up. NaN
// truncates to the most negative value and compares false, as in the plain
// rule.
inline __m128i floorToInt32(__m128d p) {
  const __m128i t = _mm_cvttpd_epi32(p);
  const __m128d up = _mm_cmplt_pd(p, _mm_cvtepi32_pd(t));
  return _mm_add_epi32(t, _mm_shuffle_epi32(_mm_castpd_si128(up), _MM_SHUFFLE(3, 3, 2, 0)));
}

// floor(x * 32768.0) clipped to [-32768, 32767] for four doubles, as int32.
// Clipping before the floor gives the same integer as after it, since the
// bounds are integers. max/min return their second operand for NaN, which
// keeps NaN for the conversion.
inline __m128i doubleToInt16x4(std::uint8_t const* src) {
  const __m128d k = _mm_set1_pd(32768.0);
  const __m128d lo = _mm_set1_pd(-32768.0);
  const __m128d hi = _mm_set1_pd(32767.0);
  __m128d a = _mm_mul_pd(_mm_loadu_pd(reinterpret_cast<double const*>(src)), k);
  __m128d b = _mm_mul_pd(_mm_loadu_pd(reinterpret_cast<double const*>(src + 16)), k);
  a = _mm_min_pd(hi, _mm_max_pd(lo, a));
  b = _mm_min_pd(hi, _mm_max_pd(lo, b));
  return _mm_unpacklo_epi64(floorToInt32(a), floorToInt32(b));
}

// Eight int16 times 2^-15 in single precision (conversion exact, product exact).
inline void int16ToSingleX8(std::uint8_t const* src, std::uint8_t* dst) {
  const __m128 scale = _mm_set1_ps(static_cast<float>(kInt16Scale));
  __m128i lo, hi;
  widenInt16(_mm_loadu_si128(reinterpret_cast<__m128i const*>(src)), lo, hi);
  _mm_storeu_ps(reinterpret_cast<float*>(dst), _mm_mul_ps(_mm_cvtepi32_ps(lo), scale));
  _mm_storeu_ps(reinterpret_cast<float*>(dst + 16), _mm_mul_ps(_mm_cvtepi32_ps(hi), scale));
}

// Eight doubles to eight int16 by doubleToInt16x4.
inline void doubleToInt16X8(std::uint8_t const* src, std::uint8_t* dst) {
  const __m128i a = lowHalves(doubleToInt16x4(src));
  const __m128i b = lowHalves(doubleToInt16x4(src + 32));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), _mm_packs_epi32(a, b));
}

// Four stereo int16 pairs (L0 R0 .. L3 R3) to four int32 of each channel.
inline void splitInt16Pairs(__m128i v, __m128i& left, __m128i& right) {
  left = _mm_srai_epi32(_mm_slli_epi32(v, 16), 16);
  right = _mm_srai_epi32(v, 16);
}

}  // namespace

// ---- 6 x 6 cells ----------------------------------------------------------------------------

std::int64_t FastConvertRun<kPosInt16, kPosDouble>::run(std::uint8_t const* src,
                                                        std::uint8_t* dst, std::int64_t n) {
  if (!simdAtLeast(Simd::kSse2)) return 0;
  const __m128d scale = _mm_set1_pd(kInt16Scale);
  std::int64_t i = 0;
  for (; i + 8 <= n; i += 8) {
    __m128i lo, hi;
    widenInt16(_mm_loadu_si128(reinterpret_cast<__m128i const*>(src + 2 * i)), lo, hi);
    storeInt32AsDouble(lo, scale, dst + 8 * i);
    storeInt32AsDouble(hi, scale, dst + 8 * i + 32);
  }
  return i;
}

std::int64_t FastConvertRun<kPosInt16, kPosSingle>::run(std::uint8_t const* src,
                                                        std::uint8_t* dst, std::int64_t n) {
  if (!simdAtLeast(Simd::kSse2)) return 0;
  std::int64_t i = 0;
  for (; i + 8 <= n; i += 8) int16ToSingleX8(src + 2 * i, dst + 4 * i);
  return i;
}

std::int64_t singleToInt16Run_SSE2(std::uint8_t const* src, std::uint8_t* dst, std::int64_t n) {
  return singleToInt16Run<SingleToInt16Ops128>(src, dst, n);
}

// The widest form the CPU runs, picked once. The AVX-512 form does the whole
// run; the AVX2 one finishes with SSE2 steps, so at most seven elements are
// left to the plain rule.
std::int64_t FastConvertRun<kPosSingle, kPosInt16>::run(std::uint8_t const* src,
                                                        std::uint8_t* dst, std::int64_t n) {
  using Form = std::int64_t (*)(std::uint8_t const*, std::uint8_t*, std::int64_t);
  static const Form form = widestForm<Form>(
      {nullptr, &singleToInt16Run_SSE2, nullptr, &singleToInt16Run_AVX2, &singleToInt16Run_AVX512});
  return form == nullptr ? 0 : form(src, dst, n);
}

std::int64_t FastConvertRun<kPosDouble, kPosInt16>::run(std::uint8_t const* src,
                                                        std::uint8_t* dst, std::int64_t n) {
  if (!simdAtLeast(Simd::kSse2)) return 0;
  std::int64_t i = 0;
  for (; i + 8 <= n; i += 8) doubleToInt16X8(src + 8 * i, dst + 2 * i);
  return i;
}

// Four three-byte samples per step from a 16-byte load; the load reaches four
// bytes past the twelve it uses, so the loop stops while 16 bytes remain.
// Sample k sits at byte 3k; shifting it to the bottom of a lane and the lane
// left by eight gives b0 * 2^8 + b1 * 2^16 + b2 * 2^24.
std::int64_t FastConvertRun<kPosInt24, kPosDouble>::run(std::uint8_t const* src,
                                                        std::uint8_t* dst, std::int64_t n) {
  if (!simdAtLeast(Simd::kSse2)) return 0;
  const __m128d scale = _mm_set1_pd(kInt32Scale);
  std::int64_t i = 0;
  for (; 3 * i + 16 <= 3 * n; i += 4) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<__m128i const*>(src + 3 * i));
    const __m128i ab = _mm_unpacklo_epi32(v, _mm_srli_si128(v, 3));
    const __m128i cd = _mm_unpacklo_epi32(_mm_srli_si128(v, 6), _mm_srli_si128(v, 9));
    const __m128i x = _mm_slli_epi32(_mm_unpacklo_epi64(ab, cd), 8);
    storeInt32AsDouble(x, scale, dst + 8 * i);
  }
  return i;
}

std::int64_t FastStereoFromInterleaved<kPosInt16, kPosDouble>::run(std::uint8_t const* src,
                                                                   std::uint8_t* left,
                                                                   std::uint8_t* right,
                                                                   std::int64_t n) {
  if (!simdAtLeast(Simd::kSse2)) return 0;
  const __m128d scale = _mm_set1_pd(kInt16Scale);
  std::int64_t i = 0;
  for (; i + 4 <= n; i += 4) {
    __m128i l, r;
    splitInt16Pairs(_mm_loadu_si128(reinterpret_cast<__m128i const*>(src + 4 * i)), l, r);
    storeInt32AsDouble(l, scale, left + 8 * i);
    storeInt32AsDouble(r, scale, right + 8 * i);
  }
  return i;
}

// ---- PCM ------------------------------------------------------------------------------------

std::int64_t FastPcmStereoCopy16ToSingle::run(std::uint8_t const* src, std::uint8_t* left,
                                              std::uint8_t* right, std::int64_t n) {
  if (!simdAtLeast(Simd::kSse2)) return 0;
  const __m128 scale = _mm_set1_ps(static_cast<float>(kInt16Scale));
  std::int64_t i = 0;
  for (; i + 4 <= n; i += 4) {
    __m128i l, r;
    splitInt16Pairs(_mm_loadu_si128(reinterpret_cast<__m128i const*>(src + 4 * i)), l, r);
    _mm_storeu_ps(reinterpret_cast<float*>(left + 4 * i), _mm_mul_ps(_mm_cvtepi32_ps(l), scale));
    _mm_storeu_ps(reinterpret_cast<float*>(right + 4 * i), _mm_mul_ps(_mm_cvtepi32_ps(r), scale));
  }
  return i;
}

// Four periods: four doubles of each channel to int32, interleaved, narrowed.
std::int64_t FastPcmStereoOutputDoubleTo16::run(std::uint8_t const* left,
                                                std::uint8_t const* right, std::uint8_t* dst,
                                                std::int64_t n) {
  if (!simdAtLeast(Simd::kSse2)) return 0;
  std::int64_t i = 0;
  for (; i + 4 <= n; i += 4) {
    const __m128i l = lowHalves(doubleToInt16x4(left + 8 * i));
    const __m128i r = lowHalves(doubleToInt16x4(right + 8 * i));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 4 * i),
                     _mm_packs_epi32(_mm_unpacklo_epi32(l, r), _mm_unpackhi_epi32(l, r)));
  }
  return i;
}

}  // namespace rivulet
