#include "apps/column/step_solver.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "apps/common/multifrontal.h"
#include "sparse/ma48/ma48.h"

namespace column {
namespace {

/// Through the class, which owns its arrays and asks for the matrix whenever it needs it anew.
class Ma48StepSolver final : public StepSolver, private ma48callback {
 public:
  Ma48StepSolver(SparseEntries entries, int order)
      : StepSolver(std::move(entries)), solver_(order, entries_.size(), nullptr, nullptr, nullptr, this, 0) {}

 private:
  bool solve_as_ordered(const std::vector<double>& right_side, std::vector<double>& solution) override {
    double* const values = solver_.Values();
    if (!values) return false;  // memory was refused while the arrays grew
    std::copy(entries_.values.begin(), entries_.values.end(), values);
    return run(right_side, solution);
  }
  bool solve_in_new_order(const std::vector<double>& right_side, std::vector<double>& solution) override {
    solver_.SetNeedPivotOrder(1);
    return run(right_side, solution);
  }
  bool run(std::vector<double> right_side, std::vector<double>& solution) {
    return solver_.Solve(right_side.data(), solution.data()) != 0;
  }
  unsigned char LoadMatrix(int* rows, int* columns, double* values, int count) override {
    if (count != entries_.size()) return 0;
    std::copy(entries_.rows.begin(), entries_.rows.end(), rows);
    std::copy(entries_.columns.begin(), entries_.columns.end(), columns);
    std::copy(entries_.values.begin(), entries_.values.end(), values);
    return 1;
  }

  ma48 solver_;
};

class Ma38StepSolver final : public StepSolver {
 public:
  Ma38StepSolver(SparseEntries entries, int order)
      : StepSolver(std::move(entries)), solver_(order, entries_.rows, entries_.columns, settings()) {}

 private:
  /// Balances have heavy diagonals: elements grow behind pivots off them.
  static apps::MultifrontalSettings settings() {
    apps::MultifrontalSettings settings;
    settings.threshold = 0.5;
    settings.prefer_diagonal = true;
    return settings;
  }

  bool solve_as_ordered(const std::vector<double>& right_side, std::vector<double>& solution) override {
    return finish(solver_.refactorise(entries_.values), right_side, solution);
  }
  bool solve_in_new_order(const std::vector<double>& right_side, std::vector<double>& solution) override {
    return finish(solver_.factorise(entries_.values), right_side, solution);
  }
  bool finish(int status, const std::vector<double>& right_side, std::vector<double>& solution) {
    if (status != 0) return false;  // a pivot of zero, a singular matrix, or too little room
    auto answer = solver_.solve(right_side, false, 0);
    solution = std::move(answer.x);
    return answer.status == 0;
  }

  apps::Multifrontal solver_;
};

bool all_finite(const std::vector<double>& values) {
  return std::all_of(values.begin(), values.end(), [](double v) { return std::isfinite(v); });
}

/// Returns whether the residual is small beside the largest term. A pivot that has become small, but not
/// zero, leaves inexact factors.
bool is_solution(const SparseEntries& a, const std::vector<double>& right_side,
                 const std::vector<double>& solution) {
  constexpr double kSmall = 1e-8;
  std::vector<double> residual = right_side;
  double largest_term = 0;
  for (std::size_t k = 0; k < a.values.size(); ++k) {
    const double term = a.values[k] * solution[static_cast<std::size_t>(a.columns[k] - 1)];
    residual[static_cast<std::size_t>(a.rows[k] - 1)] -= term;
    largest_term = std::max(largest_term, std::fabs(term));
  }
  return std::all_of(residual.begin(), residual.end(),
                     [=](double r) { return std::fabs(r) <= kSmall * largest_term; });
}

}  // namespace

const char* name_of(StepMethod method) { return method == StepMethod::kMa48 ? "ma48" : "ma38"; }

bool StepSolver::solve(SparseEntries entries, const std::vector<double>& right_side,
                       std::vector<double>& solution) {
  entries_.values = std::move(entries.values);  // the places are those of the first ones
  solution.resize(right_side.size());
  if (orders_ > 0 && solve_as_ordered(right_side, solution) && all_finite(solution) &&
      is_solution(entries_, right_side, solution))
    return true;
  ++orders_;
  return solve_in_new_order(right_side, solution) && all_finite(solution);
}

std::unique_ptr<StepSolver> make_step_solver(StepMethod method, SparseEntries entries, int order) {
  if (method == StepMethod::kMa38) return std::make_unique<Ma38StepSolver>(std::move(entries), order);
  return std::make_unique<Ma48StepSolver>(std::move(entries), order);
}

}  // namespace column
