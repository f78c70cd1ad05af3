// Plain moves between doubles and integers of six storage types. No value is
// scaled: the names keep the word for the host's sake.
#include "types/traits.h"

namespace {

enum class Via { Int64, Int32 };

// Double to fix: truncate toward zero through a 64-bit (unsigned storage) or
// 32-bit (signed storage) integer and keep the low bits, so an out-of-range
// value wraps while it fits the wide conversion and otherwise comes from the
// most negative integer of that width.
template <typename Fix, Via via>
void doubleToFix(double const* source, void* fix, int count) {
  Fix* out = static_cast<Fix*>(fix);
  for (int i = 0; i < count; ++i) {
    if constexpr (via == Via::Int64)
      out[i] = static_cast<Fix>(static_cast<std::uint64_t>(rivulet::truncateToInt64(source[i])));
    else
      out[i] = static_cast<Fix>(static_cast<std::uint32_t>(rivulet::truncateToInt32(source[i])));
  }
}

// Fix to double walks downward: the doubles are wider, so with both arrays at
// one address no word is overwritten before it is read.
template <typename Fix>
void fixToDouble(double* destination, void* fix, int count) {
  Fix const* in = static_cast<Fix const*>(fix);
  for (int i = count - 1; i >= 0; --i) {
    Fix v;
    __builtin_memcpy(&v, in + i, sizeof v);
    destination[i] = static_cast<double>(v);
  }
}

constexpr DoubleToFixFcn kDoubleToFix[7] = {
    nullptr,  // SCALED_NONE
    &doubleToFix<std::uint8_t, Via::Int64>,  &doubleToFix<std::uint16_t, Via::Int64>,
    &doubleToFix<std::uint32_t, Via::Int64>, &doubleToFix<std::int8_t, Via::Int32>,
    &doubleToFix<std::int16_t, Via::Int32>,  &doubleToFix<std::int32_t, Via::Int32>};

constexpr FixToDoubleFcn kFixToDouble[7] = {
    nullptr,  // SCALED_NONE
    &fixToDouble<std::uint8_t>, &fixToDouble<std::uint16_t>, &fixToDouble<std::uint32_t>,
    &fixToDouble<std::int8_t>,  &fixToDouble<std::int16_t>,  &fixToDouble<std::int32_t>};

}  // namespace

static_assert(sizeof kDoubleToFix / sizeof kDoubleToFix[0] == SCALED_INT32 + 1);
static_assert(sizeof kFixToDouble / sizeof kFixToDouble[0] == SCALED_INT32 + 1);

// An index outside the enum answers null instead of reading past the table.
DoubleToFixFcn MM_GetDoubleToFixFcn(ScaledDoubleFunctionIndex index) {
  return static_cast<unsigned>(index) <= SCALED_INT32 ? kDoubleToFix[index] : nullptr;
}
FixToDoubleFcn MM_GetFixToDoubleFcn(ScaledDoubleFunctionIndex index) {
  return static_cast<unsigned>(index) <= SCALED_INT32 ? kFixToDouble[index] : nullptr;
}
