// RGB and intensity planes of any sample type to 8-bit RGB: packed BGR frames
// (RGBToRGBChannelsOutput, IntensityToRGBChannelsOutput) and contiguous byte
// planes (RGBToRGB24ChannelsConvertCopy, IntensityToRGB24ChannelsConvertCopy).
// Every sample goes through sampleToByte alone.
#include <cstring>

#include "video/column_tiles.h"
#include "video/families.h"
#include "video/frame_kernels.h"

namespace rivulet {
namespace {

// The frame is written forwards: memory row m holds picture row h - 1 - m.
// Padding bytes after each row's 3 * w are stepped over, never written.
template <int N>
void RGBToRGBChannelsOutput(void const* red, void const* green, void const* blue, void* frame,
                            int w, int h, VideoFrameOrientation orientation) {
  if (w <= 0 || h <= 0) return;
  using T = Sample<N>;
  T const* const planes[3] = {static_cast<T const*>(red), static_cast<T const*>(green),
                              static_cast<T const*>(blue)};
  const std::int64_t stride = bgrRowStride(w);
  std::uint8_t* bottom = static_cast<std::uint8_t*>(frame) + (h - 1) * stride;
  if (orientation == ORIENTATION_ROW_MAJOR) {
    for (int r = 0; r < h; ++r) {
      const std::int64_t o = static_cast<std::int64_t>(r) * w;
      mergeBGRRow<N>(planes[0] + o, planes[1] + o, planes[2] + o, bottom - r * stride, w);
    }
  } else {
    constexpr int per[3] = {1, 1, 1};
    columnsToRows(planes, per, h, w, [&](int r, int c0, int n, T const* const* src) {
      mergeBGRRow<N>(src[0], src[1], src[2], bottom - r * stride + 3 * c0, n);
    });
  }
}

// The grey plane stands in for all three; plane1 and plane2 are not read.
template <int N>
void IntensityToRGBChannelsOutput(void const* grey, void const*, void const*, void* frame, int w,
                                  int h, VideoFrameOrientation orientation) {
  RGBToRGBChannelsOutput<N>(grey, grey, grey, frame, w, h, orientation);
}

// n elements narrowed into n bytes, in the same order.
template <int N>
void narrowPlane(void const* src, std::uint8_t* dst, std::int64_t n) {
  if constexpr (N == VIDEO_UINT8)
    std::memcpy(dst, src, n);
  else
    narrowRun_C<N>(static_cast<Sample<N> const*>(src), dst, n);
}

// Same element order in and out, whatever the orientation; n = w * h as a
// signed 32-bit product.
template <int N>
void RGBToRGB24ChannelsConvertCopy(void const* red, void const* green, void const* blue,
                                   void* out, int w, int h, VideoFrameOrientation) {
  const std::int64_t n = pixelCount32(w, h);
  if (n <= 0) return;
  std::uint8_t* dst = static_cast<std::uint8_t*>(out);
  narrowPlane<N>(red, dst, n);
  narrowPlane<N>(green, dst + n, n);
  narrowPlane<N>(blue, dst + 2 * n, n);
}

// One narrowing of the grey plane, copied to the other two output planes:
// the same bytes as narrowing it three times. plane1 and plane2 are not read.
template <int N>
void IntensityToRGB24ChannelsConvertCopy(void const* grey, void const*, void const*, void* out,
                                         int w, int h, VideoFrameOrientation) {
  const std::int64_t n = pixelCount32(w, h);
  if (n <= 0) return;
  std::uint8_t* dst = static_cast<std::uint8_t*>(out);
  narrowPlane<N>(grey, dst, n);
  std::memcpy(dst + n, dst, n);
  std::memcpy(dst + 2 * n, dst, n);
}

}  // namespace

#define RIVULET_NINE(f) &f<0>, &f<1>, &f<2>, &f<3>, &f<4>, &f<5>, &f<6>, &f<7>, &f<8>
constexpr VideoOutputFcn kRGBToRGBChannelsOutput[9] = {RIVULET_NINE(RGBToRGBChannelsOutput)};
constexpr VideoOutputFcn kIntensityToRGBChannelsOutput[9] = {
    RIVULET_NINE(IntensityToRGBChannelsOutput)};
constexpr VideoOutputFcn kRGBToRGB24ChannelsConvertCopy[9] = {
    RIVULET_NINE(RGBToRGB24ChannelsConvertCopy)};
constexpr VideoOutputFcn kIntensityToRGB24ChannelsConvertCopy[9] = {
    RIVULET_NINE(IntensityToRGB24ChannelsConvertCopy)};
#undef RIVULET_NINE

}  // namespace rivulet
