// When the video routines write past the caches. A call whose working set
// (the bytes it reads plus the bytes it writes) fits the last-level cache
// runs fastest with plain stores: its output stays cached, for the rest of
// the call and for the host that reads it next. A larger one would evict
// its own output before it is done, and every store would first read its
// line from memory; the fast forms then store with non-temporal stores,
// which write whole lines to memory without reading them.
#ifndef RIVULET_TYPES_STREAM_H
#define RIVULET_TYPES_STREAM_H

#include <cstdint>

namespace rivulet {

// Bytes of the last-level cache, read once from the system (the sysfs cache
// description, else the CPU's own cache leaves), or a modest default where
// neither says.
std::int64_t lastLevelCacheBytes();

// The working set from which a call streams: half the last-level cache,
// the share a call keeps while the other cores that share it work (the
// measurements are beside its definition). Fixed at the first call.
std::int64_t streamMinBytes();

// Whether a call that reads `readBytes` and writes `writtenBytes` in all
// should write past the caches.
inline bool streamFor(std::int64_t readBytes, std::int64_t writtenBytes) {
  return readBytes + writtenBytes >= streamMinBytes();
}

}  // namespace rivulet

#endif
