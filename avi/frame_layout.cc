#include "avi/frame_layout.h"

#include <immintrin.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "avi/byte_order.h"
#include "types/cpu.h"

namespace avi::layout {

void convertFrameToBottomUp(char* frame, std::uint32_t frameSize, std::uint32_t height, char* scratch,
                            std::uint64_t scratchSize) {
  // The row length takes in any padding of the stored rows, as it comes from
  // the size of the whole frame. An odd height keeps its middle row. A height
  // above the frame's byte count gives rows of no bytes, whose swaps change
  // nothing: skipping them keeps a huge height from looping for nothing.
  const std::size_t row = height == 0 ? 0 : frameSize / height;
  if (height < 2 || row == 0) {
    return;
  }
  for (std::uint32_t i = 0; i < height / 2; ++i) {
    char* top = frame + static_cast<std::size_t>(i) * row;
    char* bottom = frame + static_cast<std::size_t>(height - 1 - i) * row;
    if (scratch != nullptr && scratchSize >= row) {
      std::memcpy(scratch, top, row);
      std::memcpy(top, bottom, row);
      std::memcpy(bottom, scratch, row);
    } else {
      std::swap_ranges(top, top + row, bottom);
    }
  }
}

namespace {

// Four 32-bit pixels to twelve bytes. The group is loaded whole before any
// byte is stored, so it may overlap its destination, which starts no later.
inline void shrinkGroupOf4(const char* src, char* dst) {
  char in[16], out[12];
  std::memcpy(in, src, 16);
  for (int k = 0; k < 4; ++k) {
    out[3 * k] = in[4 * k];
    out[3 * k + 1] = in[4 * k + 1];
    out[3 * k + 2] = in[4 * k + 2];
  }
  std::memcpy(dst, out, 12);
}

// Four 16-bit pixels to twelve bytes, loaded whole before any store: the
// destination starts no earlier than the source when walking backwards.
inline void expandGroupOf4(const char* src, char* dst) {
  char in[8];
  unsigned char out[12];
  std::memcpy(in, src, 8);
  for (int k = 0; k < 4; ++k) expandRgb555(readLE16(in + 2 * k), out + 3 * k);
  std::memcpy(dst, out, 12);
}

// ---- SSSE3 forms, picked at run time. Each works on a whole group whose
// loads all happen before its stores, and is used only where that gives the
// same bytes as the pixel-by-pixel walk.

bool haveSsse3() { return rivulet::simdAtLeast(rivulet::Simd::kSsse3); }

// Sixteen 32-bit pixels (64 bytes) to 48 bytes.
[[gnu::target("ssse3")]] void shrinkGroupOf16(const char* src, char* dst) {
  const __m128i drop4th = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
  __m128i a[4];
  for (int k = 0; k < 4; ++k)
    a[k] = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 16 * k)), drop4th);
  const __m128i o0 = _mm_or_si128(a[0], _mm_slli_si128(a[1], 12));
  const __m128i o1 = _mm_or_si128(_mm_srli_si128(a[1], 4), _mm_slli_si128(a[2], 8));
  const __m128i o2 = _mm_or_si128(_mm_srli_si128(a[2], 8), _mm_slli_si128(a[3], 4));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), o0);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 16), o1);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 32), o2);
}

// pshufb masks that lay out eight pixels as blue, green, red triples: blue and
// green come interleaved in 'bg' (bytes 2k, 2k + 1), red in 'r' (byte k).
struct TripleMasks {
  alignas(16) std::int8_t bg[2][16];
  alignas(16) std::int8_t r[2][16];
  constexpr TripleMasks() : bg{}, r{} {
    for (int j = 0; j < 32; ++j) {
      const int k = j / 3, t = j % 3, half = j / 16, at = j % 16;
      const bool inside = j < 24;
      bg[half][at] = static_cast<std::int8_t>(inside && t < 2 ? 2 * k + t : -1);
      r[half][at] = static_cast<std::int8_t>(inside && t == 2 ? k : -1);
    }
  }
};
constexpr TripleMasks kTriples;

// Eight 16-bit pixels (16 bytes) to 24 bytes, by the rule of expandRgb555.
[[gnu::target("ssse3")]] void expandGroupOf8(const char* src, char* dst) {
  const __m128i p = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src));
  const __m128i top5 = _mm_set1_epi16(0xF8);
  const __m128i b = _mm_and_si128(_mm_slli_epi16(p, 3), top5);
  const __m128i g = _mm_and_si128(_mm_srli_epi16(p, 2), top5);
  const __m128i r = _mm_and_si128(_mm_srli_epi16(p, 7), top5);
  const __m128i bg = _mm_or_si128(b, _mm_slli_epi16(g, 8));
  const __m128i rr = _mm_packus_epi16(r, r);
  __m128i out[2];
  for (int h = 0; h < 2; ++h)
    out[h] = _mm_or_si128(
        _mm_shuffle_epi8(bg, _mm_load_si128(reinterpret_cast<const __m128i*>(kTriples.bg[h]))),
        _mm_shuffle_epi8(rr, _mm_load_si128(reinterpret_cast<const __m128i*>(kTriples.r[h]))));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), out[0]);
  _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + 16), out[1]);
}

