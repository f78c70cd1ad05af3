// Value rules of the PCM family: file-style interleaved PCM (8-bit unsigned,
// 16-bit, 24-bit, 32-bit float) to and from per-channel memory samples. They
// resemble the 6 x 6 rules but are a set of their own: the integer output
// members scale by 255, the float reader saturates and stalls, and the
// single-precision 24-bit writer wraps at +1.0. Every PCM routine computes its
// values here.
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

// Every copy rule but the two above. W is the PCM width in bytes, P the memory
// position (kPosDouble, kPosSingle, kPosUInt8 or kPosInt16). For W == 3 the
// value is the 32-bit sample s with a zero low byte.
template <int W, int P>
inline AudioValue<P> pcmToSample(PcmValue<W> x) {
  static_assert(!(W == 4 && (P == kPosUInt8 || P == kPosInt16)), "stalling readers apart");
  if constexpr (W == 4) {
    if constexpr (P == kPosDouble) return static_cast<double>(x);
    else return x;  // AUDIO_SINGLE: bit for bit
  } else if constexpr (W == 3) {
    if constexpr (P == kPosDouble) return x * kInt32Scale;
    else if constexpr (P == kPosSingle)
      return static_cast<float>(x) * static_cast<float>(kInt32Scale);
    else if constexpr (P == kPosUInt8)
      return static_cast<std::uint8_t>((x >> 24) + 128);  // b2 + 128 mod 256
    else
      return static_cast<std::int16_t>(x >> 16);  // low byte b1, high byte b2
  } else if constexpr (W == 2) {
    if constexpr (P == kPosDouble) return x * kInt16Scale;
    else if constexpr (P == kPosSingle)
      return static_cast<float>(x) * static_cast<float>(kInt16Scale);
    else if constexpr (P == kPosUInt8)
      return static_cast<std::uint8_t>(x / 256 + 128);  // toward zero, mod 256
    else
      return x;
  } else {
    if constexpr (P == kPosDouble) return (x - 128.0) * kUInt8Scale;
    else if constexpr (P == kPosSingle)
      return (static_cast<float>(x) - 128.0f) * static_cast<float>(kUInt8Scale);
    else if constexpr (P == kPosUInt8)
      return x;
    else
      return static_cast<std::int16_t>((x - 128) * 256);  // 255 -> 32512
  }
}

// ---- Output direction (memory -> PCM) ---------------------------------------------------

// AUDIO_DOUBLE: floor in double, clip in double, convert. NaN converts to the
// most negative int32, whose low bits are 0 for the narrow widths.
inline std::int32_t pcmDoubleTo24(double x) {
  double p = std::floor(x * 2147483648.0);
  if (p > 2147483647.0)
    p = 2147483647.0;
  else if (p < -2147483648.0)
    p = -2147483648.0;
  return truncateToInt32(p);  // the store keeps the upper three bytes
}
inline std::int16_t pcmDoubleTo16(double x) {
  double p = std::floor(x * 32768.0);
  if (p > 32767.0)
    p = 32767.0;
  else if (p < -32768.0)
    p = -32768.0;
  return static_cast<std::int16_t>(truncateToInt32(p));
}
inline std::uint8_t pcmDoubleTo8(double x) {
  double p = std::floor(x * 128.0 + 128.0);
  if (p > 255.0)
    p = 255.0;
  else if (p < 0.0)
    p = 0.0;
  return static_cast<std::uint8_t>(truncateToInt32(p));
}

// AUDIO_SINGLE: products and floor in single precision. The 24-bit upper
// bound is 2^31 itself (single precision has no 2147483647), which the
// conversion turns into the most negative value: 1.0 and above give the bytes
// 00 00 80.
inline std::int32_t pcmSingleTo24(float x) {
  float p = std::floor(x * 2147483648.0f);
  // Clipping to +2^31 and converting gives the most negative value; that
  // result is spelled out rather than left to the conversion of a constant,
  // which the compiler would fold with saturation instead.
  if (p >= 2147483648.0f) return -2147483647 - 1;
  if (p < -2147483648.0f) p = -2147483648.0f;
  return truncateToInt32(p);
}
inline std::int16_t pcmSingleTo16(float x) {
  float p = std::floor(x * 32768.0f);
  if (p > 32767.0f)
    p = 32767.0f;
  else if (p < -32768.0f)
    p = -32768.0f;
  return static_cast<std::int16_t>(truncateToInt32(p));
}
inline std::uint8_t pcmSingleTo8(float x) {
  float p = std::floor(x * 128.0f + 128.0f);
  if (p > 255.0f)
    p = 255.0f;
  else if (p < 0.0f)
    p = 0.0f;
  return static_cast<std::uint8_t>(truncateToInt32(p));
}

// The value of PCM width W for a memory sample x of position P. Only the
// combinations that have a routine are instantiated.
template <int P, int W>
inline PcmValue<W> sampleToPcm(AudioValue<P> x) {
  if constexpr (P == kPosDouble) {
    if constexpr (W == 4) return static_cast<float>(x);
    else if constexpr (W == 3) return pcmDoubleTo24(x);
    else if constexpr (W == 2) return pcmDoubleTo16(x);
    else return pcmDoubleTo8(x);
  } else if constexpr (P == kPosSingle) {
    if constexpr (W == 4) return x;
    else if constexpr (W == 3) return pcmSingleTo24(x);
    else if constexpr (W == 2) return pcmSingleTo16(x);
    else return pcmSingleTo8(x);
  } else if constexpr (P == kPosUInt8) {
    static_assert(W <= 2, "no 24- or 32-bit output from AUDIO_UINT8");
    // floor((x - 128) * 255.0) is an integer product in [-32640, 32385]: the
    // floor and the clip change nothing. 255, not 256.
    if constexpr (W == 2) return static_cast<std::int16_t>((x - 128) * 255);
    else return x;
  } else {
    static_assert(P == kPosInt16 && W <= 2, "no 24- or 32-bit output from AUDIO_INT16");
    if constexpr (W == 2) {
      return x;
    } else {
      // x / 255 toward zero, plus 128, clipped: -32768 -> 0, 32767 -> 255.
      const int v = x / 255 + 128;
      return static_cast<std::uint8_t>(v > 255 ? 255 : v < 0 ? 0 : v);
    }
  }
}

}  // namespace rivulet

#endif
