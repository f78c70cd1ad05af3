// The answer of every audio selector for every type value: a routine, null,
// or the char * exception.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <set>
#include <vector>

#include "rivulet/audio.h"

namespace {

constexpr const char* kMessage = "Unsupported Datatype conversion in GetConvertIndex";

bool isAudioType(int v) { return v == 0 || v == 1 || v == 3 || v == 4 || v == 6 || v == 9; }

// Values 0 to 15 fit the enum; a host may pass anything as a 32-bit integer.
std::vector<int> typeValues() {
  std::vector<int> v;
  for (int t = -2; t <= 16; ++t) v.push_back(t);
  for (int t : {100, 1 << 30, INT_MAX, INT_MIN}) v.push_back(t);
  return v;
}

template <typename F>
void expectThrowsMessage(F f, int s, int d) {
  try {
    f();
    ADD_FAILURE() << "no exception for " << s << ", " << d;
  } catch (char* text) {
    EXPECT_STREQ(text, kMessage);
  } catch (...) {
    ADD_FAILURE() << "exception of another type for " << s << ", " << d;
  }
}

TEST(AudioSelectors, SixBySixTablesThrowOutsideTheSixTypes) {
  for (int s : typeValues())
    for (int d : typeValues()) {
      const auto st = static_cast<AudioDataType>(s), dt = static_cast<AudioDataType>(d);
      if (isAudioType(s) && isAudioType(d)) {
        EXPECT_NE(MM_GetAudioConvertCopyFcn(st, dt), nullptr);
        for (bool flag : {true, false}) {
          EXPECT_NE(MM_GetAudioTransposeCopyFcn(st, dt, flag), nullptr);
          EXPECT_NE(MM_GetAudioConvertCopyWithMapFcn(st, dt, flag), nullptr);
        }
        continue;
      }
      expectThrowsMessage([&] { MM_GetAudioConvertCopyFcn(st, dt); }, s, d);
      for (bool flag : {true, false}) {
        expectThrowsMessage([&] { MM_GetAudioTransposeCopyFcn(st, dt, flag); }, s, d);
        expectThrowsMessage([&] { MM_GetAudioConvertCopyWithMapFcn(st, dt, flag); }, s, d);
      }
    }
  for (int t : typeValues()) {
    const auto tt = static_cast<AudioDataType>(t);
    if (isAudioType(t))
      EXPECT_NE(MM_GetAudioEmptyFcn(tt), nullptr);
    else
      expectThrowsMessage([&] { MM_GetAudioEmptyFcn(tt); }, t, t);
  }
}

// Every cell holds its own routine (but the AUDIO_INT24 pair, which is the
// AUDIO_INT32 pair), and the tables differ from each other.
TEST(AudioSelectors, CellsAreDistinct) {
  const AudioDataType types[6] = {AUDIO_DOUBLE, AUDIO_SINGLE, AUDIO_INT32,
                                  AUDIO_INT24,  AUDIO_INT16,  AUDIO_UINT8};
  std::set<void*> seen;
  int cells = 0;
  for (AudioDataType s : types)
    for (AudioDataType d : types) {
      if (s == AUDIO_INT24 && d == AUDIO_INT24) continue;
      seen.insert(reinterpret_cast<void*>(MM_GetAudioConvertCopyFcn(s, d)));
      seen.insert(reinterpret_cast<void*>(MM_GetAudioTransposeCopyFcn(s, d, true)));
      seen.insert(reinterpret_cast<void*>(MM_GetAudioTransposeCopyFcn(s, d, false)));
      seen.insert(reinterpret_cast<void*>(MM_GetAudioConvertCopyWithMapFcn(s, d, true)));
      seen.insert(reinterpret_cast<void*>(MM_GetAudioConvertCopyWithMapFcn(s, d, false)));
      cells += 5;
    }
  EXPECT_EQ(static_cast<int>(seen.size()), cells);
}

// Which (type, bits) pairs have a PCM routine, by the entry arithmetic.
TEST(PCMSelectors, NullAnswersNeverThrow) {
  for (int t : typeValues()) {
    const auto tt = static_cast<AudioDataType>(t);
    const bool memory = t == 0 || t == 1 || t == 3 || t == 4;
    EXPECT_EQ(MM_GetPCMAudioEmptyFcn(tt) != nullptr, memory) << t;
    for (int bits : {8, 16, 24, 32}) {
      EXPECT_EQ(MM_GetPCMAudioCopyFcn(tt, bits) != nullptr, memory) << t << " " << bits;
      const bool output = (t == 0 || t == 1) || ((t == 3 || t == 4) && bits <= 16);
      EXPECT_EQ(MM_GetPCMAudioOutputFcn(tt, bits) != nullptr, output) << t << " " << bits;
    }
  }
  EXPECT_NE(MM_GetPCMAudioCopyFcn(AUDIO_INT16, 24), nullptr);
  EXPECT_EQ(MM_GetPCMAudioOutputFcn(AUDIO_INT16, 24), nullptr);
  EXPECT_EQ(MM_GetPCMAudioOutputFcn(AUDIO_UINT8, 32), nullptr);
  EXPECT_EQ(MM_GetPCMAudioCopyFcn(AUDIO_INT32, 32), nullptr);
  EXPECT_EQ(MM_GetPCMAudioCopyFcn(AUDIO_INT24, 24), nullptr);
  EXPECT_EQ(MM_GetPCMAudioEmptyFcn(AUDIO_INT32), nullptr);
  EXPECT_EQ(MM_GetPCMAudioEmptyFcn(AUDIO_UNSUPPORTED), nullptr);
  // A type whose entry arithmetic would wrap in 32 bits stays out of the table.
  EXPECT_EQ(MM_GetPCMAudioCopyFcn(static_cast<AudioDataType>(1 << 30), 32), nullptr);
  EXPECT_EQ(MM_GetPCMAudioCopyFcn(static_cast<AudioDataType>(INT_MIN), 8), nullptr);
}

// The width is not validated: it only moves the entry index.
TEST(PCMSelectors, WidthArithmetic) {
  EXPECT_EQ(MM_GetPCMAudioCopyFcn(AUDIO_DOUBLE, 0), MM_GetPCMAudioCopyFcn(AUDIO_SINGLE, 32));
  EXPECT_EQ(MM_GetPCMAudioCopyFcn(AUDIO_DOUBLE, 7), MM_GetPCMAudioCopyFcn(AUDIO_SINGLE, 32));
  EXPECT_EQ(MM_GetPCMAudioCopyFcn(AUDIO_DOUBLE, 12), MM_GetPCMAudioCopyFcn(AUDIO_DOUBLE, 8));
  EXPECT_EQ(MM_GetPCMAudioCopyFcn(AUDIO_DOUBLE, 31), MM_GetPCMAudioCopyFcn(AUDIO_DOUBLE, 24));
  EXPECT_EQ(MM_GetPCMAudioCopyFcn(AUDIO_SINGLE, 40), MM_GetPCMAudioCopyFcn(AUDIO_DOUBLE, 8));
  EXPECT_EQ(MM_GetPCMAudioCopyFcn(AUDIO_INT16, 64), MM_GetPCMAudioCopyFcn(AUDIO_UINT8, 32));
  EXPECT_EQ(MM_GetPCMAudioCopyFcn(AUDIO_DOUBLE, 40), nullptr);  // entry -1
  EXPECT_EQ(MM_GetPCMAudioCopyFcn(AUDIO_DOUBLE, -8), MM_GetPCMAudioCopyFcn(AUDIO_SINGLE, 24));
  EXPECT_EQ(MM_GetPCMAudioOutputFcn(AUDIO_INT16, 0), nullptr);  // entry 20: AUDIO_INT16 + 1
  EXPECT_EQ(MM_GetPCMAudioCopyFcn(AUDIO_UNSUPPORTED, 8), nullptr);  // entry 35
  EXPECT_EQ(MM_GetPCMAudioCopyFcn(AUDIO_UNSUPPORTED, 0), nullptr);  // entry 36
  // The 32-bit float reader is the bit copy for AUDIO_SINGLE.
  float in[2] = {0.1f, -7.5f}, out[2] = {};
  MM_GetPCMAudioCopyFcn(AUDIO_DOUBLE, 0)(in, out, 2, 1);
  EXPECT_EQ(std::memcmp(in, out, sizeof in), 0);
}

}  // namespace
