// Raw planar transposes: the pair table, and every routine against a model of
// its walk and element rule over sizes, plane counts, padding and flips, into
// guard-filled targets; the element rules at their edges.
#include <cmath>
#include <limits>
#include <set>

#include "rivulet/rivulet.h"
#include "video/reference.h"
#include "types/cpu.h"
#include "video/plane_driver.h"
#include "video/raw_planar_kernels.h"

using namespace rivulet;
using namespace videoref::sweep;

namespace {

template <int S, int D>
Sample<D> modelElement(Sample<S> x) {
  if constexpr (S == D) {
    return x;
  } else if constexpr (S == VIDEO_BOOLEAN) {
    return x == 0 ? 0 : 255;
  } else if constexpr (S == VIDEO_DOUBLE || S == VIDEO_SINGLE) {
    const double v = std::floor(static_cast<double>(x) * 32768.0);
    if (std::isnan(v)) return 0;
    return static_cast<short>(v > 32767.0 ? 32767.0 : (v < -32768.0 ? -32768.0 : v));
  } else if constexpr (S == VIDEO_INT32) {
    return static_cast<short>(std::trunc(x / 65536.0));
  } else {
    return static_cast<unsigned short>(x / 65536u);
  }
}

template <typename T>
std::vector<T> sourceValues(size_t n, unsigned seed) {
  std::mt19937_64 rng(seed);
  std::vector<T> v(n);
  for (auto& x : v) {
    const auto bits = rng();
    if constexpr (std::is_floating_point_v<T>) {
      const T edges[] = {1, -1, 0.5, T(-0.00001), T(0.99999), -0.0f, 0, T(1) / 32768, T(-1) / 32768,
                         std::numeric_limits<T>::quiet_NaN(), std::numeric_limits<T>::infinity(),
                         -std::numeric_limits<T>::infinity(), T(1e30), T(-1e30), std::numeric_limits<T>::denorm_min(),
                         T(32767.5) / 32768, T(-32768.5) / 32768, T(-1.00001)};
      x = bits % 3 == 0 ? edges[(bits >> 2) % std::size(edges)]
                        : static_cast<T>((static_cast<double>(bits >> 11) / 4503599627370496.0 - 1.0) * 1.2);
    } else {
      const long long edges[] = {std::numeric_limits<T>::min(), std::numeric_limits<T>::max(), 0, 1, -1, 2,
                                 65535, 65536, -65536, -65537, 255};
      x = static_cast<T>(bits % 3 == 0 ? edges[(bits >> 2) % std::size(edges)] : bits >> 7);
    }
  }
  return v;
}

template <int S, int D>
struct Pair {
  static constexpr int kS = S, kD = D;
};
using Pairs = testing::Types<Pair<2, 2>, Pair<3, 3>, Pair<8, 3>, Pair<0, 4>, Pair<1, 4>, Pair<4, 4>, Pair<6, 4>,
                             Pair<5, 5>, Pair<7, 5>>;

template <typename P>
class RawPlanar : public testing::Test {};
TYPED_TEST_SUITE(RawPlanar, Pairs);

}  // namespace

TEST(RawPlanarSelector, ExactlyTheNinePairs) {
  const std::set<std::pair<int, int>> pairs = {{2, 2}, {3, 3}, {8, 3}, {0, 4}, {1, 4}, {4, 4}, {6, 4}, {5, 5}, {7, 5}};
  std::set<RawPlanarConvertFcn> distinct;
  for (int s = -1; s <= 9; ++s)
    for (int d = -1; d <= 9; ++d) {
      const auto f = MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(static_cast<VideoDataType>(s),
                                                                   static_cast<VideoDataType>(d));
      EXPECT_EQ(f != nullptr, pairs.count({s, d}) == 1) << s << " -> " << d;
      if (f) distinct.insert(f);
    }
  EXPECT_EQ(distinct.size(), 9u);
}

