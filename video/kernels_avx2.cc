// AVX2 forms of the video layers: the BGR split, 32 pixels a step (a group
// of 16 per 128-bit lane).
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

}  // namespace

extern const VideoForms kVideoFormsAvx2;
constinit const VideoForms kVideoFormsAvx2 = [] {
  VideoForms f{};
  f.splitBGR = &splitBGR;
  return f;
}();

}  // namespace rivulet
