#include "apps/solve/solving.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "apps/common/input.h"
#include "apps/common/output.h"
#include "apps/common/progress.h"
#include "apps/common/toml_reader.h"
#include "apps/solve/attempt.h"
#include "apps/solve/matrix_market.h"
#include "apps/solve/system_page.h"

namespace solve {
namespace {

using corvidnum::SparseMethod;
using corvidnum::SparseOptions;
using corvidnum::SparseStatus;

Matrix read_square(const std::string& path) {
  Matrix matrix = read_matrix(path);
  expect_square(matrix);
  return matrix;
}

/// Reads and checks all files before the work begins.
System read_system(const Task& task, Report& report) {
  const apps::Phase phase("reading", report.read_time);
  System system;
  system.transposed = task.transpose;
  system.matrix = read_square(task.matrix_path);
  system.values = system.matrix.value;
  if (!task.second_path.empty()) {
    system.second = read_square(task.second_path);
    system.values = values_in_order_of(system.matrix, *system.second);
  }
  if (!task.rhs_path.empty()) system.b = read_vector(task.rhs_path, system.matrix.rows);
  return system;
}

/// Sets b to A times ones if none was given.
void default_right_hand_side(System& system) {
  if (!system.b.empty()) return;
  const auto& rows = system.transposed ? system.matrix.column : system.matrix.row;
  system.b.assign(static_cast<std::size_t>(system.matrix.rows), 0.0);
  for (std::size_t k = 0; k < rows.size(); ++k)
    system.b[static_cast<std::size_t>(rows[k] - 1)] += system.values[k];
  expect_finite(system.b, system.name());
}

/// Returns the options for a method that was named: it is not exchanged for the other one.
SparseOptions only_by(SparseMethod method, SparseOptions options) {
  constexpr int kSameMethod = 1;
  options.method = method;
  options.repair = kSameMethod;
  return options;
}

/// Solves by the method that was not chosen, for comparison.
void try_other(const System& system, const Task& task, Report& report) {
  const bool used_ma48 = report.found->report.method == SparseMethod::ma48;
  const SparseMethod method = used_ma48 ? SparseMethod::ma38 : SparseMethod::ma48;
  report.other = attempt(system, only_by(method, task.solver), task.refine || task.estimate);
}

/// Returns whether the system is to be solved: not if a file without values, which would all be 1, is only to
/// be reordered.
bool to_be_solved(const Task& task, const Matrix& matrix) {
  const bool only_pattern = !matrix.has_values && task.pattern.goal;
  const bool asked_for = !task.rhs_path.empty() || !task.out_path.empty() || !task.second_path.empty() ||
                         task.refine || task.estimate || task.try_all;
  return asked_for || !only_pattern;
}

void solve(System& system, const Task& task, Report& report) {
  expect_enough_entries(system.matrix, static_cast<std::int64_t>(system.matrix.value.size()));
  default_right_hand_side(system);
  SparseOptions options = task.solver;
  if (options.method != SparseMethod::automatic) options = only_by(options.method, options);
  if (system.second) options.factorisations = 2;
  report.found = attempt(system, options, task.refine || task.estimate);
  if (task.try_all) try_other(system, task, report);
  expect_solution(*report.found);
}

void describe(const Task& task, const Matrix& matrix, Report& report) {
  report.file = apps::input_name(task.matrix_path);
  report.refactored_file = apps::input_name(task.second_path);
  report.shows_solution = task.out_path.empty();
  report.transposed = task.transpose;
  report.estimate = task.estimate;
  report.order = matrix.rows;
  report.entries = static_cast<int>(matrix.value.size());
}

/// Studies the pattern and solves the system, as far as the task asks for it.
void study_and_solve(System& system, const Task& task, Report& report) {
  report.pattern = study_pattern(system.matrix, task.pattern);  // shows what singular matrices lack, too
  if (!to_be_solved(task, system.matrix)) return;
  solve(system, task, report);
  if (!task.out_path.empty()) apps::write_file(task.out_path, vector_text(report.found->x));
}

/// Does the same, and writes the page about it whether or not there is a solution.
void study_and_show(System& system, const Task& task, Report& report) {
  const auto show = [&](const std::string& fault) {
    task.reports->add(page_of(system.matrix, report, fault, task.solver.bound), entry_of(report, fault));
  };
  try {
    study_and_solve(system, task, report);
  } catch (const std::runtime_error& error) {
    show(error.what());
    throw;
  }
  show("");
}

}  // namespace

void expect_square(const Matrix& matrix) {
  if (matrix.rows != matrix.columns)
    throw apps::complaint(matrix.name, matrix.size_line,
                          fmt::format("the matrix is {} x {}, not square", matrix.rows, matrix.columns));
  if (matrix.rows == 0) throw apps::complaint(matrix.name, matrix.size_line, "the matrix is empty");
}

void expect_enough_entries(const Matrix& matrix, std::int64_t entries) {
  if (2 * entries < matrix.rows)
    throw Singular(fmt::format("{}:{}: the matrix is structurally singular: {} entries, order {}",
                               matrix.name, matrix.size_line, entries, matrix.rows));
}

void expect_finite(const std::vector<double>& b, const std::string& name) {
  if (!std::all_of(b.begin(), b.end(), [](double value) { return std::isfinite(value); }))
    throw std::runtime_error(name + ": A times ones is too large for numbers; give --rhs");
}

void expect_solution(const Attempt& found) {
  if (found.solved()) return;
  if (found.status == SparseStatus::Singular) throw Singular(found.fault);
  if (found.status == SparseStatus::Inexact) throw Inexact(found.fault);
  throw std::runtime_error(found.fault);
}

void run(const Task& task, Report& report) {
  System system = read_system(task, report);
  describe(task, system.matrix, report);
  if (!task.out_path.empty()) apps::check_writable(task.out_path);
  if (task.reports) {
    study_and_show(system, task, report);
  } else {
    study_and_solve(system, task, report);
  }
}

}  // namespace solve
