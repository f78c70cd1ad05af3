// avi::File: filling videoIndex and audioIndex from the OpenDML indexes, from
// 'idx1', or by scanning the 'movi' list.
#include <boost/lexical_cast.hpp>
#include <boost/numeric/conversion/cast.hpp>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "avi/byte_order.h"
#include "avi/file_io.h"
#include "rivulet/avi.h"

namespace avi {

namespace {

constexpr unsigned int NO_STREAM = 256;

// Sizes of the OpenDML records past their 12-byte head: the standard index
// has its 8-byte base offset and a reserved word before 8-byte entries; the
// super index three reserved words before 16-byte entries.
constexpr std::uint64_t kIndexHead = 12;
constexpr std::uint64_t kIndexPreamble = 12;
constexpr std::uint64_t kStandardEntry = 8;
constexpr std::uint64_t kSuperEntry = 16;

// A super index normally names standard indexes directly; nesting deeper than
// this is taken as a loop.
constexpr unsigned int kMaxIndexDepth = 4;

// A chunk takes at least its 8-byte header, so a file of n bytes indexes at
// most n / 8 chunks.
constexpr std::uint64_t kMinChunkBytes = 8;

}  // namespace

unsigned int File::matchStreamNumber(const std::string& text, unsigned int audio, unsigned int video) {
  if (text.size() != 2) {
    return NO_STREAM;
  }
  int number;
  try {
    number = boost::lexical_cast<int>(text);
  } catch (const boost::bad_lexical_cast&) {
    return NO_STREAM;
  }
  if (number >= 0 && (static_cast<unsigned int>(number) == audio || static_cast<unsigned int>(number) == video)) {
    return static_cast<unsigned int>(number);
  }
  return NO_STREAM;
}

void File::addIndexEntry(std::uint64_t stream, unsigned int chunkId, unsigned int offset, unsigned int size,
                         std::uint64_t base) {
  // A video chunk of size 0 is a dropped frame; bit 31 set marks an OpenDML
  // delta frame, which is not masked and so refused as well.
  if (stream == videoStreamNumber && (size == 0 || size >= 0x7FFFFFFF)) {
    setError(errors::BAD_INDEX_ENTRY_SIZE);
    return;
  }
  addIndexEntry(chunkId, offset, size, base);
}

void File::addIndexEntry(std::uint64_t stream, const char* chunkId, unsigned int offset, unsigned int size,
                         std::uint64_t base) {
  if (stream == videoStreamNumber && size == 0) {
    setError(errors::BAD_INDEX_ENTRY_SIZE);
    return;
  }
  addIndexEntry(chunkId, offset, size, base);
}

void File::addIndexEntry(unsigned int chunkId, unsigned int offset, unsigned int size, std::uint64_t base) {
  addIndexEntry(encodeLE32(chunkId), offset, size, base);
}

void File::addIndexEntry(const char* chunkId, unsigned int offset, unsigned int size, std::uint64_t base) {
  // The kind of a chunk is told by its third and fourth characters alone.
  const char kind[2] = {chunkId[2], chunkId[3]};
  if (kind[0] == 'd' && (kind[1] == 'b' || kind[1] == 'c')) {
    videoIndex->emplace_back(offset, size, base);
    mainHeader.dwTotalFrames = boost::numeric_cast<std::uint32_t>(videoIndex->size());
    if (videoChunkSize == 0) {
      videoChunkSize = size;
    }
  } else if (kind[0] == 'w' && kind[1] == 'b') {
    audioIndex->emplace_back(offset, size, base);
    if (audioChunkSize == 0) {
      audioChunkSize = size;
    }
  }
}

void File::parseLegacyIndex() {
  if (idx1Offset == 0) {
    return;
  }
  io::seekTo(fileHandle, idx1Offset);
  unsigned char sizeField[4];
  if (!io::readExactly(fileHandle, sizeField, sizeof sizeField)) {
    setError(errors::FREAD_FAILED);
    return;
  }
  // Entries are read one at a time, so a count larger than the file ends in a
  // short read.
  const std::uint64_t entries = readChunkSize(sizeField) >> 4;
  if (entries == 0) {
    setError(errors::INVALID_LEGACY_INDEX);
    return;
  }
  for (std::uint64_t i = 0; i < entries; ++i) {
    unsigned char entry[16];
    if (!io::readExactly(fileHandle, entry, sizeof entry)) {
      setError(errors::LEGACY_INDEX_PARSE_ERROR);
      return;
    }
    // The flags at byte 4 are not used: key-frame and list marks have no effect.
    const std::uint32_t chunkId = readLE32(entry);
    const std::uint32_t offset = readLE32(entry + 8);
    const std::uint32_t size = readLE32(entry + 12);
    const unsigned int stream = matchStreamNumber(std::string(reinterpret_cast<const char*>(entry), 2),
                                                  audioStreamNumber, videoStreamNumber);
    if (stream == NO_STREAM) {
      continue;
    }
    // idx1 offsets point at the chunk header, counted from the 'movi' type.
    addIndexEntry(stream, chunkId, offset + 8, size, moviOffset);
    if (errorCode != 0) {
      return;
    }
  }
}

aviindex_chunk File::parseOpenDMLBaseIndex(const char* data) {
  aviindex_chunk head;
  head.wLongsPerEntry = readLE16(data);
  head.bIndexSubType = static_cast<std::uint8_t>(data[2]);
  head.bIndexType = static_cast<std::uint8_t>(data[3]);
  head.nEntriesInUse = readLE32(data + 4);
  head.dwChunkId = readLE32(data + 8);
  return head;
}

void File::parseStreamIndex(std::uint64_t stream, const char* data, std::uint64_t available) {
  if (stream != audioStreamNumber && stream != videoStreamNumber) {
    return;
  }
  // A head cut short by the end of its buffer is read as zeros.
  char head[kIndexHead] = {};
  std::memcpy(head, data, available < kIndexHead ? available : kIndexHead);
  const aviindex_chunk index = parseOpenDMLBaseIndex(head);
  if (errorCode != 0) {
    return;
  }
  const char* rest = data + (available < kIndexHead ? available : kIndexHead);
  const std::uint64_t restAvailable = available < kIndexHead ? 0 : available - kIndexHead;
  switch (index.bIndexType) {
    case 0:
      parseOpenDMLSuperIndex(stream, index, rest, restAvailable);
      break;
    case 1:
      parseOpenDMLStandardIndex(stream, index, rest, restAvailable);
      break;
    case 0x80:
      setError(errors::UNSUPPORTED_INDEX_TYPE);
      break;
    default:
      setError(errors::INVALID_INDEX);
      break;
  }
}

void File::parseOpenDMLSuperIndex(std::uint64_t stream, const aviindex_chunk& head, const char* data,
                                  std::uint64_t available) {
  // wLongsPerEntry and dwDuration are not used.
  const std::uint64_t room = available < kIndexPreamble ? 0 : (available - kIndexPreamble) / kSuperEntry;
  const std::uint64_t entries = head.nEntriesInUse < room ? head.nEntriesInUse : room;
  if (indexDepth >= kMaxIndexDepth) {
    setError(errors::INVALID_INDEX);
    return;
  }
  std::vector<char> buffer;
  const char* entry = data + kIndexPreamble;
  for (std::uint64_t i = 0; i < entries; ++i, entry += kSuperEntry) {
    const std::uint64_t offset = readLE64(entry);
    const std::uint32_t size = readLE32(entry + 8);
    // A chunk that the file does not hold in full is a short read; one too
    // small for its own header cannot be an index; and sub-indexes of one file
    // do not overlap, so together they cannot hold more bytes than the file.
    if (offset > streamLength || size > streamLength - offset) {
      setError(errors::FREAD_FAILED);
      return;
    }
    if (size < 8 + kIndexHead || size > streamLength - subIndexBytesRead) {
      setError(errors::INVALID_INDEX);
      return;
    }
    subIndexBytesRead += size;
    io::seekTo(fileHandle, offset);
    buffer.resize(size);
    if (!io::readExactly(fileHandle, buffer.data(), size)) {
      setError(errors::FREAD_FAILED);
      return;
    }
    // The first 8 bytes are the 'ix0N' chunk header. Each sub-index names its
    // own type, so nesting works.
    ++indexDepth;
    parseStreamIndex(stream, buffer.data() + 8, size - 8);
    --indexDepth;
    // parseStreamIndex stops at the next entry once a failure is stored.
  }
  if (head.nEntriesInUse > room && errorCode == 0) {
    setError(errors::INVALID_INDEX);
  }
}

void File::parseOpenDMLStandardIndex(std::uint64_t stream, const aviindex_chunk& head, const char* data,
                                     std::uint64_t available) {
  if (head.bIndexSubType != 0) {
    setError(errors::UNSUPPORTED_INDEX_TYPE);
    return;
  }
  if (available < kIndexPreamble) {
    setError(errors::INVALID_INDEX);
    return;
  }
  const std::uint64_t base = readLE64(data);
  const std::uint64_t room = (available - kIndexPreamble) / kStandardEntry;
  const std::uint64_t entries = head.nEntriesInUse < room ? head.nEntriesInUse : room;
  const std::uint64_t maxEntries = streamLength / kMinChunkBytes;
  const char* entry = data + kIndexPreamble;
  for (std::uint64_t i = 0; i < entries; ++i, entry += kStandardEntry) {
    if (videoIndex->size() + audioIndex->size() >= maxEntries) {
      setError(errors::INVALID_INDEX);
      return;
    }
    addIndexEntry(stream, head.dwChunkId, readLE32(entry), readLE32(entry + 4), base);
    if (errorCode != 0) {
      return;
    }
  }
  if (head.nEntriesInUse > room) {
    setError(errors::INVALID_INDEX);
  }
}

void File::verifyIndex() {
  if (videoPresent && videoIndex->empty()) {
    buildLegacyIndex(videoChunkTag);
    if (errorCode != 0) {
      return;
    }
  }
  if (audioPresent && audioIndex->empty()) {
    buildLegacyIndex(audioChunkTag);
  }
}

void File::buildLegacyIndex(const char* tag) {
  if (moviOffset < 4 || !io::seekTo(fileHandle, moviOffset - 4)) {
    setError(errors::SEEK_FAILED);
    return;
  }
  unsigned char list[8];
  if (!io::readExactly(fileHandle, list, sizeof list)) {
    setError(errors::FREAD_FAILED);
    return;
  }
  // The size counts the 4 bytes of the type already read, so 'end' lies 4 bytes
  // past the end of the list.
  const std::uint64_t end = readChunkSize(list) + io::position(fileHandle);
  const unsigned int tagStream = matchStreamNumber(std::string(tag, 2), audioStreamNumber, videoStreamNumber);
  for (;;) {
    if (io::position(fileHandle) >= end) {
      return;
    }
    unsigned char header[8];
    if (!io::readExactly(fileHandle, header, sizeof header)) {
      setError(errors::VIDEO_CHUNKS_MISSING);
      return;
    }
    const std::uint64_t size = readChunkSize(header + 4);
    if (isFourCC(header, tag)) {
      // Throws boost::numeric::positive_overflow past 4 GiB into the list.
      const std::uint32_t offset = boost::numeric_cast<std::uint32_t>(io::position(fileHandle) - moviOffset);
      if (tagStream == NO_STREAM) {
        continue;  // the chunk's data is read as the next header
      }
      addIndexEntry(tagStream, tag, offset, static_cast<std::uint32_t>(size), moviOffset);
      if (errorCode != 0) {
        return;
      }
    }
    // The scan steps with 32-bit seeks: a chunk of 2 GiB or more is beyond it.
    if (size > static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max()) ||
        !io::seekBy(fileHandle, static_cast<std::int64_t>(size))) {
      setError(errors::SEEK_FAILED);
      return;
    }
  }
}

}  // namespace avi
