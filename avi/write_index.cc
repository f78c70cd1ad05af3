// avi::File, writing: the indexes. idx1 for the first segment, one OpenDML
// standard index (ix0N) per stream at the end of each movi list, and one super
// index (indx) per stream in the headers. Each is laid out in memory; its
// caller writes it.
#include <boost/numeric/conversion/cast.hpp>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "avi/byte_order.h"
#include "rivulet/avi.h"

namespace avi {

void File::populateOpenDMLBaseIndex(aviindex_chunk& chunk, const char* chunkId, unsigned short longsPerEntry,
                                    unsigned char indexType, unsigned int entriesInUse) {
  chunk.wLongsPerEntry = longsPerEntry;
  chunk.bIndexSubType = 0;
  chunk.bIndexType = indexType;
  chunk.nEntriesInUse = entriesInUse;
  chunk.dwChunkId = readLE32(chunkId);
}

void File::copyOpenDMLBaseIndex2Buf(const aviindex_chunk& chunk, char* const buffer) {
  putLE16(buffer, chunk.wLongsPerEntry);
  buffer[2] = static_cast<char>(chunk.bIndexSubType);
  buffer[3] = static_cast<char>(chunk.bIndexType);
  putLE32(buffer + 4, chunk.nEntriesInUse);
  putLE32(buffer + 8, chunk.dwChunkId);
}

// 2 longs an entry and type 1 for a standard index; 4 and type 0 for a super
// index.
void File::writeOpenDMLBaseIndex(std::string& out, const char* chunkId, unsigned short longsPerEntry,
                                 unsigned char indexType, unsigned int entriesInUse) {
  aviindex_chunk chunk;
  populateOpenDMLBaseIndex(chunk, chunkId, longsPerEntry, indexType, entriesInUse);
  char bytes[12];
  copyOpenDMLBaseIndex2Buf(chunk, bytes);
  out.append(bytes, 12);
}

// 'out' is written at writePos, so the chunk stands at writePos + out.size().
void File::writeOpenDMLStandardIndex(std::string& out, const char* chunkId, unsigned int streamNumber,
                                     const std::vector<IndexEntry>& entries,
                                     std::vector<SuperIndexEntry>& superIndex) {
  const std::uint64_t position = writePos + out.size();
  const std::uint32_t n = boost::numeric_cast<std::uint32_t>(entries.size());
  char id[16];
  std::snprintf(id, sizeof id, "ix0%d", boost::numeric_cast<std::int32_t>(streamNumber));
  writeChunk(out, id, getOpenDMLStandardIndexLength(n));
  writeOpenDMLBaseIndex(out, chunkId, 2, 1, n);
  // An empty index has no first entry to take the base from: the segment's
  // own movi position serves.
  char base[12] = {};
  putLE64(base, n == 0 ? moviOffset : entries[0].getBase());
  out.append(base, 12);  // qwBaseOffset, then 4 reserved zero bytes
  const std::size_t at = out.size();
  out.resize(at + 8 * static_cast<std::size_t>(n));
  char* p = &out[at];
  for (const IndexEntry& e : entries) {
    // To the chunk's data: 8 bytes past its id, which the entry counts to.
    putLE32(p, e.getOffset() + 8);
    putLE32(p + 4, e.getSize());
    p += 8;
  }
  // The duration is the entry count, times the sample size where the stream
  // has one (audio): chunks times bytes per sample frame.
  const std::uint32_t sampleSize = streamHeaders[streamNumber].dwSampleSize;
  superIndex.push_back(SuperIndexEntry(position, 32 + 8 * n, sampleSize != 0 ? n * sampleSize : n));
}

void File::writeOpenDMLSuperIndex(std::string& out, const char* chunkId,
                                  const std::vector<SuperIndexEntry>& superIndex) {
  const std::uint32_t n = boost::numeric_cast<std::uint32_t>(superIndex.size());
  writeChunk(out, "indx", getOpenDMLSuperIndexLength(n));
  writeOpenDMLBaseIndex(out, chunkId, 4, 0, n);
  out.append(12, '\0');
  const std::size_t at = out.size();
  out.resize(at + 16 * static_cast<std::size_t>(n));
  char* p = &out[at];
  for (const SuperIndexEntry& e : superIndex) {
    putLE64(p, e.getOffset());
    putLE32(p + 8, e.getSize());
    putLE32(p + 12, e.getDuration());
    p += 16;
  }
}

// All video entries, then all audio entries; each offset names the chunk's id
// and no key-frame flag is set.
void File::writeLegacyIndex(std::string& out) {
  writeChunk(out, "idx1", getLegacyIndexLength());
  const auto put = [&out](const char* tag, const std::vector<IndexEntry>& entries) {
    const std::size_t at = out.size();
    out.resize(at + 16 * entries.size());
    char* p = &out[at];
    for (const IndexEntry& e : entries) {
      std::copy_n(tag, 4, p);
      putLE32(p + 4, 0);
      putLE32(p + 8, e.getOffset());
      putLE32(p + 12, e.getSize());
      p += 16;
    }
  };
  if (videoPresent) {
    put(videoChunkTag, *videoIndex);
  }
  if (audioPresent) {
    put(audioChunkTag, *audioIndex);
  }
}

}  // namespace avi
