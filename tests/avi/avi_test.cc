// The AVI reader through its public interface, on files built byte by byte.
#include <gtest/gtest.h>

#include <cstring>
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
  Opened(const std::string& path, const char* mode = "r") : result(file.open(path.c_str(), mode)) {}
};

std::vector<std::string> frames(int count, std::size_t size) {
  std::vector<std::string> out;
  for (int i = 0; i < count; ++i) out.push_back(patternFrame(size, i));
  return out;
}

std::string readFrame(avi::File& f, long long n, std::size_t size) {
  std::string buf(size, '\x55');
  f.readVideoFrame(buf.data(), n);
  return buf;
}

// Rows of a frame in the other order.
std::string flipRows(const std::string& frame, std::size_t rows) {
  const std::size_t row = frame.size() / rows;
  std::string out;
  for (std::size_t r = rows; r-- > 0;) out += frame.substr(r * row, row);
  return out;
}

class AviTest : public ::testing::Test {
 protected:
  TempDir dir;
  int count = 0;
  // Each call a new file, so that files still open keep their bytes.
  std::string write(const std::string& bytes) {
    return dir.write(::testing::UnitTest::GetInstance()->current_test_info()->name() + std::to_string(count++) + ".avi",
                     bytes);
  }
};

// --- Opening, modes and the stored-error model ---------------------------

TEST_F(AviTest, ModesAreTakenByTheirFirstCharacter) {
  SimpleAvi s;
  s.frames = frames(2, 24);
  const std::string path = write(s.build());
  Opened r(path, "read");
  EXPECT_EQ(r.result, 1);
  EXPECT_EQ(r.file.getErrorCode(), 0u);
  EXPECT_EQ(r.file.getVideoTotalFrames(), 2u);

  Opened a(path, "a");
  EXPECT_EQ(a.result, 0);
  EXPECT_EQ(a.file.getErrorCode(), 33u);
  EXPECT_STREQ(a.file.getErrorMsg(), "Unsupported read/write mode");
  a.file.close();  // nothing is open: does nothing

  avi::File w;
  EXPECT_EQ(w.open(dir.path("new.avi").c_str(), "write"), 1);
  w.close();
  EXPECT_TRUE(std::filesystem::exists(dir.path("new.avi")));

  avi::File never;
  never.close();
  EXPECT_EQ(never.getErrorCode(), 0u);
  EXPECT_STREQ(never.getErrorMsg(), "");
}

TEST_F(AviTest, OpenFailuresNameTheFile) {
  const std::string missing = dir.path("missing.avi");
  avi::File f;
  EXPECT_EQ(f.open(missing.c_str(), "r"), 0);
  EXPECT_EQ(f.getErrorCode(), 3u);
  EXPECT_EQ(std::string(f.getErrorMsg()), "Unable to open AVI file ('" + missing + "')");

  avi::File g;
  EXPECT_EQ(g.openToGetInformation(missing.c_str()), 0);
  EXPECT_EQ(g.getErrorCode(), 3u);

  // Opening for writing does not set the name: the message names what stood
  // there before, here nothing.
  avi::File w;
  EXPECT_EQ(w.open(dir.path("no/such/dir.avi").c_str(), "w"), 0);
  EXPECT_STREQ(w.getErrorMsg(), "Unable to open AVI file ('')");
  w.clearError();
  EXPECT_EQ(w.getErrorCode(), 0u);
  EXPECT_STREQ(w.getErrorMsg(), "");
}

TEST_F(AviTest, WidePathsOpenAsUtf8) {
  SimpleAvi s;
  s.frames = frames(1, 24);
  const std::string bytes = s.build();
  dir.write("\xc3\xa9t\xc3\xa9_\xf0\x9f\x8e\xa5.avi", bytes);  // "été_🎥.avi"
  const std::string base = dir.path("");
  const std::wstring wide = std::wstring(base.begin(), base.end()) + L"\u00e9t\u00e9_\U0001F3A5.avi";
  avi::File f;
  EXPECT_EQ(f.open(wide, "r"), 1);
  EXPECT_EQ(f.getVideoTotalFrames(), 1u);
  avi::File g;
  EXPECT_EQ(g.openToGetInformation(wide), 1);
  avi::File h;
  EXPECT_EQ(h.openToGetInformation(std::wstring(L"/nonexistent/\u00e9.avi")), 0);
  EXPECT_STREQ(h.getErrorMsg(), "Unable to open AVI file ('/nonexistent/\xc3\xa9.avi')");
}

