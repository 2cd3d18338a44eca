// The model in the order in which a call runs:
//   1. triplets to compressed columns;
//   2. block triangular form: maximum matching by depth-first search (Duff 1981), then strong components
//      (Tarjan 1972);
//   3. each block by the unsymmetric multifrontal method (Davis and Duff 1997), from the last to the first:
//      search a pivot, form a front about it, assemble what lies in the front, take further pivots into it
//      while they fit, leave the rest as a contribution block;
//   4. a new matrix on the same pivots: plain elimination of each block, in which nothing but the given order
//      and lists count;
//   5. solutions from the lists of L and U.
//
// Pending updates do not exist here: every pivot updates the whole front at once, which gives the same
// numbers.

#include "proof/differential/ma38_model.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace ma38_model {
namespace {

// ---- Numbers with bounds

constexpr double kUnit = 0x1p-53;
constexpr double kRoundings = 300.0;  // that one term can go through, with ample reserve
constexpr double kShortUnit = 0x1p-12, kShortLimit = 0x1p12;

/// Whether sums of products of such numbers are exact in every order.
bool is_short(double v) {
  return std::fabs(v) < kShortLimit && v / kShortUnit == std::nearbyint(v / kShortUnit);
}
bool is_exact(const Real& a) { return a.error == 0.0 && is_short(a.value); }

Real plus(const Real& a, const Real& b) {
  if (a.is_exactly(0.0)) return b;
  if (b.is_exactly(0.0)) return a;
  const double sum = a.value + b.value;
  if (is_exact(a) && is_exact(b)) return {sum, 0.0};
  return {sum, a.error + b.error + kRoundings * kUnit * (std::fabs(a.value) + std::fabs(b.value))};
}
Real minus_product(const Real& a, const Real& b, const Real& c) {
  if (b.is_exactly(0.0) || c.is_exactly(0.0)) return a;
  const double product = b.value * c.value, rest = a.value - product;
  if (is_exact(a) && is_exact(b) && is_exact(c)) return {rest, 0.0};
  const double spread = b.error * std::fabs(c.value) + c.error * std::fabs(b.value) + b.error * c.error;
  return {rest, a.error + spread + kRoundings * kUnit * (std::fabs(a.value) + std::fabs(product))};
}
/// b - a
Real difference(const Real& b, const Real& a) { return plus(b, {-a.value, a.error}); }

/// The value that the division has by its operands' bounds; `rounded` is how the library rounds it.
Real quotient(const Real& a, const Real& pivot, double rounded) {
  if (a.is_exactly(0.0)) return a;
  if (a.error == 0.0 && pivot.error == 0.0) return {rounded, 0.0};
  const double least = std::fabs(pivot.value) - pivot.error;
  if (!(least > 0.0)) throw Undecided();
  const double error = (a.error + std::fabs(rounded) * pivot.error) / least;
  return {rounded, error + kRoundings * kUnit * std::fabs(rounded)};
}
Real divided(const Real& a, const Real& pivot) { return quotient(a, pivot, a.value / pivot.value); }
/// A column of L is its entries times the pivot's reciprocal.
Real scaled(const Real& a, const Real& pivot) { return quotient(a, pivot, a.value * (1.0 / pivot.value)); }

bool is_zero(const Real& a) {
  if (a.error == 0.0) return a.value == 0.0;
  if (std::fabs(a.value) <= a.error) throw Undecided();
  return false;
}

bool contains(const Ints& list, int member) {
  return std::find(list.begin(), list.end(), member) != list.end();
}
void remove_member(Ints& list, int member) {
  list.erase(std::remove(list.begin(), list.end(), member), list.end());
}
int length(const Ints& list) { return static_cast<int>(list.size()); }

/// A square matrix of order n, rows and columns from 1.
class Grid {
 public:
  explicit Grid(int n = 0) : stride_(n + 1), values_(static_cast<std::size_t>(stride_ * stride_)) {}
  Real& operator()(int row, int column) { return values_[static_cast<std::size_t>(row * stride_ + column)]; }
  const Real& operator()(int row, int column) const {
    return values_[static_cast<std::size_t>(row * stride_ + column)];
  }

 private:
  int stride_;
  Reals values_;
};

// ---- 1. Compressed columns

/// Drops the entries outside by moving the last one that is kept in their place, from the last to the first;
/// sums entries of one place in the first of them. Sets what the factors count of this.
void compress(Matrix matrix, bool transposed, Factors& factors) {
  const int n = matrix.order;
  if (transposed) std::swap(matrix.rows, matrix.columns);
  const auto inside = [n](int k) { return 1 <= k && k <= n; };
  int kept = length(matrix.rows);
  for (int k = kept - 1; k >= 0; --k) {
    if (inside(matrix.rows[k]) && inside(matrix.columns[k])) continue;
    --kept;
    matrix.rows[k] = matrix.rows[kept];
    matrix.columns[k] = matrix.columns[kept];
    matrix.values[k] = matrix.values[kept];
  }
  factors.invalid = length(matrix.rows) - kept;
  factors.columns.assign(n + 1, {});
  for (int k = 0; k < kept; ++k) {
    std::vector<Entry>& column = factors.columns[matrix.columns[k]];
    const auto twin = std::find_if(column.begin(), column.end(),
                                   [&](const Entry& entry) { return entry.row == matrix.rows[k]; });
    if (twin != column.end()) {
      twin->value.value += matrix.values[k];
      ++factors.duplicates;
    } else {
      column.push_back({matrix.rows[k], {matrix.values[k], 0.0}});
    }
  }
  factors.entries = kept - factors.duplicates;
}

// ---- 2. Block triangular form

/// Matches the columns of a matrix with its rows, by augmenting paths. Columns come in order; each takes the
/// first free row of its own, then of the columns that it could displace.
class Matching {
 public:
  explicit Matching(const Columns& columns)
      : n_(static_cast<int>(columns.size()) - 1),
        columns_(columns),
        column_of_row_(n_ + 1, 0),
        next_free_(n_ + 1, 0) {
    for (int j = 1; j <= n_; ++j) {
      visited_.assign(n_ + 1, false);
      augment(j);
    }
    complete();
  }
  /// The column matched with each row, real or not.
  const Ints& column_of_row() const { return column_of_row_; }

