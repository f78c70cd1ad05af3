// The integer YCbCr transforms on 8-bit values, shared by every family that
// has YCbCr on one side. The coefficients are the load-time constants of
// types/, copied once per call into a Matrices value so the loops keep them in
// registers. All arithmetic is signed 32-bit; >> is arithmetic and so rounds
// towards minus infinity. The largest intermediate (backward, Y 255 and
// chroma 255) is below 2^23, far inside int32.
#ifndef RIVULET_VIDEO_YCBCR_RULES_H
#define RIVULET_VIDEO_YCBCR_RULES_H

#include <cstdint>

#include "types/traits.h"

namespace rivulet {

struct YCbCrMatrices {
  int fwd[9];  // rows Y, Cb, Cr; columns R, G, B (65 129 25 / -38 -74 112 / 112 -94 -18)
  int bwd[9];  // rows R, G, B; columns Y, Cb, Cr, 14 fractional bits
  int off[3];  // 16, 128, 128
  // The luma gain of an intensity plane: the sum of the Y row, 219.
  int lumaSum() const { return fwd[0] + fwd[1] + fwd[2]; }
};

inline YCbCrMatrices loadYCbCrMatrices() {
  YCbCrMatrices m;
  for (int i = 0; i < 9; ++i) m.fwd[i] = RGBToYCbCrFixed[i], m.bwd[i] = YCbCrToRGBFixed[i];
  for (int i = 0; i < 3; ++i) m.off[i] = YCbCrOffsets[i];
  return m;
}

inline std::uint8_t clampToByte(int v) {
  return static_cast<std::uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
}

// Forward, row i (0 Y, 1 Cb, 2 Cr): ((row . (R, G, B) + 128) >> 8) + offset,
// clamped. For byte inputs the clamp never acts (Y 16..234, chroma 16..240),
// so storing the low eight bits instead gives the same byte.
inline std::uint8_t forwardYCbCr(const YCbCrMatrices& m, int i, int R, int G, int B) {
  const int* row = m.fwd + 3 * i;
  return clampToByte(((row[0] * R + row[1] * G + row[2] * B + 128) >> 8) + m.off[i]);
}

// Backward, for one luma byte and the chroma pair it shares:
//   E = (Y - 16) * 19077 + 8192 (8192 rounds the shift by 14), then
//   R = (E + (Cr - 128) * 26149) >> 14, G = (E - 6419 (Cb - 128) - 13320 (Cr - 128)) >> 14,
//   B = (E + (Cb - 128) * 33050) >> 14, each clamped to a byte (here the clamp acts).
// Written with the general 3 x 3 row; the zero entries add nothing.
struct BGR8 {
  std::uint8_t b, g, r;
};
inline BGR8 backwardYCbCr(const YCbCrMatrices& m, int Y, int Cb, int Cr) {
  const int y = Y - m.off[0], cb = Cb - m.off[1], cr = Cr - m.off[2];
  auto comp = [&](int i) {
    const int* row = m.bwd + 3 * i;
    return clampToByte((y * row[0] + 8192 + cb * row[1] + cr * row[2]) >> 14);
  };
  return BGR8{comp(2), comp(1), comp(0)};
}

// Whether the backward matrix can run as 16 x 16 -> 32-bit multiply-adds
// (the fast forms): one luma gain for R, G and B, every other entry within a
// signed 16-bit lane, except the blue row, which is halved (33050 does not
// fit) and so must be even.
inline bool backwardFitsMultiplyAdd(const YCbCrMatrices& m) {
  const int* c = m.bwd;
  auto fits = [](int v) { return v >= -32768 && v <= 32767; };
  return c[0] == c[3] && c[0] == c[6] && c[7] % 2 == 0 && c[8] % 2 == 0 && fits(c[0]) &&
         fits(c[1]) && fits(c[2]) && fits(c[4]) && fits(c[5]) && fits(c[7] / 2) && fits(c[8] / 2);
}

// Luma of a grey byte b: ((b * 219 + 128) >> 8) + 16, as its low eight bits
// (the value stays within 16..234, so nothing is lost).
inline std::uint8_t intensityLuma(const YCbCrMatrices& m, int b) {
  return static_cast<std::uint8_t>(((b * m.lumaSum() + 128) >> 8) + m.off[0]);
}

}  // namespace rivulet

#endif
