// The 6 x 6 families (convert copy, transpose copy, mapped copy) and the empty
// family, through the exported selectors, against the plain reference.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <tuple>
#include <vector>

#include "audio/reference.h"
#include "rivulet/audio.h"

namespace {

using namespace audioref;

enum Family { kConvert, kFromInterleaved, kToInterleaved, kMapFrom, kMapTo };

struct Shape {
  int samples;  // 0: enough periods to take every value of the pool once
  int channels, extraStride, frameStride;
  std::vector<int> map;
};

// Single elements, odd lengths around the fast forms' blocks, a channel count
// past the staged limit, per-channel strides wider than the data, frame
// strides with unnamed slots, maps that reorder and repeat.
const Shape kShapes[] = {
    {0, 2, 3, 3, {2, 0}},  {0, 3, 5, 5, {4, 1, 1}}, {1, 1, 0, 1, {0}},          {7, 1, 0, 1, {0}},
    {9, 2, 0, 2, {1, 0}},  {33, 2, 5, 4, {3, 1}},   {67, 3, 1, 3, {0, 1, 2}},   {1100, 2, 0, 2, {0, 1}},
    {5, 7, 2, 9, {8, 0, 3, 3, 1, 6, 2}},           {3, 70, 1, 70, {}},
};

// Source and destination element of channel c of period i.
std::pair<std::int64_t, std::int64_t> place(Family f, const Shape& l, int stride, int i, int c) {
  const std::int64_t flat = std::int64_t{i} * l.channels + c, perChannel = std::int64_t{c} * stride + i;
  const std::int64_t slot = std::int64_t{i} * l.frameStride + l.map[c];
  switch (f) {
    case kConvert: return {flat, flat};
    case kFromInterleaved: return {flat, perChannel};
    case kToInterleaved: return {perChannel, flat};
    case kMapFrom: return {slot, perChannel};
    default: return {perChannel, slot};
  }
}

// Element k = (i, c) of the block reads pool element k (cyclically); every
// other source byte and the whole destination hold a pattern, so a write to a
// gap or past the end shows.
void expectCell(Family f, AudioDataType s, AudioDataType d, std::vector<std::uint8_t> const& pool, Shape l) {
  const AudioDataType rs = cellType(s, d, s), rd = cellType(s, d, d);
  const int sb = bytesOf(rs), db = bytesOf(rd), pb = bytesOf(s);
  const std::int64_t poolCount = pool.size() / pb;
  if (l.map.empty())
    for (int j = 0; j < l.channels; ++j) l.map.push_back(l.channels - 1 - j);
  if (l.samples == 0) l.samples = static_cast<int>((poolCount + l.channels - 1) / l.channels);
  const int stride = l.samples + l.extraStride;
  std::int64_t srcCount = 0, dstCount = 0;
  for (int i = 0; i < l.samples; ++i)
    for (int c = 0; c < l.channels; ++c) {
      const auto [si, di] = place(f, l, stride, i, c);
      srcCount = std::max(srcCount, si + 1), dstCount = std::max(dstCount, di + 1);
    }
  std::vector<std::uint8_t> src(srcCount * sb + 24, 0x5A), dst(dstCount * db + 24);
  for (std::size_t b = 0; b < dst.size(); ++b) dst[b] = static_cast<std::uint8_t>(0xA5 ^ b);
  for (int i = 0, k = 0; i < l.samples; ++i)
    for (int c = 0; c < l.channels; ++c, ++k)  // a narrower pool element fills the upper bytes
      std::memcpy(&src[place(f, l, stride, i, c).first * sb + sb - pb], &pool[(k % poolCount) * pb], pb);
  std::vector<std::uint8_t> want = dst;
  for (int i = 0; i < l.samples; ++i)
    for (int c = 0; c < l.channels; ++c) {
      const auto [si, di] = place(f, l, stride, i, c);
      convert(rs, &src[si * sb], rd, &want[di * db]);
    }
  switch (f) {
    case kConvert: MM_GetAudioConvertCopyFcn(s, d)(src.data(), dst.data(), l.samples, l.channels, 987654); break;
    case kFromInterleaved:
    case kToInterleaved:
      MM_GetAudioTransposeCopyFcn(s, d, f == kFromInterleaved)(src.data(), dst.data(), l.samples, l.channels, stride);
      break;
    case kMapFrom:
      MM_GetAudioConvertCopyWithMapFcn(s, d, true)(src.data(), dst.data(), stride, l.samples, l.frameStride,
                                                   l.channels, l.map.data());
      break;
    case kMapTo:
      MM_GetAudioConvertCopyWithMapFcn(s, d, false)(src.data(), dst.data(), stride, l.samples, l.channels,
                                                    l.frameStride, l.map.data());
      break;
  }
  const auto bad = std::mismatch(dst.begin(), dst.end(), want.begin()).first - dst.begin();
  EXPECT_EQ(bad, static_cast<std::ptrdiff_t>(dst.size()))
      << "family " << f << ", " << s << " -> " << d << ", " << l.samples << " x " << l.channels
      << ": first wrong byte in element " << bad / db;
}

// Every 8- and 16-bit source value, and the edges of the other sources,
// through every destination rule, in every shape.
class AudioCells : public testing::TestWithParam<std::tuple<Family, AudioDataType>> {};

TEST_P(AudioCells, MatchTheReference) {
  const auto [f, s] = GetParam();
  const auto pool = values(s);
  for (const Shape& l : kShapes)
    for (AudioDataType d : kTypes) expectCell(f, s, d, pool, l);
}

INSTANTIATE_TEST_SUITE_P(All, AudioCells,
                         testing::Combine(testing::Values(kConvert, kFromInterleaved, kToInterleaved, kMapFrom, kMapTo),
                                          testing::ValuesIn(kTypes)));

// The values the rules name, so that the reference can't share a misreading
// with the library.
template <typename D, typename S>
D one(AudioDataType s, AudioDataType d, S x) {
  D out{};
  MM_GetAudioConvertCopyFcn(s, d)(&x, &out, 1, 1, 0);
  return out;
}

TEST(AudioFamilies, NamedValues) {
  using I16 = std::int16_t;
  using U8 = std::uint8_t;
  EXPECT_EQ(one<I16>(AUDIO_DOUBLE, AUDIO_INT16, 1.0), 32767);
  EXPECT_EQ(one<I16>(AUDIO_DOUBLE, AUDIO_INT16, -1.0), -32768);
  EXPECT_EQ(one<I16>(AUDIO_DOUBLE, AUDIO_INT16, 0.5), 16384);
  EXPECT_EQ(one<I16>(AUDIO_DOUBLE, AUDIO_INT16, -0.00001), -1);  // floor
  EXPECT_EQ(one<I16>(AUDIO_SINGLE, AUDIO_INT16, -0.00001f), 0);  // truncation
  EXPECT_EQ(one<U8>(AUDIO_DOUBLE, AUDIO_UINT8, 1.0), 255);
  EXPECT_EQ(one<U8>(AUDIO_DOUBLE, AUDIO_UINT8, -1.0), 0);
  EXPECT_EQ(one<U8>(AUDIO_DOUBLE, AUDIO_UINT8, 0.0), 128);
  EXPECT_EQ(one<std::int32_t>(AUDIO_DOUBLE, AUDIO_INT32, 1.0), INT32_MAX);
  EXPECT_EQ(one<std::int32_t>(AUDIO_SINGLE, AUDIO_INT32, 1.0f), INT32_MAX);
  EXPECT_EQ(one<I16>(AUDIO_INT32, AUDIO_INT16, std::int32_t{-1}), 0);
  EXPECT_EQ(one<I16>(AUDIO_INT32, AUDIO_INT16, std::int32_t{-65537}), -1);
  EXPECT_EQ((one<std::array<U8, 3>>(AUDIO_INT32, AUDIO_INT24, std::int32_t{-1})), (std::array<U8, 3>{255, 255, 255}));
  EXPECT_EQ(one<I16>(AUDIO_INT24, AUDIO_INT16, (std::array<U8, 3>{255, 255, 255})), -1);
  EXPECT_EQ((one<std::array<U8, 3>>(AUDIO_UINT8, AUDIO_INT24, U8{128})), (std::array<U8, 3>{0, 0, 0}));
  for (AudioDataType d : {AUDIO_DOUBLE, AUDIO_SINGLE, AUDIO_INT32, AUDIO_INT16})
    EXPECT_EQ(one<std::int64_t>(AUDIO_UINT8, d, U8{128}), 0) << d;
  EXPECT_EQ(one<double>(AUDIO_UINT8, AUDIO_DOUBLE, U8{0}), -1.0);
  EXPECT_EQ(one<float>(AUDIO_UINT8, AUDIO_SINGLE, U8{0}), -1.0f);
  EXPECT_EQ(one<I16>(AUDIO_UINT8, AUDIO_INT16, U8{0}), -32768);
  EXPECT_EQ(one<std::int32_t>(AUDIO_UINT8, AUDIO_INT32, U8{0}), INT32_MIN);
  EXPECT_EQ(one<U8>(AUDIO_INT16, AUDIO_UINT8, I16{32767}), 255);
  EXPECT_EQ(one<U8>(AUDIO_INT16, AUDIO_UINT8, I16{-1}), 128);
  EXPECT_EQ(one<U8>(AUDIO_INT16, AUDIO_UINT8, I16{-256}), 127);
}

// Widening and narrowing back restores every value of the narrower type.
TEST(AudioFamilies, RoundTripsFromNarrowTypes) {
  for (AudioDataType narrow : {AUDIO_UINT8, AUDIO_INT16}) {
    const auto v = values(narrow);
    const int n = static_cast<int>(v.size()) / bytesOf(narrow);
    for (AudioDataType wide : kTypes) {
      if (bytesOf(wide) <= bytesOf(narrow)) continue;
      std::vector<std::uint8_t> mid(n * bytesOf(wide)), back(v.size());
      MM_GetAudioConvertCopyFcn(narrow, wide)(v.data(), mid.data(), n, 1, 0);
      MM_GetAudioConvertCopyFcn(wide, narrow)(mid.data(), back.data(), n, 1, 0);
      EXPECT_TRUE(back == v) << narrow << " via " << wide;
    }
  }
}

// The fifth argument of the false table is the channel count: frame stride 3
// and channels 2 passed the other way round mean three channels in periods of
// two.
TEST(AudioFamilies, MappedArgumentsAreNotInterchangeable) {
  int map[3] = {0, 1, 2};
  std::int16_t out[6] = {-9, -9, -9, -9, -9, -9};
  const std::int16_t src[6] = {1, 2, 3, 4, 5, 6};
  MM_GetAudioConvertCopyWithMapFcn(AUDIO_INT16, AUDIO_INT16, false)(src, out, 2, 2, 3, 2, map);
  EXPECT_EQ(std::vector<std::int16_t>(out, out + 6), (std::vector<std::int16_t>{1, 3, 2, 4, 6, -9}));
}

// Nothing is written for a count below 1, in any member; convert copy takes
// the signed 32-bit product of its two counts.
TEST(AudioFamilies, NonPositiveCounts) {
  std::vector<std::uint8_t> src(64, 0x11), dst(64, 0xEE);
  int map[4] = {0, 1, 2, 3};
  for (AudioDataType s : kTypes)
    for (AudioDataType d : kTypes)
      for (auto [n, c] : {std::pair{0, 2}, {2, 0}, {-1, 2}, {2, -1}, {0, 0}}) {
        MM_GetAudioConvertCopyFcn(s, d)(src.data(), dst.data(), n, c, 0);
        for (bool flag : {true, false}) {
          MM_GetAudioTransposeCopyFcn(s, d, flag)(src.data(), dst.data(), n, c, 4);
          MM_GetAudioConvertCopyWithMapFcn(s, d, flag)(src.data(), dst.data(), 4, n, flag ? 4 : c, flag ? c : 4, map);
        }
        MM_GetAudioEmptyFcn(s)(nullptr, dst.data(), n, c, 4);
      }
  EXPECT_EQ(dst, std::vector<std::uint8_t>(64, 0xEE));
  const std::int16_t in[6] = {1, 2, 3, 4, 5, 6};
  std::int16_t out[7] = {0, 0, 0, 0, 0, 0, -5};
  MM_GetAudioConvertCopyFcn(AUDIO_INT16, AUDIO_INT16)(in, out, -2, -3, 0);  // 6 elements
  EXPECT_EQ(std::vector<std::int16_t>(out, out + 7), (std::vector<std::int16_t>{1, 2, 3, 4, 5, 6, -5}));
}

// In place and overlapping: each element is read before it is written, from
// the first on.
TEST(AudioFamilies, OverlappingConvertCopyGoesForward) {
  for (AudioDataType s : kTypes)
    for (AudioDataType d : kTypes) {
      const AudioDataType rs = cellType(s, d, s), rd = cellType(s, d, d);
      const auto pool = values(rs);
      for (int shift : {0, 3, -5}) {
        std::vector<std::uint8_t> buf(37 * 16 + 64);
        for (std::size_t b = 0; b < buf.size(); ++b) buf[b] = pool[b % pool.size()];
        std::vector<std::uint8_t> want = buf;
        for (int i = 0; i < 37; ++i) {
          std::uint8_t tmp[8];
          convert(rs, &want[32 + i * bytesOf(rs)], rd, tmp);
          std::memcpy(&want[32 + shift + i * bytesOf(rd)], tmp, bytesOf(rd));
        }
        MM_GetAudioConvertCopyFcn(s, d)(&buf[32], &buf[32 + shift], 37, 1, 0);
        EXPECT_EQ(buf, want) << s << " -> " << d << " shift " << shift;
      }
    }
}

// Zero bytes (also AUDIO_UINT8) in `samples` elements of each channel, gaps
// untouched. AUDIO_INT24 counts its stride in bytes and clears n + 2 bytes.
TEST(AudioEmpty, ClearsRunsToZeroBytes) {
  struct Case { AudioDataType t; int samples, channels, stride; std::vector<std::pair<int, int>> cleared; };
  const Case cases[] = {
      {AUDIO_UINT8, 2, 2, 3, {{0, 2}, {3, 5}}},           {AUDIO_INT16, 5, 3, 7, {{0, 10}, {14, 24}, {28, 38}}},
      {AUDIO_DOUBLE, 2, 2, 3, {{0, 16}, {24, 40}}},       {AUDIO_SINGLE, 1, 2, 2, {{0, 4}, {8, 12}}},
      {AUDIO_INT32, 3, 1, 0, {{0, 12}}},                  {AUDIO_INT24, 4, 1, 99, {{0, 6}}},
      {AUDIO_INT24, 4, 2, 10, {{0, 6}, {10, 16}}},        {AUDIO_INT24, 1, 1, 0, {{0, 3}}},
  };
  for (const Case& c : cases) {
    std::vector<std::uint8_t> buf(64, 0xEE), want(64, 0xEE);
    for (auto [from, to] : c.cleared) std::fill(want.begin() + from, want.begin() + to, 0);
    MM_GetAudioEmptyFcn(c.t)(nullptr, buf.data(), c.samples, c.channels, c.stride);
    EXPECT_EQ(buf, want) << c.t << " " << c.samples << " x " << c.channels;
  }
}

}  // namespace
