// rivulet audio: the audio stream of a file as a WAV file, bytes as stored.
#include <cmath>

#include <CLI/CLI.hpp>

#include "cli/commands.h"

namespace cli {
namespace {

void put16(std::string& s, std::uint32_t v) {
  s += char(v & 0xFF);
  s += char((v >> 8) & 0xFF);
}
void put32(std::string& s, std::uint32_t v) {
  put16(s, v & 0xFFFF);
  put16(s, v >> 16);
}

// A canonical 44-byte PCM header.
std::string wavHeader(unsigned channels, unsigned rate, unsigned bits, std::uint32_t dataBytes) {
  const unsigned blockAlign = channels * (bits / 8);
  std::string h = "RIFF";
  put32(h, 36 + dataBytes + (dataBytes & 1));
  h += "WAVEfmt ";
  put32(h, 16);
  put16(h, 1);
  put16(h, channels);
  put32(h, rate);
  put32(h, rate * blockAlign);
  put16(h, blockAlign);
  put16(h, bits);
  h += "data";
  put32(h, dataBytes);
  return h;
}

}  // namespace

int runAudio(const AudioOptions& o, const Common& common) {
  if (samePath(o.input, o.output)) failOutput(o.output, "is the input file");
  avi::File file;
  openForReading(file, o.input, common);
  if (!file.hasAudio()) failInput(o.input, "has no audio stream");
  if (file.isAudioCompressed()) failInput(o.input, "error 32: Compressed audio streams are not supported");
  const unsigned channels = file.getAudioNumberOfChannels(), bits = file.getAudioBitsPerSample();
  const unsigned rate = file.getAudioSampleRate();
  const std::uint64_t blockAlign = std::uint64_t(channels) * (bits / 8);
  if (blockAlign == 0 || blockAlign > 0xFFFF || bits % 8 != 0)
    failInput(o.input, "audio of " + std::to_string(channels) + " channels at " + std::to_string(bits) +
                           " bits cannot be written as WAV");
  const std::uint64_t total = file.getAudioTotalBytes() / blockAlign;  // sample periods
  // Whole periods from floor(seconds * rate), clamped to the stream before
  // any conversion to an integer.
  auto periodsIn = [&](double seconds, std::uint64_t limit) {
    double p = std::floor(seconds * rate);
    return p >= double(limit) ? limit : std::uint64_t(p);
  };
  const std::uint64_t first = periodsIn(o.firstSecond, total);
  std::uint64_t periods = total - first;
  if (o.seconds >= 0) periods = periodsIn(o.seconds, periods);
  const std::uint64_t bytes = periods * blockAlign;
  if (bytes > 0xFFFFFFFFull - 36) failOutput(o.output, "more than 4 GiB of audio does not fit a WAV file");

  std::FILE* out = createOutput(o.output, common);
  std::string head = wavHeader(channels, rate, bits, std::uint32_t(bytes));
  writeAll(out, head.data(), head.size(), o.output);
  // Whole sample periods a block, about a megabyte each.
  std::vector<char> block(std::max<std::uint64_t>(1, (1u << 20) / blockAlign) * blockAlign);
  Progress progress(common, "bytes", first * blockAlign + bytes);
  std::uint64_t skip = first * blockAlign, left = bytes, done = 0;
  while (skip + left > 0) {
    std::uint64_t n = std::min<std::uint64_t>(block.size(), skip ? skip : left);
    file.readAudio(block.data(), n);
    if (file.getErrorCode() != 0) {
      std::fclose(out);
      throw Failure(EXIT_INPUT, aviFailure(o.input, file));
    }
    if (skip) {
      skip -= n;
    } else {
      writeAll(out, block.data(), n, o.output);
      left -= n;
    }
    progress.step(done += n);
  }
  if (bytes & 1) writeAll(out, "", 1, o.output);
  progress.finish();
  closeOutput(out, o.output);
  return EXIT_DONE;
}

void addAudio(CLI::App& app, Common& common, int& status) {
  auto o = std::make_shared<AudioOptions>();
  CLI::App* sub = app.add_subcommand("audio", "Write the audio stream of an AVI file as a WAV file");
  sub->add_option("file", o->input, "AVI file")->required();
  sub->add_option("-o,--output", o->output, "WAV file to write")->required();
  sub->add_option("--first-second", o->firstSecond, "Start this many seconds in")->check(CLI::NonNegativeNumber);
  sub->add_option("--seconds", o->seconds, "Seconds to write at most (default: to the end)")
      ->check(CLI::NonNegativeNumber);
  addTolerantFlag(*sub, common);
  sub->callback([o, &common, &status] { status = runAudio(*o, common); });
}

}  // namespace cli
