// Runs of whole vector steps, and when they write past the caches. Writes of
// at least kStreamMinBytes in one call are larger than what a core's cache
// keeps of them anyway; the fast forms then store with non-temporal stores,
// which spares reading each destination line before it is overwritten.
// Smaller outputs stay cached for the host that reads them next.
#ifndef RIVULET_TYPES_STREAM_H
#define RIVULET_TYPES_STREAM_H

#include <cstdint>

namespace rivulet {

inline constexpr std::int64_t kStreamMinBytes = std::int64_t{1} << 21;

// The whole steps of a run of n elements, each step doing kElements of them
// and writing kElements * kElementBytes bytes from dst + i * kElementBytes:
// step(i) with unaligned stores, streamStep(i) past the caches onto an
// aligned step. With `stream`, where dst can be aligned, one unaligned step
// comes first, then aligned steps from the first aligned element (the overlap
// is written twice with the same values), then fence(). Returns how many
// elements were done.
template <int kElements, int kElementBytes, typename Step, typename StreamStep, typename Fence>
inline std::int64_t stepRun(void* dst, std::int64_t n, bool stream, Step step, StreamStep streamStep,
                            Fence fence) {
  constexpr int kStepBytes = kElements * kElementBytes;
  const auto address = reinterpret_cast<std::uintptr_t>(dst);
  std::int64_t i = 0;
  if (stream && address % kElementBytes == 0 && n >= 2 * kElements) {
    step(0);
    i = static_cast<std::int64_t>((kStepBytes - address % kStepBytes) % kStepBytes / kElementBytes);
    for (; i + kElements <= n; i += kElements) streamStep(i);
    fence();
    return i;
  }
  for (; i + kElements <= n; i += kElements) step(i);
  return i;
}

}  // namespace rivulet

#endif
