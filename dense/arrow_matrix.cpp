// Solves a bordered band matrix by block elimination.
//
// Factorisation, FactorLU:
//  1. A11 := its band LU with row interchanges.
//  2. A22 := A22 - A21 inverse(A11) A12, the Schur complement, one column at a time. A12 keeps its values.
//  3. A22 := its dense LU.
// Solution, BackSub, which uses b as scratch:
//  4. b2 := b2 - A21 inverse(A11) b1, then x2 := inverse(Schur complement) b2.
//  5. b1 := b1 - A12 x2.
//  6. x1 := inverse(A11) b1.
// So inverse(A11) A12 is never stored, at the price of two band solutions per right-hand side. With a list of
// the non-zeros of A21, the products with A21 run over the list in its order, which decides their rounding.
// Source: block Gaussian elimination, Golub and Van Loan, Matrix Computations, 4th ed., sections 3.2 and 4.3.

#include "dense/arrow_matrix.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "dense/kernels.h"
#include "dense/lu.h"
#include "frame/module.h"

using namespace corvidnum;

namespace {

constexpr int kFirstCapacity = 10;

/// Allocates the band; null, with `valid` cleared, also if its leading dimension does not fit an int.
double* allocate_band(std::int64_t rows, int columns, unsigned char& valid) {
  if (rows >= INT_MIN && rows <= INT_MAX) return allocate_or_clear<double>(product(rows, columns), valid);
  valid = 0;
  return nullptr;
}

Matrix::ErrorCode code_of(int info) { return info != 0 ? Matrix::MatrixFailed : Matrix::MatrixOK; }

}  // namespace

double ArrowMatrix::outside = 0.0;

ArrowMatrix::ArrowMatrix(int bandOrder, int subDiagonals, int superDiagonals, int borderWidth,
                         TrackNZType tracking)
    : n(bandOrder),
      kl(subDiagonals),
      ku(superDiagonals),
      m(borderWidth),
      track(tracking),
      outOfBand(0.0),
      capacity(0),
      ownRowStart(nullptr),
      ownRowCount(nullptr),
      ownColIndex(nullptr),
      ownLength(0) {
  const std::int64_t border = product(n, m);
  band = allocate_band(band_rows(kl, ku), n, valid);
  a12 = allocate_or_clear<double>(border, valid);
  a21 = allocate_or_clear<double>(border, valid);
  a22 = allocate_or_clear<double>(product(m, m), valid);
  work = allocate_or_clear<double>(n, valid);
  bandPivots = allocate_or_clear<int>(n, valid);
  cornerPivots = allocate_or_clear<int>(m, valid);
  if (track == TrackInternal) AllocateList();
  ProvideNZ(ownRowStart, ownRowCount, ownColIndex);
  ArrowMatrix::ZeroElements();
}

void ArrowMatrix::AllocateList() {
  capacity = kFirstCapacity;
  ownRowStart = allocate_or_clear<int>(m, valid);
  ownColIndex = allocate_or_clear<int>(capacity, valid);
  ownRowCount = allocate_or_clear<int>(m, valid);
  ownLength = capacity;
}

ArrowMatrix::~ArrowMatrix() {
  enter_library();
  Corvid_delete(band);
  Corvid_delete(a12);
  Corvid_delete(a21);
  Corvid_delete(a22);
  Corvid_delete(work);
  Corvid_delete(bandPivots);
  Corvid_delete(cornerPivots);
  Corvid_delete(ownRowStart);
  Corvid_delete(ownRowCount);
  Corvid_delete(ownColIndex);
}

void ArrowMatrix::ProvideNZ(int* starts, int* counts, int* columns) {
  enter_library();
  rowStart = starts;
  rowCount = counts;
  colIndex = columns;
}

void ArrowMatrix::ZeroElements() {
  enter_library();
  set_zero(band, product(band_rows(kl, ku), n));
  set_zero(a12, product(n, m));
  set_zero(a21, product(n, m));
  set_zero(a22, product(m, m));
  set_identity(bandPivots, n);
  set_identity(cornerPivots, m);
  if (!ownRowStart || !ownRowCount) return;
  std::fill(ownRowStart, ownRowStart + std::max(m, 0), 0);
  std::fill(ownRowCount, ownRowCount + std::max(m, 0), 0);
}

