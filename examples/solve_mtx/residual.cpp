#include "examples/solve_mtx/residual.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace solve_mtx {
namespace {

constexpr int kLeastExponent = -5000;  // below those of all products

/// Where an index from 1 stands.
std::size_t place(int index) { return static_cast<std::size_t>(index - 1); }

/// fraction * 2^exponent, which may be out of the range of a double.
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

std::vector<double> product(const Matrix& matrix, const std::vector<double>& values, bool transposed,
                            const std::vector<double>& x) {
  const std::vector<int>& to = transposed ? matrix.column : matrix.row;
  const std::vector<int>& from = transposed ? matrix.row : matrix.column;
  std::vector<double> y(x.size());
  for (std::size_t k = 0; k < values.size(); ++k) y[place(to[k])] += values[k] * x[place(from[k])];
  return y;
}

double scaled_residual(const Matrix& matrix, const std::vector<double>& values, bool transposed,
                       const std::vector<double>& x, const std::vector<double>& b) {
  const std::vector<int>& to = transposed ? matrix.column : matrix.row;
  const std::vector<int>& from = transposed ? matrix.row : matrix.column;
  const auto row = [&](std::size_t k) { return place(to[k]); };
  const auto term = [&](std::size_t k) { return wide(values[k]) * wide(x[place(from[k])]); };
  // Each row is computed in units of its largest term, so that nothing that counts leaves the range.
  std::vector<int> unit(b.size());
  for (std::size_t i = 0; i < b.size(); ++i) unit[i] = b[i] != 0 ? wide(b[i]).exponent : kLeastExponent;
  for (std::size_t k = 0; k < values.size(); ++k)
    if (const Wide t = term(k); t.fraction != 0) unit[row(k)] = std::max(unit[row(k)], t.exponent);
  std::vector<double> residual(b.size()), scale(b.size());
  const auto subtract = [&](std::size_t i, const Wide& t) {
    const double value = std::ldexp(t.fraction, t.exponent - unit[i]);
    residual[i] -= value;
    scale[i] += std::abs(value);
  };
  for (std::size_t k = 0; k < values.size(); ++k) subtract(row(k), term(k));
  double worst = 0;
  for (std::size_t i = 0; i < b.size(); ++i) {
    subtract(i, wide(-b[i]));
    if (scale[i] > 0) worst = std::max(worst, std::abs(residual[i]) / scale[i]);
  }
  return worst;
}

}  // namespace solve_mtx
