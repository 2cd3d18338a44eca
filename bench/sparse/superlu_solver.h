#pragma once

// SuperLU with COLAMD as a peer.

#include <slu_ddefs.h>

#include <algorithm>
#include <cstddef>
#include <vector>

#include "bench/sparse/problem.h"

namespace bench {

/// Runs the steps of SuperLU's simple driver one by one, so that each can be timed.
class SuperLuSolver {
 public:
  static constexpr const char* kName = "SuperLU";

  explicit SuperLuSolver(const Problem& problem)
      : problem_(problem),
        starts_(problem.starts),
        rows_(problem.rows),
        values_(problem.values[0]),
        column_order_(static_cast<std::size_t>(problem.n)),
        row_order_(column_order_),
        tree_(column_order_) {
    set_default_options(&options_);
    StatInit(&statistics_);
    dCreate_CompCol_Matrix(&matrix_, problem.n, problem.n, problem.entries, values_.data(), rows_.data(),
                           starts_.data(), SLU_NC, SLU_D, SLU_GE);
  }
  SuperLuSolver(const SuperLuSolver&) = delete;
  SuperLuSolver& operator=(const SuperLuSolver&) = delete;

  ~SuperLuSolver() {
    if (has_factors_) {
      Destroy_SuperNode_Matrix(&lower_);
      Destroy_CompCol_Matrix(&upper_);
    }
    Destroy_SuperMatrix_Store(&matrix_);
    StatFree(&statistics_);
  }

  bool analyse_factorise() {
    get_perm_c(options_.ColPerm, &matrix_, column_order_.data());
    return factorise();
  }

  bool refactorise(int step) {
    std::copy(problem_.values[step].begin(), problem_.values[step].end(), values_.begin());
    options_.Fact = SamePattern_SameRowPerm;
    return factorise();
  }

  bool solve(const Vector& b, Vector& x) {
    x = b;
    int info = 0;
    SuperMatrix rhs;
    dCreate_Dense_Matrix(&rhs, problem_.n, 1, x.data(), problem_.n, SLU_DN, SLU_D, SLU_GE);
    dgstrs(NOTRANS, &lower_, &upper_, column_order_.data(), row_order_.data(), &rhs, &statistics_, &info);
    Destroy_SuperMatrix_Store(&rhs);
    return info == 0;
  }

 private:
  bool factorise() {
    SuperMatrix permuted;
    int info = 0;
    sp_preorder(&options_, &matrix_, column_order_.data(), tree_.data(), &permuted);
    dgstrf(&options_, &permuted, sp_ienv(2), sp_ienv(1), tree_.data(), nullptr, 0, column_order_.data(),
           row_order_.data(), &lower_, &upper_, &store_, &statistics_, &info);
    Destroy_CompCol_Permuted(&permuted);
    has_factors_ = has_factors_ || info == 0;
    return info == 0;
  }

  const Problem& problem_;
  std::vector<int> starts_, rows_;
  Vector values_;
  std::vector<int> column_order_, row_order_, tree_;
  superlu_options_t options_;
  SuperLUStat_t statistics_;
  GlobalLU_t store_ = {};
  SuperMatrix matrix_, lower_, upper_;
  bool has_factors_ = false;
};

}  // namespace bench
