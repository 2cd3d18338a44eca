// LU factorisation with partial pivoting and an absolute pivot limit, in panels of four columns.
//
//  1. In each column of the panel take the element of largest magnitude on or below the diagonal as pivot,
//     interchange its row with the pivot row, scale the column by the reciprocal of the pivot, and update the
//     columns of the panel to its right.
//  2. Apply the panel's interchanges to the columns on both sides of it.
//  3. Update the columns to the right of the panel.
// Invariant: every element receives its updates one by one, in the order of the pivots. So the result equals,
// to the bit, that of the unblocked algorithm with one rank-one update for each pivot.
// A pivot that is not above the limit leaves its column without interchange and scaling, but the update with
// it still takes place: the contract's factorisation always runs to the end.

#include "dense/lu.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "frame/idamax.h"
#include "frame/numeric_runtime.h"

namespace corvidnum {
namespace {

/// Columns of a panel, whose updates are applied in one pass over the columns to the right.
constexpr int kPanelWidth = 4;

using Index = std::ptrdiff_t;

/// One factorisation of a (m x n, leading dimension lda). Rows and columns are numbered from 1.
class LuFactorisation {
 public:
  LuFactorisation(int m, int n, double* a, int lda, int* ipiv, double tol)
      : m_(m), n_(n), a_(a), lda_(lda), ipiv_(ipiv), tol_(tol) {}

  /// Returns the first column whose pivot failed, or 0.
  int run();

 private:
  // The panel consists of the columns first .. last.
  void factor_panel(Index first, Index last);  // makes them final; changes no other column
  bool choose_pivot(Index j);                  // sets ipiv(j); false: the pivot is not above the limit
  void interchange(Index first, Index last, Index from, Index to);  // the panel's, in columns from .. to
  void apply_panel(Index first, Index last);                        // updates the columns right of the panel

  double* column(Index j) const { return a_ + (j - 1) * lda_; }
  double& a(Index i, Index j) const { return column(j)[i - 1]; }

  const Index m_, n_;
  double* const a_;
  const Index lda_;
  int* const ipiv_;
  const double tol_;
  Index swapped_with_[kPanelWidth] = {};  // the row interchanged with each pivot row of the panel
  int first_failure_ = 0;
};

/// Sets x[i] -= u * l[i] for i from 0 to count - 1.
void subtract_multiple(Index count, double u, const double* __restrict l, double* __restrict x) {
  for (Index i = 0; i < count; ++i) x[i] -= u * l[i];
}

/// Subtracts u[0] .. u[3] times four consecutive columns, the first of which begins at `l`, in this order.
void subtract_four_multiples(Index count, const double* u, const double* l, Index lda, double* __restrict x) {
  const double u0 = u[0], u1 = u[1], u2 = u[2], u3 = u[3];
  const double* __restrict l0 = l;
  const double* __restrict l1 = l0 + lda;
  const double* __restrict l2 = l1 + lda;
  const double* __restrict l3 = l2 + lda;
  for (Index i = 0; i < count; ++i) x[i] = (((x[i] - u0 * l0[i]) - u1 * l1[i]) - u2 * l2[i]) - u3 * l3[i];
}

int LuFactorisation::run() {
  const Index pivots = std::min(m_, n_);
  for (Index first = 1; first <= pivots; first += kPanelWidth) {
    const Index last = std::min(first + kPanelWidth - 1, pivots);
    factor_panel(first, last);
    interchange(first, last, 1, first - 1);
    interchange(first, last, last + 1, n_);
    apply_panel(first, last);
  }
  return first_failure_;
}

void LuFactorisation::factor_panel(Index first, Index last) {
  for (Index j = first; j <= last; ++j) {
    swapped_with_[j - first] = j;
    if (choose_pivot(j)) {
      const Index row = ipiv_[j - 1];
      swapped_with_[j - first] = row;
      if (row != j) {
        for (Index c = first; c <= last; ++c) std::swap(a(j, c), a(row, c));
      }
      const double reciprocal = 1.0 / a(j, j);
      for (Index i = j + 1; i <= m_; ++i) a(i, j) *= reciprocal;
    }
    // Also after a failed pivot, as the contract requires: the factorisation always runs to the end.
    for (Index c = j + 1; c <= last; ++c) subtract_multiple(m_ - j, a(j, c), column(j) + j, column(c) + j);
  }
}

bool LuFactorisation::choose_pivot(Index j) {
  const Index row = j - 1 + idamax(static_cast<int>(m_ - j + 1), &a(j, j));
  ipiv_[j - 1] = static_cast<int>(row);
  if (std::fabs(a(row, j)) > tol_) return true;  // false for a NaN
  if (first_failure_ == 0) first_failure_ = static_cast<int>(j);
  return false;
}

void LuFactorisation::interchange(Index first, Index last, Index from, Index to) {
  for (Index c = from; c <= to; ++c) {
    for (Index j = first; j <= last; ++j) std::swap(a(j, c), a(swapped_with_[j - first], c));
  }
}

void LuFactorisation::apply_panel(Index first, Index last) {
  for (Index c = last + 1; c <= n_; ++c) {
    double* const x = column(c);
    for (Index j = first; j < last; ++j) subtract_multiple(last - j, a(j, c), column(j) + j, x + j);
    // If rows are left below the panel it has kPanelWidth columns: a narrower panel with columns to its right
    // is the last one and ends with the last row.
    if (last < m_) subtract_four_multiples(m_ - last, x + first - 1, column(first) + last, lda_, x + last);
  }
}

}  // namespace

int dgetf2_tol(const int* m, const int* n, double* a, const int* lda, int* ipiv, int* info,
               const double* tol) {
  *info = 0;
  if (*m < 0) {
    *info = -1;
  } else if (*n < 0) {
    *info = -2;
  } else if (*lda < std::max(1, *m)) {
    *info = -4;
  }
  if (*info != 0) {
    const int number = -*info;
    return xerbla("DGETF2", &number);
  }
  *info = LuFactorisation(*m, *n, a, *lda, ipiv, *tol).run();
  return 0;
}

int dgetrf_tol(const int* m, const int* n, double* a, const int* lda, int* ipiv, int* info) {
  return dgetf2_tol(m, n, a, lda, ipiv, info, &kPivotLimit);
}

}  // namespace corvidnum
