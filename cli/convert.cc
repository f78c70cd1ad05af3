// rivulet convert: every frame through the conversion selectors (packed BGR
// to planes of a sample type and back) into a new AVI file of a chosen
// depth; the audio is carried over unchanged.
#include <CLI/CLI.hpp>

#include "cli/commands.h"
#include "cli/writer.h"

namespace cli {
namespace {

struct ConvertOptions {
  std::string input, output;
  unsigned bits = 24;
  VideoDataType via = VIDEO_UINT8;
  VideoFrameOrientation order = ORIENTATION_ROW_MAJOR;
};

const std::size_t kSampleBytes[] = {8, 4, 1, 1, 2, 2, 4, 4, 1};

}  // namespace

int runConvert(const ConvertOptions& o, const Common& common) {
  if (samePath(o.input, o.output)) failOutput(o.output, "is the input file");
  checkOutput(o.output, common);
  avi::File in;
  openForReading(in, o.input, common);
  checkFrameGeometry(in, o.input);
  const unsigned w = in.getVideoWidth(), h = in.getVideoHeight();
  const std::uint64_t vRate = in.getVideoStreamRate(), vScale = in.getVideoStreamScale();
  if (vRate == 0 || vScale == 0) failInput(o.input, "has no frame rate");

  VideoInputFcn toPlanes = MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, o.via, false);
  VideoOutputFcn fromPlanes = MM_GetVideoOutputFcn(FOURCC_RGB, FOURCC_RGB, o.via);
  if (!toPlanes || !fromPlanes) throw Failure(EXIT_USAGE, std::string("no conversion through ") + videoTypeName(o.via));

  // Audio: one chunk a frame, the periods of a frame rounded up; the last
  // chunk is filled up with what the reader gives past the end (zeros).
  const bool audio = in.hasAudio() && !in.isAudioCompressed();
  const unsigned aRate = in.getAudioSampleRate(), aBits = in.getAudioBitsPerSample();
  const unsigned channels = in.getAudioNumberOfChannels();
  const std::uint64_t blockAlign = std::uint64_t(channels) * (aBits / 8);
  std::uint64_t chunkBytes = 0, chunks = 0;
  if (audio && blockAlign) {
    chunkBytes = (std::uint64_t(aRate) * vScale + vRate - 1) / vRate * blockAlign;
    if (chunkBytes == 0 || chunkBytes > (1u << 30)) failInput(o.input, "audio rate out of range");
    chunks = (in.getAudioTotalBytes() + chunkBytes - 1) / chunkBytes;
  }

  Writer out(o.output, common);
  out.video(w, h, double(vRate) / vScale, o.bits);
  if (chunks) out.audio(aRate, aBits, channels, unsigned(chunkBytes));

  const std::uint64_t total = in.getVideoTotalFrames();
  const std::size_t pixels = total ? std::size_t(w) * h : 0, sample = kSampleBytes[o.via];
  std::vector<unsigned char> frame(total ? rgb24Buffer(in) : 0);
  std::vector<unsigned char> planes(3 * pixels * sample), bgr(total ? bgrStride(w) * h : 0, 0),
      stored(total ? storedFrameBytes(w, h, o.bits) : 0), sound(chunkBytes);
  auto writeSound = [&](std::uint64_t chunk) {
    if (chunk >= chunks) return;
    in.readAudio(reinterpret_cast<char*>(sound.data()), chunkBytes);
    if (in.getErrorCode() != 0) throw Failure(EXIT_INPUT, aviFailure(o.input, in));
    out.audioChunk(sound.data());
  };

  Progress progress(common, "frames", total);
  for (std::uint64_t n = 0; n < total; ++n) {
    in.readRGB24VideoFrame(reinterpret_cast<char*>(frame.data()), static_cast<long long>(n));
    if (in.getErrorCode() != 0)
      throw Failure(EXIT_INPUT, o.input + ": frame " + std::to_string(n) + ": error " +
                                    std::to_string(in.getErrorCode()) + ": " + in.getErrorMsg());
    unsigned char* p = planes.data();
    toPlanes(frame.data(), p, p + pixels * sample, p + 2 * pixels * sample, int(w), int(h), o.order);
    fromPlanes(p, p + pixels * sample, p + 2 * pixels * sample, bgr.data(), int(w), int(h), o.order);
    if (o.bits == 24) {
      out.frame(bgr.data(), bgr.size());
    } else {
      packFrame(bgr.data(), w, h, o.bits, stored.data());
      out.frame(stored.data(), stored.size());
    }
    writeSound(n);
    progress.step(n + 1);
  }
  for (std::uint64_t c = total; c < chunks; ++c) writeSound(c);
  out.close();
  progress.finish();
  return EXIT_DONE;
}

void addConvert(CLI::App& app, Common& common, int& status) {
  auto o = std::make_shared<ConvertOptions>();
  CLI::App* sub = app.add_subcommand(
      "convert", "Convert every frame to planes of a sample type and back, into a new AVI file of a chosen depth");
  sub->add_option("input", o->input, "AVI file to read")->required();
  sub->add_option("output", o->output, "AVI file to write")->required();
  sub->add_option("--bits", o->bits, "Bits per pixel of the output; 8 uses a 3-3-2 colour palette")
      ->check(CLI::IsMember({8u, 16u, 24u, 32u}))
      ->capture_default_str();
  sub->add_option("--via", o->via, std::string("Sample type of the planes: ") + kVideoTypeNames)
      ->transform(CLI::CheckedTransformer(videoTypeMap()))
      ->option_text("TYPE (default uint8)");
  sub->add_option("--order", o->order, "Plane order: row or column")
      ->transform(CLI::CheckedTransformer(orderMap()))
      ->option_text("row|column (default row)");
  addTolerantFlag(*sub, common);
  sub->callback([o, &common, &status] { status = runConvert(*o, common); });
}

}  // namespace cli
