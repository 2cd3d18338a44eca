#pragma once

// The direct solver of Eigen, SparseLU with COLAMD, as a peer.

#include <algorithm>

// Eigen's headers cause a warning that this tree treats as an error.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wshadow"
#include <Eigen/SparseLU>
#pragma GCC diagnostic pop

#include "bench/sparse/problem.h"

namespace bench {

class EigenSolver {
 public:
  static constexpr const char* kName = "SparseLU";

  explicit EigenSolver(const Problem& problem) : problem_(problem), matrix_(view(0)) {}

  bool analyse_factorise() {
    lu_.analyzePattern(matrix_);
    return factorise();
  }

  bool refactorise(int step) {
    const Vector& values = problem_.values[step];
    std::copy(values.begin(), values.end(), matrix_.valuePtr());
    return factorise();
  }

  bool solve(const Vector& b, Vector& x) {
    Eigen::Map<Eigen::VectorXd>(x.data(), problem_.n) =
        lu_.solve(Eigen::Map<const Eigen::VectorXd>(b.data(), problem_.n));
    return lu_.info() == Eigen::Success;
  }

 private:
  using Matrix = Eigen::SparseMatrix<double, Eigen::ColMajor, int>;

  Eigen::Map<const Matrix> view(int step) const {
    return {problem_.n,           problem_.n,
            problem_.entries,     problem_.starts.data(),
            problem_.rows.data(), problem_.values[step].data()};
  }
  bool factorise() {
    lu_.factorize(matrix_);
    return lu_.info() == Eigen::Success;
  }

  const Problem& problem_;
  Matrix matrix_;
  Eigen::SparseLU<Matrix, Eigen::COLAMDOrdering<int>> lu_;
};

}  // namespace bench
