// RGB planes from packed BGR frames and from contiguous byte planes, in all
// nine types, both orientations and the odd one, against the reference; the
// fast forms of every instruction set against the plain forms; the plane
// driver and the transpose layer.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "rivulet/rivulet.h"
#include "types/cpu.h"
#include "video/bgr_rows.h"
#include "video/plane_driver.h"
#include "video/reference.h"

using namespace rivulet;

using videoref::AllTypes;
using videoref::bgrOffset;
using videoref::bgrStride;
using videoref::GuardedBuffer;
using videoref::kGuard;
using videoref::planeIndex;
using videoref::randomBytes;
using videoref::widen;

namespace {

template <typename P>
class RGBInput : public testing::Test {};
TYPED_TEST_SUITE(RGBInput, AllTypes);

const std::pair<int, int> kSizes[] = {{1, 1}, {2, 2}, {3, 1}, {1, 5}, {5, 3}, {16, 16}, {17, 15}, {31, 33}, {32, 16},
                                      {33, 65}, {48, 17}, {64, 64}, {67, 70}, {100, 3}, {130, 9}, {1, 130}};

// Three guarded planes of w * h samples.
template <int N>
struct Planes {
  GuardedBuffer p[3];
  explicit Planes(size_t n) : p{GuardedBuffer(n * sizeof(Sample<N>)), GuardedBuffer(n * sizeof(Sample<N>)),
                                GuardedBuffer(n * sizeof(Sample<N>))} {}
  Sample<N> at(int k, std::int64_t i) const { return p[k].template at<Sample<N>>(i); }
  bool intact() const { return p[0].slackIntact() && p[1].slackIntact() && p[2].slackIntact(); }
};

}  // namespace

// Packed frames (the frame itself ends at a guard page) and contiguous byte
// planes, to planes in orientation 0, 1 and 2, against the layout rules.
TYPED_TEST(RGBInput, EverySizeAndOrientationAgainstTheReference) {
  constexpr int N = TypeParam::value;
  const auto dt = static_cast<VideoDataType>(N);
  VideoInputFcn packed = MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, dt, false);
  VideoInputFcn contiguous = MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, dt, true);
  ASSERT_NE(packed, nullptr);
  ASSERT_NE(contiguous, nullptr);
  for (auto [w, h] : kSizes) {
    const size_t n = static_cast<size_t>(w) * h;
    const auto bytes = randomBytes(bgrStride(w) * h + 3 * n, w * 1000 + h);
    GuardedBuffer frame(bgrStride(w) * h), planes(3 * n);
    std::memcpy(frame.data(), bytes.data(), frame.size());
    std::memcpy(planes.data(), bytes.data() + frame.size(), planes.size());
    for (int o : {0, 1, 2}) {
      Planes<N> a(n), b(n);
      packed(frame.data(), a.p[0].data(), a.p[1].data(), a.p[2].data(), w, h, static_cast<VideoFrameOrientation>(o));
      contiguous(planes.data(), b.p[0].data(), b.p[1].data(), b.p[2].data(), w, h, static_cast<VideoFrameOrientation>(o));
      for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
          const std::uint8_t* px = frame.data() + bgrOffset(w, h, r, c);
          const std::int64_t i = planeIndex(w, h, r, c, o), cm = planeIndex(w, h, r, c, 1);
          // Contiguous planes: a row-major source for orientation 0, else
          // already column-major; the planes written are column-major.
          const std::int64_t s = o == 0 ? planeIndex(w, h, r, c, 0) : cm;
          for (int k = 0; k < 3; ++k) {
            ASSERT_EQ(a.at(k, i), widen<N>(px[2 - k])) << w << "x" << h << " o" << o << " r" << r << " c" << c;
            ASSERT_EQ(b.at(k, cm), widen<N>(planes.data()[k * n + s])) << w << "x" << h << " o" << o;
          }
        }
      ASSERT_TRUE(a.intact() && b.intact()) << w << "x" << h;
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
        MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, dt, mmr)(frame.data(), out.p[0].data(), out.p[1].data(),
                                                             out.p[2].data(), w, h, static_cast<VideoFrameOrientation>(o));
        ASSERT_TRUE(out.intact()) << mmr << " " << w << "x" << h << " o" << o;
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
    const struct {
      Block block;
      int rows, cols;
    } blocks[] = {{f.transposeBytes16x16, 16, 16}, {f.transposeBytes16x64, 16, 64}, {f.transposeBytes64x64, 64, 64}};
    for (auto [block, rows, cols] : blocks) {
      if (block == nullptr) continue;
      const auto src = randomBytes(rows * 70, cols + set);
      std::vector<std::uint8_t> a(cols * 90, kGuard), b(a);
      block(src.data() + 3, 70, a.data() + 1, 90);
      transposeTile_C(src.data() + 3, 70, b.data() + 1, 90, rows, cols);
      ASSERT_EQ(a, b) << "set " << set << " rows " << rows << " cols " << cols;
    }
  });
}

