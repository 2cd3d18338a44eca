// Solves sparse systems of one pattern for new values again and again by the class ma48.
//
// The object asks the loader for the matrix whenever it must be analysed: at first, when its arrays turned
// out too short, and after SetNeedPivotOrder(1). A warning counts as a failure, so no entry may be given
// twice and the matrix must have full rank. Between two solutions the host only replaces the numbers in
// Values(), which stand in the order of the loader; they are factorised with the pivot sequence of the
// analysis.

#include <sparse/ma48/ma48.h>

#include <cmath>
#include <cstdio>
#include <vector>

namespace {

constexpr int n = 1000, ne = 3 * n;
const int offset[] = {0, 1, 7};  // of the three entries of a row from the diagonal, round the end
const double coefficient[] = {5, -1, -2};

struct Loader : ma48callback {
  /// Writes the entries; indices count from 1.
  unsigned char LoadMatrix(int* rows, int* cols, double* values, int) override {
    for (int k = 0; k < ne; ++k) {
      rows[k] = k / 3 + 1;
      cols[k] = (k / 3 + offset[k % 3]) % n + 1;
      values[k] = coefficient[k % 3];
    }
    return 1;  // 0 would make Solve fail
  }
};

}  // namespace

int main() {
  std::vector<double> b(n, 2.0), x(n), y(n);  // each row sums to 2, so x is 1 everywhere

  //! [sample]
  Loader loader;
  ma48 solver(n, ne, nullptr, nullptr, nullptr, &loader, 0);
  if (!solver.Solve(b.data(), x.data())) return 1;  // loads, analyses, factorises, solves; keeps b
  double* const values = solver.Values();
  if (!values) return 1;  // memory was refused when the arrays last grew
  for (int k = 0; k < ne; ++k) values[k] = 4 * coefficient[k % 3];
  if (!solver.Solve(b.data(), y.data())) return 1;  // factorises with the same pivot sequence, solves
  //! [sample]

  double error = 0;
  for (int i = 0; i < n; ++i) error = std::fmax(error, std::fmax(std::abs(x[i] - 1), std::abs(4 * y[i] - 1)));
  std::printf("%d unknowns solved twice, error %.1e\n", n, error);
  return error < 1e-13 ? 0 : 1;
}
