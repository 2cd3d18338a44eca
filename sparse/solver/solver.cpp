// Factorises, judges and solves for the class SparseSolver.
//
// Factorise: take the values, scale the matrix, factorise it by the plan that suits it, and estimate the
// condition number of the scaled matrix. Above 1/epsilon the matrix is singular to working precision,
// provided that the factors are good ones, which a system with a known solution tells.
//
// Solve, for each right-hand side: solve, judge, refine while the error halves. A solution that misses the
// bound then makes, in this order, pivots be chosen anew if they were chosen for other values, the threshold
// be raised, and the other method be tried. The best solution of all counts.

#include "sparse/solver/solver.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>

#include "sparse/solver/judge.h"
#include "sparse/solver/norm_estimate.h"

namespace corvidnum::solver {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// Norms of a solution, relative to that of the right-hand side, from which on the matrix, whose own norm is
/// about 1, is worth a test for singularity. Rounding errors in the right-hand side are multiplied alike.
constexpr double kLargeSolution = 1e13;

double largest(const Array<double>& vector) {
  double most = 0;
  for (const double element : vector) most = std::max(most, std::abs(element));
  return most;
}

bool in_range(const SparseOptions& options) {
  int count = 0;
  const SparseOption* table = SparseOptionTable(&count);
  SparseOptions copy;
  for (int k = 0; k < count; ++k)
    if (!SetOption(&copy, table[k].name, GetOption(options, table[k].name))) return false;
  return true;
}

/// Returns whether a status of a solve leaves no solution.
bool is_failure(SparseStatus status) {
  return status != SparseStatus::Solved && status != SparseStatus::Unjudged &&
         status != SparseStatus::Inexact;
}

}  // namespace

// ---- The object

Solver::Solver(const Coordinates& given, const SparseOptions& options) : index_base_(given.index_base) {
  made_ = in_range(options) ? take(system_.set_pattern(given)) : SparseStatus::BadInput;
  if (made_ != SparseStatus::NotFactorised) return;
  options_ = options;
  report_.order = system_.order();
  report_.entries = system_.entries();
  report_.duplicates = system_.duplicates();
  for (Array<double>* vector : {&b_, &y_, &best_, &residual_, &terms_, &correction_})
    if (!vector->allocate(system_.order())) made_ = SparseStatus::NoMemory;
}

SparseStatus Solver::set_options(const SparseOptions& options) {
  if (!in_range(options)) return SparseStatus::BadInput;
  options_ = options;
  return state();
}

SparseStatus Solver::take(Fault fault) {
  report_.first_fault = fault.place;
  return fault.status;
}

// ---- Factorising

SparseStatus Solver::factorise(const double* values) {
  if (made_ != SparseStatus::NotFactorised) return made_;
  if (const SparseStatus taken = take(system_.set_values(values)); taken != SparseStatus::NotFactorised)
    return taken;
  return choose_pivots();
}

/// Scales the values held and factorises them with pivots of their own.
SparseStatus Solver::choose_pivots() {
  old_pivots_ = false;
  state_ = SparseStatus::NotFactorised;
  if (!scale(ScalingEffort::kQuick)) return SparseStatus::NoMemory;
  const SparseStatus status = factors_.factorise(options_);
  tested_ = false;
  report_.condition = 0;
  return enter(options_.judge ? test(status) : status);
}

/// Chooses scales and applies them. @return false: memory was refused
bool Solver::scale(ScalingEffort effort) {
  effort_ = effort;
  if (!system_.choose_scales(effort)) return false;
  system_.apply_scales();
  return true;
}