TEST_F(AviTest, RiffFramingFailures) {
  struct Case {
    std::string bytes;
    unsigned int code;
    std::string message;
  };
  const std::string avi = "'@' is not a valid AVI file ";
  const std::vector<Case> cases = {
      {"RIFF" + u32(4), 5, "Fread operation failed"},
      {"RIFX" + u32(4) + "AVI ", 1, avi + "(RIFF chunk is missing)"},
      {"RIFF" + u32(4) + "AVIX", 2, avi + "(AVI chunk is missing)"},
      {list("RIFF", "WAVE", chunk("fmt ", std::string(16, '\0'))), 42,
       "WAVE files are only supported on Windows platforms."},
      // No 'hdrl': the main header is looked for at position 0.
      {list("RIFF", "AVI ", list("LIST", "movi", "")), 12, "Corrupted file: main AVI header information is missing"},
      {list("RIFF", "AVI ", list("LIST", "hdrl", chunk("avih", std::string(60, '\0')))), 19,
       "Unsupported main header found"},
      {list("RIFF", "AVI ", list("LIST", "hdrl", avih(0, 9))), 27,
       "AVI files with more than 8 streams are not supported"},
      // A JUNK chunk between 'avih' and the stream list.
      {list("RIFF", "AVI ",
            list("LIST", "hdrl", avih(0, 1) + chunk("JUNK", "xx") + list("LIST", "strl", strh("vids", 1, 5, 0, 0)))),
       13, "Corrupted file: stream list is missing"},
      {list("RIFF", "AVI ", list("LIST", "hdrl", avih(0, 1) + list("LIST", "strl", strh("vids", 1, 5, 0, 0, 66)))),
       14, "Encountered unexpected length of strl chunk"},
      // The stream list claims more bytes than the file has.
      {list("RIFF", "AVI ", list("LIST", "hdrl", avih(0, 1) + rawChunk("LIST", 4000, "strl"))), 5,
       "Fread operation failed"},
      // A top-level chunk that claims to go on for more than 2 GiB.
      {"RIFF" + u32(100) + "AVI " + rawChunk("JUNK", 0x90000000u, "abcd"), 4, "Seek operation failed"},
  };
  for (const Case& c : cases) {
    const std::string path = write(c.bytes);
    avi::File info;
    EXPECT_EQ(info.openToGetInformation(path.c_str()), 0);
    EXPECT_EQ(info.getErrorCode(), c.code) << c.message;
    std::string message = c.message;
    if (message[0] == '\'') message.replace(1, 1, path);
    EXPECT_EQ(std::string(info.getErrorMsg()), message);
    Opened o(path);
    EXPECT_EQ(o.result, 0);
    EXPECT_EQ(o.file.getErrorCode(), c.code);
  }
}

TEST_F(AviTest, HeaderVariantsThatParse) {
  // avih of exactly 56 bytes, zero streams: no stream, no failure.
  {
    Opened o(write(list("RIFF", "AVI ", list("LIST", "hdrl", avih(0, 0)))));
    EXPECT_EQ(o.result, 1);
    EXPECT_EQ(o.file.getErrorCode(), 0u);
    EXPECT_FALSE(o.file.hasVideo());
    EXPECT_FALSE(o.file.hasAudio());
  }
  // Odd sizes at the top level and inside 'strl' skip their pad byte; unknown
  // chunks in 'strl' are stepped over; a 48-byte 'strh' is taken; a 16-byte
  // PCM 'strf' is accepted.
  {
    const std::string frame = patternFrame(24, 0);
    std::string movi = list("LIST", "movi", chunk("00db", frame));
    const std::string vl = list("LIST", "strl",
                                chunk("zzzz", "odd") + strh("vids", 2, 25, 1, 0, 48) + chunk("strn", "name!") +
                                    bitmapInfo(4, 2, 24));
    const std::string al = list("LIST", "strl", strh("auds", 2, 16000, 0, 2) + waveFormat(1, 1, 8000, 16, 16));
    const std::string body = chunk("JUNK", "abc") + list("LIST", "hdrl", avih(7, 2) + vl + al) + chunk("JUNK", "x") +
                             movi + chunk("idx1", "00db" + u32(0) + u32(4) + u32(24));
    Opened o(write(list("RIFF", "AVI ", body)));
    EXPECT_EQ(o.result, 1);
    EXPECT_EQ(o.file.getErrorCode(), 0u) << o.file.getErrorMsg();
    EXPECT_TRUE(o.file.hasVideo());
    EXPECT_TRUE(o.file.hasAudio());
    EXPECT_EQ(o.file.getVideoStreamRate(), 25u);
    EXPECT_EQ(o.file.getVideoStreamScale(), 2u);
    EXPECT_DOUBLE_EQ(o.file.getVideoFrameRate(), 12.5);
    EXPECT_EQ(o.file.getAudioSampleRate(), 8000u);
    EXPECT_EQ(o.file.getAudioBitsPerSample(), 16);
    EXPECT_EQ(o.file.getVideoTotalFrames(), 1u);  // from the index, not the header's 7
    EXPECT_EQ(readFrame(o.file, 0, 24), frame);
  }
}

TEST_F(AviTest, OnlyTheFirstStreamOfEachKindIsKept) {
  // video, audio, video: the walk ends after the second list, so the third,
  // which is no list at all, is never looked at.
  const std::string vl = list("LIST", "strl", strh("vids", 1, 5, 0, 0) + bitmapInfo(4, 2, 24));
  const std::string al = list("LIST", "strl", strh("auds", 2, 16000, 0, 2) + waveFormat(1, 1, 8000, 16));
  const std::string hdrl = list("LIST", "hdrl", avih(0, 3) + vl + al + chunk("JUNK", "not a list"));
  Opened o(write(list("RIFF", "AVI ", hdrl + list("LIST", "movi", "") + chunk("JUNK", ""))));
  EXPECT_EQ(o.result, 1);
  EXPECT_TRUE(o.file.hasVideo());
  EXPECT_TRUE(o.file.hasAudio());

  // Two video streams: the second is dropped without failure.
  const std::string hdrl2 = list("LIST", "hdrl", avih(0, 2) + vl +
                                                     list("LIST", "strl", strh("vids", 1, 5, 0, 0) + bitmapInfo(8, 8, 32)));
  Opened p(write(list("RIFF", "AVI ", hdrl2 + list("LIST", "movi", "") + chunk("JUNK", ""))));
  EXPECT_EQ(p.file.getVideoWidth(), 4u);
  EXPECT_EQ(p.file.getVideoBitsPerPixel(), 24u);
}

