// avi::File, writing: the set-up calls, the rate rule, the sizes of the
// header gap and its records, and the records filled in at close.
#include <boost/numeric/conversion/cast.hpp>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "avi/byte_order.h"
#include "avi/errors.h"
#include "rivulet/avi.h"

namespace avi {

namespace {

// Room reserved in a stream's index at set-up, in entries.
constexpr std::size_t kIndexReserve = 1000;

// The rate rule's truncation: toward zero to a signed 64-bit value, of which
// the low 32 bits are kept. A value out of the 64-bit range (an infinity from
// a zero rate, a NaN) takes the most negative 64-bit value, as the x86
// conversion does, so its low 32 bits are 0.
std::uint32_t truncateLow32(double value) {
  // 2^63 is exact in a double; -2^63 is in range, 2^63 is not.
  if (!(value >= -9223372036854775808.0 && value < 9223372036854775808.0)) {
    return 0;
  }
  return static_cast<std::uint32_t>(static_cast<std::uint64_t>(static_cast<std::int64_t>(value)));
}

// A chunk id from its template and the stream number (0 or 1 for a writer):
// four characters and the terminator.
void printChunkTag(char (&tag)[File::STREAM_TAG_LENGTH], const char* format, std::uint32_t stream) {
  char text[16];
  std::snprintf(text, sizeof text, format, boost::numeric_cast<std::int32_t>(stream));
  std::memcpy(tag, text, 4);
  tag[4] = '\0';
}

}  // namespace

bool File::writerUsable() {
  if (fileHandle == nullptr || fileMode != MODE_WRITE) {
    setError(errors::NOT_OPEN_FOR_WRITING);
    return false;
  }
  return true;
}

void File::setVideoInfo(unsigned int width, unsigned int height, double frameRate) {
  setVideoInfo(width, height, frameRate, std::string(), DEFAULT_BITS_PER_PIXEL);
}

void File::setVideoInfo(unsigned int width, unsigned int height, double frameRate, const std::string& fourCC) {
  setVideoInfo(width, height, frameRate, fourCC, DEFAULT_BITS_PER_PIXEL);
}

void File::setVideoInfo(unsigned int width, unsigned int height, double frameRate, const std::string& fourCC,
                        unsigned int bitsPerPixel) {
  if (!writerUsable()) {
    return;
  }
  if (chunksWritten) {
    setError(errors::SETUP_AFTER_FRAMES);
    return;
  }
  // The stream declared first is stream 0, as far as this call can see.
  videoStreamNumber = audioPresent ? 1 : 0;
  mainHeader.dwWidth = width;
  mainHeader.dwHeight = height;
  videoFormat.biWidth = width;
  videoFormat.biHeight = height;
  switch (bitsPerPixel) {
    case 2:
    case 4:
    case 16:
    case 32:
      // No size rule for these depths: frames go through writeVideoFrame(data, size).
      videoFormat.biBitCount = static_cast<std::uint16_t>(bitsPerPixel);
      videoChunkSize = 0;
      break;
    case 8:
      videoFormat.biBitCount = 8;
      videoChunkSize = getIndexedVideoFrameSize();
      break;
    case 24:
      videoFormat.biBitCount = 24;
      videoChunkSize = getRGB24VideoFrameSize();
      break;
    default:
      setError(errors::INVALID_BITS_PER_PIXEL);
      return;
  }
  mainHeader.dwMicroSecPerFrame = truncateLow32(1000000.0 / frameRate);
  // dwScale is fixed at 1000000 when the headers are written: the rate is
  // kept to a millionth of a frame per second.
  streamHeaders[videoStreamNumber].dwRate = truncateLow32(frameRate * 1000000.0);
  videoPresent = true;
  videoDeclared = true;
  if (videoIndex->capacity() < kIndexReserve) {
    videoIndex->reserve(kIndexReserve);
  }
  videoFormat.biCompression = 0;
  const bool compressed = fourCC.size() == 4;
  if (compressed) {
    videoFormat.biCompression = readLE32(fourCC.data());
  }
  printChunkTag(videoChunkTag, compressed ? "0%ddc" : "0%ddb", videoStreamNumber);
  initWriter();
}

void File::setAudioInfo(double sampleRate, unsigned int bitsPerSample, unsigned int numChannels,
                        unsigned int chunkBytes) {
  if (!writerUsable()) {
    return;
  }
  if (chunksWritten) {
    setError(errors::SETUP_AFTER_FRAMES);
    return;
  }
  audioDataSize = chunkBytes;
  audioChunkSize = chunkBytes + (chunkBytes & 1);
  audioPresent = true;
  audioDeclared = true;
  audioStreamNumber = videoPresent ? 1 : 0;
  printChunkTag(audioChunkTag, "0%dwb", audioStreamNumber);
  if (audioIndex->capacity() < kIndexReserve) {
    audioIndex->reserve(kIndexReserve);
  }
  StreamHeader& header = streamHeaders[audioStreamNumber];
  audioFormat.wBitsPerSample = static_cast<std::uint16_t>(bitsPerSample);
  header.dwSampleSize = (bitsPerSample * numChannels) >> 3;
  // The largest 32-bit scale the truncation yields, so dwRate / dwScale stays
  // close to a fractional rate: 44100 gives 97391 and 4294943100.
  header.dwScale = truncateLow32(4294967295.0 / sampleRate);
  header.dwRate = truncateLow32(static_cast<double>(header.dwScale) * sampleRate);
  audioFormat.nChannels = static_cast<std::uint16_t>(numChannels);
  // The only rounded value of the file.
  audioFormat.nSamplesPerSec = truncateLow32(sampleRate + 0.5);
  if (!videoPresent) {
    mainHeader.dwMicroSecPerFrame = truncateLow32(1000000.0 / sampleRate);
  }
  initWriter();
}

void File::setColormap(const std::vector<tagRGBQUAD>& map) {
  if (fileMode != MODE_WRITE) {
    setError(errors::COLORMAP_DURING_READ);
    return;
  }
  if (fileHandle == nullptr) {
    setError(errors::NOT_OPEN_FOR_WRITING);
    return;
  }
  if (!colormap.empty()) {
    setError(errors::COLORMAP_NOT_EMPTY);
    return;
  }
  if (map.size() > 256) {
    setError(errors::COLORMAP_TOO_LARGE);
    return;
  }
  colormap = map;
}

void File::setNumSuperIndexEntries(size_t entries) {
  if (!writerUsable()) {
    return;
  }
  if (chunksWritten) {
    setError(errors::SETUP_AFTER_FRAMES);
    return;
  }
  // A count whose header length does not fit 32 bits throws here, before it
  // is stored.
  // (The header length of both streams: 108 + 2 * 16 * N + 148 + 236.)
  const std::uint64_t slots = boost::numeric_cast<std::uint32_t>(entries);
  boost::numeric_cast<std::uint32_t>(492 + 32 * slots);
  numSuperIndexEntries = entries;
  // A gap already reserved is sized again, so the headers always fit the N
  // they are written with.
  if (videoDeclared || audioDeclared) {
    initWriter();
  }
}

// Puts the write position at the first data chunk, behind the header gap, and
// fills the gap with a provisional header: the final header pass then only
// overwrites room the file already has, and a writer stopped before close
// leaves a file with headers.
void File::initWriter() {
  const std::uint64_t headerLength = getHeaderLength();
  moviOffset = headerLength + 28;
  writePos = headerLength + 32;
  writeHeader(true);
}

// The bookkeeping of the RIFF segments written so far.
void File::resetSegments() {
  legacyIndexWritten = false;
  firstRiffEnd = 0;
  firstRiffVideoEntries = 0;
  firstRiffAudioEntries = 0;
  firstRiffMoviBytes = 0;
  laterVideoFrames = 0;
  curMoviBytes = 0;
}

void File::resetWriter() {
  videoIndex->clear();
  audioIndex->clear();
  videoSuperIndex->clear();
  audioSuperIndex->clear();
  colormap.clear();
  resetSegments();
  moviOffset = 0;
  writePos = 0;
  videoDeclared = false;
  audioDeclared = false;
  chunksWritten = false;
  writeFailed = false;
}

// ---- Sizes. All are the 32-bit values of the size fields. ----

unsigned int File::getOpenDMLHeaderLength() { return 16; }

unsigned int File::getOpenDMLSuperIndexLength(unsigned long long entries) {
  return 24 + 16 * boost::numeric_cast<std::uint32_t>(entries);
}

unsigned int File::getOpenDMLStandardIndexLength(unsigned long long entries) {
  return 24 + 8 * boost::numeric_cast<std::uint32_t>(entries);
}

unsigned int File::getStrlLength(unsigned char hasStream, unsigned int fixedBytes, unsigned long long entries) {
  return hasStream * (fixedBytes + 8 + getOpenDMLSuperIndexLength(entries));
}

// "hdrl" (4), avih with its frame (64), two strl list frames (8 each) and the
// odml list with its frame (24) make the 108; each stream adds its list's
// payload with N super index slots and no colormap. The colormap comes out of
// the unused slots.
unsigned int File::getHeaderLength() {
  const std::uint64_t n = boost::numeric_cast<std::uint32_t>(numSuperIndexEntries);
  const std::uint64_t length =
      108 + (videoPresent ? 16 * n + 148 : 0) + (audioPresent ? 16 * n + 236 : 0);
  return boost::numeric_cast<std::uint32_t>(length);
}

unsigned int File::getMoviLength() {
  std::uint32_t length = 4 + firstRiffMoviBytes;
  if (videoPresent) {
    length += 8 + getOpenDMLStandardIndexLength(firstRiffVideoEntries);
  }
  if (audioPresent) {
    length += 8 + getOpenDMLStandardIndexLength(firstRiffAudioEntries);
  }
  return length;
}

unsigned int File::getLegacyIndexLength() {
  const std::uint64_t entries = (audioPresent ? audioIndex->size() : 0) + (videoPresent ? videoIndex->size() : 0);
  return 16 * boost::numeric_cast<std::uint32_t>(entries);
}

// ---- The records, as they are written at close. ----

void File::populateMainHeader() {
  mainHeader.dwMaxBytesPerSec = 0;
  mainHeader.dwPaddingGranularity = 0;
  mainHeader.dwFlags = 0x810;  // has an index, trust the chunk types
  // Without video this counts the audio chunks of the first segment only.
  mainHeader.dwTotalFrames = videoPresent ? firstRiffVideoEntries + laterVideoFrames : firstRiffAudioEntries;
  mainHeader.dwInitialFrames = 0;
  mainHeader.dwStreams = static_cast<std::uint32_t>(audioPresent) + static_cast<std::uint32_t>(videoPresent);
  mainHeader.dwSuggestedBufferSize = videoPresent ? videoChunkSize : audioChunkSize;
  std::memset(mainHeader.dwReserved, 0, sizeof mainHeader.dwReserved);
}

namespace {

void clearStreamHeader(StreamHeader& header, const char* type, const char* handler) {
  std::memcpy(header.fccType, type, 5);
  std::memcpy(header.fccHandler, handler, 5);
  header.dwFlags = 0;
  header.dwPriority = 0;
  header.dwInitialFrames = 0;
  header.dwStart = 0;
  header.dwQuality = 0;
  header.rcFrame.left = header.rcFrame.top = header.rcFrame.right = header.rcFrame.bottom = 0;
}

}  // namespace

void File::populateVideoStreamHeader() {
  StreamHeader& header = streamHeaders[videoStreamNumber];
  clearStreamHeader(header, "vids", "DIB ");
  header.dwSampleSize = 0;
  header.dwScale = 1000000;
  header.dwLength = firstRiffVideoEntries + laterVideoFrames;
  header.dwSuggestedBufferSize = videoChunkSize;
}

void File::populateAudioStreamHeader() {
  StreamHeader& header = streamHeaders[audioStreamNumber];
  clearStreamHeader(header, "auds", "    ");
  // Sample frames of the first segment, in 32-bit arithmetic. A sample size
  // of 0 (fewer than 8 bits of all channels) gives a length of 0.
  header.dwLength = header.dwSampleSize == 0 ? 0 : firstRiffAudioEntries * audioDataSize / header.dwSampleSize;
  header.dwSuggestedBufferSize = audioDataSize;
}

void File::populateBitmapHeader() {
  videoFormat.biSize = 40;
  videoFormat.biWidth = mainHeader.dwWidth;
  videoFormat.biHeight = mainHeader.dwHeight;
  videoFormat.biPlanes = 1;
  videoFormat.biSizeImage = videoChunkSize;
  videoFormat.biXPelsPerMeter = 0;
  videoFormat.biYPelsPerMeter = 0;
  videoFormat.biClrUsed = static_cast<std::uint32_t>(colormap.size());
  videoFormat.biClrImportant = 0;
}

void File::populateWaveHeader() {
  audioFormat.wFormatTag = 1;  // PCM
  audioFormat.nBlockAlign = static_cast<std::uint16_t>(streamHeaders[audioStreamNumber].dwSampleSize);
  audioFormat.nAvgBytesPerSec = audioFormat.nSamplesPerSec * audioFormat.nBlockAlign;
  audioFormat.cbSize = 0;
}

}  // namespace avi
