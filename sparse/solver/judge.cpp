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

void residual_by_rows(const Pattern& pattern, const double* s, const double* y, const double* b,
                      double* residual, double* terms) {
  for (int i = 0; i < pattern.order; ++i) {
    double left = b[i], sum = 0;
    for (int p = pattern.row_begin[i]; p < pattern.row_begin[i + std::ptrdiff_t{1}]; ++p) {
      const double term = s[p] * y[pattern.column[p]];
      left -= term;
      sum += std::abs(term);
    }
    residual[i] = left;
    terms[i] = sum;
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

}  // namespace

void compute_residual(const System& system, bool transposed, const double* y, const double* b,
                      double* residual, double* terms) {
  const auto compute = transposed ? residual_by_columns : residual_by_rows;
  compute(system.pattern(), system.scaled(), y, b, residual, terms);
}

double backward_error(const System& system, bool transposed, const double* y, const double* b,
                      const double* residual, const double* terms) {
  const int n = system.order();
  const double* unknown_scale = system.unknown_scale(transposed);
  double largest_scaled = 0, largest_plain = 0;
  for (int j = 0; j < n; ++j) {
    largest_scaled = std::max(largest_scaled, std::abs(y[j]));
    largest_plain = std::max(largest_plain, std::abs(y[j]) * unknown_scale[j]);
  }
  const double *scaled_sums = system.scaled_sums(transposed), *plain_sums = system.plain_sums(transposed);
  const double vanishing = 1000 * std::numeric_limits<double>::epsilon() * n;
  const double lost = n * (system.lost() * largest_scaled);
  double omega = 0;
  for (int i = 0; i < n; ++i) {
    const double left = std::abs(residual[i]) + lost, all = std::abs(b[i]) + terms[i];
    if (left == 0) continue;  // exact, also where all is 0
    const double possible = std::min(largest_scaled * scaled_sums[i], largest_plain * plain_sums[i]);
    const bool significant = !(all <= (possible + std::abs(b[i])) * vanishing);
    const double error = left / (significant ? all : possible + terms[i]);
    if (!(error <= omega)) omega = error;
    if (std::isnan(omega)) break;
  }
  return std::isfinite(omega) ? omega : std::numeric_limits<double>::infinity();
}

}  // namespace corvidnum::solver
