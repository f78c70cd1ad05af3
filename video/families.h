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

// Planes back to frames, YCbCr in and YCbCr out.
extern VideoOutputTable kRGBToRGBChannelsOutput;
extern VideoOutputTable kIntensityToRGBChannelsOutput;
extern VideoOutputTable kRGBToRGB24ChannelsConvertCopy;
extern VideoOutputTable kIntensityToRGB24ChannelsConvertCopy;
extern VideoInputTable kRGBToYCbCrChannelsInput;
extern VideoInputTable kRGBToYCbCrChannelsInput_mmr;
extern VideoInputTable kYCbCrToYCbCrChannelsInput;
extern VideoInputTable kYCbCrToRGBChannelsInput;
extern VideoOutputTable kYCbCrToRGBChannelsOutput;
extern VideoOutputTable kRGBToYCbCrChannelsOutput;
extern VideoOutputTable kIntensityToYCbCrChannelsOutput;
extern VideoOutputTable kYCbCrToYCbCrChannelsOutput;

}  // namespace rivulet

#endif
