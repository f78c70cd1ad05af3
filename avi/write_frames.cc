// avi::File, writing: the first pass. Each call puts one chunk into the movi
// list of the current RIFF segment; a segment closes before it would reach
// 2 GiB, and the next ("AVIX") opens behind it.
#include <boost/numeric/conversion/cast.hpp>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "avi/byte_order.h"
#include "avi/errors.h"
#include "avi/file_io.h"
#include "rivulet/avi.h"

namespace avi {

bool File::writeAt(std::uint64_t pos, const void* head, std::size_t headSize, const void* body,
                   std::size_t bodySize, std::size_t zeroPad) {
  static const char zeros[8] = {};
  iovec pieces[3] = {{const_cast<void*>(head), headSize},
                     {const_cast<void*>(body), bodySize},
                     {const_cast<char*>(zeros), zeroPad}};
  if (!io::writeAllAt(fileno(fileHandle), pos, pieces, 3)) {
    setError(errors::FWRITE_FAILED);
    writeFailed = true;
    return false;
  }
  return true;
}

// The guards every chunk passes: a file open for writing, the stream declared,
// no earlier write failure.
bool File::chunkWritable(bool streamDeclared) {
  if (!writerUsable()) {
    return false;
  }
  if (!streamDeclared) {
    setError(errors::STREAM_NOT_DECLARED);
    return false;
  }
  if (writeFailed) {
    setError(errors::WRITE_AFTER_FAILURE);
    return false;
  }
  return true;
}

void File::writeVideoFrame(char* data) {
  if (!chunkWritable(videoDeclared)) {
    return;
  }
  writeMoviEntry(data, videoChunkSize, videoChunkSize, videoChunkTag, *videoIndex);
}

void File::writeVideoFrame(char* data, unsigned int size) {
  if (!chunkWritable(videoDeclared)) {
    return;
  }
  if (videoChunkSize != 0 && size > videoChunkSize) {
    setError(errors::FRAME_TOO_LARGE);
    return;
  }
  writeMoviEntry(data, size, size, videoChunkTag, *videoIndex);
}

void File::writeAudio(char* data) {
  if (!chunkWritable(audioDeclared)) {
    return;
  }
  // The header states audioDataSize; an odd size is followed by a zero pad.
  writeMoviEntry(data, audioDataSize, audioChunkSize, audioChunkTag, *audioIndex);
}

// chunkSize is the size the chunk's header states, all of it taken from
// 'data'; dataSize is the room the chunk takes, the two differing only by the
// pad byte of an odd audio chunk.
void File::writeMoviEntry(const char* data, unsigned int chunkSize, unsigned int dataSize, const char* chunkId,
                          std::vector<IndexEntry>& index) {
  chunksWritten = true;
  updateRiffChunk(dataSize);
  if (writeFailed) {
    return;  // closing the segment failed: the chunk is not written
  }
  // The entry counts from the segment's movi FourCC to the chunk's id.
  index.push_back(IndexEntry(boost::numeric_cast<std::uint32_t>(writePos - moviOffset), chunkSize, moviOffset));
  char head[8];
  std::memcpy(head, chunkId, 4);
  putLE32(head + 4, chunkSize);
  // At most the one pad byte of an odd audio chunk (none where the even size
  // wrapped to 0).
  const std::uint32_t pad = dataSize > chunkSize ? 1 : 0;
  if (!writeAt(writePos, head, sizeof head, data, chunkSize, pad)) {
    // Dropped from the index: close writes the indexes over its remains.
    index.pop_back();
    return;
  }
  writePos += 8 + static_cast<std::uint64_t>(chunkSize) + pad;
  curMoviBytes += 8 + chunkSize + pad;
}

bool File::isFirstRiffChunk() { return videoSuperIndex->empty() && audioSuperIndex->empty(); }

// In a later segment, what its RIFF size field will hold (the segment starts
// 20 bytes before moviOffset and its frame is 8 bytes); in the first, the
// position itself.
unsigned int File::getCurRiffChunkSize() {
  const std::uint64_t size = isFirstRiffChunk() ? writePos : writePos - moviOffset + 12;
  return boost::numeric_cast<std::uint32_t>(size);
}

// The limit counts this chunk and the standard indexes of both streams, each
// with one entry more, also the stream that does not receive this chunk.
bool File::atRiffBoundary(unsigned long long dataSize) {
  std::uint64_t total = static_cast<std::uint64_t>(getCurRiffChunkSize()) + dataSize + 8;
  if (videoPresent) {
    total += 8 + static_cast<std::uint64_t>(getOpenDMLStandardIndexLength(videoIndex->size() + 1));
  }
  if (audioPresent) {
    total += 8 + static_cast<std::uint64_t>(getOpenDMLStandardIndexLength(audioIndex->size() + 1));
  }
  return total >= 0x80000000ull;
}

void File::updateRiffChunk(unsigned long long dataSize) {
  if (!atRiffBoundary(dataSize)) {
    return;
  }
  closeCurRiffChunk();
  if (writeFailed) {
    return;  // the segment stays open; close tries its indexes again
  }
  // Room for the next AVIX header, written when that segment closes.
  writePos += 24;
  moviOffset = writePos - 4;
}

void File::closeCurRiffChunk() {
  const bool first = isFirstRiffChunk();
  const std::size_t videoSupers = videoSuperIndex->size(), audioSupers = audioSuperIndex->size();
  // The ix0N chunks (video first) and, in the first segment, idx1: laid out
  // together and written at once.
  std::string out;
  if (videoPresent) {
    writeOpenDMLStandardIndex(out, videoChunkTag, videoStreamNumber, *videoIndex, *videoSuperIndex);
  }
  if (audioPresent) {
    writeOpenDMLStandardIndex(out, audioChunkTag, audioStreamNumber, *audioIndex, *audioSuperIndex);
  }
  if (first) {
    writeLegacyIndex(out);
  }
  if (!writeAt(writePos, out.data(), out.size())) {
    // The segment stays as it was, its entries kept for another try.
    videoSuperIndex->resize(videoSupers, SuperIndexEntry(0, 0, 0));
    audioSuperIndex->resize(audioSupers, SuperIndexEntry(0, 0, 0));
    return;
  }
  writePos += out.size();
  if (first) {
    legacyIndexWritten = true;
    firstRiffEnd = boost::numeric_cast<std::uint32_t>(writePos);
    firstRiffVideoEntries = boost::numeric_cast<std::uint32_t>(videoIndex->size());
    firstRiffAudioEntries = boost::numeric_cast<std::uint32_t>(audioIndex->size());
    firstRiffMoviBytes = curMoviBytes;
  } else {
    writeAVIXChunk();
    laterVideoFrames += boost::numeric_cast<std::uint32_t>(videoIndex->size());
  }
  videoIndex->clear();
  audioIndex->clear();
  curMoviBytes = 0;
}

// The 24 bytes left in front of a later segment: "RIFF", its size S, "AVIX",
// then the movi list frame, whose size is S - 12.
void File::writeAVIXChunk() {
  const std::uint32_t size = getCurRiffChunkSize();
  std::string out;
  writeList(out, "RIFF", size, "AVIX");
  writeList(out, "LIST", size - 12, "movi");
  writeAt(moviOffset - 20, out.data(), out.size());
}

}  // namespace avi