 private:
  bool take_free_row(int j) {
    const std::vector<Entry>& column = columns_[j];
    for (int& p = next_free_[j]; p < static_cast<int>(column.size());) {
      const int row = column[p++].row;
      if (column_of_row_[row] != 0) continue;
      column_of_row_[row] = j;
      return true;
    }
    return false;
  }
  bool augment(int j) {
    if (take_free_row(j)) return true;
    for (const Entry& entry : columns_[j]) {
      if (visited_[entry.row]) continue;
      visited_[entry.row] = true;
      if (!augment(column_of_row_[entry.row])) continue;
      column_of_row_[entry.row] = j;
      return true;
    }
    return false;
  }
  /// Gives the rows that are left the columns that are left, both ascending.
  void complete() {
    for (int j = 1; j <= n_; ++j) {
      if (contains(column_of_row_, j)) continue;
      *std::find(column_of_row_.begin() + 1, column_of_row_.end(), 0) = j;
    }
  }

  int n_;
  const Columns& columns_;
  Ints column_of_row_, next_free_;
  std::vector<bool> visited_;
};

/// Finds the strong components of the graph in which row i leads to the rows of the column matched with it.
class StrongComponents {
 public:
  Ints nodes, starts;  // nodes by components; places in `nodes`, from 0, where components begin

  StrongComponents(const Columns& columns, const Ints& column_of_row)
      : columns_(columns), column_of_row_(column_of_row), number_(columns.size()), low_(columns.size()) {
    for (int i = 1; i < static_cast<int>(columns.size()); ++i)
      if (number_[i] == 0) visit(i);
  }

 private:
  void visit(int i) {
    stack_.push_back(i);
    number_[i] = low_[i] = length(stack_);
    for (const Entry& entry : columns_[column_of_row_[i]]) {
      if (number_[entry.row] == 0) visit(entry.row);
      low_[i] = std::min(low_[i], low_[entry.row]);
    }
    if (low_[i] < number_[i]) return;
    starts.push_back(length(nodes));
    int popped = 0;
    do {
      popped = stack_.back();
      stack_.pop_back();
      low_[popped] = static_cast<int>(columns_.size());
      nodes.push_back(popped);
    } while (popped != i);
  }

  const Columns& columns_;
  const Ints& column_of_row_;
  Ints number_, low_, stack_;
};

/// Sets the permutations and the blocks; the identity and one block if the matrix has no more.
void permute_to_blocks(const Controls& controls, Factors& factors) {
  const int n = static_cast<int>(factors.columns.size()) - 1;
  factors.row_order.resize(n);
  std::iota(factors.row_order.begin(), factors.row_order.end(), 1);
  factors.column_order = factors.row_order;
  Ints starts{0};
  if (controls.blocks == 1) {
    const Matching matching(factors.columns);
    const StrongComponents components(factors.columns, matching.column_of_row());
    if (components.starts.size() > 1) {
      starts = components.starts;
      factors.row_order = components.nodes;
      for (int k = 0; k < n; ++k) factors.column_order[k] = matching.column_of_row()[factors.row_order[k]];
    }
  }
  starts.push_back(n);
  for (std::size_t b = 0; b + 1 < starts.size(); ++b) {
    Block block;
    block.first = starts[b];
    block.order = starts[b + 1] - starts[b];
    block.singleton = block.order == 1 && starts.size() > 2;
    factors.blocks.push_back(block);
  }
}

Ints positions_of(const Ints& order) {
  Ints position(order.size() + 1);
  for (int k = 0; k < length(order); ++k) position[order[k]] = k + 1;
  return position;
}

// ---- 3. The frontal method on one block

constexpr int kNumericallyEmpty = -1;  // degree of a column from which no pivot comes any more

class FrontalBlock {
 public:
  FrontalBlock(const Columns& columns, const Controls& controls, Factors& totals)
      : n_(static_cast<int>(columns.size()) - 1), remaining_(n_), totals_(totals) {
    width_ = std::max(1, controls.width);
    symmetric_ = controls.prefer_diagonal != 0;
    batch_size_ = std::max(1, controls.batch);
    threshold_ = std::min(std::max(controls.threshold, 0.0), 1.0);
    growth_ = controls.growth > 1.0 ? controls.growth : 1.0;
    const int root = static_cast<int>(std::sqrt(static_cast<double>(n_)));
    dense_limit_ = std::max({0, controls.dense1, root * controls.dense2});
    set_up(columns);
  }

  void run() {
    for (Pivot pivot; found_ < n_ && search_pivot(pivot);) {
      form_front(pivot);
      eliminate_front();
      leave_front();
    }
    order_the_rest();
  }

  Ints row_order, column_order;  // [n] rows and columns of the block in pivot order
  int pivots() const { return found_; }
  const std::vector<LuElement>& elements() const { return lu_; }