TEST_F(AviTest, FormatRecordFailures) {
  auto fileWith = [](const std::string& strf, const std::string& type) {
    const std::string l = list("LIST", "strl", strh(type, 1, 5, 0, 0) + strf);
    return list("RIFF", "AVI ", list("LIST", "hdrl", avih(0, 1) + l) + list("LIST", "movi", "") + chunk("JUNK", ""));
  };
  struct Case {
    std::string bytes;
    unsigned int code;
    const char* message;
  };
  const std::vector<Case> cases = {
      {fileWith(bitmapInfo(4, 2, 24, 0, "", 44), "vids"), 18, "Unsupported bitmap header found"},
      {fileWith(waveFormat(1, 1, 8000, 16, 130), "auds"), 20, "Unsupported audio format header found"},
      {fileWith(bitmapInfo(4, 2, 8), "vids"), 39, "Unsupported AVI file"},
      {fileWith(bitmapInfo(4, 2, 4), "vids"), 39, "Unsupported AVI file"},
      {fileWith(bitmapInfo(4, 2, 2), "vids"), 39, "Unsupported AVI file"},
  };
  for (const Case& c : cases) {
    Opened o(write(c.bytes));
    EXPECT_EQ(o.result, 0);
    EXPECT_EQ(o.file.getErrorCode(), c.code);
    EXPECT_STREQ(o.file.getErrorMsg(), c.message);
  }
  // A depth of 6 is not among those that need a colormap; 128 bytes of wave
  // format with cbSize 0 are fine.
  Opened six(write(fileWith(bitmapInfo(4, 2, 6), "vids")));
  EXPECT_EQ(six.result, 1);
  Opened wave(write(fileWith(waveFormat(1, 2, 44100, 16, 128), "auds")));
  EXPECT_EQ(wave.result, 1);
  EXPECT_EQ(wave.file.getAudioNumberOfChannels(), 2u);
}

TEST_F(AviTest, ColormapTakesEveryByteAfterTheBitmapHeader) {
  std::string map;
  for (int i = 0; i < 256; ++i) map += u8(i) + u8(255 - i) + u8(i ^ 0x5A) + u8(7);
  SimpleAvi s;
  s.bits = 8;
  s.colormap = map + "xy";  // two stray bytes make no entry
  s.frames = frames(1, 8);
  Opened o(write(s.build()));
  EXPECT_EQ(o.result, 1);
  const std::vector<avi::tagRGBQUAD> cm = o.file.getColormap();
  ASSERT_EQ(cm.size(), 256u);
  EXPECT_EQ(cm[3].rgbBlue, 3);
  EXPECT_EQ(cm[3].rgbGreen, 252);
  EXPECT_EQ(cm[3].rgbRed, 3 ^ 0x5A);
  EXPECT_EQ(cm[3].rgbReserved, 7);
  o.file.close();
  EXPECT_TRUE(o.file.getColormap().empty());
}

TEST_F(AviTest, SupportChecksOfOpen) {
  SimpleAvi s;
  s.audio = true;
  s.sampleBits = 4;
  s.frames = frames(1, 24);
  s.audioChunks = {std::string(10, 'a')};
  Opened o(write(s.build()));
  EXPECT_EQ(o.result, 1);  // the headers parsed
  EXPECT_EQ(o.file.getErrorCode(), 29u);
  EXPECT_STREQ(o.file.getErrorMsg(), "Unsupported audio stream.Audio must be 8 or 16 bits");
  avi::File info;
  EXPECT_EQ(info.openToGetInformation(write(s.build()).c_str()), 1);

  SimpleAvi t;
  t.flags = 0x30;
  t.frames = frames(1, 24);
  Opened p(write(t.build()));
  EXPECT_EQ(p.result, 1);
  EXPECT_EQ(p.file.getErrorCode(), 30u);
  EXPECT_STREQ(p.file.getErrorMsg(), "AVI files that require use of internal index are not supported");
  // The failure of open lasts until the first frame read clears it.
  readFrame(p.file, 0, 24);
  EXPECT_EQ(p.file.getErrorCode(), 0u);
}

TEST_F(AviTest, FourCCGetters) {
  SimpleAvi s;
  s.frames = frames(1, 24);
  Opened plain(write(s.build()));
  EXPECT_EQ(plain.file.getVideoFourCC(), "");
  EXPECT_EQ(plain.file.isVideoCompressed(), 0);

  s.compression = 0x100;  // low byte 0: taken as uncompressed
  Opened odd(write(s.build()));
  EXPECT_EQ(odd.file.isVideoCompressed(), 0);
  EXPECT_EQ(odd.file.getVideoFourCC(), std::string("\0\1\0\0", 4));

  s.compression = 0x47504A4D;  // "MJPG"
  Opened mj(write(s.build()));
  EXPECT_EQ(mj.file.isVideoCompressed(), 'M');
  EXPECT_EQ(mj.file.getVideoFourCC(), "MJPG");
}

