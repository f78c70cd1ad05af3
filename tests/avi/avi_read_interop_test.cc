// Files that ffmpeg and GStreamer write, read in both modes: each frame in
// 24-bit form and all the audio compared byte for byte with ffmpeg's own
// decode, the frame count with ffprobe's. Files any reader takes read the same
// in both modes; for the rest (streamed, absolute idx1 offsets, extensible
// PCM, 16-bit rows of odd width, grey, cut short) the default mode is pinned.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "avi_builder.h"
#include "rivulet/avi.h"

using namespace avitest;

namespace {

// Frames in the layout of readRGB24VideoFrame (bottom-up rows padded to four
// bytes, the padding zeroed), and the audio.
struct Decoded {
  std::vector<std::string> frames;
  std::string audio;
};

// ffmpeg's decode, in the sample format 'pcm' for the audio. With 'top5' each
// colour keeps its top five bits: ffmpeg widens 16-bit pixels by repeating
// them, where the format's rule leaves zeros.
Decoded ffmpegDecode(const TempDir& dir, const std::string& path, unsigned width, unsigned height, const char* pcm,
                     bool top5) {
  Decoded d;
  const std::string raw = dir.path("decoded.raw"), audio = dir.path("decoded.pcm");
  if (width > 0) {
    EXPECT_TRUE(run("ffmpeg -v error -y -i " + path + " -map 0:v -f rawvideo -pix_fmt bgr24 " + raw));
    std::string all = readWhole(raw);
    if (top5) {
      for (char& c : all) c = static_cast<char>(c & 0xF8);
    }
    const std::size_t row = width * 3, padded = (row + 3) / 4 * 4;
    for (std::size_t at = 0; at + row * height <= all.size(); at += row * height) {
      std::string frame;
      for (unsigned r = height; r-- > 0;) frame += all.substr(at + r * row, row) + std::string(padded - row, '\0');
      d.frames.push_back(frame);
    }
  }
  if (pcm != nullptr) {
    EXPECT_TRUE(run("ffmpeg -v error -y -i " + path + " -map 0:a -f " + pcm + " " + audio));
    d.audio = readWhole(audio);
  }
  return d;
}

// What this library reads; with 'clean', every read must succeed.
Decoded readAll(avi::File& f, bool clean = true) {
  Decoded d;
  for (std::uint64_t n = 0; n < f.getVideoTotalFrames(); ++n) {
    std::string frame(std::max(f.getRGB24VideoFrameSize(), f.getVideoChunkSize()), '\0');
    f.readRGB24VideoFrame(frame.data(), static_cast<long long>(n));
    if (clean) {
      EXPECT_EQ(f.getErrorCode(), 0u) << "frame " << n << ": " << f.getErrorMsg();
    }
    // 32-bit frames shrink into the start of a buffer of the stored size.
    const std::size_t row = 3 * f.getVideoWidth(), padded = (row + 3) / 4 * 4;
    frame.resize(padded * f.getVideoHeight());
    for (std::size_t at = row; at < frame.size(); at += padded) frame.replace(at, padded - row, padded - row, '\0');
    d.frames.push_back(frame);
  }
  if (f.hasAudio()) {
    d.audio.assign(f.getAudioTotalBytes(), '\0');
    f.readAudio(d.audio.data(), d.audio.size());
    EXPECT_EQ(f.getErrorCode(), 0u) << f.getErrorMsg();
    EXPECT_TRUE(f.isEndOfAudio());
  }
  return d;
}

void expectSame(const Decoded& got, const Decoded& want) {
  ASSERT_EQ(got.frames.size(), want.frames.size());
  for (std::size_t n = 0; n < got.frames.size(); ++n) EXPECT_TRUE(sameBytes(got.frames[n], want.frames[n])) << n;
  EXPECT_TRUE(sameBytes(got.audio, want.audio)) << "audio";
}

class ReadInterop : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!haveFfmpeg()) GTEST_SKIP() << "ffmpeg is not installed";
  }
  TempDir dir;
};

