// Garbage collection in the reals of a replay, in VALUE (room_for_reals() in memory.cpp decides when):
//
//   1. drop arrows that have been added, and holes;
//   2. move the contribution blocks that wait down behind the arrows that are left, in the order of the
//      memory list, packed so that their leading dimension is their number of rows;
//   3. move the front behind them.
// INDEX has no garbage during a replay.

#include "sparse/ma38/replay/steps.h"

namespace corvidnum {
namespace ma38 {
namespace {

void move_reals(const Replay& f, Index from, Index to, Index count) {
  if (from == to || count <= 0) return;
  std::memmove(&f.space.reals(to), &f.space.reals(from), sizeof(double) * static_cast<std::size_t>(count));
}

/// Moves a block to `to` and packs its columns. Rows and columns that have been assembled stay in it, because
/// its lists tell places by offset. Returns the end of the block.
Index pack_block(const Replay& f, Index e, Index to) {
  const WaitingBlocks& block = f.waiting.nodes();
  const Element element = element_of(f, e);
  const Index from = block.begin(e), leading = block.leading(e), rows = element.l, columns = element.u;
  if (leading == rows) {
    move_reals(f, from, to, rows * columns);
  } else {
    for (Index j = 0; j < columns; ++j) move_reals(f, from + j * leading, to + j * rows, rows);
  }
  block.begin(e) = static_cast<int>(to);
  block.leading(e) = static_cast<int>(rows);
  return to + rows * columns;
}

}  // namespace

void collect_garbage(Replay& f) {
  Index to = f.waiting.pack(f.arrows_end, [&f](Index e, Index place) { return pack_block(f, e, place); });
  if (f.front.is_open()) {
    move_reals(f, f.front.begin, to, f.front.size());
    f.front.begin = to;
    to += f.front.size();
  }
  f.space.set_real_head(to);
}

}  // namespace ma38
}  // namespace corvidnum
