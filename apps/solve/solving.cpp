#include "apps/solve/solving.h"
#include "apps/common/output.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "apps/common/toml_reader.h"
#include "apps/solve/matrix_market.h"
#include "apps/solve/progress.h"
#include "apps/solve/refinement.h"
#include "apps/solve/residual.h"
#include "apps/solve/singularity.h"

namespace solve {
namespace {

/// The equations to solve: a pattern, the values in its order, and the right-hand side.
struct System {
  Matrix matrix;
  std::optional<Matrix> second;  // with values for the refactorisation
  std::vector<double> values, b;

  /// Returns the name of the file that the values came from.
  const std::string& name() const { return second ? second->name : matrix.name; }
};

Matrix read_square(const std::string& path) {
  Matrix matrix = read_matrix(path);
  if (matrix.rows != matrix.columns)
    throw apps::complaint(path, matrix.size_line,
                          fmt::format("the matrix is {} x {}, not square", matrix.rows, matrix.columns));
  if (matrix.rows == 0) throw apps::complaint(path, matrix.size_line, "the matrix is empty");
  return matrix;
}

std::vector<double> read_right_hand_side(const std::string& path, int order) {
  Vector b = read_vector(path);
  if (b.value.size() != static_cast<std::size_t>(order))
    throw apps::complaint(path, b.size_line,
                          fmt::format("{} numbers for a matrix of order {}", b.value.size(), order));
  return std::move(b.value);
}

/// Reads and checks all files before the work begins.
System read_system(const Task& task, Report& report) {
  const Phase phase("reading", report.read_time);
  System system;
  system.matrix = read_square(task.matrix_path);
  system.values = system.matrix.value;
  if (!task.second_path.empty()) {
    system.second = read_square(task.second_path);
    system.values = values_in_order_of(system.matrix, *system.second);
  }
  if (!task.rhs_path.empty()) system.b = read_right_hand_side(task.rhs_path, system.matrix.rows);
  return system;
}

bool all_finite(const std::vector<double>& values) {
  return std::all_of(values.begin(), values.end(), [](double value) { return std::isfinite(value); });
}

/// Sets b to A times ones if none was given. Called once the matrix is known to have at least as many entries
/// as rows: a short file may announce an order that is too large for any array.
void default_right_hand_side(System& system, bool transposed) {
  if (!system.b.empty()) return;
  const std::vector<double> ones(static_cast<std::size_t>(system.matrix.rows), 1.0);
  system.b = product({system.matrix, system.values, transposed}, ones);
  if (!all_finite(system.b))
    throw std::runtime_error(system.name() + ": A times ones is too large for numbers; give --rhs");
}

/// Factorises the second matrix with pivots of its own.
void choose_new_pivots(DirectSolver& solver, const System& system, Report& report) {
  const Phase phase("refactorising", report.refactorise_time);
  solver.factorise(system.values, system.name());
  report.new_pivots = true;
}

void factorise(DirectSolver& solver, const System& system, Report& report) {
  {
    const Phase phase("analysing", report.analyse_time);
    report.analysed = solver.analyse();
  }
  {
    const Phase phase("factorising", report.factorise_time);
    solver.factorise(system.matrix.value, system.matrix.name);
  }
  if (!system.second) return;
  bool suited = false;
  {
    const Phase phase("refactorising", report.refactorise_time);
    suited = solver.refactorise(system.values);
  }
  if (!suited) choose_new_pivots(solver, system, report);
}

Effort effort(const Task& task) {
  return task.refine || task.estimate ? Effort::kRefine : Effort::kBackwardErrors;
}

/// Names the options that may help where digits were lost.
std::string remedies(const Task& task) {
  std::vector<std::string> ways;
  if (task.solver.method == Method::kMa38 && !task.solver.prefer_diagonal)
    ways.push_back("--prefer-diagonal");
  if (task.solver.threshold.value_or(0) < 1) ways.push_back("a larger --pivot-tolerance");
  if (ways.empty()) return "";
  return fmt::format("; try {}", fmt::join(ways, ", or "));
}

/// Refines the solution at hand if that was asked for, or if it is not exact enough.
void improve(DirectSolver& solver, const Equations& equations, const System& system, const Task& task,
             Solution& solution) {
  if (solution.refinements) return;  // by the solver itself
  if (effort(task) == Effort::kRefine)
    refine(solver, equations, system.b, solution);
  else
    refine_where_inexact(solver, equations, system.b, solution);
}

/// @throws NoSolution  if the solution at hand is of no use
void check(DirectSolver& solver, const Equations& equations, const System& system, const Task& task,
           Report& report) {
  const Phase phase("checking", report.check_time);
  constexpr double kNoDigitIsRight = 0.5;
  Solution& solution = report.solution;
  // An estimate that overflows or is NaN vouches for nothing.
  const auto leaves_no_digit = [](double error) { return !(error <= kNoDigitIsRight); };
  if (const auto error = balanced_error(solver, equations); error && leaves_no_digit(*error))
    throw Singular(
        fmt::format("{}: the matrix is singular to working precision (forward error estimate {:.2g})",
                    system.name(), *error));
  const Residuals left = residuals(equations, solution.x, system.b);
  report.residual = left.of_worst_row;
  if (left.digits_lost())
    throw Inexact(
        fmt::format("{}: the factors have lost the digits: residuals are up to {:.1e} of the terms{}",
                    system.name(), left.overall, remedies(task)));
  solution.forward_error = forward_error(solver, equations, solution.x, system.b);
  const bool good_pivots = solution.refinements.value_or(0) == 0 && exact_enough(*solution.backward_errors);
  const bool is_zero = std::all_of(solution.x.begin(), solution.x.end(), [](double x) { return x == 0; });
  if (!is_zero && leaves_no_digit(solution.forward_error))  // no error is relative to 0
    throw Inexact(fmt::format("{}: no digit of the solution is sure (forward error estimate {:.2g}){}",
                              system.name(), solution.forward_error, good_pivots ? "" : remedies(task)));
}

/// Solves with the factors at hand.
/// @throws NoSolution
void attempt(DirectSolver& solver, const System& system, const Task& task, Report& report) {
  const Equations equations{system.matrix, system.values, task.transpose};
  {
    const Phase phase("solving", report.solve_time);
    report.solution = solver.solve(system.b, task.transpose, effort(task));
    if (all_finite(report.solution.x)) improve(solver, equations, system, task, report.solution);
  }
  if (!all_finite(report.solution.x))
    throw Singular(system.name() + ": the solution is too large for numbers");
  check(solver, equations, system, task, report);
}

void solve_system(DirectSolver& solver, const System& system, const Task& task, Report& report) {
  try {
    attempt(solver, system, task, report);
  } catch (const NoSolution&) {
    if (!system.second || report.new_pivots) throw;
    choose_new_pivots(solver, system, report);  // the old pivots may be at fault, not the matrix
    attempt(solver, system, task, report);
  }
}

/// Returns whether the system is to be solved: not if a file without values, which would all be 1, is only to
/// be reordered.
bool to_be_solved(const Task& task, const Matrix& matrix) {
  const bool only_pattern = !matrix.has_values && task.pattern.goal;
  const bool asked_for = !task.rhs_path.empty() || !task.out_path.empty() || !task.second_path.empty() ||
                         effort(task) == Effort::kRefine;
  return asked_for || !only_pattern;
}

void solve(System& system, const Task& task, Report& report) {
  SolverSettings settings = task.solver;
  settings.keep_matrix |= effort(task) == Effort::kRefine;  // ma38 does not refine without
  const std::unique_ptr<DirectSolver> solver = make_solver(system.matrix, settings);
  default_right_hand_side(system, task.transpose);
  factorise(*solver, system, report);
  solve_system(*solver, system, task, report);
  report.facts = solver->facts();
  report.solved = true;
}

void describe(const Task& task, const Matrix& matrix, Report& report) {
  report.method = task.solver.method;
  report.file = task.matrix_path;
  report.refactored_file = task.second_path;
  report.transposed = task.transpose;
  report.refine = effort(task) == Effort::kRefine;
  report.estimate = task.estimate;
  report.order = matrix.rows;
  report.entries = static_cast<int>(matrix.value.size());
}

}  // namespace

void run(const Task& task, Report& report) {
  System system = read_system(task, report);
  describe(task, system.matrix, report);
  if (!task.out_path.empty()) apps::check_writable(task.out_path);
  report.pattern = study_pattern(system.matrix, task.pattern);  // shows what singular matrices lack, too
  if (!to_be_solved(task, system.matrix)) return;
  solve(system, task, report);
  if (!task.out_path.empty()) apps::write_file(task.out_path, vector_text(report.solution.x));
}

}  // namespace solve