// --- Index sources --------------------------------------------------------

TEST_F(AviTest, OpenDmlIndexTakesPrecedenceOverIdx1) {
  SimpleAvi s;
  s.index = SimpleAvi::ODML_AND_IDX1;
  s.audio = true;
  s.frames = frames(3, 24);
  s.audioChunks = {std::string(6, 'a'), std::string(6, 'b'), std::string(6, 'c')};
  std::string bytes = s.build();
  // Spoil idx1: were it read, frames would come from wrong places.
  const std::size_t idx1 = bytes.find("idx1");
  for (std::size_t at = idx1 + 8 + 8; at < idx1 + 8 + 48; at += 16) put32(bytes, at, 1000);
  Opened o(write(bytes));
  EXPECT_EQ(o.file.getErrorCode(), 0u);
  ASSERT_EQ(o.file.getVideoTotalFrames(), 3u);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(readFrame(o.file, i, 24), s.frames[i]);
  std::string audio(18, '\0');
  o.file.readAudio(audio.data(), 18);
  EXPECT_EQ(audio, "aaaaaabbbbbbcccccc");
}

TEST_F(AviTest, Idx1OffsetsPointAtTheHeaderAndOpenDmlAtTheData) {
  SimpleAvi s;
  s.index = SimpleAvi::ODML_AND_IDX1;
  s.frames = frames(1, 24);
  const std::string bytes = s.build();
  const std::size_t idx1 = bytes.find("idx1");
  const std::size_t ix = bytes.find("ix00");
  EXPECT_EQ(u32(4), bytes.substr(idx1 + 16, 4));  // points at "00db"
  EXPECT_EQ(u32(12), bytes.substr(ix + 32, 4));   // points at the data
  // Both give the same frame.
  s.index = SimpleAvi::IDX1;
  Opened a(write(s.build()));
  s.index = SimpleAvi::ODML;
  Opened b(write(s.build()));
  EXPECT_EQ(readFrame(a.file, 0, 24), s.frames[0]);
  EXPECT_EQ(readFrame(b.file, 0, 24), s.frames[0]);
}

TEST_F(AviTest, OpenDmlForVideoAloneLeavesAudioToTheScan) {
  SimpleAvi s;
  s.index = SimpleAvi::ODML_AND_IDX1;
  s.audio = true;
  s.frames = frames(2, 24);
  s.audioChunks = {"0123", "4567"};
  std::string bytes = s.build();
  // Turn the audio stream's 'indx' into an unknown chunk.
  const std::size_t auds = bytes.find("auds");
  bytes.replace(bytes.find("indx", auds), 4, "xndx");
  // idx1 must not be read: break its audio entries.
  const std::size_t idx1 = bytes.find("idx1");
  put32(bytes, idx1 + 8 + 16 + 8, 9999);
  Opened o(write(bytes));
  EXPECT_EQ(o.file.getErrorCode(), 0u);
  std::string audio(8, '\0');
  o.file.readAudio(audio.data(), 8);
  EXPECT_EQ(audio, "01234567");
  // openToGetInformation does not scan: no audio entries.
  avi::File info;
  info.openToGetInformation(write(bytes).c_str());
  EXPECT_EQ(info.getAudioChunkSize(), 0u);
}

TEST_F(AviTest, LegacyIndexFailures) {
  SimpleAvi s;
  s.audio = true;
  s.frames = frames(3, 24);
  s.audioChunks = {"ab", "cd", "ef"};
  const std::string good = s.build();
  const std::size_t idx1 = good.find("idx1");
  {
    std::string bytes = good;
    bytes = bytes.substr(0, idx1) + chunk("idx1", std::string(8, '\0')) + s.trailer;
    Opened o(write(bytes));
    EXPECT_EQ(o.file.getErrorCode(), 34u);
    EXPECT_STREQ(o.file.getErrorMsg(), "Invalid Legacy Index");
  }
  {
    // Claims 100 entries, holds 6: the six are kept.
    std::string bytes = good.substr(0, idx1 + 8 + 96);
    put32(bytes, idx1 + 4, 1600);
    Opened o(write(bytes));
    EXPECT_EQ(o.file.getErrorCode(), 35u);
    EXPECT_STREQ(o.file.getErrorMsg(), "Error parsing the legacy index");
    EXPECT_EQ(o.file.getVideoTotalFrames(), 3u);
    EXPECT_EQ(readFrame(o.file, 2, 24), s.frames[2]);
  }
  {
    // A video entry of size 0 is a dropped frame.
    std::string bytes = good;
    put32(bytes, idx1 + 8 + 32 + 12, 0);
    Opened o(write(bytes));
    EXPECT_EQ(o.file.getErrorCode(), 45u);
    EXPECT_STREQ(o.file.getErrorMsg(), "Unknown error (2d)");
    EXPECT_EQ(o.file.getVideoTotalFrames(), 1u);  // entries before it stay
  }
  {
    // An audio entry of size 0 beside video stream 0 is added.
    std::string bytes = good;
    put32(bytes, idx1 + 8 + 16 + 12, 0);
    Opened o(write(bytes));
    EXPECT_EQ(o.file.getErrorCode(), 0u);
    EXPECT_EQ(o.file.getVideoTotalFrames(), 3u);
  }
  {
    // Audio alone, stream 0: it counts as the video stream for the size check.
    SimpleAvi a;
    a.video = false;
    a.audio = true;
    a.audioChunks = {"ab", "", "cd"};
    Opened o(write(a.build()));
    EXPECT_EQ(o.file.getErrorCode(), 45u);
  }
}

