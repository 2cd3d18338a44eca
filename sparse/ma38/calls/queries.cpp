// ma38blocks_: tells the blocks of the factors, which INFO counts but does not list.

#include "frame/module.h"
#include "sparse/ma38/factors/factors.h"
#include "sparse/ma38/ma38_codes.h"

namespace corvidnum {
namespace ma38 {
namespace {

/// Returns whether the starts of the blocks ascend strictly from 1 to n + 1.
bool blocks_fill_the_matrix(const OneBased<const int>& starts, int n) {
  bool good = starts(1) == 1 && starts(starts.size()) == n + 1;
  for (Index b = 1; b < starts.size(); ++b) good &= starts(b) < starts(b + 1);
  return good;
}

/// Writes the orders of the blocks, unless `orders` is null. Returns their number, or an error and writes
/// nothing.
int describe_blocks(int n, int lindex, const int* index_array, const int* keep, int* orders) {
  if (n < 1) return MA38_STATUS_BAD_ORDER;
  const OneBased<const int> index(index_array, std::max(lindex, 0));
  const KeptFactors kept = locate_pattern(n, lindex, index, keep);
  if (!kept.good) return MA38_STATUS_CORRUPTED;
  if (kept.nblks == 1) {
    if (orders) orders[0] = n;
    return 1;
  }
  const OneBased<const int> starts = FactorTop<const int>(index, kept.top_end, n).blkp(kept.nblks);
  if (!blocks_fill_the_matrix(starts, n)) return MA38_STATUS_CORRUPTED;
  for (Index b = 1; orders && b <= kept.nblks; ++b) orders[b - 1] = starts(b + 1) - starts(b);
  return kept.nblks;
}

}  // namespace
}  // namespace ma38
}  // namespace corvidnum

int ma38blocks_(const int* n, const int* lindex, const int* index, const int* keep, int* orders) {
  corvidnum::enter_library();
  return corvidnum::ma38::describe_blocks(*n, *lindex, index, keep, orders);
}
