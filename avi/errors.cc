#include "avi/errors.h"

#include <array>
#include <cstdio>

namespace avi::errors {

namespace {

// Texts indexed by code; null where a code has a text built at run time (1 to
// 3, which name the file) or none at all (0, 43).
constexpr std::array<const char*, 51> kMessages = {
    nullptr,  // 0: no failure
    nullptr,  // 1: built below
    nullptr,  // 2: built below
    nullptr,  // 3: built below
    "Seek operation failed",
    "Fread operation failed",
    "Fwrite operation failed",
    "getFilePos operation failed",
    "setFilePos operation failed",
    "Number of frames reported in the AVI header does not match number of ##db chunks",
    "Corrupted file: audio chunks are missing",
    "Corrupted file: video chunks are missing",
    "Corrupted file: main AVI header information is missing",
    "Corrupted file: stream list is missing",
    "Encountered unexpected length of strl chunk",
    "Corrupted file: stream headers is missing",
    "Unable to read audio format header",
    "Unable to read video frame format header",
    "Unsupported bitmap header found",
    "Unsupported main header found",
    "Unsupported audio format header found",
    "Failed to read AVI colormap",
    "Cannot set colormap during read",
    "Colormap required to write this file",
    "Cannot over-write a non-empty colormap",
    "Colormap can only have maximum of 256 entries",
    "Out of memory",
    "AVI files with more than 8 streams are not supported",
    "Interleaved AVI files are not supported",
    "Unsupported audio stream.Audio must be 8 or 16 bits",
    "AVI files that require use of internal index are not supported",
    "Compressed video streams are not supported",
    "Compressed audio streams are not supported",
    "Unsupported read/write mode",
    "Invalid Legacy Index",
    "Error parsing the legacy index",
    "Unsupported AVI index type",
    "Invalid AVI index",
    "Invalid Index Offset Calculated",
    "Unsupported AVI file",
    "Invalid number of frames",
    "Invalid value for Bits Per Pixel",
    "WAVE files are only supported on Windows platforms.",
    nullptr,  // 43: no text of its own
    "Read attempted for a video that is not indexed",
    nullptr,  // 45: no text of its own
    "File is not open for writing",
    "Streams cannot be set up after the first chunk was written",
    "No such stream was set up for this file",
    "Frame is larger than the frame size set up for the video stream",
    "Writing stopped after an earlier write failure",
};
static_assert(kMessages.size() == WRITE_AFTER_FAILURE + 1, "one slot per code up to 50");

}  // namespace

std::string message(error_T code, const std::string& fileName) {
  switch (code) {
    case RIFF_CHUNK_MISSING:
      return "'" + fileName + "' is not a valid AVI file (RIFF chunk is missing)";
    case AVI_CHUNK_MISSING:
      return "'" + fileName + "' is not a valid AVI file (AVI chunk is missing)";
    case OPEN_FAILED:
      return "Unable to open AVI file ('" + fileName + "')";
    default:
      break;
  }
  const unsigned int value = static_cast<unsigned int>(code);
  if (value < kMessages.size() && kMessages[value] != nullptr) {
    return kMessages[value];
  }
  char text[32];
  std::snprintf(text, sizeof text, "Unknown error (%x)", value);
  return text;
}

}  // namespace avi::errors
