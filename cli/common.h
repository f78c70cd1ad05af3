// Shared pieces of the rivulet command: failures with their exit codes, the
// sample type names, output files that are never overwritten by accident,
// and progress on a watching terminal.
#ifndef RIVULET_CLI_COMMON_H
#define RIVULET_CLI_COMMON_H

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <map>
#include <stdexcept>
#include <string>

#include <rivulet/rivulet.h>

namespace CLI {
class App;
}

namespace cli {

// Exit codes of the command.
enum Exit { EXIT_DONE = 0, EXIT_USAGE = 1, EXIT_INPUT = 2, EXIT_OUTPUT = 3 };

// A failure that ends the command: one line on stderr, then the exit code.
struct Failure : std::runtime_error {
  Failure(Exit code, const std::string& line) : std::runtime_error(line), code(code) {}
  Exit code;
};

// "FILE: error N: message" from the stored failure of an avi::File.
std::string aviFailure(const std::string& path, avi::File& file);
[[noreturn]] void failInput(const std::string& path, const std::string& what);
[[noreturn]] void failOutput(const std::string& path, const std::string& what);

// Options every subcommand shares.
struct Common {
  bool quiet = false;
  bool overwrite = false;  // -y
  bool tolerant = false;   // --tolerant: avi::File's tolerant reading
};

// The sample type names every subcommand takes.
bool parseVideoType(const std::string& name, VideoDataType& type);
const char* videoTypeName(VideoDataType type);
extern const char* const kVideoTypeNames;  // "double, single, ..." for --help
// Name -> value maps for CLI11 transformers.
std::map<std::string, VideoDataType> videoTypeMap();
std::map<std::string, VideoFrameOrientation> orderMap();

// Opens an AVI file for reading; a stored failure ends the command (code 2).
void openForReading(avi::File& file, const std::string& path, const Common& common);
// Adds --tolerant (read what common writers make; see avi::File::setTolerantReading).
void addTolerantFlag(CLI::App& sub, Common& common);

// Ends the command (code 2) when the frame geometry of an open file is out of
// range, or when the file has frames and one would be larger than the whole
// file (a file without frames gets no frame buffers): sizes
// that drive the command's buffers come from the header and are checked
// before anything is allocated.
void checkFrameGeometry(avi::File& file, const std::string& path);

// Refuses an existing output unless overwrite is set (code 3).
void checkOutput(const std::string& path, const Common& common);
// fopen for writing that honours the overwrite rule atomically.
std::FILE* createOutput(const std::string& path, const Common& common);
// Writes all bytes or ends the command with code 3.
void writeAll(std::FILE* out, const void* data, std::size_t bytes, const std::string& path);
void closeOutput(std::FILE* out, const std::string& path);
bool samePath(const std::string& a, const std::string& b);

// Frames done, rate and time left, on stderr while a terminal watches.
class Progress {
 public:
  Progress(const Common& common, const char* unit, std::uint64_t total);
  void step(std::uint64_t done);
  void finish();

 private:
  bool active;
  const char* unit;
  std::uint64_t total;
  double start;
  double last;
  std::uint64_t done = 0;
};

// Bottom-up BGR rows padded to four bytes, as the reader and writer keep them.
inline std::size_t bgrStride(unsigned width) { return (3 * std::size_t(width) + 3) & ~std::size_t(3); }

// Bytes for one frame read by readRGB24VideoFrame and then handed to the
// packed-BGR routines: what the reader asks for, and never less than the
// padded 24-bit frame of the header's width and height.
inline std::size_t rgb24Buffer(avi::File& file) {
  return std::max<std::size_t>({file.getRGB24VideoFrameSize(), file.getVideoChunkSize(),
                                bgrStride(file.getVideoWidth()) * file.getVideoHeight()});
}

// The largest frame the command handles: room for the reader's largest frame
// and its planes in doubles within a few frames' worth of memory.
constexpr std::uint64_t kMaxPixels = std::uint64_t(1) << 26;

}  // namespace cli

#endif  // RIVULET_CLI_COMMON_H
