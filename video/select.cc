// The video selectors: two ways of reading a nine-entry table, and the three
// top-level decision tables over frame format and plane model.
#include "video/families.h"
#include "types/traits.h"

namespace rivulet {
namespace {

// Families whose routines are not in this build yet: every entry null.
constexpr VideoInputTable kNoInput = {};
constexpr VideoOutputTable kNoOutput = {};

// Filling read: out of range touches nothing; otherwise the type's 8-bit table
// is (re)written before the entry is returned.
template <typename Fcn>
Fcn fillingRead(VideoTable<Fcn> const& table, VideoDataType dataType) {
  if (static_cast<unsigned>(dataType) >= kVideoTypeCount) return nullptr;
  initEightBitLUT(dataType);
  return table[dataType];
}

// Plain read: no side effect.
template <typename Fcn>
Fcn plainRead(VideoTable<Fcn> const& table, VideoDataType dataType) {
  if (static_cast<unsigned>(dataType) >= kVideoTypeCount) return nullptr;
  return table[dataType];
}

}  // namespace
}  // namespace rivulet

using namespace rivulet;

// ---- Input families (filling reads) -------------------------------------------------

VideoInputFcn MM_GetRGBToRGBChannelsInputFcn(VideoDataType t) {
  return fillingRead(kRGBToRGBChannelsInput, t);
}
VideoInputFcn MM_GetRGBToRGBChannelsInputFcn_mmr(VideoDataType t) {
  return fillingRead(kRGBToRGBChannelsInput_mmr, t);
}
VideoInputFcn MM_GetRGBToIntensityChannelsInputFcn(VideoDataType t) {
  return fillingRead(kRGBToIntensityChannelsInput, t);
}
VideoInputFcn MM_GetRGBToIntensityChannelsInputFcn_mmr(VideoDataType t) {
  return fillingRead(kRGBToIntensityChannelsInput_mmr, t);
}
VideoInputFcn MM_GetRGBToYCbCrChannelsInputFcn(VideoDataType t) {
  return fillingRead(kRGBToYCbCrChannelsInput, t);
}
VideoInputFcn MM_GetRGBToYCbCrChannelsInputFcn_mmr(VideoDataType t) {
  return fillingRead(kRGBToYCbCrChannelsInput_mmr, t);
}
VideoInputFcn MM_GetYCbCrToRGBChannelsInputFcn(VideoDataType t) {
  return fillingRead(kYCbCrToRGBChannelsInput, t);
}
VideoInputFcn MM_GetYCbCrToIntensityChannelsInputFcn(VideoDataType t) {
  return fillingRead(kYCbCrToIntensityChannelsInput, t);
}
VideoInputFcn MM_GetYCbCrToYCbCrChannelsInputFcn(VideoDataType t) {
  return fillingRead(kYCbCrToYCbCrChannelsInput, t);
}

// ---- Empty families (filling reads) -------------------------------------------------

VideoInputFcn MM_GetToRGBChannelsEmptyFcn(VideoDataType t) {
  return fillingRead(kToRGBChannelsEmpty, t);
}
VideoInputFcn MM_GetToIntensityChannelsEmptyFcn(VideoDataType t) {
  return fillingRead(kToIntensityChannelsEmpty, t);
}
// Same routines as the RGB table: every plane gets w * h elements.
VideoInputFcn MM_GetToYCbCrChannelsEmptyFcn(VideoDataType t) {
  return fillingRead(kToRGBChannelsEmpty, t);
}

// ---- Output and ConvertCopy families (plain reads) ----------------------------------

VideoOutputFcn MM_GetRGBToRGBChannelsOutputFcn(VideoDataType t) {
  return plainRead(kRGBToRGBChannelsOutput, t);
}
VideoOutputFcn MM_GetIntensityToRGBChannelsOutputFcn(VideoDataType t) {
  return plainRead(kIntensityToRGBChannelsOutput, t);
}
VideoOutputFcn MM_GetRGBToRGB24ChannelsConvertCopyFcn(VideoDataType t) {
  return plainRead(kRGBToRGB24ChannelsConvertCopy, t);
}
VideoOutputFcn MM_GetIntensityToRGB24ChannelsConvertCopyFcn(VideoDataType t) {
  return plainRead(kIntensityToRGB24ChannelsConvertCopy, t);
}
VideoOutputFcn MM_GetYCbCrToRGBChannelsOutputFcn(VideoDataType t) {
  return plainRead(kYCbCrToRGBChannelsOutput, t);
}
VideoOutputFcn MM_GetRGBToYCbCrChannelsOutputFcn(VideoDataType t) {
  return plainRead(kRGBToYCbCrChannelsOutput, t);
}
VideoOutputFcn MM_GetIntensityToYCbCrChannelsOutputFcn(VideoDataType t) {
  return plainRead(kIntensityToYCbCrChannelsOutput, t);
}
VideoOutputFcn MM_GetYCbCrToYCbCrChannelsOutputFcn(VideoDataType t) {
  return plainRead(kYCbCrToYCbCrChannelsOutput, t);
}

