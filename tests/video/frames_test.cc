// One reference sweep per family: planes back to BGR frames and byte planes,
// YCbCr planes from BGR frames, byte planes and YUY2 frames, YUY2 and BGR
// frames from planes. Each family is a room (the buffer sizes its
// documentation asks for, which the harness allocates exactly) and a model
// written loop for loop from the layout rules; the sweep runs all nine types,
// sizes from 1 x 1 to several column tiles, orientations 0, 1 and 2.
#include <functional>

#include "types/stream.h"
#include "video/frames_reference.h"

using namespace frames_ref;

namespace {

using B8 = View<std::uint8_t>;

// Shorthands for the room formulas.
struct Dims {
  i64 w, h, wh, evenW, odd, half, pairsUp, flat;
  Dims(int w_, int h_)
      : w(w_), h(h_), wh(i64{w_} * h_), evenW(w_ & ~1), odd(w_ & 1), half(w_ / 2),
        pairsUp((w_ + 1) / 2), flat(((static_cast<std::int32_t>(w_ * h_) - 1) >> 1) + 1) {}
};

// ---- Planes to packed BGR and to byte planes ------------------------------------------------

template <int N, bool Grey>
struct ToBGR {
  static constexpr bool kInput = false;
  static VideoOutputFcn fcn(VideoDataType t) {
    return Grey ? MM_GetIntensityToRGBChannelsOutputFcn(t) : MM_GetRGBToRGBChannelsOutputFcn(t);
  }
  static Room room(int w, int h, int) {
    const Dims d(w, h);
    return {bgrStride(w) * h, {d.wh, Grey ? -1 : d.wh, Grey ? -1 : d.wh}};
  }
  template <typename V>
  static void model(B8 f, V r, V g, V b, int w, int h, int o) {
    if (Grey) g = b = r;
    for (int m = 0; m < h; ++m) {
      const int row = h - 1 - m;
      for (int c = 0; c < w; ++c) {
        const i64 i = o == 0 ? i64{row} * w + c : i64{c} * h + row, at = m * bgrStride(w) + 3 * c;
        f.set(at, narrow<N>(b.get(i)));
        f.set(at + 1, narrow<N>(g.get(i)));
        f.set(at + 2, narrow<N>(r.get(i)));
      }
    }
  }
};

template <int N, bool Grey>
struct ToBytePlanes {
  static constexpr bool kInput = false;
  static VideoOutputFcn fcn(VideoDataType t) {
    return Grey ? MM_GetIntensityToRGB24ChannelsConvertCopyFcn(t)
                : MM_GetRGBToRGB24ChannelsConvertCopyFcn(t);
  }
  static Room room(int w, int h, int) {
    const Dims d(w, h);
    return {3 * d.wh, {d.wh, Grey ? -1 : d.wh, Grey ? -1 : d.wh}};
  }
  template <typename V>
  static void model(B8 f, V r, V g, V b, int w, int h, int) {
    if (Grey) g = b = r;
    const i64 n = i64{w} * h;
    for (i64 i = 0; i < n; ++i) {
      f.set(i, narrow<N>(r.get(i)));
      f.set(n + i, narrow<N>(g.get(i)));
      f.set(2 * n + i, narrow<N>(b.get(i)));
    }
  }
};

// ---- YCbCr input ---------------------------------------------------------------------------

template <int N>
struct BGRToYCbCr {
  static constexpr bool kInput = true;
  static VideoInputFcn fcn(VideoDataType t) { return MM_GetRGBToYCbCrChannelsInputFcn(t); }
  static Room room(int w, int h, int) {
    const Dims d(w, h);
    return {bgrStride(w) * h, {d.evenW * d.h, d.half * d.h, d.half * d.h}};
  }
  template <typename V>
  static void model(B8 f, V y, V cb, V cr, int w, int h, int o) {
    const int evenW = w - w % 2;
    for (int r = 0; r < h; ++r)
      for (int c = 0; c < evenW; c += 2) {
        const i64 px = (h - 1 - r) * bgrStride(w) + 3 * c;
        const int pb = f.get(px), pg = f.get(px + 1), pr = f.get(px + 2);
        const int qb = f.get(px + 3), qg = f.get(px + 4), qr = f.get(px + 5);
        const int k = c / 2;
        const i64 yp = o == 0 ? i64{r} * evenW + c : i64{c} * h + r;
        const i64 yq = o == 0 ? yp + 1 : yp + h;
        const i64 ch = o == 0 ? i64{r} * (evenW / 2) + k : i64{k} * h + r;
        y.set(yp, widen<N>(fwdY(pr, pg, pb)));
        y.set(yq, widen<N>(fwdY(qr, qg, qb)));
        cb.set(ch, widen<N>(fwdCb(pr, pg, pb)));
        cr.set(ch, widen<N>(fwdCr(pr, pg, pb)));
      }
  }
};

template <int N>
struct BytePlanesToYCbCr {
  static constexpr bool kInput = true;
  static VideoInputFcn fcn(VideoDataType t) { return MM_GetRGBToYCbCrChannelsInputFcn_mmr(t); }
  static Room room(int w, int h, int o) {
    const Dims d(w, h);
    // An odd width reads one element past the row: past the blue plane by
    // one column (column-major source) or one element (row-major source).
    return {3 * d.wh + (d.odd ? (o == 1 ? d.h : 1) : 0),
            {2 * d.pairsUp * d.h, d.pairsUp * d.h, d.pairsUp * d.h}};
  }
  template <typename V>
  static void model(B8 f, V y, V cb, V cr, int w, int h, int o) {
    const i64 wh = i64{w} * h;
    const int pairs = ((w - 1) >> 1) + 1;
    for (int k = 0; k < pairs; ++k)
      for (int r = 0; r < h; ++r) {
        const int c = 2 * k;
        const i64 p = o == 1 ? i64{c} * h + r : i64{r} * w + c;
        const i64 q = o == 1 ? i64{c + 1} * h + r : p + 1;
        const int pr = f.get(p), pg = f.get(wh + p), pb = f.get(2 * wh + p);
        const int qr = f.get(q), qg = f.get(wh + q), qb = f.get(2 * wh + q);
        y.set(i64{c} * h + r, widen<N>(fwdY(pr, pg, pb)));
        y.set(i64{c + 1} * h + r, widen<N>(fwdY(qr, qg, qb)));
        cb.set(i64{k} * h + r, widen<N>(fwdCb(pr, pg, pb)));
        cr.set(i64{k} * h + r, widen<N>(fwdCr(pr, pg, pb)));
      }
  }
};

template <int N>
struct YUY2ToYCbCr {
  static constexpr bool kInput = true;
  static VideoInputFcn fcn(VideoDataType t) { return MM_GetYCbCrToYCbCrChannelsInputFcn(t); }
  static Room room(int w, int h, int o) {
    const Dims d(w, h);
    if (o == 1) return {2 * d.wh, {d.wh, d.pairsUp * d.h, d.pairsUp * d.h}};
    return {4 * d.flat, {2 * d.flat, d.flat, d.flat}};
  }
  template <typename V>
  static void model(B8 f, V y, V cb, V cr, int w, int h, int o) {
    if (o == 0) {
      const std::int32_t n = w * h;
      if (n <= 0) return;
      for (i64 k = 0; k < ((n - 1) >> 1) + 1; ++k) {
        y.set(2 * k, widen<N>(f.get(4 * k)));
        cb.set(k, widen<N>(f.get(4 * k + 1)));
        y.set(2 * k + 1, widen<N>(f.get(4 * k + 2)));
        cr.set(k, widen<N>(f.get(4 * k + 3)));
      }
    } else if (o == 1) {
      i64 n = 0;
      for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c, ++n) {
          y.set(i64{c} * h + r, widen<N>(f.get(2 * n)));
          (n % 2 == 0 ? cb : cr).set(i64{c >> 1} * h + r, widen<N>(f.get(2 * n + 1)));
        }
    }
  }
};

