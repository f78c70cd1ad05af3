// rivulet: the AVI container, avi::File.
//
// One avi::File reads an uncompressed AVI file (or writes one): one video
// stream and one PCM audio stream at most, legacy idx1 and OpenDML indexes.
// Failures are stored in the object, never thrown: poll getErrorCode() and
// getErrorMsg() after each call. The last failure wins; readVideoFrame and
// clearError are the only calls that clear it.
//
// The only exceptions that leave avi::File are std::bad_alloc,
// std::length_error and boost::numeric::positive_overflow (a movi list that
// holds a chunk more than 4 GiB past its start while the index is rebuilt by
// scanning).
//
// Reading untrusted files. Every size taken from a file is checked against
// the length of the file before it drives an allocation, a loop or a seek.
// Where the format leaves a case open, the reader chooses this:
//  - The top-level walk of the file reaches the first 2 GiB only (its
//    positions are 32-bit). A top-level chunk whose size would step past that
//    reach is a failed seek (code 4).
//  - A chunk inside a 'strl' list that claims more bytes than the list holds
//    is decoded from what the list holds, the missing bytes taken as zero; a
//    record that the list cannot even frame (fewer than 8 bytes left) ends the
//    walk of that list.
//  - An OpenDML index whose entry count runs past the bytes of its chunk, that
//    would add more entries than the file has room for chunks, that nests more
//    than a few levels deep, or whose sub-index chunks add up to more bytes than
//    the file holds, stores code 37 ("Invalid AVI index"); entries added before
//    stay. A sub-index chunk smaller than its own header is code 37 as well.
//  - A dwStreams above 8 stores code 27 and ends the parse at once.
//  - A frame number below -1, or one that the index does not hold although the
//    header counts it, stores code 11 and reads nothing; getRawVideoFrameSize
//    gives 0 for such a number and stores code 11. readAudio stores code 10
//    when the stream header promises more bytes than the index holds, keeping
//    the bytes delivered so far.
//  - The 24-bit expansions run only when the stored frame geometry (width,
//    height, depth and the stored frame size) keeps every byte they touch in
//    the buffer the caller was asked for, max(getRGB24VideoFrameSize(),
//    getVideoChunkSize()). Otherwise readRGB24VideoFrame stores code 11 and
//    leaves the frame as read. In particular a 16-bit frame of width 1 and
//    three or more rows cannot be expanded.
//  - A palette index past the end of the colormap expands to black (0, 0, 0).
//  - Turning top-down frames bottom-up works without the row scratch too, so a
//    frame read after openToGetInformation alone is still bottom-up. open
//    allocates the row scratch only for a row that the file could hold.
//
//  - Every open (reading or writing) first closes a file the object still
//    holds, then starts from the state of a new object: headers, indexes,
//    colormap, flip flag and read positions of an earlier file are gone. The
//    stored failure alone carries over, so openToGetInformation still returns
//    0 after an earlier failure that nothing cleared.
//  - A frame whose position cannot be reached (a failed seek, or an offset that
//    overflows 64 bits) stores code 5 and reads nothing; audio likewise stores
//    code 10.
//  - readAudio never delivers past the total of the stream header, even when
//    the chunks hold more: isEndOfAudio() becomes 1 when the total is reached.
//  - An index entry of a video or audio chunk whose size is larger than the
//    whole file stores code 45 and is dropped, ending that index, as a video
//    entry of size 0 does. This holds for idx1, OpenDML and scanned entries of
//    either stream, whatever number the entry's id carries.
//  - An uncompressed bitmap header whose smallest frame (width * depth bits,
//    rows unpadded, times height) is larger than the whole file stores code 18
//    once the indexes are read (so open returns 0, and the stored frames can
//    still be read raw); getRGB24VideoFrameSize and getIndexedVideoFrameSize
//    give 0 for it.
//
// Cost on hostile input: the walks over the top level, 'movi' and 'idx1' read
// blocks, not one chunk per system call; OpenDML indexes are read from the
// file entry by entry rather than held whole, and the index lists reserve
// once from counts checked against the file. Opening costs about one pass over
// the bytes it walks, and at most about 2.5 times the file's bytes in memory.
//
// Tolerant reading (setTolerantReading(true) before opening; off by default,
// where everything above holds unchanged) also reads:
//  - Streamed files: a RIFF or 'movi' size of 0xFFFFFFFF runs to the end of
//    the file (the top-level walk stops at such a 'movi').
//  - Video chunks of either form, "0Ndb" and "0Ndc", in the scan of 'movi'.
//  - Files cut short: the scan stops at the end of the file without a code,
//    a last chunk the file cuts short is dropped, an OpenDML sub-index that
//    lies past the end is left out without a code (the scan then finds the
//    chunks); getVideoTotalFrames() counts the frames found (0 when none),
//    and getAudioTotalBytes() gives the bytes the audio chunks hold whenever
//    the stream header counts none or more than that.
//  - 'idx1' with file positions for offsets: decided on the first entry of a
//    kept stream (video first). When its offset taken from 'movi' does not
//    name a chunk header with the entry's id and taken as a file position it
//    does, every offset is taken as a file position.
//  - WAVE_FORMAT_EXTENSIBLE (0xFFFE) whose sub-format is PCM is read as PCM
//    (isAudioCompressed() is 0), and audio of 24 and 32 bits is accepted;
//    getAudioBitsPerSample() gives the container's bits.
//  - A bitmap header longer than 40 bytes: its first 40 bytes are read, the
//    rest of the header skipped, and any colormap taken from behind it.
//  - OpenDML standard index entries with bit 31 of the size set (not a key
//    frame): the bit is masked and the entry kept.
//  - 16-bit frames of odd width are expanded from their true row stride,
//    2 * width rounded up to four bytes, as writers store them.
//  - 8-bit video without a colormap, and 8-bit video of the grey FourCCs
//    "Y800", "Y8  " and "GREY" (ffmpeg's gray, GStreamer's GRAY8), is grey:
//    getColormap() gives the identity palette of 256 grey levels, which
//    readRGB24VideoFrame applies, and isVideoCompressed() is 0 (the FourCC
//    stays in getVideoFourCC()). Frames of a grey FourCC are stored top-down
//    whatever the sign of the height. A grey row is as long as the frame's
//    size divided by the height: ffmpeg stores rows of odd width unpadded,
//    GStreamer pads them to four bytes; a frame whose rows would be shorter
//    than the width is not expanded (code 11). readIndexedVideoFrame gives
//    the rows as stored, turned bottom-up.
//
// Buffers: readVideoFrame writes getVideoChunkSize() bytes for uncompressed
// video and getRawVideoFrameSize(frame) bytes for compressed video.
// readRGB24VideoFrame needs max(getRGB24VideoFrameSize(), getVideoChunkSize())
// bytes, readIndexedVideoFrame max(getIndexedVideoFrameSize(),
// getVideoChunkSize()), since each first reads the stored frame whole.
//
// Paths: the narrow forms take UTF-8 (any bytes, passed to the system as
// they stand); the wide forms are turned into UTF-8 first (a code point that
// is not a Unicode scalar value becomes U+FFFD).
#ifndef RIVULET_AVI_H
#define RIVULET_AVI_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "rivulet/types.h"

