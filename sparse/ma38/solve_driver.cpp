#include "sparse/ma38/solve_driver.h"

#include <cmath>

#include "frame/idamax.h"

namespace corvidnum {
namespace ma38 {
namespace {

constexpr double kLargestEpsilon = 3.0517578125e-05;  // 2^-15
constexpr double kTauFactor = 1000.0;
constexpr double kLeastFall = 0.5;

enum Job { kSolveL = 1, kSolveU = 2 };
using Kernel = int (*)(const BlockFactors&, OneBased<double>, OneBased<double>);

struct Omega {
  double by_row = 0.0, by_solution = 0.0;  // omega1, omega2
  double sum() const { return by_row + by_solution; }
};

/// One call. W has, N each:
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
        rperm_(top_.rperm().data(), n_),
        cperm_(top_.cperm().data(), n_),
        b_(call.b, n_),
        x_(call.x, n_),
        r_(call.w, n_),
        y_(call.w + n_, n_) {}

  void run() {
    if (call_.job == kSolveL)
      call_.transposed ? solve_lt_only() : solve_l_only();
    else if (call_.job == kSolveU)
      call_.transposed ? solve_ut_only() : solve_u_only();
    else
      solve_and_refine();
  }

 private:
  // ---- The blocks

  Index first_of(Index b) const { return kept_.nblks == 1 ? 1 : top_.blkp(kept_.nblks)(b); }
  Index last_of(Index b) const { return kept_.nblks == 1 ? n_ : top_.blkp(kept_.nblks)(b + 1) - 1; }
  bool singleton(Index b) const { return kept_.nblks > 1 && first_of(b) == last_of(b); }
  double pivot_of(Index b) const { return call_.value(kept_.lu_reals + top_.lublkp(kept_.nblks)(b) - 1); }
  BlockFactors factors_of(Index b) const {
    const Index header = kept_.nblks == 1 ? 1 : top_.lublkp(kept_.nblks)(b);
    const OneBased<const int> ints = call_.index.from(kept_.lu_ints + header - 1);
    return {ints, call_.value.from(kept_.lu_reals + ints(kBlockReals + 1) - 1)};
  }
  void apply(Kernel kernel, Index b, const OneBased<double>& vector) const {
    kernel(factors_of(b), vector.part(first_of(b), last_of(b) - first_of(b) + 1), y_);
  }

  /// target -= the sum of the entries of row i off the blocks, times r.
  void subtract_off_diagonal(Index i, double& target) const {
    const OneBased<const int> offp(top_.offp());
    const int* columns = call_.index.data() + (kept_.offi - 1);
    const double* values = call_.value.data() + (kept_.offx - 1);
    double sum = target;
    for (Index p = offp(i) - 1; p < offp(i + 1) - 1; ++p) sum -= r_(columns[p]) * values[p];
    target = sum;
  }
  /// target -= the entries of row i off the blocks, times r(i).
  void subtract_off_diagonal_transposed(Index i, const OneBased<double>& target) const {
    const OneBased<const int> offp(top_.offp());
    const int* columns = call_.index.data() + (kept_.offi - 1);
    const double* values = call_.value.data() + (kept_.offx - 1);
    for (Index p = offp(i) - 1; p < offp(i + 1) - 1; ++p) target(columns[p]) -= r_(i) * values[p];
  }

  // ---- Solves with L alone

  void solve_l_only() const {
    for (Index i = 1; i <= n_; ++i) x_(i) = b_(rperm_(i));
    for (Index b = 1; b <= kept_.nblks; ++b)
      if (!singleton(b)) apply(ma38_solve_l, b, x_);
  }
  void solve_lt_only() const {
    for (Index i = 1; i <= n_; ++i) r_(i) = b_(i);
    for (Index b = 1; b <= kept_.nblks; ++b)
      if (!singleton(b)) apply(ma38_solve_lt, b, r_);
    for (Index i = 1; i <= n_; ++i) x_(rperm_(i)) = r_(i);
  }

  // ---- Solves with U alone. U off the blocks is the inverse of the block's L times the entries there.

  void solve_u_only() const {
    if (kept_.nblks == 1) {
      for (Index i = 1; i <= n_; ++i) r_(i) = b_(i);
      apply(ma38_solve_u, 1, r_);
    } else {
      for (Index b = kept_.nblks; b >= 1; --b) solve_u_block(b);
    }
    for (Index i = 1; i <= n_; ++i) x_(cperm_(i)) = r_(i);
  }
  void solve_u_block(Index b) const {
    const Index first = first_of(b), last = last_of(b);
    for (Index i = first; i <= last; ++i) {
      double less = 0.0;
      subtract_off_diagonal(i, less);
      x_(i) = -less;
    }
    if (first == last) {
      r_(first) = (b_(first) - x_(first)) / pivot_of(b);
      return;
    }
    apply(ma38_solve_l, b, x_);
    for (Index i = first; i <= last; ++i) r_(i) = b_(i) - x_(i);
    apply(ma38_solve_u, b, r_);
  }
  void solve_ut_only() const {
    for (Index i = 1; i <= n_; ++i) x_(i) = b_(cperm_(i));
    if (kept_.nblks == 1) {
      apply(ma38_solve_ut, 1, x_);
      return;
    }
    for (Index b = 1; b <= kept_.nblks; ++b) {
      const Index first = first_of(b), last = last_of(b);
      if (first == last) {
        x_(first) /= pivot_of(b);
        r_(first) = x_(first);
      } else {
        apply(ma38_solve_ut, b, x_);
        for (Index i = first; i <= last; ++i) r_(i) = x_(i);
        apply(ma38_solve_lt, b, r_);
      }
      for (Index i = first; i <= last; ++i) subtract_off_diagonal_transposed(i, x_);
    }
  }

