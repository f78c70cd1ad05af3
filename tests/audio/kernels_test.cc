// Fast forms of the audio runs against the plain rule they stand for, over
// every value where the source has at most 24 bits and over dense sweeps of
// the floating inputs, including every value near a rounding or clipping
// threshold.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "audio/kernels.h"
#include "audio/pcm_rules.h"
#include "audio/sample_rules.h"

namespace {

using namespace rivulet;

// Runs the fast form over the whole buffer (with the plain tail) and the plain
// rule element by element; returns the first differing element or -1.
template <int SB, int DB, typename Fast, typename Plain>
std::int64_t firstDifference(std::vector<std::uint8_t> const& src, Fast fast, Plain plain) {
  const std::int64_t n = static_cast<std::int64_t>(src.size()) / SB;
  // Odd offsets: the fast forms must not assume alignment.
  std::vector<std::uint8_t> in(src.size() + 1), a(n * DB + 1), b(n * DB + 1);
  if (!src.empty()) std::memcpy(in.data() + 1, src.data(), src.size());
  const std::int64_t done = fast(in.data() + 1, a.data() + 1, n);
  EXPECT_GE(done, n - 16);
  for (std::int64_t i = done; i < n; ++i) plain(in.data() + 1, a.data() + 1, i);
  for (std::int64_t i = 0; i < n; ++i) plain(in.data() + 1, b.data() + 1, i);
  for (std::int64_t i = 0; i < n; ++i)
    if (std::memcmp(&a[1 + i * DB], &b[1 + i * DB], DB) != 0) return i;
  return -1;
}

template <int S, int D>
std::int64_t checkCell(std::vector<std::uint8_t> const& src) {
  static_assert(FastConvertRun<S, D>::kAvailable);
  return firstDifference<kAudioBytes<S>, kAudioBytes<D>>(
      src, &FastConvertRun<S, D>::run,
      [](std::uint8_t const* s, std::uint8_t* d, std::int64_t i) {
        storeSample<D>(d, i, convertSample<S, D>(loadSample<S>(s, i)));
      });
}

std::vector<std::uint8_t> allInt16() {
  std::vector<std::uint8_t> v(2 * 65536);
  for (int x = 0; x < 65536; ++x) v[2 * x] = x & 255, v[2 * x + 1] = x >> 8;
  return v;
}

template <typename T>
void append(std::vector<std::uint8_t>& v, T x) {
  const std::size_t at = v.size();
  v.resize(at + sizeof x);
  std::memcpy(v.data() + at, &x, sizeof x);
}

// Floats: every 97th bit pattern of the whole range, every value within 2^16
// ulps of each integer threshold the rules clip or round at, and specials.
std::vector<std::uint8_t> floatSweep(float scale) {
  std::vector<std::uint8_t> v;
  for (std::uint64_t u = 0; u < (1ull << 32); u += 97) {
    float x;
    const auto w = static_cast<std::uint32_t>(u);
    std::memcpy(&x, &w, 4);
    append(v, x);
  }
  for (float edge : {-1.0f, 1.0f, 0.0f, 0.5f, -0.5f, 32767.0f / 32768.0f, -32767.0f / 32768.0f}) {
    float x = edge, y = edge;
    for (int k = 0; k < 65536; ++k) {
      append(v, x);
      append(v, y);
      x = std::nextafter(x, 10.0f);
      y = std::nextafter(y, -10.0f);
    }
  }
  for (int k = -40000; k <= 40000; ++k) append(v, static_cast<float>(k) / scale);
  return v;
}

// Doubles: the integer grid of the 16-bit scale with neighbours, random
// values of every magnitude, and specials.
std::vector<std::uint8_t> doubleSweep() {
  std::vector<std::uint8_t> v;
  for (int k = -33000; k <= 33000; ++k) {
    const double x = k / 32768.0;
    append(v, x);
    append(v, std::nextafter(x, 10.0));
    append(v, std::nextafter(x, -10.0));
    append(v, x + 0.5 / 32768.0);
  }
  std::mt19937_64 rng(11);
  for (int k = 0; k < 2000000; ++k) append(v, static_cast<double>(rng()));  // any bits
  std::uniform_real_distribution<double> u(-1.5, 1.5);
  for (int k = 0; k < 2000000; ++k) append(v, u(rng));
  for (double x : {std::numeric_limits<double>::quiet_NaN(), -std::numeric_limits<double>::quiet_NaN(),
                   std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
                   0.0, -0.0, 4.9e-324, -4.9e-324, 1e300, -1e300})
    append(v, x);
  return v;
}

TEST(AudioKernels, Int16ToFloatingEveryValue) {
  EXPECT_EQ((checkCell<kPosInt16, kPosDouble>(allInt16())), -1);
  EXPECT_EQ((checkCell<kPosInt16, kPosSingle>(allInt16())), -1);
  EXPECT_EQ((firstDifference<2, 4>(allInt16(), &FastPcmCopyRun<2, kPosSingle>::run,
                                   [](std::uint8_t const* s, std::uint8_t* d, std::int64_t i) {
                                     storeSample<kPosSingle>(
                                         d, i, pcmToSample<2, kPosSingle>(loadSample<kPosInt16>(s, i)));
                                   })),
            -1);
}

TEST(AudioKernels, Int24ToDoubleEveryValue) {
  std::vector<std::uint8_t> v(3 * (1 << 24));
  for (std::uint32_t x = 0; x < (1u << 24); ++x)
    v[3 * x] = x & 255, v[3 * x + 1] = (x >> 8) & 255, v[3 * x + 2] = x >> 16;
  EXPECT_EQ((checkCell<kPosInt24, kPosDouble>(v)), -1);
  // Short runs: the 16-byte load must stop before the end of the buffer.
  for (int n = 0; n < 12; ++n) {
    std::vector<std::uint8_t> w(v.begin() + 3000, v.begin() + 3000 + 3 * n);
    EXPECT_EQ((checkCell<kPosInt24, kPosDouble>(w)), -1);
  }
}

TEST(AudioKernels, SingleToInt16Sweep) {
  const auto v = floatSweep(32768.0f);
  EXPECT_EQ((checkCell<kPosSingle, kPosInt16>(v)), -1);
  auto plain = [](std::uint8_t const* s, std::uint8_t* d, std::int64_t i) {
    storeSample<kPosInt16>(d, i, convertSample<kPosSingle, kPosInt16>(loadSample<kPosSingle>(s, i)));
  };
  // Each form on its own, whichever the CPU check picks.
  EXPECT_EQ((firstDifference<4, 2>(v, &singleToInt16Run_SSE2, plain)), -1);
  if (__builtin_cpu_supports("avx2")) {
    EXPECT_EQ((firstDifference<4, 2>(v, &singleToInt16Run_AVX2, plain)), -1);
  }
}

// The stereo forms across the layout change, through the routines that use
// them, against the plain rule (tails of every length included).
TEST(AudioKernels, StereoForms) {
  const auto all = allInt16();
  std::vector<std::uint8_t> a, b;
  for (int periods : {32768, 1, 2, 3, 5, 7}) {
    const auto fcn = &FastStereoFromInterleaved<kPosInt16, kPosDouble>::run;
    a.assign(periods * 16, 0);
    b.assign(periods * 16, 0);
    const std::int64_t done = fcn(all.data(), a.data(), a.data() + periods * 8, periods);
    for (std::int64_t i = 0; i < periods; ++i)
      for (int c = 0; c < 2; ++c) {
        const double want = convertSample<kPosInt16, kPosDouble>(loadSample<kPosInt16>(all.data(), 2 * i + c));
        storeSample<kPosDouble>(b.data(), c * periods + i, want);
        if (i >= done) storeSample<kPosDouble>(a.data(), c * periods + i, want);
      }
    EXPECT_EQ(a, b) << periods;

    a.assign(periods * 8, 0);
    b.assign(periods * 8, 0);
    const std::int64_t done2 = FastPcmStereoCopy16ToSingle::run(all.data(), a.data(), a.data() + periods * 4, periods);
    for (std::int64_t i = 0; i < periods; ++i)
      for (int c = 0; c < 2; ++c) {
        const float want = pcmToSample<2, kPosSingle>(loadSample<kPosInt16>(all.data(), 2 * i + c));
        storeSample<kPosSingle>(b.data(), c * periods + i, want);
        if (i >= done2) storeSample<kPosSingle>(a.data(), c * periods + i, want);
      }
    EXPECT_EQ(a, b) << periods;
  }
  const auto d = doubleSweep();
  const std::int64_t periods = static_cast<std::int64_t>(d.size()) / 16;
  a.assign(periods * 4, 0);
  b.assign(periods * 4, 0);
  const std::int64_t done = FastPcmStereoOutputDoubleTo16::run(d.data(), d.data() + periods * 8, a.data(), periods);
  for (std::int64_t i = 0; i < periods; ++i)
    for (int c = 0; c < 2; ++c) {
      const std::int16_t want = sampleToPcm<kPosDouble, 2>(loadSample<kPosDouble>(d.data(), c * periods + i));
      storeSample<kPosInt16>(b.data(), 2 * i + c, want);
      if (i >= done) storeSample<kPosInt16>(a.data(), 2 * i + c, want);
    }
  EXPECT_EQ(a, b);
}

TEST(AudioKernels, DoubleToInt16Sweep) {
  const auto v = doubleSweep();
  EXPECT_EQ((checkCell<kPosDouble, kPosInt16>(v)), -1);
  EXPECT_EQ((firstDifference<8, 2>(v, &FastPcmOutputRun<kPosDouble, 2>::run,
                                   [](std::uint8_t const* s, std::uint8_t* d, std::int64_t i) {
                                     storeSample<kPosInt16>(
                                         d, i, sampleToPcm<kPosDouble, 2>(loadSample<kPosDouble>(s, i)));
                                   })),
            -1);
}

// The rule helpers at their defined edges. Inputs go through volatile so that
// the run-time conversions are tested, not the compiler's constant folding.
TEST(AudioRules, ConversionEdges) {
  volatile double dnan = std::nan(""), done = 1.0, dminus = -1.0, dbelow = 1.0 - 0x1p-31;
  volatile float fnan = std::nanf(""), fone = 1.0f, fminus = -1.0f, ftwo = 2.0f,
                 fbelow = 0.99999994f;
  EXPECT_EQ(doubleToInt32(dnan), INT32_MIN);
  EXPECT_EQ(doubleToInt16(dnan), 0);
  EXPECT_EQ(doubleToUInt8(dnan), 0);
  EXPECT_EQ(singleToInt32(fnan), INT32_MIN);
  EXPECT_EQ(singleToInt16(fnan), 0);
  EXPECT_EQ(singleToInt32(fone), INT32_MAX);
  EXPECT_EQ(singleToInt32(fminus), INT32_MIN);
  EXPECT_EQ(doubleToInt32(dminus), INT32_MIN);
  EXPECT_EQ(doubleToInt32(done), INT32_MAX);
  EXPECT_EQ(doubleToInt32(dbelow), INT32_MAX);
  EXPECT_EQ(pcmSingleTo24(fone), INT32_MIN);  // the wrap
  EXPECT_EQ(pcmSingleTo24(ftwo), INT32_MIN);  // clipped to 2^31, then the wrap
  EXPECT_EQ(pcmSingleTo24(fbelow), 2147483520);
  EXPECT_EQ(pcmSingleTo24(fnan), INT32_MIN);
  EXPECT_EQ(doubleToInt32(done), INT32_MAX);
  EXPECT_EQ(pcmFloatToInt16(fnan).value, 0);
  EXPECT_TRUE(pcmFloatToInt16(fnan).advance);
  EXPECT_FALSE(pcmFloatToUInt8(fone).advance);
}

}  // namespace
