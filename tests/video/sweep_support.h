// Helpers of the family sweeps: the nine types as a typed list, guard-filled
// buffers whose untouched bytes are checked, and the plane index of a layout.
#ifndef RIVULET_TESTS_VIDEO_SWEEP_SUPPORT_H
#define RIVULET_TESTS_VIDEO_SWEEP_SUPPORT_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <utility>
#include <vector>

#include "video/sample_rules.h"

namespace sweep {

template <int N>
using Type = std::integral_constant<int, N>;
using AllTypes = testing::Types<Type<0>, Type<1>, Type<2>, Type<3>, Type<4>, Type<5>, Type<6>, Type<7>, Type<8>>;

inline std::vector<std::uint8_t> randomBytes(size_t n, unsigned seed) {
  std::mt19937 rng(seed);
  std::vector<std::uint8_t> v(n);
  for (auto& x : v) x = static_cast<std::uint8_t>(rng());
  return v;
}

// Odd and even, below and across the 16- and 64-wide blocks of the fast forms.
inline const std::pair<int, int> kSizes[] = {{1, 1}, {2, 2}, {3, 1}, {1, 5}, {5, 3}, {4, 7}, {16, 16}, {17, 15},
                                             {31, 33}, {33, 65}, {64, 8}, {67, 70}, {100, 3}, {3, 100}};

// Element (r, c) of a plane: row-major for orientation 0, column-major otherwise.
inline size_t at(int orientation, int r, int c, int w, int h) {
  return orientation == 0 ? static_cast<size_t>(r) * w + c : static_cast<size_t>(c) * h + r;
}

// count elements of T after kHead guard bytes, then kTail more; the guard
// bytes must survive every call.
template <typename T>
struct Guarded {
  static constexpr size_t kHead = 64, kTail = 64;
  static constexpr std::uint8_t kFill = 0xA5;
  size_t count;
  std::vector<std::uint8_t> bytes;
  explicit Guarded(size_t n) : count(n), bytes(kHead + n * sizeof(T) + kTail, kFill) {}
  void* ptr() { return bytes.data() + kHead; }
  T operator[](size_t i) const {
    T v;
    std::memcpy(&v, bytes.data() + kHead + i * sizeof(T), sizeof v);
    return v;
  }
  bool guardsIntact() const {
    for (size_t i = 0; i < bytes.size(); ++i)
      if ((i < kHead || i >= kHead + count * sizeof(T)) && bytes[i] != kFill) return false;
    return true;
  }
  bool untouched() const {
    for (auto b : bytes)
      if (b != kFill) return false;
    return true;
  }
};

// Bitwise equality, so NaN and -0.0 compare exactly.
template <typename T>
bool same(T a, T b) {
  return std::memcmp(&a, &b, sizeof(T)) == 0;
}

}  // namespace sweep

#endif
