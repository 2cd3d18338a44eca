#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <numeric>

#include "proof/differential/ma48_model.h"
#include "tests/support/pivot_model.h"

namespace ma48_model {

/// The matrix by columns, in the order of the block form; rows are numbered as there.
struct Model::Ordered {
  std::vector<Column> diagonal, off_diagonal;  // from element 1
  struct Where {
    bool off;
    int column, slot;
  };
  std::vector<Where> of_entry;  // column 0: out of range
  Ints row_position,
      column_position;  // local orders of the kernel, put together: old place to new, new to old
};

Model::Model(const Given& given) : given_(given) {}

bool Model::permutations_are_good() const {
  const auto is_permutation = [](Ints numbers, int n) {
    std::sort(numbers.begin() + 1, numbers.end());
    for (int i = 1; i <= n; ++i) {
      if (numbers[i] != i) return false;
    }
    return true;
  };
  return is_permutation(given_.row_places, given_.m) && is_permutation(given_.column_order, given_.n);
}

int Model::analyse() {
  const int m = given_.m, n = given_.n, ne = given_.entries();
  if (m < 1 || n < 1) return info[1] = -1;
  if (ne < 1) return info[1] = -2;
  if (given_.la < 2 * ne) return info[3] = 2 * ne, info[1] = -3;
  if (given_.job < 1 || given_.job > 3) return info[1] = -6;
  if (given_.job == 2 && !permutations_are_good()) return info[1] = -5;
  info = {};
  info[3] = 2 * ne, info[4] = ne, info[10] = std::min(m, n);
  entries_of_.assign(n + 1, {});
  for (int k = ne; k >= 1; --k) {
    const int i = given_.rows[k], j = given_.columns[k];
    if (i < 1 || i > m || j < 1 || j > n) {
      ++info[12];
    } else {
      entries_of_[j].push_back(k);
    }
  }
  find_blocks();
  if (info[1] < 0) return info[1];
  if (given_.icntl[8] != 0) leave_columns_last();

  Ordered ordered = in_block_order();
  choose_pivots(ordered);
  renumber(ordered);
  sum_warnings();
  return info[1];
}

/// Puts the matrix into the order of the blocks, the entries of each column from the last given to the first.
Model::Ordered Model::in_block_order() {
  const int n = given_.n;
  Ordered ordered;
  ordered.diagonal.resize(n + 1);
  ordered.off_diagonal.resize(n + 1);
  ordered.of_entry.assign(given_.entries() + 1, {false, 0, 0});
  for (std::size_t b = 1; b < blocks.size(); ++b) {
    for (int j = blocks[b].first; j <= blocks[b].last(); ++j) put_in_order(ordered, blocks[b], j);
  }
  return ordered;
}

void Model::put_in_order(Ordered& ordered, const Block& block, int j) {
  std::vector<Ordered::Where> of_row(given_.m + 1, {false, 0, 0});
  Column &diagonal = ordered.diagonal[j], &off = ordered.off_diagonal[j];
  if (block.kind < 0) {  // the diagonal stands first in the columns of a triangular block
    diagonal.push_back({j, 0.0});
    of_row[j] = {false, j, 0};
  }
  for (const int k : entries_of_[column_at[j]]) {
    const int i = row_place[given_.rows[k]];
    Ordered::Where& where = of_row[i];
    if (where.column == 0) {
      const bool outside = given_.m == given_.n && (i < block.first || i > block.last());
      Column& part = outside ? off : diagonal;
      where = {outside, j, static_cast<int>(part.size())};
      part.push_back({i, given_.values[k]});
    } else {
      if (!duplicates_counted_) ++info[11];
      (where.off ? off : diagonal)[where.slot].value += given_.values[k];
    }
    ordered.of_entry[k] = where;
  }
}

/// Finds the block triangular form, or makes one block of all.
void Model::find_blocks() {
  const int m = given_.m, n = given_.n, smallest = std::max(1, given_.icntl[6]);
  blocks.assign(2, {});
  blocks[1].order = n;
  row_place.resize(m + 1);
  column_at.resize(n + 1);
  std::iota(row_place.begin(), row_place.end(), 0);
  std::iota(column_at.begin(), column_at.end(), 0);
  if (given_.job == 2) row_place = given_.row_places, column_at = given_.column_order;
  if (smallest >= n || m != n || given_.job != 1) return;

  const std::vector<Ints> pattern = distinct_rows();
  Ints column_of_row;
  info[10] = match(pattern, column_of_row);
  if (info[10] < n) {
    if (given_.icntl[7] != 0) info[1] = -4;
    return;
  }
  std::vector<Ints> successors(n + 1);
  for (int i = 1; i <= n; ++i) successors[i] = pattern[column_of_row[i]];
  const std::vector<Ints> components = strong_components(successors);

  blocks.assign(1, {});
  int first = 1;
  for (const int size : block_sizes(components, smallest)) {
    Block block;
    block.first = first, block.order = std::abs(size), block.kind = size;
    blocks.push_back(block);
    first += block.order;
  }
  int place_of_row = 0;
  for (const Ints& component : components) {
    for (const int row : component) {
      row_place[row] = ++place_of_row;
      column_at[place_of_row] = column_of_row[row];
    }
  }
}

/// Returns the rows of each column, each of them once, and counts the others.
std::vector<Ints> Model::distinct_rows() {
  std::vector<Ints> pattern(given_.n + 1);
  for (int j = 1; j <= given_.n; ++j) {
    Ints& column = pattern[j];
    for (const int k : entries_of_[j]) {
      if (std::count(column.begin(), column.end(), given_.rows[k]) > 0) {
        ++info[11];
      } else {
        column.push_back(given_.rows[k]);
      }
    }
  }
  duplicates_counted_ = true;
  return pattern;
}

/// Joins neighbouring components of one node to triangular blocks, whose sizes are negative, and then blocks
/// to others while they are too small.
Ints Model::block_sizes(const std::vector<Ints>& components, int smallest) {
  Ints sizes, merged;
  for (const Ints& component : components) {
    const int size = static_cast<int>(component.size());
    if (size == 1 && !sizes.empty() && sizes.back() < 0) {
      --sizes.back();
    } else {
      sizes.push_back(size == 1 ? -1 : size);
    }
  }
  for (const int size : sizes) {
    if (!merged.empty() && std::abs(merged.back()) < smallest) {
      merged.back() = std::abs(merged.back()) + std::abs(size);
    } else {
      merged.push_back(size);
    }
  }
  return merged;
}

/// Matches each column with a row by augmenting paths. Returns the number of matches.
int Model::match(const std::vector<Ints>& columns, Ints& column_of_row) const {
  const int n = given_.n;
  column_of_row.assign(n + 1, 0);
  std::vector<std::size_t> cheap(n + 1);  // how far a column was searched for rows without a match
  int matches = 0;
  for (int root = 1; root <= n; ++root) {
    std::vector<bool> seen(n + 1);
    const std::function<bool(int)> reach = [&](int j) {
      const Ints& rows = columns[j];
      while (cheap[j] < rows.size()) {
        const int i = rows[cheap[j]++];
        if (column_of_row[i] != 0) continue;
        column_of_row[i] = j;
        return true;
      }
      for (const int i : rows) {
        if (seen[i]) continue;
        seen[i] = true;
        if (!reach(column_of_row[i])) continue;
        column_of_row[i] = j;
        return true;
      }
      return false;
    };
    matches += reach(root);
  }
  return matches;
}

std::vector<Ints> Model::strong_components(const std::vector<Ints>& successors) const {
  const int n = given_.n, done = n + 1;
  Ints number(n + 1), low(n + 1), stack;
  std::vector<Ints> components;
  const std::function<void(int)> visit = [&](int v) {
    stack.push_back(v);
    number[v] = low[v] = static_cast<int>(stack.size());
    for (const int w : successors[v]) {
      if (number[w] == 0) visit(w);
      low[v] = std::min(low[v], low[w]);
    }
    if (low[v] < number[v]) return;
    Ints component;
    do {
      component.push_back(stack.back());
      low[stack.back()] = done;
      stack.pop_back();
    } while (component.back() != v);
    components.push_back(component);
  };
  for (int v = 1; v <= n; ++v) {
    if (number[v] == 0) visit(v);
  }
  return components;
}

void Model::leave_columns_last() {
  const Ints& marks = given_.marks;
  if (given_.job == 2) {
    int j = 1;
    while (j <= given_.n && marks[column_at[j]] != 0) ++j;
    blocks[1].left_to_last = given_.n - j + 1;
    return;
  }
  for (std::size_t b = 1; b < blocks.size(); ++b) {
    Block& block = blocks[b];
    if (block.kind < 0) continue;
    for (int j = block.first, k = block.last(); j != k;) {
      if (marks[column_at[j]] != 0) {
        ++j;
      } else {
        ++block.left_to_last;
        std::swap(column_at[j], column_at[k]);
        --k;
      }
    }
  }
}

/// Chooses the pivots of each block, from the last to the first.
void Model::choose_pivots(Ordered& ordered) {
  const int m = given_.m, n = given_.n, ne = given_.entries();
  ordered.row_position.resize(m + 1);
  ordered.column_position.resize(n + 1);
  std::iota(ordered.row_position.begin(), ordered.row_position.end(), 0);
  std::iota(ordered.column_position.begin(), ordered.column_position.end(), 0);
  Ints need(blocks.size()), rows(blocks.size());
  for (std::size_t b = blocks.size() - 1; b >= 1; --b) {
    Block& block = blocks[b];
    if (block.kind < 0) {
      for (int j = block.first; j <= block.last(); ++j) {
        const double diagonal = ordered.diagonal[j][0].value;
        info[5] += std::fabs(diagonal) > std::max(given_.cntl[4], 0.0) && has_reciprocal(diagonal);
      }
      continue;
    }
    int before = 0, entries = 0;
    for (int j = 1; j < block.first; ++j) before += static_cast<int>(ordered.diagonal[j].size());
    pivot_model::Problem problem{rows_of(block), block.order, {}};
    for (int j = block.first; j <= block.last(); ++j) {
      std::vector<pivot_model::Entry> column;
      for (const Element& e : ordered.diagonal[j]) column.push_back({e.index - block.first + 1, e.value});
      entries += static_cast<int>(column.size());
      problem.columns.push_back(column);
    }
    std::copy_n(given_.cntl.begin() + 1, 4, problem.cntl.begin());
    problem.icntl = {0, 0, 0, given_.job == 2 ? 1 : given_.icntl[4], given_.icntl[5], block.left_to_last, 0};
    problem.icntl[6] = given_.job == 1 ? 0 : given_.job == 2 ? 2 : 1;
    std::iota(problem.priority.begin(), problem.priority.end(), 1);
    std::iota(problem.sequence.begin(), problem.sequence.end(), 1);
    info[7] = std::max(info[7], problem.m), info[8] += block.order, info[9] += entries;

    pivot_model::Result result;
    if (entries > 0) {
      result = pivot_model::Model(problem, given_.la - ne - before).run();
    } else {  // nothing to choose from: all of it is the full part
      result.ip = problem.priority, result.iq = problem.sequence;
      result.info[0] = 1;
      result.info[3] = std::max(problem.m * problem.n, problem.m + problem.n) + 2 * problem.m + 2;
    }
    block.kind = result.np;
    const int shift = block.first - 1;
    for (int i = 1; i <= problem.m; ++i) ordered.row_position[shift + i] = shift + result.ip[i - 1];
    for (int j = 1; j <= problem.n; ++j) ordered.column_position[shift + j] = shift + result.iq[j - 1];
    if (result.info[0] == 1 && (info[1] == 0 || info[1] == 4)) info[1] += 2;
    if (result.info[0] == 2 && (info[1] == 0 || info[1] == 2)) info[1] += 4;
    if (result.info[0] == 3) info[1] = 6;
    info[3] = std::max(info[3], ne + result.info[2] + before);
    info[5] += result.info[4], info[6] += result.info[5];
    operations += result.operations;
    need[b] = result.info[3], rows[b] = problem.m;
  }
  int end = ne;
  for (std::size_t b = 1; b < blocks.size(); ++b) {
    if (need[b] == 0) continue;
    info[4] = std::max(info[4], end + need[b]);
    end += need[b] - 2 * rows[b];
  }
}

/// Puts the matrix into the store in its last order.
void Model::renumber(const Ordered& ordered) {
  const int m = given_.m, n = given_.n, ne = given_.entries();
  index.assign(1, 0);
  std::vector<Ints> diagonal_place(n + 1), off_diagonal_place(n + 1);
  const auto put = [&](bool reversed, const std::vector<Column>& part, Ints& start,
                       std::vector<Ints>& of_slot) {
    start.assign(n + 2, 0);
    for (int j = 1; j <= n; ++j) {
      start[j] = static_cast<int>(index.size());
      const int old = ordered.column_position[j];
      Column column = part[old];
      const int first = static_cast<int>(index.size()), size = static_cast<int>(column.size());
      if (reversed) std::reverse(column.begin(), column.end());
      for (const Element& e : column) index.push_back(ordered.row_position[e.index]);
      for (int slot = 0; slot < size; ++slot)
        of_slot[old].push_back(first + (reversed ? size - 1 - slot : slot));
    }
    start[n + 1] = static_cast<int>(index.size());
  };
  put(false, ordered.diagonal, diagonal_start, diagonal_place);
  put(true, ordered.off_diagonal, off_diagonal_start, off_diagonal_place);
  place.assign(ne + 1, ne);
  for (int k = 1; k <= ne; ++k) {
    const Ordered::Where& where = ordered.of_entry[k];
    if (where.column > 0)
      place[k] = (where.off ? off_diagonal_place : diagonal_place)[where.column][where.slot];
  }
  for (int i = 1; i <= m; ++i) row_place[i] = ordered.row_position[row_place[i]];
  const Ints before = column_at;
  for (int j = 1; j <= n; ++j) column_at[j] = before[ordered.column_position[j]];
}

void Model::sum_warnings() {
  if (info[11] > 0 || info[12] > 0) ++info[1];
  if (info[11] > 0) place[1] = -place[1];
  if (info[10] < info[5]) {
    info[5] = info[10];
    if (info[1] != 2 && info[1] != 3 && info[1] < 6) info[1] += 2;
  }
}

}  // namespace ma48_model
