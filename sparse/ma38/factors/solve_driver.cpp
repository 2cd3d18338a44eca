// Solves with the factors P A Q = L U, block upper triangular, and refines.
//
// A x = b:   r = P b. From the last block to the first: subtract the off-diagonal entries times the x known
//            so far, solve with L and then with U of the block. x = Q r.
// A' x = b:  r = Q' b. From the first block to the last: solve with U' and then with L' of the block,
//            subtract the off-diagonal entries times the solution from the later blocks. x = P' r.
// L or U:    L is block diagonal, because the off-diagonal part belongs to U. It is stored as A has it, so
//            that a solve with U alone must apply the inverse of the block's L to it first.
// Refine:    solve for the residual and add, until the backward error omega1 + omega2 is at the level of
//            rounding, or no longer falls by half, or the steps are used up. Undo a step that raised it.
//
// Source of the backward error and of the stopping tests: Arioli, Demmel, Duff, SIAM J. Matrix Anal. Appl.
// 10, 165 (1989).

#include "sparse/ma38/factors/solve_driver.h"

#include <cmath>

#include "frame/idamax.h"

namespace corvidnum {
namespace ma38 {
namespace {

constexpr double kLargestEpsilon = 3.0517578125e-05;  // 2^-15
constexpr double kTauFactor = 1000.0;  // of the bound below which the terms of a row are not significant
constexpr double kLeastFall = 0.5;     // a step must multiply the backward error by this or less

enum Job { kSolveL = 1, kSolveU = 2 };
using Kernel = bool (*)(const BlockFactors&, OneBased<double>, OneBased<double>);

/// The two parts of the componentwise backward error.
struct Omega {
  double by_row = 0.0;       // omega1, over the rows whose |A||x| + |b| is significant
  double by_solution = 0.0;  // omega2, over the others, relative to |A||x| and the largest x
  double sum() const { return by_row + by_solution; }
  /// Raises omega to `error` if that is larger. A NaN is taken and then stays.
  static void raise(double& omega, double error) {
    if (error > omega || std::isnan(error)) omega = error;
  }
};

/// Solves for one call. W has four parts of N elements:
///   R  the right-hand side in pivot order, later the residual
///   Y  the unpermuted residual, work of the kernels, later the sums of |a x|
///   Z  the sums of |a|     (with refinement only, as the next)
///   S  the X before the last step
class SolveRun {
 public:
  SolveRun(const SolveCall& call, const Results& results)
      : call_(call),
        results_(results),
        kept_(call.kept),
        n_(kept_.n),
        top_(call.index, kept_.top_end, n_),
        lu_ints_(call.index.part(kept_.lu_ints, top_.first(kept_.nblks) - kept_.lu_ints)),
        lu_reals_(call.value.from(kept_.lu_reals)),
        rperm_(top_.rperm().data(), n_),
        cperm_(top_.cperm().data(), n_),
        b_(call.b, n_),
        x_(call.x, n_),
        r_(call.w, n_),
        y_(call.w + n_, n_) {}

  /// Runs the solve that JOB and TRANSC ask for. Returns false if an LU element does not stay inside.
  bool run() {
    if (call_.job == kSolveL) return call_.transposed ? solve_lt_only() : solve_l_only();
    if (call_.job == kSolveU) return call_.transposed ? solve_ut_only() : solve_u_only();
    return solve_and_refine();
  }

 private:
  // ---- The blocks

  Index first_of(Index b) const { return kept_.nblks == 1 ? 1 : top_.blkp(kept_.nblks)(b); }
  Index last_of(Index b) const { return kept_.nblks == 1 ? n_ : top_.blkp(kept_.nblks)(b + 1) - 1; }
  bool singleton(Index b) const { return kept_.nblks > 1 && first_of(b) == last_of(b); }
  /// Returns the position of the pivot or the header of block b, or 0 if it is not in 1..length.
  Index pointer_of(Index b, Index length) const {
    const Index pointer = kept_.nblks == 1 ? 1 : top_.lublkp(kept_.nblks)(b);
    return 1 <= pointer && pointer <= length ? pointer : 0;
  }
  bool divide_by_pivot(Index b, double& target) const {
    const Index pointer = pointer_of(b, lu_reals_.size());
    if (pointer > 0) target /= lu_reals_(pointer);
    return pointer > 0;
  }
  bool apply(Kernel kernel, Index b, const OneBased<double>& vector) const {
    const Index header = pointer_of(b, lu_ints_.size());
    return header > 0 && kernel({lu_ints_.from(header), lu_reals_},
                                vector.part(first_of(b), last_of(b) - first_of(b) + 1), y_);
  }

