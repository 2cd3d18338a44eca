// The class SparseSolver: hands each operation to the solver behind it, if there was memory for one.

#include "sparse/sparse_solver.h"

#include "frame/module.h"
#include "sparse/solver/solver.h"

namespace corvidnum {

struct SparseSolver::Parts : solver::Solver {
  using Solver::Solver;
};

SparseSolver::SparseSolver(int order, int entries, const int* rows, const int* columns, int index_base,
                           const SparseOptions& options) {
  enter_library();
  parts_ = new Parts({order, entries, rows, columns, index_base}, options);
}

SparseSolver::~SparseSolver() {
  enter_library();
  delete parts_;
}

SparseStatus SparseSolver::State() const {
  enter_library();
  return parts_ ? parts_->state() : SparseStatus::NoMemory;
}

SparseStatus SparseSolver::SetOptions(const SparseOptions& options) {
  enter_library();
  return parts_ ? parts_->set_options(options) : SparseStatus::NoMemory;
}

const SparseOptions& SparseSolver::Options() const {
  enter_library();
  static constexpr SparseOptions kStandard{};
  return parts_ ? parts_->options() : kStandard;
}

const SparseReport& SparseSolver::Report() const {
  enter_library();
  static constexpr SparseReport kNothing{};
  return parts_ ? parts_->report() : kNothing;
}

SparseStatus SparseSolver::Factorise(const double* values) {
  enter_library();
  return parts_ ? parts_->factorise(values) : SparseStatus::NoMemory;
}

SparseStatus SparseSolver::Refactorise(const double* values) {
  enter_library();
  return parts_ ? parts_->refactorise(values) : SparseStatus::NoMemory;
}

SparseStatus SparseSolver::Solve(const double* b, double* x, int count) {
  enter_library();
  return parts_ ? parts_->solve(false, b, x, count) : SparseStatus::NoMemory;
}

SparseStatus SparseSolver::SolveTransposed(const double* b, double* x, int count) {
  enter_library();
  return parts_ ? parts_->solve(true, b, x, count) : SparseStatus::NoMemory;
}

SparseStatus SparseSolver::ConditionEstimate(double* raw, double* equilibrated) {
  enter_library();
  return parts_ ? parts_->condition_estimate(raw, equilibrated) : SparseStatus::NoMemory;
}

SparseStatus SparseSolver::ForwardErrorBound(const double* b, const double* x, bool transposed,
                                             double* bound) {
  enter_library();
  return parts_ ? parts_->forward_error_bound(b, x, transposed, bound) : SparseStatus::NoMemory;
}

SparseStatus SparseSolver::Diagnose(SparseDiagnosis* diagnosis) {
  enter_library();
  return parts_ ? parts_->diagnose(diagnosis) : SparseStatus::NoMemory;
}

SparseStatus SparseSolver::Blocks(SparseBlocks* blocks) {
  enter_library();
  return parts_ ? parts_->blocks(blocks) : SparseStatus::NoMemory;
}

}  // namespace corvidnum
