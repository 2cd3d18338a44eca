// Judges solutions as LAPACK's dget01, dget02 and dget04 do, but with the digits and the range of long
// double, so that neither the judge's own rounding nor a scale near the ends of double counts.

#include "proof/ratios/problem.h"

#include <algorithm>
#include <cmath>

namespace ratios {
namespace {

constexpr Real kRounding = reference::kEpsilon / 2;  // LAPACK's eps

/// Returns the larger; a number that is none stays.
template <class Number>
Number larger(Number a, Number b) {
  return std::isnan(a) || a > b ? a : b;
}

Dense transposed_of(const Dense& a) {
  Dense result(a.cols, a.rows);
  for (int j = 0; j < a.cols; ++j)
    for (int i = 0; i < a.rows; ++i) result(j, i) = a(i, j);
  return result;
}

/// Returns y - A x, or y - A'x.
std::vector<Real> residual(const Dense& a, bool transposed, const double* x, std::vector<Real> y) {
  for (int j = 0; j < a.cols; ++j)
    for (int i = 0; i < a.rows; ++i) y[transposed ? j : i] -= Real{a(i, j)} * x[transposed ? i : j];
  return y;
}

/// Returns the 1-norm of a matrix or of its transpose.
Real norm1(const RealMatrix& a, bool transposed) {
  std::vector<Real> sums(a.order);
  for (int j = 0; j < a.order; ++j)
    for (int i = 0; i < a.order; ++i) sums[transposed ? i : j] += std::fabs(a(i, j));
  return a.order == 0 ? 0 : *std::max_element(sums.begin(), sums.end());
}

/// Returns the quotient; 0 / 0 is no error.
double quotient(Real above, Real below) {
  return above == 0 && below == 0 ? 0.0 : static_cast<double>(above / below);
}

}  // namespace

Problem::Problem(Kind of_kind, Shape of_shape, int order, int number_of_draw)
    : kind(of_kind), shape(of_shape), draw(number_of_draw), a(order, order) {
  std::seed_seq seed{static_cast<int>(kind), static_cast<int>(shape), order, draw};
  Random random(seed);
  a = draw_matrix(kind, shape, order, random);
  exact_ = reference::random_vector(order * kMostRightHandSides, random);
  for (const bool transposed : {false, true}) {
    for (int k = 0; k < kMostRightHandSides; ++k) {
      for (const Real value : residual(a, transposed, exact_.data() + k * order, std::vector<Real>(order)))
        b_[transposed].push_back(static_cast<double>(-value));
    }
    // By powers of two the entries come to a size of which dense_condition() can take sums in double.
    const Dense sized =
        reference::scaled(transposed ? transposed_of(a) : a, kind == Kind::kNearUnderflow  ? 0x1p971
                                                             : kind == Kind::kNearOverflow ? 0x1p-971
                                                                                           : 1.0);
    reciprocal_condition_[transposed] =
        singular() || order == 0 ? 0.0 : 1.0 / reference::dense_condition(sized);
  }
}

Real Problem::norm(bool transposed) const { return norm1(RealMatrix(a), transposed); }

Problem Problem::scaled_to(int exponent) const {
  Problem result = *this;
  double largest = 0.0;
  for (const double value : a.values) largest = std::max(largest, std::fabs(value));
  const int shift = exponent - std::ilogb(largest);
  for (Vector* values : {&result.a.values, &result.b_[0], &result.b_[1]})
    for (double& value : *values) value = std::ldexp(value, shift);
  return result;
}

double Problem::growth(const RealMatrix& magnitude_of_factors) const {
  double largest = 0.0;
  for (const bool transposed : {false, true})
    largest = std::max(largest, quotient(norm1(magnitude_of_factors, transposed), norm(transposed)));
  return largest;
}

double Problem::factor_ratio(const RealMatrix& factors_multiplied) const {
  Real largest = 0;
  for (int j = 0; j < order(); ++j) {
    Real sum = 0;
    for (int i = 0; i < order(); ++i) sum += std::fabs(factors_multiplied(i, j) - a(i, j));
    largest = larger(sum, largest);
  }
  return quotient(largest, order() * norm(false) * kRounding);
}

double Problem::residual_ratio(bool transposed, const double* x, int count) const {
  double worst = 0.0;
  for (int k = 0; k < count; ++k, x += order()) {
    const double* b = right_hand_sides(transposed) + k * order();
    Real left = 0, size = 0;
    for (const Real value : residual(a, transposed, x, std::vector<Real>(b, b + order())))
      left += std::fabs(value);
    for (int i = 0; i < order(); ++i) size += std::fabs(Real{x[i]});
    worst = larger(quotient(left, norm(transposed) * size * kRounding), worst);
  }
  return worst;
}

double Problem::error_ratio(bool transposed, const double* x, int count) const {
  double worst = 0.0;
  for (int k = 0; k < count; ++k) {
    Real error = 0, size = 0;
    for (int i = k * order(); i < (k + 1) * order(); ++i) {
      error = larger(std::fabs(Real{x[i]} - exact_[i]), error);
      size = std::max(size, std::fabs(Real{exact_[i]}));
    }
    worst = larger(quotient(error * reciprocal_condition_[transposed], size * kRounding), worst);
  }
  return worst;
}

}  // namespace ratios