TEST_F(ReadInterop, FilesOfIndependentWriters) {
  struct Case {
    std::string make;  // a command writing @
    const char* pcm;   // ffmpeg's sample format of the audio, if any
    unsigned defaultCode;
    bool defaultSame;  // the default mode reads what the tolerant mode reads
  };
  std::vector<Case> cases;
  // Files any reader takes: every depth, with and without audio.
  const struct {
    const char* pixFmt;  // empty: no video
    const char* size;
    const char* codec;  // empty: no audio
    int channels;
  } plain[] = {{"bgr24", "33x17", "pcm_s16le", 1}, {"bgr24", "2x3", "", 0},         {"bgra", "33x17", "pcm_s16le", 2},
               {"bgra", "8x6", "pcm_u8", 1},       {"rgb555le", "32x8", "pcm_u8", 1}, {"rgb555le", "6x5", "", 0},
               {"pal8", "33x17", "pcm_s16le", 1},  {"pal8", "7x3", "pcm_u8", 2},     {"", "", "pcm_s16le", 2},
               {"", "", "pcm_u8", 1}};
  for (const auto& p : plain) {
    std::string make = "ffmpeg -v error -y";
    if (*p.pixFmt) make += " -f lavfi -i testsrc=size=" + std::string(p.size) + ":rate=5";
    if (*p.codec) make += " -f lavfi -i sine=sample_rate=8000";
    if (*p.pixFmt) make += " -c:v rawvideo -pix_fmt " + std::string(p.pixFmt);
    if (*p.codec) make += " -c:a " + std::string(p.codec) + " -ac " + std::to_string(p.channels);
    cases.push_back({make + " -t 1 @", *p.codec ? (p.codec == std::string("pcm_u8") ? "u8" : "s16le") : nullptr, 0,
                     true});
  }
  // Streamed to a pipe: RIFF and movi sizes 0xFFFFFFFF, no index, 00dc.
  const std::string lavfi = "ffmpeg -v error -y -f lavfi -i testsrc=size=5x3:rate=5 ";
  const std::string sine = "-f lavfi -i sine=sample_rate=800 ";
  cases.push_back(
      {lavfi + sine + "-c:v rawvideo -pix_fmt bgr24 -c:a pcm_s16le -t 0.6 -f avi pipe:1 > @", "s16le", 4, false});
  cases.push_back({"ffmpeg -v error -y " + sine + "-f lavfi -i testsrc=size=6x2:rate=5 -c:v rawvideo -pix_fmt bgr24 "
                   "-c:a pcm_u8 -t 0.6 -f avi pipe:1 > @",
                   "u8", 4, false});
  // WAVE_FORMAT_EXTENSIBLE for 24 bits and three channels.
  cases.push_back({"ffmpeg -v error -y " + sine + "-ac 3 -c:a pcm_s24le -t 0.3 @", "s24le", 29, false});
  // 16-bit rows of odd width, padded to four bytes: the default mode takes
  // them at a stride of 2 * (width + 2) (and refuses width 1).
  for (const char* size : {"1x3", "3x3", "5x2", "33x3"}) {
    cases.push_back({"ffmpeg -v error -y -f lavfi -i testsrc=size=" + std::string(size) +
                         ":rate=5 -frames 2 -c:v rawvideo -pix_fmt rgb555le @",
                     nullptr, 0, false});
  }
  // Grey ("Y800", no colormap, top-down): ffmpeg stores rows unpadded,
  // GStreamer pads them to four bytes. The default mode wants a colormap.
  for (const char* size : {"1x2", "5x3", "6x3", "8x4"}) {
    cases.push_back({"ffmpeg -v error -y -f lavfi -i testsrc=size=" + std::string(size) +
                         ":rate=5 -frames 3 -pix_fmt gray -c:v rawvideo @",
                     nullptr, 39, false});
  }
  if (run("gst-launch-1.0 --version")) {
    // avimux writes idx1 offsets as file positions.
    const std::string gst = "gst-launch-1.0 -q videotestsrc num-buffers=3 ! video/x-raw,";
    cases.push_back({gst + "format=BGR,width=18,height=16 ! avimux ! filesink location=@", nullptr, 0, false});
    for (const char* width : {"16", "17", "18"}) {
      cases.push_back({gst + "format=GRAY8,width=" + width + ",height=16 ! avimux ! filesink location=@", nullptr, 39,
                       false});
    }
  }
  int i = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.make);
    const std::string path = dir.path("case" + std::to_string(i++) + ".avi");
    std::string command = c.make;
    ASSERT_TRUE(run(command.replace(command.find('@'), 1, path)));
    if (std::getenv("RIVULET_AVI_SEED_DIR") != nullptr) dir.write("ffmpeg.avi", readWhole(path));
    avi::File t;
    t.setTolerantReading(true);
    ASSERT_TRUE(t.getTolerantReading());
    ASSERT_EQ(t.open(path.c_str(), "r"), 1);
    ASSERT_EQ(t.getErrorCode(), 0u) << t.getErrorMsg();
    const Decoded want = ffmpegDecode(dir, path, t.hasVideo() ? t.getVideoWidth() : 0, t.getVideoHeight(), c.pcm,
                                      t.getVideoBitsPerPixel() == 16);
    const Decoded got = readAll(t);
    expectSame(got, want);
    if (t.hasVideo()) {
      EXPECT_EQ(t.getVideoTotalFrames(), ffprobeCount(path, "v", true));
    }

    // The default mode as it always was.
    avi::File d;
    d.open(path.c_str(), "r");
    EXPECT_EQ(d.getErrorCode(), c.defaultCode) << d.getErrorMsg();
    if (c.defaultSame) {
      expectSame(readAll(d), want);
    } else if (d.getErrorCode() == 0) {
      // Read from the wrong place, as relative offsets: not ffmpeg's frames
      // (and the last ones past the end of the file).
      EXPECT_NE(readAll(d, false).frames, want.frames);
    }
  }
}

