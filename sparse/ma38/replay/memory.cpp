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