 private:
  struct Row {
    int degree = 0;
    bool gone = false;
    Ints elements, originals;
  };
  struct Column {
    int degree = 0;
    bool gone = false;
    Ints elements;
    std::vector<Entry> originals;
  };
  /// A contribution block, or a dense column. The lists hold what has not been assembled elsewhere.
  struct Element {
    int lu = 0;  // number of the LU element that left it; 0: a dense column
    Ints rows, columns;
    Grid values;
    bool dead() const { return rows.empty() || columns.empty(); }
  };
  struct Pivot {
    int row = 0, column = 0;
    Ints rows;  // of the pivot column, without the pivot's
  };
  struct PivotLine {
    int row, column;
    Reals lower, upper;  // [n + 1] by rows and columns; lower has no pivot, upper has it
  };
  struct Front {
    int pivot_row = 0, pivot_column = 0;
    Ints rows, columns;  // without the pivot's
    int row_limit = 0, column_limit = 0;
    int most_rows = 0, most_columns = 0;  // that it held, pivots included
    int first_lu = 0;                     // number of its first LU element, 0 before
    Grid values;
    std::vector<bool> has_row, has_column;
    Ints children;                 // elements noted since the last LU element
    bool continues = false;        // the last LU element is the first child of the next
    std::vector<PivotLine> batch;  // pivots since the last LU element
    int applied = 0;               // pivots of the batch whose updates the library has applied
  };

  // -- Set-up

  void set_up(const Columns& columns) {
    rows_.resize(n_ + 1);
    columns_.resize(n_ + 1);
    elements_.resize(n_ + 1);
    for (int j = 1; j <= n_; ++j) {
      totals_.assembly_flops += static_cast<double>(columns[j].size());
      columns_[j].degree = static_cast<int>(columns[j].size());
      if (columns_[j].degree > dense_limit_) {
        add_dense_column(j, columns[j]);
      } else {
        columns_[j].originals = columns[j];
        for (const Entry& entry : columns[j]) rows_[entry.row].originals.push_back(j);
      }
    }
    for (Row& row : rows_) row.degree = length(row.originals) + length(row.elements);
    lists_.resize(n_ + 1);
    for (int j = 1; j <= n_; ++j) {
      if (columns_[j].degree > 0) {
        enter_list(j);
      } else {
        columns_[j].degree = kNumericallyEmpty;
      }
    }
  }

  void add_dense_column(int j, const std::vector<Entry>& entries) {
    Element e;
    e.columns = {j};
    e.values = Grid(n_);
    const int number = static_cast<int>(elements_.size());
    columns_[j].elements.push_back(number);
    for (const Entry& entry : entries) {
      e.rows.push_back(entry.row);
      e.values(entry.row, j) = entry.value;
      rows_[entry.row].elements.push_back(number);
    }
    elements_.push_back(e);
  }

  /// Columns of one degree, in the order in which the search takes them.
  struct DegreeList {
    Ints returned;  // examined but not chosen; what came back last stands first
    Ints others;    // ascending
  };

  void enter_list(int j) {
    Ints& list = lists_[columns_[j].degree].others;
    list.insert(std::lower_bound(list.begin(), list.end(), j), j);
  }
  void return_to_list(int j) {
    Ints& list = lists_[columns_[j].degree].returned;
    list.insert(list.begin(), j);
  }
  void leave_list(int j) {
    for (DegreeList& list : lists_) {
      remove_member(list.returned, j);
      remove_member(list.others, j);
    }
  }

  // -- Pivot search

  bool search_pivot(Pivot& best) {
    best = Pivot();
    Ints candidates;
    long long best_cost = 0;
    for (int tries = 0; tries < n_ && length(candidates) < width_; ++tries) {
      const int j = take_lowest_column();
      if (j == 0) break;
      Ints list;
      const Reals values = assembled_column(j, list);
      columns_[j].degree = length(list);
      totals_.search_flops += length(list);
      const int row = acceptable_row(list, values, j, list);
      if (row == 0) {
        columns_[j].degree = kNumericallyEmpty;
        continue;
      }
      candidates.push_back(j);
      const long long cost = static_cast<long long>(rows_[row].degree - 1) * (length(list) - 1);
      if (best.column != 0 && cost >= best_cost) continue;
      best_cost = cost;
      best = {row, j, list};
      replace_by_last(best.rows, row);
    }
    for (std::size_t k = candidates.size(); k-- > 0;)
      if (candidates[k] != best.column) return_to_list(candidates[k]);
    return best.column != 0;
  }

  int take_lowest_column() {
    for (DegreeList& list : lists_) {
      Ints& members = list.returned.empty() ? list.others : list.returned;
      if (members.empty()) continue;
      const int j = members.front();
      members.erase(members.begin());
      return j;
    }
    return 0;
  }

  /// Sums a column of what is left. @param list appended: its rows that are not in it yet
  /// @return [n + 1] by rows
  Reals assembled_column(int j, Ints& list) const {
    Reals values(n_ + 1);
    for (const int number : columns_[j].elements) {
      const Element& e = elements_[number];
      for (const int row : e.rows) {
        if (!contains(list, row)) list.push_back(row);
        values[row] = plus(values[row], e.values(row, j));
      }
    }
    for (const Entry& entry : columns_[j].originals) {
      if (!contains(list, entry.row)) list.push_back(entry.row);
      values[entry.row] = plus(values[entry.row], entry.value);
    }
    return values;
  }

  /// Whether a value is large enough beside all of its column.
  bool passes(int row, const Ints& list, const Reals& values) const {
    if (is_zero(values[row])) return false;
    const double size_of = std::fabs(values[row].value);
    for (const int other : list) {
      if (other == row) continue;
      const double least = threshold_ * std::fabs(values[other].value);
      const double error = values[row].error + threshold_ * values[other].error;
      if (error > 0.0 && std::fabs(size_of - least) <= error) throw Undecided();
      if (size_of < least) return false;
    }
    return true;
  }

