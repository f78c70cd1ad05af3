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

}  // namespace rivulet

#endif
