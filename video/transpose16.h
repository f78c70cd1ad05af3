// The 16 x 16 byte transpose network, written once for any vector width whose
// interleaves work within 128-bit lanes (one transpose per lane). Ops supplies
// the vector type V and the eight interleave operations. Each SIMD source
// instantiates it with its own Ops, so every instantiation is distinct.
#ifndef RIVULET_VIDEO_TRANSPOSE16_H
#define RIVULET_VIDEO_TRANSPOSE16_H

namespace rivulet {

template <typename Ops>
inline void transpose16(typename Ops::V x[16]) {
  typename Ops::V t[16];
  // Rows 2i and 2i + 1 interleaved byte by byte: columns 0-7 and 8-15.
  for (int i = 0; i < 8; ++i) {
    t[i] = Ops::lo8(x[2 * i], x[2 * i + 1]);
    t[i + 8] = Ops::hi8(x[2 * i], x[2 * i + 1]);
  }
  // Pairs of those: 4 rows by 4 columns per vector.
  for (int i = 0; i < 4; ++i) {
    x[i] = Ops::lo16(t[2 * i], t[2 * i + 1]);
    x[i + 4] = Ops::hi16(t[2 * i], t[2 * i + 1]);
    x[i + 8] = Ops::lo16(t[8 + 2 * i], t[8 + 2 * i + 1]);
    x[i + 12] = Ops::hi16(t[8 + 2 * i], t[8 + 2 * i + 1]);
  }
  // 8 rows by 2 columns per vector.
  for (int i = 0; i < 8; ++i) {
    const int base = (i / 2) * 4 + 2 * (i % 2);
    t[2 * i] = Ops::lo32(x[base], x[base + 1]);
    t[2 * i + 1] = Ops::hi32(x[base], x[base + 1]);
  }
  // t[4q + p], for column quad q (columns 4q to 4q + 3): p = 0 and 1 hold
  // columns 4q, 4q + 1 and 4q + 2, 4q + 3 of rows 0-7; p = 2 and 3 the same
  // columns of rows 8-15. The last round joins the two row halves.
  for (int i = 0; i < 8; ++i) {
    const typename Ops::V top = t[(i / 2) * 4 + i % 2];
    const typename Ops::V bottom = t[(i / 2) * 4 + i % 2 + 2];
    x[2 * i] = Ops::lo64(top, bottom);
    x[2 * i + 1] = Ops::hi64(top, bottom);
  }
}

}  // namespace rivulet

#endif
