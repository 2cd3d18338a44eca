#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numeric>
#include <utility>

#include "proof/differential/ma48_model.h"

namespace ma48_model {
namespace {

/// Adds a multiple of the lower part of a column, without its pivot, to w.
void add_multiple(double multiplier, const Column& lower, Vector& w, double& operations) {
  for (std::size_t k = 1; k < lower.size(); ++k) w[lower[k].index] += multiplier * lower[k].value;
  operations += 1.0 + 2.0 * static_cast<double>(lower.size() - 1);
}

/// The columns of one block, from the left: each is updated by the earlier ones that a depth-first search
/// reaches, gets its pivot, and prunes the columns that it was updated by.
class Elimination {
 public:
  double operations = 0.0;
  int rank = 0;
  int need = 0;  // length of the store

  Elimination(Block& block, int rows, const Given& given)
      : block_(block),
        m_(rows),
        np_(block.kind),
        drop_(given.cntl[3]),
        threshold_(std::min(std::max(given.cntl[2], 0.0), 1.0)),
        pivot_tolerance_(given.cntl[4]),
        priority_(rows + 1),
        pivot_column_(rows + 1) {
    std::iota(priority_.begin(), priority_.end(), 0);
  }

  /// Takes the order of rows of the previous factors; the first `kept` columns stay as they are.
  void take_order(int kept) {
    for (int j = 1; j <= np_; ++j) {
      const Column& lower = block_.columns[j].lower;
      if (!lower.empty()) (j <= kept ? pivot_column_ : priority_)[lower[0].index] = j;
    }
    for (std::size_t k = 1; k < block_.full_rows.size(); ++k)
      priority_[block_.full_rows[k]] = np_ + static_cast<int>(k);
  }

  void begin(int kept) {
    for (int j = 1; j <= block_.order; ++j) {
      ColumnFactor& column = block_.columns[j];
      if (j > kept) column = {};
      column.pruned = -1;
      rank += !column.lower.empty();
      fill_ += column.size();
    }
    block_.dropped = 0;
    block_.full_rows.assign(1, 0);
    block_.full = {};
  }

  /// Gives all rows without pivot to the full part.
  void begin_full_part() {
    for (int i = 1; i <= m_; ++i) {
      if (pivot_column_[i] == 0) block_.full_rows.push_back(i);
    }
    block_.full.rows = static_cast<int>(block_.full_rows.size()) - 1;
    block_.full.columns = block_.order - np_;
  }

  void do_column(int j, const Column& given) {
    const int mf = block_.full.rows, nf = block_.full.columns;
    need = std::max(need,
                    m_ + static_cast<int>(given.size()) + fill_ + (j > np_ ? std::max(mf * nf, mf + nf) : 0));
    w_.assign(m_ + 1, 0.0);
    seen_.assign(m_ + 1, false);
    updates_.clear();
    lower_rows_.clear();
    for (const Element& e : given) w_[e.index] = e.value;
    search(given, 0, given.size());
    std::reverse(lower_rows_.begin(), lower_rows_.end());
    update();
    ColumnFactor& column = block_.columns[j];
    store_upper(column);
    if (j > np_) {
      for (int k = 1; k <= mf; ++k) block_.full.elements.push_back(w_[block_.full_rows[k]]);
    } else {
      const int dropped_before = block_.dropped;
      store_lower(column);
      if (!column.lower.empty()) pivot_column_[column.lower[0].index] = j;
      if (!column.lower.empty() && block_.dropped == dropped_before) prune_by(column);
    }
    fill_ += column.size();
  }

 private:
  bool is_small(double value) const { return drop_ > 0.0 && std::fabs(value) < drop_; }

  /// Follows the rows of a list: one that is pivotal leads to the list of its column.
  void search(const Column& list, std::size_t begin, std::size_t end) {
    for (std::size_t k = begin; k < end; ++k) {
      const int i = list[k].index;
      if (seen_[i]) continue;
      seen_[i] = true;
      if (pivot_column_[i] == 0) {
        lower_rows_.push_back(i);
        continue;
      }
      const ColumnFactor& next = block_.columns[pivot_column_[i]];
      search(next.lower, 1, next.pruned < 0 ? next.lower.size() : static_cast<std::size_t>(next.pruned));
      updates_.push_back(i);
    }
  }

