// Analyses the pattern of a square sparse matrix as a bipartite graph of rows and columns.
//
//   Matching: the kernel that both sparse solvers share (augmenting paths, depth first). It numbers from 1
//   and fills up the columns left over with the rows left over, marked by a negative sign.
//
//   Coarse decomposition: breadth-first along alternating paths.
//     1. From the unmatched rows, along any entry to a column, from there along the matching to a row, and so
//        on: all that is reached is the over-determined part. Each column reached has a partner, since
//        otherwise the path would enlarge the matching.
//     2. From the unmatched columns likewise, with rows and columns exchanged: the under-determined part.
//     3. The rest is the square part.
//
//   Block triangular form: the strongly connected components of the graph that has a node for each row, with
//   edges to the rows in the column matched to it. The kernel places a component behind all that it reaches,
//   so entries lie in the rows of the own block or of blocks before it.
//
// Sources: A. L. Dulmage and N. S. Mendelsohn, Can. J. Math. 10 (1958); A. Pothen and C.-J. Fan, ACM Trans.
// Math. Softw. 16 (1990); I. S. Duff and J. K. Reid, ACM Trans. Math. Softw. 4 (1978).

#include "sparse/solver/structure.h"

#include <algorithm>

#include "sparse/ma48/kernels.h"

namespace corvidnum::solver {
namespace {

/// The lines of a pattern, rows or columns, in the layout of the graph kernels: indices and starts from 1.
struct KernelGraph {
  Array<int> targets;          // [entries]
  Array<int> starts, lengths;  // [order]