TEST_F(AviTest, OpenDmlIndexTypes) {
  SimpleAvi s;
  s.index = SimpleAvi::ODML;
  s.frames = frames(2, 24);
  const std::string good = s.build();
  const std::size_t ix = good.find("ix00");
  struct Case {
    std::size_t at;
    std::uint8_t value;
    unsigned int code;
    const char* message;
  };
  const std::vector<Case> cases = {
      {ix + 8 + 2, 1, 36, "Unsupported AVI index type"},     // standard index of sub-type 1
      {ix + 8 + 3, 0x80, 36, "Unsupported AVI index type"},  // type 0x80
      {ix + 8 + 3, 2, 37, "Invalid AVI index"},              // type 2
  };
  for (const Case& c : cases) {
    std::string bytes = good;
    bytes[c.at] = static_cast<char>(c.value);
    avi::File info;
    EXPECT_EQ(info.openToGetInformation(write(bytes).c_str()), 0);
    EXPECT_EQ(info.getErrorCode(), c.code);
    EXPECT_STREQ(info.getErrorMsg(), c.message);
  }
  // A super index may name another super index.
  {
    std::string bytes = good;
    const std::size_t indx = bytes.find("indx");
    const std::string nested = chunk("ix00", bytes.substr(indx + 8, 40));  // a copy of the super index
    // Append the copy behind the file and point the first super index at it.
    const std::size_t at = bytes.size();
    bytes += nested;
    put64(bytes, indx + 8 + 24, at);
    put32(bytes, indx + 8 + 32, static_cast<std::uint32_t>(nested.size()));
    put32(bytes, 4, static_cast<std::uint32_t>(bytes.size() - 8));
    Opened o(write(bytes));
    EXPECT_EQ(o.file.getErrorCode(), 0u);
    EXPECT_EQ(readFrame(o.file, 1, 24), s.frames[1]);
  }
  // One that names itself would never end: refused.
  {
    std::string bytes = good;
    const std::size_t indx = bytes.find("indx");
    put64(bytes, indx + 8 + 24, indx);
    put32(bytes, indx + 8 + 32, 48);
    avi::File info;
    EXPECT_EQ(info.openToGetInformation(write(bytes).c_str()), 0);
    EXPECT_EQ(info.getErrorCode(), 37u);
  }
  // Entry count past the end of the chunk: the entries held are kept.
  {
    std::string bytes = good;
    put32(bytes, ix + 8 + 4, 1000000);
    avi::File info;
    EXPECT_EQ(info.openToGetInformation(write(bytes).c_str()), 0);
    EXPECT_EQ(info.getErrorCode(), 37u);
    EXPECT_EQ(info.getVideoTotalFrames(), 2u);
  }
  // A size with bit 31 set (a delta frame) is refused.
  {
    std::string bytes = good;
    put32(bytes, ix + 8 + 24 + 4, 0x80000018u);
    avi::File info;
    EXPECT_EQ(info.openToGetInformation(write(bytes).c_str()), 0);
    EXPECT_EQ(info.getErrorCode(), 45u);
  }
}

