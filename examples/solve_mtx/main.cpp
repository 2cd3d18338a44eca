// corvidnum-solve A.mtx: solves a sparse system of equations from Matrix Market files.

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <map>
#include <memory>
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
#include "examples/solve_mtx/residual.h"
#include "examples/solve_mtx/singularity.h"

namespace {

using examples::complain;
using solve_mtx::DirectSolver;
using solve_mtx::Effort;
using solve_mtx::Matrix;
using solve_mtx::Method;
using solve_mtx::Phase;
using solve_mtx::Report;

enum ExitCode { kSolved = 0, kBadInput = 1, kBadUsage = 2, kSingular = 3 };

struct Options {
  std::string matrix_path, rhs_path, second_path, out_path;
  solve_mtx::SolverSettings solver;
  solve_mtx::PatternOptions pattern;
  bool transpose = false, refine = false, estimate = false, json = false;
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

/// For the second matrix.
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

Effort effort(const Options& options) {
  if (options.estimate) return Effort::kForwardError;
  return options.refine ? Effort::kRefine : Effort::kBackwardErrors;
}

/// Solves with the factors at hand.
/// @return why they are of no use, if they are of none
std::optional<std::string> attempt(DirectSolver& solver, const System& system, const Options& options,
                                   Report& report) {
  solve_mtx::Solution& solution = report.solution;
  {
    const Phase phase("solving", report.solve_time);
    solution = solver.solve(system.b, options.transpose, effort(options));
  }
  if (!all_finite(solution.x)) return "the solution is too large for numbers";
  const Phase phase("checking", report.check_time);
  const solve_mtx::Equations equations{system.matrix, system.values, options.transpose};
  if (const auto error = hopeless_error(solver, equations, system.b))
    return fmt::format("the matrix is singular to working precision (forward error estimate {:.2g})", *error);
  if (options.estimate && options.solver.method == Method::kMa38)  // which has no estimate of its own
    solution.forward_error = forward_error(solver, equations, solution.x, system.b);
  return std::nullopt;
}

void solve(DirectSolver& solver, System& system, const Options& options, Report& report) {
  default_right_hand_side(system, options.transpose);
  auto complaint = attempt(solver, system, options, report);
  if (complaint && system.second && !report.new_pivots) {  // no fault of the matrix, perhaps
    choose_new_pivots(solver, system, report);
    complaint = attempt(solver, system, options, report);
  }
  if (complaint) throw solve_mtx::Singular(system.name() + ": " + *complaint);
  report.residual =
      scaled_residual(system.matrix, system.values, options.transpose, report.solution.x, system.b);
  report.refine = options.refine || options.estimate;
  report.estimate = options.estimate;
}

void describe(const DirectSolver& solver, const System& system, const Options& options, Report& report) {
  report.method = options.solver.method;
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
  const std::unique_ptr<DirectSolver> solver = make_solver(system.matrix, options.solver);
  factorise(*solver, system, report);
  solve(*solver, system, options, report);
  describe(*solver, system, options, report);
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

void declare_solver(CLI::App& app, solve_mtx::SolverSettings& solver) {
  const std::map<std::string, Method> methods{{"ma48", Method::kMa48}, {"ma38", Method::kMa38}};
  app.add_option_function<std::string>(
         "--solver", [&solver, methods](const std::string& name) { solver.method = methods.at(name); },
         "ma48, column by column, for matrices that stay sparse (default); ma38, multifrontal, for those "
         "that "
         "fill in, as meshes do")
      ->check(CLI::IsMember(methods));
  app.add_flag("--btf,!--no-btf", solver.block_form, "look for a block triangular form (default), or do not");
  app.add_option("--pivot-tolerance", solver.threshold,
                 "least pivot, as part of the largest element of its column: from 0 to 1 (0.1)");
  app.add_flag(
      "--keep-matrix", solver.keep_matrix,
      "have ma38 keep a copy of A with the factors; --refine and --error-estimate see to it themselves");
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
  app.add_option("--out", options.out_path, "write the solution to this file (Matrix Market, array)");
  declare_solver(app, options.solver);
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
  if (options.solver.keep_matrix && options.solver.method != Method::kMa38)
    throw CLI::ValidationError("--keep-matrix", "needs --solver ma38; ma48 always keeps A");
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
  // ma38 does not refine without.
  if (options.solver.method == Method::kMa38 && (options.refine || options.estimate))
    options.solver.keep_matrix = true;
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
