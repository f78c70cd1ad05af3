// Files written by ffmpeg, read here and compared byte for byte with what
// ffmpeg itself extracts from the same file: the packets with "-c copy", and
// the pictures it decodes. The 24-bit expansions are computed independently
// from the stored bytes by the rules of the format.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "avi_builder.h"
#include "rivulet/avi.h"

using namespace avitest;

namespace {

bool haveFfmpeg() { return std::system("ffmpeg -version >/dev/null 2>&1") == 0; }

bool ffmpeg(const std::string& args) { return std::system(("ffmpeg -v error -y " + args).c_str()) == 0; }

struct Case {
  const char* pixFmt;  // empty: no video
  std::uint32_t width, height;
  const char* audioCodec;  // empty: no audio
  int channels;
};

std::string name(const ::testing::TestParamInfo<Case>& info) {
  const Case& c = info.param;
  std::string n = *c.pixFmt ? std::string(c.pixFmt) + "_" + std::to_string(c.width) + "x" + std::to_string(c.height)
                            : std::string("novideo");
  n += *c.audioCodec ? std::string("_") + c.audioCodec + "_" + std::to_string(c.channels) : std::string("_noaudio");
  return n;
}

// Sign of biHeight in the file's video 'strf', read straight from the bytes.
bool storedTopDown(const std::string& file) {
  const std::size_t strf = file.find("strf", file.find("vids"));
  const std::uint32_t h = static_cast<unsigned char>(file[strf + 16]) |
                          static_cast<unsigned char>(file[strf + 17]) << 8 |
                          static_cast<unsigned char>(file[strf + 18]) << 16 |
                          static_cast<std::uint32_t>(static_cast<unsigned char>(file[strf + 19])) << 24;
  return static_cast<std::int32_t>(h) < 0;
}

std::string flipRows(const std::string& frame, std::size_t rows) {
  const std::size_t row = frame.size() / rows;
  std::string out;
  for (std::size_t r = rows; r-- > 0;) out += frame.substr(r * row, row);
  return out;
}

::testing::AssertionResult sameBytes(const std::string& a, const std::string& b) {
  if (a == b) return ::testing::AssertionSuccess();
  if (a.size() != b.size()) return ::testing::AssertionFailure() << "sizes " << a.size() << " and " << b.size();
  std::size_t i = 0;
  while (a[i] == b[i]) ++i;
  return ::testing::AssertionFailure() << "first difference at byte " << i << ": "
                                       << static_cast<int>(static_cast<unsigned char>(a[i])) << " vs "
                                       << static_cast<int>(static_cast<unsigned char>(b[i]));
}

class FfmpegInterop : public ::testing::TestWithParam<Case> {
 protected:
  TempDir dir;
};

TEST_P(FfmpegInterop, FramesAndAudioMatchFfmpeg) {
  if (!haveFfmpeg()) GTEST_SKIP() << "ffmpeg is not installed";
  const Case& c = GetParam();
  const bool hasVideo = *c.pixFmt != 0, hasAudio = *c.audioCodec != 0;
  const std::string file = dir.path("in.avi");
  std::string inputs, codecs;
  if (hasVideo) {
    inputs += " -f lavfi -i testsrc=size=" + std::to_string(c.width) + "x" + std::to_string(c.height) + ":rate=5";
    codecs += " -c:v rawvideo -pix_fmt " + std::string(c.pixFmt);
  }
  if (hasAudio) {
    inputs += " -f lavfi -i sine=frequency=440:sample_rate=8000";
    codecs += " -c:a " + std::string(c.audioCodec) + " -ac " + std::to_string(c.channels);
  }
  ASSERT_TRUE(ffmpeg(inputs + codecs + " -t 1 " + file));
  const std::string bytes = readWhole(file);
  if (std::getenv("RIVULET_AVI_SEED_DIR") != nullptr) dir.write("ffmpeg.avi", bytes);

  avi::File f;
  ASSERT_EQ(f.open(file.c_str(), "r"), 1);
  ASSERT_EQ(f.getErrorCode(), 0u) << f.getErrorMsg();
  EXPECT_EQ(f.hasVideo(), hasVideo);
  EXPECT_EQ(f.hasAudio(), hasAudio);

  if (hasVideo) {
    ASSERT_TRUE(ffmpeg("-i " + file + " -map 0:v -c copy -f rawvideo " + dir.path("v.raw")));
    const std::string packets = readWhole(dir.path("v.raw"));
    const std::size_t size = f.getVideoChunkSize();
    ASSERT_GT(size, 0u);
    ASSERT_EQ(packets.size() % size, 0u);
    const std::size_t count = packets.size() / size;
    ASSERT_EQ(f.getVideoTotalFrames(), count);
    EXPECT_EQ(f.getVideoWidth(), c.width);
    EXPECT_EQ(f.getVideoHeight(), c.height);
    EXPECT_EQ(f.getVideoFrameRate(), 5.0);
    const bool topDown = storedTopDown(bytes);
    // What ffmpeg decodes: top-down rows of blue, green, red, unpadded.
    std::string decoded;
    const std::string fmt = c.pixFmt;
    const bool compareDecoded = fmt == "bgr24" || fmt == "bgra" || fmt == "pal8";
    if (compareDecoded) {
      ASSERT_TRUE(ffmpeg("-i " + file + " -map 0:v -f rawvideo -pix_fmt bgr24 " + dir.path("dec.raw")));
      decoded = readWhole(dir.path("dec.raw"));
      ASSERT_EQ(decoded.size(), count * c.width * c.height * 3);
    }
    const std::size_t rgbSize = f.getRGB24VideoFrameSize();
    const std::size_t rgbRow = 3 * c.width + (4 - (3 * c.width) % 4) % 4;
    const std::vector<avi::tagRGBQUAD> map = f.getColormap();
    for (std::size_t n = 0; n < count; ++n) {
      SCOPED_TRACE("frame " + std::to_string(n));
      const std::string packet = packets.substr(n * size, size);
      const std::string bottomUp = topDown ? flipRows(packet, c.height) : packet;
      // The raw frame, by number and in sequence.
      std::string raw(size, '\0');
      f.readVideoFrame(raw.data(), static_cast<long long>(n));
      EXPECT_TRUE(sameBytes(raw, bottomUp));
      std::string seq(size, '\0');
      f.readVideoFrame(seq.data());
      EXPECT_TRUE(sameBytes(seq, bottomUp));
      EXPECT_EQ(f.getErrorCode(), 0u);

      // The 24-bit expansion, from the stored bytes by the rules.
      const std::size_t capacity = std::max(rgbSize, size);
      std::string rgb(capacity, '\x5A');
      f.readRGB24VideoFrame(rgb.data(), static_cast<long long>(n));
      ASSERT_EQ(f.getErrorCode(), 0u) << f.getErrorMsg();
      std::string expected = rgb;
      const auto in = [&](std::size_t at) { return static_cast<unsigned char>(bottomUp[at]); };
      for (std::size_t r = 0; r < c.height; ++r) {
        for (std::size_t x = 0; x < c.width; ++x) {
          char* o = &expected[r * rgbRow + 3 * x];
          if (fmt == "bgr24") {
            const std::size_t at = r * (size / c.height) + 3 * x;
            o[0] = bottomUp[at], o[1] = bottomUp[at + 1], o[2] = bottomUp[at + 2];
          } else if (fmt == "bgra") {
            const std::size_t at = (r * c.width + x) * 4;
            o[0] = bottomUp[at], o[1] = bottomUp[at + 1], o[2] = bottomUp[at + 2];
          } else if (fmt == "rgb555le") {
            // Rows are taken at a stride of 2 * (width + 2) for odd widths.
            const std::size_t stride = 2 * (c.width + (c.width % 2 ? 2 : 0));
            const std::size_t at = (c.width % 4 == 0) ? 2 * (r * c.width + x) : r * stride + 2 * x;
            const unsigned p = at + 1 < size ? in(at) | in(at + 1) << 8 : 0;
            o[0] = static_cast<char>((p << 3) & 0xF8);
            o[1] = static_cast<char>((p >> 2) & 0xF8);
            o[2] = static_cast<char>((p >> 7) & 0xF8);
          } else {  // pal8
            const avi::tagRGBQUAD q = map.at(in(r * (size / c.height) + x));
            o[0] = static_cast<char>(q.rgbBlue), o[1] = static_cast<char>(q.rgbGreen), o[2] = static_cast<char>(q.rgbRed);
          }
        }
      }
      if (fmt == "bgr24") {
        EXPECT_TRUE(sameBytes(rgb, bottomUp + rgb.substr(size)));  // left as stored
      } else if (fmt == "rgb555le" && c.width % 2 == 1) {
        // The odd-width stride reaches past the stored rows: compare the rows
        // whose source lies within the stored frame.
        const std::size_t stride = 2 * (c.width + 2);
        for (std::size_t r = 0; r < c.height; ++r) {
          if (r * stride + 2 * c.width > size) continue;
          EXPECT_TRUE(sameBytes(rgb.substr(r * rgbRow, 3 * c.width), expected.substr(r * rgbRow, 3 * c.width))) << r;
        }
      } else {
        // Every pixel byte; padding bytes are left as they were.
        for (std::size_t r = 0; r < c.height; ++r) {
          EXPECT_TRUE(sameBytes(rgb.substr(r * rgbRow, 3 * c.width), expected.substr(r * rgbRow, 3 * c.width))) << r;
        }
      }
      if (compareDecoded) {
        // Against ffmpeg's own decoding, rows turned top-down again.
        for (std::size_t r = 0; r < c.height; ++r) {
          const std::string ours = rgb.substr((c.height - 1 - r) * rgbRow, 3 * c.width);
          const std::string theirs = decoded.substr((n * c.height + r) * c.width * 3, 3 * c.width);
          EXPECT_TRUE(sameBytes(ours, theirs)) << "row " << r;
        }
      }
      if (fmt == "pal8") {
        std::string idx(std::max<std::size_t>(f.getIndexedVideoFrameSize(), size), '\0');
        f.readIndexedVideoFrame(idx.data(), static_cast<long long>(n));
        EXPECT_EQ(f.getErrorCode(), 0u);
        EXPECT_TRUE(sameBytes(idx.substr(0, size), bottomUp));
      }
    }
    EXPECT_TRUE(f.isEndOfVideo());
  }

  if (hasAudio) {
    const std::string codec = c.audioCodec;
    const std::string format = codec == "pcm_u8" ? "u8" : "s16le";
    ASSERT_TRUE(ffmpeg("-i " + file + " -map 0:a -c copy -f " + format + " " + dir.path("a.raw")));
    const std::string audio = readWhole(dir.path("a.raw"));
    ASSERT_EQ(f.getAudioTotalBytes(), audio.size());
    EXPECT_EQ(f.getAudioBitsPerSample(), codec == "pcm_u8" ? 8 : 16);
    EXPECT_EQ(f.getAudioNumberOfChannels(), static_cast<unsigned>(c.channels));
    EXPECT_EQ(f.getAudioSampleRate(), 8000u);
    // In pieces that do not line up with the chunks.
    std::string ours;
    std::string piece(777, '\0');
    while (!f.isEndOfAudio()) {
      f.readAudio(piece.data(), piece.size());
      ASSERT_EQ(f.getErrorCode(), 0u);
      ours += piece;
    }
    ASSERT_GE(ours.size(), audio.size());
    EXPECT_TRUE(sameBytes(ours.substr(0, audio.size()), audio));
    EXPECT_EQ(ours.substr(audio.size()), std::string(ours.size() - audio.size(), '\0'));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Ffmpeg, FfmpegInterop,
    ::testing::Values(Case{"bgr24", 33, 17, "pcm_s16le", 1}, Case{"bgr24", 32, 16, "pcm_u8", 2},
                      Case{"bgr24", 2, 3, "", 1}, Case{"bgra", 33, 17, "pcm_s16le", 2},
                      Case{"bgra", 8, 6, "pcm_u8", 1}, Case{"rgb555le", 33, 17, "pcm_s16le", 1},
                      Case{"rgb555le", 32, 8, "pcm_u8", 1}, Case{"rgb555le", 6, 5, "", 1},
                      Case{"pal8", 33, 17, "pcm_s16le", 1}, Case{"pal8", 32, 8, "pcm_u8", 2},
                      Case{"pal8", 7, 3, "", 1}, Case{"", 0, 0, "pcm_s16le", 2}, Case{"", 0, 0, "pcm_u8", 1}),
    name);

}  // namespace
