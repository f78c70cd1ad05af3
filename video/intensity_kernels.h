// Row kernels of the intensity families: the plain forms (the rules, one
// element at a time) and the entry points the routines call, which hand what
// they can to a fast form and finish the tail with the plain one.
#ifndef RIVULET_VIDEO_INTENSITY_KERNELS_H
#define RIVULET_VIDEO_INTENSITY_KERNELS_H

#include <cstdint>

#include "video/bgr_rows.h"
#include "video/full_range_rules.h"

namespace rivulet {

// ---- Plain forms ------------------------------------------------------------------------

template <int N>
inline void intensityRowFromBGR_C(const std::uint8_t* bgr, Sample<N>* dst, std::int64_t n) {
  for (std::int64_t c = 0; c < n; ++c)
    dst[c] = intensityToSample<N>(intensityOfRGB(bgr[3 * c + 2], bgr[3 * c + 1], bgr[3 * c]));
}

template <int N>
inline void intensityRunFromPlanes_C(const std::uint8_t* r, const std::uint8_t* g,
                                     const std::uint8_t* b, Sample<N>* dst, std::int64_t n) {
  for (std::int64_t i = 0; i < n; ++i) dst[i] = intensityToSample<N>(intensityOfRGB(r[i], g[i], b[i]));
}

// table[y] is the sample of luma byte y (every other byte of a YUY2 run).
template <int N>
inline void lumaRun_C(const std::uint8_t* yuy2, Sample<N>* dst, std::int64_t n,
                      Sample<N> const* table) {
  for (std::int64_t i = 0; i < n; ++i) dst[i] = table[yuy2[2 * i]];
}

// ---- Fast forms, one table per instruction set (intensity_avx2.cc, intensity_avx512.cc) --

// Each form does whole vectors of pixels and returns how many; the plain form
// finishes the rest. Indexed by VideoDataType.
struct IntensityForms {
  std::int64_t (*bgr[9])(const std::uint8_t* bgr, void* dst, std::int64_t n);
  std::int64_t (*planes[9])(const std::uint8_t* r, const std::uint8_t* g, const std::uint8_t* b, void* dst,
                            std::int64_t n);
  // dst[i] = table[yuy2[2 * i]] for 1-byte samples; null where not fast.
  std::int64_t (*lumaBytes)(const std::uint8_t* yuy2, void* dst, std::int64_t n, const void* table);
};
extern const IntensityForms kIntensityForms_AVX2;
extern const IntensityForms kIntensityForms_AVX512;

// The widest table the CPU runs, or null (plain forms only), picked once.
const IntensityForms* intensityForms();

// ---- Entry points -----------------------------------------------------------------------

template <int N>
inline void intensityRowFromBGR(const std::uint8_t* bgr, Sample<N>* dst, std::int64_t n) {
  std::int64_t done = 0;
  if (const IntensityForms* f = intensityForms()) done = f->bgr[N](bgr, dst, n);
  intensityRowFromBGR_C<N>(bgr + 3 * done, dst + done, n - done);
}

template <int N>
inline void intensityRunFromPlanes(const std::uint8_t* r, const std::uint8_t* g,
                                   const std::uint8_t* b, Sample<N>* dst, std::int64_t n) {
  std::int64_t done = 0;
  if (const IntensityForms* f = intensityForms()) done = f->planes[N](r, g, b, dst, n);
  intensityRunFromPlanes_C<N>(r + done, g + done, b + done, dst + done, n - done);
}

// Wide samples: the luma bytes of a chunk gathered in L1, then widened by the
// table through the gather forms (past the caches with `stream`); bytes by a
// fast table form where there is one.
template <int N>
inline void lumaRun(const std::uint8_t* yuy2, Sample<N>* dst, std::int64_t n,
                    Sample<N> const* table, bool stream = false) {
  if constexpr (sizeof(Sample<N>) >= 4) {
    constexpr int kChunk = 512;
    alignas(64) std::uint8_t bytes[kChunk];
    for (std::int64_t i = 0; i < n; i += kChunk) {
      const int m = static_cast<int>(std::min<std::int64_t>(kChunk, n - i));
      for (int j = 0; j < m; ++j) bytes[j] = yuy2[2 * (i + j)];
      widenRun<N>(bytes, dst + i, m, table, stream);
    }
  } else {
    std::int64_t done = 0;
    if constexpr (sizeof(Sample<N>) == 1)
      if (const IntensityForms* f = intensityForms(); f != nullptr && f->lumaBytes != nullptr)
        done = f->lumaBytes(yuy2, dst, n, table);
    lumaRun_C<N>(yuy2 + 2 * done, dst + done, n - done, table);
  }
}

}  // namespace rivulet

#endif
