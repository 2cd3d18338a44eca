// Makes room in the reals of a replay: collects garbage when too few are free, which INFO(15) counts, and
// flags a shortage when that does not help.

#include <algorithm>

#include "sparse/ma38/replay/steps.h"

namespace corvidnum {
namespace ma38 {

WaitingBlocks clear_waiting_blocks(int* words, Index elements) {
  const Index nodes = elements + 2;
  std::memset(words, 0, sizeof(int) * static_cast<std::size_t>(waiting_block_words(elements)));
  return {words, words + nodes, words + 2 * nodes, words + 3 * nodes};
}

bool reserve_work(Replay& f, Wide words, Index& begin) {
  if (!f.space.reserve_head_ints(f.results, words, begin)) return false;
  f.space.note_use(f.results);
  return true;
}

void release_arrows(Replay& f, Index begin) {
  const Index count = f.arrows_end - begin;
  f.space.release(count, count);
  f.arrows_end = begin;
}

bool open_front(Replay& f, Index rows, Index columns) {
  lower_head(f);
  f.space.need(0, rows * columns);
  if (!room_for_reals(f, rows * columns)) return false;
  f.front.max_rows = rows;
  f.front.max_columns = columns;
  f.front.begin = f.space.push_reals(rows * columns);
  f.space.note_use(f.results);
  note_peak(f);
  return true;
}

void close_front(Replay& f, Index kept) {
  f.space.set_real_head(f.front.begin + kept);
  f.space.release(0, f.front.size());
  f.front.close();
}

void add_block(Replay& f, Index size) {
  f.space.need(0, size);
  f.waiting_reals += size;
}

void release_block(Replay& f, Index e, Index size) {
  f.space.release(0, size);
  f.waiting_reals -= size;
  f.waiting.release(e, waiting_end(f));
}

bool reserve_factors(Replay& f, Index reals) {
  f.space.need(0, reals);
  if (!room_for_reals(f, reals)) return false;
  f.space.push_tail_reals(reals);
  f.space.note_use(f.results);
  return true;
}

void release_replay(Replay& f, Wide words) {
  const Index begin = f.block.arrows.begin(f.n);
  release_arrows(f, begin);
  f.space.release(words, f.waiting_reals);
  f.waiting_reals = 0;
  f.space.set_heads(begin);
}

void lower_head(Replay& f) {
  f.space.set_real_head(f.waiting.trim(f.space.xhead));
  if (f.waiting.first() == 0) f.space.set_real_head(f.arrows_end);
}

void note_peak(Replay& f) {
  f.totals.peak_reals = std::max(f.totals.peak_reals, f.totals.factor_reals + f.waiting_reals +
                                                          Wide{f.front.max_rows} * f.front.max_columns);
}

bool room_for_reals(Replay& f, Index count) {
  if (f.space.free_reals() >= count) return true;
  f.results.add(MA38_INFO_VALUE_COLLECTIONS, 1);
  collect_garbage(f);
  return f.space.has_reals(f.results, count);
}

}  // namespace ma38
}  // namespace corvidnum
