// Value rules of the PCM family: file-style interleaved PCM (8-bit unsigned,
// 16-bit, 24-bit, 32-bit float) to and from per-channel memory samples. They
// resemble the 6 x 6 rules but are a set of their own: the integer output
// members scale by 255, the float reader saturates and stalls, and the
// single-precision 24-bit writer wraps at +1.0. Where a PCM rule is a 6 x 6
// rule it calls that one; every PCM routine computes its values here.
#ifndef RIVULET_AUDIO_PCM_RULES_H
#define RIVULET_AUDIO_PCM_RULES_H

#include <cmath>
#include <cstdint>

#include "audio/sample_rules.h"

namespace rivulet {

// A PCM sample of W bytes is stored like the memory type of the same layout:
// 32-bit float, three-byte 24-bit, 16-bit, unsigned 8-bit.
template <int W>
inline constexpr int kPcmStorage = W == 4 ? kPosSingle : W == 3 ? kPosInt24 : W == 2 ? kPosInt16
                                                                                    : kPosUInt8;
template <int W>
using PcmValue = AudioValue<kPcmStorage<W>>;

// ---- Copy direction (PCM -> memory) ----------------------------------------------------

// The result of reading a 32-bit float PCM sample into an integer type, and
// whether the read position moves on: it does only for in-range samples.
template <typename T>
struct PcmRead {
  T value;
  bool advance;
};

// x >= 1.0 gives 32767, x < -1.0 gives -32768 (both without advancing);
// otherwise x * 32768 in single precision, truncated. NaN takes the in-range
// path and gives 0.
inline PcmRead<std::int16_t> pcmFloatToInt16(float x) {
  if (x >= 1.0f) return {32767, false};
  if (x < -1.0f) return {-32768, false};
  return {static_cast<std::int16_t>(truncateToInt32(x * 32768.0f)), true};
}

// x >= 1.0 gives 255, x < -1.0 gives 0 (without advancing); otherwise
// (x + 1.0) * 128.0 in double, truncated. NaN takes the in-range path and gives 0.
inline PcmRead<std::uint8_t> pcmFloatToUInt8(float x) {
  if (x >= 1.0f) return {255, false};
  if (x < -1.0f) return {0, false};
  return {static_cast<std::uint8_t>(truncateToInt32((static_cast<double>(x) + 1.0) * 128.0)),
          true};
}

// Every copy rule but the two above is the 6 x 6 rule from the memory type
// the PCM sample is stored like. W is the PCM width in bytes, P the memory
// position (kPosDouble, kPosSingle, kPosUInt8 or kPosInt16).
template <int W, int P>
inline AudioValue<P> pcmToSample(PcmValue<W> x) {
  static_assert(!(W == 4 && (P == kPosUInt8 || P == kPosInt16)), "stalling readers apart");
  return convertSample<kPcmStorage<W>, P>(x);
}

// ---- Output direction (memory -> PCM) ---------------------------------------------------

// AUDIO_SINGLE to 24 bits: product and floor in single precision. The upper
// bound is 2^31 itself (single precision has no 2147483647), which the
// conversion turns into the most negative value: 1.0 and above give the bytes
// 00 00 80. NaN gives the most negative value too.
inline std::int32_t pcmSingleTo24(float x) {
  return truncateToInt32(clip(std::floor(x * 2147483648.0f), -2147483648.0f, 2147483648.0f));
}

// AUDIO_SINGLE to 16 bits: the single precision floor, where the 6 x 6 rule
// truncates (-0.5 / 32768 gives -1 here, 0 there).
inline std::int16_t pcmSingleTo16(float x) {
  return static_cast<std::int16_t>(
      truncateToInt32(clip(std::floor(x * 32768.0f), -32768.0f, 32767.0f)));
}

// The value of PCM width W for a memory sample x of position P. Only the
// combinations that have a routine are instantiated. Where no member is named
// below, the output rule is the 6 x 6 rule to the PCM storage type: the floor
// that the 8-bit output rules name changes nothing there, since floor and
// truncation agree from 0 up and both sides clip anything below 0 to 0.
template <int P, int W>
inline PcmValue<W> sampleToPcm(AudioValue<P> x) {
  static_assert(P == kPosDouble || P == kPosSingle || W <= 2,
                "no 24- or 32-bit output from AUDIO_UINT8 or AUDIO_INT16");
  if constexpr (P == kPosSingle && W == 3) {
    return pcmSingleTo24(x);
  } else if constexpr (P == kPosSingle && W == 2) {
    return pcmSingleTo16(x);
  } else if constexpr (P == kPosUInt8 && W == 2) {
    // floor((x - 128) * 255.0) is an integer product in [-32640, 32385]: the
    // floor and the clip change nothing. 255, not 256.
    return static_cast<std::int16_t>((x - 128) * 255);
  } else if constexpr (P == kPosInt16 && W == 1) {
    // x / 255 toward zero, plus 128, clipped: -32768 -> 0, 32767 -> 255.
    return static_cast<std::uint8_t>(clip(x / 255 + 128, 0, 255));
  } else {
    return convertSample<P, kPcmStorage<W>>(x);
  }
}

}  // namespace rivulet

#endif
