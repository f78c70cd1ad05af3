// rivulet: audio sample conversion selectors and routines.
//
// A host asks a selector once for a routine and calls it for every block. The
// routine has its sample types and layouts compiled in; it checks nothing,
// allocates nothing and keeps no state, so it may run on any thread.
//
// Sample types are the six AudioDataType values AUDIO_DOUBLE, AUDIO_SINGLE,
// AUDIO_INT32, AUDIO_INT24, AUDIO_INT16 and AUDIO_UINT8. Floating samples have
// full scale -1.0 to just below +1.0; AUDIO_INT24 is three bytes, least
// significant first, read as the upper three bytes of a 32-bit sample.
//
// Layouts:
//   interleaved  channel c of period i at element i * channels + c (or, where a
//                frame stride is given, i * frameStride + slot);
//   per-channel  channel c of period i at element c * channelStride + i.
// Strides and counts are in elements of the buffer's own type (three bytes for
// AUDIO_INT24), unless a routine says otherwise. Elements between the end of
// one channel and the start of the next, or beyond the slots of a period, are
// never touched. Buffers need no particular alignment.
//
// Index arithmetic (element offsets, stride products) is carried out in 64
// bits, so large blocks and strides address the element the formula names
// rather than a wrapped one.
#ifndef RIVULET_AUDIO_H
#define RIVULET_AUDIO_H

#include "rivulet/types.h"

// ---- Routine types ------------------------------------------------------------
// Convert copy, transpose copy and empty routines share one shape, so a queue
// can hold any of them:
//   convert copy   (source, destination, samples, channels, ignored)
//   transpose copy (source, destination, samples, channels, channelStride)
//   empty          (ignored, destination, samples, channels, channelStride)
typedef void (*AudioCopyFcn)(void const* source, void* destination, int samples, int channels,
                             int parameter);
typedef AudioCopyFcn AudioConvertCopyFcn;
typedef AudioCopyFcn AudioTransposeCopyFcn;
typedef AudioCopyFcn AudioEmptyFcn;

// Channel-mapped copy; the meaning of fifth and sixth depends on the direction
// (see MM_GetAudioConvertCopyWithMapFcn).
typedef void (*AudioConvertCopyWithMapFcn)(void const* source, void* destination,
                                           int channelStride, int samples, int fifth, int sixth,
                                           int* channelMap);

// PCM routines: interleaved PCM on one side, packed per-channel data
// (channelStride == samples) on the other.
typedef void (*PCMAudioCopyFcn)(void* source, void* destination, int samples, int channels);
typedef void (*PCMAudioOutputFcn)(void const* source, void* destination, int samples,
                                  int channels);
typedef void (*PCMAudioEmptyFcn)(void* ignored, void* destination, int samples, int channels);

// ---- Selectors of the 6 x 6 tables ----------------------------------------------
//
// These four never return null. A type outside the six (AUDIO_UNSUPPORTED, 2, 5,
// 7, anything above 9 or negative) makes them throw an exception object of type
// char * pointing at "Unsupported Datatype conversion in GetConvertIndex"; the
// source type is checked before the destination type. Catch it as char *.
//
// Sample value rules shared by every table (x is the source sample):
//   from AUDIO_DOUBLE  to integers: floor(x * 2^31 | 2^15) clipped to the
//                      type's range, or x * 128 + 128 clipped to [0, 255] and
//                      truncated for AUDIO_UINT8; to AUDIO_SINGLE: rounded.
//   from AUDIO_SINGLE  the product is formed in single precision and truncated
//                      toward zero (no floor), then saturated.
//   NaN in a floating source gives the most negative AUDIO_INT32/AUDIO_INT24
//   value and 0 in AUDIO_INT16 and AUDIO_UINT8 (the low bits of that value).
//   from integers      to floating: x * 2^-31, 2^-15 or (x - 128) * 2^-7;
//                      AUDIO_SINGLE products are formed in single precision.
//                      Narrowing AUDIO_INT32 and AUDIO_INT16 divide rounding
//                      toward zero; narrowing AUDIO_INT24 drops bytes (rounds
//                      down). AUDIO_UINT8 results are taken modulo 256.
// Round trips through a narrower type are therefore not always exact.
//
// Quirk kept on purpose: in every table the AUDIO_INT24 -> AUDIO_INT24 member is
// the AUDIO_INT32 -> AUDIO_INT32 member. It moves four-byte elements and its
// counts and strides step by four bytes on both sides.

