// Solves with the dense factors of the full part, in place: interchange, two triangular solves, interchange.
// The components beyond the rank are 0.

#include <algorithm>
#include <cstddef>
#include <utility>

#include "frame/blas.h"
#include "frame/numeric_runtime.h"
#include "frame/one_based.h"
#include "sparse/ma48/kernels.h"

namespace corvidnum {
namespace {

/// Holds the leading rank x rank triangles of the dense factors: U with its diagonal above the unit lower L.
class DenseTriangles {
 public:
  DenseTriangles(const double* a, int lda, int rank) : a_(a), lda_(lda), rank_(rank) {}

  // By kernels of level 2.
  void solve(double* b) const {
    triangular("L", "N", "U", b);
    triangular("U", "N", "N", b);
  }
  void solve_transposed(double* b) const {
    triangular("U", "T", "N", b);
    triangular("L", "T", "U", b);
  }

  // By kernels of level 1; the first skips null components of b.
  void solve_by_columns(double* b) const;
  void solve_transposed_by_columns(double* b) const;

 private:
  const double* column(int j) const { return a_ + (j - 1) * static_cast<std::ptrdiff_t>(lda_); }
  void triangular(const char* uplo, const char* trans, const char* diag, double* b) const {
    const int one = 1;
    dtrsv_(uplo, trans, diag, &rank_, a_, &lda_, b, &one, 1, 1, 1);
  }

  const double* const a_;
  const int lda_, rank_;
};

/// Adds alpha x to b, `count` elements each.
void add_multiple(int count, double alpha, const double* x, double* b) {
  const int one = 1;
  daxpy_(&count, &alpha, x, &one, b, &one);
}

void DenseTriangles::solve_by_columns(double* b) const {
  for (int j = 1; j < rank_; ++j) {
    if (b[j - 1] != 0.0) add_multiple(rank_ - j, -b[j - 1], column(j) + j, b + j);
  }
  for (int j = rank_; j >= 1; --j) {
    if (b[j - 1] == 0.0) continue;
    b[j - 1] /= column(j)[j - 1];
    add_multiple(j - 1, -b[j - 1], column(j), b);
  }
}

void DenseTriangles::solve_transposed_by_columns(double* b) const {
  for (int j = 1; j <= rank_; ++j) {
    b[j - 1] = (b[j - 1] - dot(j - 1, column(j), 1, b, 1)) / column(j)[j - 1];
  }
  for (int j = rank_ - 1; j >= 1; --j) b[j - 1] -= dot(rank_ - j, column(j) + j, 1, b + j, 1);
}

/// Returns the number of pivots: their data are positive and stand before those of the refused columns.
int rank_of(int limit, const OneBased<const int>& ipiv) {
  int rank = limit;
  while (rank > 0 && ipiv(rank) <= 0) --rank;
  return rank;
}

}  // namespace

int ma50_full_solve(const int* trans, const int* m, const int* n, const double* a, const int* lda,
                    const int* ipiv, double* b, const int* icntl5) {
  const int rows = *m, columns = *n;
  const OneBased<const int> pivots(ipiv, columns);
  const int rank = rank_of(std::min(rows, columns), pivots);
  const DenseTriangles triangles(a, *lda, rank);
  const bool byColumns = *icntl5 < 1;
  const OneBased<double> x(b, std::max(rows, columns));
  if (*trans != 0) {
    for (int j = columns; j > rank; --j) std::swap(x(j), x(-pivots(j)));
    if (rank > 0) byColumns ? triangles.solve_transposed_by_columns(b) : triangles.solve_transposed(b);
    std::fill(b + rank, b + std::max(rank, rows), 0.0);
    for (int j = rank; j >= 1; --j) std::swap(x(j), x(pivots(j)));
  } else {
    for (int j = 1; j <= rank; ++j) std::swap(x(j), x(pivots(j)));
    if (rank > 0) byColumns ? triangles.solve_by_columns(b) : triangles.solve(b);
    std::fill(b + rank, b + std::max(rank, columns), 0.0);
    for (int j = rank + 1; j <= columns; ++j) std::swap(x(j), x(-pivots(j)));
  }
  return 0;
}

}  // namespace corvidnum
