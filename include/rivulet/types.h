// rivulet: sample types, FourCC classification, per-type traits and the plain
// double <-> fixed-point moves.
#ifndef RIVULET_TYPES_H
#define RIVULET_TYPES_H

#include <climits>
#include <cstdint>
#include <vector>

static_assert(CHAR_MIN < 0, "VIDEO_INT8 samples are plain char, which must be signed");

// Marks the exported interface; everything else in the library is hidden.
#define RIVULET_API __attribute__((visibility("default")))

// Audio sample types. The numbers are part of the binary interface and are
// shared with VideoDataType where both have the type.
enum AudioDataType {
  AUDIO_DOUBLE = 0,       // 64-bit float, -1.0 to just below +1.0
  AUDIO_SINGLE = 1,       // 32-bit float, same scale
  AUDIO_UINT8 = 3,        // unsigned 8-bit, midpoint 128
  AUDIO_INT16 = 4,        // signed 16-bit
  AUDIO_INT32 = 6,        // signed 32-bit
  AUDIO_UNSUPPORTED = 8,  // only ever returned by getAudioDataType
  AUDIO_INT24 = 9         // signed 24-bit, three bytes, least significant first
};

// Video plane sample types; the value indexes every table of video routines.
enum VideoDataType {
  VIDEO_DOUBLE = 0,
  VIDEO_SINGLE = 1,
  VIDEO_INT8 = 2,
  VIDEO_UINT8 = 3,
  VIDEO_INT16 = 4,
  VIDEO_UINT16 = 5,
  VIDEO_INT32 = 6,
  VIDEO_UINT32 = 7,
  VIDEO_BOOLEAN = 8
};

// Format of a packed frame or colour model of a plane set.
enum FourCCType {
  FOURCC_UNKNOWN = 0,
  FOURCC_RGB = 1,   // "RGB " (fourth character blank)
  FOURCC_GREY = 2,  // "GREY"
  FOURCC_YUY2 = 3   // "YUY2"
};

// Element order of a planar buffer of height h and width w.
enum VideoFrameOrientation {
  ORIENTATION_ROW_MAJOR = 0,    // row r, column c at r * w + c
  ORIENTATION_COLUMN_MAJOR = 1  // row r, column c at c * h + r
};

// Storage type of the fixed-point side of the scaled double moves.
enum ScaledDoubleFunctionIndex {
  SCALED_NONE = 0,
  SCALED_UINT8 = 1,
  SCALED_UINT16 = 2,
  SCALED_UINT32 = 3,
  SCALED_INT8 = 4,
  SCALED_INT16 = 5,
  SCALED_INT32 = 6
};

// Per-type traits. size is the element size in bytes, min and max the nominal
// range of a sample. EightBitLUT maps an 8-bit sample i to the same intensity in
// the element type; it stays empty until a filling selector of that type has run,
// then holds 256 entries. VIDEO_UINT8 has no table.
template <int N>
struct videoTraits;

#define RIVULET_VIDEO_TRAITS(N, T, MIN, MAX)                             \
  template <>                                                           \
  struct RIVULET_API videoTraits<N> {                                   \
    typedef T type;                                                     \
    static constexpr std::uint64_t size = sizeof(T);                    \
    static constexpr T min = MIN;                                       \
    static constexpr T max = MAX;                                       \
    static std::vector<T> EightBitLUT;                                  \
    videoTraits& operator=(videoTraits const&);                         \
  };

RIVULET_VIDEO_TRAITS(0, double, 0.0, 1.0)
RIVULET_VIDEO_TRAITS(1, float, 0.0f, 1.0f)
RIVULET_VIDEO_TRAITS(2, char, -128, 127)  // char is signed on the target
RIVULET_VIDEO_TRAITS(4, short, -32768, 32767)
RIVULET_VIDEO_TRAITS(5, unsigned short, 0, 65535)
RIVULET_VIDEO_TRAITS(6, int, (-2147483647 - 1), 2147483647)
RIVULET_VIDEO_TRAITS(7, unsigned int, 0u, 4294967295u)
RIVULET_VIDEO_TRAITS(8, unsigned char, 0, 1)
#undef RIVULET_VIDEO_TRAITS

template <>
struct RIVULET_API videoTraits<3> {
  typedef unsigned char type;
  static constexpr std::uint64_t size = 1;
  static constexpr unsigned char min = 0;
  static constexpr unsigned char max = 255;
  videoTraits& operator=(videoTraits const&);
};

// Classifies a bit depth: 64/32 with isFloat; 8/16/24/32 without. Anything else
// is AUDIO_UNSUPPORTED.
RIVULET_API AudioDataType getAudioDataType(int bits, bool isFloat);

// Compares the first four characters (case-sensitive, length-limited) with
// "RGB ", "GREY", "YUY2" in that order. The pointer is not checked.
RIVULET_API FourCCType getFourccEnum(char const* const fourcc);

// Moves a run of numbers between doubles and one of six integer storage types,
// without scaling. Double to fix truncates toward zero and wraps (it does not
// clip); fix to double walks downward so both arrays may share an address.
typedef void (*DoubleToFixFcn)(double const* source, void* fix, int count);
typedef void (*FixToDoubleFcn)(double* destination, void* fix, int count);

// SCALED_NONE gives null; so does a value outside the enum.
RIVULET_API DoubleToFixFcn MM_GetDoubleToFixFcn(ScaledDoubleFunctionIndex index);
RIVULET_API FixToDoubleFcn MM_GetFixToDoubleFcn(ScaledDoubleFunctionIndex index);

// Library version, four dot-separated numbers, and the build date ("Mmm dd yyyy").
extern "C" RIVULET_API char const* const rivulet_version;
extern "C" RIVULET_API char const* const rivulet_build_date;

#endif  // RIVULET_TYPES_H