// ---- Packed RGB24 (plain reads; these families have tables of their own) ------------

RGB24ContiguousFcn MM_GetRGB24CopyFcn(VideoDataType t) { return plainRead(kRGB24Copy, t); }
VideoInputFcn MM_GetRGB24ChannelsCopyFcn(VideoDataType t) { return plainRead(kRGB24ChannelsCopy, t); }
RGB24ContiguousFcn MM_GetRGB24EmptyFcn(VideoDataType t) { return plainRead(kRGB24Empty, t); }
VideoInputFcn MM_GetRGB24ChannelsEmptyFcn(VideoDataType t) {
  return plainRead(kRGB24ChannelsEmpty, t);
}
RGB24ContiguousFcn MM_GetRGB24OutputFcn(VideoDataType t) { return plainRead(kRGB24Output, t); }
VideoOutputFcn MM_GetRGB24ChannelsOutputFcn(VideoDataType t) {
  return plainRead(kRGB24ChannelsOutput, t);
}
RGB24ContiguousFcn MM_GetPaddedRGB24OutputFcn(VideoDataType t) {
  return plainRead(kPaddedRGB24Output, t);
}
VideoOutputFcn MM_GetPaddedRGB24ChannelsOutputFcn(VideoDataType t) {
  return plainRead(kPaddedRGB24ChannelsOutput, t);
}

// ---- Raw planar transposes ------------------------------------------------------------

RawPlanarConvertFcn MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(VideoDataType sourceType,
                                                                  VideoDataType targetType) {
  return rawPlanarColumnToRow(sourceType, targetType);
}

// ---- Top-level selectors ------------------------------------------------------------

VideoInputFcn MM_GetVideoInputFcn(FourCCType frameFormat, FourCCType channelModel,
                                  VideoDataType dataType, bool useMmr) {
  if (frameFormat == FOURCC_RGB) {
    switch (channelModel) {
      case FOURCC_RGB:
        return useMmr ? MM_GetRGBToRGBChannelsInputFcn_mmr(dataType)
                      : MM_GetRGBToRGBChannelsInputFcn(dataType);
      case FOURCC_GREY:
        return useMmr ? MM_GetRGBToIntensityChannelsInputFcn_mmr(dataType)
                      : MM_GetRGBToIntensityChannelsInputFcn(dataType);
      case FOURCC_YUY2:
        return useMmr ? MM_GetRGBToYCbCrChannelsInputFcn_mmr(dataType)
                      : MM_GetRGBToYCbCrChannelsInputFcn(dataType);
      default:
        return nullptr;
    }
  }
  if (frameFormat == FOURCC_YUY2) {
    switch (channelModel) {
      case FOURCC_RGB: return MM_GetYCbCrToRGBChannelsInputFcn(dataType);
      case FOURCC_GREY: return MM_GetYCbCrToIntensityChannelsInputFcn(dataType);
      case FOURCC_YUY2: return MM_GetYCbCrToYCbCrChannelsInputFcn(dataType);
      default: return nullptr;
    }
  }
  return nullptr;  // FOURCC_GREY is never a packed frame; unknown formats have no route
}

VideoOutputFcn MM_GetVideoOutputFcn(FourCCType channelModel, FourCCType frameFormat,
                                    VideoDataType dataType) {
  if (frameFormat == FOURCC_RGB) {
    switch (channelModel) {
      case FOURCC_RGB: return MM_GetRGBToRGBChannelsOutputFcn(dataType);
      case FOURCC_GREY: return MM_GetIntensityToRGBChannelsOutputFcn(dataType);
      case FOURCC_YUY2: return MM_GetYCbCrToRGBChannelsOutputFcn(dataType);
      default: return nullptr;
    }
  }
  if (frameFormat == FOURCC_YUY2) {
    switch (channelModel) {
      case FOURCC_RGB: return MM_GetRGBToYCbCrChannelsOutputFcn(dataType);
      case FOURCC_GREY: return MM_GetIntensityToYCbCrChannelsOutputFcn(dataType);
      case FOURCC_YUY2: return MM_GetYCbCrToYCbCrChannelsOutputFcn(dataType);
      default: return nullptr;
    }
  }
  return nullptr;
}

VideoInputFcn MM_GetVideoEmptyFcn(FourCCType channelModel, VideoDataType dataType) {
  switch (channelModel) {
    case FOURCC_RGB: return MM_GetToRGBChannelsEmptyFcn(dataType);
    case FOURCC_GREY: return MM_GetToIntensityChannelsEmptyFcn(dataType);
    case FOURCC_YUY2: return MM_GetToYCbCrChannelsEmptyFcn(dataType);
    default: return nullptr;
  }
}
