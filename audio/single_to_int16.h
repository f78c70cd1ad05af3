// AUDIO_SINGLE -> AUDIO_INT16 runs, written once for any vector width. Ops
// gives the vector types and operations of one instruction set; each SIMD
// source instantiates this with its own Ops (in its own namespace), so no
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

// Ops::kLanes floats per vector; Ops::step(src, dst) converts 2 * kLanes
// elements with unaligned accesses, Ops::streamStep the same with a store
// that bypasses the caches (dst aligned to 2 * kLanes * 2 bytes).
template <typename Ops, bool Stream>
inline std::int64_t singleToInt16Steps(std::uint8_t const* src, std::uint8_t* dst, std::int64_t i,
                                       std::int64_t n) {
  constexpr int kStep = 2 * Ops::kLanes;
  for (; i + kStep <= n; i += kStep) {
    if constexpr (Stream)
      Ops::streamStep(src + 4 * i, dst + 2 * i);
    else
      Ops::step(src + 4 * i, dst + 2 * i);
  }
  return i;
}

// A prefix of the run; returns how many elements it did. With `stream`, a
// destination that can be aligned is written past the caches: one unaligned
// step first, then aligned steps from the first aligned element (the overlap
// is written twice with the same values).
template <typename Ops>
inline std::int64_t singleToInt16Run(std::uint8_t const* src, std::uint8_t* dst, std::int64_t n,
                                     bool stream) {
  constexpr int kBytes = 4 * Ops::kLanes;  // output bytes of one step
  const auto address = reinterpret_cast<std::uintptr_t>(dst);
  if (stream && address % 2 == 0 && n >= 4 * Ops::kLanes) {
    Ops::step(src, dst);
    const std::int64_t lead = static_cast<std::int64_t>((kBytes - address % kBytes) % kBytes / 2);
    const std::int64_t done = singleToInt16Steps<Ops, true>(src, dst, lead, n);
    Ops::fence();
    return done;
  }
  return singleToInt16Steps<Ops, false>(src, dst, 0, n);
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
  static void streamStep(std::uint8_t const* src, std::uint8_t* dst) {
    _mm_stream_si128(reinterpret_cast<__m128i*>(dst), pack(src));
  }
  static void fence() { _mm_sfence(); }
};
}  // namespace

}  // namespace rivulet

#endif
