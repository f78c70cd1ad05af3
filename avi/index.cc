// avi::File: filling videoIndex and audioIndex from the OpenDML indexes, from
// 'idx1', or by scanning the 'movi' list.
#include <algorithm>
#include <boost/numeric/conversion/cast.hpp>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "avi/byte_order.h"
#include "avi/chunk_reader.h"
#include "avi/file_io.h"
#include "avi/stream_number.h"
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

// Appends with growth by half rather than doubling: a vector being moved to
// larger storage then takes at most 2.5 times its contents, not 3 times.
void appendEntry(std::vector<IndexEntry>& index, const IndexEntry& entry) {
  if (index.size() == index.capacity()) {
    index.reserve(index.capacity() + index.capacity() / 2 + 16);
  }
  index.push_back(entry);
}

// Makes room for 'more' entries at once, where their count has been checked
// against the file.
void reserveMore(std::vector<IndexEntry>& index, std::uint64_t more) {
  if (index.capacity() - index.size() < more) {
    index.reserve(index.size() + more);
  }
}

}  // namespace

unsigned int File::matchStreamNumber(const std::string& text, unsigned int audio, unsigned int video) {
  if (text.size() != 2) {
    return NO_STREAM;
  }
  return matchStreamNumber(text.data(), audio, video);
}

unsigned int File::matchStreamNumber(const char* two, unsigned int audio, unsigned int video) {
  // Read as a signed decimal with nothing left over; parsed by hand, as an
  // exception per entry would make a hostile index slow to reject.
  int number;
  if (!parseStreamNumber(two, &number)) {
    return NO_STREAM;
  }
  if (number >= 0 && (static_cast<unsigned int>(number) == audio || static_cast<unsigned int>(number) == video)) {
    return static_cast<unsigned int>(number);
  }
  return NO_STREAM;
}

bool File::entrySizeFitsFile(const char* chunkId, unsigned int size) {
  // A chunk's data cannot be larger than the file; entries the reader would not
  // keep are not judged.
  const bool kept = (chunkId[2] == 'd' && (chunkId[3] == 'b' || chunkId[3] == 'c')) ||
                    (chunkId[2] == 'w' && chunkId[3] == 'b');
  return fileMode != 0 || !kept || size <= streamLength;
}

void File::addIndexEntry(std::uint64_t stream, unsigned int chunkId, unsigned int offset, unsigned int size,
                         std::uint64_t base) {
  // A video chunk of size 0 is a dropped frame; bit 31 set marks an OpenDML
  // delta frame, which is not masked and so refused as well.
  if (stream == videoStreamNumber && (size == 0 || size >= 0x7FFFFFFF)) {
    setError(errors::BAD_INDEX_ENTRY_SIZE);
    return;
  }
  addIndexEntry(stream, encodeLE32(chunkId), offset, size, base);
}

void File::addIndexEntry(std::uint64_t stream, const char* chunkId, unsigned int offset, unsigned int size,
                         std::uint64_t base) {
  if ((stream == videoStreamNumber && size == 0) || !entrySizeFitsFile(chunkId, size)) {
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
    appendEntry(*videoIndex, IndexEntry(offset, size, base));
    mainHeader.dwTotalFrames = boost::numeric_cast<std::uint32_t>(videoIndex->size());
    if (videoChunkSize == 0) {
      videoChunkSize = size;
    }
  } else if (kind[0] == 'w' && kind[1] == 'b') {
    appendEntry(*audioIndex, IndexEntry(offset, size, base));
    if (audioChunkSize == 0) {
      audioChunkSize = size;
    }
  }
}

