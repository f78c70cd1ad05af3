// Internals of the AVI reader: byte-order helpers, the texts of the stored
// failures, and the frame layout kernels against plain reference forms.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "avi/byte_order.h"
#include "avi/errors.h"
#include "avi/frame_layout.h"

namespace {

using namespace avi;

TEST(AviByteOrder, LittleEndianAndChunkSizes) {
  const unsigned char b[8] = {0x01, 0x02, 0x03, 0x84, 0x05, 0x06, 0x07, 0x88};
  EXPECT_EQ(readLE16(b), 0x0201u);
  EXPECT_EQ(readLE32(b), 0x84030201u);
  EXPECT_EQ(readLE64(b), 0x8807060584030201ull);
  const unsigned char odd[4] = {0x07, 0, 0, 0}, even[4] = {0x08, 0, 0, 0}, top[4] = {0xFF, 0xFF, 0xFF, 0xFF};
  EXPECT_EQ(readChunkSize(odd), 8u);
  EXPECT_EQ(readChunkSize(even), 8u);
  EXPECT_EQ(readChunkSize(top), 0x100000000ull);  // rounds up without wrapping
  EXPECT_EQ(std::string(encodeLE32(0x62643030)), "00db");
  EXPECT_EQ(std::memcmp(encodeLE16(0x4241), "AB\0", 3), 0);
  EXPECT_EQ(std::memcmp(encodeLE64(0x0102030405060708ull), "\x08\x07\x06\x05\x04\x03\x02\x01\0", 9), 0);
}

// Codes 1 to 3 name the file; a code without a text of its own falls back to
// its number in lower-case hexadecimal. (The raised codes and their texts are
// checked where the public tests raise them.)
TEST(AviErrors, NamedAndFallbackTexts) {
  EXPECT_EQ(errors::message(errors::RIFF_CHUNK_MISSING, "f.avi"), "'f.avi' is not a valid AVI file (RIFF chunk is missing)");
  EXPECT_EQ(errors::message(errors::OPEN_FAILED, ""), "Unable to open AVI file ('')");
  EXPECT_EQ(errors::message(errors::NONE, ""), "Unknown error (0)");
  EXPECT_EQ(errors::message(errors::RESERVED_43, ""), "Unknown error (2b)");
  EXPECT_EQ(errors::message(errors::BAD_INDEX_ENTRY_SIZE, ""), "Unknown error (2d)");
  EXPECT_EQ(errors::message(static_cast<errors::error_T>(100), ""), "Unknown error (64)");
  EXPECT_EQ(errors::message(errors::FRAME_COUNT_MISMATCH, ""),
            "Number of frames reported in the AVI header does not match number of ##db chunks");
  EXPECT_EQ(errors::message(errors::VIDEO_NOT_INDEXED, ""), "Read attempted for a video that is not indexed");
}

TEST(AviLayout, PadLengths) {
  const unsigned int rgb24[] = {0, 1, 2, 3, 0, 1, 2, 3, 0};
  const unsigned int indexed[] = {0, 3, 2, 1, 0, 3, 2, 1, 0};
  for (std::uint32_t w = 0; w <= 8; ++w) {
    EXPECT_EQ(layout::rgb24PadLength(w), rgb24[w]) << w;
    EXPECT_EQ(layout::indexedPadLength(w), indexed[w]) << w;
    EXPECT_EQ(layout::rgb555PadLength(w), w % 2 ? 2u : 0u) << w;
  }
  EXPECT_EQ(layout::rgb24FrameSize(3, 2), 24u);
}

TEST(AviLayout, BottomUpSwapsRowsAndKeepsAMiddleRow) {
  for (std::uint32_t h : {1u, 2u, 3u, 6u}) {
    std::string frame;
    for (std::uint32_t r = 0; r < h; ++r) frame += std::string(5, static_cast<char>('a' + r));
    std::string expected;
    for (std::uint32_t r = h; r-- > 0;) expected += std::string(5, static_cast<char>('a' + r));
    std::string viaScratch = frame + "!", inPlace = frame + "!";
    char scratch[5];
    layout::convertFrameToBottomUp(viaScratch.data(), static_cast<std::uint32_t>(frame.size()), h, scratch, 5);
    layout::convertFrameToBottomUp(inPlace.data(), static_cast<std::uint32_t>(frame.size()), h, nullptr, 0);
    EXPECT_EQ(viaScratch, expected + "!");
    EXPECT_EQ(inPlace, expected + "!");
  }
}

// Each 5-bit field moves to the top of its byte; bit 15 is ignored.
TEST(AviLayout, Rgb555ExpansionOfEveryValue) {
  for (unsigned p = 0; p < 65536; ++p) {
    unsigned char out[3];
    layout::expandRgb555(static_cast<std::uint16_t>(p), out);
    ASSERT_EQ(out[0], (p & 0x1F) << 3) << p;
    ASSERT_EQ(out[1], ((p >> 5) & 0x1F) << 3) << p;
    ASSERT_EQ(out[2], ((p >> 10) & 0x1F) << 3) << p;
  }
}

// Reference forms: a separate source copy, destination written by formula.
// The buffer is what the caller was asked for, pre-filled with a pattern that
// shows untouched padding and anything written past it.
struct Geometry {
  std::uint32_t w, h;
};

std::vector<Geometry> geometries() {
  std::vector<Geometry> g;
  for (std::uint32_t w = 1; w <= 13; ++w)
    for (std::uint32_t h = 1; h <= 4; ++h) g.push_back({w, h});
  g.push_back({67, 3});
  g.push_back({64, 2});
  return g;
}

std::vector<unsigned char> buffer(std::size_t size, const std::vector<unsigned char>& stored) {
  std::vector<unsigned char> b(size);
  for (std::size_t i = 0; i < size; ++i) b[i] = static_cast<unsigned char>(0xA0 ^ (i * 13));
  std::copy(stored.begin(), stored.end(), b.begin());
  return b;
}

std::vector<unsigned char> stored(std::size_t size, int seed) {
  std::vector<unsigned char> s(size);
  for (std::size_t i = 0; i < size; ++i) s[i] = static_cast<unsigned char>((i * 37 + seed * 11 + (i >> 8)) & 0xFF);
  return s;
}

TEST(AviLayout, Rgb32ToRgb24MatchesReference) {
  for (const Geometry& g : geometries()) {
    const std::uint32_t frameSize = 4 * g.w * g.h;
    const std::size_t pad = (4 - 3 * g.w % 4) % 4, row = 3 * g.w + pad;
    ASSERT_TRUE(layout::fitsRgb32(g.w, g.h, frameSize, frameSize));
    const auto src = stored(frameSize, static_cast<int>(g.w));
    auto buf = buffer(frameSize, src);
    // Row padding is skipped, never written: it keeps the stored frame's
    // bytes, which lie there in place. Bytes past the 24-bit frame keep what
    // the shrinking walk left there, and are not compared.
    auto expected = buf;
    for (std::size_t r = 0; r < g.h; ++r)
      for (std::size_t i = 0; i < 3 * g.w; ++i) expected[r * row + i] = src[(r * g.w + i / 3) * 4 + i % 3];
    if (pad == 0) {
      layout::rgb32ToRgb24(reinterpret_cast<char*>(buf.data()), frameSize);
    } else {
      layout::rgb32ToRgb24WPad(reinterpret_cast<char*>(buf.data()), g.w, g.h);
    }
    ASSERT_TRUE(std::equal(buf.begin(), buf.begin() + g.h * row, expected.begin())) << g.w << "x" << g.h;
  }
}

TEST(AviLayout, Rgb555ToRgb24MatchesReference) {
  for (const Geometry& g : geometries()) {
    const std::size_t pad = layout::rgb24PadLength(g.w);
    const std::size_t storedStride = (2 * g.w + 3) / 4 * 4;  // rows padded to 4 bytes
    const std::uint32_t frameSize = static_cast<std::uint32_t>(storedStride * g.h);
    const std::uint32_t rgb24Size = layout::rgb24FrameSize(g.w, g.h);
    const std::size_t capacity = std::max<std::size_t>(rgb24Size, frameSize);
    const bool fits = layout::fitsRgb555(g.w, g.h, frameSize, capacity);
    // Only width 1 with three or more rows runs out of the buffer, because the
    // source stride of an odd width is 2 * width + 4.
    EXPECT_EQ(fits, !(g.w == 1 && g.h >= 3)) << g.w << "x" << g.h;
    if (!fits) continue;
    auto buf = buffer(capacity, stored(frameSize, static_cast<int>(g.h)));
    const auto before = buf;
    const std::size_t stride = 2 * (g.w + layout::rgb555PadLength(g.w));
    auto expected = buf;
    for (std::size_t r = 0; r < g.h; ++r)
      for (std::size_t c = 0; c < g.w; ++c) {
        const std::size_t at = pad == 0 ? 2 * (r * g.w + c) : r * stride + 2 * c;
        const unsigned p = before[at] | (before[at + 1] << 8);
        unsigned char* o = &expected[r * (3 * g.w + pad) + 3 * c];
        o[0] = static_cast<unsigned char>((p << 3) & 0xF8);
        o[1] = static_cast<unsigned char>((p >> 2) & 0xF8);
        o[2] = static_cast<unsigned char>((p >> 7) & 0xF8);
      }
    if (pad == 0) {
      layout::rgb555ToRgb24(reinterpret_cast<char*>(buf.data()), frameSize, rgb24Size);
    } else {
      layout::rgb555ToRgb24WPad(reinterpret_cast<char*>(buf.data()), g.w, g.h, rgb24Size);
    }
    ASSERT_EQ(buf, expected) << g.w << "x" << g.h;
  }
}

TEST(AviLayout, IndexedToRgb24MatchesReference) {
  std::vector<tagRGBQUAD> map;
  for (int i = 0; i < 200; ++i) {
    map.push_back(tagRGBQUAD{static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(255 - i),
                             static_cast<std::uint8_t>(i * 3), 99});
  }
  for (const Geometry& g : geometries()) {
    const std::size_t pad = layout::rgb24PadLength(g.w);
    const std::size_t storedStride = g.w + layout::indexedPadLength(g.w);
    const std::uint32_t frameSize = static_cast<std::uint32_t>(storedStride * g.h);
    const std::uint32_t rgb24Size = layout::rgb24FrameSize(g.w, g.h);
    ASSERT_TRUE(layout::fitsIndexed(g.w, g.h, frameSize, rgb24Size));
    auto buf = buffer(rgb24Size, stored(frameSize, 3));
    const auto before = buf;
    auto expected = buf;
    for (std::size_t r = 0; r < g.h; ++r)
      for (std::size_t c = 0; c < g.w; ++c) {
        const unsigned idx = before[r * storedStride + c];
        unsigned char* o = &expected[r * (3 * g.w + pad) + 3 * c];
        // Indices past the 200 entries give black.
        o[0] = idx < map.size() ? map[idx].rgbBlue : 0;
        o[1] = idx < map.size() ? map[idx].rgbGreen : 0;
        o[2] = idx < map.size() ? map[idx].rgbRed : 0;
      }
    if (pad == 0) {
      layout::indexedToRgb24(reinterpret_cast<char*>(buf.data()), frameSize, rgb24Size, map.data(), map.size());
    } else {
      layout::indexedToRgb24WPad(reinterpret_cast<char*>(buf.data()), g.w, g.h, rgb24Size, map.data(), map.size());
    }
    ASSERT_EQ(buf, expected) << g.w << "x" << g.h;
  }
}

}  // namespace