  bool allocate(int order, int entries) {
    return targets.allocate(entries) && starts.allocate(order) && lengths.allocate(order);
  }
  void set_targets(const int* index) {
    std::transform(index, index + targets.size(), targets.data(), [](int i) { return i + 1; });
  }
  /// Gives node `node` the line `line`, whose entries begin[line] .. begin[line + 1] - 1 are among the
  /// targets.
  void set_node(int node, const int* begin, int line) {
    starts[node] = begin[line] + 1;
    lengths[node] = begin[line + 1] - begin[line];
  }
};

/// Writes the inverse of a matching, whose elements are indices from 0 or kUnmatched.
void invert_matching(const Array<int>& matching, Array<int>& inverse) {
  inverse.fill(kUnmatched);
  for (int i = 0; i < static_cast<int>(matching.size()); ++i) {
    if (matching[i] != kUnmatched) inverse[matching[i]] = i;
  }
}

/// Rows or columns as the lines of a search, and the lines across them.
struct Side {
  int order;
  const int* begin;             // [order + 1] of the lines
  const int* index;             // the lines across, line by line
  const Array<int>& partner;    // of the lines
  const Array<int>& across_to;  // partner of the lines across
};

/// Marks all lines, and lines across, that alternating paths from the unmatched lines reach.
/// @param queue [order] work
void mark_reached(const Side& side, Part mark, Array<Part>& part_of_line, Array<Part>& part_across,
                  Array<int>& queue) {
  int queued = 0;
  for (int line = 0; line < side.order; ++line) {
    if (side.partner[line] != kUnmatched) continue;
    part_of_line[line] = mark;
    queue[queued++] = line;
  }
  for (int head = 0; head < queued; ++head) {
    const int line = queue[head];
    for (int k = side.begin[line]; k < side.begin[line + 1]; ++k) {
      const int across = side.index[k];
      if (part_across[across] == mark) continue;
      const int next = side.across_to[across];
      part_across[across] = mark;
      part_of_line[next] = mark;
      queue[queued++] = next;
    }
  }
}

/// Lists the indices without a partner, in ascending order. @return false: the host refused the memory
bool list_unmatched(const Array<int>& partner, Array<int>& unmatched) {
  if (!unmatched.allocate(std::count(partner.begin(), partner.end(), kUnmatched))) return false;
  int* end = unmatched.data();
  for (int i = 0; i < static_cast<int>(partner.size()); ++i) {
    if (partner[i] == kUnmatched) *end++ = i;
  }
  return true;
}

/// Returns the number of indices that two ascending lists have in common.
int common_indices(const int* a, const int* a_end, const int* b, const int* b_end) {
  int count = 0;
  while (a != a_end && b != b_end) {
    const int left = *a, right = *b;
    count += left == right;
    a += left <= right;
    b += right <= left;
  }
  return count;
}

}  // namespace

bool maximum_matching(const Pattern& pattern, Array<int>& row_of_column, int& structural_rank) {
  constexpr int kWorkPerRow = 4;
  const int n = pattern.order, entries = pattern.entries();
  KernelGraph rows;
  Array<int> work;
  if (!rows.allocate(n, entries) || !work.allocate(std::int64_t{kWorkPerRow} * n) ||
      !row_of_column.allocate(n)) {
    return false;
  }
  rows.set_targets(pattern.column);
  for (int i = 0; i < n; ++i) rows.set_node(i, pattern.row_begin, i);
  ma48_matching_entry(&n, rows.targets.data(), &entries, rows.starts.data(), rows.lengths.data(),
                      row_of_column.data(), &structural_rank, work.data());
  for (int& row : row_of_column) row = row > 0 ? row - 1 : kUnmatched;
  return true;
}

bool coarse_decomposition(const Pattern& pattern, const Array<int>& row_of_column,
                          CoarseDecomposition& decomposition) {
  const int n = pattern.order;
  CoarseDecomposition& d = decomposition;
  Array<int> column_of_row, queue;
  if (!column_of_row.allocate(n) || !queue.allocate(n) || !d.part_of_row.allocate(n) ||
      !d.part_of_column.allocate(n)) {
    return false;
  }
  invert_matching(row_of_column, column_of_row);
  d.part_of_row.fill(Part::kSquare);
  d.part_of_column.fill(Part::kSquare);
  const Side rows{n, pattern.row_begin, pattern.column, column_of_row, row_of_column};
  const Side columns{n, pattern.column_begin, pattern.row, row_of_column, column_of_row};
  mark_reached(rows, Part::kOverDetermined, d.part_of_row, d.part_of_column, queue);
  mark_reached(columns, Part::kUnderDetermined, d.part_of_column, d.part_of_row, queue);
  return list_unmatched(column_of_row, d.unmatched_rows) &&
         list_unmatched(row_of_column, d.unmatched_columns);
}

bool block_triangular_form(const Pattern& pattern, const Array<int>& row_of_column,
                           BlockTriangularForm& form) {
  constexpr int kWorkPerNode = 3;
  const int n = pattern.order, entries = pattern.entries();
  KernelGraph graph;
  Array<int> column_of_row, first, work;
  if (!graph.allocate(n, entries) || !column_of_row.allocate(n) || !first.allocate(n) ||
      !work.allocate(std::int64_t{kWorkPerNode} * n) || !form.row.allocate(n) || !form.column.allocate(n)) {
    return false;
  }
  invert_matching(row_of_column, column_of_row);
  graph.set_targets(pattern.row);
  for (int i = 0; i < n; ++i) graph.set_node(i, pattern.column_begin, column_of_row[i]);
  int blocks = 0;
  ma48_strong_components_entry(&n, graph.targets.data(), &entries, graph.starts.data(), graph.lengths.data(),
                               form.row.data(), first.data(), &blocks, work.data());
  for (int k = 0; k < n; ++k) {
    --form.row[k];
    form.column[k] = column_of_row[form.row[k]];
  }
  if (!form.block_begin.allocate(std::int64_t{blocks} + 1)) return false;
  for (int b = 0; b < blocks; ++b) form.block_begin[b] = first[b] - 1;
  form.block_begin[blocks] = n;
  return true;
}

double pattern_symmetry(const Pattern& pattern, int diagonal) {
  const int off_diagonal = pattern.entries() - diagonal;
  if (off_diagonal == 0) return 1.0;
  int mirrored = -diagonal;
  for (int i = 0; i < pattern.order; ++i) {
    mirrored +=
        common_indices(pattern.column + pattern.row_begin[i], pattern.column + pattern.row_begin[i + 1],
                       pattern.row + pattern.column_begin[i], pattern.row + pattern.column_begin[i + 1]);
  }
  return static_cast<double>(mirrored) / off_diagonal;
}

int diagonal_entries(const Pattern& pattern) {
  int count = 0;
  for (int i = 0; i < pattern.order; ++i) {
    count += std::binary_search(pattern.column + pattern.row_begin[i],
                                pattern.column + pattern.row_begin[i + 1], i);
  }
  return count;
}

}  // namespace corvidnum::solver
