#include "apps/solve/singularity.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

#include "apps/solve/refinement.h"

namespace solve {
namespace {

using Numbers = std::vector<double>;

constexpr double kRounding = std::numeric_limits<double>::epsilon() / 2;

std::size_t largest(const Numbers& v) {
  return static_cast<std::size_t>(
      std::max_element(v.begin(), v.end(), [](double a, double b) { return std::abs(a) < std::abs(b); }) -
      v.begin());
}

double sum_of_sizes(const Numbers& v) {
  double sum = 0;
  for (const double value : v) sum += std::abs(value);
  return sum;
}

Numbers signs(Numbers v) {
  for (double& value : v) value = value < 0 ? -1 : 1;
  return v;
}

/// Returns |b - A x| plus one rounding of |A||x| + |b|, row by row.
Numbers residual_bounds(const Equations& e, const Numbers& x, const Numbers& b) {
  Numbers residuals = b, sizes(b.size());
  for (std::size_t i = 0; i < b.size(); ++i) sizes[i] = kRounding * std::abs(b[i]);
  for (std::size_t k = 0; k < e.values.size(); ++k) {
    const std::size_t row = place(e.rows()[k]);
    const double term = e.values[k] * x[place(e.columns()[k])];
    residuals[row] -= term;
    sizes[row] += kRounding * std::abs(term);  // the sum of the terms themselves may overflow
  }
  for (std::size_t i = 0; i < b.size(); ++i) sizes[i] = std::abs(residuals[i]) + sizes[i];
  return sizes;
}

/// Applies the transpose of inv(A) diag(w).
class ScaledInverse {
 public:
  ScaledInverse(DirectSolver& solver, bool transposed, const Numbers& w)
      : solver_(solver), transposed_(transposed), w_(w) {}
  Numbers apply(const Numbers& v) const { return scaled(solve(v, !transposed_)); }
  Numbers apply_transpose(Numbers v) const { return solve(scaled(std::move(v)), transposed_); }

 private:
  Numbers scaled(Numbers v) const {
    for (std::size_t i = 0; i < v.size(); ++i) v[i] *= w_[i];
    return v;
  }
  Numbers solve(const Numbers& v, bool transposed) const {
    return solver_.solve(v, transposed, Effort::kPlain).x;
  }

  DirectSolver& solver_;
  const bool transposed_;
  const Numbers& w_;
};

/// Estimates the 1-norm, the largest column sum of magnitudes, from below by a few products.
/// Source: N. J. Higham, ACM Trans. Math. Softw. 14, 381 (1988).
double norm(const ScaledInverse& matrix, std::size_t order) {
  constexpr int kMostColumns = 4;
  const double n = static_cast<double>(order);
  Numbers image = matrix.apply(Numbers(order, 1 / n));
  double found = sum_of_sizes(image);
  for (int columns = 0; columns < kMostColumns; ++columns) {
    Numbers sign = signs(image);
    Numbers unit(order);
    unit[largest(matrix.apply_transpose(sign))] = 1;
    image = matrix.apply(unit);
    const double sum = sum_of_sizes(image);
    if (!(sum > found)) break;
    found = sum;
    if (signs(image) == sign) break;
  }
  Numbers alternating(order);  // against cancellation
  for (std::size_t i = 0; i < order; ++i)
    alternating[i] = (i % 2 == 0 ? 1 : -1) * (1 + static_cast<double>(i) / std::max(1.0, n - 1));
  return std::max(found, 2 * sum_of_sizes(matrix.apply(alternating)) / (3 * n));
}

/// Returns a right-hand side that is in each row as large as the row, without a pattern. The elements of the
/// solution are then as large as columns are small, so that neither scale makes it unsure.
Numbers balanced_right_hand_side(const Equations& e) {
  Numbers b(static_cast<std::size_t>(e.matrix.rows));
  for (std::size_t k = 0; k < e.values.size(); ++k) {
    double& largest = b[place(e.rows()[k])];
    largest = std::max(largest, std::abs(e.values[k]));
  }
  constexpr double kGoldenRatio = 0.6180339887498949;  // its multiples spread evenly between integers
  for (std::size_t i = 0; i < b.size(); ++i) b[i] *= std::fmod(static_cast<double>(i + 1) * kGoldenRatio, 1);
  return b;
}

}  // namespace

double forward_error(DirectSolver& solver, const Equations& equations, const Numbers& x, const Numbers& b) {
  const Numbers bounds = residual_bounds(equations, x, b);
  return norm({solver, equations.transposed, bounds}, x.size()) / std::abs(x[largest(x)]);
}

std::optional<double> balanced_error(DirectSolver& solver, const Equations& equations) {
  const Numbers b = balanced_right_hand_side(equations);
  Solution solution = solver.solve(b, equations.transposed, Effort::kPlain);
  refine_where_inexact(solver, equations, b, solution);
  const double error = forward_error(solver, equations, solution.x, b);
  const auto is_finite = [](double x) { return std::isfinite(x); };
  if (!std::all_of(solution.x.begin(), solution.x.end(), is_finite)) return error;  // has no residuals
  if (residuals(equations, solution.x, b).digits_lost()) return std::nullopt;
  return error;
}

}  // namespace solve
