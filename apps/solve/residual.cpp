#include "apps/solve/residual.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace solve {
namespace {

constexpr int kLeastExponent = -5000;  // below the exponents of all products

/// The number fraction * 2^exponent, which may be out of the range of a double.
struct Wide {
  double fraction;
  int exponent;
};

Wide wide(double value) {
  Wide w{};
  w.fraction = std::frexp(value, &w.exponent);
  return w;
}

Wide operator*(const Wide& a, const Wide& b) { return {a.fraction * b.fraction, a.exponent + b.exponent}; }

}  // namespace

std::vector<double> product(const Equations& equations, const std::vector<double>& x) {
  std::vector<double> y(x.size());
  for (std::size_t k = 0; k < equations.values.size(); ++k)
    y[place(equations.rows()[k])] += equations.values[k] * x[place(equations.columns()[k])];
  return y;
}

Residuals residuals(const Equations& equations, const std::vector<double>& x, const std::vector<double>& b) {
  const std::size_t entries = equations.values.size();
  const auto row = [&](std::size_t k) { return place(equations.rows()[k]); };
  const auto term = [&](std::size_t k) {
    return wide(equations.values[k]) * wide(x[place(equations.columns()[k])]);
  };
  // Each row is computed in units of its largest term (a power of 2), so that nothing overflows and what
  // underflows does not matter.
  std::vector<int> unit(b.size());
  for (std::size_t i = 0; i < b.size(); ++i) unit[i] = b[i] != 0 ? wide(b[i]).exponent : kLeastExponent;
  for (std::size_t k = 0; k < entries; ++k)
    if (const Wide t = term(k); t.fraction != 0) unit[row(k)] = std::max(unit[row(k)], t.exponent);
  std::vector<double> residual(b.size()), scale(b.size());
  const auto subtract = [&](std::size_t i, const Wide& t) {
    const double value = std::ldexp(t.fraction, t.exponent - unit[i]);
    residual[i] -= value;
    scale[i] += std::abs(value);
  };
  for (std::size_t k = 0; k < entries; ++k) subtract(row(k), term(k));
  const int largest_unit = *std::max_element(unit.begin(), unit.end());
  Residuals found;
  for (std::size_t i = 0; i < b.size(); ++i) {
    subtract(i, wide(-b[i]));
    const double left = std::abs(residual[i]);
    if (scale[i] > 0) found.of_worst_row = std::max(found.of_worst_row, left / scale[i]);
    found.overall = std::max(found.overall, std::ldexp(left, unit[i] - largest_unit));
  }
  return found;
}

BackwardErrors backward_errors(const Equations& equations, const std::vector<double>& x,
                               const std::vector<double>& b) {
  std::vector<double> residual = b, terms(b.size()), sizes(b.size());
  double largest = 0;
  for (const double value : x) largest = std::max(largest, std::abs(value));
  for (std::size_t k = 0; k < equations.values.size(); ++k) {
    const std::size_t row = place(equations.rows()[k]);
    const double term = equations.values[k] * x[place(equations.columns()[k])];
    residual[row] -= term;
    terms[row] += std::abs(term);
    sizes[row] += std::abs(equations.values[k]);
  }
  const double vanishing = 1000 * std::numeric_limits<double>::epsilon() * static_cast<double>(b.size());
  BackwardErrors errors;
  for (std::size_t i = 0; i < b.size(); ++i) {
    const double left = std::abs(residual[i]), all = std::abs(b[i]) + terms[i];
    const double limit = (largest * sizes[i] + std::abs(b[i])) * vanishing;
    if (all > limit)
      errors.omega1 = std::max(errors.omega1, left / all);
    else if (limit > 0)
      errors.omega2 = std::max(errors.omega2, left / (largest * sizes[i] + terms[i]));
  }
  return errors;
}

}  // namespace solve
