// Packed RGB24 frames to and from planes of every type, against a model
// written from the full-range rules: copy, output (unpadded and padded) and
// clearing over sizes (empty ones included), orientations and guard-filled
// buffers; the narrowing at
// its edges; copy then output reproducing every byte; the selectors' tables.
#include <cmath>
#include <cstdlib>
#include <limits>

#include "rivulet/rivulet.h"
#include "video/reference.h"
#include "types/stream.h"
#include "video/sample_rules.h"

using namespace rivulet;
using namespace videoref::sweep;

namespace {

template <int N>
Sample<N> modelWiden(std::uint8_t b) {
  if constexpr (N == VIDEO_DOUBLE) return b / 255.0;
  else if constexpr (N == VIDEO_SINGLE) return static_cast<float>(b) / 255.0f;
  else if constexpr (N == VIDEO_INT8) return static_cast<char>(b - 128);
  else if constexpr (N == VIDEO_UINT8) return b;
  else if constexpr (N == VIDEO_INT16) return static_cast<short>(std::trunc(b * 257.0 - 32768.0));
  else if constexpr (N == VIDEO_UINT16) return static_cast<unsigned short>(b | b << 8);
  else if constexpr (N == VIDEO_INT32) return static_cast<int>(std::trunc(b * 16843009.0 - 2147483648.0));
  else return 0x01010101u * b;
}

// Low byte of a truncation through int64; NaN gives 0.
std::uint8_t low(double v) { return std::isnan(v) ? 0 : static_cast<std::uint8_t>(static_cast<long long>(v)); }

template <int N>
std::uint8_t modelNarrow(Sample<N> x) {
  if constexpr (N == VIDEO_DOUBLE || N == VIDEO_SINGLE) {
    if (x > 1 || x < 0) return x > 1 ? 255 : 0;
    return low(N == VIDEO_DOUBLE ? x * 255.0 + 0.5 : static_cast<double>(static_cast<float>(x * 255.0f)) + 0.5);
  } else if constexpr (N == VIDEO_INT8) return static_cast<std::uint8_t>(x + 128);
  else if constexpr (N == VIDEO_UINT8) return x;
  else if constexpr (N == VIDEO_INT16) return low((x + 32768.0) * 0.0038910505836575876 + 0.5);
  else if constexpr (N == VIDEO_UINT16) return low(x * 0.0038910505836575876 + 0.5);
  else if constexpr (N == VIDEO_INT32) return low((x + 2147483648.0) * 5.937181414556033e-08 + 0.5);
  else if constexpr (N == VIDEO_UINT32) return low(x * 5.937181414556033e-08 + 0.5);
  else return static_cast<std::uint8_t>(256 - x);
}

// Samples for the outputs: random bits of the integer types with their edges
// mixed in; for the floating types every byte's halfway point, beyond-range
// values, NaN, infinities and signed zeros.
template <int N>
std::vector<Sample<N>> samples(size_t n, unsigned seed) {
  using T = Sample<N>;
  std::mt19937_64 rng(seed);
  std::vector<T> v(n);
  for (size_t i = 0; i < n; ++i) {
    const auto bits = rng();
    if constexpr (std::is_floating_point_v<T>) {
      constexpr T inf = std::numeric_limits<T>::infinity();
      const T edges[] = {0, -0.0f, 1, 1.5f, -0.25f, 1e30f, -inf, inf, std::numeric_limits<T>::quiet_NaN(),
                         std::numeric_limits<T>::denorm_min(), std::nextafter(T(1), T(2))};
      const unsigned pick = bits % 16;
      v[i] = pick < std::size(edges) ? edges[pick] : static_cast<T>(((bits >> 8) % 512) / 2 + 0.5) / T(255);
      if (pick == 15) v[i] = static_cast<T>((bits >> 8) % 100001) / T(100000);
    } else {
      const long long edges[] = {std::numeric_limits<T>::min(), std::numeric_limits<T>::max(), 0, 1, 2, 128, 129, 257};
      v[i] = static_cast<T>(bits % 4 == 0 ? edges[(bits >> 2) % std::size(edges)] : bits >> 8);
    }
  }
  return v;
}

int paddedStride(int w) { return 3 * w + w % 4; }

template <typename P>
class RGB24 : public testing::Test {};
TYPED_TEST_SUITE(RGB24, AllTypes);

}  // namespace

