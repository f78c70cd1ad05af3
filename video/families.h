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

// Planes back to frames, YCbCr in and YCbCr out: every type.
inline constexpr unsigned kFramesAndYCbCrTypes = kAllVideoTypes;
extern const VideoOutputTable kRGBToRGBChannelsOutput;
extern const VideoOutputTable kIntensityToRGBChannelsOutput;
extern const VideoOutputTable kRGBToRGB24ChannelsConvertCopy;
extern const VideoOutputTable kIntensityToRGB24ChannelsConvertCopy;
extern const VideoInputTable kRGBToYCbCrChannelsInput;
extern const VideoInputTable kRGBToYCbCrChannelsInput_mmr;
extern const VideoInputTable kYCbCrToYCbCrChannelsInput;
extern const VideoInputTable kYCbCrToRGBChannelsInput;
extern const VideoOutputTable kYCbCrToRGBChannelsOutput;
extern const VideoOutputTable kRGBToYCbCrChannelsOutput;
extern const VideoOutputTable kIntensityToYCbCrChannelsOutput;
extern const VideoOutputTable kYCbCrToYCbCrChannelsOutput;

}  // namespace rivulet

#endif
