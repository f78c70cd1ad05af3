// RGB planes from packed BGR frames and from contiguous byte planes, in all
// nine types, both orientations and the odd one, against a reference written
// from the layout rules; and the fast byte kernels against their plain forms.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "rivulet/rivulet.h"
#include "types/cpu.h"
#include "video/bgr_rows.h"
#include "video/plane_driver.h"

using namespace rivulet;

namespace {

template <int N>
Sample<N> widened(std::uint8_t b) {
  if constexpr (N == VIDEO_DOUBLE) return static_cast<float>(b / 255.0);
  else if constexpr (N == VIDEO_SINGLE) return static_cast<float>(b / 255.0);
  else if constexpr (N == VIDEO_INT8) return static_cast<char>(b - 128);
  else if constexpr (N == VIDEO_UINT8) return b;
  else if constexpr (N == VIDEO_INT16) return static_cast<short>((b - 128) * 256);
  else if constexpr (N == VIDEO_UINT16) return static_cast<unsigned short>(b * 256);
  else if constexpr (N == VIDEO_INT32) return (b - 128) * 16777216;
  else if constexpr (N == VIDEO_UINT32) return static_cast<unsigned>(b) << 24;
  else return b != 0;
}

std::vector<std::uint8_t> randomBytes(size_t n, unsigned seed) {
  std::mt19937 rng(seed);
  std::vector<std::uint8_t> v(n);
  for (auto& x : v) x = static_cast<std::uint8_t>(rng());
  return v;
}

constexpr std::uint8_t kGuard = 0x5A;

// Planes with a guard tail; check() compares the elements and the tail.
template <int N>
struct Planes {
  using T = Sample<N>;
  static constexpr size_t kTail = 64;
  size_t n;
  std::vector<std::uint8_t> bytes[3];
  explicit Planes(size_t count) : n(count) {
    for (auto& b : bytes) b.assign(n * sizeof(T) + kTail, kGuard);
  }
  T at(int p, size_t i) const {
    T v;
    std::memcpy(&v, bytes[p].data() + i * sizeof(T), sizeof v);
    return v;
  }
  bool tailIntact() const {
    for (auto& b : bytes)
      for (size_t i = n * sizeof(T); i < b.size(); ++i)
        if (b[i] != kGuard) return false;
    return true;
  }
  void* ptr(int p) { return bytes[p].data(); }
};

template <typename P>
class RGBInput : public testing::Test {};
template <int N>
using Type = std::integral_constant<int, N>;
using AllTypes = testing::Types<Type<0>, Type<1>, Type<2>, Type<3>, Type<4>, Type<5>, Type<6>, Type<7>, Type<8>>;
TYPED_TEST_SUITE(RGBInput, AllTypes);

const std::pair<int, int> kSizes[] = {{1, 1}, {2, 2}, {3, 1}, {1, 5}, {5, 3}, {16, 16}, {17, 15},
                                      {31, 33}, {32, 16}, {33, 65}, {48, 17}, {64, 64}, {67, 70}, {100, 3}};

}  // namespace

TYPED_TEST(RGBInput, PackedFrameToPlanesInEveryOrientation) {
  constexpr int N = TypeParam::value;
  VideoInputFcn f = MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, static_cast<VideoDataType>(N), false);
  ASSERT_NE(f, nullptr);
  for (auto [w, h] : kSizes) {
    const int stride = (3 * w + 3) / 4 * 4;
    const auto frame = randomBytes(static_cast<size_t>(stride) * h, w * 1000 + h);
    for (int orientation : {0, 1, 2}) {
      Planes<N> out(static_cast<size_t>(w) * h);
      f(frame.data(), out.ptr(0), out.ptr(1), out.ptr(2), w, h, static_cast<VideoFrameOrientation>(orientation));
      for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
          const std::uint8_t* px = frame.data() + (h - 1 - r) * stride + 3 * c;  // bottom-up rows
          const size_t i = orientation == 0 ? static_cast<size_t>(r) * w + c : static_cast<size_t>(c) * h + r;
          ASSERT_EQ(out.at(0, i), widened<N>(px[2])) << w << "x" << h << " o" << orientation << " r" << r << " c" << c;
          ASSERT_EQ(out.at(1, i), widened<N>(px[1]));
          ASSERT_EQ(out.at(2, i), widened<N>(px[0]));
        }
      ASSERT_TRUE(out.tailIntact()) << w << "x" << h;
    }
  }
}

