// Picture files the frames command writes: PNG, binary PPM and NumPy .npy.
#ifndef RIVULET_CLI_IMAGE_H
#define RIVULET_CLI_IMAGE_H

#include <cstddef>
#include <string>
#include <vector>

#include "cli/common.h"

namespace cli {

// Top row first, red-green-blue rows of 3 * width bytes, from a bottom-up
// blue-green-red frame with rows padded to four bytes.
void bgrBottomUpToRgb(const unsigned char* bgr, unsigned width, unsigned height, unsigned char* rgb);

void writePng(const std::string& path, const Common& common, const unsigned char* rgb, unsigned width,
              unsigned height);
void writePpm(const std::string& path, const Common& common, const unsigned char* rgb, unsigned width,
              unsigned height);

// The .npy header (magic, version 1.0, the dictionary padded to a multiple of
// 64 bytes) of an array of the given NumPy dtype and shape.
std::string npyHeader(const char* dtype, bool fortranOrder, const std::vector<std::size_t>& shape);
// The NumPy dtype of a plane sample type ("<f8", "|u1", "|b1", ...).
const char* npyType(VideoDataType type);

}  // namespace cli

#endif  // RIVULET_CLI_IMAGE_H
