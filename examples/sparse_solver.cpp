// Solves a sparse system by the solver that chooses its method and judges its solutions, and asks it where
// the matrix is at fault if there is no solution.
//
// Solved means that the componentwise backward error is at most 1e-12, or what the option `bound` says. Of a
// singular matrix Diagnose names the equations: those that no unknown is left for, if the pattern alone shows
// it, else those that depend on others. For new values in the same places call Refactorise, then Solve.

#include <sparse/sparse_solver.h>

#include <cmath>
#include <cstdio>
#include <vector>

namespace {

using namespace corvidnum;

constexpr int n = 1000, ne = 3 * n;

void print(const char* text, const SparseIndices& equations) {
  for (int k = 0; k < equations.count; ++k) std::printf("%s %d\n", text, equations.index[k]);
}

SparseStatus solve(const int* rows, const int* columns, const double* values, const double* b, double* x) {
  //! [sample]
  SparseSolver solver(n, ne, rows, columns, 1);  // indices count from 1
  SparseStatus status = solver.Factorise(values);
  if (status == SparseStatus::Factorised) status = solver.Solve(b, x);
  std::printf("%s\n", StatusText(status));
  if (status == SparseStatus::Solved) std::printf("backward error %.1e\n", solver.Report().backward_error);
  SparseDiagnosis why;
  if (status != SparseStatus::Solved && solver.Diagnose(&why) == SparseStatus::Singular) {
    print("no unknown is left for equation", why.unmatched_equations);
    print("others determine equation", why.dependent_equations);
  }
  //! [sample]
  return status;
}

}  // namespace

int main() {
  const int offset[] = {0, 1, 7};  // of the three entries of a row from the diagonal, round the end
  const double coefficient[] = {5, -1, -2};
  std::vector<int> rows(ne), columns(ne);
  std::vector<double> values(ne), b(n, 2.0), x(n);  // each row sums to 2, so x is 1 everywhere
  for (int k = 0; k < ne; ++k) {
    rows[k] = k / 3 + 1;
    columns[k] = (k / 3 + offset[k % 3]) % n + 1;
    values[k] = coefficient[k % 3];
  }
  if (solve(rows.data(), columns.data(), values.data(), b.data(), x.data()) != SparseStatus::Solved) return 1;
  double error = 0;
  for (const double value : x) error = std::fmax(error, std::abs(value - 1));

  for (int& column : columns) column = column == 1 ? 2 : column;  // no equation has the first unknown now
  const SparseStatus status = solve(rows.data(), columns.data(), values.data(), b.data(), x.data());
  return error < 1e-13 && status == SparseStatus::Singular ? 0 : 1;
}
