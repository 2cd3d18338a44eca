// Chooses the pivot sequence of one block (MA50AD): a right-looking elimination on a copy of the matrix that
// is thrown away; only the order of rows and columns, and the sizes the factorisation needs, are kept.
//
//   1. Drop entries below the drop tolerance; form the pattern by rows; hang each column (and, if rows are
//      searched, each row) into the list of its count.
//   2. While the active submatrix is sparser than the density limit:
//      a. search the columns (and rows) in order of their counts for an entry of least Markowitz cost
//         (r - 1)(c - 1) whose magnitude is at least the threshold times the largest of its column; among
//         equal costs the larger ratio to that element wins. The search stops after ICNTL(4) columns that
//         were examined, or once no later count can cost less. ICNTL(7) restricts it to the diagonal, or
//         gives the sequence of columns;
//      b. a column whose largest element is no acceptable pivot leaves without a row;
//      c. eliminate: add multiples of the pivot column to the columns of the pivot row, with fill-in, drop
//         small results, and return rows and columns to the lists of their new counts.
//   3. What is left becomes the full part; complete both permutations.
//
// Always true between two pivots:
//   1. columns_, rows_ and their count lists are consistent() (see list_store.h);
//   2. rows_ is the pattern of columns_, and nz_ the number of its entries;
//   3. iw_ is null;
//   4. start(line) < 0 for a line that has left: minus its place, of a row without pivot counted from m.
// Which of several equally good pivots is taken depends on the order of the lists and of their entries; hosts
// rely on the same sequence, so no loop here may run in another order.
//
// Sources: H. M. Markowitz, Management Science 3 (1957), the cost; I. S. Duff, A. M. Erisman and J. K. Reid,
// Direct Methods for Sparse Matrices (1986), threshold pivoting and lists by count; Z. Zlatev, SIAM J. Numer.
// Anal. 17 (1980), the limit on the columns searched.

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "frame/one_based.h"
#include "sparse/ma48/diagnostics.h"
#include "sparse/ma48/finite.h"
#include "sparse/ma48/kernel_codes.h"
#include "sparse/ma48/kernels.h"
#include "sparse/ma48/layout.h"
#include "sparse/ma48/list_store.h"
#include "sparse/ma48/row_kernels.h"
#include "sparse/ma48/texts.h"

namespace corvidnum {
namespace {

using Index = std::ptrdiff_t;

constexpr OffsetSet kPivotOffset = 1;  // the set of offset 0

/// Arguments of MA50AD by the names of its contract.
struct PivotArguments {
  Index m, n, ne, la;
  double* a;
  int *irn, *jcn, *iq;
  const double* cntl;
  const int* icntl;
  int *ip, *jfirst, *lenr, *lastr, *nextr, *iw, *ifirst, *lenc, *lastc, *nextc, *info;
};

/// One run of the algorithm above. Names in capitals in the comments are those of the contract.
class PivotSelection {
 public:
  explicit PivotSelection(const PivotArguments& arguments);
  /// Chooses pivots. Returns INFO(1) as far as it is known then: an error, 0 or kNoPivotLeft.
  int run();
  /// Writes the orders and computes sizes, once run() has ended without an error. Returns INFO(1).
  int finish(int status);
  /// Writes the parts of INFO that are valid after an error too.
  void report() const;
  int sparse_pivots() const { return static_cast<int>(sparse_pivots_); }
  double operations() const { return operations_; }

 private:
  struct Pivot {
    Index column, row;  // row 0: the column leaves without a pivot
    Index place;        // of the entry in columns_
    double cost;
  };

  // Set-up, in order.
  int check_sizes();
  void count_columns();           // columns_ holds all NE entries
  void drop_small();              // removes entries below the drop tolerance and packs columns_
  int take_priorities();          // copies the given row priorities from IP, which rows_ needs, to NEXTR
  int form_rows();                // builds the pattern by rows; an error if an entry comes twice
  void form_count_lists();        // hangs each line into the list of its count; null lines leave
  void leave_empty(Index j);      // gives column j, which has become empty, a place without a pivot
  void leave_empty_row(Index i);  // gives row i, which has become empty, the last place that is free
  Index take_position();          // returns the next place in the column order

  bool is_full() const;  // the density of the active submatrix has reached the limit
  void check();          // asserts the invariants, in Debug builds

