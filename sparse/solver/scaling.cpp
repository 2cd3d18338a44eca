// Equilibrates the rows and columns of a sparse matrix by powers of two.
//
//   1. Take the binary logarithm of each entry's magnitude, rounded to an integer: its exponent. The rest is
//   done in integers.
//   2. Up to ten times, set the exponent of each row, then of each
//   column, to minus the mean of its entries' scaled exponents, where entries far below the largest of the
//   line count as if they were kDepth below it. Without that limit these are the steps that alternate towards
//   the least squares of the scaled logarithms (Curtis and Reid). They undo bad units that are many decades
//   apart in few sweeps, but a few tiny entries would ruin the scaling of all others.
//   3. Up to five times, unless it must be quick, likewise, to minus the logarithm of the sum of the scaled
//   magnitudes (Sinkhorn and Knopp), which depends on the large entries only.
//   4. Once, to minus the largest scaled exponent. After the rows no entry is above 1; so the columns are
//   scaled up only, again to 1 at most, and the largest entry of each row stays where it is.
//
// Steps 2 and 3 end early when no exponent changes by more than 1, or by more than 6 if it must be quick. The
// largest elements alone (D. Ruiz, RAL-TR-2001-034) do not undo bad units: many scalings have all of them at
// 1, and the one found from rows and columns 24 decades apart can leave a condition that is ten decades above
// that of another.
//
// Sources: A. R. Curtis and J. K. Reid, J. Inst. Math. Appl. 10 (1972); R. Sinkhorn and P. Knopp, Pacific J.
// Math. 21 (1967).

