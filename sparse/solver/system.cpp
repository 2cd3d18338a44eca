// The matrix of a sparse solver.
//
// The pattern comes as coordinates in any order. Two counting sorts, by rows (unless they come like that) and
// then by columns, bring them into column order; neighbours in the same place are one entry. The pattern by
// rows follows from that by columns in one pass. Values are kept by rows, because the product with a vector
// goes through rows.

#include "sparse/solver/system.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>

#include "sparse/ma48/finite.h"

namespace corvidnum::solver {
namespace {

constexpr Fault kNoFault{SparseStatus::NotFactorised, -1};
constexpr int kBias = 1023;  // of the exponents of normal numbers, which are 1 - kBias .. kBias
constexpr double kSmallestStep = std::numeric_limits<double>::denorm_min();  // of numbers below DBL_MIN

/// Returns the first coordinate out of range, or -1.
std::int64_t first_stray(const Coordinates& given) {
  const unsigned base = static_cast<unsigned>(given.index_base), order = static_cast<unsigned>(given.order);
  const auto stray = [=](int index) { return static_cast<unsigned>(index) - base >= order; };
  for (int k = 0; k < given.entries; ++k)
    if (stray(given.rows[k]) || stray(given.columns[k])) return k;
  return -1;
}

/// Makes `begin` [buckets + 1] the places where the entries of each bucket begin, if they are sorted by
/// bucket.
/// @param bucket [entries] of each entry, counted from base
bool count_buckets(std::int64_t buckets, int entries, const int* bucket, int base, Array<int>& begin) {
  if (!begin.allocate(buckets + 1)) return false;
  begin.fill(0);
  int* const count = begin.data() + 1 - base;
  for (int k = 0; k < entries; ++k) ++count[bucket[k]];
  for (std::int64_t b = 0; b < buckets; ++b) begin[b + 1] += begin[b];
  return true;
}

/// Sorts entries by bucket and keeps the order within a bucket.
/// @param next   [buckets] places where buckets begin; changed
/// @param sorted out: the entries in their new order; empty: they come like that
/// @return false: memory was refused
bool sort_by_bucket(int entries, const int* bucket, int base, Array<int>& next, Array<int>& sorted) {
  if (std::is_sorted(bucket, bucket + entries)) return true;
  if (!sorted.allocate(entries)) return false;
  for (int k = 0; k < entries; ++k) sorted[next[bucket[k] - base]++] = k;
  return true;
}

/// Returns the largest sum, or NaN if one is NaN.
double largest(const Array<double>& sums) {
  double most = 0;
  for (const double sum : sums)
    if (!(sum <= most)) most = sum;
  return most;
}

constexpr double kLeastSum = 1e-100, kMostSum = 1e100;

/// Tells whether the sums of rows or columns are far from the ends of the range of double.
bool suit(const Array<double>& sums) {
  return std::all_of(sums.begin(), sums.end(), [](double sum) { return kLeastSum < sum && sum < kMostSum; });
}

}  // namespace

std::int64_t first_not_finite(const double* numbers, std::int64_t count) {
  if (all_finite(numbers, count)) return -1;
  return std::find_if_not(numbers, numbers + count, [](double x) { return std::isfinite(x); }) - numbers;
}

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
  const int base = given.index_base;
  Array<int> next, by_row, next_in_column;
  if (!count_buckets(order_, given_, given.rows, base, next) ||
      !sort_by_bucket(given_, given.rows, base, next, by_row) ||
      !count_buckets(order_, given_, given.columns, base, column_begin_) ||
      !next_in_column.allocate(order_) || !row_.allocate(given_) || !place_.allocate(given_))
    return false;
  std::copy_n(column_begin_.begin(), order_, next_in_column.begin());
  duplicates_ = 0;
  for (int k = 0; k < given_; ++k) {
    const int entry = by_row.size() > 0 ? by_row[k] : k;
    const int i = given.rows[entry] - base, j = given.columns[entry] - base, place = next_in_column[j];
    const bool repeats = place > column_begin_[j] && row_[place - 1] == i;
    duplicates_ += repeats;
    place_[entry] = place - repeats;
    if (repeats) continue;
    row_[place] = i;
    next_in_column[j] = place + 1;
  }
  if (duplicates_ > 0) close_gaps(given, next_in_column);
  return true;
}

/// Moves the columns together where repeated entries left places behind them.
/// @param end [order] the end of each column; changed
void System::close_gaps(const Coordinates& given, Array<int>& end) {
  int closed = 0;
  for (int j = 0; j < order_; ++j) {
    const int begin = column_begin_[j], moved = begin - closed;
    if (moved > 0) std::copy(row_.begin() + begin, row_.begin() + end[j], row_.begin() + closed);
    column_begin_[j] = closed;
    closed += end[j] - begin;
    end[j] = moved;
  }
  column_begin_[order_] = closed;
  for (int k = 0; k < given_; ++k) place_[k] -= end[given.columns[k] - given.index_base];
}

