// From the caller's triplets to columns.

#include <algorithm>
#include <cstring>

#include "sparse/ma38/kernels.h"

namespace corvidnum {
namespace ma38 {
namespace {

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
        unit_(OneBased<const int>(icntl, kIcntlLength)(kErrorUnit)),
        details_(OneBased<const int>(icntl, kIcntlLength)(kPrintLevel) >= 3 && unit_ >= 0) {}

  /// Counts the entries of each column. Returns how many entries are valid; they move to the front.
  Index drop_invalid();
  void find_starts();
  void sort_into_columns(Index nz);
  /// Returns how many entries are left.
  Index sum_duplicates();
  void store_starts() { std::copy_n(ap_.data(), n_ + 1, index_.data()); }

 private:
  int& given_row(Index k) const { return index_(k); }
  int& given_column(Index k) const { return index_(ne_ + k); }
  int row(Index k) const { return transa_ ? given_column(k) : given_row(k); }
  int column(Index k) const { return transa_ ? given_row(k) : given_column(k); }
  bool valid(int i) const { return 1 <= i && i <= n_; }
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
  Index nz = ne_;
  for (Index k = ne_; k >= 1; --k) {  // backward: what moves into a gap has been examined
    if (valid(given_row(k)) && valid(given_column(k))) {
      ++w_(column(k));
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
  const OneBased<int> rows = index_.from(std::max(2 * ne_, n_ + 1) + 1);  // above the triplets
  const OneBased<double> values = value_.from(ne_ + 1);
  for (Index k = 1; k <= nz; ++k) {
    const int place = w_(column(k))++;
    rows(place) = row(k);
    values(place) = value_(k);
  }
  // Few entries: the rows may stand in their place already.
  std::memmove(index_.data() + n_ + 1, rows.data(), sizeof(int) * static_cast<std::size_t>(nz));
  std::copy_n(values.data(), nz, value_.data());
}

Index Conversion::sum_duplicates() {
  const OneBased<int> rows = index_.from(n_ + 2);
  std::fill_n(w_.data(), n_, 0);  // w(i): the place of row i in the column, if not below its start
  int place = 1;
  for (Index j = 1; j <= n_; ++j) {
    const int start = place;
    const Index begin = ap_(j), end = ap_(j + 1);
    for (Index q = begin; q < end; ++q) {
      const int i = rows(q);
      if (w_(i) >= start) {
        const int column = static_cast<int>(j);
        report(kEntryRepeated, transa_ ? column : i, transa_ ? i : column, value_(q));
        value_(w_(i)) += value_(q);
        continue;
      }
      w_(i) = place;
      rows(place) = i;
      value_(place) = value_(q);
      ++place;
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
  int& status = results(kStatus);
  Conversion conversion(who, n, ne, transa, value, index, w, ap, icntl);
  const Index valid = conversion.drop_invalid();
  const int invalid = static_cast<int>(ne - valid);
  if (invalid > 0) ma38_set_info(who, icntl, status, kInvalidEntries, invalid);
  conversion.find_starts();
  conversion.sort_into_columns(valid);
  nz = static_cast<int>(conversion.sum_duplicates());
  const int duplicates = static_cast<int>(valid - nz);
  if (duplicates > 0) ma38_set_info(who, icntl, status, kDuplicateEntries, duplicates);
  conversion.store_starts();
  results(kDuplicates) = duplicates;
  results(kInvalid) = invalid;
  results(kEntries) = results(kDiagonalEntries) = nz;
  results(kOffDiagonalEntries) = 0;
  if (nz == 0) ma38_set_info(who, icntl, status, kBadEntryCount, -1);
  return nz > 0;
}

}  // namespace ma38
}  // namespace corvidnum