#include "sparse/solver/scaling.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace corvidnum::solver {
namespace {

using Exponent = std::int16_t;
constexpr Exponent kNoEntry = std::numeric_limits<Exponent>::min();

/// Returns the integer nearest to log2 |value|, kNoEntry for 0, NaN and infinity.
Exponent nearest_exponent(double value) {
  constexpr int kMantissaBits = 52, kBias = 1023, kSubnormalShift = 54;
  constexpr std::uint64_t kMagnitude = ~std::uint64_t{0} >> 1, kOne = std::uint64_t{1} << kMantissaBits;
  constexpr std::uint64_t kRootOfTwo = 0x6A09E667F3BCD;  // mantissa bits of sqrt 2, rounded up
  constexpr std::uint64_t kNotFinite = std::uint64_t{2 * kBias + 1} << kMantissaBits;
  std::uint64_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  bits &= kMagnitude;
  if (bits == 0 || bits >= kNotFinite) return kNoEntry;
  if (bits < kOne) {
    return static_cast<Exponent>(nearest_exponent(value * power_of_two(kSubnormalShift)) - kSubnormalShift);
  }
  // Adding 1 - sqrt 2 carries into the exponent's bits from sqrt 2 on.
  return static_cast<Exponent>(static_cast<int>((bits + (kOne - kRootOfTwo)) >> kMantissaBits) - kBias);
}

/// The rows or the columns of the matrix. Line i has the entries begin[i] .. begin[i + 1] - 1; entry k lies
/// in the line across[k] of the other kind and has the magnitude 2^exponent[k].
struct Lines {
  int order;
  const int* begin;
  const int* across;
  const Exponent* exponent;
};

/// The exponents of one line, scaled by the other side.
struct ScaledLine {
  const int* exponent;  // [count]
  int count;
  int largest;
};

/// Collects the entries of a line.
/// @param buffer [order] work, in which the exponents stay
ScaledLine collect(const Lines& lines, int line, const Array<int>& across_scale, Array<int>& buffer) {
  int count = 0, largest = std::numeric_limits<int>::min();
  for (int k = lines.begin[line]; k < lines.begin[line + 1]; ++k) {
    const int scaled = lines.exponent[k] + across_scale[lines.across[k]];
    buffer[count] = scaled;
    count += lines.exponent[k] != kNoEntry;  // without a branch: overwritten by the next entry
    largest = std::max(largest, scaled);     // kNoEntry is below all others, however scaled
  }
  return {buffer.data(), count, largest};
}

/// Returns the mean exponent of a line, where no entry counts as more than `kDepth` below the largest.
int limited_mean(const ScaledLine& line) {
  constexpr int kDepth = 32;
  std::int64_t below = 0;
  for (int k = 0; k < line.count; ++k) below += std::min(line.largest - line.exponent[k], kDepth);
  return line.largest - static_cast<int>((2 * below + line.count) / (std::int64_t{2} * line.count));
}

/// Returns the rounded logarithm of the sum of a line's magnitudes.
int exponent_of_sum(const ScaledLine& line) {
  constexpr int kFractionBits = 20;  // entries further below the largest do not count
  constexpr std::int64_t kUnit = std::int64_t{1} << kFractionBits;
  std::int64_t sum = 0;
  for (int k = 0; k < line.count; ++k) {
    sum += kUnit >> std::min(line.largest - line.exponent[k], kFractionBits + 1);
  }
  return line.largest + nearest_exponent(static_cast<double>(sum)) - kFractionBits;
}

int largest_exponent(const ScaledLine& line) { return line.largest; }

/// Sets the exponent of each line to minus its level.
/// @return the largest change of an exponent
template <class Level>
int scale_lines(const Lines& lines, const Array<int>& across_scale, Array<int>& scale, Array<int>& buffer,
                Level level) {
  int most_changed = 0;
  for (int i = 0; i < lines.order; ++i) {
    const ScaledLine line = collect(lines, i, across_scale, buffer);
    if (line.count == 0) continue;
    const int chosen = std::clamp(-level(line), -kMostScaleExponent, kMostScaleExponent);
    most_changed = std::max(most_changed, std::abs(chosen - scale[i]));
    scale[i] = chosen;
  }
  return most_changed;
}

/// Scales rows and columns in turn until no exponent changes by more than `settled`.
template <class Level>
void sweep(const Lines& rows, const Lines& columns, Array<int>& row_scale, Array<int>& column_scale,
           Array<int>& buffer, int most_sweeps, int settled, Level level) {
  for (int count = 0; count < most_sweeps; ++count) {
    const int rows_changed = scale_lines(rows, column_scale, row_scale, buffer, level);
    const int columns_changed = scale_lines(columns, row_scale, column_scale, buffer, level);
    if (std::max(rows_changed, columns_changed) <= settled) return;
  }
}

/// Copies the exponents of the entries from the order by rows to that by columns.
/// @param place [order] work
void transpose(const Pattern& pattern, const Array<Exponent>& by_rows, Array<Exponent>& by_columns,
               Array<int>& place) {
  std::copy_n(pattern.column_begin, pattern.order, place.data());
  for (int k = 0; k < pattern.entries(); ++k) by_columns[place[pattern.column[k]]++] = by_rows[k];
}

/// Returns whether all entries are within five decades, so that the largest ones alone serve as a scale.
bool are_near(const Array<Exponent>& exponents) {
  constexpr int kSpread = 16;
  int least = std::numeric_limits<int>::max(), most = std::numeric_limits<int>::min();
  for (const Exponent exponent : exponents) {
    least = std::min(least, exponent == kNoEntry ? least : exponent);
    most = std::max<int>(most, exponent);
  }
  return least > most || most - least <= kSpread;
}

}  // namespace

bool equilibrate(const Pattern& pattern, const double* values, ScalingEffort effort, Array<int>& row_exponent,
                 Array<int>& column_exponent) {
  const int n = pattern.order, entries = pattern.entries();
  Array<Exponent> by_rows, by_columns;
  Array<int> buffer;
  if (!buffer.allocate(n) || !by_rows.allocate(entries) || !by_columns.allocate(entries) ||
      !row_exponent.allocate(n) || !column_exponent.allocate(n)) {
    return false;
  }
  std::transform(values, values + entries, by_rows.data(), nearest_exponent);
  transpose(pattern, by_rows, by_columns, buffer);
  row_exponent.fill(0);
  column_exponent.fill(0);
  const Lines rows{n, pattern.row_begin, pattern.column, by_rows.data()};
  const Lines columns{n, pattern.column_begin, pattern.row, by_columns.data()};
  const bool thorough = effort == ScalingEffort::kThorough;
  const int settled = thorough ? 1 : 6;  // 1 is the rounding of a mean
  const int mean_sweeps = thorough || !are_near(by_rows) ? 10 : 0, sum_sweeps = thorough ? 5 : 0;
  sweep(rows, columns, row_exponent, column_exponent, buffer, mean_sweeps, settled, limited_mean);
  sweep(rows, columns, row_exponent, column_exponent, buffer, sum_sweeps, settled, exponent_of_sum);
  sweep(rows, columns, row_exponent, column_exponent, buffer, 1, settled, largest_exponent);
  return true;
}

}  // namespace corvidnum::solver