// ---- Element access

double& ArrowMatrix::operator()(int row, int col) {
  enter_library();
  const std::int64_t order = std::int64_t{n} + m;
  if (row < 0 || col < 0 || row >= order || col >= order) return outside;
  if (row >= n && col < n) {
    if (track == TrackInternal) MarkA21NonZero(row - n, col);
    return a21 ? a21[std::int64_t{col} * m + (row - n)] : outside;
  }
  if (row < n && col < n) {
    outOfBand = 0.0;
    // With negative kl no element is in the band. The two distance tests do not show that by themselves.
    if (col - row > ku || row - col > kl || kl < 0 || !band) return outOfBand;
    return band[(band_rows(kl, ku) - 1) * col + ku + kl + row];
  }
  if (row < n) return a12 ? a12[std::int64_t{col - n} * n + row] : outside;
  return a22 ? a22[std::int64_t{col - n} * m + (row - n)] : outside;
}

double* ArrowMatrix::Address(int row, int col) {
  enter_library();
  return Matrix::Address(row, col);
}

// ---- The object's own list of non-zeros of A21

/// Adds (row, col) to the list unless it is there already. If memory is refused, clears `valid` and leaves
/// the element out of the list.
/// @param row row of A21, from 0
/// @param col column, from 0
void ArrowMatrix::MarkA21NonZero(int row, int col) {
  if (!ownRowStart || !ownRowCount || !ownColIndex) return;
  if (ListedIn(row, col)) return;
  int total = 0;
  for (int r = 0; r < m; ++r) total += ownRowCount[r];
  if (total >= ownLength && !GrowList(total)) return;
  if (ownRowCount[row] == 0) {
    ownRowCount[row] = 1;
    ownRowStart[row] = total;
    ownColIndex[total] = col;
  } else {
    InsertInStretch(row, col, total);
  }
}

bool ArrowMatrix::ListedIn(int row, int col) const {
  const int* const first = ownColIndex + ownRowStart[row];
  const int* const end = first + ownRowCount[row];
  return std::find(first, end, col) != end;
}

/// Makes the list one entry longer. The contract has it grow by single entries; the quadratic cost is
/// harmless as hosts mark few elements.
bool ArrowMatrix::GrowList(int total) {
  int* longer = nullptr;
  if (capacity < INT_MAX) longer = allocate_array<int>(++capacity);
  if (!longer) {
    valid = 0;
    return false;
  }
  const bool inUse = colIndex == ownColIndex;  // false if ProvideNZ has put the caller's list in its place
  std::copy(ownColIndex, ownColIndex + total, longer);
  Corvid_delete(ownColIndex);
  ownColIndex = longer;
  ownLength = capacity;
  if (inUse) colIndex = longer;
  return true;
}

/// Inserts a column at the front of the entries of its row and moves everything behind up by one. The order
/// matters: the elimination adds products in the order of the list.
void ArrowMatrix::InsertInStretch(int row, int col, int total) {
  const int start = ownRowStart[row];
  std::copy_backward(ownColIndex + start, ownColIndex + total, ownColIndex + total + 1);
  for (int r = 0; r < m; ++r) {
    if (ownRowStart[r] > start) ++ownRowStart[r];
  }
  ++ownRowCount[row];
  ownColIndex[start] = col;
}

// ---- Factorisation and solution

Matrix::ErrorCode ArrowMatrix::FactorLU(int& info) {
  enter_library();
  if (n == 0 && m == 0) return MatrixOK;
  if (ArrayMissing()) {
    info = kNoMemory;
    return MatrixFailed;
  }
  const ErrorCode bandCode = Step1(info);
  if (bandCode != MatrixOK || m == 0) return bandCode;
  if (Step2() != MatrixOK) return MatrixFailed;
  return Step3();
}

Matrix::ErrorCode ArrowMatrix::BackSub(double* x, double* b) {
  enter_library();
  if (n == 0 && m == 0) return MatrixOK;
  if (ArrayMissing() || !x || !b) return MatrixFailed;
  if (m < 0) return MatrixFailed;  // x and b have n + m elements, fewer than the band would read
  if (m == 0) return Step6(x, b);
  if (ListMissing()) return MatrixFailed;
  if (Step4_1(b) != MatrixOK) return MatrixFailed;
  if (Step4_2(b) != MatrixOK) return MatrixFailed;
  if (Step4_3(x, b) != MatrixOK) return MatrixFailed;
  if (Step5(x, b) != MatrixOK) return MatrixFailed;
  return Step6(x, b);
}

