// Hostile AVI shapes: the time to open a file and read all it holds, beside a
// plain read() of the same bytes, and the peak memory of the open, beside the
// file's size. The large files are sparse; all are removed at the end.
//
//   zeros_4GiB        a valid header, then 4 GiB of zeros (zero-size chunks
//                     at the top level)
//   movi_zeros_1GiB   a 'movi' list of 1 GiB of zero-size chunks, no index
//   idx1_junk_1GiB    an 'idx1' of 2^26 entries that name no stream
//   indx_2^23         an audio stream list holding an OpenDML index of 2^23
//                     entries (64 MiB of entries)
//   idx1_2^22         an 'idx1' of 2^22 valid entries (64 MiB)
//
// The counters of Open: file_MiB, peak_MiB (resident memory of a child that
// only opens the file, less that of a child that does nothing) and
// peak_per_file_byte.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "avi/avi_builder.h"
#include "rivulet/avi.h"

namespace {

using namespace avitest;

struct Shape {
  const char* name;
  std::function<void(const std::string&)> make;
};

std::string tempPath(const char* name) {
  return (std::filesystem::temp_directory_path() / (std::string("rivulet_hostile_") + name + ".avi")).string();
}

// Writes 'head' at the start of a file of 'size' bytes whose rest is a hole,
// then the pieces of 'tail' at their positions.
void writeSparse(const std::string& path, const std::string& head, std::uint64_t size,
                 const std::vector<std::pair<std::uint64_t, std::string>>& tail = {}) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (fd < 0 || ::pwrite(fd, head.data(), head.size(), 0) != static_cast<ssize_t>(head.size()) ||
      ::ftruncate(fd, static_cast<off_t>(size)) != 0) {
    std::perror(path.c_str());
    std::exit(1);
  }
  for (const auto& [at, bytes] : tail) {
    if (::pwrite(fd, bytes.data(), bytes.size(), static_cast<off_t>(at)) != static_cast<ssize_t>(bytes.size())) {
      std::perror(path.c_str());
      std::exit(1);
    }
  }
  ::close(fd);
}

std::string videoList() { return list("LIST", "strl", strh("vids", 1, 25, 1, 0) + bitmapInfo(4, 2, 24)); }
std::string riffHead(std::uint32_t riffSize) { return "RIFF" + u32(riffSize) + "AVI "; }

const std::vector<Shape>& shapes() {
  static const std::vector<Shape> all = {
      {"zeros_4GiB",
       [](const std::string& path) {
         writeSparse(path, riffHead(0xFFFFFFF0u) + list("LIST", "hdrl", avih(1, 1) + videoList()), 4ull << 30);
       }},
      {"movi_zeros_1GiB",
       [](const std::string& path) {
         const std::uint64_t size = 1ull << 30;
         const std::string head = riffHead(static_cast<std::uint32_t>(size - 8)) +
                                  list("LIST", "hdrl", avih(1, 1) + videoList()) + "LIST";
         // The 'movi' list runs to the end of the file.
         const std::uint32_t moviSize = static_cast<std::uint32_t>(size - head.size() - 4);
         writeSparse(path, head + u32(moviSize) + "movi", size);
       }},
      {"idx1_junk_1GiB",
       [](const std::string& path) {
         const std::uint64_t size = 1ull << 30;
         const std::string head = riffHead(static_cast<std::uint32_t>(size - 8)) +
                                  list("LIST", "hdrl", avih(1, 1) + videoList()) +
                                  list("LIST", "movi", chunk("00db", std::string(24, 'f'))) + "idx1";
         writeSparse(path, head + u32(static_cast<std::uint32_t>(size - head.size() - 4)), size);
       }},
      {"indx_2^23",
       [](const std::string& path) {
         // Audio stream 1 whose standard index names one 2-byte chunk 2^23 times.
         const std::uint32_t entries = 1u << 23;
         const std::string movi = list("LIST", "movi", chunk("00db", std::string(24, 'f')) + chunk("01wb", "ab"));
         const std::string strlBody = "strl" + strh("auds", 1, 8000, 2, 1) + waveFormat(1, 1, 8000, 8);
         const std::string indxHead = "indx" + u32(24 + 8 * entries) + u16(2) + u8(0) + u8(1) + u32(entries) +
                                      "01wb" + u64(0) + u32(0);
         const std::uint64_t tail = strlBody.size() + indxHead.size() + 8ull * entries;
         const std::string hdrlBody = avih(1, 2) + videoList() + "LIST" + u32(static_cast<std::uint32_t>(tail)) +
                                      strlBody + indxHead;
         const std::string head = riffHead(0) + "LIST" +
                                  u32(static_cast<std::uint32_t>(4 + hdrlBody.size() + 8ull * entries)) + "hdrl" +
                                  hdrlBody;
         const std::uint64_t entriesAt = head.size();
         const std::uint64_t moviAt = entriesAt + 8ull * entries;
         const std::uint64_t size = moviAt + movi.size();
         // Every entry points at the data of the one audio chunk: 12 bytes past
         // the 'movi' type, relative to base 0.
         std::string block;
         const std::uint32_t data = static_cast<std::uint32_t>(moviAt + 12 + 32 + 8);
         for (std::uint32_t i = 0; i < entries; ++i) block += u32(data) + u32(2);
         std::string h = head;
         put32(h, 4, static_cast<std::uint32_t>(size - 8));
         writeSparse(path, h, size, {{entriesAt, block}, {moviAt, movi}});
       }},
      {"idx1_2^22",
       [](const std::string& path) {
         const std::uint32_t entries = 1u << 22;
         const std::string head = riffHead(0) + list("LIST", "hdrl", avih(1, 1) + videoList()) +
                                  list("LIST", "movi", chunk("00db", std::string(24, 'f'))) + "idx1" +
                                  u32(16 * entries);
         std::string block;
         for (std::uint32_t i = 0; i < entries; ++i) block += "00db" + u32(0x10) + u32(4) + u32(24);
         std::string h = head;
         put32(h, 4, static_cast<std::uint32_t>(head.size() + block.size() - 8));
         writeSparse(path, h, head.size() + block.size(), {{head.size(), block}});
       }},
  };
  return all;
}

