// Audio conversion benchmarks: 1,048,576 stereo sample periods per call.
// Beside each routine, in the same binary: memcpy of the larger of its two
// buffers, and libswresample doing the nearest sample-format conversion at an
// unchanged rate. Bytes processed is the larger buffer's size for all three,
// so their rates compare directly.
//
// Run with --benchmark_repetitions=7 --benchmark_report_aggregates_only=true
// (and --benchmark_enable_random_interleaving=true on a shared machine).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <immintrin.h>
#include <random>
#include <vector>

// GCC 12 reports the lanes its own AVX-512 intrinsics leave undefined on
// purpose as uninitialised.
#pragma GCC diagnostic ignored "-Wuninitialized"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/samplefmt.h>
#include <libswresample/swresample.h>
}

#include "rivulet/audio.h"

namespace {

constexpr int kPeriods = 1 << 20;
constexpr int kChannels = 2;
constexpr std::int64_t kElements = std::int64_t{kPeriods} * kChannels;

// Source bytes of plausible audio: values inside full scale for each type.
std::vector<std::uint8_t> makeSource(int bytesPerSample, bool floating, bool isDouble) {
  std::vector<std::uint8_t> v(kElements * bytesPerSample);
  std::mt19937 rng(1);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  for (std::int64_t i = 0; i < kElements; ++i) {
    std::uint8_t* p = v.data() + i * bytesPerSample;
    if (floating && isDouble) {
      const double x = u(rng);
      std::memcpy(p, &x, 8);
    } else if (floating) {
      const float x = static_cast<float>(u(rng));
      std::memcpy(p, &x, 4);
    } else {
      const std::uint32_t x = rng();
      std::memcpy(p, &x, bytesPerSample);
    }
  }
  return v;
}

void setBytes(benchmark::State& state, std::int64_t largerBytes) {
  state.SetBytesProcessed(state.iterations() * largerBytes);
}

// memcpy of n bytes, the anchor beside each conversion.
void runMemcpy(benchmark::State& state, std::int64_t n) {
  std::vector<std::uint8_t> a(n, 1), b(n);
  for (auto _ : state) {
    std::memcpy(b.data(), a.data(), n);
    benchmark::DoNotOptimize(b.data());
    benchmark::ClobberMemory();
  }
  setBytes(state, n);
}

// libswresample at 48 kHz in and out, stereo, one format to another.
void runSwr(benchmark::State& state, AVSampleFormat in, AVSampleFormat out, bool inFloat,
            bool inDouble, int periods = kPeriods) {
  AVChannelLayout layout = AV_CHANNEL_LAYOUT_STEREO;
  SwrContext* swr = nullptr;
  if (swr_alloc_set_opts2(&swr, &layout, out, 48000, &layout, in, 48000, 0, nullptr) < 0 ||
      swr_init(swr) < 0) {
    state.SkipWithError("swr_init failed");
    return;
  }
  const int inBytes = av_get_bytes_per_sample(in), outBytes = av_get_bytes_per_sample(out);
  const auto src = makeSource(inBytes, inFloat, inDouble);
  std::vector<std::uint8_t> dst(kElements * outBytes);
  const std::uint8_t* inPlanes[2] = {src.data(), src.data() + kPeriods * inBytes};
  std::uint8_t* outPlanes[2] = {dst.data(), dst.data() + kPeriods * outBytes};
  for (auto _ : state) {
    const int got = swr_convert(swr, outPlanes, periods, inPlanes, periods);
    if (got != periods) state.SkipWithError("swr_convert short");
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  swr_free(&swr);
  setBytes(state, std::int64_t{periods} * kChannels * std::max(inBytes, outBytes));
}

// ---- INT16 interleaved -> DOUBLE per-channel (transpose copy) ---------------------------------

void BM_Int16ToDoublePlanar_rivulet(benchmark::State& state) {
  const auto src = makeSource(2, false, false);
  std::vector<double> dst(kElements);
  const auto fcn = MM_GetAudioTransposeCopyFcn(AUDIO_INT16, AUDIO_DOUBLE, true);
  for (auto _ : state) {
    fcn(src.data(), dst.data(), kPeriods, kChannels, kPeriods);
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  setBytes(state, kElements * 8);
}
void BM_Int16ToDoublePlanar_memcpy(benchmark::State& state) { runMemcpy(state, kElements * 8); }
void BM_Int16ToDoublePlanar_swr(benchmark::State& state) {
  runSwr(state, AV_SAMPLE_FMT_S16, AV_SAMPLE_FMT_DBLP, false, false);
}

// ---- DOUBLE per-channel -> 16-bit PCM (PCM output) ----------------------------------------------

void BM_DoublePlanarToPcm16_rivulet(benchmark::State& state) {
  const auto src = makeSource(8, true, true);
  std::vector<std::int16_t> dst(kElements);
  const auto fcn = MM_GetPCMAudioOutputFcn(AUDIO_DOUBLE, 16);
  for (auto _ : state) {
    fcn(src.data(), dst.data(), kPeriods, kChannels);
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  setBytes(state, kElements * 8);
}
void BM_DoublePlanarToPcm16_memcpy(benchmark::State& state) { runMemcpy(state, kElements * 8); }
void BM_DoublePlanarToPcm16_swr(benchmark::State& state) {
  runSwr(state, AV_SAMPLE_FMT_DBLP, AV_SAMPLE_FMT_S16, true, true);
}

// ---- SINGLE -> INT16 (convert copy) -------------------------------------------------------------
//
// Also at a block that stays in L2 (the argument, in periods): at the full
// 12 MB both conversions are bound by the transfer from L3 (reading the 8 MB of
// floats alone takes about half the time), so only the smaller block shows the
// conversion itself. Every routine gets its own buffers, made once, so the
// blocks are warm.

void BM_SingleToInt16_rivulet(benchmark::State& state) {
  const int periods = static_cast<int>(state.range(0));
  const auto src = makeSource(4, true, false);
  std::vector<std::int16_t> dst(kElements);
  const auto fcn = MM_GetAudioConvertCopyFcn(AUDIO_SINGLE, AUDIO_INT16);
  for (auto _ : state) {
    fcn(src.data(), dst.data(), periods, kChannels, 0);
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  setBytes(state, std::int64_t{periods} * kChannels * 4);
}
void BM_SingleToInt16_memcpy(benchmark::State& state) {
  runMemcpy(state, state.range(0) * kChannels * 4);
}
void BM_SingleToInt16_swr(benchmark::State& state) {
  runSwr(state, AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_S16, true, false, static_cast<int>(state.range(0)));
}

// Two floors beside them, on buffers of the same sizes and addresses alike
// (std::vector, so both 16 bytes past a page), with AVX-512: a read of the
// source alone, and the least work that turns 4-byte words into 2-byte ones
// (the raw words packed, no conversion). No conversion of the same bytes can
// beat the second.
__attribute__((target("avx512f,avx512bw"))) int orWords(std::uint8_t const* src, std::int64_t n) {
  __m512i a = _mm512_setzero_si512(), b = a;
  for (std::int64_t i = 0; i + 32 <= n; i += 32) {
    a = _mm512_or_si512(a, _mm512_loadu_si512(src + 4 * i));
    b = _mm512_or_si512(b, _mm512_loadu_si512(src + 4 * i + 64));
  }
  return _mm512_reduce_or_epi32(_mm512_or_si512(a, b));
}
void BM_SingleToInt16_read(benchmark::State& state) {
  if (!__builtin_cpu_supports("avx512bw")) {
    state.SkipWithError("no AVX-512");
    return;
  }
  const std::int64_t n = state.range(0) * kChannels;
  const auto src = makeSource(4, true, false);
  for (auto _ : state) benchmark::DoNotOptimize(orWords(src.data(), n));
  setBytes(state, n * 4);
}
__attribute__((target("avx512f,avx512bw"))) void packWords(std::uint8_t const* src, std::int16_t* dst,
                                                            std::int64_t n) {
  for (std::int64_t i = 0; i + 32 <= n; i += 32)
    _mm512_storeu_si512(dst + i, _mm512_packs_epi32(_mm512_loadu_si512(src + 4 * i),
                                                    _mm512_loadu_si512(src + 4 * i + 64)));
}
void BM_SingleToInt16_move(benchmark::State& state) {
  if (!__builtin_cpu_supports("avx512bw")) {
    state.SkipWithError("no AVX-512");
    return;
  }
  const std::int64_t n = state.range(0) * kChannels;
  const auto src = makeSource(4, true, false);
  std::vector<std::int16_t> dst(kElements);
  for (auto _ : state) {
    packWords(src.data(), dst.data(), n);
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  setBytes(state, n * 4);
}

// ---- INT24 -> DOUBLE (convert copy). libswresample has no packed 24-bit
// format; its nearest is 32-bit integer to double. ---------------------------------------------

void BM_Int24ToDouble_rivulet(benchmark::State& state) {
  const auto src = makeSource(3, false, false);
  std::vector<double> dst(kElements);
  const auto fcn = MM_GetAudioConvertCopyFcn(AUDIO_INT24, AUDIO_DOUBLE);
  for (auto _ : state) {
    fcn(src.data(), dst.data(), kPeriods, kChannels, 0);
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  setBytes(state, kElements * 8);
}
void BM_Int24ToDouble_memcpy(benchmark::State& state) { runMemcpy(state, kElements * 8); }
void BM_Int24ToDouble_swr(benchmark::State& state) {
  runSwr(state, AV_SAMPLE_FMT_S32, AV_SAMPLE_FMT_DBL, false, false);
}

// ---- 16-bit PCM -> SINGLE per-channel (PCM copy) -----------------------------------------------

void BM_Pcm16ToSinglePlanar_rivulet(benchmark::State& state) {
  auto src = makeSource(2, false, false);
  std::vector<float> dst(kElements);
  const auto fcn = MM_GetPCMAudioCopyFcn(AUDIO_SINGLE, 16);
  for (auto _ : state) {
    fcn(src.data(), dst.data(), kPeriods, kChannels);
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  setBytes(state, kElements * 4);
}
void BM_Pcm16ToSinglePlanar_memcpy(benchmark::State& state) { runMemcpy(state, kElements * 4); }
void BM_Pcm16ToSinglePlanar_swr(benchmark::State& state) {
  runSwr(state, AV_SAMPLE_FMT_S16, AV_SAMPLE_FMT_FLTP, false, false);
}

}  // namespace

BENCHMARK(BM_Int16ToDoublePlanar_rivulet)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Int16ToDoublePlanar_memcpy)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Int16ToDoublePlanar_swr)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_DoublePlanarToPcm16_rivulet)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_DoublePlanarToPcm16_memcpy)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_DoublePlanarToPcm16_swr)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SingleToInt16_rivulet)->Arg(kPeriods)->Arg(16384)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SingleToInt16_memcpy)->Arg(kPeriods)->Arg(16384)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SingleToInt16_swr)->Arg(kPeriods)->Arg(16384)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SingleToInt16_read)->Arg(kPeriods)->Arg(16384)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SingleToInt16_move)->Arg(kPeriods)->Arg(16384)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Int24ToDouble_rivulet)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Int24ToDouble_memcpy)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Int24ToDouble_swr)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Pcm16ToSinglePlanar_rivulet)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Pcm16ToSinglePlanar_memcpy)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Pcm16ToSinglePlanar_swr)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
