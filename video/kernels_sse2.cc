// SSE2 forms of the video layers (the x86-64 baseline): the 16 x 16 byte
// transpose and the line streaming of the column writer.
#include <emmintrin.h>

#include "video/kernels.h"
#include "video/simd_blocks.h"

namespace rivulet {
namespace {

using Ops128 = Unpacks128;

void transposeBytes16x16(const std::uint8_t* src, std::int64_t srcStride, std::uint8_t* dst,
                         std::int64_t dstStride) {
  __m128i x[16];
  for (int i = 0; i < 16; ++i) x[i] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i * srcStride));
  transpose16<Ops128>(x);
  for (int c = 0; c < 16; ++c) _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + c * dstStride), x[c]);
}

void streamLine(void* dst, const void* src) {
  const __m128i* s = static_cast<const __m128i*>(src);
  __m128i* d = static_cast<__m128i*>(dst);
  for (int k = 0; k < 4; ++k) _mm_stream_si128(d + k, _mm_load_si128(s + k));
}

void streamFence() { _mm_sfence(); }

}  // namespace

extern const VideoForms kVideoFormsSse2;
constinit const VideoForms kVideoFormsSse2 = [] {
  VideoForms f{};
  f.transposeBytes16x16 = &transposeBytes16x16;
  f.streamLine = &streamLine;
  f.streamFence = &streamFence;
  return f;
}();

}  // namespace rivulet
