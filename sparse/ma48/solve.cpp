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

/// Raises a backward error by the quotient of a row. A null residual adds nothing, a NaN stays.
void raise_error(double& error, double residual, double scale) {
  if (residual == 0.0 || std::isnan(error)) return;
  const double quotient = residual / scale;
  if (!(quotient <= error)) error = quotient;
}

/// One call. W, with L = max(M, N), MM components of the right-hand side and NN of the solution:
///   W(1..)       the right-hand side, later the residual
///   W(MM+1..)    the solver's answer, later the sums |A||X| of the rows
///   W(2*MM+1..)  the row sums of |A|
///   W(2*L+1..)   the solver's work; free between its calls
///   W(3*L+1..)   the X that is kept
/// The estimator, for M = N = L only, has the weights of both categories in the first two parts and its
/// vectors in the last two; the solver's work is then in RHS.
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
        factorLength_(la - (keep.off_diagonal_start(n + 1) - 1)),
        mostRefinements_(ma48_icntl(icntl, MA48_ICNTL_MOST_REFINEMENTS)),
        leastFall_(ma48_cntl(cntl, MA48_CNTL_REFINEMENT_FACTOR)),
        a_(a),
        irn_(irn),
        keep_(keep),
        rhs_(rhs, mm_),
        x_(x, nn_),
        error_(error, MA48_ERROR_LENGTH),
        w_(w, 4 * static_cast<Index>(std::max(m, n))),
        iw_(iw, m) {
    icntl5_[kDenseBlockSize - 1] = ma48_icntl(icntl, MA48_ICNTL_DENSE_BLOCK_SIZE);
  }

  int run();  // INFO(1)

 private:
  void permute_right_hand_side();  // W(1..MM) has it
  int solve_with_errors();         // X is the solution, in permuted order, OM1 and OM2 are its errors
  int refine();
  void restore_better(double error, double errorBefore);
  void find_residual();  // W has the residual and the sums of the rows that belong to X
  void find_backward_errors();
  void note(Index i, Category category);
  int estimate_forward_error();
  bool has_category(Category category) const;
  void make_weights();  // W(1..MM) and W(MM+1..2*MM) are the weights of the categories
  bool estimate_condition(const double* weights, double& condition);
  void restore_order();  // X is in the host's order

  void solve(int trans, double* b, double* x, double* work);
  void subtract_columns(Index begin, Index end, Index j);  // entries of column j of the matrix
  void subtract_products(Index begin, Index end, Index j);
  void multiply_parts();

  double* w(Index begin) const { return w_.data() + begin - 1; }
  Index longest() const { return std::max(m_, n_); }
  double* answer() const { return w(mm_ + 1); }
  double* work() const { return w(2 * longest() + 1); }
  double* kept() const { return w(3 * longest() + 1); }
  bool estimates() const { return job_ == MA48_SOLVE_FORWARD_ERROR && m_ == n_; }

  const int m_, n_, mm_, nn_, trans_, job_;
  const int factorLength_;
  const int mostRefinements_;
  const double leastFall_;
  const double* const a_;
  const int* const irn_;
  const KeepView<const int> keep_;
  const OneBased<double> rhs_, x_;
  const OneBased<double> error_;
  const OneBased<double> w_;
  const OneBased<int> iw_;
  int icntl5_[kMa50IcntlLength] = {};
  double om1_ = 0.0, om2_ = 0.0;          // backward errors of the two categories of rows
  double keptOm1_ = 0.0, keptOm2_ = 0.0;  // those of the X that is kept
  double xmax_ = 0.0;
};

int SolveRun::run() {
  error_(MA48_ERROR_FORWARD) = 0.0;
  permute_right_hand_side();
  int status = MA48_STATUS_OK;
  if (job_ == MA48_SOLVE_ONLY) {
    solve(trans_, w(1), x_.data(), work());
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
      w_(keep_.row_place(i)) = rhs_(i);
    } else {
      w_(i) = rhs_(keep_.column_at(i));
    }
  }
}

void SolveRun::solve(int trans, double* b, double* x, double* work) {
  const int newne = keep_.off_diagonal_start(n_ + 1) - 1, blocks = keep_.block_count();
  const double* const fact = a_ + newne;
  const int* const irnf = irn_ + newne;
  if (blocks == 1 && keep_.block_kind(1) >= 0) {
    const int naturalOrder = 0, np = keep_.block_kind(1);
    int unusedStatus[kMa50InfoLength];
    MA50CD(&m_, &n_, icntl5_, &naturalOrder, &np, &trans, &factorLength_, fact, irnf, &keep_.lower_end(1),
           &keep_.upper_end(1), b, x, work, unusedStatus);
  } else {
    ma48_block_solve(&n_, &newne, &factorLength_, fact, a_, irnf, irn_, &keep_.diagonal_start(1),
                     &keep_.off_diagonal_start(1), &blocks, &keep_.block_order(1), &keep_.lower_end(1),
                     &keep_.upper_end(1), b, x, &trans, icntl5_, work);
  }
}

