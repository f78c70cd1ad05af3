// The 6 x 6 families (convert copy, transpose copy, mapped copy) and the empty
// family, through the exported selectors, against the plain reference.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "audio/harness.h"
#include "audio/reference.h"
#include "rivulet/audio.h"

namespace {

using namespace audioref;

// Every 8- and 16-bit value through every destination rule of every family,
// with a per-channel stride wider than the data and a map that reorders and
// leaves a slot out.
TEST(AudioFamilies, EverySmallSourceValueThroughEveryCell) {
  for (AudioDataType s : {AUDIO_UINT8, AUDIO_INT16}) {
    const auto pool = everyValue(s);
    const int count = static_cast<int>(pool.size()) / bytesOf(s);
    Layout l;
    l.channels = 2;
    l.samples = count / 2;
    l.channelStride = l.samples + 3;
    l.frameStride = 3;
    l.map = {2, 0};
    for (Family f : kFamilies)
      for (AudioDataType d : kTypes) EXPECT_EQ(checkCell(f, s, d, pool, l), 0);
  }
}

// Floating, 32-bit and 24-bit edges (signed zeros, +-1.0 and their neighbours,
// out of range, infinities, NaN, integer extremes) through every cell.
TEST(AudioFamilies, EdgeValuesThroughEveryCell) {
  Layout l;
  l.channels = 3;
  l.samples = 40;
  l.channelStride = 45;
  l.frameStride = 5;
  l.map = {4, 1, 2};
  for (AudioDataType s : kTypes) {
    const auto pool = edgeValues(s);
    for (Family f : kFamilies)
      for (AudioDataType d : kTypes) EXPECT_EQ(checkCell(f, s, d, pool, l), 0);
  }
}

// Block shapes: single elements, odd lengths around the fast forms' block
// sizes, channel counts past the staged limit, strides equal to and wider than
// the samples, maps with repeats.
TEST(AudioFamilies, ShapesAndStrides) {
  struct Shape {
    int samples, channels, extraStride, frameStride;
    std::vector<int> map;
  };
  const Shape shapes[] = {
      {1, 1, 0, 1, {0}},           {7, 1, 0, 1, {0}},       {9, 2, 0, 2, {1, 0}},
      {33, 2, 5, 4, {3, 1}},       {67, 3, 1, 3, {0, 1, 2}}, {5, 7, 2, 9, {8, 0, 3, 3, 1, 6, 2}},
      {1100, 2, 0, 2, {0, 1}},     {3, 70, 1, 70, {}},       {2, 2, 0, 3, {1, 1}},
  };
  std::mt19937 rng(7);
  for (const Shape& sh : shapes) {
    Layout l;
    l.samples = sh.samples;
    l.channels = sh.channels;
    l.channelStride = sh.samples + sh.extraStride;
    l.frameStride = sh.frameStride;
    l.map = sh.map;
    if (l.map.empty())
      for (int j = 0; j < l.channels; ++j) l.map.push_back(l.channels - 1 - j);
    for (AudioDataType s : kTypes) {
      auto pool = edgeValues(s);
      // Shuffle whole elements so blocks see mixed values.
      const int b = bytesOf(s);
      for (std::size_t k = pool.size() / b; k > 1; --k) {
        const std::size_t r = rng() % k;
        for (int x = 0; x < b; ++x) std::swap(pool[(k - 1) * b + x], pool[r * b + x]);
      }
      for (Family f : kFamilies)
        for (AudioDataType d : kTypes) EXPECT_EQ(checkCell(f, s, d, pool, l), 0);
    }
  }
}

// All 2^24 three-byte values through the five destinations that read them as
// 24-bit samples.
TEST(AudioFamilies, EveryInt24Value) {
  std::vector<std::uint8_t> src(3 * (1 << 24));
  for (std::uint32_t v = 0; v < (1u << 24); ++v) {
    src[3 * v] = static_cast<std::uint8_t>(v);
    src[3 * v + 1] = static_cast<std::uint8_t>(v >> 8);
    src[3 * v + 2] = static_cast<std::uint8_t>(v >> 16);
  }
  for (AudioDataType d : kTypes) {
    if (d == AUDIO_INT24) continue;
    const int db = bytesOf(d);
    std::vector<std::uint8_t> dst(static_cast<std::size_t>(db) << 24);
    MM_GetAudioConvertCopyFcn(AUDIO_INT24, d)(src.data(), dst.data(), 1 << 23, 2, 0);
    std::uint8_t want[8];
    int bad = 0;
    for (std::uint32_t v = 0; v < (1u << 24) && bad < 3; ++v) {
      convert(AUDIO_INT24, &src[3 * v], d, want);
      if (std::memcmp(want, &dst[std::size_t{v} * db], db) != 0)
        ++bad, ADD_FAILURE() << "INT24 " << std::hex << v << " -> " << nameOf(d);
    }
  }
}

// The values the rules name explicitly, so that the reference can't share a
// misreading with the library.
template <typename D, typename S>
D convertOne(AudioDataType s, AudioDataType d, S x) {
  D out{};
  MM_GetAudioConvertCopyFcn(s, d)(&x, &out, 1, 1, 0);
  return out;
}
std::vector<std::uint8_t> toInt24(AudioDataType s, const void* x) {
  std::vector<std::uint8_t> out(3);
  MM_GetAudioConvertCopyFcn(s, AUDIO_INT24)(x, out.data(), 1, 1, 0);
  return out;
}

TEST(AudioFamilies, NamedValues) {
  using I16 = std::int16_t;
  EXPECT_EQ(convertOne<I16>(AUDIO_DOUBLE, AUDIO_INT16, 1.0), 32767);
  EXPECT_EQ(convertOne<I16>(AUDIO_DOUBLE, AUDIO_INT16, -1.0), -32768);
  EXPECT_EQ(convertOne<I16>(AUDIO_DOUBLE, AUDIO_INT16, 0.5), 16384);
  EXPECT_EQ(convertOne<I16>(AUDIO_DOUBLE, AUDIO_INT16, -0.00001), -1);   // floor
  EXPECT_EQ(convertOne<I16>(AUDIO_SINGLE, AUDIO_INT16, -0.00001f), 0);   // truncation
  EXPECT_EQ(convertOne<std::uint8_t>(AUDIO_DOUBLE, AUDIO_UINT8, 1.0), 255);
  EXPECT_EQ(convertOne<std::uint8_t>(AUDIO_DOUBLE, AUDIO_UINT8, -1.0), 0);
  EXPECT_EQ(convertOne<std::uint8_t>(AUDIO_DOUBLE, AUDIO_UINT8, 0.0), 128);
  EXPECT_EQ(convertOne<std::int32_t>(AUDIO_DOUBLE, AUDIO_INT32, 1.0), 2147483647);
  EXPECT_EQ(convertOne<std::int32_t>(AUDIO_SINGLE, AUDIO_INT32, 1.0f), 2147483647);
  EXPECT_EQ(convertOne<std::int32_t>(AUDIO_DOUBLE, AUDIO_INT32, std::nan("")), INT32_MIN);
  EXPECT_EQ(convertOne<I16>(AUDIO_SINGLE, AUDIO_INT16, std::nanf("")), 0);

  const std::int32_t minus1 = -1;
  EXPECT_EQ(convertOne<I16>(AUDIO_INT32, AUDIO_INT16, minus1), 0);
  EXPECT_EQ(convertOne<I16>(AUDIO_INT32, AUDIO_INT16, std::int32_t{-65537}), -1);
  EXPECT_EQ(toInt24(AUDIO_INT32, &minus1), (std::vector<std::uint8_t>{0xFF, 0xFF, 0xFF}));
  const std::uint8_t ff[3] = {0xFF, 0xFF, 0xFF};
  I16 fromFF = 0;
  MM_GetAudioConvertCopyFcn(AUDIO_INT24, AUDIO_INT16)(ff, &fromFF, 1, 1, 0);
  EXPECT_EQ(fromFF, -1);

  const std::uint8_t u128 = 128, u0 = 0;
  EXPECT_EQ(convertOne<double>(AUDIO_UINT8, AUDIO_DOUBLE, u128), 0.0);
  EXPECT_EQ(convertOne<float>(AUDIO_UINT8, AUDIO_SINGLE, u128), 0.0f);
  EXPECT_EQ(convertOne<std::int32_t>(AUDIO_UINT8, AUDIO_INT32, u128), 0);
  EXPECT_EQ(convertOne<I16>(AUDIO_UINT8, AUDIO_INT16, u128), 0);
  EXPECT_EQ(toInt24(AUDIO_UINT8, &u128), (std::vector<std::uint8_t>{0, 0, 0}));
  EXPECT_EQ(convertOne<double>(AUDIO_UINT8, AUDIO_DOUBLE, u0), -1.0);
  EXPECT_EQ(convertOne<float>(AUDIO_UINT8, AUDIO_SINGLE, u0), -1.0f);
  EXPECT_EQ(convertOne<I16>(AUDIO_UINT8, AUDIO_INT16, u0), -32768);
  EXPECT_EQ(convertOne<std::int32_t>(AUDIO_UINT8, AUDIO_INT32, u0), INT32_MIN);

  EXPECT_EQ(convertOne<std::uint8_t>(AUDIO_INT16, AUDIO_UINT8, I16{32767}), 255);
  EXPECT_EQ(convertOne<std::uint8_t>(AUDIO_INT16, AUDIO_UINT8, I16{-1}), 128);
  EXPECT_EQ(convertOne<std::uint8_t>(AUDIO_INT16, AUDIO_UINT8, I16{-256}), 127);
}

// Narrowing and widening back restores every value of the narrower type.
TEST(AudioFamilies, RoundTripsFromNarrowTypes) {
  for (AudioDataType narrow : {AUDIO_UINT8, AUDIO_INT16}) {
    const auto values = everyValue(narrow);
    const int n = static_cast<int>(values.size()) / bytesOf(narrow);
    for (AudioDataType wide : kTypes) {
      if (bytesOf(wide) < bytesOf(narrow) || wide == narrow) continue;
      std::vector<std::uint8_t> mid(n * bytesOf(wide)), back(values.size());
      MM_GetAudioConvertCopyFcn(narrow, wide)(values.data(), mid.data(), n, 1, 0);
      MM_GetAudioConvertCopyFcn(wide, narrow)(mid.data(), back.data(), n, 1, 0);
      EXPECT_EQ(back, values) << nameOf(narrow) << " via " << nameOf(wide);
    }
  }
}

// The AUDIO_INT24 pair moves four-byte elements in every table.
TEST(AudioFamilies, Int24PairStepsByFourBytes) {
  std::vector<std::uint8_t> src(16), dst(20, 0xEE);
  for (int b = 0; b < 16; ++b) src[b] = static_cast<std::uint8_t>(b + 1);
  MM_GetAudioConvertCopyFcn(AUDIO_INT24, AUDIO_INT24)(src.data(), dst.data(), 2, 2, 0);
  EXPECT_TRUE(std::equal(src.begin(), src.end(), dst.begin()));
  EXPECT_EQ(dst[16], 0xEE);
  EXPECT_EQ(MM_GetAudioConvertCopyFcn(AUDIO_INT24, AUDIO_INT24),
            MM_GetAudioConvertCopyFcn(AUDIO_INT32, AUDIO_INT32));
  for (bool flag : {true, false}) {
    EXPECT_EQ(MM_GetAudioTransposeCopyFcn(AUDIO_INT24, AUDIO_INT24, flag),
              MM_GetAudioTransposeCopyFcn(AUDIO_INT32, AUDIO_INT32, flag));
    EXPECT_EQ(MM_GetAudioConvertCopyWithMapFcn(AUDIO_INT24, AUDIO_INT24, flag),
              MM_GetAudioConvertCopyWithMapFcn(AUDIO_INT32, AUDIO_INT32, flag));
  }
}

TEST(AudioFamilies, TransposeExamples) {
  const std::int16_t in[4] = {1, 2, 3, 4};
  std::int16_t per[6] = {-7, -7, -7, -7, -7, -7};
  MM_GetAudioTransposeCopyFcn(AUDIO_INT16, AUDIO_INT16, true)(in, per, 2, 2, 4);
  EXPECT_EQ(std::vector<std::int16_t>(per, per + 6),
            (std::vector<std::int16_t>{1, 3, -7, -7, 2, 4}));
  std::int16_t back[4] = {};
  MM_GetAudioTransposeCopyFcn(AUDIO_INT16, AUDIO_INT16, false)(per, back, 2, 2, 4);
  EXPECT_EQ(std::vector<std::int16_t>(back, back + 4), (std::vector<std::int16_t>{1, 2, 3, 4}));
}

TEST(AudioFamilies, MapExamples) {
  // a0 a1 a2 b0 b1 b2 with map {2, 0}: channel 0 = a2, b2; channel 1 = a0, b0.
  const std::int16_t in[6] = {100, 200, 300, 400, 500, 600};
  int map[2] = {2, 0};
  double per[4] = {};
  MM_GetAudioConvertCopyWithMapFcn(AUDIO_INT16, AUDIO_DOUBLE, true)(in, per, 2, 2, 3, 2, map);
  EXPECT_EQ(per[0], 300 * 0x1p-15);
  EXPECT_EQ(per[1], 600 * 0x1p-15);
  EXPECT_EQ(per[2], 100 * 0x1p-15);
  EXPECT_EQ(per[3], 400 * 0x1p-15);

  // Back: slots 2 and 0 of each period, slot 1 untouched.
  std::int16_t out[6] = {-9, -9, -9, -9, -9, -9};
  MM_GetAudioConvertCopyWithMapFcn(AUDIO_DOUBLE, AUDIO_INT16, false)(per, out, 2, 2, 2, 3, map);
  EXPECT_EQ(std::vector<std::int16_t>(out, out + 6),
            (std::vector<std::int16_t>{100, -9, 300, 400, -9, 600}));

  // Equal entries: the later channel wins.
  int same[2] = {1, 1};
  const std::int16_t chans[4] = {1, 2, 3, 4};  // channel 0 = 1, 2; channel 1 = 3, 4
  std::int16_t o2[4] = {-9, -9, -9, -9};
  MM_GetAudioConvertCopyWithMapFcn(AUDIO_INT16, AUDIO_INT16, false)(chans, o2, 2, 2, 2, 2, same);
  EXPECT_EQ(std::vector<std::int16_t>(o2, o2 + 4), (std::vector<std::int16_t>{-9, 3, -9, 4}));

  // The fifth argument of the false table is the channel count: frame stride
  // 3 and channels 2 passed the other way round mean three channels in
  // periods of two.
  int three[3] = {0, 1, 2};
  std::int16_t o3[6] = {-9, -9, -9, -9, -9, -9};
  const std::int16_t src3[6] = {1, 2, 3, 4, 5, 6};
  MM_GetAudioConvertCopyWithMapFcn(AUDIO_INT16, AUDIO_INT16, false)(src3, o3, 2, 2, 3, 2, three);
  EXPECT_EQ(std::vector<std::int16_t>(o3, o3 + 6), (std::vector<std::int16_t>{1, 3, 2, 4, 6, -9}));
}

// Nothing is written for a count below 1, in any member; convert copy takes
// the signed 32-bit product of its two counts.
TEST(AudioFamilies, NonPositiveCountsWriteNothing) {
  std::vector<std::uint8_t> src(64, 0x11), dst(64, 0xEE);
  int map[4] = {0, 1, 2, 3};
  for (AudioDataType s : kTypes)
    for (AudioDataType d : kTypes)
      for (auto [n, c] : {std::pair{0, 2}, {2, 0}, {-1, 2}, {2, -1}, {0, 0}}) {
        MM_GetAudioConvertCopyFcn(s, d)(src.data(), dst.data(), n, c, 0);
        MM_GetAudioTransposeCopyFcn(s, d, true)(src.data(), dst.data(), n, c, 4);
        MM_GetAudioTransposeCopyFcn(s, d, false)(src.data(), dst.data(), n, c, 4);
        MM_GetAudioConvertCopyWithMapFcn(s, d, true)(src.data(), dst.data(), 4, n, 4, c, map);
        MM_GetAudioConvertCopyWithMapFcn(s, d, false)(src.data(), dst.data(), 4, n, c, 4, map);
      }
  for (AudioDataType t : kTypes) MM_GetAudioEmptyFcn(t)(nullptr, dst.data(), 0, 2, 4);
  EXPECT_EQ(dst, std::vector<std::uint8_t>(64, 0xEE));
  // (-2) * (-3) = 6 elements.
  const std::int16_t in[6] = {1, 2, 3, 4, 5, 6};
  std::int16_t out[7] = {0, 0, 0, 0, 0, 0, -5};
  MM_GetAudioConvertCopyFcn(AUDIO_INT16, AUDIO_INT16)(in, out, -2, -3, 0);
  EXPECT_EQ(std::vector<std::int16_t>(out, out + 7),
            (std::vector<std::int16_t>{1, 2, 3, 4, 5, 6, -5}));
}

// In place and overlapping: each element is read before it is written, from
// the first on.
TEST(AudioFamilies, OverlappingConvertCopyGoesForward) {
  for (AudioDataType s : kTypes)
    for (AudioDataType d : kTypes) {
      const AudioDataType rs = cellType(s, d, s), rd = cellType(s, d, d);
      const int sb = bytesOf(rs), db = bytesOf(rd), n = 37;
      for (int shift : {0, 3, -5}) {
        std::vector<std::uint8_t> buf(n * 8 * 2 + 64), want;
        const auto pool = edgeValues(rs);
        for (std::size_t b = 0; b < buf.size(); ++b) buf[b] = pool[b % pool.size()];
        want = buf;
        const int srcOff = 32, dstOff = 32 + shift;
        for (int i = 0; i < n; ++i) {
          std::uint8_t tmp[8];
          convert(rs, &want[srcOff + i * sb], rd, tmp);
          std::memcpy(&want[dstOff + i * db], tmp, db);
        }
        MM_GetAudioConvertCopyFcn(s, d)(&buf[srcOff], &buf[dstOff], n, 1, 0);
        EXPECT_EQ(buf, want) << nameOf(s) << " -> " << nameOf(d) << " shift " << shift;
      }
    }
}

TEST(AudioEmpty, ClearsRunsToZeroBytes) {
  // AUDIO_UINT8: zeros, not the midpoint; the gap byte stays.
  std::vector<std::uint8_t> u8(8, 0xEE);
  MM_GetAudioEmptyFcn(AUDIO_UINT8)(nullptr, u8.data(), 2, 2, 3);
  EXPECT_EQ(u8, (std::vector<std::uint8_t>{0, 0, 0xEE, 0, 0, 0xEE, 0xEE, 0xEE}));

  for (AudioDataType t : {AUDIO_DOUBLE, AUDIO_SINGLE, AUDIO_INT32, AUDIO_INT16}) {
    const int b = bytesOf(t);
    std::vector<std::uint8_t> buf(3 * 7 * b + 8, 0xEE), want = buf;
    for (int c = 0; c < 3; ++c) std::memset(&want[c * 7 * b], 0, 5 * b);
    MM_GetAudioEmptyFcn(t)(nullptr, buf.data(), 5, 3, 7);
    EXPECT_EQ(buf, want) << nameOf(t);
  }
}

TEST(AudioEmpty, Int24ClearsTwoBytesMoreThanSamplesWithByteStride) {
  std::vector<std::uint8_t> buf(32, 0xEE), want(32, 0xEE);
  MM_GetAudioEmptyFcn(AUDIO_INT24)(nullptr, buf.data(), 4, 1, 99);
  std::memset(want.data(), 0, 6);
  EXPECT_EQ(buf, want);

  buf.assign(32, 0xEE);
  want.assign(32, 0xEE);
  MM_GetAudioEmptyFcn(AUDIO_INT24)(nullptr, buf.data(), 4, 2, 10);
  std::memset(want.data(), 0, 6);
  std::memset(want.data() + 10, 0, 6);
  EXPECT_EQ(buf, want);

  buf.assign(32, 0xEE);
  want.assign(32, 0xEE);
  MM_GetAudioEmptyFcn(AUDIO_INT24)(nullptr, buf.data(), 1, 1, 0);
  std::memset(want.data(), 0, 3);
  EXPECT_EQ(buf, want);
}

}  // namespace
