// RGB planes from packed BGR frames (RGBToRGBChannelsInput) and from
// contiguous 8-bit planes (RGBToRGBChannelsInput_mmr). Every component goes
// through byteToSample alone; there is no colour arithmetic.
#include "video/bgr_rows.h"
#include "video/families.h"
#include "video/plane_driver.h"

namespace rivulet {
namespace {

// ---- Packed BGR, bottom-up, rows padded to four bytes ------------------------------------

template <int N>
void RGBToRGBChannelsInput(void const* frame, void* red, void* green, void* blue, int w, int h,
                           VideoFrameOrientation orientation) {
  if (w <= 0 || h <= 0) return;
  using T = Sample<N>;
  const T* lut = eightBitTable<N>();
  const PackedRows<const std::uint8_t> rows(static_cast<const std::uint8_t*>(frame), 3 * std::int64_t{w}, h);
  T* const planes[3] = {static_cast<T*>(red), static_cast<T*>(green), static_cast<T*>(blue)};
  const bool stream = streamFor(bgrRowStride(w) * h, 3 * sizeof(T) * std::int64_t{w} * h);
  const auto row = [&](int r, int c, int n, T* const out[3], bool toMemory) {
    splitBGRRow<N>(rows.row(r) + 3 * c, out[0], out[1], out[2], n, lut, toMemory);
  };
  planesFromRows<T, 3>(row, planes, w, h, orientation, stream);
  endStream(stream);
}

// ---- Three contiguous byte planes, written column-major -----------------------------------

template <int N>
void RGBToRGBChannelsInput_mmr(void const* frame, void* red, void* green, void* blue, int w,
                               int h, VideoFrameOrientation orientation) {
  using T = Sample<N>;
  const T* lut = eightBitTable<N>();
  const std::uint8_t* src = static_cast<const std::uint8_t*>(frame);
  T* const planes[3] = {static_cast<T*>(red), static_cast<T*>(green), static_cast<T*>(blue)};
  if (orientation == ORIENTATION_ROW_MAJOR) {
    // Row-major source, column-major planes: a transposition of each plane.
    if (w <= 0 || h <= 0) return;
    const std::int64_t W = w, planeBytes = W * h;
    if constexpr (N == VIDEO_UINT8) {
      for (int p = 0; p < 3; ++p) transposePlane(src + p * planeBytes, planes[p], w, h);
    } else {
      const bool stream = streamFor(3 * planeBytes, 3 * sizeof(T) * planeBytes);
      const auto row = [&](int r, int c, int n, T* const out[3], bool) {
        for (int p = 0; p < 3; ++p) widenRun<N>(src + p * planeBytes + r * W + c, out[p], n, lut);
      };
      planesFromRows<T, 3>(row, planes, w, h, ORIENTATION_COLUMN_MAJOR, stream);
      endStream(stream);
    }
  } else {
    // Both sides column-major: element i from byte i, so only w * h matters.
    const std::int32_t count = product32(w, h);
    if (count < 1) return;
    const bool stream = streamFor(3 * std::int64_t{count}, 3 * sizeof(T) * std::int64_t{count});
    for (int p = 0; p < 3; ++p)
      widenRun<N>(src + static_cast<std::int64_t>(p) * count, planes[p], count, lut, stream);
    endStream(stream);
  }
}

}  // namespace

constexpr VideoInputTable kRGBToRGBChannelsInput = buildVideoTable<VideoInputFcn, kRGBToRGBChannelsInputTypes>(
    []<int N> { return &RGBToRGBChannelsInput<N>; });
constexpr VideoInputTable kRGBToRGBChannelsInput_mmr = buildVideoTable<VideoInputFcn, kRGBToRGBChannelsInputTypes>(
    []<int N> { return &RGBToRGBChannelsInput_mmr<N>; });

}  // namespace rivulet
