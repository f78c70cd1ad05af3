// Row kernel of the families that split packed BGR pixels into three planes:
// each component widened by byteToSample, red to the first plane. Plain form
// and fast form side by side; the fast form splits bytes by the SIMD forms
// and widens the byte runs, and equals the plain one bit for bit.
#ifndef RIVULET_VIDEO_BGR_ROWS_H
#define RIVULET_VIDEO_BGR_ROWS_H

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "video/frame_kernels_simd.h"
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

template <int N>
inline void widenRun_C(const std::uint8_t* src, Sample<N>* dst, std::int64_t n, Sample<N> const* lut) {
  for (std::int64_t i = 0; i < n; ++i) dst[i] = byteToSample<N>(lut, src[i]);
}

// A 256-entry widening table of 2-, 4- or 8-byte samples cut into byte planes.
template <typename T>
WidenPlanes cutIntoPlanes(const T* table) {
  WidenPlanes t{};
  for (int i = 0; i < 256; ++i) {
    std::uint8_t b[sizeof(T)];
    std::memcpy(b, table + i, sizeof(T));
    for (unsigned j = 0; j < sizeof(T); ++j) {
      t.plane[j][i] = b[j];
      if (b[j] != 0) t.used |= 1u << j;
    }
  }
  return t;
}

// The widening rule of a type as a table and as byte planes for the fast
// widening forms, made once from widenByte, the rule that fills EightBitLUT.
template <int N>
struct RulePlanes {
  Sample<N> table[256];
  WidenPlanes planes;
  RulePlanes() {
    for (int i = 0; i < 256; ++i) table[i] = widenByte<N>(i);
    planes = cutIntoPlanes(table);
  }
};

// The planes of the table a run is widened through, or null where there are
// none and the run goes through the table itself. EightBitLUT is exported
// and a host may write to it: its planes serve only while it holds the
// rule, so a changed entry is looked up as the plain form does. Besides it,
// one other fixed table (the full-range one) is cut the first time it is seen.
template <int N>
const WidenPlanes* widenPlanesOf(Sample<N> const* lut) {
  static const RulePlanes<N> rule;
  if (lut == nullptr) return nullptr;
  if (lut == eightBitTable<N>())
    return std::memcmp(lut, rule.table, sizeof rule.table) == 0 ? &rule.planes : nullptr;
  static Sample<N> const* const other = lut;
  static const WidenPlanes otherPlanes = cutIntoPlanes(other);
  return lut == other ? &otherPlanes : nullptr;
}

// n bytes widened into dst. 2-, 4- and 8-byte samples by the byte-permute
// forms where the CPU has them: the whole run, dst's whole 64-byte lines by
// aligned stores, past the caches with `stream` (the caller ends with
// endStream). Otherwise by the table; with `stream`, the whole lines of dst
// are gathered in L1 and then streamed a line at a time.
template <int N>
inline void widenRun(const std::uint8_t* src, Sample<N>* dst, std::int64_t n, Sample<N> const* lut,
                     bool stream = false) {
  using T = Sample<N>;
  if constexpr (N == VIDEO_UINT8) {
    std::copy_n(src, n, dst);
    return;
  } else {
    std::int64_t i = 0;
    if constexpr (sizeof(T) >= 2)
      if (const WidenPlanes* planes = widenPlanesOf<N>(lut); planes != nullptr) {
        const FrameSimd& s = frameSimd();
        const auto widen = sizeof(T) == 2 ? s.widen2 : sizeof(T) == 4 ? s.widen4 : s.widen8;
        // The forms count in int: pieces of whole 64-sample blocks.
        constexpr std::int64_t kPiece = std::int64_t{1} << 30;
        while (i < n) {
          const int m = static_cast<int>(std::min(kPiece, n - i));
          const int done = widen(src + i, dst + i, m, *planes, stream);
          i += done;
          if (done < m) break;
        }
      }
    const auto streamLine = videoForms().streamLine;
    const auto address = reinterpret_cast<std::uintptr_t>(dst + i);
    if (stream && i < n && streamLine != nullptr && address % sizeof(T) == 0) {
      constexpr int kLine = 64 / sizeof(T);
      const std::int64_t lead = std::min<std::int64_t>(n - i, (64 - address % 64) % 64 / sizeof(T));
      widenRun_C<N>(src + i, dst + i, lead, lut);
      i += lead;
      // Sixteen lines are filled before any is streamed: a line read right
      // after its elements were stored one by one would wait for them.
      constexpr int kBlock = 16 * kLine;
      alignas(64) T lines[kBlock];
      for (; i + kLine <= n;) {
        const std::int64_t m = std::min<std::int64_t>(kBlock, (n - i) / kLine * kLine);
        widenRun_C<N>(src + i, lines, m, lut);
        for (std::int64_t k = 0; k < m; k += kLine) streamLine(dst + i + k, lines + k);
        i += m;
      }
    }
    widenRun_C<N>(src + i, dst + i, n - i, lut);
  }
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
    // One-byte samples widen by the table either way: through the caches,
    // straight from the pixels.
    if (split == nullptr || (!stream && sizeof(Sample<N>) == 1))
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
        widenRun<N>(bytes[k], planes[k] + c, m, lut, stream);
    }
  }
}

}  // namespace rivulet

#endif
