// AVX-512 form of the intensity rules, eight pixels a vector of doubles; this source
// alone is compiled for AVX-512 (with VBMI) and is reached only through the
// CPU detection.
#include <immintrin.h>

#include <cstring>
#include <utility>

#include "video/intensity_simd.h"

// GCC 12 reports the undefined pass-through operand inside its own AVX-512
// headers (_mm512_undefined_pd) as maybe uninitialised.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"

namespace rivulet {
namespace {

struct Avx512Ops {
  using V = __m512d;
  using I = __m256i;  // eight int32 lanes
  static constexpr int kLanes = 8;
  static constexpr int kBGRLoadBytes = 24;  // a masked load of exactly the pixels' bytes

  static V set1(double x) { return _mm512_set1_pd(x); }
  static V add(V a, V b) { return _mm512_add_pd(a, b); }
  static V sub(V a, V b) { return _mm512_sub_pd(a, b); }
  static V mul(V a, V b) { return _mm512_mul_pd(a, b); }
  static I trunc(V a) { return _mm512_cvttpd_epi32(a); }
  static V widen(__m128i bytes) { return _mm512_cvtepi32_pd(_mm256_cvtepu8_epi32(bytes)); }

  static V loadBytes(const std::uint8_t* p) { return widen(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))); }
  // Eight BGR pixels: one byte permute puts the reds in bytes 0-7, the greens
  // in 8-15 and the blues in 16-23.
  static void loadBGR(const std::uint8_t* p, V& r, V& g, V& b) {
    const __m256i x = _mm256_maskz_loadu_epi8(0xFFFFFF, p);
    const __m256i idx = _mm256_setr_epi8(2, 5, 8, 11, 14, 17, 20, 23, 1, 4, 7, 10, 13, 16, 19, 22,
                                         0, 3, 6, 9, 12, 15, 18, 21, 0, 0, 0, 0, 0, 0, 0, 0);
    const __m256i pick = _mm256_permutexvar_epi8(idx, x);
    const __m128i lo = _mm256_castsi256_si128(pick);
    r = widen(lo);
    g = widen(_mm_srli_si128(lo, 8));
    b = widen(_mm256_extracti128_si256(pick, 1));
  }

  static I replicate16(I b) { return _mm256_or_si256(_mm256_slli_epi32(b, 8), b); }
  static I replicate32(I b) { return _mm256_mullo_epi32(b, _mm256_set1_epi32(0x01010101)); }
  static void storeDouble(void* p, V v) { _mm512_storeu_pd(p, v); }
  static void streamDouble(double* p, V v) { _mm512_stream_pd(p, v); }
  static void storeFloat(void* p, V v) { _mm256_storeu_ps(static_cast<float*>(p), _mm512_cvtpd_ps(v)); }
  static void storeInts(void* p, I x) { _mm256_storeu_si256(static_cast<__m256i*>(p), x); }
  // The values fit the narrower type, so truncating each lane is exact.
  static void storeShorts(void* p, I x) { _mm_storeu_si128(static_cast<__m128i*>(p), _mm256_cvtepi32_epi16(x)); }
  static void storeBytes(void* p, I x) { _mm_storel_epi64(static_cast<__m128i*>(p), _mm256_cvtepi32_epi8(x)); }
};

// VIDEO_UINT8 sixteen pixels at a time in integers: the rule's byte,
// trunc(v * 255 + 0.5), is (R a + G b + B c + 2^21) >> 22 with the weights
// below. They are the luma weights scaled by 2^22 and rounded, give or take
// one unit: over all 2^24 RGB triples, the fixed-point sum falls in the same
// integer as the double one (the nearest rounding boundary is never closer
// than about 4.5e-6 to the double sum), which the exhaustive test over every
// triple holds to the plain rule. White sums to less than 256 * 2^22, so no
// clamp is needed, and every sum fits a signed 32-bit lane.
inline __m512i intensityBytes(__m512i r, __m512i g, __m512i b) {
  const __m512i sum = _mm512_add_epi32(
      _mm512_add_epi32(_mm512_mullo_epi32(r, _mm512_set1_epi32(1253829)), _mm512_mullo_epi32(g, _mm512_set1_epi32(2462237))),
      _mm512_add_epi32(_mm512_mullo_epi32(b, _mm512_set1_epi32(478238)), _mm512_set1_epi32(1 << 21)));
  return _mm512_srli_epi32(sum, 22);
}

// Sixteen BGR pixels (a masked load of exactly their 48 bytes) as three
// vectors of 32-bit lanes, one component each: a byte permute puts component
// k of pixel i in the low byte of lane i and zeroes the other three bytes.
struct BGR16Order {
  alignas(64) std::uint8_t o[3][64];  // red, green, blue
  constexpr BGR16Order() : o{} {
    for (int k = 0; k < 3; ++k)
      for (int i = 0; i < 16; ++i) o[k][4 * i] = static_cast<std::uint8_t>(3 * i + 2 - k);
  }
};
constexpr BGR16Order kBGR16Order;

