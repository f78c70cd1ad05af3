// RGB planes from packed BGR frames (RGBToRGBChannelsInput) and from
// contiguous 8-bit planes (RGBToRGBChannelsInput_mmr). Every component goes
// through byteToSample alone; there is no colour arithmetic.
#include "video/families.h"
#include "video/rgb_kernels.h"
#include "video/sample_rules.h"

namespace rivulet {

// ---- Plain family: packed BGR, bottom-up, rows padded to four bytes ------------------

template <int N>
void RGBToRGBChannelsInput(void const* frame, void* red, void* green, void* blue, int w, int h,
                           VideoFrameOrientation orientation) {
  if (w <= 0 || h <= 0) return;
  using T = Sample<N>;
  const T* lut = eightBitTable<N>();
  const std::uint8_t* bytes = static_cast<const std::uint8_t*>(frame);
  const std::int64_t stride = bgrRowStride(w);
  T* planes[3] = {static_cast<T*>(red), static_cast<T*>(green), static_cast<T*>(blue)};
  // Picture row r lies at memory row h - 1 - r: walk the frame from its end.
  const std::uint8_t* top = bytes + (h - 1) * stride;
  if (orientation == ORIENTATION_ROW_MAJOR)
    splitBGRRows<N>(top, -stride, planes, w, h, lut);
  else
    splitBGRRowsToColumns<N>(top, -stride, planes, w, h, lut);
}

// ---- _mmr family: three contiguous byte planes, written column-major ------------------

template <int N>
void RGBToRGBChannelsInput_mmr(void const* frame, void* red, void* green, void* blue, int w,
                               int h, VideoFrameOrientation orientation) {
  using T = Sample<N>;
  const T* lut = eightBitTable<N>();
  const std::uint8_t* src = static_cast<const std::uint8_t*>(frame);
  T* planes[3] = {static_cast<T*>(red), static_cast<T*>(green), static_cast<T*>(blue)};
  if (orientation == ORIENTATION_ROW_MAJOR) {
    // Row-major source, column-major planes: a transposition of each plane.
    if (w <= 0 || h <= 0) return;
    const std::int64_t planeBytes = static_cast<std::int64_t>(w) * h;
    for (int p = 0; p < 3; ++p)
      transposePlane<N>(src + p * planeBytes, planes[p], w, h, lut);
  } else {
    // Both sides column-major: element i from byte i, so only w * h matters.
    const std::int32_t count = pixelCount32(w, h);
    if (count < 1) return;
    for (int p = 0; p < 3; ++p) widenRun<N>(src + static_cast<std::int64_t>(p) * count, planes[p], count, lut);
  }
}

constexpr VideoInputFcn kRGBToRGBChannelsInput[9] = {
    &RGBToRGBChannelsInput<0>, &RGBToRGBChannelsInput<1>, &RGBToRGBChannelsInput<2>,
    &RGBToRGBChannelsInput<3>, &RGBToRGBChannelsInput<4>, &RGBToRGBChannelsInput<5>,
    &RGBToRGBChannelsInput<6>, &RGBToRGBChannelsInput<7>, &RGBToRGBChannelsInput<8>};

constexpr VideoInputFcn kRGBToRGBChannelsInput_mmr[9] = {
    &RGBToRGBChannelsInput_mmr<0>, &RGBToRGBChannelsInput_mmr<1>, &RGBToRGBChannelsInput_mmr<2>,
    &RGBToRGBChannelsInput_mmr<3>, &RGBToRGBChannelsInput_mmr<4>, &RGBToRGBChannelsInput_mmr<5>,
    &RGBToRGBChannelsInput_mmr<6>, &RGBToRGBChannelsInput_mmr<7>, &RGBToRGBChannelsInput_mmr<8>};

}  // namespace rivulet