void File::parseLegacyIndex() {
  if (idx1Offset == 0) {
    return;
  }
  io::ChunkReader reader(fileHandle, streamLength);
  reader.seek(idx1Offset);
  unsigned char sizeField[4];
  if (!reader.read(sizeField, sizeof sizeField)) {
    setError(errors::FREAD_FAILED);
    return;
  }
  const std::uint64_t entries = readChunkSize(sizeField) >> 4;
  if (entries == 0) {
    setError(errors::INVALID_LEGACY_INDEX);
    return;
  }
  // Room for the entries the file can hold, in each list that can take them;
  // a count past that ends in a short read below.
  const std::uint64_t after = idx1Offset + 4u;
  const std::uint64_t held = std::min<std::uint64_t>(entries, streamLength > after ? (streamLength - after) / 16 : 0);
  if (videoPresent) reserveMore(*videoIndex, held);
  if (audioPresent) reserveMore(*audioIndex, held);
  const std::uint64_t base = tolerantReading && legacyIndexIsAbsolute(entries) ? 0 : moviOffset;
  for (std::uint64_t i = 0; i < entries; ++i) {
    const unsigned char* entry = reader.next(16);
    if (entry == nullptr) {
      setError(errors::LEGACY_INDEX_PARSE_ERROR);
      return;
    }
    // The flags at byte 4 are not used: key-frame and list marks have no effect.
    const unsigned int stream =
        matchStreamNumber(reinterpret_cast<const char*>(entry), audioStreamNumber, videoStreamNumber);
    if (stream == NO_STREAM) {
      continue;
    }
    // idx1 offsets point at the chunk header, counted from the 'movi' type.
    addIndexEntry(stream, readLE32(entry), readLE32(entry + 8) + 8, readLE32(entry + 12), base);
    if (errorCode != 0) {
      return;
    }
  }
}

