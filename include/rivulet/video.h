// rivulet: video conversion selectors and their routine types.
//
// A host asks a selector once for a routine and calls it for every frame. The
// routine has the frame format, plane model and sample type compiled in; it
// checks nothing and, but for the buffer below, allocates nothing. Selectors
// answer null for a combination they have no routine for.
//
// Column-major routines stage a band of whole picture rows in a buffer of
// 384 KiB that each calling thread takes from the heap at its first such call
// and keeps until the thread ends. Where the heap cannot give it, they work
// in narrower pieces on the stack instead, with the same results. Either way
// a routine takes up to about 64 KiB of the caller's stack.
#ifndef RIVULET_VIDEO_H
#define RIVULET_VIDEO_H

#include "rivulet/types.h"

// Packed frame -> planes. The Empty routines share this type and ignore frame.
typedef void (*VideoInputFcn)(void const* frame, void* plane0, void* plane1, void* plane2,
                              int w, int h, VideoFrameOrientation orientation);
// Planes -> packed frame.
typedef void (*VideoOutputFcn)(void const* plane0, void const* plane1, void const* plane2,
                               void* frame, int w, int h, VideoFrameOrientation orientation);

// ---- Top-level selectors ------------------------------------------------------

// frameFormat is the packed frame's format (FOURCC_RGB or FOURCC_YUY2),
// channelModel the planes' colour model. useMmr selects the families that read
// contiguous 8-bit planes and always write column-major planes; it matters only
// for FOURCC_RGB frames.
RIVULET_API VideoInputFcn MM_GetVideoInputFcn(FourCCType frameFormat, FourCCType channelModel,
                                              VideoDataType dataType, bool useMmr);
// Note the order: the planes' model first, then the frame format.
RIVULET_API VideoOutputFcn MM_GetVideoOutputFcn(FourCCType channelModel, FourCCType frameFormat,
                                                VideoDataType dataType);
// Routines that paint every plane of a model with the type's minimum.
RIVULET_API VideoInputFcn MM_GetVideoEmptyFcn(FourCCType channelModel, VideoDataType dataType);

// ---- Single-table selectors -----------------------------------------------------
// Each reads a table of nine routines indexed by dataType; a value above 8 gives
// null. The input and Empty selectors fill videoTraits<dataType>::EightBitLUT
// before they answer; the output and ConvertCopy selectors leave it alone.

RIVULET_API VideoInputFcn MM_GetRGBToRGBChannelsInputFcn(VideoDataType dataType);
RIVULET_API VideoInputFcn MM_GetRGBToRGBChannelsInputFcn_mmr(VideoDataType dataType);
RIVULET_API VideoInputFcn MM_GetRGBToIntensityChannelsInputFcn(VideoDataType dataType);
RIVULET_API VideoInputFcn MM_GetRGBToIntensityChannelsInputFcn_mmr(VideoDataType dataType);
RIVULET_API VideoInputFcn MM_GetRGBToYCbCrChannelsInputFcn(VideoDataType dataType);
RIVULET_API VideoInputFcn MM_GetRGBToYCbCrChannelsInputFcn_mmr(VideoDataType dataType);
RIVULET_API VideoInputFcn MM_GetYCbCrToRGBChannelsInputFcn(VideoDataType dataType);
RIVULET_API VideoInputFcn MM_GetYCbCrToIntensityChannelsInputFcn(VideoDataType dataType);
RIVULET_API VideoInputFcn MM_GetYCbCrToYCbCrChannelsInputFcn(VideoDataType dataType);
// The Empty families have no VIDEO_BOOLEAN member (null, after the table fill).
// ToYCbCrChannelsEmpty writes w * h elements to every plane, chroma included.
// A product w * h of zero or less writes nothing.
RIVULET_API VideoInputFcn MM_GetToRGBChannelsEmptyFcn(VideoDataType dataType);
RIVULET_API VideoInputFcn MM_GetToIntensityChannelsEmptyFcn(VideoDataType dataType);
RIVULET_API VideoInputFcn MM_GetToYCbCrChannelsEmptyFcn(VideoDataType dataType);