  /// Returns the product of row i of the off-diagonal part with r.
  double off_diagonal_sum(Index i) const {
    const OneBased<const int> offp(top_.offp());
    const int* columns = call_.index.data() + (kept_.offi - 1);
    const double* values = call_.value.data() + (kept_.offx - 1);
    double sum = 0.0;
    for (Index p = offp(i) - 1; p < offp(i + 1) - 1; ++p) sum += r_(columns[p]) * values[p];
    return sum;
  }
  /// Subtracts r(i) times row i of the off-diagonal part from target.
  void subtract_off_diagonal_transposed(Index i, const OneBased<double>& target) const {
    const OneBased<const int> offp(top_.offp());
    const int* columns = call_.index.data() + (kept_.offi - 1);
    const double* values = call_.value.data() + (kept_.offx - 1);
    for (Index p = offp(i) - 1; p < offp(i + 1) - 1; ++p) target(columns[p]) -= r_(i) * values[p];
  }

  // ---- Solves with L alone

  bool solve_l_only() const {
    for (Index i = 1; i <= n_; ++i) x_(i) = b_(rperm_(i));
    for (Index b = 1; b <= kept_.nblks; ++b)
      if (!singleton(b) && !apply(ma38_solve_l, b, x_)) return false;
    return true;
  }
  bool solve_lt_only() const {
    for (Index i = 1; i <= n_; ++i) r_(i) = b_(i);
    for (Index b = 1; b <= kept_.nblks; ++b)
      if (!singleton(b) && !apply(ma38_solve_lt, b, r_)) return false;
    for (Index i = 1; i <= n_; ++i) x_(rperm_(i)) = r_(i);
    return true;
  }

  // ---- Solves with U alone. The off-diagonal part of U is inv(L of the block) times that of A, which is
  // stored.

  bool solve_u_only() const {
    if (kept_.nblks == 1) {
      for (Index i = 1; i <= n_; ++i) r_(i) = b_(i);
      if (!apply(ma38_solve_u, 1, r_)) return false;
    } else {
      for (Index b = kept_.nblks; b >= 1; --b)
        if (!solve_u_block(b)) return false;
    }
    for (Index i = 1; i <= n_; ++i) x_(cperm_(i)) = r_(i);
    return true;
  }
  bool solve_u_block(Index b) const {
    const Index first = first_of(b), last = last_of(b);
    for (Index i = first; i <= last; ++i) x_(i) = off_diagonal_sum(i);
    if (first == last) {
      r_(first) = b_(first) - x_(first);
      return divide_by_pivot(b, r_(first));
    }
    if (!apply(ma38_solve_l, b, x_)) return false;
    for (Index i = first; i <= last; ++i) r_(i) = b_(i) - x_(i);
    return apply(ma38_solve_u, b, r_);
  }
  bool solve_ut_only() const {
    for (Index i = 1; i <= n_; ++i) x_(i) = b_(cperm_(i));
    if (kept_.nblks == 1) return apply(ma38_solve_ut, 1, x_);
    for (Index b = 1; b <= kept_.nblks; ++b)
      if (!solve_ut_block(b)) return false;
    return true;
  }
  bool solve_ut_block(Index b) const {
    const Index first = first_of(b), last = last_of(b);
    const bool solved = first == last ? divide_by_pivot(b, x_(first)) : apply(ma38_solve_ut, b, x_);
    for (Index i = first; i <= last; ++i) r_(i) = x_(i);
    if (!solved || (first < last && !apply(ma38_solve_lt, b, r_))) return false;
    for (Index i = first; i <= last; ++i) subtract_off_diagonal_transposed(i, x_);
    return true;
  }

  // ---- The whole solve; r is in pivot order on entry and on return

  bool solve_permuted() const {
    for (Index b = kept_.nblks; b >= 1; --b) {
      const Index first = first_of(b), last = last_of(b);
      if (kept_.nblks > 1)
        for (Index i = first; i <= last; ++i) r_(i) -= off_diagonal_sum(i);
      const bool solved = singleton(b) ? divide_by_pivot(b, r_(first))
                                       : apply(ma38_solve_l, b, r_) && apply(ma38_solve_u, b, r_);
      if (!solved) return false;
    }
    return true;
  }
  bool solve_permuted_transposed() const {
    for (Index b = 1; b <= kept_.nblks; ++b) {
      const Index first = first_of(b), last = last_of(b);
      const bool solved = singleton(b) ? divide_by_pivot(b, r_(first))
                                       : apply(ma38_solve_ut, b, r_) && apply(ma38_solve_lt, b, r_);
      if (!solved) return false;
      if (kept_.nblks > 1)
        for (Index i = first; i <= last; ++i) subtract_off_diagonal_transposed(i, r_);
    }
    return true;
  }
  /// Sets x to the solution for `right_side`, or adds it to x. Returns false, with x untouched, if an LU
  /// element does not stay inside.
  bool solve(const double* right_side, bool added) const {
    const OneBased<const double> given(right_side, n_);
    const OneBased<const int>& in = call_.transposed ? cperm_ : rperm_;
    const OneBased<const int>& out = call_.transposed ? rperm_ : cperm_;
    for (Index i = 1; i <= n_; ++i) r_(i) = given(in(i));
    if (!(call_.transposed ? solve_permuted_transposed() : solve_permuted())) return false;
    if (added)
      for (Index i = 1; i <= n_; ++i) x_(out(i)) += r_(i);
    else
      for (Index i = 1; i <= n_; ++i) x_(out(i)) = r_(i);
    return true;
  }

