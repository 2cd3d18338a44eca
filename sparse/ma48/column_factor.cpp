// Factorises one block (MA50BD): a left-looking LU by columns with threshold pivoting. The first NP columns
// are kept sparse; the remaining rows and columns are the full part, which dense kernels factorise at the
// end.
//
// For each column j, with JOB 1 and 3:
//   1. scatter the column into W; a depth-first search from its entries through the L parts of earlier
//      columns finds the rows that are not null after all updates (symbolic step), in topological order;
//   2. subtract the multiples of the L parts of these columns in that order (numeric step);
//   3. store the U part; of the rows that are not pivotal yet choose a pivot: of those within the threshold
//      of the largest, the one that comes first in the given row order; store the L part;
//   4. prune symmetrically: shorten later searches through the columns of U(j).
// JOB 2 repeats the updates and the pivots on record without searching. With ICNTL(6) > 0 the leading columns
// stay as they are.
//
// While columns are processed, FACT and IRNF are used from both ends:
//
//   | 2 | U, pivot, L of columns 1 .. j-1 | U list ->   free   <- L list | entries of j | full part |
//   1   2                             fill_                              top_          full_at_   lfact
//
//   U list  rows that are already pivotal, in reverse topological order. Applied from its end, every update
//           finds its multiplier final
//   L list  the other rows of column j; W holds the values of both lists
//   full    by columns, grown at full_end_; its row indices are the last MF places of IRNF
// Place 1 of IRNF counts the entries dropped, place 2 the rows of the full part.
//
// Always true between two columns:
//   1. fill_ <= top_ + 1, and the places between them are free;
//   2. W is null, and no mark is negative;
//   3. IP(i) is -j if row i is the pivot row of column j, else its place in the given order, above 0;
//   4. every row that is reachable through L(c) is reachable through the part of it before search_end(c).
//
// If the space runs out, the run goes on in order to tell how much would do: U parts are thrown away, and the
// place of one column stands for the whole full part. freed_ counts what is saved that way.
//
// Sources: J. R. Gilbert and T. Peierls, SIAM J. Sci. Stat. Comput. 9 (1988), the search; S. C. Eisenstat and
// J. W. H. Liu, SIAM J. Matrix Anal. Appl. 13 (1992), symmetric pruning.

#include "sparse/ma48/column_factor.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "frame/one_based.h"
#include "sparse/ma48/diagnostics.h"
#include "sparse/ma48/finite.h"
#include "sparse/ma48/keep_check.h"
#include "sparse/ma48/kernel_codes.h"
#include "sparse/ma48/kernels.h"
#include "sparse/ma48/layout.h"
#include "sparse/ma48/row_kernels.h"

namespace corvidnum {
namespace {

using Wide = std::int64_t;

/// Adds the operations of a dense LU to `operations`, pivot by pivot: the order decides the rounding.
void add_dense_operations(int rows, int columns, double* operations) {
  for (int j = 1; j <= std::min(rows, columns); ++j) {
    const double updates = double(rows - j) * double(columns - j);
    *operations += double(rows - j) + 2.0 * updates + 1.0;
  }
}

/// One run of the algorithm above. Names in capitals in the comments are those of the contract.
class ColumnFactor {
 public:
  explicit ColumnFactor(const BlockToFactor& block);
  PlacesUsed run();

 private:
  struct Entries {
    int begin, end;  // places in AA, the last one included
  };

  // ---- Set-up
  bool arguments_are_good();
  void previous_factors_fit();  // sets the status if they do not
  void keep_leading_columns();  // sets first_ behind the columns that stay as the previous run left them
  int pivots_in(int columns) const;

  // ---- The same pivots as before
  void refactor();
  bool refactor_column(int j);  // false: its pivot is not acceptable, or an update refers to no pivot
  bool apply_known_pivots(int j);