// A file cut at any point inside 'movi' (a writer killed before closing):
// every complete chunk is read, the partial one dropped, and the counts are
// those of the complete chunks.
TEST_F(ReadInterop, FilesCutShort) {
  const std::string whole = dir.path("whole.avi");
  ASSERT_TRUE(run("ffmpeg -v error -y -f lavfi -i testsrc=size=5x3:rate=5 -f lavfi -i sine=sample_rate=800 -c:v "
                  "rawvideo -pix_fmt bgr24 -c:a pcm_s16le -t 1 " + whole));
  const Decoded full = ffmpegDecode(dir, whole, 5, 3, "s16le", false);
  const std::string bytes = readWhole(whole);
  const std::size_t movi = bytes.find("movi"), idx1 = bytes.find("idx1");
  ASSERT_LT(movi, idx1);
  for (std::size_t cut = movi + 4; cut <= idx1; cut += 37) {
    SCOPED_TRACE(cut);
    // What the complete chunks before the cut hold, by walking them.
    std::size_t frames = 0, audio = 0;
    for (std::size_t at = movi + 4; at + 8 <= cut;) {
      const std::size_t size = get32(bytes, at + 4);
      if (at + 8 + size > cut) break;
      (bytes[at + 2] == 'w' ? audio : frames) += bytes[at + 2] == 'w' ? size : 1;
      at += 8 + size + (size & 1);
    }
    const std::string path = dir.write("cut.avi", bytes.substr(0, cut));
    avi::File t;
    t.setTolerantReading(true);
    ASSERT_EQ(t.open(path.c_str(), "r"), 1);
    ASSERT_EQ(t.getErrorCode(), 0u) << t.getErrorMsg();
    EXPECT_EQ(t.getVideoTotalFrames(), frames);
    EXPECT_EQ(t.getAudioTotalBytes(), audio);
    expectSame(readAll(t), {{full.frames.begin(), full.frames.begin() + frames}, full.audio.substr(0, audio)});
  }
}

}  // namespace
