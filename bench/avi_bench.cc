// Sequential readRGB24VideoFrame of 1080p files of about 1 GB, from the page
// cache, beside a plain read() of the same bytes in frame-sized pieces. The
// files are made on first use in the temp directory (bottom-up rows, idx1).
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "rivulet/avi.h"

namespace {

constexpr std::uint32_t kWidth = 1920, kHeight = 1080;
constexpr std::uint64_t kTargetBytes = 1000ull * 1000 * 1000;

void put16(std::string& s, std::uint16_t v) { s += static_cast<char>(v & 0xFF), s += static_cast<char>(v >> 8); }
void put32(std::string& s, std::uint32_t v) { put16(s, v & 0xFFFF), put16(s, static_cast<std::uint16_t>(v >> 16)); }

std::uint32_t frameBytes(int bits) { return (kWidth * bits / 8 + 3) / 4 * 4 * kHeight; }

std::string benchFile(int bits) {
  const std::filesystem::path path =
      std::filesystem::temp_directory_path() / ("rivulet_bench_avi_" + std::to_string(bits) + ".avi");
  const std::uint32_t size = frameBytes(bits);
  const std::uint32_t frames = static_cast<std::uint32_t>(kTargetBytes / size);
  const std::uint64_t moviBytes = 4 + static_cast<std::uint64_t>(frames) * (8 + size);
  const std::uint64_t expected = 12 + 12 + 64 + 12 + 64 + 48 + 12 + moviBytes + 8 + 16ull * frames;
  std::error_code ec;
  if (std::filesystem::file_size(path, ec) == expected) return path.string();

  std::string h = "RIFF";
  put32(h, static_cast<std::uint32_t>(expected - 8));
  h += "AVI LIST";
  put32(h, 4 + 64 + 12 + 64 + 48);
  h += "hdrlavih";
  put32(h, 56);
  for (std::uint32_t v : {40000u, 0u, 0u, 0x10u, frames, 0u, 1u, size, kWidth, kHeight, 0u, 0u, 0u, 0u}) put32(h, v);
  h += "LIST";
  put32(h, 4 + 64 + 48);
  h += "strlstrh";
  put32(h, 56);
  h += "vidsDIB ";
  for (std::uint32_t v : {0u, 0u, 0u, 1u, 25u, 0u, frames, size, 0u, 0u, 0u, 0u}) put32(h, v);
  h += "strf";
  put32(h, 40);
  put32(h, 40), put32(h, kWidth), put32(h, kHeight), put16(h, 1), put16(h, static_cast<std::uint16_t>(bits));
  for (std::uint32_t v : {0u, size, 0u, 0u, 0u, 0u}) put32(h, v);
  h += "LIST";
  put32(h, static_cast<std::uint32_t>(moviBytes));
  h += "movi";
  std::FILE* out = std::fopen(path.c_str(), "wb");
  std::fwrite(h.data(), 1, h.size(), out);
  std::vector<char> frame(size);
  std::string idx1 = "idx1";
  put32(idx1, 16 * frames);
  for (std::uint32_t n = 0; n < frames; ++n) {
    for (std::uint32_t i = 0; i < size; ++i) frame[i] = static_cast<char>(i * 7 + n);
    std::string ch = "00db";
    put32(ch, size);
    std::fwrite(ch.data(), 1, ch.size(), out);
    std::fwrite(frame.data(), 1, size, out);
    idx1 += "00db";
    put32(idx1, 0x10), put32(idx1, 4 + n * (8 + size)), put32(idx1, size);
  }
  std::fwrite(idx1.data(), 1, idx1.size(), out);
  std::fclose(out);
  return path.string();
}

void ReadRGB24(benchmark::State& state) {
  const int bits = static_cast<int>(state.range(0));
  const std::string path = benchFile(bits);
  avi::File f;
  if (f.open(path.c_str(), "r") != 1 || f.getErrorCode() != 0) {
    state.SkipWithError("cannot open the bench file");
    return;
  }
  std::vector<char> buffer(std::max(f.getRGB24VideoFrameSize(), f.getVideoChunkSize()));
  std::uint64_t bytes = 0;
  for (auto _ : state) {
    f.resetVideo();
    while (!f.isEndOfVideo()) {
      f.readRGB24VideoFrame(buffer.data());
      bytes += f.getVideoChunkSize();
    }
    benchmark::DoNotOptimize(buffer.data());
  }
  if (f.getErrorCode() != 0) state.SkipWithError(f.getErrorMsg());
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}

// The anchor: the same frames' bytes by read(), one frame-sized piece at a time.
void PlainRead(benchmark::State& state) {
  const int bits = static_cast<int>(state.range(0));
  const std::string path = benchFile(bits);
  const int fd = ::open(path.c_str(), O_RDONLY);
  const std::uint32_t size = frameBytes(bits);
  const std::uint64_t frames = kTargetBytes / size;
  std::vector<char> buffer(size);
  std::uint64_t bytes = 0;
  for (auto _ : state) {
    for (std::uint64_t n = 0; n < frames; ++n) {
      const off_t at = static_cast<off_t>(12 + 12 + 64 + 12 + 64 + 48 + 12 + 4 + n * (8 + size) + 8);
      if (::pread(fd, buffer.data(), size, at) != static_cast<ssize_t>(size)) {
        state.SkipWithError("short read");
        break;
      }
      bytes += size;
    }
    benchmark::DoNotOptimize(buffer.data());
  }
  ::close(fd);
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}

BENCHMARK(PlainRead)->Arg(24)->Arg(32)->Arg(16)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(ReadRGB24)->Arg(24)->Arg(32)->Arg(16)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
