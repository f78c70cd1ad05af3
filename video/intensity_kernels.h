// Row kernels of the intensity families: the plain forms (the rules, one
// element at a time) and the entry points the routines call, which hand what
// they can to a fast form and finish the tail with the plain one.
#ifndef RIVULET_VIDEO_INTENSITY_KERNELS_H
#define RIVULET_VIDEO_INTENSITY_KERNELS_H

#include <algorithm>
#include <cstdint>

#include "video/frame_kernels.h"
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

// Luma byte y (every other byte of a YUY2 run) becomes the sample of byte
// bytes[y] (the 8-bit intensity of that luma), widened through lut.
template <int N>
inline void lumaRun_C(const std::uint8_t* yuy2, Sample<N>* dst, std::int64_t n,
                      const std::uint8_t* bytes, Sample<N> const* lut) {
  for (std::int64_t i = 0; i < n; ++i) dst[i] = byteToSample<N>(lut, bytes[yuy2[2 * i]]);
}

// ---- Fast forms, one table per instruction set (intensity_avx2.cc, intensity_avx512.cc) --

// Each form does whole vectors of pixels and returns how many; the plain form
// finishes the rest. Indexed by VideoDataType.
struct IntensityForms {
  std::int64_t (*bgr[9])(const std::uint8_t* bgr, void* dst, std::int64_t n);
  std::int64_t (*planes[9])(const std::uint8_t* r, const std::uint8_t* g, const std::uint8_t* b, void* dst,
                            std::int64_t n);
  // VIDEO_DOUBLE rows past the caches, onto dst aligned to 64 bytes.
  std::int64_t (*bgrDoubleStreamed)(const std::uint8_t* bgr, void* dst, std::int64_t n);
  std::int64_t (*planesDoubleStreamed)(const std::uint8_t* r, const std::uint8_t* g, const std::uint8_t* b,
                                       void* dst, std::int64_t n);
  // dst[i] = table[yuy2[2 * i]] for a table of 256 bytes; null where not fast.
  std::int64_t (*lumaBytes)(const std::uint8_t* yuy2, void* dst, std::int64_t n, const void* table);
};
extern const IntensityForms kIntensityForms_AVX2;
extern const IntensityForms kIntensityForms_AVX512;

// The widest table the CPU runs, or null (plain forms only), picked once.
const IntensityForms* intensityForms();

// ---- Entry points -----------------------------------------------------------------------

// Elements before the first 64-byte boundary of dst, or -1 where dst is not
// aligned to its element at all.
template <typename T>
inline std::int64_t leadTo64(const T* dst) {
  const auto a = reinterpret_cast<std::uintptr_t>(dst);
  return a % sizeof(T) != 0 ? -1 : static_cast<std::int64_t>((64 - a % 64) % 64 / sizeof(T));
}

// VIDEO_UINT16 and VIDEO_UINT32 store the 8-bit intensity with its byte in
// every byte: the byte form on chunks in L1, each then widened by the
// full-range table (with `stream`, past the caches).
template <int N>
inline constexpr bool kReplicatedIntensity = N == VIDEO_UINT16 || N == VIDEO_UINT32;

template <int N, typename Bytes>
inline void replicatedIntensity(Bytes bytes, Sample<N>* dst, std::int64_t n, bool stream) {
  constexpr int kChunk = 2048;
  alignas(64) std::uint8_t chunk[kChunk];
  for (std::int64_t i = 0; i < n; i += kChunk) {
    const int m = static_cast<int>(std::min<std::int64_t>(kChunk, n - i));
    bytes(i, chunk, m);
    widenRun<N>(chunk, dst + i, m, kRGB24WidenTable<N>.data(), stream);
  }
}

// With `stream`, VIDEO_DOUBLE goes past the caches from the first 64-byte
// boundary on; the routine fences at its end.
template <int N>
inline void intensityRowFromBGR(const std::uint8_t* bgr, Sample<N>* dst, std::int64_t n, bool stream = false);

template <int N>
inline void intensityRunFromPlanes(const std::uint8_t* r, const std::uint8_t* g, const std::uint8_t* b,
                                   Sample<N>* dst, std::int64_t n, bool stream = false);

