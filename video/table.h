// The table builder of the video families: entry t of a nine-entry table is
// Member<t>::fcn, which a family sets to null for a type it does not have.
// typesOf gives the set of non-null entries as bits, for the checks that each
// table holds exactly the types its family states (families.h).
#ifndef RIVULET_VIDEO_TABLE_H
#define RIVULET_VIDEO_TABLE_H

#include <array>
#include <utility>

namespace rivulet {

inline constexpr int kVideoTypeCount = 9;

template <typename Fcn>
using VideoTable = std::array<Fcn, kVideoTypeCount>;

template <typename Fcn, template <int> class Member, int... N>
constexpr VideoTable<Fcn> buildVideoTable(std::integer_sequence<int, N...>) {
  return {{Member<N>::fcn...}};
}
template <typename Fcn, template <int> class Member>
constexpr VideoTable<Fcn> buildVideoTable() {
  return buildVideoTable<Fcn, Member>(std::make_integer_sequence<int, kVideoTypeCount>{});
}

// Bit t set where entry t is not null.
template <typename Fcn>
constexpr unsigned typesOf(VideoTable<Fcn> const& table) {
  unsigned bits = 0;
  for (int t = 0; t < kVideoTypeCount; ++t)
    if (table[t] != nullptr) bits |= 1u << t;
  return bits;
}

inline constexpr unsigned kAllVideoTypes = (1u << kVideoTypeCount) - 1;
constexpr unsigned withoutType(unsigned types, int t) { return types & ~(1u << t); }

}  // namespace rivulet

#endif
