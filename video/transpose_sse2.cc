// SSE2 block transposes of 2- and 4-byte elements (the x86-64 baseline), and
// the pick of the widest set the CPU runs.
#include <emmintrin.h>

#include "types/cpu.h"
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

template <typename T>
void blocks(const void* src, std::int64_t srcStride, void* dst, std::int64_t dstStride, int rows, int cols) {
  transposeBlocks<Ops128>(static_cast<const T*>(src), srcStride, static_cast<T*>(dst), dstStride, rows & ~7,
                          cols & ~7);
}

constexpr TransposeForms kSse2 = {&blocks<std::uint16_t>, &blocks<std::uint32_t>};

}  // namespace

extern const TransposeForms kTransposeForms_AVX2;
const TransposeForms* const kTransposeFormsBySet[5] = {nullptr, &kSse2, nullptr, &kTransposeForms_AVX2, nullptr};

const TransposeForms* transposeForms() {
  static const TransposeForms* const forms = widestForm(kTransposeFormsBySet);
  return forms;
}

}  // namespace rivulet
