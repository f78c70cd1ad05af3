// Internals of the AVI reader: byte-order helpers, the texts of the stored
// failures, and the frame layout kernels against plain reference forms.
#include <gtest/gtest.h>

#include <boost/lexical_cast.hpp>

#include <cstring>
#include <string>
#include <vector>

#include "avi/byte_order.h"
#include "avi/errors.h"
#include "avi/frame_layout.h"
#include "avi/stream_number.h"

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
  EXPECT_EQ(errors::message(errors::RIFF_CHUNK_MISSING, "f.avi"),
            "'f.avi' is not a valid AVI file (RIFF chunk is missing)");
  EXPECT_EQ(errors::message(errors::OPEN_FAILED, ""), "Unable to open AVI file ('')");
  EXPECT_EQ(errors::message(errors::NONE, ""), "Unknown error (0)");
  EXPECT_EQ(errors::message(errors::RESERVED_43, ""), "Unknown error (2b)");
  EXPECT_EQ(errors::message(errors::BAD_INDEX_ENTRY_SIZE, ""), "Unknown error (2d)");
  EXPECT_EQ(errors::message(static_cast<errors::error_T>(100), ""), "Unknown error (64)");
  EXPECT_EQ(errors::message(errors::FRAME_COUNT_MISMATCH, ""),
            "Number of frames reported in the AVI header does not match number of ##db chunks");
  EXPECT_EQ(errors::message(errors::VIDEO_NOT_INDEXED, ""), "Read attempted for a video that is not indexed");
}

// The hand-written reading of a stream number agrees with the text-to-number
// conversion it replaces on every two-byte text.
TEST(AviStreamNumber, AgreesWithLexicalCastOnEveryTwoBytes) {
  for (int a = 0; a < 256; ++a) {
    for (int b = 0; b < 256; ++b) {
      const char text[2] = {static_cast<char>(a), static_cast<char>(b)};
      int reference = 0;
      bool ok = true;
      try {
        reference = boost::lexical_cast<int>(std::string(text, 2));
      } catch (const boost::bad_lexical_cast&) {
        ok = false;
      }
      int number = -1;
      ASSERT_EQ(parseStreamNumber(text, &number), ok) << a << ' ' << b;
      if (ok) {
        ASSERT_EQ(number, reference) << a << ' ' << b;
      }
    }
  }
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

// Reference forms, one geometry and depth at a time: the stored frame kept
// apart, the destination written by formula. The buffer is what the caller was
// asked for, pre-filled with a pattern that shows untouched padding and
// anything written past it. Depth 0 stands for 8-bit grey rows stored
// unpadded, taken at their true stride.
TEST(AviLayout, ExpansionsMatchReference) {
  std::vector<tagRGBQUAD> map;  // 200 entries: indices past them give black
  for (int i = 0; i < 200; ++i) {
    const auto b = static_cast<std::uint8_t>(i);
    map.push_back({b, static_cast<std::uint8_t>(255 - b), static_cast<std::uint8_t>(b * 3), 99});
  }
  std::vector<std::pair<std::uint32_t, std::uint32_t>> sizes = {{67, 3}, {64, 2}, {33, 5}, {48, 3}, {100, 2}, {17, 9}};
  for (std::uint32_t w = 1; w <= 13; ++w)
    for (std::uint32_t h = 1; h <= 4; ++h) sizes.emplace_back(w, h);
  for (const auto& [w, h] : sizes) {
    for (const int bits : {32, 16, 8, 0}) {
      SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h) + "@" + std::to_string(bits));
      const std::size_t pad = (4 - 3 * w % 4) % 4, row = 3 * w + pad;
      const std::size_t storedRow = bits == 0 ? w : (bits * w / 8 + 3) / 4 * 4;  // rows padded to 4 bytes
      const auto frameSize = static_cast<std::uint32_t>(storedRow * h), rgb24Size = static_cast<std::uint32_t>(row * h);
      const std::size_t capacity = std::max(frameSize, rgb24Size);
      std::vector<unsigned char> buf(capacity);
      for (std::size_t i = 0; i < capacity; ++i) {
        buf[i] = static_cast<unsigned char>(i < frameSize ? (i * 37 + w * 11 + (i >> 8)) : (0xA0 ^ (i * 13)));
      }
      // Only a 16-bit frame of width 1 and three or more rows runs out of the
      // buffer: the stride of an odd width is 2 * (width + 2).
      const bool fits = bits == 32   ? layout::fitsRgb32(w, h, frameSize, capacity)
                        : bits == 16 ? layout::fitsRgb555(w, h, frameSize, capacity)
                                     : layout::fitsIndexed(w, h, frameSize, capacity, bits == 0 ? w : 0);
      ASSERT_EQ(fits, !(bits == 16 && w == 1 && h >= 3));
      if (!fits) continue;
      const auto src = buf;
      auto expected = buf;
      for (std::size_t r = 0; r < h; ++r) {
        for (std::size_t c = 0; c < w; ++c) {
          unsigned char* o = &expected[r * row + 3 * c];
          if (bits == 32) {
            std::copy_n(&src[(r * w + c) * 4], 3, o);
          } else if (bits == 16) {
            // Without 24-bit padding the pixels are taken as one run.
            const std::size_t at = pad == 0 ? 2 * (r * w + c) : r * 2 * (w + w % 2 * 2) + 2 * c;
            const unsigned p = src[at] | src[at + 1] << 8;
            o[0] = (p << 3) & 0xF8, o[1] = (p >> 2) & 0xF8, o[2] = (p >> 7) & 0xF8;
          } else {
            const unsigned i = src[r * storedRow + c];
            const tagRGBQUAD q = i < map.size() ? map[i] : tagRGBQUAD{0, 0, 0, 0};
            o[0] = q.rgbBlue, o[1] = q.rgbGreen, o[2] = q.rgbRed;
          }
        }
      }
      char* frame = reinterpret_cast<char*>(buf.data());
      if (bits == 32) {
        pad == 0 ? layout::rgb32ToRgb24(frame, frameSize) : layout::rgb32ToRgb24WPad(frame, w, h);
        // Row padding keeps the stored bytes that lie there in place; bytes
        // past the 24-bit frame keep what the shrinking walk left.
        expected.resize(rgb24Size);
        buf.resize(rgb24Size);
      } else if (bits == 16) {
        pad == 0 ? layout::rgb555ToRgb24(frame, frameSize, rgb24Size)
                 : layout::rgb555ToRgb24WPad(frame, w, h, rgb24Size);
      } else if (bits == 0) {
        layout::indexedToRgb24WPad(frame, w, h, rgb24Size, map.data(), map.size(), w);
      } else {
        pad == 0 ? layout::indexedToRgb24(frame, frameSize, rgb24Size, map.data(), map.size())
                 : layout::indexedToRgb24WPad(frame, w, h, rgb24Size, map.data(), map.size());
      }
      ASSERT_EQ(buf, expected);
    }
  }
}

}  // namespace
