#include "apps/solve/attempt.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

#include "apps/common/progress.h"
#include "apps/solve/singularity.h"

namespace solve {
namespace {

using corvidnum::SparseOptions;
using corvidnum::SparseSolver;
using corvidnum::SparseStatus;

SparseSolver make_solver(const Matrix& matrix, const SparseOptions& options) {
  return {matrix.rows, static_cast<int>(matrix.value.size()), matrix.row.data(), matrix.column.data(), 1,
          options};
}

/// Factorises the second matrix on the pivots of the first. The class does not test these factors for
/// singularity; where the matrix looks singular by them, it gets pivots of its own, and with them the test.
SparseStatus refactorise(SparseSolver& solver, const System& system, Attempt& a) {
  constexpr double kNoDigitIsSure = 1 / std::numeric_limits<double>::epsilon();
  SparseStatus status;
  {
    const apps::Phase phase("refactorising", a.refactorise_time);
    status = solver.Refactorise(system.values.data());
  }
  if (status != SparseStatus::Factorised) return status;
  const apps::Phase phase("checking", a.check_time);
  status = solver.ConditionEstimate(nullptr, &a.condition);
  if (status != SparseStatus::Factorised || a.condition < kNoDigitIsSure) return status;
  return solver.Factorise(system.values.data());
}

SparseStatus solve(SparseSolver& solver, const System& system, bool refine, Attempt& a) {
  const apps::Phase phase("solving", a.solve_time);
  a.x.resize(system.b.size());
  const auto run = [&] {
    return system.transposed ? solver.SolveTransposed(system.b.data(), a.x.data())
                             : solver.Solve(system.b.data(), a.x.data());
  };
  const SparseStatus status = run();
  if (!refine || status != SparseStatus::Solved) return status;
  // Corrections by the same factors go on while they help.
  constexpr double kHardlyEverMet = 1e-16;
  SparseOptions options = solver.Options();
  options.repair = 0;
  options.bound = kHardlyEverMet;
  solver.SetOptions(options);
  const SparseStatus refined = run();
  return refined == SparseStatus::Inexact ? status : refined;
}

BlockCounts count_blocks(const BlockForm& form) {
  BlockCounts counts;
  if (form.count() == 0) return counts;
  counts.all = form.count();
  for (std::size_t b = 0; b + 1 < form.begin.size(); ++b) {
    const int order = form.begin[b + 1] - form.begin[b];
    counts.of_order_1 += order == 1;
    counts.largest = std::max(counts.largest, order);
  }
  return counts;
}

void measure(SparseSolver& solver, const System& system, Attempt& a) {
  const apps::Phase phase("checking", a.check_time);
  if (a.report.condition > 0) a.condition = a.report.condition;
  a.form = block_form(solver);
  a.blocks = count_blocks(a.form);
  const SparseStatus status =
      solver.ForwardErrorBound(system.b.data(), a.x.data(), system.transposed, &a.forward_error);
  if (status == SparseStatus::NoMemory) throw std::bad_alloc();  // no bound would mean that no digit is sure
}

std::string inexact(const Attempt& a, const SparseOptions& options) {
  if (!std::isfinite(a.report.backward_error)) return "the solution is too large for numbers";
  const bool has_other = options.method != corvidnum::SparseMethod::automatic;
  return fmt::format("the solution has a backward error of {:.1e}, above {:g}{}", a.report.backward_error,
                     options.bound, has_other ? "; try --solver auto" : "");
}

std::string fault(SparseSolver& solver, const System& system, const SparseOptions& options,
                  const Attempt& a) {
  switch (a.status) {
    case SparseStatus::Singular:
      return describe_singularity(solver, system.transposed);
    case SparseStatus::Inexact:
      return inexact(a, options);
    case SparseStatus::NoMemory:
      return "the factors need more room than there is";
    default:
      return corvidnum::StatusText(a.status);
  }
}

}  // namespace

Attempt attempt(const System& system, const SparseOptions& options, bool refine) {
  Attempt a;
  const auto begin = [&]() -> SparseSolver {
    const apps::Phase phase("reading the pattern", a.factorise_time);
    return make_solver(system.matrix, options);
  };
  SparseSolver solver = begin();
  {
    const apps::Phase phase("factorising", a.factorise_time);
    a.status = solver.Factorise(system.matrix.value.data());
  }
  const int factorisations = solver.Report().factorisations;
  const bool second = system.second && a.status == SparseStatus::Factorised;
  if (second) a.status = refactorise(solver, system, a);
  if (a.status == SparseStatus::Factorised) a.status = solve(solver, system, refine, a);
  a.report = solver.Report();
  a.new_pivots = second && a.report.factorisations > factorisations;
  if (a.solved()) {
    measure(solver, system, a);
    return a;
  }
  a.fault = (second ? system.name() : system.matrix.name) + ": " + fault(solver, system, options, a);
  if (a.status == SparseStatus::Singular) {
    a.deficit = deficit(solver);
    a.form = block_form(solver);
  }
  return a;
}

}  // namespace solve