TYPED_TEST(RGBInput, ContiguousPlanesToColumnMajorPlanes) {
  constexpr int N = TypeParam::value;
  VideoInputFcn f = MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, static_cast<VideoDataType>(N), true);
  ASSERT_NE(f, nullptr);
  for (auto [w, h] : kSizes) {
    const size_t n = static_cast<size_t>(w) * h;
    const auto src = randomBytes(3 * n, w * 7 + h);
    for (int orientation : {0, 1, 2}) {
      Planes<N> out(n);
      f(src.data(), out.ptr(0), out.ptr(1), out.ptr(2), w, h, static_cast<VideoFrameOrientation>(orientation));
      for (int p = 0; p < 3; ++p)
        for (int r = 0; r < h; ++r)
          for (int c = 0; c < w; ++c) {
            const size_t dst = static_cast<size_t>(c) * h + r;
            // Orientation 0: row-major source; any other: already column-major.
            const size_t s = orientation == 0 ? static_cast<size_t>(r) * w + c : dst;
            ASSERT_EQ(out.at(p, dst), widened<N>(src[p * n + s])) << w << "x" << h << " o" << orientation;
          }
      ASSERT_TRUE(out.tailIntact());
    }
  }
}

TYPED_TEST(RGBInput, NonPositiveSizesWriteNothing) {
  constexpr int N = TypeParam::value;
  const auto dt = static_cast<VideoDataType>(N);
  const std::vector<std::uint8_t> frame(64, 200);
  for (bool mmr : {false, true})
    for (auto [w, h] : {std::pair{0, 4}, {4, 0}, {-1, 4}, {4, -1}, {-2, -2}})
      for (int o : {0, 1}) {
        if (mmr && o != 0 && w * h > 0) continue;  // see ColumnMajorMmrUsesOnlyTheProduct
        Planes<N> out(0);
        MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, dt, mmr)(frame.data(), out.ptr(0), out.ptr(1), out.ptr(2), w, h,
                                                             static_cast<VideoFrameOrientation>(o));
        ASSERT_TRUE(out.tailIntact()) << mmr << " " << w << "x" << h << " o" << o;
      }
}

