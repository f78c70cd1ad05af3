// AVX-512 block transposes of 2-, 4- and 8-byte elements: four blocks of rows a vector, so each column is stored 64 bytes at a time;
// the rows left below the last such block go to the narrower forms. This
// source alone is compiled for AVX-512 and is reached only through the CPU
// detection.
// GCC 12 reports the undefined upper halves inside its own AVX-512 headers
// (_mm512_castsi256_si512) as maybe uninitialised.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"

#include "video/transpose.h"
#include "video/transpose_blocks.h"

namespace rivulet {

extern const TransposeForms kTransposeForms_AVX512;
const TransposeForms kTransposeForms_AVX512 = {&transposeBlocks8<std::uint16_t>, &transposeBlocks8<std::uint32_t>,
                                                      &transposeBlocks8<std::uint64_t>};

}  // namespace rivulet