TEST_F(AviTest, ScanOfMoviWhenThereIsNoIndex) {
  SimpleAvi s;
  s.index = SimpleAvi::NO_INDEX;
  s.audio = true;
  s.frames = frames(3, 24);
  s.audioChunks = {"abc", "def", "gh"};  // odd sizes: the scan rounds up to even
  {
    Opened o(write(s.build()));
    EXPECT_EQ(o.result, 1);
    EXPECT_EQ(o.file.getErrorCode(), 0u);
    EXPECT_EQ(o.file.getVideoTotalFrames(), 3u);
    EXPECT_EQ(readFrame(o.file, 2, 24), s.frames[2]);
    EXPECT_EQ(o.file.getAudioChunkSize(), 4u);
    // openToGetInformation keeps the header's count and finds no frames.
    avi::File info;
    EXPECT_EQ(info.openToGetInformation(write(s.build()).c_str()), 1);
    EXPECT_EQ(info.getVideoTotalFrames(), 3u);
    std::string buf(24, '\0');
    info.readVideoFrame(buf.data(), 0);
    EXPECT_EQ(info.getErrorCode(), 11u);
    EXPECT_STREQ(info.getErrorMsg(), "Corrupted file: video chunks are missing");
  }
  {
    // 'movi' is the last chunk: the scan reads past the end, stores code 11,
    // and the audio scan does not run.
    s.trailer = "";
    Opened o(write(s.build()));
    EXPECT_EQ(o.result, 1);
    EXPECT_EQ(o.file.getErrorCode(), 11u);
    EXPECT_EQ(o.file.getVideoTotalFrames(), 3u);
    std::string audio(4, 'z');
    o.file.clearError();
    o.file.readAudio(audio.data(), 4);
    EXPECT_EQ(o.file.getErrorCode(), 10u);
    EXPECT_STREQ(o.file.getErrorMsg(), "Corrupted file: audio chunks are missing");
  }
  {
    // Chunks named 00dc are not found by the scan, which looks for 00db.
    SimpleAvi c;
    c.index = SimpleAvi::NO_INDEX;
    c.videoTag = "00dc";
    c.frames = frames(2, 24);
    Opened o(write(c.build()));
    EXPECT_EQ(o.file.getErrorCode(), 0u);
    std::string buf(24, '\0');
    o.file.readVideoFrame(buf.data());
    EXPECT_EQ(o.file.getErrorCode(), 11u);
  }
  {
    // An idx1 naming only other streams leaves both lists empty: the scan runs.
    SimpleAvi c;
    c.frames = frames(2, 24);
    std::string bytes = c.build();
    const std::size_t idx1 = bytes.find("idx1");
    bytes.replace(idx1 + 8, 2, "02");
    bytes.replace(idx1 + 24, 2, "xx");
    Opened o(write(bytes));
    EXPECT_EQ(o.file.getErrorCode(), 0u);
    EXPECT_EQ(readFrame(o.file, 1, 24), c.frames[1]);
  }
}

// The worked example of a file this library writes: 4 x 2 at 24 bits, two
// frames, 4096 super index slots. Read through indx and ix00, never idx1.
TEST_F(AviTest, WrittenLayoutExample) {
  std::string f(65976, '\0');
  auto put = [&](std::size_t at, const std::string& s) { f.replace(at, s.size(), s); };
  put(0, "RIFF" + u32(65968) + "AVI ");
  put(12, "LIST" + u32(65792) + "hdrl");
  put(24, "avih" + u32(56) + u32(100000) + u32(0) + u32(0) + u32(0x810) + u32(2) + u32(0) + u32(1) + u32(24) + u32(4) +
              u32(2));
  put(88, "LIST" + u32(164) + "strl");
  put(100, "strh" + u32(56) + "vidsDIB " + u32(0) + u32(0) + u32(0) + u32(1000000) + u32(10000000) + u32(0) + u32(2) +
               u32(24));
  put(164, "strf" + u32(40) + u32(40) + u32(4) + u32(2) + u16(1) + u16(24) + u32(0) + u32(24));
  put(212, "indx" + u32(40) + u16(4) + u8(0) + u8(0) + u32(1) + "00db" + std::string(12, '\0') + u64(65888) + u32(48) +
               u32(2));
  put(260, "LIST" + u32(16) + "odml" + "dmlh" + u32(4) + u32(2));
  put(284, "JUNK" + u32(65520));
  put(65812, "LIST" + u32(116) + "movi");
  const std::string f0 = patternFrame(24, 0), f1 = patternFrame(24, 1);
  put(65824, "00db" + u32(24) + f0);
  put(65856, "00db" + u32(24) + f1);
  put(65888, "ix00" + u32(40) + u16(2) + u8(0) + u8(1) + u32(2) + "00db" + u64(65820) + u32(0) + u32(12) + u32(24) +
                 u32(44) + u32(24));
  // idx1 with offsets that would be wrong, were it read.
  put(65936, "idx1" + u32(32) + "00db" + u32(0) + u32(0) + u32(24) + "00db" + u32(0) + u32(0) + u32(24));
  Opened o(write(f));
  EXPECT_EQ(o.result, 1);
  EXPECT_EQ(o.file.getErrorCode(), 0u);
  EXPECT_EQ(o.file.getVideoTotalFrames(), 2u);
  EXPECT_EQ(o.file.getRGB24VideoFrameSize(), 24u);
  EXPECT_EQ(readFrame(o.file, NEXT, 24), f0);
  EXPECT_EQ(readFrame(o.file, NEXT, 24), f1);
  EXPECT_TRUE(o.file.isEndOfVideo());
}

// --- Reading --------------------------------------------------------------

TEST_F(AviTest, FrameNumbersAndTheSequence) {
  SimpleAvi s;
  s.frames = frames(4, 24);
  Opened o(write(s.build()));
  EXPECT_EQ(readFrame(o.file, NEXT, 24), s.frames[0]);
  EXPECT_EQ(readFrame(o.file, NEXT, 24), s.frames[1]);
  // By number: the sequence does not move; past the end nothing is read.
  EXPECT_EQ(readFrame(o.file, 3, 24), s.frames[3]);
  EXPECT_EQ(readFrame(o.file, 7, 24), std::string(24, '\x55'));
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
    SimpleAvi s;
    s.width = 3;
    s.height = -h;
    s.frames = frames(2, 12 * static_cast<std::size_t>(h));  // rows of 9 bytes padded to 12
    const std::string path = write(s.build());
    Opened o(path);
    EXPECT_EQ(o.file.getVideoHeight(), static_cast<unsigned int>(h));
    EXPECT_EQ(readFrame(o.file, 1, s.frames[1].size()), flipRows(s.frames[1], h));
    // Without open's row scratch the frame still comes out bottom-up.
    avi::File info;
    info.openToGetInformation(path.c_str());
    EXPECT_EQ(readFrame(info, 1, s.frames[1].size()), flipRows(s.frames[1], h));
  }
}