template <int N>
struct YUY2ToRGB {
  static constexpr bool kInput = true;
  static VideoInputFcn fcn(VideoDataType t) { return MM_GetYCbCrToRGBChannelsInputFcn(t); }
  static Room room(int w, int h, int o) {
    const Dims d(w, h);
    if (o == 0) return {4 * d.flat, {2 * d.flat, 2 * d.flat, 2 * d.flat}};
    const i64 n = 2 * d.pairsUp * d.h;
    return {2 * n, {n, n, n}};
  }
  template <typename V>
  static void model(B8 f, V red, V green, V blue, int w, int h, int o) {
    auto pixel = [&](i64 at, int Y, int Cb, int Cr) {
      const RGB p = bwd(Y, Cb, Cr);
      red.set(at, widen<N>(p.r));
      green.set(at, widen<N>(p.g));
      blue.set(at, widen<N>(p.b));
    };
    if (o == 0) {
      const std::int32_t n = w * h;
      if (n <= 0) return;
      for (i64 k = 0; k < ((n - 1) >> 1) + 1; ++k) {
        pixel(2 * k, f.get(4 * k), f.get(4 * k + 1), f.get(4 * k + 3));
        pixel(2 * k + 1, f.get(4 * k + 2), f.get(4 * k + 1), f.get(4 * k + 3));
      }
    } else {
      i64 cursor = 0;
      for (int r = 0; r < h; ++r)
        for (int k = 0; k <= ((w - 1) >> 1); ++k, cursor += 4) {
          const int Cb = f.get(cursor + 1), Cr = f.get(cursor + 3);
          pixel(i64{2 * k} * h + r, f.get(cursor), Cb, Cr);
          pixel(i64{2 * k + 1} * h + r, f.get(cursor + 2), Cb, Cr);
        }
    }
  }
};

