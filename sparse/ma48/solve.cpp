// Solves with the factors (ma48cd_), and estimates or reduces the error of the solution.
//
//   1. permute the right-hand side and solve block by block (block_solve.cpp, column_solve.cpp);
//   2. JOB > 1: compute the residual and the componentwise backward errors omega1, of the rows whose
//      |b| + |A||x| is significant, and omega2, of the others, where |A| |x|max takes the place of |A||x|;
//   3. JOB 3 and 4: solve for the residual and judge again, while the error falls by the factor CNTL(5);
//   4. JOB 4: bound the forward error by omega1 cond1 + omega2 cond2; each condition number is the norm of
//      |inverse of A| times weights, which the norm estimator (norm_estimator.cpp) approximates;
//   5. permute the solution back.
//
// Source: M. Arioli, J. W. Demmel and I. S. Duff, SIAM J. Matrix Anal. Appl. 10 (1989).

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "frame/module.h"
#include "frame/numeric_runtime.h"
#include "frame/one_based.h"
#include "sparse/ma48/diagnostics.h"
#include "sparse/ma48/keep_check.h"
#include "sparse/ma48/kernel_codes.h"
#include "sparse/ma48/kernels.h"
#include "sparse/ma48/layout.h"
#include "sparse/ma48/ma48_routines.h"

namespace corvidnum {
namespace {

using Index = std::ptrdiff_t;

enum Category : int { kByMatrixAndSolution = 1, kBySolutionSize = 2 };

constexpr int kMostEstimatorSteps = 40;

/// Raises a componentwise backward error to |residual| / scale of a row. A null residual adds nothing, so
/// that 0 / 0 counts as 0; a NaN stays.
void raise_error(double& error, double residual, double scale) {
  if (residual == 0.0 || std::isnan(error)) return;
  const double quotient = residual / scale;
  if (!(quotient <= error)) error = quotient;
}

/// The parts of W, with L = max(M, N), MM components of the right-hand side and NN of the solution. Parts
/// that overlap are used in turn. The estimator, for M = N = L only, has the weights of both categories of
/// rows in the first two parts and its vectors in the last two; the solver's work is then in RHS.
struct SolveWork {
  const OneBased<double> right_hand_side;  // [MM], later the residual
  const OneBased<double> answer;           // [NN] behind it: what the solver returns
  const OneBased<double> products;         // [MM] in the same place, later: |A||X|
  const OneBased<double> row_sums;         // [MM] of |A|
  const OneBased<double> solver;           // [L] work; free between the solver's calls
  const OneBased<double> kept;             // [L] the X of the iteration before

  SolveWork(double* w, Index mm, Index nn, Index longest)
      : right_hand_side(w, mm),
        answer(w + mm, nn),
        products(w + mm, mm),
        row_sums(w + 2 * mm, mm),
        solver(w + 2 * longest, longest),
        kept(w + 3 * longest, longest) {}
  /// Returns the residual, which takes the place of the right-hand side.
  const OneBased<double>& residual() const { return right_hand_side; }
  /// Returns the weights of category 1 or 2; they take the first two parts.
  double* weights(int category) const { return category == 1 ? right_hand_side.data() : products.data(); }
};

/// One call of ma48cd_.
class SolveRun {
 public:
  SolveRun(int m, int n, int trans, int job, int la, const double* a, const int* irn,
           const KeepView<const int>& keep, const double* cntl, const int* icntl, double* rhs, double* x,
           double* error, double* w, int* iw)
      : m_(m),
        n_(n),
        mm_(trans == 0 ? m : n),
        nn_(trans == 0 ? n : m),
        trans_(trans),
        job_(job),
        factor_length_(la - (keep.off_diagonal_start(n + 1) - 1)),
        most_refinements_(ma48_icntl(icntl, MA48_ICNTL_MOST_REFINEMENTS)),
        least_fall_(ma48_cntl(cntl, MA48_CNTL_REFINEMENT_FACTOR)),
        a_(a),
        irn_(irn),
        keep_(keep),
        rhs_(rhs, mm_),
        x_(x, nn_),
        error_(error, MA48_ERROR_LENGTH),
        w_(w, mm_, nn_, std::max(m, n)),
        iw_(iw, m) {
    icntl5_[kDenseBlockSize - 1] = ma48_icntl(icntl, MA48_ICNTL_DENSE_BLOCK_SIZE);
  }

  /// Solves as JOB asks. Returns INFO(1).
  int run();

