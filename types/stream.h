// When a routine writes past the caches. Writes of at least this many bytes
// in one call are larger than what a core's cache keeps of them anyway; the
// fast forms store them with non-temporal stores, which spares reading every
// destination line before it is overwritten. Smaller outputs stay cached for
// the host that reads them next.
#ifndef RIVULET_TYPES_STREAM_H
#define RIVULET_TYPES_STREAM_H

#include <cstdint>

namespace rivulet {

inline constexpr std::int64_t kStreamMinBytes = std::int64_t{1} << 21;

}  // namespace rivulet

#endif
