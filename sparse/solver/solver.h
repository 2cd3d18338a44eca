#pragma once

// What stands behind the class SparseSolver: the system, its factors, and the operations on them.

#include <cfloat>

#include "sparse/solver/array.h"
#include "sparse/solver/factors.h"
#include "sparse/solver/structure.h"
#include "sparse/solver/system.h"
#include "sparse/sparse_solver.h"

namespace corvidnum::solver {

/// Lists and the arrays that hold them, as the public structures give them out.
struct IndexLists {
  Array<int> unmatched_rows, unmatched_columns, over_rows, over_columns, under_rows, under_columns;
  Array<int> dependent_rows, dependent_columns;
};

constexpr double kSingular = 1 / DBL_EPSILON;  // condition from which on no digit of a solution is sure

class Solver : public HostAllocated {
 public:
  Solver(const Coordinates& given, const SparseOptions& options);

  SparseStatus state() const { return made_ == SparseStatus::NotFactorised ? state_ : made_; }
  SparseStatus set_options(const SparseOptions& options);
  const SparseOptions& options() const { return options_; }
  const SparseReport& report() const { return report_; }

  SparseStatus factorise(const double* values);
  SparseStatus refactorise(const double* values);
  SparseStatus solve(bool transposed, const double* b, double* x, int count);
  SparseStatus condition_estimate(double* raw, double* equilibrated);
  SparseStatus forward_error_bound(const double* b, const double* x, bool transposed, double* bound);
  SparseStatus diagnose(SparseDiagnosis* diagnosis);
  SparseStatus blocks(SparseBlocks* blocks);

 private:
  // Factorising.
  SparseStatus take(Fault fault);
  SparseStatus choose_pivots();
  bool scale(ScalingEffort effort);
  SparseStatus test(SparseStatus status);
  SparseStatus test_again();
  SparseStatus tested_state();
  SparseStatus better_factors();
  SparseStatus enter(SparseStatus status);
  bool estimate_condition(Engine& engine, double& condition);
  bool estimate_raw_condition(double& condition);
  bool estimate_condition_in(const Array<int>& rows, const Array<int>& columns, double& condition);
  bool factors_serve();

  // Solving.
  SparseStatus check_vectors(const double* b, const double* x, int count);
  SparseStatus solve_one(bool transposed, const double* b, double* x);
  SparseStatus solve_until_exact(bool transposed, const double* b, double* x);
  double attempt(bool transposed, const double* b);
  double refined(bool transposed, double error);
  double judge(bool transposed, const double* y);
  void scale_rhs(bool transposed, const double* b);
  bool write_solution(bool transposed, double* x) const;
  void read_solution(bool transposed, const double* x);
  bool loses_digits(const Array<double>& x) const;
  bool proves_near_singularity() const;

  bool list_structural_faults(SparseDiagnosis& diagnosis);
  bool list_numerical_faults(SparseDiagnosis& diagnosis);
  bool list_by_null_vectors(Engine& engine, SparseDiagnosis& diagnosis);

  SparseOptions options_;
  SparseReport report_;
  SparseStatus made_;                                 // by the constructor; NotFactorised: all is well
  SparseStatus state_ = SparseStatus::NotFactorised;  // of the factors
  int index_base_ = 0;
  ScalingEffort effort_ = ScalingEffort::kQuick;  // of the scales at hand
  bool tested_ = false;                           // the factors at hand were tested for singularity
  bool old_pivots_ = false;                       // they have the pivots of other values
  int shift_ = 0;  // b_ is the right-hand side times 2^-shift, beside its scales
  Array<double> b_, y_, best_, residual_, terms_, correction_;  // [order]
  System system_;
  Factors factors_{system_, report_};
  IndexLists lists_;
  BlockTriangularForm form_;
};

}  // namespace corvidnum::solver