// Type conversion of a flat run of samples * channels elements (the product
// taken as a signed 32-bit number; below 1 does nothing). The fifth argument is
// ignored. Source and destination may overlap: the elements are then converted
// strictly one after the other from the first, each read before it is written.
RIVULET_API AudioConvertCopyFcn MM_GetAudioConvertCopyFcn(AudioDataType source,
                                                          AudioDataType destination);

// fromInterleaved true: interleaved source (period stride = channels) to a
// per-channel destination; false: per-channel source to interleaved
// destination. channelStride is the per-channel side's stride. samples or
// channels below 1 does nothing.
RIVULET_API AudioTransposeCopyFcn MM_GetAudioTransposeCopyFcn(AudioDataType source,
                                                              AudioDataType destination,
                                                              bool fromInterleaved);

// Like the transpose copy, but channelMap[j] names the slot inside an
// interleaved period that per-channel channel j is tied to. Map entries are not
// checked and may repeat (the later j wins when writing an interleaved buffer;
// one slot feeds several channels when reading one).
//   fromInterleaved true:  fifth = frameStride, sixth = channels
//   fromInterleaved false: fifth = channels,    sixth = frameStride
// The two arguments are not interchangeable. samples or channels below 1 does
// nothing.
RIVULET_API AudioConvertCopyWithMapFcn MM_GetAudioConvertCopyWithMapFcn(AudioDataType source,
                                                                        AudioDataType destination,
                                                                        bool fromInterleaved);

// Clears `samples` elements of each of `channels` per-channel runs to zero
// bytes (also AUDIO_UINT8: 0, not the midpoint). The AUDIO_INT24 member differs
// on purpose: channelStride counts bytes, and a run of n > 0 samples clears
// n + 2 bytes (not 3 * n) starting at byte c * channelStride.
RIVULET_API AudioEmptyFcn MM_GetAudioEmptyFcn(AudioDataType type);

// ---- PCM --------------------------------------------------------------------------
//
// PCM widths: 8 (unsigned, midpoint 128), 16 (signed), 24 (signed, three
// bytes), 32 (float, nominal -1.0 to 1.0). Memory types: AUDIO_DOUBLE,
// AUDIO_SINGLE, AUDIO_UINT8, AUDIO_INT16. These selectors never throw; they
// answer null for a combination without a routine, which the caller must test.
//
// Entry index = type * 4 + 4 - bits / 8 (division toward zero); outside 0..35
// gives null. The width is not validated: bits below 8 reach the next type's
// 32-bit member, 40 and above the previous type's members, and widths that are
// no multiple of eight round down to the byte. The index is computed in 64
// bits, so a huge type value cannot wrap onto a valid entry.
//
// All PCM routines do nothing when samples or channels is below 1.
//
// Members from AUDIO_DOUBLE and AUDIO_SINGLE to 32- and 8-bit PCM, from
// AUDIO_INT16 to 8-bit and from AUDIO_UINT8 to 16-bit PCM count channels in 16
// bits: they require channels below 32768 and write nothing for a larger count.

// PCM of width bits in source (read strictly in memory order) to per-channel
// data of type. 8- and 16-bit PCM reach every type; 24-bit PCM too; 32-bit
// float PCM to AUDIO_UINT8 / AUDIO_INT16 saturates at +-1.0 and, after the first
// out-of-range sample, stops advancing in the source: every later element of
// the call receives that same clipped value.
RIVULET_API PCMAudioCopyFcn MM_GetPCMAudioCopyFcn(AudioDataType type, int bits);

// Per-channel data of type to PCM of width bits. AUDIO_UINT8 and AUDIO_INT16
// have 8- and 16-bit members only. Integer members scale by 255 (not 256):
// AUDIO_UINT8 255 becomes 32385, AUDIO_INT16 x becomes x / 255 + 128 clipped.
// AUDIO_SINGLE to 24-bit PCM wraps: 1.0 and above become 00 00 80.
RIVULET_API PCMAudioOutputFcn MM_GetPCMAudioOutputFcn(AudioDataType type, int bits);

// Fills samples * channels elements with silence: 0.0, 0, and 0x80 for
// AUDIO_UINT8 (unlike MM_GetAudioEmptyFcn). Null for any other type.
RIVULET_API PCMAudioEmptyFcn MM_GetPCMAudioEmptyFcn(AudioDataType type);

#endif  // RIVULET_AUDIO_H
