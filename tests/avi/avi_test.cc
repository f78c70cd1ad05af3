// The AVI reader through its public interface, on files built byte by byte.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "avi_builder.h"
#include "rivulet/avi.h"

using namespace avitest;

namespace {

constexpr long long NEXT = avi::File::INVALID_FRAME_INDEX;

struct Opened {
  avi::File file;
  unsigned char result;
  explicit Opened(const std::string& path, const char* mode = "r") : result(file.open(path.c_str(), mode)) {}
};

std::string readFrame(avi::File& f, long long n, std::size_t size) {
  std::string buf(size, '\x55');
  f.readVideoFrame(buf.data(), n);
  return buf;
}

class AviTest : public BuiltFiles {
 protected:
  // Three 24-byte frames of 4 x 2 pixels; audio chunks ready but off.
  static SimpleAvi base() {
    SimpleAvi s;
    s.frames = patternFrames(3, 24);
    s.audioChunks = {"ab", "cd", "ef"};
    return s;
  }
};

// A stream list of a header and a format record.
std::string streamList(const std::string& type, const std::string& strf) {
  return list("LIST", "strl", strh(type, 1, 5, 0, 0) + strf);
}
// A file with 'strl' after 'avih', then an empty 'movi'.
std::string headersOnly(const std::string& strl, std::uint32_t streams = 1) {
  return list("RIFF", "AVI ", list("LIST", "hdrl", avih(0, streams) + strl) + list("LIST", "movi", "") +
                                  chunk("JUNK", ""));
}

// --- Opening and the stored-error model ------------------------------------

TEST_F(AviTest, ModesPathsAndOpenFailures) {
  const std::string path = write(base().build());
  Opened r(path, "read");  // the first character decides
  EXPECT_EQ(r.result, 1);
  EXPECT_EQ(r.file.getVideoTotalFrames(), 3u);
  Opened a(path, "a");
  EXPECT_EQ(a.result, 0);
  EXPECT_EQ(a.file.getErrorCode(), 33u);
  EXPECT_STREQ(a.file.getErrorMsg(), "Unsupported read/write mode");
  a.file.close();  // nothing is open: does nothing
  avi::File w;
  EXPECT_EQ(w.open(dir.path("new.avi").c_str(), "write"), 1);
  w.close();
  EXPECT_TRUE(std::filesystem::exists(dir.path("new.avi")));

  const std::string missing = dir.path("missing.avi");
  avi::File f, g;
  EXPECT_EQ(f.open(missing.c_str(), "r"), 0);
  EXPECT_EQ(f.getErrorCode(), 3u);
  EXPECT_EQ(std::string(f.getErrorMsg()), "Unable to open AVI file ('" + missing + "')");
  EXPECT_EQ(g.openToGetInformation(missing.c_str()), 0);
  EXPECT_EQ(g.getErrorCode(), 3u);
  // Opening for writing does not set the name: the message names what stood
  // there before, here nothing.
  avi::File bad;
  EXPECT_EQ(bad.open(dir.path("no/such/dir.avi").c_str(), "w"), 0);
  EXPECT_STREQ(bad.getErrorMsg(), "Unable to open AVI file ('')");
  bad.clearError();
  EXPECT_EQ(bad.getErrorCode(), 0u);
  EXPECT_STREQ(bad.getErrorMsg(), "");

  // Wide paths open as UTF-8.
  dir.write("\xc3\xa9t\xc3\xa9_\xf0\x9f\x8e\xa5.avi", base().build());  // "été_🎥.avi"
  const std::string root = dir.path("");
  const std::wstring wide = std::wstring(root.begin(), root.end()) + L"\u00e9t\u00e9_\U0001F3A5.avi";
  avi::File u, v, x;
  EXPECT_EQ(u.open(wide, "r"), 1);
  EXPECT_EQ(u.getVideoTotalFrames(), 3u);
  EXPECT_EQ(v.openToGetInformation(wide), 1);
  EXPECT_EQ(x.openToGetInformation(std::wstring(L"/nonexistent/\u00e9.avi")), 0);
  EXPECT_STREQ(x.getErrorMsg(), "Unable to open AVI file ('/nonexistent/\xc3\xa9.avi')");
}

// Every code a malformed file or a wrong read raises, with its exact text.
TEST_F(AviTest, FailuresAndTheirTexts) {
  enum Read { NONE, FRAME, RGB24, INDEXED, AUDIO };
  struct Case {
    const char* what;
    std::function<std::string(SimpleAvi)> bytes;  // from base()
    bool info;                                    // openToGetInformation, not open
    Read read;                                    // after a clean open: the call that fails
    unsigned code;
    std::string message;       // '@' stands for the path
    unsigned char opened = 0;  // what the open returns, where no read follows
    long long frames = -1;     // frames kept, where entries before the fault stay
  };
  using F = std::function<void(SimpleAvi&)>;
  auto built = [](F tweak) { return [tweak](SimpleAvi s) { return tweak(s), s.build(); }; };
  auto raw = [](std::string b) { return [b](SimpleAvi) { return b; }; };
  // Writes 'value' 'offset' bytes after the first 'id' of the built file.
  auto patched = [](F tweak, const char* id, std::size_t offset, std::string value) {
    return [=](SimpleAvi s) {
      tweak(s);
      std::string b = s.build();
      return b.replace(b.find(id) + offset, value.size(), value);
    };
  };
  const F odml = [](SimpleAvi& s) { s.index = SimpleAvi::ODML; };
  const F withAudio = [](SimpleAvi& s) { s.audio = true; };
  const F audioOnly = [](SimpleAvi& s) { s.video = false, s.audio = true; };
  const F mjpg = [](SimpleAvi& s) { s.compression = 0x47504A4D; };
  const std::string notAvi = "'@' is not a valid AVI file ", fread = "Fread operation failed";
  const std::string videoMissing = "Corrupted file: video chunks are missing", badSize = "Unknown error (2d)";
  const std::vector<Case> cases = {
      {"cut header", raw("RIFF" + u32(4)), false, NONE, 5, fread},
      {"RIFX", raw("RIFX" + u32(4) + "AVI "), false, NONE, 1, notAvi + "(RIFF chunk is missing)"},
      {"AVIX", raw("RIFF" + u32(4) + "AVIX"), false, NONE, 2, notAvi + "(AVI chunk is missing)"},
      {"WAVE", raw(list("RIFF", "WAVE", chunk("fmt ", std::string(16, '\0')))), false, NONE, 42,
       "WAVE files are only supported on Windows platforms."},
      // No 'hdrl': the main header is looked for at position 0.
      {"no hdrl", raw(list("RIFF", "AVI ", list("LIST", "movi", ""))), false, NONE, 12,
       "Corrupted file: main AVI header information is missing"},
      {"avih 60", raw(list("RIFF", "AVI ", list("LIST", "hdrl", chunk("avih", std::string(60, '\0'))))), false, NONE,
       19, "Unsupported main header found"},
      {"9 streams", raw(headersOnly("", 9)), false, NONE, 27, "AVI files with more than 8 streams are not supported"},
      {"JUNK before strl", raw(headersOnly(chunk("JUNK", "xx") + streamList("vids", ""))),
       false, NONE, 13, "Corrupted file: stream list is missing"},
      {"strh 66", raw(headersOnly(list("LIST", "strl", strh("vids", 1, 5, 0, 0, 66)))), false, NONE, 14,
       "Encountered unexpected length of strl chunk"},
      {"strl past the end", raw(headersOnly("LIST" + u32(4000) + "strl")), false, NONE, 5, fread},
      {"chunk past 2 GiB", raw("RIFF" + u32(100) + "AVI " + "JUNK" + u32(0x90000000u) + "abcd"), false, NONE, 4,
       "Seek operation failed"},
      {"biSize 44", raw(headersOnly(streamList("vids", bitmapInfo(4, 2, 24, 0, "", 44)))), false, NONE, 18,
       "Unsupported bitmap header found"},
      {"wave 130", raw(headersOnly(streamList("auds", waveFormat(1, 1, 8000, 16, 130)))), false, NONE, 20,
       "Unsupported audio format header found"},
      {"8 bits, no colormap", built([](SimpleAvi& s) { s.bits = 8; }), false, NONE, 39, "Unsupported AVI file"},
      {"4 bits, no colormap", built([](SimpleAvi& s) { s.bits = 4; }), false, NONE, 39, "Unsupported AVI file"},
      {"2 bits, no colormap", built([](SimpleAvi& s) { s.bits = 2; }), false, NONE, 39, "Unsupported AVI file"},
      {"4-bit audio", built([](SimpleAvi& s) { s.audio = true, s.sampleBits = 4; }), false, NONE, 29,
       "Unsupported audio stream.Audio must be 8 or 16 bits", 1},
      {"must use index", built([](SimpleAvi& s) { s.flags = 0x30; }), false, NONE, 30,
       "AVI files that require use of internal index are not supported", 1},
      {"idx1 of 8 bytes", patched(withAudio, "idx1", 4, u32(8)), false, NONE, 34, "Invalid Legacy Index"},
      {"idx1 claims 100 entries, holds 6", patched(withAudio, "idx1", 4, u32(1600)), false, NONE, 35,
       "Error parsing the legacy index", 0, 3},
      {"idx1 frame 1 of size 0", patched(withAudio, "idx1", 8 + 32 + 12, u32(0)), false, NONE, 45, badSize, 0, 1},
      // Audio alone is stream 0, and counts as the video stream for the check.
      {"idx1 audio alone, a chunk of size 0", built([&](SimpleAvi& s) { audioOnly(s), s.audioChunks[1] = ""; }), false,
       NONE, 45, badSize},
      {"ix00 sub-type 1", patched(odml, "ix00", 10, "\1"), true, NONE, 36, "Unsupported AVI index type"},
      {"ix00 type 0x80", patched(odml, "ix00", 11, "\x80"), true, NONE, 36, "Unsupported AVI index type"},
      {"ix00 type 2", patched(odml, "ix00", 11, "\2"), true, NONE, 37, "Invalid AVI index"},
      {"super index names itself",
       [](SimpleAvi s) {
         s.index = SimpleAvi::ODML;
         std::string b = s.build();
         const std::size_t indx = b.find("indx");
         return b.replace(indx + 8 + 24, 8, u64(indx)).replace(indx + 8 + 32, 4, u32(48));
       },
       true, NONE, 37, "Invalid AVI index"},
      {"ix00 count past its chunk", patched(odml, "ix00", 8 + 4, u32(1000000)), true, NONE, 37, "Invalid AVI index", 0,
       3},
      {"ix00 delta frame", patched(odml, "ix00", 8 + 24 + 4, u32(0x80000018u)), true, NONE, 45, badSize},
      // 'movi' ends the file: the scan reads past the end.
      {"scan past the end", built([](SimpleAvi& s) { s.index = SimpleAvi::NO_INDEX, s.trailer = ""; }), false, NONE, 11,
       videoMissing, 1, 3},
      // The scan looks for 00db.
      {"scan misses 00dc", built([](SimpleAvi& s) { s.index = SimpleAvi::NO_INDEX, s.videoTag = "00dc"; }), false,
       FRAME, 11, videoMissing},
      // openToGetInformation keeps the header's count but does not scan.
      {"no index, information only", built([](SimpleAvi& s) { s.index = SimpleAvi::NO_INDEX; }), true, FRAME, 11,
       videoMissing, 1, 3},
      {"no video", built(audioOnly), false, FRAME, 11, videoMissing},
      {"audio promised past the index", built([&](SimpleAvi& s) { audioOnly(s), s.audioLength = 10; }), false, AUDIO,
       10, "Corrupted file: audio chunks are missing"},
      {"compressed audio", built([](SimpleAvi& s) { s.audio = true, s.formatTag = 3; }), false, AUDIO, 32,
       "Compressed audio streams are not supported"},
      {"compressed video, RGB24", built(mjpg), false, RGB24, 31, "Compressed video streams are not supported"},
      {"compressed video, indexed", built(mjpg), false, INDEXED, 31, "Compressed video streams are not supported"},
      {"24 bits, indexed", built([](SimpleAvi&) {}), false, INDEXED, 44,
       "Read attempted for a video that is not indexed"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const std::string path = write(c.bytes(base()));
    avi::File f;
    const unsigned char opened = c.info ? f.openToGetInformation(path.c_str()) : f.open(path.c_str(), "r");
    EXPECT_EQ(opened, c.read == NONE ? c.opened : 1);
    if (c.read != NONE) {
      EXPECT_EQ(f.getErrorCode(), 0u) << "before the read";
    }
    std::string buf(4096, '#');
    switch (c.read) {
      case NONE: break;
      case FRAME: f.readVideoFrame(buf.data(), 0); break;
      case RGB24: f.readRGB24VideoFrame(buf.data(), 0); break;
      case INDEXED: f.readIndexedVideoFrame(buf.data(), 0); break;
      case AUDIO: f.readAudio(buf.data(), 20); break;
    }
    EXPECT_EQ(f.getErrorCode(), c.code);
    std::string message = c.message;
    if (message[0] == '\'') message.replace(1, 1, path);
    EXPECT_EQ(f.getErrorMsg(), message);
    if (c.frames >= 0) {
      EXPECT_EQ(f.getVideoTotalFrames(), static_cast<std::uint64_t>(c.frames));
    }
    // A failure that open returns 1 with lasts until a frame read clears it.
    if (c.read == NONE && c.opened && f.getVideoTotalFrames() > 0) {
      readFrame(f, 0, 24);
      EXPECT_EQ(f.getErrorCode(), 0u);
    }
  }
}

// --- Headers ----------------------------------------------------------------

TEST_F(AviTest, HeaderVariantsThatParse) {
  // Zero streams: no stream, no failure.
  Opened none(write(headersOnly("", 0)));
  EXPECT_EQ(none.result, 1);
  EXPECT_FALSE(none.file.hasVideo() || none.file.hasAudio());
  // Odd sizes at the top level and inside 'strl' skip their pad byte; unknown
  // chunks in 'strl' are stepped over; a 48-byte 'strh' and a 16-byte PCM
  // 'strf' are taken; the frame count comes from the index, not the header.
  const std::string frame = patternFrame(24, 0);
  const std::string vl = list("LIST", "strl", chunk("zzzz", "odd") + strh("vids", 2, 25, 1, 0, 48) +
                                                  chunk("strn", "name!") + bitmapInfo(4, 2, 24));
  const std::string al = list("LIST", "strl", strh("auds", 2, 16000, 0, 2) + waveFormat(1, 1, 8000, 16, 16));
  const std::string idx1 = chunk("idx1", "00db" + u32(0) + u32(4) + u32(24));
  Opened o(write(list("RIFF", "AVI ",
                      chunk("JUNK", "abc") + list("LIST", "hdrl", avih(7, 2) + vl + al) + chunk("JUNK", "x") +
                          list("LIST", "movi", chunk("00db", frame)) + idx1)));
  EXPECT_EQ(o.result, 1);
  EXPECT_EQ(o.file.getErrorCode(), 0u) << o.file.getErrorMsg();
  EXPECT_TRUE(o.file.hasVideo() && o.file.hasAudio());
  EXPECT_EQ(o.file.getVideoStreamRate(), 25u);
  EXPECT_EQ(o.file.getVideoStreamScale(), 2u);
  EXPECT_DOUBLE_EQ(o.file.getVideoFrameRate(), 12.5);
  EXPECT_EQ(o.file.getAudioSampleRate(), 8000u);
  EXPECT_EQ(o.file.getAudioBitsPerSample(), 16);
  EXPECT_EQ(o.file.getVideoTotalFrames(), 1u);
  EXPECT_EQ(readFrame(o.file, 0, 24), frame);
  // A depth of 6 needs no colormap; 128 bytes of wave format with cbSize 0 are fine.
  EXPECT_EQ(Opened(write(headersOnly(streamList("vids", bitmapInfo(4, 2, 6))))).result, 1);
  Opened wave(write(headersOnly(streamList("auds", waveFormat(1, 2, 44100, 16, 128)))));
  EXPECT_EQ(wave.file.getAudioNumberOfChannels(), 2u);
  // Video, audio, video: the walk ends after the second list, so the third,
  // which is no list at all, is never looked at.
  const std::string v24 = streamList("vids", bitmapInfo(4, 2, 24));
  const std::string a16 = streamList("auds", waveFormat(1, 1, 8000, 16));
  Opened three(write(headersOnly(v24 + a16 + chunk("JUNK", "not a list"), 3)));
  EXPECT_TRUE(three.result == 1 && three.file.hasVideo() && three.file.hasAudio());
  // Two video streams: the second is dropped without failure.
  Opened two(write(headersOnly(v24 + streamList("vids", bitmapInfo(8, 8, 32)), 2)));
  EXPECT_EQ(two.file.getVideoWidth(), 4u);
  EXPECT_EQ(two.file.getVideoBitsPerPixel(), 24u);
}

TEST_F(AviTest, ColormapAndFourCC) {
  std::string map;
  for (int i = 0; i < 256; ++i) map += u8(i) + u8(255 - i) + u8(i ^ 0x5A) + u8(7);
  SimpleAvi s = base();
  s.bits = 8;
  s.colormap = map + "xy";  // two stray bytes make no entry
  Opened o(write(s.build()));
  const std::vector<avi::tagRGBQUAD> cm = o.file.getColormap();
  ASSERT_EQ(cm.size(), 256u);
  EXPECT_EQ(cm[3].rgbBlue, 3);
  EXPECT_EQ(cm[3].rgbGreen, 252);
  EXPECT_EQ(cm[3].rgbRed, 3 ^ 0x5A);
  EXPECT_EQ(cm[3].rgbReserved, 7);
  o.file.close();
  EXPECT_TRUE(o.file.getColormap().empty());

  // Only the low byte of the compression tells a compressed stream.
  for (auto [compression, fourCC, compressed] : {std::tuple{0u, std::string(), 0},
                                                {0x100u, std::string("\0\1\0\0", 4), 0},
                                                {0x47504A4Du, std::string("MJPG"), 'M'}}) {
    s = base();
    s.compression = compression;
    Opened f(write(s.build()));
    EXPECT_EQ(f.file.getVideoFourCC(), fourCC);
    EXPECT_EQ(f.file.isVideoCompressed(), compressed);
  }
}

// --- Index sources ----------------------------------------------------------

// Which index a file is read through: OpenDML before idx1, idx1 before the
// scan of 'movi', and the scan when neither names a chunk of a stream.
TEST_F(AviTest, IndexSources) {
  using Make = std::function<std::string(SimpleAvi&)>;
  struct Case {
    const char* what;
    Make make;  // from base()
    unsigned code;
    std::uint64_t frames;     // each read and compared
    std::string audio;        // all of it, read in one call
    int audioChunk = -1;      // getAudioChunkSize, where it tells
    int infoAudioChunk = -1;  // the same after openToGetInformation, which does not scan
  };
  const std::vector<Case> cases = {
      {"OpenDML before a spoilt idx1",
       [](SimpleAvi& s) {
         s.index = SimpleAvi::ODML_AND_IDX1, s.audio = true, s.audioChunks = {"aaaaaa", "bbbbbb", "cccccc"};
         std::string b = s.build();
         for (std::size_t at = b.find("idx1") + 16; at < b.find("idx1") + 8 + 96; at += 16) put32(b, at, 1000);
         return b;
       },
       0, 3, "aaaaaabbbbbbcccccc", 6, 6},
      {"a super index that names another super index",
       [](SimpleAvi& s) {
         s.index = SimpleAvi::ODML;
         std::string b = s.build();
         const std::size_t indx = b.find("indx");
         const std::string nested = chunk("ix00", b.substr(indx + 8, 40));  // a copy of the super index
         put64(b, indx + 8 + 24, b.size());
         put32(b, indx + 8 + 32, static_cast<std::uint32_t>(nested.size()));
         b += nested;
         put32(b, 4, static_cast<std::uint32_t>(b.size() - 8));
         return b;
       },
       0, 3, ""},
      // The audio stream's 'indx' made unknown, idx1's audio entries broken:
      // idx1 is not read, the audio comes from the scan.
      {"OpenDML for video alone",
       [](SimpleAvi& s) {
         s.index = SimpleAvi::ODML_AND_IDX1, s.audio = true, s.audioChunks = {"0123", "4567"};
         std::string b = s.build();
         b.replace(b.find("indx", b.find("auds")), 4, "xndx");
         put32(b, b.find("idx1") + 8 + 16 + 8, 9999);
         return b;
       },
       0, 3, "01234567", 4, 0},
      {"scan, odd audio chunks rounded up to even",
       [](SimpleAvi& s) {
         return s.index = SimpleAvi::NO_INDEX, s.audio = true, s.audioChunks = {"abc", "def", "gh"}, s.build();
       },
       0, 3, std::string("abc\0def\0", 8), 4, 0},
      // 'movi' ends the file: the video scan fails, the audio scan does not run.
      {"scan past the end",
       [](SimpleAvi& s) { return s.index = SimpleAvi::NO_INDEX, s.audio = true, s.trailer = "", s.build(); }, 11, 3,
       "", 0},
      {"idx1 naming only other streams",
       [](SimpleAvi& s) {
         std::string b = s.build();
         for (std::size_t at = b.find("idx1") + 8; at < b.find("idx1") + 8 + 48; at += 16) b.replace(at, 2, "02");
         return b;
       },
       0, 3, ""},
      {"an audio entry of size 0 beside video stream 0",
       [](SimpleAvi& s) {
         s.audio = true;
         std::string b = s.build();
         put32(b, b.find("idx1") + 8 + 16 + 12, 0);
         return b;
       },
       0, 3, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    SimpleAvi s = base();
    const std::string path = write(c.make(s));
    Opened o(path);
    EXPECT_EQ(o.file.getErrorCode(), c.code);
    ASSERT_EQ(o.file.getVideoTotalFrames(), c.frames);
    for (std::uint64_t n = 0; c.code == 0 && n < c.frames; ++n) EXPECT_EQ(readFrame(o.file, n, 24), s.frames[n]);
    std::string audio(c.audio.size(), '\0');
    o.file.readAudio(audio.data(), audio.size());
    EXPECT_EQ(audio, c.audio);
    if (c.audioChunk >= 0) {
      EXPECT_EQ(o.file.getAudioChunkSize(), static_cast<unsigned>(c.audioChunk));
    }
    if (c.infoAudioChunk >= 0) {
      avi::File info;
      info.openToGetInformation(path.c_str());
      EXPECT_EQ(info.getAudioChunkSize(), static_cast<unsigned>(c.infoAudioChunk));
    }
  }
}

// --- Reading ----------------------------------------------------------------

TEST_F(AviTest, FrameNumbersAndTheSequence) {
  SimpleAvi s = base();
  s.frames = patternFrames(4, 24);
  Opened o(write(s.build()));
  EXPECT_EQ(readFrame(o.file, NEXT, 24), s.frames[0]);
  EXPECT_EQ(readFrame(o.file, NEXT, 24), s.frames[1]);
  // By number: the sequence does not move; past the end nothing is read.
  EXPECT_EQ(readFrame(o.file, 3, 24), s.frames[3]);
  EXPECT_EQ(readFrame(o.file, 4, 24), std::string(24, '\x55'));
  EXPECT_EQ(o.file.getErrorCode(), 0u);
  EXPECT_EQ(o.file.getVideoFramesRead(), 2u);
  EXPECT_EQ(readFrame(o.file, NEXT, 24), s.frames[2]);
  EXPECT_EQ(readFrame(o.file, NEXT, 24), s.frames[3]);
  EXPECT_TRUE(o.file.isEndOfVideo());
  EXPECT_EQ(readFrame(o.file, NEXT, 24), std::string(24, '\x55'));
  EXPECT_EQ(o.file.getErrorCode(), 0u);
  o.file.resetVideo();
  EXPECT_EQ(readFrame(o.file, NEXT, 24), s.frames[0]);
  // Frame numbers below -1 name no frame.
  EXPECT_EQ(readFrame(o.file, -2, 24), std::string(24, '\x55'));
  EXPECT_EQ(o.file.getErrorCode(), 11u);
  EXPECT_EQ(o.file.getRawVideoFrameSize(-2), 0u);
  EXPECT_EQ(o.file.getRawVideoFrameSize(3), 24u);
  EXPECT_EQ(o.file.getRawVideoFrameSize(4), 0u);
}

TEST_F(AviTest, TopDownFramesComeOutBottomUp) {
  for (int h : {1, 2, 3, 5}) {
    SimpleAvi s = base();
    s.width = 3;
    s.height = -h;
    s.frames = patternFrames(2, 12 * static_cast<std::size_t>(h));  // rows of 9 bytes padded to 12
    const std::string path = write(s.build());
    Opened o(path);
    EXPECT_EQ(o.file.getVideoHeight(), static_cast<unsigned int>(h));
    EXPECT_EQ(readFrame(o.file, 1, s.frames[1].size()), flipRows(s.frames[1], h));
    // Without open's row scratch the frame still comes out bottom-up.
    avi::File info;
    info.openToGetInformation(path.c_str());
    EXPECT_EQ(readFrame(info, 1, s.frames[1].size()), flipRows(s.frames[1], h));
  }
  // Found by fuzzing: a height far above the frame's byte count made the row
  // swap loop for billions of empty rows. Rows of 0 bytes: nothing moves.
  SimpleAvi s = base();
  s.height = -0x7FFFFFFF;
  Opened o(write(s.build()));
  EXPECT_EQ(o.file.getVideoHeight(), 0x7FFFFFFFu);
  EXPECT_EQ(readFrame(o.file, 1, 24), s.frames[1]);
  EXPECT_EQ(o.file.getErrorCode(), 0u);
}

TEST_F(AviTest, RawReadsOfCompressedAndNonIndexedVideo) {
  SimpleAvi s = base();
  Opened o(write(s.build()));
  std::string buf(24, '\0');
  o.file.readIndexedVideoFrame(buf.data(), NEXT);  // code 44, but read all the same
  EXPECT_EQ(buf, s.frames[0]);
  EXPECT_EQ(o.file.getVideoFramesRead(), 1u);
  EXPECT_EQ(o.file.getIndexedVideoFrameSize(), 0u);
  // Compressed: the raw read takes the entry's own length.
  s.compression = 0x47504A4D;
  s.frames = {"abcdef", "0123456789"};
  Opened m(write(s.build()));
  std::string raw(10, '.');
  m.file.readRGB24VideoFrame(raw.data(), 1);
  m.file.readIndexedVideoFrame(raw.data(), 1);
  EXPECT_EQ(raw, "..........");
  m.file.readVideoFrame(raw.data(), 1);
  EXPECT_EQ(raw, "0123456789");
  EXPECT_EQ(m.file.getRawVideoFrameSize(0), 6u);
  EXPECT_EQ(m.file.getRawVideoFrameSize(1), 10u);
}

// --- The 24-bit expansion -----------------------------------------------------

// An 8-bit file whose indices run past its two-entry colormap.
TEST_F(AviTest, IndexedExpansionAndIndicesPastTheColormap) {
  SimpleAvi s = base();
  s.width = 3;
  s.bits = 8;
  s.colormap = u8(10) + u8(20) + u8(30) + u8(0) + u8(40) + u8(50) + u8(60) + u8(0);
  s.frames = {std::string("\0\1\7_\1\1\0_", 8)};
  Opened o(write(s.build()));
  std::string buf(o.file.getRGB24VideoFrameSize(), '#');
  ASSERT_EQ(buf.size(), 24u);  // 2 * 3 * 3 + 2 * 3 of padding
  o.file.readRGB24VideoFrame(buf.data(), 0);
  EXPECT_EQ(o.file.getErrorCode(), 0u);
  const std::string a = "\x0a\x14\x1e", b = "(2<";
  EXPECT_EQ(buf, a + b + std::string(3, '\0') + "###" + b + b + a + "###");
  // The stored indices come back as they are.
  std::string idx(o.file.getIndexedVideoFrameSize(), '#');
  o.file.readIndexedVideoFrame(idx.data(), 0);
  EXPECT_EQ(idx, s.frames[0]);
  // A depth with no expansion has no 24-bit size.
  s.bits = 12;
  EXPECT_EQ(Opened(write(s.build())).file.getRGB24VideoFrameSize(), 0u);
}

// A stored frame that does not match its geometry is not expanded: the
// buffer the caller was asked for would not hold the work.
TEST_F(AviTest, ExpansionThatWouldLeaveTheBufferIsRefused) {
  struct Case {
    std::uint32_t width;
    std::int32_t height;
    std::uint16_t bits;
    std::size_t frameBytes;
  };
  for (const Case& c : std::vector<Case>{
           {1, 3, 16, 12},           // odd 16-bit stride runs past a 12-byte frame
           {4, 2, 16, 40},           // more pixels stored than the 24-bit frame holds
           {5, 2, 32, 8},            // fewer bytes than 5 x 2 pixels of 32 bits
           {4, 1, 32, 6},            // a last pixel cut short
           {8, 2, 8, 40},            // more indices than pixels
           {0x40000000, 4, 8, 16},   // the 24-bit frame size wraps in 32 bits
           {0x40000001, 4, 16, 16},  // likewise
           {0x40000001, 4, 32, 16},  // likewise
       }) {
    SimpleAvi s = base();
    s.width = c.width;
    s.height = c.height;
    s.bits = c.bits;
    s.colormap = std::string(8, '\3');
    s.frames = patternFrames(1, c.frameBytes);
    Opened o(write(s.build()));
    // A header whose frame is larger than the whole file is refused at open,
    // and asks for no buffer larger than the file; its stored frame still
    // reads raw.
    const bool headerFits = std::uint64_t{c.width} * c.bits / 8 * c.height < 1000;
    ASSERT_EQ(o.file.getErrorCode(), headerFits ? 0u : 18u);
    EXPECT_LE(o.file.getRGB24VideoFrameSize(), 1000u);
    std::vector<char> buf(std::max(o.file.getRGB24VideoFrameSize(), o.file.getVideoChunkSize()), '#');
    o.file.readRGB24VideoFrame(buf.data(), 0);
    EXPECT_EQ(o.file.getErrorCode(), 11u) << c.width << "x" << c.height << "@" << c.bits;
    EXPECT_EQ(std::string(buf.data(), c.frameBytes), s.frames[0]);
  }
}

// --- Tolerant reading of what no writer at hand makes -------------------------

// A longer bitmap header and an OpenDML entry marked as no key frame: refused
// by default, read tolerantly.
TEST_F(AviTest, TolerantLongerBitmapHeaderAndDeltaFrames) {
  SimpleAvi s = base();
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
  for (const auto& [bytes, defaultCode] : {std::pair{longer, 18u}, std::pair{delta, 45u}}) {
    const std::string path = write(bytes);
    Opened d(path);
    EXPECT_EQ(d.file.getErrorCode(), defaultCode);
    avi::File t;
    t.setTolerantReading(true);
    t.open(path.c_str(), "r");
    ASSERT_EQ(t.getErrorCode(), 0u) << t.getErrorMsg();
    ASSERT_EQ(t.getVideoTotalFrames(), 3u);
    for (int n = 0; n < 3; ++n) EXPECT_EQ(readFrame(t, n, 24), s.frames[n]);
  }
}

// 8-bit video without a colormap is grey: a grey FourCC stores rows top-down,
// no FourCC bottom-up, and a row is as long as the frame's size gives. A frame
// whose rows would be shorter than the width is not expanded (code 11). The
// default mode refuses each at open (code 39).
TEST_F(AviTest, TolerantGreyWithoutColormap) {
  const std::uint32_t y800 = 0x30303859;
  struct Case {
    std::uint32_t compression, width, stride;
    bool topDown;
    unsigned code;
  };
  for (const Case& c : {Case{y800, 5, 5, true, 0}, Case{y800, 3, 4, true, 0}, Case{0, 3, 4, false, 0},
                        Case{0x59455247 /* GREY */, 4, 4, true, 0}, Case{y800, 4, 3, true, 11}}) {
    SCOPED_TRACE(std::to_string(c.width) + " wide, stride " + std::to_string(c.stride));
    SimpleAvi s = base();
    s.bits = 8, s.width = c.width, s.height = 3, s.compression = c.compression;
    s.frames = patternFrames(2, 3 * c.stride);
    const std::string path = write(s.build());
    EXPECT_EQ(Opened(path).file.getErrorCode(), 39u);
    avi::File t;
    t.setTolerantReading(true);
    t.open(path.c_str(), "r");
    ASSERT_EQ(t.getErrorCode(), 0u) << t.getErrorMsg();
    EXPECT_EQ(t.isVideoCompressed(), 0);
    ASSERT_EQ(t.getColormap().size(), 256u);
    EXPECT_EQ(t.getColormap()[200].rgbGreen, 200);
    const std::size_t row = (3 * c.width + 3) / 4 * 4;
    std::string rgb(std::max<std::size_t>(t.getRGB24VideoFrameSize(), 3 * c.stride), '#');
    t.readRGB24VideoFrame(rgb.data(), 1);
    EXPECT_EQ(t.getErrorCode(), c.code);
    if (c.code != 0) continue;
    for (std::size_t r = 0; r < 3; ++r) {
      const std::size_t from = (c.topDown ? 2 - r : r) * c.stride;
      for (std::size_t x = 0; x < c.width; ++x) {
        EXPECT_EQ(rgb.substr(r * row + 3 * x, 3), std::string(3, s.frames[1][from + x])) << r << " " << x;
      }
    }
  }
}

}  // namespace