// The row kernel through the caches and past them, at every element offset
// within a line, against the plain form, for the types it widens in pieces.
template <int N>
void expectSplitRowsEqualPlain() {
  using T = Sample<N>;
  initEightBitLUT(static_cast<VideoDataType>(N));
  const auto* lut = eightBitTable<N>();
  for (bool stream : {false, true})
    for (int n : {1, 9, 100, 1921, 4100})
      for (int shift = 0; shift < 8; ++shift) {
        const auto bgr = randomBytes(3 * n, n + shift);
        std::vector<T> a(3 * (n + 8), T{7}), b(a);
        splitBGRRow<N>(bgr.data(), &a[shift], &a[n + 8 + shift], &a[2 * (n + 8) + shift], n, lut, stream);
        endStream(stream);
        splitBGRRow_C<N>(bgr.data(), &b[shift], &b[n + 8 + shift], &b[2 * (n + 8) + shift], n, lut);
        ASSERT_EQ(a, b) << "type " << N << " n " << n << " shift " << shift << " stream " << stream;
      }
}

TEST(FastForms, SplitRowsEqualPlain) {
  expectSplitRowsEqualPlain<VIDEO_DOUBLE>();
  expectSplitRowsEqualPlain<VIDEO_SINGLE>();
  expectSplitRowsEqualPlain<VIDEO_INT32>();
  expectSplitRowsEqualPlain<VIDEO_UINT16>();
  expectSplitRowsEqualPlain<VIDEO_INT8>();
}

