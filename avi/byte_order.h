// Byte-order helpers of the AVI container. Every multi-byte value on disk is
// read or written through them, byte by byte, so nothing depends on the host's
// byte order or on the alignment of a buffer.
#ifndef RIVULET_AVI_BYTE_ORDER_H
#define RIVULET_AVI_BYTE_ORDER_H

#include <cstdint>

namespace avi {

inline std::uint16_t readLE16(const void* p) {
  const unsigned char* b = static_cast<const unsigned char*>(p);
  return static_cast<std::uint16_t>(b[0] | (b[1] << 8));
}

inline std::uint32_t readLE32(const void* p) {
  const unsigned char* b = static_cast<const unsigned char*>(p);
  return static_cast<std::uint32_t>(b[0]) | (static_cast<std::uint32_t>(b[1]) << 8) |
         (static_cast<std::uint32_t>(b[2]) << 16) | (static_cast<std::uint32_t>(b[3]) << 24);
}

inline std::uint64_t readLE64(const void* p) {
  const unsigned char* b = static_cast<const unsigned char*>(p);
  return static_cast<std::uint64_t>(readLE32(b)) | (static_cast<std::uint64_t>(readLE32(b + 4)) << 32);
}

// The encoders: the value, least significant byte first, at 'p'.
inline void putLE16(void* p, std::uint16_t v) {
  unsigned char* b = static_cast<unsigned char*>(p);
  b[0] = static_cast<unsigned char>(v);
  b[1] = static_cast<unsigned char>(v >> 8);
}

inline void putLE32(void* p, std::uint32_t v) {
  unsigned char* b = static_cast<unsigned char*>(p);
  putLE16(b, static_cast<std::uint16_t>(v));
  putLE16(b + 2, static_cast<std::uint16_t>(v >> 16));
}

inline void putLE64(void* p, std::uint64_t v) {
  unsigned char* b = static_cast<unsigned char*>(p);
  putLE32(b, static_cast<std::uint32_t>(v));
  putLE32(b + 4, static_cast<std::uint32_t>(v >> 32));
}

// A RIFF chunk size: odd sizes are followed by one pad byte, so the walk steps
// by the size rounded up to even. Widened so that 0xFFFFFFFF becomes 2^32
// rather than wrapping to 0.
inline std::uint64_t readChunkSize(const void* p) {
  const std::uint64_t size = readLE32(p);
  return size + (size & 1);
}

// The value, least significant byte first, and a terminating zero, in a
// scratch area of the calling thread that the next call overwrites.
// encodeLE32 also turns a chunk id into four characters of text.
const char* encodeLE16(std::uint16_t value);
const char* encodeLE32(std::uint32_t value);
const char* encodeLE64(std::uint64_t value);

// Four bytes of 'p' equal the four characters of the FourCC 'id'.
inline bool isFourCC(const void* p, const char* id) {
  const unsigned char* b = static_cast<const unsigned char*>(p);
  return b[0] == static_cast<unsigned char>(id[0]) && b[1] == static_cast<unsigned char>(id[1]) &&
         b[2] == static_cast<unsigned char>(id[2]) && b[3] == static_cast<unsigned char>(id[3]);
}

}  // namespace avi

#endif  // RIVULET_AVI_BYTE_ORDER_H
