// Intensity from BGR frames, contiguous byte planes and YUY2 luma, in all nine
// types, against a model written from the rules: every RGB triple through the
// row kernels, and the routines over sizes (none written where a side is not
// positive), orientations and guard-filled planes, with plane1 and plane2 null.
#include <cmath>

#include "rivulet/rivulet.h"
#include "video/reference.h"
#include "types/cpu.h"
#include "types/stream.h"
#include "video/intensity_kernels.h"

using namespace rivulet;
using namespace videoref::sweep;

namespace {

template <int N>
Sample<N> modelRGB(int R, int G, int B) {
  double v = (R * 0.0011722981227207058 + G * 0.0023021297037298825) + B * 0.00044714080100039216;
  v = v <= 0.0 ? 0.0 : (v >= 1.0 ? 1.0 : v);
  const long byte = static_cast<long>(v * 255.0 + 0.5);
  if constexpr (N == VIDEO_DOUBLE) return v;
  else if constexpr (N == VIDEO_SINGLE) return static_cast<float>(v);
  else if constexpr (N == VIDEO_INT8) return static_cast<char>(static_cast<long>(v * 255.0 + 0.5 - 128.0));
  else if constexpr (N == VIDEO_UINT8) return static_cast<unsigned char>(byte);
  else if constexpr (N == VIDEO_INT16) return static_cast<short>(static_cast<long>(v * 255.0 * 257.0 - 32768.0));
  else if constexpr (N == VIDEO_UINT16) return static_cast<unsigned short>(byte * 257);
  else if constexpr (N == VIDEO_INT32) return static_cast<int>(static_cast<long>(v * 16843009.0 * 255.0 - 2147483648.0));
  else if constexpr (N == VIDEO_UINT32) return static_cast<unsigned>(byte * 16843009L);
  else return static_cast<unsigned char>(static_cast<long>(v + 0.5));
}

// Studio luma 16..235 stretched to 0..255 (truncated), then widened by the
// type's 8-bit table.
template <int N>
Sample<N> modelLuma(int y) {
  const int b = y <= 16 ? 0 : (y >= 235 ? 255 : static_cast<int>((y - 16) * (255.0 / 219.0)));
  if constexpr (N == VIDEO_UINT8) return static_cast<unsigned char>(b);
  else return videoTraits<N>::EightBitLUT[b];
}

template <typename P>
class Intensity : public testing::Test {};
TYPED_TEST_SUITE(Intensity, AllTypes);

}  // namespace

// Every (R, G, B) through both row kernels (fast forms included), in rows of
// 256 pixels.
TYPED_TEST(Intensity, RowKernelsOnEveryTriple) {
  constexpr int N = TypeParam::value;
  using T = Sample<N>;
  const int n = 256;
  std::vector<std::uint8_t> bgr(3 * n), rp(n), gp(n), bp(n);
  std::vector<T> a(n), b(n);
  for (int R = 0; R < 256; ++R)
    for (int G = 0; G < 256; ++G) {
      for (int i = 0; i < n; ++i) {
        bgr[3 * i] = bp[i] = static_cast<std::uint8_t>(i);
        bgr[3 * i + 1] = gp[i] = static_cast<std::uint8_t>(G);
        bgr[3 * i + 2] = rp[i] = static_cast<std::uint8_t>(R);
      }
      intensityRowFromBGR<N>(bgr.data(), a.data(), n);
      intensityRunFromPlanes<N>(rp.data(), gp.data(), bp.data(), b.data(), n);
      for (int i = 0; i < n; ++i) {
        const T want = modelRGB<N>(R, G, i);
        ASSERT_TRUE(same(a[i], want) && same(b[i], want)) << "R " << R << " G " << G << " B " << i;
      }
    }
}

