#pragma once

// A run of the program, from the files that it reads to the report.

#include <string>

#include "examples/solve_mtx/direct_solver.h"
#include "examples/solve_mtx/pattern.h"
#include "examples/solve_mtx/report.h"

namespace solve_mtx {

struct Task {
  std::string matrix_path;
  std::string rhs_path;     // empty: the right-hand side is A times ones
  std::string second_path;  // of values for a refactorisation, with which the system is solved; empty: none
  SolverSettings solver;
  PatternOptions pattern;
  bool transpose = false, refine = false, estimate = false;
};

/// Pictures of the pattern are written even where there is no solution.
/// @throws NoSolution, examples::BadCase; std::runtime_error where the routines refuse for another reason
Report solve(const Task& task);

}  // namespace solve_mtx