namespace avi {

namespace io {
class ChunkReader;
}  // namespace io

namespace errors {

// Codes of the stored failures. The numbers are part of the interface; codes
// that nothing raises are kept for hosts that hold their numbers.
enum error_T {
  NONE = 0,
  RIFF_CHUNK_MISSING = 1,
  AVI_CHUNK_MISSING = 2,
  OPEN_FAILED = 3,
  SEEK_FAILED = 4,
  FREAD_FAILED = 5,
  FWRITE_FAILED = 6,
  GET_FILE_POS_FAILED = 7,
  SET_FILE_POS_FAILED = 8,
  FRAME_COUNT_MISMATCH = 9,
  AUDIO_CHUNKS_MISSING = 10,
  VIDEO_CHUNKS_MISSING = 11,
  MAIN_HEADER_MISSING = 12,
  STREAM_LIST_MISSING = 13,
  UNEXPECTED_STRL_LENGTH = 14,
  STREAM_HEADERS_MISSING = 15,
  AUDIO_FORMAT_UNREADABLE = 16,
  VIDEO_FORMAT_UNREADABLE = 17,
  UNSUPPORTED_BITMAP_HEADER = 18,
  UNSUPPORTED_MAIN_HEADER = 19,
  UNSUPPORTED_AUDIO_FORMAT = 20,
  COLORMAP_UNREADABLE = 21,
  COLORMAP_DURING_READ = 22,
  COLORMAP_REQUIRED = 23,
  COLORMAP_NOT_EMPTY = 24,
  COLORMAP_TOO_LARGE = 25,
  OUT_OF_MEMORY = 26,
  TOO_MANY_STREAMS = 27,
  INTERLEAVED_UNSUPPORTED = 28,
  UNSUPPORTED_AUDIO_BITS = 29,
  INTERNAL_INDEX_REQUIRED = 30,
  COMPRESSED_VIDEO = 31,
  COMPRESSED_AUDIO = 32,
  UNSUPPORTED_MODE = 33,
  INVALID_LEGACY_INDEX = 34,
  LEGACY_INDEX_PARSE_ERROR = 35,
  UNSUPPORTED_INDEX_TYPE = 36,
  INVALID_INDEX = 37,
  INVALID_INDEX_OFFSET = 38,
  UNSUPPORTED_FILE = 39,
  INVALID_FRAME_COUNT = 40,
  INVALID_BITS_PER_PIXEL = 41,
  WAVE_UNSUPPORTED = 42,
  RESERVED_43 = 43,  // has no text: "Unknown error (2b)"
  VIDEO_NOT_INDEXED = 44,
  BAD_INDEX_ENTRY_SIZE = 45,  // has no text: "Unknown error (2d)"
  // Calls to a writer out of order (see "Writing" in avi::File).
  NOT_OPEN_FOR_WRITING = 46,
  SETUP_AFTER_FRAMES = 47,
  STREAM_NOT_DECLARED = 48,
  FRAME_TOO_LARGE = 49,
  WRITE_AFTER_FAILURE = 50
};

}  // namespace errors

// One chunk of a stream. On reading, offset + base is the file position of the
// chunk's data (past its 8-byte header).
class RIVULET_API IndexEntry {
 public:
  IndexEntry(std::uint32_t offset, std::uint32_t size, std::uint64_t base)
      : offset(offset), size(size), base(base) {}
  std::uint32_t getOffset() const { return offset; }
  std::uint32_t getSize() const { return size; }
  std::uint64_t getBase() const { return base; }
  std::uint64_t getAbsoluteOffset() const { return offset + base; }

