// A plain model of the file the AVI writer makes for a file of one RIFF
// segment, built whole from the layout rules, and a runner that hands the same
// description to avi::File. The tests compare the two byte for byte and give
// the written files to other readers.
#ifndef RIVULET_TESTS_AVI_WRITE_MODEL_H
#define RIVULET_TESTS_AVI_WRITE_MODEL_H

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "avi_builder.h"
#include "rivulet/avi.h"

namespace avitest {

struct WriteCase {
  const char* name;
  bool video = false;
  std::uint32_t width = 0, height = 0;
  double frameRate = 25.0;
  std::string fourCC;
  std::uint32_t bits = 24;
  std::uint32_t colours = 0;  // palette entries given to setColormap (0: none)
  bool audio = false;
  double sampleRate = 8000.0;
  std::uint32_t sampleBits = 16, channels = 1, chunkBytes = 0;
  bool audioFirst = false;     // setAudioInfo before setVideoInfo
  std::uint64_t slots = 4096;  // setNumSuperIndexEntries
  // The calls in order: 'v' a frame of the declared size, 's' a frame through
  // the sized form (sizes from 'sizes' in turn), 'a' an audio buffer.
  std::string calls;
  std::vector<std::uint32_t> sizes;
};

inline void PrintTo(const WriteCase& c, std::ostream* os) { *os << c.name; }

// The truncation of the rate rule: toward zero, low 32 bits.
inline std::uint32_t trunc32(double v) { return static_cast<std::uint32_t>(static_cast<std::int64_t>(v)); }

inline std::uint32_t declaredFrameSize(const WriteCase& c) {
  auto padded = [](std::uint32_t row) { return row + (4 - row % 4) % 4; };
  if (c.bits == 24) return padded(3 * c.width) * c.height;
  if (c.bits == 8) return padded(c.width) * c.height;
  return 0;
}

inline std::vector<avi::tagRGBQUAD> palette(std::uint32_t entries) {
  std::vector<avi::tagRGBQUAD> map(entries);
  for (std::uint32_t i = 0; i < entries; ++i) {
    map[i] = {static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(255 - i), static_cast<std::uint8_t>(i * 3),
              static_cast<std::uint8_t>(i & 1)};
  }
  return map;
}

// The payloads of the chunks, in call order (audio without its pad byte).
struct Payloads {
  std::vector<std::string> video, audio;
  std::vector<char> order;  // 'v' or 'a'
};

inline Payloads payloads(const WriteCase& c) {
  Payloads p;
  std::size_t sized = 0;
  for (std::size_t i = 0; i < c.calls.size(); ++i) {
    const char k = c.calls[i];
    if (k == 'a') {
      p.audio.push_back(patternFrame(c.chunkBytes, static_cast<int>(100 + i)));
      p.order.push_back('a');
    } else {
      const std::uint32_t size = k == 's' ? c.sizes[sized++] : declaredFrameSize(c);
      p.video.push_back(patternFrame(size, static_cast<int>(i)));
      p.order.push_back('v');
    }
  }
  return p;
}

// Writes the case with avi::File; the stored code after close is returned.
inline unsigned writeCase(const WriteCase& c, const std::string& path) {
  avi::File f;
  if (!f.open(path.c_str(), "w")) return f.getErrorCode();
  if (c.slots != 4096) f.setNumSuperIndexEntries(c.slots);
  if (c.audio && c.audioFirst) f.setAudioInfo(c.sampleRate, c.sampleBits, c.channels, c.chunkBytes);
  if (c.video) f.setVideoInfo(c.width, c.height, c.frameRate, c.fourCC, c.bits);
  if (c.audio && !c.audioFirst) f.setAudioInfo(c.sampleRate, c.sampleBits, c.channels, c.chunkBytes);
  if (c.colours) f.setColormap(palette(c.colours));
  const Payloads p = payloads(c);
  std::size_t v = 0, a = 0, s = 0;
  for (char k : c.calls) {
    if (k == 'a') {
      std::string buf = p.audio[a++];
      f.writeAudio(buf.data());
    } else if (k == 's') {
      std::string buf = p.video[v++];
      f.writeVideoFrame(buf.data(), c.sizes[s++]);
    } else {
      std::string buf = p.video[v++];
      f.writeVideoFrame(buf.data());
    }
  }
  f.close();
  return f.getErrorCode();
}

// The whole file of a one-segment case, from the layout rules.
inline std::string modelFile(const WriteCase& c) {
  const bool both = c.video && c.audio;
  const std::string vs = both && c.audioFirst ? "1" : "0", as = both && !c.audioFirst ? "1" : "0";
  const std::string vtag = "0" + vs + (c.fourCC.size() == 4 ? "dc" : "db"), atag = "0" + as + "wb";
  const std::uint32_t frameSize = declaredFrameSize(c);
  const std::uint32_t sampleSize = (c.sampleBits * c.channels) >> 3;
  const std::uint64_t n = c.slots;
  const std::uint64_t h = 108 + (c.video ? 16 * n + 148 : 0) + (c.audio ? 16 * n + 236 : 0);
  const std::uint64_t moviPos = h + 28;

  // The movi list's chunks, and the entries of both indexes.
  const Payloads p = payloads(c);
  std::string movi, vix, aix, vidx1, aidx1;
  std::uint32_t nv = 0, na = 0;
  std::size_t vi = 0, ai = 0;
  for (char k : p.order) {
    const auto rel = static_cast<std::uint32_t>(4 + movi.size());
    const bool isAudio = k == 'a';
    const std::string& data = isAudio ? p.audio[ai++] : p.video[vi++];
    const std::string& tag = isAudio ? atag : vtag;
    const auto size = static_cast<std::uint32_t>(data.size());
    (isAudio ? aidx1 : vidx1) += tag + u32(0) + u32(rel) + u32(size);
    (isAudio ? aix : vix) += u32(rel + 8) + u32(size);
    ++(isAudio ? na : nv);
    // Only audio gets a pad byte: an odd video chunk leaves the next one at an
    // odd position, which the indexes point at all the same.
    movi += tag + u32(size) + data + std::string(isAudio ? size & 1 : 0, '\0');
  }
  struct Super {
    std::uint64_t pos;
    std::uint32_t size, duration;
  };
  auto ixChunk = [&](const std::string& stream, const std::string& tag, std::uint32_t count,
                     const std::string& entries, std::uint32_t perEntry, Super& super) {
    super = {h + 32 + movi.size(), 32 + 8 * count, perEntry ? count * perEntry : count};
    return "ix0" + stream + u32(24 + 8 * count) + u16(2) + u8(0) + u8(1) + u32(count) + tag + u64(moviPos) + u32(0) +
           entries;
  };
  Super vsuper{}, asuper{};
  if (c.video) movi += ixChunk(vs, vtag, nv, vix, 0, vsuper);
  if (c.audio) movi += ixChunk(as, atag, na, aix, sampleSize, asuper);
  const std::string idx1 = "idx1" + u32(static_cast<std::uint32_t>(vidx1.size() + aidx1.size())) +
                           (c.video ? vidx1 : "") + (c.audio ? aidx1 : "");
  const std::uint64_t end = h + 32 + movi.size() + idx1.size();

  auto indx = [](const std::string& tag, const Super& s) {
    return "indx" + u32(40) + u16(4) + u8(0) + u8(0) + u32(1) + tag + std::string(12, '\0') + u64(s.pos) +
           u32(s.size) + u32(s.duration);
  };
  std::string vlist, alist;
  if (c.video) {
    const std::string map = c.bits == 8 ? std::string(reinterpret_cast<const char*>(palette(c.colours).data()),
                                                      4 * c.colours)
                                        : "";
    const std::uint32_t fcc = c.fourCC.size() == 4 ? get32(c.fourCC, 0) : 0;
    vlist = list("LIST", "strl",
                 "strh" + u32(56) + "vidsDIB " + u32(0) + u32(0) + u32(0) + u32(1000000) +
                     u32(trunc32(c.frameRate * 1000000.0)) + u32(0) + u32(nv) + u32(frameSize) + u32(0) + u32(0) +
                     std::string(8, '\0') + "strf" + u32(static_cast<std::uint32_t>(40 + map.size())) + u32(40) +
                     u32(c.width) + u32(c.height) + u16(1) + u16(static_cast<std::uint16_t>(c.bits)) + u32(fcc) +
                     u32(frameSize) + u32(0) + u32(0) + u32(c.colours) + u32(0) + map + indx(vtag, vsuper));
  }
  if (c.audio) {
    const std::uint32_t scale = trunc32(4294967295.0 / c.sampleRate);
    const std::uint32_t rate = trunc32(scale * c.sampleRate), perSecond = trunc32(c.sampleRate + 0.5);
    const std::uint32_t length = sampleSize ? na * c.chunkBytes / sampleSize : 0;
    alist = list("LIST", "strl",
                 "strh" + u32(56) + "auds" + "    " + u32(0) + u32(0) + u32(0) + u32(scale) + u32(rate) + u32(0) +
                     u32(length) + u32(c.chunkBytes) + u32(0) + u32(sampleSize) + std::string(8, '\0') + "strf" +
                     u32(128) + u16(1) + u16(static_cast<std::uint16_t>(c.channels)) + u32(perSecond) +
                     u32(perSecond * (sampleSize & 0xFFFF)) + u16(static_cast<std::uint16_t>(sampleSize)) +
                     u16(static_cast<std::uint16_t>(c.sampleBits)) + u16(0) + std::string(110, '\0') +
                     indx(atag, asuper));
  }
  const std::uint32_t usPerFrame = trunc32(1000000.0 / (c.video ? c.frameRate : c.sampleRate));
  std::string head = "RIFF" + u32(static_cast<std::uint32_t>(end - 8)) + "AVI " + "LIST" +
                     u32(static_cast<std::uint32_t>(h)) + "hdrl" + "avih" + u32(56) + u32(usPerFrame) + u32(0) +
                     u32(0) + u32(0x810) + u32(c.video ? nv : na) + u32(0) + u32(c.video + c.audio) +
                     u32(c.video ? frameSize : c.chunkBytes + (c.chunkBytes & 1)) + u32(c.video ? c.width : 0) +
                     u32(c.video ? c.height : 0) + std::string(16, '\0') + (both && c.audioFirst ? alist + vlist
                                                                                                : vlist + alist) +
                     "LIST" + u32(16) + "odml" + "dmlh" + u32(4) + u32(nv);
  const std::int64_t spare = static_cast<std::int64_t>(h) - static_cast<std::int64_t>(head.size() - 20);
  if (spare >= 8) head += "JUNK" + u32(static_cast<std::uint32_t>(spare - 8)) + std::string(spare - 8, '\0');
  if (spare == 4) head += "JUNK";  // its size field lies under the movi frame
  return head + "LIST" + u32(static_cast<std::uint32_t>(4 + movi.size())) + "movi" + movi + idx1;
}

// The cases of the sweeps: every depth, audio alone, both streams in both
// orders, odd audio chunks, compressed frames, the slot counts that leave 0, 4
// and 8 bytes of spare room in the header.
inline std::vector<WriteCase> writeCases() {
  auto video = [](const char* name, std::uint32_t w, std::uint32_t h, std::uint32_t bits, const std::string& calls) {
    WriteCase c;
    c.name = name, c.video = true, c.width = w, c.height = h, c.bits = bits, c.calls = calls;
    return c;
  };
  auto withAudio = [](WriteCase c, double rate, std::uint32_t bits, std::uint32_t channels, std::uint32_t bytes) {
    c.audio = true, c.sampleRate = rate, c.sampleBits = bits, c.channels = channels, c.chunkBytes = bytes;
    return c;
  };
  std::vector<WriteCase> out;
  WriteCase c = video("rgb24_odd_rows_29_97", 641, 3, 24, "vvv");
  c.frameRate = 29.97;
  out.push_back(c);
  out.push_back(video("rgb24_2x3", 2, 3, 24, "v"));
  c = video("pal8_256_colours", 7, 3, 8, "vv");
  c.colours = 256;
  out.push_back(c);
  c = video("pal8_16_colours", 32, 8, 8, "vvvv");
  c.colours = 16;
  out.push_back(c);
  c = video("rgb16_sized", 33, 17, 16, "sss");
  c.sizes = {68 * 17, 68 * 17, 68 * 17};
  c.colours = 3;  // counted in biClrUsed, not written
  out.push_back(c);
  c = video("rgb32_sized", 8, 6, 32, "ss");
  c.sizes = {192, 192};
  out.push_back(c);
  c = video("compressed_mjpg", 16, 16, 24, "ssss");
  c.fourCC = "MJPG", c.sizes = {100, 38, 768, 2};
  out.push_back(c);
  c = video("compressed_odd_sizes", 16, 16, 24, "sss");
  c.fourCC = "XVID", c.sizes = {101, 1, 333};
  out.push_back(c);
  c = video("three_char_fourcc_is_uncompressed", 4, 2, 24, "vv");
  c.fourCC = "YUY";
  out.push_back(c);
  out.push_back(withAudio(video("audio_only_44100_stereo", 0, 0, 24, "aaa"), 44100.0, 16, 2, 1764));
  out.back().video = false;
  out.push_back(withAudio(video("audio_only_odd_chunks", 0, 0, 24, "aaaaa"), 11025.0, 8, 1, 5));
  out.back().video = false;
  out.push_back(withAudio(video("video_then_audio", 32, 16, 24, "vavava"), 8000.0, 16, 1, 640));
  c = withAudio(video("audio_then_video_48000", 33, 17, 24, "avavaa"), 48000.0, 16, 2, 7680);
  c.audioFirst = true, c.frameRate = 25.0;
  out.push_back(c);
  c = withAudio(video("both_odd_audio_interleave", 6, 5, 24, "aavaav"), 8000.0, 8, 1, 333);
  out.push_back(c);
  c = withAudio(video("one_slot_both_streams", 4, 2, 24, "va"), 8000.0, 16, 1, 16);
  c.slots = 1;  // no JUNK: the movi list follows odml directly
  out.push_back(c);
  c = video("one_slot_video", 4, 2, 24, "vv");
  c.slots = 1;  // a JUNK chunk of size 0
  out.push_back(c);
  c = video("one_slot_pal8_four_spare", 4, 2, 8, "v");
  c.slots = 1, c.colours = 1;  // 4 bytes spare: a stray "JUNK" under the movi frame
  out.push_back(c);
  out.push_back(video("declared_never_written", 4, 2, 24, ""));
  return out;
}

}  // namespace avitest

#endif  // RIVULET_TESTS_AVI_WRITE_MODEL_H
