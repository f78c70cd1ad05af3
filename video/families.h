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

// Intensity (intensity.cc): every type.
inline constexpr unsigned kIntensityTypes = kAllVideoTypes;
extern const VideoInputTable kRGBToIntensityChannelsInput;
extern const VideoInputTable kRGBToIntensityChannelsInput_mmr;
extern const VideoInputTable kYCbCrToIntensityChannelsInput;

// Packed RGB24 (rgb24.cc): the copies and clearings have no VIDEO_BOOLEAN
// member, the outputs every type.
inline constexpr unsigned kRGB24CopyTypes = withoutType(kAllVideoTypes, VIDEO_BOOLEAN);
inline constexpr unsigned kRGB24OutputTypes = kAllVideoTypes;
using RGB24ContiguousTable = VideoTable<RGB24ContiguousFcn>;
extern const RGB24ContiguousTable kRGB24Copy;
extern const VideoInputTable kRGB24ChannelsCopy;
extern const RGB24ContiguousTable kRGB24Empty;
extern const VideoInputTable kRGB24ChannelsEmpty;
extern const RGB24ContiguousTable kRGB24Output;
extern const VideoOutputTable kRGB24ChannelsOutput;
extern const RGB24ContiguousTable kPaddedRGB24Output;
extern const VideoOutputTable kPaddedRGB24ChannelsOutput;

// Raw planar transposes (raw_planar.cc): null for a pair without a routine.
RawPlanarConvertFcn rawPlanarColumnToRow(VideoDataType sourceType, VideoDataType targetType);
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
