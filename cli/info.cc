// rivulet info: what a file holds, as text or as ffprobe-shaped JSON.
#include <cmath>
#include <cstdio>
#include <iostream>
#include <numeric>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "cli/layout.h"

namespace cli {
namespace {

std::string ratio(std::uint64_t num, std::uint64_t den) {
  std::uint64_t g = std::gcd(num, den);
  if (g == 0) g = 1;
  return std::to_string(num / g) + "/" + std::to_string(den / g);
}

std::string seconds(double s) {
  char text[64];
  std::snprintf(text, sizeof text, "%.6f", s);
  return text;
}

const char* pixelFormat(avi::File& file) {
  std::string fourcc = file.getVideoFourCC();
  if (fourcc == "YUY2" || fourcc == "YUYV") return "yuyv422";
  if (fourcc == "Y800" || fourcc == "GREY") return "gray";
  switch (file.getVideoBitsPerPixel()) {
    case 8: return file.getColormap().empty() ? "gray" : "pal8";
    case 16: return "rgb555le";
    case 24: return "bgr24";
    case 32: return "bgra";
    default: return "unknown";
  }
}

struct Audio {
  const char* codec;
  const char* sampleFormat;
};

Audio audioFormat(avi::File& file) {
  if (file.isAudioCompressed()) return {"unknown", "unknown"};
  switch (file.getAudioBitsPerSample()) {
    case 8: return {"pcm_u8", "u8"};
    case 16: return {"pcm_s16le", "s16"};
    case 24: return {"pcm_s24le", "s32"};
    case 32: return {"pcm_s32le", "s32"};
    default: return {"unknown", "unknown"};
  }
}

std::string fourccText(const std::string& fourcc) {
  bool none = fourcc.empty() || fourcc.find_first_not_of(std::string(1, '\0')) == std::string::npos;
  return none ? "none (uncompressed)" : "'" + fourcc + "'";
}

// Facts both outputs draw on.
struct Facts {
  double fps = 0;
  std::uint64_t rate = 0, scale = 0, frames = 0;
  double videoSeconds = 0;
  std::uint64_t audioBytes = 0, blockAlign = 0;
  double audioSeconds = 0;
};

Facts gather(avi::File& file) {
  Facts f;
  if (file.hasVideo()) {
    f.rate = file.getVideoStreamRate();
    f.scale = file.getVideoStreamScale();
    f.frames = file.getVideoTotalFrames();
    f.fps = f.scale ? double(f.rate) / f.scale : 0;
    f.videoSeconds = f.rate ? double(f.frames) * f.scale / f.rate : 0;
  }
  if (file.hasAudio()) {
    f.audioBytes = file.getAudioTotalBytes();
    f.blockAlign = std::uint64_t(file.getAudioNumberOfChannels()) * (file.getAudioBitsPerSample() / 8);
    double bytesPerSecond = double(f.blockAlign) * file.getAudioSampleRate();
    f.audioSeconds = bytesPerSecond > 0 ? f.audioBytes / bytesPerSecond : 0;
  }
  return f;
}

nlohmann::ordered_json toJson(const std::string& path, avi::File& file, const Layout& layout) {
  Facts f = gather(file);
  nlohmann::ordered_json streams = nlohmann::ordered_json::array();
  if (file.hasVideo()) {
    nlohmann::ordered_json v;
    v["index"] = streams.size();
    v["codec_name"] = file.isVideoCompressed() ? "unknown" : "rawvideo";
    v["codec_type"] = "video";
    v["width"] = file.getVideoWidth();
    v["height"] = file.getVideoHeight();
    v["pix_fmt"] = pixelFormat(file);
    v["bits_per_pixel"] = file.getVideoBitsPerPixel();
    v["r_frame_rate"] = ratio(f.rate, f.scale);
    v["avg_frame_rate"] = ratio(f.rate, f.scale);
    v["duration"] = seconds(f.videoSeconds);
    v["nb_frames"] = std::to_string(f.frames);
    streams.push_back(v);
  }
  if (file.hasAudio()) {
    Audio a = audioFormat(file);
    nlohmann::ordered_json s;
    s["index"] = streams.size();
    s["codec_name"] = a.codec;
    s["codec_type"] = "audio";
    s["sample_fmt"] = a.sampleFormat;
    s["sample_rate"] = std::to_string(file.getAudioSampleRate());
    s["channels"] = file.getAudioNumberOfChannels();
    s["bits_per_sample"] = file.getAudioBitsPerSample();
    s["r_frame_rate"] = "0/0";
    s["avg_frame_rate"] = "0/0";
    s["duration"] = seconds(f.audioSeconds);
    if (f.blockAlign) s["nb_frames"] = std::to_string(f.audioBytes / f.blockAlign);
    streams.push_back(s);
  }
  nlohmann::ordered_json j;
  j["streams"] = streams;
  j["format"] = {{"filename", path},
                 {"nb_streams", streams.size()},
                 {"format_name", "avi"},
                 {"duration", seconds(std::max(f.videoSeconds, f.audioSeconds))},
                 {"size", std::to_string(layout.size)}};
  nlohmann::ordered_json r;
  r["index"] = layout.indexKind();
  r["segments"] = layout.segments;
  r["top_down"] = layout.topDown;
  r["colormap_entries"] = file.getColormap().size();
  r["audio_bytes"] = f.audioBytes;
  r["error_code"] = file.getErrorCode();
  r["error_message"] = file.getErrorMsg();
  j["rivulet"] = r;
  return j;
}

void printText(const std::string& path, avi::File& file, const Layout& layout) {
  Facts f = gather(file);
  std::printf("%s: %u RIFF segment%s, index: %s, %llu bytes\n", path.c_str(), layout.segments,
              layout.segments == 1 ? "" : "s", layout.indexKind(), (unsigned long long)layout.size);
  if (file.hasVideo()) {
    std::printf("  video: %ux%u, %u bits per pixel, %s, compression %s\n", file.getVideoWidth(),
                file.getVideoHeight(), file.getVideoBitsPerPixel(), layout.topDown ? "top-down" : "bottom-up",
                fourccText(file.getVideoFourCC()).c_str());
    std::printf("         %s fps (%.6f), %llu frames, %.3f s", ratio(f.rate, f.scale).c_str(), f.fps,
                (unsigned long long)f.frames, f.videoSeconds);
    std::size_t colors = file.getColormap().size();
    if (colors) std::printf(", %zu colormap entries", colors);
    std::printf("\n");
  }
  if (file.hasAudio()) {
    std::printf("  audio: %s, %u Hz, %u channel%s, %u bits, %llu bytes, %.3f s\n",
                file.isAudioCompressed() ? "compressed" : "PCM", file.getAudioSampleRate(),
                file.getAudioNumberOfChannels(), file.getAudioNumberOfChannels() == 1 ? "" : "s",
                file.getAudioBitsPerSample(), (unsigned long long)f.audioBytes, f.audioSeconds);
  }
  if (file.getErrorCode() != 0) std::printf("  error %u: %s\n", file.getErrorCode(), file.getErrorMsg());
}

}  // namespace

int runInfo(const InfoOptions& o, const Common& common) {
  int status = EXIT_DONE;
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  for (const std::string& path : o.files) {
    avi::File file;
    file.setTolerantReading(common.tolerant);
    file.open(path.c_str(), "r");
    bool failed = file.getErrorCode() != 0;
    if (failed) {
      std::fflush(stdout);
      std::fprintf(stderr, "rivulet: %s\n", aviFailure(path, file).c_str());
      status = EXIT_INPUT;
    }
    // A file that did not even open has nothing more to tell.
    if (failed && !file.hasVideo() && !file.hasAudio() && !o.json) continue;
    Layout layout = readLayout(path);
    if (o.json)
      all.push_back(toJson(path, file, layout));
    else
      printText(path, file, layout);
  }
  if (o.json) std::cout << (all.size() == 1 ? all[0] : all).dump(4) << std::endl;
  return status;
}

void addInfo(CLI::App& app, Common& common, int& status) {
  auto o = std::make_shared<InfoOptions>();
  CLI::App* sub = app.add_subcommand("info", "Show the streams, format, index and stored failure of AVI files");
  sub->add_option("files", o->files, "AVI files")->required();
  sub->add_flag("--json", o->json, "One ffprobe-shaped JSON object per file (an array for several files)");
  addTolerantFlag(*sub, common);
  sub->callback([o, &common, &status] { status = runInfo(*o, common); });
}

}  // namespace cli