// Found by fuzzing: a top-down height far above the frame's byte count made
// the row swap loop for billions of empty rows.
TEST_F(AviTest, HugeTopDownHeightWithASmallFrame) {
  SimpleAvi s;
  s.height = -0x7FFFFFFF;
  s.frames = frames(2, 24);
  Opened o(write(s.build()));
  EXPECT_EQ(o.file.getVideoHeight(), 0x7FFFFFFFu);
  EXPECT_EQ(readFrame(o.file, 1, 24), s.frames[1]);  // rows of 0 bytes: nothing moves
  EXPECT_EQ(o.file.getErrorCode(), 0u);
}

TEST_F(AviTest, ReadingTheWrongKindOfVideo) {
  SimpleAvi s;
  s.frames = frames(2, 24);
  Opened o(write(s.build()));
  std::string buf(24, '\0');
  o.file.readIndexedVideoFrame(buf.data(), NEXT);
  EXPECT_EQ(o.file.getErrorCode(), 44u);
  EXPECT_STREQ(o.file.getErrorMsg(), "Read attempted for a video that is not indexed");
  EXPECT_EQ(buf, s.frames[0]);  // read all the same, and the sequence moved
  EXPECT_EQ(o.file.getVideoFramesRead(), 1u);
  EXPECT_EQ(o.file.getIndexedVideoFrameSize(), 0u);

  // Compressed: the RGB24 and indexed reads refuse, the raw read takes the
  // entry's own length.
  SimpleAvi c;
  c.compression = 0x47504A4D;
  c.frames = {"abcdef", "0123456789"};
  Opened m(write(c.build()));
  std::string raw(10, '.');
  m.file.readRGB24VideoFrame(raw.data(), 1);
  EXPECT_EQ(m.file.getErrorCode(), 31u);
  EXPECT_STREQ(m.file.getErrorMsg(), "Compressed video streams are not supported");
  m.file.readIndexedVideoFrame(raw.data(), 1);
  EXPECT_EQ(m.file.getErrorCode(), 31u);
  EXPECT_EQ(raw, "..........");
  m.file.readVideoFrame(raw.data(), 1);
  EXPECT_EQ(raw, "0123456789");
  EXPECT_EQ(m.file.getRawVideoFrameSize(0), 6u);
  EXPECT_EQ(m.file.getRawVideoFrameSize(1), 10u);
}

TEST_F(AviTest, NoVideoEntries) {
  SimpleAvi s;
  s.video = false;
  s.audio = true;
  s.audioChunks = {"ab"};
  Opened o(write(s.build()));
  std::string buf(4, '\0');
  o.file.readVideoFrame(buf.data());
  EXPECT_EQ(o.file.getErrorCode(), 11u);
  EXPECT_STREQ(o.file.getErrorMsg(), "Corrupted file: video chunks are missing");
  EXPECT_EQ(o.file.getRawVideoFrameSize(0), 0u);
}

TEST_F(AviTest, AudioIsOneByteStreamAcrossChunks) {
  SimpleAvi s;
  s.video = false;
  s.audio = true;
  s.sampleBits = 8;
  std::string all;
  for (int i = 0; i < 6; ++i) {
    s.audioChunks.push_back(patternFrame(300, 100 + i));
    all += s.audioChunks.back();
  }
  Opened o(write(s.build()));
  EXPECT_EQ(o.file.getAudioTotalBytes(), 1800u);
  EXPECT_EQ(o.file.getAudioChunkSize(), 300u);
  std::string buf(1000, '#');
  o.file.readAudio(buf.data(), 1000);  // three chunks and 100 bytes of the fourth
  EXPECT_TRUE(buf == all.substr(0, 1000));
  EXPECT_EQ(o.file.getAudioBytesRead(), 1000u);
  std::string rest(200, '#');
  o.file.readAudio(rest.data(), 200);  // goes on at byte 100 of the fourth
  EXPECT_TRUE(rest == all.substr(1000, 200));
  EXPECT_FALSE(o.file.isEndOfAudio());
  // 600 remain: they come, then 400 zeros, and the end is reached.
  o.file.readAudio(buf.data(), 1000);
  EXPECT_TRUE(buf == all.substr(1200, 600) + std::string(400, '\0'));
  EXPECT_TRUE(o.file.isEndOfAudio());
  std::string after(1000, '#');
  o.file.readAudio(after.data(), 1000);
  EXPECT_EQ(after, std::string(1000, '#'));
  o.file.resetAudio();
  std::string small(7, '\0');
  o.file.readAudio(small.data(), 7);
  EXPECT_EQ(small, all.substr(0, 7));
}