  // ---- Pivots by size
  bool take_previous_order();  // sets IP by the previous factors; false: these are inconsistent
  bool kept_parts_lead_on() const;
  void factor();
  bool factor_column(int j);  // false: the run ends here
  void begin_full_part();     // lists the rows without a pivot as those of the full part
  bool make_room(int entries);
  void keep_lower_parts_only();
  bool load(int j);  // scatters the column into W and lists its rows at the top; false: one comes twice
  void find_updates(int j);
  void apply_updates();
  void refuse_if_not_finite(int j);  // sets such a column to 0: it gets no pivot and spoils no other
  void store_upper_part(int j);
  void store_full_column();
  bool drop_small_of_lower_part();  // returns whether it dropped any
  void store_lower_part(int j);
  void prune(int j);

  // ---- End
  void finish_row_order();
  void place_full_part();  // moves it directly behind the columns
  void factor_full_part();
  void report();

  Entries entries_of(int j) const;
  bool has_pivot(int j) const { return iptru_(j) < iptrl_(j); }
  int pivot_row(int j) const { return irnf_(iptru_(j) + 1); }
  int& search_from(int j) const { return iw_(j); }
  int& mark(int row) const { return iw_(n_ + row); }
  int& search_end(int j) const { return iw_(Wide{n_} + m_ + j); }  // negative: column j is pruned
  bool acceptable(double magnitude) const { return magnitude > tolerance_ && has_reciprocal(magnitude); }
  bool is_small(double value) const { return std::fabs(value) < drop_; }  // a NaN is not
  void clear_work() { std::fill_n(w_.data(), m_, 0.0); }
  void add_multiple(int column, double multiplier);
  void demand(Wide length) { need_ = std::max(need_, length); }
  bool out_of_space() const { return status_ == kStoreTooShort; }

  const BlockToFactor& b_;
  const int m_, n_, job_, np_, nf_, lfact_;
  const double threshold_, drop_, tolerance_;
  const Diagnostics diagnostics_;
  const RowKernels& kernels_ = row_kernels();
  const OneBased<const double> aa_;
  const OneBased<const int> irna_, iptra_;
  const OneBased<int> ip_, iptrl_, iptru_, irnf_, iw_;
  const OneBased<double> fact_, w_;

