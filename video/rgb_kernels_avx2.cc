// AVX2 form of the 16-column block split to column-major byte planes. This
// source is compiled with -mavx2 and is only entered after the CPU reported
// AVX2, so it includes nothing that other sources instantiate too: an inline
// function shared with them could be kept by the linker in its AVX2 form. The
// transpose template is instantiated here with this file's own Ops only.
#include <immintrin.h>

#include <cstdint>

#include "video/transpose16.h"

namespace rivulet {

namespace {

// Output byte j of component k of 16 BGR pixels is input byte 3j + k; the
// masks pick it from the 16-byte third it lies in (0x80 gives zero).
inline __m256i splitMask(int k, int third) {
  alignas(32) std::uint8_t m[32];
  for (int j = 0; j < 16; ++j) {
    const int s = 3 * j + k - 16 * third;
    m[j] = m[j + 16] = (s >= 0 && s < 16) ? static_cast<std::uint8_t>(s) : 0x80;
  }
  return _mm256_load_si256(reinterpret_cast<const __m256i*>(m));
}

// Two independent 16 x 16 byte transposes, one in each 128-bit lane.
struct Avx2Ops {
  using V = __m256i;
  static V lo8(V a, V b) { return _mm256_unpacklo_epi8(a, b); }
  static V hi8(V a, V b) { return _mm256_unpackhi_epi8(a, b); }
  static V lo16(V a, V b) { return _mm256_unpacklo_epi16(a, b); }
  static V hi16(V a, V b) { return _mm256_unpackhi_epi16(a, b); }
  static V lo32(V a, V b) { return _mm256_unpacklo_epi32(a, b); }
  static V hi32(V a, V b) { return _mm256_unpackhi_epi32(a, b); }
  static V lo64(V a, V b) { return _mm256_unpacklo_epi64(a, b); }
  static V hi64(V a, V b) { return _mm256_unpackhi_epi64(a, b); }
};

}  // namespace

// 32 rows by 16 pixels: lane 0 carries rows 0-15, lane 1 rows 16-31, so after
// the in-lane transposes vector c holds column c's 32 rows, stored at once.
// One component at a time keeps the working set in registers.
void splitBGRBlock32ToColumns_AVX2(const std::uint8_t* bgr, std::int64_t rowStep,
                                   std::uint8_t* red, std::uint8_t* green, std::uint8_t* blue,
                                   std::int64_t h) {
  std::uint8_t* const planes[3] = {blue, green, red};
  for (int k = 0; k < 3; ++k) {
    const __m256i m0 = splitMask(k, 0), m1 = splitMask(k, 1), m2 = splitMask(k, 2);
    __m256i x[16];
    for (int i = 0; i < 16; ++i) {
      const std::uint8_t* p0 = bgr + i * rowStep;
      const std::uint8_t* p1 = bgr + (i + 16) * rowStep;
      __m256i a[3];
      for (int v = 0; v < 3; ++v)
        a[v] = _mm256_inserti128_si256(
            _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p0 + 16 * v))),
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(p1 + 16 * v)), 1);
      x[i] = _mm256_or_si256(_mm256_or_si256(_mm256_shuffle_epi8(a[0], m0), _mm256_shuffle_epi8(a[1], m1)),
                             _mm256_shuffle_epi8(a[2], m2));
    }
    transpose16<Avx2Ops>(x);
    for (int c = 0; c < 16; ++c)
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(planes[k] + c * h), x[c]);
  }
}

}  // namespace rivulet
