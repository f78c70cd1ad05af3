// AVX2 block transposes of 2-, 4- and 8-byte elements: two blocks of rows a vector, so each column is stored 32 bytes at a time;
// the rows left below the last such block go to the narrower forms. This
// source alone is compiled for AVX2 and is reached only through the CPU
// detection.
#include "video/transpose.h"
#include "video/transpose_blocks.h"

namespace rivulet {

extern const TransposeForms kTransposeForms_AVX2;
const TransposeForms kTransposeForms_AVX2 = {&transposeBlocks8<std::uint16_t>, &transposeBlocks8<std::uint32_t>,
                                                      &transposeBlocks8<std::uint64_t>};

}  // namespace rivulet