  /// Picks the row of the pivot of column j among `eligible`: the diagonal if that is preferred and passes,
  /// else the row of lowest degree, then lowest number. @return 0 if none passes
  int acceptable_row(const Ints& list, const Reals& values, int j, const Ints& eligible) const {
    if (symmetric_ && contains(eligible, j) && passes(j, list, values)) return j;
    int best = 0;
    for (const int row : eligible) {
      const auto rank = std::make_pair(rows_[row].degree, row);
      if (best != 0 && rank > std::make_pair(rows_[best].degree, best)) continue;
      if (passes(row, list, values)) best = row;
    }
    return best;
  }

  static void replace_by_last(Ints& list, int member) {
    *std::find(list.begin(), list.end(), member) = list.back();
    list.pop_back();
  }

  // -- Forming the front

  void form_front(const Pivot& pivot) {
    front_ = Front();
    Front& f = front_;
    f.pivot_row = pivot.row;
    f.pivot_column = pivot.column;
    f.rows = pivot.rows;
    f.values = Grid(n_);
    f.has_row.assign(n_ + 1, false);
    f.has_column.assign(n_ + 1, false);
    f.columns = pattern_of_row(pivot.row);
    f.most_rows = length(f.rows) + 1;
    f.most_columns = length(f.columns);
    f.column_limit = std::min(remaining_, static_cast<int>(f.most_columns * growth_));
    f.row_limit = std::min(remaining_, static_cast<int>(f.most_rows * growth_));
    for (const int j : f.columns) admit_column(j);
    for (const int i : f.rows) f.has_row[i] = true;
    f.has_row[pivot.row] = true;
    replace_by_last(f.columns, pivot.column);
    assemble();
  }

  void admit_column(int j) {
    front_.has_column[j] = true;
    leave_list(j);
  }

  /// The columns of a row that are not in the front.
  Ints pattern_of_row(int i) const {
    Ints list;
    const auto push = [&](int j) {
      if (!front_.has_column[j] && !columns_[j].gone && !contains(list, j)) list.push_back(j);
    };
    for (const int number : rows_[i].elements)
      for (const int j : elements_[number].columns) push(j);
    for (const int j : rows_[i].originals) push(j);
    return list;
  }

  // -- Assembly

  int rows_outside(const Element& e) const {
    return static_cast<int>(
        std::count_if(e.rows.begin(), e.rows.end(), [this](int i) { return !front_.has_row[i]; }));
  }
  int columns_outside(const Element& e) const {
    return static_cast<int>(
        std::count_if(e.columns.begin(), e.columns.end(), [this](int j) { return !front_.has_column[j]; }));
  }

  /// Adds all that lies in the front, and bounds the degrees of its members.
  void assemble() {
    assemble_column(front_.pivot_column);
    for (const int j : front_.columns) assemble_column(j);
    assemble_row(front_.pivot_row);
    for (const int i : front_.rows) assemble_row(i);
  }

  void assemble_column(int j) {
    Column& column = columns_[j];
    int bound = 0;
    Ints kept;
    for (const int number : Ints(column.elements)) {
      Element& e = elements_[number];
      if (!contains(e.columns, j) || e.dead()) continue;
      const int outside = rows_outside(e);
      if (outside > 0) {
        bound += outside;
        kept.push_back(number);
      } else {
        assemble_element_columns(number, j);
      }
    }
    column.elements = kept;
    std::vector<Entry> rest;
    for (const Entry& entry : column.originals) {
      if (front_.has_row[entry.row]) {
        add(entry.row, j, entry.value);
      } else {
        rest.push_back(entry);
      }
    }
    column.originals = rest;
    lower_bound(column.degree, remaining_ - 1 - length(front_.rows), bound + static_cast<int>(rest.size()));
  }

  /// Adds column j of an element whose rows are all in the front, and with it the others that are in the
  /// front unless more than half of the element's columns are not.
  void assemble_element_columns(int number, int j) {
    Element& e = elements_[number];
    const bool alone = 2 * columns_outside(e) > length(e.columns);
    for (const int c : Ints(e.columns)) {
      if (alone ? c != j : !front_.has_column[c]) continue;
      for (const int i : e.rows) add(i, c, e.values(i, c));
      remove_member(e.columns, c);
    }
    note_child(number);
  }

  void assemble_row(int i) {
    Row& row = rows_[i];
    int bound = 0;
    Ints kept;
    for (const int number : Ints(row.elements)) {
      Element& e = elements_[number];
      if (!contains(e.rows, i) || e.dead()) continue;
      const int outside = columns_outside(e);
      if (outside > 0) {
        bound += outside;
        kept.push_back(number);
      } else {
        assemble_element_rows(number, i);
      }
    }
    row.elements = kept;
    if (length(row.originals) <= std::max(dense_limit_, front_.column_limit)) {
      Ints rest;
      for (const int j : row.originals)
        if (!front_.has_column[j] && !columns_[j].gone) rest.push_back(j);
      row.originals = rest;
    }
    lower_bound(row.degree, remaining_ - 1 - length(front_.columns), bound + length(row.originals));
  }

  void assemble_element_rows(int number, int i) {
    Element& e = elements_[number];
    const bool alone = 2 * rows_outside(e) > length(e.rows);
    for (const int r : Ints(e.rows)) {
      if (alone ? r != i : !front_.has_row[r]) continue;
      for (const int j : e.columns) add(r, j, e.values(r, j));
      remove_member(e.rows, r);
    }
    note_child(number);
  }

  void add(int i, int j, const Real& value) { front_.values(i, j) = plus(front_.values(i, j), value); }

