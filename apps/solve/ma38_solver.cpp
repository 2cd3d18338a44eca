#include "apps/solve/ma38_solver.h"

#include <fmt/format.h>

#include <utility>

namespace solve {
namespace {

/// Larger than the default of the routines: with the diagonal preferred it costs hardly any fill, and
/// elements grow less.
constexpr double kThreshold = 0.5;

}  // namespace

using apps::Multifrontal;

Ma38Solver::Ma38Solver(const Matrix& matrix, const SolverSettings& settings)
    : matrix_(matrix),
      routines_(matrix.rows, matrix.row, matrix.column,
                {settings.block_form, settings.keep_matrix, settings.threshold.value_or(kThreshold),
                 settings.prefer_diagonal}) {}

/// Warnings are not refused.
void Ma38Solver::refuse(const char* phase, int status) const {
  const bool no_room = Multifrontal::kNoRoomForBoth <= status && status <= Multifrontal::kNoRoomForIndices;
  if (status < 0) throw refusal(matrix_, phase, no_room, status);
}

void Ma38Solver::factorise(const std::vector<double>& values, const std::string& name) {
  const int status = routines_.factorise(values);
  refuse("factorisation", status);
  if ((status & Multifrontal::kSingular) != 0)
    throw Singular(fmt::format("{}: the matrix is singular: rank {}, order {}", name,
                               routines_.info(Multifrontal::kPivots), matrix_.rows));
}

bool Ma38Solver::refactorise(const std::vector<double>& values) {
  const int status = routines_.refactorise(values);
  if (status == Multifrontal::kPivotsFailed) return false;
  refuse("refactorisation", status);
  return (status & (Multifrontal::kOutside | Multifrontal::kSingular)) == 0;
}

Solution Ma38Solver::solve(const std::vector<double>& b, bool transposed, Effort effort) {
  constexpr int kMostRefinements = 10;
  const int refinements = effort >= Effort::kRefine ? kMostRefinements : 0;
  Multifrontal::Answer answer = routines_.solve(b, transposed, refinements);
  if (answer.status != 0) throw refusal(matrix_, "solution", false, answer.status);
  Solution solution;
  solution.x = std::move(answer.x);
  if (refinements == 0) return solution;
  const double* const error = answer.backward_error;
  solution.backward_errors = {error[0], error[1]};
  solution.refinements = answer.refinements;
  // The steps ended because no more were allowed, not because more would have been of no use.
  solution.refined = answer.refinements < kMostRefinements || !(1 + (error[0] + error[1]) > 1);
  return solution;
}

Facts Ma38Solver::facts() const {
  Facts facts;
  facts.blocks = routines_.info(Multifrontal::kBlocks);
  facts.singletons = routines_.info(Multifrontal::kSingletons);
  facts.duplicates = routines_.info(Multifrontal::kDuplicates);
  facts.rank = routines_.info(Multifrontal::kPivots);
  facts.factor_entries = routines_.info(Multifrontal::kFactorEntries);
  facts.operations = routines_.rinfo(Multifrontal::kOperations);
  facts.level3_operations = routines_.rinfo(Multifrontal::kLevel3Operations);
  facts.kept_reals = routines_.kept_reals();
  facts.kept_indices = routines_.kept_indices();
  return facts;
}

}  // namespace solve