const std::string& shapeFile(int i) {
  static std::vector<std::string> made(shapes().size());
  if (made[i].empty()) {
    made[i] = tempPath(shapes()[i].name);
    shapes()[i].make(made[i]);
  }
  return made[i];
}

// Opens the file, reads every frame and all the audio, as a host would.
void openAndRead(const std::string& path) {
  avi::File f;
  f.open(path.c_str(), "r");
  std::vector<char> frame(std::max({f.getVideoChunkSize(), f.getRGB24VideoFrameSize(), 1u}));
  while (f.hasVideo() && !f.isEndOfVideo()) {
    f.readRGB24VideoFrame(frame.data());
    if (f.getErrorCode() != 0) break;
  }
  std::vector<char> audio(1 << 16);
  f.clearError();
  while (f.hasAudio() && !f.isEndOfAudio() && f.getErrorCode() == 0) f.readAudio(audio.data(), audio.size());
  benchmark::DoNotOptimize(frame.data());
}

// Peak resident memory, in KiB, of a child process that runs 'work'.
long childPeakKiB(const std::function<void()>& work) {
  const pid_t pid = fork();
  if (pid == 0) {
    work();
    _exit(0);
  }
  int status = 0;
  rusage usage{};
  wait4(pid, &status, 0, &usage);
  return usage.ru_maxrss;
}

void Open(benchmark::State& state) {
  const std::string& path = shapeFile(static_cast<int>(state.range(0)));
  for (auto _ : state) openAndRead(path);
  const double fileMiB = static_cast<double>(std::filesystem::file_size(path)) / (1 << 20);
  const long base = childPeakKiB([] {});
  const long peak = childPeakKiB([&] {
    avi::File f;
    f.open(path.c_str(), "r");
  });
  state.counters["file_MiB"] = fileMiB;
  state.counters["peak_MiB"] = static_cast<double>(peak - base) / 1024;
  state.counters["peak_per_file_byte"] = static_cast<double>(peak - base) / 1024 / fileMiB;
  state.SetLabel(shapes()[state.range(0)].name);
}

// The anchor: every byte of the file by read() in 1 MiB pieces.
void PlainRead(benchmark::State& state) {
  const std::string& path = shapeFile(static_cast<int>(state.range(0)));
  std::vector<char> buffer(1 << 20);
  for (auto _ : state) {
    const int fd = ::open(path.c_str(), O_RDONLY);
    while (::read(fd, buffer.data(), buffer.size()) > 0) {
    }
    ::close(fd);
    benchmark::DoNotOptimize(buffer.data());
  }
  state.SetLabel(shapes()[state.range(0)].name);
}

void allShapes(benchmark::internal::Benchmark* b) {
  for (int i = 0; i < static_cast<int>(shapes().size()); ++i) b->Arg(i);
}

BENCHMARK(PlainRead)->Apply(allShapes)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Open)->Apply(allShapes)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  for (const Shape& s : shapes()) std::filesystem::remove(tempPath(s.name));
  return 0;
}
