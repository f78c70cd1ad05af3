// Packed RGB24 frames to and from three planes of any type, with the
// full-range widening and narrowing of their own (full_range_rules.h): the
// Channels families take three plane pointers, the contiguous ones a single
// buffer holding red, green and blue one after the other.
#include <algorithm>

#include "video/families.h"
#include "video/full_range_rules.h"
#include "video/rgb_kernels.h"
#include "video/strip_tiles.h"

namespace rivulet {
namespace {

// The three planes of a contiguous buffer: red, then green at w * h
// elements, blue at 2 * w * h.
template <typename T, typename P>
void splitContiguous(P* planes, int w, int h, P* out[3]) {
  const std::int64_t n = static_cast<std::int64_t>(w) * h;
  using Byte = std::conditional_t<std::is_const_v<P>, const T, T>;
  Byte* base = static_cast<Byte*>(planes);
  for (int p = 0; p < 3; ++p) out[p] = base + p * n;
}

// ---- Frame to planes: padded rows, bottom-up -------------------------------------------

// The driver of RGBToRGBChannelsInput with the full-range table in place of
// EightBitLUT; a non-zero orientation gives column-major planes.
template <int N>
void RGB24ChannelsCopy(void const* frame, void* red, void* green, void* blue, int w, int h,
                       VideoFrameOrientation orientation) {
  if (w <= 0 || h <= 0) return;
  using T = Sample<N>;
  const T* table = kRGB24WidenTable<N>.data();
  const std::int64_t stride = bgrRowStride(w);
  const std::uint8_t* top = static_cast<const std::uint8_t*>(frame) + (h - 1) * stride;
  T* planes[3] = {static_cast<T*>(red), static_cast<T*>(green), static_cast<T*>(blue)};
  if (orientation == ORIENTATION_ROW_MAJOR)
    splitBGRRows<N>(top, -stride, planes, w, h, table);
  else
    splitBGRRowsToColumns<N>(top, -stride, planes, w, h, table);
}

template <int N>
void RGB24Copy(void const* frame, void* planes, int w, int h, VideoFrameOrientation orientation) {
  void* p[3];
  splitContiguous<Sample<N>>(planes, w, h, p);
  RGB24ChannelsCopy<N>(frame, p[0], p[1], p[2], w, h, orientation);
}

// ---- Clearing: w * h elements of min in each plane ---------------------------------------

template <int N>
void RGB24ChannelsEmpty(void const*, void* red, void* green, void* blue, int w, int h,
                        VideoFrameOrientation) {
  const std::int32_t count = pixelCount32(w, h);
  if (count <= 0) return;
  for (void* p : {red, green, blue}) std::fill_n(static_cast<Sample<N>*>(p), count, videoTraits<N>::min);
}

template <int N>
void RGB24Empty(void const*, void* planes, int w, int h, VideoFrameOrientation) {
  const std::int32_t count = pixelCount32(w, h);
  if (count <= 0) return;
  std::fill_n(static_cast<Sample<N>*>(planes), 3 * static_cast<std::int64_t>(count),
              videoTraits<N>::min);
}

// ---- Planes to frame: bottom-up rows, unpadded or padded ---------------------------------

template <int N>
inline void mergeRowToBGR(const Sample<N>* red, const Sample<N>* green, const Sample<N>* blue,
                          std::uint8_t* bgr, int n) {
  for (int c = 0; c < n; ++c) {
    bgr[3 * c] = rgb24Narrow<N>(blue[c]);
    bgr[3 * c + 1] = rgb24Narrow<N>(green[c]);
    bgr[3 * c + 2] = rgb24Narrow<N>(red[c]);
  }
}

// Plane row 0 goes to the last memory row; the padding bytes of a padded
// frame are neither read nor written.
template <int N, bool Padded>
void RGB24ChannelsOutput(void const* red, void const* green, void const* blue, void* frame, int w,
                         int h, VideoFrameOrientation orientation) {
  if (w <= 0 || h <= 0) return;
  using T = Sample<N>;
  const std::int64_t stride = Padded ? bgrRowStride(w) : 3 * static_cast<std::int64_t>(w);
  std::uint8_t* top = static_cast<std::uint8_t*>(frame) + (h - 1) * stride;
  const T* planes[3] = {static_cast<const T*>(red), static_cast<const T*>(green),
                        static_cast<const T*>(blue)};
  if (orientation == ORIENTATION_ROW_MAJOR) {
    for (int r = 0; r < h; ++r) {
      const std::int64_t o = static_cast<std::int64_t>(r) * w;
      mergeRowToBGR<N>(planes[0] + o, planes[1] + o, planes[2] + o, top - r * stride, w);
    }
  } else {
    columnsToRows<T, 3>(planes, w, h, [&](int r, int c0, int n, const T* const* in) {
      mergeRowToBGR<N>(in[0], in[1], in[2], top - r * stride + 3 * c0, n);
    });
  }
}

template <int N, bool Padded>
void RGB24Output(void const* planes, void* frame, int w, int h, VideoFrameOrientation orientation) {
  void const* p[3];
  splitContiguous<Sample<N>>(planes, w, h, p);
  RGB24ChannelsOutput<N, Padded>(p[0], p[1], p[2], frame, w, h, orientation);
}

}  // namespace

// ---- Tables: nine entries each; the copy and clear families have no BOOLEAN member ----

#define RIVULET_EIGHT(F) &F<0>, &F<1>, &F<2>, &F<3>, &F<4>, &F<5>, &F<6>, &F<7>
#define RIVULET_NINE_PADDED(F, P) \
  &F<0, P>, &F<1, P>, &F<2, P>, &F<3, P>, &F<4, P>, &F<5, P>, &F<6, P>, &F<7, P>, &F<8, P>

constexpr RGB24ContiguousFcn kRGB24Copy[9] = {RIVULET_EIGHT(RGB24Copy), nullptr /* BOOLEAN */};
constexpr VideoInputFcn kRGB24ChannelsCopy[9] = {RIVULET_EIGHT(RGB24ChannelsCopy), nullptr /* BOOLEAN */};
constexpr RGB24ContiguousFcn kRGB24Empty[9] = {RIVULET_EIGHT(RGB24Empty), nullptr /* BOOLEAN */};
constexpr VideoInputFcn kRGB24ChannelsEmpty[9] = {RIVULET_EIGHT(RGB24ChannelsEmpty), nullptr /* BOOLEAN */};
constexpr RGB24ContiguousFcn kRGB24Output[9] = {RIVULET_NINE_PADDED(RGB24Output, false)};
constexpr VideoOutputFcn kRGB24ChannelsOutput[9] = {RIVULET_NINE_PADDED(RGB24ChannelsOutput, false)};
constexpr RGB24ContiguousFcn kPaddedRGB24Output[9] = {RIVULET_NINE_PADDED(RGB24Output, true)};
constexpr VideoOutputFcn kPaddedRGB24ChannelsOutput[9] = {RIVULET_NINE_PADDED(RGB24ChannelsOutput, true)};

#undef RIVULET_EIGHT
#undef RIVULET_NINE_PADDED

}  // namespace rivulet
