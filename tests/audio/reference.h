// Plain reference of the audio sample rules, written from the rule text one
// cell at a time and byte by byte, without the library's code. The tests run
// the library's routines and compare every element with these.
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
  switch (t) {
    case AUDIO_DOUBLE: return 8;
    case AUDIO_SINGLE: return 4;
    case AUDIO_INT32: return 4;
    case AUDIO_INT24: return 3;
    case AUDIO_INT16: return 2;
    case AUDIO_UINT8: return 1;
    default: return 0;
  }
}

inline const char* nameOf(AudioDataType t) {
  switch (t) {
    case AUDIO_DOUBLE: return "DOUBLE";
    case AUDIO_SINGLE: return "SINGLE";
    case AUDIO_INT32: return "INT32";
    case AUDIO_INT24: return "INT24";
    case AUDIO_INT16: return "INT16";
    case AUDIO_UINT8: return "UINT8";
    default: return "?";
  }
}

template <typename T>
T get(const std::uint8_t* p) {
  T v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
template <typename T>
void put(std::uint8_t* p, T v) {
  std::memcpy(p, &v, sizeof v);
}
// Bits 8 to 31 of a 32-bit value as three bytes.
inline void put24(std::uint8_t* p, std::int32_t v) {
  std::uint8_t b[4];
  std::memcpy(b, &v, 4);
  p[0] = b[1];
  p[1] = b[2];
  p[2] = b[3];
}
// b0 * 256 + b1 * 65536 + b2 * 16777216, b2 signed.
inline std::int32_t get24(const std::uint8_t* p) {
  return static_cast<std::int32_t>(std::int64_t{p[0]} * 256 + std::int64_t{p[1]} * 65536 +
                                   std::int64_t{static_cast<std::int8_t>(p[2])} * 16777216);
}

constexpr std::int32_t kMin32 = std::numeric_limits<std::int32_t>::min();

// Clip to [lo, hi], then convert; NaN gives the most negative int32 (and its
// low bits, zero, for narrower results).
inline std::int32_t clipConvert(double p, double lo, double hi) {
  if (std::isnan(p)) return kMin32;
  if (p > hi) p = hi;
  if (p < lo) p = lo;
  return static_cast<std::int32_t>(p);
}

// Bytes and element size of a table cell: AUDIO_INT24 to AUDIO_INT24 is the
// AUDIO_INT32 pair.
inline AudioDataType cellType(AudioDataType s, AudioDataType d, AudioDataType t) {
  return (s == AUDIO_INT24 && d == AUDIO_INT24) ? AUDIO_INT32 : t;
}

// One element of type s at `in` converted to type d at `out`.
inline void convert(AudioDataType s, const std::uint8_t* in, AudioDataType d, std::uint8_t* out) {
  if (s == d) {
    std::memcpy(out, in, bytesOf(s));
    return;
  }
  switch (s) {
    case AUDIO_DOUBLE: {
      const double x = get<double>(in);
      switch (d) {
        case AUDIO_SINGLE: put(out, static_cast<float>(x)); return;
        case AUDIO_INT32: put(out, clipConvert(std::floor(x * 2147483648.0), -2147483648.0, 2147483647.0)); return;
        case AUDIO_INT24: put24(out, clipConvert(std::floor(x * 2147483648.0), -2147483648.0, 2147483647.0)); return;
        case AUDIO_INT16: put(out, static_cast<std::int16_t>(clipConvert(std::floor(x * 32768.0), -32768.0, 32767.0))); return;
        case AUDIO_UINT8: put(out, static_cast<std::uint8_t>(clipConvert(x * 128.0 + 128.0, 0.0, 255.0))); return;
        default: break;
      }
      break;
    }
    case AUDIO_SINGLE: {
      const float x = get<float>(in);
      switch (d) {
        case AUDIO_DOUBLE: put(out, static_cast<double>(x)); return;
        case AUDIO_INT32:
        case AUDIO_INT24: {
          const double p = static_cast<double>(x * 2147483648.0f);
          std::int32_t v;
          if (p >= 2147483647.0) v = 2147483647;
          else if (p < -2147483648.0 || std::isnan(p)) v = kMin32;
          else v = static_cast<std::int32_t>(std::trunc(p));
          if (d == AUDIO_INT32) put(out, v); else put24(out, v);
          return;
        }
        case AUDIO_INT16: {
          const double p = static_cast<double>(x * 32768.0f);
          std::int16_t v;
          if (p > 32767.0) v = 32767;
          else if (p < -32768.0) v = -32768;
          else if (std::isnan(p)) v = 0;
          else v = static_cast<std::int16_t>(std::trunc(p));
          put(out, v);
          return;
        }
        case AUDIO_UINT8: {
          const double p = static_cast<double>(x * 128.0f + 128.0f);
          std::uint8_t v;
          if (p > 255.0) v = 255;
          else if (p < 0.0) v = 0;
          else if (std::isnan(p)) v = 0;
          else v = static_cast<std::uint8_t>(std::trunc(p));
          put(out, v);
          return;
        }
        default: break;
      }
      break;
    }
    case AUDIO_INT32: {
      const std::int32_t x = get<std::int32_t>(in);
      switch (d) {
        case AUDIO_DOUBLE: put(out, x * 0x1p-31); return;
        case AUDIO_SINGLE: put(out, static_cast<float>(x) * 0x1p-31f); return;
        case AUDIO_INT24: std::memcpy(out, in + 1, 3); return;  // low byte dropped
        case AUDIO_INT16: put(out, static_cast<std::int16_t>(x / 65536)); return;
        case AUDIO_UINT8: put(out, static_cast<std::uint8_t>((x / 16777216 + 128) & 255)); return;
        default: break;
      }
      break;
    }
    case AUDIO_INT24: {
      const std::int32_t x = get24(in);
      switch (d) {
        case AUDIO_DOUBLE: put(out, x * 0x1p-31); return;
        case AUDIO_SINGLE: put(out, static_cast<float>(x) * 0x1p-31f); return;
        case AUDIO_INT32: out[0] = 0; std::memcpy(out + 1, in, 3); return;
        case AUDIO_INT16: out[0] = in[1]; out[1] = in[2]; return;
        case AUDIO_UINT8: out[0] = static_cast<std::uint8_t>((in[2] + 128) & 255); return;
        default: break;
      }
      break;
    }
    case AUDIO_INT16: {
      const std::int16_t x = get<std::int16_t>(in);
      switch (d) {
        case AUDIO_DOUBLE: put(out, x * 0x1p-15); return;
        case AUDIO_SINGLE: put(out, static_cast<float>(x) * 0x1p-15f); return;
        case AUDIO_INT32: put(out, static_cast<std::int32_t>(x) * 65536); return;
        case AUDIO_INT24: out[0] = 0; out[1] = in[0]; out[2] = in[1]; return;
        case AUDIO_UINT8: put(out, static_cast<std::uint8_t>((x / 256 + 128) & 255)); return;
        default: break;
      }
      break;
    }
    case AUDIO_UINT8: {
      const int x = in[0];
      switch (d) {
        case AUDIO_DOUBLE: put(out, (x - 128.0) * 0.0078125); return;
        case AUDIO_SINGLE: put(out, (static_cast<float>(x) - 128.0f) * 0.0078125f); return;
        case AUDIO_INT32: put(out, (x - 128) * 16777216); return;
        case AUDIO_INT24: out[0] = 0; out[1] = 0; out[2] = static_cast<std::uint8_t>((x + 128) & 255); return;
        case AUDIO_INT16: put(out, static_cast<std::int16_t>((x - 128) * 256)); return;
        default: break;
      }
      break;
    }
    default: break;
  }
  std::abort();
}

// ---- PCM ------------------------------------------------------------------------------------

// One PCM sample of `bits` (8, 16, 24, 32) to memory type d. Returns whether
// the reader moves on (false only for an out-of-range float read into an
// integer type).
inline bool pcmCopy(int bits, const std::uint8_t* in, AudioDataType d, std::uint8_t* out) {
  switch (bits) {
    case 32: {
      const float x = get<float>(in);
      if (d == AUDIO_DOUBLE) { put(out, static_cast<double>(x)); return true; }
      if (d == AUDIO_SINGLE) { put(out, x); return true; }
      if (d == AUDIO_INT16) {
        if (x >= 1.0f) { put<std::int16_t>(out, 32767); return false; }
        if (x < -1.0f) { put<std::int16_t>(out, -32768); return false; }
        put(out, std::isnan(x) ? std::int16_t{0} : static_cast<std::int16_t>(std::trunc(x * 32768.0f)));
        return true;
      }
      if (x >= 1.0f) { out[0] = 255; return false; }
      if (x < -1.0f) { out[0] = 0; return false; }
      out[0] = std::isnan(x) ? 0 : static_cast<std::uint8_t>(std::trunc((static_cast<double>(x) + 1.0) * 128.0));
      return true;
    }
    case 24: {
      const std::int32_t s = get24(in);
      if (d == AUDIO_DOUBLE) put(out, s * 4.656612873077393e-10);
      else if (d == AUDIO_SINGLE) put(out, static_cast<float>(s) * static_cast<float>(4.656612873077393e-10));
      else if (d == AUDIO_UINT8) out[0] = static_cast<std::uint8_t>((in[2] + 128) % 256);
      else { out[0] = in[1]; out[1] = in[2]; }
      return true;
    }
    case 16: {
      const std::int16_t x = get<std::int16_t>(in);
      if (d == AUDIO_DOUBLE) put(out, x * 3.0517578125e-05);
      else if (d == AUDIO_SINGLE) put(out, static_cast<float>(x) * 3.0517578125e-05f);
      else if (d == AUDIO_UINT8) out[0] = static_cast<std::uint8_t>((x / 256 + 128) % 256);
      else put(out, x);
      return true;
    }
    default: {
      const int x = in[0];
      if (d == AUDIO_DOUBLE) put(out, (x - 128.0) * 0.0078125);
      else if (d == AUDIO_SINGLE) put(out, (static_cast<float>(x) - 128.0f) * 0.0078125f);
      else if (d == AUDIO_UINT8) out[0] = in[0];
      else put(out, static_cast<std::int16_t>((x - 128) * 256));
      return true;
    }
  }
}

// One memory sample of type s to PCM of `bits`.
inline void pcmOutput(AudioDataType s, const std::uint8_t* in, int bits, std::uint8_t* out) {
  if (s == AUDIO_DOUBLE) {
    const double x = get<double>(in);
    if (bits == 32) put(out, static_cast<float>(x));
    else if (bits == 24) put24(out, clipConvert(std::floor(x * 2147483648.0), -2147483648.0, 2147483647.0));
    else if (bits == 16) put(out, static_cast<std::int16_t>(clipConvert(std::floor(x * 32768.0), -32768.0, 32767.0)));
    else out[0] = static_cast<std::uint8_t>(clipConvert(std::floor(x * 128.0 + 128.0), 0.0, 255.0));
  } else if (s == AUDIO_SINGLE) {
    const float x = get<float>(in);
    if (bits == 32) {
      put(out, x);
    } else if (bits == 24) {
      const float p = std::floor(x * 2147483648.0f);
      // Clipped to [-2^31, +2^31]; +2^31 and NaN convert to the most negative value.
      std::int32_t v;
      if (std::isnan(p) || p >= 2147483648.0f) v = kMin32;
      else if (p < -2147483648.0f) v = kMin32;
      else v = static_cast<std::int32_t>(p);
      put24(out, v);
    } else if (bits == 16) {
      put(out, static_cast<std::int16_t>(clipConvert(std::floor(x * 32768.0f), -32768.0, 32767.0)));
    } else {
      out[0] = static_cast<std::uint8_t>(clipConvert(std::floor(x * 128.0f + 128.0f), 0.0, 255.0));
    }
  } else if (s == AUDIO_UINT8) {
    if (bits == 16) put(out, static_cast<std::int16_t>(std::floor((in[0] - 128) * 255.0)));
    else out[0] = in[0];
  } else {
    const std::int16_t x = get<std::int16_t>(in);
    if (bits == 16) {
      put(out, x);
    } else {
      int v = x / 255 + 128;
      out[0] = static_cast<std::uint8_t>(v > 255 ? 255 : v < 0 ? 0 : v);
    }
  }
}

// ---- Test data ------------------------------------------------------------------------------

// Every value of an 8- or 16-bit type, as a buffer of that type.
inline std::vector<std::uint8_t> everyValue(AudioDataType t) {
  std::vector<std::uint8_t> v;
  if (t == AUDIO_UINT8) {
    for (int i = 0; i < 256; ++i) v.push_back(static_cast<std::uint8_t>(i));
  } else {
    for (int i = 0; i < 65536; ++i) {
      v.push_back(static_cast<std::uint8_t>(i));
      v.push_back(static_cast<std::uint8_t>(i >> 8));
    }
  }
  return v;
}

// Edge values of the types that can't be swept, as buffers of that type.
inline std::vector<std::uint8_t> edgeValues(AudioDataType t) {
  std::vector<std::uint8_t> v;
  auto add = [&v](auto x) {
    const std::size_t at = v.size();
    v.resize(at + sizeof x);
    std::memcpy(v.data() + at, &x, sizeof x);
  };
  if (t == AUDIO_DOUBLE) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    for (double x : {0.0, -0.0, 1.0, -1.0, 0.5, -0.5, 0.25, 1e-300, -1e-300, 0.00001, -0.00001,
                     std::nextafter(1.0, 0.0), std::nextafter(1.0, 2.0),
                     std::nextafter(-1.0, 0.0), std::nextafter(-1.0, -2.0), 2.0, -2.0, 1e10,
                     -1e10, inf, -inf, nan, -nan, 0x1p-15, -0x1p-15, 0x1p-16, -0x1p-16,
                     0x1p-31, -0x1p-31, 0x1p-32, -0x1p-32, 32767.0 / 32768, 127.0 / 128,
                     -127.0 / 128, 0.9999999999, -0.9999999999, 1.0 - 0x1p-31, 4.9e-324})
      add(x);
  } else if (t == AUDIO_SINGLE) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    for (float x : {0.0f, -0.0f, 1.0f, -1.0f, 0.5f, -0.5f, 0.00001f, -0.00001f,
                    std::nextafter(1.0f, 0.0f), std::nextafter(1.0f, 2.0f),
                    std::nextafter(-1.0f, 0.0f), std::nextafter(-1.0f, -2.0f), 2.0f, -2.0f,
                    1e10f, -1e10f, inf, -inf, nan, -nan, 0x1p-15f, -0x1p-15f, 0x1p-16f,
                    -0x1p-16f, 0x1p-31f, -0x1p-31f, 1e-45f, -1e-45f, 127.5f / 128, 0.99999994f})
      add(x);
  } else if (t == AUDIO_INT32) {
    for (std::int32_t x : {0, 1, -1, 255, 256, -256, -257, 65535, 65536, -65536, -65537,
                           16777215, 16777216, -16777216, -16777217, 2147483647, -2147483647,
                           kMin32, 0x12345678, -0x12345678, 0x7FFF0000, -0x7FFF0000})
      add(x);
  } else if (t == AUDIO_INT24) {
    for (std::uint32_t x : {0x000000u, 0x000001u, 0xFFFFFFu, 0x7FFFFFu, 0x800000u, 0x800001u,
                            0x00FF00u, 0x0000FFu, 0xFF0000u, 0x123456u, 0xABCDEFu, 0x7F0000u,
                            0x80FFFFu})
      for (int k = 0; k < 3; ++k) v.push_back(static_cast<std::uint8_t>(x >> (8 * k)));
  } else {
    return everyValue(t);
  }
  return v;
}

}  // namespace audioref

#endif
