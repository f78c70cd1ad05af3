// One plane of intensity from a colour picture: from packed BGR frames
// (RGBToIntensityChannelsInput), from contiguous 8-bit planes (its _mmr form),
// and from the luma of packed YUY2 frames (YCbCrToIntensityChannelsInput).
// Only plane0 is written; plane1 and plane2 are never touched.
#include "video/families.h"
#include "video/full_range_rules.h"
#include "video/intensity_kernels.h"
#include "video/strip_tiles.h"

namespace rivulet {
namespace {

// ---- From RGB: the rule in double, one member per type ------------------------------

template <int N>
void RGBToIntensityChannelsInput(void const* frame, void* plane0, void*, void*, int w, int h,
                                 VideoFrameOrientation orientation) {
  if (w <= 0 || h <= 0) return;
  using T = Sample<N>;
  const std::int64_t stride = bgrRowStride(w);
  // Picture row r lies at memory row h - 1 - r: walk the frame from its end.
  const std::uint8_t* top = static_cast<const std::uint8_t*>(frame) + (h - 1) * stride;
  T* out = static_cast<T*>(plane0);
  if (orientation == ORIENTATION_ROW_MAJOR) {
    for (int r = 0; r < h; ++r)
      intensityRowFromBGR<N>(top - r * stride, out + static_cast<std::int64_t>(r) * w, w);
  } else {
    T* const planes[1] = {out};
    rowsToColumns<T, 1>(planes, w, h, [&](int r, int c0, int n, T* const* o) {
      intensityRowFromBGR<N>(top - r * stride + 3 * c0, o[0], n);
    });
  }
}

template <int N>
void RGBToIntensityChannelsInput_mmr(void const* frame, void* plane0, void*, void*, int w, int h,
                                     VideoFrameOrientation orientation) {
  using T = Sample<N>;
  const std::uint8_t* src = static_cast<const std::uint8_t*>(frame);
  T* out = static_cast<T*>(plane0);
  if (orientation == ORIENTATION_ROW_MAJOR) {
    // Row-major source planes, column-major plane0.
    if (w <= 0 || h <= 0) return;
    const std::int64_t n = static_cast<std::int64_t>(w) * h;
    T* const planes[1] = {out};
    rowsToColumns<T, 1>(planes, w, h, [&](int r, int c0, int cnt, T* const* o) {
      const std::int64_t i = static_cast<std::int64_t>(r) * w + c0;
      intensityRunFromPlanes<N>(src + i, src + n + i, src + 2 * n + i, o[0], cnt);
    });
  } else {
    // Both column-major: element i from byte i of each source plane.
    const std::int32_t count = pixelCount32(w, h);
    if (count < 1) return;
    intensityRunFromPlanes<N>(src, src + count, src + 2 * static_cast<std::int64_t>(count), out,
                              count);
  }
}

// ---- From YUY2 luma: an 8-bit value first, then byteToSample ---------------------------

template <int N>
void YCbCrToIntensityChannelsInput(void const* frame, void* plane0, void*, void*, int w, int h,
                                   VideoFrameOrientation orientation) {
  using T = Sample<N>;
  if (orientation != ORIENTATION_ROW_MAJOR && orientation != ORIENTATION_COLUMN_MAJOR) return;
  // Both steps folded into one 256-entry table, built from the rules per call.
  T table[256];
  const T* lut = eightBitTable<N>();
  for (int y = 0; y < 256; ++y)
    table[y] = byteToSample<N>(lut, lumaToByte(static_cast<std::uint8_t>(y)));
  const std::uint8_t* yuy2 = static_cast<const std::uint8_t*>(frame);
  T* out = static_cast<T*>(plane0);
  if (orientation == ORIENTATION_ROW_MAJOR) {
    const std::int32_t count = pixelCount32(w, h);
    if (count < 1) return;
    lumaRun<N>(yuy2, out, count, table);
  } else {
    if (w <= 0 || h <= 0) return;
    T* const planes[1] = {out};
    rowsToColumns<T, 1>(planes, w, h, [&](int r, int c0, int n, T* const* o) {
      lumaRun<N>(yuy2 + 2 * (static_cast<std::int64_t>(r) * w + c0), o[0], n, table);
    });
  }
}

}  // namespace

constexpr VideoInputFcn kRGBToIntensityChannelsInput[9] = {
    &RGBToIntensityChannelsInput<0>, &RGBToIntensityChannelsInput<1>,
    &RGBToIntensityChannelsInput<2>, &RGBToIntensityChannelsInput<3>,
    &RGBToIntensityChannelsInput<4>, &RGBToIntensityChannelsInput<5>,
    &RGBToIntensityChannelsInput<6>, &RGBToIntensityChannelsInput<7>,
    &RGBToIntensityChannelsInput<8>};

constexpr VideoInputFcn kRGBToIntensityChannelsInput_mmr[9] = {
    &RGBToIntensityChannelsInput_mmr<0>, &RGBToIntensityChannelsInput_mmr<1>,
    &RGBToIntensityChannelsInput_mmr<2>, &RGBToIntensityChannelsInput_mmr<3>,
    &RGBToIntensityChannelsInput_mmr<4>, &RGBToIntensityChannelsInput_mmr<5>,
    &RGBToIntensityChannelsInput_mmr<6>, &RGBToIntensityChannelsInput_mmr<7>,
    &RGBToIntensityChannelsInput_mmr<8>};

constexpr VideoInputFcn kYCbCrToIntensityChannelsInput[9] = {
    &YCbCrToIntensityChannelsInput<0>, &YCbCrToIntensityChannelsInput<1>,
    &YCbCrToIntensityChannelsInput<2>, &YCbCrToIntensityChannelsInput<3>,
    &YCbCrToIntensityChannelsInput<4>, &YCbCrToIntensityChannelsInput<5>,
    &YCbCrToIntensityChannelsInput<6>, &YCbCrToIntensityChannelsInput<7>,
    &YCbCrToIntensityChannelsInput<8>};

}  // namespace rivulet
