// Writing AVI files from the command: pixel packing for each depth, the
// palette of 8-bit output, and a writer whose failures end the command.
#ifndef RIVULET_CLI_WRITER_H
#define RIVULET_CLI_WRITER_H

#include <string>
#include <vector>

#include "cli/common.h"

namespace cli {

// Bytes of one stored frame of the depth: rows padded to four bytes, except
// 32-bit rows, which need none.
std::size_t storedFrameBytes(unsigned width, unsigned height, unsigned bits);

// The 256-colour palette of 8-bit output: 3 bits of red, 3 of green, 2 of
// blue, each level spread evenly over 0..255.
std::vector<avi::tagRGBQUAD> palette332();

// Packs a bottom-up BGR frame (rows padded to four bytes) into the stored
// form of the depth: 8 (index into palette332, nearest level per component),
// 16 (x1R5G5B5, the low three bits dropped), 24 (as is), 32 (BGRA, alpha 255).
void packFrame(const unsigned char* bgr, unsigned width, unsigned height, unsigned bits, unsigned char* out);

// avi::File opened for writing; every stored failure or overflow is a
// one-line failure with exit code 3.
class Writer {
 public:
  Writer(const std::string& path, const Common& common);
  ~Writer();
  void video(unsigned width, unsigned height, double fps, unsigned bits);
  void audio(unsigned rate, unsigned bits, unsigned channels, unsigned chunkBytes);
  void frame(const unsigned char* data, std::size_t bytes);
  void audioChunk(const unsigned char* data);
  void close();

 private:
  void check();
  std::string path;
  avi::File file;
  bool open = false;
};

}  // namespace cli

#endif  // RIVULET_CLI_WRITER_H