SparseStatus Solver::refactorise(const double* values) {
  if (made_ != SparseStatus::NotFactorised) return made_;
  if (const SparseStatus taken = take(system_.set_values(values)); taken != SparseStatus::NotFactorised)
    return taken;
  if (state_ != SparseStatus::Factorised) return choose_pivots();
  if (!system_.apply_scales()) return choose_pivots();
  tested_ = false;
  report_.condition = 0;
  old_pivots_ = true;
  state_ = factors_.refactorise();
  if (state_ == SparseStatus::Factorised) return state_;
  const bool refused = state_ == SparseStatus::NoMemory;
  state_ = SparseStatus::NotFactorised;
  return refused ? SparseStatus::NoMemory : choose_pivots();
}

/// Tests new factors for singularity, and goes on to others where these are not good enough to tell.
/// @param status of the factorisation
SparseStatus Solver::test(SparseStatus status) {
  tested_ = false;
  report_.condition = 0;
  while (status == SparseStatus::Factorised) {
    if (!estimate_condition(factors_.engine(), report_.condition)) return SparseStatus::NoMemory;
    if (report_.condition < kSingular) {
      tested_ = true;
      return status;
    }
    if (effort_ == ScalingEffort::kQuick) {  // the condition may be that of the scales
      if (!scale(ScalingEffort::kThorough)) return SparseStatus::NoMemory;
      status = factors_.repeat();
      continue;
    }
    double raw = 0;
    if (!estimate_raw_condition(raw)) return SparseStatus::NoMemory;
    if (raw < kSingular) {  // a scaling that spoils the matrix proves nothing
      report_.condition = raw;
      tested_ = true;
      return status;
    }
    if (factors_serve()) return SparseStatus::Singular;
    status = factors_.improve(options_);
    if (status == SparseStatus::NotFactorised) return SparseStatus::Singular;  // as far as any factors tell
  }
  if (status == SparseStatus::Singular) report_.condition = kInfinity;
  return status;
}

/// Estimates the condition number of the scaled matrix, or of that part of it for which an engine has pivots.
/// @return false: memory was refused
bool Solver::estimate_condition(Engine& engine, double& condition) {
  const auto inverse = [&](bool transposed) {
    return [&, transposed](double* x) {
      std::copy(x, x + system_.order(), b_.data());
      return engine.solve(transposed, b_.data(), x);
    };
  };
  double norm = 0;
  if (!estimate_norm1(system_.order(), inverse(false), inverse(true), norm)) return false;
  condition = norm * system_.scaled_norm();
  if (std::isnan(condition)) condition = kInfinity;
  return true;
}

/// Tells whether the factors solve a system whose solution is 1 everywhere within the bound.
bool Solver::factors_serve() {
  y_.fill(1);
  b_.fill(0);
  compute_residual(system_, false, y_.data(), b_.data(), correction_.data(), terms_.data());
  for (int i = 0; i < system_.order(); ++i) b_[i] = -correction_[i];
  const int corrections = report_.corrections;  // which are told of the caller's solutions only
  const bool served = factors_.solve(false, b_.data(), y_.data()) &&
                      refined(false, judge(false, y_.data())) <= options_.bound;
  report_.corrections = corrections;
  return served;
}

// ---- Solving

SparseStatus Solver::solve(bool transposed, const double* b, double* x, int count) {
  if (made_ != SparseStatus::NotFactorised) return made_;
  report_.backward_error = report_.first_backward_error = -1;
  report_.corrections = 0;
  if (const SparseStatus checked = check_vectors(b, x, count); checked != state_) return checked;
  const bool untested = options_.judge && !tested_ && !old_pivots_;  // `judge` was off when they were made
  if (state_ == SparseStatus::Factorised && untested && tested_state() == SparseStatus::NoMemory)
    return SparseStatus::NoMemory;
  if (state_ != SparseStatus::Factorised) return state_;
  SparseStatus worst = options_.judge ? SparseStatus::Solved : SparseStatus::Unjudged;
  const std::int64_t n = system_.order();
  for (std::int64_t k = 0; k < count && !is_failure(worst); ++k) {
    const SparseStatus status = solve_one(transposed, b + k * n, x + k * n);
    if (status == SparseStatus::Inexact || is_failure(status)) worst = status;
  }
  return worst;
}

