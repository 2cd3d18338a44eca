#pragma once

// The pivot choice of ma48 once more, plainly, on one block, and blocks drawn at random.

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <vector>

namespace pivot_model {

using Ints = std::vector<int>;

struct Entry {
  int row;
  double value;
};

using Columns = std::vector<std::vector<Entry>>;  // rows from 1

struct Problem {
  int m, n;
  Columns columns;
  std::array<double, 4> cntl = {0.5, 0.1, 0, 0};
  std::array<int, 7> icntl = {6, 6, 1, 3, 32, 0, 0};
  Ints priority = Ints(static_cast<size_t>(m)), sequence = Ints(static_cast<size_t>(n));
};

struct Result {
  std::array<int, 7> info{};
  int np = 0;
  double operations = 0;
  Ints ip, iq;
};

inline int entries(const Problem& p) {
  size_t count = 0;
  for (const auto& column : p.columns) count += column.size();
  return static_cast<int>(count);
}

/// The same choices on a dense copy. Only the memory of the rows is followed place by place, since the free
/// places decide at which end of a row a new column is put.
class Model {
 public:
  Model(const Problem& p, int la)
      : p_(p),
        la_(la),
        tolerance_(std::max(p.cntl[3], 0.0)),
        a_(p.m + 1, std::vector<double>(p.n + 1)),
        column_(p.n + 1),
        tape_(la + 2),
        start_(p.m + 1),
        length_(p.m + 1),
        row_list_(p.n + 1),
        column_list_(p.m + 1),
        row_at_(p.m + 1),
        column_at_(p.n + 1) {
    for (int j = 1; j <= p.n; ++j) {
      for (const Entry& e : p.columns[j - 1]) {
        if (p.cntl[2] > 0 && std::fabs(e.value) < p.cntl[2]) {
          ++dropped_;
          continue;
        }
        a_[e.row][j] = e.value, column_[j].push_back(e.row), ++nz_;
      }
    }
    for (int i = 1; i <= p.m; ++i) {
      start_[i] = end_;
      for (int j = p.n; j >= 1; --j)
        if (has(column_[j], i)) tape_[end_++] = j, ++length_[i];
    }
    jlast_ = p.icntl[5] > 0 && p.icntl[5] < p.n ? p.n - p.icntl[5] : p.n;
    for (int i = p.m; i >= 1; --i) put_row(i);
    for (int j = p.n; j >= 1; --j) put_column(j);
  }

  Result run() {
    Result r;
    need_ = entries(p_);
    for (int step = 1; step <= p_.n; ++step) {
      if ((p_.m - npr_) * (p_.n - npc_) * std::min(p_.cntl[0], 1.0) <= nz_) break;
      if (p_.icntl[6] == 2 ? !given(step) : !search()) {
        r.info[0] = 2;
        break;
      }
      eliminate();
    }
    const int rows = p_.m - npr_, columns = p_.n - npc_;
    r.np = npc_, r.operations = operations_;
    for (int j = 1; j <= std::min(rows, columns); ++j)
      r.operations += rows - j + 2.0 * (rows - j) * (columns - j) + 1;
    r.info[3] = std::max(columns * rows, columns - npr_ + p_.m) + 2 * p_.m + 2 + npz_;
    r.info[4] = npr_ + std::min(rows - nulli_, columns - nullj_);
    r.info[5] = dropped_, r.info[6] = rows;
    r.info[2] = need_;
    if (r.info[4] < std::min(p_.m, p_.n)) r.info[0] += 1;
    for (int i = 1, place = npr_; i <= p_.m; ++i) r.ip.push_back(row_at_[i] ? row_at_[i] : ++place);
    r.iq.resize(p_.n);
    for (int j = 1; j <= p_.n; ++j) r.iq[(column_at_[j] ? column_at_[j] : position()) - 1] = j;
    return r;
  }

