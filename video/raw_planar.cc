// Raw planar transposes: a stack of column-major planes to a stack of
// row-major planes, each row followed by padElements zeros, the rows in order
// or reversed, with an element rule between the source and target types
// (full_range_rules.h). No colour model, no EightBitLUT.
#include <algorithm>
#include <cstring>

#include "video/families.h"
#include "video/full_range_rules.h"
#include "video/raw_planar_kernels.h"

namespace rivulet {
namespace {

template <int S, int D>
void RawPlanarColumnToRow(void const* source, void* target, int width, int height, int planeCount,
                          int padElements, bool flipRows) {
  using Ts = Sample<S>;
  using Td = Sample<D>;
  if (planeCount < 1 || height <= 0) return;
  const std::int64_t w = std::max(width, 0), h = height, pad = std::max(padElements, 0);
  const std::int64_t rowLen = w + pad;
  const Ts* src = static_cast<const Ts*>(source);
  Td* dst = static_cast<Td*>(target);
  for (int p = 0; p < planeCount; ++p, src += w * h, dst += h * rowLen) {
    // Picture row r goes to target row r, or h - 1 - r when flipped.
    Td* row0 = flipRows ? dst + (h - 1) * rowLen : dst;
    const std::int64_t step = flipRows ? -rowLen : rowLen;
    transposeColumnsToRows<S, D>(src, row0, step, w, h);
    if (pad > 0)
      for (std::int64_t r = 0; r < h; ++r) std::fill_n(dst + r * rowLen + w, pad, Td{0});
  }
}

// [source][target]; every pair not listed has no routine.
struct RawPlanarTable {
  RawPlanarConvertFcn f[9][9] = {};
  constexpr RawPlanarTable() {
    f[VIDEO_INT8][VIDEO_INT8] = &RawPlanarColumnToRow<VIDEO_INT8, VIDEO_INT8>;
    f[VIDEO_UINT8][VIDEO_UINT8] = &RawPlanarColumnToRow<VIDEO_UINT8, VIDEO_UINT8>;
    f[VIDEO_BOOLEAN][VIDEO_UINT8] = &RawPlanarColumnToRow<VIDEO_BOOLEAN, VIDEO_UINT8>;
    f[VIDEO_DOUBLE][VIDEO_INT16] = &RawPlanarColumnToRow<VIDEO_DOUBLE, VIDEO_INT16>;
    f[VIDEO_SINGLE][VIDEO_INT16] = &RawPlanarColumnToRow<VIDEO_SINGLE, VIDEO_INT16>;
    f[VIDEO_INT16][VIDEO_INT16] = &RawPlanarColumnToRow<VIDEO_INT16, VIDEO_INT16>;
    f[VIDEO_INT32][VIDEO_INT16] = &RawPlanarColumnToRow<VIDEO_INT32, VIDEO_INT16>;
    f[VIDEO_UINT16][VIDEO_UINT16] = &RawPlanarColumnToRow<VIDEO_UINT16, VIDEO_UINT16>;
    f[VIDEO_UINT32][VIDEO_UINT16] = &RawPlanarColumnToRow<VIDEO_UINT32, VIDEO_UINT16>;
  }
};
constexpr RawPlanarTable kRawPlanar;

}  // namespace

RawPlanarConvertFcn rawPlanarColumnToRow(VideoDataType sourceType, VideoDataType targetType) {
  if (static_cast<unsigned>(sourceType) > 8 || static_cast<unsigned>(targetType) > 8) return nullptr;
  return kRawPlanar.f[sourceType][targetType];
}

}  // namespace rivulet
