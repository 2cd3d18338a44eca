#pragma once

// Drives the routines of the sparse direct solver: controls, work arrays, room for the factors.

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "examples/solve_mtx/matrix_market.h"

namespace solve_mtx {

/// A matrix without a unique solution.
struct Singular : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct SolverSettings {
  bool block_form = true;
  std::optional<double> threshold;  // least pivot, as part of the largest element of its column
};

enum class Effort { kBackwardErrors = 2, kRefine = 3, kForwardError = 4 };

struct Solution {
  std::vector<double> x;
  double backward_error[2] = {0, 0};  // of rows judged by their terms, and of rows nearly without any
  double forward_error = 0;           // estimate, relative to the largest of x
  bool refined = true;                // false: refinement did not settle
  bool estimated = true;              // false: the estimate of the forward error did not settle
};

/// What the work found out about the matrix and its factors.
struct Facts {
  int blocks = 0;
  int largest_block = 0;  // of those that need elimination; 0 if none does
  int duplicates = 0;     // entries that were summed to others
  int structural_rank = 0, rank = 0;
  std::int64_t factor_entries = 0;  // what a solution goes through, with entries outside the blocks
  double operations = 0;            // of the last factorisation or refactorisation
};

/// One square matrix, analysed once and factorised as often as its values change.
/// Throws Singular; std::runtime_error where the routines refuse for another reason.
class DirectSolver {
 public:
  /// @param matrix  square; outlives the solver
  DirectSolver(const Matrix& matrix, const SolverSettings& settings);

  void analyse();
  /// Chooses pivots by the size of `values`, which stand in the order of the entries of the matrix.
  /// @param name  of the file that they come from, for messages
  void factorise(const std::vector<double>& values, const std::string& name);
  /// On the pivots of the last factorisation.
  /// @return false if they do not suit `values`; factorise() then chooses others
  bool refactorise(const std::vector<double>& values);
  /// The solution need not be finite.
  Solution solve(const std::vector<double>& b, bool transposed, Effort effort);
  Facts facts() const;

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

/// The product of the matrix with `values` for its own, or of its transpose, and `x`.
std::vector<double> product(const Matrix& matrix, const std::vector<double>& values, bool transposed,
                            const std::vector<double>& x);

/// The error that one rounding in the data may bring into the solution, as part of its largest element: 1 if
/// no digit is sure. An estimate; NaN if there is none.
double uncertainty(DirectSolver& solver, std::vector<double> b, bool transposed);

/// A right-hand side without a pattern, in each row as large as the row. The elements of its solution are as
/// large as columns are small, so that neither scale makes it unsure.
std::vector<double> balanced_right_hand_side(const Matrix& matrix, const std::vector<double>& values,
                                             bool transposed);

/// The largest |b - A x| / (|A| |x| + |b|) of a row. Rows of zeros do not count.
/// @param values, x, b  finite; neither their products nor sums of these need be
double scaled_residual(const Matrix& matrix, const std::vector<double>& values, bool transposed,
                       const std::vector<double>& x, const std::vector<double>& b);

}  // namespace solve_mtx