TYPED_TEST(RGB24, CopyAndClearOverSizesAndOrientations) {
  constexpr int N = TypeParam::value;
  using T = Sample<N>;
  const auto dt = static_cast<VideoDataType>(N);
  if (N == VIDEO_BOOLEAN) {
    EXPECT_TRUE(!MM_GetRGB24CopyFcn(dt) && !MM_GetRGB24ChannelsCopyFcn(dt) && !MM_GetRGB24EmptyFcn(dt) &&
                !MM_GetRGB24ChannelsEmptyFcn(dt));
    return;
  }
  for (auto [w, h] : kSizes) {
    const size_t n = pixels(w, h);
    const size_t stride = n == 0 ? 0 : paddedStride(w);
    const auto frame = randomBytes(stride * h, w * 11 + h);
    for (int o : {0, 1, 2}) {
      const auto orientation = static_cast<VideoFrameOrientation>(o);
      Guarded<T> r(n), g(n), b(n), all(3 * n);
      MM_GetRGB24ChannelsCopyFcn(dt)(frame.data(), r.ptr(), g.ptr(), b.ptr(), w, h, orientation);
      MM_GetRGB24CopyFcn(dt)(frame.data(), all.ptr(), w, h, orientation);
      ASSERT_TRUE(r.guardsIntact() && g.guardsIntact() && b.guardsIntact() && all.guardsIntact());
      for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
          const std::uint8_t* px = frame.data() + static_cast<size_t>(h - 1 - y) * stride + 3 * x;
          const size_t i = planeIndex(w, h, y, x, o);
          ASSERT_TRUE(same(r[i], modelWiden<N>(px[2])) && same(g[i], modelWiden<N>(px[1])) &&
                      same(b[i], modelWiden<N>(px[0])))
              << w << "x" << h << " o" << o << " at " << y << "," << x;
          ASSERT_TRUE(same(all[i], r[i]) && same(all[n + i], g[i]) && same(all[2 * n + i], b[i]));
        }
    }
    // Clearing: every element of the three planes is min; nothing else moves.
    Guarded<T> r(n), g(n), b(n), all(3 * n);
    MM_GetRGB24ChannelsEmptyFcn(dt)(nullptr, r.ptr(), g.ptr(), b.ptr(), w, h, ORIENTATION_COLUMN_MAJOR);
    MM_GetRGB24EmptyFcn(dt)(nullptr, all.ptr(), w, h, ORIENTATION_ROW_MAJOR);
    ASSERT_TRUE(r.guardsIntact() && g.guardsIntact() && b.guardsIntact() && all.guardsIntact());
    for (size_t i = 0; i < 3 * n; ++i) ASSERT_TRUE(same(all[i], videoTraits<N>::min));
    for (size_t i = 0; i < n; ++i) ASSERT_TRUE(same(r[i], all[i]) && same(g[i], all[i]) && same(b[i], all[i]));
  }
}

TYPED_TEST(RGB24, OutputOverSizesOrientationsAndStrides) {
  constexpr int N = TypeParam::value;
  const auto dt = static_cast<VideoDataType>(N);
  for (auto [w, h] : kSizes) {
    const size_t n = pixels(w, h);
    const auto planes = samples<N>(3 * n, w * 5 + h);
    for (bool padded : {false, true}) {
      const int stride = n == 0 ? 0 : padded ? paddedStride(w) : 3 * w;
      const size_t bytes = static_cast<size_t>(stride) * n / std::max(w, 1);
      for (int o : {0, 1, 2}) {
        const auto orientation = static_cast<VideoFrameOrientation>(o);
        Guarded<std::uint8_t> a(bytes), b(bytes);
        (padded ? MM_GetPaddedRGB24ChannelsOutputFcn : MM_GetRGB24ChannelsOutputFcn)(dt)(
            planes.data(), planes.data() + n, planes.data() + 2 * n, a.ptr(), w, h, orientation);
        (padded ? MM_GetPaddedRGB24OutputFcn : MM_GetRGB24OutputFcn)(dt)(planes.data(), b.ptr(), w, h, orientation);
        ASSERT_TRUE(a.guardsIntact() && a.sameBytes(b)) << w << "x" << h << " padded " << padded << " o" << o;
        for (int y = 0; y < h; ++y) {
          const size_t row = static_cast<size_t>(h - 1 - y) * stride;  // picture row 0 is the last in memory
          for (int x = 0; x < w; ++x)
            for (int k = 0; k < 3; ++k)  // blue, green, red
              ASSERT_EQ(a[row + 3 * x + k], modelNarrow<N>(planes[(2 - k) * n + planeIndex(w, h, y, x, o)]))
                  << w << "x" << h << " o" << o << " at " << y << "," << x << " byte " << k;
          for (int p = 3 * w; p < stride; ++p) ASSERT_EQ(a[row + p], kGuard);  // padding kept
        }
      }
    }
  }
}

