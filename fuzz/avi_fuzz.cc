// Fuzz target of the AVI reader: opens the input as a file, reads every frame
// in the three read forms, by number and in sequence, and all the audio,
// asking for the error code after each call. It also checks object reuse: an
// object that ran openToGetInformation first, or read another file before,
// must see exactly what a new object sees. A difference aborts. Each input
// is then read once more in tolerant mode.
//
// Built by fuzz/ with libFuzzer, and by tests/ as a replay of the stored
// corpus (fuzz/corpus, tests/avi/data) that runs in CI.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <boost/numeric/conversion/cast.hpp>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "rivulet/avi.h"

namespace {

// Buffers the harness is willing to give one frame; a file that asks for more
// is read up to its headers only.
constexpr std::uint64_t kMaxBuffer = 16u << 20;
constexpr std::uint64_t kMaxFrames = 512;
constexpr std::uint64_t kMaxAudioBytes = 1u << 20;

volatile unsigned int sink;

// A file in an anonymous memory file, named by a path the reader can open.
// One is made once and rewritten for each input.
class MemFile {
 public:
  MemFile() : fd(memfd_create("avi", 0)) { std::snprintf(name, sizeof name, "/proc/self/fd/%d", fd); }
  ~MemFile() {
    if (fd >= 0) ::close(fd);
  }
  bool set(const std::uint8_t* data, std::size_t size) {
    if (fd < 0 || ftruncate(fd, 0) != 0) {
      return false;
    }
    std::size_t written = 0;
    while (written < size) {
      const ssize_t n = pwrite(fd, data + written, size - written, static_cast<off_t>(written));
      if (n <= 0) {
        return false;
      }
      written += static_cast<std::size_t>(n);
    }
    return true;
  }
  const char* path() const { return name; }