TYPED_TEST(Intensity, RoutinesOverSizesAndOrientations) {
  constexpr int N = TypeParam::value;
  using T = Sample<N>;
  const auto dt = static_cast<VideoDataType>(N);
  const VideoInputFcn plain = MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_GREY, dt, false);
  const VideoInputFcn mmr = MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_GREY, dt, true);
  const VideoInputFcn luma = MM_GetVideoInputFcn(FOURCC_YUY2, FOURCC_GREY, dt, false);
  ASSERT_TRUE(plain && mmr && luma && plain != mmr);
  ASSERT_EQ(luma, MM_GetVideoInputFcn(FOURCC_YUY2, FOURCC_GREY, dt, true));
  for (auto [w, h] : kSizes) {
    const size_t n = pixels(w, h);
    const size_t stride = n == 0 ? 0 : videoref::bgrStride(w);
    const auto frame = randomBytes(stride * h, w * 131 + h);
    const auto planes = randomBytes(3 * n, w * 17 + h);
    const auto yuy2 = randomBytes(2 * n, w * 7 + h);
    for (int o : {0, 1, 2, -1}) {
      const auto orientation = static_cast<VideoFrameOrientation>(o);
      Guarded<T> p(n), m(n), y(n);
      plain(frame.data(), p.ptr(), nullptr, nullptr, w, h, orientation);
      mmr(planes.data(), m.ptr(), nullptr, nullptr, w, h, orientation);
      luma(yuy2.data(), y.ptr(), nullptr, nullptr, w, h, orientation);
      ASSERT_TRUE(p.guardsIntact() && m.guardsIntact() && y.guardsIntact()) << w << "x" << h << " o" << o;
      const bool lumaWrites = o == 0 || o == 1;  // any other orientation: nothing
      if (!lumaWrites) {
        ASSERT_TRUE(y.untouched());
      }
      for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
          const std::uint8_t* px = frame.data() + static_cast<size_t>(h - 1 - r) * stride + 3 * c;  // bottom-up
          ASSERT_TRUE(same(p[planeIndex(w, h, r, c, o)], modelRGB<N>(px[2], px[1], px[0])))
              << w << "x" << h << " o" << o << " r" << r << " c" << c;
          // _mmr: the orientation names the source; plane0 is column-major.
          const size_t s = planeIndex(w, h, r, c, o), d = planeIndex(w, h, r, c, 1);
          ASSERT_TRUE(same(m[d], modelRGB<N>(planes[s], planes[n + s], planes[2 * n + s])));
          if (lumaWrites) {
            ASSERT_TRUE(same(y[planeIndex(w, h, r, c, o)], modelLuma<N>(yuy2[2 * (r * w + c)])));
          }
        }
    }
  }
}

// The values the rules single out, in the order DOUBLE, SINGLE, INT8, UINT8,
// INT16, UINT16, INT32, UINT32, BOOLEAN (x: not pinned).
TEST(IntensityValues, WhiteBlackGreyAndRed) {
  constexpr double x = -0.5;
  struct Case {
    std::uint8_t b, g, r;
    double want[9];
  } const cases[] = {
      {255, 255, 255, {1.0, 1.0, 127, 255, 32767, 65535, 2147483647, 4294967295.0, 1}},
      {0, 0, 0, {0.0, 0.0, -127, 0, -32768, 0, -2147483648.0, 0, 0}},
      {128, 128, 128, {x, x, 0, x, 128, x, 8421504, x, x}},
      {0, 0, 255, {x, x, x, 76, x, x, x, x, x}},
  };
  for (const auto& k : cases) {
    const std::uint8_t px[4] = {k.b, k.g, k.r, 0};
    double d; float f; char i8; unsigned char u8, bo; short i16; unsigned short u16; int i32; unsigned u32;
    void* outs[9] = {&d, &f, &i8, &u8, &i16, &u16, &i32, &u32, &bo};
    for (int t = 0; t < 9; ++t)
      MM_GetRGBToIntensityChannelsInputFcn(static_cast<VideoDataType>(t))(px, outs[t], nullptr, nullptr, 1, 1,
                                                                           ORIENTATION_ROW_MAJOR);
    const double got[9] = {d, f, double(i8), double(u8), double(i16), double(u16), double(i32), double(u32), double(bo)};
    for (int t = 0; t < 9; ++t)
      if (k.want[t] != x) {
        EXPECT_EQ(got[t], k.want[t]) << "type " << t << " red " << int(k.r);
      }
  }
}

