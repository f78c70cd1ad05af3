#include "avi/byte_order.h"

namespace avi {

namespace {

template <int N, typename T>
const char* encode(char (&scratch)[N + 1], T value) {
  for (int i = 0; i < N; ++i) {
    scratch[i] = static_cast<char>((value >> (8 * i)) & 0xFF);
  }
  scratch[N] = 0;
  return scratch;
}

// One scratch per helper and thread: a result stays valid until the same
// helper is called again on the same thread.
thread_local char scratch16[3];
thread_local char scratch32[5];
thread_local char scratch64[9];

}  // namespace

const char* encodeLE16(std::uint16_t value) { return encode<2>(scratch16, value); }
const char* encodeLE32(std::uint32_t value) { return encode<4>(scratch32, value); }
const char* encodeLE64(std::uint64_t value) { return encode<8>(scratch64, value); }

}  // namespace avi
