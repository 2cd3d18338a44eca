#pragma once

// Runs the program, from the files that it reads to the report.

#include <string>

#include "apps/solve/direct_solver.h"
#include "apps/solve/pattern.h"
#include "apps/solve/report.h"

namespace solve {

struct Task {
  std::string matrix_path;
  std::string out_path;     // of the solution; empty: it is not written
  std::string rhs_path;     // empty: the right-hand side is A times ones
  std::string second_path;  // of values for a refactorisation, with which the system is solved; empty: none
  SolverSettings solver;
  PatternOptions pattern;
  bool transpose = false, refine = false, estimate = false;
};

/// Reads all files and checks all outputs before the work begins. The pattern is studied, and its pictures
/// are written, even if there is no solution: `report` then tells of the pattern, with `solved` false. A file
/// without values that is reordered is solved only if a part of the task asks for it.
/// @throws NoSolution, apps::BadCase; std::runtime_error where a file cannot be written, or where the
///         routines refuse for another reason
void run(const Task& task, Report& report);

}  // namespace solve
