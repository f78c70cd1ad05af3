// Sample rules of the families that do not go through EightBitLUT and
// sampleToByte: the full-range widening and narrowing of packed RGB24 frames,
// the two intensity rules, and the element rules of the raw planar
// transposes. Each rule is written here once; the routines and their fast
// forms call these, or tables built from them.
#ifndef RIVULET_VIDEO_FULL_RANGE_RULES_H
#define RIVULET_VIDEO_FULL_RANGE_RULES_H

#include <array>
#include <cmath>
#include <cstdint>

#include "video/sample_rules.h"

namespace rivulet {

// ---- Packed RGB24: full-range widening and narrowing ------------------------------------

// A byte to the whole range of the type: 0 gives min, 255 gives max (unlike
// EightBitLUT, whose wide integer entries stop short of max). The products are
// exact in double, so the integer forms below equal the double formulas
// b * 257.0 - 32768.0 and b * 16843009.0 - 2147483648.0 truncated.
template <int N>
constexpr Sample<N> rgb24Widen(std::uint8_t b) {
  if constexpr (N == VIDEO_DOUBLE)
    return b / 255.0;
  else if constexpr (N == VIDEO_SINGLE)
    return static_cast<float>(b) / 255.0f;  // single-precision division
  else if constexpr (N == VIDEO_INT8)
    return static_cast<char>(b - 128);
  else if constexpr (N == VIDEO_UINT8)
    return b;
  else if constexpr (N == VIDEO_INT16)
    return static_cast<short>(b * 257 - 32768);
  else if constexpr (N == VIDEO_UINT16)
    return static_cast<unsigned short>(b * 257);  // b in both bytes
  else if constexpr (N == VIDEO_INT32)
    return static_cast<int>(static_cast<std::int64_t>(b) * 16843009 - 2147483648LL);
  else
    return static_cast<unsigned>(b) * 16843009u;  // b in all four bytes
}

// The widening as a 256-entry table (VIDEO_BOOLEAN has no widening member).
template <int N>
inline constexpr std::array<Sample<N>, 256> kRGB24WidenTable = [] {
  std::array<Sample<N>, 256> t{};
  for (int b = 0; b < 256; ++b) t[b] = rgb24Widen<N>(static_cast<std::uint8_t>(b));
  return t;
}();

// Nearest doubles to 1/257 and 1/16843009.
inline constexpr double kInv257 = 0.0038910505836575876;
inline constexpr double kInv16843009 = 5.937181414556033e-08;

// Low byte of a double truncated toward zero through a 64-bit integer (NaN and
// anything out of range give the most negative one, whose low byte is 0).
inline std::uint8_t lowByteOfTruncation(double v) {
  return static_cast<std::uint8_t>(truncateToInt64(v));
}

// A sample to a byte. Floating samples clamp above 1.0 and below 0.0 and round
// half up; NaN passes both tests and truncates to 0. The integer types scale by
// the nearest double to 1/257 or 1/16843009 and round half up; INT8 flips the
// sign bit; BOOLEAN is the two's-complement negation (1 gives 255, 2 gives 254).
template <int N>
inline std::uint8_t rgb24Narrow(Sample<N> x) {
  if constexpr (N == VIDEO_DOUBLE) {
    if (x > 1.0) return 255;
    if (x < 0.0) return 0;
    return lowByteOfTruncation(x * 255.0 + 0.5);
  } else if constexpr (N == VIDEO_SINGLE) {
    if (x > 1.0f) return 255;
    if (x < 0.0f) return 0;
    const float t = x * 255.0f;  // single-precision product, then widened
    return lowByteOfTruncation(static_cast<double>(t) + 0.5);
  } else if constexpr (N == VIDEO_INT8) {
    return static_cast<std::uint8_t>(static_cast<std::uint8_t>(x) ^ 0x80);
  } else if constexpr (N == VIDEO_UINT8) {
    return x;
  } else if constexpr (N == VIDEO_INT16) {
    return lowByteOfTruncation((x + 32768.0) * kInv257 + 0.5);
  } else if constexpr (N == VIDEO_UINT16) {
    return lowByteOfTruncation(x * kInv257 + 0.5);
  } else if constexpr (N == VIDEO_INT32) {
    return lowByteOfTruncation((x + 2147483648.0) * kInv16843009 + 0.5);
  } else if constexpr (N == VIDEO_UINT32) {
    return lowByteOfTruncation(x * kInv16843009 + 0.5);
  } else {
    return static_cast<std::uint8_t>(0u - x);
  }
}

// ---- Intensity from RGB bytes -----------------------------------------------------------

// Luma weights with the division by 255 folded in (0.29893602129378,
// 0.58704307445112 and 0.1140209042551 over 255); white sums to exactly 1.0.
inline constexpr double kIntensityRed = 0.0011722981227207058;
inline constexpr double kIntensityGreen = 0.0023021297037298825;
inline constexpr double kIntensityBlue = 0.00044714080100039216;

// v = (R wr + G wg) + B wb in double, in that order, clamped to [0, 1].
inline double intensityOfRGB(std::uint8_t r, std::uint8_t g, std::uint8_t b) {
  double v = (static_cast<double>(r) * kIntensityRed + static_cast<double>(g) * kIntensityGreen) +
             static_cast<double>(b) * kIntensityBlue;
  if (!(v > 0.0))
    v = 0.0;
  else if (!(1.0 > v))
    v = 1.0;
  return v;
}

// An intensity in [0, 1] to a sample, one rule per type, all in double and
// truncated toward zero (v is clamped, so every truncation is in range):
// unsigned types round to a byte and replicate it (white is max); the signed
// wide types scale the full range with no rounding term; INT8 adds the
// rounding term before the offset, so black gives -127; BOOLEAN thresholds at
// one half.
template <int N>
inline Sample<N> intensityToSample(double v) {
  if constexpr (N == VIDEO_DOUBLE) {
    return v;
  } else if constexpr (N == VIDEO_SINGLE) {
    return static_cast<float>(v);
  } else if constexpr (N == VIDEO_INT8) {
    return static_cast<char>(static_cast<int>((v * 255.0 + 0.5) - 128.0));
  } else if constexpr (N == VIDEO_INT16) {
    return static_cast<short>(static_cast<int>((v * 255.0) * 257.0 - 32768.0));
  } else if constexpr (N == VIDEO_INT32) {
    return static_cast<int>((v * 16843009.0) * 255.0 - 2147483648.0);
  } else if constexpr (N == VIDEO_BOOLEAN) {
    return static_cast<unsigned char>(static_cast<int>(v + 0.5));
  } else {
    const unsigned b = static_cast<unsigned>(static_cast<int>(v * 255.0 + 0.5));
    if constexpr (N == VIDEO_UINT8)
      return static_cast<unsigned char>(b);
    else if constexpr (N == VIDEO_UINT16)
      return static_cast<unsigned short>((b << 8) | b);
    else
      return b * 0x01010101u;
  }
}

// ---- Intensity from YUY2 luma -----------------------------------------------------------

// Studio-range luma to a full-range byte: clamp to 16..235, subtract 16, scale
// by 255/219 in double and truncate with no rounding term (235 gives 255).
inline std::uint8_t lumaToByte(std::uint8_t y) {
  const int c = y < 16 ? 16 : (y > 235 ? 235 : y);
  return static_cast<std::uint8_t>(static_cast<int>(static_cast<double>(c - 16) * 1.1643835616438356));
}

// ---- Raw planar element rules -----------------------------------------------------------

// [-1, 1] to int16, rounding down and saturating: floor(x * 32768), then
// 32767 above the top, -32768 below the bottom; NaN gives 0 (the truncation
// yields the most negative int32, whose low 16 bits are 0).
inline std::int16_t floorToInt16(double x) {
  const double v = std::floor(x * 32768.0);
  if (v + 0.5 > 32767.0) return 32767;
  if (-32768.0 > v - 0.5) return -32768;
  return static_cast<std::int16_t>(truncateToInt32(v >= -0.5 ? v + 0.5 : v - 0.5));
}

// One element of a raw planar transpose, source type S to target type D.
template <int S, int D>
inline Sample<D> rawPlanarElement(Sample<S> x) {
  if constexpr (S == D)
    return x;
  else if constexpr (S == VIDEO_BOOLEAN)
    return sampleToByte<VIDEO_BOOLEAN>(x);  // 0 gives 0, anything else 255
  else if constexpr (S == VIDEO_DOUBLE || S == VIDEO_SINGLE)
    return floorToInt16(static_cast<double>(x));
  else if constexpr (S == VIDEO_INT32)
    return static_cast<short>(x / 65536);  // truncates toward zero: -1 gives 0
  else
    return static_cast<unsigned short>(x >> 16);  // UINT32: the high half
}

}  // namespace rivulet

#endif
