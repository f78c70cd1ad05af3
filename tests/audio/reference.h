// Plain reference of the audio sample rules, written from the rule text one
// row at a time, byte by byte, without the library's code; and the value sets
// the tests feed through it.
#ifndef RIVULET_TESTS_AUDIO_REFERENCE_H
#define RIVULET_TESTS_AUDIO_REFERENCE_H

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "rivulet/audio.h"

namespace audioref {

inline constexpr AudioDataType kTypes[6] = {AUDIO_DOUBLE, AUDIO_SINGLE, AUDIO_INT32,
                                            AUDIO_INT24,  AUDIO_INT16,  AUDIO_UINT8};
inline int bytesOf(AudioDataType t) {
  return t == AUDIO_DOUBLE ? 8 : t == AUDIO_SINGLE || t == AUDIO_INT32 ? 4 : t == AUDIO_INT24 ? 3
         : t == AUDIO_INT16 ? 2 : 1;
}
// The AUDIO_INT24 pair is the AUDIO_INT32 pair in every table.
inline AudioDataType cellType(AudioDataType s, AudioDataType d, AudioDataType t) {
  return s == AUDIO_INT24 && d == AUDIO_INT24 ? AUDIO_INT32 : t;
}

template <typename T> T get(const std::uint8_t* p) { T v; std::memcpy(&v, p, sizeof v); return v; }
template <typename T> void put(std::uint8_t* p, T v) { std::memcpy(p, &v, sizeof v); }
// b0 * 2^8 + b1 * 2^16 + b2 * 2^24 with b2 signed; written back as bits 8 to 31.
inline std::int32_t get24(const std::uint8_t* p) {
  return p[0] * 256 + p[1] * 65536 + static_cast<std::int8_t>(p[2]) * 16777216;
}
inline void put24(std::uint8_t* p, std::int32_t v) {
  for (int k = 0; k < 3; ++k) p[k] = static_cast<std::uint8_t>(static_cast<std::uint32_t>(v) >> (8 * k + 8));
}

// Clip, then convert to an integer; a NaN or an overflowing value converts to
// the most negative int32 (whose low bits, 0, narrower results keep).
inline std::int32_t clipConvert(double p, double lo, double hi) {
  p = p > hi ? hi : p < lo ? lo : p;
  return std::isnan(p) || p >= 0x1p31 ? INT32_MIN : static_cast<std::int32_t>(p);
}

// The 6 x 6 rules: one element of type s at `in` to type d at `out`.
inline void convert(AudioDataType s, const std::uint8_t* in, AudioDataType d, std::uint8_t* out) {
  if (s == d) {
    std::memcpy(out, in, bytesOf(s));
  } else if (s == AUDIO_DOUBLE) {
    const double x = get<double>(in);
    const std::int32_t i32 = clipConvert(std::floor(x * 2147483648.0), -2147483648.0, 2147483647.0);
    if (d == AUDIO_SINGLE) put(out, static_cast<float>(x));
    if (d == AUDIO_INT32) put(out, i32);
    if (d == AUDIO_INT24) put24(out, i32);
    if (d == AUDIO_INT16) put<std::int16_t>(out, clipConvert(std::floor(x * 32768.0), -32768.0, 32767.0));
    if (d == AUDIO_UINT8) put<std::uint8_t>(out, clipConvert(x * 128.0 + 128.0, 0.0, 255.0));
  } else if (s == AUDIO_SINGLE) {  // products in single precision, no floor
    const float x = get<float>(in);
    const double p31 = x * 2147483648.0f;
    const std::int32_t i32 = p31 >= 2147483647.0 ? INT32_MAX : clipConvert(std::trunc(p31), -0x1p31, 0x1p31);
    if (d == AUDIO_DOUBLE) put(out, static_cast<double>(x));
    if (d == AUDIO_INT32) put(out, i32);
    if (d == AUDIO_INT24) put24(out, i32);
    if (d == AUDIO_INT16) put<std::int16_t>(out, clipConvert(std::trunc(x * 32768.0f), -32768.0, 32767.0));
    if (d == AUDIO_UINT8) put<std::uint8_t>(out, clipConvert(std::trunc(x * 128.0f + 128.0f), 0.0, 255.0));
  } else if (s == AUDIO_INT32 || s == AUDIO_INT24) {
    const std::int32_t x = s == AUDIO_INT32 ? get<std::int32_t>(in) : get24(in);
    if (d == AUDIO_DOUBLE) put(out, x * 4.656612873077393e-10);
    if (d == AUDIO_SINGLE) put(out, static_cast<float>(x) * static_cast<float>(4.656612873077393e-10));
    if (d == AUDIO_INT32) put(out, x);
    if (d == AUDIO_INT24) put24(out, x);
    // AUDIO_INT32 divides toward zero; AUDIO_INT24 keeps its upper bytes.
    if (d == AUDIO_INT16) put<std::int16_t>(out, s == AUDIO_INT32 ? x / 65536 : get<std::int16_t>(in + 1));
    if (d == AUDIO_UINT8) out[0] = static_cast<std::uint8_t>((s == AUDIO_INT32 ? x / 16777216 : in[2]) + 128);
  } else if (s == AUDIO_INT16) {
    const std::int16_t x = get<std::int16_t>(in);
    if (d == AUDIO_DOUBLE) put(out, x * 3.0517578125e-05);
    if (d == AUDIO_SINGLE) put(out, static_cast<float>(x) * 3.0517578125e-05f);
    if (d == AUDIO_INT32) put(out, x * 65536);
    if (d == AUDIO_INT24) out[0] = 0, out[1] = in[0], out[2] = in[1];
    if (d == AUDIO_UINT8) out[0] = static_cast<std::uint8_t>(x / 256 + 128);
  } else {
    const int x = in[0];
    if (d == AUDIO_DOUBLE) put(out, (x - 128.0) * 0.0078125);
    if (d == AUDIO_SINGLE) put(out, (static_cast<float>(x) - 128.0f) * 0.0078125f);
    if (d == AUDIO_INT32) put(out, (x - 128) * 16777216);
    if (d == AUDIO_INT24) out[0] = 0, out[1] = 0, out[2] = static_cast<std::uint8_t>(x + 128);
    if (d == AUDIO_INT16) put<std::int16_t>(out, (x - 128) * 256);
  }
}

// PCM storage of a width: 32-bit float, then the integer types.
inline AudioDataType pcmType(int bits) {
  return bits == 32 ? AUDIO_SINGLE : bits == 24 ? AUDIO_INT24 : bits == 16 ? AUDIO_INT16 : AUDIO_UINT8;
}

// One PCM sample to memory type d; false where the reader stands still (an
// out-of-range float read into an integer type). The integer widths and the
// floating destinations read as the 6 x 6 rows of the storage type do.
inline bool pcmCopy(int bits, const std::uint8_t* in, AudioDataType d, std::uint8_t* out) {
  if (bits != 32 || d == AUDIO_DOUBLE || d == AUDIO_SINGLE) return convert(pcmType(bits), in, d, out), true;
  const float x = get<float>(in);
  const bool i16 = d == AUDIO_INT16;
  const int v = x >= 1.0f ? (i16 ? 32767 : 255) : x < -1.0f ? (i16 ? -32768 : 0)
                : i16 ? clipConvert(std::trunc(x * 32768.0f), -0x1p31, 0x1p31)
                      : clipConvert(std::trunc((static_cast<double>(x) + 1.0) * 128.0), -0x1p31, 0x1p31);
  if (i16) put<std::int16_t>(out, v); else out[0] = static_cast<std::uint8_t>(v);
  return !(x >= 1.0f || x < -1.0f);
}

// One memory sample of type s to PCM of `bits`.
inline void pcmOutput(AudioDataType s, const std::uint8_t* in, int bits, std::uint8_t* out) {
  if (s == AUDIO_UINT8 || s == AUDIO_INT16) {  // 255, not 256, both ways
    const int x = s == AUDIO_UINT8 ? in[0] : get<std::int16_t>(in);
    if (s == pcmType(bits)) std::memcpy(out, in, bits / 8);
    else if (bits == 16) put<std::int16_t>(out, clipConvert(std::floor((x - 128) * 255.0), -32768.0, 32767.0));
    else out[0] = static_cast<std::uint8_t>(clipConvert(x / 255 + 128, 0.0, 255.0));
    return;
  }
  const bool dbl = s == AUDIO_DOUBLE;
  const double x = dbl ? get<double>(in) : get<float>(in);
  // floor(x * k + a), in the source's precision.
  auto fl = [&](double k, double a) {
    return dbl ? std::floor(x * k + a) : std::floor(static_cast<float>(x) * static_cast<float>(k) + static_cast<float>(a));
  };
  if (bits == 32) put(out, static_cast<float>(x));
  if (bits == 24) put24(out, clipConvert(fl(0x1p31, 0), -0x1p31, dbl ? 2147483647.0 : 0x1p31));  // single wraps
  if (bits == 16) put<std::int16_t>(out, clipConvert(fl(32768.0, 0), -32768.0, 32767.0));
  if (bits == 8) out[0] = static_cast<std::uint8_t>(clipConvert(fl(128.0, 128.0), 0.0, 255.0));
}

// ---- Values ---------------------------------------------------------------------------------

template <typename T>
void append(std::vector<std::uint8_t>& v, T x) {
  v.resize(v.size() + sizeof x);
  std::memcpy(v.data() + v.size() - sizeof x, &x, sizeof x);
}

// Every value of an n-byte integer (n <= 3), least significant byte first.
inline std::vector<std::uint8_t> everyValue(int bytes) {
  std::vector<std::uint8_t> v;
  for (std::uint32_t x = 0; x < (1u << (8 * bytes)); ++x)
    for (int k = 0; k < bytes; ++k) v.push_back(static_cast<std::uint8_t>(x >> (8 * k)));
  return v;
}

// Every value of the 8- and 16-bit types; edges of the others: signed zeros,
// +-1.0 and their neighbours, the scale steps, out of range, infinities, NaN,
// denormals, and the integer extremes.
inline std::vector<std::uint8_t> values(AudioDataType t) {
  if (t == AUDIO_UINT8 || t == AUDIO_INT16) return everyValue(bytesOf(t));
  std::vector<std::uint8_t> v;
  const double inf = std::numeric_limits<double>::infinity(), nan = std::nan("");
  const double floating[] = {0.0, -0.0, 1.0, -1.0, 0.5, -0.5, 0.25, 0.00001, -0.00001, 2.0, -2.0, 1e10,
                             -1e10, inf, -inf, nan, -nan, 0x1p-15, -0x1p-15, 0x1p-16, -0x1p-16,
                             0x1p-31, -0x1p-31, 0x1p-32, -0x1p-32, 127.0 / 128, -127.0 / 128, 127.5 / 128,
                             32767.0 / 32768, 1.0 - 0x1p-31, 1e-300, 4.9e-324};
  for (double x : floating) {
    if (t == AUDIO_DOUBLE)
      for (double y : {x, std::nextafter(x, 3.0), std::nextafter(x, -3.0)}) append(v, y);
    if (t == AUDIO_SINGLE)
      for (float y : {static_cast<float>(x), std::nextafter(static_cast<float>(x), 3.0f),
                      std::nextafter(static_cast<float>(x), -3.0f)})
        append(v, y);
  }
  for (std::int32_t x : {0, 1, -1, 255, 256, -256, -257, 65535, 65536, -65536, -65537, 16777215,
                         16777216, -16777216, -16777217, INT32_MAX, -INT32_MAX, INT32_MIN, 0x12345678,
                         -0x12345678, 0x7FFF0000, -0x7FFF0000, -0x7FFFFF00, 0xFF0000, -0x7F000100,
                         -0x54321100}) {
    if (t == AUDIO_INT32) append(v, x);
    // AUDIO_INT24: the upper three bytes.
    if (t == AUDIO_INT24) v.insert(v.end(), {std::uint8_t(x >> 8), std::uint8_t(x >> 16), std::uint8_t(x >> 24)});
  }
  return v;
}

}  // namespace audioref

#endif
