// Factorises the full part of a block: a dense left-looking LU with partial pivoting, by columns (level 1),
// by vectors (level 2) or by panels (level 3). A column whose largest element is not above the pivot
// tolerance, or that has elements or a reciprocal that are not finite, changes places with the last column
// that is still in play; ipiv notes both kinds of interchange:
//   |  pivots 1 .. rank: the row that came to place j  |  refused columns, from the end: -(place it left)  |

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "frame/blas.h"
#include "frame/idamax.h"
#include "frame/one_based.h"
#include "sparse/ma48/finite.h"
#include "sparse/ma48/kernels.h"

namespace corvidnum {
namespace {

constexpr int kOne = 1;
constexpr double kPlus = 1.0, kMinus = -1.0;

/// Holds the matrix and the state of the elimination; the three variants share their steps.
class FullFactor {
 public:
  FullFactor(int m, int n, double* a, int lda, double tolerance, int* ipiv)
      : m_(m), n_(n), lda_(lda), a_(a), tolerance_(tolerance), ipiv_(ipiv, n) {}

  int run_by_columns();          // level 1
  int run_by_vectors();          // level 2
  int run_by_panels(int width);  // level 3

 private:
  double* at(int i, int j) const { return a_ + (std::ptrdiff_t{j} - 1) * lda_ + (i - 1); }
  /// Returns the last column that has not been refused, when `step` columns have been tried.
  int last_in_play(int step) const { return n_ - step + next_; }

  bool choose_pivot();                                   // writes its row to ipiv; false: none is acceptable
  void exchange_rows(int j, int row, int from, int to);  // in columns from .. to
  void scale_below();                                    // divides the column of L by the pivot
  void subtract_earlier(int first);                      // updates column next_ by columns first .. next_-1
  void complete_pivot_row(int first, int last);          // and the rest of the pivot row up to column `last`
  void refuse(int step);             // clears column next_ below the pivots and swaps it to the end
  void bring_into_panel(int first);  // applies the panel so far to the column swapped in
  void apply_panel(int first, int last, int end);  // to all columns up to `end` outside of it