// ---- YCbCr output --------------------------------------------------------------------------

template <int N>
struct YCbCrToBGR {
  static constexpr bool kInput = false;
  static VideoOutputFcn fcn(VideoDataType t) { return MM_GetYCbCrToRGBChannelsOutputFcn(t); }
  static Room room(int w, int h, int) {
    const Dims d(w, h);
    return {bgrStride(w) * h, {d.wh, d.half * d.h, d.half * d.h}};
  }
  template <typename V>
  static void model(B8 f, V y, V cb, V cr, int w, int h, int o) {
    for (int m = 0; m < h; ++m) {
      const int r = h - 1 - m;
      for (int k = 0; k < w / 2; ++k) {
        const i64 y0 = o == 0 ? i64{r} * w + 2 * k : i64{2 * k} * h + r;
        const i64 y1 = o == 0 ? y0 + 1 : y0 + h;
        const i64 ch = o == 0 ? i64{r} * (w / 2) + k : i64{k} * h + r;
        const int Cb = narrow<N>(cb.get(ch)), Cr = narrow<N>(cr.get(ch));
        const int Y[2] = {narrow<N>(y.get(y0)), narrow<N>(y.get(y1))};
        for (int j = 0; j < 2; ++j) {
          const RGB p = bwd(Y[j], Cb, Cr);
          const i64 at = m * bgrStride(w) + 6 * k + 3 * j;
          f.set(at, p.b);
          f.set(at + 1, p.g);
          f.set(at + 2, p.r);
        }
      }
    }
  }
};

template <int N>
struct RGBToYUY2 {
  static constexpr bool kInput = false;
  static VideoOutputFcn fcn(VideoDataType t) { return MM_GetRGBToYCbCrChannelsOutputFcn(t); }
  static Room room(int w, int h, int o) {
    const Dims d(w, h);
    if (o == 1) return {(2 * d.evenW + 4 * d.odd) * d.h, {d.wh, d.wh, d.wh}};
    // A step per column; an even width reads one element past the planes.
    const i64 n = d.wh + (d.odd ? 0 : 1);
    return {(4 * d.evenW + 4 * d.odd) * d.h, {n, n, n}};
  }
  template <typename V>
  static void model(B8 f, V red, V green, V blue, int w, int h, int o) {
    i64 cursor = 0;
    auto step = [&](i64 p, i64 q) {
      const int pr = narrow<N>(red.get(p)), pg = narrow<N>(green.get(p)), pb = narrow<N>(blue.get(p));
      const int qr = narrow<N>(red.get(q)), qg = narrow<N>(green.get(q)), qb = narrow<N>(blue.get(q));
      f.set(cursor++, fwdY(pr, pg, pb) & 0xFF);
      f.set(cursor++, fwdCb(pr, pg, pb) & 0xFF);
      f.set(cursor++, fwdY(qr, qg, qb) & 0xFF);
      f.set(cursor++, fwdCr(pr, pg, pb) & 0xFF);
    };
    const int evenW = w - w % 2;
    for (int r = 0; r < h; ++r) {
      if (o == 1) {
        for (int k = 0; k <= ((evenW - 1) >> 1); ++k) step(i64{2 * k} * h + r, i64{2 * k + 1} * h + r);
        if (w % 2) step(i64{w - 1} * h + r, i64{w - 1} * h + r);
      } else {
        for (int j = 0; j < evenW; ++j) step(i64{r} * w + j, i64{r} * w + j + 1);
        if (w % 2) step(i64{r + 1} * w - 1, i64{r + 1} * w - 1);
      }
    }
  }
};

