// Solves a dense system, then a second right-hand side with the same factors.
//
// Indices count from 0. Solve replaces the elements by their LU factors and keeps b. A pivot must be larger
// than 1e-8 in magnitude, whatever the scale of the matrix, so scale the equations to magnitudes around 1.

#include <dense/regular_matrix.h>

#include <cmath>
#include <cstdio>

int main() {
  //! [sample]
  RegularMatrix a(2, 2);  // all elements are 0
  a(0, 0) = 2, a(0, 1) = 1;
  a(1, 0) = 1, a(1, 1) = 3;
  double b[] = {3, 5}, x[2];
  int info;
  if (!a.Valid() || a.Solve(x, b, info) != Matrix::MatrixOK) return 1;  // singular, or no memory
  //! [sample]
  std::printf("x = %g, %g\n", x[0], x[1]);
  double second[] = {1, 0}, y[2];
  if (a.BackSub(y, second) != Matrix::MatrixOK) return 1;
  std::printf("y = %g, %g\n", y[0], y[1]);
  const bool right = std::abs(x[0] - 0.8) < 1e-15 && std::abs(x[1] - 1.4) < 1e-15 &&
                     std::abs(y[0] - 0.6) < 1e-15 && std::abs(y[1] + 0.2) < 1e-15;
  return right ? 0 : 1;
}
