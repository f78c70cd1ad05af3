// SSE2 forms of the raw planar layer (the x86-64 baseline, so no detection
// beyond RIVULET_NO_SIMD), and the pick of the widest forms: the element
// rules on runs of a source column. Each run form does whole vectors and
// returns how many elements it did; each equals the plain rule bit for bit.
#include <emmintrin.h>

#include "types/cpu.h"
#include "video/raw_planar_kernels.h"

namespace rivulet {
namespace {

// floorToInt16 on two doubles: clamp (NaN lanes to 0), truncate, and take one
// off where the truncation went up.
inline __m128i floorToInt16x2(__m128d x) {
  const __m128d y = _mm_mul_pd(x, _mm_set1_pd(32768.0));
  const __m128d clamped = _mm_max_pd(_mm_min_pd(y, _mm_set1_pd(32767.0)), _mm_set1_pd(-32768.0));
  const __m128d c = _mm_andnot_pd(_mm_cmpunord_pd(y, y), clamped);
  const __m128i t = _mm_cvttpd_epi32(c);
  const __m128i up = _mm_castpd_si128(_mm_cmpgt_pd(_mm_cvtepi32_pd(t), c));  // all ones where t > c
  return _mm_add_epi32(t, _mm_shuffle_epi32(up, _MM_SHUFFLE(3, 3, 2, 0)));  // -1 in the low two lanes
}

inline void store8(std::int16_t* dst, __m128i lo, __m128i hi) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), _mm_packs_epi32(lo, hi));
}

std::int64_t doubleToInt16(const void* src, void* dst, std::int64_t n) {
  const double* s = static_cast<const double*>(src);
  std::int16_t* d = static_cast<std::int16_t*>(dst);
  std::int64_t i = 0;
  for (; i + 8 <= n; i += 8) {
    __m128i q[4];
    for (int k = 0; k < 4; ++k) q[k] = floorToInt16x2(_mm_loadu_pd(s + i + 2 * k));
    // Each q holds two results in its low lanes.
    store8(d + i, _mm_unpacklo_epi64(q[0], q[1]), _mm_unpacklo_epi64(q[2], q[3]));
  }
  return i;
}

std::int64_t singleToInt16(const void* src, void* dst, std::int64_t n) {
  const float* s = static_cast<const float*>(src);
  std::int16_t* d = static_cast<std::int16_t*>(dst);
  std::int64_t i = 0;
  for (; i + 8 <= n; i += 8) {
    __m128i q[4];
    for (int k = 0; k < 2; ++k) {
      const __m128 f = _mm_loadu_ps(s + i + 4 * k);
      q[2 * k] = floorToInt16x2(_mm_cvtps_pd(f));
      q[2 * k + 1] = floorToInt16x2(_mm_cvtps_pd(_mm_movehl_ps(f, f)));
    }
    store8(d + i, _mm_unpacklo_epi64(q[0], q[1]), _mm_unpacklo_epi64(q[2], q[3]));
  }
  return i;
}

// Signed division by 65536 toward zero: add 65535 to negative values before
// the arithmetic shift.
std::int64_t int32ToInt16(const void* src, void* dst, std::int64_t n) {
  const __m128i* s = static_cast<const __m128i*>(src);
  std::int16_t* d = static_cast<std::int16_t*>(dst);
  std::int64_t i = 0;
  for (; i + 8 <= n; i += 8) {
    __m128i q[2];
    for (int k = 0; k < 2; ++k) {
      const __m128i x = _mm_loadu_si128(s + i / 4 + k);
      q[k] = _mm_srai_epi32(_mm_add_epi32(x, _mm_srli_epi32(_mm_srai_epi32(x, 31), 16)), 16);
    }
    store8(d + i, q[0], q[1]);
  }
  return i;
}

// The high halves, gathered by shuffles (a signed pack would saturate them).
std::int64_t uint32ToUint16(const void* src, void* dst, std::int64_t n) {
  const __m128i* s = static_cast<const __m128i*>(src);
  std::int64_t i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m128i a = _mm_srai_epi32(_mm_loadu_si128(s + i / 4), 16);
    const __m128i b = _mm_srai_epi32(_mm_loadu_si128(s + i / 4 + 1), 16);
    // Arithmetic shifts keep the high half sign-extended, which the saturating
    // pack then passes through unchanged.
    _mm_storeu_si128(reinterpret_cast<__m128i*>(static_cast<std::uint16_t*>(dst) + i), _mm_packs_epi32(a, b));
  }
  return i;
}

// 0 stays 0, anything else becomes 255.
std::int64_t booleanToByte(const void* src, void* dst, std::int64_t n) {
  const __m128i* s = static_cast<const __m128i*>(src);
  std::int64_t i = 0;
  for (; i + 16 <= n; i += 16) {
    const __m128i zero = _mm_cmpeq_epi8(_mm_loadu_si128(s + i / 16), _mm_setzero_si128());
    _mm_storeu_si128(reinterpret_cast<__m128i*>(static_cast<std::uint8_t*>(dst) + i),
                     _mm_andnot_si128(zero, _mm_set1_epi8(-1)));
  }
  return i;
}

constexpr RawPlanarForms kSse2 = {
    {&doubleToInt16, &singleToInt16, nullptr, nullptr, nullptr, nullptr, &int32ToInt16, &uint32ToUint16,
     &booleanToByte},
    {}};

}  // namespace

extern const RawPlanarForms kRawPlanarForms_AVX512;

// The SSE2 set, with each member the AVX-512 set has taken from it where the
// CPU runs that.
const RawPlanarForms* rawPlanarForms() {
  static const RawPlanarForms forms = [] {
    RawPlanarForms f = kSse2;
    if (simdAtLeast(Simd::kAvx512))
      for (int t = 0; t < 9; ++t) {
        if (kRawPlanarForms_AVX512.run[t] != nullptr) f.run[t] = kRawPlanarForms_AVX512.run[t];
        f.columns32[t] = kRawPlanarForms_AVX512.columns32[t];
      }
    return f;
  }();
  return simdAtLeast(Simd::kSse2) ? &forms : nullptr;
}

}  // namespace rivulet
