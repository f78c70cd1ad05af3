// Tolerant reading on files that ffmpeg and GStreamer write (streamed, with
// absolute idx1 offsets, extensible PCM, grey, cut short), each frame and the audio
// compared byte for byte with ffmpeg's own decode; and the default mode on the
// same files, pinned.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "avi_builder.h"
#include "rivulet/avi.h"

using namespace avitest;

namespace {

bool run(const std::string& command) { return std::system(("(" + command + ") >/dev/null 2>&1").c_str()) == 0; }

// ffmpeg's decode in the layout of readRGB24VideoFrame (bottom-up rows padded
// to four bytes) and its PCM, in the sample format given.
struct Decoded {
  std::vector<std::string> frames;
  std::string audio;
};
Decoded ffmpegDecode(const TempDir& dir, const std::string& path, unsigned width, unsigned height,
                     const char* pcm = nullptr) {
  Decoded d;
  const std::string raw = dir.path("decoded.raw"), audio = dir.path("decoded.pcm");
  if (width > 0) {
    EXPECT_TRUE(run("ffmpeg -v error -y -i " + path + " -map 0:v -f rawvideo -pix_fmt bgr24 " + raw));
    const std::string all = readWhole(raw);
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

// The number of video frames that ffprobe counts by decoding them.
std::string ffprobeFrames(const std::string& path) {
  std::string out;
  if (FILE* p = popen(("ffprobe -v error -count_frames -select_streams v:0 -show_entries stream=nb_read_frames "
                       "-of csv=p=0 " + path).c_str(), "r")) {
    char buf[64];
    while (std::fgets(buf, sizeof buf, p) != nullptr) out += buf;
    pclose(p);
  }
  while (!out.empty() && (out.back() == '\n' || out.back() == ',')) out.pop_back();
  return out;
}

// The frames in 24-bit form (the padding bytes, which the expansion never
// writes, zeroed) and all the audio.
Decoded readAll(avi::File& f, bool clean = true) {
  Decoded d;
  for (std::uint64_t n = 0; n < f.getVideoTotalFrames(); ++n) {
    std::string frame(std::max(f.getRGB24VideoFrameSize(), f.getVideoChunkSize()), '\0');
    f.readRGB24VideoFrame(frame.data(), static_cast<long long>(n));
    if (clean) {
      EXPECT_EQ(f.getErrorCode(), 0u) << "frame " << n << ": " << f.getErrorMsg();
    }
    frame.resize(f.getRGB24VideoFrameSize());
    const std::size_t row = 3 * f.getVideoWidth(), padded = (row + 3) / 4 * 4;
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

// Row padding is never written by the expansion: zero it on both sides.
void expectSameFrames(const std::vector<std::string>& got, const std::vector<std::string>& want) {
  ASSERT_EQ(got.size(), want.size());
  for (std::size_t n = 0; n < got.size(); ++n) EXPECT_EQ(got[n] == want[n], true) << "frame " << n;
}

class AviTolerant : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!run("ffmpeg -version")) GTEST_SKIP() << "ffmpeg is not installed";
  }
  TempDir dir;
};

TEST_F(AviTolerant, FilesOfIndependentWriters) {
  const bool gst = run("gst-launch-1.0 --version");
  struct Case {
    const char* what;
    std::string make;  // a command writing @
    const char* pcm;   // ffmpeg's sample format of the audio, if any
    unsigned defaultCode;
    bool defaultReadsFrames;  // default mode reads the frames as ffmpeg does
  };
  const std::string lavfi = "ffmpeg -v error -y -f lavfi -i testsrc=size=5x3:rate=5 ";
  const std::string sine = "-f lavfi -i sine=sample_rate=800 ";
  const std::vector<Case> cases = {
      // Streamed to a pipe: RIFF and movi sizes 0xFFFFFFFF, no index, 00dc.
      {"ffmpeg to a pipe", lavfi + sine + "-c:v rawvideo -pix_fmt bgr24 -c:a pcm_s16le -t 0.6 -f avi pipe:1 > @",
       "s16le", 4, false},
      {"ffmpeg to a pipe, 8-bit audio first",
       "ffmpeg -v error -y -f lavfi -i sine=sample_rate=800 -f lavfi -i testsrc=size=6x2:rate=5 -c:v rawvideo "
       "-pix_fmt bgr24 -c:a pcm_u8 -t 0.6 -f avi pipe:1 > @",
       "u8", 4, false},
      // WAVE_FORMAT_EXTENSIBLE for 24 bits and three channels.
      {"extensible 24-bit PCM", "ffmpeg -v error -y " + sine + "-ac 3 -c:a pcm_s24le -t 0.3 @", "s24le", 29, false},
      {"ffmpeg to a file", lavfi + sine + "-c:v rawvideo -pix_fmt bgr24 -c:a pcm_s16le -t 0.6 @", "s16le", 0, true},
  };
  std::vector<Case> all = cases;
  // Grey ("Y800", no colormap, top-down): ffmpeg stores rows unpadded,
  // GStreamer pads them to four bytes. The default mode refuses the missing
  // colormap.
  for (const char* size : {"1x2", "5x3", "6x3", "8x4"}) {
    all.push_back({"ffmpeg grey", "ffmpeg -v error -y -f lavfi -i testsrc=size=" + std::string(size) +
                                      ":rate=5 -frames 3 -pix_fmt gray -c:v rawvideo @",
                   nullptr, 39, false});
  }
  if (gst) {
    // avimux writes idx1 offsets as file positions.
    all.push_back({"GStreamer avimux",
                   "gst-launch-1.0 -q videotestsrc num-buffers=4 ! video/x-raw,format=BGR,width=18,height=16 ! "
                   "avimux ! filesink location=@",
                   nullptr, 0, false});
    for (const char* width : {"16", "17", "18"}) {
      all.push_back({"GStreamer grey",
                     "gst-launch-1.0 -q videotestsrc num-buffers=3 ! video/x-raw,format=GRAY8,width=" +
                         std::string(width) + ",height=16 ! avimux ! filesink location=@",
                     nullptr, 39, false});
    }
  }
  int i = 0;
  for (const Case& c : all) {
    SCOPED_TRACE(std::string(c.what) + ": " + c.make);
    const std::string path = dir.path("case" + std::to_string(i++) + ".avi");
    std::string command = c.make;
    command.replace(command.find('@'), 1, path);
    ASSERT_TRUE(run(command));
    avi::File t;
    t.setTolerantReading(true);
    ASSERT_TRUE(t.getTolerantReading());
    ASSERT_EQ(t.open(path.c_str(), "r"), 1);
    ASSERT_EQ(t.getErrorCode(), 0u) << t.getErrorMsg();
    const Decoded want = ffmpegDecode(dir, path, t.hasVideo() ? t.getVideoWidth() : 0, t.getVideoHeight(), c.pcm);
    const Decoded got = readAll(t);
    expectSameFrames(got.frames, want.frames);
    if (t.hasVideo()) {
      EXPECT_EQ(std::to_string(t.getVideoTotalFrames()), ffprobeFrames(path));
    }
    EXPECT_EQ(got.audio == want.audio, true) << got.audio.size() << " bytes against " << want.audio.size();

    // The default mode as it always was.
    avi::File d;
    d.open(path.c_str(), "r");
    EXPECT_EQ(d.getErrorCode(), c.defaultCode) << d.getErrorMsg();
    if (c.defaultReadsFrames) {
      expectSameFrames(readAll(d).frames, want.frames);
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
TEST_F(AviTolerant, FilesCutShort) {
  const std::string whole = dir.path("whole.avi");
  ASSERT_TRUE(run("ffmpeg -v error -y -f lavfi -i testsrc=size=5x3:rate=5 -f lavfi -i sine=sample_rate=800 -c:v "
                  "rawvideo -pix_fmt bgr24 -c:a pcm_s16le -t 1 " + whole));
  const Decoded full = ffmpegDecode(dir, whole, 5, 3, "s16le");
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
    const Decoded got = readAll(t);
    expectSameFrames(got.frames, std::vector<std::string>(full.frames.begin(), full.frames.begin() + frames));
    EXPECT_EQ(got.audio == full.audio.substr(0, audio), true);
  }
}

// 16-bit frames of odd width as ffmpeg stores them, rows padded to four bytes:
// expanded from their true stride by the 16-bit rule (five bits to the top of
// each byte); the default stride runs past the frame, which is refused.
TEST_F(AviTolerant, SixteenBitOddWidths) {
  for (unsigned width : {1u, 3u, 5u, 7u}) {
    SCOPED_TRACE(width);
    const std::string path = dir.path("w" + std::to_string(width) + ".avi");
    ASSERT_TRUE(run("ffmpeg -v error -y -f lavfi -i testsrc=size=" + std::to_string(width) +
                    "x3:rate=5 -c:v rawvideo -pix_fmt rgb555le -t 0.4 " + path));
    avi::File t, d;
    t.setTolerantReading(true);
    ASSERT_EQ(t.open(path.c_str(), "r"), 1);
    d.open(path.c_str(), "r");
    const std::size_t stride = (2 * width + 3) / 4 * 4, row = (3 * width + 3) / 4 * 4;
    ASSERT_EQ(t.getVideoChunkSize(), 3 * stride);
    for (long long n = 0; n < static_cast<long long>(t.getVideoTotalFrames()); ++n) {
      std::string raw(t.getVideoChunkSize(), '\0'), rgb(std::max<std::size_t>(t.getRGB24VideoFrameSize(), raw.size()), '\0');
      t.readVideoFrame(raw.data(), n);
      t.readRGB24VideoFrame(rgb.data(), n);
      ASSERT_EQ(t.getErrorCode(), 0u) << t.getErrorMsg();
      for (unsigned r = 0; r < 3; ++r) {
        for (unsigned c = 0; c < width; ++c) {
          const unsigned p = static_cast<unsigned char>(raw[r * stride + 2 * c]) |
                             static_cast<unsigned char>(raw[r * stride + 2 * c + 1]) << 8;
          const unsigned char want[3] = {static_cast<unsigned char>((p << 3) & 0xF8),
                                         static_cast<unsigned char>((p >> 2) & 0xF8),
                                         static_cast<unsigned char>((p >> 7) & 0xF8)};
          ASSERT_EQ(rgb.substr(r * row + 3 * c, 3), std::string(reinterpret_cast<const char*>(want), 3))
              << "frame " << n << " row " << r << " pixel " << c;
        }
      }
      d.readRGB24VideoFrame(rgb.data(), n);
      EXPECT_EQ(d.getErrorCode(), width == 1 ? 11u : 0u);
    }
  }
}

// Cases no writer at hand makes, on built files: a longer bitmap header and an
// OpenDML entry marked as no key frame; refused by default, read tolerantly.
TEST_F(AviTolerant, LongerBitmapHeaderAndDeltaFrames) {
  SimpleAvi s;
  s.frames = patternFrames(2, 24);
  std::string longer = s.build();
  longer.replace(longer.find("strf"), 12, "strf" + u32(44) + u32(44));
  longer.insert(longer.find("strf") + 8 + 40, "xtra");
  // Lists around the inserted bytes grow by four.
  put32(longer, 4, get32(longer, 4) + 4);
  put32(longer, 16, get32(longer, 16) + 4);
  const std::size_t strl = longer.find("strl") - 8;
  put32(longer, strl + 4, get32(longer, strl + 4) + 4);
  s.index = SimpleAvi::ODML;
  std::string delta = s.build();
  const std::size_t ix = delta.find("ix00", delta.find("movi"));
  put32(delta, ix + 8 + 24 + 8 + 4, 0x80000018u);  // the second entry
  struct Case {
    const char* what;
    std::string bytes;
    unsigned defaultCode;
  };
  for (const Case& c : {Case{"biSize 44", longer, 18}, Case{"delta frame", delta, 45}}) {
    SCOPED_TRACE(c.what);
    const std::string path = dir.write("built.avi", c.bytes);
    avi::File d, t;
    d.open(path.c_str(), "r");
    EXPECT_EQ(d.getErrorCode(), c.defaultCode);
    t.setTolerantReading(true);
    t.open(path.c_str(), "r");
    ASSERT_EQ(t.getErrorCode(), 0u) << t.getErrorMsg();
    ASSERT_EQ(t.getVideoTotalFrames(), 2u);
    for (int n = 0; n < 2; ++n) {
      std::string buf(24, '#');
      t.readVideoFrame(buf.data(), n);
      EXPECT_EQ(buf, s.frames[n]);
    }
  }
}

}  // namespace
