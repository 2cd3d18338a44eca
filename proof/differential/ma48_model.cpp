#include "proof/differential/ma48_model.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <numeric>
#include <utility>

#include "tests/support/pivot_model.h"

namespace ma48_model {
namespace {

std::size_t at(int i) { return static_cast<std::size_t>(i); }

/// How far each operation with a full part is changed to see how much its rounding matters.
constexpr double kPerturbation = 1e-10;
/// How many times the change that this makes two good solutions may be apart: where sparse columns have let
/// rounding errors grow to the size of the solution, the change is as large as that, and no larger.
constexpr double kChanges = 20.0;

/// Whether a value may be divided by.
bool has_reciprocal(double value) { return std::isfinite(1.0 / value); }

/// Whether sums of some such values are exact in any order.
bool is_coarse(double value) {
  return std::fabs(value) < 0x1p20 && std::rint(value * 0x1p20) == value * 0x1p20;
}

/// Returns y + a b, rounded twice; clears `exact` if this, or sums with more terms in another order, may be
/// rounded.
double add_product(double y, double a, double b, bool& exact) {
  const double product = a * b;
  if (std::fma(a, b, -product) != 0.0 || !is_coarse(product) || !is_coarse(y)) exact = false;
  return y + product;
}

/// Returns x / y; clears `exact` if it was rounded.
double divide(double x, double y, bool& exact) {
  const double quotient = x / y;
  if (std::fma(quotient, y, -x) != 0.0) exact = false;
  return quotient;
}

}  // namespace

// ---- Analysis

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
      if (numbers[at(i)] != i) return false;
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
  entries_of_.assign(at(n + 1), {});
  for (int k = ne; k >= 1; --k) {
    const int i = given_.rows[at(k)], j = given_.columns[at(k)];
    if (i < 1 || i > m || j < 1 || j > n) {
      ++info[12];
    } else {
      entries_of_[at(j)].push_back(k);
    }
  }
  find_blocks();
  if (info[1] < 0) return info[1];
  if (given_.icntl[8] != 0) leave_columns_last();

  Ordered ordered;
  ordered.diagonal.resize(at(n + 1));
  ordered.off_diagonal.resize(at(n + 1));
  ordered.of_entry.assign(at(ne + 1), {false, 0, 0});
  for (std::size_t b = 1; b < blocks.size(); ++b) {
    const Block& block = blocks[b];
    for (int j = block.first; j <= block.last(); ++j) {
      std::vector<Ordered::Where> of_row(at(m + 1), {false, 0, 0});
      Column &diagonal = ordered.diagonal[at(j)], &off = ordered.off_diagonal[at(j)];
      if (block.kind < 0) {
        diagonal.push_back({j, 0.0});
        of_row[at(j)] = {false, j, 0};
      }
      for (const int k : entries_of_[at(column_at[at(j)])]) {
        const int i = row_place[at(given_.rows[at(k)])];
        Ordered::Where& where = of_row[at(i)];
        if (where.column == 0) {
          const bool outside = m == n && (i < block.first || i > block.last());
          Column& part = outside ? off : diagonal;
          where = {outside, j, static_cast<int>(part.size())};
          part.push_back({i, given_.values[at(k)]});
        } else {
          if (!duplicates_counted_) ++info[11];
          (where.off ? off : diagonal)[at(where.slot)].value += given_.values[at(k)];
        }
        ordered.of_entry[at(k)] = where;
      }
    }
  }
  choose_pivots(ordered);
  renumber(ordered);
  sum_warnings();
  return info[1];
}

/// Finds the block triangular form, or makes one block of all.
void Model::find_blocks() {
  const int m = given_.m, n = given_.n, smallest = std::max(1, given_.icntl[6]);
  blocks.assign(2, {});
  blocks[1].order = n;
  row_place.resize(at(m + 1));
  column_at.resize(at(n + 1));
  std::iota(row_place.begin(), row_place.end(), 0);
  std::iota(column_at.begin(), column_at.end(), 0);
  if (given_.job == 2) row_place = given_.row_places, column_at = given_.column_order;
  if (smallest >= n || m != n || given_.job != 1) return;

  std::vector<Ints> pattern(at(n + 1));  // of the columns, each row once
  for (int j = 1; j <= n; ++j) {
    for (const int k : entries_of_[at(j)]) {
      const int i = given_.rows[at(k)];
      Ints& column = pattern[at(j)];
      if (std::count(column.begin(), column.end(), i) > 0) {
        ++info[11];
      } else {
        column.push_back(i);
      }
    }
  }
  duplicates_counted_ = true;
  Ints column_of_row;
  info[10] = match(pattern, column_of_row);
  if (info[10] < n) {
    if (given_.icntl[7] != 0) info[1] = -4;
    return;
  }
  std::vector<Ints> successors(at(n + 1));
  for (int i = 1; i <= n; ++i) successors[at(i)] = pattern[at(column_of_row[at(i)])];
  const std::vector<Ints> components = strong_components(successors);

  Ints sizes, rows{0};
  for (const Ints& component : components) {
    rows.insert(rows.end(), component.begin(), component.end());
    const int size = static_cast<int>(component.size());
    if (size == 1 && !sizes.empty() && sizes.back() < 0) {
      --sizes.back();
    } else {
      sizes.push_back(size == 1 ? -1 : size);
    }
  }
  Ints merged;
  for (const int size : sizes) {
    if (!merged.empty() && std::abs(merged.back()) < smallest) {
      merged.back() = std::abs(merged.back()) + std::abs(size);
    } else {
      merged.push_back(size);
    }
  }
  blocks.assign(1, {});
  int first = 1;
  for (const int size : merged) {
    Block block;
    block.first = first, block.order = std::abs(size), block.kind = size;
    blocks.push_back(block);
    first += block.order;
  }
  for (int p = 1; p <= n; ++p) {
    row_place[at(rows[at(p)])] = p;
    column_at[at(p)] = column_of_row[at(rows[at(p)])];
  }
}

