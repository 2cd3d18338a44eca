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

constexpr int kMantissaBits = 52, kBias = 1023;
constexpr std::uint64_t kMagnitude = ~std::uint64_t{0} >> 1, kOne = std::uint64_t{1} << kMantissaBits;
constexpr std::uint64_t kNotFinite = std::uint64_t{2 * kBias + 1} << kMantissaBits;

std::uint64_t magnitude_bits(double value) {
  std::uint64_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  return bits & kMagnitude;
}

/// Tells whether a value is zero, subnormal, infinite or NaN.
bool is_special(double value) { return magnitude_bits(value) - kOne >= kNotFinite - kOne; }

/// Returns the integer nearest to log2 |value| of a normal number.
Exponent nearest_exponent_of_normal(double value) {
  constexpr std::uint64_t kRootOfTwo = 0x6A09E667F3BCD;  // mantissa bits of sqrt 2, rounded up
  // Adding 1 - sqrt 2 carries into the exponent's bits from sqrt 2 on.
  const std::uint64_t carried = magnitude_bits(value) + (kOne - kRootOfTwo);
  return static_cast<Exponent>(static_cast<int>(carried >> kMantissaBits) - kBias);
}

/// Returns the integer nearest to log2 |value|, kNoEntry for 0, NaN and infinity.
Exponent nearest_exponent(double value) {
  constexpr int kSubnormalShift = 54;
  const std::uint64_t bits = magnitude_bits(value);
  if (bits == 0 || bits >= kNotFinite) return kNoEntry;
  if (bits < kOne) {
    return static_cast<Exponent>(nearest_exponent(value * power_of_two(kSubnormalShift)) - kSubnormalShift);
  }
  return nearest_exponent_of_normal(value);
}

/// What the exponents of all entries tell.
struct ExponentFacts {
  bool are_near;  // within five decades, so that the largest ones alone serve as a scale
  bool has_gaps;  // some entries count as none
};

/// Writes the exponents of all entries.
ExponentFacts take_exponents(const double* values, int count, Array<Exponent>& exponents) {
  constexpr int kSpread = 16;
  Exponent least = std::numeric_limits<Exponent>::max(), most = kNoEntry;
  bool special = false;
  for (int k = 0; k < count; ++k) {  // without a branch, so that it becomes vector code
    exponents[k] = nearest_exponent_of_normal(values[k]);
    special |= is_special(values[k]);
    least = std::min(least, exponents[k]);
    most = std::max(most, exponents[k]);
  }
  if (!special) return {count == 0 || most - least <= kSpread, false};
  least = std::numeric_limits<Exponent>::max(), most = kNoEntry;
  for (int k = 0; k < count; ++k) {
    exponents[k] = nearest_exponent(values[k]);
    least = std::min(least, exponents[k] == kNoEntry ? least : exponents[k]);
    most = std::max(most, exponents[k]);
  }
  return {most == kNoEntry || most - least <= kSpread, true};
}

/// The rows or the columns of the matrix. Line i has the entries begin[i] .. begin[i + 1] - 1; entry k lies
/// in the line across[k] of the other kind and has the magnitude 2^exponent[k].
struct Lines {
  int order;
  const int* begin;
  const int* across;
  const Exponent* exponent;
  bool has_gaps;  // some exponents are kNoEntry
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
  const int begin = lines.begin[line], end = lines.begin[line + 1];
  int largest = std::numeric_limits<int>::min();
  if (!lines.has_gaps) {
    for (int k = begin; k < end; ++k) {
      buffer[k - begin] = lines.exponent[k] + across_scale[lines.across[k]];
      largest = std::max(largest, buffer[k - begin]);
    }
    return {buffer.data(), end - begin, largest};
  }
  int count = 0;
  for (int k = begin; k < end; ++k) {
    const int scaled = lines.exponent[k] + across_scale[lines.across[k]];
    buffer[count] = scaled;
    count += lines.exponent[k] != kNoEntry;  // without a branch: overwritten by the next entry
    largest = std::max(largest, scaled);     // kNoEntry is below all others, however scaled
  }
  return {buffer.data(), count, largest};
}

constexpr int kDepth = 32;  // of the entries that count least in a mean, below the largest

/// Returns how far the mean exponent of a line is below the largest, rounded.
/// @tparam Integer holds (2 kDepth + 1) times the entries of the line
template <class Integer>
int mean_below_largest(const ScaledLine& line) {
  Integer below = 0;
  for (int k = 0; k < line.count; ++k)
    below += static_cast<Integer>(std::min(line.largest - line.exponent[k], kDepth));
  const auto count = static_cast<Integer>(line.count);
  return static_cast<int>((2 * below + count) / (2 * count));
}

/// Returns the mean exponent of a line, where no entry counts as more than `kDepth` below the largest.
int limited_mean(const ScaledLine& line) {
  // The division takes far longer in 64 bits.
  constexpr int kFewEnough = std::numeric_limits<int>::max() / (2 * kDepth + 1);
  const bool is_short = line.count <= kFewEnough;
  return line.largest -
         (is_short ? mean_below_largest<std::uint32_t>(line) : mean_below_largest<std::uint64_t>(line));
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
  const ExponentFacts facts = take_exponents(values, entries, by_rows);
  transpose(pattern, by_rows, by_columns, buffer);
  row_exponent.fill(0);
  column_exponent.fill(0);
  const Lines rows{n, pattern.row_begin, pattern.column, by_rows.data(), facts.has_gaps};
  const Lines columns{n, pattern.column_begin, pattern.row, by_columns.data(), facts.has_gaps};
  const bool thorough = effort == ScalingEffort::kThorough;
  const int settled = thorough ? 1 : 6;  // 1 is the rounding of a mean
  const int mean_sweeps = thorough || !facts.are_near ? 10 : 0, sum_sweeps = thorough ? 5 : 0;
  sweep(rows, columns, row_exponent, column_exponent, buffer, mean_sweeps, settled, limited_mean);
  sweep(rows, columns, row_exponent, column_exponent, buffer, sum_sweeps, settled, exponent_of_sum);
  sweep(rows, columns, row_exponent, column_exponent, buffer, 1, settled, largest_exponent);
  return true;
}

}  // namespace corvidnum::solver
