// Routine tables of the video families, one per source, read by the
// selectors, and the types each family has.
#ifndef RIVULET_VIDEO_FAMILIES_H
#define RIVULET_VIDEO_FAMILIES_H

#include "rivulet/video.h"
#include "video/table.h"

namespace rivulet {

using VideoInputTable = VideoTable<VideoInputFcn>;
using VideoOutputTable = VideoTable<VideoOutputFcn>;

// RGB planes from packed BGR frames and from byte planes: every type.
inline constexpr unsigned kRGBToRGBChannelsInputTypes = kAllVideoTypes;
extern const VideoInputTable kRGBToRGBChannelsInput;
extern const VideoInputTable kRGBToRGBChannelsInput_mmr;

// The fills: every type but VIDEO_BOOLEAN, which has no Empty member.
inline constexpr unsigned kEmptyTypes = withoutType(kAllVideoTypes, VIDEO_BOOLEAN);
extern const VideoInputTable kToRGBChannelsEmpty;
extern const VideoInputTable kToIntensityChannelsEmpty;

}  // namespace rivulet

#endif
