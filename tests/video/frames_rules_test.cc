// The colour transforms over every input they can take, through the byte
// routines (and so through their fast forms); the fast byte kernels against
// their plain forms on every run length; the values the rules pin down; and
// round trips through a pair of families.
#include <numeric>

#include "types/cpu.h"
#include "video/frame_kernels.h"
#include "video/frames_reference.h"

using namespace frames_ref;
using namespace rivulet;

namespace {

constexpr auto kU8 = VIDEO_UINT8;

// Every (Y, Cb, Cr): for each Cr, a YUY2 picture of 256 x 256 macro-pixels
// with Y0 = row, Cb = column and Y1 = 255 - row; through both routines, and
// through the byte kernels of every fast set the CPU runs (not only the
// picked one), each finished by the plain form.
TEST(YCbCrTransforms, BackwardOverEveryTriple) {
  const auto in = MM_GetYCbCrToRGBChannelsInputFcn(kU8);
  const auto out = MM_GetYCbCrToRGBChannelsOutputFcn(kU8);
  const YCbCrMatrices m = loadYCbCrMatrices();
  const FrameSimd* sets[4];
  const int count = frameSimdSets(sets);
  const int w = 512, h = 256, n = w * h, pairs = n / 2;
  Bytes frame(2 * n), rgb(3 * n), y(n), cb(n / 2), cr(n / 2), bgr(3 * n), setRGB(3 * n), setBGR(3 * n);
  for (int v = 0; v < 256; ++v) {
    for (int r = 0; r < h; ++r)
      for (int u = 0; u < 256; ++u) {
        const int k = r * 256 + u;
        const std::uint8_t mp[4] = {static_cast<std::uint8_t>(r), static_cast<std::uint8_t>(u),
                                    static_cast<std::uint8_t>(255 - r), static_cast<std::uint8_t>(v)};
        std::copy(mp, mp + 4, frame.begin() + 4 * k);
        y[2 * k] = mp[0], y[2 * k + 1] = mp[2], cb[k] = mp[1], cr[k] = mp[3];
      }
    in(frame.data(), rgb.data(), rgb.data() + n, rgb.data() + 2 * n, w, h, ORIENTATION_ROW_MAJOR);
    out(y.data(), cb.data(), cr.data(), bgr.data(), w, h, ORIENTATION_ROW_MAJOR);
    for (int i = 0; i < n; ++i) {
      const int r = i / w;  // picture row; the BGR frame holds it at memory row h - 1 - r
      const RGB want = bwd(y[i], cb[i / 2], cr[i / 2]);
      const i64 at = i64{h - 1 - r} * 3 * w + 3 * (i % w);
      ASSERT_TRUE(rgb[i] == want.r && rgb[n + i] == want.g && rgb[2 * n + i] == want.b &&
                  bgr[at] == want.b && bgr[at + 1] == want.g && bgr[at + 2] == want.r)
          << "Y " << int(y[i]) << " Cb " << int(cb[i / 2]) << " Cr " << v;
    }
    // The kernels on the whole picture as one run: planes in the order the
    // routine wrote them, BGR without the frame's flip.
    for (int s = 1; s < count; ++s) {
      std::uint8_t* p = setRGB.data();
      const int d = sets[s]->yuy2ToRGB(frame.data(), p, p + n, p + 2 * n, pairs, m);
      yuy2ToRGBRow_C<kU8>(frame.data() + 4 * d, p + 2 * d, p + n + 2 * d, p + 2 * n + 2 * d,
                          pairs - d, nullptr, m);
      ASSERT_EQ(setRGB, rgb) << "set " << s << ", Cr " << v;
      const int e = sets[s]->ycbcrToBGR(y.data(), cb.data(), cr.data(), setBGR.data(), pairs, m);
      ycbcrToBGRRow_C<kU8>(y.data() + 2 * e, cb.data() + e, cr.data() + e, setBGR.data() + 6 * e,
                           pairs - e, m);
      for (int r = 0; r < h; ++r)
        ASSERT_TRUE(std::equal(setBGR.begin() + i64{r} * 3 * w, setBGR.begin() + i64{r + 1} * 3 * w,
                               bgr.begin() + i64{h - 1 - r} * 3 * w))
            << "set " << s << ", Cr " << v << ", row " << r;
    }
  }
}

// Every (R, G, B), as the left and as the right pixel of a pair: for each
// red, a BGR picture of 512 x 256 whose pixel pairs hold (G, B) = (row,
// column) and its mirror.
TEST(YCbCrTransforms, ForwardOverEveryTriple) {
  const auto in = MM_GetRGBToYCbCrChannelsInputFcn(kU8);
  const auto out = MM_GetRGBToYCbCrChannelsOutputFcn(kU8);
  const int w = 512, h = 256, n = w * h;
  Bytes frame(3 * n), planes(3 * n), y(n), cb(n / 2), cr(n / 2), yuy2(2 * n);
  for (int red = 0; red < 256; ++red) {
    for (int r = 0; r < h; ++r)
      for (int c = 0; c < w; ++c) {
        const int i = r * w + c, g = c % 2 ? 255 - r : r, b = c / 2;
        const i64 at = i64{h - 1 - r} * 3 * w + 3 * c;
        frame[at] = b, frame[at + 1] = g, frame[at + 2] = red;
        planes[c * h + r] = red, planes[n + c * h + r] = g, planes[2 * n + c * h + r] = b;
        (void)i;
      }
    in(frame.data(), y.data(), cb.data(), cr.data(), w, h, ORIENTATION_ROW_MAJOR);
    out(planes.data(), planes.data() + n, planes.data() + 2 * n, yuy2.data(), w, h,
        ORIENTATION_COLUMN_MAJOR);
    for (int i = 0; i < n; ++i) {
      const int r = i / w, c = i % w, g = c % 2 ? 255 - r : r, b = c / 2;
      const bool left = c % 2 == 0;
      ASSERT_TRUE(y[i] == fwdY(red, g, b) && yuy2[2 * i] == fwdY(red, g, b) &&
                  (!left || (cb[i / 2] == fwdCb(red, g, b) && cr[i / 2] == fwdCr(red, g, b) &&
                             yuy2[2 * i + 1] == fwdCb(red, g, b) &&
                             yuy2[2 * i + 3] == fwdCr(red, g, b))))
          << "R " << red << " G " << g << " B " << b;
    }
  }
}

// Values the rules pin down, from a one-pair picture.
TEST(YCbCrTransforms, PinnedValues) {
  auto forward = [](int r, int g, int b) {
    std::uint8_t px[8] = {static_cast<std::uint8_t>(b), static_cast<std::uint8_t>(g),
                          static_cast<std::uint8_t>(r), static_cast<std::uint8_t>(b),
                          static_cast<std::uint8_t>(g), static_cast<std::uint8_t>(r)};
    std::uint8_t y[2], cb, cr;
    MM_GetRGBToYCbCrChannelsInputFcn(kU8)(px, y, &cb, &cr, 2, 1, ORIENTATION_ROW_MAJOR);
    return std::vector<int>{y[0], cb, cr};
  };
  EXPECT_EQ(forward(255, 255, 255), (std::vector<int>{234, 128, 128}));
  EXPECT_EQ(forward(0, 0, 0), (std::vector<int>{16, 128, 128}));
  EXPECT_EQ(forward(255, 0, 0), (std::vector<int>{81, 90, 240}));
  auto backward = [](int y, int cb, int cr) {
    const std::uint8_t f[4] = {static_cast<std::uint8_t>(y), static_cast<std::uint8_t>(cb),
                               static_cast<std::uint8_t>(y), static_cast<std::uint8_t>(cr)};
    std::uint8_t r[2], g[2], b[2];
    MM_GetYCbCrToRGBChannelsInputFcn(kU8)(f, r, g, b, 2, 1, ORIENTATION_ROW_MAJOR);
    return std::vector<int>{r[0], g[0], b[0]};
  };
  EXPECT_EQ(backward(16, 128, 128), (std::vector<int>{0, 0, 0}));
  EXPECT_EQ(backward(235, 128, 128), (std::vector<int>{255, 255, 255}));
  EXPECT_EQ(backward(235, 128, 240)[0], 255);  // red clamps
  // Wide types store the byte through the 8-bit table: neutral chroma is not zero.
  const std::uint8_t f[4] = {235, 128, 235, 128};
  unsigned short y16[2], c16[2];
  MM_GetYCbCrToYCbCrChannelsInputFcn(VIDEO_UINT16)(f, y16, c16, c16 + 1, 2, 1, ORIENTATION_ROW_MAJOR);
  EXPECT_EQ(y16[0], 60160);
  double yd[2], cd[2];
  MM_GetYCbCrToYCbCrChannelsInputFcn(VIDEO_DOUBLE)(f, yd, cd, cd + 1, 2, 1, ORIENTATION_ROW_MAJOR);
  EXPECT_EQ(cd[0], static_cast<double>(static_cast<float>(128 / 255.0)));
  // Grey to YUY2: orientation 0 sends the right luma through the rule twice.
  for (auto [grey, o, want] : {std::tuple{255, 1, std::vector<int>{234, 128, 234, 128}},
                               {255, 0, {234, 128, 216, 128}},
                               {0, 1, {16, 128, 16, 128}},
                               {0, 0, {16, 128, 30, 128}}}) {
    const std::uint8_t plane[2] = {static_cast<std::uint8_t>(grey), static_cast<std::uint8_t>(grey)};
    std::uint8_t yuy2[4];
    MM_GetIntensityToYCbCrChannelsOutputFcn(kU8)(plane, nullptr, nullptr, yuy2, 2, 1,
                                                 static_cast<VideoFrameOrientation>(o));
    EXPECT_EQ(std::vector<int>(yuy2, yuy2 + 4), want) << grey << " orientation " << o;
  }
  // Double chroma of 0.0 is byte 0, far from neutral: strong colour.
  const double yp[2] = {0.5, 0.5}, zero = 0.0;
  std::uint8_t bgr[8] = {};
  MM_GetYCbCrToRGBChannelsOutputFcn(VIDEO_DOUBLE)(yp, &zero, &zero, bgr, 2, 1, ORIENTATION_ROW_MAJOR);
  const RGB want = bwd(128, 0, 0);
  EXPECT_EQ(std::vector<int>(bgr, bgr + 3), (std::vector<int>{want.b, want.g, want.r}));
}

// ---- Fast byte kernels against their plain forms ---------------------------------------------

// Each set of fast forms the CPU runs (not only the one picked), finished by
// the plain form, equals the plain form on every length.
TEST(FrameKernels, EverySetEqualsPlain) {
  std::mt19937 rng(11);
  const YCbCrMatrices m = loadYCbCrMatrices();
  constexpr int kMax = 133;
  Bytes a(8 * kMax), b(8 * kMax), c(8 * kMax);
  for (auto* v : {&a, &b, &c})
    for (auto& x : *v) x = static_cast<std::uint8_t>(rng());
  std::vector<float> wide(kMax);
  for (auto& x : wide) x = anySample<VIDEO_SINGLE>(rng);
  const FrameSimd* sets[4];
  const int count = frameSimdSets(sets);
  for (int k = 0; k < count; ++k) {
    const FrameSimd& s = *sets[k];
    for (int n = 0; n <= kMax; ++n) {
      // out[0..2] from the set then the plain form, want[0..2] from the plain form alone.
      Bytes out[3], want[3];
      auto reset = [&] {
        for (auto* v : {out, want})
          for (int i = 0; i < 3; ++i) v[i].assign(8 * kMax, kGuard);
      };
      auto check = [&](const char* what) {
        for (int i = 0; i < 3; ++i) ASSERT_EQ(out[i], want[i]) << what << ", set " << k << ", " << n;
      };
      reset();
      int d = s.mergeBGR(a.data(), b.data(), c.data(), out[0].data(), n);
      mergeBGRRow_C<kU8>(a.data() + d, b.data() + d, c.data() + d, out[0].data() + 3 * d, n - d);
      mergeBGRRow_C<kU8>(a.data(), b.data(), c.data(), want[0].data(), n);
      check("mergeBGR");
      reset();
      d = s.planesToYUY2(a.data(), b.data(), c.data(), out[0].data(), n);
      planesToYUY2Row_C<kU8>(a.data() + 2 * d, b.data() + d, c.data() + d, out[0].data() + 4 * d, n - d);
      planesToYUY2Row_C<kU8>(a.data(), b.data(), c.data(), want[0].data(), n);
      check("planesToYUY2");
      reset();
      d = s.ycbcrToBGR(a.data(), b.data(), c.data(), out[0].data(), n, m);
      ycbcrToBGRRow_C<kU8>(a.data() + 2 * d, b.data() + d, c.data() + d, out[0].data() + 6 * d, n - d, m);
      ycbcrToBGRRow_C<kU8>(a.data(), b.data(), c.data(), want[0].data(), n, m);
      check("ycbcrToBGR");
      reset();
      d = s.yuy2ToPlanes(a.data(), out[0].data(), out[1].data(), out[2].data(), n);
      yuy2ToPlanesRow_C<kU8>(a.data() + 4 * d, out[0].data() + 2 * d, out[1].data() + d,
                             out[2].data() + d, n - d, nullptr);
      yuy2ToPlanesRow_C<kU8>(a.data(), want[0].data(), want[1].data(), want[2].data(), n, nullptr);
      check("yuy2ToPlanes");
      reset();
      d = s.yuy2ToRGB(a.data(), out[0].data(), out[1].data(), out[2].data(), n, m);
      yuy2ToRGBRow_C<kU8>(a.data() + 4 * d, out[0].data() + 2 * d, out[1].data() + 2 * d,
                          out[2].data() + 2 * d, n - d, nullptr, m);
      yuy2ToRGBRow_C<kU8>(a.data(), want[0].data(), want[1].data(), want[2].data(), n, nullptr, m);
      check("yuy2ToRGB");
      reset();
      d = s.bgrToYCbCr(a.data(), out[0].data(), out[1].data(), out[2].data(), n, m);
      rgbBytesToYCbCrRow_C<kU8, 3>(a.data() + 6 * d + 2, a.data() + 6 * d + 1, a.data() + 6 * d,
                                   out[0].data() + 2 * d, out[1].data() + d, out[2].data() + d,
                                   n - d, nullptr, m);
      rgbBytesToYCbCrRow_C<kU8, 3>(a.data() + 2, a.data() + 1, a.data(), want[0].data(),
                                   want[1].data(), want[2].data(), n, nullptr, m);
      check("bgrToYCbCr");
      reset();
      d = s.narrowSingle(wide.data(), out[0].data(), n, 0.0f, 1.0f);
      narrowRun_C<VIDEO_SINGLE>(wide.data() + d, out[0].data() + d, n - d);
      narrowRun_C<VIDEO_SINGLE>(wide.data(), want[0].data(), n);
      check("narrowSingle");
    }
  }
}

// Narrowing by the vector forms equals the rule: on every run length over
// widened bytes and the edges (NaN, infinities, out of range, halfway
// points), then over every 4093rd bit pattern of the 32-bit types (a million
// values across every exponent, sign and NaN payload) and of a double's high
// word.
template <int N>
void expectNarrowRunsEqual() {
  using T = Sample<N>;
  std::mt19937 rng(N);
  std::vector<T> src(300);
  for (auto& x : src) x = anySample<N>(rng);
  for (int n = 0; n <= 300; n += 7) {
    Bytes fast(300, kGuard), plain(300, kGuard);
    narrowRun<N>(src.data(), fast.data(), n);
    narrowRun_C<N>(src.data(), plain.data(), n);
    ASSERT_EQ(fast, plain) << "type " << N << ", " << n << " samples";
  }
  constexpr std::uint64_t kStep = 4093, kCount = (std::uint64_t{1} << 32) / kStep + 1;
  std::vector<T> sweep(kCount);
  for (std::uint64_t i = 0; i < kCount; ++i) {
    const std::uint64_t bits = i * kStep << (sizeof(T) == 8 ? 32 : 0) | (sizeof(T) == 8 ? i : 0);
    std::memcpy(&sweep[i], &bits, sizeof(T));
  }
  // And 64 neighbours either side of every value the rule rounds half up
  // from (t = k + 0.5 after scaling), and of the top of int32.
  const double lo = sampleAsSingle<N>(videoTraits<N>::min);
  const double range = sampleAsSingle<N>(videoTraits<N>::max) - lo;
  for (int k = 0; k <= 256; ++k) {
    const double at[] = {lo + (k + 0.5) / 255 * range, lo + 2147483648.0 / 255 * range};
    for (double a : at) {
      auto next = [](T x, int by) {
        if constexpr (std::is_floating_point_v<T>)
          return std::nextafter(x, by * std::numeric_limits<T>::infinity());
        else
          return static_cast<T>(std::clamp<std::int64_t>(std::int64_t{x} + by, INT32_MIN, INT32_MAX));
      };
      T x = static_cast<T>(std::clamp(a, -2147483648.0, 2147483647.0));
      for (int i = 0; i < 64; ++i) x = next(x, -1);
      for (int i = 0; i < 128; ++i, x = next(x, 1)) sweep.push_back(x);
    }
  }
  const size_t count = sweep.size();
  Bytes fast(count), plain(count);
  narrowRun<N>(sweep.data(), fast.data(), static_cast<int>(count));
  narrowRun_C<N>(sweep.data(), plain.data(), static_cast<int>(count));
  for (size_t i = 0; i < count; ++i)
    ASSERT_EQ(fast[i], plain[i]) << "type " << N << ", sample " << static_cast<double>(sweep[i]);
}
TEST(FrameKernels, FastNarrowingEqualsPlain) {
  expectNarrowRunsEqual<VIDEO_SINGLE>();
  expectNarrowRunsEqual<VIDEO_DOUBLE>();
  expectNarrowRunsEqual<VIDEO_INT32>();
}

// Widening by the byte-permute forms equals the table on every byte value,
// every run length, every start and every place of dst within a 64-byte
// line, stored through the caches or past them; guards on both sides. Once
// more with an entry of the exported table changed, as a host may do: the
// fast forms then look it up as the table says.
template <int N>
void expectWidenRunsEqual(bool hostChanged) {
  using T = Sample<N>;
  initEightBitLUT(static_cast<VideoDataType>(N));
  if (hostChanged) videoTraits<N>::EightBitLUT[167] = T(3);
  Bytes src(600);
  for (size_t i = 0; i < src.size(); ++i) src[i] = static_cast<std::uint8_t>(i * 167 + i / 256);
  constexpr int kLine = 64 / sizeof(T);
  for (int start = 0; start < 6; ++start)
    for (int n = 0; n <= 300; n += start + 1) {
      alignas(64) T fast[2 * kLine + 301], plain[2 * kLine + 301];
      std::fill_n(fast, 2 * kLine + 301, T(7));
      std::fill_n(plain, 2 * kLine + 301, T(7));
      const int at = kLine + (n + start) % kLine;
      widenRun<N>(src.data() + start, fast + at, n, eightBitTable<N>(), start >= 3);
      widenRun_C<N>(src.data() + start, plain + at, n, eightBitTable<N>());
      ASSERT_EQ(0, std::memcmp(fast, plain, sizeof fast)) << "type " << N << ", " << n << " samples from " << start;
    }
  // The YUY2 forms that widen straight from the frame, on every pair count:
  // Y at 0, Cb at 266, Cr at 399, a guard element after each.
  constexpr int kPairs = 133;
  for (int pairs = 0; pairs <= kPairs; ++pairs)
    for (bool stream : {false, true}) {
      std::vector<T> fast(4 * kPairs + 3, T(7)), plain = fast;
      auto run = [&](std::vector<T>& v, auto kernel) {
        kernel(src.data(), v.data(), v.data() + 2 * kPairs + 1, v.data() + 3 * kPairs + 2, pairs);
      };
      run(fast, [&](auto... a) { yuy2ToPlanesRow<N>(a..., eightBitTable<N>(), stream); });
      run(plain, [&](auto... a) { yuy2ToPlanesRow_C<N>(a..., eightBitTable<N>()); });
      ASSERT_EQ(0, std::memcmp(fast.data(), plain.data(), sizeof(T) * fast.size()))
          << "type " << N << ", YUY2 of " << pairs << " pairs";
    }
  initEightBitLUT(static_cast<VideoDataType>(N));
}
TEST(FrameKernels, FastWideningEqualsPlain) {
  for (bool hostChanged : {false, true}) {
    expectWidenRunsEqual<VIDEO_SINGLE>(hostChanged);
    expectWidenRunsEqual<VIDEO_DOUBLE>(hostChanged);
    expectWidenRunsEqual<VIDEO_INT32>(hostChanged);
    expectWidenRunsEqual<VIDEO_UINT32>(hostChanged);
    expectWidenRunsEqual<VIDEO_INT16>(hostChanged);
    expectWidenRunsEqual<VIDEO_UINT16>(hostChanged);
  }
}

// The fast forms take the load-time matrices (where the CPU has them), and a
// matrix they cannot hold exactly is left to the plain forms.
TEST(FrameKernels, FastTransformsTakeTheMatricesThatFit) {
  YCbCrMatrices m = loadYCbCrMatrices();
  Bytes in(64 * 6, 200), y(64 * 2), cb(64), cr(64);
  if (simdAtLeast(Simd::kAvx2)) {
    const FrameSimd& s = frameSimd();
    EXPECT_EQ(s.mergeBGR(in.data(), in.data(), in.data(), in.data() + 64, 64), 64);
    EXPECT_EQ(s.yuy2ToPlanes(in.data(), y.data(), cb.data(), cr.data(), 64), 64);
    EXPECT_EQ(s.planesToYUY2(y.data(), cb.data(), cr.data(), in.data(), 64), 64);
    EXPECT_EQ(s.yuy2ToRGB(in.data(), y.data(), cb.data(), cr.data(), 32, m), 32);
    EXPECT_EQ(s.ycbcrToBGR(y.data(), cb.data(), cr.data(), in.data(), 32, m), 32);
    EXPECT_EQ(s.bgrToYCbCr(in.data(), y.data(), cb.data(), cr.data(), 32, m), 32);
  }
  m.fwd[0] = 300;  // luma sums no longer fit 16 bits
  m.bwd[3] += 1;   // luma gains differ between R and G
  EXPECT_EQ(frameSimd().bgrToYCbCr(in.data(), y.data(), cb.data(), cr.data(), 64, m), 0);
  EXPECT_EQ(frameSimd().yuy2ToRGB(in.data(), y.data(), cb.data(), cr.data(), 64, m), 0);
  EXPECT_EQ(frameSimd().ycbcrToBGR(in.data(), in.data(), in.data(), y.data(), 16, m), 0);
}

// ---- Round trips ----------------------------------------------------------------------------

template <typename P>
class RoundTrip : public ::testing::Test {};
TYPED_TEST_SUITE(RoundTrip, AllTypes);

// BGR frame -> planes -> BGR frame gives back narrow(widen(b)) for every byte
// (b itself where the type keeps every byte), in both orientations, and
// leaves the padding of the destination frame alone. Likewise YUY2 -> Y, Cb,
// Cr -> YUY2.
TYPED_TEST(RoundTrip, FramesThroughPlanes) {
  constexpr int N = TypeParam::value;
  using T = Sample<N>;
  const auto t = static_cast<VideoDataType>(N);
  std::mt19937 rng(N);
  int exact = 0;
  for (int b = 0; b < 256; ++b) exact += narrow<N>(widen<N>(b)) == b;
  if (N == VIDEO_DOUBLE || N == VIDEO_SINGLE || N == VIDEO_INT8 || N == VIDEO_UINT8) {
    EXPECT_EQ(exact, 256);
  }
  for (auto [w, h] : {std::pair{1, 1}, {5, 3}, {67, 35}, {130, 17}})
    for (int o : {0, 1}) {
      const auto orientation = static_cast<VideoFrameOrientation>(o);
      const i64 size = bgrStride(w) * h, n = i64{w} * h;
      Bytes frame(size);
      for (auto& x : frame) x = static_cast<std::uint8_t>(rng());
      std::vector<T> planes(3 * n);
      MM_GetRGBToRGBChannelsInputFcn(t)(frame.data(), planes.data(), planes.data() + n,
                                        planes.data() + 2 * n, w, h, orientation);
      Bytes back(size, kGuard);
      MM_GetRGBToRGBChannelsOutputFcn(t)(planes.data(), planes.data() + n, planes.data() + 2 * n,
                                         back.data(), w, h, orientation);
      for (i64 i = 0; i < size; ++i) {
        const bool pad = i % bgrStride(w) >= 3 * w;
        ASSERT_EQ(back[i], pad ? kGuard : narrow<N>(widen<N>(frame[i])))
            << w << " x " << h << " orientation " << o << " byte " << i;
      }
      if (w % 2) continue;
      Bytes yuy2(2 * n);
      for (auto& x : yuy2) x = static_cast<std::uint8_t>(rng());
      std::vector<T> ycc(2 * n);
      MM_GetYCbCrToYCbCrChannelsInputFcn(t)(yuy2.data(), ycc.data(), ycc.data() + n,
                                            ycc.data() + n + n / 2, w, h, orientation);
      Bytes again(2 * n, kGuard);
      MM_GetYCbCrToYCbCrChannelsOutputFcn(t)(ycc.data(), ycc.data() + n, ycc.data() + n + n / 2,
                                             again.data(), w, h, orientation);
      for (i64 i = 0; i < 2 * n; ++i)
        ASSERT_EQ(again[i], narrow<N>(widen<N>(yuy2[i]))) << w << " x " << h << " byte " << i;
    }
}

}  // namespace
