// Run-time choice of the fast byte forms of frame_kernels.h, through the one
// CPU detection of the library.
#include "video/frame_kernels_simd.h"

#include "types/cpu.h"
#include "video/ycbcr_rules.h"

namespace rivulet {

bool forwardFitsInt16(const YCbCrMatrices& m) {
  const int* f = m.fwd;
  bool ok = f[0] >= 0 && f[1] >= 0 && f[2] >= 0 && (f[0] + f[1] + f[2]) * 255 + 128 <= 65535;
  for (int row = 1; row < 3; ++row) {
    int neg = 0, pos = 0;
    for (int i = 0; i < 3; ++i) (f[3 * row + i] < 0 ? neg : pos) += f[3 * row + i];
    ok = ok && neg * 255 + 128 >= -32768 && pos * 255 + 128 <= 32767;
  }
  for (int i = 0; i < 3; ++i) ok = ok && m.off[i] >= 0 && m.off[i] <= 255;
  return ok;
}

// Defined in frame_kernels_avx2.cc (compiled for AVX2) and
// frame_kernels_avx512.cc (the AVX2 set with its wider forms), and
// frame_kernels_avx512vnni.cc (the AVX-512 set with its dot-product forms).
extern const FrameSimd kFrameSimdAVX2;
FrameSimd frameSimdAVX512();
FrameSimd frameSimdAVX512VNNI();

namespace {

int none3(const std::uint8_t*, const std::uint8_t*, const std::uint8_t*, std::uint8_t*, int) {
  return 0;
}
int noneSplit(const std::uint8_t*, std::uint8_t*, std::uint8_t*, std::uint8_t*, int) { return 0; }
int noneSplitM(const std::uint8_t*, std::uint8_t*, std::uint8_t*, std::uint8_t*, int,
               const YCbCrMatrices&) {
  return 0;
}
int noneMergeM(const std::uint8_t*, const std::uint8_t*, const std::uint8_t*, std::uint8_t*, int,
               const YCbCrMatrices&) {
  return 0;
}

template <typename T>
int noneNarrow(const T*, std::uint8_t*, int, float, float) {
  return 0;
}

int noneWiden(const std::uint8_t*, void*, int, const WidenPlanes&, bool) { return 0; }
int noWidenYUY2(const std::uint8_t*, void*, void*, void*, int, const WidenPlanes&) { return 0; }

constexpr FrameSimd kNone = {&none3,           &noneSplit,         &none3,
                             &noneSplitM,      &noneMergeM,        &noneSplitM,
                             &noneNarrow<float>, &noneNarrow<double>, &noneNarrow<std::int32_t>,
                             &noneWiden,       &noneWiden,         &noneWiden,
                             &noWidenYUY2,
                             &noWidenYUY2};

const FrameSimd& avx512Set() {
  static const FrameSimd avx512 = frameSimdAVX512();
  return avx512;
}

const FrameSimd& pick() {
  if (simdHasAvx512Vnni()) {
    static const FrameSimd vnni = frameSimdAVX512VNNI();
    return vnni;
  }
  if (simdAtLeast(Simd::kAvx512)) return avx512Set();
  FrameSimd const* const forms[] = {&kNone, nullptr, nullptr, &kFrameSimdAVX2};
  return *widestForm(forms);
}

}  // namespace

const FrameSimd& frameSimd() {
  static const FrameSimd& picked = pick();
  return picked;
}
const FrameSimd& frameSimdNone() { return kNone; }

int frameSimdSets(const FrameSimd* (&sets)[4]) {
  int n = 0;
  sets[n++] = &kNone;
  if (&frameSimd() != &kNone && simdAtLeast(Simd::kAvx512)) sets[n++] = &kFrameSimdAVX2;
  if (&frameSimd() != &kNone && simdHasAvx512Vnni()) sets[n++] = &avx512Set();
  if (&frameSimd() != &kNone) sets[n++] = &frameSimd();
  return n;
}

}  // namespace rivulet
