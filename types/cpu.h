// The one CPU detection of the library. Fast forms live in source files of
// their own, each compiled for one instruction set; a dispatcher picks the
// widest set that simdLevel() allows, once, and everything else runs the
// plain forms. In a build with RIVULET_NO_SIMD every answer is kNone.
#ifndef RIVULET_TYPES_CPU_H
#define RIVULET_TYPES_CPU_H

namespace rivulet {

// Each level implies the ones before it. kAvx512 is F + BW + VL + VBMI.
enum class Simd : int { kNone = 0, kSse2 = 1, kSsse3 = 2, kAvx2 = 3, kAvx512 = 4 };

// The widest level this CPU and operating system run, detected at the first
// call and fixed from then on.
Simd simdLevel();

inline bool simdAtLeast(Simd level) { return simdLevel() >= level; }

// Whether the CPU has AVX-512 VNNI (the word dot products) on top of kAvx512:
// a flag beside the levels, never needed to reach kAvx512. False below
// kAvx512 and in a RIVULET_NO_SIMD build.
bool simdHasAvx512Vnni();

// Picks, once per call site, the widest non-null entry of `forms` (indexed by
// Simd, kNone first) that the CPU runs.
template <typename Fn, int K>
Fn widestForm(Fn const (&forms)[K]) {
  Fn best = forms[0];
  for (int k = 1; k < K && k <= static_cast<int>(simdLevel()); ++k)
    if (forms[k] != nullptr) best = forms[k];
  return best;
}

}  // namespace rivulet

#endif
