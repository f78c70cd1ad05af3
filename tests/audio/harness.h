// Runs one cell of one 6 x 6 family on a laid-out block and compares the whole
// destination buffer, gaps and guard bytes included, with the reference.
#ifndef RIVULET_TESTS_AUDIO_HARNESS_H
#define RIVULET_TESTS_AUDIO_HARNESS_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "audio/reference.h"
#include "rivulet/audio.h"

namespace audioref {

enum class Family { Convert, FromInterleaved, ToInterleaved, MapFrom, MapTo };

inline const char* nameOf(Family f) {
  switch (f) {
    case Family::Convert: return "convert";
    case Family::FromInterleaved: return "transpose(true)";
    case Family::ToInterleaved: return "transpose(false)";
    case Family::MapFrom: return "map(true)";
    case Family::MapTo: return "map(false)";
  }
  return "?";
}

inline constexpr Family kFamilies[5] = {Family::Convert, Family::FromInterleaved,
                                        Family::ToInterleaved, Family::MapFrom, Family::MapTo};

struct Layout {
  int samples = 1;
  int channels = 1;
  int channelStride = 1;  // per-channel side
  int frameStride = 1;    // mapped families' interleaved side
  std::vector<int> map;   // mapped families
};

// Source and destination element index of logical element k = (i, c).
inline void indexes(Family f, Layout const& l, int i, int c, std::int64_t& s, std::int64_t& d) {
  switch (f) {
    case Family::Convert: s = d = std::int64_t{i} * l.channels + c; return;
    case Family::FromInterleaved:
      s = std::int64_t{i} * l.channels + c;
      d = std::int64_t{c} * l.channelStride + i;
      return;
    case Family::ToInterleaved:
      s = std::int64_t{c} * l.channelStride + i;
      d = std::int64_t{i} * l.channels + c;
      return;
    case Family::MapFrom:
      s = std::int64_t{i} * l.frameStride + l.map[c];
      d = std::int64_t{c} * l.channelStride + i;
      return;
    case Family::MapTo:
      s = std::int64_t{c} * l.channelStride + i;
      d = std::int64_t{i} * l.frameStride + l.map[c];
      return;
  }
}

inline void callFamily(Family f, AudioDataType s, AudioDataType d, Layout const& l,
                       void const* src, void* dst) {
  std::vector<int> map = l.map;
  switch (f) {
    case Family::Convert:
      MM_GetAudioConvertCopyFcn(s, d)(src, dst, l.samples, l.channels, 987654);
      return;
    case Family::FromInterleaved:
      MM_GetAudioTransposeCopyFcn(s, d, true)(src, dst, l.samples, l.channels, l.channelStride);
      return;
    case Family::ToInterleaved:
      MM_GetAudioTransposeCopyFcn(s, d, false)(src, dst, l.samples, l.channels, l.channelStride);
      return;
    case Family::MapFrom:
      MM_GetAudioConvertCopyWithMapFcn(s, d, true)(src, dst, l.channelStride, l.samples,
                                                   l.frameStride, l.channels, map.data());
      return;
    case Family::MapTo:
      MM_GetAudioConvertCopyWithMapFcn(s, d, false)(src, dst, l.channelStride, l.samples,
                                                    l.channels, l.frameStride, map.data());
      return;
  }
}

// Logical element k reads pool element k (cyclically); every other source
// byte is filler. Returns the number of mismatching destination bytes.
inline int checkCell(Family f, AudioDataType s, AudioDataType d,
                     std::vector<std::uint8_t> const& pool, Layout const& l) {
  const AudioDataType rs = cellType(s, d, s), rd = cellType(s, d, d);
  const int sb = bytesOf(rs), db = bytesOf(rd), pb = bytesOf(s);
  const std::int64_t poolCount = static_cast<std::int64_t>(pool.size()) / pb;
  std::int64_t srcCount = 0, dstCount = 0;
  for (int i = 0; i < l.samples; ++i)
    for (int c = 0; c < l.channels; ++c) {
      std::int64_t si = 0, di = 0;
      indexes(f, l, i, c, si, di);
      srcCount = std::max(srcCount, si + 1);
      dstCount = std::max(dstCount, di + 1);
    }
  const int guard = 24;
  std::vector<std::uint8_t> src(srcCount * sb + guard, 0x5A);
  std::vector<std::uint8_t> dst(dstCount * db + guard);
  for (std::size_t b = 0; b < dst.size(); ++b) dst[b] = static_cast<std::uint8_t>(0xA5 ^ b);
  std::int64_t k = 0;
  for (int i = 0; i < l.samples; ++i)
    for (int c = 0; c < l.channels; ++c, ++k) {
      std::int64_t si = 0, di = 0;
      indexes(f, l, i, c, si, di);
      // A pool element narrower than the cell's element (the AUDIO_INT24 pair
      // moves four bytes) is placed in the upper bytes.
      std::memcpy(&src[si * sb + (sb - pb)], &pool[(k % poolCount) * pb], pb);
    }
  std::vector<std::uint8_t> want = dst;
  for (int i = 0; i < l.samples; ++i)
    for (int c = 0; c < l.channels; ++c) {
      std::int64_t si = 0, di = 0;
      indexes(f, l, i, c, si, di);
      convert(rs, &src[si * sb], rd, &want[di * db]);
    }
  callFamily(f, s, d, l, src.data(), dst.data());
  int bad = 0;
  for (std::size_t b = 0; b < dst.size(); ++b) {
    if (dst[b] != want[b] && ++bad <= 3) {
      ADD_FAILURE() << nameOf(f) << " " << nameOf(s) << " -> " << nameOf(d) << ": byte " << b
                    << " (element " << b / db << ") is " << int(dst[b]) << ", want "
                    << int(want[b]) << "; samples " << l.samples << " channels " << l.channels;
    }
  }
  return bad;
}

}  // namespace audioref

#endif