bool File::legacyIndexIsAbsolute(std::uint64_t entries) {
  // Decided on the first entry of a kept stream, video before audio: taken
  // relative to 'movi' its offset must name a chunk header with the entry's
  // id; when it does not and taken as a file position it does, every offset
  // is a file position (as GStreamer writes them).
  io::ChunkReader reader(fileHandle, streamLength);
  reader.seek(idx1Offset + 4u);
  std::uint32_t offset = 0;
  unsigned char id[4] = {};
  bool found = false;
  for (std::uint64_t i = 0; i < entries; ++i) {
    const unsigned char* entry = reader.next(16);
    if (entry == nullptr) {
      break;
    }
    if (matchStreamNumber(reinterpret_cast<const char*>(entry), audioStreamNumber, videoStreamNumber) == NO_STREAM) {
      continue;
    }
    const bool video = entry[2] == 'd' && (entry[3] == 'b' || entry[3] == 'c');
    const bool audio = entry[2] == 'w' && entry[3] == 'b';
    if ((video || (audio && !found))) {
      offset = readLE32(entry + 8);
      std::memcpy(id, entry, 4);
      found = true;
      if (video) {
        break;
      }
    }
  }
  if (!found) {
    return false;
  }
  unsigned char there[4];
  const bool relative = io::readAt(fileHandle, there, 4, moviOffset + offset) && std::memcmp(there, id, 4) == 0;
  return !relative && io::readAt(fileHandle, there, 4, offset) && std::memcmp(there, id, 4) == 0;
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

void File::parseStreamIndex(std::uint64_t stream, io::ChunkReader& reader, std::uint64_t available) {
  if (stream != audioStreamNumber && stream != videoStreamNumber) {
    return;
  }
  // A head cut short by the end of its chunk is read as zeros.
  char head[kIndexHead] = {};
  const std::uint64_t headBytes = std::min(available, kIndexHead);
  if (!reader.read(head, headBytes)) {
    setError(errors::FREAD_FAILED);
    return;
  }
  const aviindex_chunk index = parseOpenDMLBaseIndex(head);
  if (errorCode != 0) {
    return;
  }
  const std::uint64_t restAvailable = available - headBytes;
  switch (index.bIndexType) {
    case 0:
      parseOpenDMLSuperIndex(stream, index, reader, restAvailable);
      break;
    case 1:
      parseOpenDMLStandardIndex(stream, index, reader, restAvailable);
      break;
    case 0x80:
      setError(errors::UNSUPPORTED_INDEX_TYPE);
      break;
    default:
      setError(errors::INVALID_INDEX);
      break;
  }
}

void File::parseOpenDMLSuperIndex(std::uint64_t stream, const aviindex_chunk& head, io::ChunkReader& reader,
                                  std::uint64_t available) {
  // wLongsPerEntry and dwDuration are not used.
  const std::uint64_t room = available < kIndexPreamble ? 0 : (available - kIndexPreamble) / kSuperEntry;
  const std::uint64_t entries = std::min<std::uint64_t>(head.nEntriesInUse, room);
  if (indexDepth >= kMaxIndexDepth) {
    setError(errors::INVALID_INDEX);
    return;
  }
  const std::uint64_t first = reader.position() + kIndexPreamble;
  // A chunk that the file does not hold in full is a short read; one too small
  // for its own header cannot be an index; and sub-indexes of one file do not
  // overlap, so together they cannot hold more bytes than the file.
  auto inFile = [&](std::uint64_t offset, std::uint32_t size) {
    return offset <= streamLength && size <= streamLength - offset;
  };
  if (indexDepth == 0) {
    // Room for every entry the sub-indexes can hold, made once: their sizes are
    // bounded by the file. Their entries go to the list that the stream's
    // chunk id names.
    std::uint64_t total = 0;
    reader.seek(first);
    for (std::uint64_t i = 0; i < entries; ++i) {
      const unsigned char* entry = reader.next(kSuperEntry);
      if (entry == nullptr) {
        break;
      }
      const std::uint32_t size = readLE32(entry + 8);
      if (!inFile(readLE64(entry), size)) {
        break;
      }
      if (size >= 8 + kIndexHead + kIndexPreamble) {
        total += (size - 8 - kIndexHead - kIndexPreamble) / kStandardEntry;
      }
      if (total > streamLength / kMinChunkBytes) {
        break;
      }
    }
    total = std::min(total, streamLength / kMinChunkBytes);
    const char* id = encodeLE32(head.dwChunkId);
    if (id[2] == 'd' && (id[3] == 'b' || id[3] == 'c')) {
      reserveMore(*videoIndex, total);
    } else if (id[2] == 'w' && id[3] == 'b') {
      reserveMore(*audioIndex, total);
    }
  }
  for (std::uint64_t i = 0; i < entries; ++i) {
    reader.seek(first + i * kSuperEntry);
    unsigned char entry[kSuperEntry];
    if (!reader.read(entry, sizeof entry)) {
      setError(errors::FREAD_FAILED);
      return;
    }
    const std::uint64_t offset = readLE64(entry);
    const std::uint32_t size = readLE32(entry + 8);
    if (!inFile(offset, size)) {
      // A file cut short loses the indexes written at the end of its lists;
      // tolerant reading keeps what came before and lets the scan find the
      // rest.
      if (!tolerantReading) {
        setError(errors::FREAD_FAILED);
      }
      return;
    }
    if (size < 8 + kIndexHead || size > streamLength - subIndexBytesRead) {
      setError(errors::INVALID_INDEX);
      return;
    }
    subIndexBytesRead += size;
    // The first 8 bytes are the 'ix0N' chunk header. Each sub-index names its
    // own type, so nesting works.
    reader.seek(offset + 8);
    ++indexDepth;
    parseStreamIndex(stream, reader, size - 8);
    --indexDepth;
    // parseStreamIndex stops at the next entry once a failure is stored.
  }
  if (head.nEntriesInUse > room && errorCode == 0) {
    setError(errors::INVALID_INDEX);
  }
}

void File::parseOpenDMLStandardIndex(std::uint64_t stream, const aviindex_chunk& head, io::ChunkReader& reader,
                                     std::uint64_t available) {
  if (head.bIndexSubType != 0) {
    setError(errors::UNSUPPORTED_INDEX_TYPE);
    return;
  }
  if (available < kIndexPreamble) {
    setError(errors::INVALID_INDEX);
    return;
  }
  unsigned char preamble[kIndexPreamble];
  if (!reader.read(preamble, sizeof preamble)) {
    setError(errors::FREAD_FAILED);
    return;
  }
  const std::uint64_t base = readLE64(preamble);
  const std::uint64_t room = (available - kIndexPreamble) / kStandardEntry;
  const std::uint64_t entries = std::min<std::uint64_t>(head.nEntriesInUse, room);
  const std::uint64_t maxEntries = streamLength / kMinChunkBytes;
  const char* id = encodeLE32(head.dwChunkId);
  if (id[2] == 'd' && (id[3] == 'b' || id[3] == 'c')) {
    reserveMore(*videoIndex, std::min(entries, maxEntries));
  } else if (id[2] == 'w' && id[3] == 'b') {
    reserveMore(*audioIndex, std::min(entries, maxEntries));
  }
  for (std::uint64_t i = 0; i < entries; ++i) {
    if (videoIndex->size() + audioIndex->size() >= maxEntries) {
      setError(errors::INVALID_INDEX);
      return;
    }
    const unsigned char* entry = reader.next(kStandardEntry);
    if (entry == nullptr) {
      setError(errors::FREAD_FAILED);
      return;
    }
    // Bit 31 of the size marks a frame that is not a key frame; tolerant
    // reading masks it.
    const std::uint32_t size = readLE32(entry + 4) & (tolerantReading ? 0x7FFFFFFFu : 0xFFFFFFFFu);
    addIndexEntry(stream, head.dwChunkId, readLE32(entry), size, base);
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
  // Tolerant reading counts only the frames that chunks hold, not the
  // header's promise.
  if (tolerantReading && videoPresent && videoIndex->empty()) {
    mainHeader.dwTotalFrames = 0;
  }
}

void File::buildLegacyIndex(const char* tag) {
  if (moviOffset < 4) {
    setError(errors::SEEK_FAILED);
    return;
  }
  // Chunk headers come from a block buffer: a 'movi' list of many small chunks
  // costs no system call per chunk.
  io::ChunkReader reader(fileHandle, streamLength);
  reader.seek(moviOffset - 4);
  const unsigned char* list = reader.next(8);
  if (list == nullptr) {
    setError(errors::FREAD_FAILED);
    return;
  }
  // The size counts the 4 bytes of the type already read, so 'end' lies 4 bytes
  // past the end of the list.
  const std::uint64_t end = readChunkSize(list) + reader.position();
  const unsigned int tagStream = matchStreamNumber(tag, audioStreamNumber, videoStreamNumber);
  // Tolerant reading also takes video chunks of the compressed form ("00dc",
  // as raw video is often tagged), stops at the end of the file whatever the
  // list's size says, and drops a last chunk that the file cuts short.
  char other[5] = {tag[0], tag[1], tag[2], tag[3], 0};
  if (tolerantReading && tag[2] == 'd' && tag[3] == 'b') {
    other[3] = 'c';
  }
  const std::uint64_t stop = tolerantReading ? std::min(end, streamLength) : end;
  auto matches = [&](const unsigned char* h) { return isFourCC(h, tag) || isFourCC(h, other); };
  constexpr std::uint64_t kMaxStep = std::numeric_limits<std::int32_t>::max();
  for (;;) {
    if (reader.position() >= stop) {
      return;
    }
    // A fast run over the headers that lie whole in the buffer and need nothing
    // but a step: not the tag, and a size the scan can step over.
    std::size_t have = 0;
    const unsigned char* window = reader.window(&have);
    const std::uint64_t limit = stop - reader.position();
    std::uint64_t at = 0;
    while (at < limit && have >= 8 && at <= have - 8) {
      const unsigned char* h = window + at;
      const std::uint64_t size = readChunkSize(h + 4);
      if (matches(h) || size > kMaxStep) {
        break;
      }
      at += 8 + size;
    }
    if (at > 0) {
      reader.skip(at);
      continue;
    }
    const unsigned char* header = reader.next(8);
    if (header == nullptr) {
      if (!tolerantReading) {
        setError(errors::VIDEO_CHUNKS_MISSING);
      }
      return;
    }
    const std::uint64_t size = readChunkSize(header + 4);
    if (matches(header)) {
      if (tolerantReading && readLE32(header + 4) > streamLength - std::min(streamLength, reader.position())) {
        return;  // cut short by the end of the file
      }
      // Throws boost::numeric::positive_overflow past 4 GiB into the list.
      const std::uint32_t offset = boost::numeric_cast<std::uint32_t>(reader.position() - moviOffset);
      if (tagStream == NO_STREAM) {
        continue;  // the chunk's data is read as the next header
      }
      addIndexEntry(tagStream, tag, offset, static_cast<std::uint32_t>(size), moviOffset);
      if (errorCode != 0) {
        return;
      }
    }
    // The scan steps with 32-bit seeks: a chunk of 2 GiB or more is beyond it.
    if (size > kMaxStep || !reader.skip(size)) {
      setError(errors::SEEK_FAILED);
      return;
    }
  }
}

}  // namespace avi