TYPED_TEST(RawPlanar, SweepOverSizesPlanesPaddingAndFlips) {
  constexpr int S = TypeParam::kS, D = TypeParam::kD;
  using Td = Sample<D>;
  const auto f = MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(static_cast<VideoDataType>(S), static_cast<VideoDataType>(D));
  ASSERT_NE(f, nullptr);
  for (auto [w, h] : kSizes)
    for (int planes : {1, 3})
      for (int pad : {0, 1, 5}) {
        // A negative width counts as none: each row is its padding alone.
        const size_t n = pixels(w, h), rowLen = std::max(w, 0) + pad;
        const int H = std::max(h, 0);
        const auto src = sourceValues<Sample<S>>(planes * n, w * 3 + h + pad);
        for (bool flip : {false, true}) {
          Guarded<Td> dst(planes * H * rowLen);
          f(src.data(), dst.ptr(), w, h, planes, pad, flip);
          ASSERT_TRUE(dst.guardsIntact()) << w << "x" << h;
          for (int p = 0; p < planes; ++p)
            for (int r = 0; r < H; ++r) {
              const size_t row = p * H * rowLen + (flip ? H - 1 - r : r) * rowLen;
              for (int c = 0; c < w; ++c)
                ASSERT_TRUE(same(dst[row + c], modelElement<S, D>(src[p * n + static_cast<size_t>(c) * h + r])))
                    << w << "x" << h << " planes " << planes << " pad " << pad << " flip " << flip << " p" << p
                    << " r" << r << " c" << c;
              for (size_t k = rowLen - pad; k < rowLen; ++k) ASSERT_TRUE(same(dst[row + k], Td{0}));
            }
        }
      }
}

TYPED_TEST(RawPlanar, DegenerateCalls) {
  constexpr int S = TypeParam::kS, D = TypeParam::kD;
  using Td = Sample<D>;
  const auto f = MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(static_cast<VideoDataType>(S), static_cast<VideoDataType>(D));
  const std::vector<Sample<S>> src(64, Sample<S>(1));
  // No plane: nothing written (sizes are the sweep's); a negative padding counts as zero.
  for (int planes : {0, -1}) {
    Guarded<Td> dst(0);
    f(src.data(), dst.ptr(), 4, 4, planes, 2, false);
    ASSERT_TRUE(dst.untouched()) << planes;
  }
  Guarded<Td> noPad(2 * 3);
  f(src.data(), noPad.ptr(), 2, 3, 1, -4, false);
  ASSERT_TRUE(noPad.guardsIntact());
}

TEST(RawPlanarValues, PinnedLayoutsAndRules) {
  const std::uint8_t src[6] = {1, 2, 3, 4, 5, 6};  // width 2, height 3, column-major
  const auto u8 = MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(VIDEO_UINT8, VIDEO_UINT8);
  std::uint8_t out[12];
  u8(src, out, 2, 3, 1, 0, false);
  EXPECT_EQ(std::vector<int>(out, out + 6), (std::vector<int>{1, 4, 2, 5, 3, 6}));
  u8(src, out, 2, 3, 1, 0, true);
  EXPECT_EQ(std::vector<int>(out, out + 6), (std::vector<int>{3, 6, 2, 5, 1, 4}));
  std::fill_n(out, 12, 9);
  u8(src, out, 2, 3, 1, 2, false);
  EXPECT_EQ(std::vector<int>(out, out + 12), (std::vector<int>{1, 4, 0, 0, 2, 5, 0, 0, 3, 6, 0, 0}));

  const int i32[] = {-1, -65536, -65537, 2147483647, -2147483647 - 1, 65535};
  const short i32Want[] = {0, -1, -1, 32767, -32768, 0};
  const double d[] = {1.0, -1.0, 0.5, -0.00001, 0.99999, std::nan("")};
  const short dWant[] = {32767, -32768, 16384, -1, 32767, 0};
  const unsigned u32[] = {4294967295u, 65535u};
  const unsigned char bo[] = {0, 1, 2, 255};
  short s16[6];
  unsigned short u16[2];
  std::uint8_t b8[4];
  MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(VIDEO_INT32, VIDEO_INT16)(i32, s16, 1, 6, 1, 0, false);
  EXPECT_EQ(std::vector<short>(s16, s16 + 6), std::vector<short>(i32Want, i32Want + 6));
  MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(VIDEO_DOUBLE, VIDEO_INT16)(d, s16, 6, 1, 1, 0, false);
  EXPECT_EQ(std::vector<short>(s16, s16 + 6), std::vector<short>(dWant, dWant + 6));
  MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(VIDEO_UINT32, VIDEO_UINT16)(u32, u16, 2, 1, 1, 0, false);
  EXPECT_EQ(u16[0], 65535);
  EXPECT_EQ(u16[1], 0);
  MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(VIDEO_BOOLEAN, VIDEO_UINT8)(bo, b8, 2, 2, 1, 0, false);
  EXPECT_EQ(std::vector<int>(b8, b8 + 4), (std::vector<int>{0, 255, 255, 255}));
}