 private:
  std::uint32_t offset;
  std::uint32_t size;
  std::uint64_t base;
};

// One entry of an OpenDML super index, as on disk.
class RIVULET_API SuperIndexEntry {
 public:
  SuperIndexEntry(std::uint64_t offset, std::uint32_t size, std::uint32_t duration)
      : offset(offset), size(size), duration(duration) {}
  std::uint64_t getOffset() const { return offset; }
  std::uint32_t getSize() const { return size; }
  std::uint32_t getDuration() const { return duration; }

 private:
  std::uint64_t offset;
  std::uint32_t size;
  std::uint32_t duration;
};

// The first 12 bytes of an 'indx' or 'ix0N' chunk, in their order on disk.
struct aviindex_chunk {
  std::uint16_t wLongsPerEntry;
  std::uint8_t bIndexSubType;
  std::uint8_t bIndexType;
  std::uint32_t nEntriesInUse;
  std::uint32_t dwChunkId;
};

// One colormap entry, in its order on disk.
struct tagRGBQUAD {
  std::uint8_t rgbBlue;
  std::uint8_t rgbGreen;
  std::uint8_t rgbRed;
  std::uint8_t rgbReserved;
};

// The 'avih' record.
struct MainHeader {
  std::uint32_t dwMicroSecPerFrame;
  std::uint32_t dwMaxBytesPerSec;
  std::uint32_t dwPaddingGranularity;
  std::uint32_t dwFlags;
  std::uint32_t dwTotalFrames;
  std::uint32_t dwInitialFrames;
  std::uint32_t dwStreams;
  std::uint32_t dwSuggestedBufferSize;
  std::uint32_t dwWidth;
  std::uint32_t dwHeight;
  std::uint32_t dwReserved[4];
};

// One 'strh' record, kept under its stream number.
struct StreamHeader {
  char fccType[5];
  char fccHandler[5];
  std::uint32_t dwFlags;
  std::uint32_t dwPriority;  // priority and language words as one value
  std::uint32_t dwInitialFrames;
  std::uint32_t dwScale;
  std::uint32_t dwRate;
  std::uint32_t dwStart;
  std::uint32_t dwLength;
  std::uint32_t dwSuggestedBufferSize;
  std::uint32_t dwQuality;
  std::uint32_t dwSampleSize;
  struct {
    std::uint32_t left, top, right, bottom;
  } rcFrame;
  bool disabled;
  bool paletteChanges;
};

// The wave format of the audio stream ('strf').
struct WaveFormat {
  std::uint16_t wFormatTag;
  std::uint16_t nChannels;
  std::uint32_t nSamplesPerSec;
  std::uint32_t nAvgBytesPerSec;
  std::uint16_t nBlockAlign;
  std::uint16_t wBitsPerSample;
  std::uint16_t cbSize;
};

// The bitmap header of the video stream ('strf'). biHeight is positive once
// parsed; needsFlip keeps whether the rows are stored top-down.
struct BitmapInfoHeader {
  std::uint32_t biSize;
  std::uint32_t biWidth;
  std::uint32_t biHeight;
  std::uint16_t biPlanes;
  std::uint16_t biBitCount;
  std::uint32_t biCompression;
  std::uint32_t biSizeImage;
  std::uint32_t biXPelsPerMeter;
  std::uint32_t biYPelsPerMeter;
  std::uint32_t biClrUsed;
  std::uint32_t biClrImportant;
};

class RIVULET_API File {
 public:
  static constexpr std::uint64_t STREAM_TAG_LENGTH = 5;
  static constexpr std::int64_t INVALID_FRAME_INDEX = -1;
  static constexpr std::uint32_t DEFAULT_BITS_PER_PIXEL = 24;

