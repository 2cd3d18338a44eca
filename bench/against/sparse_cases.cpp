// Cases of the sparse solvers.

#include <utility>

#include "bench/against/cases.h"
#include "bench/sparse/automatic_solver.h"
#include "bench/sparse/grids.h"
#include "bench/sparse/ma38_solver.h"
#include "bench/sparse/ma48_solver.h"
#include "bench/sparse/problem.h"
#include "bench/sparse/process_matrices.h"

namespace against {
namespace {

struct Matrix {
  const char* name;
  reference::Coordinates (*make)(int, int, int);
  int width, pieces;  // components, or dimensions of a grid; stages, units, or nodes per side
  Size size;

  bench::Problem problem() const {
    return {make(width, pieces, 0), make(width, pieces, 1), make == bench::grid_matrix};
  }
};

constexpr Matrix kMatrices[] = {{"flowsheet/1000", bench::flowsheet_jacobian, 10, 60, Size::kSmall},
                                {"column/1000", bench::column_jacobian, 8, 100, Size::kSmall},
                                {"square/1000", bench::grid_matrix, 2, 32, Size::kSmall},
                                {"flowsheet/10000", bench::flowsheet_jacobian, 10, 600, Size::kLarge},
                                {"column/10000", bench::column_jacobian, 8, 1000, Size::kMiddle},
                                {"wide/10000", bench::column_jacobian, 38, 250, Size::kLarge},
                                {"square/10000", bench::grid_matrix, 2, 100, Size::kMiddle},
                                {"cube/3000", bench::grid_matrix, 3, 15, Size::kMiddle},
                                {"cube/10000", bench::grid_matrix, 3, 22, Size::kLarge}};

enum class Task { kAnalyse, kRefactorise, kSolve };

/// A task of a solver. Its result is the solution.
template <class Solver>
class SparseCase : public Case {
 public:
  SparseCase(const Matrix& matrix, Task task)
      : problem_(matrix.problem()), task_(task), x_(problem_.rhs.size()) {
    solver_ = std::make_unique<Solver>(problem_);
    succeeds_ = task == Task::kAnalyse || solver_->analyse_factorise();
  }
  void prepare() override {
    if (task_ == Task::kAnalyse) solver_ = std::make_unique<Solver>(problem_);
  }
  void work() override {
    const auto done = [this] {
      switch (task_) {
        case Task::kAnalyse:
          return solver_->analyse_factorise();
        case Task::kRefactorise:
          return solver_->refactorise(1);
        default:
          return solver_->solve(problem_.rhs, x_);
      }
    };
    succeeds_ = succeeds_ && done();
  }
  void add_results(Hash& hash) override {
    succeeds_ = succeeds_ && solver_->solve(problem_.rhs, x_);
    hash.add(&succeeds_, sizeof succeeds_);
    hash.add(x_);
  }

 private:
  const bench::Problem problem_;
  const Task task_;
  std::unique_ptr<Solver> solver_;
  bench::Vector x_;
  bool succeeds_ = false;
};

template <class Solver>
void add(std::vector<NamedCase>& cases, const Matrix& matrix) {
  for (const auto& [task, name] : {std::pair(Task::kAnalyse, "analyse/"),
                                   {Task::kRefactorise, "refactorise/"},
                                   {Task::kSolve, "solve/"}}) {
    const auto make = [&matrix, task = task] { return std::make_unique<SparseCase<Solver>>(matrix, task); };
    cases.push_back({std::string(Solver::kName) + '/' + name + matrix.name, matrix.size, make});
  }
}

}  // namespace

void add_sparse_cases(std::vector<NamedCase>& cases) {
  for (const Matrix& matrix : kMatrices) {
    add<bench::Ma48Solver>(cases, matrix);
    add<bench::Ma38Solver>(cases, matrix);
    add<bench::AutomaticSolver<true>>(cases, matrix);
  }
}

}  // namespace against