  static void lower_bound(int& degree, int all_others, int bound) {
    if (degree != kNumericallyEmpty) degree = std::min({degree, all_others, bound});
  }

  void note_child(int number) {
    if (elements_[number].lu != 0 && !contains(front_.children, number)) front_.children.push_back(number);
  }

  // -- Elimination

  struct Extension {
    Pivot pivot;
    Ints new_rows, new_columns;
    bool found() const { return pivot.column != 0; }
  };

  void eliminate_front() {
    for (;;) {
      eliminate_pivot();
      Front& f = front_;
      Extension next;
      if (!f.rows.empty()) next = find_extension();
      const int k = static_cast<int>(f.batch.size());
      const int rows = length(f.rows) + length(next.new_rows),
                columns = length(f.columns) + length(next.new_columns);
      const bool flush = !next.found() || f.row_limit - k < rows || f.column_limit - k < columns;
      if (flush || k - f.applied >= batch_size_) {
        totals_.flops3 += 2.0 * (k - f.applied) * length(f.rows) * length(f.columns);
        f.applied = k;
      }
      if (flush) store_lu_element();
      if (!next.found()) return;
      accept(next);
      if (!next.new_rows.empty() || !next.new_columns.empty()) assemble();
    }
  }

  void eliminate_pivot() {
    Front& f = front_;
    PivotLine line{f.pivot_row, f.pivot_column, Reals(n_ + 1), Reals(n_ + 1)};
    const Real pivot = f.values(f.pivot_row, f.pivot_column);
    line.upper[f.pivot_column] = pivot;
    for (const int j : f.columns) line.upper[j] = f.values(f.pivot_row, j);
    for (const int i : f.rows) {
      line.lower[i] = scaled(f.values(i, f.pivot_column), pivot);
      for (const int j : f.columns)
        f.values(i, j) = minus_product(f.values(i, j), line.lower[i], line.upper[j]);
    }
    f.batch.push_back(line);
    totals_.flops1 += length(f.rows);
    --remaining_;
    ++found_;
    row_order.push_back(f.pivot_row);
    column_order.push_back(f.pivot_column);
    f.has_row[f.pivot_row] = f.has_column[f.pivot_column] = false;
    rows_[f.pivot_row].gone = columns_[f.pivot_column].gone = true;
  }

  /// Finds the next pivot of the same front: the front's column of lowest degree, if it and the row fit.
  Extension find_extension() {
    Front& f = front_;
    int j = 0;
    for (const int c : f.columns) {
      if (columns_[c].degree == kNumericallyEmpty) continue;
      if (j == 0 || std::make_pair(columns_[c].degree, c) < std::make_pair(columns_[j].degree, j)) j = c;
    }
    if (j == 0 || length(f.rows) + static_cast<int>(columns_[j].originals.size()) > f.row_limit) return {};
    const int pending = static_cast<int>(f.batch.size()) - f.applied;
    if (pending > 0) totals_.search_flops += 2.0 * pending * length(f.rows);
    Ints list = f.rows;
    Reals values = assembled_column(j, list);
    for (const int i : f.rows) values[i] = plus(values[i], f.values(i, j));
    if (length(list) > f.row_limit) return {};
    totals_.search_flops += length(list);
    if (std::all_of(list.begin(), list.end(), [&](int i) { return is_zero(values[i]); })) {
      columns_[j].degree = kNumericallyEmpty;
      return {};
    }
    const int row = acceptable_row(list, values, j, f.rows);
    if (row == 0) return {};
    const Ints new_columns = pattern_of_row(row);
    for (const int number : rows_[row].elements)
      if (length(elements_[number].columns) > f.column_limit) return {};
    if (length(f.columns) + length(new_columns) > f.column_limit) return {};
    return {{row, j, {}}, Ints(list.begin() + length(f.rows), list.end()), new_columns};
  }

  void accept(const Extension& next) {
    Front& f = front_;
    for (const int i : next.new_rows) f.rows.push_back(i), f.has_row[i] = true;
    for (const int j : next.new_columns) f.columns.push_back(j), admit_column(j);
    const int k = static_cast<int>(f.batch.size()), pending = k - f.applied;
    f.most_rows = std::max(f.most_rows, k + length(f.rows));
    f.most_columns = std::max(f.most_columns, k + length(f.columns));
    totals_.flops2 += 2.0 * pending * length(f.rows);
    f.pivot_row = next.pivot.row;
    f.pivot_column = next.pivot.column;
    replace_by_last(f.rows, f.pivot_row);
    replace_by_last(f.columns, f.pivot_column);
    totals_.flops2 += 2.0 * pending * length(f.columns);
  }

  void store_lu_element() {
    Front& f = front_;
    LuElement lu;
    lu.pivots = static_cast<int>(f.batch.size());
    lu.first = found_ - lu.pivots;
    lu.l = f.rows;
    lu.u = f.columns;
    const int number = static_cast<int>(lu_.size()) + 1;
    if (f.continues) lu.children.push_back(number - 1);
    for (const int child : f.children) {
      const Element& e = elements_[child];
      const int kind = e.dead() ? 0 : rows_outside(e) == 0 ? 1 : 2;
      lu.children.push_back(e.lu + kind * n_);
    }
    copy_batch(lu);
    totals_.entries_l += lu.pivots * (lu.pivots - 1) / 2 + lu.pivots * length(lu.u);
    totals_.entries_u += lu.pivots * (lu.pivots - 1) / 2 + lu.pivots * length(lu.l);
    lu_.push_back(lu);
    if (f.first_lu == 0) f.first_lu = number;
    f.batch.clear();
    f.children.clear();
    f.applied = 0;
    f.continues = true;
  }

