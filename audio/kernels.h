// Fast forms of some audio runs (SSE2, the x86-64 baseline, and wider sets
// where the CPU detection allows). Each converts a
// prefix of a contiguous run and returns how many elements it did; the caller
// finishes the tail with the plain rule. A fast form equals its plain rule bit
// for bit for every input, which the tests check.
#ifndef RIVULET_AUDIO_KERNELS_H
#define RIVULET_AUDIO_KERNELS_H

#include <cstdint>

#include "audio/sample_rules.h"

namespace rivulet {

// Cells of the 6 x 6 matrix without a fast form convert nothing here.
template <int S, int D>
struct FastConvertRun {
  static constexpr bool kAvailable = false;
  static std::int64_t run(std::uint8_t const*, std::uint8_t*, std::int64_t) { return 0; }
};

#define RIVULET_FAST_CONVERT_RUN(S, D)                                              \
  template <>                                                                       \
  struct FastConvertRun<S, D> {                                                     \
    static constexpr bool kAvailable = true;                                        \
    static std::int64_t run(std::uint8_t const* src, std::uint8_t* dst, std::int64_t n); \
  };

RIVULET_FAST_CONVERT_RUN(kPosInt16, kPosDouble)
RIVULET_FAST_CONVERT_RUN(kPosInt16, kPosSingle)
RIVULET_FAST_CONVERT_RUN(kPosSingle, kPosInt16)
RIVULET_FAST_CONVERT_RUN(kPosDouble, kPosInt16)
RIVULET_FAST_CONVERT_RUN(kPosInt24, kPosDouble)
#undef RIVULET_FAST_CONVERT_RUN

// The forms behind FastConvertRun<kPosSingle, kPosInt16>, one per instruction
// set (audio/kernels_<set>.cc), exposed for the tests; each may only run where
// simdLevel() reaches its set.
std::int64_t singleToInt16Run_SSE2(std::uint8_t const* src, std::uint8_t* dst, std::int64_t n);
std::int64_t singleToInt16Run_AVX2(std::uint8_t const* src, std::uint8_t* dst, std::int64_t n);
std::int64_t singleToInt16Run_AVX512(std::uint8_t const* src, std::uint8_t* dst, std::int64_t n);

// The same for the PCM rules: W is the PCM width in bytes, P the memory
// position. Copy runs read PCM, output runs write it.
template <int W, int P>
struct FastPcmCopyRun {
  static constexpr bool kAvailable = false;
  static std::int64_t run(std::uint8_t const*, std::uint8_t*, std::int64_t) { return 0; }
};
template <int P, int W>
struct FastPcmOutputRun {
  static constexpr bool kAvailable = false;
  static std::int64_t run(std::uint8_t const*, std::uint8_t*, std::int64_t) { return 0; }
};
// 16-bit PCM to AUDIO_SINGLE and AUDIO_DOUBLE to 16-bit PCM are the 6 x 6
// rules of AUDIO_INT16 to AUDIO_SINGLE and AUDIO_DOUBLE to AUDIO_INT16.
template <>
struct FastPcmCopyRun<2, kPosSingle> : FastConvertRun<kPosInt16, kPosSingle> {};
template <>
struct FastPcmOutputRun<kPosDouble, 2> : FastConvertRun<kPosDouble, kPosInt16> {};

// Stereo fast forms across the layout change, for the commonest block shape:
// FromInterleaved reads n periods of two interleaved elements and writes two
// runs. Same contract: periods done are returned.
template <int S, int D>
struct FastStereoFromInterleaved {
  static constexpr bool kAvailable = false;
  static std::int64_t run(std::uint8_t const*, std::uint8_t*, std::uint8_t*, std::int64_t) {
    return 0;
  }
};
// INT16 -> DOUBLE by the 6 x 6 rule.
template <>
struct FastStereoFromInterleaved<kPosInt16, kPosDouble> {
  static constexpr bool kAvailable = true;
  static std::int64_t run(std::uint8_t const* src, std::uint8_t* left, std::uint8_t* right,
                          std::int64_t n);
};
// PCM stereo: 16-bit PCM -> AUDIO_SINGLE and AUDIO_DOUBLE -> 16-bit PCM.
struct FastPcmStereoCopy16ToSingle {
  static std::int64_t run(std::uint8_t const* src, std::uint8_t* left, std::uint8_t* right,
                          std::int64_t n);
};
struct FastPcmStereoOutputDoubleTo16 {
  static std::int64_t run(std::uint8_t const* left, std::uint8_t const* right, std::uint8_t* dst,
                          std::int64_t n);
};

}  // namespace rivulet

#endif
