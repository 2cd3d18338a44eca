#pragma once

// Drives the routines of ma38.

#include <string>
#include <vector>

#include "apps/common/multifrontal.h"
#include "apps/solve/direct_solver.h"
#include "apps/solve/matrix_market.h"

namespace solve {

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
  apps::Multifrontal routines_;
};

}  // namespace solve