Matrix::ErrorCode ArrowMatrix::Solve(double* x, double* b, int& info) {
  enter_library();
  if (n == 0 && m == 0) return MatrixOK;
  return FactorLU(info) != MatrixOK ? MatrixFailed : BackSub(x, b);
}

Matrix::ErrorCode ArrowMatrix::Step1(int& info) {
  info = factor_band(n, kl, ku, band, BandRows(), bandPivots);
  return code_of(info);
}

Matrix::ErrorCode ArrowMatrix::Step2() {
  if (ListMissing()) return MatrixFailed;
  for (int c = 0; c < m; ++c) {
    copy_vector(n, a12 + std::int64_t{c} * n, work);
    if (SolveBand(work) != 0) return MatrixFailed;
    SubtractA21Product(work, a22 + std::int64_t{c} * m);
  }
  return MatrixOK;
}

Matrix::ErrorCode ArrowMatrix::Step3() {
  const int lda = leading_dimension(m);
  int info = 0;
  dgetrf_tol(&m, &m, a22, &lda, cornerPivots, &info);
  return code_of(info);
}

Matrix::ErrorCode ArrowMatrix::Step4_1(double* b) {
  copy_vector(n, b, work);
  return code_of(SolveBand(work));
}

Matrix::ErrorCode ArrowMatrix::Step4_2(double* b) {
  SubtractA21Product(work, b + n);
  return MatrixOK;
}

Matrix::ErrorCode ArrowMatrix::Step4_3(double* x, double* b) {
  copy_vector(m, b + n, x + n);
  const int leading = leading_dimension(m);
  return code_of(solve_with_lu(m, a22, leading, cornerPivots, x + n, leading));
}

Matrix::ErrorCode ArrowMatrix::Step5(double* x, double* b) {
  subtract_product(n, m, a12, x + n, b);
  return MatrixOK;
}

Matrix::ErrorCode ArrowMatrix::Step6(double* x, double* b) {
  copy_vector(n, b, x);
  return code_of(SolveBand(x));
}

/// Returns the leading dimension of `band`; it has no meaning without a band.
int ArrowMatrix::BandRows() const { return static_cast<int>(band_rows(kl, ku)); }

bool ArrowMatrix::ArrayMissing() const {
  return !band || !a12 || !a21 || !a22 || !work || !bandPivots || !cornerPivots;
}

bool ArrowMatrix::ListMissing() const { return track != TrackNone && (!rowStart || !rowCount || !colIndex); }

int ArrowMatrix::SolveBand(double* vector) const {
  return solve_with_band_lu(n, kl, ku, band, BandRows(), bandPivots, vector, leading_dimension(n));
}

/// target := target - A21 vector. With a list, products are added in its order.
/// @param vector [n]
/// @param target [m]
void ArrowMatrix::SubtractA21Product(const double* vector, double* target) const {
  if (track == TrackNone) {
    subtract_product(m, n, a21, vector, target);
    return;
  }
  for (int r = 0; r < m; ++r) {
    double sum = 0.0;
    const int count = rowStart[r] >= 0 ? rowCount[r] : 0;
    for (int entry = 0; entry < count; ++entry) {
      const int k = colIndex[std::ptrdiff_t{rowStart[r]} + entry];
      if (k >= 0 && k < n) sum += a21[std::int64_t{k} * m + r] * vector[k];
    }
    target[r] -= sum;
  }
}

int ArrowMatrix::PermutationInfo(int i) {
  enter_library();
  if (i < 0) return -1;
  if (i < n) return row_at_place(i, n, n, bandPivots, i);
  if (i >= std::int64_t{n} + m) return -1;
  // The contract looks up index `i` in the border and not `i` - n, so the result is -1 or the wrong row. The
  // vector is made n + m long so that the look-up at least stays inside it.
  return row_at_place(i, std::max(n, 0) + std::int64_t{m}, m, cornerPivots, i - n);
}
