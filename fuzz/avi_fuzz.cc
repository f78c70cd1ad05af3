// Fuzz target of the AVI reader: opens the input as a file, reads every frame
// in the three read forms, by number and in sequence, and all the audio,
// asking for the error code after each call.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <boost/numeric/conversion/cast.hpp>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "rivulet/avi.h"

namespace {

// Buffers the harness is willing to give one frame; a file that asks for more
// is read up to its headers only.
constexpr std::uint64_t kMaxBuffer = 16u << 20;
constexpr std::uint64_t kMaxFrames = 512;
constexpr std::uint64_t kMaxAudioBytes = 1u << 20;

volatile unsigned int sink;

void readAll(avi::File& file) {
  sink = file.getErrorCode();
  sink = file.getVideoWidth() + file.getVideoHeight() + file.getVideoBitsPerPixel();
  sink = static_cast<unsigned int>(file.getVideoFourCC().size() + file.getColormap().size());
  if (file.hasVideo()) {
    const std::uint64_t frames = std::min<std::uint64_t>(file.getVideoTotalFrames(), kMaxFrames);
    std::uint64_t need = std::max<std::uint64_t>(
        {file.getRGB24VideoFrameSize(), file.getIndexedVideoFrameSize(), file.getVideoChunkSize()});
    if (file.isVideoCompressed()) {
      for (std::uint64_t n = 0; n < frames; ++n) {
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
        for (std::uint64_t n = 0; n <= frames && !file.isEndOfVideo(); ++n) {
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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The reader takes a path: the input lives in an anonymous memory file.
  const int fd = memfd_create("avi", 0);
  if (fd < 0) {
    return 0;
  }
  std::size_t written = 0;
  while (written < size) {
    const ssize_t n = write(fd, data + written, size - written);
    if (n <= 0) {
      break;
    }
    written += static_cast<std::size_t>(n);
  }
  char path[64];
  std::snprintf(path, sizeof path, "/proc/self/fd/%d", fd);
  try {
    avi::File info;
    info.openToGetInformation(path);
    sink = info.getErrorCode();
    avi::File file;
    file.open(path, "r");
    readAll(file);
    file.close();
  } catch (const boost::numeric::positive_overflow&) {
    // Allowed to leave the reader: a chunk more than 4 GiB into 'movi'.
  }
  ::close(fd);
  return 0;
}