// The fast forms leave the clamp out: for byte components the weighted sum
// is never below +0 (no -0 either) nor above 1.0, so it changes nothing.
TEST(IntensityValues, TheClampNeverChangesASumOfBytes) {
  for (int R = 0; R < 256; ++R)
    for (int G = 0; G < 256; ++G)
      for (int B = 0; B < 256; ++B) {
        const double v = (R * kIntensityRed + G * kIntensityGreen) + B * kIntensityBlue;
        ASSERT_TRUE(v >= 0.0 && !std::signbit(v) && v <= 1.0) << R << " " << G << " " << B;
      }
}

TEST(IntensityValues, LumaStretchAndThreshold) {
  MM_GetYCbCrToIntensityChannelsInputFcn(VIDEO_BOOLEAN);
  const int ys[] = {0, 15, 16, 17, 128, 234, 235, 236, 255};
  const int bytes[] = {0, 0, 0, 1, 130, 253, 255, 255, 255};
  for (size_t i = 0; i < std::size(ys); ++i) {
    const std::uint8_t yuy2[4] = {static_cast<std::uint8_t>(ys[i]), 99, static_cast<std::uint8_t>(ys[i]), 7};
    unsigned char u8[2], bo[2];
    MM_GetYCbCrToIntensityChannelsInputFcn(VIDEO_UINT8)(yuy2, u8, nullptr, nullptr, 2, 1, ORIENTATION_ROW_MAJOR);
    MM_GetYCbCrToIntensityChannelsInputFcn(VIDEO_BOOLEAN)(yuy2, bo, nullptr, nullptr, 2, 1, ORIENTATION_COLUMN_MAJOR);
    EXPECT_EQ(u8[0], bytes[i]) << ys[i];
    EXPECT_EQ(u8[1], bytes[i]);
    EXPECT_EQ(bo[0], ys[i] > 16 ? 1 : 0) << ys[i];
  }
}

namespace {

// Every form table the CPU runs (not only the widest) against the plain rows.
template <int N>
void expectFormsEqualPlain(const IntensityForms& forms) {
  using T = Sample<N>;
  const int n = 1 << 16;
  const auto bgr = randomBytes(3 * n, N);
  const auto planes = randomBytes(3 * n, N + 100);
  std::vector<T> fast(n), plain(n);
  const std::int64_t done = forms.bgr[N](bgr.data(), fast.data(), n);
  intensityRowFromBGR_C<N>(bgr.data(), plain.data(), done);
  for (std::int64_t i = 0; i < done; ++i) ASSERT_TRUE(same(fast[i], plain[i])) << "type " << N << " at " << i;
  const std::int64_t done2 = forms.planes[N](planes.data(), planes.data() + n, planes.data() + 2 * n, fast.data(), n);
  intensityRunFromPlanes_C<N>(planes.data(), planes.data() + n, planes.data() + 2 * n, plain.data(), done2);
  for (std::int64_t i = 0; i < done2; ++i) ASSERT_TRUE(same(fast[i], plain[i])) << "type " << N << " at " << i;
  ASSERT_GT(done, n - 16);
  ASSERT_EQ(done2, n);
}

template <int... N>
void expectAllTypes(const IntensityForms& forms, std::integer_sequence<int, N...>) {
  (expectFormsEqualPlain<N>(forms), ...);
}

}  // namespace

TEST(IntensityFastForms, EveryInstructionSetEqualsPlain) {
  if (simdAtLeast(Simd::kAvx2)) expectAllTypes(kIntensityForms_AVX2, std::make_integer_sequence<int, 9>{});
  if (simdAtLeast(Simd::kAvx512)) expectAllTypes(kIntensityForms_AVX512, std::make_integer_sequence<int, 9>{});
}

namespace {

template <int N>
void expectLumaRunsEqualPlain(const std::vector<std::uint8_t>& yuy2, int n) {
  using T = Sample<N>;
  initEightBitLUT(static_cast<VideoDataType>(N));
  std::uint8_t table[256];
  for (int i = 0; i < 256; ++i) table[i] = static_cast<std::uint8_t>(i * 3 + 1);
  std::vector<T> fast(n + 8), plain(n + 8);
  for (int shift = 0; shift < 8; ++shift)
    for (bool stream : {false, true}) {
      lumaRun<N>(yuy2.data(), fast.data() + shift, n - shift, table, eightBitTable<N>(), stream);
      lumaRun_C<N>(yuy2.data(), plain.data() + shift, n - shift, table, eightBitTable<N>());
      for (int i = shift; i < n; ++i) ASSERT_TRUE(same(fast[i], plain[i])) << "type " << N << " shift " << shift;
    }
}

}  // namespace

