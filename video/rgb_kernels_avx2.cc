// AVX2 form of the 16-column block split to column-major byte planes. This
// source is compiled with -mavx2 and is only entered after the CPU reported
// AVX2, so it includes nothing but the intrinsics: no inline function of a
// shared header may be instantiated here with AVX2 instructions in it.
#include <immintrin.h>

#include <cstdint>

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
inline void transpose16x2(__m256i x[16]) {
  __m256i t[16];
  for (int i = 0; i < 8; ++i) {
    t[i] = _mm256_unpacklo_epi8(x[2 * i], x[2 * i + 1]);
    t[i + 8] = _mm256_unpackhi_epi8(x[2 * i], x[2 * i + 1]);
  }
  for (int i = 0; i < 4; ++i) {
    x[i] = _mm256_unpacklo_epi16(t[2 * i], t[2 * i + 1]);
    x[i + 4] = _mm256_unpackhi_epi16(t[2 * i], t[2 * i + 1]);
    x[i + 8] = _mm256_unpacklo_epi16(t[8 + 2 * i], t[8 + 2 * i + 1]);
    x[i + 12] = _mm256_unpackhi_epi16(t[8 + 2 * i], t[8 + 2 * i + 1]);
  }
  for (int i = 0; i < 8; ++i) {
    const int base = (i / 2) * 4 + 2 * (i % 2);
    t[2 * i] = _mm256_unpacklo_epi32(x[base], x[base + 1]);
    t[2 * i + 1] = _mm256_unpackhi_epi32(x[base], x[base + 1]);
  }
  for (int i = 0; i < 8; ++i) {
    const __m256i top = t[(i / 2) * 4 + i % 2];
    const __m256i bottom = t[(i / 2) * 4 + i % 2 + 2];
    x[2 * i] = _mm256_unpacklo_epi64(top, bottom);
    x[2 * i + 1] = _mm256_unpackhi_epi64(top, bottom);
  }
}

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
    transpose16x2(x);
    for (int c = 0; c < 16; ++c)
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(planes[k] + c * h), x[c]);
  }
}

}  // namespace rivulet