  void copy_batch(LuElement& lu) const {
    for (const PivotLine& line : front_.batch) {
      Reals column;
      const auto before = [&](const PivotLine& other) { return &other <= &line; };
      for (const PivotLine& other : front_.batch)
        column.push_back(before(other) ? other.upper[line.column] : line.lower[other.row]);
      for (const int i : lu.l) column.push_back(line.lower[i]);
      lu.columns.push_back(column);
    }
    for (const int j : lu.u) {
      Reals group;
      for (const PivotLine& line : front_.batch) group.push_back(line.upper[j]);
      lu.upper.push_back(group);
    }
  }

  // -- What a front leaves

  void leave_front() {
    Front& f = front_;
    lu_[f.first_lu - 1].front_rows = f.most_rows;
    lu_[f.first_lu - 1].front_columns = f.most_columns;
    ++totals_.fronts;
    for (const int j : f.columns) {
      int& degree = columns_[j].degree;
      if (degree == kNumericallyEmpty) continue;
      degree = std::min(degree + length(f.rows), remaining_);
      if (degree > 0) enter_list(j);
    }
    for (const int i : f.rows) rows_[i].degree = std::min(rows_[i].degree + length(f.columns), remaining_);
    if (f.rows.empty() || f.columns.empty()) return;
    Element& e = elements_[row_order.back()];
    e.lu = static_cast<int>(lu_.size());
    e.rows = f.rows;
    e.columns = f.columns;
    e.values = f.values;
    totals_.assembly_flops += static_cast<double>(length(f.rows)) * length(f.columns);
    for (const int i : f.rows) rows_[i].elements.push_back(row_order.back());
    for (const int j : f.columns) columns_[j].elements.push_back(row_order.back());
  }

  /// Rows and columns without a pivot come last, ascending; the lists get positions.
  void order_the_rest() {
    for (int k = 1; k <= n_; ++k) {
      if (!rows_[k].gone) row_order.push_back(k);
      if (!columns_[k].gone) column_order.push_back(k);
    }
    const Ints row_position = positions_of(row_order), column_position = positions_of(column_order);
    for (LuElement& lu : lu_) {
      for (int& i : lu.l) i = row_position[i];
      for (int& j : lu.u) j = column_position[j];
      totals_.longest_l = std::max(totals_.longest_l, length(lu.l));
      totals_.longest_u = std::max(totals_.longest_u, length(lu.u));
      ++totals_.elements;
    }
  }