/// @return the state of the factors if the vectors are as they should be
SparseStatus Solver::check_vectors(const double* b, const double* x, int count) {
  if (!b || !x || count < 1) return take({SparseStatus::BadInput, -1});
  const std::int64_t fault = first_not_finite(b, std::int64_t{system_.order()} * count);
  return take({fault < 0 ? state_ : SparseStatus::NotFinite, fault});
}

SparseStatus Solver::solve_one(bool transposed, const double* b, double* x) {
  if (options_.judge) return solve_until_exact(transposed, b, x);
  scale_rhs(transposed, b);
  if (!factors_.solve(transposed, b_.data(), y_.data())) return SparseStatus::NotFactorised;
  write_solution(transposed, x);
  return SparseStatus::Unjudged;
}

SparseStatus Solver::solve_until_exact(bool transposed, const double* b, double* x) {
  double best = kInfinity;
  SparseMethod best_method = factors_.method();
  for (bool has_one = false;;) {
    const double error = attempt(transposed, b);
    const bool exact = error <= options_.bound;
    const bool suspect = exact && !tested_ && proves_near_singularity();
    if (!suspect && (!has_one || error < best)) {
      has_one = true;
      best_.swap(correction_);
      best = error;
      best_method = factors_.method();
    }
    if (exact && !suspect) break;
    const SparseStatus next = suspect ? test_again() : better_factors();
    if (next == SparseStatus::NotFactorised) break;
    if (next != SparseStatus::Factorised) return next;
  }
  factors_.keep(best_method);
  report_.backward_error = std::max(report_.backward_error, best);
  std::copy(best_.begin(), best_.end(), x);
  return best <= options_.bound ? SparseStatus::Solved : SparseStatus::Inexact;
}

/// Returns the state of the factors after a test for singularity, which is made now if it was not before.
SparseStatus Solver::tested_state() {
  if (state_ == SparseStatus::Singular || (state_ == SparseStatus::Factorised && tested_)) return state_;
  const bool fresh = state_ == SparseStatus::Factorised && !old_pivots_;
  const SparseStatus status = fresh ? state_ : choose_pivots();
  return status == SparseStatus::Factorised && !tested_ ? enter(test(status)) : status;
}

/// Enters the state that new factors, or their test, have led to.
SparseStatus Solver::enter(SparseStatus status) {
  state_ = status == SparseStatus::NoMemory ? SparseStatus::NotFactorised : status;
  return status;
}

/// Tests factors that were not tested. Those with old pivots are replaced first.
SparseStatus Solver::test_again() {
  if (!old_pivots_) return enter(test(SparseStatus::Factorised));
  ++report_.new_pivots;
  return choose_pivots();
}

/// Replaces factors that miss the bound.
/// @return `Factorised`, `Singular`, `NoMemory`; or `NotFactorised`: there are no others
SparseStatus Solver::better_factors() {
  if (old_pivots_ && options_.repair > 0) return test_again();
  const SparseStatus status = factors_.improve(options_);
  return status == SparseStatus::NotFactorised ? status : enter(test(status));
}

/// Solves for b, judges and refines. The solution y_ is then in correction_, in the caller's units.
/// @return its backward error; infinity if there is no finite solution in the caller's units
double Solver::attempt(bool transposed, const double* b) {
  scale_rhs(transposed, b);
  if (!factors_.solve(transposed, b_.data(), y_.data())) {
    write_solution(transposed, correction_.data());
    return kInfinity;
  }
  const double error = judge(transposed, y_.data());
  report_.first_backward_error = std::max(report_.first_backward_error, error);
  const double left = refined(transposed, error);
  if (!write_solution(transposed, correction_.data())) return kInfinity;
  if (!loses_digits(correction_)) return left;
  read_solution(transposed, correction_.data());
  return judge(transposed, y_.data());
}

