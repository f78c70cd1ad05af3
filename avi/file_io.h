// 64-bit positioning and checked transfers of the C streams of the AVI container.
#ifndef RIVULET_AVI_FILE_IO_H
#define RIVULET_AVI_FILE_IO_H

#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>

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

// Writes every byte of the 'count' pieces at 'pos' of the file 'fd', without
// moving the stream's own position. Short writes and interrupted calls are
// taken up again; false when the system refuses a byte (full file system,
// file size limit, I/O error). The pieces are consumed.
inline bool writeAllAt(int fd, std::uint64_t pos, iovec* pieces, int count) {
  while (count > 0) {
    if (pieces->iov_len == 0) {
      ++pieces;
      --count;
      continue;
    }
    if (pos > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) {
      return false;
    }
    const ssize_t done = pwritev(fd, pieces, count, static_cast<off_t>(pos));
    if (done < 0 && errno == EINTR) {
      continue;
    }
    if (done <= 0) {
      return false;
    }
    pos += static_cast<std::uint64_t>(done);
    std::size_t left = static_cast<std::size_t>(done);
    while (count > 0 && left >= pieces->iov_len) {
      left -= pieces->iov_len;
      ++pieces;
      --count;
    }
    if (count > 0) {
      pieces->iov_base = static_cast<char*>(pieces->iov_base) + left;
      pieces->iov_len -= left;
    }
  }
  return true;
}

}  // namespace avi::io

#endif  // RIVULET_AVI_FILE_IO_H
