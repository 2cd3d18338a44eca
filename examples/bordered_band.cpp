// Solves a bordered band system: a tridiagonal matrix of order n with one more row and column.
//
// Such matrices come from columns of stages: neighbours make the band, and what concerns all stages makes the
// border. Indices count from 0, and those of the border follow those of the band, so b and x have n + 1
// elements. Solve destroys b. TrackInternal lets the object note which elements of the border rows are
// accessed and skip all others, which pays if few are.

#include <dense/arrow_matrix.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

int main() {
  const int n = 100;
  // The sums of the rows, so that all unknowns are 1.
  std::vector<double> b(n + 1, 2.0), x(n + 1);
  b[0] = 4;
  b[n - 1] = b[n] = 3;

  //! [sample]
  ArrowMatrix a(n, 1, 1, 1, ArrowMatrix::TrackInternal);  // order, sub-, super-diagonals, width of border
  for (int i = 0; i < n; ++i) {
    a(i, i) = 4;
    if (i > 0) a(i, i - 1) = a(i - 1, i) = -1;
  }
  a(n, 0) = a(n, n - 1) = 1;  // the border row ties the first unknown to the last one
  a(0, n) = a(n, n) = 1;      // the border column, and the corner
  int info;
  if (!a.Valid() || a.Solve(x.data(), b.data(), info) != Matrix::MatrixOK) return 1;
  //! [sample]

  double error = 0;
  for (const double value : x) error = std::max(error, std::abs(value - 1));
  std::printf("%d unknowns, error %.1e\n", n + 1, error);
  return error < 1e-14 ? 0 : 1;
}
