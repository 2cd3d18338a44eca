// Refuses a damaged KEEP, IRN or JCN before any index in them is followed: ma48bd_ (factorisation.cpp) and
// ma48cd_ (solve.cpp) then return MA48_STATUS_INCOMPATIBLE, -7. Four checks:
//
//   keep_is_analysed()        KEEP describes blocks and columns that fill the matrix and lie in its arrays;
//   rows_lie_within_blocks()  IRN has, in each block and above it, only rows that can stand there;
//   map_is_in_range()         JCN leads from each entry given to a place of the matrix;
//   keep_is_factorised()      KEEP and the heads of the blocks describe factors that lie within A and IRN.
//
// Each pass is linear in its array; those over the entries have no branch in their loop, because a
// refactorisation is hardly more than a few such passes.

#include "sparse/ma48/keep_check.h"

#include <algorithm>
#include <cstdlib>

namespace corvidnum {
namespace {

using Keep = KeepView<const int>;

constexpr int kFirstColumn = 2;  // of a block's factors, behind two counts

bool within(int index, int count) { return 1 <= index && index <= count; }

/// Tells whether first <= index <= last for `count` indices; first is 1 or more. Without a branch in the
/// loop, which then becomes vector code.
bool all_within(const int* indices, std::int64_t count, int first, int last) {
  if (last < first) return count <= 0;
  const auto base = static_cast<unsigned>(first), range = static_cast<unsigned>(last - first);
  unsigned outside = 0;
  for (std::int64_t k = 0; k < count; ++k) outside |= static_cast<unsigned>(indices[k]) - base > range;
  return outside == 0;
}

/// Tells whether none of values[0] .. values[count - 1] is below the one before it.
bool ascend(const int* values, std::int64_t count) {
  unsigned falls = 0;
  for (std::int64_t k = 1; k < count; ++k) falls |= static_cast<unsigned>(values[k] < values[k - 1]);
  return falls == 0;
}

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
  return all_within(&keep.row_place(1), m, 1, m) && all_within(&keep.column_at(1), n, 1, n);
}

bool starts_ascend(const Keep& keep, int n, int longest) {
  bool good = keep.diagonal_start(1) == 1 && keep.off_diagonal_start(1) == keep.diagonal_start(n + 1);
  // No block stands before the first, so it has no entries off the diagonal blocks. rows_lie_within_blocks()
  // would find them too, but the queries, which count by these starts, do not call it.
  good &= keep.off_diagonal_start(1) == keep.off_diagonal_start(keep.block_order(1) + 1);
  const std::int64_t starts = std::int64_t{n} + 1;
  good &= ascend(&keep.diagonal_start(1), starts) && ascend(&keep.off_diagonal_start(1), starts);
  return good && keep.off_diagonal_start(n + 1) - 1 <= longest;
}

/// Tells whether each column of a triangular block begins with its diagonal.
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

/// Tells whether the indices of a block's sparse columns lie within it: pivot columns in the U parts, rows of
/// pivots and L parts. `block` has its numbers.
bool column_indices_are_good(const Keep& keep, int first, int order, int rows, const int* block) {
  const int end = keep.lower_end(first + order - 1);
  if (rows == order) return all_within(block + kFirstColumn, end - kFirstColumn, 1, order);
  int begin = kFirstColumn;
  for (int j = first; j < first + order; ++j) {
    const int upper = keep.upper_end(j), lower = keep.lower_end(j);
    if (!all_within(block + begin, upper - begin, 1, order)) return false;
    if (!all_within(block + upper, lower - upper, 1, rows)) return false;
    begin = lower;
  }
  return true;
}

/// Checks the numbers behind the columns: rows of the full part, then the interchanges of its factors.
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

/// Tells whether each column of a block ends where the next begins or before it, the U part before the L
/// part.
bool columns_follow_each_other(const Keep& keep, int first, int order) {
  const int *const upper = &keep.upper_end(first), *const lower = &keep.lower_end(first);
  unsigned falls = static_cast<unsigned>(upper[0] < kFirstColumn || lower[0] < upper[0]);
  for (int j = 1; j < order; ++j) falls |= unsigned{upper[j] < lower[j - 1]} | unsigned{lower[j] < upper[j]};
  return falls == 0;
}

/// Tells whether the columns of a block's full part have no pivot outside of it.
bool full_columns_have_no_pivot(const Keep& keep, int first, int end) {
  bool good = true;
  for (int j = first; j < end; ++j) good &= keep.upper_end(j) == keep.lower_end(j);
  return good;
}

/// Checks the factors of a general block whose columns are first .. first + order - 1 and that begins at
/// `start` of the `space` places that `irnf` has.
bool factors_lie_within(const Keep& keep, int first, int order, int rows, int sparse, std::int64_t start,
                        const int* irnf, std::int64_t space) {
  if (!columns_follow_each_other(keep, first, order)) return false;
  const int end = keep.lower_end(first + order - 1);
  if (start < 1 || start - 1 + end > space) return false;
  const int fullRows = irnf[start];  // the block's second place
  if (fullRows < 0 || fullRows > rows) return false;
  if (start - 1 + block_space(end, fullRows, order - sparse) > space) return false;
  const int* const block = irnf + (start - 1);
  return full_columns_have_no_pivot(keep, first + sparse, first + order) &&
         column_indices_are_good(keep, first, order, rows, block) &&
         full_part_is_good(block + end, fullRows, order - sparse, rows);
}

}  // namespace

bool keep_is_analysed(const Keep& keep, int m, int n, int longest) {
  return blocks_fill_the_matrix(keep, m, n) && permutations_are_in_range(keep, m, n) &&
         starts_ascend(keep, n, longest) && diagonals_are_there(keep);
}

bool rows_lie_within_blocks(const Keep& keep, const int* irn, int m) {
  const int blocks = keep.block_count();
  for (int block = 1, first = 1; block <= blocks; first += keep.block_order(block), ++block) {
    const int behind = first + keep.block_order(block), last = blocks == 1 ? m : behind - 1;
    const int begin = keep.diagonal_start(first), offBegin = keep.off_diagonal_start(first);
    if (!all_within(irn + (begin - 1), keep.diagonal_start(behind) - begin, first, last)) return false;
    if (!all_within(irn + (offBegin - 1), keep.off_diagonal_start(behind) - offBegin, 1, first - 1))
      return false;
  }
  return true;
}

bool map_is_in_range(const int* jcn, int ne) {
  const std::int64_t first = std::abs(std::int64_t{jcn[0]});  // below 0: entries are summed
  return 1 <= first && first <= ne && all_within(jcn + 1, std::int64_t{ne} - 1, 1, ne);
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
