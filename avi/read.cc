// avi::File: reading frames and audio through the index, and the frame layout
// conversions that turn a stored frame into 24-bit bottom-up rows in place.
#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

#include "avi/chunk_reader.h"
#include "avi/frame_layout.h"
#include "rivulet/avi.h"

namespace avi {

namespace {

// Reads 'count' bytes from byte 'into' of an entry's data. False when they
// cannot all be read: a short read, or a position that cannot be reached (a
// base near 2^64 must not wrap round to the start of the file).
bool readEntry(std::FILE* f, const IndexEntry& entry, std::uint64_t into, char* out, std::uint64_t count) {
  const std::uint64_t relative = static_cast<std::uint64_t>(entry.getOffset()) + into;
  if (entry.getBase() > std::numeric_limits<std::uint64_t>::max() - relative) {
    return false;
  }
  return io::readAt(f, out, count, entry.getBase() + relative);
}

}  // namespace

void File::readVideoFrame(char* buffer) { readVideoFrame(buffer, INVALID_FRAME_INDEX); }

void File::readVideoFrame(char* buffer, long long frame) {
  clearError();
  if (videoIndex->empty()) {
    setError(errors::VIDEO_CHUNKS_MISSING);
    return;
  }
  std::uint64_t n;
  if (frame == INVALID_FRAME_INDEX) {
    n = videoFramesRead;
    if (n == mainHeader.dwTotalFrames) {
      return;
    }
  } else {
    if (static_cast<long long>(mainHeader.dwTotalFrames) <= frame) {
      return;
    }
    if (frame < 0) {
      setError(errors::VIDEO_CHUNKS_MISSING);
      return;
    }
    n = static_cast<std::uint64_t>(frame);
  }
  // The header's count and the index agree once an entry is added; a count
  // left from the header (or a sequence run past it) can still name a frame
  // the index lacks.
  if (n >= videoIndex->size()) {
    setError(errors::VIDEO_CHUNKS_MISSING);
    return;
  }
  const IndexEntry& entry = (*videoIndex)[n];
  // Uncompressed frames all take the size of the first one.
  const bool uncompressed = storedAsRows();
  const std::uint32_t length = uncompressed ? videoChunkSize : entry.getSize();
  // Read at its own position, so nothing depends on where the stream stood; a
  // frame that cannot be reached is not read at all.
  if (!readEntry(fileHandle, entry, 0, buffer, length)) {
    setError(errors::FREAD_FAILED);
    return;
  }
  if (needsFlip && uncompressed) {
    convertFrameToBottomUp(buffer);
  }
  if (frame == INVALID_FRAME_INDEX) {
    ++videoFramesRead;
  }
}

void File::readRGB24VideoFrame(char* buffer) { readRGB24VideoFrame(buffer, INVALID_FRAME_INDEX); }

bool File::readUncompressedVideoFrame(char* buffer, long long frame) {
  if (!storedAsRows()) {
    setError(errors::COMPRESSED_VIDEO);
    return false;
  }
  readVideoFrame(buffer, frame);
  return errorCode == 0;
}

void File::readRGB24VideoFrame(char* buffer, long long frame) {
  if (!readUncompressedVideoFrame(buffer, frame)) {
    return;
  }
  // Past the end of the video nothing was read, and the buffer is converted
  // as it stands.
  if (!expandToRgb24(buffer)) {
    setError(errors::VIDEO_CHUNKS_MISSING);
  }
}

bool File::expandToRgb24(char* frame) {
  const std::uint32_t width = videoFormat.biWidth;
  const std::uint32_t height = videoFormat.biHeight;
  const std::uint32_t rgb24Size = getRGB24VideoFrameSize();
  // What the caller was asked to provide.
  const std::uint64_t capacity = std::max<std::uint64_t>(rgb24Size, videoChunkSize);
  const bool padded = getRgb24PadLength() != 0;
  switch (videoFormat.biBitCount) {
    case 2:
    case 4:
    case 8: {
      // One stored byte is one pixel at every depth: 2- and 4-bit frames are
      // not unpacked. Grey rows take their length from the frame's size, as
      // writers pad them (GStreamer, to four bytes) or not (ffmpeg); rows
      // shorter than the width make no frame of this geometry.
      const std::size_t trueStride = greyVideo && height != 0 ? videoChunkSize / height : 0;
      if ((greyVideo && height != 0 && trueStride < width) ||
          !layout::fitsIndexed(width, height, videoChunkSize, capacity, trueStride)) {
        return false;
      }
      if (padded || trueStride != 0) {
        layout::indexedToRgb24WPad(frame, width, height, rgb24Size, colormap.data(), colormap.size(), trueStride);
      } else {
        layout::indexedToRgb24(frame, videoChunkSize, rgb24Size, colormap.data(), colormap.size());
      }
      return true;
    }
    case 16: {
      // Tolerant reading takes odd-width rows with their true stride, 2 * width
      // rounded up to four bytes, as writers store them.
      const std::size_t trueStride = tolerantReading && (width & 1) ? (2 * static_cast<std::size_t>(width) + 3) / 4 * 4 : 0;
      if (!layout::fitsRgb555(width, height, videoChunkSize, capacity, trueStride)) {
        return false;
      }
      if (padded) {
        layout::rgb555ToRgb24WPad(frame, width, height, rgb24Size, trueStride);
      } else {
        layout::rgb555ToRgb24(frame, videoChunkSize, rgb24Size);
      }
      return true;
    }
    case 32:
      if (!layout::fitsRgb32(width, height, videoChunkSize, capacity)) {
        return false;
      }
      if (padded) {
        layout::rgb32ToRgb24WPad(frame, width, height);
      } else {
        layout::rgb32ToRgb24(frame, videoChunkSize);
      }
      return true;
    default:
      // 24 bits and all else stay as stored.
      return true;
  }
}

void File::readIndexedVideoFrame(char* buffer, long long frame) {
  if (!readUncompressedVideoFrame(buffer, frame)) {
    return;
  }
  // The frame has been read and the sequence moved on before the depth is
  // judged. No palette is applied.
  if (videoFormat.biBitCount != 8) {
    setError(errors::VIDEO_NOT_INDEXED);
  }
}

void File::readAudio(char* buffer, std::uint64_t count) {
  if (audioFormat.wFormatTag != 1) {
    setError(errors::COMPRESSED_AUDIO);
    return;
  }
  // The end comes from the stream header, not from the sum of the entries.
  // Nothing is delivered past it, so the end is reached even when the chunks
  // hold more than the stream header counts.
  const std::uint64_t total = getAudioTotalBytes();
  if (audioBytesRead >= total) {
    return;
  }
  std::uint64_t delivered = 0;
  std::uint64_t remaining = count;
  while (remaining > 0) {
    if (audioEntryNumber >= audioIndex->size()) {
      // The index holds fewer bytes than the stream header promises.
      setError(errors::AUDIO_CHUNKS_MISSING);
      return;
    }
    const IndexEntry& entry = (*audioIndex)[audioEntryNumber];
    const std::uint64_t left = entry.getSize() - std::min<std::uint64_t>(audioEntryPos, entry.getSize());
    const std::uint64_t take = std::min({left, remaining, total - audioBytesRead});
    if (!readEntry(fileHandle, entry, audioEntryPos, buffer + delivered, take)) {
      setError(errors::AUDIO_CHUNKS_MISSING);
      return;
    }
    audioBytesRead += take;
    audioEntryPos += take;
    delivered += take;
    remaining -= take;
    if (audioBytesRead == total) {
      std::memset(buffer + delivered, 0, remaining);
      return;
    }
    if (audioEntryPos >= entry.getSize()) {
      audioEntryPos = 0;
      ++audioEntryNumber;
    }
  }
}

void File::resetAudio() {
  audioEntryNumber = 0;
  audioBytesRead = 0;
  audioEntryPos = 0;
}

unsigned int File::getRawVideoFrameSize(long long frame) {
  if (static_cast<long long>(mainHeader.dwTotalFrames) <= frame) {
    return 0;
  }
  if (frame < 0 || static_cast<std::uint64_t>(frame) >= videoIndex->size()) {
    setError(errors::VIDEO_CHUNKS_MISSING);
    return 0;
  }
  return (*videoIndex)[static_cast<std::size_t>(frame)].getSize();
}

unsigned int File::getRGB24VideoFrameSize() {
  const unsigned int bits = videoFormat.biBitCount;
  const std::uint32_t padded = layout::rgb24FrameSize(videoFormat.biWidth, videoFormat.biHeight);
  if (fileMode == MODE_READ) {
    if (bits == 2 || bits == 4 || bits == 8 || bits == 16) {
      // A header whose frame the file cannot hold asks for no buffer.
      return headerFrameFitsFile() ? padded : 0;
    }
    if (bits == 24 || bits == 32) {
      return videoChunkSize;
    }
    return 0;
  }
  return bits == 24 ? padded : 0;
}

unsigned int File::getIndexedVideoFrameSize() {
  if (videoFormat.biBitCount != 8 || (fileMode == MODE_READ && !headerFrameFitsFile())) {
    return 0;
  }
  return videoFormat.biHeight * (videoFormat.biWidth + getIndexedPadLength());
}

unsigned int File::getRgb24PadLength() { return layout::rgb24PadLength(videoFormat.biWidth); }

unsigned int File::getRgb555PadLength() { return layout::rgb555PadLength(videoFormat.biWidth); }

unsigned int File::getIndexedPadLength() { return layout::indexedPadLength(videoFormat.biWidth); }

void File::convertFrameToBottomUp(char* frame) {
  layout::convertFrameToBottomUp(frame, videoChunkSize, videoFormat.biHeight, rowBuffer, rowBufferSize);
}

}  // namespace avi