TEST(RGBInputLayout, ColumnMajorMmrUsesOnlyTheProduct) {
  // Both sides column-major: width and height matter only through w * h, so
  // -2 by -2 converts four elements, as 2 by 2 and 4 by 1 do.
  const std::uint8_t src[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  for (auto [w, h] : {std::pair{-2, -2}, {2, 2}, {4, 1}}) {
    std::uint8_t r[5] = {0, 0, 0, 0, 99}, g[5] = {}, b[5] = {};
    MM_GetRGBToRGBChannelsInputFcn_mmr(VIDEO_UINT8)(src, r, g, b, w, h, ORIENTATION_COLUMN_MAJOR);
    EXPECT_EQ(r[0], 1);
    EXPECT_EQ(r[3], 4);
    EXPECT_EQ(r[4], 99);
    EXPECT_EQ(g[0], 5);
    EXPECT_EQ(b[3], 12);
  }
}

TEST(RGBInputLayout, PaddingIsSkippedAndTopRowIsLastInMemory) {
  MM_GetRGBToRGBChannelsInputFcn(VIDEO_UINT8);
  // 1 x 1: stride 4, byte 3 is padding.
  const std::uint8_t one[4] = {1, 2, 3, 99};
  std::uint8_t r = 0, g = 0, b = 0;
  MM_GetRGBToRGBChannelsInputFcn(VIDEO_UINT8)(one, &r, &g, &b, 1, 1, ORIENTATION_ROW_MAJOR);
  EXPECT_EQ(r, 3);
  EXPECT_EQ(g, 2);
  EXPECT_EQ(b, 1);
  // 2 x 2: stride 8; memory row 1 is picture row 0.
  const std::uint8_t two[16] = {10, 11, 12, 13, 14, 15, 0xEE, 0xEE, 20, 21, 22, 23, 24, 25, 0xEE, 0xEE};
  std::uint8_t R[4], G[4], B[4];
  MM_GetRGBToRGBChannelsInputFcn(VIDEO_UINT8)(two, R, G, B, 2, 2, ORIENTATION_ROW_MAJOR);
  EXPECT_EQ(R[0], 22);
  EXPECT_EQ(R[1], 25);
  EXPECT_EQ(R[2], 12);
  EXPECT_EQ(B[3], 13);
  MM_GetRGBToRGBChannelsInputFcn(VIDEO_UINT8)(two, R, G, B, 2, 2, ORIENTATION_COLUMN_MAJOR);
  EXPECT_EQ(R[0], 22);  // row 0, column 0
  EXPECT_EQ(R[1], 12);  // row 1, column 0
  EXPECT_EQ(R[2], 25);  // row 0, column 1
}

TEST(RGBInputValues, SpecificWidenings) {
  const std::uint8_t px[4] = {0, 128, 255, 0};  // blue 0, green 128, red 255
  double d[3];
  MM_GetRGBToRGBChannelsInputFcn(VIDEO_DOUBLE)(px, &d[0], &d[1], &d[2], 1, 1, ORIENTATION_ROW_MAJOR);
  EXPECT_EQ(d[0], 1.0);
  EXPECT_EQ(d[1], 0.501960813999176);
  EXPECT_EQ(d[2], 0.0);
  unsigned short u[3];
  MM_GetRGBToRGBChannelsInputFcn(VIDEO_UINT16)(px, &u[0], &u[1], &u[2], 1, 1, ORIENTATION_ROW_MAJOR);
  EXPECT_EQ(u[0], 65280);
  const std::uint8_t low[4] = {1, 0, 1, 0};
  unsigned char bo[3];
  MM_GetRGBToRGBChannelsInputFcn(VIDEO_BOOLEAN)(low, &bo[0], &bo[1], &bo[2], 1, 1, ORIENTATION_ROW_MAJOR);
  EXPECT_EQ(bo[0], 1);
  EXPECT_EQ(bo[1], 0);
  EXPECT_EQ(bo[2], 1);
}

// ---- Fast forms of every instruction set the CPU runs, against the plain forms --------------

namespace {

template <typename F>
void forEachSet(F body) {
  for (int k = 1; k <= static_cast<int>(simdLevel()); ++k) body(*kVideoFormsBySet[k], k);
}

}  // namespace

TEST(FastForms, SplitEqualsPlainForEveryByteInEveryPosition) {
  forEachSet([](const VideoForms& f, int set) {
    if (f.splitBGR == nullptr) return;
    for (int w : {1, 15, 16, 17, 31, 32, 33, 63, 64, 65, 95, 96, 97, 256, 1921}) {
      std::vector<std::uint8_t> bgr(3 * w);
      for (int rot = 0; rot < 3; ++rot) {  // every byte value in every component
        for (int i = 0; i < 3 * w; ++i) bgr[i] = static_cast<std::uint8_t>(i / 3 + 85 * ((i + rot) % 3));
        std::vector<std::uint8_t> fast[3], plain[3];
        for (int p = 0; p < 3; ++p) fast[p].assign(w + 64, kGuard), plain[p].assign(w + 64, kGuard);
        const int done = f.splitBGR(bgr.data(), fast[0].data(), fast[1].data(), fast[2].data(), w);
        ASSERT_GE(done, w - 63);
        splitBGRRow_C<VIDEO_UINT8>(bgr.data() + 3 * done, fast[0].data() + done, fast[1].data() + done,
                                   fast[2].data() + done, w - done, nullptr);
        splitBGRRow_C<VIDEO_UINT8>(bgr.data(), plain[0].data(), plain[1].data(), plain[2].data(), w, nullptr);
        for (int p = 0; p < 3; ++p) ASSERT_EQ(fast[p], plain[p]) << "set " << set << " w " << w << " plane " << p;
      }
    }
  });
}

TEST(FastForms, ByteTransposeBlocksEqualPlain) {
  forEachSet([](const VideoForms& f, int set) {
    using Block = void (*)(const std::uint8_t*, std::int64_t, std::uint8_t*, std::int64_t);
    for (auto [block, cols] : {std::pair<Block, int>{f.transposeBytes16x16, 16}, {f.transposeBytes16x64, 64}}) {
      if (block == nullptr) continue;
      const auto src = randomBytes(16 * 70, cols + set);
      std::vector<std::uint8_t> a(cols * 40, kGuard), b(a);
      block(src.data() + 3, 70, a.data() + 1, 40);
      transposeTile_C(src.data() + 3, 70, b.data() + 1, 40, 16, cols);
      ASSERT_EQ(a, b) << "set " << set << " cols " << cols;
    }
  });
}

TEST(FastForms, WideningGathersEqualTheTableAtEveryAlignment) {
  forEachSet([](const VideoForms& f, int set) {
    initEightBitLUT(VIDEO_DOUBLE);
    initEightBitLUT(VIDEO_SINGLE);
    std::vector<std::uint8_t> src(4096 + 64);
    for (size_t i = 0; i < src.size(); ++i) src[i] = static_cast<std::uint8_t>(i * 7 + i / 256);
    for (bool stream : {false, true})
      for (int shift = 0; shift < 9; ++shift)
        for (int n : {0, 1, 7, 8, 17, 64, 1000, 4096}) {
          if (f.widen8 != nullptr) {
            std::vector<double> a(n + 16, -1.0), b(a);
            const auto* lut = eightBitTable<VIDEO_DOUBLE>();
            const std::int64_t done = f.widen8(src.data() + shift, a.data() + shift, n, lut, stream);
            endStream(stream);
            for (std::int64_t i = 0; i < n; ++i) b[shift + i] = lut[src[shift + i]];
            for (std::int64_t i = done; i < n; ++i) a[shift + i] = lut[src[shift + i]];
            ASSERT_EQ(a, b) << "set " << set << " n " << n << " shift " << shift;
          }
          if (f.widen4 != nullptr) {
            std::vector<float> a(n + 16, -1.0f), b(a);
            const auto* lut = eightBitTable<VIDEO_SINGLE>();
            const std::int64_t done = f.widen4(src.data() + shift, a.data() + shift, n, lut, stream);
            endStream(stream);
            for (std::int64_t i = 0; i < n; ++i) b[shift + i] = lut[src[shift + i]];
            for (std::int64_t i = done; i < n; ++i) a[shift + i] = lut[src[shift + i]];
            ASSERT_EQ(a, b) << "set " << set << " n " << n << " shift " << shift;
          }
        }
  });
}

// The tiled transpose layer, whole planes and streamed tiles, against the plain transpose.
TEST(TransposeLayer, PlanesAndStreamedTilesEqualPlain) {
  for (auto [w, h] : {std::pair{16, 16}, {64, 64}, {47, 81}, {130, 129}, {65, 17}, {16, 17}, {1, 200}}) {
    const auto plane = randomBytes(static_cast<size_t>(w) * h, w * h);
    std::vector<std::uint8_t> ta(plane.size(), 0), tb(plane.size(), 1);
    transposePlane(plane.data(), ta.data(), w, h);
    transposeTile_C(plane.data(), w, tb.data(), h, h, w);
    ASSERT_EQ(ta, tb) << w << "x" << h;
  }
  // A tile one line high onto line-aligned columns streams; elsewhere it may not.
  alignas(64) static double dst[2][40 * 16];
  std::vector<double> tile(8 * 40);
  for (size_t i = 0; i < tile.size(); ++i) tile[i] = static_cast<double>(i) / 3;
  for (int offset : {0, 1}) {
    for (auto& d : dst) std::fill(std::begin(d), std::end(d), -1.0);
    transposeTile(tile.data(), 40, dst[0] + offset, 16, 8, 39, true);
    endStream(true);
    transposeTile_C(tile.data(), 40, dst[1] + offset, 16, 8, 39);
    ASSERT_TRUE(std::equal(std::begin(dst[0]), std::end(dst[0]), std::begin(dst[1]))) << offset;
  }
}
