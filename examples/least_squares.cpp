// Fits coefficients of any basis functions by least squares, through singular values.
//
// Row i of the design matrix holds the basis functions at point i. Singular values that nearly vanish are
// left out, so that a basis that is almost dependent still gives a solution. The sum of squares that is
// returned belongs to the columns scaled to a mean magnitude of 1; compute residuals from the coefficients.

#include <dense/singular_value_decomposition.h>
#include <frame/empty_value.h>

#include <cmath>
#include <cstdio>
#include <vector>

int main() {
  const int points = 20, functions = 3;
  std::vector<double> design(points * functions), y(points), coefficients(functions);
  std::vector<double*> rows(points);
  for (int i = 0; i < points; ++i) {
    const double t = 300 + 5 * i;  // kelvin
    rows[i] = &design[i * functions];
    rows[i][0] = 1, rows[i][1] = 1 / t, rows[i][2] = std::log(t);
    y[i] = 12 - 3000 / t + 0.5 * std::log(t);
  }

  //! [sample]
  SingularValueDecomposition svd(points, functions);
  double* const sigma = nullptr;  // or the standard deviation of each point
  const double sum =
      svd.LinearLeastSquare(points, functions, coefficients.data(), y.data(), rows.data(), sigma);
  if (sum == EmptyValue) return 1;  // no solution
  //! [sample]

  double error = 0;
  for (int i = 0; i < points; ++i) {
    double fitted = 0;
    for (int j = 0; j < functions; ++j) fitted += rows[i][j] * coefficients[j];
    error = std::fmax(error, std::abs(fitted - y[i]));
  }
  std::printf("y = %.4f %+.2f / T %+.4f ln T, largest error %.1e\n", coefficients[0], coefficients[1],
              coefficients[2], error);
  return error < 1e-10 && std::abs(coefficients[1] + 3000) < 1e-4 ? 0 : 1;
}
