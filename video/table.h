// The table builder of the video families: a family states which types it
// has, as bits of a type set (families.h), and how to name its routine for a
// type; entry t of the nine-entry table is that routine where bit t is set,
// and null elsewhere, without naming a routine for a type the family lacks.
#ifndef RIVULET_VIDEO_TABLE_H
#define RIVULET_VIDEO_TABLE_H

#include <array>
#include <utility>

namespace rivulet {

inline constexpr int kVideoTypeCount = 9;

template <typename Fcn>
using VideoTable = std::array<Fcn, kVideoTypeCount>;

inline constexpr unsigned kAllVideoTypes = (1u << kVideoTypeCount) - 1;
constexpr unsigned withoutType(unsigned types, int t) { return types & ~(1u << t); }

// routine is a generic lambda []<int N> { return &Family<N>; }.
template <typename Fcn, unsigned Types, typename Routine>
constexpr VideoTable<Fcn> buildVideoTable(Routine routine) {
  return [&]<int... N>(std::integer_sequence<int, N...>) {
    return VideoTable<Fcn>{{[&]() -> Fcn {
      if constexpr (((Types >> N) & 1u) != 0)
        return routine.template operator()<N>();
      else
        return nullptr;
    }()...}};
  }(std::make_integer_sequence<int, kVideoTypeCount>{});
}

}  // namespace rivulet

#endif
