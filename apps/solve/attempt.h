#pragma once

// One system solved by class SparseSolver, and what that tells.

#include <optional>
#include <string>
#include <vector>

#include "apps/solve/matrix_market.h"
#include "apps/solve/structure.h"
#include "sparse/sparse_solver.h"

namespace solve {

/// The equations to solve: a pattern, the values in its order, and the right-hand side.
struct System {
  Matrix matrix;                  // square
  std::optional<Matrix> second;   // with values for a refactorisation
  std::vector<double> values, b;  // of the second matrix if there is one
  bool transposed = false;

  /// Returns the name of the file that the values came from.
  const std::string& name() const { return second ? second->name : matrix.name; }
};

/// How many diagonal blocks the block triangular form has.
struct BlockCounts {
  int all = 1, of_order_1 = 0, largest = 0;  // largest: its order, 0 if nobody looked
};

struct Attempt {
  corvidnum::SparseStatus status = corvidnum::SparseStatus::NotFactorised;
  corvidnum::SparseReport report;
  std::string fault;      // why there is no solution, with the name of the file; empty if there is one
  std::vector<double> x;  // if there is one
  BlockCounts blocks;
  BlockForm form;                  // if one was looked for and the matrix has one
  std::optional<Deficit> deficit;  // if the matrix is singular
  bool new_pivots = false;         // the second matrix did not suit the pivots of the first
  /// Estimate: in the 1-norm, after equilibration; by MUMPS that of componentwise errors (class Mumps).
  double condition = 0;
  double forward_error = 0;            // bound, relative to the largest of x; infinite: there is none
  int processes = 0;                   // by which MUMPS solved; 0: class SparseSolver did
  int largest_memory = 0, memory = 0;  // of MUMPS, MB: of the process that took the most, and of all
  double factorise_time = 0, refactorise_time = 0, solve_time = 0, check_time = 0;  // s

  bool solved() const { return status == corvidnum::SparseStatus::Solved; }
};

/// Returns the name of the method that solved.
inline const char* method_name(const Attempt& a) {
  return a.processes > 0 ? "mumps" : corvidnum::MethodName(a.report.method);
}

/// Factorises the matrix, and the second one if there is one on the same pivots, solves and measures.
/// @param refine  go on with corrections as far as rounding lets them, not only to the bound
Attempt attempt(const System& system, const corvidnum::SparseOptions& options, bool refine);

}  // namespace solve
