// A file past 1 GiB from ffmpeg, which splits it into OpenDML RIFF segments:
// every frame is found through the super index and read, and each equals
// ffmpeg's own packet by size and Adler-32 (ffmpeg's framecrc).
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "avi_builder.h"
#include "rivulet/avi.h"

namespace {

std::uint32_t adler32(const unsigned char* p, std::size_t n) {
  // Sums modulo 65521, folded every 5552 bytes, the most that cannot overflow
  // 32 bits. framecrc starts both sums at 0 (not the usual a = 1).
  std::uint32_t a = 0, b = 0;
  while (n > 0) {
    const std::size_t k = n < 5552 ? n : 5552;
    for (std::size_t i = 0; i < k; ++i) {
      a += p[i];
      b += a;
    }
    a %= 65521;
    b %= 65521;
    p += k;
    n -= k;
  }
  return (b << 16) | a;
}

TEST(AviLarge, OpenDmlSegmentsOfAFilePastOneGiB) {
  if (std::system("ffmpeg -version >/dev/null 2>&1") != 0) GTEST_SKIP() << "ffmpeg is not installed";
  avitest::TempDir dir;
  const std::string file = dir.path("large.avi");
  // 640 x 480 at 24 bits is 921600 bytes a frame: 1250 frames make 1.07 GiB.
  ASSERT_EQ(std::system(("ffmpeg -v error -y -f lavfi -i testsrc=size=640x480:rate=25 -f lavfi -i "
                         "sine=sample_rate=8000 -c:v rawvideo -pix_fmt bgr24 -c:a pcm_s16le -t 50 " +
                         file)
                            .c_str()),
            0);
  ASSERT_GT(std::filesystem::file_size(file), 1ull << 30);
  {
    // The file really is segmented: an 'indx' in the headers, and an AVIX
    // RIFF right behind the first.
    std::ifstream in(file, std::ios::binary);
    std::string head(65536, '\0'), next(12, '\0');
    in.read(head.data(), static_cast<std::streamsize>(head.size()));
    ASSERT_LT(head.find("indx"), head.find("movi"));
    in.seekg(8 + static_cast<std::streamoff>(avitest::get32(head, 4)));
    in.read(next.data(), 12);
    EXPECT_EQ(next.substr(0, 4) + next.substr(8), "RIFFAVIX");
  }
  const std::string crcs = dir.path("crc.txt");
  ASSERT_EQ(std::system(("ffmpeg -v error -y -i " + file + " -map 0:v -c copy -f framecrc " + crcs).c_str()), 0);
  std::vector<std::pair<std::size_t, std::uint32_t>> expected;  // size, adler32
  std::istringstream lines(avitest::readWhole(crcs));
  for (std::string line; std::getline(lines, line);) {
    unsigned stream, crc;
    long long pts, dts, duration;
    std::size_t size;
    const char* format = "%u, %lld, %lld, %lld, %zu, 0x%x";
    if (line[0] != '#' && std::sscanf(line.c_str(), format, &stream, &pts, &dts, &duration, &size, &crc) == 6) {
      expected.emplace_back(size, crc);
    }
  }
  ASSERT_EQ(expected.size(), 1250u);

  avi::File f;
  ASSERT_EQ(f.open(file.c_str(), "r"), 1);
  ASSERT_EQ(f.getErrorCode(), 0u) << f.getErrorMsg();
  ASSERT_EQ(f.getVideoTotalFrames(), expected.size());
  const std::size_t size = f.getVideoChunkSize();
  std::vector<unsigned char> frame(size), stored(size);
  const std::size_t row = size / f.getVideoHeight();
  for (std::size_t n = 0; n < expected.size(); ++n) {
    f.readVideoFrame(reinterpret_cast<char*>(frame.data()));
    ASSERT_EQ(f.getErrorCode(), 0u) << "frame " << n;
    ASSERT_EQ(size, expected[n].first);
    // ffmpeg stores the rows top-down; the reader hands them out bottom-up.
    for (std::size_t r = 0; r < f.getVideoHeight(); ++r) {
      std::copy_n(frame.data() + r * row, row, stored.data() + (f.getVideoHeight() - 1 - r) * row);
    }
    ASSERT_EQ(adler32(stored.data(), size), expected[n].second) << "frame " << n;
  }
  EXPECT_TRUE(f.isEndOfVideo());
  // The audio across all segments: its length as the header states it.
  std::vector<char> audio(f.getAudioTotalBytes());
  ASSERT_EQ(audio.size(), 50u * 8000 * 2);
  f.readAudio(audio.data(), audio.size());
  EXPECT_EQ(f.getErrorCode(), 0u);
  EXPECT_TRUE(f.isEndOfAudio());
  f.close();
  std::filesystem::remove(file);
}

}  // namespace