// A copy then an output of the same type gives back every pixel byte.
TYPED_TEST(RGB24, CopyThenOutputReproducesTheFrame) {
  constexpr int N = TypeParam::value;
  const auto dt = static_cast<VideoDataType>(N);
  if (N == VIDEO_BOOLEAN) return;
  for (auto [w, h] : {std::pair{255, 3}, {1, 1}, {17, 5}}) {
    const int stride = paddedStride(w);
    auto frame = randomBytes(static_cast<size_t>(stride) * h, w);
    for (int i = 0; i < 256 && i < 3 * w; ++i) frame[i] = static_cast<std::uint8_t>(i);  // every byte
    for (int o : {0, 1}) {
      std::vector<Sample<N>> planes(3 * static_cast<size_t>(w) * h);
      std::vector<std::uint8_t> back(frame.size(), 0);
      MM_GetRGB24CopyFcn(dt)(frame.data(), planes.data(), w, h, static_cast<VideoFrameOrientation>(o));
      MM_GetPaddedRGB24OutputFcn(dt)(planes.data(), back.data(), w, h, static_cast<VideoFrameOrientation>(o));
      for (int y = 0; y < h; ++y)
        for (int x = 0; x < 3 * w; ++x) ASSERT_EQ(back[y * stride + x], frame[y * stride + x]) << w << " o" << o;
    }
  }
}

// Both sides negative: the product is positive, yet no pixel is copied or
// written (the sweeps cover one side at a time).
TYPED_TEST(RGB24, BothSidesNegativeWriteNothing) {
  constexpr int N = TypeParam::value;
  const auto dt = static_cast<VideoDataType>(N);
  const std::vector<std::uint8_t> src(256, 200);
  Guarded<std::uint8_t> out(0);
  for (auto f : {MM_GetRGB24OutputFcn(dt), MM_GetPaddedRGB24OutputFcn(dt)}) f(src.data(), out.ptr(), -2, -3, ORIENTATION_ROW_MAJOR);
  if (N != VIDEO_BOOLEAN) MM_GetRGB24CopyFcn(dt)(src.data(), out.ptr(), -2, -3, ORIENTATION_COLUMN_MAJOR);
  ASSERT_TRUE(out.untouched());
}