 private:
  void permute_right_hand_side();  // to the order of the factors
  int solve_with_errors();         // JOB > 1: X, in permuted order, and its errors
  int refine();
  void restore_better(double error, double error_before);
  void find_residual();  // the residual, |A||X| and the row sums, for the present X
  void find_backward_errors();
  void note(Index i, Category category);
  int estimate_forward_error();
  bool has_category(Category category) const;
  void make_weights();  // turns b, |A||X| and the row sums into the weights of the two categories
  bool estimate_condition(const double* weights, double& condition);
  void restore_order();  // brings X into the host's order

  void solve(int trans, double* b, double* x, double* work);
  void subtract_columns(Index begin, Index end, Index j);  // entries of column j of the matrix
  void subtract_products(Index begin, Index end, Index j);
  void multiply_parts();

  bool estimates() const { return job_ == MA48_SOLVE_FORWARD_ERROR && m_ == n_; }

  const int m_, n_, mm_, nn_, trans_, job_;
  const int factor_length_;
  const int most_refinements_;
  const double least_fall_;
  const double* const a_;
  const int* const irn_;
  const KeepView<const int> keep_;
  const OneBased<double> rhs_, x_;
  const OneBased<double> error_;
  const SolveWork w_;
  const OneBased<int> iw_;
  int icntl5_[kMa50IcntlLength] = {};
  double om1_ = 0.0, om2_ = 0.0;            // backward errors of the two categories of rows
  double kept_om1_ = 0.0, kept_om2_ = 0.0;  // those of the X that is kept
  double xmax_ = 0.0;
};

int SolveRun::run() {
  error_(MA48_ERROR_FORWARD) = 0.0;
  permute_right_hand_side();
  int status = MA48_STATUS_OK;
  if (job_ == MA48_SOLVE_ONLY) {
    solve(trans_, w_.right_hand_side.data(), x_.data(), w_.solver.data());
  } else {
    status = solve_with_errors();
  }
  restore_order();
  if (job_ != MA48_SOLVE_ONLY) {
    error_(MA48_ERROR_OMEGA1) = om1_;
    error_(MA48_ERROR_OMEGA2) = om2_;
  }
  return status;
}

void SolveRun::permute_right_hand_side() {
  for (Index i = 1; i <= mm_; ++i) {
    if (trans_ == 0) {
      w_.right_hand_side(keep_.row_place(i)) = rhs_(i);
    } else {
      w_.right_hand_side(i) = rhs_(keep_.column_at(i));
    }
  }
}

void SolveRun::solve(int trans, double* b, double* x, double* work) {
  const int newne = keep_.off_diagonal_start(n_ + 1) - 1, blocks = keep_.block_count();
  const double* const fact = a_ + newne;
  const int* const irnf = irn_ + newne;
  if (blocks == 1 && keep_.block_kind(1) >= 0) {
    const int natural_order = 0, np = keep_.block_kind(1);
    int unused_status[kMa50InfoLength];
    MA50CD(&m_, &n_, icntl5_, &natural_order, &np, &trans, &factor_length_, fact, irnf, &keep_.lower_end(1),
           &keep_.upper_end(1), b, x, work, unused_status);
  } else {
    ma48_block_solve(&n_, &newne, &factor_length_, fact, a_, irnf, irn_, &keep_.diagonal_start(1),
                     &keep_.off_diagonal_start(1), &blocks, &keep_.block_order(1), &keep_.lower_end(1),
                     &keep_.upper_end(1), b, x, &trans, icntl5_, work);
  }
}

int SolveRun::solve_with_errors() {
  std::fill(x_.data(), x_.data() + nn_, 0.0);
  std::copy_n(w_.right_hand_side.data(), mm_, rhs_.data());
  if (most_refinements_ < 1) return MA48_STATUS_NOT_CONVERGED;
  const int status = refine();
  return status == MA48_STATUS_OK && estimates() ? estimate_forward_error() : status;
}

int SolveRun::refine() {
  double before = 0.0;
  for (std::int64_t iteration = 1;; ++iteration) {
    solve(trans_, w_.right_hand_side.data(), w_.answer.data(), w_.solver.data());
    // X is replaced, not corrected: the contract solves for the residual and keeps the answer only if its
    // error is smaller, so in effect the first solution stands. Results that hosts rely on depend on it.
    std::copy_n(w_.answer.data(), nn_, x_.data());
    find_residual();
    find_backward_errors();
    if (job_ == MA48_SOLVE_BACKWARD_ERRORS) return MA48_STATUS_OK;
    const double error = om1_ + om2_;
    if (error + 1.0 <= 1.0) return MA48_STATUS_OK;
    if (iteration > 1 && !(error <= before * least_fall_)) {
      restore_better(error, before);
      return MA48_STATUS_OK;
    }
    std::copy_n(x_.data(), nn_, w_.kept.data());
    kept_om1_ = om1_;
    kept_om2_ = om2_;
    before = error;
    if (iteration >= most_refinements_ || std::isnan(error)) return MA48_STATUS_NOT_CONVERGED;
  }
}

void SolveRun::restore_better(double error, double error_before) {
  if (error <= error_before) return;
  std::copy_n(w_.kept.data(), nn_, x_.data());
  if (estimates()) {  // by the sums and categories that belong to this X
    find_residual();
    find_backward_errors();
  }
  om1_ = kept_om1_;
  om2_ = kept_om2_;
}

void SolveRun::find_residual() {
  std::copy_n(rhs_.data(), mm_, w_.residual().data());
  std::fill_n(w_.products.data(), mm_, 0.0);
  std::fill_n(w_.row_sums.data(), mm_, 0.0);
  multiply_parts();
  xmax_ = 0.0;
  for (Index j = 1; j <= nn_; ++j) xmax_ = std::max(xmax_, std::fabs(x_(j)));
}

void SolveRun::multiply_parts() {
  // The columns of the diagonal blocks come first, then those of the rest.
  for (Index j = 1; j <= n_; ++j) {
    const Index begin = keep_.diagonal_start(j), end = keep_.diagonal_start(j + 1);
    trans_ == 0 ? subtract_columns(begin, end, j) : subtract_products(begin, end, j);
  }
  for (Index j = 1; j <= n_; ++j) {
    const Index begin = keep_.off_diagonal_start(j), end = keep_.off_diagonal_start(j + 1);
    trans_ == 0 ? subtract_columns(begin, end, j) : subtract_products(begin, end, j);
  }
}

void SolveRun::subtract_columns(Index begin, Index end, Index j) {
  double* const residual = w_.residual().data();
  double* const products = w_.products.data();
  double* const row_sums = w_.row_sums.data();
  const double xj = x_(j);
  for (Index k = begin - 1; k < end - 1; ++k) {
    const Index i = irn_[k] - 1;
    const double product = a_[k] * xj;
    residual[i] -= product;
    products[i] += std::fabs(product);
    row_sums[i] += std::fabs(a_[k]);
  }
}

void SolveRun::subtract_products(Index begin, Index end, Index j) {
  double sum = 0.0, magnitudes = 0.0, entries = 0.0;
  for (Index k = begin - 1; k < end - 1; ++k) {
    const double product = a_[k] * x_(irn_[k]);
    sum += product;
    magnitudes += std::fabs(product);
    entries += std::fabs(a_[k]);
  }
  w_.residual()(j) -= sum;
  w_.products(j) += magnitudes;
  w_.row_sums(j) += entries;
}

void SolveRun::find_backward_errors() {
  const int precision = 1;
  const double ctau = 1000.0 * FD05AD(&precision);
  om1_ = om2_ = 0.0;
  for (Index i = 1; i <= mm_; ++i) {
    const double r = std::fabs(rhs_(i)), residual = std::fabs(w_.residual()(i)), products = w_.products(i);
    const double u = xmax_ * w_.row_sums(i);
    const double tau = (u + r) * nn_ * ctau;
    if (r + products > tau) {
      note(i, kByMatrixAndSolution);
      raise_error(om1_, residual, r + products);
    } else {
      note(i, kBySolutionSize);
      // A NaN must count here: otherwise a useless X would have the error 0 and status 0.
      if (tau > 0.0 || std::isnan(residual)) raise_error(om2_, residual, u + products);
    }
  }
}

/// Notes the category of a row for the forward error, which is estimated for square matrices only: IW has M
/// places, and rows beyond them are not noted.
void SolveRun::note(Index i, Category category) {
  if (i <= m_) iw_(i) = category;
}

int SolveRun::estimate_forward_error() {
  const bool occurs[] = {has_category(kByMatrixAndSolution), has_category(kBySolutionSize)};
  const double oms[] = {om1_, om2_};
  make_weights();
  for (int k = 0; k < 2; ++k) {
    if (!occurs[k]) continue;
    double condition = 0.0;
    if (!estimate_condition(w_.weights(k + 1), condition)) return MA48_STATUS_NO_FORWARD_ERROR;
    if (xmax_ > 0.0) condition /= xmax_;
    // A condition number that overflows is infinite, and times a null omega it is a NaN.
    const double sum = error_(MA48_ERROR_FORWARD) + condition * oms[k];
    if (!std::isfinite(sum)) return MA48_STATUS_NO_FORWARD_ERROR;
    error_(MA48_ERROR_FORWARD) = sum;
  }
  return MA48_STATUS_OK;
}

bool SolveRun::has_category(Category category) const {
  return std::find(iw_.data(), iw_.data() + mm_, category) != iw_.data() + mm_;
}

void SolveRun::make_weights() {
  double* const first = w_.weights(kByMatrixAndSolution);
  double* const second = w_.weights(kBySolutionSize);  // holds |A||X| so far
  for (Index i = 0; i < mm_; ++i) {
    if (iw_(i + 1) == kByMatrixAndSolution) {
      first[i] = std::fabs(rhs_(i + 1)) + second[i];
      second[i] = 0.0;
    } else {
      second[i] += xmax_ * w_.row_sums(i + 1);
      first[i] = 0.0;
    }
  }
}

bool SolveRun::estimate_condition(const double* weights, double& condition) {
  double* const vector = w_.kept.data();
  double* const other = w_.solver.data();
  int kase = 0;
  for (int step = 1; step <= kMostEstimatorSteps; ++step) {
    MC41AD(&n_, &kase, vector, &condition, rhs_.data(), iw_.data());
    if (kase == 0) return true;
    if (kase == 1) {
      solve(trans_ == 0 ? 1 : 0, vector, other, rhs_.data());
      for (Index i = 0; i < mm_; ++i) vector[i] = weights[i] * other[i];
    } else {
      for (Index i = 0; i < mm_; ++i) other[i] = weights[i] * vector[i];
      solve(trans_, other, vector, rhs_.data());
    }
  }
  return false;
}

void SolveRun::restore_order() {
  double* const permuted = w_.weights(1);  // [NN] from the beginning of W
  std::copy_n(x_.data(), nn_, permuted);
  for (Index i = 1; i <= nn_; ++i) {
    if (trans_ == 0) {
      x_(keep_.column_at(i)) = permuted[i - 1];
    } else {
      x_(i) = permuted[keep_.row_place(i) - 1];
    }
  }
}

/// Prints what a status means.
void report(const Diagnostics& diagnostics, int status, int most_refinements) {
  if (status == MA48_STATUS_NOT_CONVERGED)
    diagnostics.error(texts::kSolveNonconvergence, {status, most_refinements});
  if (status == MA48_STATUS_NO_FORWARD_ERROR) diagnostics.error(texts::kSolveEstimator);
}

}  // namespace
}  // namespace corvidnum