  File();
  ~File();
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  // Mode "r..." parses the file, checks support and completes the index; the
  // result says only that the headers parsed: poll getErrorCode() as well.
  // Mode "w..." creates the file. Any other mode stores code 33.
  unsigned char open(const char* path, const char* mode);
  unsigned char open(std::wstring path, const char* mode);
  // Parses the headers and the stored indexes only; 1 when errorCode is 0.
  unsigned char openToGetInformation(const char* path);
  unsigned char openToGetInformation(std::wstring path);
  void close();

  void clearError();
  unsigned int getErrorCode();
  const char* getErrorMsg();
  void byteSwapOnBigEndian(void*, unsigned int, unsigned int) {}

  unsigned char hasAudio() { return audioPresent; }
  unsigned char hasVideo() { return videoPresent; }
  unsigned char isAudioCompressed() { return audioFormat.wFormatTag != 1; }
  unsigned char isVideoCompressed() {
    return greyVideo ? 0 : static_cast<unsigned char>(videoFormat.biCompression & 0xFF);
  }
  std::uint16_t getAudioBitsPerSample() { return audioFormat.wBitsPerSample; }
  unsigned int getAudioNumberOfChannels() { return audioFormat.nChannels; }
  unsigned int getAudioSampleRate() { return audioFormat.nSamplesPerSec; }
  unsigned int getAudioChunkSize() { return audioChunkSize; }
  std::uint64_t getAudioBytesRead() { return audioBytesRead; }
  std::uint64_t getAudioTotalBytes();
  unsigned int getVideoWidth() { return videoFormat.biWidth; }
  unsigned int getVideoHeight() { return videoFormat.biHeight; }
  unsigned int getVideoBitsPerPixel() { return videoFormat.biBitCount; }
  std::uint64_t getVideoTotalFrames() { return mainHeader.dwTotalFrames; }
  std::uint64_t getVideoFramesRead() { return videoFramesRead; }
  double getVideoFrameRate();
  unsigned int getVideoStreamRate() { return streamHeaders[videoStreamNumber].dwRate; }
  unsigned int getVideoStreamScale() { return streamHeaders[videoStreamNumber].dwScale; }
  std::string getVideoFourCC();
  std::vector<tagRGBQUAD> getColormap() { return colormap; }
  // Bytes of one stored uncompressed frame: what readVideoFrame writes.
  unsigned int getVideoChunkSize() { return videoChunkSize; }

