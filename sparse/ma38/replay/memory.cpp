// The blocks that wait, in the order of their addresses.

#include <algorithm>

#include "sparse/ma38/replay/steps.h"

namespace corvidnum {
namespace ma38 {
namespace {

void put_between(Holders& holders, Index e, Index previous, Index next) {
  holders.previous[e] = static_cast<int>(previous);
  holders.next[e] = static_cast<int>(next);
  holders.next[previous] = holders.previous[next] = static_cast<int>(e);
}

void unlink(Holders& holders, Index e) {
  const int previous = holders.previous[e], next = holders.next[e];
  holders.next[previous] = next;
  holders.previous[next] = previous;
}

}  // namespace

void start_holders(Holders& holders, int* words, Index elements) {
  const Index nodes = elements + 2;
  holders.next = words;
  holders.previous = words + nodes;
  holders.begin = words + 2 * nodes;
  holders.leading = words + 3 * nodes;
  holders.last = elements + 1;
  std::memset(words, 0, sizeof(int) * static_cast<std::size_t>(holder_words(elements)));
  holders.next[0] = static_cast<int>(holders.last);
}

void link_last(Holders& holders, Index e, Index begin, Index leading) {
  put_between(holders, e, holders.previous[holders.last], holders.last);
  holders.begin[e] = static_cast<int>(begin);
  holders.leading[e] = static_cast<int>(leading);
}

void drop_hole(Holders& holders, Index e) {
  unlink(holders, e);
  if (holders.hole != e) return;
  holders.hole = 0;
  holders.hole_size = -1;
}

void free_holder(Holders& holders, Index e) {
  holders.leading[e] = 0;
  const Index previous = holders.previous[e], next = holders.next[e];
  if (holders.is_hole(previous)) {
    holders.begin[e] = holders.begin[previous];
    drop_hole(holders, previous);
  }
  if (holders.is_hole(next)) drop_hole(holders, next);
  const Index size = holders.extent(e);
  if (size <= holders.hole_size) return;
  holders.hole = e;
  holders.hole_size = size;
}

Index place_in_hole(Holders& holders, Index e, Index size, Index leading) {
  const Index hole = holders.hole, begin = holders.begin[hole];
  put_between(holders, e, holders.previous[hole], hole);
  holders.begin[e] = static_cast<int>(begin);
  holders.leading[e] = static_cast<int>(leading);
  holders.begin[hole] += static_cast<int>(size);
  holders.hole_size -= size;
  if (holders.hole_size == 0) drop_hole(holders, hole);
  return begin;
}

void lower_head(Replay& f) {
  Holders& holders = f.holders;
  for (Index e = holders.previous[holders.last]; holders.is_hole(e); e = holders.previous[holders.last]) {
    f.space.set_real_head(holders.begin[e]);
    drop_hole(holders, e);
  }
  if (holders.next[0] == holders.last) f.space.set_real_head(f.arrows_end);
  holders.begin[holders.last] = static_cast<int>(f.space.xhead);
}

void note_peak(Replay& f) {
  f.totals.peak_reals =
      std::max(f.totals.peak_reals, f.totals.factor_reals + f.waiting_reals + Wide{f.dr} * f.dc);
}

bool room_for_reals(Replay& f, Index count) {
  if (f.space.free_reals() >= count) return true;
  f.results.add(kValueCollections, 1);
  ma38_refactor_compact(f);
  return f.space.has_reals(f.results, count);
}

}  // namespace ma38
}  // namespace corvidnum