/// Refines y_ by corrections from residuals in the same precision, as long as the error is above the bound
/// and halves.
/// @param error of y_, as judge() has just found it
/// @return the error left
double Solver::refined(bool transposed, double error) {
  int steps = 0;
  for (bool halved = true; halved && error > options_.bound && steps < options_.corrections;) {
    if (!factors_.solve(transposed, residual_.data(), correction_.data())) break;
    for (int j = 0; j < system_.order(); ++j) correction_[j] += y_[j];
    const double left = judge(transposed, correction_.data());
    if (!(left < error)) break;
    std::copy(correction_.begin(), correction_.end(), y_.begin());
    halved = left <= error / 2;
    error = left;
    ++steps;
  }
  report_.corrections = std::max(report_.corrections, steps);
  return error;
}

double Solver::judge(bool transposed, const double* y) {
  return backward_error(system_, transposed, y, b_.data(), residual_.data(), terms_.data());
}

/// Sets b_ to the right-hand side in the scales of the system. Where that would overflow, or lose digits by
/// underflow, it is multiplied by another power of two as well.
void Solver::scale_rhs(bool transposed, const double* b) {
  const double* scale = system_.rhs_scale(transposed);
  const int n = system_.order();
  bool inexact = false;
  for (int i = 0; i < n; ++i) {  // without a branch, so that it becomes vector code
    b_[i] = b[i] * scale[i];
    const double size = std::abs(b_[i]);
    inexact |= (b[i] != 0) & !((DBL_MIN <= size) & (size <= DBL_MAX));
  }
  shift_ = 0;
  if (!inexact) return;
  const int* exponent = system_.rhs_exponents(transposed);
  shift_ = std::numeric_limits<int>::min();
  for (int i = 0; i < n; ++i)
    if (b[i] != 0) shift_ = std::max(shift_, std::ilogb(b[i]) + exponent[i]);
  for (int i = 0; i < n; ++i) b_[i] = std::ldexp(b[i], exponent[i] - shift_);
}

/// Writes the solution in the caller's units.
/// @return false: an element is not finite
bool Solver::write_solution(bool transposed, double* x) const {
  const double* scale = system_.unknown_scale(transposed);
  const int* exponent = system_.unknown_exponents(transposed);
  const int n = system_.order();
  if (shift_ == 0)
    for (int j = 0; j < n; ++j) x[j] = y_[j] * scale[j];
  else
    for (int j = 0; j < n; ++j) x[j] = std::ldexp(y_[j], exponent[j] + shift_);
  return first_not_finite(x, n) < 0;
}

/// Sets y_ to a solution in the caller's units.
void Solver::read_solution(bool transposed, const double* x) {
  const int* exponent = system_.unknown_exponents(transposed);
  for (int j = 0; j < system_.order(); ++j) y_[j] = std::ldexp(x[j], -exponent[j] - shift_);
}

/// Tells whether an element of y_ may have been rounded when it was written to x, since it underflows there.
bool Solver::loses_digits(const Array<double>& x) const {
  bool loses = false;
  for (int j = 0; j < system_.order(); ++j) {
    const double size = std::abs(x[j]);
    loses |= (size < DBL_MIN) & (y_[j] != 0);
  }
  return loses;
}

bool Solver::proves_near_singularity() const { return largest(y_) > kLargeSolution * largest(b_); }

// ---- Condition and errors

SparseStatus Solver::condition_estimate(double* raw, double* equilibrated) {
  const SparseStatus now = state();
  const double unknown = now == SparseStatus::Singular ? kInfinity : std::numeric_limits<double>::quiet_NaN();
  if (raw) *raw = unknown;
  if (equilibrated) *equilibrated = unknown;
  if (now != SparseStatus::Factorised) return now;
  if (raw && !estimate_raw_condition(*raw)) return SparseStatus::NoMemory;
  if (!equilibrated) return now;
  Array<int> rows, columns;
  const bool done =
      system_.equilibrate_thoroughly(rows, columns) && estimate_condition_in(rows, columns, *equilibrated);
  return done ? now : SparseStatus::NoMemory;
}

