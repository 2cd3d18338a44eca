#pragma once

// Which numbers can be pivots, and whether factors are finite.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace corvidnum {

/// Tells whether a magnitude is finite and has a finite reciprocal, which the kernels multiply by; false for
/// a NaN.
inline bool has_reciprocal(double magnitude) {
  constexpr double kReciprocalOverflows = 0x1p-1024;  // 5.56e-309, the largest of which this is true
  return magnitude > kReciprocalOverflows && magnitude <= std::numeric_limits<double>::max();
}

/// Returns the bits of |value|, with the exponent raised by one. The sign bit is set if and only if `value`
/// is not finite, since only then are all bits of its exponent set. In integers, so that loops become vector
/// code.
inline std::uint64_t raised_exponent(double value) {
  constexpr std::uint64_t kMagnitude = ~std::uint64_t{0} >> 1, kOneMore = std::uint64_t{1} << 52;
  std::uint64_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  return (bits & kMagnitude) + kOneMore;
}

/// Tells whether values[0] .. values[count - 1] are all finite.
inline bool all_finite(const double* values, std::ptrdiff_t count) {
  std::uint64_t raised = 0;
  for (std::ptrdiff_t k = 0; k < count; ++k) raised |= raised_exponent(values[k]);
  return raised >> 63 == 0;
}

/// Does the same for values[rows[k] - 1].
inline bool all_finite(const double* values, const int* rows, std::ptrdiff_t count) {
  std::uint64_t raised = 0;
  for (std::ptrdiff_t k = 0; k < count; ++k) raised |= raised_exponent(values[rows[k] - 1]);
  return raised >> 63 == 0;
}

}  // namespace corvidnum
