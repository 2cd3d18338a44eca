#pragma once

// Drives the routines of ma48: controls, work arrays, room for the factors.

#include <cstdint>
#include <string>
#include <vector>

#include "apps/solve/direct_solver.h"
#include "apps/solve/matrix_market.h"
#include "sparse/ma48/ma48_codes.h"

namespace solve {

/// Analyses once. Computes backward errors but leaves refinement to the caller: the routines do not add
/// corrections, they only replace the solution where the correction alone has the smaller error.
class Ma48Solver final : public DirectSolver {
 public:
  Ma48Solver(const Matrix& matrix, const SolverSettings& settings);

  bool analyse() override;
  void factorise(const std::vector<double>& values, const std::string& name) override;
  bool refactorise(const std::vector<double>& values) override;
  Solution solve(const std::vector<double>& b, bool transposed, Effort effort) override;
  Facts facts() const override;

 private:
  int info(MA48_Info position) const { return ma48_info(info_, position); }
  int run_analysis();
  int run_factorisation(const std::vector<double>& values, int job);
  void make_room(std::int64_t length);
  void load_values(const std::vector<double>& values);

  const Matrix& matrix_;
  int n_, ne_;
  double cntl_[MA48_CNTL_LENGTH];
  int icntl_[MA48_ICNTL_LENGTH], info_[MA48_INFO_LENGTH] = {};
  std::vector<double> a_, w_;
  std::vector<int> irn_, jcn_, keep_, iw_;
  int largest_block_ = 0, duplicates_ = 0, structural_rank_ = 0, rank_ = 0;
  double operations_ = 0;
};

}  // namespace solve
