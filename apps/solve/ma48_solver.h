#pragma once

// Drives the routines of ma48: controls, work arrays, room for the factors.

#include <cstdint>
#include <string>
#include <vector>

#include "apps/solve/direct_solver.h"
#include "apps/solve/matrix_market.h"

namespace solve {

/// Analyses once. Tells backward errors; does not refine, since its routines keep the first solution unless
/// the correction alone has the smaller error.
class Ma48Solver final : public DirectSolver {
 public:
  Ma48Solver(const Matrix& matrix, const SolverSettings& settings);

  bool analyse() override;
  void factorise(const std::vector<double>& values, const std::string& name) override;
  bool refactorise(const std::vector<double>& values) override;
  Solution solve(const std::vector<double>& b, bool transposed, Effort effort) override;
  Facts facts() const override;

 private:
  int keep(std::int64_t position) const { return keep_[static_cast<std::size_t>(position - 1)]; }
  int run_analysis();
  int run_factorisation(const std::vector<double>& values, int job);
  void make_room(std::int64_t length);
  void load_values(const std::vector<double>& values);
  int blocks() const;
  std::int64_t factor_entries() const;
  std::int64_t block_factor_entries(int block, int last_column) const;

  const Matrix& matrix_;
  int n_, ne_;
  double cntl_[5];
  int icntl_[9], info_[12] = {};
  std::vector<double> a_, w_;
  std::vector<int> irn_, jcn_, keep_, iw_;
  int largest_block_ = 0, duplicates_ = 0, structural_rank_ = 0, rank_ = 0;
  double operations_ = 0;
};

}  // namespace solve
