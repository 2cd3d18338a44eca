#include "apps/solve/refinement.h"

#include <cstddef>
#include <utility>

namespace solve {
namespace {

using Numbers = std::vector<double>;

double sum(const BackwardErrors& errors) { return errors.omega1 + errors.omega2; }

Numbers corrected(DirectSolver& solver, const Equations& equations, const Numbers& b, Numbers x) {
  Numbers residual = product(equations, x);
  for (std::size_t i = 0; i < b.size(); ++i) residual[i] = b[i] - residual[i];
  const Numbers correction = solver.solve(residual, equations.transposed, Effort::kPlain).x;
  for (std::size_t i = 0; i < x.size(); ++i) x[i] += correction[i];
  return x;
}

}  // namespace

void refine(DirectSolver& solver, const Equations& equations, const Numbers& b, Solution& solution) {
  constexpr int kMostSteps = 10;
  BackwardErrors errors = backward_errors(equations, solution.x, b);
  int steps = 0;
  bool halved = true;
  while (halved && 1 + sum(errors) > 1 && steps < kMostSteps) {
    Numbers x = corrected(solver, equations, b, solution.x);
    const BackwardErrors left = backward_errors(equations, x, b);
    if (!(sum(left) < sum(errors))) break;
    halved = sum(left) <= sum(errors) / 2;
    solution.x = std::move(x);
    errors = left;
    ++steps;
  }
  solution.backward_errors = errors;
  solution.refinements = steps;
  solution.refined = steps < kMostSteps || !(1 + sum(errors) > 1);
}

bool exact_enough(const BackwardErrors& errors) { return sum(errors) <= kInexact; }

void refine_where_inexact(DirectSolver& solver, const Equations& equations, const Numbers& b,
                          Solution& solution) {
  if (!solution.backward_errors) solution.backward_errors = backward_errors(equations, solution.x, b);
  if (!exact_enough(*solution.backward_errors)) refine(solver, equations, b, solution);
}

}  // namespace solve
