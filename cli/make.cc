// rivulet make: a test file of moving colour bars with a frame counter and a
// tone, of any size and length, written one frame at a time.
#include <cmath>
#include <cstdio>
#include <charconv>

#include <CLI/CLI.hpp>

#include "cli/commands.h"
#include "cli/writer.h"

namespace cli {
namespace {

// Bar colours with components 0 or 248: multiples of eight, so every depth
// stores them exactly and all depths read back to the same picture.
constexpr unsigned char kBars[8][3] = {  // blue, green, red
    {248, 248, 248}, {0, 248, 248}, {248, 248, 0}, {0, 248, 0},
    {248, 0, 248},   {0, 0, 248},   {248, 0, 0},   {0, 0, 0}};

// Digits 0-9 in a 3 x 5 font, one row of three bits each, top row first.
constexpr unsigned char kDigits[10][5] = {{7, 5, 5, 5, 7}, {2, 6, 2, 2, 7}, {7, 1, 7, 4, 7}, {7, 1, 7, 1, 7},
                                          {5, 5, 7, 1, 1}, {7, 4, 7, 1, 7}, {7, 4, 7, 5, 7}, {7, 1, 1, 1, 1},
                                          {7, 5, 7, 5, 7}, {7, 5, 7, 1, 7}};

// Frame n: eight vertical bars moving left by 1/64 of the width a frame, and
// the frame number in white on black at the top left. Bottom-up BGR.
void drawFrame(std::uint64_t n, unsigned w, unsigned h, unsigned char* bgr) {
  const std::size_t stride = bgrStride(w);
  const std::uint64_t shift = n * std::max(1u, w / 64);
  unsigned char* row = bgr;  // draw the first stored row, copy it to the others
  for (unsigned c = 0; c < w; ++c) {
    const unsigned char* colour = kBars[((c + shift) % w) * 8 / w];
    std::copy(colour, colour + 3, row + 3 * c);
  }
  std::fill(row + 3 * std::size_t(w), row + stride, 0);
  for (unsigned r = 1; r < h; ++r) std::copy(row, row + stride, bgr + r * stride);

  const std::string digits = std::to_string(n);
  const unsigned scale = std::max(1u, h / 40);
  const unsigned boxW = (unsigned(digits.size()) * 4 + 1) * scale, boxH = 7 * scale;
  for (unsigned y = 0; y < std::min(boxH, h); ++y) {
    unsigned char* out = bgr + (h - 1 - y) * stride;  // picture row y
    for (unsigned x = 0; x < std::min(boxW, w); ++x) {
      unsigned gx = x / scale, gy = y / scale;
      bool on = false;
      if (gy >= 1 && gy <= 5 && gx >= 1 && (gx - 1) % 4 < 3) {
        unsigned d = (gx - 1) / 4;
        if (d < digits.size()) on = kDigits[digits[d] - '0'][gy - 1] >> (2 - (gx - 1) % 4) & 1;
      }
      std::fill(out + 3 * x, out + 3 * x + 3, on ? 248 : 0);
    }
  }
}

// A 440 Hz tone in the first channel, a fifth above in the others, at half
// of full scale; periods [first, first + count) of 16-bit samples.
void drawTone(std::uint64_t first, unsigned count, unsigned rate, unsigned channels, std::int16_t* out) {
  const double pi = 3.14159265358979323846;
  for (unsigned i = 0; i < count; ++i) {
    const double t = double(first + i) / rate;
    for (unsigned ch = 0; ch < channels; ++ch)
      out[i * channels + ch] = std::int16_t(std::lround(16383.0 * std::sin(2 * pi * (ch ? 660.0 : 440.0) * t)));
  }
}

// "A", or "A<sep>B" when sep is given: decimal numbers, nothing else. B
// keeps its value when absent.
bool parsePair(const std::string& text, char sep, std::uint64_t& a, std::uint64_t& b) {
  const char* end = text.data() + text.size();
  auto first = std::from_chars(text.data(), end, a);
  if (first.ec != std::errc() || first.ptr == text.data()) return false;
  if (first.ptr == end) return true;
  if (*first.ptr != sep || first.ptr + 1 == end) return false;
  auto second = std::from_chars(first.ptr + 1, end, b);
  return second.ec == std::errc() && second.ptr == end;
}

struct MakeOptions {
  std::string output;
  std::string size = "320x240";
  std::string fps = "25/1";
  double seconds = 2;
  std::uint64_t frames = 0;
  unsigned bits = 24;
  std::string audio = "44100:2";
};

}  // namespace

int runMake(const std::string& output, unsigned w, unsigned h, std::uint64_t num, std::uint64_t den,
            std::uint64_t frames, unsigned bits, unsigned rate, unsigned channels, const Common& common) {
  if (w == 0 || h == 0 || std::uint64_t(w) * h > kMaxPixels)
    throw Failure(EXIT_USAGE, "--size " + std::to_string(w) + "x" + std::to_string(h) + " is out of range");
  Writer out(output, common);
  const double fps = double(num) / den;
  out.video(w, h, fps, bits);
  // One audio chunk a frame: the periods of a frame, rounded up, so the sound
  // lasts at least as long as the pictures.
  const std::uint64_t perFrame = rate ? (std::uint64_t(rate) * den + num - 1) / num : 0;
  if (rate) {
    if (perFrame * channels * 2 > (1u << 30)) throw Failure(EXIT_USAGE, "audio chunk too large");
    out.audio(rate, 16, channels, unsigned(perFrame * channels * 2));
  }
  std::vector<unsigned char> bgr(bgrStride(w) * h), stored(storedFrameBytes(w, h, bits));
  std::vector<std::int16_t> tone(perFrame * channels);
  Progress progress(common, "frames", frames);
  for (std::uint64_t n = 0; n < frames; ++n) {
    drawFrame(n, w, h, bgr.data());
    if (bits == 24) {
      out.frame(bgr.data(), bgr.size());
    } else {
      packFrame(bgr.data(), w, h, bits, stored.data());
      out.frame(stored.data(), stored.size());
    }
    if (rate) {
      drawTone(n * perFrame, unsigned(perFrame), rate, channels, tone.data());
      out.audioChunk(reinterpret_cast<const unsigned char*>(tone.data()));
    }
    progress.step(n + 1);
  }
  out.close();
  progress.finish();
  return EXIT_DONE;
}

void addMake(CLI::App& app, Common& common, int& status) {
  auto o = std::make_shared<MakeOptions>();
  CLI::App* sub = app.add_subcommand("make", "Make a test AVI file: moving colour bars, a frame counter and a tone");
  sub->add_option("file", o->output, "AVI file to write")->required();
  sub->add_option("--size", o->size, "Frame size WxH")->capture_default_str();
  sub->add_option("--fps", o->fps, "Frame rate N/D or N")->capture_default_str();
  auto* seconds = sub->add_option("--seconds", o->seconds, "Length in seconds")->capture_default_str();
  auto* frames = sub->add_option("--frames", o->frames, "Length in frames");
  seconds->excludes(frames);
  sub->add_option("--bits", o->bits, "Bits per pixel")->check(CLI::IsMember({8u, 16u, 24u, 32u}))->capture_default_str();
  sub->add_option("--audio", o->audio, "16-bit tone at RATE[:CHANNELS], or 0 for none")->capture_default_str();
  sub->callback([o, frames, &common, &status] {
    std::uint64_t w = 0, h = 0, num = 0, den = 1, rate = 0, channels = 1;
    if (!parsePair(o->size, 'x', w, h) || h == 0 || w > 1000000 || h > 1000000)
      throw Failure(EXIT_USAGE, "--size: expected WxH, got " + o->size);
    if (!parsePair(o->fps, '/', num, den) || num == 0 || den == 0 || double(num) / den > 4000)
      throw Failure(EXIT_USAGE, "--fps: expected N/D or N above 0 and up to 4000, got " + o->fps);
    if (!parsePair(o->audio, ':', rate, channels) ||
        (rate != 0 && (rate < 1000 || rate > 768000 || channels == 0 || channels > 16)))
      throw Failure(EXIT_USAGE, "--audio: expected RATE[:CHANNELS] (1000-768000, 1-16 channels) or 0, got " + o->audio);
    const double length = frames->count() ? double(o->frames) : std::round(o->seconds * num / den);
    if (!(length >= 0 && length <= 0xFFFFFFFFu)) throw Failure(EXIT_USAGE, "length out of range");
    const std::uint64_t count = std::uint64_t(length);
    status = runMake(o->output, unsigned(w), unsigned(h), num, den, count, o->bits, unsigned(rate), unsigned(channels), common);
  });
}

}  // namespace cli