  int status_ = 0;
  Wide need_ = 0;    // INFO(4)
  int rank_ = 0;     // INFO(5)
  int dropped_ = 0;  // INFO(6)
  double operations_ = 0.0;
  Wide update_operations_ = 0;      // of add_multiple(), not yet in operations_; far below 2^53
  int first_ = 1;                   // first column to be done
  int mf_ = 0;                      // rows of the full part, once it is begun
  int pivots_ = 0;                  // NPR
  int fill_ = 2;                    // last place in use at the low end
  int top_;                         // last free place of the high end
  int full_at_ = 0, full_end_ = 0;  // first place of the full part; last place of its columns so far
  Wide freed_ = 0;
  int upper_end_ = 0;                    // U list: fill_+1 .. upper_end_
  int lower_begin_ = 0, lower_end_ = 0;  // L list
  PlacesUsed used_;
};

/// Returns the threshold within 0 .. 1. A NaN counts as 0: by the contract the factorisation then takes
/// pivots by the given row order alone, where the analysis (pivot_selection.cpp) finds none.
double clamped_threshold(double u) { return u > 0.0 ? (u < 1.0 ? u : 1.0) : 0.0; }

ColumnFactor::ColumnFactor(const BlockToFactor& block)
    : b_(block),
      m_(block.m),
      n_(block.n),
      job_(block.job),
      np_(block.np),
      nf_(block.n - block.np),
      lfact_(block.lfact),
      threshold_(clamped_threshold(block.cntl[kThreshold - 1])),
      drop_(block.cntl[kDropTolerance - 1]),
      tolerance_(block.cntl[kPivotTolerance - 1]),
      diagnostics_(block.icntl),
      aa_(block.aa, block.ne),
      irna_(block.irna, block.ne),
      iptra_(block.iptra, block.n),
      ip_(block.ip, block.m),
      iptrl_(block.iptrl, block.n),
      iptru_(block.iptru, block.n),
      irnf_(block.irnf, block.lfact),
      iw_(block.iw, Wide{block.m} + 2 * Wide{block.n}),
      fact_(block.fact, block.lfact),
      w_(block.w, block.m),
      top_(block.lfact),
      used_{2, Wide{block.lfact} + 1} {}

PlacesUsed ColumnFactor::run() {
  if (arguments_are_good()) {
    keep_leading_columns();
    clear_work();
    if (job_ == MA48_FACTOR_SAME_PIVOTS) {
      refactor();
    } else {
      factor();
    }
    operations_ += double(update_operations_);
    if (status_ == 0) factor_full_part();
  }
  report();
  used_.lowEnd = std::max(used_.lowEnd, Wide{fill_});
  return used_;
}

// ---- Set-up

bool ColumnFactor::arguments_are_good() {
  if (np_ < 0 || np_ > n_) {
    status_ = kBadSparseColumns;
    diagnostics_.error(texts::kColumnsSparse, {np_, n_});
  } else if (const Wide least = std::max(Wide{m_}, Wide{b_.ne} + 2); lfact_ < least) {
    demand(least);
    status_ = kStoreTooShort;
    diagnostics_.error(texts::kColumnsLength, {lfact_, clamped_length(least)});
  } else if (job_ < MA48_FACTOR_FREELY || job_ > MA48_FACTOR_SAME_ORDER) {
    status_ = kBadJob;
    diagnostics_.error(texts::kColumnsJob, {job_});
  } else if (job_ > MA48_FACTOR_FREELY && irnf_(1) != 0) {
    status_ = kAfterDropping;
    diagnostics_.error(texts::kColumnsDropped, {job_});
  } else if (job_ > MA48_FACTOR_FREELY) {
    previous_factors_fit();
  }
  return status_ == 0;
}

void ColumnFactor::previous_factors_fit() {
  const int rows = irnf_(2);
  if (rows < 0 || rows > m_) {
    status_ = kBadSparseColumns;
  } else if (const Wide space = block_space(iptrl_(n_), rows, nf_); space > lfact_) {
    demand(space);
    status_ = kStoreTooShort;
    diagnostics_.error(texts::kColumnsLength, {lfact_, clamped_length(space)});
  }
}

void ColumnFactor::keep_leading_columns() {
  const int changed = b_.icntl[kLastColumns - 1];
  if (job_ == MA48_FACTOR_FREELY || changed <= 0 || changed >= n_) return;
  const int kept = std::min(np_, n_ - changed);
  first_ = kept + 1;
  if (kept == 0) return;
  fill_ = iptrl_(kept);
  rank_ = pivots_in(kept);
}

int ColumnFactor::pivots_in(int columns) const {
  int count = 0;
  for (int j = 1; j <= columns; ++j) count += has_pivot(j);
  return count;
}

/// Places of column j, or of column IQ(j), in AA.
ColumnFactor::Entries ColumnFactor::entries_of(int j) const {
  const int column = b_.iq[0] > 0 ? b_.iq[j - 1] : j;
  return {iptra_(column), column < n_ ? iptra_(column + 1) - 1 : b_.ne};
}

/// Adds a multiple of the L part of a column to W. The loop for the many short columns tests at its bottom,
/// as the contract's does, which saves a test: an empty L part then adds the pivot to its own row, which does
/// no harm, because the caller sets that element of W afterwards.
inline void ColumnFactor::add_multiple(int column, double multiplier) {
  const int pivot = iptru_(column) + 1;
  const Wide entries = iptrl_(column) - pivot;
  const double* const values = &fact_(pivot);  // element 0 is the pivot
  const int* const rows = &irnf_(pivot);
  double* const w = w_.data();
  if (entries > kFewForCall) {
    kernels_.add_to_rows(entries, multiplier, values + 1, rows + 1, w);
  } else {
    Wide k = entries;
    do {
      w[rows[k] - 1] += multiplier * values[k];
    } while (--k > 0);
  }
  update_operations_ += 1 + 2 * entries;
}

// ---- The same pivots as before

void ColumnFactor::refactor() {
  mf_ = irnf_(2);
  full_at_ = iptrl_(n_) + 1;
  full_end_ = full_at_ - 1;
  for (int j = first_; j <= n_; ++j) {
    if (!refactor_column(j)) {
      status_ = kSmallPivot - j;
      diagnostics_.error(texts::kColumnsSmallPivot, {j});
      return;
    }
  }
  const int begin = first_ > 1 ? iptrl_(first_ - 1) : 2;
  if (!all_finite(fact_.data() + begin, iptrl_(n_) - begin)) {
    status_ = kNotFinite;
    return;
  }
  fact_(1) = drop_;
  fact_(2) = tolerance_;
  fill_ = full_end_;
  demand(std::max(Wide{mf_} + nf_ - 1 + full_at_, Wide{fill_}));
}

bool ColumnFactor::refactor_column(int j) {
  const Entries entries = entries_of(j);
  for (int k = entries.begin; k <= entries.end; ++k) w_(irna_(k)) = aa_(k);
  if (!apply_known_pivots(j)) return false;
  if (j > np_) {
    store_full_column();
    return true;
  }
  double* const fact = fact_.data();
  const int* const irnf = irnf_.data();
  double* const w = w_.data();
  const int begin = iptru_(j), end = iptrl_(j);
  for (int k = begin; k < end; ++k) {
    double& value = w[irnf[k] - 1];
    fact[k] = value;
    value = 0.0;
  }
  if (!has_pivot(j)) {  // its rows were not recorded, so all of W is cleared
    clear_work();
    return true;
  }
  if (!acceptable(std::fabs(fact[begin]))) return false;
  ++rank_;
  fact[begin] = 1.0 / fact[begin];
  operations_ += 1.0;
  return true;
}

bool ColumnFactor::apply_known_pivots(int j) {
  const int begin = j > 1 ? iptrl_(j - 1) + 1 : 3;
  for (int k = iptru_(j); k >= begin; --k) {
    const int column = irnf_(k);
    if (!has_pivot(column)) return false;
    const int row = pivot_row(column);
    const double multiplier = -w_(row) * fact_(iptru_(column) + 1);
    add_multiple(column, multiplier);
    fact_(k) = multiplier;
    w_(row) = 0.0;
  }
  return true;
}

// ---- Pivots by size

/// Sets IP to the pivotal places of the previous factors, negative for the kept columns. Returns false if a
/// row is pivotal twice; then the full part would have another number of rows than are left.
bool ColumnFactor::take_previous_order() {
  bool good = true;
  for (int j = 1; j <= np_; ++j) {
    if (!has_pivot(j)) continue;
    const bool kept = j < first_;
    int& place = ip_(pivot_row(j));
    good &= place > 0;
    place = kept ? -j : j;
    pivots_ += kept;
  }
  const OneBased<int> rows = irnf_.from(iptrl_(n_) + 1);
  for (int k = 1; k <= irnf_(2); ++k) {
    int& place = ip_(rows(k));
    good &= place > 0;
    place = np_ + k;
  }
  return good && kept_parts_lead_on();
}

/// Tells whether the L parts of kept columns have only rows that are pivotal later. Otherwise the graph of
/// the search has a cycle.
bool ColumnFactor::kept_parts_lead_on() const {
  for (int j = 1; j < first_; ++j) {
    for (int k = iptru_(j) + 2; k <= iptrl_(j); ++k) {
      const int place = ip_(irnf_(k));
      if (place < 0 && -place <= j) return false;
    }
  }
  return true;
}

void ColumnFactor::factor() {
  std::fill_n(&iw_(n_ + 1), m_, 0);
  if (job_ == MA48_FACTOR_SAME_ORDER && !take_previous_order()) {
    status_ = kBadSparseColumns;
    return;
  }
  for (int j = 1; j < first_; ++j) search_end(j) = iptrl_(j);
  bool goes_on = true;
  for (int j = first_; j <= n_ && goes_on; ++j) {
    if (j == np_ + 1) begin_full_part();
    goes_on = factor_column(j);
  }
  if (status_ == kRepeatedEntry) return;
  if (nf_ == 0 && goes_on) begin_full_part();
  finish_row_order();
  if (out_of_space()) {
    diagnostics_.error(texts::kColumnsLength, {lfact_, clamped_length(need_)});
    return;
  }
  irnf_(1) = dropped_;
  irnf_(2) = mf_;
  fact_(1) = drop_;
  fact_(2) = tolerance_;
  place_full_part();
}

bool ColumnFactor::factor_column(int j) {
  const Entries entries = entries_of(j);
  if (!make_room(std::max(0, entries.end - entries.begin + 1))) return false;
  if (!load(j)) return false;
  find_updates(j);
  apply_updates();
  refuse_if_not_finite(j);
  store_upper_part(j);
  if (j > np_) {
    store_full_column();
    iptrl_(j) = search_end(j) = fill_;
    return true;
  }
  const bool complete = !drop_small_of_lower_part();
  store_lower_part(j);
  if (complete && has_pivot(j)) prune(j);
  return true;
}

void ColumnFactor::begin_full_part() {
  mf_ = m_ - pivots_;
  const Wide space = block_space(0, mf_, nf_);
  if (!out_of_space() && fill_ + space > lfact_) {
    demand(fill_ + space + freed_);
    status_ = kStoreTooShort;
    keep_lower_parts_only();
  }
  // Rows are listed at the top even when only the length is wanted, as far as they can be.
  if (out_of_space()) freed_ += space - mf_;
  demand(Wide{fill_} + mf_ + freed_);
  const Wide at = lfact_ - (out_of_space() ? Wide{mf_} : space) + 1;
  top_ = static_cast<int>(at) - 1;
  if (at <= fill_) return;  // no column finds room any more
  full_at_ = static_cast<int>(at);
  full_end_ = full_at_ - 1;
  used_.highBegin = std::min(used_.highBegin, at);
  int place = lfact_ - mf_, number = np_;
  for (int i = 1; i <= m_; ++i) {
    if (ip_(i) <= 0) continue;
    irnf_(++place) = i;
    ip_(i) = ++number;
    mark(i) = n_;
  }
}

/// Puts room for the column at the top; true if at least m places then remain between the two ends, which is
/// the most that the U and L lists of find_updates() can need together.
bool ColumnFactor::make_room(int entries) {
  const auto fits = [&] {
    const Wide begin = Wide{top_} - entries + 1;
    demand(m_ - begin + fill_ + 1 + lfact_ + freed_);
    return begin - fill_ > m_;
  };
  if (fits()) return true;
  if (out_of_space()) return false;
  status_ = kStoreTooShort;
  keep_lower_parts_only();
  return fits();
}

/// Throws away the U parts and all but one column of the full part. Pivots and L parts stay: later columns
/// need them.
void ColumnFactor::keep_lower_parts_only() {
  const int before = fill_;
  int to = 2, from = 3;
  for (int j = 1; j <= n_ && from <= before; ++j) {
    const int begin = iptru_(j) + 1, end = iptrl_(j);
    const int shift = begin - (to + 1);
    from = end + 1;
    iptru_(j) = to;
    for (int k = begin; k <= end; ++k) {
      ++to;
      fact_(to) = fact_(k);
      irnf_(to) = irnf_(k);
    }
    iptrl_(j) = to;
    search_end(j) += search_end(j) < 0 ? shift : -shift;
  }
  fill_ = to;
  freed_ += before - fill_;
  if (full_at_ == 0) return;
  const int single = lfact_ - mf_ + 1;
  freed_ += single - full_at_;
  full_at_ = single;
  full_end_ = single - 1;
  top_ = single - 1;
}

bool ColumnFactor::load(int j) {
  const Entries entries = entries_of(j);
  lower_end_ = top_;
  lower_begin_ = top_ - std::max(0, entries.end - entries.begin + 1) + 1;
  int place = lower_begin_;
  for (int k = entries.begin; k <= entries.end; ++k) {
    const int row = irna_(k);
    if (mark(row) == -1) {
      status_ = kRepeatedEntry;
      diagnostics_.error(texts::kColumnsDuplicate, {row, j});
      return false;
    }
    mark(row) = -1;
    w_(row) = aa_(k);
    irnf_(place++) = row;
  }
  iptrl_(j) = search_end(j) = lower_end_;
  search_from(j) = lower_begin_;
  lower_end_ = lower_begin_ - 1;
  return true;
}

/// Builds both lists of column j by a depth-first search from its entries (Gilbert and Peierls). A pivotal
/// row leads on to the L part of its column, and joins the U list when that is exhausted (postorder); any
/// other row joins the L list at once. mark(row) is j once the row is in a list, and minus the column that
/// led to it while it is on the path, so the path needs no stack.
void ColumnFactor::find_updates(int j) {
  const int* const ip = ip_.data();
  int* const irnf = irnf_.data();
  int* const marks = &mark(1);
  int upper = fill_, lower = lower_begin_, column = j;
  for (Wide step = 1; step <= 2 * Wide{j}; ++step) {
    const int end = std::abs(search_end(column));
    int next = 0;
    for (int k = search_from(column); k <= end; ++k) {
      const int row = irnf[k - 1];
      if (marks[row - 1] >= j) continue;
      const int place = ip[row - 1];
      if (place < 1) {
        marks[row - 1] = -column;
        search_from(column) = k + 1;
        next = -place;
        break;
      }
      marks[row - 1] = j;
      irnf[--lower - 1] = row;
    }
    if (next > 0) {
      column = next;
      search_from(column) = iptru_(column) + 2;
    } else if (column != j) {
      const int row = pivot_row(column);
      irnf[++upper - 1] = row;
      column = -marks[row - 1];
      marks[row - 1] = j;
    } else {
      break;
    }
  }
  upper_end_ = upper;
  lower_begin_ = lower;
  used_.lowEnd = std::max(used_.lowEnd, Wide{upper});
  used_.highBegin = std::min(used_.highBegin, Wide{lower});
}

void ColumnFactor::apply_updates() {
  for (int k = upper_end_; k > fill_; --k) {  // from the end: topological order
    const int row = irnf_(k);
    const double value = w_(row);
    if (is_small(value)) continue;
    const int column = -ip_(row);
    const double multiplier = -value * fact_(iptru_(column) + 1);
    add_multiple(column, multiplier);
    w_(row) = multiplier;
  }
}

/// Checks the elements of column j. Those of a full column are in the rows of the full part, which the search
/// does not list.
void ColumnFactor::refuse_if_not_finite(int j) {
  const int uppers = upper_end_ - fill_, lowers = j > np_ ? mf_ : lower_end_ - lower_begin_ + 1;
  const int* const upper = irnf_.data() + fill_;
  const int* const lower = irnf_.data() + (j > np_ ? lfact_ - mf_ : lower_begin_ - 1);
  double* const w = w_.data();
  if (all_finite(w, upper, uppers) && all_finite(w, lower, lowers)) return;
  for (int k = 0; k < uppers; ++k) w[upper[k] - 1] = 0.0;
  for (int k = 0; k < lowers; ++k) w[lower[k] - 1] = 0.0;
}

void ColumnFactor::store_upper_part(int j) {
  int place = fill_;
  for (int k = fill_ + 1; k <= upper_end_; ++k) {
    const int row = irnf_(k);
    const double value = w_(row);
    w_(row) = 0.0;
    if (is_small(value)) {
      ++dropped_;
      continue;
    }
    ++place;
    irnf_(place) = -ip_(row);
    fact_(place) = value;
  }
  if (out_of_space()) {
    freed_ += place - fill_;
  } else {
    fill_ = place;
  }
  iptru_(j) = fill_;
}

void ColumnFactor::store_full_column() {
  if (mf_ == 0) return;
  const int* const rows = job_ == MA48_FACTOR_SAME_PIVOTS ? &irnf_(full_at_) : &irnf_(lfact_ - mf_ + 1);
  double* const column = &fact_(full_end_ + 1);
  double* const w = w_.data();
  for (int k = 0; k < mf_; ++k) {
    column[k] = w[rows[k] - 1];
    w[rows[k] - 1] = 0.0;
  }
  if (!out_of_space()) full_end_ += mf_;
}

bool ColumnFactor::drop_small_of_lower_part() {
  if (!(drop_ > 0.0)) return false;
  const int before = dropped_;
  int place = lower_end_;
  // The entries that stay keep their order, which decides ties.
  for (int k = lower_end_; k >= lower_begin_; --k) {
    const int row = irnf_(k);
    if (is_small(w_(row))) {
      w_(row) = 0.0;
      ++dropped_;
    } else {
      irnf_(place--) = row;
    }
  }
  lower_begin_ = place + 1;
  return dropped_ != before;
}

/// Moves the L list behind the U part, with the pivot in front: of the rows within the threshold of the
/// largest element, the one that comes first in the given order. Without an acceptable one the L part is left
/// out.
void ColumnFactor::store_lower_part(int j) {
  double largest = 0.0;
  for (int k = lower_begin_; k <= lower_end_; ++k) largest = std::max(largest, std::fabs(w_(irnf_(k))));
  const double limit = largest * threshold_;
  int end = fill_, pivot = 0, priority = 0;
  for (int k = lower_begin_; k <= lower_end_; ++k) {
    const int row = irnf_(k);
    const double value = w_(row);
    w_(row) = 0.0;
    irnf_(++end) = row;
    fact_(end) = value;
    const double magnitude = std::fabs(value);
    if (!(magnitude >= limit) || !acceptable(magnitude)) continue;
    if (pivot != 0 && ip_(row) >= priority) continue;
    pivot = end;
    priority = ip_(row);
  }
  used_.lowEnd = std::max(used_.lowEnd, Wide{end});
  if (pivot != 0) {
    const int head = fill_ + 1;
    std::swap(irnf_(head), irnf_(pivot));
    std::swap(fact_(head), fact_(pivot));
    ++rank_;
    ++pivots_;
    fact_(head) = 1.0 / fact_(head);
    operations_ += 1.0;
    ip_(irnf_(head)) = -j;
    fill_ = end;
  } else if (drop_ > 0.0) {
    dropped_ += end - fill_;
  }
  iptrl_(j) = search_end(j) = fill_;
}

/// Prunes symmetrically (Eisenstat and Liu). If L(c) of a column c in U(j) contains the pivot row of j,
/// everything below it in L(c) is reachable through j. Moves the pivotal rows of L(c) to the front and lets
/// later searches stop behind them (search_end(c) < 0 marks c as pruned). Only valid if L(j) has dropped no
/// entry.
void ColumnFactor::prune(int j) {
  const int begin = j > 1 ? iptrl_(j - 1) + 1 : 3;
  const int pivot = pivot_row(j);
  for (int k = begin; k <= iptru_(j); ++k) {
    const int column = irnf_(k);
    if (search_end(column) < 0) continue;
    const int first = iptru_(column) + 2, last = iptrl_(column);
    int* const irnf = irnf_.data();
    double* const fact = fact_.data();
    if (std::find(irnf + first - 1, irnf + last, pivot) == irnf + last) continue;
    int front = first, back = last;
    while (true) {
      while (front <= back && ip_(irnf[front - 1]) < 0) ++front;
      while (front <= back && ip_(irnf[back - 1]) > 0) --back;
      if (front > back) break;
      std::swap(irnf[front - 1], irnf[back - 1]);
      std::swap(fact[front - 1], fact[back - 1]);
    }
    search_end(column) = -back;
  }
}

// ---- End

void ColumnFactor::finish_row_order() {
  int number = np_;
  for (int i = 1; i <= m_; ++i) ip_(i) = ip_(i) < 0 ? -ip_(i) : ++number;
}

void ColumnFactor::place_full_part() {
  const int to = fill_ + 1;
  const std::size_t values = std::size_t(mf_) * std::size_t(nf_);
  if (mf_ > 0) {
    if (values > 0) std::memmove(&fact_(to), &fact_(full_at_), values * sizeof(double));
    std::memmove(&irnf_(to), &irnf_(lfact_ - mf_ + 1), std::size_t(mf_) * sizeof(int));
  }
  full_at_ = to;
}

void ColumnFactor::factor_full_part() {
  if (mf_ > 0 && nf_ > 0) {
    double* const a = &fact_(full_at_);
    int* const pivots = &irnf_(full_at_ + mf_);
    const int width = b_.icntl[kDenseBlockSize - 1];
    int rank = 0;
    if (width > 1) {
      ma50_full_factor3(&mf_, &nf_, a, &mf_, &width, &tolerance_, pivots, &rank);
    } else if (width == 1) {
      ma50_full_factor2(&mf_, &nf_, a, &mf_, &tolerance_, pivots, &rank);
    } else {
      ma50_full_factor1(&mf_, &nf_, a, &mf_, &tolerance_, pivots, &rank);
    }
    rank_ += rank;
    add_dense_operations(mf_, nf_, &operations_);
  }
  if (rank_ < std::min(m_, n_)) status_ = kRankDeficient;
}

void ColumnFactor::report() {
  b_.info[kStatus - 1] = status_;
  b_.info[kFactorLength - 1] = clamped_length(need_);
  b_.info[kRank - 1] = rank_;
  b_.info[kDropped - 1] = dropped_;
  b_.info[kFullPartRows - 1] = mf_;
  *b_.rinfo = operations_;
}

}  // namespace

PlacesUsed factor_block(const BlockToFactor& block) { return ColumnFactor(block).run(); }

int MA50BD(const int* m, const int* n, const int* ne, const int* job, const double* aa, const int* irna,
           const int* iptra, const double* cntl, const int* icntl, int* ip, const int* iq, const int* np,
           const int* lfact, double* fact, int* irnf, int* iptrl, int* iptru, double* w, int* iw, int* info,
           double* rinfo) {
  for (const int element : {kStatus, kFactorLength, kRank, kDropped, kFullPartRows}) info[element - 1] = 0;
  *rinfo = 0.0;
  const Diagnostics diagnostics(icntl);
  if (*m < 1 || *n < 1) {
    info[kStatus - 1] = kBadSizes;
    diagnostics.error(texts::kColumnsSizes, {*m, *n});
  } else if (*ne < 1) {
    info[kStatus - 1] = kNoEntries;
    diagnostics.error(texts::kColumnsEntries, {*ne});
  } else {
    factor_block({*m,  *n,     *ne,  *job, aa,    irna,  iptra, cntl, icntl, ip,   iq,
                  *np, *lfact, fact, irnf, iptrl, iptru, w,     iw,   info,  rinfo});
  }
  return 0;
}

}  // namespace corvidnum