TEST_F(AviTest, AudioFailures) {
  SimpleAvi s;
  s.video = false;
  s.audio = true;
  s.audioChunks = {"abcd", "efgh"};
  s.audioLength = 10;  // 20 bytes promised, 8 held
  Opened o(write(s.build()));
  std::string buf(20, '#');
  o.file.readAudio(buf.data(), 20);
  EXPECT_EQ(o.file.getErrorCode(), 10u);
  EXPECT_EQ(buf.substr(0, 8), "abcdefgh");
  EXPECT_EQ(o.file.getAudioBytesRead(), 8u);

  s.formatTag = 3;
  Opened f(write(s.build()));
  EXPECT_EQ(f.file.getErrorCode(), 0u);  // open lets it pass
  EXPECT_EQ(f.file.isAudioCompressed(), 1);
  f.file.readAudio(buf.data(), 4);
  EXPECT_EQ(f.file.getErrorCode(), 32u);
  EXPECT_STREQ(f.file.getErrorMsg(), "Compressed audio streams are not supported");
}

TEST_F(AviTest, FrameSizeQueries) {
  SimpleAvi s;
  s.width = 3;
  s.height = 2;
  s.bits = 16;
  s.frames = frames(1, 16);
  Opened o(write(s.build()));
  EXPECT_EQ(o.file.getRGB24VideoFrameSize(), 24u);  // 2 * 3 * 3 + 2 * 3
  s.bits = 12;
  Opened x(write(s.build()));
  EXPECT_EQ(x.file.getRGB24VideoFrameSize(), 0u);
}

// Expansion through the public call, on an 8-bit file whose indices run past
// its two-entry colormap.
TEST_F(AviTest, IndexedExpansionAndIndicesPastTheColormap) {
  SimpleAvi s;
  s.width = 3;
  s.height = 2;
  s.bits = 8;
  s.colormap = u8(10) + u8(20) + u8(30) + u8(0) + u8(40) + u8(50) + u8(60) + u8(0);
  s.frames = {std::string("\0\1\7_\1\1\0_", 8)};
  Opened o(write(s.build()));
  std::string buf(o.file.getRGB24VideoFrameSize(), '#');
  ASSERT_EQ(buf.size(), 24u);
  o.file.readRGB24VideoFrame(buf.data(), 0);
  EXPECT_EQ(o.file.getErrorCode(), 0u);
  const std::string a = "\x0a\x14\x1e", b = "(2<";
  EXPECT_EQ(buf, a + b + std::string(3, '\0') + "###" + b + b + a + "###");
  // The stored indices come back as they are.
  std::string idx(o.file.getIndexedVideoFrameSize(), '#');
  o.file.readIndexedVideoFrame(idx.data(), 0);
  EXPECT_EQ(idx, s.frames[0]);
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
  const std::vector<Case> cases = {
      {1, 3, 16, 12},    // odd 16-bit stride runs past a 12-byte frame
      {4, 2, 16, 40},    // more pixels stored than the 24-bit frame holds
      {5, 2, 32, 8},     // fewer bytes than 5 x 2 pixels of 32 bits
      {4, 1, 32, 6},     // a last pixel cut short
      {8, 2, 8, 40},     // more indices than pixels
      {0x40000000, 4, 8, 16},  // 24-bit frame size wraps in 32 bits
  };
  for (const Case& c : cases) {
    SimpleAvi s;
    s.width = c.width;
    s.height = c.height;
    s.bits = c.bits;
    s.colormap = std::string(8, '\3');
    s.frames = frames(1, c.frameBytes);
    Opened o(write(s.build()));
    ASSERT_EQ(o.file.getErrorCode(), 0u);
    std::vector<char> buf(std::max(o.file.getRGB24VideoFrameSize(), o.file.getVideoChunkSize()), '#');
    o.file.readRGB24VideoFrame(buf.data(), 0);
    EXPECT_EQ(o.file.getErrorCode(), 11u) << c.width << "x" << c.height << "@" << c.bits;
    EXPECT_EQ(std::string(buf.data(), c.frameBytes), s.frames[0]);
  }
}

// Inputs the fuzzer found; each must open and read without harm.
TEST_F(AviTest, FuzzRegressions) {
  const std::filesystem::path data = std::filesystem::path(RIVULET_AVI_TEST_DATA);
  ASSERT_TRUE(std::filesystem::exists(data)) << "stored fuzz inputs missing";
  for (const auto& entry : std::filesystem::directory_iterator(data)) {
    SCOPED_TRACE(entry.path().string());
    avi::File f;
    f.open(entry.path().c_str(), "r");
    const std::uint64_t need = std::max({f.getRGB24VideoFrameSize(), f.getVideoChunkSize(),
                                         f.getIndexedVideoFrameSize(), f.getRawVideoFrameSize(0)});
    if (need > (16u << 20)) continue;
    std::vector<char> buf(need);
    for (std::uint64_t n = 0; n < std::min<std::uint64_t>(f.getVideoTotalFrames(), 64); ++n) {
      f.readRGB24VideoFrame(buf.data(), static_cast<long long>(n));
      f.readIndexedVideoFrame(buf.data(), static_cast<long long>(n));
    }
    f.clearError();
    std::vector<char> audio(1000);
    for (int i = 0; i < 64 && !f.isEndOfAudio() && f.getErrorCode() == 0; ++i) f.readAudio(audio.data(), 1000);
  }
}

}  // namespace
