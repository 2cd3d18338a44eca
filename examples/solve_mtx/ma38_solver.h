#pragma once

// Drives the routines of ma38.

#include <string>
#include <vector>

#include "examples/common/multifrontal.h"
#include "examples/solve_mtx/direct_solver.h"
#include "examples/solve_mtx/matrix_market.h"

namespace solve_mtx {

/// Analyses with each choice of pivots. Refines, and knows backward errors, only where it kept the matrix and
/// refinement was asked for; does not tell structural rank from rank.
class Ma38Solver final : public DirectSolver {
 public:
  Ma38Solver(const Matrix& matrix, const SolverSettings& settings);

  bool analyse() override { return false; }
  void factorise(const std::vector<double>& values, const std::string& name) override;
  bool refactorise(const std::vector<double>& values) override;
  Solution solve(const std::vector<double>& b, bool transposed, Effort effort) override;
  Facts facts() const override;

 private:
  void refuse(const char* phase, int status) const;

  const Matrix& matrix_;
  examples::Multifrontal routines_;
};

}  // namespace solve_mtx
