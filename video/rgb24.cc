// Packed RGB24 frames to and from three planes of any type, with the
// full-range widening and narrowing of their own (full_range_rules.h): the
// Channels families take three plane pointers, the contiguous ones a single
// buffer holding red, green and blue one after the other.
#include <algorithm>
#include <type_traits>

#include "video/families.h"
#include "video/full_range_rules.h"
#include "video/bgr_rows.h"
#include "video/plane_driver.h"

namespace rivulet {
namespace {

// The three planes of a contiguous buffer: red, then green at w * h
// elements, blue at 2 * w * h. A picture with no pixel has empty planes
// (the routines then touch nothing), so no offset is taken from a buffer
// that may be null.
template <typename T, typename P>
void splitContiguous(P* planes, int w, int h, P* out[3]) {
  const std::int64_t n = w > 0 && h > 0 ? static_cast<std::int64_t>(w) * h : 0;
  using Byte = std::conditional_t<std::is_const_v<P>, const T, T>;
  Byte* base = static_cast<Byte*>(planes);
  for (int p = 0; p < 3; ++p) out[p] = base + p * n;
}

// ---- Frame to planes: padded rows, bottom-up -------------------------------------------

// The BGR rows of RGBToRGBChannelsInput with the full-range table in place
// of EightBitLUT; a non-zero orientation gives column-major planes.
template <int N>
void RGB24ChannelsCopy(void const* frame, void* red, void* green, void* blue, int w, int h,
                       VideoFrameOrientation orientation) {
  if (w <= 0 || h <= 0) return;
  using T = Sample<N>;
  const T* table = kRGB24WidenTable<N>.data();
  const PackedRows<const std::uint8_t> rows(static_cast<const std::uint8_t*>(frame), 3 * std::int64_t{w}, h);
  T* const planes[3] = {static_cast<T*>(red), static_cast<T*>(green), static_cast<T*>(blue)};
  const bool stream = streamFor(bgrRowStride(w) * h, 3 * sizeof(T) * std::int64_t{w} * h);
  const auto row = [&](int r, int c, int n, T* const out[3], bool toMemory) {
    splitBGRRow<N>(rows.row(r) + 3 * c, out[0], out[1], out[2], n, table, toMemory);
  };
  planesFromRows<T, 3>(row, planes, w, h, orientation, stream);
  endStream(stream);
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
  const std::int32_t count = product32(w, h);
  if (count <= 0) return;
  for (void* p : {red, green, blue}) std::fill_n(static_cast<Sample<N>*>(p), count, videoTraits<N>::min);
}

template <int N>
void RGB24Empty(void const*, void* planes, int w, int h, VideoFrameOrientation) {
  const std::int32_t count = product32(w, h);
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
  const std::int64_t stride = Padded ? bgrRowStride(w) : 3 * std::int64_t{w};
  std::uint8_t* top = static_cast<std::uint8_t*>(frame) + (h - 1) * stride;
  const T* const planes[3] = {static_cast<const T*>(red), static_cast<const T*>(green),
                              static_cast<const T*>(blue)};
  const auto row = [&](int r, int c, int n, const T* const in[3]) {
    mergeRowToBGR<N>(in[0], in[1], in[2], top - r * stride + 3 * c, n);
  };
  planesToRows<T, 3>(row, planes, w, h, orientation);
}

template <int N, bool Padded>
void RGB24Output(void const* planes, void* frame, int w, int h, VideoFrameOrientation orientation) {
  void const* p[3];
  splitContiguous<Sample<N>>(planes, w, h, p);
  RGB24ChannelsOutput<N, Padded>(p[0], p[1], p[2], frame, w, h, orientation);
}

}  // namespace

constexpr RGB24ContiguousTable kRGB24Copy =
    buildVideoTable<RGB24ContiguousFcn, kRGB24CopyTypes>([]<int N> { return &RGB24Copy<N>; });
constexpr VideoInputTable kRGB24ChannelsCopy =
    buildVideoTable<VideoInputFcn, kRGB24CopyTypes>([]<int N> { return &RGB24ChannelsCopy<N>; });
constexpr RGB24ContiguousTable kRGB24Empty =
    buildVideoTable<RGB24ContiguousFcn, kRGB24CopyTypes>([]<int N> { return &RGB24Empty<N>; });
constexpr VideoInputTable kRGB24ChannelsEmpty =
    buildVideoTable<VideoInputFcn, kRGB24CopyTypes>([]<int N> { return &RGB24ChannelsEmpty<N>; });
constexpr RGB24ContiguousTable kRGB24Output =
    buildVideoTable<RGB24ContiguousFcn, kRGB24OutputTypes>([]<int N> { return &RGB24Output<N, false>; });
constexpr VideoOutputTable kRGB24ChannelsOutput =
    buildVideoTable<VideoOutputFcn, kRGB24OutputTypes>([]<int N> { return &RGB24ChannelsOutput<N, false>; });
constexpr RGB24ContiguousTable kPaddedRGB24Output =
    buildVideoTable<RGB24ContiguousFcn, kRGB24OutputTypes>([]<int N> { return &RGB24Output<N, true>; });
constexpr VideoOutputTable kPaddedRGB24ChannelsOutput =
    buildVideoTable<VideoOutputFcn, kRGB24OutputTypes>([]<int N> { return &RGB24ChannelsOutput<N, true>; });

}  // namespace rivulet