RIVULET_API VideoOutputFcn MM_GetRGBToRGBChannelsOutputFcn(VideoDataType dataType);
RIVULET_API VideoOutputFcn MM_GetIntensityToRGBChannelsOutputFcn(VideoDataType dataType);
RIVULET_API VideoOutputFcn MM_GetRGBToRGB24ChannelsConvertCopyFcn(VideoDataType dataType);
RIVULET_API VideoOutputFcn MM_GetIntensityToRGB24ChannelsConvertCopyFcn(VideoDataType dataType);
RIVULET_API VideoOutputFcn MM_GetYCbCrToRGBChannelsOutputFcn(VideoDataType dataType);
RIVULET_API VideoOutputFcn MM_GetRGBToYCbCrChannelsOutputFcn(VideoDataType dataType);
RIVULET_API VideoOutputFcn MM_GetIntensityToYCbCrChannelsOutputFcn(VideoDataType dataType);
RIVULET_API VideoOutputFcn MM_GetYCbCrToYCbCrChannelsOutputFcn(VideoDataType dataType);

// ---- Intensity --------------------------------------------------------------------
// The intensity routines (RGB or YUY2 frame, FOURCC_GREY planes) write plane0
// only; plane1 and plane2 are never touched and may be null. From RGB the
// intensity is computed in double with a value rule per type (white gives max
// in every type, e.g. 65535 in VIDEO_UINT16; black gives -127 in VIDEO_INT8);
// from YUY2 the studio-range luma is stretched to a byte and widened by
// EightBitLUT. The YUY2 routine writes nothing for an orientation other than
// 0 and 1.

// ---- Packed RGB24 ------------------------------------------------------------------
// Packed 24-bit frames (blue, green, red bytes; rows bottom-up, so the picture's
// top row is the last row in memory) to and from three planes of any type, with
// a full-range rule of their own: a byte widens to the whole range of the type
// (0 gives min, 255 gives max, e.g. 65535 in VIDEO_UINT16) and a sample narrows
// back with rounding, so a copy followed by an output reproduces every byte
// (VIDEO_BOOLEAN, which has outputs only, narrows by negation: 1 gives 255,
// 2 gives 254).
// The frame row stride is 3 * w, or 3 * w rounded up to a multiple of four
// ("padded"); the copy routines always read the padded stride, and the padded
// outputs never touch the padding bytes. Orientation 0 gives row-major planes
// and any other value column-major ones; the frame is never flipped by it. A
// width or height of zero or less writes nothing (the clearing routines: a
// product w * h of zero or less). The selectors leave EightBitLUT alone, and
// answer null for a type above 8 and for the VIDEO_BOOLEAN copy and clearing.

// A single buffer of three planes: red, then green at element w * h, blue at
// element 2 * w * h. (frame, planes, ...) for the copy and clearing routines,
// whose first argument the clearing ignores; (planes, frame, ...) for outputs.
typedef void (*RGB24ContiguousFcn)(void const* source, void* target, int w, int h,
                                   VideoFrameOrientation orientation);

RIVULET_API RGB24ContiguousFcn MM_GetRGB24CopyFcn(VideoDataType dataType);
RIVULET_API VideoInputFcn MM_GetRGB24ChannelsCopyFcn(VideoDataType dataType);
RIVULET_API RGB24ContiguousFcn MM_GetRGB24EmptyFcn(VideoDataType dataType);
RIVULET_API VideoInputFcn MM_GetRGB24ChannelsEmptyFcn(VideoDataType dataType);
RIVULET_API RGB24ContiguousFcn MM_GetRGB24OutputFcn(VideoDataType dataType);
RIVULET_API VideoOutputFcn MM_GetRGB24ChannelsOutputFcn(VideoDataType dataType);
RIVULET_API RGB24ContiguousFcn MM_GetPaddedRGB24OutputFcn(VideoDataType dataType);
RIVULET_API VideoOutputFcn MM_GetPaddedRGB24ChannelsOutputFcn(VideoDataType dataType);

// ---- Raw planar transposes ----------------------------------------------------------
// planeCount column-major planes of width * height source elements (row r,
// column c of plane p at p * width * height + c * height + r) to planeCount
// row-major planes, each row followed by padElements zeros, so a target plane
// is height * (width + padElements) elements. flipRows writes the rows last
// to first. A planeCount below 1, and (a choice of this library) a height of
// zero or less, write nothing; a negative width or padElements counts as zero.
typedef void (*RawPlanarConvertFcn)(void const* source, void* target, int width, int height,
                                    int planeCount, int padElements, bool flipRows);