template <int N>
struct GreyToYUY2 {
  static constexpr bool kInput = false;
  static VideoOutputFcn fcn(VideoDataType t) { return MM_GetIntensityToYCbCrChannelsOutputFcn(t); }
  static Room room(int w, int h, int o) {
    const Dims d(w, h);
    // Row-major, odd width: the last step of row r reads (r + 1) * w - 1
    // past a cursor that has moved r * (w - 1) elements.
    const i64 plane = (o == 0 && d.odd) ? d.h * (2 * d.w - 1) : d.wh;
    return {(2 * d.evenW + 4 * d.odd) * d.h, {plane, -1, -1}};
  }
  template <typename V>
  static void model(B8 f, V grey, V, V, int w, int h, int o) {
    i64 cursor = 0;
    auto step = [&](int l0, int l1) {
      f.set(cursor++, l0);
      f.set(cursor++, 128);
      f.set(cursor++, l1);
      f.set(cursor++, 128);
    };
    auto L = [&](i64 i) { return lumaOfGrey(narrow<N>(grey.get(i))); };
    const int evenW = w - w % 2;
    i64 s = 0;
    for (int r = 0; r < h; ++r) {
      if (o != 0) {
        for (int k = 0; k < evenW / 2; ++k) step(L(i64{2 * k} * h + r), L(i64{2 * k + 1} * h + r));
        if (w % 2) step(L(i64{w - 1} * h + r), L(i64{w - 1} * h + r));
      } else {
        for (int k = 0; k < evenW / 2; ++k, s += 2) step(L(s), lumaOfGrey(L(s + 1)));
        if (w % 2) step(L(s + i64{r + 1} * w - 1), L(s + i64{r + 1} * w - 1));
      }
    }
  }
};

template <int N>
struct YCbCrToYUY2 {
  static constexpr bool kInput = false;
  static VideoOutputFcn fcn(VideoDataType t) { return MM_GetYCbCrToYCbCrChannelsOutputFcn(t); }
  static Room room(int w, int h, int o) {
    const Dims d(w, h);
    if (o == 0) return {4 * d.flat, {2 * d.flat, d.flat, d.flat}};
    return {4 * d.pairsUp * d.h, {2 * d.pairsUp * d.h, d.pairsUp * d.h, d.pairsUp * d.h}};
  }
  template <typename V>
  static void model(B8 f, V y, V cb, V cr, int w, int h, int o) {
    auto step = [&](i64 at, i64 y0, i64 y1, i64 ch) {
      f.set(at, narrow<N>(y.get(y0)));
      f.set(at + 1, narrow<N>(cb.get(ch)));
      f.set(at + 2, narrow<N>(y.get(y1)));
      f.set(at + 3, narrow<N>(cr.get(ch)));
    };
    if (o == 0) {
      const std::int32_t n = w * h;
      if (n <= 0) return;
      for (i64 k = 0; k < ((n - 1) >> 1) + 1; ++k) step(4 * k, 2 * k, 2 * k + 1, k);
    } else {
      i64 at = 0;
      for (int r = 0; r < h; ++r)
        for (int k = 0; k <= ((w - 1) >> 1); ++k, at += 4)
          step(at, i64{2 * k} * h + r, i64{2 * k + 1} * h + r, i64{k} * h + r);
    }
  }
};

template <typename P>
class Frames : public ::testing::Test {};
TYPED_TEST_SUITE(Frames, AllTypes);

template <int N, typename... F>
void sweepAll() {
  (sweep<N, F>(), ...);
  (checkEmptySizes<N, F>(), ...);
}

}  // namespace

