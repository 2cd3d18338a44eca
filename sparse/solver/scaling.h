#pragma once

// Scales the rows and columns of a sparse matrix by powers of two, which rounds nothing.

#include <cstdint>
#include <cstring>

#include "sparse/solver/array.h"
#include "sparse/solver/pattern.h"

namespace corvidnum::solver {

/// The largest magnitude of a row's or column's exponent: 2^1022 and 2^-1022 are both normal numbers.
constexpr int kMostScaleExponent = 1022;

/// How much work to spend on a scaling: enough for good pivots, or enough to judge the condition by it.
enum class ScalingEffort { kQuick, kThorough };

/// Finds exponents r, c such that the largest magnitude a[i, j] 2^(r[i] + c[j]) of each row and of each
/// column lies in [1/sqrt 2, sqrt 2), or as near as the limit of the exponents allows.
/// @param values          [entries] by rows; a zero counts as no entry, and so do NaN and infinity
/// @param row_exponent    out: [order] r, at most kMostScaleExponent in magnitude; 0 if the row has no entry
/// @param column_exponent out: [order] c, likewise
/// @return false: the host refused the memory, and the exponents are unset
/// Each scaled entry is finite: none is above both sqrt 2 and its magnitude before. Rows and columns scaled
/// by any powers of two beforehand end up nearly alike. Needs O(order + entries) time: 16
/// sweeps over the entries at most.
bool equilibrate(const Pattern& pattern, const double* values, ScalingEffort effort, Array<int>& row_exponent,
                 Array<int>& column_exponent);

/// Returns 2^exponent, for exponents of -1022 .. 1023.
inline double power_of_two(int exponent) {
  constexpr int kBias = 1023, kMantissaBits = 52;
  const std::uint64_t bits = static_cast<std::uint64_t>(exponent + kBias) << kMantissaBits;
  double power = 0.0;
  std::memcpy(&power, &bits, sizeof power);
  return power;
}

/// Returns value 2^exponent, for the sum of a row's and a column's exponent. Multiplying by both powers in
/// turn could overflow in between where they have opposite signs.
inline double scaled(double value, int exponent) {
  const int half = exponent / 2;
  return value * power_of_two(half) * power_of_two(exponent - half);
}

}  // namespace corvidnum::solver
