#pragma once

// The library's sparse solver that chooses its method, in the form that the benchmark times.

#include <memory>

#include "bench/sparse/problem.h"
#include "sparse/sparse_solver.h"

namespace bench {

/// Drives class SparseSolver with its defaults. Making the object belongs to the analysis.
/// @tparam kJudge whether solutions are judged; the analysis then also tests for singularity
template <bool kJudge>
class AutomaticSolver {
 public:
  static constexpr const char* kName = kJudge ? "judged" : "automatic";

  explicit AutomaticSolver(const Problem& problem) : problem_(problem) {}

  bool analyse_factorise() {
    const reference::Coordinates& matrix = problem_.coordinates[0];
    corvidnum::SparseOptions options;
    options.judge = kJudge;
    solver_ = std::make_unique<corvidnum::SparseSolver>(problem_.n, problem_.entries, matrix.rows.data(),
                                                        matrix.columns.data(), 1, options);
    return solver_->Factorise(matrix.values.data()) == corvidnum::SparseStatus::Factorised;
  }

  bool refactorise(int step) {
    return solver_->Refactorise(problem_.coordinates[step].values.data()) ==
           corvidnum::SparseStatus::Factorised;
  }

  bool solve(const Vector& b, Vector& x) {
    const corvidnum::SparseStatus expected =
        kJudge ? corvidnum::SparseStatus::Solved : corvidnum::SparseStatus::Unjudged;
    return solver_->Solve(b.data(), x.data()) == expected;
  }

 private:
  const Problem& problem_;
  std::unique_ptr<corvidnum::SparseSolver> solver_;
};

}  // namespace bench
