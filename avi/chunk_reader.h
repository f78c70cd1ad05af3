// Buffered reading of the AVI reader's walks: chunk headers and index entries
// are taken from a block buffer filled with pread(), so stepping over a chunk
// costs no system call unless it leaves the buffer. The C stream's own
// position is neither used nor moved.
#ifndef RIVULET_AVI_CHUNK_READER_H
#define RIVULET_AVI_CHUNK_READER_H

#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>

namespace avi::io {

// Exactly 'count' bytes at file position 'at', by pread(): one system call
// for a small read, and the C stream's position and buffer stay untouched.
// False on a short read or a position past the range of a file position.
inline bool readAt(std::FILE* f, void* out, std::uint64_t count, std::uint64_t at) {
  constexpr std::uint64_t kMaxPosition = static_cast<std::uint64_t>(std::numeric_limits<off_t>::max());
  unsigned char* o = static_cast<unsigned char*>(out);
  const int fd = fileno(f);
  while (count > 0) {
    if (at > kMaxPosition) {
      return false;
    }
    const std::size_t piece = static_cast<std::size_t>(count < (1u << 30) ? count : (1u << 30));
    const ssize_t n = pread(fd, o, piece, static_cast<off_t>(at));
    if (n < 0 && errno == EINTR) {
      continue;
    }
    if (n <= 0) {
      return false;
    }
    o += n;
    at += static_cast<std::uint64_t>(n);
    count -= static_cast<std::uint64_t>(n);
  }
  return true;
}

class ChunkReader {
 public:
  static constexpr std::size_t kBlock = 1u << 17;

  // 'fileLength' sizes the buffer: a small file needs no full block.
  ChunkReader(std::FILE* f, std::uint64_t fileLength)
      : fd(fileno(f)),
        capacity(fileLength < kBlock ? static_cast<std::size_t>(fileLength) + 16 : kBlock),
        buffer(new unsigned char[capacity]) {}

  std::uint64_t position() const { return pos; }

  // Moves to an absolute position; nothing is read until the next read.
  void seek(std::uint64_t to) { pos = to; }

  // Moves on by 'count' bytes; false when the position would leave the range
  // of a file position.
  bool skip(std::uint64_t count) {
    if (count > kMaxPosition - pos) {
      return false;
    }
    pos += count;
    return true;
  }

  // The next 'count' bytes (at most 16, or the buffer's capacity), valid until the next call, or
  // null on a short read. The position moves past them.
  const unsigned char* next(std::size_t count) {
    if (pos < start || pos - start + count > length) {
      if (!fill(count)) {
        return nullptr;
      }
    }
    const unsigned char* p = buffer.get() + (pos - start);
    pos += count;
    return p;
  }

  // The bytes buffered from the position on, filling the buffer first when it
  // holds none; 'count' is 0 at the end of the file. The position stays.
  const unsigned char* window(std::size_t* count) {
    if (pos < start || pos >= start + length) {
      if (!fill(1)) {
        *count = 0;
        return nullptr;
      }
    }
    *count = static_cast<std::size_t>(start + length - pos);
    return buffer.get() + (pos - start);
  }

  // Exactly 'count' bytes into 'out'; false on a short read.
  bool read(void* out, std::uint64_t count) {
    unsigned char* o = static_cast<unsigned char*>(out);
    while (count > 0) {
      if (pos >= start && pos < start + length) {
        const std::uint64_t have = start + length - pos;
        const std::size_t take = static_cast<std::size_t>(have < count ? have : count);
        std::memcpy(o, buffer.get() + (pos - start), take);
        o += take;
        pos += take;
        count -= take;
        continue;
      }
      if (count >= capacity) {
        // A large read bypasses the buffer.
        const std::size_t take = static_cast<std::size_t>(count > kMaxRead ? kMaxRead : count);
        const std::size_t got = readAt(o, take, pos);
        if (got == 0) {
          return false;
        }
        o += got;
        pos += got;
        count -= got;
        continue;
      }
      if (!fill(1)) {
        return false;
      }
    }
    return true;
  }

 private:
  static constexpr std::uint64_t kMaxPosition = static_cast<std::uint64_t>(std::numeric_limits<off_t>::max());
  static constexpr std::size_t kMaxRead = 1u << 30;

  // Reads up to 'count' bytes at 'at'; 0 at the end of the file or on an error.
  std::size_t readAt(unsigned char* out, std::size_t count, std::uint64_t at) {
    if (at > kMaxPosition) {
      return 0;
    }
    for (;;) {
      const ssize_t n = pread(fd, out, count, static_cast<off_t>(at));
      if (n >= 0) {
        return static_cast<std::size_t>(n);
      }
      if (errno != EINTR) {
        return 0;
      }
    }
  }

  // Refills the buffer from the position so that it holds at least 'need' bytes.
  bool fill(std::size_t need) {
    start = pos;
    length = 0;
    if (need > capacity) {
      return false;
    }
    while (length < need) {
      const std::size_t got = readAt(buffer.get() + length, capacity - length, start + length);
      if (got == 0) {
        return false;
      }
      length += got;
    }
    return true;
  }

  int fd;
  std::size_t capacity;
  std::unique_ptr<unsigned char[]> buffer;
  std::uint64_t start = 0;  // file position of buffer[0]
  std::size_t length = 0;   // valid bytes in the buffer
  std::uint64_t pos = 0;
};

}  // namespace avi::io

#endif  // RIVULET_AVI_CHUNK_READER_H
