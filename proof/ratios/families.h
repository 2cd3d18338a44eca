#pragma once

// The solvers of the library. Each function gives a problem to one of them in all its ways, and records what
// comes of it.

#include "proof/ratios/findings.h"

namespace ratios {

void judge_dense(const Problem& problem, Findings& findings);
void judge_bordered(const Problem& problem, Findings& findings);
void judge_ma48(const Problem& problem, Findings& findings);
void judge_ma38(const Problem& problem, Findings& findings);
void judge_front(const Problem& problem, Findings& findings);

/// The size to which a matrix is brought that is refused for its scale alone: from there the smallest
/// pivot of a matrix of condition 0.1 / eps is above the pivot limit.
constexpr int kAcceptedExponent = 40;
constexpr double kPivotLimit = 1e-8;  // of dense factorisations

/// Judges solutions that are made one at a time, of each number of right-hand sides.
/// @param solve gives the solution for a right-hand side
template <class Solve>
void judge_solutions(const Problem& problem, bool transposed, Findings& findings, const Solve& solve) {
  for (const int count : kRightHandSides) {
    Vector solutions;
    for (int k = 0; k < count; ++k) {
      const Vector x = solve(problem.right_hand_side(transposed, k));
      solutions.insert(solutions.end(), x.begin(), x.end());
    }
    findings.solutions(problem, transposed, solutions, count);
  }
}

/// Returns the entries, from 1. Full matrices give their zeros, too, so that a zero column shows in the
/// values alone; the others do not, so that it shows in the pattern.
inline reference::Coordinates entries_of(const Problem& problem) {
  return problem.shape == Shape::kFull ? reference::coordinates(problem.a) : reference::from_dense(problem.a);
}

}  // namespace ratios
