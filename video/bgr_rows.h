// Row kernel of the families that split packed BGR pixels into three planes:
// each component widened by byteToSample, red to the first plane. Plain form
// and fast form side by side; the fast form splits bytes by the SIMD forms
// and widens by table gathers, and equals the plain one bit for bit.
#ifndef RIVULET_VIDEO_BGR_ROWS_H
#define RIVULET_VIDEO_BGR_ROWS_H

#include <algorithm>
#include <cstdint>

#include "video/kernels.h"
#include "video/sample_rules.h"

namespace rivulet {

template <int N>
inline void splitBGRRow_C(const std::uint8_t* bgr, Sample<N>* red, Sample<N>* green,
                          Sample<N>* blue, int n, Sample<N> const* lut) {
  for (int c = 0; c < n; ++c) {
    blue[c] = byteToSample<N>(lut, bgr[3 * c]);
    green[c] = byteToSample<N>(lut, bgr[3 * c + 1]);
    red[c] = byteToSample<N>(lut, bgr[3 * c + 2]);
  }
}

// n bytes widened into dst: the gather form for 4- and 8-byte samples where
// there is one, the rest by the rule.
template <int N>
inline void widenRun(const std::uint8_t* src, Sample<N>* dst, std::int64_t n, Sample<N> const* lut,
                     bool stream = false) {
  std::int64_t done = 0;
  if constexpr (N == VIDEO_UINT8) {
    std::copy_n(src, n, dst);
    return;
  } else if constexpr (sizeof(Sample<N>) == 8) {
    if (videoForms().widen8 != nullptr) done = videoForms().widen8(src, dst, n, lut, stream);
  } else if constexpr (sizeof(Sample<N>) == 4) {
    if (videoForms().widen4 != nullptr) done = videoForms().widen4(src, dst, n, lut, stream);
  }
  for (std::int64_t i = done; i < n; ++i) dst[i] = byteToSample<N>(lut, src[i]);
}

// Bytes split straight into the planes; wide samples through three byte runs
// of at most kChunk pixels in L1, each then widened.
template <int N>
inline void splitBGRRow(const std::uint8_t* bgr, Sample<N>* red, Sample<N>* green,
                        Sample<N>* blue, int n, Sample<N> const* lut, bool stream = false) {
  const auto split = videoForms().splitBGR;
  if constexpr (N == VIDEO_UINT8) {
    const int done = split != nullptr ? split(bgr, red, green, blue, n) : 0;
    splitBGRRow_C<N>(bgr + 3 * done, red + done, green + done, blue + done, n - done, lut);
  } else {
    constexpr bool kGathers = sizeof(Sample<N>) == 8 || sizeof(Sample<N>) == 4;
    const auto gather = sizeof(Sample<N>) == 8 ? videoForms().widen8 : videoForms().widen4;
    if (!kGathers || split == nullptr || gather == nullptr)
      return splitBGRRow_C<N>(bgr, red, green, blue, n, lut);
    constexpr int kChunk = 512;
    alignas(64) std::uint8_t bytes[3][kChunk];
    for (int c = 0; c < n; c += kChunk) {
      const int m = std::min(kChunk, n - c);
      const int done = split(bgr + 3 * c, bytes[0], bytes[1], bytes[2], m);
      splitBGRRow_C<VIDEO_UINT8>(bgr + 3 * (c + done), bytes[0] + done, bytes[1] + done,
                                 bytes[2] + done, m - done, nullptr);
      widenRun<N>(bytes[0], red + c, m, lut, stream);
      widenRun<N>(bytes[1], green + c, m, lut, stream);
      widenRun<N>(bytes[2], blue + c, m, lut, stream);
    }
  }
}

}  // namespace rivulet

#endif
