// Builds small AVI files byte by byte for the reader's tests, and keeps them
// in a temporary directory. When RIVULET_AVI_SEED_DIR is set, every file
// written also lands there, as a seed for the fuzzer. Also the helpers that
// run the independent readers (ffmpeg, GStreamer) and compare bytes.
#ifndef RIVULET_TESTS_AVI_BUILDER_H
#define RIVULET_TESTS_AVI_BUILDER_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace avitest {

inline std::string u8(std::uint8_t v) { return std::string(1, static_cast<char>(v)); }
inline std::string u16(std::uint16_t v) { return u8(v & 0xFF) + u8(v >> 8); }
inline std::string u32(std::uint32_t v) { return u16(v & 0xFFFF) + u16(v >> 16); }
inline std::string u64(std::uint64_t v) { return u32(static_cast<std::uint32_t>(v)) + u32(v >> 32); }
inline std::uint32_t get32(const std::string& s, std::size_t at) {
  std::uint32_t v = 0;
  for (int k = 3; k >= 0; --k) v = v << 8 | static_cast<unsigned char>(s[at + k]);
  return v;
}
inline void put32(std::string& s, std::size_t at, std::uint32_t v) { s.replace(at, 4, u32(v)); }
inline void put64(std::string& s, std::size_t at, std::uint64_t v) { s.replace(at, 8, u64(v)); }

// A chunk with the size of its payload, padded to even; a list.
inline std::string chunk(const std::string& id, const std::string& payload) {
  return id + u32(static_cast<std::uint32_t>(payload.size())) + payload + std::string(payload.size() & 1, '\0');
}
inline std::string list(const std::string& kind, const std::string& type, const std::string& body) {
  return kind + u32(static_cast<std::uint32_t>(body.size() + 4)) + type + body;
}

inline std::string avih(std::uint32_t frames, std::uint32_t streams, std::uint32_t flags = 0x10,
                        std::uint32_t width = 0, std::uint32_t height = 0) {
  return chunk("avih", u32(100000) + u32(0) + u32(0) + u32(flags) + u32(frames) + u32(0) + u32(streams) + u32(0) +
                           u32(width) + u32(height) + std::string(16, '\0'));
}
// A 'strh' of 56 bytes (or 'size' bytes, cut or zero-extended).
inline std::string strh(const std::string& type, std::uint32_t scale, std::uint32_t rate, std::uint32_t length,
                        std::uint32_t sampleSize, std::size_t size = 56) {
  std::string p = type + std::string(16, '\0') + u32(scale) + u32(rate) + u32(0) + u32(length) + u32(0) + u32(0) +
                  u32(sampleSize) + u16(1) + u16(2) + u16(3) + u16(4);
  p.resize(size, '\0');
  return chunk("strh", p);
}
inline std::string bitmapInfo(std::uint32_t width, std::int32_t height, std::uint16_t bits,
                              std::uint32_t compression = 0, const std::string& colormap = "",
                              std::uint32_t biSize = 40) {
  return chunk("strf", u32(biSize) + u32(width) + u32(static_cast<std::uint32_t>(height)) + u16(1) + u16(bits) +
                           u32(compression) + std::string(20, '\0') + colormap);
}
inline std::string waveFormat(std::uint16_t tag, std::uint16_t channels, std::uint32_t rate, std::uint16_t bits,
                              std::size_t size = 18) {
  const std::uint16_t align = static_cast<std::uint16_t>(channels * bits / 8);
  std::string p = u16(tag) + u16(channels) + u32(rate) + u32(rate * align) + u16(align) + u16(bits) + u16(0);
  p.resize(size, '\0');
  return chunk("strf", p);
}

// A file of one video stream and/or one audio stream, interleaved frame by
// frame, with the index forms a test asks for.
struct SimpleAvi {
  enum Index { NO_INDEX, IDX1, ODML, ODML_AND_IDX1 };

  bool video = true;
  std::uint32_t width = 4;
  std::int32_t height = 2;  // negative: top-down rows
  std::uint16_t bits = 24;
  std::uint32_t compression = 0;
  std::string colormap;
  std::vector<std::string> frames;
  std::string videoTag;  // default "0Ndb" of its stream number

  bool audio = false;
  std::uint16_t formatTag = 1, channels = 1, sampleBits = 16;
  std::uint32_t sampleRate = 8000;
  std::vector<std::string> audioChunks;
  std::int64_t audioLength = -1;  // dwLength in samples; -1: from the chunks
  bool audioFirst = false;        // audio is stream 0

  Index index = IDX1;
  std::uint32_t flags = 0x10;
  std::string trailer = chunk("JUNK", "tail");  // behind 'movi'; empty: 'movi' ends the file

  std::string vtag() const { return videoTag.empty() ? tag(audio && audioFirst, "db") : videoTag; }
  std::string atag() const { return tag(video && !audioFirst, "wb"); }

  std::string build() const {
    // Two passes: the OpenDML offsets depend on the header's length, which
    // does not change.
    std::string file = buildWith(0, 0, 0);
    const std::size_t movi = file.find("movi");
    return buildWith(movi, file.find("ix" + vtag().substr(0, 2), movi), file.find("ix" + atag().substr(0, 2), movi));
  }