  // Choice of a pivot.
  int choose_given(Index sequence);
  bool choose_cheapest();  // false: no entry is acceptable
  void move_to_smallest_count();
  bool search_columns(Index length);  // each search returns true to stop: pivot_ is the choice
  bool search_column(Index j, double l, double largest);
  bool search_rows(Index length);
  bool search_row(Index i, double l);
  double largest_of(Index j) const;
  bool is_rejected(double largest) const { return !(largest > tolerance_ && has_reciprocal(largest)); }
  void reject(Index j) { pivot_ = {j, 0, 0, 0}; }
  bool by_rows() const { return search_limit_ <= 0; }

  // The elimination of a pivot, in order.
  bool eliminate();              // false: no room
  void take_out_of_lists();      // removes the rows and columns of the pivot from their count lists
  void pivot_to_head();          // makes the pivot the first entry of its column
  void take_column_from_rows();  // removes it from the pattern and scatters its offsets into iw_
  bool update_column(Index j);
  Index add_multiple(Index j, double multiplier);  // returns how many rows of column j matched
  Index add_not_finite(Index entries, double* values, const int* rows, const ColumnUpdate& update);
  void mark_met(Index j) const;  // turns the sign of iw_ for the rows that column j has: no fill-in there
  bool notes_met() const { return others_in_column_ <= kMostInSet; }
  OffsetSet missing_rows(Index first) const;             // turns signs in iw_
  void squeeze(Index j);                                 // removes what the update has made small
  bool fill_in(Index j, double multiplier, Index room);  // room: its entries, at least 1
  void measure_rows();                                   // finds the longest row of the pivot column
  void need_before_fill(Index last_met, Index added, Index end);
  void return_columns();             // puts the columns of the pivot row into the lists of their new counts
  void close_pivot(Index position);  // takes pivot row and column out of the active submatrix

  void finish_rows();
  void finish_columns();

  const Index m_, n_, ne_;
  const double density_, threshold_, drop_tolerance_, tolerance_;
  const Index search_limit_;
  const int choice_;
  const Diagnostics diagnostics_;
  const RowKernels& kernels_;
  ListStore columns_, rows_;
  const CountLists columns_by_count_, rows_by_count_;
  /// (i): offset of row i in the pivot column, 0 if it has none. Which of them an update has found in its
  /// target column is noted in met_. A pivot column too long for that notes it in the sign: side_ = not yet
  /// (fill-in), -side_ = found. After an update with fill-in every sign has flipped, so side_ flips instead
  /// of resetting the array.
  const OneBased<int> iw_;
  const OneBased<int> info_;
  OneBased<int> given_columns_, priorities_;