  // Tolerant reading, off by default: set before open or openToGetInformation
  // to read the files common writers make that the strict rules refuse or
  // misread (see the top of this header). It stays set across opens.
  void setTolerantReading(bool on) { tolerantReading = on; }
  bool getTolerantReading() { return tolerantReading; }

  // Reading. A frame is counted from 0; INVALID_FRAME_INDEX (-1) asks for the
  // next frame of the sequence. Past the end nothing is read and no failure is
  // stored: test isEndOfVideo() first.
  void readVideoFrame(char* buffer);
  void readVideoFrame(char* buffer, long long frame);
  // Bottom-up rows of blue, green, red, each row padded to four bytes, made in
  // place from the stored frame.
  void readRGB24VideoFrame(char* buffer);
  void readRGB24VideoFrame(char* buffer, long long frame);
  // The stored palette indices of an 8-bit frame; the palette is getColormap().
  void readIndexedVideoFrame(char* buffer, long long frame);
  // Audio as one byte stream across chunks; the call that reaches the end
  // given by the stream header fills the rest of its buffer with zeros.
  void readAudio(char* buffer, std::uint64_t count);
  void resetVideo() { videoFramesRead = 0; }
  void resetAudio();
  unsigned char isEndOfVideo() { return videoFramesRead == mainHeader.dwTotalFrames; }
  unsigned char isEndOfAudio() { return audioBytesRead == getAudioTotalBytes(); }
  unsigned int getRawVideoFrameSize(long long frame);
  unsigned int getRGB24VideoFrameSize();
  unsigned int getIndexedVideoFrameSize();

