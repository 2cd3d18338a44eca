// corvidnum-solve A.mtx: solves a sparse system of equations from Matrix Market files.

#include <CLI/CLI.hpp>
#include <exception>
#include <map>
#include <string>
#include <vector>

#include "apps/common/output.h"
#include "apps/common/program.h"
#include "apps/common/program_options.h"
#include "apps/solve/matrix_market.h"
#include "apps/solve/report.h"
#include "apps/solve/solving.h"

namespace {

using apps::complain;
using solve::Method;

enum { kSingular = 3, kInexact = 4 };  // exit codes beside those of all programs

struct Options {
  solve::Task task;
  bool json = false;
};

bool print(const Options& options, const solve::Report& report) {
  return apps::print_whole(options.json ? report_json(report) : report_text(report));
}

int solve_and_print(const Options& options) {
  solve::Report report;
  try {
    solve::run(options.task, report);
  } catch (const std::exception&) {
    if (report.pattern.reordering) print(options, report);  // the reordering is of use without a solution
    throw;
  }
  return print(options, report) ? apps::kSolved : complain(apps::kBadInput, apps::kNotPrinted);
}

int run(const CLI::App&, const Options& options) {
  try {
    return solve_and_print(options);
  } catch (const solve::Singular& error) {
    return complain(kSingular, error.what());
  } catch (const solve::Inexact& error) {
    return complain(kInexact, error.what());
  }
}

const std::string& file(const Options& options) { return options.task.matrix_path; }

void declare_pattern(CLI::App& app, solve::PatternOptions& pattern) {
  using apps::Goal;
  const std::map<std::string, Goal> goals{{"profile", Goal::kProfile}, {"bandwidth", Goal::kBandwidth}};
  apps::add_choice(
      app, "--reorder", pattern.goal, goals,
      "renumber the unknowns for a small profile or bandwidth of the pattern of A + A', and tell both "
      "before and after, also if A is singular; the system is solved as given all the same, since the "
      "solver has an order of its own, but a file without values only if --rhs, --out, --refactor-with, "
      "--refine or --error-estimate asks for it");
  app.add_option("--spy", pattern.folder,
                 "write pictures of the pattern into this folder, also if A is singular: before.svg, as "
                 "given, and with --reorder after.svg")
      ->check(apps::not_empty());
}

void declare_solver(CLI::App& app, solve::SolverSettings& solver) {
  const std::map<std::string, Method> methods{{"ma48", Method::kMa48}, {"ma38", Method::kMa38}};
  apps::add_choice(
      app, "--solver", solver.method, methods,
      "ma48, column by column, for matrices that stay sparse (default); ma38, multifrontal, for those "
      "that fill in, as meshes do");
  app.add_flag("--btf,!--no-btf", solver.block_form, "look for a block triangular form (default), or do not");
  app.add_option("--pivot-tolerance", solver.threshold,
                 "least pivot, as part of the largest element of its column (ma48: 0.1, ma38: 0.5)")
      ->check(apps::between(0, 1));
  app.add_flag(
      "--prefer-diagonal,!--no-prefer-diagonal", solver.prefer_diagonal,
      "have ma38 take pivots from the diagonal wherever they are large enough (default), which saves "
      "digits where the diagonal is heavy, as on grids; or wherever the factors stay sparse");
  app.add_flag(
      "--keep-matrix", solver.keep_matrix,
      "have ma38 keep a copy of A with the factors; --refine and --error-estimate see to it themselves");
}

void declare(CLI::App& app, Options& options) {
  solve::Task& task = options.task;
  const CLI::Validator named = apps::not_empty();
  app.add_option("matrix", task.matrix_path, "the matrix A (Matrix Market, coordinate)")
      ->required()
      ->check(named);
  app.add_option("--rhs", task.rhs_path,
                 "the right-hand side b (Matrix Market, array); without it, b is A times ones")
      ->check(named);
  app.add_flag("--transpose", task.transpose, "solve with the transpose of A");
  app.add_flag("--refine", task.refine, "refine the solution");
  app.add_flag("--error-estimate", task.estimate, "refine, and estimate the forward error");
  app.add_option("--refactor-with", task.second_path,
                 "a matrix with entries in the same places: factorise A, then this one on the pivots of A, "
                 "and solve with this one")
      ->check(named);
  app.add_option("--out", task.out_path, "write the solution to this file (Matrix Market, array)")
      ->check(named);
  declare_solver(app, task.solver);
  declare_pattern(app, task.pattern);
  app.add_flag("--json", options.json, "print the report as JSON");
}

/// Checks what the parser cannot tell.
void check_options(const CLI::App& app, const Options& options) {
  const solve::Task& task = options.task;
  for (const std::string& input : {task.matrix_path, task.rhs_path, task.second_path}) {
    apps::check_output("--out", task.out_path, input);
    for (const std::string& picture : task.pattern.pictures()) apps::check_output("--spy", picture, input);
  }
  const std::vector<std::string> pictures = task.pattern.pictures();
  for (const std::string& picture : pictures) {
    apps::check_outputs_differ("--out", task.out_path, "--spy", picture);
    if (&picture != &pictures.front())
      apps::check_outputs_differ("--spy", picture, "--spy", pictures.front());
  }
  if (task.solver.method == Method::kMa38) return;
  if (task.solver.keep_matrix)
    throw CLI::ValidationError("--keep-matrix", "needs --solver ma38; ma48 always keeps A");
  if (app.count("--prefer-diagonal") > 0)
    throw CLI::ValidationError(task.solver.prefer_diagonal ? "--prefer-diagonal" : "--no-prefer-diagonal",
                               "needs --solver ma38");
}

}  // namespace

int main(int argc, char** argv) {
  const apps::Program<Options> program{
      "Solves a sparse system of linear equations A x = b.",
      "Exit codes: 0 solved (or reordered, if A is a pattern and nothing asks for a solution), 1 a file "
      "cannot\n"
      "be used or there is no room, 2 bad options, 3 A is singular, exactly or to working precision, 4 the\n"
      "factors are too inexact or the estimate of the forward error leaves no digit of the solution. Only 0\n"
      "comes with a solution; with --reorder, bandwidth and profile are told whatever becomes of it. "
      "Solutions\n"
      "with backward errors above 1e-12 are refined unasked; forward errors above 0.01 are told unasked.",
      declare,
      check_options,
      run,
      file};
  return apps::run_program(program, argc, argv);
}
