// The size of the last-level cache and the streaming threshold made from it.
#include "types/stream.h"

#include <cstdio>
#include <cstring>

#if (defined(__x86_64__) || defined(__i386__)) && (defined(__GNUC__) || defined(__clang__))
#include <cpuid.h>
#define RIVULET_HAVE_CPUID 1
#endif

namespace rivulet {
namespace {

// Used where neither the system nor the CPU tells: a typical last-level
// cache of a desktop core.
constexpr std::int64_t kDefaultCacheBytes = std::int64_t{8} << 20;

// The largest cache of the highest level that sysfs lists for cpu0, or 0.
// Sizes read like "32768K" (or "1M").
std::int64_t cacheFromSysfs() {
  int bestLevel = 0;
  std::int64_t best = 0;
  for (int index = 0; index < 16; ++index) {
    char path[96];
    std::snprintf(path, sizeof path, "/sys/devices/system/cpu/cpu0/cache/index%d/level", index);
    std::FILE* f = std::fopen(path, "r");
    if (f == nullptr) continue;
    int level = 0;
    const bool haveLevel = std::fscanf(f, "%d", &level) == 1;
    std::fclose(f);
    if (!haveLevel) continue;
    std::snprintf(path, sizeof path, "/sys/devices/system/cpu/cpu0/cache/index%d/size", index);
    f = std::fopen(path, "r");
    if (f == nullptr) continue;
    long long amount = 0;
    char unit = 0;
    const int got = std::fscanf(f, "%lld%c", &amount, &unit);
    std::fclose(f);
    if (got < 1 || amount <= 0 || amount > (std::int64_t{1} << 40)) continue;
    std::int64_t bytes = amount;
    if (got == 2 && (unit == 'K' || unit == 'k')) bytes <<= 10;
    if (got == 2 && (unit == 'M' || unit == 'm')) bytes <<= 20;
    if (level > bestLevel || (level == bestLevel && bytes > best)) {
      bestLevel = level;
      best = bytes;
    }
  }
  return best;
}

// The CPU's deterministic cache parameters (leaf 4 on Intel, 0x8000001D on
// AMD), largest cache of the highest level, or 0. Each subleaf gives ways,
// partitions, line size and sets, all stored minus one.
std::int64_t cacheFromCpuid() {
#ifdef RIVULET_HAVE_CPUID
  unsigned a, b, c, d;
  if (__get_cpuid(0, &a, &b, &c, &d) == 0) return 0;
  const unsigned maxBasic = a;
  unsigned leaf = 0;
  if (maxBasic >= 4) {
    leaf = 4;
  } else if (__get_cpuid(0x80000000u, &a, &b, &c, &d) != 0 && a >= 0x8000001Du) {
    leaf = 0x8000001Du;
  }
  if (leaf == 0) return 0;
  int bestLevel = 0;
  std::int64_t best = 0;
  for (unsigned sub = 0; sub < 16; ++sub) {
    __cpuid_count(leaf, sub, a, b, c, d);
    if ((a & 0x1Fu) == 0) break;  // no more caches
    const int level = static_cast<int>((a >> 5) & 7u);
    const std::int64_t bytes = std::int64_t{((b >> 22) & 0x3FFu) + 1} * (((b >> 12) & 0x3FFu) + 1) *
                               ((b & 0xFFFu) + 1) * (std::int64_t{c} + 1);
    if (level > bestLevel || (level == bestLevel && bytes > best)) {
      bestLevel = level;
      best = bytes;
    }
  }
  return best;
#else
  return 0;
#endif
}

}  // namespace

std::int64_t lastLevelCacheBytes() {
  static const std::int64_t bytes = [] {
    if (const std::int64_t s = cacheFromSysfs(); s > 0) return s;
    if (const std::int64_t c = cacheFromCpuid(); c > 0) return c;
    return kDefaultCacheBytes;
  }();
  return bytes;
}

// Measured on a 32 MiB cache shared by two cores. On a quiet machine plain
// stores win while the whole working set fits the cache, and lose by up to
// 3x past it (outputs of 50 MB). With the other core busy, the share a call
// really keeps is about half: plain stores then lose from about 60% of the
// cache on (by up to 2x on the column walks, whose lines are filled a piece
// at a time), and still win below half (a 12 MB working set ran 2x faster
// than streamed). So a call streams from half the cache on.
std::int64_t streamMinBytes() {
  static const std::int64_t bytes = lastLevelCacheBytes() / 2;
  return bytes;
}

}  // namespace rivulet
