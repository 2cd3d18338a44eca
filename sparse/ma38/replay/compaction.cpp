// Collection of garbage among the reals of a replay.

#include "sparse/ma38/replay/steps.h"

namespace corvidnum {
namespace ma38 {
namespace {

void move_reals(const Replay& f, Index from, Index to, Index count) {
  if (from == to || count <= 0) return;
  double* const reals = f.space.reals.data() - 1;
  std::memmove(reals + to, reals + from, sizeof(double) * static_cast<std::size_t>(count));
}

/// Squeezes the slack of the leading dimension. What has been assembled stays: the lists tell places.
Index pack_block(const Replay& f, Index e, Index to) {
  const Holders& holders = f.holders;
  const Element element = element_of(f, e);
  const Index from = holders.begin[e], leading = holders.leading[e], rows = element.l, columns = element.u;
  if (leading == rows) {
    move_reals(f, from, to, rows * columns);
  } else {
    for (Index j = 0; j < columns; ++j) move_reals(f, from + j * leading, to + j * rows, rows);
  }
  holders.begin[e] = static_cast<int>(to);
  holders.leading[e] = static_cast<int>(rows);
  return to + rows * columns;
}

}  // namespace

void ma38_refactor_compact(Replay& f) {
  Holders& holders = f.holders;
  Index to = f.arrows_end;
  for (Index e = holders.next[0], next; e != holders.last; e = next) {
    next = holders.next[e];
    if (holders.is_hole(e)) {
      drop_hole(holders, e);
    } else {
      to = pack_block(f, e, to);
    }
  }
  holders.begin[holders.last] = static_cast<int>(to);
  if (f.front != 0) {
    move_reals(f, f.front, to, f.dr * f.dc);
    f.front = to;
    to += f.dr * f.dc;
  }
  f.space.set_real_head(to);
}

}  // namespace ma38
}  // namespace corvidnum
