// rivulet: video conversion selectors and their routine types.
//
// A host asks a selector once for a routine and calls it for every frame. The
// routine has the frame format, plane model and sample type compiled in; it
// checks nothing and allocates nothing. Selectors answer null for a
// combination they have no routine for.
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

#endif  // RIVULET_VIDEO_H