TYPED_TEST(Frames, PlanesToBGRAndBytePlanes) {
  constexpr int N = TypeParam::value;
  sweepAll<N, ToBGR<N, false>, ToBGR<N, true>, ToBytePlanes<N, false>, ToBytePlanes<N, true>>();
}

TYPED_TEST(Frames, YCbCrInput) {
  constexpr int N = TypeParam::value;
  sweepAll<N, BGRToYCbCr<N>, BytePlanesToYCbCr<N>, YUY2ToYCbCr<N>, YUY2ToRGB<N>>();
}

TYPED_TEST(Frames, YCbCrOutput) {
  constexpr int N = TypeParam::value;
  sweepAll<N, YCbCrToBGR<N>, RGBToYUY2<N>, GreyToYUY2<N>, YCbCrToYUY2<N>>();
}

namespace {

// A picture whose working set is large enough that the row-major output
// routines write the frame past the caches, against the same routine run
// one row at a time (each call small enough to write through the caches).
template <int N>
void expectStreamedOutputsEqualRowByRow() {
  using T = Sample<N>;
  const int w = 1002, h = static_cast<int>(rivulet::streamMinBytes() / (w * (3 * sizeof(T) + 3))) + 2;
  if (h > 16384) GTEST_SKIP() << "a last-level cache too large to fill in a test";
  const size_t n = size_t{w} * h, stride = bgrStride(w);
  const auto bytes = videoref::randomBytes(3 * n, N + 40);
  std::vector<T> planes(3 * n);
  rivulet::initEightBitLUT(static_cast<VideoDataType>(N));
  for (size_t i = 0; i < 3 * n; ++i) {
    if constexpr (N == VIDEO_UINT8)
      planes[i] = bytes[i];
    else
      planes[i] = videoTraits<N>::EightBitLUT[bytes[i]];
  }
  const T* p[3] = {planes.data(), planes.data() + n, planes.data() + 2 * n};
  const int pairs = w / 2;
  const auto whole = [&](VideoOutputFcn f, std::vector<std::uint8_t>& frame) {
    f(p[0], p[1], p[2], frame.data(), w, h, ORIENTATION_ROW_MAJOR);
  };
  struct Case {
    VideoOutputFcn f;
    size_t frameBytes;
    std::function<void(VideoOutputFcn, std::vector<std::uint8_t>&, int)> row;
  };
  const Case cases[] = {
      {MM_GetRGBToRGBChannelsOutputFcn(static_cast<VideoDataType>(N)), stride * h,
       [&](VideoOutputFcn f, std::vector<std::uint8_t>& frame, int r) {
         f(p[0] + size_t{w} * r, p[1] + size_t{w} * r, p[2] + size_t{w} * r, frame.data() + (h - 1 - r) * stride, w, 1,
           ORIENTATION_ROW_MAJOR);
       }},
      {MM_GetYCbCrToRGBChannelsOutputFcn(static_cast<VideoDataType>(N)), stride * h,
       [&](VideoOutputFcn f, std::vector<std::uint8_t>& frame, int r) {
         f(p[0] + size_t{w} * r, p[1] + size_t(pairs) * r, p[2] + size_t(pairs) * r,
           frame.data() + (h - 1 - r) * stride, w, 1, ORIENTATION_ROW_MAJOR);
       }},
      {MM_GetYCbCrToYCbCrChannelsOutputFcn(static_cast<VideoDataType>(N)), 2 * n,
       [&](VideoOutputFcn f, std::vector<std::uint8_t>& frame, int r) {
         f(p[0] + size_t{w} * r, p[1] + size_t(pairs) * r, p[2] + size_t(pairs) * r, frame.data() + 2 * size_t{w} * r,
           w, 1, ORIENTATION_ROW_MAJOR);
       }},
  };
  for (const Case& c : cases) {
    std::vector<std::uint8_t> a(c.frameBytes + 64, kGuard), b(a);
    whole(c.f, a);
    for (int r = 0; r < h; ++r) c.row(c.f, b, r);
    ASSERT_EQ(a, b) << "type " << N;
  }
}

}  // namespace

TEST(FramesLarge, StreamedOutputsEqualRowByRow) {
  expectStreamedOutputsEqualRowByRow<VIDEO_SINGLE>();
  expectStreamedOutputsEqualRowByRow<VIDEO_UINT8>();
  expectStreamedOutputsEqualRowByRow<VIDEO_INT16>();
}
