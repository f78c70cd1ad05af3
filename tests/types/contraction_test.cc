// The sample rules multiply and then add, each step rounded. A compiler
// allowed to contract (-ffp-contract=fast, -ffast-math) fuses the two into one
// multiply-add with a single rounding on any set that has it; this fails then.
#include <gtest/gtest.h>

float probeMultiplyThenAdd(float a, float b, float c);
double probeMultiplyThenAddDouble(double a, double b, double c);

TEST(FloatingPoint, MultiplyAndAddAreNotFused) {
  if (!__builtin_cpu_supports("fma")) GTEST_SKIP() << "no fused multiply-add on this CPU";
  // (1 + 2^-12)^2 = 1 + 2^-11 + 2^-24: the product rounds (to even) to
  // 1 + 2^-11, so the sum is 0; fused, it is 2^-24.
  const float a = 1.0f + 0x1p-12f;
  EXPECT_EQ(probeMultiplyThenAdd(a, a, -(1.0f + 0x1p-11f)), 0.0f);
  const double d = 1.0 + 0x1p-27;
  EXPECT_EQ(probeMultiplyThenAddDouble(d, d, -(1.0 + 0x1p-26)), 0.0);
}
