// Fast forms of the audio runs against the plain rule they stand for, over
// every value where the source has at most 24 bits and over dense sweeps of
// the floating inputs, including every value near a rounding or clipping
// threshold.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "audio/kernels.h"
#include "audio/pcm_rules.h"
#include "audio/reference.h"
#include "types/cpu.h"

namespace {

using namespace rivulet;
using audioref::append;

// How a form lays out its n elements: one flat run, interleaved stereo split
// into two runs, or two runs joined into interleaved stereo.
enum Layout { kFlat, kSplit, kJoin };

// Runs `fast` over all of `src` at an odd address (no alignment may be
// assumed, and the buffer ends where the data does, so the sanitizer sees an
// over-read), finishes what it leaves with `rule`, and compares with `rule`
// applied to every element.
template <int S, int D, Layout L = kFlat, typename Fast, typename Rule>
void expectSameAsPlain(std::vector<std::uint8_t> const& src, Fast fast, Rule rule) {
  constexpr int SB = kAudioBytes<S>, DB = kAudioBytes<D>, perUnit = L == kFlat ? 1 : 2;
  const std::int64_t n = src.size() / SB / perUnit * perUnit, half = n / 2;
  std::vector<std::uint8_t> buffer(1 + n * SB), a(1 + n * DB), b(1 + n * DB);
  std::copy(src.begin(), src.begin() + n * SB, buffer.begin() + 1);
  std::uint8_t const* in = buffer.data() + 1;
  std::int64_t done;
  if constexpr (L == kFlat) done = fast(in, a.data() + 1, n);
  if constexpr (L == kSplit) done = 2 * fast(in, a.data() + 1, a.data() + 1 + half * DB, half);
  if constexpr (L == kJoin) done = 2 * fast(in, in + half * SB, a.data() + 1, half);
  if (simdAtLeast(Simd::kSse2)) {
    EXPECT_GE(done, n - 16 * perUnit);
  }
  for (std::int64_t k = 0; k < n; ++k) {
    const std::int64_t perChannel = (k % 2) * half + k / 2;
    const std::int64_t from = L == kJoin ? perChannel : k, to = L == kSplit ? perChannel : k;
    const auto value = rule(loadSample<S>(in, from));
    storeSample<D>(b.data() + 1, to, value);
    if (k >= done) storeSample<D>(a.data() + 1, to, value);
  }
  EXPECT_TRUE(a == b) << "first difference at byte " << (std::mismatch(a.begin(), a.end(), b.begin()).first - a.begin());
}

template <int S, int D>
auto cell = [](AudioValue<S> x) { return convertSample<S, D>(x); };

// Floats: every 97th bit pattern, every value within 2^16 ulps of each
// threshold the rules clip or round at, and the integer grid of the scale.
std::vector<std::uint8_t> floatSweep() {
  std::vector<std::uint8_t> v;
  for (std::uint64_t u = 0; u < (1ull << 32); u += 97) append(v, static_cast<std::uint32_t>(u));
  for (float edge : {-1.0f, 1.0f, 0.0f, 0.5f, -0.5f, 32767.0f / 32768.0f, -32767.0f / 32768.0f})
    for (float x = edge, y = edge, k = 0; k < 65536; ++k, x = std::nextafter(x, 10.0f), y = std::nextafter(y, -10.0f))
      append(v, x), append(v, y);
  for (int k = -40000; k <= 40000; ++k) append(v, static_cast<float>(k) / 32768.0f);
  return v;
}

// Doubles: the grid of the 16-bit scale with neighbours and halfway points,
// random bit patterns, random values around full scale, and specials.
std::vector<std::uint8_t> doubleSweep() {
  std::vector<std::uint8_t> v;
  for (int k = -33000; k <= 33000; ++k)
    for (double x : {k / 32768.0, std::nextafter(k / 32768.0, 10.0), std::nextafter(k / 32768.0, -10.0), (k + 0.5) / 32768.0})
      append(v, x);
  std::mt19937_64 rng(11);
  std::uniform_real_distribution<double> u(-1.5, 1.5);
  for (int k = 0; k < 2000000; ++k) append(v, rng()), append(v, u(rng));
  const double inf = std::numeric_limits<double>::infinity();
  for (double x : {std::nan(""), -std::nan(""), inf, -inf, 0.0, -0.0, 4.9e-324, -4.9e-324, 1e300, -1e300}) append(v, x);
  return v;
}

TEST(AudioKernels, Int16ToFloatingEveryValue) {
  const auto all = audioref::everyValue(2);
  expectSameAsPlain<kPosInt16, kPosDouble>(all, &FastConvertRun<kPosInt16, kPosDouble>::run, cell<kPosInt16, kPosDouble>);
  expectSameAsPlain<kPosInt16, kPosSingle>(all, &FastConvertRun<kPosInt16, kPosSingle>::run, cell<kPosInt16, kPosSingle>);
  expectSameAsPlain<kPosInt16, kPosSingle>(all, &FastPcmCopyRun<2, kPosSingle>::run,
                                           [](std::int16_t x) { return pcmToSample<2, kPosSingle>(x); });
  expectSameAsPlain<kPosInt16, kPosDouble, kSplit>(all, &FastStereoFromInterleaved<kPosInt16, kPosDouble>::run,
                                                   cell<kPosInt16, kPosDouble>);
  expectSameAsPlain<kPosInt16, kPosSingle, kSplit>(all, &FastPcmStereoCopy16ToSingle::run,
                                                   [](std::int16_t x) { return pcmToSample<2, kPosSingle>(x); });
}

TEST(AudioKernels, Int24ToDoubleEveryValue) {
  const auto all = audioref::everyValue(3);
  expectSameAsPlain<kPosInt24, kPosDouble>(all, &FastConvertRun<kPosInt24, kPosDouble>::run, cell<kPosInt24, kPosDouble>);
  // Short runs: the 16-byte load must stop before the end of the buffer.
  for (int n = 0; n < 12; ++n)
    expectSameAsPlain<kPosInt24, kPosDouble>(std::vector<std::uint8_t>(all.begin() + 3000, all.begin() + 3000 + 3 * n),
                                             &FastConvertRun<kPosInt24, kPosDouble>::run, cell<kPosInt24, kPosDouble>);
}

// Each form on its own, every one the CPU runs.
TEST(AudioKernels, SingleToInt16Sweep) {
  const auto v = floatSweep();
  expectSameAsPlain<kPosSingle, kPosInt16>(v, &FastConvertRun<kPosSingle, kPosInt16>::run, cell<kPosSingle, kPosInt16>);
  const std::pair<Simd, std::int64_t (*)(std::uint8_t const*, std::uint8_t*, std::int64_t)> forms[] = {
      {Simd::kSse2, &singleToInt16Run_SSE2}, {Simd::kAvx2, &singleToInt16Run_AVX2}, {Simd::kAvx512, &singleToInt16Run_AVX512}};
  for (auto [level, form] : forms)
    if (simdAtLeast(level)) expectSameAsPlain<kPosSingle, kPosInt16>(v, form, cell<kPosSingle, kPosInt16>);
}

TEST(AudioKernels, DoubleToInt16Sweep) {
  const auto v = doubleSweep();
  auto pcm = [](double x) { return sampleToPcm<kPosDouble, 2>(x); };
  expectSameAsPlain<kPosDouble, kPosInt16>(v, &FastConvertRun<kPosDouble, kPosInt16>::run, cell<kPosDouble, kPosInt16>);
  expectSameAsPlain<kPosDouble, kPosInt16>(v, &FastPcmOutputRun<kPosDouble, 2>::run, pcm);
  expectSameAsPlain<kPosDouble, kPosInt16, kJoin>(v, &FastPcmStereoOutputDoubleTo16::run, pcm);
}

}  // namespace
