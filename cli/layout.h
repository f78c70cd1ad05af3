// What the command learns from the RIFF structure of a file that the reader
// does not report: the kind of index, the RIFF segments, the row order.
#ifndef RIVULET_CLI_LAYOUT_H
#define RIVULET_CLI_LAYOUT_H

#include <cstdint>
#include <string>

namespace cli {

struct Layout {
  unsigned segments = 0;      // RIFF chunks one after the other from the start
  bool openDmlIndex = false;  // an 'indx' chunk in a stream list
  bool legacyIndex = false;   // an 'idx1' chunk in the first RIFF
  bool topDown = false;       // the video's biHeight is negative
  std::uint64_t size = 0;     // bytes in the file
  const char* indexKind() const { return openDmlIndex ? "OpenDML" : legacyIndex ? "idx1" : "scan"; }
};

// Walks the top-level chunks and the header list only, with every size
// checked against the file; a file that is not RIFF gives zero segments.
Layout readLayout(const std::string& path);

}  // namespace cli

#endif  // RIVULET_CLI_LAYOUT_H