/// Matches each column with a row by augmenting paths. Returns the number of matches.
int Model::match(const std::vector<Ints>& columns, Ints& column_of_row) const {
  const int n = given_.n;
  column_of_row.assign(at(n + 1), 0);
  std::vector<std::size_t> cheap(at(n + 1));  // how far a column was searched for rows without a match
  int matches = 0;
  for (int root = 1; root <= n; ++root) {
    std::vector<bool> seen(at(n + 1));
    const std::function<bool(int)> reach = [&](int j) {
      const Ints& rows = columns[at(j)];
      while (cheap[at(j)] < rows.size()) {
        const int i = rows[cheap[at(j)]++];
        if (column_of_row[at(i)] != 0) continue;
        column_of_row[at(i)] = j;
        return true;
      }
      for (const int i : rows) {
        if (seen[at(i)]) continue;
        seen[at(i)] = true;
        if (!reach(column_of_row[at(i)])) continue;
        column_of_row[at(i)] = j;
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
  Ints number(at(n + 1)), low(at(n + 1)), stack;
  std::vector<Ints> components;
  const std::function<void(int)> visit = [&](int v) {
    stack.push_back(v);
    number[at(v)] = low[at(v)] = static_cast<int>(stack.size());
    for (const int w : successors[at(v)]) {
      if (number[at(w)] == 0) visit(w);
      low[at(v)] = std::min(low[at(v)], low[at(w)]);
    }
    if (low[at(v)] < number[at(v)]) return;
    Ints component;
    do {
      component.push_back(stack.back());
      low[at(stack.back())] = done;
      stack.pop_back();
    } while (component.back() != v);
    components.push_back(component);
  };
  for (int v = 1; v <= n; ++v) {
    if (number[at(v)] == 0) visit(v);
  }
  return components;
}

void Model::leave_columns_last() {
  const Ints& marks = given_.marks;
  if (given_.job == 2) {
    int j = 1;
    while (j <= given_.n && marks[at(column_at[at(j)])] != 0) ++j;
    blocks[1].left_to_last = given_.n - j + 1;
    return;
  }
  for (std::size_t b = 1; b < blocks.size(); ++b) {
    Block& block = blocks[b];
    if (block.kind < 0) continue;
    for (int j = block.first, k = block.last(); j != k;) {
      if (marks[at(column_at[at(j)])] != 0) {
        ++j;
      } else {
        ++block.left_to_last;
        std::swap(column_at[at(j)], column_at[at(k)]);
        --k;
      }
    }
  }
}

/// Chooses the pivots of each block, from the last to the first.
void Model::choose_pivots(Ordered& ordered) {
  const int m = given_.m, n = given_.n, ne = given_.entries();
  ordered.row_position.resize(at(m + 1));
  ordered.column_position.resize(at(n + 1));
  std::iota(ordered.row_position.begin(), ordered.row_position.end(), 0);
  std::iota(ordered.column_position.begin(), ordered.column_position.end(), 0);
  Ints need(blocks.size()), rows(blocks.size());
  for (std::size_t b = blocks.size() - 1; b >= 1; --b) {
    Block& block = blocks[b];
    if (block.kind < 0) {
      for (int j = block.first; j <= block.last(); ++j) {
        const double diagonal = ordered.diagonal[at(j)][0].value;
        info[5] += std::fabs(diagonal) > std::max(given_.cntl[4], 0.0) && has_reciprocal(diagonal);
      }
      continue;
    }
    int before = 0, entries = 0;
    for (int j = 1; j < block.first; ++j) before += static_cast<int>(ordered.diagonal[at(j)].size());
    pivot_model::Problem problem{rows_of(block), block.order, {}};
    for (int j = block.first; j <= block.last(); ++j) {
      std::vector<pivot_model::Entry> column;
      for (const Element& e : ordered.diagonal[at(j)]) column.push_back({e.index - block.first + 1, e.value});
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
    for (int i = 1; i <= problem.m; ++i) ordered.row_position[at(shift + i)] = shift + result.ip[at(i - 1)];
    for (int j = 1; j <= problem.n; ++j)
      ordered.column_position[at(shift + j)] = shift + result.iq[at(j - 1)];
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
  std::vector<Ints> diagonal_place(at(n + 1)), off_diagonal_place(at(n + 1));
  const auto put = [&](bool reversed, const std::vector<Column>& part, Ints& start,
                       std::vector<Ints>& of_slot) {
    start.assign(at(n + 2), 0);
    for (int j = 1; j <= n; ++j) {
      start[at(j)] = static_cast<int>(index.size());
      const int old = ordered.column_position[at(j)];
      Column column = part[at(old)];
      const int first = static_cast<int>(index.size()), size = static_cast<int>(column.size());
      if (reversed) std::reverse(column.begin(), column.end());
      for (const Element& e : column) index.push_back(ordered.row_position[at(e.index)]);
      for (int slot = 0; slot < size; ++slot)
        of_slot[at(old)].push_back(first + (reversed ? size - 1 - slot : slot));
    }
    start[at(n + 1)] = static_cast<int>(index.size());
  };
  put(false, ordered.diagonal, diagonal_start, diagonal_place);
  put(true, ordered.off_diagonal, off_diagonal_start, off_diagonal_place);
  place.assign(at(ne + 1), ne);
  for (int k = 1; k <= ne; ++k) {
    const Ordered::Where& where = ordered.of_entry[at(k)];
    if (where.column > 0)
      place[at(k)] = (where.off ? off_diagonal_place : diagonal_place)[at(where.column)][at(where.slot)];
  }
  for (int i = 1; i <= m; ++i) row_place[at(i)] = ordered.row_position[at(row_place[at(i)])];
  const Ints before = column_at;
  for (int j = 1; j <= n; ++j) column_at[at(j)] = before[at(ordered.column_position[at(j)])];
}

void Model::sum_warnings() {
  if (info[11] > 0 || info[12] > 0) ++info[1];
  if (info[11] > 0) place[1] = -place[1];
  if (info[10] < info[5]) {
    info[5] = info[10];
    if (info[1] != 2 && info[1] != 3 && info[1] < 6) info[1] += 2;
  }
}

// ---- Factorisation

void Model::scatter(const Vector& values) {
  const int ne = given_.entries();
  store.assign(at(ne + 1), 0.0);
  store[at(std::abs(place[1]))] = values[1];
  for (int k = 2; k <= ne; ++k) {
    double& element = store[at(place[at(k)])];
    element = place[1] < 0 ? element + values[at(k)] : values[at(k)];
  }
}

bool Model::pivots_are_good(const Block& block, double tolerance) const {
  for (int j = block.first; j <= block.last(); ++j) {
    const double diagonal = store[at(diagonal_start[at(j)])];
    if (std::fabs(diagonal) <= tolerance || !has_reciprocal(diagonal)) return false;
  }
  return true;
}

int Model::space_of(const Block& block) {
  int end = 2;
  for (int j = 1; j <= block.order; ++j) {
    const ColumnFactor& column = block.columns[at(j)];
    end += static_cast<int>(column.upper.size() + column.lower.size());
  }
  const int mf = block.full.rows, nf = block.order - block.kind;
  return end + std::max(mf * nf, mf + nf);
}

int Model::factorise(int job, const Vector& values, int la) {
  info = {};
  operations = 0.0;
  if (job < 1 || job > 3) return info[1] = -6;
  const int ne = given_.entries(), kept = off_diagonal_start[at(given_.n + 1)] - 1;
  info[4] = ne;
  scatter(values);
  int old_end = 0, used = 0;
  for (std::size_t b = 1; b < blocks.size() && job > 1; ++b) {
    if (blocks[b].kind >= 0) old_end = std::max(old_end, blocks[b].start - 1 + space_of(blocks[b]));
  }
  // The values given are copied to where the factors are, unless there is room behind them.
  columns_stay_ = job > 1 && kept == ne && std::max(ne, kept + old_end) + ne <= la;
  for (std::size_t b = 1; b < blocks.size(); ++b) {
    Block& block = blocks[b];
    const int old_start = std::exchange(block.start, 0);
    block.columns.resize(at(block.order + 1));
    int job_of_block = job;
    if (block.kind < 0) {
      if (pivots_are_good(block, std::max(given_.cntl[4], 0.0))) {
        info[5] += block.order;
        continue;
      }
      if (job == 2) return info[1] = -7;
      block.kind = block.order;
      job_of_block = 1;
    } else if (job == 3 && old_start != used + 1) {
      job_of_block = 1;  // the order of the previous factors has been overwritten
    }
    const int rank_before = info[5];
    const int status = factor_block(block, job_of_block);
    if (status < 0) return info[1] = status;
    info[4] = std::max(info[4], used + std::max(need_, space_of(block)) + kept);
    block.start = used + 1;
    used += space_of(block);
    if (info[5] - rank_before < std::min(rows_of(block), block.order)) info[1] = 2;
  }
  info[4] = std::max(info[4], 2 * ne);
  return info[1];
}

/// Returns how many columns of a block stay as they are.
int Model::count_kept(const Block& block, int job) const {
  const int last = columns_stay_ ? block.left_to_last : 0;
  return job > 1 && last > 0 && last < block.order ? std::min(block.kind, block.order - last) : 0;
}

std::vector<bool> Model::kept_columns(int job) const {
  std::vector<bool> kept(at(given_.n + 1));
  for (std::size_t b = 1; b < blocks.size(); ++b) {
    for (int j = 1; j <= count_kept(blocks[b], job); ++j)
      kept[at(column_at[at(blocks[b].first - 1 + j)])] = true;
  }
  return kept;
}

/// Returns column j of a block, both numbered within it.
Column Model::column_of(const Block& block, int j) const {
  Column column;
  const int global = block.first - 1 + j;
  for (int k = diagonal_start[at(global)]; k < diagonal_start[at(global + 1)]; ++k)
    column.push_back({index[at(k)] - block.first + 1, store[at(k)]});
  return column;
}

int Model::factor_block(Block& block, int job) {
  if (job > 1 && block.dropped > 0) return -6;
  need_ = 0;
  if (job == 2) {
    const int status = factor_again(block, job);
    if (status < 0) return status;
  } else {
    factor_freely(block, job);
  }
  factor_full(block);
  return 0;
}

void Model::factor_freely(Block& block, int job) {
  const int m = rows_of(block), n = block.order, np = block.kind, kept = count_kept(block, job);
  const double drop = given_.cntl[3], threshold = std::min(std::max(given_.cntl[2], 0.0), 1.0);
  Ints priority(at(m + 1));      // of a row that is not pivotal
  Ints pivot_column(at(m + 1));  // 0: the row is not pivotal
  std::iota(priority.begin(), priority.end(), 0);
  if (job == 3) {
    for (int j = 1; j <= np; ++j) {
      const Column& lower = block.columns[at(j)].lower;
      if (!lower.empty()) (j <= kept ? pivot_column : priority)[at(lower[0].index)] = j;
    }
    for (std::size_t k = 1; k < block.full_rows.size(); ++k)
      priority[at(block.full_rows[k])] = np + static_cast<int>(k);
  }
  int rank = 0;
  for (int j = 1; j <= kept; ++j)
    rank += !block.columns[at(j)].lower.empty(), block.columns[at(j)].pruned = -1;
  for (int j = kept + 1; j <= n; ++j) block.columns[at(j)] = {};
  block.dropped = 0;
  block.full_rows.assign(1, 0);
  block.full = {};
  int fill = 2;  // end of the factors so far
  for (int j = 1; j <= kept; ++j)
    fill += static_cast<int>(block.columns[at(j)].upper.size() + block.columns[at(j)].lower.size());
  const auto begin_full_part = [&] {
    for (int i = 1; i <= m; ++i) {
      if (pivot_column[at(i)] == 0) block.full_rows.push_back(i);
    }
    block.full.rows = static_cast<int>(block.full_rows.size()) - 1;
    block.full.columns = n - np;
  };
  for (int j = kept + 1; j <= n; ++j) {
    if (j == np + 1) begin_full_part();
    const Column given = column_of(block, j);
    const int full_space =
        j > np ? std::max(block.full.rows * block.full.columns, block.full.rows + n - np) : 0;
    need_ = std::max(need_, m + static_cast<int>(given.size()) + fill + full_space);
    Vector w(at(m + 1));
    std::vector<bool> seen(at(m + 1));
    Ints updates, lower_rows;  // in the order in which the search leaves, or finds them
    for (const Element& e : given) w[at(e.index)] = e.value;
    const auto search = [&](const auto& self, const Column& list, std::size_t begin,
                            std::size_t end) -> void {
      for (std::size_t k = begin; k < end; ++k) {
        const int i = list[k].index;
        if (seen[at(i)]) continue;
        seen[at(i)] = true;
        const int pivotal = pivot_column[at(i)];
        if (pivotal == 0) {
          lower_rows.push_back(i);
          continue;
        }
        const ColumnFactor& next = block.columns[at(pivotal)];
        self(self, next.lower, 1, next.pruned < 0 ? next.lower.size() : at(next.pruned));
        updates.push_back(i);
      }
    };
    search(search, given, 0, given.size());
    for (auto i = updates.rbegin(); i != updates.rend(); ++i) {
      if (std::fabs(w[at(*i)]) < drop) continue;
      const Column& lower = block.columns[at(pivot_column[at(*i)])].lower;
      const double multiplier = w[at(*i)] = -w[at(*i)] * lower[0].value;
      for (std::size_t k = 1; k < lower.size(); ++k) w[at(lower[k].index)] += multiplier * lower[k].value;
      operations += 1.0 + 2.0 * static_cast<double>(lower.size() - 1);
    }
    ColumnFactor& column = block.columns[at(j)];
    for (const int i : updates) {
      if (drop > 0 && std::fabs(w[at(i)]) < drop) {
        ++block.dropped;
      } else {
        column.upper.push_back({pivot_column[at(i)], w[at(i)]});
      }
    }
    fill += static_cast<int>(column.upper.size());
    if (j > np) {
      for (int k = 1; k <= block.full.rows; ++k) block.full.elements.push_back(w[at(block.full_rows[at(k)])]);
      continue;
    }
    bool may_prune = true;
    double largest = 0.0;
    Column lower;
    for (auto i = lower_rows.rbegin(); i != lower_rows.rend(); ++i) {
      const double value = w[at(*i)];
      largest = std::max(largest, std::fabs(value));
      if (drop > 0 && std::fabs(value) < drop) {
        ++block.dropped;
        may_prune = false;
      } else {
        lower.push_back({*i, value});
      }
    }
    int pivot = -1;
    for (int k = 0; k < static_cast<int>(lower.size()); ++k) {
      const Element& e = lower[at(k)];
      if (std::fabs(e.value) < largest * threshold || !(std::fabs(e.value) > given_.cntl[4])) continue;
      if (!has_reciprocal(e.value)) continue;
      if (pivot < 0 || priority[at(e.index)] < priority[at(lower[at(pivot)].index)]) pivot = k;
    }
    if (pivot < 0) {
      if (drop > 0) block.dropped += static_cast<int>(lower.size());
      continue;
    }
    std::swap(lower[0], lower[at(pivot)]);
    lower[0].value = 1.0 / lower[0].value;
    operations += 1.0;
    ++rank;
    const int pivot_row = lower[0].index;
    pivot_column[at(pivot_row)] = j;
    column.lower = lower;
    fill += static_cast<int>(lower.size());
    for (std::size_t u = 0; may_prune && u < column.upper.size(); ++u) {
      ColumnFactor& earlier = block.columns[at(column.upper[u].index)];
      Column& list = earlier.lower;
      const auto is_pivot_row = [&](const Element& e) { return e.index == pivot_row; };
      if (earlier.pruned >= 0 || std::none_of(list.begin() + 1, list.end(), is_pivot_row)) continue;
      std::size_t front = 1, back = list.size();
      while (front < back) {
        if (pivot_column[at(list[front].index)] != 0) {
          ++front;
        } else if (pivot_column[at(list[back - 1].index)] == 0) {
          --back;
        } else {
          std::swap(list[front], list[back - 1]);
        }
      }
      earlier.pruned = static_cast<int>(front);
    }
  }
  if (np == n) begin_full_part();
  info[5] += rank;
  info[6] += block.dropped;
}

/// Repeats the eliminations on the same pivots and places.
int Model::factor_again(Block& block, int job) {
  const int m = rows_of(block), np = block.kind, kept = count_kept(block, job);
  block.full.elements.clear();
  for (int j = 1; j <= kept; ++j) info[5] += !block.columns[at(j)].lower.empty();
  for (int j = kept + 1; j <= block.order; ++j) {
    Vector w(at(m + 1));
    for (const Element& e : column_of(block, j)) w[at(e.index)] = e.value;
    ColumnFactor& column = block.columns[at(j)];
    for (auto u = column.upper.rbegin(); u != column.upper.rend(); ++u) {
      const Column& lower = block.columns[at(u->index)].lower;
      u->value = -w[at(lower[0].index)] * lower[0].value;
      for (std::size_t k = 1; k < lower.size(); ++k) w[at(lower[k].index)] += u->value * lower[k].value;
      operations += 1.0 + 2.0 * static_cast<double>(lower.size() - 1);
    }
    if (j > np) {
      for (int k = 1; k <= block.full.rows; ++k) block.full.elements.push_back(w[at(block.full_rows[at(k)])]);
      continue;
    }
    for (Element& e : column.lower) e.value = w[at(e.index)];
    if (column.lower.empty()) continue;
    double& pivot = column.lower[0].value;
    if (std::fabs(pivot) <= given_.cntl[4] || !has_reciprocal(pivot)) return -7;
    pivot = 1.0 / pivot;
    ++info[5];
    operations += 1.0;
  }
  return 0;
}

/// Factorises the full part by columns, from the left.
void Model::factor_full(Block& block) {
  FullPart& a = block.full;
  const int m = a.rows, n = a.columns;
  a.before = a.elements;
  a.pivots.assign(at(n + 1), 0);
  a.exact = true;
  a.rank = 0;
  if (m == 0 || n == 0) return;
  int j = 1;
  for (int step = 1; step <= n; ++step) {
    for (int i = 1; i < j && i < m; ++i) {
      for (int k = i + 1; k <= m; ++k) a(k, j) = add_product(a(k, j), -a(i, j), a(k, i), a.exact);
    }
    if (j <= m) {
      int pivot = j;
      for (int k = j + 1; k <= m; ++k) {
        if (std::fabs(a(k, j)) > std::fabs(a(pivot, j))) pivot = k;
      }
      if (std::fabs(a(pivot, j)) > given_.cntl[4] && has_reciprocal(a(pivot, j))) {
        a.pivots[at(j)] = pivot;
        for (int k = 1; k <= n - step + j; ++k) std::swap(a(j, k), a(pivot, k));
        for (int k = j + 1; k <= m; ++k) a(k, j) *= 1.0 / a(j, j);
        ++j;
        continue;
      }
    }
    for (int k = j; k <= m; ++k) a(k, j) = 0.0;
    const int end = n - step + j;
    if (step < n) {
      for (int k = 1; k <= m; ++k) std::swap(a(k, j), a(k, end));
    }
    a.pivots[at(end)] = -j;
  }
  a.rank = j - 1;
  info[5] += a.rank;
  for (j = 1; j <= std::min(m, n); ++j) {
    const double rest = static_cast<double>(m - j) * (n - j);
    operations += m - j + 2.0 * rest + 1.0;
  }
}

// ---- Solution

struct Model::Errors {
  double omega1 = 0.0, omega2 = 0.0, largest_x = 0.0;
  Vector right_hand_side, residual, terms, row_sums;
  Ints category;
  double sum() const { return omega1 + omega2; }
};

Vector Model::permuted(bool transposed, const Vector& b) const {
  Vector w(b.size());
  for (int i = 1; i < static_cast<int>(b.size()); ++i) {
    if (transposed) {
      w[at(i)] = b[at(column_at[at(i)])];
    } else {
      w[at(row_place[at(i)])] = b[at(i)];
    }
  }
  return w;
}

/// Takes a solution from the order of the factors to that of the caller.
Vector Model::solution_order(bool transposed, const Vector& x) const {
  Vector result(x.size());
  for (int i = 1; i < static_cast<int>(x.size()); ++i) {
    if (transposed) {
      result[at(i)] = x[at(row_place[at(i)])];
    } else {
      result[at(column_at[at(i)])] = x[at(i)];
    }
  }
  return result;
}

Vector Model::inverse_solution_order(bool transposed, const Vector& x) const {
  Vector result(x.size());
  for (int i = 1; i < static_cast<int>(x.size()); ++i) {
    if (transposed) {
      result[at(row_place[at(i)])] = x[at(i)];
    } else {
      result[at(i)] = x[at(column_at[at(i)])];
    }
  }
  return result;
}

/// Solves in the order of the factors. `perturbation` is how far each operation with a full part is changed,
/// relatively, to see how much its rounding matters.
Vector Model::apply(bool transposed, const Vector& b, bool& exact, double perturbation) const {
  const int count = static_cast<int>(blocks.size()) - 1;
  const int length = transposed ? given_.m : given_.n;
  Vector right = b, x(at(length + 1));
  for (int step = 1; step <= count; ++step) {
    const Block& block = blocks[at(transposed ? step : count + 1 - step)];
    const int first = block.first, last = block.last();
    if (transposed && step > 1) {
      for (int j = first; j <= last; ++j) {
        for (int k = off_diagonal_start[at(j)]; k < off_diagonal_start[at(j + 1)]; ++k)
          right[at(j)] -= store[at(k)] * x[at(index[at(k)])];
      }
    }
    if (block.kind >= 0) {
      apply_block(block, transposed, right, x, exact, perturbation);
    } else if (transposed) {
      for (int j = first; j <= last; ++j) {
        const int start = diagonal_start[at(j)];
        for (int k = start + 1; k < diagonal_start[at(j + 1)]; ++k)
          right[at(j)] -= store[at(k)] * x[at(index[at(k)])];
        x[at(j)] = right[at(j)] / store[at(start)];
      }
    } else {
      for (int j = last; j >= first; --j) {
        const int start = diagonal_start[at(j)];
        x[at(j)] = right[at(j)] / store[at(start)];
        for (int k = start + 1; k < diagonal_start[at(j + 1)]; ++k)
          right[at(index[at(k)])] -= store[at(k)] * x[at(j)];
      }
    }
    if (!transposed && step < count) {
      for (int j = first; j <= last; ++j) {
        for (int k = off_diagonal_start[at(j)]; k < off_diagonal_start[at(j + 1)]; ++k)
          right[at(index[at(k)])] -= store[at(k)] * x[at(j)];
      }
    }
  }
  return x;
}

void Model::apply_block(const Block& block, bool transposed, Vector& b, Vector& x, bool& exact,
                        double perturbation) const {
  const int m = rows_of(block), n = block.order, np = block.kind, mf = block.full.rows, nf = n - np;
  const int shift = block.first - 1, most = std::max(m, n);
  Vector w(at(most + 1)), y(at(most + 1));
  if (!transposed) {
    for (int i = 1; i <= m; ++i) w[at(i)] = b[at(shift + i)];
    for (int j = 1; j <= np; ++j) {
      const Column& lower = block.columns[at(j)].lower;
      if (lower.empty()) continue;
      y[at(j)] = w[at(lower[0].index)] * lower[0].value;
      if (y[at(j)] == 0.0) continue;
      for (std::size_t k = 1; k < lower.size(); ++k) w[at(lower[k].index)] -= lower[k].value * y[at(j)];
    }
    if (mf > 0 && nf > 0) {
      Vector z(at(std::max(mf, nf) + 1));
      for (int k = 1; k <= mf; ++k) z[at(k)] = w[at(block.full_rows[at(k)])];
      apply_full(block, transposed, z, exact, perturbation);
      for (int k = 1; k <= nf; ++k) y[at(np + k)] = z[at(k)];
    }
    for (int j = n; j >= 1; --j) {
      const ColumnFactor& column = block.columns[at(j)];
      if (j <= np && column.lower.empty()) {
        y[at(j)] = 0.0;
        continue;
      }
      for (const Element& e : column.upper) y[at(e.index)] += e.value * y[at(j)];
    }
    for (int j = 1; j <= n; ++j) x[at(shift + j)] = y[at(j)];
    return;
  }
  for (int j = 1; j <= n; ++j) w[at(j)] = b[at(shift + j)];
  for (int j = 2; j <= n; ++j) {
    double sum = 0.0;
    for (const Element& e : block.columns[at(j)].upper) sum += w[at(e.index)] * e.value;
    w[at(j)] += sum;
  }
  if (mf > 0 && nf > 0) {
    Vector z(at(std::max(mf, nf) + 1));
    for (int k = 1; k <= nf; ++k) z[at(k)] = w[at(np + k)];
    apply_full(block, transposed, z, exact, perturbation);
    for (int k = 1; k <= mf; ++k) y[at(block.full_rows[at(k)])] = z[at(k)];
  }
  for (int j = np; j >= 1; --j) {
    const Column& lower = block.columns[at(j)].lower;
    if (lower.empty()) continue;
    double sum = 0.0;
    for (std::size_t k = 1; k < lower.size(); ++k) sum += y[at(lower[k].index)] * lower[k].value;
    y[at(lower[0].index)] = (w[at(j)] - sum) * lower[0].value;
  }
  for (int i = 1; i <= m; ++i) x[at(shift + i)] = y[at(i)];
}

void Model::apply_full(const Block& block, bool transposed, Vector& b, bool& exact,
                       double perturbation) const {
  const FullPart& a = block.full;
  const int m = a.rows, n = a.columns, rank = a.rank;
  int count = 0;
  const auto perturbed = [&count, perturbation](double value) {
    return value * (1.0 + perturbation * (static_cast<double>(++count * 37 % 17) - 7.5) / 8.0);
  };
  bool fixed_division = true;
  bool& exact_division = given_.icntl[5] < 1 ? fixed_division : exact;
  if (transposed) {
    for (int j = n; j > rank; --j) std::swap(b[at(j)], b[at(-a.pivots[at(j)])]);
    for (int j = 1; j <= rank; ++j) {
      for (int i = 1; i < j; ++i) b[at(j)] = add_product(b[at(j)], perturbed(-a(i, j)), b[at(i)], exact);
      b[at(j)] = divide(b[at(j)], perturbed(a(j, j)), exact_division);
    }
    for (int j = rank; j >= 1; --j) {
      for (int i = j + 1; i <= rank; ++i)
        b[at(j)] = add_product(b[at(j)], perturbed(-a(i, j)), b[at(i)], exact);
    }
    for (int i = rank + 1; i <= m; ++i) b[at(i)] = 0.0;
    for (int j = rank; j >= 1; --j) std::swap(b[at(j)], b[at(a.pivots[at(j)])]);
    return;
  }
  for (int j = 1; j <= rank; ++j) std::swap(b[at(j)], b[at(a.pivots[at(j)])]);
  for (int j = 1; j <= rank; ++j) {
    for (int i = j + 1; i <= rank; ++i)
      b[at(i)] = add_product(b[at(i)], perturbed(-a(i, j)), b[at(j)], exact);
  }
  for (int j = rank; j >= 1; --j) {
    b[at(j)] = divide(b[at(j)], perturbed(a(j, j)), exact_division);
    for (int i = 1; i < j; ++i) b[at(i)] = add_product(b[at(i)], perturbed(-a(i, j)), b[at(j)], exact);
  }
  for (int j = rank + 1; j <= n; ++j) b[at(j)] = 0.0;
  for (int j = rank + 1; j <= n; ++j) std::swap(b[at(j)], b[at(-a.pivots[at(j)])]);
}

/// Computes the backward errors in the order of the factors.
Model::Errors Model::errors_of(bool transposed, const Vector& b, const Vector& x) const {
  Errors errors;
  errors.right_hand_side = errors.residual = b;
  errors.terms.assign(b.size(), 0.0);
  errors.row_sums.assign(b.size(), 0.0);
  errors.category.assign(b.size(), 0);
  for (const Ints* starts : {&diagonal_start, &off_diagonal_start}) {
    for (int j = 1; j <= given_.n; ++j) {
      double product = 0.0, terms = 0.0, row_sum = 0.0;
      for (int k = (*starts)[at(j)]; k < (*starts)[at(j + 1)]; ++k) {
        const int i = index[at(k)];
        const double a = store[at(k)], p = a * x[at(transposed ? i : j)];
        if (transposed) {
          product += p, terms += std::fabs(p), row_sum += std::fabs(a);
        } else {
          errors.residual[at(i)] -= p, errors.terms[at(i)] += std::fabs(p),
              errors.row_sums[at(i)] += std::fabs(a);
        }
      }
      if (!transposed) continue;
      errors.residual[at(j)] -= product, errors.terms[at(j)] += terms, errors.row_sums[at(j)] += row_sum;
    }
  }
  for (const double value : x) errors.largest_x = std::max(errors.largest_x, std::fabs(value));
  const double tau = 1000.0 * DBL_EPSILON;
  const int unknowns = static_cast<int>(x.size()) - 1;
  for (std::size_t i = 1; i < b.size(); ++i) {
    const double right = std::fabs(b[i]), u = errors.largest_x * errors.row_sums[i];
    const double level = (u + right) * unknowns * tau, residual = std::fabs(errors.residual[i]);
    if (right + errors.terms[i] > level) {
      errors.category[i] = 1;
      errors.omega1 = std::max(errors.omega1, residual / (right + errors.terms[i]));
    } else {
      errors.category[i] = 2;
      if (level > 0.0) errors.omega2 = std::max(errors.omega2, residual / (u + errors.terms[i]));
    }
  }
  return errors;
}

std::array<double, 2> Model::backward_errors(bool transposed, const Vector& right_hand_side,
                                             const Vector& x) const {
  const Errors errors =
      errors_of(transposed, permuted(transposed, right_hand_side), inverse_solution_order(transposed, x));
  return {errors.omega1, errors.omega2};
}

/// Replaces x by the solution for its residual, as long as that has the smaller error. Leaves the two errors
/// of x and, beside them, the terms of the x that was tried last.
void Model::refine(bool transposed, Errors& errors, Solution& solution) const {
  const Vector b = errors.right_hand_side;
  for (int iteration = 2; errors.sum() + 1.0 > 1.0; ++iteration) {
    if (iteration > given_.icntl[9]) {
      solution.status = -8;
      return;
    }
    const Vector kept = solution.x;
    const Errors before = errors;
    const double old = errors.sum();
    solution.x = apply(transposed, errors.residual, solution.exact, 0.0);
    errors = errors_of(transposed, b, solution.x);
    if (errors.sum() + 1.0 <= 1.0) return;
    if (!(old * given_.cntl[5] < errors.sum())) continue;
    if (errors.sum() > old) solution.x = kept, errors = before;
    return;
  }
}

/// Estimates the 1-norm of a matrix of order n that `multiply` applies, and `multiply_transposed` (Hager's
/// method in Higham's form).
double estimate_norm(int n, const std::function<Vector(const Vector&)>& multiply,
                     const std::function<Vector(const Vector&)>& multiply_transposed) {
  const auto sum_of_magnitudes = [](const Vector& x) {
    double sum = 0.0;
    for (std::size_t i = 1; i < x.size(); ++i) sum += std::fabs(x[i]);
    return sum;
  };
  const auto largest = [](const Vector& x) {
    std::size_t best = 1;
    for (std::size_t i = 2; i < x.size(); ++i) {
      if (std::fabs(x[i]) > std::fabs(x[best])) best = i;
    }
    return best;
  };
  const auto signs_of = [](Vector x) {
    for (double& value : x) value = value >= 0.0 ? 1.0 : -1.0;
    return x;
  };
  Vector x = multiply(Vector(at(n + 1), 1.0 / n));
  if (n == 1) return std::fabs(x[1]);
  Vector signs = signs_of(x), w;
  x = multiply_transposed(signs);
  std::size_t j = largest(x);
  for (int iteration = 2;; ++iteration) {
    Vector unit(at(n + 1));
    unit[j] = 1.0;
    w = multiply(unit);
    const Vector new_signs = signs_of(w);
    if (std::equal(signs.begin() + 1, signs.end(), new_signs.begin() + 1)) break;
    signs = new_signs;
    x = multiply_transposed(signs);
    const std::size_t last = std::exchange(j, largest(x));
    if (std::fabs(x[last]) == std::fabs(x[j]) || iteration == 5) break;
  }
  for (int i = 1; i <= n; ++i) {
    x[at(i)] = (i % 2 == 1 ? 1.0 : -1.0) * (1.0 + static_cast<double>(i - 1) / static_cast<double>(n - 1));
  }
  const double other = 2.0 * sum_of_magnitudes(multiply(x)) / (3.0 * n);
  return std::max(sum_of_magnitudes(w), other);
}

/// Estimates the error of x, relative to its largest element: for each category of rows the norm of the
/// inverse times the weights of its rows, times its backward error.
double Model::forward_error(bool transposed, const Errors& errors, Solution& solution) const {
  double sum = 0.0;
  for (const int category : {1, 2}) {
    Vector weights(errors.terms.size());
    bool occurs = false;
    for (std::size_t i = 1; i < weights.size(); ++i) {
      if (errors.category[i] != category) continue;
      occurs = true;
      weights[i] = errors.terms[i] + (category == 1 ? std::fabs(errors.right_hand_side[i])
                                                    : errors.largest_x * errors.row_sums[i]);
    }
    if (!occurs) continue;
    const auto weighted = [&weights](Vector x) {
      for (std::size_t i = 1; i < x.size(); ++i) x[i] *= weights[i];
      return x;
    };
    double norm = estimate_norm(
        given_.n, [&](const Vector& x) { return weighted(apply(!transposed, x, solution.exact, 0.0)); },
        [&](const Vector& x) { return apply(transposed, weighted(x), solution.exact, 0.0); });
    if (errors.largest_x > 0.0) norm /= errors.largest_x;
    sum += norm * (category == 1 ? errors.omega1 : errors.omega2);
  }
  return sum;
}

Solution Model::solve(bool transposed, int job, const Vector& right_hand_side) {
  Solution solution;
  if (job < 1 || job > 4) {
    solution.status = -6;
    return solution;
  }
  const Vector b = permuted(transposed, right_hand_side);
  const Vector first = apply(transposed, b, solution.exact, 0.0);
  if (!solution.exact) {
    const Vector other = apply(transposed, b, solution.exact, kPerturbation);
    for (std::size_t i = 1; i < first.size(); ++i) {
      const double change = std::fabs(first[i] - other[i]) + 1e-11 * std::fabs(first[i]);
      solution.uncertainty = std::max(solution.uncertainty, kChanges * change);
    }
  }
  solution.x = first;
  solution.error.assign(4, 0.0);
  if (job > 1 && given_.icntl[9] < 1) {
    solution.x.assign(first.size(), 0.0);
    solution.status = -8;
    solution.exact = true;
  } else if (job > 1) {
    Errors errors = errors_of(transposed, b, first);
    if (job > 2) refine(transposed, errors, solution);
    solution.error[1] = errors.omega1, solution.error[2] = errors.omega2;
    if (job == 4 && given_.m == given_.n && solution.status == 0)
      solution.error[3] = forward_error(transposed, errors, solution);
  }
  solution.x = solution_order(transposed, solution.x);
  return solution;
}

}  // namespace ma48_model
