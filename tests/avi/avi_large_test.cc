// A file past 1 GiB from ffmpeg, which splits it into OpenDML RIFF segments:
// every frame is found through the super index and read, and each equals
// ffmpeg's own packet by size and Adler-32 (ffmpeg's framecrc).
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "avi_builder.h"
#include "rivulet/avi.h"

namespace {

TEST(AviLarge, OpenDmlSegmentsOfAFilePastOneGiB) {
  if (!avitest::haveFfmpeg()) GTEST_SKIP() << "ffmpeg is not installed";
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
  // Size and Adler-32 of each packet.
  const auto expected = avitest::ffmpegFrameCrcs(file, dir.path("crc.txt"));
  ASSERT_EQ(expected.size(), 1250u);

  avi::File f;
  ASSERT_EQ(f.open(file.c_str(), "r"), 1);
  ASSERT_EQ(f.getErrorCode(), 0u) << f.getErrorMsg();
  ASSERT_EQ(f.getVideoTotalFrames(), expected.size());
  const std::size_t size = f.getVideoChunkSize();
  std::string frame(size, '\0'), stored(size, '\0');
  for (std::size_t n = 0; n < expected.size(); ++n) {
    f.readVideoFrame(frame.data());
    ASSERT_EQ(f.getErrorCode(), 0u) << "frame " << n;
    ASSERT_EQ(size, expected[n].first);
    // ffmpeg stores the rows top-down; the reader hands them out bottom-up.
    stored = avitest::flipRows(frame, f.getVideoHeight());
    ASSERT_EQ(avitest::adler32(stored.data(), size), expected[n].second) << "frame " << n;
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