// Shrinks 'count' pixels of one run forwards. The destination never passes
// the source, so a group's stores land on bytes already read.
inline void shrinkRun(char* frame, std::size_t src, std::size_t dst, std::size_t count) {
  std::size_t i = 0;
  if (haveSsse3())
    for (; i + 16 <= count; i += 16, src += 64, dst += 48) shrinkGroupOf16(frame + src, frame + dst);
  for (; i + 4 <= count; i += 4, src += 16, dst += 12) shrinkGroupOf4(frame + src, frame + dst);
  for (; i < count; ++i, src += 4, dst += 3) {
    frame[dst] = frame[src];
    frame[dst + 1] = frame[src + 1];
    frame[dst + 2] = frame[src + 2];
  }
}

}  // namespace

void rgb32ToRgb24(char* frame, std::uint32_t frameSize) {
  // Shrinking in place runs forwards: the destination never passes the source.
  // Pixels start at every multiple of 4 below frameSize; a last one cut short
  // still gives its three bytes.
  const std::size_t pixels = (static_cast<std::size_t>(frameSize) + 3) / 4;
  const std::size_t whole = frameSize / 16 * 4;  // pixels in groups lying wholly inside the frame
  shrinkRun(frame, 0, 0, whole);
  for (std::size_t i = whole, src = 4 * whole, dst = 3 * whole; i < pixels; ++i, src += 4, dst += 3) {
    frame[dst] = frame[src];
    frame[dst + 1] = frame[src + 1];
    frame[dst + 2] = frame[src + 2];
  }
}

void rgb32ToRgb24WPad(char* frame, std::uint32_t width, std::uint32_t height) {
  // Stored 32-bit rows have no padding; destination rows skip their pad bytes,
  // which keep whatever stood there.
  const unsigned int pad = rgb24PadLength(width);
  std::size_t src = 0;
  std::size_t dst = 0;
  for (std::uint32_t r = 0; r < height; ++r) {
    shrinkRun(frame, src, dst, width);
    src += 4 * static_cast<std::size_t>(width);
    dst += 3 * static_cast<std::size_t>(width) + pad;
  }
}

void rgb555ToRgb24(char* frame, std::uint32_t frameSize, std::uint32_t rgb24Size) {
  // Growing in place runs backwards from the last pixel: the destination end
  // moves down by 3 for every 2 bytes of source.
  unsigned char* out = reinterpret_cast<unsigned char*>(frame);
  std::int64_t src = static_cast<std::int64_t>(frameSize) - 2;
  std::size_t end = rgb24Size;
  // Groups of eight only while their 24 bytes lie above their own source, so
  // no store reaches a byte that the pixel-by-pixel walk would still read.
  if (haveSsse3())
    for (; src >= 14 && static_cast<std::int64_t>(end) - 24 >= src + 2; src -= 16, end -= 24)
      expandGroupOf8(frame + src - 14, frame + end - 24);
  for (; src >= 6; src -= 8, end -= 12) expandGroupOf4(frame + src - 6, frame + end - 12);
  for (; src >= 0; src -= 2, end -= 3) {
    expandRgb555(readLE16(frame + src), out + end - 3);
  }
}

void rgb555ToRgb24WPad(char* frame, std::uint32_t width, std::uint32_t height, std::uint32_t rgb24Size,
                       std::size_t trueStride) {
  // The source stride adds the pad byte count to the width in pixels before
  // doubling: 2 * width + 4 for an odd width, where the stored row takes
  // 2 * width + 2 (what a non-zero trueStride gives). Source row r starts at
  // r * stride.
  unsigned char* out = reinterpret_cast<unsigned char*>(frame);
  const std::size_t stride =
      trueStride != 0 ? trueStride : 2 * (static_cast<std::size_t>(width) + rgb555PadLength(width));
  const unsigned int pad = rgb24PadLength(width);
  std::size_t end = rgb24Size;
  for (std::uint32_t r = height; r-- > 0;) {
    end -= pad;
    const char* row = frame + r * stride;
    std::uint32_t c = width;
    const std::size_t rowAt = r * stride;
    if (haveSsse3())
      for (; c >= 8 && end >= 24 && end - 24 >= rowAt + 2 * static_cast<std::size_t>(c); c -= 8, end -= 24)
        expandGroupOf8(row + 2 * static_cast<std::size_t>(c - 8), frame + end - 24);
    for (; c >= 4; c -= 4, end -= 12) expandGroupOf4(row + 2 * static_cast<std::size_t>(c - 4), frame + end - 12);
    while (c-- > 0) {
      unsigned char px[3];
      expandRgb555(readLE16(row + 2 * static_cast<std::size_t>(c)), px);
      out[end - 1] = px[2];
      out[end - 2] = px[1];
      out[end - 3] = px[0];
      end -= 3;
    }
  }
}