 private:
  // "0Nxx", filled in place: g++ 12 warns falsely (-Wrestrict) on a literal
  // put in front of a temporary string.
  static std::string tag(bool one, const char* kind) {
    std::string t = "00";
    t[1] = one ? '1' : '0';
    return t.append(kind);
  }
  bool odml() const { return index == ODML || index == ODML_AND_IDX1; }

  std::string strl(bool isVideo, std::size_t ixPos, std::size_t ixSize) const {
    std::string body;
    if (isVideo) {
      body = strh("vids", 1, 5, static_cast<std::uint32_t>(frames.size()), 0) +
             bitmapInfo(width, height, bits, compression, colormap);
    } else {
      const std::uint32_t align = channels * (sampleBits / 8), frame = align == 0 ? 1 : align;
      std::size_t bytes = 0;
      for (const auto& c : audioChunks) bytes += c.size();
      const auto length = static_cast<std::uint32_t>(audioLength >= 0 ? audioLength : bytes / frame);
      body = strh("auds", align, sampleRate * align, length, align) +
             waveFormat(formatTag, channels, sampleRate, sampleBits);
    }
    if (odml()) {
      body += chunk("indx", u16(4) + u8(0) + u8(0) + u32(1) + (isVideo ? vtag() : atag()) + std::string(12, '\0') +
                                u64(ixPos) + u32(static_cast<std::uint32_t>(ixSize)) + u32(0));
    }
    return list("LIST", "strl", body);
  }

  std::string buildWith(std::size_t moviPos, std::size_t ixvPos, std::size_t ixaPos) const {
    std::string moviBody, idx1, vix, aix;
    std::uint32_t vn = 0, an = 0;
    auto add = [&](const std::string& tag, const std::string& data, std::string& ix, std::uint32_t& count) {
      const auto rel = static_cast<std::uint32_t>(4 + moviBody.size()), size = static_cast<std::uint32_t>(data.size());
      idx1 += tag + u32(0x10) + u32(rel) + u32(size);  // at the chunk's header
      ix += u32(rel + 8) + u32(size);                  // at its data
      ++count;
      moviBody += chunk(tag, data);
    };
    for (std::size_t i = 0; i < std::max(frames.size(), audioChunks.size()); ++i) {
      if (video && i < frames.size()) add(vtag(), frames[i], vix, vn);
      if (audio && i < audioChunks.size()) add(atag(), audioChunks[i], aix, an);
    }
    std::string vixChunk, aixChunk;
    if (odml()) {
      auto ixChunk = [&](const std::string& tag, std::uint32_t count, const std::string& entries) {
        const std::string head = u16(2) + u8(0) + u8(1) + u32(count) + tag + u64(moviPos) + u32(0);
        return chunk("ix" + tag.substr(0, 2), head + entries);
      };
      vixChunk = video ? ixChunk(vtag(), vn, vix) : "";
      aixChunk = audio ? ixChunk(atag(), an, aix) : "";
      moviBody += vixChunk + aixChunk;
    }
    const std::string vl = video ? strl(true, ixvPos, vixChunk.size()) : "";
    const std::string al = audio ? strl(false, ixaPos, aixChunk.size()) : "";
    const std::string hdrl = avih(video ? static_cast<std::uint32_t>(frames.size()) : 0, video + audio, flags, width,
                                  static_cast<std::uint32_t>(height)) +
                             (audioFirst ? al + vl : vl + al);
    std::string body = list("LIST", "hdrl", hdrl) + list("LIST", "movi", moviBody);
    if (index == IDX1 || index == ODML_AND_IDX1) body += chunk("idx1", idx1);
    return list("RIFF", "AVI ", body + trailer);
  }
};

// Frame i of a test video: distinct bytes everywhere.
inline std::string patternFrame(std::size_t size, int i) {
  std::string f(size, '\0');
  for (std::size_t k = 0; k < size; ++k) f[k] = static_cast<char>((k * 7 + i * 31u + 1) & 0xFF);
  return f;
}
inline std::vector<std::string> patternFrames(int count, std::size_t size) {
  std::vector<std::string> out;
  for (int i = 0; i < count; ++i) out.push_back(patternFrame(size, i));
  return out;
}

// Rows of a frame in the other order.
inline std::string flipRows(const std::string& frame, std::size_t rows) {
  const std::size_t row = frame.size() / rows;
  std::string out;
  for (std::size_t r = rows; r-- > 0;) out += frame.substr(r * row, row);
  return out;
}

