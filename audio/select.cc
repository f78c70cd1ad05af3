// The audio selectors: table position of a sample type, the 6 x 6 tables and
// the PCM tables.
#include <cstdint>

#include "audio/families.h"

namespace rivulet {
namespace {

// Thrown as char * for a type outside the six; hosts catch it by that type.
char kUnsupportedConversion[] = "Unsupported Datatype conversion in GetConvertIndex";

// Entry type * 4 + 4 - bits / 8 of a PCM table, or null outside 0..35. In 64
// bits, so a huge type value cannot wrap onto an entry.
template <typename Fcn>
Fcn pcmEntry(std::array<Fcn, 36> const& table, AudioDataType type, int bits) {
  const std::int64_t index = std::int64_t{static_cast<int>(type)} * 4 + 4 - bits / 8;
  if (index < 0 || index > 35) return nullptr;
  return table[static_cast<std::size_t>(index)];
}

// Entry 6 * position(source) + position(destination) of a 6 x 6 table; the
// source type is looked up (and may throw) first.
int cellIndex(AudioDataType source, AudioDataType destination) {
  const int s = GetConvertIndex(source);
  return 6 * s + GetConvertIndex(destination);
}

}  // namespace

int GetConvertIndex(AudioDataType type) {
  switch (static_cast<int>(type)) {
    case AUDIO_DOUBLE: return kPosDouble;
    case AUDIO_SINGLE: return kPosSingle;
    case AUDIO_INT32: return kPosInt32;
    case AUDIO_INT24: return kPosInt24;
    case AUDIO_INT16: return kPosInt16;
    case AUDIO_UINT8: return kPosUInt8;
    default: throw static_cast<char*>(kUnsupportedConversion);
  }
}

}  // namespace rivulet

using namespace rivulet;

AudioConvertCopyFcn MM_GetAudioConvertCopyFcn(AudioDataType source, AudioDataType destination) {
  return kAudioConvertCopy[cellIndex(source, destination)];
}

AudioTransposeCopyFcn MM_GetAudioTransposeCopyFcn(AudioDataType source,
                                                  AudioDataType destination,
                                                  bool fromInterleaved) {
  const int cell = cellIndex(source, destination);
  return (fromInterleaved ? kAudioTransposeFromInterleaved : kAudioTransposeToInterleaved)[cell];
}

AudioConvertCopyWithMapFcn MM_GetAudioConvertCopyWithMapFcn(AudioDataType source,
                                                            AudioDataType destination,
                                                            bool fromInterleaved) {
  const int cell = cellIndex(source, destination);
  return (fromInterleaved ? kAudioMappedFromInterleaved : kAudioMappedToInterleaved)[cell];
}

AudioEmptyFcn MM_GetAudioEmptyFcn(AudioDataType type) { return kAudioEmpty[GetConvertIndex(type)]; }

PCMAudioCopyFcn MM_GetPCMAudioCopyFcn(AudioDataType type, int bits) {
  return pcmEntry(kPCMAudioCopy, type, bits);
}

PCMAudioOutputFcn MM_GetPCMAudioOutputFcn(AudioDataType type, int bits) {
  return pcmEntry(kPCMAudioOutput, type, bits);
}

PCMAudioEmptyFcn MM_GetPCMAudioEmptyFcn(AudioDataType type) { return pcmAudioEmpty(type); }
