#include "sparse/ma48/keep_check.h"

#include <algorithm>

namespace corvidnum {
namespace {

using Keep = KeepView<const int>;

bool blocks_fill_the_matrix(const Keep& keep, int m, int n) {
  const int blocks = keep.block_count();
  if (blocks < 1 || blocks > n || (m != n && blocks > 1)) return false;
  std::int64_t columns = 0;
  for (int block = 1; block <= blocks; ++block) {
    const int order = keep.block_order(block);
    if (order < 1 || keep.block_kind(block) > order) return false;
    if (keep.block_kind(block) < 0 && m != n) return false;  // triangular
    columns += order;
  }
  return columns == n;
}

bool permutations_are_in_range(const Keep& keep, int m, int n) {
  bool good = true;
  for (int i = 1; i <= m; ++i) good &= 1 <= keep.row_place(i) && keep.row_place(i) <= m;
  for (int j = 1; j <= n; ++j) good &= 1 <= keep.column_at(j) && keep.column_at(j) <= n;
  return good;
}

bool starts_ascend(const Keep& keep, int n, int longest) {
  bool good = keep.diagonal_start(1) == 1 && keep.off_diagonal_start(1) == keep.diagonal_start(n + 1);
  for (int j = 1; j <= n; ++j) {
    good &= keep.diagonal_start(j) <= keep.diagonal_start(j + 1);
    good &= keep.off_diagonal_start(j) <= keep.off_diagonal_start(j + 1);
  }
  return good && keep.off_diagonal_start(n + 1) - 1 <= longest;
}

/// Each column of a triangular block begins with its diagonal.
bool diagonals_are_there(const Keep& keep) {
  const int blocks = keep.block_count();
  for (int block = 1, first = 1; block <= blocks; first += keep.block_order(block), ++block) {
    if (keep.block_kind(block) >= 0) continue;
    for (int j = first; j < first + keep.block_order(block); ++j) {
      if (keep.diagonal_start(j) == keep.diagonal_start(j + 1)) return false;
    }
  }
  return true;
}

bool within(int index, int count) { return 1 <= index && index <= count; }

/// The numbers behind the columns: rows of the full part, then the interchanges of its factors.
bool full_part_is_good(const int* irnf, int fullRows, int fullColumns, int rows) {
  bool good = true;
  for (int k = 0; k < fullRows; ++k) good &= within(irnf[k], rows);
  if (fullRows == 0) return true;
  const int* const pivots = irnf + fullRows;
  int rank = std::min(fullRows, fullColumns);
  while (rank > 0 && pivots[rank - 1] <= 0) --rank;
  for (int k = 0; k < rank; ++k) good &= within(pivots[k], fullRows);
  for (int k = rank; k < fullColumns; ++k) good &= pivots[k] < 0 && pivots[k] >= -fullColumns;
  return good;
}

/// The factors of a general block whose columns are first .. first + order - 1 and that begins at `start` of
/// the `space` places that `irnf` has.
bool factors_lie_within(const Keep& keep, int first, int order, int rows, int sparse, std::int64_t start,
                        const int* irnf, std::int64_t space) {
  int end = 2;
  for (int j = first; j < first + order; ++j) {
    if (keep.upper_end(j) < end || keep.lower_end(j) < keep.upper_end(j)) return false;
    end = keep.lower_end(j);
  }
  if (start < 1 || start - 1 + end > space) return false;
  const int fullRows = irnf[start];  // the block's second place
  if (fullRows < 0 || fullRows > rows) return false;
  if (start - 1 + block_space(end, fullRows, order - sparse) > space) return false;
  const int* const block = irnf + (start - 1);
  for (int j = first; j < first + order; ++j) {
    const bool full = j >= first + sparse;
    if (keep.upper_end(j) == keep.lower_end(j)) continue;
    if (full || !within(block[keep.upper_end(j)], rows)) return false;  // the row of its pivot
  }
  return full_part_is_good(block + end, fullRows, order - sparse, rows);
}

}  // namespace

bool keep_is_analysed(const Keep& keep, int m, int n, int longest) {
  return blocks_fill_the_matrix(keep, m, n) && permutations_are_in_range(keep, m, n) &&
         starts_ascend(keep, n, longest) && diagonals_are_there(keep);
}

bool keep_is_factorised(const Keep& keep, const int* irn, int m, int n, int la) {
  const int kept = keep.off_diagonal_start(n + 1) - 1;  // NEWNE
  const int blocks = keep.block_count();
  const std::int64_t space = std::int64_t{la} - kept;
  std::int64_t used = 0;
  for (int block = 1, first = 1; block <= blocks; first += keep.block_order(block), ++block) {
    const int order = keep.block_order(block), sparse = keep.block_kind(block);
    if (sparse < 0) {
      if (keep.lower_end(first) != 0) return false;
    } else {
      const int start = block == 1 ? 1 : keep.block_start(block);
      const int rows = blocks == 1 ? m : order;
      if (start != used + 1) return false;
      if (!factors_lie_within(keep, first, order, rows, sparse, start, irn + kept, space)) return false;
      used += block_space(keep.lower_end(first + order - 1), irn[kept + start], order - sparse);
    }
  }
  return true;
}

}  // namespace corvidnum