// Pairs with a routine (source -> target: element rule): INT8 -> INT8, UINT8 ->
// UINT8, INT16 -> INT16, UINT16 -> UINT16 (copies); BOOLEAN -> UINT8 (0 gives
// 0, anything else 255); DOUBLE or SINGLE -> INT16 (floor(x * 32768),
// saturated, NaN gives 0); INT32 -> INT16 (division by 65536 toward zero);
// UINT32 -> UINT16 (the high 16 bits). Every other pair gives null.
RIVULET_API RawPlanarConvertFcn MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(
    VideoDataType sourceType, VideoDataType targetType);
// ---- Planes back to frames, YCbCr in and YCbCr out: what each routine touches --------
// Sizes in elements of the routine's type for planes, in bytes for frames;
// "pairs" is (w + 1) / 2, "flat" is (w * h + 1) / 2 (w * h taken as a signed
// 32-bit product). A BGR frame has h rows of 3 * w bytes rounded up to four;
// its padding bytes are never written. Unless said otherwise a w or h of zero
// or less writes nothing.
//
// RGBToRGBChannelsOutput, IntensityToRGBChannelsOutput: w * h per plane;
//   orientation 0 row-major planes, any other value column-major. The
//   intensity routines read plane0 only (plane1 and plane2 may be null).
// RGBToRGB24ChannelsConvertCopy, IntensityToRGB24ChannelsConvertCopy: w * h per
//   plane, 3 * w * h output bytes, element order kept, orientation ignored.
// RGBToYCbCrChannelsInput: planes of w - (w mod 2) (Y) and w / 2 (Cb, Cr)
//   columns by h rows; a last odd column is not read. Orientation as above.
// RGBToYCbCrChannelsInput_mmr: planes are written column-major with pairs
//   chroma columns and 2 * pairs Y columns, so an odd width writes one column
//   past a w-column Y plane and past w / 2 chroma columns. The source needs
//   3 * w * h bytes, plus h for an odd width in orientation 1 (column-major
//   source) or 1 for an odd width in any other orientation (row-major source).
// YCbCrToYCbCrChannelsInput: orientation 0 reads 4 * flat frame bytes and
//   writes 2 * flat Y and flat Cb, Cr elements (an odd w * h writes one Y past
//   w * h); orientation 1 reads 2 * w * h bytes and writes w * h Y and
//   pairs * h Cb, Cr elements (for an odd width Cb and Cr take turns by row);
//   any other orientation writes nothing.
// YCbCrToRGBChannelsInput: orientation 0: 4 * flat frame bytes, 2 * flat per
//   plane; any other value: 4 * pairs * h frame bytes, 2 * pairs * h per plane
//   (an odd width writes one column past the planes).
// YCbCrToRGBChannelsOutput: Y w * h, Cb and Cr (w / 2) * h; an odd width
//   leaves the last pixel of each row, like the padding, as it was.
// RGBToYCbCrChannelsOutput: orientation 1: w * h per plane, (2 * w + 2) * h
//   frame bytes for an odd width, 2 * w * h for an even one. Any other value
//   makes a step for every column: a frame of 4 * (w + (w mod 2)) * h bytes,
//   twice a YUY2 frame, and for an even width planes of w * h + 1.
// IntensityToYCbCrChannelsOutput: reads plane0 only; frame as the previous
//   routine's orientation 1. Orientation 0 sends the right pixel of each pair
//   through the luma rule twice, and for an odd width reads its last sample
//   ahead of the row: plane0 needs h * (2 * w - 1) elements then (w * h
//   otherwise).
// YCbCrToYCbCrChannelsOutput: orientation 0: 2 * flat Y, flat Cb, Cr elements,
//   4 * flat frame bytes; any other value: 2 * pairs * h Y, pairs * h Cb, Cr
//   elements, 4 * pairs * h frame bytes.
// RGBToYCbCrChannelsOutput and IntensityToYCbCrChannelsOutput write nothing
// for a w of zero or less, even where an odd negative width would otherwise
// make a last step.

#endif  // RIVULET_VIDEO_H
