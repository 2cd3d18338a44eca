#include "apps/column/step_solver.h"

namespace column {
namespace {

using corvidnum::SparseStatus;

corvidnum::SparseOptions options_for(StepMethod method) {
  constexpr int kUsualSteps = 8;
  corvidnum::SparseOptions options;
  options.method = method;
  options.factorisations = kUsualSteps;
  return options;
}

}  // namespace

StepSolver::StepSolver(StepMethod method, const SparseEntries& entries, int order)
    : solver_(order, entries.size(), entries.rows.data(), entries.columns.data(), 1, options_for(method)) {}

bool StepSolver::solve(const SparseEntries& entries, const std::vector<double>& right_side,
                       std::vector<double>& solution) {
  constexpr double kUseful = 1e-8;  // backward error of a step that still leads closer
  if (solver_.Refactorise(entries.values.data()) != SparseStatus::Factorised) return false;
  solution.resize(right_side.size());
  const SparseStatus status = solver_.Solve(right_side.data(), solution.data());
  return status == SparseStatus::Solved ||
         (status == SparseStatus::Inexact && solver_.Report().backward_error <= kUseful);
}

}  // namespace column