/// Builds the pattern by rows from that by columns, and translates place_ to it.
bool System::build_rows() {
  const int count = given_ - duplicates_;
  Array<int> next;
  if (!count_buckets(order_, count, row_.data(), 0, row_begin_) || !next.allocate(order_) ||
      !column_.allocate(count) || !by_rows_.allocate(count))
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
  return value_.allocate(entries) && (duplicates_ == 0 || summed_.allocate(entries)) &&
         scaled_.allocate(entries) && row_exponent_.allocate(n) && column_exponent_.allocate(n) &&
         row_scale_.allocate(n) && column_scale_.allocate(n) && row_unit_.allocate(n) &&
         column_unit_.allocate(n) && row_sum_.allocate(n) && column_sum_.allocate(n) &&
         plain_row_sum_.allocate(n) && plain_column_sum_.allocate(n);
}

Fault System::set_values(const double* values) {
  if (!values && given_ > 0) return {SparseStatus::BadInput, -1};
  if (const std::int64_t fault = first_not_finite(values, given_); fault >= 0)
    return {SparseStatus::NotFinite, fault};
  // Added to 0, so that a -0 counts as 0 whether or not it has duplicates.
  if (duplicates_ == 0) {
    for (int k = 0; k < given_; ++k) value_[place_[k]] = 0 + values[k];
  } else {
    summed_.fill(0);
    for (int k = 0; k < given_; ++k) summed_[place_[k]] += values[k];
    for (int k = 0; k < given_; ++k)  // the sum of finite duplicates can overflow
      if (!std::isfinite(summed_[place_[k]])) return {SparseStatus::NotFinite, k};
    value_.swap(summed_);
  }
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
  sums_known_[0] = sums_known_[1] = false;
  lost_ = 0;
  const auto [least_row, most_row] = std::minmax_element(row_exponent_.begin(), row_exponent_.end());
  const auto [least_column, most_column] =
      std::minmax_element(column_exponent_.begin(), column_exponent_.end());
  const bool in_range = *least_row + *least_column >= 1 - kBias && *most_row + *most_column <= kBias;
  if (in_range && scale_by_one_product()) return true;
  if (!in_range || least_scaled_ < DBL_MIN) scale_with_care();
  find_sums(false);
  find_sums(true);
  return lost_ == 0 && suit(row_sum_) && suit(column_sum_);
}

/// Computes the scaled matrix where the product of a row's and a column's scale is always a normal number,
/// and least_scaled_, the least magnitude where the value is not zero. Below DBL_MIN it may have lost digits.
/// @return whether no value is zero and all are so near to 1 that the sums of rows and columns suit
bool System::scale_by_one_product() {
  double least = DBL_MAX, most = 0;
  bool zero = false;
  for (int i = 0; i < order_; ++i) {
    const double scale = row_scale_[i];
    for (int p = row_begin_[i]; p < row_begin_[i + std::int64_t{1}]; ++p) {
      scaled_[p] = value_[p] * (scale * column_scale_[column_[p]]);
      const double size = std::abs(scaled_[p]), size_if_entry = value_[p] == 0 ? DBL_MAX : size;
      zero |= value_[p] == 0;
      least = std::min(least, size_if_entry);
      most = std::max(most, size);
    }
  }
  least_scaled_ = least;
  return !zero && least > kLeastSum && most < kMostSum / (1.0 + entries());
}

/// Computes the scaled matrix, and finds out whether digits were lost.
void System::scale_with_care() {
  for (int i = 0; i < order_; ++i)
    for (int p = row_begin_[i]; p < row_begin_[i + std::int64_t{1}]; ++p) {
      scaled_[p] = solver::scaled(value_[p], row_exponent_[i] + column_exponent_[column_[p]]);
      if (std::abs(scaled_[p]) < DBL_MIN && value_[p] != 0 && scaled_[p] != value_[p]) lost_ = kSmallestStep;
    }
}

/// Sums the magnitudes of the rows, or of the columns, if that was not done for these values.
void System::find_sums(bool transposed) {
  if (sums_known_[transposed]) return;
  sums_known_[transposed] = true;
  transposed ? sum_columns() : sum_rows();
}

void System::sum_rows() {
  for (int i = 0; i < order_; ++i) {
    double sum = 0, plain = 0;
    for (int p = row_begin_[i]; p < row_begin_[i + std::int64_t{1}]; ++p) {
      const double size = std::abs(scaled_[p]);
      sum += size;
      plain += size * column_unit_[column_[p]];
    }
    row_sum_[i] = sum;
    plain_row_sum_[i] = plain;
  }
}

void System::sum_columns() {
  column_sum_.fill(0);
  plain_column_sum_.fill(0);
  for (int i = 0; i < order_; ++i)
    for (int p = row_begin_[i]; p < row_begin_[i + std::int64_t{1}]; ++p) {
      const double size = std::abs(scaled_[p]);
      column_sum_[column_[p]] += size;
      plain_column_sum_[column_[p]] += size * row_unit_[i];
    }
}

double System::scaled_norm() {
  find_sums(true);
  return largest(column_sum_);
}

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
  const int count = entries();
  for (int p = 0; p < count; ++p) values[p] = scaled_[by_rows_[p]];
}

}  // namespace corvidnum::solver
