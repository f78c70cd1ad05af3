// Fast forms of the byte (VIDEO_UINT8) row kernels of frame_kernels.h. Each
// does the leading whole blocks of a run and returns how many units (pixels
// or pairs) it did; the caller finishes the rest with the plain form. The set
// is picked once, from what the CPU reports, when the library is loaded; a
// build with RIVULET_NO_SIMD, or a CPU without the instructions, gets forms
// that do nothing.
#ifndef RIVULET_VIDEO_FRAME_KERNELS_SIMD_H
#define RIVULET_VIDEO_FRAME_KERNELS_SIMD_H

#include <cstdint>
#include <cstring>

#include "video/ycbcr_rules.h"

namespace rivulet {

// Whether the 16-bit forward forms hold matrices m exactly. In wrapping
// 16-bit lanes only the final sum of a row must fit: unsigned for the luma
// row (no negative coefficient, largest sum below 65536), signed for the
// chroma rows (the sums of the negative and of the positive coefficients
// times 255, plus 128, within -32768..32767); the offsets are bytes.
// Defined in plain code, for the forms of every width.
bool forwardFitsInt16(const YCbCrMatrices& m);

// The forward transform in wrapping 16-bit lanes, written once for any
// width: Ops gives the vector type and its 16-bit operations. Each SIMD
// source instantiates it with its own Ops; `ok` says whether the matrices
// fit (forwardFitsInt16), and a form that finds them not doing returns 0.
template <typename Ops>
struct Forward16 {
  using V = typename Ops::V;
  V c[9], off[3];
  bool ok;
  explicit Forward16(const YCbCrMatrices& m) : ok(forwardFitsInt16(m)) {
    for (int i = 0; i < 9; ++i) c[i] = Ops::set1(static_cast<short>(m.fwd[i]));
    for (int i = 0; i < 3; ++i) off[i] = Ops::set1(static_cast<short>(m.off[i]));
  }
  V sum(int row, V r, V g, V b) const {
    const V s = Ops::add(Ops::add(Ops::mul(r, c[3 * row]), Ops::mul(g, c[3 * row + 1])), Ops::mul(b, c[3 * row + 2]));
    return Ops::add(s, Ops::set1(128));
  }
  // Luma, clamped to 255 (it cannot fall below the offset).
  V luma(V r, V g, V b) const { return Ops::minU(Ops::add(Ops::shiftRight(sum(0, r, g, b)), off[0]), Ops::set1(255)); }
  // Chroma row 1 or 2, arithmetic shift; the unsigned pack clamps later.
  V chroma(int row, V r, V g, V b) const { return Ops::add(Ops::shiftRightSigned(sum(row, r, g, b)), off[row]); }
};

// A 256-entry widening table of 2-, 4- or 8-byte samples split into byte planes:
// plane[j][i] is byte j (little-endian) of entry i, for the byte-permute
// look-ups of the fast widening forms.
struct WidenPlanes {
  alignas(64) std::uint8_t plane[8][256];
  // Bit j set where plane j is not all zero (the low bytes of a widened
  // single or of a shifted integer are): the others need no look-up.
  unsigned used;
};

// 1 / range when that is exact (range a power of two whose reciprocal is a
// normal single), else 0. Then x / range and x * (1 / range) are the same
// rounding of the same real number, so the narrowing may multiply.
inline float exactReciprocal(float range) {
  std::uint32_t bits;
  std::memcpy(&bits, &range, sizeof bits);
  const std::uint32_t exponent = bits >> 23;  // sign bit included: positive only
  return (bits & 0x7FFFFF) == 0 && exponent >= 2 && exponent <= 253 ? 1.0f / range : 0.0f;
}

struct FrameSimd {
  // Byte planes to BGR pixels (blue, green, red): n pixels.
  int (*mergeBGR)(const std::uint8_t* red, const std::uint8_t* green, const std::uint8_t* blue,
                  std::uint8_t* out, int n);
  // YUY2 macro-pixels to Y, Cb, Cr byte runs, and back: pairs.
  int (*yuy2ToPlanes)(const std::uint8_t* f, std::uint8_t* y, std::uint8_t* cb, std::uint8_t* cr,
                      int pairs);
  int (*planesToYUY2)(const std::uint8_t* y, const std::uint8_t* cb, const std::uint8_t* cr,
                      std::uint8_t* out, int pairs);
  // YUY2 macro-pixels to R, G, B byte runs by the backward transform: pairs.
  int (*yuy2ToRGB)(const std::uint8_t* f, std::uint8_t* red, std::uint8_t* green,
                   std::uint8_t* blue, int pairs, const YCbCrMatrices& m);
  // Y, Cb, Cr byte runs to BGR pixels by the backward transform: pairs.
  int (*ycbcrToBGR)(const std::uint8_t* y, const std::uint8_t* cb, const std::uint8_t* cr,
                    std::uint8_t* out, int pairs, const YCbCrMatrices& m);
  // BGR pixels to Y, Cb, Cr byte runs by the forward transform: pairs.
  int (*bgrToYCbCr)(const std::uint8_t* bgr, std::uint8_t* y, std::uint8_t* cb, std::uint8_t* cr,
                    int pairs, const YCbCrMatrices& m);
  // Narrowing of n samples to bytes by the saturating single-precision rule,
  // with the type's min (lo) and max - min (range) as single: float, double
  // and int32 samples.
  int (*narrowSingle)(const float* src, std::uint8_t* dst, int n, float lo, float range);
  int (*narrowDouble)(const double* src, std::uint8_t* dst, int n, float lo, float range);
  int (*narrowInt32)(const std::int32_t* src, std::uint8_t* dst, int n, float lo, float range);
  // Widening of n bytes to 2-, 4- or 8-byte samples by the table t. A form
  // that does the whole run writes dst's whole 64-byte lines with aligned
  // stores, past the caches with `stream`, and masks the partial ones.
  int (*widen2)(const std::uint8_t* src, void* dst, int n, const WidenPlanes& t, bool stream);
  int (*widen4)(const std::uint8_t* src, void* dst, int n, const WidenPlanes& t, bool stream);
  int (*widen8)(const std::uint8_t* src, void* dst, int n, const WidenPlanes& t, bool stream);
  // YUY2 macro-pixels straight to Y, Cb, Cr runs of 4- or 8-byte samples
  // widened by the table t: pairs.
  int (*yuy2ToPlanes4)(const std::uint8_t* f, void* y, void* cb, void* cr, int pairs,
                       const WidenPlanes& t);
  int (*yuy2ToPlanes8)(const std::uint8_t* f, void* y, void* cb, void* cr, int pairs,
                       const WidenPlanes& t);
};

// The set picked for this machine.
const FrameSimd& frameSimd();
// Every set this machine runs, the picked one last (for tests that hold each
// against the plain forms).
int frameSimdSets(const FrameSimd* (&sets)[4]);
// The set that does nothing (every run left to the plain forms).
const FrameSimd& frameSimdNone();

}  // namespace rivulet

#endif