namespace {

inline void writePaletteEntry(unsigned char index, const tagRGBQUAD* map, std::size_t mapSize,
                              unsigned char* out) {
  if (index < mapSize) {
    out[0] = map[index].rgbBlue;
    out[1] = map[index].rgbGreen;
    out[2] = map[index].rgbRed;
  } else {
    out[0] = out[1] = out[2] = 0;
  }
}

}  // namespace

void indexedToRgb24(char* frame, std::uint32_t frameSize, std::uint32_t rgb24Size, const tagRGBQUAD* map,
                    std::size_t mapSize) {
  unsigned char* bytes = reinterpret_cast<unsigned char*>(frame);
  std::size_t end = rgb24Size;
  for (std::size_t src = frameSize; src-- > 0; end -= 3) {
    writePaletteEntry(bytes[src], map, mapSize, bytes + end - 3);
  }
}

void indexedToRgb24WPad(char* frame, std::uint32_t width, std::uint32_t height, std::uint32_t rgb24Size,
                        const tagRGBQUAD* map, std::size_t mapSize, std::size_t trueStride) {
  unsigned char* bytes = reinterpret_cast<unsigned char*>(frame);
  const std::size_t stride = trueStride != 0 ? trueStride : static_cast<std::size_t>(width) + indexedPadLength(width);
  const unsigned int pad = rgb24PadLength(width);
  std::size_t end = rgb24Size;
  for (std::uint32_t r = height; r-- > 0;) {
    end -= pad;
    const unsigned char* row = bytes + r * stride;
    for (std::uint32_t c = width; c-- > 0; end -= 3) {
      writePaletteEntry(row[c], map, mapSize, bytes + end - 3);
    }
  }
}

namespace {

// Bytes a padded 24-bit frame really takes, without the 32-bit wrap of
// rgb24FrameSize.
std::uint64_t wideRgb24FrameSize(std::uint32_t width, std::uint32_t height) {
  return static_cast<std::uint64_t>(height) * (3ull * width + rgb24PadLength(width));
}

// Extent of a row-by-row source read: the last row's first byte plus its bytes.
std::uint64_t rowReadExtent(std::uint32_t height, std::uint64_t stride, std::uint64_t rowBytes) {
  if (height == 0 || rowBytes == 0) {
    return 0;
  }
  return (height - 1ull) * stride + rowBytes;
}

}  // namespace

bool fitsRgb32(std::uint32_t width, std::uint32_t height, std::uint32_t frameSize, std::uint64_t capacity) {
  if (rgb24PadLength(width) == 0) {
    // Pixels start at every multiple of 4 below frameSize and take 4 bytes.
    const std::uint64_t reads = (static_cast<std::uint64_t>(frameSize) + 3) / 4 * 4;
    return reads <= capacity;
  }
  const std::uint64_t reads = 4ull * width * height;
  return reads <= capacity && wideRgb24FrameSize(width, height) <= capacity;
}

bool fitsRgb555(std::uint32_t width, std::uint32_t height, std::uint32_t frameSize, std::uint64_t capacity,
                std::uint64_t trueStride) {
  const std::uint32_t rgb24Size = rgb24FrameSize(width, height);
  if (rgb24PadLength(width) == 0) {
    const std::uint64_t pixels = frameSize / 2;
    return 3 * pixels <= rgb24Size && frameSize <= capacity && rgb24Size <= capacity;
  }
  const std::uint64_t stride =
      trueStride != 0 ? trueStride : 2 * (static_cast<std::uint64_t>(width) + rgb555PadLength(width));
  return wideRgb24FrameSize(width, height) <= rgb24Size && rgb24Size <= capacity &&
         rowReadExtent(height, stride, 2ull * width) <= capacity;
}

bool fitsIndexed(std::uint32_t width, std::uint32_t height, std::uint32_t frameSize, std::uint64_t capacity,
                 std::uint64_t trueStride) {
  const std::uint32_t rgb24Size = rgb24FrameSize(width, height);
  if (rgb24PadLength(width) == 0 && trueStride == 0) {
    return 3ull * frameSize <= rgb24Size && frameSize <= capacity && rgb24Size <= capacity;
  }
  const std::uint64_t stride =
      trueStride != 0 ? trueStride : static_cast<std::uint64_t>(width) + indexedPadLength(width);
  return wideRgb24FrameSize(width, height) <= rgb24Size && rgb24Size <= capacity &&
         rowReadExtent(height, stride, width) <= capacity;
}

}  // namespace avi::layout