// The tiled transpose layer, whole planes and streamed tiles, against the plain transpose.
TEST(TransposeLayer, PlanesAndStreamedTilesEqualPlain) {
  for (auto [w, h] : {std::pair{16, 16}, {64, 64}, {47, 81}, {130, 129}, {65, 17}, {16, 17}, {1, 200},
                      {200, 1}, {193, 97}}) {
    const auto plane = randomBytes(static_cast<size_t>(w) * h, w * h);
    std::vector<std::uint8_t> ta(plane.size(), 0), tb(plane.size(), 1);
    transposePlane(plane.data(), ta.data(), w, h);
    transposeTile_C(plane.data(), w, tb.data(), h, h, w);
    ASSERT_EQ(ta, tb) << w << "x" << h;
    // One tile of the whole plane: blocks of 64 and of 16 rows and the plain edges.
    std::fill(ta.begin(), ta.end(), 0);
    transposeTile(plane.data(), w, ta.data(), h, h, w);
    ASSERT_EQ(ta, tb) << w << "x" << h << " in one tile";
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

// ---- The plane driver, both directions, with a kernel that names each element --------------

namespace {

double label(int p, int r, int c) { return p * 1e6 + r * 1e3 + c; }

}  // namespace

// Planes at every alignment within a line, differing per plane, heights that
// make whole lines per column (so the streamed bands run) and that do not.
TEST(PlaneDriver, EveryElementLandsOnceInBothDirections) {
  for (auto [w, h] : {std::pair{1, 1}, {7, 3}, {300, 16}, {65, 40}, {130, 9}})
    for (int o : {0, 1, 2})
      for (int shift : {0, 3, 5}) {
        const size_t n = static_cast<size_t>(w) * h;
        std::vector<double> store(3 * (n + 16), -1.0);
        double* planes[3];
        for (int p = 0; p < 3; ++p) planes[p] = store.data() + p * (n + 16) + (shift * (p + 1)) % 8;
        const auto in = [&](int r, int c, int m, double* const out[3], bool) {
          for (int p = 0; p < 3; ++p)
            if (out[p] != nullptr)
              for (int i = 0; i < m; ++i) out[p][i] = label(p, r, c + i);
        };
        for (bool stream : {false, true}) {
          std::fill(store.begin(), store.end(), -1.0);
          planesFromRows<double, 3>(in, planes, w, h, static_cast<VideoFrameOrientation>(o), stream);
          endStream(stream);
          for (int p = 0; p < 3; ++p)
            for (int r = 0; r < h; ++r)
              for (int c = 0; c < w; ++c)
                ASSERT_EQ(planes[p][planeIndex(w, h, r, c, o)], label(p, r, c)) << w << "x" << h << " o" << o;
          ASSERT_EQ(std::count(store.begin(), store.end(), -1.0), static_cast<std::ptrdiff_t>(3 * 16));
        }
        std::vector<int> seen(3 * n, 0);
        const double* const from[3] = {planes[0], planes[1], planes[2]};
        const auto outRow = [&](int r, int c, int m, const double* const src[3]) {
          for (int p = 0; p < 3; ++p)
            for (int i = 0; i < m; ++i) seen[p * n + r * w + c + i] += src[p][i] == label(p, r, c + i);
        };
        planesToRows<double, 3>(outRow, from, w, h, static_cast<VideoFrameOrientation>(o));
        ASSERT_EQ(std::count(seen.begin(), seen.end(), 1), static_cast<std::ptrdiff_t>(3 * n)) << w << "x" << h;
      }
}

// The column walk of pair families (luma two columns a unit, chroma one) on
// buffers that hold a few units a strip, so the width is walked in pieces:
// heights around a strip, widths around a piece, planes whose columns are
// off a line each by its own amount, both directions, every element once
// and nothing past the planes.
template <typename E>
void checkPairWalk(std::int64_t bytes) {
  const auto value = [](int p, int r, int c) { return static_cast<E>(p * 7 + r * 3 + c * 5 + 1); };
  std::vector<unsigned char> buffer(bytes + 64);
  unsigned char* strip = buffer.data() + (64 - reinterpret_cast<std::uintptr_t>(buffer.data()) % 64) % 64;
  constexpr int S = kStripRows<E>;
  for (int h : {1, S - 1, S, S + 1, 2 * S + 3, 4 * S, kReadRows<E> + 1})
    for (int units : {1, 2, 31, 33, 97, 301})
      for (bool stream : {false, true}) {
        const int per[3] = {2, 1, 1};
        const std::int64_t H = h;
        std::vector<E> store[3];
        E* planes[3];
        for (int p = 0; p < 3; ++p) {
          store[p].assign(per[p] * units * H + 80, E{0});
          planes[p] = store[p].data() + 8 + p;  // columns off a line by a different amount in each plane
        }
        const auto fill = [&](int r, int u0, int n, E* const* dst) {
          for (int p = 0; p < 3; ++p)
            for (int i = 0; i < per[p] * n; ++i) dst[p][i] = value(p, r, per[p] * u0 + i);
        };
        walkStrips<true, E>(planes, per, h, units, fill, stream, strip, bytes);
        endStream(stream);
        for (int p = 0; p < 3; ++p) {
          for (int c = 0; c < per[p] * units; ++c)
            for (int r = 0; r < h; ++r) ASSERT_EQ(planes[p][c * H + r], value(p, r, c)) << h << " " << units;
          ASSERT_TRUE(std::all_of(store[p].begin(), store[p].begin() + 8, [](E e) { return e == E{0}; }));
          ASSERT_TRUE(std::all_of(planes[p] + per[p] * units * H, store[p].data() + store[p].size(),
                                  [](E e) { return e == E{0}; }));
        }
        int seen = 0;
        const auto check = [&](int r, int u0, int n, E const* const* src) {
          for (int p = 0; p < 3; ++p)
            for (int i = 0; i < per[p] * n; ++i) seen += src[p][i] == value(p, r, per[p] * u0 + i);
        };
        E const* const from[3] = {planes[0], planes[1], planes[2]};
        walkStrips<false, E>(from, per, h, units, check, false, strip, bytes);
        ASSERT_EQ(seen, 4 * units * h) << h << " " << units;
      }
}

TEST(ColumnWalk, PiecesOfTheWidthInBothDirections) {
  for (std::int64_t bytes : {std::int64_t{32} << 10, kStackStripBytes, kStripBytes}) {
    checkPairWalk<std::uint8_t>(bytes);
    checkPairWalk<std::uint16_t>(bytes);
    checkPairWalk<float>(bytes);
    checkPairWalk<double>(bytes);
  }
}