int SolveRun::solve_with_errors() {
  std::fill(x_.data(), x_.data() + nn_, 0.0);
  std::copy(w(1), w(1) + mm_, rhs_.data());
  if (mostRefinements_ < 1) return MA48_STATUS_NOT_CONVERGED;
  const int status = refine();
  return status == MA48_STATUS_OK && estimates() ? estimate_forward_error() : status;
}

int SolveRun::refine() {
  double before = 0.0;
  for (std::int64_t iteration = 1;; ++iteration) {
    solve(trans_, w(1), answer(), work());
    // Replaced, not incremented, in every pass: the first solution stands unless a later one has less error.
    std::copy(answer(), answer() + nn_, x_.data());
    find_residual();
    find_backward_errors();
    if (job_ == MA48_SOLVE_BACKWARD_ERRORS) return MA48_STATUS_OK;
    const double error = om1_ + om2_;
    if (error + 1.0 <= 1.0) return MA48_STATUS_OK;
    if (iteration > 1 && !(error <= before * leastFall_)) {
      restore_better(error, before);
      return MA48_STATUS_OK;
    }
    std::copy(x_.data(), x_.data() + nn_, kept());
    keptOm1_ = om1_;
    keptOm2_ = om2_;
    before = error;
    if (iteration >= mostRefinements_ || std::isnan(error)) return MA48_STATUS_NOT_CONVERGED;
  }
}

void SolveRun::restore_better(double error, double errorBefore) {
  if (error <= errorBefore) return;
  std::copy(kept(), kept() + nn_, x_.data());
  if (estimates()) {  // by the sums and categories that belong to this X
    find_residual();
    find_backward_errors();
  }
  om1_ = keptOm1_;
  om2_ = keptOm2_;
}

void SolveRun::find_residual() {
  std::copy(rhs_.data(), rhs_.data() + mm_, w(1));
  std::fill(w(mm_ + 1), w(mm_ + 1) + 2 * static_cast<Index>(mm_), 0.0);
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
  double* const residual = w(1);
  double* const products = w(mm_ + 1);
  double* const entries = w(2 * static_cast<Index>(mm_) + 1);
  const double xj = x_(j);
  for (Index k = begin - 1; k < end - 1; ++k) {
    const Index i = irn_[k] - 1;
    const double product = a_[k] * xj;
    residual[i] -= product;
    products[i] += std::fabs(product);
    entries[i] += std::fabs(a_[k]);
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
  w_(j) -= sum;
  w_(mm_ + j) += magnitudes;
  w_(2 * static_cast<Index>(mm_) + j) += entries;
}

void SolveRun::find_backward_errors() {
  const int precision = 1;
  const double ctau = 1000.0 * FD05AD(&precision);
  om1_ = om2_ = 0.0;
  for (Index i = 1; i <= mm_; ++i) {
    const double r = std::fabs(rhs_(i)), residual = std::fabs(w_(i)), products = w_(mm_ + i);
    const double u = xmax_ * w_(2 * static_cast<Index>(mm_) + i);
    const double tau = (u + r) * nn_ * ctau;
    if (r + products > tau) {
      note(i, kByMatrixAndSolution);
      raise_error(om1_, residual, r + products);
    } else {
      note(i, kBySolutionSize);
      // A NaN counts here on purpose: the refinement then ends without an answer to trust.
      if (tau > 0.0 || std::isnan(residual)) raise_error(om2_, residual, u + products);
    }
  }
}

/// IW has M places and is read for square matrices only: what is beyond them is not kept.
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
    if (!estimate_condition(w(1) + k * static_cast<Index>(mm_), condition))
      return MA48_STATUS_NO_FORWARD_ERROR;
    if (xmax_ > 0.0) condition /= xmax_;
    error_(MA48_ERROR_FORWARD) += condition * oms[k];
  }
  return MA48_STATUS_OK;
}

bool SolveRun::has_category(Category category) const {
  return std::find(iw_.data(), iw_.data() + mm_, category) != iw_.data() + mm_;
}

void SolveRun::make_weights() {
  for (Index i = 1; i <= mm_; ++i) {
    if (iw_(i) == kByMatrixAndSolution) {
      w_(i) = std::fabs(rhs_(i)) + w_(mm_ + i);
      w_(mm_ + i) = 0.0;
    } else {
      w_(mm_ + i) += xmax_ * w_(2 * static_cast<Index>(mm_) + i);
      w_(i) = 0.0;
    }
  }
}

bool SolveRun::estimate_condition(const double* weights, double& condition) {
  double* const vector = kept();
  double* const other = work();
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
  std::copy(x_.data(), x_.data() + nn_, w(1));
  for (Index i = 1; i <= nn_; ++i) {
    if (trans_ == 0) {
      x_(keep_.column_at(i)) = w_(i);
    } else {
      x_(i) = w_(keep_.row_place(i));
    }
  }
}

/// Tells what a status means, by the diagnostics.
void report(const Diagnostics& diagnostics, int status, int mostRefinements) {
  if (status == MA48_STATUS_NOT_CONVERGED)
    diagnostics.error(texts::kSolveNonconvergence, {status, mostRefinements});
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
