// Vector blocks of the video fast forms, written once for any vector width.
// Ops supplies a vector type V and its operations; each SIMD source
// instantiates these with its own Ops, declared in an unnamed namespace, so
// every instantiation is private to the source compiled for its set.
#ifndef RIVULET_VIDEO_SIMD_BLOCKS_H
#define RIVULET_VIDEO_SIMD_BLOCKS_H

#include <immintrin.h>

#include <cstdint>


namespace rivulet {

// The in-lane interleaves that the blocks below and the transpose blocks are
// written with, one struct per vector width. In an unnamed namespace, so each
// source compiles its own copy with its own flags.
namespace {
#define RIVULET_UNPACKS(V_, P_)                                             \
  using V = V_;                                                            \
  static V lo8(V a, V b) { return P_##_unpacklo_epi8(a, b); }             \
  static V hi8(V a, V b) { return P_##_unpackhi_epi8(a, b); }             \
  static V lo16(V a, V b) { return P_##_unpacklo_epi16(a, b); }           \
  static V hi16(V a, V b) { return P_##_unpackhi_epi16(a, b); }           \
  static V lo32(V a, V b) { return P_##_unpacklo_epi32(a, b); }           \
  static V hi32(V a, V b) { return P_##_unpackhi_epi32(a, b); }           \
  static V lo64(V a, V b) { return P_##_unpacklo_epi64(a, b); }           \
  static V hi64(V a, V b) { return P_##_unpackhi_epi64(a, b); }
struct Unpacks128 {
  RIVULET_UNPACKS(__m128i, _mm)
};
#ifdef __AVX2__
struct Unpacks256 {
  RIVULET_UNPACKS(__m256i, _mm256)
};
#endif
#ifdef __AVX512BW__
struct Unpacks512 {
  RIVULET_UNPACKS(__m512i, _mm512)
};
#endif
#undef RIVULET_UNPACKS
}  // namespace

// ---- 16 x 16 byte transpose, one per 128-bit lane ------------------------------------------

// Ops::lo8 .. hi64 interleave within 128-bit lanes.
template <typename Ops>
inline void transpose16(typename Ops::V x[16]) {
  typename Ops::V t[16];
  // Rows 2i and 2i + 1 interleaved byte by byte: columns 0-7 and 8-15.
  for (int i = 0; i < 8; ++i) {
    t[i] = Ops::lo8(x[2 * i], x[2 * i + 1]);
    t[i + 8] = Ops::hi8(x[2 * i], x[2 * i + 1]);
  }
  // Pairs of those: 4 rows by 4 columns per vector.
  for (int i = 0; i < 4; ++i) {
    x[i] = Ops::lo16(t[2 * i], t[2 * i + 1]);
    x[i + 4] = Ops::hi16(t[2 * i], t[2 * i + 1]);
    x[i + 8] = Ops::lo16(t[8 + 2 * i], t[8 + 2 * i + 1]);
    x[i + 12] = Ops::hi16(t[8 + 2 * i], t[8 + 2 * i + 1]);
  }
  // 8 rows by 2 columns per vector.
  for (int i = 0; i < 8; ++i) {
    const int base = (i / 2) * 4 + 2 * (i % 2);
    t[2 * i] = Ops::lo32(x[base], x[base + 1]);
    t[2 * i + 1] = Ops::hi32(x[base], x[base + 1]);
  }
  // t[4q + p], for column quad q (columns 4q to 4q + 3): p = 0 and 1 hold
  // columns 4q, 4q + 1 and 4q + 2, 4q + 3 of rows 0-7; p = 2 and 3 the same
  // columns of rows 8-15. The last round joins the two row halves.
  for (int i = 0; i < 8; ++i) {
    const typename Ops::V top = t[(i / 2) * 4 + i % 2];
    const typename Ops::V bottom = t[(i / 2) * 4 + i % 2 + 2];
    x[2 * i] = Ops::lo64(top, bottom);
    x[2 * i + 1] = Ops::hi64(top, bottom);
  }
}

// ---- BGR split by in-lane byte shuffles -------------------------------------------------

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
inline constexpr SplitMasks kSplitMasks;

// Each 128-bit lane of a vector holds one group of 16 pixels: Ops::kGroups
// groups a step. Ops::load(p, v) loads third v of each group (group g at
// p + 48 g), Ops::mask(m) broadcasts a 16-byte mask to every lane.
template <typename Ops>
inline int splitBGRGroups(const std::uint8_t* bgr, std::uint8_t* red, std::uint8_t* green,
                          std::uint8_t* blue, int n) {
  using V = typename Ops::V;
  constexpr int kPixels = 16 * Ops::kGroups;
  if (n < kPixels) return 0;
  V m[3][3];
  for (int k = 0; k < 3; ++k)
    for (int v = 0; v < 3; ++v) m[k][v] = Ops::mask(kSplitMasks.m[k][v]);
  std::uint8_t* const out[3] = {blue, green, red};
  int c = 0;
  for (; c + kPixels <= n; c += kPixels) {
    const V a0 = Ops::load(bgr + 3 * c, 0), a1 = Ops::load(bgr + 3 * c, 1), a2 = Ops::load(bgr + 3 * c, 2);
    for (int k = 0; k < 3; ++k)
      Ops::store(out[k] + c, Ops::orv(Ops::orv(Ops::shuffle(a0, m[k][0]), Ops::shuffle(a1, m[k][1])),
                                      Ops::shuffle(a2, m[k][2])));
  }
  return c;
}

#ifdef __SSSE3__
// One group a step: the SSSE3 form, and the tail of the wider ones. In an
// unnamed namespace, so each source compiles its own copy with its own flags.
namespace {
struct SplitOps128 {
  using V = __m128i;
  static constexpr int kGroups = 1;
  static V load(const std::uint8_t* p, int v) { return _mm_loadu_si128(reinterpret_cast<const V*>(p + 16 * v)); }
  static V mask(const std::uint8_t* m) { return _mm_load_si128(reinterpret_cast<const V*>(m)); }
  static V shuffle(V a, V m) { return _mm_shuffle_epi8(a, m); }
  static V orv(V a, V b) { return _mm_or_si128(a, b); }
  static void store(std::uint8_t* p, V x) { _mm_storeu_si128(reinterpret_cast<V*>(p), x); }
};
}  // namespace
#endif

}  // namespace rivulet

#endif
