// The matrix of a sparse solver.
//
// The pattern comes as coordinates in any order. Two counting sorts, by rows and then by columns, bring them
// into column order; neighbours in the same place are one entry. The pattern by rows follows from that by
// columns in one pass. Values are kept by rows, because the product with a vector goes through rows.

#include "sparse/solver/system.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>

namespace corvidnum::solver {
namespace {

constexpr Fault kNoFault{SparseStatus::NotFactorised, -1};
constexpr double kSmallestStep = std::numeric_limits<double>::denorm_min();  // of numbers below DBL_MIN

/// Returns the first coordinate out of range, or -1.
std::int64_t first_stray(const Coordinates& given) {
  const std::int64_t least = given.index_base, most = least + given.order - 1;
  const auto stray = [=](int index) { return index < least || index > most; };
  for (int k = 0; k < given.entries; ++k)
    if (stray(given.rows[k]) || stray(given.columns[k])) return k;
  return -1;
}

/// Makes `begin` [buckets + 1] the places where the entries of each bucket begin, if they are sorted by
/// bucket.
template <class BucketOf>
bool count_buckets(std::int64_t buckets, int entries, BucketOf bucket_of, Array<int>& begin) {
  if (!begin.allocate(buckets + 1)) return false;
  begin.fill(0);
  for (int k = 0; k < entries; ++k) ++begin[std::int64_t{bucket_of(k)} + 1];
  for (std::int64_t bucket = 0; bucket < buckets; ++bucket) begin[bucket + 1] += begin[bucket];
  return true;
}

/// Sorts entries by bucket and keeps the order within a bucket. The buckets are 0 .. buckets - 1.
/// @param order_of order_of(k): the entry that comes k-th before
/// @param sorted   out: the entries in their new order
template <class BucketOf, class OrderOf>
bool sort_by_bucket(std::int64_t buckets, int entries, BucketOf bucket_of, OrderOf order_of,
                    Array<int>& sorted) {
  Array<int> next;
  if (!count_buckets(buckets, entries, bucket_of, next) || !sorted.allocate(entries)) return false;
  for (int k = 0; k < entries; ++k) {
    const int entry = order_of(k);
    sorted[next[bucket_of(entry)]++] = entry;
  }
  return true;
}

/// Returns the largest sum, or NaN if one is NaN.
double largest(const Array<double>& sums) {
  double most = 0;
  for (const double sum : sums)
    if (!(sum <= most)) most = sum;
  return most;
}

/// Tells whether the sums of rows or columns are far from the ends of the range of double.
bool suit(const Array<double>& sums) {
  constexpr double kLeast = 1e-100, kMost = 1e100;
  return std::all_of(sums.begin(), sums.end(), [](double sum) { return kLeast < sum && sum < kMost; });
}

}  // namespace

Fault System::set_pattern(const Coordinates& given) {
  const bool in_range = given.order >= 1 && given.entries >= 0 && (given.index_base | 1) == 1;
  if (!in_range || (given.entries > 0 && (!given.rows || !given.columns)))
    return {SparseStatus::BadInput, -1};
  if (const std::int64_t stray = first_stray(given); stray >= 0) return {SparseStatus::BadInput, stray};
  order_ = given.order;
  given_ = given.entries;
  if (!build_columns(given) || !build_rows() || !allocate_values()) return {SparseStatus::NoMemory, -1};
  return kNoFault;
}

/// Builds the pattern by columns; place_ then holds the place by columns of each entry given.
bool System::build_columns(const Coordinates& given) {
  const auto row = [&](int k) { return given.rows[k] - given.index_base; };
  const auto column = [&](int k) { return given.columns[k] - given.index_base; };
  const auto as_given = [](int k) { return k; };
  Array<int> by_row, sorted;
  if (!sort_by_bucket(order_, given_, row, as_given, by_row)) return false;
  const auto by_row_order = [&](int k) { return by_row[k]; };
  if (!sort_by_bucket(order_, given_, column, by_row_order, sorted)) return false;
  const auto repeats = [&](int k) {
    return k > 0 && row(sorted[k]) == row(sorted[k - 1]) && column(sorted[k]) == column(sorted[k - 1]);
  };
  duplicates_ = 0;
  for (int k = 0; k < given_; ++k) duplicates_ += repeats(k);
  const std::int64_t entries = given_ - duplicates_;
  if (!row_.allocate(entries) || !column_begin_.allocate(order_ + std::int64_t{1}) ||
      !place_.allocate(given_))
    return false;
  column_begin_.fill(0);
  int last = -1;
  for (int k = 0; k < given_; ++k) {
    if (!repeats(k)) {
      row_[++last] = row(sorted[k]);
      ++column_begin_[column(sorted[k]) + std::int64_t{1}];
    }
    place_[sorted[k]] = last;
  }
  for (std::int64_t j = 0; j < order_; ++j) column_begin_[j + 1] += column_begin_[j];
  return true;
}

/// Builds the pattern by rows from that by columns, and translates place_ to it.
bool System::build_rows() {
  const int count = static_cast<int>(row_.size());
  Array<int> next;
  if (!count_buckets(
          order_, count, [&](int p) { return row_[p]; }, row_begin_) ||
      !next.allocate(order_) || !column_.allocate(count) || !by_rows_.allocate(count))
    return false;
  std::copy(row_begin_.begin(), row_begin_.begin() + order_, next.begin());
  for (int j = 0; j < order_; ++j)
    for (int p = column_begin_[j]; p < column_begin_[j + std::int64_t{1}]; ++p) {
      const int place = next[row_[p]]++;
      column_[place] = j;
      by_rows_[p] = place;
    }
  for (int& place : place_) place = by_rows_[place];
  return true;
}

bool System::allocate_values() {
  const std::int64_t n = order_, entries = column_.size();
  return value_.allocate(entries) && summed_.allocate(entries) && scaled_.allocate(entries) &&
         row_exponent_.allocate(n) && column_exponent_.allocate(n) && row_scale_.allocate(n) &&
         column_scale_.allocate(n) && row_unit_.allocate(n) && column_unit_.allocate(n) &&
         row_sum_.allocate(n) && column_sum_.allocate(n) && plain_row_sum_.allocate(n) &&
         plain_column_sum_.allocate(n);
}

Fault System::set_values(const double* values) {
  if (!values && given_ > 0) return {SparseStatus::BadInput, -1};
  for (int k = 0; k < given_; ++k)
    if (!std::isfinite(values[k])) return {SparseStatus::NotFinite, k};
  summed_.fill(0);
  for (int k = 0; k < given_; ++k) summed_[place_[k]] += values[k];
  if (duplicates_ > 0)  // the sum of finite duplicates can overflow
    for (int k = 0; k < given_; ++k)
      if (!std::isfinite(summed_[place_[k]])) return {SparseStatus::NotFinite, k};
  std::copy(summed_.begin(), summed_.end(), value_.begin());
  has_values_ = true;
  return kNoFault;
}

bool System::choose_scales(ScalingEffort effort) {
  if (!equilibrate(pattern(), value_.data(), effort, row_exponent_, column_exponent_)) return false;
  for (int i = 0; i < order_; ++i) {
    row_scale_[i] = power_of_two(row_exponent_[i]);
    row_unit_[i] = power_of_two(-row_exponent_[i]);
    column_scale_[i] = power_of_two(column_exponent_[i]);
    column_unit_[i] = power_of_two(-column_exponent_[i]);
  }
  return true;
}

bool System::apply_scales() {
  lost_ = 0;
  column_sum_.fill(0);
  plain_column_sum_.fill(0);
  for (int i = 0; i < order_; ++i) {
    double sum = 0, plain = 0;
    for (int p = row_begin_[i]; p < row_begin_[i + std::int64_t{1}]; ++p) {
      const int j = column_[p];
      scaled_[p] = solver::scaled(value_[p], row_exponent_[i] + column_exponent_[j]);
      const double size = std::abs(scaled_[p]);
      if (size < DBL_MIN && value_[p] != 0 && scaled_[p] != value_[p]) lost_ = kSmallestStep;
      sum += size;
      plain += size * column_unit_[j];
      column_sum_[j] += size;
      plain_column_sum_[j] += size * row_unit_[i];
    }
    row_sum_[i] = sum;
    plain_row_sum_[i] = plain;
  }
  return lost_ == 0 && suit(row_sum_) && suit(column_sum_);
}

double System::scaled_norm() const { return largest(column_sum_); }

double System::norm(const Array<int>& rows, const Array<int>& columns) const {
  double most = 0;
  for (int j = 0; j < order_; ++j) {
    double sum = 0;
    for (int p = column_begin_[j]; p < column_begin_[j + std::int64_t{1}]; ++p)
      sum += std::abs(solver::scaled(value_[by_rows_[p]], rows[row_[p]] + columns[j]));
    most = std::max(most, sum);
  }
  return most;
}

void System::write_indices(int* rows, int* columns) const {
  for (int j = 0; j < order_; ++j)
    for (int p = column_begin_[j]; p < column_begin_[j + std::int64_t{1}]; ++p) {
      rows[p] = row_[p] + 1;
      columns[p] = j + 1;
    }
}

void System::write_values(double* values) const {
  for (std::int64_t p = 0; p < by_rows_.size(); ++p) values[p] = scaled_[by_rows_[p]];
}

}  // namespace corvidnum::solver
