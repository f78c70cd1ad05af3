// AVX2 block transposes of 2- and 4-byte elements: two blocks of rows a
// vector, so each column is stored 32 bytes at a time; the last block of
// eight rows, if any, by the 128-bit form. This source alone is compiled for
// AVX2 and is reached only through the CPU detection.
#include <immintrin.h>

#include "video/transpose.h"
#include "video/transpose_blocks.h"

namespace rivulet {
namespace {

struct Ops128 {
  using V = __m128i;
  static constexpr int kLanes = 1;
  static V load(const void* p, std::int64_t) { return _mm_loadu_si128(static_cast<const V*>(p)); }
  static void store(void* p, V x) { _mm_storeu_si128(static_cast<V*>(p), x); }
  static V lo16(V a, V b) { return _mm_unpacklo_epi16(a, b); }
  static V hi16(V a, V b) { return _mm_unpackhi_epi16(a, b); }
  static V lo32(V a, V b) { return _mm_unpacklo_epi32(a, b); }
  static V hi32(V a, V b) { return _mm_unpackhi_epi32(a, b); }
  static V lo64(V a, V b) { return _mm_unpacklo_epi64(a, b); }
  static V hi64(V a, V b) { return _mm_unpackhi_epi64(a, b); }
};

struct Ops256 {
  using V = __m256i;
  static constexpr int kLanes = 2;
  static V load(const void* p, std::int64_t laneStep) {
    const auto* b = static_cast<const std::uint8_t*>(p);
    return _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(b + laneStep), reinterpret_cast<const __m128i*>(b));
  }
  static void store(void* p, V x) { _mm256_storeu_si256(static_cast<V*>(p), x); }
  static V lo16(V a, V b) { return _mm256_unpacklo_epi16(a, b); }
  static V hi16(V a, V b) { return _mm256_unpackhi_epi16(a, b); }
  static V lo32(V a, V b) { return _mm256_unpacklo_epi32(a, b); }
  static V hi32(V a, V b) { return _mm256_unpackhi_epi32(a, b); }
  static V lo64(V a, V b) { return _mm256_unpacklo_epi64(a, b); }
  static V hi64(V a, V b) { return _mm256_unpackhi_epi64(a, b); }
};

template <typename T>
void blocks(const void* src, std::int64_t srcStride, void* dst, std::int64_t dstStride, int rows, int cols) {
  const T* s = static_cast<const T*>(src);
  T* d = static_cast<T*>(dst);
  rows &= ~7;
  cols &= ~7;
  const int r = transposeBlocks<Ops256>(s, srcStride, d, dstStride, rows, cols);
  transposeBlocks<Ops128>(s + r * srcStride, srcStride, d + r, dstStride, rows - r, cols);
}

}  // namespace

extern const TransposeForms kTransposeForms_AVX2;
const TransposeForms kTransposeForms_AVX2 = {&blocks<std::uint16_t>, &blocks<std::uint32_t>};

}  // namespace rivulet
