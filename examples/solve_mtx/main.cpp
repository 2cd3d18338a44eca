// corvidnum-solve A.mtx: solves a sparse system of equations from Matrix Market files.

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <map>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "examples/common/output.h"
#include "examples/common/toml_reader.h"
#include "examples/solve_mtx/direct_solver.h"
#include "examples/solve_mtx/matrix_market.h"
#include "examples/solve_mtx/pattern.h"
#include "examples/solve_mtx/progress.h"
#include "examples/solve_mtx/report.h"

namespace {

using examples::complain;
using solve_mtx::DirectSolver;
using solve_mtx::Effort;
using solve_mtx::Matrix;
using solve_mtx::Phase;
using solve_mtx::Report;

enum ExitCode { kSolved = 0, kBadInput = 1, kBadUsage = 2, kSingular = 3 };

struct Options {
  std::string matrix_path, rhs_path, second_path, out_path;
  solve_mtx::SolverSettings solver;
  solve_mtx::PatternOptions pattern;
  bool transpose = false, refine = false, estimate = false, no_block_form = false, json = false;
};

/// The equations to solve: a pattern, the values in its order, and the right-hand side.
struct System {
  Matrix matrix;
  std::optional<Matrix> second;  // with values for the refactorisation
  std::vector<double> values, b;

