// Fast forms of the audio runs against the plain rule they stand for, over
// every value where the source has at most 24 bits, every float bit pattern,
// and dense sweeps of the doubles, including every value near a rounding or
// clipping threshold.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
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

// AUDIO_SINGLE -> AUDIO_INT16: each form the CPU runs (the picked one is one
// of them), or the picked one alone where there is none.
using SingleRun = std::int64_t (*)(std::uint8_t const*, std::uint8_t*, std::int64_t);
std::vector<SingleRun> singleToInt16Forms() {
  std::vector<SingleRun> forms;
  const std::pair<Simd, SingleRun> each[] = {
      {Simd::kSse2, &singleToInt16Run_SSE2}, {Simd::kAvx2, &singleToInt16Run_AVX2}, {Simd::kAvx512, &singleToInt16Run_AVX512}};
  for (auto [level, form] : each)
    if (simdAtLeast(level)) forms.push_back(form);
  if (forms.empty()) forms.push_back(&FastConvertRun<kPosSingle, kPosInt16>::run);
  return forms;
}

// Every float bit pattern, a block at a time, at an odd address. Under the
// sanitizers every 61st block (the vector paths are the same, only slower).
TEST(AudioKernels, SingleToInt16EveryValue) {
  constexpr std::int64_t kBlock = 1 << 20;
#ifdef RIVULET_SANITIZE
  constexpr std::uint64_t kStride = 61 * kBlock;
#else
  constexpr std::uint64_t kStride = kBlock;
#endif
  std::vector<std::uint8_t> in(1 + 4 * kBlock), want(1 + 2 * kBlock), got(1 + 2 * kBlock);
  for (std::uint64_t base = 0; base < (1ull << 32); base += kStride) {
    for (std::int64_t i = 0; i < kBlock; ++i) {
      const auto bits = static_cast<std::uint32_t>(base + i);
      std::memcpy(in.data() + 1 + 4 * i, &bits, 4);
      storeSample<kPosInt16>(want.data() + 1, i, singleToInt16(loadSample<kPosSingle>(in.data() + 1, i)));
    }
    for (SingleRun form : singleToInt16Forms()) {
      const std::int64_t done = form(in.data() + 1, got.data() + 1, kBlock);
      if (simdAtLeast(Simd::kSse2)) {
        ASSERT_GE(done, kBlock - 16);
      }
      std::copy(want.begin() + 1 + 2 * done, want.end(), got.begin() + 1 + 2 * done);
      ASSERT_TRUE(got == want) << "block " << base << ", byte " << (std::mismatch(got.begin(), got.end(), want.begin()).first - got.begin());
    }
  }
}

// Every length up to three 512-bit steps at every destination offset within a
// cache line, in a guard-filled buffer that ends where the run does: partial
// steps at both ends write exactly their elements and read none past the end.
TEST(AudioKernels, SingleToInt16HeadsAndTails) {
  const float values[] = {0.5f, -1.0f, 1.0f, -0.25f, 3.0f, std::nanf(""), -7.0f, 1e-9f, 0.999f};
  for (SingleRun form : singleToInt16Forms())
    for (int offset = 0; offset < 64; ++offset)
      for (int n = 0; n <= 96; ++n) {
        std::vector<std::uint8_t> in(4 * n), out(64 + offset + 2 * n + 64, 0xA5), want = out;
        for (int i = 0; i < n; ++i) std::memcpy(in.data() + 4 * i, &values[(i * 7 + offset) % 9], 4);
        for (int i = 0; i < n; ++i)
          storeSample<kPosInt16>(want.data() + 64 + offset, i, singleToInt16(loadSample<kPosSingle>(in.data(), i)));
        const std::int64_t done = form(in.data(), out.data() + 64 + offset, n);
        for (std::int64_t i = done; i < n; ++i)
          storeSample<kPosInt16>(out.data() + 64 + offset, i, singleToInt16(loadSample<kPosSingle>(in.data(), i)));
        ASSERT_TRUE(out == want) << "offset " << offset << ", n " << n;
      }
}

TEST(AudioKernels, DoubleToInt16Sweep) {
  const auto v = doubleSweep();
  auto pcm = [](double x) { return sampleToPcm<kPosDouble, 2>(x); };
  expectSameAsPlain<kPosDouble, kPosInt16>(v, &FastConvertRun<kPosDouble, kPosInt16>::run, cell<kPosDouble, kPosInt16>);
  expectSameAsPlain<kPosDouble, kPosInt16>(v, &FastPcmOutputRun<kPosDouble, 2>::run, pcm);
  expectSameAsPlain<kPosDouble, kPosInt16, kJoin>(v, &FastPcmStereoOutputDoubleTo16::run, pcm);
}

}  // namespace
