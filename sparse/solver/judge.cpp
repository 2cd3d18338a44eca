// The judge of a solution of a sparse system.
//
// One product with the matrix gives both the residual b - S y and the sums |S| |y| of the magnitudes of its
// terms; their quotient, equation by equation, is the componentwise backward error.

#include "sparse/solver/judge.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace corvidnum::solver {
namespace {

struct Equation {
  double residual, terms;  // sum of the magnitudes of its terms
};

/// Multiplies row i with the unknowns.
Equation multiply_row(const Pattern& pattern, const double* s, const double* y, const double* b, int i) {
  double left = b[i], sum = 0;
  for (int p = pattern.row_begin[i]; p < pattern.row_begin[i + std::ptrdiff_t{1}]; ++p) {
    const double term = s[p] * y[pattern.column[p]];
    left -= term;
    sum += std::abs(term);
  }
  return {left, sum};
}

void residual_by_rows(const Pattern& pattern, const double* s, const double* y, const double* b,
                      double* residual, double* terms) {
  for (int i = 0; i < pattern.order; ++i) {
    const Equation equation = multiply_row(pattern, s, y, b, i);
    residual[i] = equation.residual;
    terms[i] = equation.terms;
  }
}

void residual_by_columns(const Pattern& pattern, const double* s, const double* y, const double* b,
                         double* residual, double* terms) {
  std::copy(b, b + pattern.order, residual);
  std::fill(terms, terms + pattern.order, 0.0);
  for (int i = 0; i < pattern.order; ++i)
    for (int p = pattern.row_begin[i]; p < pattern.row_begin[i + std::ptrdiff_t{1}]; ++p) {
      const double term = s[p] * y[i];
      residual[pattern.column[p]] -= term;
      terms[pattern.column[p]] += std::abs(term);
    }
}

/// Returns the largest error of an equation; infinity if one is not finite.
/// @param equation equation(i): called once for each, in their order
template <class EquationOf>
double largest_error(System& system, bool transposed, const double* y, const double* b, EquationOf equation) {
  const int n = system.order();
  const double* unknown_scale = system.unknown_scale(transposed);
  double largest_scaled = 0, largest_plain = 0;
  for (int j = 0; j < n; ++j) {
    const double size = std::abs(y[j]), plain = size * unknown_scale[j];
    largest_scaled = largest_scaled < size ? size : largest_scaled;
    largest_plain = largest_plain < plain ? plain : largest_plain;
  }
  const double *scaled_sums = system.scaled_sums(transposed), *plain_sums = system.plain_sums(transposed);
  const double vanishing = 1000 * std::numeric_limits<double>::epsilon() * n;
  const double lost = n * (system.lost() * largest_scaled);
  double omega = 0;
  bool defined = true;
  for (int i = 0; i < n; ++i) {
    const Equation of_i = equation(i);
    const double left = std::abs(of_i.residual) + lost, all = std::abs(b[i]) + of_i.terms;
    if (left == 0) continue;  // exact, also where all is 0
    const double possible = std::min(largest_scaled * scaled_sums[i], largest_plain * plain_sums[i]);
    const bool significant = !(all <= (possible + std::abs(b[i])) * vanishing);
    const double error = left / (significant ? all : possible + of_i.terms);
    if (error <= omega) continue;
    omega = error;  // also a NaN, behind which it may fall
    defined = defined && !std::isnan(error);
  }
  return defined && std::isfinite(omega) ? omega : std::numeric_limits<double>::infinity();
}

}  // namespace

void compute_residual(const System& system, bool transposed, const double* y, const double* b,
                      double* residual, double* terms) {
  const auto compute = transposed ? residual_by_columns : residual_by_rows;
  compute(system.pattern(), system.scaled(), y, b, residual, terms);
}

double backward_error(System& system, bool transposed, const double* y, const double* b, double* residual,
                      double* terms) {
  if (transposed) {
    compute_residual(system, transposed, y, b, residual, terms);
    return largest_error(system, transposed, y, b, [&](int i) { return Equation{residual[i], terms[i]}; });
  }
  const Pattern pattern = system.pattern();
  const double* s = system.scaled();
  return largest_error(system, transposed, y, b, [&](int i) {
    const Equation equation = multiply_row(pattern, s, y, b, i);
    residual[i] = equation.residual;
    return equation;
  });
}

}  // namespace corvidnum::solver
