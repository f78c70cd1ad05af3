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

// Every value of the enum's range (0 to 15), and values a host could pass as
// the 32-bit integer the interface carries.
std::vector<int> typeValues() {
  std::vector<int> v;
  for (int t = -2; t <= 16; ++t) v.push_back(t);
  for (int t : {100, 1 << 30, INT_MAX, INT_MIN}) v.push_back(t);
  return v;
}

// The selectors as a host sees them: the type travels as a plain 32-bit
// integer. Calling through these keeps values outside the enum's range out of
// enum-typed objects in the test itself.
using ConvertSelector = AudioConvertCopyFcn (*)(int, int);
using FlagSelector = AudioTransposeCopyFcn (*)(int, int, bool);
using MapSelector = AudioConvertCopyWithMapFcn (*)(int, int, bool);
using EmptySelector = AudioEmptyFcn (*)(int);
using PcmCopySelector = PCMAudioCopyFcn (*)(int, int);
using PcmOutputSelector = PCMAudioOutputFcn (*)(int, int);
using PcmEmptySelector = PCMAudioEmptyFcn (*)(int);
template <typename To, typename From>
To asHost(From f) {
  return reinterpret_cast<To>(f);
}
const auto convertSel = asHost<ConvertSelector>(&MM_GetAudioConvertCopyFcn);
const auto transposeSel = asHost<FlagSelector>(&MM_GetAudioTransposeCopyFcn);
const auto mapSel = asHost<MapSelector>(&MM_GetAudioConvertCopyWithMapFcn);
const auto emptySel = asHost<EmptySelector>(&MM_GetAudioEmptyFcn);
const auto pcmCopySel = asHost<PcmCopySelector>(&MM_GetPCMAudioCopyFcn);
const auto pcmOutputSel = asHost<PcmOutputSelector>(&MM_GetPCMAudioOutputFcn);
const auto pcmEmptySel = asHost<PcmEmptySelector>(&MM_GetPCMAudioEmptyFcn);

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
      if (isAudioType(s) && isAudioType(d)) {
        EXPECT_NE(convertSel(s, d), nullptr);
        for (bool flag : {true, false}) {
          EXPECT_NE(transposeSel(s, d, flag), nullptr);
          EXPECT_NE(mapSel(s, d, flag), nullptr);
        }
        continue;
      }
      expectThrowsMessage([&] { convertSel(s, d); }, s, d);
      for (bool flag : {true, false}) {
        expectThrowsMessage([&] { transposeSel(s, d, flag); }, s, d);
        expectThrowsMessage([&] { mapSel(s, d, flag); }, s, d);
      }
    }
  for (int t : typeValues()) {
    if (isAudioType(t))
      EXPECT_NE(emptySel(t), nullptr);
    else
      expectThrowsMessage([&] { emptySel(t); }, t, t);
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
    const bool memory = t == 0 || t == 1 || t == 3 || t == 4;
    EXPECT_EQ(pcmEmptySel(t) != nullptr, memory) << t;
    for (int bits : {8, 16, 24, 32}) {
      EXPECT_EQ(pcmCopySel(t, bits) != nullptr, memory) << t << " " << bits;
      const bool output = (t == 0 || t == 1) || ((t == 3 || t == 4) && bits <= 16);
      EXPECT_EQ(pcmOutputSel(t, bits) != nullptr, output) << t << " " << bits;
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
  EXPECT_EQ(pcmCopySel(1 << 30, 32), nullptr);
  EXPECT_EQ(pcmCopySel(INT_MIN, 8), nullptr);
  EXPECT_EQ(pcmOutputSel(-1, 8), nullptr);
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
