#include "cli/writer.h"

#include <sys/stat.h>

namespace cli {

std::size_t storedFrameBytes(unsigned width, unsigned height, unsigned bits) {
  if (bits == 32) return std::size_t(width) * height * 4;
  return ((std::size_t(width) * bits / 8 + 3) & ~std::size_t(3)) * height;
}

namespace {
// Nearest of 'levels' even steps over 0..255, rounding halves up.
unsigned level(unsigned value, unsigned levels) { return (value * (levels - 1) * 2 + 255) / 510; }
unsigned char levelValue(unsigned l, unsigned levels) { return static_cast<unsigned char>((l * 510 / (levels - 1) + 1) / 2); }
}  // namespace

std::vector<avi::tagRGBQUAD> palette332() {
  std::vector<avi::tagRGBQUAD> map(256);
  for (unsigned i = 0; i < 256; ++i)
    map[i] = {levelValue(i & 3, 4), levelValue((i >> 2) & 7, 8), levelValue(i >> 5, 8), 0};
  return map;
}

void packFrame(const unsigned char* bgr, unsigned width, unsigned height, unsigned bits, unsigned char* out) {
  const std::size_t inStride = bgrStride(width);
  const std::size_t outStride = storedFrameBytes(width, 1, bits);
  for (unsigned r = 0; r < height; ++r) {
    const unsigned char* in = bgr + r * inStride;
    unsigned char* o = out + r * outStride;
    switch (bits) {
      case 8:
        for (unsigned c = 0; c < width; ++c, in += 3)
          o[c] = static_cast<unsigned char>(level(in[2], 8) << 5 | level(in[1], 8) << 2 | level(in[0], 4));
        for (std::size_t p = width; p < outStride; ++p) o[p] = 0;
        break;
      case 16:
        for (unsigned c = 0; c < width; ++c, in += 3) {
          unsigned p = (in[2] >> 3) << 10 | (in[1] >> 3) << 5 | in[0] >> 3;
          o[2 * c] = static_cast<unsigned char>(p);
          o[2 * c + 1] = static_cast<unsigned char>(p >> 8);
        }
        for (std::size_t p = 2 * std::size_t(width); p < outStride; ++p) o[p] = 0;
        break;
      case 24:
        std::copy(in, in + outStride, o);
        break;
      case 32:
        for (unsigned c = 0; c < width; ++c, in += 3, o += 4) {
          o[0] = in[0];
          o[1] = in[1];
          o[2] = in[2];
          o[3] = 255;
        }
        break;
    }
  }
}

Writer::Writer(const std::string& path, const Common& common) : path(path) {
  checkOutput(path, common);
  file.open(path.c_str(), "w");
  open = true;
  check();
}

Writer::~Writer() {
  if (open) file.close();
}

void Writer::check() {
  if (file.getErrorCode() != 0) throw Failure(EXIT_OUTPUT, aviFailure(path, file));
}

void Writer::video(unsigned width, unsigned height, double fps, unsigned bits) {
  file.setVideoInfo(width, height, fps, "", bits);
  check();
  if (bits == 8) {
    file.setColormap(palette332());
    check();
  }
}

void Writer::audio(unsigned rate, unsigned bits, unsigned channels, unsigned chunkBytes) {
  file.setAudioInfo(rate, bits, channels, chunkBytes);
  check();
}

void Writer::frame(const unsigned char* data, std::size_t bytes) {
  try {
    file.writeVideoFrame(const_cast<char*>(reinterpret_cast<const char*>(data)), static_cast<unsigned>(bytes));
  } catch (const std::exception& e) {
    throw Failure(EXIT_OUTPUT, path + ": " + e.what());
  }
  check();
}

void Writer::audioChunk(const unsigned char* data) {
  try {
    file.writeAudio(const_cast<char*>(reinterpret_cast<const char*>(data)));
  } catch (const std::exception& e) {
    throw Failure(EXIT_OUTPUT, path + ": " + e.what());
  }
  check();
}

void Writer::close() {
  open = false;
  try {
    file.close();
  } catch (const std::exception& e) {
    throw Failure(EXIT_OUTPUT, path + ": " + e.what());
  }
  check();
}

}  // namespace cli