namespace {

template <int N>
void expectStreamedRunsEqualPlain(const std::vector<std::uint8_t>& bgr, const std::vector<std::uint8_t>& planes, int n) {
  std::vector<Sample<N>> fast(n + 8), plain(n + 8);
  for (int shift = 0; shift < 8; ++shift) {
    intensityRowFromBGR<N>(bgr.data(), fast.data() + shift, n - shift, true);
    intensityRowFromBGR_C<N>(bgr.data(), plain.data() + shift, n - shift);
    ASSERT_EQ(fast, plain) << "type " << N << " shift " << shift;
    intensityRunFromPlanes<N>(planes.data(), planes.data() + n, planes.data() + 2 * n, fast.data() + shift,
                              n - shift, true);
    intensityRunFromPlanes_C<N>(planes.data(), planes.data() + n, planes.data() + 2 * n, plain.data() + shift,
                                n - shift);
    ASSERT_EQ(fast, plain) << "type " << N << " shift " << shift;
  }
}

}  // namespace

// The forms that write past the caches (taken only for large pictures by the
// routines) at every alignment of the destination within a line.
TEST(IntensityFastForms, StreamedFormsEqualPlain) {
  const int n = 4099;
  const auto bgr = randomBytes(3 * n, 1), planes = randomBytes(3 * n, 2), yuy2 = randomBytes(2 * n, 3);
  expectStreamedRunsEqualPlain<VIDEO_DOUBLE>(bgr, planes, n);
  expectStreamedRunsEqualPlain<VIDEO_UINT16>(bgr, planes, n);
  expectStreamedRunsEqualPlain<VIDEO_UINT32>(bgr, planes, n);
  expectLumaRunsEqualPlain<VIDEO_DOUBLE>(yuy2, n);
  expectLumaRunsEqualPlain<VIDEO_SINGLE>(yuy2, n);
  expectLumaRunsEqualPlain<VIDEO_UINT32>(yuy2, n);
  expectLumaRunsEqualPlain<VIDEO_INT32>(yuy2, n);
  expectLumaRunsEqualPlain<VIDEO_INT16>(yuy2, n);
  expectLumaRunsEqualPlain<VIDEO_UINT8>(yuy2, n);
}

// Pictures whose working set (frame and plane) is large enough that the
// routines write past the caches, in both orientations.
TEST(IntensityLarge, StreamedRoutinesMatchTheModel) {
  const int w = 1001, h = static_cast<int>(streamMinBytes() / (w * (3 + sizeof(double)))) + 1;
  if (h > 16384) GTEST_SKIP() << "a last-level cache too large to fill in a test";
  const int stride = (3 * w + 3) / 4 * 4;
  const auto frame = randomBytes(static_cast<size_t>(stride) * h, 5), yuy2 = randomBytes(2 * size_t{w} * h, 6);
  for (int o : {0, 1}) {
    std::vector<double> p(size_t{w} * h), y(size_t{w} * h);
    MM_GetRGBToIntensityChannelsInputFcn(VIDEO_DOUBLE)(frame.data(), p.data(), nullptr, nullptr, w, h,
                                                      static_cast<VideoFrameOrientation>(o));
    MM_GetYCbCrToIntensityChannelsInputFcn(VIDEO_DOUBLE)(yuy2.data(), y.data(), nullptr, nullptr, w, h,
                                                        static_cast<VideoFrameOrientation>(o));
    for (int r = 0; r < h; ++r)
      for (int c = 0; c < w; ++c) {
        const std::uint8_t* px = frame.data() + static_cast<size_t>(h - 1 - r) * stride + 3 * c;
        ASSERT_EQ(p[planeIndex(w, h, r, c, o)], modelRGB<VIDEO_DOUBLE>(px[2], px[1], px[0])) << o << " " << r << "," << c;
        ASSERT_EQ(y[planeIndex(w, h, r, c, o)], modelLuma<VIDEO_DOUBLE>(yuy2[2 * (size_t{w} * r + c)]));
      }
  }
}
