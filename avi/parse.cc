// avi::File: walking the RIFF structure and parsing the headers.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <vector>

#include "avi/byte_order.h"
#include "avi/chunk_reader.h"
#include "avi/file_io.h"
#include "rivulet/avi.h"

namespace avi {

namespace {

// The top-level walk positions and steps in signed 32 bits: it reaches the
// first 2 GiB of a file.
constexpr std::uint64_t kWalkReach = std::numeric_limits<std::int32_t>::max();

// Bytes a 'strh' or 'strf' record may be decoded from: the longest stream
// header is 64 bytes and covers the 40-byte bitmap and 18-byte wave formats.
constexpr std::size_t kRecordScratch = 64;

}  // namespace

void File::parseFile() {
  subIndexBytesRead = 0;
  indexDepth = 0;
  // The length of the file bounds every size read from it.
  streamLength = 0;
  if (fseeko(fileHandle, 0, SEEK_END) == 0) {
    const std::uint64_t end = io::position(fileHandle);
    streamLength = end == std::numeric_limits<std::uint64_t>::max() ? 0 : end;
  }
  unsigned char riff[12];
  if (!io::seekTo(fileHandle, 0) || !io::readExactly(fileHandle, riff, sizeof riff)) {
    setError(errors::FREAD_FAILED);
    return;
  }
  if (!isFourCC(riff, "RIFF")) {
    setError(errors::RIFF_CHUNK_MISSING);
    return;
  }
  if (isFourCC(riff + 8, "WAVE")) {
    setError(errors::WAVE_UNSUPPORTED);
    return;
  }
  if (!isFourCC(riff + 8, "AVI ")) {
    setError(errors::AVI_CHUNK_MISSING);
    return;
  }
  fileSize = readChunkSize(riff + 4) + 8;
  if (tolerantReading && readLE32(riff + 4) == 0xFFFFFFFFu) {
    fileSize = streamLength;
  }

  // Top level: lists are not entered, order is free, a later 'hdrl' or 'movi'
  // overrides an earlier one, and the walk ends at 'idx1' or the end of file.
  // Headers come from a block buffer, so a run of small chunks costs no system
  // call per chunk.
  io::ChunkReader reader(fileHandle, streamLength);
  reader.seek(sizeof riff);
  for (;;) {
    // A fast run over the headers that lie whole in the buffer and need nothing
    // but a step: no list, no 'idx1', within the walk's reach.
    std::size_t have = 0;
    const unsigned char* window = reader.window(&have);
    std::uint64_t at = 0;
    while (have >= 12 && at <= have - 12 && reader.position() + at <= kWalkReach) {
      const unsigned char* h = window + at;
      const std::uint64_t size = readChunkSize(h + 4);
      if (isFourCC(h, "LIST") || isFourCC(h, "idx1") || size > kWalkReach) {
        break;
      }
      at += 8 + size;
    }
    if (at > 0) {
      reader.skip(at);
      continue;
    }
    const std::uint64_t headerPos = reader.position();
    if (headerPos > kWalkReach) {
      break;
    }
    const unsigned char* header = reader.next(12);
    if (header == nullptr) {
      break;
    }
    const std::uint64_t size = readChunkSize(header + 4);
    if (isFourCC(header, "LIST") && isFourCC(header + 8, "hdrl")) {
      hdrlOffset = static_cast<std::uint32_t>(headerPos + 12);
    } else if (isFourCC(header, "LIST") && isFourCC(header + 8, "movi")) {
      moviOffset = headerPos + 8;
      // A streamed file could not go back to write the size: 0xFFFFFFFF runs
      // to the end of the file, so there is nothing behind the list.
      if (tolerantReading && readLE32(header + 4) == 0xFFFFFFFFu) {
        break;
      }
    } else if (isFourCC(header, "idx1")) {
      idx1Offset = static_cast<std::uint32_t>(headerPos + 4);
      break;
    }
    // Four bytes past the 8-byte header were consumed already. A size of 0 to 3
    // steps back a little, still 8 bytes on from the header.
    const std::int64_t step = static_cast<std::int64_t>(size) - 4;
    if (step > static_cast<std::int64_t>(kWalkReach)) {
      setError(errors::SEEK_FAILED);
      return;
    }
    reader.seek(headerPos + 8 + size);
  }

  parseMainHeader();
  if (errorCode != 0) {
    return;
  }
  if (mainHeader.dwStreams > MAX_STREAMS) {
    setError(errors::TOO_MANY_STREAMS);
    return;
  }
  parseStreamLists();
  if (errorCode != 0) {
    return;
  }
  if (videoIndex->empty() && audioIndex->empty()) {
    parseLegacyIndex();
  }
  // Frame sizes follow from the bitmap header: one whose frame no chunk of the
  // file can fill would have the host allocate for nothing. The indexes are
  // kept, so the stored bytes can still be read raw.
  if (errorCode == 0 && videoPresent && !headerFrameFitsFile()) {
    setError(errors::UNSUPPORTED_BITMAP_HEADER);
  }
}

void File::parseMainHeader() {
  // With no 'hdrl' this is position 0, where "RIFF" stands instead of "avih".
  unsigned char header[8];
  if (!io::seekTo(fileHandle, hdrlOffset) || !io::readExactly(fileHandle, header, sizeof header)) {
    setError(errors::FREAD_FAILED);
    return;
  }
  if (!isFourCC(header, "avih")) {
    setError(errors::MAIN_HEADER_MISSING);
    return;
  }
  const std::uint64_t size = readChunkSize(header + 4);
  if (size >= 57) {
    setError(errors::UNSUPPORTED_MAIN_HEADER);
    return;
  }
  // A shorter record leaves its missing values at zero.
  unsigned char record[56] = {};
  if (!io::readExactly(fileHandle, record, size)) {
    setError(errors::FREAD_FAILED);
    return;
  }
  strlOffset = static_cast<std::uint32_t>(io::position(fileHandle));

  std::uint32_t values[14];
  for (int i = 0; i < 14; ++i) {
    values[i] = readLE32(record + 4 * i);
  }
  mainHeader.dwMicroSecPerFrame = values[0];
  mainHeader.dwMaxBytesPerSec = values[1];
  mainHeader.dwPaddingGranularity = values[2];
  mainHeader.dwFlags = values[3];
  mainHeader.dwTotalFrames = values[4];
  mainHeader.dwInitialFrames = values[5];
  mainHeader.dwStreams = values[6];
  mainHeader.dwSuggestedBufferSize = values[7];
  mainHeader.dwWidth = values[8];
  mainHeader.dwHeight = values[9];
  for (int i = 0; i < 4; ++i) {
    mainHeader.dwReserved[i] = values[10 + i];
  }
  const std::uint32_t flags = mainHeader.dwFlags;
  hasIndex = (flags & 0x10) != 0;
  mustUseIndex = (flags & 0x20) != 0;
  isInterleaved = (flags & 0x100) != 0;
  trustCkType = (flags & 0x800) != 0;
  wasCaptureFile = (flags & 0x10000) != 0;
  protectedContent = (flags & 0x20000) != 0;
}

void File::parseStreamLists() {
  audioPresent = false;
  videoPresent = false;
  audioStreamNumber = 0;
  videoStreamNumber = 0;
  std::uint64_t position = strlOffset;
  // The lists are walked chunk by chunk from the file rather than read whole,
  // so a large 'indx' is not held in memory while its entries are expanded.
  io::ChunkReader reader(fileHandle, streamLength);
  std::vector<char> record;
  for (unsigned int stream = 0; stream < mainHeader.dwStreams; ++stream) {
    reader.seek(position);
    unsigned char header[12];
    if (!reader.read(header, sizeof header)) {
      setError(errors::FREAD_FAILED);
      return;
    }
    // The stream lists follow 'avih' back to back.
    if (!isFourCC(header, "LIST") || !isFourCC(header + 8, "strl")) {
      setError(errors::STREAM_LIST_MISSING);
      return;
    }
    // A size below 4 makes the body length wrap to a huge value, which the file
    // cannot hold: the read would come up short, so it is one without reading.
    const std::uint64_t length = readChunkSize(header + 4) - 4;
    const std::uint64_t bodyPos = position + 12;
    if (bodyPos > streamLength || length > streamLength - bodyPos) {
      setError(errors::FREAD_FAILED);
      return;
    }

    // The walk goes on after a failure in one chunk; the last failure stands.
    std::uint64_t at = 0;
    while (at < length && length - at >= 8) {
      reader.seek(bodyPos + at);
      unsigned char id[8];
      if (!reader.read(id, sizeof id)) {
        setError(errors::FREAD_FAILED);
        return;
      }
      const std::uint64_t size = readChunkSize(id + 4);
      const std::uint64_t dataAt = at + 8;
      const std::uint64_t available = length - dataAt;
      if (isFourCC(id, "strh") || isFourCC(id, "strf")) {
        // Records are decoded from at least kRecordScratch bytes, taken from
        // the list as it goes on behind the chunk; where the list ends sooner
        // the rest is zero.
        const std::uint64_t wanted = isFourCC(id, "strh") ? kRecordScratch : std::max<std::uint64_t>(size, kRecordScratch);
        const std::uint64_t take = std::min(available, wanted);
        record.assign(std::max<std::uint64_t>(take, kRecordScratch), '\0');
        if (!reader.read(record.data(), take)) {
          setError(errors::FREAD_FAILED);
          return;
        }
        if (isFourCC(id, "strh")) {
          parseStreamHeader(stream, record.data(), size);
        } else {
          parseStreamFormat(stream, record.data(), size, available);
        }
      } else if (isFourCC(id, "indx")) {
        parseStreamIndex(stream, reader, available);
      }
      if (size > length - dataAt) {
        break;
      }
      at = dataAt + size;
    }

    if (videoPresent && audioPresent) {
      return;
    }
    position = bodyPos + length;
  }
}

void File::parseStreamHeader(unsigned int stream, const char* data, std::uint64_t size) {
  if (size > 64) {
    setError(errors::UNEXPECTED_STRL_LENGTH);
    return;
  }
  StreamHeader& h = streamHeaders[stream];
  std::memcpy(h.fccType, data, 4);
  h.fccType[4] = 0;
  std::memcpy(h.fccHandler, data + 4, 4);
  h.fccHandler[4] = 0;
  h.dwFlags = readLE32(data + 8);
  h.dwPriority = readLE32(data + 12);
  h.dwInitialFrames = readLE32(data + 16);
  h.dwScale = readLE32(data + 20);
  h.dwRate = readLE32(data + 24);
  h.dwStart = readLE32(data + 28);
  h.dwLength = readLE32(data + 32);
  h.dwSuggestedBufferSize = readLE32(data + 36);
  h.dwQuality = readLE32(data + 40);
  h.dwSampleSize = readLE32(data + 44);
  if (size == 56) {
    h.rcFrame = {readLE16(data + 48), readLE16(data + 50), readLE16(data + 52), readLE16(data + 54)};
  } else if (size == 64) {
    h.rcFrame = {readLE32(data + 48), readLE32(data + 52), readLE32(data + 56), readLE32(data + 60)};
  }
  h.disabled = (h.dwFlags & 1) != 0;
  h.paletteChanges = false;
}

void File::parseStreamFormat(unsigned int stream, const char* data, std::uint64_t size,
                             std::uint64_t available) {
  // The first stream of each kind wins. The presence flag and the tag are set
  // before the format is parsed, so they stay when it fails.
  const StreamHeader& h = streamHeaders[stream];
  if (std::memcmp(h.fccType, "auds", 4) == 0 && !audioPresent) {
    audioPresent = true;
    audioStreamNumber = stream;
    std::snprintf(audioChunkTag, sizeof audioChunkTag, "0%dwb", static_cast<int>(stream));
    parseAudioStreamFormat(data, size);
  } else if (std::memcmp(h.fccType, "vids", 4) == 0 && !videoPresent) {
    videoPresent = true;
    videoStreamNumber = stream;
    std::snprintf(videoChunkTag, sizeof videoChunkTag, "0%ddb", static_cast<int>(stream));
    parseVideoStreamFormat(data, size, available);
  }
}

void File::parseAudioStreamFormat(const char* data, std::uint64_t size) {
  if (size >= 129) {
    setError(errors::UNSUPPORTED_AUDIO_FORMAT);
    return;
  }
  // All 18 bytes, whatever the size: a 16-byte record takes cbSize from the
  // two bytes behind it.
  audioFormat.wFormatTag = readLE16(data);
  audioFormat.nChannels = readLE16(data + 2);
  audioFormat.nSamplesPerSec = readLE32(data + 4);
  audioFormat.nAvgBytesPerSec = readLE32(data + 8);
  audioFormat.nBlockAlign = readLE16(data + 12);
  audioFormat.wBitsPerSample = readLE16(data + 14);
  audioFormat.cbSize = readLE16(data + 16);
  // Tolerant reading: WAVE_FORMAT_EXTENSIBLE whose sub-format (the GUID at byte
  // 24) is PCM is read as PCM.
  static const unsigned char kPcmGuid[16] = {1, 0, 0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
  if (tolerantReading && audioFormat.wFormatTag == 0xFFFE && size >= 40 &&
      std::memcmp(data + 24, kPcmGuid, sizeof kPcmGuid) == 0) {
    audioFormat.wFormatTag = 1;
  }
}

void File::parseVideoStreamFormat(const char* data, std::uint64_t size, std::uint64_t available) {
  videoFormat.biSize = readLE32(data);
  // Tolerant reading takes a longer bitmap header (extra data) by its first 40
  // bytes; the colormap then follows the whole header.
  const std::uint64_t held = std::min(size, available);
  const bool longer = tolerantReading && videoFormat.biSize > 40 && videoFormat.biSize <= held;
  if (videoFormat.biSize != 40 && !longer) {
    setError(errors::UNSUPPORTED_BITMAP_HEADER);
    return;
  }
  videoFormat.biWidth = readLE32(data + 4);
  videoFormat.biHeight = readLE32(data + 8);
  videoFormat.biPlanes = readLE16(data + 12);
  videoFormat.biBitCount = readLE16(data + 14);
  videoFormat.biCompression = readLE32(data + 16);
  videoFormat.biSizeImage = readLE32(data + 20);
  videoFormat.biXPelsPerMeter = readLE32(data + 24);
  videoFormat.biYPelsPerMeter = readLE32(data + 28);
  videoFormat.biClrUsed = readLE32(data + 32);
  videoFormat.biClrImportant = readLE32(data + 36);
  const std::uint64_t header = videoFormat.biSize;
  if (size > header) {
    // Every byte after the header counts as colormap, four to an entry,
    // whatever biClrUsed and the depth say; bytes the list does not hold are
    // not taken.
    const std::uint64_t entries = held > header ? (held - header) / 4 : 0;
    colormap.clear();
    colormap.reserve(entries);
    const unsigned char* p = reinterpret_cast<const unsigned char*>(data) + header;
    for (std::uint64_t i = 0; i < entries; ++i, p += 4) {
      colormap.push_back(tagRGBQUAD{p[0], p[1], p[2], p[3]});
    }
  }
  if (static_cast<std::int32_t>(videoFormat.biHeight) < 0) {
    videoFormat.biHeight = 0u - videoFormat.biHeight;
    needsFlip = true;
    mainHeader.dwHeight = videoFormat.biHeight;
  }
  if (tolerantReading) {
    takeAsGrey();
  }
  errorIf2or4or8bitAVIwithNoClrmap();
}

void File::takeAsGrey() {
  // ffmpeg writes 8-bit grey as "Y800" (and reads "Y8  " and "GREY" as the
  // same), GStreamer as "Y800"; an 8-bit frame of no FourCC without a
  // colormap has nothing to look its bytes up in but grey levels either.
  const std::uint32_t tag = videoFormat.biCompression;
  const bool greyFourCC = tag == readLE32("Y800") || tag == readLE32("Y8  ") || tag == readLE32("GREY");
  if (videoFormat.biBitCount != 8 || !(greyFourCC || (tag == 0 && colormap.empty()))) {
    return;
  }
  greyVideo = true;
  // Like every FourCC of the YUV family, a grey FourCC stores rows top-down,
  // whatever the sign of the height.
  if (greyFourCC) {
    needsFlip = true;
  }
  // Index i is the grey level i.
  colormap.assign(256, tagRGBQUAD{});
  for (unsigned int i = 0; i < 256; ++i) {
    const auto level = static_cast<unsigned char>(i);
    colormap[i] = tagRGBQUAD{level, level, level, 0};
  }
}

bool File::headerFrameFitsFile() {
  // Compressed frames have no size that follows from the header.
  if (!storedAsRows()) {
    return true;
  }
  // The smallest stored frame: rows of width * depth bits, unpadded. Each
  // factor is checked against the file so the product cannot overflow.
  const std::uint64_t rowBytes = (static_cast<std::uint64_t>(videoFormat.biWidth) * videoFormat.biBitCount + 7) / 8;
  const std::uint64_t height = videoFormat.biHeight;
  if (rowBytes == 0 || height == 0) {
    return true;
  }
  return rowBytes <= streamLength && height <= streamLength / rowBytes;
}

void File::errorIf2or4or8bitAVIwithNoClrmap() {
  const unsigned int bits = videoFormat.biBitCount;
  if (colormap.empty() && (bits == 2 || bits == 4 || bits == 8)) {
    setError(errors::UNSUPPORTED_FILE);
  }
}

void File::errorIfWrongNumFrameForRGB24() {
  if (videoFormat.biBitCount == 24 && videoFormat.biCompression == 0) {
    const std::uint32_t bytes = videoFormat.biHeight * videoFormat.biWidth * mainHeader.dwTotalFrames * 3u;
    if (bytes > fileSize) {
      setError(errors::INVALID_FRAME_COUNT);
    }
  }
}

void File::verifySupport() {
  const unsigned int bits = audioFormat.wBitsPerSample;
  const bool wide = tolerantReading && (bits == 24 || bits == 32);
  if (audioPresent && bits != 8 && bits != 16 && !wide) {
    setError(errors::UNSUPPORTED_AUDIO_BITS);
    return;
  }
  if (mustUseIndex) {
    setError(errors::INTERNAL_INDEX_REQUIRED);
  }
}

}  // namespace avi