  // ---- Writing -----------------------------------------------------------
  // Order of calls: open(path, "w"); setNumSuperIndexEntries if wanted;
  // setVideoInfo and/or setAudioInfo (the stream declared first is stream 0);
  // setColormap for 8-bit video; then writeVideoFrame and writeAudio in the
  // interleave the host wants; close, which writes the indexes of the last
  // segment and all headers. Rates: video gets dwScale 1000000 and dwRate =
  // frameRate * 1000000 truncated; audio gets dwScale = 4294967295 / rate and
  // dwRate = dwScale * rate, both truncated; nSamplesPerSec is rounded.
  //
  // Frames are written as the host hands them: rows bottom-up, each padded to
  // four bytes, 24-bit pixels blue, green, red. A frame of odd size gets no
  // pad byte (the indexes point at the chunk behind it). A file is cut into
  // RIFF segments below 2 GiB each (an "AVI " segment, then "AVIX" ones),
  // indexed by idx1 (first segment), one ix0N per stream and segment, and
  // indx. The header's audio length (and, without video, its frame count)
  // covers the first segment only.
  //
  // A second open for writing on the same object starts a new file but keeps
  // the stream set-up of the first: both streams are described again, and
  // frames need a set-up call in the new file (code 48 otherwise).
  //
  // Each chunk is one write straight from the caller's buffer (no copy), and
  // costs 16 bytes of memory until its segment ends. Each set-up call writes
  // a provisional header (counts 0, RIFF and movi sizes 0, that is open), so
  // the final header pass at close needs no new room on the file system, and
  // a writer stopped before close leaves headers in front of its chunks
  // (readers that scan the movi list, as ffmpeg and GStreamer do, find them;
  // this library's reader takes the count of 0 and finds none).
  //
  // Guards for calls out of order, each storing a code and changing nothing
  // (neither the file nor the writer's state):
  //  - any set-up or write call on an object not open for writing (before
  //    open, after close, or open for reading): code 46. setColormap keeps
  //    its own code 22 on an object that was never a writer.
  //  - setVideoInfo, setAudioInfo or setNumSuperIndexEntries after the first
  //    chunk was written: code 47 (the header gap is fixed by then).
  //  - writeVideoFrame before setVideoInfo, writeAudio before setAudioInfo
  //    (in this file): code 48.
  //  - writeVideoFrame(data, size) with a size above the frame size that
  //    setVideoInfo declared (0 for depths 2, 4, 16, 32: no limit): code 49.
  //  - once a write of the file has failed (code 6), every later
  //    writeVideoFrame and writeAudio stores code 50 and writes nothing. The
  //    failed chunk is dropped from the indexes; close still writes the
  //    indexes and headers, so the chunks written before the failure stay
  //    readable when the file system lets those last writes through.
  // A write that fails stores code 6. A frame size or a position that does
  // not fit the 32-bit fields throws boost::numeric::positive_overflow.
  static constexpr std::int32_t MODE_READ = 0;
  static constexpr std::int32_t MODE_WRITE = 1;
  // Depth 24 (the shorter forms), 8 (needs setColormap before close), or 2, 4,
  // 16, 32 (no size rule: write those frames with writeVideoFrame(data, size)).
  // Any other depth stores code 41. A four-character fourCC marks the frames
  // as compressed by the host: chunks "0Ndc" and biCompression = fourCC.
  void setVideoInfo(unsigned int width, unsigned int height, double frameRate);
  void setVideoInfo(unsigned int width, unsigned int height, double frameRate, const std::string& fourCC);
  void setVideoInfo(unsigned int width, unsigned int height, double frameRate, const std::string& fourCC,
                    unsigned int bitsPerPixel);
  // chunkBytes: the bytes of every writeAudio buffer. An odd size is stored
  // with a zero pad byte after it; only chunkBytes are read from the buffer.
  void setAudioInfo(double sampleRate, unsigned int bitsPerSample, unsigned int numChannels,
                    unsigned int chunkBytes);
  // At most 256 entries (code 25), set once (code 24), on a writer (code 22).
  void setColormap(const std::vector<tagRGBQUAD>& map);
  // Slots reserved in the header for each stream's super index, one per RIFF
  // segment of up to 2 GiB; 4096 by default. The slots left unused also hold
  // an 8-bit palette (16 bytes a slot, 4 a colour): a count too small for the
  // segments and the palette makes the headers run over the first chunks.
  // A count whose header would pass 4 GiB throws positive_overflow.
  void setNumSuperIndexEntries(size_t entries);
  // One frame of the declared frame size; or of 'size' bytes (compressed
  // frames, depths without a size rule).
  void writeVideoFrame(char* data);
  void writeVideoFrame(char* data, unsigned int size);
  // One audio buffer of the chunkBytes given to setAudioInfo.
  void writeAudio(char* data);

 private:
  static constexpr unsigned int MAX_STREAMS = 8;

  void setError(errors::error_T code);
  // Every per-file field back to its state after construction; the stored
  // failure, the name and the writer's settings stay.
  void resetFileState();
  void countAudioIndexBytes();
  unsigned char openRead(const std::string& path);
  unsigned char openInformation(const std::string& path);

  // Header parsing.
  void parseFile();
  void parseMainHeader();
  void parseStreamLists();
  void parseStreamHeader(unsigned int stream, const char* data, std::uint64_t size);
  void parseStreamFormat(unsigned int stream, const char* data, std::uint64_t size, std::uint64_t available);
  void parseVideoStreamFormat(const char* data, std::uint64_t size, std::uint64_t available);
  void parseAudioStreamFormat(const char* data, std::uint64_t size);
  void errorIf2or4or8bitAVIwithNoClrmap();
  // Tolerant reading: 8-bit video without a colormap, or of a grey FourCC,
  // becomes grey (an identity palette); grey FourCCs store rows top-down.
  void takeAsGrey();
  void errorIfWrongNumFrameForRGB24();
  // Whether frames are stored as rows of pixels: biCompression's lowest byte
  // is 0, or the video is grey.
  bool storedAsRows() { return (videoFormat.biCompression & 0xFF) == 0 || greyVideo; }
  // Whether the smallest frame the bitmap header describes fits in the file.
  bool headerFrameFitsFile();
  void verifySupport();

