// Written files past 2 GiB: 2400 frames of 640 x 480 at 24 bits make two RIFF
// segments. The layout stands where the segment arithmetic puts it, and this
// library, ffmpeg and GStreamer read the frames back. One file at a time,
// removed at the end.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "avi_builder.h"
#include "rivulet/avi.h"

using namespace avitest;

namespace {

constexpr std::uint32_t kWidth = 640, kHeight = 480, kFrame = kWidth * kHeight * 3;
constexpr int kFrames = 2400;

// Frame n: one pattern, the frame number in its first four bytes.
std::string frameOf(const std::string& base, int n) {
  std::string f = base;
  f.replace(0, 4, u32(static_cast<std::uint32_t>(n)));
  return f;
}

std::string bytesAt(int fd, std::uint64_t pos, std::size_t n) {
  std::string s(n, '\0');
  return pread(fd, s.data(), n, static_cast<off_t>(pos)) == static_cast<ssize_t>(n) ? s : std::string();
}

TEST(AviWriteLarge, TwoSegmentsPastTwoGiB) {
  TempDir dir;
  const std::string path = dir.path("large.avi");
  const std::string base = patternFrame(kFrame, 7);
  {
    avi::File w;
    ASSERT_EQ(w.open(path.c_str(), "w"), 1);
    w.setVideoInfo(kWidth, kHeight, 25.0);
    for (int n = 0; n < kFrames; ++n) {
      std::string f = frameOf(base, n);
      w.writeVideoFrame(f.data());
    }
    w.close();
    ASSERT_EQ(w.getErrorCode(), 0u) << w.getErrorMsg();
  }
  // Each chunk takes 921608 bytes from 65824 on. Frame 2330 would take the
  // first segment to 2^31 with its index: it opens the second segment.
  const std::uint64_t ix = 65824 + 2330ull * 921608, riffEnd = ix + 32 + 8 * 2330 + 8 + 16 * 2330;
  EXPECT_EQ(ix, 2147412464u);
  EXPECT_EQ(riffEnd, 2147468424u);
  const std::uint64_t second = riffEnd + 24 + 70ull * 921608, end = second + 32 + 8 * 70;
  EXPECT_EQ(std::filesystem::file_size(path), end);
  {
    const int fd = ::open(path.c_str(), O_RDONLY);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(bytesAt(fd, 0, 12), "RIFF" + u32(2147468416) + "AVI ");
    EXPECT_EQ(bytesAt(fd, 65812, 12), "LIST" + u32(2147365316) + "movi");
    // The frame counts of avih, strh and dmlh cover both segments.
    EXPECT_EQ(bytesAt(fd, 48, 4), u32(kFrames));
    EXPECT_EQ(bytesAt(fd, 140, 4), u32(kFrames));
    EXPECT_EQ(bytesAt(fd, 296, 4), u32(kFrames));  // behind an indx of two entries
    // The super index: two entries, one for each segment's ix00.
    EXPECT_EQ(bytesAt(fd, 212, 8 + 24 + 32),
              "indx" + u32(56) + u16(4) + u8(0) + u8(0) + u32(2) + "00db" + std::string(12, '\0') + u64(ix) +
                  u32(18672) + u32(2330) + u64(second) + u32(592) + u32(70));
    EXPECT_EQ(bytesAt(fd, ix, 20), "ix00" + u32(18664) + u16(2) + u8(0) + u8(1) + u32(2330) + "00db");
    EXPECT_EQ(bytesAt(fd, ix + 18672, 8), "idx1" + u32(16 * 2330));
    // The AVIX header, and frame 2330 as the first chunk behind it.
    const std::uint32_t s = static_cast<std::uint32_t>(end - riffEnd - 8);
    EXPECT_EQ(bytesAt(fd, riffEnd, 24 + 8), "RIFF" + u32(s) + "AVIX" + "LIST" + u32(s - 12) + "movi" + "00db" +
                                                u32(kFrame));
    EXPECT_EQ(bytesAt(fd, second, 20), "ix00" + u32(584) + u16(2) + u8(0) + u8(1) + u32(70) + "00db");
    EXPECT_EQ(bytesAt(fd, second + 20, 8), u64(riffEnd + 20));  // qwBaseOffset: the AVIX movi FourCC
    EXPECT_EQ(bytesAt(fd, second + 32, 8), u32(12) + u32(kFrame));
    ::close(fd);
  }

  // This library: every frame, through the super index.
  std::vector<std::uint32_t> sums(kFrames);
  {
    avi::File f;
    ASSERT_EQ(f.open(path.c_str(), "r"), 1);
    ASSERT_EQ(f.getErrorCode(), 0u) << f.getErrorMsg();
    ASSERT_EQ(f.getVideoTotalFrames(), static_cast<std::uint64_t>(kFrames));
    std::string frame(kFrame, '\0');
    for (int n = 0; n < kFrames; ++n) {
      f.readVideoFrame(frame.data());
      ASSERT_EQ(f.getErrorCode(), 0u) << "frame " << n;
      ASSERT_TRUE(frame == frameOf(base, n)) << "frame " << n;
      sums[n] = adler32(frame.data(), frame.size());
    }
  }

  // ffmpeg: the size and checksum of every packet.
  if (haveFfmpeg()) {
    const auto crcs = ffmpegFrameCrcs(path, dir.path("crc.txt"));
    ASSERT_EQ(crcs.size(), static_cast<std::size_t>(kFrames));
    for (int n = 0; n < kFrames; ++n) {
      EXPECT_EQ(crcs[n], std::make_pair(std::size_t{kFrame}, sums[n])) << "frame " << n;
    }
  }

  // GStreamer: every buffer passes, the last three are kept (all in the second
  // segment); their file names count the buffers. Rows come out top-down.
  if (haveAvidemux()) {
    const std::string out = dir.path("gst");
    ASSERT_TRUE(gstDemux(path, "video", out, 3));
    for (int n = kFrames - 3; n < kFrames; ++n) {
      EXPECT_TRUE(readWhole(gstBufferPath(out, n)) == flipRows(frameOf(base, n), kHeight)) << "frame " << n;
    }
    EXPECT_FALSE(std::filesystem::exists(gstBufferPath(out, kFrames)));
  }
  std::filesystem::remove(path);
}

// Audio as stream 0, with chunks in the first segment only: the second
// segment still has an audio ix00, of no entries, behind the video's ix01, its
// base the segment's movi FourCC, and the audio super index lists it.
TEST(AviWriteLarge, AStreamWithoutChunksInALaterSegment) {
  TempDir dir;
  const std::string path = dir.path("large.avi");
  const std::string base = patternFrame(kFrame, 9), audio = patternFrame(1600, 3);
  constexpr int kAudioChunks = 100;
  {
    avi::File w;
    ASSERT_EQ(w.open(path.c_str(), "w"), 1);
    w.setAudioInfo(8000.0, 16, 1, 1600);
    w.setVideoInfo(kWidth, kHeight, 25.0);
    std::string a = audio;
    for (int n = 0; n < kFrames; ++n) {
      std::string f = frameOf(base, n);
      w.writeVideoFrame(f.data());
      if (n < kAudioChunks) w.writeAudio(a.data());
    }
    w.close();
    ASSERT_EQ(w.getErrorCode(), 0u) << w.getErrorMsg();
  }
  const int fd = ::open(path.c_str(), O_RDONLY);
  ASSERT_GE(fd, 0);
  const std::string head = bytesAt(fd, 0, 131596);  // the header gap of two streams
  const std::size_t aIndx = head.find("indx"), vIndx = head.find("indx", aIndx + 4);
  ASSERT_NE(vIndx, std::string::npos);
  EXPECT_EQ(head.substr(aIndx, 20), "indx" + u32(56) + u16(4) + u8(0) + u8(0) + u32(2) + "00wb");
  EXPECT_EQ(head.substr(vIndx, 20), "indx" + u32(56) + u16(4) + u8(0) + u8(0) + u32(2) + "01db");
  // Audio: 100 chunks, 2 bytes a sample frame, then nothing.
  EXPECT_EQ(head.substr(aIndx + 40, 8), u32(32 + 8 * kAudioChunks) + u32(2 * kAudioChunks));
  EXPECT_EQ(head.substr(aIndx + 56, 8), u32(32) + u32(0));
  // The second entries (the second segment): qwOffset at 48, dwSize at 56.
  const std::uint64_t size01 = get32(head, vIndx + 56);
  const std::uint64_t videoIx = get32(head, vIndx + 48) | std::uint64_t{get32(head, vIndx + 52)} << 32;
  const std::uint64_t audioIx = get32(head, aIndx + 48) | std::uint64_t{get32(head, aIndx + 52)} << 32;
  EXPECT_EQ(audioIx, videoIx + size01);  // video's index first
  const std::string ixVideo = bytesAt(fd, videoIx, 32), ixAudio = bytesAt(fd, audioIx, 32);
  EXPECT_EQ(ixVideo.substr(0, 8), "ix01" + u32(static_cast<std::uint32_t>(size01 - 8)));
  EXPECT_EQ(ixAudio, "ix00" + u32(24) + u16(2) + u8(0) + u8(1) + u32(0) + "00wb" + ixVideo.substr(20, 8) + u32(0));
  ::close(fd);

  avi::File f;
  ASSERT_EQ(f.open(path.c_str(), "r"), 1);
  ASSERT_EQ(f.getErrorCode(), 0u) << f.getErrorMsg();
  ASSERT_EQ(f.getVideoTotalFrames(), static_cast<std::uint64_t>(kFrames));
  std::string frame(kFrame, '\0');
  for (int n = 0; n < kFrames; ++n) {
    f.readVideoFrame(frame.data());
    ASSERT_TRUE(f.getErrorCode() == 0 && frame == frameOf(base, n)) << "frame " << n;
  }
  std::string all, expected;
  for (int n = 0; n < kAudioChunks; ++n) expected += audio;
  all.resize(f.getAudioTotalBytes());
  ASSERT_EQ(all.size(), expected.size());
  f.readAudio(all.data(), all.size());
  EXPECT_TRUE(all == expected);
  if (haveFfmpeg()) {
    EXPECT_EQ(ffprobeCount(path, "v"), static_cast<std::size_t>(kFrames));
  }
  std::filesystem::remove(path);
}

}  // namespace
