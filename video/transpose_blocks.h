// Block transposes of 2-, 4- and 8-byte elements, written once for any vector
// width. A vector holds one 16-byte row piece per 128-bit lane: lane k of
// load(p, step) is the 16 bytes at p + k * step, so with a step of one block
// of rows a 256-bit vector carries two blocks stacked, and the in-lane
// transpose below turns them into columns twice as tall, each stored whole.
// Each SIMD source instantiates these with its own Ops in an unnamed
// namespace, so every instantiation is private to the source of its set.
#ifndef RIVULET_VIDEO_TRANSPOSE_BLOCKS_H
#define RIVULET_VIDEO_TRANSPOSE_BLOCKS_H

#include <immintrin.h>

#include <cstdint>

#include "video/simd_blocks.h"

namespace rivulet {

// Eight rows of eight 16-bit elements (in each lane) to eight columns.
template <typename Ops>
inline void transposeShorts8(typename Ops::V x[8]) {
  typename Ops::V t[8];
  // t[i]: rows 2i and 2i + 1 interleaved, columns 0-3; t[i + 4]: columns 4-7.
  for (int i = 0; i < 4; ++i) {
    t[i] = Ops::lo16(x[2 * i], x[2 * i + 1]);
    t[i + 4] = Ops::hi16(x[2 * i], x[2 * i + 1]);
  }
  for (int h = 0; h < 2; ++h) {
    const typename Ops::V* u = t + 4 * h;
    // a: columns 4h, 4h + 1 of rows 0-3; c: the same of rows 4-7; b, e:
    // columns 4h + 2, 4h + 3.
    const auto a = Ops::lo32(u[0], u[1]), b = Ops::hi32(u[0], u[1]);
    const auto c = Ops::lo32(u[2], u[3]), e = Ops::hi32(u[2], u[3]);
    x[4 * h] = Ops::lo64(a, c);
    x[4 * h + 1] = Ops::hi64(a, c);
    x[4 * h + 2] = Ops::lo64(b, e);
    x[4 * h + 3] = Ops::hi64(b, e);
  }
}

// Four rows of four 32-bit elements (in each lane) to four columns.
template <typename Ops>
inline void transposeInts4(typename Ops::V x[4]) {
  // t0: columns 0, 1 of rows 0, 1 interleaved; t1: columns 2, 3; t2, t3: rows 2, 3.
  const auto t0 = Ops::lo32(x[0], x[1]), t1 = Ops::hi32(x[0], x[1]);
  const auto t2 = Ops::lo32(x[2], x[3]), t3 = Ops::hi32(x[2], x[3]);
  x[0] = Ops::lo64(t0, t2);
  x[1] = Ops::hi64(t0, t2);
  x[2] = Ops::lo64(t1, t3);
  x[3] = Ops::hi64(t1, t3);
}

// Two rows of two 64-bit elements (in each lane) to two columns.
template <typename Ops>
inline void transposeLongs2(typename Ops::V x[2]) {
  const auto t = Ops::lo64(x[0], x[1]);
  x[1] = Ops::hi64(x[0], x[1]);
  x[0] = t;
}

// dst[c * dstStride + r] = src[r * srcStride + c] (strides in elements) over
// the whole blocks of K * Ops::kLanes rows by K columns of rows x cols, K
// being the elements of 16 bytes; returns the rows done (whole columns are
// done across them).
template <typename Ops, typename T>
inline int transposeBlocks(const T* src, std::int64_t srcStride, T* dst, std::int64_t dstStride, int rows,
                           int cols) {
  constexpr int K = 16 / static_cast<int>(sizeof(T)), R = K * Ops::kLanes;
  const std::int64_t laneStep = K * srcStride * static_cast<std::int64_t>(sizeof(T));
  int r = 0;
  for (; r + R <= rows; r += R)
    for (int c = 0; c + K <= cols; c += K) {
      typename Ops::V x[K];
      for (int i = 0; i < K; ++i) x[i] = Ops::load(src + (r + i) * srcStride + c, laneStep);
      if constexpr (K == 8)
        transposeShorts8<Ops>(x);
      else if constexpr (K == 4)
        transposeInts4<Ops>(x);
      else
        transposeLongs2<Ops>(x);
      for (int i = 0; i < K; ++i) Ops::store(dst + (c + i) * dstStride + r, x[i]);
    }
  return r;
}

// The vector widths of the source being compiled, in an unnamed namespace so
// that each source compiles its own copy with its own flags.
namespace {

struct TransposeOps128 : Unpacks128 {
  static constexpr int kLanes = 1;
  static V load(const void* p, std::int64_t) { return _mm_loadu_si128(static_cast<const V*>(p)); }
  static void store(void* p, V x) { _mm_storeu_si128(static_cast<V*>(p), x); }
};

#ifdef __AVX2__
struct TransposeOps256 : Unpacks256 {
  static constexpr int kLanes = 2;
  static V load(const void* p, std::int64_t laneStep) {
    const auto* b = static_cast<const std::uint8_t*>(p);
    return _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(b + laneStep), reinterpret_cast<const __m128i*>(b));
  }
  static void store(void* p, V x) { _mm256_storeu_si256(static_cast<V*>(p), x); }
};
#endif


// The TransposeForms member of the widest vectors compiled: the whole 8 x 8
// blocks, in the tallest blocks first and the narrower forms below them.
// (Four blocks a 512-bit vector were measured slower than two a 256-bit one:
// the four 16-byte pieces of each vector cost an insert each.)
template <typename T>
void transposeBlocks8(const void* src, std::int64_t srcStride, void* dst, std::int64_t dstStride, int rows,
                      int cols) {
  const T* s = static_cast<const T*>(src);
  T* d = static_cast<T*>(dst);
  rows &= ~7;
  cols &= ~7;
  int r = 0;
#ifdef __AVX2__
  r += transposeBlocks<TransposeOps256>(s + r * srcStride, srcStride, d + r, dstStride, rows - r, cols);
#endif
  transposeBlocks<TransposeOps128>(s + r * srcStride, srcStride, d + r, dstStride, rows - r, cols);
}

}  // namespace

}  // namespace rivulet

#endif