using namespace corvidnum;

int ma48cd_(const int* m, const int* n, const int* trans, const int* job, const int* la, const double* a,
            const int* irn, const int* keep, const double* cntl, const int* icntl, double* rhs, double* x,
            double* error, double* w, int* iw, int* info) {
  enter_library();
  const Diagnostics diagnostics(icntl);
  int& status = info[MA48_INFO_STATUS - 1];
  const int rows = *m, columns = *n;
  if (rows < 1 || columns < 1) {
    status = MA48_STATUS_BAD_ORDER;
    diagnostics.error(texts::kSolveSizes, {rows, columns});
    return 0;
  }
  if (*job < MA48_SOLVE_ONLY || *job > MA48_SOLVE_FORWARD_ERROR) {
    status = MA48_STATUS_BAD_JOB;
    diagnostics.error(texts::kSolveJob, {*job});
    return 0;
  }
  const KeepView<const int> view(keep, rows, columns);
  if (!keep_is_analysed(view, rows, columns, *la) || !rows_lie_within_blocks(view, irn, rows) ||
      !keep_is_factorised(view, irn, rows, columns, *la)) {
    status = MA48_STATUS_INCOMPATIBLE;
    return 0;
  }
  const bool transposed = *trans != 0;
  diagnostics.dump(texts::kRightHandSide, rhs, transposed ? columns : rows);
  dump_analysis(diagnostics, view, rows, columns, ma48_icntl(icntl, MA48_ICNTL_COLUMNS_LAST) != 0);
  dump_factor_ends(diagnostics, view, columns);
  status = SolveRun(rows, columns, *trans, *job, *la, a, irn, view, cntl, icntl, rhs, x, error, w, iw).run();
  report(diagnostics, status, ma48_icntl(icntl, MA48_ICNTL_MOST_REFINEMENTS));
  if (*job > MA48_SOLVE_ONLY) diagnostics.dump(texts::kErrors, error, MA48_ERROR_LENGTH);
  diagnostics.dump(texts::kSolution, x, transposed ? rows : columns);
  return 0;
}
