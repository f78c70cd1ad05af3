#include "types/cpu.h"

namespace rivulet {
namespace {

Simd detect() {
#if defined(RIVULET_NO_SIMD) || !(defined(__x86_64__) || defined(__i386__))
  return Simd::kNone;
#else
  // __builtin_cpu_supports also checks that the OS saves the wide registers.
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
      __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi"))
    return Simd::kAvx512;
  if (__builtin_cpu_supports("avx2")) return Simd::kAvx2;
  if (__builtin_cpu_supports("ssse3")) return Simd::kSsse3;
  if (__builtin_cpu_supports("sse2")) return Simd::kSse2;
  return Simd::kNone;
#endif
}

}  // namespace

Simd simdLevel() {
  static const Simd level = detect();
  return level;
}

bool simdHasAvx512Vnni() {
#if defined(RIVULET_NO_SIMD) || !(defined(__x86_64__) || defined(__i386__))
  return false;
#else
  static const bool has = simdAtLeast(Simd::kAvx512) && __builtin_cpu_supports("avx512vnni");
  return has;
#endif
}

}  // namespace rivulet
