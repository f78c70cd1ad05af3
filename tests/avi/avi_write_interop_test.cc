// Files of the AVI writer read by two independent readers, ffmpeg and
// GStreamer's avidemux: the packets each hands out, counted and joined, equal
// the frames and audio buffers that were written.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "avi_builder.h"
#include "avi_write_model.h"
#include "rivulet/avi.h"

using namespace avitest;

namespace {

// The packets ffmpeg finds in stream 'kind' ("v" or "a"): how many, and their
// bytes joined.
std::pair<std::size_t, std::string> ffmpegPackets(const std::string& file, const std::string& kind,
                                                  const std::string& out) {
  if (!run("ffmpeg -v error -y -i " + file + " -map 0:" + kind + " -c copy -f data " + out)) return {0, ""};
  return {ffprobeCount(file, kind), readWhole(out)};
}

class WriteInterop : public ::testing::TestWithParam<WriteCase> {
 protected:
  TempDir dir;
};

TEST_P(WriteInterop, FfmpegReadsEveryPacket) {
  if (!haveFfmpeg()) GTEST_SKIP() << "ffmpeg is not installed";
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
  if (!haveAvidemux()) GTEST_SKIP() << "GStreamer's avidemux is not installed";
  const WriteCase& c = GetParam();
  const std::string file = dir.path("case.avi");
  ASSERT_EQ(writeCase(c, file), 0u);
  const Payloads p = payloads(c);
  if (c.video) {
    ASSERT_TRUE(gstDemux(file, "video", dir.path("v")));
    const auto buffers = gstBuffers(dir.path("v"));
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
    ASSERT_TRUE(gstDemux(file, "audio", dir.path("a")));
    EXPECT_TRUE(join(gstBuffers(dir.path("a"))) == join(p.audio)) << "audio bytes differ";
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