 private:
  int fd;
  char name[64];
};

void readAll(avi::File& file) {
  sink = file.getErrorCode();
  sink = file.getVideoWidth() + file.getVideoHeight() + file.getVideoBitsPerPixel();
  sink = static_cast<unsigned int>(file.getVideoFourCC().size() + file.getColormap().size());
  if (file.hasVideo()) {
    // Frames 0 to 'frames' are read below, the last one past the end when the
    // video is short: the buffer covers every one of them.
    const std::uint64_t frames = std::min<std::uint64_t>(file.getVideoTotalFrames(), kMaxFrames);
    std::uint64_t need = std::max<std::uint64_t>(
        {file.getRGB24VideoFrameSize(), file.getIndexedVideoFrameSize(), file.getVideoChunkSize()});
    if (file.isVideoCompressed()) {
      for (std::uint64_t n = 0; n <= frames; ++n) {
        need = std::max<std::uint64_t>(need, file.getRawVideoFrameSize(static_cast<long long>(n)));
      }
    }
    if (need <= kMaxBuffer) {
      // Exactly the size asked for, so that any write past it shows.
      std::vector<char> buffer(need);
      char* b = buffer.data();
      for (std::uint64_t n = 0; n <= frames; ++n) {
        file.readVideoFrame(b, static_cast<long long>(n));
        sink = file.getErrorCode();
        file.readRGB24VideoFrame(b, static_cast<long long>(n));
        sink = file.getErrorCode();
        file.readIndexedVideoFrame(b, static_cast<long long>(n));
        sink = file.getErrorCode();
      }
      file.readVideoFrame(b, -7);
      sink = file.getRawVideoFrameSize(-7);
      for (int form = 0; form < 3; ++form) {
        file.resetVideo();
        // In sequence the reads stop at 'frames' too, which the buffer covers.
        for (std::uint64_t n = 0; n < frames && !file.isEndOfVideo(); ++n) {
          if (form == 0) {
            file.readVideoFrame(b);
          } else if (form == 1) {
            file.readRGB24VideoFrame(b);
          } else {
            file.readIndexedVideoFrame(b, avi::File::INVALID_FRAME_INDEX);
          }
          if (file.getErrorCode() != 0 && form != 2) {
            break;
          }
        }
      }
    }
  }
  if (file.hasAudio()) {
    file.clearError();
    std::vector<char> buffer(4093);
    std::uint64_t read = 0;
    while (!file.isEndOfAudio() && file.getErrorCode() == 0 && read < kMaxAudioBytes) {
      file.readAudio(buffer.data(), buffer.size());
      read += buffer.size();
    }
    sink = static_cast<unsigned int>(file.getAudioBytesRead());
  }
}

// What a host learns from an object right after it opened a file, with the
// first frame and the first audio bytes.
std::string summary(avi::File& f) {
  std::string s = std::to_string(f.getErrorCode()) + ' ' + std::to_string(f.hasVideo()) +
                  std::to_string(f.hasAudio()) + ' ' + std::to_string(f.getVideoWidth()) + ' ' +
                  std::to_string(f.getVideoHeight()) + ' ' + std::to_string(f.getVideoBitsPerPixel()) + ' ' +
                  std::to_string(f.getVideoTotalFrames()) + ' ' + std::to_string(f.getVideoChunkSize()) + ' ' +
                  std::to_string(f.getRGB24VideoFrameSize()) + ' ' + std::to_string(f.getAudioTotalBytes()) + ' ' +
                  std::to_string(f.getAudioChunkSize()) + ' ' + std::to_string(f.getColormap().size()) + ' ' +
                  f.getVideoFourCC() + ' ';
  const std::uint64_t need = std::max<std::uint64_t>(f.getVideoChunkSize(), f.getRawVideoFrameSize(0));
  if (f.hasVideo() && need <= kMaxBuffer) {
    std::string frame(need, '\0');
    f.readVideoFrame(frame.data(), 0);
    s += std::to_string(f.getErrorCode()) + frame;
  }
  if (f.hasAudio()) {
    std::string audio(64, '\0');
    f.clearError();
    f.readAudio(audio.data(), audio.size());
    s += std::to_string(f.getErrorCode()) + audio;
  }
  return s;
}

void check(bool same) {
  if (!same) {
    std::fprintf(stderr, "avi_fuzz: a reused object differs from a new one\n");
    std::abort();
  }
}

// A small valid file of 16-bit top-down video, the second file of the reuse
// check: the flip flag and row scratch of one file must not reach the next.
std::vector<std::uint8_t> secondFile() {
  auto u32 = [](std::uint32_t v) {
    return std::string{static_cast<char>(v), static_cast<char>(v >> 8), static_cast<char>(v >> 16),
                       static_cast<char>(v >> 24)};
  };
  auto chunk = [&](const std::string& id, const std::string& body) { return id + u32(body.size()) + body; };
  auto list = [&](const std::string& type, const std::string& body) { return "LIST" + u32(body.size() + 4) + type + body; };
  const std::string avih = chunk("avih", u32(0) + u32(0) + u32(0) + u32(0x10) + u32(2) + u32(0) + u32(1) +
                                             std::string(36, '\0'));
  const std::string strh = chunk("strh", "vids" + std::string(16, '\0') + u32(1) + u32(5) + u32(0) + u32(2) +
                                             std::string(20, '\0'));
  const std::string strf = chunk("strf", u32(40) + u32(3) + u32(static_cast<std::uint32_t>(-2)) + "\1\0\x10\0" +
                                             std::string(24, '\0'));
  std::string frame0, frame1;
  for (int i = 0; i < 16; ++i) frame0 += static_cast<char>(i), frame1 += static_cast<char>(100 + i);
  const std::string movi = list("movi", chunk("00db", frame0) + chunk("00db", frame1));
  const std::string idx1 = chunk("idx1", "00db" + u32(0) + u32(4) + u32(16) + "00db" + u32(0) + u32(28) + u32(16));
  const std::string body = "AVI " + list("hdrl", avih + list("strl", strh + strf)) + movi + idx1;
  const std::string file = "RIFF" + u32(body.size()) + body;
  return std::vector<std::uint8_t>(file.begin(), file.end());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The reader takes a path: the input lives in an anonymous memory file.
  static MemFile input, other;
  static const bool otherReady = [] {
    const std::vector<std::uint8_t> bytes = secondFile();
    return other.set(bytes.data(), bytes.size());
  }();
  if (!otherReady || !input.set(data, size)) {
    return 0;
  }
  static const std::string expectedOther = [] {
    avi::File clean;
    clean.open(other.path(), "r");
    return summary(clean);
  }();
  try {
    avi::File fresh;
    fresh.open(input.path(), "r");
    const std::string expected = summary(fresh);
    fresh.close();

    // Information first, then a full open on the same object.
    avi::File file;
    file.openToGetInformation(input.path());
    sink = file.getErrorCode();
    file.clearError();
    file.open(input.path(), "r");
    check(summary(file) == expected);
    readAll(file);

    // Then another file through the same object, against a new object.
    file.clearError();
    file.open(other.path(), "r");
    check(summary(file) == expectedOther);
    file.close();

    // Tolerant reading of the input, through the same object as well.
    file.setTolerantReading(true);
    file.clearError();
    file.open(input.path(), "r");
    readAll(file);
    file.close();
  } catch (const boost::numeric::positive_overflow&) {
    // Allowed to leave the reader: a chunk more than 4 GiB into 'movi'.
  }
  return 0;
}
