// RGB and intensity planes of any sample type to 8-bit RGB: packed BGR frames
// (RGBToRGBChannelsOutput, IntensityToRGBChannelsOutput) and contiguous byte
// planes (RGBToRGB24ChannelsConvertCopy, IntensityToRGB24ChannelsConvertCopy).
// Every sample goes through sampleToByte alone.
#include <cstring>

#include "video/families.h"
#include "video/frame_kernels.h"
#include "video/plane_driver.h"

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
  const PackedRows<std::uint8_t> rows(static_cast<std::uint8_t*>(frame), 3 * std::int64_t{w}, h);
  const auto row = [&](int r, int c, int n, T const* const in[3]) {
    mergeBGRRow<N>(in[0], in[1], in[2], rows.row(r) + 3 * c, n);
  };
  planesToRows<T, 3>(row, planes, w, h, orientation);
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
    narrowRun<N>(static_cast<Sample<N> const*>(src), dst, static_cast<int>(n));
}

// Same element order in and out, whatever the orientation; n = w * h as a
// signed 32-bit product.
template <int N>
void RGBToRGB24ChannelsConvertCopy(void const* red, void const* green, void const* blue,
                                   void* out, int w, int h, VideoFrameOrientation) {
  const std::int64_t n = product32(w, h);
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
  const std::int64_t n = product32(w, h);
  if (n <= 0) return;
  std::uint8_t* dst = static_cast<std::uint8_t*>(out);
  narrowPlane<N>(grey, dst, n);
  std::memcpy(dst + n, dst, n);
  std::memcpy(dst + 2 * n, dst, n);
}


}  // namespace

constexpr VideoOutputTable kRGBToRGBChannelsOutput = buildVideoTable<VideoOutputFcn, kFramesAndYCbCrTypes>(
    []<int N> { return &RGBToRGBChannelsOutput<N>; });
constexpr VideoOutputTable kIntensityToRGBChannelsOutput = buildVideoTable<VideoOutputFcn, kFramesAndYCbCrTypes>(
    []<int N> { return &IntensityToRGBChannelsOutput<N>; });
constexpr VideoOutputTable kRGBToRGB24ChannelsConvertCopy = buildVideoTable<VideoOutputFcn, kFramesAndYCbCrTypes>(
    []<int N> { return &RGBToRGB24ChannelsConvertCopy<N>; });
constexpr VideoOutputTable kIntensityToRGB24ChannelsConvertCopy = buildVideoTable<VideoOutputFcn, kFramesAndYCbCrTypes>(
    []<int N> { return &IntensityToRGB24ChannelsConvertCopy<N>; });

}  // namespace rivulet
