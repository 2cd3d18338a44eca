// The caller's triplets become compressed columns, in the same two arrays.
//
//   1. Drop entries whose row or column is not in 1..n; count the entries of each column.
//   2. Find where each column begins.
//   3. Copy the entries, column by column, to the places above the triplets.
//   4. Sum entries in the same place while the columns move to the front of the arrays.
//
// INDEX   | rows | columns |  sorted rows  | w | ap |     then  | starts | rows | ..
// VALUE   | entries | sorted entries |                    then  | entries | ..
//
// Each column keeps the order in which its entries were given, except that step 1 fills each gap with the
// last entry. The order of the rows of a front and the rounding of sums depend on it.

#include <algorithm>

#include "sparse/ma38/matrix/matrix.h"

namespace corvidnum {
namespace ma38 {
namespace {

/// Converts one matrix; the members are the steps in their order.
class Conversion {
 public:
  Conversion(Who who, int n, int ne, bool transa, OneBased<double> value, OneBased<int> index,
             OneBased<int> w, OneBased<int> ap, const int* icntl)
      : who_(who),
        n_(n),
        ne_(ne),
        transa_(transa),
        value_(value),
        index_(index),
        w_(w),
        ap_(ap),
        unit_(OneBased<const int>(icntl, MA38_ICNTL_LENGTH)(MA38_ICNTL_ERROR_UNIT)),
        details_(OneBased<const int>(icntl, MA38_ICNTL_LENGTH)(MA38_ICNTL_PRINT_LEVEL) >= 3 && unit_ >= 0) {}

  /// Moves the valid entries to the front, counts those of each column in w, and returns their number.
  Index drop_invalid();
  void find_starts();
  void sort_into_columns(Index nz);
  /// Moves the columns to the front, and returns how many entries they have now.
  Index sum_duplicates();
  void store_starts() { std::copy_n(ap_.data(), n_ + 1, index_.data()); }

 private:
  int& given_row(Index k) const { return index_(k); }
  int& given_column(Index k) const { return index_(ne_ + k); }
  bool valid(int i) const { return static_cast<unsigned>(i) - 1u < static_cast<unsigned>(n_); }
  /// Returns the sorted rows, which begin behind the entries given and behind INDEX(1..n+1).
  OneBased<int> sorted_rows() const { return index_.from(std::max(2 * ne_, n_ + 1) + 1); }
  OneBased<double> sorted_values() const { return value_.from(ne_ + 1); }
  void report(int code, int row, int column, double value) const {
    if (details_) ma38_report(who_, code, row, column, value, unit_);
  }

  const Who who_;
  const Index n_, ne_;
  const bool transa_;
  const OneBased<double> value_;
  const OneBased<int> index_, w_, ap_;
  const int unit_;
  const bool details_;
};

Index Conversion::drop_invalid() {
  std::fill_n(w_.data(), n_, 0);
  const OneBased<int> count = w_;
  const OneBased<const int> columns = transa_ ? index_ : index_.from(ne_ + 1);
  Index nz = ne_;
  for (Index k = ne_; k >= 1; --k) {  // backwards: the entry that fills a gap has been examined already
    if (valid(given_row(k)) && valid(given_column(k))) {
      ++count(columns(k));
      continue;
    }
    report(kEntryOutOfRange, given_row(k), given_column(k), value_(k));
    given_row(k) = given_row(nz);
    given_column(k) = given_column(nz);
    value_(k) = value_(nz);
    --nz;
  }
  return nz;
}

void Conversion::find_starts() {
  ap_(1) = 1;
  for (Index j = 1; j <= n_; ++j) {
    ap_(j + 1) = ap_(j) + w_(j);
    w_(j) = ap_(j);
  }
}

void Conversion::sort_into_columns(Index nz) {
  const int* const given_rows = transa_ ? &given_column(1) : &given_row(1);
  const int* const given_columns = transa_ ? &given_row(1) : &given_column(1);
  const OneBased<int> next = w_;
  const OneBased<int> rows = sorted_rows();
  const OneBased<double> values = sorted_values();
  for (Index k = 0; k < nz; ++k) {
    const int place = next(given_columns[k])++;
    rows(place) = given_rows[k];
    values(place) = value_.data()[k];
  }
}

/// Sums duplicates in place. Safe, since writing never overtakes reading: entry `place` is written after the
/// sorted entry q >= place was read, and the sorted entries stand above.
Index Conversion::sum_duplicates() {
  // w(i) is the place of row i in the present column if it is not below the column's start, else of an
  // earlier one.
  std::fill_n(w_.data(), n_, 0);
  const OneBased<int> places = w_;
  const OneBased<int> rows = index_.from(n_ + 2);
  const OneBased<double> values = value_;
  const OneBased<const int> sorted = sorted_rows();
  const OneBased<const double> sorted_value = sorted_values();
  int place = 1;
  for (Index j = 1; j <= n_; ++j) {
    const int start = place;
    const Index end = ap_(j + 1);
    for (Index q = ap_(j); q < end; ++q) {
      const int i = sorted(q);
      const double value = sorted_value(q);
      if (places(i) >= start) {
        const int column = static_cast<int>(j);
        report(kEntryRepeated, transa_ ? column : i, transa_ ? i : column, value);
        values(places(i)) += value;
        continue;
      }
      places(i) = place;
      rows(place) = i;
      values(place++) = value;
    }
    ap_(j) = start;
  }
  ap_(n_ + 1) = place;
  return place - 1;
}

}  // namespace

bool ma38_convert(Who who, int n, int& nz, bool transa, OneBased<double> value, OneBased<int> index,
                  OneBased<int> w, OneBased<int> ap, const int* icntl, const Results& results) {
  const int ne = nz;
  int& status = results(MA38_INFO_STATUS);
  Conversion conversion(who, n, ne, transa, value, index, w, ap, icntl);
  const Index valid = conversion.drop_invalid();
  const int invalid = static_cast<int>(ne - valid);
  if (invalid > 0) ma38_set_info(who, icntl, status, MA38_WARNING_ENTRIES, invalid);
  conversion.find_starts();
  conversion.sort_into_columns(valid);
  nz = static_cast<int>(conversion.sum_duplicates());
  const int duplicates = static_cast<int>(valid - nz);
  if (duplicates > 0) ma38_set_info(who, icntl, status, MA38_WARNING_DUPLICATES, duplicates);
  conversion.store_starts();
  results(MA38_INFO_DUPLICATES) = duplicates;
  results(MA38_INFO_INVALID) = invalid;
  results(MA38_INFO_ENTRIES) = results(MA38_INFO_DIAGONAL_ENTRIES) = nz;
  results(MA38_INFO_OFF_DIAGONAL_ENTRIES) = 0;
  if (nz == 0) ma38_set_info(who, icntl, status, MA38_STATUS_BAD_ENTRY_COUNT, -1);
  return nz > 0;
}

}  // namespace ma38
}  // namespace corvidnum
