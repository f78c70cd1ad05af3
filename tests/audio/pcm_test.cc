// The PCM family through its exported selectors, against the plain reference.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "audio/reference.h"
#include "rivulet/audio.h"

namespace {

using namespace audioref;

constexpr AudioDataType kMemoryTypes[4] = {AUDIO_DOUBLE, AUDIO_SINGLE, AUDIO_UINT8, AUDIO_INT16};

std::vector<std::uint8_t> everyPcmValue(int bits) {
  std::vector<std::uint8_t> v;
  const std::uint32_t n = 1u << bits;
  for (std::uint32_t x = 0; x < n; ++x)
    for (int k = 0; k < bits / 8; ++k) v.push_back(static_cast<std::uint8_t>(x >> (8 * k)));
  return v;
}

std::vector<std::uint8_t> floatEdges() { return edgeValues(AUDIO_SINGLE); }

// PCM element k (in memory order) is pool element k; the expected block runs
// the reference with its own read position.
int checkCopy(int bits, AudioDataType d, std::vector<std::uint8_t> const& pool, int samples,
              int channels) {
  const int pb = bits / 8, db = bytesOf(d);
  const std::int64_t n = std::int64_t{samples} * channels, poolCount = pool.size() / pb;
  std::vector<std::uint8_t> pcm(n * pb);
  for (std::int64_t k = 0; k < n; ++k) std::memcpy(&pcm[k * pb], &pool[(k % poolCount) * pb], pb);
  std::vector<std::uint8_t> dst(n * db + 16);
  for (std::size_t b = 0; b < dst.size(); ++b) dst[b] = static_cast<std::uint8_t>(0x3C ^ b);
  std::vector<std::uint8_t> want = dst;
  std::int64_t pos = 0;
  for (int i = 0; i < samples; ++i)
    for (int c = 0; c < channels; ++c)
      pos += pcmCopy(bits, &pcm[pos * pb], d, &want[(std::int64_t{c} * samples + i) * db]);
  MM_GetPCMAudioCopyFcn(d, bits)(pcm.data(), dst.data(), samples, channels);
  int bad = 0;
  for (std::size_t b = 0; b < dst.size(); ++b)
    if (dst[b] != want[b] && ++bad <= 3)
      ADD_FAILURE() << "copy " << bits << " -> " << nameOf(d) << ": element " << b / db;
  return bad;
}

int checkOutput(AudioDataType s, int bits, std::vector<std::uint8_t> const& pool, int samples,
                int channels) {
  const int pb = bits / 8, sb = bytesOf(s);
  const std::int64_t n = std::int64_t{samples} * channels, poolCount = pool.size() / sb;
  std::vector<std::uint8_t> src(n * sb);
  for (std::int64_t k = 0; k < n; ++k) std::memcpy(&src[k * sb], &pool[(k % poolCount) * sb], sb);
  std::vector<std::uint8_t> dst(n * pb + 16);
  for (std::size_t b = 0; b < dst.size(); ++b) dst[b] = static_cast<std::uint8_t>(0xC3 ^ b);
  std::vector<std::uint8_t> want = dst;
  for (int i = 0; i < samples; ++i)
    for (int c = 0; c < channels; ++c)
      pcmOutput(s, &src[(std::int64_t{c} * samples + i) * sb], bits,
                &want[(std::int64_t{i} * channels + c) * pb]);
  MM_GetPCMAudioOutputFcn(s, bits)(src.data(), dst.data(), samples, channels);
  int bad = 0;
  for (std::size_t b = 0; b < dst.size(); ++b)
    if (dst[b] != want[b] && ++bad <= 3)
      ADD_FAILURE() << "output " << nameOf(s) << " -> " << bits << ": element " << b / pb;
  return bad;
}

// Every 8-, 16- and 24-bit PCM value into every memory type.
TEST(PCMCopy, EveryIntegerPcmValue) {
  for (int bits : {8, 16, 24}) {
    const auto pool = everyPcmValue(bits);
    const int count = static_cast<int>(pool.size()) / (bits / 8);
    for (AudioDataType d : kMemoryTypes) {
      EXPECT_EQ(checkCopy(bits, d, pool, count / 4, 4), 0);
      EXPECT_EQ(checkCopy(bits, d, pool, count / 2 - 1, 2), 0);  // stereo, odd length
    }
  }
}

// Float PCM: widening and bit copies for the floating types; saturation and
// the stalled reader for the integer types. Each edge value is also placed
// alone after in-range samples, so the stall is seen starting at every
// channel.
TEST(PCMCopy, FloatPcmEdges) {
  const auto edges = floatEdges();
  for (AudioDataType d : kMemoryTypes) {
    EXPECT_EQ(checkCopy(32, d, edges, 10, 3), 0);
    for (std::size_t e = 0; e < edges.size() / 4; ++e) {
      std::vector<std::uint8_t> pool;
      for (float x : {0.25f, -0.5f, 0.75f, -0.125f, 0.5f}) {
        pool.resize(pool.size() + 4);
        std::memcpy(pool.data() + pool.size() - 4, &x, 4);
      }
      pool.insert(pool.end(), edges.begin() + 4 * e, edges.begin() + 4 * e + 4);
      for (int k = 0; k < 4; ++k) pool.insert(pool.end(), pool.begin(), pool.begin() + 4);
      EXPECT_EQ(checkCopy(32, d, pool, 4, 3), 0);
      EXPECT_EQ(checkCopy(32, d, pool, 13, 1), 0);
    }
  }
}

// Every AUDIO_UINT8 and AUDIO_INT16 value to 8- and 16-bit PCM.
TEST(PCMOutput, EverySmallMemoryValue) {
  for (AudioDataType s : {AUDIO_UINT8, AUDIO_INT16}) {
    const auto pool = everyValue(s);
    const int count = static_cast<int>(pool.size()) / bytesOf(s);
    for (int bits : {8, 16}) EXPECT_EQ(checkOutput(s, bits, pool, count / 2, 2), 0);
  }
}

TEST(PCMOutput, FloatingEdgesToEveryWidth) {
  for (AudioDataType s : {AUDIO_DOUBLE, AUDIO_SINGLE})
    for (int bits : {8, 16, 24, 32}) {
      const auto pool = edgeValues(s);
      EXPECT_EQ(checkOutput(s, bits, pool, 23, 3), 0);
      EXPECT_EQ(checkOutput(s, bits, pool, 1100, 2), 0);  // long enough for the fast forms
    }
}

TEST(PCM, NamedValues) {
  const std::uint8_t u8[3] = {0, 128, 255};
  double d[3] = {};
  MM_GetPCMAudioCopyFcn(AUDIO_DOUBLE, 8)(const_cast<std::uint8_t*>(u8), d, 3, 1);
  EXPECT_EQ(d[0], -1.0);
  EXPECT_EQ(d[1], 0.0);
  EXPECT_EQ(d[2], 0.9921875);

  std::int16_t i16[3] = {};
  std::uint8_t u255 = 255;
  MM_GetPCMAudioCopyFcn(AUDIO_INT16, 8)(&u255, i16, 1, 1);
  EXPECT_EQ(i16[0], 32512);
  MM_GetPCMAudioOutputFcn(AUDIO_UINT8, 16)(&u255, i16, 1, 1);
  EXPECT_EQ(i16[0], 32385);

  // The third sample is never reached: the reader stalls on 2.0.
  float f[3] = {0.5f, 2.0f, 0.25f};
  MM_GetPCMAudioCopyFcn(AUDIO_INT16, 32)(f, i16, 3, 1);
  EXPECT_EQ(std::vector<std::int16_t>(i16, i16 + 3), (std::vector<std::int16_t>{16384, 32767, 32767}));
  // Across channels: one running position for the whole call.
  float g[4] = {-3.0f, 0.5f, 0.5f, 0.5f};
  std::uint8_t o[4] = {};
  MM_GetPCMAudioCopyFcn(AUDIO_UINT8, 32)(g, o, 2, 2);
  EXPECT_EQ(std::vector<std::uint8_t>(o, o + 4), (std::vector<std::uint8_t>{0, 0, 0, 0}));

  double one = 1.0, minus = -1.0;
  MM_GetPCMAudioOutputFcn(AUDIO_DOUBLE, 16)(&one, i16, 1, 1);
  EXPECT_EQ(i16[0], 32767);
  MM_GetPCMAudioOutputFcn(AUDIO_DOUBLE, 16)(&minus, i16, 1, 1);
  EXPECT_EQ(i16[0], -32768);
  std::uint8_t b24[3] = {};
  float fone = 1.0f;
  MM_GetPCMAudioOutputFcn(AUDIO_SINGLE, 24)(&fone, b24, 1, 1);
  EXPECT_EQ(std::vector<std::uint8_t>(b24, b24 + 3), (std::vector<std::uint8_t>{0, 0, 0x80}));
  MM_GetPCMAudioOutputFcn(AUDIO_DOUBLE, 24)(&one, b24, 1, 1);
  EXPECT_EQ(std::vector<std::uint8_t>(b24, b24 + 3), (std::vector<std::uint8_t>{0xFF, 0xFF, 0x7F}));

  std::int16_t lo = -32768, hi = 32767;
  std::uint8_t out8 = 77;
  MM_GetPCMAudioOutputFcn(AUDIO_INT16, 8)(&lo, &out8, 1, 1);
  EXPECT_EQ(out8, 0);
  MM_GetPCMAudioOutputFcn(AUDIO_INT16, 8)(&hi, &out8, 1, 1);
  EXPECT_EQ(out8, 255);
}

// 8-bit PCM through AUDIO_DOUBLE and 16-bit PCM through AUDIO_SINGLE come back
// unchanged: the floor of the output undoes the exact scaling of the copy.
TEST(PCM, RoundTripOfAllEightBitValues) {
  auto pcm = everyPcmValue(8);
  std::vector<double> wide(256);
  std::vector<std::uint8_t> back(256);
  MM_GetPCMAudioCopyFcn(AUDIO_DOUBLE, 8)(pcm.data(), wide.data(), 256, 1);
  MM_GetPCMAudioOutputFcn(AUDIO_DOUBLE, 8)(wide.data(), back.data(), 256, 1);
  EXPECT_EQ(back, pcm);
  auto pcm16 = everyPcmValue(16);
  std::vector<float> f(65536);
  std::vector<std::uint8_t> back16(pcm16.size());
  MM_GetPCMAudioCopyFcn(AUDIO_SINGLE, 16)(pcm16.data(), f.data(), 65536, 1);
  MM_GetPCMAudioOutputFcn(AUDIO_SINGLE, 16)(f.data(), back16.data(), 65536, 1);
  EXPECT_EQ(back16, pcm16);
}

TEST(PCMEmpty, Silence) {
  std::vector<std::uint8_t> buf(8, 0x11);
  MM_GetPCMAudioEmptyFcn(AUDIO_UINT8)(nullptr, buf.data(), 2, 3);
  EXPECT_EQ(buf, (std::vector<std::uint8_t>{0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x11, 0x11}));
  for (AudioDataType t : {AUDIO_DOUBLE, AUDIO_SINGLE, AUDIO_INT16}) {
    const int b = bytesOf(t);
    std::vector<std::uint8_t> v(6 * b + 4, 0x11), want(6 * b + 4, 0x11);
    std::memset(want.data(), 0, 6 * b);
    MM_GetPCMAudioEmptyFcn(t)(nullptr, v.data(), 3, 2);
    EXPECT_EQ(v, want) << nameOf(t);
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

// The members that count channels in 16 bits refuse 32768 channels and more;
// the others take them.
TEST(PCMOutput, SixteenBitChannelCounters) {
  const int channels = 40000;
  struct Member {
    AudioDataType type;
    int bits;
    bool shortCounter;
  };
  const Member members[] = {
      {AUDIO_DOUBLE, 32, true}, {AUDIO_DOUBLE, 24, false}, {AUDIO_DOUBLE, 16, false},
      {AUDIO_DOUBLE, 8, true},  {AUDIO_SINGLE, 32, true},  {AUDIO_SINGLE, 24, false},
      {AUDIO_SINGLE, 16, false}, {AUDIO_SINGLE, 8, true},  {AUDIO_UINT8, 16, true},
      {AUDIO_UINT8, 8, false},  {AUDIO_INT16, 16, false},  {AUDIO_INT16, 8, true},
  };
  std::vector<std::uint8_t> src(channels * 8, 0);
  for (const Member& m : members) {
    std::vector<std::uint8_t> dst(channels * 4, 0xEE);
    MM_GetPCMAudioOutputFcn(m.type, m.bits)(src.data(), dst.data(), 1, channels);
    EXPECT_EQ(dst[0] == 0xEE, m.shortCounter) << nameOf(m.type) << " " << m.bits;
    std::vector<std::uint8_t> ok(32767 * 4, 0xEE);
    MM_GetPCMAudioOutputFcn(m.type, m.bits)(src.data(), ok.data(), 1, 32767);
    EXPECT_NE(ok[(32766 * m.bits / 8)], 0xEE) << nameOf(m.type) << " " << m.bits;
  }
}

}  // namespace