  // Index reading. 'available' is how many bytes of the index's chunk (or of
  // its stream list) the reader may take from its position.
  void parseLegacyIndex();
  // Tolerant reading: whether the offsets of 'idx1' are file positions.
  bool legacyIndexIsAbsolute(std::uint64_t entries);
  void parseStreamIndex(std::uint64_t stream, io::ChunkReader& reader, std::uint64_t available);
  aviindex_chunk parseOpenDMLBaseIndex(const char* data);
  void parseOpenDMLSuperIndex(std::uint64_t stream, const aviindex_chunk& head, io::ChunkReader& reader,
                              std::uint64_t available);
  void parseOpenDMLStandardIndex(std::uint64_t stream, const aviindex_chunk& head, io::ChunkReader& reader,
                                 std::uint64_t available);
  void buildLegacyIndex(const char* tag);
  void verifyIndex();
  void addIndexEntry(std::uint64_t stream, unsigned int chunkId, unsigned int offset, unsigned int size,
                     std::uint64_t base);
  void addIndexEntry(std::uint64_t stream, const char* chunkId, unsigned int offset, unsigned int size,
                     std::uint64_t base);
  void addIndexEntry(unsigned int chunkId, unsigned int offset, unsigned int size, std::uint64_t base);
  void addIndexEntry(const char* chunkId, unsigned int offset, unsigned int size, std::uint64_t base);
  static unsigned int matchStreamNumber(const std::string& text, unsigned int audio, unsigned int video);
  static unsigned int matchStreamNumber(const char* two, unsigned int audio, unsigned int video);
  // Whether an entry's size fits in the file, for the kinds of entry kept.
  bool entrySizeFitsFile(const char* chunkId, unsigned int size);

  // Frame layout.
  unsigned int getRgb24PadLength();
  unsigned int getRgb555PadLength();
  unsigned int getIndexedPadLength();
  void convertFrameToBottomUp(char* frame);
  // readVideoFrame for the uncompressed reads: false when a failure is stored.
  bool readUncompressedVideoFrame(char* buffer, long long frame);
  bool expandToRgb24(char* frame);

  // Writer: set-up and sizing.
  bool writerUsable();
  bool chunkWritable(bool streamDeclared);
  void initWriter();
  void resetWriter();
  void resetSegments();
  void populateMainHeader();
  void populateVideoStreamHeader();
  void populateAudioStreamHeader();
  void populateBitmapHeader();
  void populateWaveHeader();
  unsigned int getHeaderLength();
  unsigned int getStrlLength(unsigned char hasStream, unsigned int fixedBytes, unsigned long long entries);
  unsigned int getOpenDMLHeaderLength();
  unsigned int getOpenDMLSuperIndexLength(unsigned long long entries);
  unsigned int getOpenDMLStandardIndexLength(unsigned long long entries);
  unsigned int getMoviLength();
  unsigned int getLegacyIndexLength();
  // Writer: the checked write of bytes at 'pos'; code 6 and false on failure.
  // 'zeroPad' zero bytes follow the body.
  bool writeAt(std::uint64_t pos, const void* head, std::size_t headSize, const void* body = nullptr,
               std::size_t bodySize = 0, std::size_t zeroPad = 0);
  // Writer: headers (the second pass), laid out in memory, written at once.
  // 'provisional': the header written at set-up, so that a writer stopped
  // before close leaves a file whose chunks a reader can find by scanning.
  void writeHeader(bool provisional = false);
  void writeVideoStreamHeader(std::string& out);
  void writeAudioStreamHeader(std::string& out);
  void writeOpenDMLHeader(std::string& out);
  static void writeChunk(std::string& out, const char* id, unsigned int size);
  static void writeList(std::string& out, const char* id, unsigned int size, const char* type);
  void copyMainHeader2Buf(char* const buffer);
  void copyStreamHeader2Buf(char* const buffer, unsigned int streamNumber);
  void copyBitmapHeader2Buf(char* const buffer);
  void copyWaveHeader2Buf(char* const buffer);
  // Writer: chunks and RIFF segments.
  void writeMoviEntry(const char* data, unsigned int chunkSize, unsigned int dataSize, const char* chunkId,
                      std::vector<IndexEntry>& index);
  unsigned int getCurRiffChunkSize();
  bool atRiffBoundary(unsigned long long dataSize);
  void updateRiffChunk(unsigned long long dataSize);
  void closeCurRiffChunk();
  bool isFirstRiffChunk();
  void writeAVIXChunk();
  // Writer: indexes.
  void writeLegacyIndex(std::string& out);
  void writeOpenDMLStandardIndex(std::string& out, const char* chunkId, unsigned int streamNumber,
                                 const std::vector<IndexEntry>& entries, std::vector<SuperIndexEntry>& superIndex);
  void writeOpenDMLSuperIndex(std::string& out, const char* chunkId, const std::vector<SuperIndexEntry>& superIndex);
  static void writeOpenDMLBaseIndex(std::string& out, const char* chunkId, unsigned short longsPerEntry,
                                    unsigned char indexType, unsigned int entriesInUse);
  static void populateOpenDMLBaseIndex(aviindex_chunk& chunk, const char* chunkId, unsigned short longsPerEntry,
                                       unsigned char indexType, unsigned int entriesInUse);
  static void copyOpenDMLBaseIndex2Buf(const aviindex_chunk& chunk, char* const buffer);

