// A single-precision rule's shape (multiply, then add), compiled for a set
// with fused multiply-add (AVX2 + FMA) under the project's floating-point
// flags. contraction_test.cc checks that the two roundings stay.
float probeMultiplyThenAdd(float a, float b, float c) { return a * b + c; }
double probeMultiplyThenAddDouble(double a, double b, double c) { return a * b + c; }
