// A plain model of the families that take planes back to frames and that have
// YCbCr on one side, written element by element from the layout rules, with
// the colour matrices spelled out as literals (independent of the library's
// load-time constants). The harness runs a routine and its model on the same
// sources and on destinations pre-filled with a guard pattern, with every
// buffer sized to exactly the room the routine's documentation asks for, and
// compares every byte: what a routine must not touch keeps its pattern.
#ifndef RIVULET_TESTS_VIDEO_FRAMES_REFERENCE_H
#define RIVULET_TESTS_VIDEO_FRAMES_REFERENCE_H

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "rivulet/rivulet.h"
#include "video/reference.h"
#include "video/sample_rules.h"

namespace frames_ref {

using rivulet::Sample;
using Bytes = std::vector<std::uint8_t>;
using i64 = std::int64_t;
constexpr std::uint8_t kGuard = 0xA5;

// ---- Rules, from their definitions -------------------------------------------------------

// The widening and narrowing models of the shared reference.
template <int N>
Sample<N> widen(int b) {
  return videoref::widen<N>(static_cast<std::uint8_t>(b));
}
template <int N>
int narrow(Sample<N> x) {
  return videoref::narrow<N>(x);
}

inline int clamp255(int v) { return v < 0 ? 0 : (v > 255 ? 255 : v); }
inline int fwdY(int R, int G, int B) { return clamp255(((65 * R + 129 * G + 25 * B + 128) >> 8) + 16); }
inline int fwdCb(int R, int G, int B) { return clamp255(((-38 * R - 74 * G + 112 * B + 128) >> 8) + 128); }
inline int fwdCr(int R, int G, int B) { return clamp255(((112 * R - 94 * G - 18 * B + 128) >> 8) + 128); }
struct RGB {
  int r, g, b;
};
inline RGB bwd(int Y, int Cb, int Cr) {
  const int E = (Y - 16) * 19077 + 8192;
  return {clamp255((E + (Cr - 128) * 26149) >> 14),
          clamp255((E + (Cb - 128) * -6419 + (Cr - 128) * -13320) >> 14),
          clamp255((E + (Cb - 128) * 33050) >> 14)};
}
inline int lumaOfGrey(int b) { return (((b * 219 + 128) >> 8) + 16) & 0xFF; }

using videoref::bgrStride;

// ---- Bounds-checked element access ---------------------------------------------------------

// Element i of a buffer; an access outside it fails the test (the documented
// room was too small for what the rules do).
template <typename E>
struct View {
  Bytes* b;
  E get(i64 i) const {
    E v{};
    if (i < 0 || (i + 1) * i64{sizeof(E)} > static_cast<i64>(b->size())) {
      ADD_FAILURE() << "model reads element " << i << " outside " << b->size() << " bytes";
      return v;
    }
    std::memcpy(&v, b->data() + i * sizeof(E), sizeof(E));
    return v;
  }
  void set(i64 i, E v) const {
    if (i < 0 || (i + 1) * i64{sizeof(E)} > static_cast<i64>(b->size())) {
      ADD_FAILURE() << "model writes element " << i << " outside " << b->size() << " bytes";
      return;
    }
    std::memcpy(b->data() + i * sizeof(E), &v, sizeof(E));
  }
};

// ---- Sample values -------------------------------------------------------------------------

// Plane samples for the output families: mostly the widened form of a random
// byte, else a value from the type's edges (outside the nominal range, NaN,
// ±0, infinities, the halfway points of the narrowing) or any value of the type.
template <int N>
Sample<N> anySample(std::mt19937& rng) {
  using T = Sample<N>;
  const unsigned pick = rng() % 8;
  if (pick < 5) return widen<N>(static_cast<int>(rng() % 256));
  if constexpr (N == VIDEO_DOUBLE || N == VIDEO_SINGLE) {
    const T inf = std::numeric_limits<T>::infinity();
    const T edges[] = {T(0), T(-0.0), T(1), T(1.5), T(-0.25), T(2), inf, -inf,
                       std::numeric_limits<T>::quiet_NaN(), std::numeric_limits<T>::denorm_min(),
                       T(0.5 / 255), T(254.5 / 255), T(127.5 / 255), T(1e30), T(-1e30),
                       std::nextafter(T(1), T(0)), T(3e9), T(-3e9)};
    if (pick == 5) return edges[rng() % (sizeof edges / sizeof edges[0])];
    return static_cast<T>(std::uniform_real_distribution<double>(-0.1, 1.1)(rng));
  } else if constexpr (N == VIDEO_BOOLEAN) {
    return static_cast<T>(pick == 5 ? rng() % 256 : rng() % 2);
  } else {
    const T edges[] = {std::numeric_limits<T>::min(), std::numeric_limits<T>::max(), T(0), T(1),
                       static_cast<T>(std::numeric_limits<T>::max() / 2),
                       static_cast<T>(std::numeric_limits<T>::max() / 2 + 1)};
    if (pick == 5) return edges[rng() % (sizeof edges / sizeof edges[0])];
    T v;
    const std::uint32_t bits = rng();
    std::memcpy(&v, &bits, sizeof v);
    return v;
  }
}

// ---- The harness ---------------------------------------------------------------------------

// Buffers of one call: the frame (bytes) and three planes (elements of the
// type); a plane of size -1 is passed as null.
struct Room {
  i64 frame;
  i64 plane[3];
};

struct Buffers {
  Bytes frame, plane[3];
  bool null[3];
};

template <int N>
Buffers makeBuffers(const Room& room, bool planesAreSource, std::mt19937& rng) {
  Buffers b;
  b.frame.assign(static_cast<size_t>(room.frame), kGuard);
  if (!planesAreSource)
    for (auto& x : b.frame) x = static_cast<std::uint8_t>(rng());
  for (int p = 0; p < 3; ++p) {
    b.null[p] = room.plane[p] < 0;
    const i64 n = b.null[p] ? 0 : room.plane[p];
    b.plane[p].assign(static_cast<size_t>(n) * sizeof(Sample<N>), kGuard);
    if (planesAreSource)
      for (i64 i = 0; i < n; ++i) View<Sample<N>>{&b.plane[p]}.set(i, anySample<N>(rng));
  }
  return b;
}

inline ::testing::AssertionResult sameBytes(const Bytes& got, const Bytes& want, const char* what) {
  for (size_t i = 0; i < want.size(); ++i)
    if (got[i] != want[i])
      return ::testing::AssertionFailure()
             << what << " byte " << i << " of " << want.size() << ": got " << int(got[i])
             << ", want " << int(want[i]) << (want[i] == kGuard ? " (untouched)" : "");
  return ::testing::AssertionSuccess();
}

// One call of the family F for type N on a w x h picture in orientation o:
// the routine and the model on copies of the same buffers, every byte compared.
template <int N, typename F>
void checkCase(int w, int h, int o, unsigned seed) {
  std::mt19937 rng(seed);
  Buffers src = makeBuffers<N>(F::room(w, h, o), !F::kInput, rng);
  Buffers got = src, want = src;
  void* p[3];
  for (int i = 0; i < 3; ++i) p[i] = got.null[i] ? nullptr : got.plane[i].data();
  const auto orientation = static_cast<VideoFrameOrientation>(o);
  const auto fcn = F::fcn(static_cast<VideoDataType>(N));
  ASSERT_NE(fcn, nullptr);
  if constexpr (F::kInput)
    fcn(got.frame.data(), p[0], p[1], p[2], w, h, orientation);
  else
    fcn(p[0], p[1], p[2], got.frame.data(), w, h, orientation);
  using V = View<Sample<N>>;
  F::model(View<std::uint8_t>{&want.frame}, V{&want.plane[0]}, V{&want.plane[1]},
           V{&want.plane[2]}, w, h, o);
  const std::string where = "type " + std::to_string(N) + ", " + std::to_string(w) + " x " +
                            std::to_string(h) + ", orientation " + std::to_string(o);
  EXPECT_TRUE(sameBytes(got.frame, want.frame, "frame")) << where;
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(sameBytes(got.plane[i], want.plane[i], "plane")) << where << ", plane " << i;
}

// Sizes: 1 x 1, odd and even widths and heights, and pictures larger than one
// column tile (up to 64 rows by 128 pixels or pairs) in both directions.
inline const std::pair<int, int> kSizes[] = {{1, 1},  {2, 1},  {1, 2},   {2, 2},   {3, 1},
                                             {3, 2},  {4, 3},  {5, 5},   {6, 17},  {17, 15},
                                             {32, 16}, {33, 18}, {66, 33}, {67, 35}, {130, 3},
                                             {129, 34}, {5, 70}, {68, 131}, {261, 9}};

template <int N, typename F>
void sweep() {
  unsigned seed = 1;
  for (auto [w, h] : kSizes)
    for (int o : {0, 1, 2}) {
      checkCase<N, F>(w, h, o, seed++);
      if (::testing::Test::HasFailure()) return;
    }
}

// Non-positive sizes write nothing: every buffer keeps its pattern.
template <int N, typename F>
void checkEmptySizes() {
  for (auto [w, h] : {std::pair{0, 5}, {5, 0}, {-3, 4}, {4, -3}, {0, 0}})
    for (int o : {0, 1, 2}) {
      Bytes frame(64, kGuard), plane[3];
      for (auto& x : plane) x.assign(64 * sizeof(Sample<N>), kGuard);
      if constexpr (!F::kInput) {
        // The sources may be read as nothing; give them a pattern anyway.
      }
      const Bytes before = frame;
      const auto fcn = F::fcn(static_cast<VideoDataType>(N));
      if constexpr (F::kInput)
        fcn(frame.data(), plane[0].data(), plane[1].data(), plane[2].data(), w, h,
            static_cast<VideoFrameOrientation>(o));
      else
        fcn(plane[0].data(), plane[1].data(), plane[2].data(), frame.data(), w, h,
            static_cast<VideoFrameOrientation>(o));
      EXPECT_EQ(frame, before) << w << " x " << h << " orientation " << o;
      for (auto& x : plane) EXPECT_EQ(x, Bytes(64 * sizeof(Sample<N>), kGuard)) << w << " x " << h;
    }
}

using videoref::AllTypes;

}  // namespace frames_ref

#endif
