// One plane of intensity from a colour picture: from packed BGR frames
// (RGBToIntensityChannelsInput), from contiguous 8-bit planes (its _mmr form),
// and from the luma of packed YUY2 frames (YCbCrToIntensityChannelsInput).
// Only plane0 is written; plane1 and plane2 are never touched.
#include "video/families.h"
#include "video/full_range_rules.h"
#include "video/intensity_kernels.h"
#include "video/plane_driver.h"

namespace rivulet {
namespace {

// ---- From RGB: the rule in double, one member per type ------------------------------

template <int N>
void RGBToIntensityChannelsInput(void const* frame, void* plane0, void*, void*, int w, int h,
                                 VideoFrameOrientation orientation) {
  if (w <= 0 || h <= 0) return;
  using T = Sample<N>;
  const PackedRows<const std::uint8_t> rows(static_cast<const std::uint8_t*>(frame), 3 * std::int64_t{w}, h);
  T* const planes[1] = {static_cast<T*>(plane0)};
  const auto row = [&](int r, int c, int n, T* const out[1], bool toMemory) {
    intensityRowFromBGR<N>(rows.row(r) + 3 * c, out[0], n, toMemory);
  };
  const bool stream = streamFor(bgrRowStride(w) * h, sizeof(T) * std::int64_t{w} * h);
  planesFromRows<T, 1>(row, planes, w, h, orientation, stream);
  endStream(stream);
}

template <int N>
void RGBToIntensityChannelsInput_mmr(void const* frame, void* plane0, void*, void*, int w, int h,
                                     VideoFrameOrientation orientation) {
  using T = Sample<N>;
  const std::uint8_t* src = static_cast<const std::uint8_t*>(frame);
  T* const planes[1] = {static_cast<T*>(plane0)};
  if (orientation == ORIENTATION_ROW_MAJOR) {
    // Row-major source planes, column-major plane0.
    if (w <= 0 || h <= 0) return;
    const std::int64_t W = w, n = W * h;
    const auto row = [&](int r, int c, int cnt, T* const out[1], bool) {
      const std::int64_t i = r * W + c;
      intensityRunFromPlanes<N>(src + i, src + n + i, src + 2 * n + i, out[0], cnt);
    };
    const bool stream = streamFor(3 * n, sizeof(T) * n);
    planesFromRows<T, 1>(row, planes, w, h, ORIENTATION_COLUMN_MAJOR, stream);
    endStream(stream);
  } else {
    // Both column-major: element i from byte i of each source plane.
    const std::int32_t count = product32(w, h);
    if (count < 1) return;
    const bool stream = streamFor(3 * std::int64_t{count}, sizeof(T) * std::int64_t{count});
    intensityRunFromPlanes<N>(src, src + count, src + 2 * static_cast<std::int64_t>(count), planes[0],
                              count, stream);
    endStream(stream);
  }
}

// ---- From YUY2 luma: an 8-bit value first, then byteToSample ---------------------------

template <int N>
void YCbCrToIntensityChannelsInput(void const* frame, void* plane0, void*, void*, int w, int h,
                                   VideoFrameOrientation orientation) {
  using T = Sample<N>;
  if (orientation != ORIENTATION_ROW_MAJOR && orientation != ORIENTATION_COLUMN_MAJOR) return;
  // The 8-bit step as a 256-entry table, built from the rule per call.
  std::uint8_t table[256];
  const T* lut = eightBitTable<N>();
  for (int y = 0; y < 256; ++y) table[y] = lumaToByte(static_cast<std::uint8_t>(y));
  const std::uint8_t* yuy2 = static_cast<const std::uint8_t*>(frame);
  T* out = static_cast<T*>(plane0);
  if (orientation == ORIENTATION_ROW_MAJOR) {
    const std::int32_t count = product32(w, h);
    if (count < 1) return;
    const bool stream = streamFor(2 * std::int64_t{count}, sizeof(T) * std::int64_t{count});
    lumaRun<N>(yuy2, out, count, table, lut, stream);
    endStream(stream);
  } else {
    if (w <= 0 || h <= 0) return;
    T* const planes[1] = {out};
    const auto row = [&](int r, int c, int n, T* const o[1], bool) {
      lumaRun<N>(yuy2 + 2 * (static_cast<std::int64_t>(r) * w + c), o[0], n, table, lut);
    };
    const bool stream = streamFor(2 * std::int64_t{w} * h, sizeof(T) * std::int64_t{w} * h);
    planesFromRows<T, 1>(row, planes, w, h, ORIENTATION_COLUMN_MAJOR, stream);
    endStream(stream);
  }
}

}  // namespace

constexpr VideoInputTable kRGBToIntensityChannelsInput = buildVideoTable<VideoInputFcn, kIntensityTypes>(
    []<int N> { return &RGBToIntensityChannelsInput<N>; });
constexpr VideoInputTable kRGBToIntensityChannelsInput_mmr = buildVideoTable<VideoInputFcn, kIntensityTypes>(
    []<int N> { return &RGBToIntensityChannelsInput_mmr<N>; });
constexpr VideoInputTable kYCbCrToIntensityChannelsInput = buildVideoTable<VideoInputFcn, kIntensityTypes>(
    []<int N> { return &YCbCrToIntensityChannelsInput<N>; });

}  // namespace rivulet
