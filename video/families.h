// Routine tables of the video families, one per source, read by the selectors.
#ifndef RIVULET_VIDEO_FAMILIES_H
#define RIVULET_VIDEO_FAMILIES_H

#include "rivulet/video.h"

namespace rivulet {

using VideoInputTable = VideoInputFcn const[9];
using VideoOutputTable = VideoOutputFcn const[9];

extern VideoInputTable kRGBToRGBChannelsInput;
extern VideoInputTable kRGBToRGBChannelsInput_mmr;
extern VideoInputTable kToRGBChannelsEmpty;
extern VideoInputTable kToIntensityChannelsEmpty;

// Intensity (intensity.cc).
extern VideoInputTable kRGBToIntensityChannelsInput;
extern VideoInputTable kRGBToIntensityChannelsInput_mmr;
extern VideoInputTable kYCbCrToIntensityChannelsInput;

// Packed RGB24 (rgb24.cc).
extern RGB24ContiguousFcn const kRGB24Copy[9];
extern VideoInputTable kRGB24ChannelsCopy;
extern RGB24ContiguousFcn const kRGB24Empty[9];
extern VideoInputTable kRGB24ChannelsEmpty;
extern RGB24ContiguousFcn const kRGB24Output[9];
extern VideoOutputTable kRGB24ChannelsOutput;
extern RGB24ContiguousFcn const kPaddedRGB24Output[9];
extern VideoOutputTable kPaddedRGB24ChannelsOutput;

// Raw planar transposes (raw_planar.cc): null for a pair without a routine.
RawPlanarConvertFcn rawPlanarColumnToRow(VideoDataType sourceType, VideoDataType targetType);

}  // namespace rivulet

#endif
