// Solves with the factors of one block (MA50CD): substitution through the sparse columns and, between them,
// the dense factors of the full part (full_solve.cpp). A column without a pivot gets 0 in the solution.

#include <algorithm>
#include <cstddef>

#include "frame/one_based.h"
#include "sparse/ma48/diagnostics.h"
#include "sparse/ma48/kernel_codes.h"
#include "sparse/ma48/kernels.h"
#include "sparse/ma48/layout.h"

namespace corvidnum {
namespace {

using Index = std::ptrdiff_t;

/// Solves with the factors of one block, which stand in FACT and IRNF by columns:
///   | drop tolerance, | column 1:  U part (multipliers with negative sign, pivot columns), | ... | full
///   part:   | | pivot tolerance |            pivot (reciprocal, row), L part (values, rows)          |     |
///   MF x NF      |
/// In IRNF the full part has the MF rows, in ascending order, and then the pivot data of its NF columns.
class ColumnSolve {
 public:
  ColumnSolve(int m, int n, int np, int denseBlockSize, const double* fact, const int* irnf, const int* iptrl,
              const int* iptru, double* x, double* w)
      : m_(m),
        n_(n),
        np_(np),
        nf_(n - np),
        mf_(irnf[1]),
        denseBlockSize_(denseBlockSize),
        fact_(fact),
        irnf_(irnf),
        iptrl_(iptrl, n),
        iptru_(iptru, n),
        x_(x, n),
        y_(x, m),
        w_(w, std::max(m, n)) {}

  void solve(const double* b, const int* iq);
  void solve_transposed(const double* b, const int* iq);

 private:
  // Steps of A x = b, in order.
  void eliminate_sparse_pivots();  // sets X(1..NP), and W to the right-hand side of the full part
  void solve_full_part();          // sets X(NP+1..N)
  void substitute_back();          // back substitution with U
  void restore_column_order(const int* iq);
  // Steps of the transposed system, in order.
  void substitute_upper();            // forward substitution with the transposed U, in W
  void solve_full_part_transposed();  // sets X in the rows of the full part
  void place_full_rows(const double* solution);
  void substitute_lower();  // back substitution with the transposed L

  // Offsets, from 0, into FACT and IRNF. Index 0 of a column's part is its first element.
  Index upper_begin(Index j) const { return j > 1 ? iptrl_(j - 1) : kFirstColumn; }
  Index upper_end(Index j) const { return iptru_(j); }
  Index pivot(Index j) const { return iptru_(j); }
  Index lower_begin(Index j) const { return pivot(j) + 1; }
  Index lower_end(Index j) const { return iptrl_(j); }
  bool has_pivot(Index j) const { return iptru_(j) != iptrl_(j); }
  Index full_part() const { return iptrl_(n_); }
  int full_row(Index k) const { return irnf_[full_part() + k - 1]; }
  void full_solve(int trans, double* b) const {
    ma50_full_solve(&trans, &mf_, &nf_, fact_ + full_part(), &mf_, irnf_ + full_part() + mf_, b,
                    &denseBlockSize_);
  }

  static constexpr Index kFirstColumn = 2;  // behind the two tolerances

