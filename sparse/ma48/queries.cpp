// Answers what a host may ask about an analysis or about factors. Both queries check KEEP before they follow
// it.

#include <limits>

#include "frame/module.h"
#include "sparse/ma48/keep_check.h"
#include "sparse/ma48/layout.h"
#include "sparse/ma48/ma48_codes.h"

namespace corvidnum {
namespace {

using Keep = KeepView<const int>;

/// Counts the entries of the general block that begins at place `start` of `irnf`, the numbers of the
/// factors.
std::int64_t general_entries(const Keep& keep, int block, int last_column, const int* irnf) {
  constexpr int kHead = 2;  // places in front of the columns
  const int start = block == 1 ? 1 : keep.block_start(block);
  const std::int64_t full_rows = irnf[start];  // the block's second place
  const int full_columns = keep.block_order(block) - keep.block_kind(block);
  return keep.lower_end(last_column) - kHead + full_rows * full_columns;
}

std::int64_t factor_entries(const Keep& keep, const int* irn, int n) {
  const std::int64_t columns = n;
  std::int64_t entries = keep.off_diagonal_start(columns + 1) - keep.off_diagonal_start(1);
  const int blocks = keep.block_count();
  const int* const irnf = irn + (keep.off_diagonal_start(columns + 1) - 1);
  for (int block = 1, first = 1; block <= blocks; first += keep.block_order(block), ++block) {
    const int end = first + keep.block_order(block);
    entries += keep.block_kind(block) < 0 ? keep.diagonal_start(end) - keep.diagonal_start(first)
                                          : general_entries(keep, block, end - 1, irnf);
  }
  return entries;
}

}  // namespace
}  // namespace corvidnum

int ma48blocks_(const int* m, const int* n, const int* keep, int* orders, int* sparse_columns) {
  corvidnum::enter_library();
  if (*m < 1 || *n < 1) return MA48_STATUS_BAD_ORDER;
  const corvidnum::Keep view(keep, *m, *n);
  if (!corvidnum::keep_is_analysed(view, *m, *n, std::numeric_limits<int>::max()))
    return MA48_STATUS_INCOMPATIBLE;
  const int blocks = view.block_count();
  for (int block = 1; block <= blocks; ++block) {
    if (orders) orders[block - 1] = view.block_order(block);
    if (sparse_columns) sparse_columns[block - 1] = view.block_kind(block);
  }
  return blocks;
}

int64_t ma48entries_(const int* m, const int* n, const int* la, const int* irn, const int* keep) {
  corvidnum::enter_library();
  if (*m < 1 || *n < 1) return MA48_STATUS_BAD_ORDER;
  const corvidnum::Keep view(keep, *m, *n);
  if (!corvidnum::keep_is_analysed(view, *m, *n, *la) ||
      !corvidnum::keep_is_factorised(view, irn, *m, *n, *la))
    return MA48_STATUS_INCOMPATIBLE;
  return corvidnum::factor_entries(view, irn, *n);
}
