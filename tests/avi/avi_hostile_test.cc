// The AVI reader on hostile and reused input: one object through many files,
// frames that cannot be reached, audio whose chunks hold more than its header
// counts, sizes that no file of that length can hold, and walks over long runs
// of small chunks.
#include <dirent.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "avi_builder.h"
#include "rivulet/avi.h"

using namespace avitest;

namespace {

using AviHostile = BuiltFiles;

// Everything a host can learn from an open object: the getters, each frame in
// the raw and 24-bit forms (with its failure code), and all the audio.
std::string fingerprint(avi::File& f) {
  std::ostringstream out;
  out << f.getErrorCode() << '|' << int(f.hasVideo()) << int(f.hasAudio()) << '|' << f.getVideoWidth() << 'x'
      << f.getVideoHeight() << '@' << f.getVideoBitsPerPixel() << '|' << f.getVideoTotalFrames() << '|'
      << f.getVideoChunkSize() << '|' << f.getRGB24VideoFrameSize() << '|' << f.getIndexedVideoFrameSize() << '|'
      << f.getAudioTotalBytes() << '|' << f.getAudioChunkSize() << '|' << f.getVideoFourCC() << '|'
      << f.getColormap().size() << '|' << int(f.isEndOfVideo()) << int(f.isEndOfAudio()) << '|';
  const std::size_t size = std::max({f.getVideoChunkSize(), f.getRGB24VideoFrameSize(), 1u});
  for (long long n = 0; n < static_cast<long long>(std::min<std::uint64_t>(f.getVideoTotalFrames(), 4)); ++n) {
    std::string raw(size, '#'), rgb(size, '#');
    f.readVideoFrame(raw.data(), n);
    out << f.getErrorCode() << ':' << raw << '|';
    f.readRGB24VideoFrame(rgb.data(), n);
    out << f.getErrorCode() << ':' << rgb << '|';
  }
  f.clearError();
  std::string audio(64, '#');
  for (int i = 0; i < 8 && !f.isEndOfAudio() && f.getErrorCode() == 0; ++i) {
    f.readAudio(audio.data(), audio.size());
    out << audio;
  }
  out << '|' << f.getErrorCode() << '|' << f.getAudioBytesRead();
  return out.str();
}

int openDescriptors() {
  int n = 0;
  DIR* d = opendir("/proc/self/fd");
  while (readdir(d) != nullptr) ++n;
  closedir(d);
  return n;
}

// One object through any sequence of files gives what a fresh object gives for
// the last open: no flip flag, index, colormap or counter of an earlier file
// survives (a top-down file then a height of 0 divided by zero; information
// then open doubled the OpenDML index).
TEST_F(AviHostile, AnOpenStartsFromAFreshState) {
  auto video = [](std::function<void(SimpleAvi&)> tweak) {
    SimpleAvi s;
    s.frames = patternFrames(3, 24);
    s.audioChunks = {"abcd", "efgh", "ij"};
    tweak(s);
    return s.build();
  };
  const std::vector<std::string> files = {
      write(video([](SimpleAvi& s) { s.audio = true; })),
      write(video([](SimpleAvi& s) { s.height = -2; })),
      write(video([](SimpleAvi& s) { s.height = 0; })),
      write(video([](SimpleAvi& s) { s.index = SimpleAvi::ODML, s.audio = true, s.sampleBits = 8; })),
      write(video([](SimpleAvi& s) {
        s.bits = 8, s.height = -2, s.colormap = std::string(64, '\7'), s.frames = patternFrames(2, 8);
      })),
      write(video([](SimpleAvi& s) { s.index = SimpleAvi::NO_INDEX, s.audio = true, s.audioFirst = true; })),
      write(video([](SimpleAvi& s) { s.bits = 16, s.height = -3, s.width = 3, s.frames = patternFrames(4, 24); })),
  };
  enum Call { OPEN, INFO, WRITE };
  auto call = [&](avi::File& f, Call c, const std::string& path) {
    if (c == OPEN) f.open(path.c_str(), "r");
    if (c == INFO) f.openToGetInformation(path.c_str());
    if (c == WRITE) f.open(dir.path("written.avi").c_str(), "w");
  };
  for (const std::string& second : files) {
    std::string fresh[2];
    for (Call last : {OPEN, INFO}) {
      avi::File f;
      call(f, last, second);
      fresh[last] = fingerprint(f);
    }
    for (const std::string& first : files) {
      for (Call before : {OPEN, INFO, WRITE}) {
        for (bool closeBetween : {false, true}) {
          for (Call last : {OPEN, INFO}) {
            SCOPED_TRACE(first + " then " + second + " calls " + std::to_string(before) + std::to_string(last) +
                         (closeBetween ? " closed" : ""));
            avi::File f;
            call(f, before, first);
            if (before != WRITE) fingerprint(f);  // reads move every counter
            if (closeBetween) f.close();
            f.clearError();  // a stored failure alone carries over, as documented
            call(f, last, second);
            EXPECT_EQ(fingerprint(f), fresh[last]);
          }
        }
      }
    }
  }
  // An open on an object that holds a file closes that file first.
  avi::File f;
  f.open(files[0].c_str(), "r");
  const int before = openDescriptors();
  for (int i = 0; i < 20; ++i) {
    f.open(files[i % files.size()].c_str(), "r");
    f.openToGetInformation(files[0].c_str());
  }
  EXPECT_EQ(openDescriptors(), before);
}

// A frame or piece of audio whose position cannot be reached stores a code and
// delivers nothing: no bytes from wherever the stream happened to stand.
TEST_F(AviHostile, UnreachableChunksStoreACodeAndReadNothing) {
  for (std::uint64_t base : {0x7FFFFFFFFFFFFF00ull, 0xFFFFFFFFFFFFFF00ull, 0x8000000000000000ull, 1ull << 40}) {
    for (bool audio : {false, true}) {
      SCOPED_TRACE(std::to_string(base) + (audio ? " audio" : " video"));
      SimpleAvi s;
      s.index = SimpleAvi::ODML;
      s.frames = patternFrames(2, 24);
      s.audio = true;
      s.sampleBits = 8;
      s.audioChunks = {"abcdefgh", "ijklmnop"};
      std::string b = s.build();
      // The base offset of the stream's standard index.
      b.replace(b.find(audio ? "ix01" : "ix00", b.find("movi")) + 8 + 12, 8, u64(base));
      avi::File f;
      ASSERT_EQ(f.open(write(b).c_str(), "r"), 1);
      ASSERT_EQ(f.getErrorCode(), 0u);
      std::string buf(24, '#');
      if (audio) {
        f.readAudio(buf.data(), 5);
        EXPECT_EQ(f.getErrorCode(), 10u);
        EXPECT_EQ(f.getAudioBytesRead(), 0u);
      } else {
        f.readVideoFrame(buf.data());
        EXPECT_EQ(f.getErrorCode(), 5u);
        EXPECT_EQ(f.getVideoFramesRead(), 0u);
      }
      EXPECT_EQ(buf, std::string(24, '#'));
      // The other stream still reads.
      f.clearError();
      if (audio) {
        f.readVideoFrame(buf.data(), 1);
        EXPECT_EQ(buf, s.frames[1]);
      } else {
        f.readAudio(buf.data(), 5);
        EXPECT_EQ(buf.substr(0, 5), "abcde");
      }
      EXPECT_EQ(f.getErrorCode(), 0u);
    }
  }
}

// Audio is one byte stream across its chunks, and ends where its stream header
// says, whatever the chunks hold and however it is asked for (a call may span
// chunks and end inside one; the call that reaches the end pads with zeros;
// calls after it leave the buffer alone): the output is the model's, and a
// host looping on isEndOfAudio() stops.
TEST_F(AviHostile, AudioEndsAtTheHeaderTotal) {
  const std::vector<std::string> chunks = patternFrames(3, 1000);
  std::string stored;
  for (const std::string& c : chunks) stored += c;
  for (std::uint32_t total : {0u, 1u, 200u, 999u, 1000u, 1001u, 2999u, 3000u, 3001u, 5000u}) {
    SimpleAvi s;
    s.video = false;
    s.audio = true;
    s.sampleBits = 8;  // one byte a sample: the total is the length
    s.audioChunks = chunks;
    s.audioLength = total;
    const std::string path = write(s.build());
    for (std::size_t ask : {std::size_t{1}, std::size_t{7}, std::size_t{1000}, std::size_t{4093}}) {
      SCOPED_TRACE(std::to_string(total) + " bytes asked " + std::to_string(ask) + " at a time");
      avi::File f;
      f.open(path.c_str(), "r");
      EXPECT_EQ(f.getAudioTotalBytes(), total);
      EXPECT_EQ(f.getAudioChunkSize(), 1000u);
      std::string got;
      int calls = 0;
      while (!f.isEndOfAudio() && f.getErrorCode() == 0 && calls++ < 10000) {
        std::string buf(ask, '#');
        f.readAudio(buf.data(), ask);
        // A call that fails keeps what it delivered before the failure.
        got += f.getErrorCode() == 0 ? buf : buf.substr(0, f.getAudioBytesRead() - got.size());
      }
      if (total <= stored.size()) {
        EXPECT_EQ(f.getErrorCode(), 0u);
        EXPECT_TRUE(f.isEndOfAudio());
        EXPECT_EQ(f.getAudioBytesRead(), total);
        // The data up to the total, then zeros to the end of the last call.
        std::string model = stored.substr(0, total);
        model.resize(total == 0 ? 0 : (total + ask - 1) / ask * ask, '\0');
        EXPECT_EQ(got, model);
      } else {
        // The index runs out first.
        EXPECT_EQ(f.getErrorCode(), 10u);
        EXPECT_FALSE(f.isEndOfAudio());
        EXPECT_EQ(f.getAudioBytesRead(), stored.size());
        EXPECT_EQ(got, stored);
      }
      std::string after(ask, '#');
      f.readAudio(after.data(), ask);
      if (total <= stored.size()) {
        EXPECT_EQ(after, std::string(ask, '#'));
      }
      // Back to the start.
      f.clearError();
      f.resetAudio();
      f.readAudio(after.data(), ask);
      EXPECT_EQ(f.getAudioBytesRead(), std::min<std::size_t>({ask, total, stored.size()}));
      if (total > 0) {
        EXPECT_EQ(after[0], stored[0]);
      }
    }
  }
}

// Sizes taken from a file never promise more than the file holds: each of
// these small files stores a code at open and every size query stays within
// a small multiple of the file's length.
TEST_F(AviHostile, SizesAreBoundedByTheFile) {
  auto withAudio = [] {
    SimpleAvi s;
    s.frames = patternFrames(2, 24);
    s.audio = true;
    s.sampleBits = 8;
    s.audioChunks = {"abcd", "efgh"};
    return s;
  };
  // Patches 'value' at 'offset' past the first 'id' found from 'from'.
  auto patch = [](SimpleAvi s, const std::string& id, std::size_t offset, const std::string& value,
                  const std::string& from = "RIFF") {
    std::string b = s.build();
    return b.replace(b.find(id, b.find(from)) + offset, value.size(), value);
  };
  SimpleAvi odml = withAudio(), scan = withAudio(), big = withAudio();
  odml.index = SimpleAvi::ODML;
  scan.index = SimpleAvi::NO_INDEX;
  big.bits = 16;
  big.width = 32767;
  big.height = 32767;
  big.frames = patternFrames(1, 16);
  SimpleAvi big8 = big;
  big8.bits = 8;
  big8.colormap = std::string(1024, '\1');
  struct Case {
    const char* what;
    std::string bytes;
    unsigned code;
    bool scanned = false;  // found by open's scan, which openToGetInformation skips
  };
  const std::vector<Case> cases = {
      {"idx1 video size 0x7FFFFFFE", patch(withAudio(), "idx1", 8 + 12, u32(0x7FFFFFFE)), 45},
      // The audio stream's number with the video kind passes the video check.
      {"idx1 01db of 0xFFFFFFFF", patch(withAudio(), "idx1", 8 + 16, "01db" + u32(0) + u32(4) + u32(0xFFFFFFFF)), 45},
      {"idx1 audio size 0xFFFFFFF0", patch(withAudio(), "idx1", 8 + 16 + 12, u32(0xFFFFFFF0)), 45},
      {"ix01 audio size 0x7FFFFFF0", patch(odml, "ix01", 8 + 24 + 4, u32(0x7FFFFFF0), "movi"), 45},
      {"scanned chunk of 0x7FFFFFF0", patch(scan, "00db", 4, u32(0x7FFFFFF0), "movi"), 45, true},
      {"16 bits, 32767 x 32767, a 16-byte frame", big.build(), 18},
      {"8 bits, 32767 x 32767, a 16-byte frame", big8.build(), 18},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const std::string path = write(c.bytes);
    for (bool info : {false, true}) {
      if (info && c.scanned) continue;
      avi::File f;
      if (info) {
        EXPECT_EQ(f.openToGetInformation(path.c_str()), 0);
      } else {
        f.open(path.c_str(), "r");
      }
      EXPECT_EQ(f.getErrorCode(), c.code);
      const std::uint64_t bound = 4 * c.bytes.size();
      EXPECT_LE(f.getVideoChunkSize(), bound);
      EXPECT_LE(f.getRGB24VideoFrameSize(), bound);
      EXPECT_LE(f.getIndexedVideoFrameSize(), bound);
      EXPECT_LE(f.getAudioChunkSize(), bound);
      for (long long n = 0; n < static_cast<long long>(f.getVideoTotalFrames()); ++n) {
        EXPECT_LE(f.getRawVideoFrameSize(n), bound);
      }
    }
  }
}

// The walks take their chunk headers from a block buffer: runs of small and
// odd-sized chunks, headers across the buffer's edges, and an idx1 full of
// entries that name no stream all give the frames a plain walk finds.
TEST_F(AviHostile, LongRunsOfSmallChunks) {
  // Sizes 0 to 5 repeated, so that the headers fall on every offset modulo
  // the block; well past one 128 KiB block.
  auto junkOf = [](std::size_t bytes) {
    std::string junk;
    for (int i = 0; junk.size() < bytes; ++i) junk += chunk(i % 7 == 0 ? "LIST" : "JUNK", std::string(i % 6, 'j'));
    return junk;
  };
  const std::string junk = junkOf(300000);
  const std::vector<std::string> frames = patternFrames(5, 24);
  const std::string hdrl = list("LIST", "hdrl", avih(5, 1) + list("LIST", "strl", strh("vids", 1, 5, 5, 0) +
                                                                                         bitmapInfo(4, 2, 24)));
  std::string movi;
  for (const std::string& fr : frames) movi += junkOf(40000) + chunk("00db", fr);
  movi += junk;
  // A legacy index of 20000 entries that are not stream numbers, then the
  // real ones, each pointing at its chunk.
  std::string idx1;
  for (int i = 0; i < 20000; ++i) idx1 += std::string(i % 2 ? "x0db" : "+\xff" "db") + u32(0) + u32(4) + u32(24);
  std::size_t at = 0;
  for (const std::string& fr : frames) {
    at = movi.find(chunk("00db", fr), at);
    idx1 += "00db" + u32(0) + u32(static_cast<std::uint32_t>(4 + at)) + u32(24);
    ++at;
  }
  for (bool withIdx1 : {false, true}) {
    SCOPED_TRACE(withIdx1 ? "idx1" : "scan");
    const std::string body = junk + hdrl + junk + list("LIST", "movi", movi) + (withIdx1 ? chunk("idx1", idx1) : "") +
                             chunk("JUNK", "end");
    avi::File f;
    ASSERT_EQ(f.open(write(list("RIFF", "AVI ", body)).c_str(), "r"), 1);
    ASSERT_EQ(f.getErrorCode(), 0u) << f.getErrorMsg();
    ASSERT_EQ(f.getVideoTotalFrames(), frames.size());
    for (const std::string& fr : frames) {
      std::string buf(24, '#');
      f.readVideoFrame(buf.data());
      EXPECT_EQ(f.getErrorCode(), 0u) << f.getErrorMsg();
      EXPECT_EQ(buf, fr);
    }
  }
}

}  // namespace
