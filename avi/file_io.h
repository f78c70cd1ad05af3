// 64-bit positioning of the C streams of the AVI reader.
#ifndef RIVULET_AVI_FILE_IO_H
#define RIVULET_AVI_FILE_IO_H

#include <sys/types.h>

#include <cstdint>
#include <cstdio>
#include <limits>

namespace avi::io {

// Moves to an absolute position; false when the position cannot be reached.
inline bool seekTo(std::FILE* f, std::uint64_t pos) {
  if (pos > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) {
    return false;
  }
  return fseeko(f, static_cast<off_t>(pos), SEEK_SET) == 0;
}

// Moves by a relative offset; false on failure.
inline bool seekBy(std::FILE* f, std::int64_t offset) { return fseeko(f, static_cast<off_t>(offset), SEEK_CUR) == 0; }

// The current position, or the highest position when it cannot be told.
inline std::uint64_t position(std::FILE* f) {
  const off_t pos = ftello(f);
  return pos < 0 ? std::numeric_limits<std::uint64_t>::max() : static_cast<std::uint64_t>(pos);
}

// Reads exactly 'count' bytes; false on a short read.
inline bool readExactly(std::FILE* f, void* buffer, std::size_t count) {
  return count == 0 || std::fread(buffer, 1, count, f) == count;
}

}  // namespace avi::io

#endif  // RIVULET_AVI_FILE_IO_H