 private:
  static bool has(const Ints& list, int x) { return std::count(list.begin(), list.end(), x) > 0; }
  static void take(Ints& list, int x) { list.erase(std::find(list.begin(), list.end(), x)); }
  bool by_rows() const { return p_.icntl[3] <= 0; }
  int count(int j) const { return static_cast<int>(column_[j].size()); }
  int position() {
    const int here = ++npc_;
    if (npc_ == jlast_) npc_ += nullj_, nullj_ = 0, jlast_ = p_.n;
    return here;
  }
  void put_row(int i) {
    if (length_[i] == 0)
      row_at_[i] = p_.m - nulli_++;
    else
      row_list_[length_[i]].insert(row_list_[length_[i]].begin(), i);
  }
  void put_column(int j) {
    if (count(j) > 0)
      column_list_[count(j)].insert(column_list_[count(j)].begin(), j);
    else if (p_.icntl[6] != 2)
      column_at_[j] = j > jlast_ ? ++nullj_ + jlast_ : position();
  }
  double largest(int j) const {
    double x = 0;
    for (const int i : column_[j]) x = std::max(x, std::fabs(a_[i][j]));
    return x;
  }
  bool pivot(int j, int i, double cost) {
    j_ = j, i_ = i, cost_ = cost;
    return true;
  }
  bool given(int step) {
    const int j = p_.sequence[step - 1];
    const double most = largest(j);
    pivot(j, 0, 0);
    for (const int i : column_[j]) {
      const double x = std::fabs(a_[i][j]);
      if (most <= tolerance_ || x == 0 || x < std::max(most * p_.cntl[1], tolerance_)) continue;
      if (i_ == 0 || p_.priority[i - 1] < p_.priority[i_ - 1])
        pivot(j, i, (length_[i] - 1.0) * (count(j) - 1));
    }
    return true;
  }
  bool search() {
    double ratio = 0;
    int searched = 0;
    const int limit = p_.icntl[3] == 0 ? p_.n : p_.icntl[3];
    const bool diagonal = p_.icntl[6] == 1;
    pivot(0, 0, 1.0 * p_.m * p_.n);
    for (int len = 1; len <= p_.m - npr_; ++len) {
      const double l = len - 1;
      if (by_rows() && l * l >= cost_) break;
      for (const int j : column_list_[len]) {
        const double most = largest(j);
        if (j > jlast_) continue;
        if (most <= tolerance_) return pivot(j, 0, 0);
        if (diagonal && !has(column_[j], j)) continue;
        for (const int i : column_[j]) {
          const double x = std::fabs(a_[i][j]), cost = (length_[i] - 1) * l;
          if ((diagonal && i != j) || x == 0 || x < std::max(most * p_.cntl[1], tolerance_)) continue;
          if (cost > cost_ || (cost == cost_ && x / most <= ratio)) continue;
          pivot(j, i, cost);
          if (by_rows() && l * l >= cost) return true;
          ratio = x / most;
        }
        if (++searched >= limit && ratio > 0) return true;
      }
      if (!by_rows()) continue;
      if ((l + 1) * l >= cost_) break;
      if (len > p_.n - npc_) continue;
      for (const int i : row_list_[len]) {
        for (int k = start_[i]; k < start_[i] + length_[i]; ++k) {
          const int j = tape_[k];
          const double cost = (count(j) - 1) * l, most = largest(j), x = std::fabs(a_[i][j]);
          if ((diagonal && i != j) || j > jlast_ || cost >= cost_) continue;
          if (most <= tolerance_) return pivot(j, 0, 0);
          if (x == 0 || x < most * p_.cntl[1]) continue;
          pivot(j, i, cost);
          ratio = x / most;
          if ((l + 1) * l >= cost) return true;
        }
      }
    }
    return ratio > 0;
  }
  void eliminate() {
    const int here = position();
    npz_ += count(j_);
    for (const int i : column_[j_]) take(row_list_[length_[i]], i);
    Ints row;
    if (i_ == 0) {
      if (p_.cntl[2] > 0) dropped_ += count(j_);
      if (count(j_) > 0) take(column_list_[count(j_)], j_);
    } else {
      operations_ += 2 * cost_ + length_[i_];
      npz_ += length_[i_] - 1;
      for (int k = start_[i_]; k < start_[i_] + length_[i_]; ++k) {
        take(column_list_[count(tape_[k])], tape_[k]);
      }
      std::iter_swap(column_[j_].begin(), std::find(column_[j_].begin(), column_[j_].end(), i_));
    }
    for (const int i : column_[j_]) cut(i, j_);
    if (i_) row.assign(&tape_[start_[i_]], &tape_[start_[i_]] + length_[i_]);
    for (const int j : row) update(j);
    for (const int j : row) put_column(j);
    nz_ -= static_cast<int>(row.size()) + count(j_);
    if (i_) {
      std::fill_n(&tape_[start_[i_]], length_[i_], 0);
      length_[i_] = 0;
      row_at_[i_] = ++npr_;
    }
    for (const int i : column_[j_])
      if (i != i_) put_row(i);
    column_[j_].clear();
    column_at_[j_] = here;
  }
  void update(int j) {
    const double multiplier = -(a_[i_][j] / a_[i_][j_]);
    Ints& rows = column_[j];
    *std::find(rows.begin(), rows.end(), i_) = rows.back();
    rows.pop_back();
    const Ints before = rows;
    for (const int i : before) {
      if (!has(column_[j_], i)) continue;
      a_[i][j] += multiplier * a_[i][j_];
      if (std::fabs(a_[i][j]) < p_.cntl[2]) take(rows, i), cut(i, j), ++dropped_, --nz_;
    }
    if (count(j_) == 1) return;
    for (const int i : column_[j_]) nz_ += i != i_ && !has(before, i);  // all the fill is reckoned with first
    need_ = std::max(need_, count(j) + nz_);
    int lost = 0;
    for (const int i : column_[j_]) {
      if (i == i_) continue;
      need_ = std::max(need_, length_[i] + nz_ + 1);
      if (has(before, i)) continue;
      a_[i][j] = multiplier * a_[i][j_];
      if (std::fabs(a_[i][j]) < p_.cntl[2]) {
        ++lost;
        continue;
      }
      rows.push_back(i), append(i, j);
    }
    dropped_ += lost, nz_ -= lost;
  }
  void cut(int i, int j) {
    int k = start_[i];
    while (tape_[k] != j) ++k;
    int& back = tape_[start_[i] + --length_[i]];
    tape_[k] = back, back = 0;
  }
  void append(int i, int j) {
    int& start = start_[i];
    const int behind = start + length_[i];
    if (behind <= la_ && (behind == end_ || tape_[behind] == 0)) {
      end_ = std::max(end_, behind + 1);
    } else if (start > 1 && tape_[start - 1] == 0) {
      tape_[--start] = j;
      ++length_[i];
      return;
    } else {
      if (end_ + length_[i] > la_) pack();
      const Ints list(&tape_[start], &tape_[start] + length_[i]);
      std::fill_n(&tape_[start], length_[i], 0);
      std::copy(list.begin(), list.end(), &tape_[end_]);
      start = end_, end_ += length_[i] + 1;
    }
    tape_[start + length_[i]++] = j;
  }
  void pack() {
    Ints order;
    for (int i = 1; i <= p_.m; ++i)
      if (length_[i] > 0) order.push_back(i);
    std::sort(order.begin(), order.end(), [&](int x, int y) { return start_[x] < start_[y]; });
    const Ints old = tape_;
    std::fill(tape_.begin(), tape_.end(), 0);
    end_ = 1;
    for (const int i : order) {
      std::copy_n(&old[start_[i]], length_[i], &tape_[end_]);
      start_[i] = end_, end_ += length_[i];
    }
    for (int i = 1; i <= p_.m; ++i)
      if (length_[i] == 0) start_[i] = end_;
  }

