// When the video routines write past the caches. Writes of
// at least kStreamMinBytes in one call are larger than what a core's cache
// keeps of them anyway; the fast forms then store with non-temporal stores,
// which spares reading each destination line before it is overwritten.
// Smaller outputs stay cached for the host that reads them next.
#ifndef RIVULET_TYPES_STREAM_H
#define RIVULET_TYPES_STREAM_H

#include <cstdint>

namespace rivulet {

inline constexpr std::int64_t kStreamMinBytes = std::int64_t{1} << 21;

}  // namespace rivulet

#endif
