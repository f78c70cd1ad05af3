// AVX-512 forms of the video layers (F, BW, VL and VBMI): the BGR split 64
// pixels a step by byte permutes across the whole register, the byte
// transpose 16 rows by 64 columns a block, and the streamed 8 x 8 transpose
// of 8-byte samples.
// GCC 12 reports the lanes its own AVX-512 intrinsics leave undefined on
// purpose (_mm512_undefined_*) as uninitialised; before the includes, so the
// blocks of the shared header that are compiled here are covered too.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"

#include <immintrin.h>

#include "video/kernels.h"
#include "video/simd_blocks.h"

namespace rivulet {
namespace {

// Byte j of component k is byte 3j + k of the 192 pixel bytes a0 a1 a2. The
// two-register permute takes indices below 128 from a0 a1; the rest come from
// a2 by a second, masked permute.
struct PermuteIndices {
  alignas(64) std::uint8_t low[3][64];
  alignas(64) std::uint8_t high[3][64];
  std::uint64_t fromHigh[3];
  constexpr PermuteIndices() : low{}, high{}, fromHigh{} {
    for (int k = 0; k < 3; ++k)
      for (int j = 0; j < 64; ++j) {
        const int s = 3 * j + k;
        low[k][j] = static_cast<std::uint8_t>(s & 127);
        high[k][j] = static_cast<std::uint8_t>(s >= 128 ? s - 128 : 0);
        if (s >= 128) fromHigh[k] |= std::uint64_t{1} << j;
      }
  }
};
constexpr PermuteIndices kPermute;

int splitBGR(const std::uint8_t* bgr, std::uint8_t* red, std::uint8_t* green, std::uint8_t* blue, int n) {
  __m512i low[3], high[3];
  for (int k = 0; k < 3; ++k) {
    low[k] = _mm512_load_si512(kPermute.low[k]);
    high[k] = _mm512_load_si512(kPermute.high[k]);
  }
  std::uint8_t* const out[3] = {blue, green, red};
  int c = 0;
  for (; c + 64 <= n; c += 64) {
    const std::uint8_t* p = bgr + 3 * c;
    const __m512i a0 = _mm512_loadu_si512(p), a1 = _mm512_loadu_si512(p + 64), a2 = _mm512_loadu_si512(p + 128);
    for (int k = 0; k < 3; ++k) {
      const __m512i x = _mm512_permutex2var_epi8(a0, low[k], a1);
      _mm512_storeu_si512(out[k] + c, _mm512_mask_permutexvar_epi8(x, kPermute.fromHigh[k], high[k], a2));
    }
  }
  return c + splitBGRGroups<SplitOps128>(bgr + 3 * c, red + c, green + c, blue + c, n - c);
}

using Ops512 = Unpacks512;

// Four 16 x 16 blocks side by side, one per 128-bit lane: after the in-lane
// transpose, lane L of x[c] is column 16 L + c.
void transposeBytes16x64(const std::uint8_t* src, std::int64_t srcStride, std::uint8_t* dst,
                         std::int64_t dstStride) {
  __m512i x[16];
  for (int i = 0; i < 16; ++i) x[i] = _mm512_loadu_si512(src + i * srcStride);
  transpose16<Ops512>(x);
  for (int c = 0; c < 16; ++c) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + c * dstStride), _mm512_castsi512_si128(x[c]));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + (16 + c) * dstStride), _mm512_extracti32x4_epi32(x[c], 1));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + (32 + c) * dstStride), _mm512_extracti32x4_epi32(x[c], 2));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + (48 + c) * dstStride), _mm512_extracti32x4_epi32(x[c], 3));
  }
}

// Four row groups of transposeBytes16x64 kept apart, then each column's four
// 16-byte pieces (lane L of group g's vector c holds rows 16 g .. 16 g + 15
// of column 16 L + c) joined across the groups by a 4 x 4 transpose of
// 128-bit lanes: store(j, v) gets column j whole.
template <typename Store>
[[gnu::always_inline]] inline void transposeBytes64x64By(const std::uint8_t* src, std::int64_t srcStride,
                                                         Store store) {
  alignas(64) __m512i groups[4][16];
  for (int g = 0; g < 4; ++g) {
    __m512i x[16];
    for (int i = 0; i < 16; ++i) x[i] = _mm512_loadu_si512(src + (16 * g + i) * srcStride);
    transpose16<Ops512>(x);
    for (int c = 0; c < 16; ++c) _mm512_store_si512(&groups[g][c], x[c]);
  }
  for (int c = 0; c < 16; ++c) {
    const __m512i a0 = _mm512_load_si512(&groups[0][c]), a1 = _mm512_load_si512(&groups[1][c]);
    const __m512i a2 = _mm512_load_si512(&groups[2][c]), a3 = _mm512_load_si512(&groups[3][c]);
    // Lanes 0, 1 (or 2, 3) of two groups side by side, then the even or odd
    // lanes of those: lane L of each group in order.
    const __m512i b0 = _mm512_shuffle_i64x2(a0, a1, 0x44), b1 = _mm512_shuffle_i64x2(a0, a1, 0xEE);
    const __m512i b2 = _mm512_shuffle_i64x2(a2, a3, 0x44), b3 = _mm512_shuffle_i64x2(a2, a3, 0xEE);
    store(c, _mm512_shuffle_i64x2(b0, b2, 0x88));
    store(16 + c, _mm512_shuffle_i64x2(b0, b2, 0xDD));
    store(32 + c, _mm512_shuffle_i64x2(b1, b3, 0x88));
    store(48 + c, _mm512_shuffle_i64x2(b1, b3, 0xDD));
  }
}

