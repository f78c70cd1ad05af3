// avi::File, writing: the second pass at close, which fills the header gap
// from file position 0 with the final counts. The whole gap is laid out in
// memory and written at once.
#include <cstdint>
#include <cstring>
#include <string>

#include "avi/byte_order.h"
#include "avi/errors.h"
#include "rivulet/avi.h"

namespace avi {

namespace {

void appendLE32(std::string& out, std::uint32_t value) {
  char bytes[4];
  putLE32(bytes, value);
  out.append(bytes, 4);
}

}  // namespace

void File::writeChunk(std::string& out, const char* id, unsigned int size) {
  out.append(id, 4);
  appendLE32(out, size);
}

void File::writeList(std::string& out, const char* id, unsigned int size, const char* type) {
  writeChunk(out, id, size);
  out.append(type, 4);
}

void File::copyMainHeader2Buf(char* const buffer) {
  const std::uint32_t values[14] = {mainHeader.dwMicroSecPerFrame,
                                    mainHeader.dwMaxBytesPerSec,
                                    mainHeader.dwPaddingGranularity,
                                    mainHeader.dwFlags,
                                    mainHeader.dwTotalFrames,
                                    mainHeader.dwInitialFrames,
                                    mainHeader.dwStreams,
                                    mainHeader.dwSuggestedBufferSize,
                                    mainHeader.dwWidth,
                                    mainHeader.dwHeight,
                                    mainHeader.dwReserved[0],
                                    mainHeader.dwReserved[1],
                                    mainHeader.dwReserved[2],
                                    mainHeader.dwReserved[3]};
  for (int i = 0; i < 14; ++i) {
    putLE32(buffer + 4 * i, values[i]);
  }
}

void File::copyStreamHeader2Buf(char* const buffer, unsigned int streamNumber) {
  const StreamHeader& h = streamHeaders[streamNumber];
  std::memcpy(buffer, h.fccType, 4);
  std::memcpy(buffer + 4, h.fccHandler, 4);
  const std::uint32_t values[10] = {h.dwFlags, h.dwPriority, h.dwInitialFrames, h.dwScale,
                                    h.dwRate,  h.dwStart,    h.dwLength,        h.dwSuggestedBufferSize,
                                    h.dwQuality, h.dwSampleSize};
  for (int i = 0; i < 10; ++i) {
    putLE32(buffer + 8 + 4 * i, values[i]);
  }
  // rcFrame is four 16-bit values on disk: the low halves are kept.
  putLE16(buffer + 48, static_cast<std::uint16_t>(h.rcFrame.left));
  putLE16(buffer + 50, static_cast<std::uint16_t>(h.rcFrame.top));
  putLE16(buffer + 52, static_cast<std::uint16_t>(h.rcFrame.right));
  putLE16(buffer + 54, static_cast<std::uint16_t>(h.rcFrame.bottom));
}

void File::copyBitmapHeader2Buf(char* const buffer) {
  const BitmapInfoHeader& v = videoFormat;
  putLE32(buffer, v.biSize);
  putLE32(buffer + 4, v.biWidth);
  putLE32(buffer + 8, v.biHeight);
  putLE16(buffer + 12, v.biPlanes);
  putLE16(buffer + 14, v.biBitCount);
  putLE32(buffer + 16, v.biCompression);
  putLE32(buffer + 20, v.biSizeImage);
  putLE32(buffer + 24, v.biXPelsPerMeter);
  putLE32(buffer + 28, v.biYPelsPerMeter);
  putLE32(buffer + 32, v.biClrUsed);
  putLE32(buffer + 36, v.biClrImportant);
}

void File::copyWaveHeader2Buf(char* const buffer) {
  const WaveFormat& a = audioFormat;
  putLE16(buffer, a.wFormatTag);
  putLE16(buffer + 2, a.nChannels);
  putLE32(buffer + 4, a.nSamplesPerSec);
  putLE32(buffer + 8, a.nAvgBytesPerSec);
  putLE16(buffer + 12, a.nBlockAlign);
  putLE16(buffer + 14, a.wBitsPerSample);
  putLE16(buffer + 16, a.cbSize);
}

void File::writeVideoStreamHeader(std::string& out) {
  const std::uint32_t colormapBytes = static_cast<std::uint32_t>(colormap.size() * sizeof(tagRGBQUAD));
  const bool indexed = videoFormat.biBitCount == 8;
  if (indexed && colormapBytes == 0 && !provisionalHeader) {
    // Nothing of the list is written; the JUNK filler takes its room.
    setError(errors::COLORMAP_REQUIRED);
    return;
  }
  const std::uint32_t paletteBytes = indexed ? colormapBytes : 0;
  writeList(out, "LIST", getStrlLength(videoPresent, 116 + paletteBytes, videoSuperIndex->size()), "strl");
  writeChunk(out, "strh", 56);
  populateVideoStreamHeader();
  char record[56];
  copyStreamHeader2Buf(record, videoStreamNumber);
  out.append(record, 56);
  writeChunk(out, "strf", 40 + paletteBytes);
  populateBitmapHeader();
  copyBitmapHeader2Buf(record);
  out.append(record, 40);
  // Only depth 8 carries its palette, blue, green, red, reserved as given.
  for (std::size_t i = 0; indexed && i < colormap.size(); ++i) {
    const tagRGBQUAD& q = colormap[i];
    const char entry[4] = {static_cast<char>(q.rgbBlue), static_cast<char>(q.rgbGreen), static_cast<char>(q.rgbRed),
                           static_cast<char>(q.rgbReserved)};
    out.append(entry, 4);
  }
  writeOpenDMLSuperIndex(out, videoChunkTag, *videoSuperIndex);
}

void File::writeAudioStreamHeader(std::string& out) {
  // "strl" (4), strh with its frame (64), strf with its frame (136).
  writeList(out, "LIST", getStrlLength(audioPresent, 204, audioSuperIndex->size()), "strl");
  writeChunk(out, "strh", 56);
  populateAudioStreamHeader();
  char record[128] = {};
  copyStreamHeader2Buf(record, audioStreamNumber);
  out.append(record, 56);
  // 128 bytes of wave format: the 18 of the record (cbSize 0), then zeros.
  std::memset(record, 0, sizeof record);
  writeChunk(out, "strf", 128);
  populateWaveHeader();
  copyWaveHeader2Buf(record);
  out.append(record, 128);
  writeOpenDMLSuperIndex(out, audioChunkTag, *audioSuperIndex);
}

void File::writeOpenDMLHeader(std::string& out) {
  writeList(out, "LIST", getOpenDMLHeaderLength(), "odml");
  writeChunk(out, "dmlh", 4);
  appendLE32(out, firstRiffVideoEntries + laterVideoFrames);
}

void File::writeHeader(bool provisional) {
  const std::uint32_t headerLength = getHeaderLength();
  std::string out;
  out.reserve(headerLength + 32);
  provisionalHeader = provisional;
  // A provisional header leaves both sizes open (0): the file ends where the
  // writer stopped.
  writeList(out, "RIFF", provisional ? 0 : firstRiffEnd - 8, "AVI ");
  writeList(out, "LIST", headerLength, "hdrl");
  writeChunk(out, "avih", 56);
  populateMainHeader();
  char record[56];
  copyMainHeader2Buf(record);
  out.append(record, 56);
  // The stream lists in stream-number order.
  if (videoPresent && audioPresent && videoStreamNumber != 0) {
    writeAudioStreamHeader(out);
    writeVideoStreamHeader(out);
  } else {
    if (videoPresent) {
      writeVideoStreamHeader(out);
    }
    if (audioPresent) {
      writeAudioStreamHeader(out);
    }
  }
  writeOpenDMLHeader(out);
  // The filler up to the movi list. 'used' counts as the hdrl size does, from
  // position 20. All sizes are multiples of 4, so the spare room is 0, 4, 8 or
  // more, or negative when the super indexes and the colormap outgrew the
  // slots reserved for them (the headers then run into the first chunks).
  const std::uint32_t used = static_cast<std::uint32_t>(out.size() - 20);
  std::size_t moviFrameAt = out.size();
  if (headerLength > used) {
    // With 4 bytes spare the size wraps to 4294967292: the frame is written,
    // and the movi list frame, 4 bytes back, lands over its size field.
    const std::uint32_t junk = headerLength - used - 8;
    writeChunk(out, "JUNK", junk);
    moviFrameAt = static_cast<std::size_t>(headerLength) + 20;
  }
  // The JUNK payload is written as zeros, so the whole gap goes out in one
  // write.
  if (out.size() < moviFrameAt + 12) {
    out.resize(moviFrameAt + 12, '\0');
  }
  std::string movi;
  writeList(movi, "LIST", provisional ? 0 : getMoviLength(), "movi");
  out.replace(moviFrameAt, 12, movi);
  if (!writeAt(0, out.data(), out.size())) {
    writeFailed = true;
  }
}

}  // namespace avi
