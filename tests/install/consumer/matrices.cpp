// Links corvidnum::corvidnum alone; the host support library comes with it at run time.
#include <corvidnum.h>

#include <cmath>
#include <cstdio>

namespace {

/// Fills the matrix with 4 on the diagonal, 1 beside it and 1 in the two far corners, and solves for
/// a solution of ones.
bool solves(Matrix& a, int order) {
  double b[10], x[10];
  for (int row = 0; row < order; ++row) {
    b[row] = 0;
    for (int col = 0; col < order; ++col) {
      const int distance = std::abs(row - col);
      const double element = distance == 0 ? 4 : distance == 1 || distance == order - 1 ? 1 : 0;
      if (element != 0) a(row, col) = element;
      b[row] += element;
    }
  }
  int info = 0;
  if (!a.Valid() || a.Solve(x, b, info) != Matrix::MatrixOK) return false;
  double error = 0;
  for (int row = 0; row < order; ++row) error = std::fmax(error, std::fabs(x[row] - 1));
  std::printf("order %d: largest error %g\n", order, error);
  return error < 1e-14;
}

}  // namespace

int main() {
  RegularMatrix dense(10, 10);
  ArrowMatrix bordered(9, 1, 1, 1, ArrowMatrix::TrackInternal);
  return solves(dense, 10) && solves(bordered, 10) ? 0 : 1;
}