/// Estimates the condition number of the matrix in the caller's units.
/// @return false: memory was refused
bool Solver::estimate_raw_condition(double& condition) {
  Array<int> none;
  if (!none.allocate(system_.order())) return false;
  none.fill(0);
  return estimate_condition_in(none, none, condition);
}

/// Estimates the condition number of the matrix whose rows and columns are multiplied by powers of two.
/// @param rows, columns [order] their exponents
/// @return false: memory was refused
bool Solver::estimate_condition_in(const Array<int>& rows, const Array<int>& columns, double& condition) {
  const auto divide = [this](double* x, const Array<int>& exponents) {
    for (int i = 0; i < system_.order(); ++i) x[i] = std::ldexp(x[i], -exponents[i]);
  };
  const auto inverse = [&](bool transposed) {
    return [&, transposed](double* x) {
      divide(x, transposed ? columns : rows);
      scale_rhs(transposed, x);
      if (!factors_.solve(transposed, b_.data(), y_.data()) || !write_solution(transposed, x)) return false;
      divide(x, transposed ? rows : columns);
      return true;
    };
  };
  double norm = 0;
  if (!estimate_norm1(system_.order(), inverse(false), inverse(true), norm)) return false;
  condition = norm * system_.norm(rows, columns);
  return true;
}

// The error of x is at most inv(A) (|residual| + its rounding), so its largest element is at most the
// infinity norm of inv(A) diag(w), which is the 1-norm of the transposed operator.
SparseStatus Solver::forward_error_bound(const double* b, const double* x, bool transposed, double* bound) {
  if (made_ != SparseStatus::NotFactorised) return made_;
  if (!bound) return take({SparseStatus::BadInput, -1});
  *bound = kInfinity;
  if (const SparseStatus checked = check_vectors(b, x, 1); checked != state_) return checked;
  if (const std::int64_t fault = first_not_finite(x, system_.order()); fault >= 0)
    return take({SparseStatus::NotFinite, fault});
  if (state_ != SparseStatus::Factorised) return state_;
  const int n = system_.order();
  const int* unknown = system_.unknown_exponents(transposed);
  scale_rhs(transposed, b);
  read_solution(transposed, x);
  compute_residual(system_, transposed, y_.data(), b_.data(), residual_.data(), terms_.data());
  const Pattern pattern = system_.pattern();
  const int* begin = transposed ? pattern.column_begin : pattern.row_begin;
  for (int i = 0; i < n; ++i) {  // terms_ becomes w
    const double rounding = (begin[i + 1] - begin[i] + 1) * DBL_EPSILON / 2;
    terms_[i] = std::abs(residual_[i]) + rounding * (terms_[i] + std::abs(b_[i]));
  }
  // Errors are compared in the caller's units, relative to the largest unknown there.
  double size = 0;
  for (int j = 0; j < n; ++j) size = std::max(size, std::abs(x[j]));
  const auto unit = [&](int j) { return std::ldexp(1 / size, unknown[j] + shift_); };
  const auto weighted = [&](double* v) {  // diag(w) inv(S') diag(unit)
    for (int j = 0; j < n; ++j) b_[j] = v[j] * unit(j);
    if (!factors_.solve(!transposed, b_.data(), v)) return false;
    for (int i = 0; i < n; ++i) v[i] *= terms_[i];
    return true;
  };
  const auto its_transpose = [&](double* v) {
    for (int i = 0; i < n; ++i) b_[i] = v[i] * terms_[i];
    if (!factors_.solve(transposed, b_.data(), v)) return false;
    for (int j = 0; j < n; ++j) v[j] *= unit(j);
    return true;
  };
  if (size == 0) {
    if (largest(b_) == 0) *bound = 0;
    return state_;
  }
  return estimate_norm1(n, weighted, its_transpose, *bound) ? state_ : SparseStatus::NoMemory;
}

}  // namespace corvidnum::solver
