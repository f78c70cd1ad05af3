// YCbCr planes from packed frames: RGBToYCbCrChannelsInput (BGR frame, forward
// transform), RGBToYCbCrChannelsInput_mmr (byte planes, forward transform),
// YCbCrToYCbCrChannelsInput (YUY2 unpacked as it is) and YCbCrToRGBChannelsInput
// (YUY2 through the backward transform). Chroma is taken from the left pixel
// of a pair, never averaged; every value stored goes through byteToSample.
// The odd-width behaviour of each family is part of its contract and is
// documented in rivulet/video.h.
#include "video/column_tiles.h"
#include "video/families.h"
#include "video/frame_kernels.h"
#include "video/plane_driver.h"

namespace rivulet {
namespace {

template <int N>
struct YCbCrPlanes {
  Sample<N>* p[3];
  YCbCrPlanes(void* a, void* b, void* c)
      : p{static_cast<Sample<N>*>(a), static_cast<Sample<N>*>(b), static_cast<Sample<N>*>(c)} {}
};

// Bottom-up BGR frame. A last odd column is neither read nor written; the
// planes have evenWidth columns (row-major Y rows are evenWidth long).
template <int N>
void RGBToYCbCrChannelsInput(void const* frame, void* yp, void* cbp, void* crp, int w, int h,
                             VideoFrameOrientation orientation) {
  if (w <= 0 || h <= 0) return;
  using T = Sample<N>;
  const T* lut = eightBitTable<N>();
  const YCbCrMatrices m = loadYCbCrMatrices();
  const int pairs = w / 2;
  const std::int64_t stride = bgrRowStride(w);
  const std::uint8_t* top = static_cast<const std::uint8_t*>(frame) + (h - 1) * stride;
  YCbCrPlanes<N> planes(yp, cbp, crp);
  if (orientation == ORIENTATION_ROW_MAJOR) {
    const bool stream = streamFor(stride * h, 4 * sizeof(T) * std::int64_t{pairs} * h);
    for (int r = 0; r < h; ++r) {
      const std::int64_t o = static_cast<std::int64_t>(r) * pairs;
      bgrToYCbCrRow<N>(top - r * stride, planes.p[0] + 2 * o, planes.p[1] + o, planes.p[2] + o,
                       pairs, lut, m, stream);
    }
    endStream(stream);
  } else {
    constexpr int per[3] = {2, 1, 1};
    const bool stream = streamFor(stride * h, 4 * sizeof(T) * std::int64_t{pairs} * h);
    rowsToColumns(planes.p, per, h, pairs, [&](int r, int k0, int n, T* const* dst) {
      const std::uint8_t* px = top - r * stride + 6 * k0;
      if (k0 + n < pairs) prefetchRun(px + 6 * n, 6 * n);
      bgrToYCbCrRow<N>(px, dst[0], dst[1], dst[2], n, lut, m);
    }, stream);
    endStream(stream);
  }
}

// Byte planes (red, green, blue at 0, w * h, 2 * w * h) to column-major
// planes whatever the orientation; orientation 1 says the source is
// column-major, anything else row-major. Pairs are ((w - 1) >> 1) + 1, so an
// odd width takes Q from one element past the row (source) and writes one Y
// column past the plane.
template <int N>
void RGBToYCbCrChannelsInput_mmr(void const* frame, void* yp, void* cbp, void* crp, int w, int h,
                                 VideoFrameOrientation orientation) {
  const int pairs = ((w - 1) >> 1) + 1;
  if (pairs <= 0 || h <= 0) return;
  using T = Sample<N>;
  const T* lut = eightBitTable<N>();
  const YCbCrMatrices m = loadYCbCrMatrices();
  const std::uint8_t* src = static_cast<const std::uint8_t*>(frame);
  const std::int64_t planeBytes = static_cast<std::int64_t>(w) * h;
  const std::uint8_t* const rgb[3] = {src, src + planeBytes, src + 2 * planeBytes};
  YCbCrPlanes<N> planes(yp, cbp, crp);
  constexpr int per[3] = {2, 1, 1};
  if (orientation == ORIENTATION_COLUMN_MAJOR) {
    // A tile of the column-major source is gathered, converted row by row
    // into a tile of results, and that is written out column-major.
    const std::int64_t H = h;
    Tile<std::uint8_t, 3, kLineRows<T>> in;
    Tile<T, 3> out;
    for (int r0 = 0; r0 < h; r0 += kLineRows<T>) {
      const int rows = std::min(kLineRows<T>, h - r0);
      for (int k0 = 0; k0 < pairs; k0 += kBlockUnits) {
        const int n = std::min(kBlockUnits, pairs - k0);
        for (int p = 0; p < 3; ++p) gatherTile(rgb[p], H, 2 * std::int64_t{k0}, r0, rows, 2 * n, in[p]);
        for (int rr = 0; rr < rows; ++rr)
          rgbBytesToYCbCrRow_C<N, 1>(in[0][rr], in[1][rr], in[2][rr], out[0][rr], out[1][rr],
                                     out[2][rr], n, lut, m);
        for (int p = 0; p < 3; ++p)
          scatterTile(out[p], rows, per[p] * n, planes.p[p], H, std::int64_t{per[p]} * k0, r0);
      }
    }
  } else {
    rowsToColumns(planes.p, per, h, pairs, [&](int r, int k0, int n, T* const* dst) {
      const std::int64_t o = static_cast<std::int64_t>(r) * w + 2 * k0;
      rgbBytesToYCbCrRow_C<N, 1>(rgb[0] + o, rgb[1] + o, rgb[2] + o, dst[0], dst[1], dst[2], n,
                                 lut, m);
    });
  }
}

// YUY2 unpacked. Orientation 0 is flat over ((w * h - 1) >> 1) + 1
// macro-pixels (an odd w * h writes one Y past the plane); orientation 1 walks
// pixels with one counter n, luma from byte 2n and chroma from byte 2n + 1 into
// Cb for even n, Cr for odd n; any other orientation writes nothing.
template <int N>
void YCbCrToYCbCrChannelsInput(void const* frame, void* yp, void* cbp, void* crp, int w, int h,
                               VideoFrameOrientation orientation) {
  using T = Sample<N>;
  const T* lut = eightBitTable<N>();
  const std::uint8_t* f = static_cast<const std::uint8_t*>(frame);
  YCbCrPlanes<N> planes(yp, cbp, crp);
  if (orientation == ORIENTATION_ROW_MAJOR) {
    const std::int32_t n = product32(w, h);
    if (n <= 0) return;
    const int pairs = ((n - 1) >> 1) + 1;
    const bool stream = streamFor(4 * std::int64_t{pairs}, 4 * sizeof(T) * std::int64_t{pairs});
    yuy2ToPlanesRow<N>(f, planes.p[0], planes.p[1], planes.p[2], pairs, lut, stream);
    endStream(stream);
  } else if (orientation == ORIENTATION_COLUMN_MAJOR) {
    if (w <= 0 || h <= 0) return;
    if (w % 2 == 0) {
      // Even widths: the counter meets every row on an even value, so this is
      // macro-pixels, w / 2 of them a row.
      const std::int64_t rowBytes = 2 * static_cast<std::int64_t>(w);
      constexpr int per[3] = {2, 1, 1};
      const bool stream = streamFor(2 * std::int64_t{w} * h, 2 * sizeof(T) * std::int64_t{w} * h);
      rowsToColumns(planes.p, per, h, w / 2, [&](int r, int k0, int n, T* const* dst) {
        const std::uint8_t* px = f + r * rowBytes + 4 * k0;
        if (k0 + n < w / 2) prefetchRun(px + 4 * n, 4 * n);
        yuy2ToPlanesRow<N>(px, dst[0], dst[1], dst[2], n, lut);
      }, stream);
      endStream(stream);
    } else {
      // Odd widths: Cb and Cr swap roles from one row to the next.
      const std::int64_t H = h;
      std::int64_t n = 0;
      for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c, ++n) {
          planes.p[0][c * H + r] = byteToSample<N>(lut, f[2 * n]);
          planes.p[n % 2 == 0 ? 1 : 2][(c >> 1) * H + r] = byteToSample<N>(lut, f[2 * n + 1]);
        }
    }
  }
}

// YUY2 through the backward transform. Orientation 0 is flat as above; any
// other orientation reads each row's ((w - 1) >> 1) + 1 macro-pixels from one
// running cursor, so an odd width uses w + 1 pixels of frame a row and writes
// one column past each plane.
template <int N>
void YCbCrToRGBChannelsBody(void const* frame, int w, int h, bool rowMajor, void* red,
                            void* green, void* blue) {
  using T = Sample<N>;
  const T* lut = eightBitTable<N>();
  const YCbCrMatrices m = loadYCbCrMatrices();
  const std::uint8_t* f = static_cast<const std::uint8_t*>(frame);
  YCbCrPlanes<N> planes(red, green, blue);
  if (rowMajor) {
    const std::int32_t n = product32(w, h);
    if (n <= 0) return;
    const int pairs = ((n - 1) >> 1) + 1;
    const bool stream = streamFor(4 * std::int64_t{pairs}, 6 * sizeof(T) * std::int64_t{pairs});
    yuy2ToRGBRow<N>(f, planes.p[0], planes.p[1], planes.p[2], pairs, lut, m, stream);
    endStream(stream);
  } else {
    const int pairs = ((w - 1) >> 1) + 1;
    if (pairs <= 0 || h <= 0) return;
    const std::int64_t rowBytes = 4 * static_cast<std::int64_t>(pairs);
    constexpr int per[3] = {2, 2, 2};
    const bool stream = streamFor(rowBytes * h, 6 * sizeof(T) * std::int64_t{pairs} * h);
    rowsToColumns(planes.p, per, h, pairs, [&](int r, int k0, int n, T* const* dst) {
      const std::uint8_t* px = f + r * rowBytes + 4 * k0;
      if (k0 + n < pairs) prefetchRun(px + 4 * n, 4 * n);
      yuy2ToRGBRow<N>(px, dst[0], dst[1], dst[2], n, lut, m);
    }, stream);
    endStream(stream);
  }
}

template <int N>
void YCbCrToRGBChannelsInput(void const* frame, void* red, void* green, void* blue, int w, int h,
                             VideoFrameOrientation orientation) {
  YCbCrToRGBChannelsBody<N>(frame, w, h, orientation == ORIENTATION_ROW_MAJOR, red, green, blue);
}


}  // namespace

constexpr VideoInputTable kRGBToYCbCrChannelsInput = buildVideoTable<VideoInputFcn, kFramesAndYCbCrTypes>(
    []<int N> { return &RGBToYCbCrChannelsInput<N>; });
constexpr VideoInputTable kRGBToYCbCrChannelsInput_mmr = buildVideoTable<VideoInputFcn, kFramesAndYCbCrTypes>(
    []<int N> { return &RGBToYCbCrChannelsInput_mmr<N>; });
constexpr VideoInputTable kYCbCrToYCbCrChannelsInput = buildVideoTable<VideoInputFcn, kFramesAndYCbCrTypes>(
    []<int N> { return &YCbCrToYCbCrChannelsInput<N>; });
constexpr VideoInputTable kYCbCrToRGBChannelsInput = buildVideoTable<VideoInputFcn, kFramesAndYCbCrTypes>(
    []<int N> { return &YCbCrToRGBChannelsInput<N>; });

}  // namespace rivulet
