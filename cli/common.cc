#include "cli/common.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <algorithm>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace cli {

std::string aviFailure(const std::string& path, avi::File& file) {
  return path + ": error " + std::to_string(file.getErrorCode()) + ": " + file.getErrorMsg();
}

void failInput(const std::string& path, const std::string& what) { throw Failure(EXIT_INPUT, path + ": " + what); }
void failOutput(const std::string& path, const std::string& what) { throw Failure(EXIT_OUTPUT, path + ": " + what); }

namespace {
struct TypeName {
  const char* name;
  VideoDataType type;
};
constexpr TypeName kTypes[] = {
    {"double", VIDEO_DOUBLE}, {"single", VIDEO_SINGLE}, {"int8", VIDEO_INT8},
    {"uint8", VIDEO_UINT8},   {"int16", VIDEO_INT16},   {"uint16", VIDEO_UINT16},
    {"int32", VIDEO_INT32},   {"uint32", VIDEO_UINT32}, {"bool", VIDEO_BOOLEAN},
};

double now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}
}  // namespace

const char* const kVideoTypeNames = "double, single, int8, uint8, int16, uint16, int32, uint32, bool";

bool parseVideoType(const std::string& name, VideoDataType& type) {
  for (const TypeName& t : kTypes)
    if (name == t.name) {
      type = t.type;
      return true;
    }
  return false;
}

std::map<std::string, VideoDataType> videoTypeMap() {
  std::map<std::string, VideoDataType> names;
  for (const TypeName& t : kTypes) names[t.name] = t.type;
  return names;
}

std::map<std::string, VideoFrameOrientation> orderMap() {
  return {{"row", ORIENTATION_ROW_MAJOR}, {"column", ORIENTATION_COLUMN_MAJOR}};
}

const char* videoTypeName(VideoDataType type) {
  for (const TypeName& t : kTypes)
    if (t.type == type) return t.name;
  return "?";
}

void openForReading(avi::File& file, const std::string& path, const Common& common) {
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) failInput(path, std::strerror(errno));
  if (S_ISDIR(st.st_mode)) failInput(path, "is a directory");
  file.setTolerantReading(common.tolerant);
  file.open(path.c_str(), "r");
  if (file.getErrorCode() != 0) throw Failure(EXIT_INPUT, aviFailure(path, file));
}

void checkFrameGeometry(avi::File& file, const std::string& path) {
  if (!file.hasVideo()) failInput(path, "has no video stream");
  const std::uint64_t w = file.getVideoWidth(), h = file.getVideoHeight();
  const std::uint64_t bits = std::max(8u, file.getVideoBitsPerPixel());
  struct stat st;
  const std::uint64_t fileBytes = ::stat(path.c_str(), &st) == 0 ? std::uint64_t(st.st_size) : 0;
  if (w == 0 || h == 0 || w * h > kMaxPixels ||
      (file.getVideoTotalFrames() != 0 && ((w * bits / 8 + 3) & ~std::uint64_t(3)) * h > fileBytes))
    failInput(path, "frame size " + std::to_string(w) + "x" + std::to_string(h) + " at " +
                        std::to_string(file.getVideoBitsPerPixel()) + " bits is out of range for the file");
}

void checkOutput(const std::string& path, const Common& common) {
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) return;
  if (S_ISDIR(st.st_mode)) failOutput(path, "is a directory");
  if (!common.overwrite) failOutput(path, "already exists (use -y to overwrite)");
}

std::FILE* createOutput(const std::string& path, const Common& common) {
  int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (common.overwrite ? O_TRUNC : O_EXCL);
  int fd = ::open(path.c_str(), flags, 0666);
  if (fd < 0) {
    if (errno == EEXIST) failOutput(path, "already exists (use -y to overwrite)");
    failOutput(path, std::strerror(errno));
  }
  std::FILE* out = ::fdopen(fd, "wb");
  if (out == nullptr) {
    ::close(fd);
    failOutput(path, std::strerror(errno));
  }
  return out;
}

void writeAll(std::FILE* out, const void* data, std::size_t bytes, const std::string& path) {
  if (bytes != 0 && std::fwrite(data, 1, bytes, out) != bytes) {
    int e = errno;
    std::fclose(out);
    failOutput(path, std::string("write failed: ") + std::strerror(e));
  }
}

void closeOutput(std::FILE* out, const std::string& path) {
  if (std::fclose(out) != 0) failOutput(path, std::string("write failed: ") + std::strerror(errno));
}

bool samePath(const std::string& a, const std::string& b) {
  struct stat sa, sb;
  return ::stat(a.c_str(), &sa) == 0 && ::stat(b.c_str(), &sb) == 0 && sa.st_dev == sb.st_dev &&
         sa.st_ino == sb.st_ino;
}

Progress::Progress(const Common& common, const char* unit, std::uint64_t total)
    : active(!common.quiet && ::isatty(STDERR_FILENO)), unit(unit), total(total), start(now()), last(0) {}

void Progress::step(std::uint64_t d) {
  done = d;
  if (!active) return;
  double t = now();
  if (t - last < 0.1 && done != total) return;
  last = t;
  double rate = done / std::max(t - start, 1e-9);
  if (total != 0) {
    double left = rate > 0 ? (total - done) / rate : 0;
    std::fprintf(stderr, "\r%llu/%llu %s  %.1f/s  %.0f s left   ", (unsigned long long)done,
                 (unsigned long long)total, unit, rate, left);
  } else {
    std::fprintf(stderr, "\r%llu %s  %.1f/s   ", (unsigned long long)done, unit, rate);
  }
}

void Progress::finish() {
  if (active && last != 0) std::fputc('\n', stderr);
}

void addTolerantFlag(CLI::App& sub, Common& common) {
  sub.add_flag("--tolerant", common.tolerant,
               "Also read files that common writers make outside the strict rules (streamed, cut short, "
               "absolute idx1 offsets, ...)");
}

}  // namespace cli