// Sources for the fast forms: random bit patterns (NaN payloads, infinities,
// denormals, huge values) and every step of the int16 scale with its
// neighbours one ulp away; 32-bit integers with every high half, each with
// low halves at both ends and one between.
struct EdgeSources {
  std::vector<double> d;
  std::vector<float> f;
  std::vector<int> i32;
  std::vector<unsigned> u32;
  std::vector<unsigned char> bo;
  EdgeSources() {
    std::mt19937_64 rng(7);
    for (int k = -32770; k <= 32770; ++k) {
      const double x = k / 32768.0;
      d.insert(d.end(), {x, std::nextafter(x, -2.0), std::nextafter(x, 2.0)});
    }
    for (int i = 0; i < 200000; ++i) {
      const std::uint64_t bits = rng();
      double x;
      std::memcpy(&x, &bits, sizeof x);
      d.push_back(x);
    }
    // Floats: the same steps where they fit, random bit patterns elsewhere.
    f.resize(d.size());
    for (size_t i = 0; i < d.size(); ++i) {
      const std::uint32_t bits = static_cast<std::uint32_t>(rng());
      if (std::fabs(d[i]) < 2.0 && i % 2 == 0)
        f[i] = static_cast<float>(d[i]);
      else
        std::memcpy(&f[i], &bits, sizeof(float));
    }
    for (std::uint32_t high = 0; high < 65536; ++high)
      for (std::uint32_t low : {0u, 1u, 65535u, static_cast<std::uint32_t>(rng() & 0xFFFF)})
        u32.push_back(high << 16 | low);
    while (u32.size() < d.size()) u32.push_back(static_cast<unsigned>(rng()));
    i32.assign(u32.begin(), u32.end());
    bo.resize(d.size());
    for (auto& x : bo) x = static_cast<unsigned char>(rng());
  }
};
const EdgeSources& edgeSources() {
  static const EdgeSources sources;
  return sources;
}

// The fast element forms against the plain rule.
TEST(RawPlanarFastForms, EqualThePlainRules) {
  const EdgeSources& e = edgeSources();
  for (double x : e.d) ASSERT_EQ(floorToInt16Fast(x), floorToInt16(x)) << x;
  const RawPlanarForms* forms = rawPlanarForms();
  if (forms == nullptr) GTEST_SKIP() << "no fast forms in this build";
  const size_t n = e.d.size();
  std::vector<short> out(n);
  std::vector<unsigned short> u16(n);
  std::vector<unsigned char> bytes(n);
  const auto check = [&](auto run, const auto& src, auto plain, auto& dst) {
    const std::int64_t done = run(src.data(), dst.data(), static_cast<std::int64_t>(n));
    ASSERT_GE(done, static_cast<std::int64_t>(n) - 16);
    for (std::int64_t i = 0; i < done; ++i) ASSERT_EQ(dst[i], plain(src[i])) << i;
  };
  check(forms->run[VIDEO_DOUBLE], e.d, rawPlanarElement<VIDEO_DOUBLE, VIDEO_INT16>, out);
  check(forms->run[VIDEO_SINGLE], e.f, rawPlanarElement<VIDEO_SINGLE, VIDEO_INT16>, out);
  check(forms->run[VIDEO_INT32], e.i32, rawPlanarElement<VIDEO_INT32, VIDEO_INT16>, out);
  check(forms->run[VIDEO_UINT32], e.u32, rawPlanarElement<VIDEO_UINT32, VIDEO_UINT16>, u16);
  check(forms->run[VIDEO_BOOLEAN], e.bo, rawPlanarElement<VIDEO_BOOLEAN, VIDEO_UINT8>, bytes);
}

// The fused column blocks against the plain rule, on every edge source laid
// out as 32 columns: whole blocks of rows and a last short one, rows in order
// and reversed, a target row longer than the strip, guard-filled targets.
template <int S, int D>
void checkColumns32(const RawPlanarForms* forms, const std::vector<Sample<S>>& values) {
  if (forms->columns32[S] == nullptr) return;
  const std::int64_t all = static_cast<std::int64_t>(values.size() / 32);
  for (std::int64_t h : {std::int64_t{1}, std::int64_t{16}, std::int64_t{45}, all}) {
    const std::vector<Sample<S>> src(values.begin(), values.begin() + 32 * h);
    constexpr std::int64_t kRow = 37;  // 32 columns, then 5 the block must not touch
    for (bool flip : {false, true}) {
      Guarded<Sample<D>> got(h * kRow);
      std::vector<Sample<D>> want(h * kRow);
      for (std::int64_t i = 0; i < h * kRow; ++i) want[i] = got[i];
      auto* gotRow0 = static_cast<Sample<D>*>(got.ptr()) + (flip ? (h - 1) * kRow : 0);
      const std::int64_t step = flip ? -kRow : kRow;
      const std::int64_t done = forms->columns32[S](src.data(), h, gotRow0, step, h);
      ASSERT_EQ(done, h);
      for (std::int64_t r = 0; r < done; ++r)
        for (int c = 0; c < 32; ++c)
          want[(flip ? h - 1 - r : r) * kRow + c] = rawPlanarElement<S, D>(src[c * h + r]);
      ASSERT_TRUE(got.guardsIntact());
      for (std::int64_t i = 0; i < h * kRow; ++i)
        ASSERT_EQ(got[i], want[i]) << "type " << S << " h " << h << " flip " << flip << " at " << i;
    }
  }
}