  int n_, remaining_, found_ = 0;
  int width_, batch_size_, dense_limit_;
  bool symmetric_;
  double threshold_, growth_;
  Factors& totals_;
  std::vector<Row> rows_;
  std::vector<Column> columns_;
  std::vector<Element>
      elements_;  // [n + 1 + dense columns]; a contribution block by the row of its last pivot
  std::vector<DegreeList> lists_;  // [n + 1] by degree
  Front front_;
  std::vector<LuElement> lu_;
};

// ---- Blocks

/// Returns the part of the matrix in a block, with its rows and columns from 1.
Columns block_columns(const Factors& factors, const Block& block, const Ints& row_position) {
  Columns columns(block.order + 1);
  for (int k = 1; k <= block.order; ++k) {
    for (const Entry& entry : factors.columns[factors.column_order[block.first + k - 1]]) {
      const int row = row_position[entry.row] - block.first;
      if (1 <= row && row <= block.order) columns[k].push_back({row, entry.value});
    }
  }
  return columns;
}

void permute(Ints& order, int first, const Ints& by) {
  const Ints old(order.begin() + first, order.begin() + first + length(by));
  for (int k = 0; k < length(by); ++k) order[first + k] = old[by[k] - 1];
}

/// A block of order 1: its entry, or 1 if that is no pivot.
void take_singleton(Factors& factors, Block& block, const Columns& columns) {
  ++factors.singletons;
  block.pivot = columns[1].empty() ? Real() : columns[1][0].value;
  if (block.pivot.value == 0.0) {
    block.pivot.value = 1.0;
  } else {
    ++factors.pivots;
  }
}

/// Collects the entries above the diagonal blocks, by rows. @return the number of entries below them
int collect_off_diagonal(Factors& factors) {
  const Ints row_position = positions_of(factors.row_order);
  int below = 0;
  for (const Block& block : factors.blocks) {
    for (int k = block.first + 1; k <= block.first + block.order; ++k) {
      for (const Entry& entry : factors.columns[factors.column_order[k - 1]]) {
        const int row = row_position[entry.row];
        if (row <= block.first) factors.off_diagonal.push_back({row, k, entry.value});
        below += row > block.first + block.order;
      }
    }
  }
  std::sort(factors.off_diagonal.begin(), factors.off_diagonal.end(),
            [](const OffDiagonal& a, const OffDiagonal& b) {
              return std::make_pair(a.row, a.column) < std::make_pair(b.row, b.column);
            });
  return below;
}

void set_status(Factors& factors, bool dropped) {
  factors.status = (dropped || factors.invalid > 0 ? 1 : 0) + (factors.duplicates > 0 ? 2 : 0) +
                   (factors.pivots < factors.order() ? 4 : 0);
}

/// Compresses the columns. @return whether there is anything to factorise
bool begin(const Matrix& matrix, bool transposed, Factors& factors) {
  if (matrix.order < 1) {
    factors.status = -1;
  } else if (matrix.rows.empty()) {
    factors.status = -2;
  } else {
    compress(matrix, transposed, factors);
    if (factors.entries == 0) factors.status = -2;
  }
  return factors.status == 0;
}

// ---- 4. The same pivots again

/// Where pivot k (from 1) of a block is eliminated; null past its pivots.
const LuElement* element_of(const Block& block, int k) {
  for (const LuElement& e : block.elements)
    if (k <= e.first + e.pivots) return &e;
  return nullptr;
}

/// Whether the pattern of the block has a place for an entry.
bool has_place(const Block& block, int row, int column) {
  const LuElement* const e = element_of(block, std::min(row, column));
  if (e == nullptr) return false;
  const int other = std::max(row, column);
  return other <= e->first + e->pivots || contains(row >= column ? e->l : e->u, other);
}

/// Eliminates the pivots of a block in their order. @return false if one of them is zero
bool eliminate(const Block& block, Grid& a) {
  for (int k = 1; k <= block.pivots; ++k) {
    if (is_zero(a(k, k))) return false;
    for (int i = k + 1; i <= block.order; ++i) {
      a(i, k) = scaled(a(i, k), a(k, k));
      for (int j = k + 1; j <= block.order; ++j) a(i, j) = minus_product(a(i, j), a(i, k), a(k, j));
    }
  }
  return true;
}

void copy_lists(const Grid& a, LuElement& e) {
  e.columns.assign(e.pivots, {});
  e.upper.assign(e.u.size(), {});
  for (int k = 1; k <= e.pivots; ++k) {
    for (int i = 1; i <= e.pivots; ++i) e.columns[k - 1].push_back(a(e.first + i, e.first + k));
    for (const int i : e.l) e.columns[k - 1].push_back(a(i, e.first + k));
    for (std::size_t j = 0; j < e.u.size(); ++j) e.upper[j].push_back(a(e.first + k, e.u[j]));
  }
}

/// Factorises a block anew. @return false if a pivot is zero
bool replay(Factors& factors, Block& block, const Columns& columns) {
  Grid a(block.order);
  for (int j = 1; j <= block.order; ++j) {
    for (const Entry& entry : columns[j]) {
      if (has_place(block, entry.row, j)) {
        a(entry.row, j) = entry.value;
      } else {
        ++factors.dropped;
      }
    }
  }
  if (!eliminate(block, a)) return false;
  for (LuElement& e : block.elements) copy_lists(a, e);
  factors.pivots += block.pivots;
  return true;
}

// ---- 5. Solutions

/// The solve kernels of one block on its slice x, x[0] being position 1 of the block.
void solve_l(const Block& block, Real* x) {
  for (const LuElement& e : block.elements) {
    for (int k = 0; k < e.pivots; ++k) {
      const Real& known = x[e.first + k];
      for (int i = k + 1; i < e.pivots; ++i)
        x[e.first + i] = minus_product(x[e.first + i], e.columns[k][i], known);
      for (int i = 0; i < length(e.l); ++i)
        x[e.l[i] - 1] = minus_product(x[e.l[i] - 1], e.columns[k][e.pivots + i], known);
    }
  }
}
void solve_u(const Block& block, Real* x) {
  for (auto e = block.elements.rbegin(); e != block.elements.rend(); ++e) {
    for (int k = e->pivots - 1; k >= 0; --k) {
      Real& unknown = x[e->first + k];
      for (int j = 0; j < length(e->u); ++j) unknown = minus_product(unknown, e->upper[j][k], x[e->u[j] - 1]);
      for (int j = k + 1; j < e->pivots; ++j)
        unknown = minus_product(unknown, e->columns[j][k], x[e->first + j]);
      unknown = divided(unknown, e->columns[k][k]);
    }
  }
}
void solve_ut(const Block& block, Real* x) {
  for (const LuElement& e : block.elements) {
    for (int k = 0; k < e.pivots; ++k) {
      Real& known = x[e.first + k];
      known = divided(known, e.columns[k][k]);
      for (int j = k + 1; j < e.pivots; ++j)
        x[e.first + j] = minus_product(x[e.first + j], e.columns[j][k], known);
      for (int j = 0; j < length(e.u); ++j)
        x[e.u[j] - 1] = minus_product(x[e.u[j] - 1], e.upper[j][k], known);
    }
  }
}
void solve_lt(const Block& block, Real* x) {
  for (auto e = block.elements.rbegin(); e != block.elements.rend(); ++e) {
    for (int k = e->pivots - 1; k >= 0; --k) {
      Real& unknown = x[e->first + k];
      for (int i = 0; i < length(e->l); ++i)
        unknown = minus_product(unknown, e->columns[k][e->pivots + i], x[e->l[i] - 1]);
      for (int i = k + 1; i < e->pivots; ++i)
        unknown = minus_product(unknown, e->columns[k][i], x[e->first + i]);
    }
  }
}

Reals gathered(const std::vector<double>& from, const Ints& order) {
  Reals result;
  for (const int k : order) result.push_back({from[k - 1], 0.0});
  return result;
}
Reals scattered(const Reals& from, const Ints& order) {
  Reals result(from.size());
  for (int k = 0; k < length(order); ++k) result[order[k] - 1] = from[k];
  return result;
}

/// A block of the plain or of the transposed system, with both factors.
void solve_block(const Block& block, bool transposed, Reals& x) {
  Real* const slice = x.data() + block.first;
  if (block.singleton) {
    *slice = divided(*slice, block.pivot);
  } else if (transposed) {
    solve_ut(block, slice);
    solve_lt(block, slice);
  } else {
    solve_l(block, slice);
    solve_u(block, slice);
  }
}

/// P'L x = b, or L'P x = b. The coupling of the blocks belongs to U.
Reals solve_with_l(const Factors& f, bool transposed, const std::vector<double>& b) {
  Reals x = transposed ? Reals() : gathered(b, f.row_order);
  for (std::size_t k = 0; transposed && k < b.size(); ++k) x.push_back({b[k], 0.0});
  for (const Block& block : f.blocks) (transposed ? solve_lt : solve_l)(block, x.data() + block.first);
  return transposed ? scattered(x, f.row_order) : x;
}

/// U Q'x = b: what the blocks couple is a part of U only after it went through the L of its block.
Reals solve_with_u(const Factors& f, const std::vector<double>& b) {
  Reals r(b.size());
  for (auto block = f.blocks.rbegin(); block != f.blocks.rend(); ++block) {
    Reals coupling(b.size());
    for (const OffDiagonal& entry : f.off_diagonal) {
      if (entry.row <= block->first || entry.row > block->first + block->order) continue;
      Real& sum = coupling[entry.row - 1];
      sum = minus_product(sum, {-entry.value.value, 0.0}, r[entry.column - 1]);
    }
    if (!block->singleton) solve_l(*block, coupling.data() + block->first);
    for (int k = block->first; k < block->first + block->order; ++k)
      r[k] = difference({b[k], 0.0}, coupling[k]);
    if (block->singleton) {
      r[block->first] = divided(r[block->first], block->pivot);
    } else {
      solve_u(*block, r.data() + block->first);
    }
  }
  return scattered(r, f.column_order);
}

/// Takes the solved block `r` out of the blocks behind it.
void subtract_coupling(const Factors& f, const Block& block, const Reals& r, Reals& x) {
  for (const OffDiagonal& entry : f.off_diagonal) {
    if (entry.row <= block.first || entry.row > block.first + block.order) continue;
    x[entry.column - 1] = minus_product(x[entry.column - 1], entry.value, r[entry.row - 1]);
  }
}

/// Q U'x = b. The coupling takes the whole inverse of a block, of which x keeps the part of U alone.
Reals solve_with_ut(const Factors& f, const std::vector<double>& b) {
  Reals x = gathered(b, f.column_order);
  for (const Block& block : f.blocks) {
    Reals whole = x;
    solve_block(block, true, whole);
    if (block.singleton) {
      x[block.first] = whole[block.first];
    } else {
      solve_ut(block, x.data() + block.first);
    }
    subtract_coupling(f, block, whole, x);
  }
  return x;
}

Reals solve_whole(const Factors& f, bool transposed, const std::vector<double>& b) {
  Reals r = gathered(b, transposed ? f.column_order : f.row_order);
  if (transposed) {
    for (const Block& block : f.blocks) {
      solve_block(block, true, r);
      subtract_coupling(f, block, r, r);
    }
    return scattered(r, f.row_order);
  }
  for (auto block = f.blocks.rbegin(); block != f.blocks.rend(); ++block) {
    for (const OffDiagonal& entry : f.off_diagonal) {
      if (entry.row <= block->first || entry.row > block->first + block->order) continue;
      r[entry.row - 1] = minus_product(r[entry.row - 1], entry.value, r[entry.column - 1]);
    }
    solve_block(*block, false, r);
  }
  return scattered(r, f.column_order);
}

}  // namespace