  // ---- Refinement

  bool solve_and_refine();
  template <class Visit>
  void for_each_entry(const Visit& visit) const;
  void find_residual() const;
  void find_residual_and_sums() const;
  Omega backward_error() const;
  void report(const Omega& omega) const {
    results_(MA38_RINFO_OMEGA1) = omega.by_row;
    results_(MA38_RINFO_OMEGA2) = omega.by_solution;
  }
  OneBased<double> z() const { return {call_.w + 2 * n_, n_}; }
  OneBased<double> s() const { return {call_.w + 3 * n_, n_}; }
  /// Returns CNTL(3) if it is in (0, 2^-15], else, for a NaN too, the largest value allowed.
  double relative_precision() const {
    return 0.0 < call_.epsilon && call_.epsilon <= kLargestEpsilon ? call_.epsilon : kLargestEpsilon;
  }

  const SolveCall& call_;
  const Results& results_;
  const KeptFactors& kept_;
  Index n_;
  FactorTop<const int> top_;
  OneBased<const int> lu_ints_;      // words of the LU elements
  OneBased<const double> lu_reals_;  // their reals
  OneBased<const int> rperm_, cperm_;
  OneBased<const double> b_;
  OneBased<double> x_, r_, y_;
};

bool SolveRun::solve_and_refine() {
  if (!solve(call_.b, false)) return false;
  if (call_.most_refinements == 0) return true;
  Omega omega;
  for (Index step = 0;; ++step) {
    const Omega before = omega;
    find_residual_and_sums();
    omega = backward_error();
    report(omega);
    results_(MA38_INFO_REFINEMENTS) = static_cast<int>(step);
    if (omega.sum() + 1.0 <= 1.0) return true;  // converged to rounding; a NaN is not
    if (step > 0 && !(omega.sum() <= kLeastFall * before.sum())) {
      results_(MA38_INFO_REFINEMENTS) = static_cast<int>(step - 1);
      // Undo a step that raised the error. One that only gained too little stays, but INFO(24) does not count
      // it: the contract counts the steps before the test failed.
      if (!(omega.sum() <= before.sum())) {
        std::copy_n(s().data(), n_, x_.data());
        report(before);
      }
      return true;
    }
    if (step == call_.most_refinements) return true;
    std::copy_n(x_.data(), n_, s().data());
    find_residual();
    if (!solve(y_.data(), true)) return false;
  }
}

/// Calls visit(row, column, value) for the entries of the preserved matrix, or of its transpose if TRANSC
/// asks for it.
template <class Visit>
void SolveRun::for_each_entry(const Visit& visit) const {
  const OneBased<const int> ap = call_.index.part(kept_.ap, n_ + 1);
  const int* rows = call_.index.data() + (kept_.ai - 1);
  const double* values = call_.value.data() + (kept_.ax - 1);
  for (Index j = 1; j <= n_; ++j) {
    for (Index p = ap(j) - 1; p < ap(j + 1) - 1; ++p)
      call_.transposed ? visit(j, Index{rows[p]}, values[p]) : visit(Index{rows[p]}, j, values[p]);
  }
}

void SolveRun::find_residual() const {
  std::copy_n(call_.b, n_, y_.data());
  for_each_entry([this](Index i, Index j, double a) { y_(i) -= x_(j) * a; });
}

void SolveRun::find_residual_and_sums() const {
  const OneBased<double> sums = z();
  std::copy_n(call_.b, n_, r_.data());
  std::fill_n(y_.data(), n_, 0.0);
  std::fill_n(sums.data(), n_, 0.0);
  for_each_entry([this, &sums](Index i, Index j, double a) {
    const double term = x_(j) * a;
    r_(i) -= term;
    y_(i) += std::fabs(term);
    sums(i) += std::fabs(a);
  });
}

Omega SolveRun::backward_error() const {
  const double size = std::fabs(x_(idamax(static_cast<int>(n_), x_.data())));
  const double tau_factor = static_cast<double>(n_) * relative_precision() * kTauFactor;
  const OneBased<double> sums = z();
  Omega omega;
  for (Index i = 1; i <= n_; ++i) {
    const double tau = (size * sums(i) + std::fabs(b_(i))) * tau_factor;
    const double by_row = std::fabs(b_(i)) + y_(i), by_solution = size * sums(i) + y_(i);
    if (std::isnan(r_(i)))  // comparisons would pass over it
      Omega::raise(omega.by_row, r_(i));
    else if (by_row > tau)
      Omega::raise(omega.by_row, std::fabs(r_(i)) / by_row);
    else if (tau > 0.0 && by_solution > 0.0)  // an empty row has no scale and does not count
      Omega::raise(omega.by_solution, std::fabs(r_(i)) / by_solution);
  }
  return omega;
}

}  // namespace

bool ma38_solve_driver(const SolveCall& call, const Results& results) {
  return SolveRun(call, results).run();
}

}  // namespace ma38
}  // namespace corvidnum
