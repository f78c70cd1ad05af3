// AUDIO_SINGLE -> AUDIO_INT16 runs, written once for any vector width. Ops
// gives the vector operations of one instruction set; each SIMD source
// instantiates this with its own Ops (in an unnamed namespace), so no
// instantiation compiled for a wide set is shared with code for a narrow one.
//
// p = x * 32768 in single precision. Only the upper bound needs clipping
// before the conversion: anything below -32768 (also -inf) converts to a value
// the saturating narrow turns into -32768, as the rule does. NaN converts to
// the most negative int32, whose low 16 bits (the rule's answer) are 0, so NaN
// lanes are cleared instead.
#ifndef RIVULET_AUDIO_SINGLE_TO_INT16_H
#define RIVULET_AUDIO_SINGLE_TO_INT16_H

#include <emmintrin.h>

#include <cstdint>


namespace rivulet {

// A prefix of the run, 2 * Ops::kLanes elements a step; returns how many
// elements it did. Ops::step(src, dst) converts one step.
template <typename Ops>
inline std::int64_t singleToInt16Run(std::uint8_t const* src, std::uint8_t* dst, std::int64_t n) {
  std::int64_t i = 0;
  for (; i + 2 * Ops::kLanes <= n; i += 2 * Ops::kLanes) Ops::step(src + 4 * i, dst + 2 * i);
  return i;
}

// The 128-bit step, in every SIMD source that includes this header: the SSE2
// form, and the tail of the wider ones. In an unnamed namespace, so each
// source compiles its own copy with its own flags.
namespace {
struct SingleToInt16Ops128 {
  static constexpr int kLanes = 4;
  static __m128i convert(std::uint8_t const* src) {
    const __m128 a = _mm_mul_ps(_mm_loadu_ps(reinterpret_cast<float const*>(src)), _mm_set1_ps(32768.0f));
    return _mm_andnot_si128(_mm_castps_si128(_mm_cmpunord_ps(a, a)),
                            _mm_cvttps_epi32(_mm_min_ps(_mm_set1_ps(32767.0f), a)));
  }
  static __m128i pack(std::uint8_t const* src) { return _mm_packs_epi32(convert(src), convert(src + 16)); }
  static void step(std::uint8_t const* src, std::uint8_t* dst) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), pack(src));
  }
};
}  // namespace

}  // namespace rivulet

#endif
