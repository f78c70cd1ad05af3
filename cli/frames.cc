// rivulet frames: pictures of a file as PNG, PPM or NumPy planes, one file a
// frame, streamed one frame at a time.
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <map>

#include <CLI/CLI.hpp>

#include "cli/commands.h"
#include "cli/image.h"

namespace cli {
namespace {

void makeDirectory(const std::string& path) {
  if (::mkdir(path.c_str(), 0777) == 0 || errno == EEXIST) {
    struct stat st;
    if (::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) return;
    failOutput(path, "is not a directory");
  }
  failOutput(path, std::strerror(errno));
}

std::string frameName(const std::string& directory, std::uint64_t frame, const char* extension) {
  char name[64];
  std::snprintf(name, sizeof name, "/frame_%06llu.%s", (unsigned long long)frame, extension);
  return directory + name;
}

}  // namespace

int runFrames(const FramesOptions& o, const Common& common) {
  avi::File file;
  openForReading(file, o.input, common);
  checkFrameGeometry(file, o.input);
  const unsigned w = file.getVideoWidth(), h = file.getVideoHeight();
  makeDirectory(o.directory);

  VideoInputFcn toPlanes = nullptr;
  std::size_t sampleBytes = 1;
  if (o.format == ImageFormat::NPY) {
    toPlanes = MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, o.type, false);
    if (toPlanes == nullptr) throw Failure(EXIT_USAGE, std::string("no conversion to ") + videoTypeName(o.type));
    static const std::size_t sizes[] = {8, 4, 1, 1, 2, 2, 4, 4, 1};
    sampleBytes = sizes[o.type];
  }
  const std::uint64_t total = file.getVideoTotalFrames();
  std::uint64_t wanted = o.first < total ? (total - o.first + o.every - 1) / o.every : 0;
  wanted = std::min(wanted, o.count);
  if (wanted == 0) return EXIT_DONE;
  const std::size_t pixels = std::size_t(w) * h;
  std::vector<unsigned char> frame(rgb24Buffer(file));
  std::vector<unsigned char> out(o.format == ImageFormat::NPY ? 3 * pixels * sampleBytes : 3 * pixels);
  std::string npyHead;
  if (o.format == ImageFormat::NPY) {
    // Row-major planes are a C-order (3, h, w) array; column-major planes,
    // element (r, c) of plane p at p*h*w + c*h + r, are a Fortran-order (h, w, 3).
    bool column = o.order != ORIENTATION_ROW_MAJOR;
    npyHead = npyHeader(npyType(o.type), column,
                        column ? std::vector<std::size_t>{h, w, 3} : std::vector<std::size_t>{3, h, w});
  }

  Progress progress(common, "frames", wanted);
  std::uint64_t done = 0;
  for (std::uint64_t n = o.first; done < wanted; n += o.every) {
    file.readRGB24VideoFrame(reinterpret_cast<char*>(frame.data()), static_cast<long long>(n));
    if (file.getErrorCode() != 0)
      throw Failure(EXIT_INPUT, o.input + ": frame " + std::to_string(n) + ": error " +
                                    std::to_string(file.getErrorCode()) + ": " + file.getErrorMsg());
    switch (o.format) {
      case ImageFormat::PNG:
        bgrBottomUpToRgb(frame.data(), w, h, out.data());
        writePng(frameName(o.directory, n, "png"), common, out.data(), w, h);
        break;
      case ImageFormat::PPM:
        bgrBottomUpToRgb(frame.data(), w, h, out.data());
        writePpm(frameName(o.directory, n, "ppm"), common, out.data(), w, h);
        break;
      case ImageFormat::NPY: {
        unsigned char* planes = out.data();
        const std::size_t plane = pixels * sampleBytes;
        toPlanes(frame.data(), planes, planes + plane, planes + 2 * plane, int(w), int(h), o.order);
        std::string path = frameName(o.directory, n, "npy");
        std::FILE* f = createOutput(path, common);
        writeAll(f, npyHead.data(), npyHead.size(), path);
        writeAll(f, planes, out.size(), path);
        closeOutput(f, path);
        break;
      }
    }
    progress.step(++done);
  }
  progress.finish();
  return EXIT_DONE;
}

void addFrames(CLI::App& app, Common& common, int& status) {
  auto o = std::make_shared<FramesOptions>();
  CLI::App* sub = app.add_subcommand("frames", "Write the pictures of an AVI file, top row first, one file a frame");
  sub->add_option("file", o->input, "AVI file")->required();
  sub->add_option("-o,--output", o->directory, "Directory for frame_NNNNNN files (made if missing)")->required();
  sub->add_option("--first", o->first, "First frame, counted from 0")->capture_default_str();
  sub->add_option("--count", o->count, "Frames to write at most");
  sub->add_option("--every", o->every, "Take every Nth frame")->check(CLI::PositiveNumber)->capture_default_str();
  sub->add_option("--format", o->format, "png, ppm, or npy (three planes of --type)")
      ->transform(CLI::CheckedTransformer(
          std::map<std::string, ImageFormat>{{"png", ImageFormat::PNG}, {"ppm", ImageFormat::PPM}, {"npy", ImageFormat::NPY}}))
      ->option_text("png|ppm|npy (default png)");
  sub->add_option("--type", o->type, std::string("Sample type of npy planes: ") + kVideoTypeNames)
      ->transform(CLI::CheckedTransformer(videoTypeMap()))
      ->option_text("TYPE (default uint8)");
  sub->add_option("--order", o->order, "npy plane order: row (C order) or column (Fortran order)")
      ->transform(CLI::CheckedTransformer(orderMap()))
      ->option_text("row|column (default row)");
  addTolerantFlag(*sub, common);
  sub->callback([o, &common, &status] { status = runFrames(*o, common); });
}

}  // namespace cli
