// Frame layout kernels of the AVI reader: row order and the in-place
// expansions of 32-, 16- and 8-bit frames to 24-bit bottom-up rows. Each
// kernel follows its rule exactly and checks nothing; the fits* functions say
// beforehand whether every byte a kernel touches lies within 'capacity' bytes.
#ifndef RIVULET_AVI_FRAME_LAYOUT_H
#define RIVULET_AVI_FRAME_LAYOUT_H

#include <cstddef>
#include <cstdint>

#include "rivulet/avi.h"

namespace avi::layout {

// Bytes that pad a row of 3 * width bytes to a multiple of four.
inline unsigned int rgb24PadLength(std::uint32_t width) {
  const unsigned int k = (0u - width) & 3u;
  return k == 0 ? 0 : 4 - k;
}

// 2 for odd widths. Note the unit: the 16-bit row stride adds this byte count
// to the width in pixels before doubling, see rgb555ToRgb24WPad.
inline unsigned int rgb555PadLength(std::uint32_t width) { return (width & 1u) ? 2 : 0; }

// Bytes that pad a row of width bytes to a multiple of four.
inline unsigned int indexedPadLength(std::uint32_t width) {
  const unsigned int k = width & 3u;
  return k == 0 ? 0 : 4 - k;
}

// Size of a padded 24-bit frame, in the 32-bit arithmetic of the interface.
inline std::uint32_t rgb24FrameSize(std::uint32_t width, std::uint32_t height) {
  return height * width * 3u + height * rgb24PadLength(width);
}

// Swaps rows i and height-1-i of a frame whose rows are frameSize / height
// bytes, through 'scratch' when it holds a row, else byte by byte.
void convertFrameToBottomUp(char* frame, std::uint32_t frameSize, std::uint32_t height, char* scratch,
                            std::uint64_t scratchSize);

// 32-bit pixels to 24 bits, forwards: the whole frame as one run, dropping the
// fourth byte; and row by row, skipping 'pad' destination bytes after each row.
void rgb32ToRgb24(char* frame, std::uint32_t frameSize);
void rgb32ToRgb24WPad(char* frame, std::uint32_t width, std::uint32_t height);

// One 16-bit pixel to blue, green, red: the five bits of each go to the top of
// the byte with zeros below (31 gives 248), bit 15 is dropped.
inline void expandRgb555(std::uint16_t p, unsigned char* out) {
  out[0] = static_cast<unsigned char>((p << 3) & 0xF8);
  out[1] = static_cast<unsigned char>((p >> 2) & 0xF8);
  out[2] = static_cast<unsigned char>((p >> 7) & 0xF8);
}

// 16-bit pixels to 24 bits, backwards from the last pixel. rgb24Size is the
// padded 24-bit frame size, where the destination ends.
void rgb555ToRgb24(char* frame, std::uint32_t frameSize, std::uint32_t rgb24Size);
// A non-zero trueStride replaces the source stride (tolerant reading: rows of
// 2 * width bytes rounded up to four).
void rgb555ToRgb24WPad(char* frame, std::uint32_t width, std::uint32_t height, std::uint32_t rgb24Size,
                       std::size_t trueStride = 0);

// Palette lookup of one byte per pixel, backwards from the last pixel. An index
// past the colormap gives black.
void indexedToRgb24(char* frame, std::uint32_t frameSize, std::uint32_t rgb24Size, const tagRGBQUAD* map,
                    std::size_t mapSize);
// A non-zero trueStride replaces the source stride of width rounded up to four
// (grey rows, whose length comes from the stored frame's size).
void indexedToRgb24WPad(char* frame, std::uint32_t width, std::uint32_t height, std::uint32_t rgb24Size,
                        const tagRGBQUAD* map, std::size_t mapSize, std::size_t trueStride = 0);

// Whether the kernel for this depth, width, height and stored frame size keeps
// all its reads and writes in 'capacity' bytes. The WPad forms serve when
// rgb24PadLength(width) is not 0, or a trueStride is given.
bool fitsRgb32(std::uint32_t width, std::uint32_t height, std::uint32_t frameSize, std::uint64_t capacity);
bool fitsRgb555(std::uint32_t width, std::uint32_t height, std::uint32_t frameSize, std::uint64_t capacity,
                std::uint64_t trueStride = 0);
bool fitsIndexed(std::uint32_t width, std::uint32_t height, std::uint32_t frameSize, std::uint64_t capacity,
                 std::uint64_t trueStride = 0);

}  // namespace avi::layout

#endif  // RIVULET_AVI_FRAME_LAYOUT_H
