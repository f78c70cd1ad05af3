// The PCM family through its exported selectors, against the plain reference.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "audio/reference.h"
#include "rivulet/audio.h"

namespace {

using namespace audioref;

constexpr AudioDataType kMemoryTypes[4] = {AUDIO_DOUBLE, AUDIO_SINGLE, AUDIO_UINT8, AUDIO_INT16};

// Runs one PCM routine on samples x channels elements taken cyclically from
// `pool` and compares the destination, with a patterned guard, against the
// reference. Copy reads PCM in memory order with the reference's own read
// position (which stands still where the reader stalls).
void expectPcm(bool copy, AudioDataType t, int bits, std::vector<std::uint8_t> const& pool, int samples,
               int channels) {
  const int pb = bits / 8, tb = bytesOf(t), sb = copy ? pb : tb, db = copy ? tb : pb;
  const std::int64_t n = std::int64_t{samples} * channels, poolCount = pool.size() / sb;
  std::vector<std::uint8_t> src(n * sb), dst(n * db + 16);
  for (std::int64_t k = 0; k < n; ++k) std::memcpy(&src[k * sb], &pool[(k % poolCount) * sb], sb);
  for (std::size_t b = 0; b < dst.size(); ++b) dst[b] = static_cast<std::uint8_t>(0x3C ^ b);
  std::vector<std::uint8_t> want = dst;
  std::int64_t pos = 0;
  for (int i = 0; i < samples; ++i)
    for (int c = 0; c < channels; ++c) {
      const std::int64_t perChannel = std::int64_t{c} * samples + i, interleaved = std::int64_t{i} * channels + c;
      if (copy) pos += pcmCopy(bits, &src[pos * pb], t, &want[perChannel * tb]);
      else pcmOutput(t, &src[perChannel * tb], bits, &want[interleaved * pb]);
    }
  if (copy) MM_GetPCMAudioCopyFcn(t, bits)(src.data(), dst.data(), samples, channels);
  else MM_GetPCMAudioOutputFcn(t, bits)(src.data(), dst.data(), samples, channels);
  const auto bad = std::mismatch(dst.begin(), dst.end(), want.begin()).first - dst.begin();
  EXPECT_EQ(bad, static_cast<std::ptrdiff_t>(dst.size()))
      << (copy ? "copy " : "output ") << t << " " << bits << ", " << samples << " x " << channels
      << ": first wrong element " << bad / db;
}

// Every 8-, 16- and 24-bit PCM value into every memory type, in four channels
// and in stereo of odd length.
TEST(PCMCopy, EveryIntegerPcmValue) {
  for (int bits : {8, 16, 24}) {
    const auto pool = everyValue(bits / 8);
    const int count = static_cast<int>(pool.size()) / (bits / 8);
    for (AudioDataType t : kMemoryTypes) {
      expectPcm(true, t, bits, pool, count / 4, 4);
      expectPcm(true, t, bits, pool, count / 2 - 1, 2);
    }
  }
}

// Float PCM: widening and bit copies for the floating types; saturation and
// the stalled reader for the integer types. Each edge value also stands alone
// after in-range samples, so the stall starts at every channel.
TEST(PCMCopy, FloatPcmEdges) {
  const auto edges = values(AUDIO_SINGLE);
  for (AudioDataType t : kMemoryTypes) {
    expectPcm(true, t, 32, edges, 10, 3);
    for (std::size_t e = 0; e < edges.size(); e += 4) {
      std::vector<std::uint8_t> pool;
      for (float x : {0.25f, -0.5f, 0.75f, -0.125f, 0.5f}) append(pool, x);
      pool.insert(pool.end(), edges.begin() + e, edges.begin() + e + 4);
      for (int k = 0; k < 4; ++k) pool.insert(pool.end(), pool.begin(), pool.begin() + 4);
      expectPcm(true, t, 32, pool, 4, 3);
      expectPcm(true, t, 32, pool, 13, 1);
    }
  }
}

// Every AUDIO_UINT8 and AUDIO_INT16 value to 8- and 16-bit PCM; the floating
// edges to every width, short and long enough for the fast forms.
TEST(PCMOutput, MatchesTheReference) {
  for (AudioDataType t : kMemoryTypes) {
    const auto pool = values(t);
    const bool floating = t == AUDIO_DOUBLE || t == AUDIO_SINGLE;
    for (int bits : {8, 16, 24, 32}) {
      if (!floating && bits > 16) continue;
      for (auto [samples, channels] : {std::pair{23, 3}, {1100, 2}, {1100, 5}})
        expectPcm(false, t, bits, pool, floating ? samples : 65536 / channels + 1, channels);
    }
  }
}

TEST(PCM, NamedValues) {
  std::uint8_t u8[3] = {0, 128, 255};
  double d[3] = {};
  MM_GetPCMAudioCopyFcn(AUDIO_DOUBLE, 8)(u8, d, 3, 1);
  EXPECT_EQ(std::vector<double>(d, d + 3), (std::vector<double>{-1.0, 0.0, 0.9921875}));

  // 255 vs 256: the copy scales by 256, the output by 255.
  std::int16_t i16[3] = {};
  MM_GetPCMAudioCopyFcn(AUDIO_INT16, 8)(&u8[2], i16, 1, 1);
  EXPECT_EQ(i16[0], 32512);
  MM_GetPCMAudioOutputFcn(AUDIO_UINT8, 16)(&u8[2], i16, 1, 1);
  EXPECT_EQ(i16[0], 32385);
  std::int16_t extremes[2] = {-32768, 32767};
  std::uint8_t out8[2] = {};
  MM_GetPCMAudioOutputFcn(AUDIO_INT16, 8)(extremes, out8, 2, 1);
  EXPECT_EQ(out8[0], 0);
  EXPECT_EQ(out8[1], 255);

  // The reader stalls on 2.0: the third sample is never reached. Across
  // channels too: one running position for the whole call.
  float f[4] = {0.5f, 2.0f, 0.25f};
  MM_GetPCMAudioCopyFcn(AUDIO_INT16, 32)(f, i16, 3, 1);
  EXPECT_EQ(std::vector<std::int16_t>(i16, i16 + 3), (std::vector<std::int16_t>{16384, 32767, 32767}));
  float g[4] = {-3.0f, 0.5f, 0.5f, 0.5f};
  std::uint8_t o[4] = {9, 9, 9, 9};
  MM_GetPCMAudioCopyFcn(AUDIO_UINT8, 32)(g, o, 2, 2);
  EXPECT_EQ(std::vector<std::uint8_t>(o, o + 4), (std::vector<std::uint8_t>{0, 0, 0, 0}));

  double dd[1] = {1.0};
  // Single 1.0 to 24 bits wraps to the most negative value; double doesn't.
  std::uint8_t b24[6] = {};
  float ff[2] = {1.0f, 5.0f};
  MM_GetPCMAudioOutputFcn(AUDIO_SINGLE, 24)(ff, b24, 2, 1);
  EXPECT_EQ(std::vector<std::uint8_t>(b24, b24 + 6), (std::vector<std::uint8_t>{0, 0, 0x80, 0, 0, 0x80}));
  MM_GetPCMAudioOutputFcn(AUDIO_DOUBLE, 24)(dd, b24, 1, 1);
  EXPECT_EQ(std::vector<std::uint8_t>(b24, b24 + 3), (std::vector<std::uint8_t>{0xFF, 0xFF, 0x7F}));
}

// 8-bit PCM through AUDIO_DOUBLE and 16-bit PCM through AUDIO_SINGLE come back
// unchanged: the floor of the output undoes the exact scaling of the copy.
TEST(PCM, RoundTrips) {
  for (auto [t, bits] : {std::pair{AUDIO_DOUBLE, 8}, {AUDIO_SINGLE, 16}}) {
    const auto pcm = everyValue(bits / 8);
    const int n = static_cast<int>(pcm.size()) * 8 / bits;
    std::vector<std::uint8_t> wide(n * bytesOf(t)), back(pcm.size());
    MM_GetPCMAudioCopyFcn(t, bits)(const_cast<std::uint8_t*>(pcm.data()), wide.data(), n, 1);
    MM_GetPCMAudioOutputFcn(t, bits)(wide.data(), back.data(), n, 1);
    EXPECT_TRUE(back == pcm) << bits;
  }
}

// Silence in all samples x channels elements: 0x80 for AUDIO_UINT8, zero bytes
// for the others.
TEST(PCMEmpty, Silence) {
  for (AudioDataType t : kMemoryTypes) {
    const int b = bytesOf(t);
    std::vector<std::uint8_t> v(6 * b + 4, 0x11), want(6 * b + 4, 0x11);
    std::fill(want.begin(), want.begin() + 6 * b, t == AUDIO_UINT8 ? 0x80 : 0);
    MM_GetPCMAudioEmptyFcn(t)(nullptr, v.data(), 2, 3);
    EXPECT_EQ(v, want) << t;
  }
}

TEST(PCM, NonPositiveCountsWriteNothing) {
  std::vector<std::uint8_t> src(64, 0x40), dst(64, 0xEE);
  for (AudioDataType t : kMemoryTypes)
    for (int bits : {8, 16, 24, 32})
      for (auto [n, c] : {std::pair{0, 2}, {2, 0}, {-1, 2}, {2, -1}, {-2, -3}}) {
        MM_GetPCMAudioCopyFcn(t, bits)(src.data(), dst.data(), n, c);
        if (auto out = MM_GetPCMAudioOutputFcn(t, bits)) out(src.data(), dst.data(), n, c);
        MM_GetPCMAudioEmptyFcn(t)(nullptr, dst.data(), n, c);
      }
  EXPECT_EQ(dst, std::vector<std::uint8_t>(64, 0xEE));
}

// The output members that count channels in 16 bits write nothing for 32768
// channels; the others take them. All take 32767.
TEST(PCMOutput, SixteenBitChannelCounters) {
  struct Member { AudioDataType type; int bits; bool shortCounter; };
  const Member members[] = {
      {AUDIO_DOUBLE, 32, true},  {AUDIO_DOUBLE, 24, false}, {AUDIO_DOUBLE, 16, false}, {AUDIO_DOUBLE, 8, true},
      {AUDIO_SINGLE, 32, true},  {AUDIO_SINGLE, 24, false}, {AUDIO_SINGLE, 16, false}, {AUDIO_SINGLE, 8, true},
      {AUDIO_UINT8, 16, true},   {AUDIO_UINT8, 8, false},   {AUDIO_INT16, 16, false},  {AUDIO_INT16, 8, true},
  };
  std::vector<std::uint8_t> src(32768 * 8, 0);
  for (const Member& m : members) {
    std::vector<std::uint8_t> dst(32768 * 4, 0xEE);
    MM_GetPCMAudioOutputFcn(m.type, m.bits)(src.data(), dst.data(), 1, 32768);
    EXPECT_EQ(dst[0] == 0xEE, m.shortCounter) << m.type << " " << m.bits;
    MM_GetPCMAudioOutputFcn(m.type, m.bits)(src.data(), dst.data(), 1, 32767);
    EXPECT_NE(dst[32766 * m.bits / 8], 0xEE) << m.type << " " << m.bits;
  }
}

}  // namespace
