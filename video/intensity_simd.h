// The intensity rules on vectors of doubles, written once for any width. Ops
// supplies the vector types and loads and stores; the arithmetic is the same
// IEEE multiply, add and truncation, in the same order, as the plain form's,
// so each lane equals it bit for bit. Each SIMD source instantiates this with
// its own Ops and fills an IntensityForms table.
#ifndef RIVULET_VIDEO_INTENSITY_SIMD_H
#define RIVULET_VIDEO_INTENSITY_SIMD_H

#include "video/intensity_kernels.h"

namespace rivulet {

template <typename Ops>
inline typename Ops::V intensityOf(typename Ops::V r, typename Ops::V g, typename Ops::V b) {
  using O = Ops;
  const auto v = O::add(O::add(O::mul(r, O::set1(kIntensityRed)), O::mul(g, O::set1(kIntensityGreen))),
                        O::mul(b, O::set1(kIntensityBlue)));
  // No clamp: for byte components every product is +0 or more, and the
  // rounded sum is at most the one of white, which is exactly 1.0 (rounding
  // is monotone). The plain form's clamp never changes a value here, which a
  // test holds over every triple.
  return v;
}

// Stores kLanes samples of type N made from the intensities v.
template <typename Ops, int N>
inline void storeIntensity(void* dst, typename Ops::V v) {
  using O = Ops;
  if constexpr (N == VIDEO_DOUBLE) {
    O::storeDouble(dst, v);
  } else if constexpr (N == VIDEO_SINGLE) {
    O::storeFloat(dst, v);
  } else if constexpr (N == VIDEO_INT8) {
    O::storeBytes(dst, O::trunc(O::sub(O::add(O::mul(v, O::set1(255.0)), O::set1(0.5)), O::set1(128.0))));
  } else if constexpr (N == VIDEO_INT16) {
    O::storeShorts(dst, O::trunc(O::sub(O::mul(O::mul(v, O::set1(255.0)), O::set1(257.0)), O::set1(32768.0))));
  } else if constexpr (N == VIDEO_INT32) {
    O::storeInts(dst, O::trunc(O::sub(O::mul(O::mul(v, O::set1(16843009.0)), O::set1(255.0)), O::set1(2147483648.0))));
  } else if constexpr (N == VIDEO_BOOLEAN) {
    O::storeBytes(dst, O::trunc(O::add(v, O::set1(0.5))));
  } else {
    const auto b = O::trunc(O::add(O::mul(v, O::set1(255.0)), O::set1(0.5)));
    if constexpr (N == VIDEO_UINT8)
      O::storeBytes(dst, b);
    else if constexpr (N == VIDEO_UINT16)
      O::storeShorts(dst, O::replicate16(b));
    else
      O::storeInts(dst, O::replicate32(b));
  }
}

// Whole vectors of pixels while the loads stay inside the row's 3 * n bytes;
// returns how many pixels were done. Stream (VIDEO_DOUBLE only) stores past
// the caches onto a dst aligned to a line.
template <typename Ops, int N, bool Stream = false>
std::int64_t intensityBGRForm(const std::uint8_t* bgr, void* dst, std::int64_t n) {
  static_assert(!Stream || N == VIDEO_DOUBLE);
  constexpr int L = Ops::kLanes;
  std::int64_t i = 0;
  for (; i + L <= n && 3 * i + Ops::kBGRLoadBytes <= 3 * n; i += L) {
    typename Ops::V r, g, b;
    Ops::loadBGR(bgr + 3 * i, r, g, b);
    if constexpr (Stream)
      Ops::streamDouble(static_cast<double*>(dst) + i, intensityOf<Ops>(r, g, b));
    else
      storeIntensity<Ops, N>(static_cast<Sample<N>*>(dst) + i, intensityOf<Ops>(r, g, b));
  }
  return i;
}

template <typename Ops, int N, bool Stream = false>
std::int64_t intensityPlanesForm(const std::uint8_t* r, const std::uint8_t* g, const std::uint8_t* b,
                                 void* dst, std::int64_t n) {
  static_assert(!Stream || N == VIDEO_DOUBLE);
  constexpr int L = Ops::kLanes;
  std::int64_t i = 0;
  for (; i + L <= n; i += L) {
    const auto v = intensityOf<Ops>(Ops::loadBytes(r + i), Ops::loadBytes(g + i), Ops::loadBytes(b + i));
    if constexpr (Stream)
      Ops::streamDouble(static_cast<double*>(dst) + i, v);
    else
      storeIntensity<Ops, N>(static_cast<Sample<N>*>(dst) + i, v);
  }
  return i;
}

template <typename Ops>
constexpr IntensityForms makeIntensityForms() {
  return IntensityForms{
      {&intensityBGRForm<Ops, 0>, &intensityBGRForm<Ops, 1>, &intensityBGRForm<Ops, 2>,
       &intensityBGRForm<Ops, 3>, &intensityBGRForm<Ops, 4>, &intensityBGRForm<Ops, 5>,
       &intensityBGRForm<Ops, 6>, &intensityBGRForm<Ops, 7>, &intensityBGRForm<Ops, 8>},
      {&intensityPlanesForm<Ops, 0>, &intensityPlanesForm<Ops, 1>, &intensityPlanesForm<Ops, 2>,
       &intensityPlanesForm<Ops, 3>, &intensityPlanesForm<Ops, 4>, &intensityPlanesForm<Ops, 5>,
       &intensityPlanesForm<Ops, 6>, &intensityPlanesForm<Ops, 7>, &intensityPlanesForm<Ops, 8>},
      &intensityBGRForm<Ops, VIDEO_DOUBLE, true>,
      &intensityPlanesForm<Ops, VIDEO_DOUBLE, true>,
      nullptr};
}

}  // namespace rivulet

#endif