TEST(RawPlanarFastForms, FusedColumnBlocksEqualThePlainRule) {
  const RawPlanarForms* forms = rawPlanarForms();
  if (forms == nullptr) GTEST_SKIP() << "no fast forms in this build";
  const EdgeSources& e = edgeSources();
  checkColumns32<VIDEO_DOUBLE, VIDEO_INT16>(forms, e.d);
  checkColumns32<VIDEO_SINGLE, VIDEO_INT16>(forms, e.f);
  checkColumns32<VIDEO_INT32, VIDEO_INT16>(forms, e.i32);
  checkColumns32<VIDEO_UINT32, VIDEO_UINT16>(forms, e.u32);
}

// The block transposes of 2-, 4- and 8-byte elements of every set the CPU runs,
// and the tiled layer on top of them (streamed tiles one line high
// included), against the plain transpose: tiles with and without whole
// blocks, row remainders below each vector height, guard-filled targets.
template <typename T>
void checkWideTranspose(const TransposeForms* f, int set) {
  constexpr int kLine = 64 / sizeof(T);
  std::mt19937 rng(set);
  for (int rows : {1, 7, 8, 9, 16, 24, 31, 32, 33, 40, 64, 71})
    for (int cols : {1, 8, 15, 16, 17, 40, 67}) {
      std::vector<T> src(static_cast<size_t>(rows) * 70);
      for (auto& x : src) x = static_cast<T>(rng());
      // Columns of `rows` elements, 75 apart, after a guard.
      std::vector<T> a(static_cast<size_t>(cols + 1) * 75, T(0x5A5A5A5A)), b(a);
      if (f != nullptr) {
        (sizeof(T) == 2 ? f->blocks2 : sizeof(T) == 4 ? f->blocks4 : f->blocks8)(src.data() + 3, 70, a.data() + 1, 75, rows, cols);
        transposeTile_C(src.data() + 3, 70, b.data() + 1, 75, rows & ~7, cols & ~7);
      } else {
        transposeTile(src.data() + 3, 70, a.data() + 1, 75, rows, cols);
        transposeTile_C(src.data() + 3, 70, b.data() + 1, 75, rows, cols);
      }
      ASSERT_EQ(a, b) << "set " << set << " rows " << rows << " cols " << cols;
    }
  if (f != nullptr) return;
  // One line high onto line-aligned columns (streamed) and off the line (not).
  alignas(64) static T dst[2][41 * kLine];
  std::vector<T> tile(kLine * 41);
  for (auto& x : tile) x = static_cast<T>(rng());
  for (int offset : {0, 1}) {
    for (auto& d : dst) std::fill(std::begin(d), std::end(d), T(7));
    transposeTile(tile.data(), 41, dst[0] + offset, kLine, kLine, 40, true);
    endStream(true);
    transposeTile_C(tile.data(), 41, dst[1] + offset, kLine, kLine, 40);
    ASSERT_TRUE(std::equal(std::begin(dst[0]), std::end(dst[0]), std::begin(dst[1]))) << offset;
  }
}

TEST(TransposeLayer, WideBlocksOfEverySetEqualPlain) {
  for (int set = 0; set <= static_cast<int>(simdLevel()); ++set)
    if (kTransposeFormsBySet[set] != nullptr) {
      checkWideTranspose<std::uint16_t>(kTransposeFormsBySet[set], set);
      checkWideTranspose<std::uint32_t>(kTransposeFormsBySet[set], set);
      checkWideTranspose<std::uint64_t>(kTransposeFormsBySet[set], set);
    }
  checkWideTranspose<std::uint16_t>(nullptr, 0);
  checkWideTranspose<std::uint32_t>(nullptr, 0);
  checkWideTranspose<std::uint64_t>(nullptr, 0);
}
