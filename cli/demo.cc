// rivulet demo: a short test file with sound, what info says of it, a few of
// its frames as PNG and its sound as WAV.
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include <CLI/CLI.hpp>

#include "cli/commands.h"

namespace cli {

int runDemo(const std::string& directory, const Common& common) {
  if (::mkdir(directory.c_str(), 0777) != 0 && errno != EEXIST) failOutput(directory, std::strerror(errno));
  const std::string avi = directory + "/demo.avi", wav = directory + "/demo.wav", frames = directory + "/frames";
  runMake(avi, 320, 240, 25, 1, 50, 24, 44100, 2, common);
  InfoOptions info;
  info.files = {avi};
  int status = runInfo(info, common);
  FramesOptions f;
  f.input = avi;
  f.directory = frames;
  f.every = 10;
  runFrames(f, common);
  AudioOptions a;
  a.input = avi;
  a.output = wav;
  runAudio(a, common);
  std::printf("\nmade %s (2 s of 320x240 at 25 fps, 44.1 kHz stereo tone)\n"
              "frames 0, 10, 20, 30, 40 as PNG in %s/\n"
              "its sound as %s\n"
              "next: rivulet info --json %s; rivulet convert %s out.avi --via double\n",
              avi.c_str(), frames.c_str(), wav.c_str(), avi.c_str(), avi.c_str());
  return status;
}

void addDemo(CLI::App& app, Common& common, int& status) {
  auto directory = std::make_shared<std::string>("rivulet-demo");
  CLI::App* sub = app.add_subcommand("demo", "Make a short test file, show its info, extract frames and sound");
  sub->add_option("dir", *directory, "Directory for the demo files")->capture_default_str();
  sub->callback([directory, &common, &status] { status = runDemo(*directory, common); });
}

}  // namespace cli