struct BGR16 {
  __m512i order[3];
  BGR16() {
    for (int k = 0; k < 3; ++k) order[k] = _mm512_load_si512(kBGR16Order.o[k]);
  }
  void load(const std::uint8_t* p, __m512i c[3]) const {
    const __m512i x = _mm512_maskz_loadu_epi8(0xFFFFFFFFFFFFull, p);
    for (int k = 0; k < 3; ++k) c[k] = _mm512_maskz_permutexvar_epi8(0x1111111111111111ull, order[k], x);
  }
};

// Four vectors of sixteen byte values in 32-bit lanes to 64 bytes in order:
// the packs interleave them by 128-bit lane (lane k holds four values of
// each in turn), and a dword permute puts each vector's sixteen together.
inline __m512i packBytes(__m512i y0, __m512i y1, __m512i y2, __m512i y3) {
  const __m512i b = _mm512_packus_epi16(_mm512_packus_epi32(y0, y1), _mm512_packus_epi32(y2, y3));
  // Dword 4k + j of b holds values 4k..4k+3 of vector j.
  const __m512i order = _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
  return _mm512_permutexvar_epi32(order, b);
}

std::int64_t intensityBGRBytes(const std::uint8_t* bgr, void* dst, std::int64_t n) {
  std::uint8_t* out = static_cast<std::uint8_t*>(dst);
  const BGR16 split;
  std::int64_t i = 0;
  for (; i + 64 <= n; i += 64) {
    __m512i y[4];
    for (int q = 0; q < 4; ++q) {
      __m512i c[3];
      split.load(bgr + 3 * (i + 16 * q), c);
      y[q] = intensityBytes(c[0], c[1], c[2]);
    }
    _mm512_storeu_si512(out + i, packBytes(y[0], y[1], y[2], y[3]));
  }
  for (; i + 16 <= n; i += 16) {
    __m512i c[3];
    split.load(bgr + 3 * i, c);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm512_cvtepi32_epi8(intensityBytes(c[0], c[1], c[2])));
  }
  return i;
}

std::int64_t intensityPlanesBytes(const std::uint8_t* r, const std::uint8_t* g, const std::uint8_t* b,
                                  void* dst, std::int64_t n) {
  std::uint8_t* out = static_cast<std::uint8_t*>(dst);
  std::int64_t i = 0;
  const auto load = [](const std::uint8_t* p) {
    return _mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
  };
  for (; i + 16 <= n; i += 16)
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i),
                     _mm512_cvtepi32_epi8(intensityBytes(load(r + i), load(g + i), load(b + i))));
  return i;
}

// Sixty-four luma bytes (every other byte of 128) through a 256-entry byte
// table: two 128-entry byte permutes, picked by the index's top bit.
std::int64_t lumaBytes(const std::uint8_t* yuy2, void* dst, std::int64_t n, const void* table) {
  const auto* t = static_cast<const std::uint8_t*>(table);
  const __m512i t0 = _mm512_loadu_si512(t), t1 = _mm512_loadu_si512(t + 64);
  const __m512i t2 = _mm512_loadu_si512(t + 128), t3 = _mm512_loadu_si512(t + 192);
  alignas(64) std::uint8_t order[64];
  for (int i = 0; i < 64; ++i) order[i] = static_cast<std::uint8_t>(2 * i);
  const __m512i evens = _mm512_load_si512(order);
  std::int64_t i = 0;
  for (; i + 64 <= n; i += 64) {
    const __m512i a = _mm512_loadu_si512(yuy2 + 2 * i), b = _mm512_loadu_si512(yuy2 + 2 * i + 64);
    const __m512i y = _mm512_permutex2var_epi8(a, evens, b);
    const __m512i lo = _mm512_permutex2var_epi8(t0, y, t1), hi = _mm512_permutex2var_epi8(t2, y, t3);
    _mm512_storeu_si512(static_cast<std::uint8_t*>(dst) + i, _mm512_mask_blend_epi8(_mm512_movepi8_mask(y), lo, hi));
  }
  return i;
}

// Bytes to doubles without a conversion: a byte permute, merged into lanes
// that hold the bits of 2^52, puts component byte i in the low byte of lane
// i, which makes the double 2^52 + x; subtracting 2^52 leaves x exactly.
struct MagicDoubles {
  static constexpr std::uint64_t kTwo52 = 0x4330000000000000ull;  // 2^52 as a double
  static constexpr __mmask64 kLowBytes = 0x0101010101010101ull;
  __m512i bits = _mm512_set1_epi64(static_cast<long long>(kTwo52));
  __m512d two52 = _mm512_castsi512_pd(bits);
  // Eight doubles from the bytes of x that idx names in its lanes' low bytes.
  __m512d of(__m512i idx, __m512i x) const {
    return _mm512_sub_pd(_mm512_castsi512_pd(_mm512_mask_permutexvar_epi8(bits, kLowBytes, idx, x)), two52);
  }
};

