// The dense matrix, and what all matrix classes share. Arguments and missing arrays are tested here; the LU
// with the pivot limit (dense/lu.h) and LAPACK's triangular solution do the work.

#include "dense/regular_matrix.h"

#include <algorithm>
#include <cstdint>

#include "dense/kernels.h"
#include "dense/lu.h"
#include "frame/module.h"

using namespace corvidnum;

// ---- Matrix

Matrix::Matrix() : valid(1) { enter_library(); }

Matrix::~Matrix() { enter_library(); }

unsigned char Matrix::Valid() const {
  enter_library();
  return valid;
}

double* Matrix::Address(int row, int col) { return &(*this)(row, col); }

// ---- RegularMatrix

double RegularMatrix::outside = 0.0;

RegularMatrix::RegularMatrix(int rowCount, int colCount) : rows(rowCount), cols(colCount) {
  data = allocate_or_clear<double>(ElementCount(), valid);
  pivots = allocate_or_clear<int>(std::max(rows, cols), valid);
  set_zero(data, ElementCount());
  set_identity(pivots, std::max(rows, cols));
}

RegularMatrix::~RegularMatrix() {
  enter_library();
  Corvid_delete(data);
  Corvid_delete(pivots);
}

std::int64_t RegularMatrix::ElementCount() const { return product(rows, cols); }

void RegularMatrix::ZeroElements() {
  enter_library();
  set_zero(data, ElementCount());
}

double& RegularMatrix::operator()(int row, int col) {
  enter_library();
  if (row < 0 || col < 0 || row >= rows || col >= cols || !data) return outside;
  return data[std::int64_t{col} * rows + row];
}

double* RegularMatrix::Address(int row, int col) {
  enter_library();
  return Matrix::Address(row, col);
}

Matrix::ErrorCode RegularMatrix::FactorLU() {
  enter_library();
  int info = 0;
  return FactorLU(info);
}

Matrix::ErrorCode RegularMatrix::FactorLU(int& info) {
  enter_library();
  info = kNoMemory;
  if (data && pivots) {
    const int lda = leading_dimension(rows);
    dgetrf_tol(&rows, &cols, data, &lda, pivots, &info);
  }
  return info != 0 ? MatrixFailed : MatrixOK;
}

Matrix::ErrorCode RegularMatrix::BackSub(double* x, double* b) {
  enter_library();
  if (!data || !pivots) return MatrixFailed;
  if (rows > 0 && (!x || !b)) return MatrixFailed;
  copy_vector(rows, b, x);
  // LAPACK demands a leading dimension of at least 1. An empty matrix gets it; rows = 0 with columns is
  // refused rightly.
  const int lda = rows == 0 && cols == 0 ? leading_dimension(rows) : rows;
  return solve_with_lu(cols, data, lda, pivots, x, lda) != 0 ? MatrixFailed : MatrixOK;
}

Matrix::ErrorCode RegularMatrix::Solve(double* x, double* b, int& /*info*/) {
  enter_library();
  return FactorLU() != MatrixOK ? MatrixFailed : BackSub(x, b);
}

int RegularMatrix::PermutationInfo(int i) {
  enter_library();
  if (i < 0 || i >= rows) return -1;
  return row_at_place(i, rows, rows, pivots, i);
}