TEST(RGB24Values, PinnedNarrowingsAndWidenings) {
  const double d[] = {1.5, -0.25, 0.5, 1.0, 0.0, -0.0, std::nan(""), 1e300};
  const std::uint8_t dWant[] = {255, 0, 128, 255, 0, 0, 0, 255};
  for (size_t i = 0; i < std::size(d); ++i) {
    std::uint8_t px[3];
    MM_GetRGB24ChannelsOutputFcn(VIDEO_DOUBLE)(&d[i], &d[i], &d[i], px, 1, 1, ORIENTATION_ROW_MAJOR);
    EXPECT_EQ(px[0], dWant[i]) << d[i];
  }
  const unsigned short u16[] = {65535, 128, 129, 257};
  const std::uint8_t u16Want[] = {255, 0, 1, 1};
  for (size_t i = 0; i < std::size(u16); ++i) {
    std::uint8_t px[3];
    MM_GetRGB24ChannelsOutputFcn(VIDEO_UINT16)(&u16[i], &u16[i], &u16[i], px, 1, 1, ORIENTATION_ROW_MAJOR);
    EXPECT_EQ(px[1], u16Want[i]) << u16[i];
  }
  const unsigned char two = 2;  // boolean is a negation, not a normalisation
  std::uint8_t px[4] = {0, 0, 0, 0xAA};
  MM_GetPaddedRGB24ChannelsOutputFcn(VIDEO_BOOLEAN)(&two, &two, &two, px, 1, 1, ORIENTATION_ROW_MAJOR);
  EXPECT_EQ(px[2], 254);
  EXPECT_EQ(px[3], 0xAA);
  // 255 widens to 65535 and to the tops of the signed ranges.
  const std::uint8_t white[4] = {255, 0, 255, 0};
  unsigned short r, g, b;
  MM_GetRGB24ChannelsCopyFcn(VIDEO_UINT16)(white, &r, &g, &b, 1, 1, ORIENTATION_ROW_MAJOR);
  EXPECT_EQ(r, 65535);
  EXPECT_EQ(g, 0);
  int ri, gi, bi;
  MM_GetRGB24ChannelsCopyFcn(VIDEO_INT32)(white, &ri, &gi, &bi, 1, 1, ORIENTATION_ROW_MAJOR);
  EXPECT_EQ(ri, 2147483647);
  EXPECT_EQ(gi, -2147483647 - 1);
}

TEST(RGB24Selectors, OutOfRangeIsNullAndNoSelectorFillsATable) {
  for (int t : {9, -1, 1000})
    for (auto s : {MM_GetRGB24CopyFcn, MM_GetRGB24EmptyFcn, MM_GetRGB24OutputFcn, MM_GetPaddedRGB24OutputFcn})
      EXPECT_EQ(s(static_cast<VideoDataType>(t)), nullptr);
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto selectAllInAFreshProcess = [] {
        for (int t = -1; t <= 9; ++t) {
          const auto dt = static_cast<VideoDataType>(t);
          MM_GetRGB24CopyFcn(dt), MM_GetRGB24ChannelsCopyFcn(dt), MM_GetRGB24EmptyFcn(dt);
          MM_GetRGB24ChannelsEmptyFcn(dt), MM_GetRGB24OutputFcn(dt), MM_GetRGB24ChannelsOutputFcn(dt);
          MM_GetPaddedRGB24OutputFcn(dt), MM_GetPaddedRGB24ChannelsOutputFcn(dt);
        }
        const bool empty = videoTraits<0>::EightBitLUT.empty() && videoTraits<1>::EightBitLUT.empty() &&
                           videoTraits<5>::EightBitLUT.empty() && videoTraits<8>::EightBitLUT.empty();
        std::exit(empty ? 0 : 1);
  };
  EXPECT_EXIT(selectAllInAFreshProcess(), testing::ExitedWithCode(0), "");
}

// A working set (frame and planes) large enough that the copy writes past
// the caches, in both orientations.
TEST(RGB24Large, StreamedCopyMatchesTheModel) {
  const int w = 999, h = static_cast<int>(streamMinBytes() / (w * (3 + 3 * sizeof(double)))) + 1;
  if (h > 16384) GTEST_SKIP() << "a last-level cache too large to fill in a test";
  const int stride = paddedStride(w);
  const auto frame = randomBytes(static_cast<size_t>(stride) * h, 9);
  for (int o : {0, 1}) {
    std::vector<double> planes(3 * size_t{w} * h);
    MM_GetRGB24CopyFcn(VIDEO_DOUBLE)(frame.data(), planes.data(), w, h, static_cast<VideoFrameOrientation>(o));
    for (int r = 0; r < h; ++r)
      for (int c = 0; c < w; ++c)
        for (int k = 0; k < 3; ++k)
          ASSERT_EQ(planes[k * size_t{w} * h + planeIndex(w, h, r, c, o)],
                    modelWiden<VIDEO_DOUBLE>(frame[static_cast<size_t>(h - 1 - r) * stride + 3 * c + 2 - k]));
  }
}
