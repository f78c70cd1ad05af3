// The answer of every audio selector for every type value: a routine, null,
// or the char * exception.
#include <gtest/gtest.h>

#include <climits>
#include <type_traits>
#include <vector>

#include "rivulet/audio.h"

namespace {

// Every value of the enum's range and beyond, as the plain 32-bit integer a
// host passes. The selectors are called through int-typed pointers so that no
// value outside the enum's range sits in an enum-typed object in the test.
const std::vector<int> kTypeValues = {-2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 15, 16, 100, 1 << 30, INT_MAX, INT_MIN};

template <typename T>
using AsInt = std::conditional_t<std::is_same_v<T, bool>, bool, int>;
template <typename R, typename... A>
auto host(R (*selector)(A...)) {
  return reinterpret_cast<R (*)(AsInt<A>...)>(selector);
}

// True if the selector call returns a routine, false if it throws the char *
// message (anything else fails).
template <typename Call>
bool answers(Call call) {
  try {
    if (call() != nullptr) return true;
    ADD_FAILURE() << "null from a 6 x 6 selector";
  } catch (char* text) {
    EXPECT_STREQ(text, "Unsupported Datatype conversion in GetConvertIndex");
  } catch (...) {
    ADD_FAILURE() << "exception of another type";
  }
  return false;
}

bool isAudioType(int v) { return v == 0 || v == 1 || v == 3 || v == 4 || v == 6 || v == 9; }

TEST(AudioSelectors, SixBySixTablesThrowOutsideTheSixTypes) {
  const auto convert = host(&MM_GetAudioConvertCopyFcn);
  const auto transpose = host(&MM_GetAudioTransposeCopyFcn);
  const auto map = host(&MM_GetAudioConvertCopyWithMapFcn);
  const auto empty = host(&MM_GetAudioEmptyFcn);
  for (int s : kTypeValues) {
    EXPECT_EQ(answers([&] { return empty(s); }), isAudioType(s)) << s;
    for (int d : kTypeValues) {
      const bool ok = isAudioType(s) && isAudioType(d);
      EXPECT_EQ(answers([&] { return convert(s, d); }), ok) << s << " " << d;
      for (bool flag : {true, false}) {
        EXPECT_EQ(answers([&] { return transpose(s, d, flag); }), ok) << s << " " << d;
        EXPECT_EQ(answers([&] { return map(s, d, flag); }), ok) << s << " " << d;
      }
    }
  }
}

// Which (type, bits) pairs have a PCM routine, by the entry arithmetic; null,
// never an exception, for the rest.
TEST(PCMSelectors, NullAnswersNeverThrow) {
  const auto copy = host(&MM_GetPCMAudioCopyFcn);
  const auto output = host(&MM_GetPCMAudioOutputFcn);
  const auto empty = host(&MM_GetPCMAudioEmptyFcn);
  for (int t : kTypeValues) {
    const bool memory = t == 0 || t == 1 || t == 3 || t == 4;
    EXPECT_EQ(empty(t) != nullptr, memory) << t;
    for (int bits : {8, 16, 24, 32}) {
      EXPECT_EQ(copy(t, bits) != nullptr, memory) << t << " " << bits;
      EXPECT_EQ(output(t, bits) != nullptr, t == 0 || t == 1 || (memory && bits <= 16)) << t << " " << bits;
    }
  }
}

// The width is not validated: it only moves the entry index.
TEST(PCMSelectors, WidthArithmetic) {
  const struct { AudioDataType t; int bits; AudioDataType sameT; int sameBits; } same[] = {
      {AUDIO_DOUBLE, 0, AUDIO_SINGLE, 32},  {AUDIO_DOUBLE, 7, AUDIO_SINGLE, 32}, {AUDIO_DOUBLE, 12, AUDIO_DOUBLE, 8},
      {AUDIO_DOUBLE, 31, AUDIO_DOUBLE, 24}, {AUDIO_SINGLE, 40, AUDIO_DOUBLE, 8}, {AUDIO_INT16, 64, AUDIO_UINT8, 32},
      {AUDIO_DOUBLE, -8, AUDIO_SINGLE, 24}};
  for (auto c : same) EXPECT_EQ(MM_GetPCMAudioCopyFcn(c.t, c.bits), MM_GetPCMAudioCopyFcn(c.sameT, c.sameBits)) << c.t << " " << c.bits;
  EXPECT_EQ(MM_GetPCMAudioCopyFcn(AUDIO_DOUBLE, 40), nullptr);       // entry -1
  EXPECT_EQ(MM_GetPCMAudioOutputFcn(AUDIO_INT16, 0), nullptr);       // entry 20
  EXPECT_EQ(MM_GetPCMAudioCopyFcn(AUDIO_UNSUPPORTED, 0), nullptr);   // entry 36
}

}  // namespace