// Byte indices of sixteen pixels in two halves of eight qword lanes: for
// BGR pixels, component k (red, green, blue) of pixel 8h + i at lane i of
// bgr[h][k]; for a plane, byte 8h + i at lane i of plane[h].
struct Sixteen {
  alignas(64) std::uint8_t bgr[2][3][64];
  alignas(64) std::uint8_t plane[2][64];
  constexpr Sixteen() : bgr{}, plane{} {
    for (int h = 0; h < 2; ++h)
      for (int i = 0; i < 8; ++i) {
        for (int k = 0; k < 3; ++k) bgr[h][k][8 * i] = static_cast<std::uint8_t>(3 * (8 * h + i) + 2 - k);
        plane[h][8 * i] = static_cast<std::uint8_t>(8 * h + i);
      }
  }
};
constexpr Sixteen kSixteen;

inline __m512i indexVector(const std::uint8_t* p) { return _mm512_load_si512(p); }

// The types computed in double, sixteen BGR pixels a load (one masked load
// of their 48 bytes), in two halves of eight lanes, stored by the type's
// rule. Stream (VIDEO_DOUBLE only) stores past the caches onto a dst aligned
// to 64 bytes.
template <int N, bool Stream>
std::int64_t intensityBGR16(const std::uint8_t* bgr, void* dst, std::int64_t n) {
  static_assert(!Stream || N == VIDEO_DOUBLE);
  Sample<N>* out = static_cast<Sample<N>*>(dst);
  const MagicDoubles d;
  __m512i idx[2][3];
  for (int h = 0; h < 2; ++h)
    for (int k = 0; k < 3; ++k) idx[h][k] = indexVector(kSixteen.bgr[h][k]);
  std::int64_t i = 0;
  for (; i + 16 <= n; i += 16) {
    const __m512i x = _mm512_maskz_loadu_epi8(0xFFFFFFFFFFFFull, bgr + 3 * i);
    for (int h = 0; h < 2; ++h) {
      const Avx512Ops::V y = intensityOf<Avx512Ops>(d.of(idx[h][0], x), d.of(idx[h][1], x), d.of(idx[h][2], x));
      if constexpr (Stream)
        Avx512Ops::streamDouble(out + i + 8 * h, y);
      else
        storeIntensity<Avx512Ops, N>(out + i + 8 * h, y);
    }
  }
  return i;
}

// The same from three byte planes, sixteen pixels a load of each.
template <int N, bool Stream>
std::int64_t intensityPlanes16(const std::uint8_t* r, const std::uint8_t* g, const std::uint8_t* b, void* dst,
                               std::int64_t n) {
  static_assert(!Stream || N == VIDEO_DOUBLE);
  Sample<N>* out = static_cast<Sample<N>*>(dst);
  const MagicDoubles d;
  const __m512i idx[2] = {indexVector(kSixteen.plane[0]), indexVector(kSixteen.plane[1])};
  const auto load = [](const std::uint8_t* p) {
    return _mm512_castsi128_si512(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
  };
  std::int64_t i = 0;
  for (; i + 16 <= n; i += 16) {
    const __m512i xr = load(r + i), xg = load(g + i), xb = load(b + i);
    for (int h = 0; h < 2; ++h) {
      const Avx512Ops::V y = intensityOf<Avx512Ops>(d.of(idx[h], xr), d.of(idx[h], xg), d.of(idx[h], xb));
      if constexpr (Stream)
        Avx512Ops::streamDouble(out + i + 8 * h, y);
      else
        storeIntensity<Avx512Ops, N>(out + i + 8 * h, y);
    }
  }
  return i;
}

constexpr IntensityForms withWideForms(IntensityForms f) {
  f.bgr[VIDEO_UINT8] = &intensityBGRBytes;
  f.planes[VIDEO_UINT8] = &intensityPlanesBytes;
  [&]<int... N>(std::integer_sequence<int, N...>) {
    ((f.bgr[N] = &intensityBGR16<N, false>, f.planes[N] = &intensityPlanes16<N, false>), ...);
  }(std::integer_sequence<int, VIDEO_DOUBLE, VIDEO_SINGLE, VIDEO_INT8, VIDEO_INT16, VIDEO_INT32, VIDEO_BOOLEAN>{});
  f.bgrDoubleStreamed = &intensityBGR16<VIDEO_DOUBLE, true>;
  f.planesDoubleStreamed = &intensityPlanes16<VIDEO_DOUBLE, true>;
  f.lumaBytes = &lumaBytes;
  return f;
}

}  // namespace

const IntensityForms kIntensityForms_AVX512 = withWideForms(makeIntensityForms<Avx512Ops>());

}  // namespace rivulet