  /// The file of the values.
  const std::string& name() const { return second ? second->name : matrix.name; }
};

/// Prints all of `text`, or tells that it could not.
bool print_whole(const std::string& text) {
  return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
}

Matrix read_square(const std::string& path) {
  Matrix matrix = solve_mtx::read_matrix(path);
  if (matrix.rows != matrix.columns)
    throw examples::complaint(path, matrix.size_line,
                              fmt::format("the matrix is {} x {}, not square", matrix.rows, matrix.columns));
  if (matrix.rows == 0) throw examples::complaint(path, matrix.size_line, "the matrix is empty");
  return matrix;
}

std::vector<double> read_right_hand_side(const std::string& path, int order) {
  solve_mtx::Vector b = solve_mtx::read_vector(path);
  if (b.value.size() != static_cast<std::size_t>(order))
    throw examples::complaint(path, b.size_line,
                              fmt::format("{} numbers for a matrix of order {}", b.value.size(), order));
  return std::move(b.value);
}

/// All files are read, and found good, before the work begins.
System read_system(const Options& options, Report& report) {
  const Phase phase("reading", report.read_time);
  System system;
  system.matrix = read_square(options.matrix_path);
  system.values = system.matrix.value;
  if (!options.second_path.empty()) {
    system.second = read_square(options.second_path);
    system.values = values_in_order_of(system.matrix, *system.second);
  }
  if (!options.rhs_path.empty()) system.b = read_right_hand_side(options.rhs_path, system.matrix.rows);
  return system;
}

bool all_finite(const std::vector<double>& values) {
  return std::all_of(values.begin(), values.end(), [](double value) { return std::isfinite(value); });
}

/// Only a matrix with an entry a row can have a solution; others may be of any order, however few they hold.
void default_right_hand_side(System& system, bool transposed) {
  if (!system.b.empty()) return;
  const std::vector<double> ones(static_cast<std::size_t>(system.matrix.rows), 1.0);
  system.b = product(system.matrix, system.values, transposed, ones);
  if (!all_finite(system.b))
    throw std::runtime_error(system.name() + ": A times ones is too large for numbers; give --rhs");
}

void factorise(DirectSolver& solver, const System& system, Report& report) {
  {
    const Phase phase("analysing", report.analyse_time);
    solver.analyse();
  }
  {
    const Phase phase("factorising", report.factorise_time);
    solver.factorise(system.matrix.value, system.matrix.name);
  }
  if (!system.second) return;
  const Phase phase("refactorising", report.refactorise_time);
  report.new_pivots = !solver.refactorise(system.values);
  if (report.new_pivots) solver.factorise(system.values, system.name());
}

Effort effort(const Options& options) {
  if (options.estimate) return Effort::kForwardError;
  return options.refine ? Effort::kRefine : Effort::kBackwardErrors;
}

/// Rounding leaves small pivots where there should be none. The solution then has a small residual, and no
/// digit that holds. That alone may also come of columns that differ much in size, which is no fault.
void refuse_nearly_singular(DirectSolver& solver, const System& system, bool transposed, Report& report) {
  const Phase phase("checking", report.check_time);
  const auto unsure = [](double error) { return error >= 1 && std::isfinite(error); };
  const double error = uncertainty(solver, system.b, transposed);
  if (!unsure(error)) return;
  if (!unsure(uncertainty(solver, balanced_right_hand_side(system.matrix, system.values, transposed),
                          transposed)))
    return;
  throw solve_mtx::Singular(
      fmt::format("{}: the matrix is singular to working precision (forward error estimate {:.2g})",
                  system.name(), error));
}

void solve(DirectSolver& solver, System& system, const Options& options, Report& report) {
  default_right_hand_side(system, options.transpose);
  {
    const Phase phase("solving", report.solve_time);
    report.solution = solver.solve(system.b, options.transpose, effort(options));
  }
  const std::vector<double>& x = report.solution.x;
  if (!all_finite(x)) throw solve_mtx::Singular(system.name() + ": the solution is too large for numbers");
  refuse_nearly_singular(solver, system, options.transpose, report);
  report.residual = scaled_residual(system.matrix, system.values, options.transpose, x, system.b);
  report.refine = options.refine || options.estimate;
  report.estimate = options.estimate;
}

void describe(const DirectSolver& solver, const System& system, const Options& options, Report& report) {
  report.file = options.matrix_path;
  report.refactored_file = options.second_path;
  report.transposed = options.transpose;
  report.order = system.matrix.rows;
  report.entries = static_cast<int>(system.matrix.value.size());
  report.facts = solver.facts();
}

int run(const Options& options) {
  Report report;
  System system = read_system(options, report);
  report.pattern = study_pattern(system.matrix, options.pattern);  // shows what singular matrices lack, too
  DirectSolver solver(system.matrix, options.solver);
  factorise(solver, system, report);
  solve(solver, system, options, report);
  describe(solver, system, options, report);
  if (!options.out_path.empty()) {
    const std::string text = solve_mtx::vector_text(report.solution.x);
    if (const auto failure = examples::write_whole_file(options.out_path, text))
      return complain(kBadInput, options.out_path + ": " + *failure);
  }
  if (!print_whole(options.json ? report_json(report) : report_text(report)))
    return complain(kBadInput, "standard output cannot be written");
  return kSolved;
}

void declare_pattern(CLI::App& app, solve_mtx::PatternOptions& pattern) {
  using examples::Goal;
  const std::map<std::string, Goal> goals{{"profile", Goal::kProfile}, {"bandwidth", Goal::kBandwidth}};
  app.add_option_function<std::string>(
         "--reorder", [&pattern, goals](const std::string& name) { pattern.goal = goals.at(name); },
         "renumber the unknowns for a small profile or bandwidth of the pattern of A + A', and tell both "
         "before and after; the system is solved as given all the same, since the solver has an order of its "
         "own")
      ->check(CLI::IsMember(goals));
  app.add_option("--spy", pattern.folder,
                 "write pictures of the pattern into this folder, also if A is singular: before.svg, as "
                 "given, and with --reorder after.svg");
}

void declare(CLI::App& app, Options& options) {
  app.add_option("matrix", options.matrix_path, "the matrix A (Matrix Market, coordinate)")->required();
  app.add_option("--rhs", options.rhs_path,
                 "the right-hand side b (Matrix Market, array); without it, b is A times ones");
  app.add_flag("--transpose", options.transpose, "solve with the transpose of A");
  app.add_flag("--refine", options.refine, "refine the solution");
  app.add_flag("--error-estimate", options.estimate, "refine, and estimate the forward error");
  app.add_option("--refactor-with", options.second_path,
                 "a matrix with entries in the same places: factorise A, then this one on the pivots of A, "
                 "and solve with this one");
  app.add_flag("--no-btf", options.no_block_form, "look for no block triangular form");
  app.add_option("--pivot-tolerance", options.solver.threshold,
                 "least pivot, as part of the largest element of its column: from 0 to 1 (0.1)");
  app.add_option("--out", options.out_path, "write the solution to this file (Matrix Market, array)");
  declare_pattern(app, options.pattern);
  app.add_flag("--json", options.json, "print the report as JSON");
}

/// A file that is read must not be replaced.
void check_output(const char* option, const std::string& output, const std::string& input) {
  std::error_code none;  // a file that is not there is not the same
  if (std::filesystem::is_regular_file(output, none) && std::filesystem::equivalent(output, input, none))
    throw CLI::ValidationError(option, output + " would be replaced, and is read");
}

/// What the parser cannot tell.
void check_options(const CLI::App& app, const Options& options) {
  const std::pair<const char*, const std::string&> inputs[] = {
      {"matrix", options.matrix_path}, {"--rhs", options.rhs_path}, {"--refactor-with", options.second_path}};
  for (const auto& [option, path] : inputs) {
    if (app.count(option) > 0 && path.empty())
      throw CLI::ValidationError(option, "the name of the file is empty");
    check_output("--out", options.out_path, path);
    for (const std::string& picture : options.pattern.pictures()) check_output("--spy", picture, path);
  }
  if (app.count("--out") > 0 && options.out_path.empty())
    throw CLI::ValidationError("--out", "the name of the file is empty");
  if (app.count("--spy") > 0 && options.pattern.folder.empty())
    throw CLI::ValidationError("--spy", "the name of the folder is empty");
  const double threshold = options.solver.threshold.value_or(0);
  if (!(0 <= threshold && threshold <= 1))  // nor is it NaN
    throw CLI::ValidationError("--pivot-tolerance", "must lie between 0 and 1");
}

int parse_and_run(int argc, char** argv) {
  Options options;
  CLI::App app{"Solves a sparse system of linear equations A x = b."};
  declare(app, options);
  try {
    app.parse(argc, argv);
    check_options(app, options);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kSolved : kBadUsage;
  }
  options.solver.block_form = !options.no_block_form;
  return run(options);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return parse_and_run(argc, argv);
  } catch (const solve_mtx::Singular& error) {
    return complain(kSingular, error.what());
  } catch (const std::bad_alloc&) {
    return complain(kBadInput, "the memory does not suffice");
  } catch (const std::exception& error) {
    return complain(kBadInput, error.what());
  }
}