void transposeBytes64x64(const std::uint8_t* src, std::int64_t srcStride, std::uint8_t* dst,
                         std::int64_t dstStride) {
  transposeBytes64x64By(src, srcStride,
                        [&](int c, __m512i v) { _mm512_storeu_si512(dst + c * dstStride, v); });
}

struct Iota {
  alignas(64) std::uint8_t v[64];
  constexpr Iota() : v{} {
    for (int j = 0; j < 64; ++j) v[j] = static_cast<std::uint8_t>(j);
  }
};
constexpr Iota kIota;

// Column c's 64 new bytes start k bytes into a line; rotated by k, bytes
// [k, 64) of the rotation complete that line after the k carried bytes,
// and bytes [0, k) are the head of the next line, carried.
void transposeBytes64x64Lines(const std::uint8_t* src, std::int64_t srcStride, std::uint8_t* dst,
                              std::int64_t dstStride, std::uint8_t* carry, bool first, bool stream) {
  const __m512i iota = _mm512_load_si512(kIota.v);
  transposeBytes64x64By(src, srcStride, [&](int c, __m512i v) {
    std::uint8_t* const d = dst + c * dstStride;
    const int k = static_cast<int>(reinterpret_cast<std::uintptr_t>(d) % 64);
    const __mmask64 tail = ~std::uint64_t{0} << k;
    const __m512i rotated = _mm512_permutexvar_epi8(_mm512_sub_epi8(iota, _mm512_set1_epi8(static_cast<char>(k))), v);
    auto* const slot = reinterpret_cast<__m512i*>(carry + 64 * c);
    auto* const line = reinterpret_cast<__m512i*>(d - k);
    if (first) {
      _mm512_mask_storeu_epi8(line, tail, rotated);
    } else {
      const __m512i whole = _mm512_mask_blend_epi8(tail, _mm512_load_si512(slot), rotated);
      if (stream)
        _mm512_stream_si512(line, whole);
      else
        _mm512_store_si512(line, whole);
    }
    _mm512_store_si512(slot, rotated);
  });
}

// Eight rows of eight 8-byte elements: x[c] becomes column c.
[[gnu::always_inline]] inline void transposeQwords8x8(__m512i x[8]) {
  __m512i t[8], u[8];
  for (int i = 0; i < 8; i += 2) {
    t[i] = _mm512_unpacklo_epi64(x[i], x[i + 1]);
    t[i + 1] = _mm512_unpackhi_epi64(x[i], x[i + 1]);
  }
  // u[k] for k = 0..3 from rows 0-3, k = 4..7 from rows 4-7: lanes 0 and 2
  // (even columns of a pair) or 1 and 3.
  for (int h = 0; h < 8; h += 4) {
    u[h] = _mm512_shuffle_i64x2(t[h], t[h + 2], 0x88);
    u[h + 1] = _mm512_shuffle_i64x2(t[h], t[h + 2], 0xDD);
    u[h + 2] = _mm512_shuffle_i64x2(t[h + 1], t[h + 3], 0x88);
    u[h + 3] = _mm512_shuffle_i64x2(t[h + 1], t[h + 3], 0xDD);
  }
  const int column[4] = {0, 2, 1, 3};  // u[k] holds columns column[k] and column[k] + 4
  for (int k = 0; k < 4; ++k) {
    x[column[k]] = _mm512_shuffle_i64x2(u[k], u[k + 4], 0x88);
    x[column[k] + 4] = _mm512_shuffle_i64x2(u[k], u[k + 4], 0xDD);
  }
}

// Rows r0..r7 of eight doubles; each column goes out as one line.
void streamTranspose8x8(const void* src, std::int64_t srcStride, void* dst, std::int64_t dstStride) {
  const auto* s = static_cast<const long long*>(src);
  auto* d = static_cast<long long*>(dst);
  __m512i x[8];
  for (int i = 0; i < 8; ++i) x[i] = _mm512_loadu_si512(s + i * srcStride);
  transposeQwords8x8(x);
  for (int c = 0; c < 8; ++c) _mm512_stream_si512(reinterpret_cast<__m512i*>(d + c * dstStride), x[c]);
}

}  // namespace

extern const VideoForms kVideoFormsAvx512;
constinit const VideoForms kVideoFormsAvx512 = [] {
  VideoForms f{};
  f.splitBGR = &splitBGR;
  f.transposeBytes16x64 = &transposeBytes16x64;
  f.transposeBytes64x64 = &transposeBytes64x64;
  f.transposeBytes64x64Lines = &transposeBytes64x64Lines;
  f.streamTranspose8x8 = &streamTranspose8x8;
  return f;
}();

}  // namespace rivulet
