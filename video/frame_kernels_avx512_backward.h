// The backward transform's AVX-512 forms (frame_kernels_simd.h: yuy2ToRGB,
// ycbcrToBGR), shared by frame_kernels_avx512.cc and its VNNI variant
// frame_kernels_avx512vnni.cc. Each source compiles its own copy: the two are
// built for different instruction sets, so nothing here may have external
// linkage (an inline function the linker merged could run the wider form on a
// CPU without it).
//
// Pair by pair in 32-bit lanes: a lane holds the words (Y0, Y1) of a
// macro-pixel in one vector and (Cb, Cr) in another. The transform of the
// left pixel is then one multiply-add of the luma words with (gain, 0), that
// of the right pixel one with (0, gain), and each component adds its chroma
// part, one multiply-add per pair shared by both pixels. The offsets and the
// rounding term fold into one constant per component:
//   (Y - 16) g + (Cb - 128) u + (Cr - 128) v + 8192 = Y g + Cb u + Cr v + K,
// the same 32-bit integer as the rule's, so its >> 14 is the rule's value.
// The blue row is halved (33050 does not fit a word) and its product doubled
// (with VNNI: the halved product added twice by the dot product that also
// adds K).
#ifndef RIVULET_VIDEO_FRAME_KERNELS_AVX512_BACKWARD_H
#define RIVULET_VIDEO_FRAME_KERNELS_AVX512_BACKWARD_H

#include <immintrin.h>

#include <cstdint>

#include "video/frame_kernels_simd.h"
#include "video/ycbcr_rules.h"

