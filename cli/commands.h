// The subcommands: each adds itself to the command line and has a run
// function that the demo calls too.
#ifndef RIVULET_CLI_COMMANDS_H
#define RIVULET_CLI_COMMANDS_H

#include <string>
#include <vector>

#include "cli/common.h"

namespace CLI {
class App;
}

namespace cli {

struct InfoOptions {
  std::vector<std::string> files;
  bool json = false;
};

enum class ImageFormat { PNG, PPM, NPY };

struct FramesOptions {
  std::string input;
  std::string directory;
  std::uint64_t first = 0;
  std::uint64_t count = UINT64_MAX;
  std::uint64_t every = 1;
  ImageFormat format = ImageFormat::PNG;
  VideoDataType type = VIDEO_UINT8;
  VideoFrameOrientation order = ORIENTATION_ROW_MAJOR;
};

struct AudioOptions {
  std::string input;
  std::string output;
  double firstSecond = 0;
  double seconds = -1;  // below 0: to the end
};

int runInfo(const InfoOptions& o, const Common& common);
int runFrames(const FramesOptions& o, const Common& common);
int runAudio(const AudioOptions& o, const Common& common);
// A test file of frames frames at num/den frames a second; rate 0: no sound.
int runMake(const std::string& output, unsigned width, unsigned height, std::uint64_t num, std::uint64_t den,
            std::uint64_t frames, unsigned bits, unsigned rate, unsigned channels, const Common& common);

// Each sets status to its exit code when its subcommand ran.
void addInfo(CLI::App& app, Common& common, int& status);
void addFrames(CLI::App& app, Common& common, int& status);
void addAudio(CLI::App& app, Common& common, int& status);
void addMake(CLI::App& app, Common& common, int& status);
void addConvert(CLI::App& app, Common& common, int& status);
void addDemo(CLI::App& app, Common& common, int& status);

}  // namespace cli

#endif  // RIVULET_CLI_COMMANDS_H