  const Problem& p_;
  const int la_;
  const double tolerance_;
  std::vector<std::vector<double>> a_;
  std::vector<Ints> column_;
  Ints tape_, start_, length_;
  std::vector<Ints> row_list_, column_list_;
  Ints row_at_, column_at_;
  int end_ = 1, nz_ = 0, npr_ = 0, npc_ = 0, nulli_ = 0, nullj_ = 0, npz_ = 0, dropped_ = 0, jlast_ = 0;
  int need_ = 0;
  int j_ = 0, i_ = 0;
  double cost_ = 0, operations_ = 0;
};

inline int below(int limit, std::mt19937& random) {
  return static_cast<int>(random() % static_cast<unsigned>(limit));
}

inline Problem random_problem(int m, int n, std::mt19937& random) {
  const auto below = [&](int limit) { return pivot_model::below(limit, random); };
  Problem p{m, n, {}};
  const int density = 5 + below(30), values = below(4);
  for (int j = 1; j <= p.n; ++j) {
    std::vector<Entry> column;
    for (int i = 1; i <= p.m; ++i) {
      if (below(100) >= density && (i != j || below(4) == 0)) continue;
      const double even = below(2 * values + 1) - values;  // few values: many ties, and zeros that are stored
      column.push_back({i, values == 0 ? std::ldexp(1 + below(1000), below(12) - 6) : even});
    }
    std::shuffle(column.begin(), column.end(), random);
    p.columns.push_back(column);
  }
  if (entries(p) == 0) p.columns[0].push_back({1, 1.0});
  const auto any = [&](auto... choice) { return std::array{choice...}[below(sizeof...(choice))]; };
  p.cntl = {any(0.5, 1.0, 2.0, 1.0), any(0.1, 0.5, 1.0, 0.0, -1.0), any(0.0, 0.0, 0.7, 1.0),
            any(0.0, 0.0, 0.9, -1.0)};
  p.icntl[3] = any(1, 3, 0, -1);
  p.icntl[5] = any(0, below(p.n), p.n, -3);
  p.icntl[6] = any(0, 0, 1, 2);
  if (p.icntl[6] == 2) p.icntl[3] = 1;
  for (int i = 0; i < p.m; ++i) p.priority[i] = 1 + below(p.m);
  for (int j = 0; j < p.n; ++j) p.sequence[j] = j + 1;
  std::shuffle(p.sequence.begin(), p.sequence.end(), random);
  return p;
}

inline Problem random_problem(std::mt19937& random) {
  const int m = 1 + below(18, random), n = 1 + below(18, random);
  return random_problem(m, n, random);
}

}  // namespace pivot_model