  Index nz_ = 0;             // entries of the active submatrix
  Index last_first_ = 0;     // JLAST: columns beyond it are pivotal only after all others
  Index pivots_ = 0;         // NPR: pivots with a row
  Index sparse_pivots_ = 0;  // NPC: columns that have a place in the order
  Index null_rows_ = 0;      // NULLI: rows that left empty
  Index null_columns_ =
      0;  // NULLJ: columns beyond JLAST that left empty; they get their place when the others have
  Index smallest_count_ = 1;  // MINC: no column (row, if searched) has fewer entries
  Index searched_ = 0;        // NSEARCH: columns examined for the present pivot
  double ratio_ = 0;          // PIVRAT: of the best entry so far, to the largest of its column; 0: none yet
  Pivot pivot_ = {0, 0, 0, 0};
  Index others_in_column_ = 0;       // NZPC: entries of the pivot column beside the pivot
  Index others_in_row_ = 0;          // NZC: those of the pivot row
  OffsetSet met_ = 0;                // of rows that the update has found in the target column, if notes_met()
  int side_ = 1;                     // sign of a row in iw_ that the update has not found yet
  Index longest_row_ = 0;            // largest count of the rows in the pivot column
  std::int64_t dropped_ = 0;         // INFO(6)
  std::int64_t rejected_ = 0;        // NDROP: entries of columns that left without a row
  std::int64_t need_;                // INFO(3)
  std::int64_t factor_need_;         // INFO(4)
  std::int64_t factor_entries_ = 0;  // NPZ: entries of the sparse pivots' rows and columns
  double operations_ = 0;
#ifndef NDEBUG
  double unchecked_ = 0;  // updates since the invariants were last checked
#endif
};

/// Returns the threshold within 0 .. 1. A NaN stays one, which no element passes: by the contract the
/// analysis then finds no pivot and warns of a deficient rank.
double clamped_threshold(double u) { return u > 1.0 ? 1.0 : (u < 0.0 ? 0.0 : u); }

PivotSelection::PivotSelection(const PivotArguments& x)
    : m_(x.m),
      n_(x.n),
      ne_(x.ne),
      density_(x.cntl[kDensity - 1] > 1 ? 1.0 : x.cntl[kDensity - 1]),
      threshold_(clamped_threshold(x.cntl[kThreshold - 1])),
      drop_tolerance_(x.cntl[kDropTolerance - 1]),
      tolerance_(x.cntl[kPivotTolerance - 1] < 0 ? 0.0
                                                 : x.cntl[kPivotTolerance - 1]),  // a zero is never a pivot
      search_limit_(x.icntl[kSearchLimit - 1]),
      choice_(x.icntl[kPivotChoice - 1]),
      diagnostics_(x.icntl),
      kernels_(row_kernels()),
      columns_(x.a, x.irn, x.la, x.iq, x.lenc, x.n),
      rows_(nullptr, x.jcn, x.la, x.ip, x.lenr, x.m),
      columns_by_count_{{x.jfirst, x.m}, {x.lastc, x.n}, {x.nextc, x.n}},
      rows_by_count_{{x.ifirst, x.n}, {x.lastr, x.m}, {x.nextr, x.m}},
      iw_(x.iw, x.m),
      info_(x.info, kMa50InfoLength),
      given_columns_(x.ifirst, x.n),
      priorities_(x.nextr, x.m),
      need_(x.ne),
      factor_need_(x.ne) {
  const std::int64_t first = std::int64_t{n_} - x.icntl[kLastColumns - 1];
  last_first_ = 1 <= first && first <= n_ ? static_cast<Index>(first) : n_;
}

int PivotSelection::run() {
  int status = check_sizes();
  if (status != 0) return status;
  count_columns();
  if (drop_tolerance_ > 0) drop_small();
  if (choice_ == kGivenSequence) status = take_priorities();
  if (status == 0) status = form_rows();
  if (status != 0) return status;
  form_count_lists();
  check();

  for (Index sequence = 1; sequence <= n_ && !is_full(); ++sequence) {
    if (choice_ == kGivenSequence) {
      status = choose_given(sequence);
      if (status != 0) return status;
    } else if (!choose_cheapest()) {
      diagnostics_.warning(texts::kPivotsNoDiagonal);
      return kNoPivotLeft;
    }
    if (!eliminate()) {
      diagnostics_.error(texts::kPivotsLength,
                         {static_cast<int>(columns_.index.size()), clamped_length(need_)});
      return kStoreTooShort;
    }
    check();
  }
  return 0;
}

/// Asserts the invariants. That takes a pass over the whole store, so on a large one it waits until the
/// updates since the last time outnumber the places: all checks together then take no longer than the
/// elimination.
void PivotSelection::check() {
#ifndef NDEBUG
  constexpr Index kAlways = 1000;
  unchecked_ += (1.0 + static_cast<double>(others_in_row_)) * (1.0 + static_cast<double>(others_in_column_));
  const Index places = columns_.end() + rows_.end() + m_ + n_;
  if (places > kAlways && unchecked_ < static_cast<double>(places)) return;
  unchecked_ = 0;
  const auto active_entries = [](const ListStore& store) {
    Index entries = 0;
    for (Index line = 1; line <= store.start.size(); ++line) {
      if (store.start(line) > 0) entries += store.count(line);
    }
    return entries;
  };
  assert(columns_.consistent());
  assert(rows_.consistent());
  assert(active_entries(columns_) == nz_ && active_entries(rows_) == nz_);
  assert(columns_by_count_.consistent(columns_));
  assert(!by_rows() || rows_by_count_.consistent(rows_));
  assert(std::count(iw_.data(), iw_.data() + m_, 0) == m_);
#endif
}

int PivotSelection::check_sizes() {
  if (m_ < 1 || n_ < 1) {
    diagnostics_.error(texts::kPivotsSizes, {static_cast<int>(m_), static_cast<int>(n_)});
    return kBadSizes;
  }
  if (ne_ < 1) {
    diagnostics_.error(texts::kPivotsEntries, {static_cast<int>(ne_)});
    return kNoEntries;
  }
  if (columns_.index.size() < ne_) {
    diagnostics_.error(texts::kPivotsLength,
                       {static_cast<int>(columns_.index.size()), static_cast<int>(ne_)});
    return kStoreTooShort;
  }
  return 0;
}

void PivotSelection::count_columns() {
  nz_ = ne_;
  for (Index j = 1; j < n_; ++j) columns_.count(j) = columns_.start(j + 1) - columns_.start(j);
  columns_.count(n_) = static_cast<int>(ne_ + 1 - columns_.start(n_));
  columns_.set_end(ne_ + 1);
}

void PivotSelection::drop_small() {
  Index kept = 0;
  for (Index j = 1; j <= n_; ++j) {
    const Index first = columns_.start(j), last = columns_.last(j);
    columns_.start(j) = static_cast<int>(kept + 1);
    for (Index k = first; k <= last; ++k) {
      if (!(std::fabs(columns_.value(k)) >= drop_tolerance_)) continue;
      ++kept;
      columns_.value(kept) = columns_.value(k);
      columns_.index(kept) = columns_.index(k);
    }
    columns_.count(j) = static_cast<int>(kept + 1 - columns_.start(j));
  }
  dropped_ = nz_ - kept;
  nz_ = kept;
  columns_.set_end(kept + 1);
}

int PivotSelection::take_priorities() {
  std::copy_n(rows_.start.data(), m_, priorities_.data());
  if (search_limit_ == 1) return 0;
  diagnostics_.error(texts::kPivotsControl, {static_cast<int>(search_limit_)});
  return kBadSearchLimit;
}

int PivotSelection::form_rows() {
  std::fill_n(rows_.count.data(), m_, 0);
  std::fill_n(iw_.data(), m_, 0);
  for (Index k = 1; k <= nz_; ++k) ++rows_.count(columns_.index(k));
  Index begin = 1;
  for (Index i = 1; i <= m_; ++i) {
    begin += rows_.count(i);
    rows_.start(i) = static_cast<int>(begin);
  }
  // Each row is filled from its end, so its columns descend.
  for (Index j = 1; j <= n_; ++j) {
    for (Index k = columns_.start(j); k <= columns_.last(j); ++k) {
      const int i = columns_.index(k);
      if (iw_(i) == j) {
        diagnostics_.error(texts::kPivotsDuplicate, {i, static_cast<int>(j)});
        return kRepeatedEntry;
      }
      iw_(i) = static_cast<int>(j);
      rows_.index(--rows_.start(i)) = static_cast<int>(j);
    }
  }
  std::fill_n(iw_.data(), m_, 0);
  rows_.set_end(nz_ + 1);
  return 0;
}

void PivotSelection::form_count_lists() {
  columns_by_count_.clear();
  if (by_rows()) rows_by_count_.clear();
  for (Index i = m_; i >= 1; --i) {  // descending, because push() puts an item in front
    if (rows_.count(i) == 0) {
      leave_empty_row(i);
    } else if (by_rows()) {
      rows_by_count_.push(i, rows_.count(i));
    }
  }
  for (Index j = n_; j >= 1; --j) {
    if (columns_.count(j) > 0) {
      columns_by_count_.push(j, columns_.count(j));
    } else if (choice_ != kGivenSequence) {
      leave_empty(j);
    }
  }
}

void PivotSelection::leave_empty_row(Index i) {
  rows_.start(i) = static_cast<int>(null_rows_ - m_);
  ++null_rows_;
}

void PivotSelection::leave_empty(Index j) {
  if (j > last_first_) {
    ++null_columns_;
    columns_.start(j) = static_cast<int>(-(null_columns_ + last_first_));
  } else {
    columns_.start(j) = static_cast<int>(-take_position());
  }
}

Index PivotSelection::take_position() {
  const Index position = ++sparse_pivots_;
  if (sparse_pivots_ == last_first_) {  // from here on the columns kept for last are candidates
    sparse_pivots_ += null_columns_;
    null_columns_ = 0;
    last_first_ = n_;
  }
  return position;
}

bool PivotSelection::is_full() const {
  const auto places = static_cast<double>(std::int64_t{m_ - pivots_} * (n_ - sparse_pivots_));
  return places * density_ <= static_cast<double>(nz_);
}

double PivotSelection::largest_of(Index j) const {
  return kernels_.largest(columns_.count(j), &columns_.value(columns_.start(j)));
}

int PivotSelection::choose_given(Index sequence) {
  const Index j = given_columns_(sequence);
  if (j < 1 || j > n_ || columns_.start(j) < 0) {
    diagnostics_.error(texts::kPivotsSequence, {static_cast<int>(sequence)});
    return kBadSequence;
  }
  reject(j);
  if (columns_.count(j) == 0) return 0;
  const double largest = largest_of(j);
  if (is_rejected(largest)) return 0;
  const double bound = std::max(largest * threshold_, tolerance_);
  for (Index k = columns_.start(j); k <= columns_.last(j); ++k) {
    const double magnitude = std::fabs(columns_.value(k));
    if (!(magnitude >= bound && has_reciprocal(magnitude))) continue;
    const Index i = columns_.index(k);
    if (pivot_.row != 0 && priorities_(i) >= priorities_(pivot_.row)) continue;  // of equals, the first wins
    const double cost = (rows_.count(i) - 1.0) * (columns_.count(j) - 1.0);
    pivot_ = {j, i, k, cost};
  }
  return 0;
}

bool PivotSelection::choose_cheapest() {
  move_to_smallest_count();
  pivot_ = {0, 0, 0, static_cast<double>(m_) * static_cast<double>(n_)};
  ratio_ = 0;
  searched_ = 0;
  for (Index length = smallest_count_; length <= m_ - pivots_; ++length) {
    const auto l = static_cast<double>(length - 1);
    if (by_rows() && l * l >= pivot_.cost) break;
    if (search_columns(length)) return true;
    if (!by_rows()) continue;
    if ((l + 1) * l >= pivot_.cost) break;
    if (length <= n_ - sparse_pivots_ && search_rows(length)) return true;
  }
  return ratio_ > 0;
}

void PivotSelection::move_to_smallest_count() {
  for (; smallest_count_ <= m_ - pivots_; ++smallest_count_) {
    if (columns_by_count_.first(smallest_count_) != 0) return;
    if (by_rows() && smallest_count_ <= n_ && rows_by_count_.first(smallest_count_) != 0) return;
  }
}

bool PivotSelection::search_columns(Index length) {
  const auto l = static_cast<double>(length - 1);
  const Index limit = search_limit_ == 0 ? n_ : search_limit_;
  for (Index j = columns_by_count_.first(length); j != 0; j = columns_by_count_.next(j)) {
    if (j > last_first_) continue;
    const double largest = largest_of(j);
    if (is_rejected(largest)) {  // leaves at once, even if a pivot was found before
      reject(j);
      return true;
    }
    if (choice_ == kDiagonalPivots && columns_.index(columns_.find(j, j)) != j) continue;
    if (search_column(j, l, largest)) return true;
    ++searched_;
    if (searched_ >= limit && ratio_ > 0) return true;
  }
  return false;
}

bool PivotSelection::search_column(Index j, double l, double largest) {
  const double bound = std::max(largest * threshold_, tolerance_);
  Index first = columns_.start(j), last = columns_.last(j);
  if (choice_ == kDiagonalPivots) first = last = columns_.find(j, j);
  const OneBased<int> indices = columns_.index;
  for (Index k = first; k <= last; ++k) {
    const double magnitude = std::fabs(columns_.value(k));
    if (!(magnitude >= bound && has_reciprocal(magnitude))) continue;
    const Index i = indices(k);
    const double cost = (rows_.count(i) - 1) * l;
    if (cost > pivot_.cost) continue;
    const double ratio = magnitude / largest;
    if (cost == pivot_.cost && ratio <= ratio_) continue;
    pivot_ = {j, i, k, cost};
    if (by_rows() && l * l >= cost) return true;
    ratio_ = ratio;
  }
  return false;
}

bool PivotSelection::search_rows(Index length) {
  const auto l = static_cast<double>(length - 1);
  for (Index i = rows_by_count_.first(length); i != 0; i = rows_by_count_.next(i)) {
    if (choice_ == kDiagonalPivots && rows_.index(rows_.find(i, i)) != i) continue;
    if (search_row(i, l)) return true;
  }
  return false;
}

bool PivotSelection::search_row(Index i, double l) {
  Index first = rows_.start(i), last = rows_.last(i);
  if (choice_ == kDiagonalPivots) first = last = rows_.find(i, i);
  for (Index place = first; place <= last; ++place) {
    const Index j = rows_.index(place);
    if (j > last_first_) continue;
    const double cost = (columns_.count(j) - 1) * l;
    if (cost >= pivot_.cost) continue;
    const double largest = largest_of(j);
    const Index k = columns_.find(j, i);
    if (is_rejected(largest)) {
      reject(j);
      return true;
    }
    const double magnitude = std::fabs(columns_.value(k));
    // Only the threshold counts here, while search_column() also asks for the pivot tolerance: the column's
    // largest element has just passed it. The sequences that hosts rely on depend on this difference.
    if (!(magnitude >= largest * threshold_ && has_reciprocal(magnitude))) continue;
    const double ratio = magnitude / largest;
    pivot_ = {j, i, k, cost};
    ratio_ = ratio;
    if ((l + 1) * l >= cost) return true;
  }
  return false;
}

bool PivotSelection::eliminate() {
  const Index column = pivot_.column, row = pivot_.row, length = columns_.count(column);
  factor_entries_ += length;
  const Index position = take_position();
  others_in_row_ = row != 0 ? rows_.count(row) - 1 : 0;
  others_in_column_ = row != 0 ? length - 1 : length;
  take_out_of_lists();
  if (row != 0) {
    operations_ += 2 * pivot_.cost + static_cast<double>(rows_.count(row));
    factor_entries_ += others_in_row_;
    pivot_to_head();
  } else if (drop_tolerance_ > 0) {
    rejected_ += length;
  }
  take_column_from_rows();
  for (Index k = 0; k < others_in_row_; ++k) {
    const Index place = rows_.start(row) + k;  // the row may move in between
    const Index j = rows_.index(place);
    if (k + 1 < others_in_row_) columns_.fetch(rows_.index(place + 1));
    if (!update_column(j)) return false;
  }
  return_columns();
  close_pivot(position);
  return true;
}

void PivotSelection::take_out_of_lists() {
  const Index column = pivot_.column, row = pivot_.row;
  if (by_rows()) {
    for (Index k = columns_.start(column); k <= columns_.last(column); ++k) {
      const Index i = columns_.index(k);
      rows_by_count_.remove(i, rows_.count(i));
    }
  }
  if (row == 0) {
    if (columns_.count(column) > 0) columns_by_count_.remove(column, columns_.count(column));
    return;
  }
  for (Index place = rows_.start(row); place <= rows_.last(row); ++place) {
    const Index j = rows_.index(place);
    columns_by_count_.remove(j, columns_.count(j));
  }
}

void PivotSelection::pivot_to_head() {
  const Index head = columns_.start(pivot_.column);
  std::swap(columns_.index(head), columns_.index(pivot_.place));
  std::swap(columns_.value(head), columns_.value(pivot_.place));
}

void PivotSelection::take_column_from_rows() {
  const Index column = pivot_.column, first = columns_.start(column), last = columns_.last(column);
  longest_row_ = 0;
  for (Index k = first; k <= last; ++k) {
    const Index i = columns_.index(k);
    if (k < last) rows_.fetch(columns_.index(k + 1));
    rows_.erase(i, rows_.find(i, column));
    if (i == pivot_.row) continue;
    iw_(i) = static_cast<int>(k - first);
    longest_row_ = std::max<Index>(longest_row_, rows_.count(i));
  }
  side_ = 1;
}

void PivotSelection::measure_rows() {
  const Index last = columns_.last(pivot_.column);
  longest_row_ = 0;
  for (Index k = columns_.start(pivot_.column); k <= last; ++k) {
    const Index i = columns_.index(k);
    if (i != pivot_.row) longest_row_ = std::max<Index>(longest_row_, rows_.count(i));
  }
}

bool PivotSelection::update_column(Index j) {
  const Index entry = columns_.find(j, pivot_.row);
  const double multiplier = -(columns_.value(entry) / columns_.value(columns_.start(pivot_.column)));
  columns_.erase(j, entry);
  if (others_in_column_ == 0) return true;
  const Index room = others_in_column_ - add_multiple(j, multiplier);
  if (room > 0 && !notes_met()) mark_met(j);
  if (drop_tolerance_ > 0) {
    squeeze(j);
    measure_rows();
  }
  nz_ += room;
  need_ = std::max<std::int64_t>(need_, columns_.count(j) + nz_);
  if (room > 0) return columns_.grow(j, room) && fill_in(j, multiplier, room);
  need_ = std::max<std::int64_t>(need_, longest_row_ + nz_ + 1);
  return true;
}

Index PivotSelection::add_multiple(Index j, double multiplier) {
  const Index first = columns_.start(j), entries = columns_.count(j);
  double* const values = &columns_.value(first);
  const int* const rows = &columns_.index(first);
  double* const pivot_column = &columns_.value(columns_.start(pivot_.column));
  const ColumnUpdate update = {multiplier, pivot_column, iw_.data()};
  if (!std::isfinite(multiplier)) return add_not_finite(entries, values, rows, update);
  const double pivot = pivot_column[0];
  pivot_column[0] = std::signbit(multiplier) ? 0.0 : -0.0;  // -0.0 is added, which changes nothing
  Index met = 0;
  if (notes_met()) {
    met_ = kernels_.add_and_note(entries, values, rows, update) & ~kPivotOffset;
    met = __builtin_popcountll(met_);
  } else {
    met = kernels_.add_to_column(entries, values, rows, update, side_);
  }
  pivot_column[0] = pivot;
  return met;
}

Index PivotSelection::add_not_finite(Index entries, double* values, const int* rows,
                                     const ColumnUpdate& update) {
  Index met = 0;
  met_ = 0;
  for (Index k = 0; k < entries; ++k) {
    const int offset = iw_(rows[k]) * side_;
    if (offset == 0) continue;
    values[k] += update.multiplier * update.pivot_column[offset];
    if (notes_met()) met_ |= OffsetSet{1} << offset;
    ++met;
  }
  return met;
}

void PivotSelection::mark_met(Index j) const {
  const Index last = columns_.last(j);
  for (Index k = columns_.start(j); k <= last; ++k) {
    int& offset = iw_(columns_.index(k));
    offset = -offset;
  }
}

void PivotSelection::squeeze(Index j) {
  const Index first = columns_.start(j), last = columns_.last(j);
  Index to = first;
  for (Index k = first; k <= last; ++k) {
    const Index i = columns_.index(k);
    if (std::fabs(columns_.value(k)) < drop_tolerance_) {
      rows_.erase(i, rows_.find(i, j));
      continue;
    }
    columns_.value(to) = columns_.value(k);
    columns_.index(to) = columns_.index(k);
    ++to;
  }
  dropped_ += last + 1 - to;
  nz_ -= last + 1 - to;
  columns_.count(j) = static_cast<int>(to - first);
  for (; to <= last; ++to) columns_.index(to) = 0;
}

/// Returns the offsets of the rows to be filled in, as a set. Where signs in iw_ tell them, these are the
/// offsets from `first` on, less `first`, and their signs are turned, so that the rows count as met from now
/// on. Where met_ tells them, these are all offsets, whatever `first`; bits behind the last offset have no
/// meaning.
OffsetSet PivotSelection::missing_rows(Index first) const {
  if (notes_met()) return ~(met_ | kPivotOffset);
  const int* const rows = &columns_.index(columns_.start(pivot_.column));
  const Index behind = std::min(first + kMostInSet, others_in_column_) + 1;
  OffsetSet missing = 0;
  for (Index offset = std::max<Index>(first, 1); offset < behind; ++offset) {
    int& signed_offset = iw_(rows[offset]);
    if ((signed_offset ^ side_) < 0) continue;
    signed_offset = -signed_offset;
    missing |= OffsetSet{1} << (offset - first);
  }
  return missing;
}

bool PivotSelection::fill_in(Index j, double multiplier, Index room) {
  const Index first = columns_.start(j), begin = columns_.last(j) + 1, last = begin + room - 1;
  const Index pivot = columns_.start(pivot_.column), longest = longest_row_;
  const double drop_tolerance = drop_tolerance_;
  Index place = begin, left = room, longest_now = longest;
  for (Index offset = 0; left > 0; offset += kMostInSet + 1) {
    for (OffsetSet missing = missing_rows(offset); missing != 0 && left > 0; missing &= missing - 1) {
      --left;
      const Index source = pivot + offset + __builtin_ctzll(missing);
      const Index i = columns_.index(source);
      const double value = multiplier * columns_.value(source);
      if (std::fabs(value) < drop_tolerance) continue;
      columns_.value(place) = value;
      columns_.index(place) = static_cast<int>(i);
      ++place;
      if (!rows_.add(i, j)) {
        need_before_fill(source, begin, place - 1);
        return false;
      }
      longest_now = std::max<Index>(longest_now, rows_.count(i));
    }
  }
  longest_row_ = longest_now;
  if (!notes_met()) side_ = -side_;
  need_ = std::max<std::int64_t>(need_, longest + nz_ + 1);
  columns_.count(j) = static_cast<int>(place - first);
  dropped_ += last + 1 - place;
  nz_ -= last + 1 - place;
  for (; place <= last; ++place) columns_.index(place) = 0;
  return true;
}

/// Raises INFO(3) after a failed fill-in, which must use the row lengths from before it. So undoes the counts
/// of the entries already added, then takes the maximum over the rows up to the one that did not fit.
void PivotSelection::need_before_fill(Index last_met, Index added, Index end) {
  for (; added < end; ++added) --rows_.count(columns_.index(added));
  for (Index k = columns_.start(pivot_.column) + 1; k <= last_met; ++k) {
    need_ = std::max<std::int64_t>(need_, rows_.count(columns_.index(k)) + nz_ + 1);
  }
}

void PivotSelection::return_columns() {
  const Index row = pivot_.row;
  if (row == 0) return;
  for (Index place = rows_.start(row); place <= rows_.last(row); ++place) {
    const Index j = rows_.index(place), length = columns_.count(j);
    rows_.index(place) = 0;
    if (length > 0) {
      columns_by_count_.push(j, length);
      smallest_count_ = std::min(smallest_count_, length);
    } else if (choice_ != kGivenSequence) {
      leave_empty(j);
    }
  }
}

void PivotSelection::close_pivot(Index position) {
  const Index column = pivot_.column, row = pivot_.row, last = columns_.last(column);
  Index place = columns_.start(column);
  nz_ -= others_in_row_ + columns_.count(column);
  if (row != 0) {
    rows_.count(row) = 0;
    iw_(row) = 0;
    columns_.index(place++) = 0;
    ++pivots_;
    rows_.start(row) = static_cast<int>(-pivots_);
  }
  for (; place <= last; ++place) {
    const Index i = columns_.index(place), length = rows_.count(i);
    iw_(i) = 0;
    columns_.index(place) = 0;
    if (length == 0) {
      leave_empty_row(i);
    } else if (by_rows()) {
      rows_by_count_.push(i, length);
      smallest_count_ = std::min(smallest_count_, length);
    }
  }
  columns_.start(column) = static_cast<int>(-position);
}

int PivotSelection::finish(int status) {
  const Index rows = m_ - pivots_, columns = n_ - sparse_pivots_;
  const Index rank = pivots_ + std::min(rows - null_rows_, columns - null_columns_);
  for (Index j = 1; j <= std::min(rows, columns); ++j) {
    const double places = static_cast<double>(rows - j) * static_cast<double>(columns - j);
    operations_ += static_cast<double>(rows - j) + 2 * places + 1;
  }
  factor_need_ = std::max(std::int64_t{columns} * rows, std::int64_t{columns} - pivots_ + m_) +
                 2 * std::int64_t{m_} + 2 + factor_entries_;
  dropped_ += rejected_;
  info_(kRank) = static_cast<int>(rank);
  info_(kFullPartRows) = static_cast<int>(rows);
  finish_rows();
  finish_columns();
  return rank < std::min(m_, n_) ? status | kRankDeficient : status;
}

void PivotSelection::finish_rows() {
  Index position = pivots_;
  for (Index i = 1; i <= m_; ++i) {
    int& place = rows_.start(i);
    place = place < 0 ? -place : static_cast<int>(++position);
  }
}

void PivotSelection::finish_columns() {
  const Index sparse = sparse_pivots_;
  const OneBased<int> column_at = columns_by_count_.previous;
  for (Index j = 1; j <= n_; ++j) {
    const int place = columns_.start(j);
    column_at(place < 0 ? -place : take_position()) = static_cast<int>(j);
  }
  std::copy_n(column_at.data(), n_, columns_.start.data());
  sparse_pivots_ = sparse;
}

void PivotSelection::report() const {
  info_(kCompressions) = columns_.compressions() + rows_.compressions();
  info_(kAnalysisLength) = clamped_length(need_);
  info_(kFactorLength) = clamped_length(factor_need_);
  info_(kDropped) = clamped_length(dropped_);
}

}  // namespace

int MA50AD(const int* m, const int* n, const int* ne, const int* la, double* a, int* irn, int* jcn, int* iq,
           const double* cntl, const int* icntl, int* ip, int* np, int* jfirst, int* lenr, int* lastr,
           int* nextr, int* iw, int* ifirst, int* lenc, int* lastc, int* nextc, int* info, double* rinfo) {
  // The place behind the arrays must be an int, too.
  const int length = std::min(*la, kMostPlaces);
  std::fill_n(info, kMa50InfoLength, 0);
  PivotSelection selection({*m,     *n,   *ne,   length, a,  irn,    jcn,  iq,    cntl,  icntl, ip,
                            jfirst, lenr, lastr, nextr,  iw, ifirst, lenc, lastc, nextc, info});
  int status = selection.run();
  if (status >= 0) {
    status = selection.finish(status);
    *np = selection.sparse_pivots();
  }
  selection.report();
  info[kStatus - 1] = status;
  *rinfo = selection.operations();
  return 0;
}

}  // namespace corvidnum