  std::string errorMsg;
  std::uint32_t errorCode;
  std::string fileName;
  std::FILE* fileHandle;
  std::int32_t fileMode;
  std::uint64_t moviOffset;
  std::uint32_t hdrlOffset;
  std::uint32_t idx1Offset;
  std::uint32_t strlOffset;
  std::uint32_t videoChunkSize;
  std::uint32_t audioDataSize;
  std::uint32_t audioChunkSize;
  std::uint64_t fileSize;
  bool audioPresent;
  bool videoPresent;
  bool needsFlip;
  char* rowBuffer;
  MainHeader mainHeader;
  StreamHeader streamHeaders[MAX_STREAMS];
  WaveFormat audioFormat;
  BitmapInfoHeader videoFormat;
  bool hasIndex;
  bool mustUseIndex;
  bool isInterleaved;
  bool trustCkType;
  bool wasCaptureFile;
  bool protectedContent;
  std::uint32_t audioStreamNumber;
  std::uint32_t videoStreamNumber;
  char audioChunkTag[STREAM_TAG_LENGTH];
  char videoChunkTag[STREAM_TAG_LENGTH];
  std::vector<IndexEntry>* audioIndex;
  std::vector<IndexEntry>* videoIndex;
  std::vector<SuperIndexEntry>* videoSuperIndex;
  std::vector<SuperIndexEntry>* audioSuperIndex;
  std::uint64_t videoFramesRead;
  std::uint64_t audioEntryNumber;
  std::uint64_t audioBytesRead;
  std::uint64_t audioEntryPos;
  bool legacyIndexWritten;
  std::uint32_t firstRiffEnd;
  std::uint32_t firstRiffVideoEntries;
  std::uint32_t firstRiffAudioEntries;
  std::uint32_t firstRiffMoviBytes;
  std::uint32_t laterVideoFrames;
  std::uint32_t curMoviBytes;
  std::uint64_t numSuperIndexEntries;
  std::vector<tagRGBQUAD> colormap;

  // Reader bookkeeping for untrusted input: the length of the open file, the
  // size of rowBuffer, and the sub-index bytes and nesting of the OpenDML parse.
  std::uint64_t streamLength;
  std::uint64_t rowBufferSize;
  std::uint64_t subIndexBytesRead;
  unsigned int indexDepth;

  // Writer bookkeeping: the next write position (the writer tracks it itself
  // and writes at explicit positions), the streams declared since open,
  // whether a chunk was written, and whether a write has failed.
  std::uint64_t writePos;
  bool videoDeclared;
  bool audioDeclared;
  bool chunksWritten;
  bool writeFailed;
  bool provisionalHeader;

  // Tolerant reading: the setting, the bytes that the audio entries hold, and
  // whether the video is grey (8 bits without a colormap).
  bool tolerantReading;
  std::uint64_t audioIndexBytes;
  bool greyVideo;
};

}  // namespace avi

#endif  // RIVULET_AVI_H
