// SSE2 block transposes of 2-, 4- and 8-byte elements (the x86-64 baseline), and
// the pick of the widest set the CPU runs.
#include "types/cpu.h"
#include "video/transpose.h"
#include "video/transpose_blocks.h"

namespace rivulet {
namespace {

constexpr TransposeForms kSse2 = {&transposeBlocks8<std::uint16_t>, &transposeBlocks8<std::uint32_t>,
                                                      &transposeBlocks8<std::uint64_t>};

}  // namespace

extern const TransposeForms kTransposeForms_AVX2;
const TransposeForms* const kTransposeFormsBySet[5] = {nullptr, &kSse2, nullptr, &kTransposeForms_AVX2,
                                                       nullptr};

const TransposeForms* transposeForms() {
  static const TransposeForms* const forms = widestForm(kTransposeFormsBySet);
  return forms;
}

}  // namespace rivulet
