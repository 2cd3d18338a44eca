#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "sparse/ma38/report/results.h"

namespace corvidnum {
namespace ma38 {

constexpr double kLargestNumber = std::numeric_limits<double>::max();
/// The least number whose reciprocal is finite.
constexpr double kLeastPivot = 0x1.0000000000004p-1024;
static_assert(1.0 / kLeastPivot <= kLargestNumber, "its reciprocal would be infinite");

/// Returns whether neither the value nor its reciprocal is infinite or NaN.
inline bool is_usable_pivot(double value) {
  const double magnitude = std::fabs(value);
  return kLeastPivot <= magnitude && magnitude <= kLargestNumber;
}

/// Returns the largest magnitude, or infinity if an element is infinite or NaN.
inline double largest_magnitude(const double* x, Index count) {
  double largest = 0.0;
  for (Index i = 0; i < count; ++i) {
    const double magnitude = std::fabs(x[i]);
    if (magnitude <= largest) continue;  // false for a NaN
    if (!(magnitude <= kLargestNumber)) return std::numeric_limits<double>::infinity();
    largest = magnitude;
  }
  return largest;
}

/// Returns whether no element is infinite or NaN, whose exponents are all ones: with one more unit in the
/// exponent these, and only these, carry into the bit of the sign. Unlike a comparison of numbers, this is
/// done on two elements at a time by any processor.
inline bool all_finite(const double* x, Index count) {
  constexpr std::uint64_t kExponentUnit = std::uint64_t{1} << 52, kSign = std::uint64_t{1} << 63;
  std::uint64_t carries = 0;
  for (Index i = 0; i < count; ++i) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, x + i, sizeof bits);
    carries |= (bits & ~kSign) + kExponentUnit;
  }
  return (carries & kSign) == 0;
}

/// Tells which elements of a column, whose largest magnitude is finite, can be its pivot: those of at least
/// `threshold` times that with a finite reciprocal, and with finite multipliers for the others.
class PivotTest {
 public:
  PivotTest(double threshold, double largest)
      : least_(std::fmax(threshold * largest, kLeastPivot)),
        surely_finite_(largest * kTinyQuotient),
        largest_(largest) {}
  bool operator()(double value) const {
    const double magnitude = std::fabs(value);
    return magnitude >= least_ &&
           (magnitude >= surely_finite_ || largest_ * (1.0 / magnitude) <= kLargestNumber);
  }

 private:
  static constexpr double kTinyQuotient = 0x1p-1000;  // multipliers up to its reciprocal do not overflow
  double least_, surely_finite_, largest_;
};

/// Divides a column of L by its pivot.
inline void divide_by_pivot(double* x, Index count, double pivot) {
  const double reciprocal = 1.0 / pivot;
  for (Index i = 0; i < count; ++i) x[i] *= reciprocal;
}

}  // namespace ma38
}  // namespace corvidnum