inline std::string readWhole(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

class TempDir {
 public:
  TempDir() {
    std::string t = (std::filesystem::temp_directory_path() / "rivulet_avi_XXXXXX").string();
    path_ = mkdtemp(t.data());
  }
  ~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  std::string path(const std::string& name) const { return (path_ / name).string(); }

  // Writes 'bytes' to 'name' and returns the full path.
  std::string write(const std::string& name, const std::string& bytes) const {
    std::ofstream(path(name), std::ios::binary) << bytes;
    if (const char* seeds = std::getenv("RIVULET_AVI_SEED_DIR"); seeds != nullptr && bytes.size() <= 65536) {
      static int counter = 0;
      std::ofstream(std::string(seeds) + "/test_" + std::to_string(counter++) + "_" + name, std::ios::binary) << bytes;
    }
    return path(name);
  }

 private:
  std::filesystem::path path_;
};

// A fixture that writes each built file under a new name, after the test, so
// that files still open keep their bytes.
class BuiltFiles : public ::testing::Test {
 protected:
  TempDir dir;
  int count = 0;
  std::string write(const std::string& bytes) {
    return dir.write(::testing::UnitTest::GetInstance()->current_test_info()->name() + std::to_string(count++) + ".avi",
                     bytes);
  }
};

// ---- Independent readers (ffmpeg, GStreamer) and comparisons --------------

// Runs a shell command with its output dropped; true when it exits with 0.
inline bool run(const std::string& command) { return std::system(("(" + command + ") >/dev/null 2>&1").c_str()) == 0; }
inline bool haveFfmpeg() { return run("ffmpeg -version"); }
inline bool haveAvidemux() { return run("gst-inspect-1.0 avidemux"); }

// How many packets of stream 'kind' ("v" or "a") ffprobe finds, or with
// 'decode' how many frames it decodes.
inline std::size_t ffprobeCount(const std::string& path, const std::string& kind, bool decode = false) {
  const std::string what = decode ? "frames" : "packets";
  std::string out;
  const std::string command = "ffprobe -v error -select_streams " + kind + ":0 -count_" + what +
                              " -show_entries stream=nb_read_" + what + " -of csv=p=0 " + path;
  if (FILE* p = popen(command.c_str(), "r")) {
    char buf[64];
    while (std::fgets(buf, sizeof buf, p) != nullptr) out += buf;
    pclose(p);
  }
  return std::strtoul(out.c_str(), nullptr, 10);
}

// Adler-32 as ffmpeg's framecrc computes it: both sums start at 0. Folded every
// 5552 bytes, the most that cannot overflow 32 bits.
inline std::uint32_t adler32(const char* p, std::size_t n) {
  std::uint32_t a = 0, b = 0;
  for (std::size_t at = 0; at < n;) {
    for (const std::size_t end = std::min(n, at + 5552); at < end; ++at) {
      a += static_cast<unsigned char>(p[at]);
      b += a;
    }
    a %= 65521;
    b %= 65521;
  }
  return b << 16 | a;
}

// Size and Adler-32 of every video packet ffmpeg copies out of 'path'.
inline std::vector<std::pair<std::size_t, std::uint32_t>> ffmpegFrameCrcs(const std::string& path,
                                                                           const std::string& out) {
  std::vector<std::pair<std::size_t, std::uint32_t>> crcs;
  if (!run("ffmpeg -v error -y -i " + path + " -map 0:v -c copy -f framecrc " + out)) return crcs;
  std::istringstream lines(readWhole(out));
  for (std::string line; std::getline(lines, line);) {
    unsigned stream, crc;
    long long pts, dts, duration;
    std::size_t size;
    if (line[0] != '#' &&
        std::sscanf(line.c_str(), "%u, %lld, %lld, %lld, %zu, 0x%x", &stream, &pts, &dts, &duration, &size, &crc) == 6)
      crcs.emplace_back(size, crc);
  }
  return crcs;
}

// GStreamer's avidemux hands the buffers of its first 'kind' pad ("video" or
// "audio") to files dir/000000, dir/000001...; with 'keep' only the last
// 'keep' files stay. avidemux gives uncompressed frames top-down.
inline std::string gstBufferPath(const std::string& dir, int n) {
  char name[16];
  std::snprintf(name, sizeof name, "/%06d", n);
  return dir + name;
}
inline bool gstDemux(const std::string& file, const std::string& kind, const std::string& dir, int keep = 0) {
  std::filesystem::create_directories(dir);
  return run("gst-launch-1.0 -q filesrc location=" + file + " ! avidemux name=d d." + kind +
             "_0 ! multifilesink" + (keep ? " max-files=" + std::to_string(keep) : std::string()) +
             " location=" + dir + "/%06d");
}
// All buffers from the first, after a gstDemux that kept them all.
inline std::vector<std::string> gstBuffers(const std::string& dir) {
  std::vector<std::string> out;
  for (int n = 0; std::filesystem::exists(gstBufferPath(dir, n)); ++n) out.push_back(readWhole(gstBufferPath(dir, n)));
  return out;
}

inline ::testing::AssertionResult sameBytes(const std::string& a, const std::string& b) {
  if (a == b) return ::testing::AssertionSuccess();
  const std::size_t at = std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first - a.begin();
  return ::testing::AssertionFailure() << "sizes " << a.size() << " and " << b.size() << ", first difference at "
                                       << at;
}

inline std::string join(const std::vector<std::string>& parts) {
  std::string all;
  for (const auto& p : parts) all += p;
  return all;
}

}  // namespace avitest

#endif  // RIVULET_TESTS_AVI_BUILDER_H
