#include "cli/layout.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace cli {
namespace {

std::uint32_t le32(const unsigned char* p) { return p[0] | p[1] << 8 | p[2] << 16 | std::uint32_t(p[3]) << 24; }

struct Closer {
  void operator()(std::FILE* f) const { std::fclose(f); }
};

bool readAt(std::FILE* f, std::uint64_t pos, void* buffer, std::size_t bytes) {
  return fseeko(f, off_t(pos), SEEK_SET) == 0 && std::fread(buffer, 1, bytes, f) == bytes;
}

// Chunks of [data, data + size) in a header list; lists are entered up to
// a few levels deep.
void walkHeader(const unsigned char* data, std::size_t size, int depth, bool inVideoList, Layout& layout) {
  bool video = inVideoList;
  for (std::size_t pos = 0; pos + 8 <= size;) {
    const unsigned char* chunk = data + pos;
    std::size_t length = std::min<std::size_t>(le32(chunk + 4), size - pos - 8);
    if (std::memcmp(chunk, "LIST", 4) == 0 && length >= 4 && depth < 4) {
      walkHeader(chunk + 12, length - 4, depth + 1, false, layout);
    } else if (std::memcmp(chunk, "indx", 4) == 0) {
      layout.openDmlIndex = true;
    } else if (std::memcmp(chunk, "strh", 4) == 0 && length >= 4) {
      video = std::memcmp(chunk + 8, "vids", 4) == 0;
    } else if (std::memcmp(chunk, "strf", 4) == 0 && video && length >= 12) {
      layout.topDown = std::int32_t(le32(chunk + 16)) < 0;
    }
    pos += 8 + length + (length & 1);
  }
}

}  // namespace

Layout readLayout(const std::string& path) {
  Layout layout;
  std::unique_ptr<std::FILE, Closer> f(std::fopen(path.c_str(), "rb"));
  if (!f || fseeko(f.get(), 0, SEEK_END) != 0) return layout;
  layout.size = std::uint64_t(ftello(f.get()));
  unsigned char head[12];
  // A RIFF segment is a handful of top-level chunks; anything else ends the walk.
  for (std::uint64_t pos = 0; pos + 12 <= layout.size && layout.segments < (1u << 20) && readAt(f.get(), pos, head, 12);) {
    if (std::memcmp(head, "RIFF", 4) != 0) break;
    std::uint64_t size = le32(head + 4);
    std::uint64_t end = std::min(pos + 8 + size, layout.size);
    if (layout.segments++ == 0) {
      for (std::uint64_t child = pos + 12; child + 12 <= end && readAt(f.get(), child, head, 12);) {
        std::uint64_t length = le32(head + 4);
        if (std::memcmp(head, "idx1", 4) == 0) layout.legacyIndex = true;
        if (std::memcmp(head, "LIST", 4) == 0 && std::memcmp(head + 8, "hdrl", 4) == 0) {
          // Headers are small: a few kilobytes, or a few hundred with room for
          // super indexes. Larger claims are read only as far as the file goes.
          std::size_t bytes = std::size_t(std::min<std::uint64_t>({length - 4, end - child - 12, 64u << 20}));
          std::vector<unsigned char> hdrl(bytes);
          if (length >= 4 && readAt(f.get(), child + 12, hdrl.data(), bytes))
            walkHeader(hdrl.data(), bytes, 0, false, layout);
        }
        child += 8 + length + (length & 1);
      }
    }
    pos += 8 + size + (size & 1);
  }
  return layout;
}

}  // namespace cli
