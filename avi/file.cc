// avi::File: construction, opening and closing, the stored failures and the
// getters.
#include <sys/types.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "avi/errors.h"
#include "rivulet/avi.h"

namespace avi {

namespace {

// UTF-8 form of a wide path. wchar_t holds UTF-32 here; a value that is not a
// Unicode scalar value (a surrogate, or past U+10FFFF) becomes U+FFFD.
std::string toUtf8(const std::wstring& wide) {
  std::string out;
  out.reserve(wide.size());
  for (wchar_t wc : wide) {
    std::uint32_t c = static_cast<std::uint32_t>(wc);
    if ((c >= 0xD800 && c <= 0xDFFF) || c > 0x10FFFF) {
      c = 0xFFFD;
    }
    if (c < 0x80) {
      out += static_cast<char>(c);
    } else if (c < 0x800) {
      out += static_cast<char>(0xC0 | (c >> 6));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      out += static_cast<char>(0xE0 | (c >> 12));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | (c >> 18));
      out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return out;
}

}  // namespace

File::File()
    : errorCode(0),
      fileHandle(nullptr),
      fileMode(0),
      moviOffset(0),
      hdrlOffset(0),
      idx1Offset(0),
      strlOffset(0),
      videoChunkSize(0),
      audioDataSize(0),
      audioChunkSize(0),
      fileSize(0),
      audioPresent(false),
      videoPresent(false),
      needsFlip(false),
      rowBuffer(nullptr),
      mainHeader(),
      streamHeaders(),
      audioFormat(),
      videoFormat(),
      hasIndex(false),
      mustUseIndex(false),
      isInterleaved(false),
      trustCkType(false),
      wasCaptureFile(false),
      protectedContent(false),
      audioStreamNumber(0),
      videoStreamNumber(0),
      audioChunkTag(),
      videoChunkTag(),
      audioIndex(new std::vector<IndexEntry>()),
      videoIndex(new std::vector<IndexEntry>()),
      videoSuperIndex(new std::vector<SuperIndexEntry>()),
      audioSuperIndex(new std::vector<SuperIndexEntry>()),
      videoFramesRead(0),
      audioEntryNumber(0),
      audioBytesRead(0),
      audioEntryPos(0),
      legacyIndexWritten(false),
      firstRiffEnd(0),
      firstRiffVideoEntries(0),
      firstRiffAudioEntries(0),
      firstRiffMoviBytes(0),
      laterVideoFrames(0),
      curMoviBytes(0),
      numSuperIndexEntries(4096),
      streamLength(0),
      rowBufferSize(0),
      subIndexBytesRead(0),
      indexDepth(0),
      writePos(0),
      videoDeclared(false),
      audioDeclared(false),
      chunksWritten(false),
      writeFailed(false),
      provisionalHeader(false),
      tolerantReading(false),
      audioIndexBytes(0),
      greyVideo(false) {}

File::~File() {
  close();
  delete audioIndex;
  delete videoIndex;
  delete videoSuperIndex;
  delete audioSuperIndex;
}

void File::setError(errors::error_T code) {
  errorCode = static_cast<std::uint32_t>(code);
  errorMsg = errors::message(code, fileName);
}

void File::clearError() {
  errorCode = 0;
  errorMsg.clear();
}

unsigned int File::getErrorCode() { return errorCode; }

const char* File::getErrorMsg() { return errorMsg.c_str(); }

// The narrow path is passed to the system as it stands, so a name that is not
// valid UTF-8 still opens; the wide forms convert to UTF-8 and come here.
unsigned char File::open(const char* path, const char* mode) {
  switch (mode[0]) {
    case 'r':
      return openRead(path);
    case 'w':
      // An object that still holds a file lets it go first.
      close();
      resetFileState();
      fileMode = MODE_WRITE;
      resetWriter();
      fileHandle = std::fopen(path, "wb");
      if (fileHandle == nullptr) {
        // fileName is left alone here: the message names whatever stood there.
        setError(errors::OPEN_FAILED);
        return 0;
      }
      return 1;
    default:
      setError(errors::UNSUPPORTED_MODE);
      return 0;
  }
}

unsigned char File::open(std::wstring path, const char* mode) { return open(toUtf8(path).c_str(), mode); }

unsigned char File::openRead(const std::string& path) {
  if (!openInformation(path)) {
    return 0;
  }
  verifySupport();
  verifyIndex();
  countAudioIndexBytes();
  if (needsFlip) {
    // Freed by close; a second open on the same object must not leak the first.
    std::free(rowBuffer);
    rowBuffer = nullptr;
    rowBufferSize = 0;
    // The frame size comes from the index: a row larger than the whole file
    // cannot be read anyway, and is not worth allocating. Without the scratch
    // the rows are swapped byte by byte.
    const std::uint64_t row = videoFormat.biHeight == 0 ? 0 : videoChunkSize / videoFormat.biHeight;
    if (row <= streamLength) {
      rowBuffer = static_cast<char*>(std::malloc(row == 0 ? 1 : row));
      if (rowBuffer == nullptr) {
        setError(errors::OUT_OF_MEMORY);
        return 0;
      }
      rowBufferSize = row;
    }
  }
  return 1;
}

unsigned char File::openToGetInformation(const char* path) { return openInformation(path); }

unsigned char File::openToGetInformation(std::wstring path) { return openInformation(toUtf8(path)); }

unsigned char File::openInformation(const std::string& path) {
  // Every open starts from a fresh per-file state, whatever the object read or
  // wrote before; only the stored failure carries over.
  close();
  resetFileState();
  fileName = path;
  fileHandle = std::fopen(path.c_str(), "rb");
  if (fileHandle == nullptr) {
    setError(errors::OPEN_FAILED);
    return 0;
  }
  fileMode = MODE_READ;
  parseFile();
  countAudioIndexBytes();
  return errorCode == 0;
}

void File::resetFileState() {
  fileMode = MODE_READ;
  moviOffset = 0;
  hdrlOffset = 0;
  idx1Offset = 0;
  strlOffset = 0;
  videoChunkSize = 0;
  audioDataSize = 0;
  audioChunkSize = 0;
  fileSize = 0;
  audioPresent = false;
  videoPresent = false;
  needsFlip = false;
  std::free(rowBuffer);
  rowBuffer = nullptr;
  mainHeader = MainHeader();
  for (StreamHeader& h : streamHeaders) {
    h = StreamHeader();
  }
  audioFormat = WaveFormat();
  videoFormat = BitmapInfoHeader();
  hasIndex = false;
  mustUseIndex = false;
  isInterleaved = false;
  trustCkType = false;
  wasCaptureFile = false;
  protectedContent = false;
  audioStreamNumber = 0;
  videoStreamNumber = 0;
  std::memset(audioChunkTag, 0, sizeof audioChunkTag);
  std::memset(videoChunkTag, 0, sizeof videoChunkTag);
  // Swapped with empty vectors so that the memory of a large index goes too.
  std::vector<IndexEntry>().swap(*audioIndex);
  std::vector<IndexEntry>().swap(*videoIndex);
  std::vector<SuperIndexEntry>().swap(*videoSuperIndex);
  std::vector<SuperIndexEntry>().swap(*audioSuperIndex);
  videoFramesRead = 0;
  audioEntryNumber = 0;
  audioBytesRead = 0;
  audioEntryPos = 0;
  resetSegments();
  std::vector<tagRGBQUAD>().swap(colormap);
  streamLength = 0;
  rowBufferSize = 0;
  subIndexBytesRead = 0;
  indexDepth = 0;
  audioIndexBytes = 0;
  greyVideo = false;
}

void File::close() {
  if (fileHandle == nullptr) {
    return;
  }
  if (fileMode == MODE_READ) {
    colormap.clear();
    if (needsFlip && rowBuffer != nullptr) {
      std::free(rowBuffer);
      rowBuffer = nullptr;
      rowBufferSize = 0;
    }
  }
  if (fileMode == MODE_WRITE) {
    // The second pass: the last segment's indexes, then the headers. A file
    // with no stream declared since open stays empty.
    if (videoDeclared || audioDeclared) {
      closeCurRiffChunk();
      writeHeader();
      if (writeFailed) {
        // Cut the remains of a failed write behind the last complete record.
        (void)ftruncate(fileno(fileHandle), static_cast<off_t>(writePos));
      }
    }
    resetWriter();
  }
  std::fclose(fileHandle);
  fileHandle = nullptr;
  videoFramesRead = 0;
}

void File::countAudioIndexBytes() {
  audioIndexBytes = 0;
  for (const IndexEntry& e : *audioIndex) {
    audioIndexBytes += e.getSize();
  }
}

std::uint64_t File::getAudioTotalBytes() {
  // 32-bit arithmetic, widened afterwards.
  const std::uint32_t total = static_cast<std::uint32_t>(audioFormat.nChannels) *
                              streamHeaders[audioStreamNumber].dwLength *
                              static_cast<std::uint32_t>(audioFormat.wBitsPerSample >> 3);
  // Tolerant reading counts what the chunks hold where the header promises
  // more, or nothing (a writer that never finished).
  if (tolerantReading && fileMode == MODE_READ && (total == 0 || total > audioIndexBytes)) {
    return audioIndexBytes;
  }
  return total;
}

double File::getVideoFrameRate() {
  // A zero dwScale is not guarded: the result is then an infinity or NaN.
  return static_cast<double>(streamHeaders[videoStreamNumber].dwRate) /
         static_cast<double>(streamHeaders[videoStreamNumber].dwScale);
}

std::string File::getVideoFourCC() {
  if (videoFormat.biCompression == 0) {
    return std::string();
  }
  char text[4];
  for (int i = 0; i < 4; ++i) {
    text[i] = static_cast<char>((videoFormat.biCompression >> (8 * i)) & 0xFF);
  }
  return std::string(text, 4);
}

}  // namespace avi