  const int m_, n_, np_, nf_, mf_, denseBlockSize_;
  const double* const fact_;
  const int* const irnf_;
  const OneBased<const int> iptrl_, iptru_;
  const OneBased<double> x_, y_;  // X as the solution of A x = b, and of the transposed system
  const OneBased<double> w_;
};

void ColumnSolve::solve(const double* b, const int* iq) {
  std::copy(b, b + m_, w_.data());
  eliminate_sparse_pivots();
  solve_full_part();
  substitute_back();
  if (iq[0] > 0) restore_column_order(iq);
}

void ColumnSolve::eliminate_sparse_pivots() {
  double* const w = w_.data();
  for (Index j = 1; j <= np_; ++j) {
    if (!has_pivot(j)) continue;
    const double xj = w[irnf_[pivot(j)] - 1] * fact_[pivot(j)];
    x_(j) = xj;
    if (xj == 0.0) continue;
    const Index end = lower_end(j);
    for (Index l = lower_begin(j); l < end; ++l) w[irnf_[l] - 1] -= fact_[l] * xj;
  }
}

void ColumnSolve::solve_full_part() {
  if (mf_ <= 0 || nf_ <= 0) {
    std::fill(x_.data() + np_, x_.data() + n_, 0.0);
    return;
  }
  for (Index k = 1; k <= mf_; ++k) w_(k) = w_(full_row(k));  // in place: the rows ascend
  full_solve(0, w_.data());
  std::copy(w_.data(), w_.data() + nf_, x_.data() + np_);
}

void ColumnSolve::substitute_back() {
  double* const x = x_.data();
  if (np_ >= 1 && !has_pivot(1)) x[0] = 0.0;  // nothing stands above the first column
  for (Index j = n_; j >= 2; --j) {
    if (j <= np_ && !has_pivot(j)) {
      x[j - 1] = 0.0;
      continue;
    }
    const double xj = x[j - 1];
    const Index end = upper_end(j);
    for (Index k = upper_begin(j); k < end; ++k) x[irnf_[k] - 1] += fact_[k] * xj;
  }
}

void ColumnSolve::restore_column_order(const int* iq) {
  std::copy(x_.data(), x_.data() + n_, w_.data());
  for (Index j = 1; j <= n_; ++j) x_(iq[j - 1]) = w_(j);
}

void ColumnSolve::solve_transposed(const double* b, const int* iq) {
  for (Index j = 1; j <= n_; ++j) w_(j) = b[(iq[0] > 0 ? iq[j - 1] : j) - 1];
  std::fill(y_.data(), y_.data() + m_, 0.0);
  substitute_upper();
  solve_full_part_transposed();
  substitute_lower();
}

void ColumnSolve::substitute_upper() {
  double* const w = w_.data();
  for (Index j = 2; j <= n_; ++j) {
    const Index end = upper_end(j);
    double sum = 0.0;
    for (Index k = upper_begin(j); k < end; ++k) sum += w[irnf_[k] - 1] * fact_[k];
    w[j - 1] += sum;
  }
}

void ColumnSolve::solve_full_part_transposed() {
  double* const reduced = w_.data() + np_;  // the components of the full part's columns
  if (mf_ > 0 && nf_ > m_) {
    // X has no room for them, but here is room for the MF components of the solution.
    full_solve(1, reduced);
    place_full_rows(reduced);
    return;
  }
  if (nf_ <= m_) std::copy(reduced, reduced + nf_, y_.data());
  if (mf_ > 0 && nf_ > 0) full_solve(1, y_.data());
  if (mf_ > 0 && nf_ == 0) std::fill(y_.data(), y_.data() + mf_, 0.0);
  place_full_rows(y_.data());
}

void ColumnSolve::place_full_rows(const double* solution) {
  for (Index k = mf_; k >= 1; --k) y_(full_row(k)) = solution[k - 1];  // in place: the rows ascend
}

void ColumnSolve::substitute_lower() {
  double* const y = y_.data();
  for (Index j = np_; j >= 1; --j) {
    if (!has_pivot(j)) continue;
    const Index end = lower_end(j);
    double sum = 0.0;
    for (Index l = lower_begin(j); l < end; ++l) sum += y[irnf_[l] - 1] * fact_[l];
    y[irnf_[pivot(j)] - 1] = (w_(j) - sum) * fact_[pivot(j)];
  }
}

}  // namespace

int MA50CD(const int* m, const int* n, const int* icntl, const int* iq, const int* np, const int* trans,
           const int* /*lfact*/, const double* fact, const int* irnf, const int* iptrl, const int* iptru,
           const double* b, double* x, double* w, int* info) {
  if (*m < 1 || *n < 1) {
    info[kStatus - 1] = kBadSizes;
    Diagnostics(icntl).error(texts::kColumnSolveSizes, {*m, *n});
    return 0;  // otherwise info stays as it is: it may be an array that the caller needs
  }
  ColumnSolve run(*m, *n, *np, icntl[kDenseBlockSize - 1], fact, irnf, iptrl, iptru, x, w);
  *trans != 0 ? run.solve_transposed(b, iq) : run.solve(b, iq);
  return 0;
}

}  // namespace corvidnum
