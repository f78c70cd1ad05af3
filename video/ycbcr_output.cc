// Output families with YCbCr on one side: YCbCrToRGBChannelsOutput (Y, Cb, Cr
// planes to a BGR frame through the backward transform) and the three that
// write YUY2 frames: RGBToYCbCrChannelsOutput (forward transform),
// IntensityToYCbCrChannelsOutput (grey luma, neutral chroma) and
// YCbCrToYCbCrChannelsOutput (interleaving only). Every sample is narrowed by
// sampleToByte first; the colour arithmetic sees bytes only. YUY2 frames are
// written top-down from their start. The odd-width and orientation-0 quirks
// are part of the contract and documented in rivulet/video.h.
#include "video/column_tiles.h"
#include "video/families.h"
#include "video/frame_kernels.h"

namespace rivulet {
namespace {

template <int N>
struct ConstPlanes {
  Sample<N> const* p[3];
  ConstPlanes(void const* a, void const* b, void const* c)
      : p{static_cast<Sample<N> const*>(a), static_cast<Sample<N> const*>(b),
          static_cast<Sample<N> const*>(c)} {}
};

// Bottom-up BGR frame; w / 2 pairs a row share their chroma. An odd width
// leaves the last pixel's three bytes, like the padding, as they were.
template <int N>
void YCbCrToRGBChannelsOutput(void const* yp, void const* cbp, void const* crp, void* frame, int w,
                              int h, VideoFrameOrientation orientation) {
  if (w <= 0 || h <= 0) return;
  using T = Sample<N>;
  const YCbCrMatrices m = loadYCbCrMatrices();
  const ConstPlanes<N> planes(yp, cbp, crp);
  const int pairs = w / 2;
  const std::int64_t stride = bgrRowStride(w);
  std::uint8_t* bottom = static_cast<std::uint8_t*>(frame) + (h - 1) * stride;
  if (orientation == ORIENTATION_ROW_MAJOR) {
    for (int r = 0; r < h; ++r)
      ycbcrToBGRRow<N>(planes.p[0] + static_cast<std::int64_t>(r) * w,
                       planes.p[1] + static_cast<std::int64_t>(r) * pairs,
                       planes.p[2] + static_cast<std::int64_t>(r) * pairs, bottom - r * stride,
                       pairs, m);
  } else {
    constexpr int per[3] = {2, 1, 1};
    columnsToRows(planes.p, per, h, pairs, [&](int r, int k0, int n, T const* const* src) {
      ycbcrToBGRRow<N>(src[0], src[1], src[2], bottom - r * stride + 6 * k0, n, m);
    });
  }
}

// One macro-pixel Y(P), Cb(P), Y(Q), Cr(P) from plane elements p and q.
template <int N>
void rgbStep(const ConstPlanes<N>& s, std::int64_t p, std::int64_t q, std::uint8_t* out,
             const YCbCrMatrices& m) {
  Sample<N> const r[2] = {s.p[0][p], s.p[0][q]}, g[2] = {s.p[1][p], s.p[1][q]},
                  b[2] = {s.p[2][p], s.p[2][q]};
  rgbToYUY2Row_C<N, 2>(r, g, b, out, 1, m);
}

// Orientation 1: pairs of columns, and for an odd width a last macro-pixel
// holding the last column twice; 2 * w + 2 bytes a row then. Any other
// orientation makes a step for every column (P at column j, Q at j + 1, so the
// last Q of a row is the next row's first pixel, or one past the planes), plus
// the same last step for an odd width: 4 * evenWidth (+ 4) bytes a row.
template <int N>
void RGBToYCbCrChannelsOutput(void const* red, void const* green, void const* blue, void* frame,
                              int w, int h, VideoFrameOrientation orientation) {
  if (w <= 0 || h <= 0) return;
  using T = Sample<N>;
  const YCbCrMatrices m = loadYCbCrMatrices();
  const ConstPlanes<N> planes(red, green, blue);
  const int evenWidth = w & ~1;
  const bool odd = (w & 1) != 0;
  std::uint8_t* out = static_cast<std::uint8_t*>(frame);
  const std::int64_t H = h, W = w;
  if (orientation == ORIENTATION_COLUMN_MAJOR) {
    const std::int64_t rowBytes = 2 * evenWidth + (odd ? 4 : 0);
    constexpr int per[3] = {2, 2, 2};
    columnsToRows(planes.p, per, h, evenWidth / 2, [&](int r, int k0, int n, T const* const* src) {
      rgbToYUY2Row_C<N, 2>(src[0], src[1], src[2], out + r * rowBytes + 4 * k0, n, m);
    });
    if (odd)
      for (int r = 0; r < h; ++r) {
        const std::int64_t last = (W - 1) * H + r;
        rgbStep<N>(planes, last, last, out + r * rowBytes + 2 * evenWidth, m);
      }
  } else {
    const std::int64_t rowBytes = 4 * evenWidth + (odd ? 4 : 0);
    for (int r = 0; r < h; ++r) {
      const std::int64_t o = r * W;
      std::uint8_t* row = out + r * rowBytes;
      rgbToYUY2Row_C<N, 1>(planes.p[0] + o, planes.p[1] + o, planes.p[2] + o, row, evenWidth, m);
      if (odd) rgbStep<N>(planes, o + W - 1, o + W - 1, row + 4 * evenWidth, m);
    }
  }
}

// Grey to YUY2 with chroma 128. Non-zero orientation: pairs of columns, and a
// last macro-pixel L(b), 128, L(b), 128 for an odd width. Orientation 0: one
// cursor moving two elements a pair, the right luma through L twice, and for
// an odd width a last step from the element (r + 1) * w - 1 past the moved
// cursor (the cursor itself does not move for it).
template <int N>
void IntensityToYCbCrChannelsOutput(void const* grey, void const*, void const*, void* frame,
                                    int w, int h, VideoFrameOrientation orientation) {
  if (w <= 0 || h <= 0) return;
  using T = Sample<N>;
  const YCbCrMatrices m = loadYCbCrMatrices();
  T const* const plane[1] = {static_cast<T const*>(grey)};
  const int evenWidth = w & ~1;
  const bool odd = (w & 1) != 0;
  const std::int64_t rowBytes = 2 * evenWidth + (odd ? 4 : 0);
  std::uint8_t* out = static_cast<std::uint8_t*>(frame);
  const std::int64_t H = h, W = w;
  auto lastStep = [&](std::int64_t i, std::uint8_t* dst) {
    const std::uint8_t l = intensityLuma(m, sampleToByte<N>(plane[0][i]));
    dst[0] = dst[2] = l;
    dst[1] = static_cast<std::uint8_t>(m.off[1]);
    dst[3] = static_cast<std::uint8_t>(m.off[2]);
  };
  if (orientation != ORIENTATION_ROW_MAJOR) {
    constexpr int per[1] = {2};
    columnsToRows(plane, per, h, evenWidth / 2, [&](int r, int k0, int n, T const* const* src) {
      intensityToYUY2Row_C<N, false>(src[0], out + r * rowBytes + 4 * k0, n, m);
    });
    if (odd)
      for (int r = 0; r < h; ++r) lastStep((W - 1) * H + r, out + r * rowBytes + 2 * evenWidth);
  } else {
    std::int64_t s = 0;
    for (int r = 0; r < h; ++r) {
      std::uint8_t* row = out + r * rowBytes;
      intensityToYUY2Row_C<N, true>(plane[0] + s, row, evenWidth / 2, m);
      s += evenWidth;
      if (odd) lastStep(s + (r + 1) * W - 1, row + 2 * evenWidth);
    }
  }
}

// Interleaving only. Orientation 0: flat over ((w * h - 1) >> 1) + 1
// macro-pixels (an odd w * h reads one Y past the plane). Any other: each row
// has ((w - 1) >> 1) + 1 macro-pixels, so an odd width reads one column past
// the Y plane and one past the chroma planes' w / 2.
template <int N>
void YCbCrToYCbCrChannelsOutput(void const* yp, void const* cbp, void const* crp, void* frame,
                                int w, int h, VideoFrameOrientation orientation) {
  using T = Sample<N>;
  const ConstPlanes<N> planes(yp, cbp, crp);
  std::uint8_t* out = static_cast<std::uint8_t*>(frame);
  if (orientation == ORIENTATION_ROW_MAJOR) {
    const std::int32_t n = product32(w, h);
    if (n <= 0) return;
    planesToYUY2Row<N>(planes.p[0], planes.p[1], planes.p[2], out, ((n - 1) >> 1) + 1);
  } else {
    const int pairs = ((w - 1) >> 1) + 1;
    if (pairs <= 0 || h <= 0) return;
    const std::int64_t rowBytes = 4 * static_cast<std::int64_t>(pairs);
    constexpr int per[3] = {2, 1, 1};
    columnsToRows(planes.p, per, h, pairs, [&](int r, int k0, int n, T const* const* src) {
      planesToYUY2Row<N>(src[0], src[1], src[2], out + r * rowBytes + 4 * k0, n);
    });
  }
}


}  // namespace

constexpr VideoOutputTable kYCbCrToRGBChannelsOutput = buildVideoTable<VideoOutputFcn, kFramesAndYCbCrTypes>(
    []<int N> { return &YCbCrToRGBChannelsOutput<N>; });
constexpr VideoOutputTable kRGBToYCbCrChannelsOutput = buildVideoTable<VideoOutputFcn, kFramesAndYCbCrTypes>(
    []<int N> { return &RGBToYCbCrChannelsOutput<N>; });
constexpr VideoOutputTable kIntensityToYCbCrChannelsOutput = buildVideoTable<VideoOutputFcn, kFramesAndYCbCrTypes>(
    []<int N> { return &IntensityToYCbCrChannelsOutput<N>; });
constexpr VideoOutputTable kYCbCrToYCbCrChannelsOutput = buildVideoTable<VideoOutputFcn, kFramesAndYCbCrTypes>(
    []<int N> { return &YCbCrToYCbCrChannelsOutput<N>; });

}  // namespace rivulet