  const int m_, n_, lda_;
  double* const a_;
  const double tolerance_;
  const OneBased<int> ipiv_;
  int next_ = 1;  // place of the next pivot
};

bool FullFactor::choose_pivot() {
  if (next_ > m_) return false;
  const int row = next_ - 1 + idamax(m_ - next_ + 1, at(next_, next_));
  const double magnitude = std::fabs(*at(row, next_));
  if (!(magnitude > tolerance_ && has_reciprocal(magnitude))) return false;
  // An element above that is not finite would have spread to all of these.
  if (!all_finite(at(next_, next_), m_ - next_ + 1)) return false;
  ipiv_(next_) = row;
  return true;
}

void FullFactor::exchange_rows(int j, int row, int from, int to) {
  if (row == j || from > to) return;
  const int count = to - from + 1;
  dswap_(&count, at(j, from), &lda_, at(row, from), &lda_);
}

void FullFactor::scale_below() {
  const int below = m_ - next_;
  if (below <= 0) return;
  const double reciprocal = 1.0 / *at(next_, next_);
  dscal_(&below, &reciprocal, at(next_ + 1, next_), &kOne);
}

void FullFactor::subtract_earlier(int first) {
  const int rows = m_ - next_ + 1, columns = next_ - first;
  if (rows <= 0 || columns <= 0) return;
  dgemv_("N", &rows, &columns, &kMinus, at(next_, first), &lda_, at(first, next_), &kOne, &kPlus,
         at(next_, next_), &kOne, 1);
}

void FullFactor::complete_pivot_row(int first, int last) {
  const int rows = next_ - first, columns = last - next_;
  if (rows <= 0 || columns <= 0) return;
  dgemv_("T", &rows, &columns, &kMinus, at(first, next_ + 1), &lda_, at(next_, first), &lda_, &kPlus,
         at(next_, next_ + 1), &lda_, 1);
}

void FullFactor::refuse(int step) {
  for (int i = next_; i <= m_; ++i) *at(i, next_) = 0.0;
  const int last = last_in_play(step);
  if (last != next_) dswap_(&m_, at(1, next_), &kOne, at(1, last), &kOne);
  ipiv_(last) = -next_;
}

int FullFactor::run_by_columns() {
  for (int step = 1; step <= n_; ++step) {
    for (int i = 1; i < next_ && i < m_; ++i) {
      const int below = m_ - i;
      const double multiplier = -*at(i, next_);
      daxpy_(&below, &multiplier, at(i + 1, i), &kOne, at(i + 1, next_), &kOne);
    }
    if (choose_pivot()) {
      exchange_rows(next_, ipiv_(next_), 1, last_in_play(step));
      scale_below();
      ++next_;
    } else {
      refuse(step);
    }
  }
  return next_ - 1;
}

int FullFactor::run_by_vectors() {
  for (int step = 1; step <= n_; ++step) {
    subtract_earlier(1);
    if (choose_pivot()) {
      exchange_rows(next_, ipiv_(next_), 1, last_in_play(step));
      scale_below();
      complete_pivot_row(1, last_in_play(step));
      ++next_;
    } else {
      refuse(step);
    }
  }
  return next_ - 1;
}

int FullFactor::run_by_panels(int width) {
  const auto panel_end = [&](int before, int end) {
    return static_cast<int>(std::min<std::ptrdiff_t>(std::ptrdiff_t{before} + width, end));
  };
  int first = 1, last = panel_end(0, n_);
  for (int step = 1; step <= n_; ++step) {
    subtract_earlier(first);
    if (choose_pivot()) {
      exchange_rows(next_, ipiv_(next_), first, last);
      scale_below();
      complete_pivot_row(first, last);
      ++next_;
    } else {
      const bool fromOutside = last_in_play(step) > last;
      refuse(step);
      if (fromOutside) {
        bring_into_panel(first);
      } else {
        --last;
      }
    }
    // Tested after a refusal too: it may have been the last column of the panel.
    if (next_ > last) {
      const int end = last_in_play(step) - 1;
      apply_panel(first, last, end);
      first = last + 1;
      last = panel_end(last, end);
    }
  }
  return next_ - 1;
}

void FullFactor::bring_into_panel(int first) {
  for (int k = first; k < next_; ++k) std::swap(*at(k, next_), *at(ipiv_(k), next_));
  const int pivots = next_ - first;
  if (pivots > 0) {
    dtrsv_("L", "N", "U", &pivots, at(first, first), &lda_, at(first, next_), &kOne, 1, 1, 1);
  }
}

void FullFactor::apply_panel(int first, int last, int end) {
  const int pivots = last - first + 1, columns = end - last, below = m_ - last;
  if (pivots <= 0) return;
  for (int k = first; k <= last; ++k) {
    exchange_rows(k, ipiv_(k), 1, first - 1);
    exchange_rows(k, ipiv_(k), last + 1, end);
  }
  if (columns <= 0) return;
  dtrsm_("L", "L", "N", "U", &pivots, &columns, &kPlus, at(first, first), &lda_, at(first, last + 1), &lda_,
         1, 1, 1, 1);
  if (below <= 0) return;
  dgemm_("N", "N", &below, &columns, &pivots, &kMinus, at(last + 1, first), &lda_, at(first, last + 1), &lda_,
         &kPlus, at(last + 1, last + 1), &lda_, 1, 1);
}

}  // namespace

int ma50_full_factor1(const int* m, const int* n, double* a, const int* lda, const double* pivtol, int* ipiv,
                      int* rank) {
  *rank = FullFactor(*m, *n, a, *lda, *pivtol, ipiv).run_by_columns();
  return 0;
}

int ma50_full_factor2(const int* m, const int* n, double* a, const int* lda, const double* pivtol, int* ipiv,
                      int* rank) {
  *rank = FullFactor(*m, *n, a, *lda, *pivtol, ipiv).run_by_vectors();
  return 0;
}

int ma50_full_factor3(const int* m, const int* n, double* a, const int* lda, const int* nb,
                      const double* pivtol, int* ipiv, int* rank) {
  *rank = FullFactor(*m, *n, a, *lda, *pivtol, ipiv).run_by_panels(std::max(*nb, 1));
  return 0;
}

}  // namespace corvidnum