  /// Applies the earlier columns, from the one that the search left last.
  void update() {
    for (auto i = updates_.rbegin(); i != updates_.rend(); ++i) {
      if (std::fabs(w_[*i]) < drop_) continue;
      const Column& lower = block_.columns[pivot_column_[*i]].lower;
      w_[*i] = -w_[*i] * lower[0].value;
      add_multiple(w_[*i], lower, w_, operations);
    }
  }

  void store_upper(ColumnFactor& column) {
    for (const int i : updates_) {
      if (is_small(w_[i])) {
        ++block_.dropped;
      } else {
        column.upper.push_back({pivot_column_[i], w_[i]});
      }
    }
  }

  void store_lower(ColumnFactor& column) {
    double largest = 0.0;
    Column lower;
    for (const int i : lower_rows_) {
      largest = std::max(largest, std::fabs(w_[i]));
      if (is_small(w_[i])) {
        ++block_.dropped;
      } else {
        lower.push_back({i, w_[i]});
      }
    }
    const int pivot = choose_pivot(lower, largest * threshold_);
    if (pivot < 0) {
      if (drop_ > 0) block_.dropped += static_cast<int>(lower.size());
      return;
    }
    std::swap(lower[0], lower[pivot]);
    lower[0].value = 1.0 / lower[0].value;
    operations += 1.0;
    ++rank;
    column.lower = lower;
  }

  /// Returns the element of a row that comes first, among those of at least `limit`; below 0: there is none.
  int choose_pivot(const Column& lower, double limit) const {
    int pivot = -1;
    for (int k = 0; k < static_cast<int>(lower.size()); ++k) {
      const double magnitude = std::fabs(lower[k].value);
      if (magnitude < limit || !(magnitude > pivot_tolerance_) || !has_reciprocal(magnitude)) continue;
      if (pivot < 0 || priority_[lower[k].index] < priority_[lower[pivot].index]) pivot = k;
    }
    return pivot;
  }

  /// In earlier columns that have the pivot row of this one, moves pivotal rows to the front: the other rows
  /// are reached through this column from now on.
  void prune_by(const ColumnFactor& column) {
    const int pivot_row = column.lower[0].index;
    for (const Element& e : column.upper) {
      ColumnFactor& earlier = block_.columns[e.index];
      Column& list = earlier.lower;
      const auto is_pivot_row = [=](const Element& other) { return other.index == pivot_row; };
      if (earlier.pruned >= 0 || std::none_of(list.begin() + 1, list.end(), is_pivot_row)) continue;
      int front = 1, back = static_cast<int>(list.size());
      while (front < back) {
        if (pivot_column_[list[front].index] != 0) {
          ++front;
        } else if (pivot_column_[list[back - 1].index] == 0) {
          --back;
        } else {
          std::swap(list[front], list[back - 1]);
        }
      }
      earlier.pruned = front;
    }
  }

