// AVX2 forms of the video layers: the BGR split, 32 pixels a step (a group
// of 16 per 128-bit lane), and widening through a table by gathers.
#include <immintrin.h>

#include "video/kernels.h"
#include "video/simd_blocks.h"

namespace rivulet {
namespace {

struct SplitOps256 {
  using V = __m256i;
  static constexpr int kGroups = 2;
  static V load(const std::uint8_t* p, int v) {
    const auto lo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * v));
    const auto hi = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 48 + 16 * v));
    return _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1);
  }
  static V mask(const std::uint8_t* m) {
    return _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(m)));
  }
  static V shuffle(V a, V m) { return _mm256_shuffle_epi8(a, m); }
  static V orv(V a, V b) { return _mm256_or_si256(a, b); }
  static void store(std::uint8_t* p, V x) { _mm256_storeu_si256(reinterpret_cast<V*>(p), x); }
};

int splitBGR(const std::uint8_t* bgr, std::uint8_t* red, std::uint8_t* green, std::uint8_t* blue, int n) {
  const int c = splitBGRGroups<SplitOps256>(bgr, red, green, blue, n);
  return c + splitBGRGroups<SplitOps128>(bgr + 3 * c, red + c, green + c, blue + c, n - c);
}

int load32(const std::uint8_t* p) {
  int v;
  __builtin_memcpy(&v, p, sizeof v);
  return v;
}

struct Gather8 {
  static constexpr int kLanes = 4, kBytes = 8;
  static __m256i gather(const std::uint8_t* src, const void* table) {
    const __m256i index = _mm256_cvtepu8_epi64(_mm_cvtsi32_si128(load32(src)));
    return _mm256_i64gather_epi64(static_cast<const long long*>(table), index, 8);
  }
  static void store(std::uint8_t* p, __m256i x) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), x); }
  static void stream(std::uint8_t* p, __m256i x) { _mm256_stream_si256(reinterpret_cast<__m256i*>(p), x); }
  static void fence() { _mm_sfence(); }
};

struct Gather4 {
  static constexpr int kLanes = 8, kBytes = 4;
  static __m256i gather(const std::uint8_t* src, const void* table) {
    const __m256i index = _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(src)));
    return _mm256_i32gather_epi32(static_cast<const int*>(table), index, 4);
  }
  static void store(std::uint8_t* p, __m256i x) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), x); }
  static void stream(std::uint8_t* p, __m256i x) { _mm256_stream_si256(reinterpret_cast<__m256i*>(p), x); }
  static void fence() { _mm_sfence(); }
};

std::int64_t widen8(const std::uint8_t* src, void* dst, std::int64_t n, const void* table, bool stream) {
  return widenByGather<Gather8>(src, dst, n, table, stream);
}
std::int64_t widen4(const std::uint8_t* src, void* dst, std::int64_t n, const void* table, bool stream) {
  return widenByGather<Gather4>(src, dst, n, table, stream);
}

}  // namespace

extern const VideoForms kVideoFormsAvx2;
constinit const VideoForms kVideoFormsAvx2 = [] {
  VideoForms f{};
  f.splitBGR = &splitBGR;
  f.widen8 = &widen8;
  f.widen4 = &widen4;
  return f;
}();

}  // namespace rivulet