Factors factorise(const Matrix& matrix, bool transposed, const Controls& controls) {
  Factors factors;
  if (!begin(matrix, transposed, factors)) return factors;
  permute_to_blocks(controls, factors);
  const Ints row_position = positions_of(factors.row_order);
  for (auto block = factors.blocks.rbegin(); block != factors.blocks.rend(); ++block) {
    const Columns columns = block_columns(factors, *block, row_position);
    if (block->singleton) {
      take_singleton(factors, *block, columns);
      continue;
    }
    FrontalBlock kernel(columns, controls, factors);
    kernel.run();
    block->pivots = kernel.pivots();
    block->elements = kernel.elements();
    factors.pivots += block->pivots;
    permute(factors.row_order, block->first, kernel.row_order);
    permute(factors.column_order, block->first, kernel.column_order);
  }
  collect_off_diagonal(factors);
  factors.diagonal_entries = factors.entries - static_cast<int>(factors.off_diagonal.size());
  for (int k = 0; k < factors.order(); ++k)
    factors.diagonal_pivots += factors.row_order[k] == factors.column_order[k];
  set_status(factors, false);
  return factors;
}

Factors refactorise(const Matrix& matrix, bool transposed, const Factors& prior) {
  Factors factors;
  if (!begin(matrix, transposed, factors)) return factors;
  factors.row_order = prior.row_order;
  factors.column_order = prior.column_order;
  factors.blocks = prior.blocks;
  factors.entries_l = prior.entries_l;
  factors.entries_u = prior.entries_u;
  factors.fronts = prior.fronts;
  factors.diagonal_pivots = prior.diagonal_pivots;
  factors.longest_l = prior.longest_l;
  factors.longest_u = prior.longest_u;
  factors.elements = prior.elements;
  const Ints row_position = positions_of(factors.row_order);
  for (Block& block : factors.blocks) {
    const Columns columns = block_columns(factors, block, row_position);
    if (block.singleton) {
      take_singleton(factors, block, columns);
    } else if (!replay(factors, block, columns)) {
      factors.status = -6;
      return factors;
    }
  }
  const int below = collect_off_diagonal(factors);
  factors.dropped += below;
  factors.diagonal_entries = factors.entries - static_cast<int>(factors.off_diagonal.size()) - below;
  set_status(factors, factors.dropped > 0);
  return factors;
}

Reals solve(const Factors& factors, int job, bool transposed, const std::vector<double>& right_side) {
  if (job == 1) return solve_with_l(factors, transposed, right_side);
  if (job != 2) return solve_whole(factors, transposed, right_side);
  return transposed ? solve_with_ut(factors, right_side) : solve_with_u(factors, right_side);
}

}  // namespace ma38_model
