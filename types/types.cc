#include <cstring>

#include "types/sample_rules.h"
#include "types/traits.h"

// ---- Traits storage --------------------------------------------------------

std::vector<double> videoTraits<0>::EightBitLUT;
std::vector<float> videoTraits<1>::EightBitLUT;
std::vector<char> videoTraits<2>::EightBitLUT;
std::vector<short> videoTraits<4>::EightBitLUT;
std::vector<unsigned short> videoTraits<5>::EightBitLUT;
std::vector<int> videoTraits<6>::EightBitLUT;
std::vector<unsigned int> videoTraits<7>::EightBitLUT;
std::vector<unsigned char> videoTraits<8>::EightBitLUT;

// The traits hold nothing, so assignment leaves the object as it is.
#define RIVULET_TRAITS_ASSIGN(N) \
  videoTraits<N>& videoTraits<N>::operator=(videoTraits<N> const&) { return *this; }
RIVULET_TRAITS_ASSIGN(0)
RIVULET_TRAITS_ASSIGN(1)
RIVULET_TRAITS_ASSIGN(2)
RIVULET_TRAITS_ASSIGN(3)
RIVULET_TRAITS_ASSIGN(4)
RIVULET_TRAITS_ASSIGN(5)
RIVULET_TRAITS_ASSIGN(6)
RIVULET_TRAITS_ASSIGN(7)
RIVULET_TRAITS_ASSIGN(8)
#undef RIVULET_TRAITS_ASSIGN

namespace {

// Keeps the constexpr limits emitted (and so exported) from this library.
template <int N>
constexpr const void* traitAddresses[3] = {&videoTraits<N>::size, &videoTraits<N>::min,
                                           &videoTraits<N>::max};
[[gnu::used]] const void* const* const kTraitLimits[] = {
    traitAddresses<0>, traitAddresses<1>, traitAddresses<2>, traitAddresses<3>, traitAddresses<4>,
    traitAddresses<5>, traitAddresses<6>, traitAddresses<7>, traitAddresses<8>};

template <int N>
void fillLut() {
  auto& lut = videoTraits<N>::EightBitLUT;
  lut.resize(256);
  for (int i = 0; i < 256; ++i) lut[i] = rivulet::widenByte<N>(i);
}

using FillFn = void (*)();
constexpr FillFn kFillLut[9] = {&fillLut<0>, &fillLut<1>, &fillLut<2>,
                                nullptr,  // VIDEO_UINT8 needs no table
                                &fillLut<4>, &fillLut<5>, &fillLut<6>, &fillLut<7>, &fillLut<8>};

// "Mmm dd yyyy" from the compiler's __DATE__, which pads a one-digit day with a
// blank; the blank is kept, so the three fields stay blank-separated.
constexpr char kBuildDate[] = __DATE__;

}  // namespace

namespace rivulet {

void initEightBitLUT(VideoDataType type) {
  unsigned t = static_cast<unsigned>(type);
  if (t > 8 || kFillLut[t] == nullptr) return;
  kFillLut[t]();
}

constinit const int YCbCrOffsets[3] = {static_cast<int>(16.0), static_cast<int>(128.0),
                                       static_cast<int>(128.0)};

namespace {
constexpr double kRGBToYCbCr[9] = {65.481, 128.553, 24.966,
                                   -37.79683972911964, -74.20316027088036, 112.0,
                                   112.0, -93.78601997146933, -18.213980028530674};
constexpr double kYCbCrToRGB[9] = {1.16438356164384, 0.0, 1.59602678571429,
                                   1.16438356164384, -0.39176229009491, -0.81296764723777,
                                   1.16438356164384, 2.01723214285714, 0.0};
}  // namespace

// Derived from the double matrices by the rounding rule above. The derivation is
// a constant expression, so the integers are in place before any code of the
// library (or a static initialiser elsewhere) can read them.
#define RIVULET_FIX9(expr)                                                             \
  {expr(0), expr(1), expr(2), expr(3), expr(4), expr(5), expr(6), expr(7), expr(8)}
#define RIVULET_TO_YCBCR(i) roundHalfAway(kRGBToYCbCr[i])
#define RIVULET_TO_RGB(i) roundHalfAway(kYCbCrToRGB[i] * 16384.0)
constinit const int RGBToYCbCrFixed[9] = RIVULET_FIX9(RIVULET_TO_YCBCR);
constinit const int YCbCrToRGBFixed[9] = RIVULET_FIX9(RIVULET_TO_RGB);
#undef RIVULET_FIX9
#undef RIVULET_TO_YCBCR
#undef RIVULET_TO_RGB

}  // namespace rivulet

// ---- Classifiers -------------------------------------------------------------

AudioDataType getAudioDataType(int bits, bool isFloat) {
  if (isFloat) {
    if (bits == 64) return AUDIO_DOUBLE;
    if (bits == 32) return AUDIO_SINGLE;
    return AUDIO_UNSUPPORTED;
  }
  switch (bits) {
    case 8: return AUDIO_UINT8;
    case 16: return AUDIO_INT16;
    case 24: return AUDIO_INT24;
    case 32: return AUDIO_INT32;
    default: return AUDIO_UNSUPPORTED;
  }
}

FourCCType getFourccEnum(char const* const fourcc) {
  if (std::strncmp(fourcc, "RGB ", 4) == 0) return FOURCC_RGB;
  if (std::strncmp(fourcc, "GREY", 4) == 0) return FOURCC_GREY;
  if (std::strncmp(fourcc, "YUY2", 4) == 0) return FOURCC_YUY2;
  return FOURCC_UNKNOWN;
}

// ---- Identification ----------------------------------------------------------

extern "C" {
char const* const rivulet_version = RIVULET_VERSION_STRING;
char const* const rivulet_build_date = kBuildDate;
}