namespace rivulet {
namespace {
namespace backward512 {

// Byte positions after the packs of Backward::run: pair 16h + 4j + i, left
// (s 0) or right (s 1), is at byte 16j + 8h + 4s + i.
constexpr int packedAt(int pixel) {
  const int p = pixel / 2, s = pixel % 2, h = p / 16, j = p % 16 / 4, i = p % 4;
  return 16 * j + 8 * h + 4 * s + i;
}

// Permute indices on the packed order: to pixel order; to the three 64-byte
// thirds of 64 BGR pixels (blue from the first source, green from the
// second, red by a masked permute where byte % 3 == 2); and (Cb k, Cr k)
// pairs from 32 Cb (first source) and 32 Cr bytes.
struct Indices {
  alignas(64) std::uint8_t order[64];
  alignas(64) std::uint8_t bg[3][64];
  alignas(64) std::uint8_t r[3][64];
  alignas(64) std::uint8_t chromaPairs[64];
  __mmask64 red[3];
  constexpr Indices() : order{}, bg{}, r{}, chromaPairs{}, red{} {
    for (int i = 0; i < 64; ++i) {
      order[i] = static_cast<std::uint8_t>(packedAt(i));
      chromaPairs[i] = static_cast<std::uint8_t>(i % 2 == 0 ? i / 2 : 64 + i / 2);
      for (int v = 0; v < 3; ++v) {
        const int t = 64 * v + i, p = t / 3, c = t % 3;
        bg[v][i] = static_cast<std::uint8_t>(c == 0 ? packedAt(p) : c == 1 ? 64 + packedAt(p) : 0);
        r[v][i] = static_cast<std::uint8_t>(packedAt(p));
        if (c == 2) red[v] |= __mmask64{1} << i;
      }
    }
  }
};
constexpr Indices kIndices;

inline __m512i table(const std::uint8_t (&m)[64]) { return _mm512_load_si512(m); }

inline __m512i wordPair(int lo, int hi) {
  return _mm512_set1_epi32(static_cast<int>((static_cast<unsigned>(hi) << 16) |
                                            (static_cast<unsigned>(lo) & 0xFFFF)));
}

template <bool Vnni>
struct Backward {
  __m512i left, right, coef[3], k[3];
  explicit Backward(const YCbCrMatrices& m) {
    const int* c = m.bwd;
    left = wordPair(c[0], 0);
    right = wordPair(0, c[0]);
    coef[0] = wordPair(c[1], c[2]);
    coef[1] = wordPair(c[4], c[5]);
    coef[2] = wordPair(c[7] / 2, c[8] / 2);
    for (int i = 0; i < 3; ++i)
      k[i] = _mm512_set1_epi32(8192 - m.off[0] * c[3 * i] - m.off[1] * c[3 * i + 1] -
                               m.off[2] * c[3 * i + 2]);
  }
  // Component i (0 R, 1 G, 2 B) of 16 pairs, from the luma products of their
  // left and right pixels and their (Cb, Cr) words, as signed words: per
  // 128-bit lane the left pixels of four pairs, then the right pixels.
  __m512i component(int i, __m512i lumaLeft, __m512i lumaRight, __m512i uv) const {
    __m512i c;
    if constexpr (Vnni) {
      c = _mm512_dpwssd_epi32(k[i], uv, coef[i]);
      if (i == 2) c = _mm512_dpwssd_epi32(c, uv, coef[i]);
    } else {
      c = _mm512_madd_epi16(uv, coef[i]);
      if (i == 2) c = _mm512_slli_epi32(c, 1);
      c = _mm512_add_epi32(c, k[i]);
    }
    return _mm512_packs_epi32(_mm512_srai_epi32(_mm512_add_epi32(lumaLeft, c), 14),
                              _mm512_srai_epi32(_mm512_add_epi32(lumaRight, c), 14));
  }
  // 32 pairs as two halves of (Y0, Y1) and (Cb, Cr) words: blue, green and
  // red of their 64 pixels clamped to bytes, in the order of packedAt.
  void run(const __m512i (&yy)[2], const __m512i (&uv)[2], __m512i (&bgr)[3]) const {
    __m512i l[2], r[2];
    for (int h = 0; h < 2; ++h)
      l[h] = _mm512_madd_epi16(yy[h], left), r[h] = _mm512_madd_epi16(yy[h], right);
    for (int i = 0; i < 3; ++i)
      bgr[2 - i] = _mm512_packus_epi16(component(i, l[0], r[0], uv[0]),
                                       component(i, l[1], r[1], uv[1]));
  }
};

template <bool Vnni>
int yuy2ToRGB(const std::uint8_t* f, std::uint8_t* red, std::uint8_t* green, std::uint8_t* blue,
              int pairs, const YCbCrMatrices& m) {
  if (!backwardFitsMultiplyAdd(m)) return 0;
  const Backward<Vnni> t(m);
  const __m512i low = _mm512_set1_epi16(0x00FF);
  const __m512i order = table(kIndices.order);
  int k = 0;
  for (; k + 32 <= pairs; k += 32) {
    __m512i yy[2], uv[2], c[3];
    for (int h = 0; h < 2; ++h) {
      const __m512i v = _mm512_loadu_si512(f + 4 * k + 64 * h);
      yy[h] = _mm512_and_si512(v, low);
      uv[h] = _mm512_srli_epi16(v, 8);
    }
    t.run(yy, uv, c);
    _mm512_storeu_si512(red + 2 * k, _mm512_permutexvar_epi8(order, c[2]));
    _mm512_storeu_si512(green + 2 * k, _mm512_permutexvar_epi8(order, c[1]));
    _mm512_storeu_si512(blue + 2 * k, _mm512_permutexvar_epi8(order, c[0]));
  }
  return k;
}

template <bool Vnni>
int ycbcrToBGR(const std::uint8_t* y, const std::uint8_t* cb, const std::uint8_t* cr,
               std::uint8_t* out, int pairs, const YCbCrMatrices& m) {
  if (!backwardFitsMultiplyAdd(m)) return 0;
  const Backward<Vnni> t(m);
  int k = 0;
  for (; k + 32 <= pairs; k += 32) {
    const __m512i l = _mm512_loadu_si512(y + 2 * k);
    const __m512i uv = _mm512_permutex2var_epi8(
        _mm512_castsi256_si512(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(cb + k))),
        table(kIndices.chromaPairs),
        _mm512_castsi256_si512(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(cr + k))));
    const __m512i yy[2] = {_mm512_cvtepu8_epi16(_mm512_castsi512_si256(l)),
                           _mm512_cvtepu8_epi16(_mm512_extracti64x4_epi64(l, 1))};
    const __m512i cc[2] = {_mm512_cvtepu8_epi16(_mm512_castsi512_si256(uv)),
                           _mm512_cvtepu8_epi16(_mm512_extracti64x4_epi64(uv, 1))};
    __m512i c[3];
    t.run(yy, cc, c);
    for (int v = 0; v < 3; ++v) {
      const __m512i o = _mm512_permutex2var_epi8(c[0], table(kIndices.bg[v]), c[1]);
      _mm512_storeu_si512(out + 6 * k + 64 * v,
                          _mm512_mask_permutexvar_epi8(o, kIndices.red[v], table(kIndices.r[v]), c[2]));
    }
  }
  return k;
}

}  // namespace backward512
}  // namespace
}  // namespace rivulet

#endif
