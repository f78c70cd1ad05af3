// Files of the AVI writer read by two independent readers, ffmpeg and
// GStreamer's avidemux: the packets each hands out, counted and joined, equal
// the frames and audio buffers that were written.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "avi_builder.h"
#include "avi_write_model.h"
#include "rivulet/avi.h"

using namespace avitest;

namespace {

bool run(const std::string& command) { return std::system((command + " >/dev/null 2>&1").c_str()) == 0; }

std::string output(const std::string& command) {
  std::string out;
  if (FILE* p = popen(command.c_str(), "r")) {
    char buf[256];
    while (std::fgets(buf, sizeof buf, p)) out += buf;
    pclose(p);
  }
  return out;
}

std::string join(const std::vector<std::string>& parts) {
  std::string all;
  for (const auto& p : parts) all += p;
  return all;
}

// The packets ffmpeg finds in stream 'kind' ("v" or "a"): how many, and their
// bytes joined.
std::pair<std::size_t, std::string> ffmpegPackets(const std::string& file, const std::string& kind,
                                                  const std::string& out) {
  const std::string count = output("ffprobe -v error -select_streams " + kind +
                                   " -count_packets -show_entries stream=nb_read_packets -of csv=p=0 " + file);
  if (!run("ffmpeg -v error -y -i " + file + " -map 0:" + kind + " -c copy -f data " + out)) return {0, ""};
  return {std::strtoul(count.c_str(), nullptr, 10), readWhole(out)};
}

// The buffers GStreamer's avidemux hands out on its first pad of 'kind'
// ("video" or "audio"), one file each.
std::vector<std::string> gstBuffers(const std::string& file, const std::string& kind, const std::string& dir) {
  std::filesystem::create_directories(dir);
  std::vector<std::string> out;
  if (!run("gst-launch-1.0 -q filesrc location=" + file + " ! avidemux name=d d." + kind +
           "_0 ! multifilesink location=" + dir + "/%06d")) {
    return out;
  }
  for (int i = 0;; ++i) {
    char name[16];
    std::snprintf(name, sizeof name, "/%06d", i);
    if (!std::filesystem::exists(dir + name)) break;
    out.push_back(readWhole(dir + name));
  }
  return out;
}

class WriteInterop : public ::testing::TestWithParam<WriteCase> {
 protected:
  TempDir dir;
};

TEST_P(WriteInterop, FfmpegReadsEveryPacket) {
  if (!run("ffmpeg -version")) GTEST_SKIP() << "ffmpeg is not installed";
  const WriteCase& c = GetParam();
  const std::string file = dir.path("case.avi");
  ASSERT_EQ(writeCase(c, file), 0u);
  const Payloads p = payloads(c);
  if (c.video) {
    const auto [count, bytes] = ffmpegPackets(file, "v", dir.path("v.raw"));
    EXPECT_EQ(count, p.video.size());
    EXPECT_TRUE(bytes == join(p.video)) << "video bytes differ";
  }
  if (c.audio) {
    // ffmpeg may cut a long PCM chunk into several packets: the bytes count.
    EXPECT_TRUE(ffmpegPackets(file, "a", dir.path("a.raw")).second == join(p.audio)) << "audio bytes differ";
  }
}

TEST_P(WriteInterop, GstreamerReadsEveryBuffer) {
  if (!run("gst-inspect-1.0 avidemux")) GTEST_SKIP() << "GStreamer's avidemux is not installed";
  const WriteCase& c = GetParam();
  const std::string file = dir.path("case.avi");
  ASSERT_EQ(writeCase(c, file), 0u);
  const Payloads p = payloads(c);
  if (c.video) {
    const auto buffers = gstBuffers(file, "video", dir.path("v"));
    ASSERT_EQ(buffers.size(), p.video.size());
    for (std::size_t n = 0; n < buffers.size(); ++n) {
      // avidemux hands uncompressed frames out top-down.
      const std::string expected = c.fourCC.size() == 4 ? p.video[n] : flipRows(p.video[n], c.height);
      // An 8-bit frame comes with the palette behind it, one 4-byte entry a colour.
      const std::size_t palette = c.bits == 8 ? 4 * c.colours : 0;
      EXPECT_EQ(buffers[n].size(), expected.size() + palette) << "frame " << n;
      EXPECT_TRUE(buffers[n].compare(0, expected.size(), expected) == 0) << "frame " << n;
    }
  }
  if (c.audio) {
    // Audio buffers may be cut differently; the bytes are what counts.
    EXPECT_TRUE(join(gstBuffers(file, "audio", dir.path("a"))) == join(p.audio)) << "audio bytes differ";
  }
}

std::vector<WriteCase> readableCases() {
  std::vector<WriteCase> out;
  for (const WriteCase& c : writeCases()) {
    if (!c.calls.empty()) out.push_back(c);
  }
  return out;
}

INSTANTIATE_TEST_SUITE_P(Cases, WriteInterop, ::testing::ValuesIn(readableCases()),
                         [](const ::testing::TestParamInfo<WriteCase>& info) { return std::string(info.param.name); });

}  // namespace
