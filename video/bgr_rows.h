// Row kernel of the families that split packed BGR pixels into three planes:
// each component widened by byteToSample, red to the first plane. Plain form
// and fast form side by side; the fast form splits bytes by the SIMD forms
// and widens the byte runs, and equals the plain one bit for bit.
#ifndef RIVULET_VIDEO_BGR_ROWS_H
#define RIVULET_VIDEO_BGR_ROWS_H

#include <algorithm>
#include <cstdint>

#include "video/kernels.h"
#include "video/sample_rules.h"

namespace rivulet {

// A null plane is skipped (the column driver's passes, plane_driver.h).
template <int N>
inline void splitBGRRow_C(const std::uint8_t* bgr, Sample<N>* red, Sample<N>* green,
                          Sample<N>* blue, int n, Sample<N> const* lut) {
  if (red != nullptr && green != nullptr && blue != nullptr) {
    for (int c = 0; c < n; ++c) {
      blue[c] = byteToSample<N>(lut, bgr[3 * c]);
      green[c] = byteToSample<N>(lut, bgr[3 * c + 1]);
      red[c] = byteToSample<N>(lut, bgr[3 * c + 2]);
    }
    return;
  }
  Sample<N>* const planes[3] = {blue, green, red};
  for (int k = 0; k < 3; ++k)
    if (planes[k] != nullptr)
      for (int c = 0; c < n; ++c) planes[k][c] = byteToSample<N>(lut, bgr[3 * c + k]);
}

// n bytes widened into dst; 8-byte samples by the permuting form where the
// CPU has one. With `stream`, the whole 64-byte lines of dst are written past
// the caches: by that form, or gathered in L1 by the rule and then streamed a
// line at a time (table gathers are slower than the scalar look-ups).
template <int N>
inline void widenRun(const std::uint8_t* src, Sample<N>* dst, std::int64_t n, Sample<N> const* lut,
                     bool stream = false) {
  using T = Sample<N>;
  if constexpr (N == VIDEO_UINT8) {
    std::copy_n(src, n, dst);
    return;
  }
  std::int64_t i = 0;
  const auto streamLine = videoForms().streamLine;
  const auto address = reinterpret_cast<std::uintptr_t>(dst);
  if (stream && streamLine != nullptr && address % sizeof(T) == 0) {
    constexpr int kLine = 64 / sizeof(T);
    const std::int64_t lead = std::min<std::int64_t>(n, (64 - address % 64) % 64 / sizeof(T));
    for (; i < lead; ++i) dst[i] = byteToSample<N>(lut, src[i]);
    if constexpr (sizeof(T) == 8)
      if (const auto widen = videoForms().widen8)
        i += widen(src + i, reinterpret_cast<const std::uint64_t*>(lut), dst + i, n - i, true);
    // Sixteen lines are filled before any is streamed: a line read right
    // after its elements were stored one by one would wait for them.
    constexpr int kBlock = 16 * kLine;
    alignas(64) T lines[kBlock];
    for (; i + kLine <= n;) {
      const std::int64_t m = std::min<std::int64_t>(kBlock, (n - i) / kLine * kLine);
      for (std::int64_t k = 0; k < m; ++k) lines[k] = byteToSample<N>(lut, src[i + k]);
      for (std::int64_t k = 0; k < m; k += kLine) streamLine(dst + i + k, lines + k);
      i += m;
    }
  }
  if constexpr (sizeof(T) == 8)
    if (const auto widen = videoForms().widen8; widen != nullptr && i == 0)
      i = widen(src, reinterpret_cast<const std::uint64_t*>(lut), dst, n, false);
  for (; i < n; ++i) dst[i] = byteToSample<N>(lut, src[i]);
}

// Bytes split straight into the planes; wider samples through three byte
// runs of at most kChunk pixels in L1, each then widened.
template <int N>
inline void splitBGRRow(const std::uint8_t* bgr, Sample<N>* red, Sample<N>* green,
                        Sample<N>* blue, int n, Sample<N> const* lut, bool stream = false) {
  const auto split = videoForms().splitBGR;
  if constexpr (N == VIDEO_UINT8) {
    const int done = split != nullptr ? split(bgr, red, green, blue, n) : 0;
    splitBGRRow_C<N>(bgr + 3 * done, red + done, green + done, blue + done, n - done, lut);
  } else {
    if (split == nullptr || (!stream && sizeof(Sample<N>) < 8) || !red || !green || !blue)
      return splitBGRRow_C<N>(bgr, red, green, blue, n, lut);
    constexpr int kChunk = 2048;
    alignas(64) std::uint8_t bytes[3][kChunk];
    for (int c = 0; c < n; c += kChunk) {
      const int m = std::min(kChunk, n - c);
      const int done = split(bgr + 3 * c, bytes[0], bytes[1], bytes[2], m);
      splitBGRRow_C<VIDEO_UINT8>(bgr + 3 * (c + done), bytes[0] + done, bytes[1] + done,
                                 bytes[2] + done, m - done, nullptr);
      Sample<N>* const planes[3] = {red, green, blue};
      for (int k = 0; k < 3; ++k)
        if (planes[k] != nullptr) widenRun<N>(bytes[k], planes[k] + c, m, lut, stream);
    }
  }
}

}  // namespace rivulet

#endif
