// Writing a 1080p 24-bit file of about 1 GB: avi::File beside a plain write()
// of the same bytes in frame-sized pieces, and beside ffmpeg's AVI muxer run
// as a subprocess (its input a raw file of the same frames, from the page
// cache). Files go to the temp directory, into the page cache; each run
// replaces the last, and all are removed at the end. The disk's write-back
// makes the figures swing; for steady ones put the files on a tmpfs and
// interleave the runs:
//   TMPDIR=/dev/shm rivulet_bench_avi_write --benchmark_repetitions=9
//     --benchmark_enable_random_interleaving=true
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

constexpr std::uint32_t kWidth = 1920, kHeight = 1080, kFrame = kWidth * 3 * kHeight;
constexpr int kFrames = 160;  // 160 x 6220800 bytes: 995 MB

std::string tempPath(const char* name) { return (std::filesystem::temp_directory_path() / name).string(); }

std::vector<char>& frameData() {
  static std::vector<char> frame = [] {
    std::vector<char> f(kFrame);
    for (std::size_t i = 0; i < f.size(); ++i) f[i] = static_cast<char>(i * 7 + 3);
    return f;
  }();
  return frame;
}

void report(benchmark::State& state, std::uint64_t bytes) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
  state.counters["frames/s"] =
      benchmark::Counter(static_cast<double>(state.iterations() * kFrames), benchmark::Counter::kIsRate);
}

void BM_AviFileWrite(benchmark::State& state) {
  const std::string path = tempPath("rivulet_bench_write.avi");
  std::vector<char>& frame = frameData();
  for (auto _ : state) {
    avi::File f;
    f.open(path.c_str(), "w");
    f.setVideoInfo(kWidth, kHeight, 25.0);
    for (int i = 0; i < kFrames; ++i) f.writeVideoFrame(frame.data());
    f.close();
    if (f.getErrorCode() != 0) state.SkipWithError(f.getErrorMsg());
  }
  report(state, std::filesystem::file_size(path));
  std::filesystem::remove(path);
}

// The same number of bytes through write(), one call a frame.
void BM_PlainWrite(benchmark::State& state) {
  const std::string path = tempPath("rivulet_bench_plain.raw");
  std::vector<char>& frame = frameData();
  const std::uint64_t bytes = 65824 + kFrames * (8ull + kFrame) + 32 + 8 * kFrames + 8 + 16 * kFrames;
  for (auto _ : state) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    std::uint64_t left = bytes;
    while (left > 0) {
      const std::size_t n = left < kFrame ? static_cast<std::size_t>(left) : kFrame;
      if (::write(fd, frame.data(), n) != static_cast<ssize_t>(n)) state.SkipWithError("write failed");
      left -= n;
    }
    ::close(fd);
  }
  report(state, bytes);
  std::filesystem::remove(path);
}

void BM_FfmpegAviMuxer(benchmark::State& state) {
  if (std::system("ffmpeg -version >/dev/null 2>&1") != 0) {
    state.SkipWithError("ffmpeg is not installed");
    return;
  }
  const std::string input = tempPath("rivulet_bench_input.raw"), output = tempPath("rivulet_bench_ffmpeg.avi");
  {
    std::FILE* in = std::fopen(input.c_str(), "wb");
    for (int i = 0; i < kFrames; ++i) std::fwrite(frameData().data(), 1, kFrame, in);
    std::fclose(in);
  }
  const std::string command = "ffmpeg -v error -y -f rawvideo -pix_fmt bgr24 -s 1920x1080 -r 25 -i " + input +
                              " -c:v rawvideo -f avi " + output;
  for (auto _ : state) {
    if (std::system(command.c_str()) != 0) state.SkipWithError("ffmpeg failed");
  }
  report(state, std::filesystem::file_size(output));
  std::filesystem::remove(input);
  std::filesystem::remove(output);
}

BENCHMARK(BM_AviFileWrite)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_PlainWrite)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_FfmpegAviMuxer)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