template <int N>
inline void intensityRowFromBGR(const std::uint8_t* bgr, Sample<N>* dst, std::int64_t n, bool stream) {
  if constexpr (kReplicatedIntensity<N>) {
    const auto bytes = [&](std::int64_t i, std::uint8_t* out, int m) {
      intensityRowFromBGR<VIDEO_UINT8>(bgr + 3 * i, out, m);
    };
    return replicatedIntensity<N>(bytes, dst, n, stream);
  }
  std::int64_t done = 0;
  const IntensityForms* f = intensityForms();
  if constexpr (N == VIDEO_DOUBLE) {
    const std::int64_t lead = leadTo64(dst);
    if (stream && f != nullptr && f->bgrDoubleStreamed != nullptr && lead >= 0 && lead < n) {
      intensityRowFromBGR_C<N>(bgr, dst, lead);
      done = lead + f->bgrDoubleStreamed(bgr + 3 * lead, dst + lead, n - lead);
      intensityRowFromBGR_C<N>(bgr + 3 * done, dst + done, n - done);
      return;
    }
  }
  if (f != nullptr) done = f->bgr[N](bgr, dst, n);
  intensityRowFromBGR_C<N>(bgr + 3 * done, dst + done, n - done);
}

template <int N>
inline void intensityRunFromPlanes(const std::uint8_t* r, const std::uint8_t* g, const std::uint8_t* b,
                                   Sample<N>* dst, std::int64_t n, bool stream) {
  if constexpr (kReplicatedIntensity<N>) {
    const auto bytes = [&](std::int64_t i, std::uint8_t* out, int m) {
      intensityRunFromPlanes<VIDEO_UINT8>(r + i, g + i, b + i, out, m);
    };
    return replicatedIntensity<N>(bytes, dst, n, stream);
  }
  std::int64_t done = 0;
  const IntensityForms* f = intensityForms();
  if constexpr (N == VIDEO_DOUBLE) {
    const std::int64_t lead = leadTo64(dst);
    if (stream && f != nullptr && f->planesDoubleStreamed != nullptr && lead >= 0 && lead < n) {
      intensityRunFromPlanes_C<N>(r, g, b, dst, lead);
      done = lead + f->planesDoubleStreamed(r + lead, g + lead, b + lead, dst + lead, n - lead);
      intensityRunFromPlanes_C<N>(r + done, g + done, b + done, dst + done, n - done);
      return;
    }
  }
  if (f != nullptr) done = f->planes[N](r, g, b, dst, n);
  intensityRunFromPlanes_C<N>(r + done, g + done, b + done, dst + done, n - done);
}

// The byte form where there is one; samples of other types by chunks of
// bytes in L1, each then widened by the type's rule (frame_kernels.h: the
// whole lines of dst past the caches with `stream`).
template <int N>
inline void lumaRun(const std::uint8_t* yuy2, Sample<N>* dst, std::int64_t n, const std::uint8_t* bytes,
                    Sample<N> const* lut, bool stream = false) {
  const IntensityForms* f = intensityForms();
  const auto byteForm = f != nullptr ? f->lumaBytes : nullptr;
  if constexpr (N == VIDEO_UINT8) {
    const std::int64_t done = byteForm != nullptr ? byteForm(yuy2, dst, n, bytes) : 0;
    lumaRun_C<N>(yuy2 + 2 * done, dst + done, n - done, bytes, lut);
  } else {
    constexpr int kChunk = 2048;
    alignas(64) std::uint8_t chunk[kChunk];
    for (std::int64_t i = 0; i < n; i += kChunk) {
      const int m = static_cast<int>(std::min<std::int64_t>(kChunk, n - i));
      const std::int64_t done = byteForm != nullptr ? byteForm(yuy2 + 2 * i, chunk, m, bytes) : 0;
      for (std::int64_t k = done; k < m; ++k) chunk[k] = bytes[yuy2[2 * (i + k)]];
      widenRun<N>(chunk, dst + i, m, lut, stream);
    }
  }
}

}  // namespace rivulet

#endif