  Block& block_;
  const int m_, np_;
  const double drop_, threshold_, pivot_tolerance_;
  Ints priority_;      // of each row that is not pivotal
  Ints pivot_column_;  // of each row; 0: not pivotal
  int fill_ = 2;       // end of the factors
  Vector w_;           // the column
  std::vector<bool> seen_;
  Ints updates_;     // pivotal rows, as the search left them
  Ints lower_rows_;  // the others, from the last found to the first
};

}  // namespace

void Model::scatter(const Vector& values) {
  const int ne = given_.entries();
  store.assign(ne + 1, 0.0);
  store[std::abs(place[1])] = values[1];
  for (int k = 2; k <= ne; ++k) {
    double& element = store[place[k]];
    element = place[1] < 0 ? element + values[k] : values[k];
  }
}

bool Model::pivots_are_good(const Block& block, double tolerance) const {
  for (int j = block.first; j <= block.last(); ++j) {
    const double diagonal = store[diagonal_start[j]];
    if (std::fabs(diagonal) <= tolerance || !has_reciprocal(diagonal)) return false;
  }
  return true;
}

int Model::space_of(const Block& block) {
  int end = 2;
  for (int j = 1; j <= block.order; ++j) end += block.columns[j].size();
  const int mf = block.full.rows, nf = block.order - block.kind;
  return end + std::max(mf * nf, mf + nf);
}

int Model::factorise(int job, const Vector& values, int la) {
  info = {};
  operations = 0.0;
  if (job < 1 || job > 3) return info[1] = -6;
  const int ne = given_.entries(), kept = off_diagonal_start[given_.n + 1] - 1;
  info[4] = ne;
  scatter(values);
  int old_end = 0, used = 0;
  for (std::size_t b = 1; b < blocks.size() && job > 1; ++b) {
    if (blocks[b].kind >= 0) old_end = std::max(old_end, blocks[b].start - 1 + space_of(blocks[b]));
  }
  // The values given are copied over the factors of columns that could stay, unless there is room behind
  // them.
  columns_stay_ = job > 1 && kept == ne && std::max(ne, kept + old_end) + ne <= la;
  for (std::size_t b = 1; b < blocks.size(); ++b) {
    Block& block = blocks[b];
    const int old_start = std::exchange(block.start, 0);
    block.columns.resize(block.order + 1);
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
  std::vector<bool> kept(given_.n + 1);
  for (std::size_t b = 1; b < blocks.size(); ++b) {
    const int last = blocks[b].left_to_last;
    if (job == 1 || last == 0 || blocks[b].kind < 0) continue;
    for (int j = 1; j <= blocks[b].order - last; ++j) kept[column_at[blocks[b].first - 1 + j]] = true;
  }
  return kept;
}

/// Returns column j of a block, both numbered within it.
Column Model::column_of(const Block& block, int j) const {
  Column column;
  const int global = block.first - 1 + j;
  for (int k = diagonal_start[global]; k < diagonal_start[global + 1]; ++k)
    column.push_back({index[k] - block.first + 1, store[k]});
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
  const int kept = count_kept(block, job);
  Elimination elimination(block, rows_of(block), given_);
  if (job == 3) elimination.take_order(kept);
  elimination.begin(kept);
  for (int j = kept + 1; j <= block.order; ++j) {
    if (j == block.kind + 1) elimination.begin_full_part();
    elimination.do_column(j, column_of(block, j));
  }
  if (block.kind == block.order) elimination.begin_full_part();
  need_ = elimination.need;
  operations += elimination.operations;
  info[5] += elimination.rank;
  info[6] += block.dropped;
}

/// Repeats the eliminations on the same pivots and places.
int Model::factor_again(Block& block, int job) {
  const int m = rows_of(block), np = block.kind, kept = count_kept(block, job);
  block.full.elements.clear();
  for (int j = 1; j <= kept; ++j) info[5] += !block.columns[j].lower.empty();
  for (int j = kept + 1; j <= block.order; ++j) {
    Vector w(m + 1);
    for (const Element& e : column_of(block, j)) w[e.index] = e.value;
    ColumnFactor& column = block.columns[j];
    for (auto u = column.upper.rbegin(); u != column.upper.rend(); ++u) {
      const Column& lower = block.columns[u->index].lower;
      u->value = -w[lower[0].index] * lower[0].value;
      add_multiple(u->value, lower, w, operations);
    }
    if (j > np) {
      for (int k = 1; k <= block.full.rows; ++k) block.full.elements.push_back(w[block.full_rows[k]]);
      continue;
    }
    for (Element& e : column.lower) e.value = w[e.index];
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
  a.pivots.assign(n + 1, 0);
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
        a.pivots[j] = pivot;
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
    a.pivots[end] = -j;
  }
  a.rank = j - 1;
  info[5] += a.rank;
  for (j = 1; j <= std::min(m, n); ++j) {
    const double rest = static_cast<double>(m - j) * (n - j);
    operations += m - j + 2.0 * rest + 1.0;
  }
}

}  // namespace ma48_model
