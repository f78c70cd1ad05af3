// The fast forms of the video layers, one set per instruction set, each set
// defined in its own source (video/kernels_<set>.cc, compiled for that set
// alone). A member a set does not have is null; videoForms() holds, member by
// member, the widest form the CPU runs, picked once. Every form equals the
// plain form of its layer bit for bit; the layers finish what a form leaves.
#ifndef RIVULET_VIDEO_KERNELS_H
#define RIVULET_VIDEO_KERNELS_H

#include <cstdint>

namespace rivulet {

struct VideoForms {
  // Splits the first pixels of a run of n BGR pixels into three byte runs;
  // returns how many it did.
  int (*splitBGR)(const std::uint8_t* bgr, std::uint8_t* red, std::uint8_t* green,
                  std::uint8_t* blue, int n);
  // Transposes a 16 x 16 block of bytes: dst[c * dstStride + r] = src[r * srcStride + c].
  void (*transposeBytes16x16)(const std::uint8_t* src, std::int64_t srcStride, std::uint8_t* dst,
                              std::int64_t dstStride);
  // The same for 16 rows of 64 bytes.
  void (*transposeBytes16x64)(const std::uint8_t* src, std::int64_t srcStride, std::uint8_t* dst,
                              std::int64_t dstStride);
  // The same for 64 rows of 64 bytes, each destination column written as one
  // 64-byte run; non-null only where transposeBytes16x64 is.
  void (*transposeBytes64x64)(const std::uint8_t* src, std::int64_t srcStride, std::uint8_t* dst,
                              std::int64_t dstStride);
  // The same, in whole destination lines, for a run of calls down the
  // columns, 64 rows apart: of column c (from dst + c * dstStride, 64 bytes),
  // the line that the column's row 0 falls in is written whole, its bytes
  // above row 0 taken from carry[64 c ...], left there by the call for the
  // rows above (on the `first` call, only the bytes from row 0 on are
  // written); the rows past the column's last line boundary, k of them
  // where dst + c * dstStride lies k bytes past a line boundary, are left in
  // carry[64 c ... + k] instead (64-byte aligned), for the next call or for
  // the caller to write. With `stream`, the whole lines go past the caches
  // (the caller fences).
  void (*transposeBytes64x64Lines)(const std::uint8_t* src, std::int64_t srcStride, std::uint8_t* dst,
                                   std::int64_t dstStride, std::uint8_t* carry, bool first, bool stream);
  // Transposes an 8 x 8 block of 8-byte elements (strides in elements) and
  // writes each column, one line-aligned 64-byte line, past the caches.
  void (*streamTranspose8x8)(const void* src, std::int64_t srcStride, void* dst, std::int64_t dstStride);
  // Copies one 64-byte line (both line-aligned) past the caches.
  void (*streamLine)(void* dst, const void* src);
  void (*streamFence)();
};

// Index k is the set of Simd level k (types/cpu.h); kNone has no member.
extern const VideoForms* const kVideoFormsBySet[5];

const VideoForms& videoForms();

}  // namespace rivulet

#endif
