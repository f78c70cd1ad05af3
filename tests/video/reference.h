// Plain reference of the video sample rules and layouts, written from the rule
// text without the library's code, and the buffers, sizes and type list the
// video tests share: each family's test is one typed sweep over AllTypes.
#ifndef RIVULET_TESTS_VIDEO_REFERENCE_H
#define RIVULET_TESTS_VIDEO_REFERENCE_H

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <type_traits>
#include <utility>
#include <vector>

#include "rivulet/rivulet.h"

namespace videoref {

template <int N>
using Sample = typename videoTraits<N>::type;
template <int N>
using Type = std::integral_constant<int, N>;
using AllTypes = testing::Types<Type<0>, Type<1>, Type<2>, Type<3>, Type<4>, Type<5>, Type<6>, Type<7>, Type<8>>;

// ---- Rules ---------------------------------------------------------------------------------

// Widening of byte b: floating types b / 255 rounded to single precision;
// integer types shift b (or b - 128 for the signed ones) to their top byte;
// boolean says whether b is non-zero.
template <int N>
Sample<N> widen(std::uint8_t b) {
  if constexpr (N == VIDEO_DOUBLE || N == VIDEO_SINGLE) return static_cast<float>(b / 255.0);
  else if constexpr (N == VIDEO_INT8) return static_cast<char>(b - 128);
  else if constexpr (N == VIDEO_UINT8) return b;
  else if constexpr (N == VIDEO_INT16) return static_cast<short>((b - 128) * 256);
  else if constexpr (N == VIDEO_UINT16) return static_cast<unsigned short>(b * 256);
  else if constexpr (N == VIDEO_INT32) return (b - 128) * 16777216;
  else if constexpr (N == VIDEO_UINT32) return static_cast<unsigned>(b) << 24;
  else return b != 0;
}

// Narrowing of x: in single precision, (x - min) / (max - min) * 255, then
// + 0.5 in double and truncated; NaN or a value beyond int32 gives 0, anything
// else outside 0..255 saturates.
template <int N>
std::uint8_t narrow(Sample<N> x) {
  if constexpr (N == VIDEO_UINT8) {
    return x;
  } else {
    const auto single = [](Sample<N> v) { return static_cast<float>(static_cast<double>(v)); };
    const float lo = single(videoTraits<N>::min), hi = single(videoTraits<N>::max);
    const volatile float scaled = (single(x) - lo) / (hi - lo);
    const volatile float t = scaled * 255.0f;
    const double d = std::trunc(static_cast<double>(t) + 0.5);
    if (!(d > -2147483649.0 && d < 2147483648.0)) return 0;
    return d < 0 ? 0 : d > 255 ? 255 : static_cast<std::uint8_t>(d);
  }
}

// ---- Layouts -------------------------------------------------------------------------------

// Packed BGR frames: rows of 3w bytes padded to four, bottom row first.
inline std::int64_t bgrStride(int w) { return (3 * std::int64_t{w} + 3) / 4 * 4; }
inline std::int64_t bgrOffset(int w, int h, int r, int c) { return (h - 1 - r) * bgrStride(w) + 3 * c; }
// Plane element (r, c): row-major for orientation 0, column-major otherwise.
inline std::int64_t planeIndex(int w, int h, int r, int c, int orientation) {
  return orientation == 0 ? std::int64_t{r} * w + c : std::int64_t{c} * h + r;
}

// Picture sizes of the sweeps: odd and even, below and across the 16- and
// 64-wide blocks of the fast forms; then sizes with no pixel, which must
// write nothing.
inline const std::pair<int, int> kSizes[] = {{1, 1}, {2, 2}, {3, 1}, {1, 5}, {5, 3}, {4, 7}, {16, 16}, {17, 15},
                                             {31, 33}, {33, 65}, {64, 8}, {67, 70}, {100, 3}, {3, 100},
                                             {0, 4}, {4, 0}, {-1, 4}, {4, -1}};
// Pixels of a size, none where either side is not positive.
inline size_t pixels(int w, int h) { return w > 0 && h > 0 ? static_cast<size_t>(w) * h : 0; }

// ---- Buffers -------------------------------------------------------------------------------

inline std::vector<std::uint8_t> randomBytes(size_t n, unsigned seed) {
  std::mt19937 rng(seed);
  std::vector<std::uint8_t> v(n);
  for (auto& x : v) x = static_cast<std::uint8_t>(rng());
  return v;
}

inline constexpr std::uint8_t kGuard = 0x5A;

// `bytes` bytes, guard-filled, that end where a page the process may not touch
// begins: reading or writing one byte past the end crashes the test. A leading
// `slack` of guard bytes catches writes before the start.
class GuardedBuffer {
 public:
  explicit GuardedBuffer(size_t bytes, size_t slack = 64) : bytes_(bytes), slack_(slack) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    mapped_ = (slack + bytes + page - 1) / page * page + page;
    void* m = mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (m == MAP_FAILED) throw std::bad_alloc();
    base_ = static_cast<std::uint8_t*>(m);
    mprotect(base_ + mapped_ - page, page, PROT_NONE);
    data_ = base_ + mapped_ - page - bytes;
    std::memset(base_, kGuard, mapped_ - page);
  }
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;
  ~GuardedBuffer() { munmap(base_, mapped_); }
  std::uint8_t* data() { return data_; }
  const std::uint8_t* data() const { return data_; }
  size_t size() const { return bytes_; }
  template <typename T>
  T at(size_t i) const {
    T v;
    std::memcpy(&v, data_ + i * sizeof(T), sizeof v);
    return v;
  }
  // The slack before the data still holds the guard pattern.
  bool slackIntact() const {
    for (size_t i = 1; i <= slack_; ++i)
      if (data_[-static_cast<std::ptrdiff_t>(i)] != kGuard) return false;
    return true;
  }

 private:
  size_t bytes_, slack_, mapped_;
  std::uint8_t* base_;
  std::uint8_t* data_;
};

// count elements of T in a GuardedBuffer: what a routine may write, with the
// guard before it checked and anything past it a crash.
template <typename T>
class Guarded : public GuardedBuffer {
 public:
  explicit Guarded(size_t n) : GuardedBuffer(n * sizeof(T)), count(n) {}
  void* ptr() { return data(); }
  T operator[](size_t i) const { return at<T>(i); }
  bool guardsIntact() const { return slackIntact(); }
  // Nothing was written at all.
  bool untouched() const {
    for (size_t i = 0; i < size(); ++i)
      if (data()[i] != kGuard) return false;
    return slackIntact();
  }
  bool sameBytes(const Guarded& o) const { return size() == o.size() && std::memcmp(data(), o.data(), size()) == 0; }
  const size_t count;
};

// Bitwise equality, so NaN and -0.0 compare exactly.
template <typename T>
bool same(T a, T b) {
  return std::memcmp(&a, &b, sizeof(T)) == 0;
}

}  // namespace videoref

// The sweep helpers, for one using-directive in each test: videoref as a
// whole also names things (Sample) that the library names too.
namespace videoref::sweep {
using videoref::AllTypes;
using videoref::Guarded;
using videoref::kGuard;
using videoref::kSizes;
using videoref::pixels;
using videoref::planeIndex;
using videoref::randomBytes;
using videoref::same;
}  // namespace videoref::sweep

#endif