  // ---- The whole solve, r in and out in pivot order

  void solve_permuted() const {
    for (Index b = kept_.nblks; b >= 1; --b) {
      const Index first = first_of(b), last = last_of(b);
      if (kept_.nblks > 1)
        for (Index i = first; i <= last; ++i) subtract_off_diagonal(i, r_(i));
      if (singleton(b)) {
        r_(first) /= pivot_of(b);
      } else {
        apply(ma38_solve_l, b, r_);
        apply(ma38_solve_u, b, r_);
      }
    }
  }
  void solve_permuted_transposed() const {
    for (Index b = 1; b <= kept_.nblks; ++b) {
      const Index first = first_of(b), last = last_of(b);
      if (singleton(b)) {
        r_(first) /= pivot_of(b);
      } else {
        apply(ma38_solve_ut, b, r_);
        apply(ma38_solve_lt, b, r_);
      }
      if (kept_.nblks > 1)
        for (Index i = first; i <= last; ++i) subtract_off_diagonal_transposed(i, r_);
    }
  }
  /// x becomes the solution for `right_side`, or has it added.
  void solve(const double* right_side, bool added) const {
    const OneBased<const double> given(right_side, n_);
    const OneBased<const int>& in = call_.transposed ? cperm_ : rperm_;
    const OneBased<const int>& out = call_.transposed ? rperm_ : cperm_;
    for (Index i = 1; i <= n_; ++i) r_(i) = given(in(i));
    call_.transposed ? solve_permuted_transposed() : solve_permuted();
    if (added)
      for (Index i = 1; i <= n_; ++i) x_(out(i)) += r_(i);
    else
      for (Index i = 1; i <= n_; ++i) x_(out(i)) = r_(i);
  }

  // ---- Refinement

  void solve_and_refine();
  template <class Visit>
  void for_each_entry(const Visit& visit) const;
  void find_residual() const;
  void find_residual_and_sums() const;
  Omega backward_error() const;
  void report(const Omega& omega) const {
    results_(kOmega1) = omega.by_row;
    results_(kOmega2) = omega.by_solution;
  }
  OneBased<double> z() const { return {call_.w + 2 * n_, n_}; }
  OneBased<double> s() const { return {call_.w + 3 * n_, n_}; }
  double relative_precision() const {  // of anything else, a NaN too, the largest is taken
    return 0.0 < call_.epsilon && call_.epsilon <= kLargestEpsilon ? call_.epsilon : kLargestEpsilon;
  }

  const SolveCall& call_;
  const Results& results_;
  const KeptFactors& kept_;
  Index n_;
  FactorTop<const int> top_;
  OneBased<const int> rperm_, cperm_;
  OneBased<const double> b_;
  OneBased<double> x_, r_, y_;
};

void SolveRun::solve_and_refine() {
  solve(call_.b, false);
  if (call_.most_refinements == 0) return;
  Omega omega;
  for (Index step = 0;; ++step) {
    const Omega before = omega;
    find_residual_and_sums();
    omega = backward_error();
    report(omega);
    results_(kRefinements) = static_cast<int>(step);
    if (!(omega.sum() + 1.0 > 1.0)) return;
    if (step > 0 && omega.sum() > kLeastFall * before.sum()) {
      results_(kRefinements) = static_cast<int>(step - 1);
      if (omega.sum() > before.sum()) {  // the last step made it worse; one that gained too little stays
        std::copy_n(s().data(), n_, x_.data());
        report(before);
      }
      return;
    }
    if (step == call_.most_refinements) return;
    std::copy_n(x_.data(), n_, s().data());
    find_residual();
    solve(y_.data(), true);
  }
}

/// Calls visit(row, column, value) for the entries of the matrix preserved, transposed if that is solved.
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
    if (by_row > tau)
      omega.by_row = std::max(omega.by_row, std::fabs(r_(i)) / by_row);
    else if (tau > 0.0 && by_solution > 0.0)  // an empty row has no scale and does not count
      omega.by_solution = std::max(omega.by_solution, std::fabs(r_(i)) / by_solution);
  }
  return omega;
}

}  // namespace

void ma38_solve_driver(const SolveCall& call, const Results& results) { SolveRun(call, results).run(); }

}  // namespace ma38
}  // namespace corvidnum
