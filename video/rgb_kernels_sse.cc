// x86-64 fast forms of the byte kernels declared in rgb_kernels.h. SSE2 is the
// baseline; the SSSE3 and AVX2 forms carry their own target attribute and are
// picked once, when the library is loaded, from what the CPU reports.
#include <immintrin.h>

#include "video/rgb_kernels.h"
#include "video/transpose16.h"

namespace rivulet {
namespace {

// pshufb masks that gather component k (0 blue, 1 green, 2 red) of 16 BGR
// pixels from the three 16-byte thirds of their 48 bytes: output byte j is
// input byte 3j + k, taken from the third it falls in; 0x80 makes a zero.
struct SplitMasks {
  alignas(16) std::uint8_t m[3][3][16];  // [component][third][byte]
  constexpr SplitMasks() : m{} {
    for (int k = 0; k < 3; ++k)
      for (int v = 0; v < 3; ++v)
        for (int j = 0; j < 16; ++j) {
          const int s = 3 * j + k - 16 * v;
          m[k][v][j] = (s >= 0 && s < 16) ? static_cast<std::uint8_t>(s) : 0x80;
        }
  }
};
constexpr SplitMasks kSplit;

struct Masks128 {
  __m128i m[3][3];
};
struct Masks256 {
  __m256i m[3][3];
};

[[gnu::target("ssse3")]] inline void split16(const std::uint8_t* p, const Masks128& k,
                                              __m128i& b, __m128i& g, __m128i& r) {
  const __m128i a0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  const __m128i a1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16));
  const __m128i a2 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 32));
  __m128i out[3];
  for (int c = 0; c < 3; ++c)
    out[c] = _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(a0, k.m[c][0]), _mm_shuffle_epi8(a1, k.m[c][1])),
                          _mm_shuffle_epi8(a2, k.m[c][2]));
  b = out[0];
  g = out[1];
  r = out[2];
}

[[gnu::target("ssse3")]] Masks128 loadMasks128() {
  Masks128 k;
  for (int c = 0; c < 3; ++c)
    for (int v = 0; v < 3; ++v)
      k.m[c][v] = _mm_load_si128(reinterpret_cast<const __m128i*>(kSplit.m[c][v]));
  return k;
}

[[gnu::target("ssse3")]] int splitRow_SSSE3(const std::uint8_t* bgr, std::uint8_t* red,
                                            std::uint8_t* green, std::uint8_t* blue, int w) {
  const Masks128 k = loadMasks128();
  int c = 0;
  for (; c + 16 <= w; c += 16) {
    __m128i b, g, r;
    split16(bgr + 3 * c, k, b, g, r);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(blue + c), b);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(green + c), g);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(red + c), r);
  }
  return c;
}

// 32 pixels at a time: each 128-bit lane holds one group of 16 pixels, so the
// in-lane byte shuffle uses the same masks in both lanes.
[[gnu::target("avx2")]] int splitRow_AVX2(const std::uint8_t* bgr, std::uint8_t* red,
                                          std::uint8_t* green, std::uint8_t* blue, int w) {
  Masks256 k;
  for (int c = 0; c < 3; ++c)
    for (int v = 0; v < 3; ++v)
      k.m[c][v] = _mm256_broadcastsi128_si256(
          _mm_load_si128(reinterpret_cast<const __m128i*>(kSplit.m[c][v])));
  int c = 0;
  for (; c + 32 <= w; c += 32) {
    const std::uint8_t* p = bgr + 3 * c;
    __m256i a[3];
    for (int v = 0; v < 3; ++v)
      a[v] = _mm256_inserti128_si256(
          _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * v))),
          _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 48 + 16 * v)), 1);
    std::uint8_t* dst[3] = {blue, green, red};
    for (int ch = 0; ch < 3; ++ch) {
      const __m256i o = _mm256_or_si256(
          _mm256_or_si256(_mm256_shuffle_epi8(a[0], k.m[ch][0]), _mm256_shuffle_epi8(a[1], k.m[ch][1])),
          _mm256_shuffle_epi8(a[2], k.m[ch][2]));
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst[ch] + c), o);
    }
  }
  return c + splitRow_SSSE3(bgr + 3 * c, red + c, green + c, blue + c, w - c);
}

int splitRow_None(const std::uint8_t*, std::uint8_t*, std::uint8_t*, std::uint8_t*, int) {
  return 0;
}

struct Sse2Ops {
  using V = __m128i;
  static V lo8(V a, V b) { return _mm_unpacklo_epi8(a, b); }
  static V hi8(V a, V b) { return _mm_unpackhi_epi8(a, b); }
  static V lo16(V a, V b) { return _mm_unpacklo_epi16(a, b); }
  static V hi16(V a, V b) { return _mm_unpackhi_epi16(a, b); }
  static V lo32(V a, V b) { return _mm_unpacklo_epi32(a, b); }
  static V hi32(V a, V b) { return _mm_unpackhi_epi32(a, b); }
  static V lo64(V a, V b) { return _mm_unpacklo_epi64(a, b); }
  static V hi64(V a, V b) { return _mm_unpackhi_epi64(a, b); }
};

}  // namespace

using SplitRowFn = int (*)(const std::uint8_t*, std::uint8_t*, std::uint8_t*, std::uint8_t*, int);

static SplitRowFn pickSplitRow() {
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx2")) return &splitRow_AVX2;
  if (__builtin_cpu_supports("ssse3")) return &splitRow_SSSE3;
  return &splitRow_None;
}
static const SplitRowFn kSplitRow = pickSplitRow();
static const bool kHaveSSSE3 = (__builtin_cpu_init(), __builtin_cpu_supports("ssse3"));

int splitBGRRowBytes_SIMD(const std::uint8_t* bgr, std::uint8_t* red, std::uint8_t* green,
                          std::uint8_t* blue, int w) {
  return kSplitRow(bgr, red, green, blue, w);
}

bool haveBlockSplit() { return kHaveSSSE3; }

[[gnu::target("ssse3")]] void splitBGRBlockToColumns_SIMD(const std::uint8_t* bgr,
                                                          std::int64_t rowStep, std::uint8_t* red,
                                                          std::uint8_t* green, std::uint8_t* blue,
                                                          std::int64_t h) {
  const Masks128 k = loadMasks128();
  __m128i b[16], g[16], r[16];
  for (int i = 0; i < 16; ++i) split16(bgr + i * rowStep, k, b[i], g[i], r[i]);
  transpose16<Sse2Ops>(b);
  transpose16<Sse2Ops>(g);
  transpose16<Sse2Ops>(r);
  for (int c = 0; c < 16; ++c) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(blue + c * h), b[c]);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(green + c * h), g[c]);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(red + c * h), r[c]);
  }
}

void streamLine(void* dst, const void* src) {
  const __m128i* s = static_cast<const __m128i*>(src);
  __m128i* d = static_cast<__m128i*>(dst);
  _mm_stream_si128(d, _mm_load_si128(s));
  _mm_stream_si128(d + 1, _mm_load_si128(s + 1));
  _mm_stream_si128(d + 2, _mm_load_si128(s + 2));
  _mm_stream_si128(d + 3, _mm_load_si128(s + 3));
}

void streamFence() { _mm_sfence(); }

void transposeBlock16_SIMD(const std::uint8_t* src, std::int64_t srcStride, std::uint8_t* dst,
                           std::int64_t dstStride) {
  __m128i x[16];
  for (int i = 0; i < 16; ++i) x[i] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i * srcStride));
  transpose16<Sse2Ops>(x);
  for (int c = 0; c < 16; ++c) _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + c * dstStride), x[c]);
}

}  // namespace rivulet
