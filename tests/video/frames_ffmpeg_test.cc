// Real pictures from an independent producer: ffmpeg's test pattern as YUY2,
// as planar 4:2:2 and as top-down BGR, made at run time, converted by the
// byte routines and compared with ffmpeg's own other layout byte for byte, or
// with the integer matrices computed here.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include <unistd.h>

#include "video/frames_reference.h"

using namespace frames_ref;

namespace {

// Temporary file names of this process alone (ctest runs the cases in parallel).
std::string tempName(const std::string& what) {
  return ::testing::TempDir() + "rivulet_" + std::to_string(getpid()) + "_" + what;
}

// One frame of ffmpeg's testsrc at w x h in pixel format fmt, or empty.
Bytes ffmpegFrame(int w, int h, const char* fmt) {
  const std::string path = tempName("testsrc_" + std::to_string(w) + "x" + std::to_string(h) + "." + fmt);
  const std::string cmd = "ffmpeg -nostdin -hide_banner -loglevel error -y -f lavfi -i testsrc=size=" +
                          std::to_string(w) + "x" + std::to_string(h) +
                          " -frames:v 1 -pix_fmt " + fmt + " -f rawvideo " + path;
  if (std::system(cmd.c_str()) != 0) return {};
  std::ifstream in(path, std::ios::binary);
  Bytes b((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::remove(path.c_str());
  return b;
}

// ffmpeg's own repacking of a raw w x h picture from one pixel format to another.
Bytes ffmpegRepack(const Bytes& in, int w, int h, const char* from, const char* to) {
  const std::string base = tempName(std::string("repack_") + from + "_" + to);
  {
    std::ofstream out(base + ".in", std::ios::binary);
    out.write(reinterpret_cast<const char*>(in.data()), static_cast<std::streamsize>(in.size()));
  }
  const std::string cmd = "ffmpeg -nostdin -hide_banner -loglevel error -y -f rawvideo -pix_fmt " +
                          std::string(from) + " -s " + std::to_string(w) + "x" + std::to_string(h) +
                          " -i " + base + ".in -pix_fmt " + to + " -f rawvideo " + base + ".out";
  Bytes b;
  if (std::system(cmd.c_str()) == 0) {
    std::ifstream res(base + ".out", std::ios::binary);
    b.assign(std::istreambuf_iterator<char>(res), std::istreambuf_iterator<char>());
  }
  std::remove((base + ".in").c_str());
  std::remove((base + ".out").c_str());
  return b;
}

class FromFFmpeg : public ::testing::TestWithParam<std::pair<int, int>> {
 protected:
  void SetUp() override {
    if (std::system("ffmpeg -version > /dev/null 2>&1") != 0) GTEST_SKIP() << "no ffmpeg";
  }
};

// The YUY2 frame unpacks to exactly what ffmpeg makes of it as planar 4:2:2,
// and those planes pack back to exactly the YUY2 frame.
TEST_P(FromFFmpeg, YUY2AndPlanarAgreeWithFFmpeg) {
  const auto [w, h] = GetParam();
  const i64 n = i64{w} * h;
  if (w % 2) GTEST_SKIP() << "YUY2 has no odd widths";
  const Bytes yuy2 = ffmpegFrame(w, h, "yuyv422");
  const Bytes planar = ffmpegRepack(yuy2, w, h, "yuyv422", "yuv422p");
  ASSERT_EQ(yuy2.size(), size_t(2 * n));
  ASSERT_EQ(planar.size(), size_t(2 * n));
  Bytes planes(2 * n, kGuard);
  MM_GetYCbCrToYCbCrChannelsInputFcn(VIDEO_UINT8)(yuy2.data(), planes.data(), planes.data() + n,
                                                 planes.data() + n + n / 2, w, h,
                                                 ORIENTATION_ROW_MAJOR);
  EXPECT_TRUE(sameBytes(planes, planar, "planes"));
  Bytes packed(2 * n, kGuard);
  MM_GetYCbCrToYCbCrChannelsOutputFcn(VIDEO_UINT8)(planar.data(), planar.data() + n,
                                                  planar.data() + n + n / 2, packed.data(), w, h,
                                                  ORIENTATION_ROW_MAJOR);
  EXPECT_TRUE(sameBytes(packed, yuy2, "yuy2"));
}

// YUY2 to RGB planes, and the same picture as planar 4:2:2 to a BGR frame,
// against the backward matrix applied here to ffmpeg's bytes.
TEST_P(FromFFmpeg, BackwardMatrixOnFFmpegPictures) {
  const auto [w, h] = GetParam();
  const i64 n = i64{w} * h;
  if (w % 2) GTEST_SKIP() << "YUY2 has no odd widths";
  const Bytes yuy2 = ffmpegFrame(w, h, "yuyv422");
  const Bytes planar = ffmpegRepack(yuy2, w, h, "yuyv422", "yuv422p");
  ASSERT_EQ(yuy2.size(), size_t(2 * n));
  Bytes rgb(3 * n), bgr(bgrStride(w) * h, kGuard);
  MM_GetYCbCrToRGBChannelsInputFcn(VIDEO_UINT8)(yuy2.data(), rgb.data(), rgb.data() + n,
                                               rgb.data() + 2 * n, w, h, ORIENTATION_ROW_MAJOR);
  MM_GetYCbCrToRGBChannelsOutputFcn(VIDEO_UINT8)(planar.data(), planar.data() + n,
                                                planar.data() + n + n / 2, bgr.data(), w, h,
                                                ORIENTATION_ROW_MAJOR);
  for (i64 i = 0; i < n; ++i) {
    const RGB want = bwd(yuy2[2 * i], yuy2[4 * (i / 2) + 1], yuy2[4 * (i / 2) + 3]);
    ASSERT_EQ(std::vector<int>({rgb[i], rgb[n + i], rgb[2 * n + i]}),
              std::vector<int>({want.r, want.g, want.b})) << "pixel " << i;
    const i64 at = (h - 1 - i / w) * bgrStride(w) + 3 * (i % w);
    ASSERT_EQ(std::vector<int>({bgr[at + 2], bgr[at + 1], bgr[at]}),
              std::vector<int>({want.r, want.g, want.b})) << "pixel " << i;
  }
}

// ffmpeg's top-down BGR picture, laid out bottom-up with padded rows, to
// YCbCr planes, against the forward matrix applied here.
TEST_P(FromFFmpeg, ForwardMatrixOnFFmpegPictures) {
  const auto [w, h] = GetParam();
  const Bytes top = ffmpegFrame(w, h, "bgr24");
  ASSERT_EQ(top.size(), size_t(3 * i64{w} * h));
  Bytes frame(bgrStride(w) * h, 0);
  for (int r = 0; r < h; ++r)
    std::copy_n(top.begin() + i64{r} * 3 * w, 3 * w, frame.begin() + (h - 1 - r) * bgrStride(w));
  const int pairs = w / 2;
  Bytes y(2 * i64{pairs} * h), cb(i64{pairs} * h), cr(i64{pairs} * h);
  MM_GetRGBToYCbCrChannelsInputFcn(VIDEO_UINT8)(frame.data(), y.data(), cb.data(), cr.data(), w, h,
                                               ORIENTATION_ROW_MAJOR);
  for (int r = 0; r < h; ++r)
    for (int c = 0; c < 2 * pairs; ++c) {
      const std::uint8_t* px = top.data() + (i64{r} * w + c) * 3;
      ASSERT_EQ(y[i64{r} * 2 * pairs + c], fwdY(px[2], px[1], px[0])) << r << ", " << c;
      if (c % 2 == 0) {
        ASSERT_EQ(cb[i64{r} * pairs + c / 2], fwdCb(px[2], px[1], px[0])) << r << ", " << c;
        ASSERT_EQ(cr[i64{r} * pairs + c / 2], fwdCr(px[2], px[1], px[0])) << r << ", " << c;
      }
    }
}

// ffmpeg's BGR picture repacked by ffmpeg as planes (G, B, R) goes back
// through RGBToRGBChannelsOutput to exactly ffmpeg's BGR bytes, bottom-up
// with padded rows (the padding keeps its pattern).
TEST_P(FromFFmpeg, PlanesToBGRMatchesFFmpeg) {
  const auto [w, h] = GetParam();
  const i64 n = i64{w} * h;
  const Bytes top = ffmpegFrame(w, h, "bgr24");
  const Bytes gbr = ffmpegRepack(top, w, h, "bgr24", "gbrp");
  ASSERT_EQ(gbr.size(), size_t(3 * n));
  Bytes frame(bgrStride(w) * h, kGuard), want(frame);
  for (int r = 0; r < h; ++r)
    std::copy_n(top.begin() + i64{r} * 3 * w, 3 * w, want.begin() + (h - 1 - r) * bgrStride(w));
  MM_GetRGBToRGBChannelsOutputFcn(VIDEO_UINT8)(gbr.data() + 2 * n, gbr.data(), gbr.data() + n,
                                              frame.data(), w, h, ORIENTATION_ROW_MAJOR);
  EXPECT_TRUE(sameBytes(frame, want, "frame"));
}

INSTANTIATE_TEST_SUITE_P(Sizes, FromFFmpeg,
                         ::testing::Values(std::pair{64, 48}, std::pair{98, 34}, std::pair{320, 240}, std::pair{97, 33}));

}  // namespace
