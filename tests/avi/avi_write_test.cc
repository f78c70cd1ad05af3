// The AVI writer through its public interface: whole files against a plain
// model of the layout, the set-up rules, the guards against calls out of
// order, and every written file read back by this library.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "avi_builder.h"
#include "avi_write_model.h"
#include "rivulet/avi.h"

using namespace avitest;

namespace {

// Reads every frame and all audio of a written file back with this library.
void expectReadBack(const WriteCase& c, const std::string& path) {
  const Payloads p = payloads(c);
  avi::File f;
  ASSERT_EQ(f.open(path.c_str(), "r"), 1);
  ASSERT_EQ(f.getErrorCode(), 0u) << f.getErrorMsg();
  ASSERT_EQ(f.hasVideo(), c.video);
  ASSERT_EQ(f.hasAudio(), c.audio);
  if (c.video) {
    ASSERT_EQ(f.getVideoTotalFrames(), p.video.size());
    for (std::size_t n = 0; n < p.video.size(); ++n) {
      std::string frame(f.getRawVideoFrameSize(static_cast<long long>(n)), '\0');
      ASSERT_EQ(frame.size(), p.video[n].size());
      f.readVideoFrame(frame.data(), static_cast<long long>(n));
      EXPECT_EQ(f.getErrorCode(), 0u) << f.getErrorMsg();
      EXPECT_TRUE(sameBytes(frame, p.video[n])) << "frame " << n;
    }
  }
  if (c.audio) {
    std::string all;
    for (const auto& a : p.audio) all += a;
    ASSERT_EQ(f.getAudioTotalBytes(), all.size());
    std::string read(all.size(), '\0');
    f.readAudio(read.data(), read.size());
    EXPECT_EQ(f.getErrorCode(), 0u) << f.getErrorMsg();
    EXPECT_TRUE(sameBytes(read, all));
  }
}

class AviWrite : public ::testing::Test {
 protected:
  TempDir dir;
  std::string path(const std::string& name = "out.avi") { return dir.path(name); }
};

// The two-frame file of the layout example, every byte given by hand; read
// back through indx and ix00, never idx1.
TEST_F(AviWrite, SmallVideoFileByteForByte) {
  std::string f(65976, '\0');
  auto put = [&](std::size_t at, const std::string& s) { f.replace(at, s.size(), s); };
  put(0, "RIFF" + u32(65968) + "AVI " + "LIST" + u32(65792) + "hdrl");
  put(24, "avih" + u32(56) + u32(100000) + u32(0) + u32(0) + u32(0x810) + u32(2) + u32(0) + u32(1) + u32(24) + u32(4) +
              u32(2));
  put(88, "LIST" + u32(164) + "strl" + "strh" + u32(56) + "vidsDIB " + u32(0) + u32(0) + u32(0) + u32(1000000) +
              u32(10000000) + u32(0) + u32(2) + u32(24));
  put(164, "strf" + u32(40) + u32(40) + u32(4) + u32(2) + u16(1) + u16(24) + u32(0) + u32(24));
  put(212, "indx" + u32(40) + u16(4) + u8(0) + u8(0) + u32(1) + "00db" + std::string(12, '\0') + u64(65888) + u32(48) +
               u32(2));
  put(260, "LIST" + u32(16) + "odml" + "dmlh" + u32(4) + u32(2) + "JUNK" + u32(65520));
  std::string f0 = patternFrame(24, 0), f1 = patternFrame(24, 1);
  put(65812, "LIST" + u32(116) + "movi" + "00db" + u32(24) + f0 + "00db" + u32(24) + f1);
  put(65888, "ix00" + u32(40) + u16(2) + u8(0) + u8(1) + u32(2) + "00db" + u64(65820) + u32(0) + u32(12) + u32(24) +
                 u32(44) + u32(24));
  put(65936, "idx1" + u32(32) + "00db" + u32(0) + u32(4) + u32(24) + "00db" + u32(0) + u32(36) + u32(24));

  avi::File w;
  ASSERT_EQ(w.open(path().c_str(), "w"), 1);
  w.setVideoInfo(4, 2, 10.0);
  w.writeVideoFrame(f0.data());
  w.writeVideoFrame(f1.data());
  w.close();
  EXPECT_EQ(w.getErrorCode(), 0u) << w.getErrorMsg();
  EXPECT_TRUE(sameBytes(readWhole(path()), f));
  // The model agrees with the hand-made file.
  WriteCase c;
  c.video = true, c.width = 4, c.height = 2, c.frameRate = 10.0, c.calls = "vv";
  EXPECT_TRUE(sameBytes(modelFile(c), f));
  // idx1 offsets that would be wrong, were they read.
  put(65952, u32(0));
  put(65968, u32(0));
  avi::File r;
  ASSERT_EQ(r.open(dir.write("spoiled.avi", f).c_str(), "r"), 1);
  EXPECT_EQ(r.getErrorCode(), 0u);
  EXPECT_EQ(r.getVideoTotalFrames(), 2u);
  EXPECT_EQ(r.getRGB24VideoFrameSize(), 24u);
  for (const std::string& frame : {f0, f1}) {
    std::string got(24, '#');
    r.readVideoFrame(got.data());
    EXPECT_EQ(got, frame);
  }
  EXPECT_TRUE(r.isEndOfVideo());
}

// Every case is a one-segment file: the writer's bytes equal the model's, and
// this library reads back every frame and all audio.
class WriteSweep : public ::testing::TestWithParam<WriteCase> {
 protected:
  TempDir dir;
};

TEST_P(WriteSweep, FileEqualsModelAndReadsBack) {
  const WriteCase& c = GetParam();
  const std::string file = dir.path("case.avi");
  ASSERT_EQ(writeCase(c, file), 0u);
  EXPECT_TRUE(sameBytes(readWhole(file), modelFile(c)));
  // The small files are seeds for the fuzzer (see tools/fuzz.sh).
  WriteCase small = c;
  small.slots = 1;
  const std::string seed = dir.path("seed.avi");
  if (std::getenv("RIVULET_AVI_SEED_DIR") != nullptr && writeCase(small, seed) == 0) {
    dir.write(std::string("writer_") + c.name + ".avi", readWhole(seed));
  }
  if (!c.calls.empty()) expectReadBack(c, file);
}

INSTANTIATE_TEST_SUITE_P(Cases, WriteSweep, ::testing::ValuesIn(writeCases()),
                         [](const ::testing::TestParamInfo<WriteCase>& info) { return std::string(info.param.name); });

// The rate rule and the sizes from set-up, as the file states them.
TEST_F(AviWrite, RatesAndSizesFromSetUp) {
  struct Row {
    double rate;
    bool audio;
    std::uint32_t scale, rateField, other;  // other: dwMicroSecPerFrame, or nSamplesPerSec
  };
  const Row rows[] = {{29.97, false, 1000000, 29970000, 33366},
                      {25.0, false, 1000000, 25000000, 40000},
                      {44100.0, true, 97391, 4294943100u, 44100},
                      {48000.0, true, 89478, 4294944000u, 48000},
                      {22050.4, true, 194779, 4294954861u, 22050},
                      // Out of range (infinities from a zero rate): 0. Negative:
                      // the low 32 bits of the signed 64-bit value.
                      {0.0, false, 1000000, 0, 0},
                      {0.0, true, 0, 0, 0},
                      {-25.0, false, 1000000, 4269967296u, 4294927296u}};
  for (const Row& r : rows) {
    SCOPED_TRACE(r.rate);
    avi::File w;
    ASSERT_EQ(w.open(path().c_str(), "w"), 1);
    if (r.audio) {
      w.setAudioInfo(r.rate, 16, 1, 2);
    } else {
      w.setVideoInfo(4, 2, r.rate);
    }
    w.close();
    const std::string bytes = readWhole(path());
    const std::size_t strh = bytes.find("strh") + 8;
    EXPECT_EQ(get32(bytes, strh + 20), r.scale);
    EXPECT_EQ(get32(bytes, strh + 24), r.rateField);
    EXPECT_EQ(get32(bytes, r.audio ? bytes.find("strf") + 12 : 32), r.other);
  }
  // Frame sizes: rows padded to 4 bytes. Depth 16 has no size rule.
  const struct {
    std::uint32_t w, h, bits, size;
  } sizes[] = {{640, 480, 24, 921600}, {641, 480, 24, 923520}, {5, 3, 8, 24}, {8, 3, 8, 24}, {33, 17, 16, 0}};
  for (const auto& s : sizes) {
    avi::File w;
    ASSERT_EQ(w.open(path().c_str(), "w"), 1);
    w.setVideoInfo(s.w, s.h, 30.0, "", s.bits);
    EXPECT_EQ(w.getVideoChunkSize(), s.size) << s.w << "x" << s.h << "x" << s.bits;
  }
  avi::File w;
  ASSERT_EQ(w.open(path().c_str(), "w"), 1);
  w.setAudioInfo(44100.0, 16, 2, 17641);
  EXPECT_EQ(w.getAudioChunkSize(), 17642u);
  w.setVideoInfo(4, 2, 30.0, "", 7);
  EXPECT_EQ(w.getErrorCode(), static_cast<unsigned>(avi::errors::INVALID_BITS_PER_PIXEL));
  EXPECT_FALSE(w.hasVideo());
}

TEST_F(AviWrite, ColormapRules) {
  avi::File r;
  r.setColormap(palette(2));
  EXPECT_EQ(r.getErrorCode(), static_cast<unsigned>(avi::errors::COLORMAP_DURING_READ));

  avi::File w;
  ASSERT_EQ(w.open(path().c_str(), "w"), 1);
  w.setVideoInfo(4, 2, 10.0, "", 8);
  w.setColormap(palette(257));
  EXPECT_EQ(w.getErrorCode(), static_cast<unsigned>(avi::errors::COLORMAP_TOO_LARGE));
  EXPECT_TRUE(w.getColormap().empty());
  w.setColormap(palette(2));
  w.setColormap(palette(3));
  EXPECT_EQ(w.getErrorCode(), static_cast<unsigned>(avi::errors::COLORMAP_NOT_EMPTY));
  EXPECT_EQ(w.getColormap().size(), 2u);

  // An 8-bit file closed without a palette: code 23, no video stream list,
  // but the frame is in the file.
  avi::File bare;
  ASSERT_EQ(bare.open(path("bare.avi").c_str(), "w"), 1);
  bare.setVideoInfo(4, 2, 10.0, "", 8);
  std::string frame = patternFrame(8, 3);
  bare.writeVideoFrame(frame.data());
  bare.close();
  EXPECT_EQ(bare.getErrorCode(), static_cast<unsigned>(avi::errors::COLORMAP_REQUIRED));
  const std::string bytes = readWhole(path("bare.avi"));
  EXPECT_EQ(bytes.find("strl"), std::string::npos);
  EXPECT_EQ(bytes.substr(65824, 16), "00db" + u32(8) + frame);

  // Depths 2 and 4 are written without a palette and refused on reading.
  avi::File two;
  ASSERT_EQ(two.open(path("two.avi").c_str(), "w"), 1);
  two.setVideoInfo(8, 2, 10.0, "", 2);
  two.writeVideoFrame(frame.data(), 4);
  two.close();
  EXPECT_EQ(two.getErrorCode(), 0u);
  avi::File back;
  back.open(path("two.avi").c_str(), "r");
  EXPECT_EQ(back.getErrorCode(), static_cast<unsigned>(avi::errors::UNSUPPORTED_FILE));
}

// Calls out of order: each stores its code, changes nothing, and the file
// keeps every chunk written before it.
TEST_F(AviWrite, GuardsAgainstCallsOutOfOrder) {
  using Step = std::function<void(avi::File&, char*)>;
  const struct {
    const char* what;
    Step before;  // after open, before the bad call
    Step bad;
    unsigned code;
    int framesBack;
  } rows[] = {
      {"set-up on a closed object", nullptr, [](avi::File& f, char*) { f.close(), f.setVideoInfo(4, 2, 10.0); }, 46,
       -1},
      {"frame on a closed object", nullptr, [](avi::File& f, char* d) { f.close(), f.writeVideoFrame(d); }, 46, -1},
      {"frame before set-up", nullptr, [](avi::File& f, char* d) { f.writeVideoFrame(d); }, 48, -1},
      {"audio without an audio stream", [](avi::File& f, char*) { f.setVideoInfo(4, 2, 10.0); },
       [](avi::File& f, char* d) { f.writeAudio(d); }, 48, 0},
      {"set-up after a frame",
       [](avi::File& f, char* d) { f.setVideoInfo(4, 2, 10.0), f.writeVideoFrame(d); },
       [](avi::File& f, char*) { f.setAudioInfo(8000.0, 16, 1, 4); }, 47, 1},
      {"slots after a frame",
       [](avi::File& f, char* d) { f.setVideoInfo(4, 2, 10.0), f.writeVideoFrame(d); },
       [](avi::File& f, char*) { f.setNumSuperIndexEntries(16); }, 47, 1},
      {"frame larger than declared",
       [](avi::File& f, char* d) { f.setVideoInfo(4, 2, 10.0), f.writeVideoFrame(d); },
       [](avi::File& f, char* d) { f.writeVideoFrame(d, 25); }, 49, 1},
  };
  for (const auto& r : rows) {
    SCOPED_TRACE(r.what);
    std::string data = patternFrame(32, 1);
    avi::File f;
    ASSERT_EQ(f.open(path().c_str(), "w"), 1);
    if (r.before) r.before(f, data.data());
    ASSERT_EQ(f.getErrorCode(), 0u);
    r.bad(f, data.data());
    EXPECT_EQ(f.getErrorCode(), r.code);
    EXPECT_STRNE(f.getErrorMsg(), "");
    f.close();
    avi::File back;
    back.open(path().c_str(), "r");
    if (r.framesBack < 0) {
      EXPECT_TRUE(readWhole(path()).empty());  // nothing was declared: nothing written
      continue;
    }
    ASSERT_EQ(back.getErrorCode(), 0u) << back.getErrorMsg();
    EXPECT_EQ(back.getVideoTotalFrames(), static_cast<unsigned>(r.framesBack));
    EXPECT_FALSE(back.hasAudio());
  }
  // Never opened, or opened for reading: nothing to write to.
  avi::File idle;
  idle.setNumSuperIndexEntries(1);
  EXPECT_EQ(idle.getErrorCode(), 46u);
  // Smaller frames and a changed slot count before the first frame are fine.
  avi::File ok;
  ASSERT_EQ(ok.open(path().c_str(), "w"), 1);
  ok.setVideoInfo(4, 2, 10.0);
  // A slot count whose header would pass 4 GiB throws and is not kept.
  EXPECT_ANY_THROW(ok.setNumSuperIndexEntries(std::size_t{1} << 28));
  ok.setNumSuperIndexEntries(2);
  std::string small = patternFrame(24, 2);
  ok.writeVideoFrame(small.data(), 12);
  ok.close();
  EXPECT_EQ(ok.getErrorCode(), 0u);
  // Two slots: H = 108 + 32 + 148 = 288, the first chunk at H + 32.
  EXPECT_EQ(readWhole(path()).substr(320, 8), "00db" + u32(12));
}

// A second file on the same object starts a fresh writer; the stream set-up of
// the first stays (both streams are described again).
TEST_F(AviWrite, SecondFileOnTheSameObject) {
  avi::File w;
  std::string frame = patternFrame(24, 0);
  for (int round = 0; round < 2; ++round) {
    ASSERT_EQ(w.open(path("f" + std::to_string(round) + ".avi").c_str(), "w"), 1);
    w.setVideoInfo(4, 2, 10.0);
    w.writeVideoFrame(frame.data());
    w.writeVideoFrame(frame.data());
    w.close();
  }
  EXPECT_EQ(w.getErrorCode(), 0u);
  EXPECT_EQ(readWhole(path("f0.avi")), readWhole(path("f1.avi")));
}

}  // namespace
