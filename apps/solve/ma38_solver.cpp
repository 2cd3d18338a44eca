#include "apps/solve/ma38_solver.h"

#include <fmt/format.h>

#include <utility>

namespace solve {
namespace {

/// The threshold of the pivot test where the user gives none. It is larger than that of the routines: with
/// the diagonal preferred it costs hardly any fill-in, and elements grow less.
constexpr double kThreshold = 0.5;

}  // namespace

using apps::Multifrontal;

Ma38Solver::Ma38Solver(const Matrix& matrix, const SolverSettings& settings)
    : matrix_(matrix),
      routines_(matrix.rows, matrix.row, matrix.column,
                {settings.block_form, settings.keep_matrix, settings.threshold.value_or(kThreshold),
                 settings.prefer_diagonal}) {}

/// Throws if the status is an error; warnings are left to the caller.
void Ma38Solver::refuse(const char* phase, int status) const {
  const bool no_room = MA38_STATUS_BOTH_TOO_SHORT <= status && status <= MA38_STATUS_INDEX_TOO_SHORT;
  if (status < 0) throw refusal(matrix_, phase, no_room, status);
}

void Ma38Solver::factorise(const std::vector<double>& values, const std::string& name) {
  const int status = routines_.factorise(values);
  refuse("factorisation", status);
  if (routines_.warned(MA38_WARNING_SINGULAR))
    throw Singular(fmt::format("{}: the matrix is singular: rank {}, order {}", name,
                               routines_.info(MA38_INFO_PIVOTS), matrix_.rows));
}

bool Ma38Solver::refactorise(const std::vector<double>& values) {
  const int status = routines_.refactorise(values);
  if (status == MA38_STATUS_PIVOT_ORDER_FAILED) return false;
  refuse("refactorisation", status);
  return !routines_.warned(MA38_WARNING_ENTRIES) && !routines_.warned(MA38_WARNING_SINGULAR);
}

Solution Ma38Solver::solve(const std::vector<double>& b, bool transposed, Effort effort) {
  constexpr int kMostRefinements = 10;
  const int refinements = effort >= Effort::kRefine ? kMostRefinements : 0;
  Multifrontal::Answer answer = routines_.solve(b, transposed, refinements);
  if (answer.status != 0) throw refusal(matrix_, "solution", false, answer.status);
  Solution solution;
  solution.x = std::move(answer.x);
  if (refinements == 0) return solution;
  solution.backward_errors = {answer.omega1, answer.omega2};
  solution.refinements = answer.refinements;
  // After the most steps allowed with an error above rounding, the routine stopped for want of steps.
  solution.refined = answer.refinements < kMostRefinements || !(1 + (answer.omega1 + answer.omega2) > 1);
  return solution;
}

Facts Ma38Solver::facts() const {
  Facts facts;
  facts.blocks = routines_.info(MA38_INFO_BLOCKS);
  facts.singletons = routines_.info(MA38_INFO_SINGLETONS);
  facts.duplicates = routines_.info(MA38_INFO_DUPLICATES);
  facts.rank = routines_.info(MA38_INFO_PIVOTS);
  facts.factor_entries = routines_.info(MA38_INFO_FACTOR_ENTRIES);
  facts.operations = routines_.rinfo(MA38_RINFO_BLAS_FLOPS);
  facts.level3_operations = routines_.rinfo(MA38_RINFO_LEVEL3_FLOPS);
  facts.kept_reals = routines_.kept_reals();
  facts.kept_indices = routines_.kept_indices();
  return facts;
}

}  // namespace solve
