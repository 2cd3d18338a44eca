// corvidnum-solve A.mtx: solves a sparse system of equations from Matrix Market files.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cfloat>
#include <cstdint>
#include <exception>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "apps/common/output.h"
#include "apps/common/program.h"
#include "apps/common/program_options.h"
#include "apps/report/index.h"
#include "apps/report/option.h"
#include "apps/solve/distributed.h"
#include "apps/solve/matrix_market.h"
#include "apps/solve/report.h"
#include "apps/solve/solving.h"
#include "apps/support/processes.h"

namespace {

using apps::complain;
using corvidnum::SparseMethod;

constexpr const char* kMumps = "mumps";

enum { kSingular = 3, kInexact = 4 };  // exit codes beside those of all programs

/// Code of a rank where another one has failed and tells why: that rank's own code becomes that of mpirun.
constexpr int kToldElsewhere = apps::kSolved;

/// The processes of this run. They are joined in main(), before options are read.
apps::Processes* ranks = nullptr;

/// Whether run() has been reached, so that the options of this rank are good.
bool running = false;

struct Options {
  solve::Task task;
  std::string report_folder;
  bool json = false, quiet = false;
};

bool print(const Options& options, const solve::Report& report) {
  const apps::ReportStream stream{options.quiet, options.task.out_path};
  return stream.print(options.json ? report_json(report) : report_text(report));
}

/// @return false if another rank has told why there is no solution
bool solve_system(const solve::Task& task, solve::Report& report) {
  if (task.by_mumps) return solve::run_distributed(task, *ranks, report);
  solve::run(task, report);
  return true;
}

int solve_and_print(const Options& options) {
  std::optional<report::Folder> reports;
  const bool ready = apps::together(*ranks, [&] {
    if (ranks->rank() == 0)
      report::open_reports(options.report_folder, report::page_name("solve-", options.task.matrix_path),
                           "--out", options.task.out_path, reports);
  });
  if (!ready) return kToldElsewhere;
  solve::Task task = options.task;
  if (reports) task.reports = &*reports;
  solve::Report report;
  try {
    if (!solve_system(task, report)) return kToldElsewhere;
  } catch (const std::exception&) {
    if (report.pattern.reordering || report.other) print(options, report);  // of use without a solution
    throw;
  }
  if (ranks->rank() != 0) return apps::kSolved;
  return print(options, report) ? apps::kSolved : complain(apps::kBadInput, apps::kNotPrinted);
}

int run(const CLI::App&, const Options& options) {
  running = true;
  if (!apps::agree_on_options(*ranks, true)) return apps::kBadUsage;
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
      "--refine, --error-estimate or --try-all asks for it");
  app.add_option("--spy", pattern.folder,
                 "write pictures of the pattern into this folder, also if A is singular: before.svg, as "
                 "given, and with --reorder after.svg")
      ->check(apps::not_empty())
      ->check(apps::no_stream("folder"));
}

void declare_solver(CLI::App& app, solve::Task& task) {
  corvidnum::SparseOptions& solver = task.solver;
  const std::map<std::string, SparseMethod> methods{{"auto", SparseMethod::automatic},
                                                    {"ma48", SparseMethod::ma48},
                                                    {"ma38", SparseMethod::ma38},
                                                    {kMumps, SparseMethod::automatic}};
  const auto choose = [&task, methods](const std::string& name) {
    task.solver.method = methods.at(name);
    task.by_mumps = name == kMumps;
  };
  app.add_option_function<std::string>(
         "--solver", choose,
         "auto chooses by the pattern, and takes the other one where that fails (default); ma48, column by "
         "column, for matrices that stay sparse; ma38, multifrontal, for those that fill in, as meshes do; "
         "mumps, multifrontal over the processes that mpirun starts, each of which reads a part of A, for "
         "those that are too large for one")
      ->check(CLI::IsMember(methods));
  app.add_flag(
      "--try-all", task.try_all,
      "solve by the other method, too, and compare both in a table; the solution is that of --solver");
  const auto switch_by = [&app](const char* flags, int& option, const char* help) {
    app.add_flag_function(
        flags, [&option](std::int64_t times) { option = times > 0 ? 1 : 0; }, help);
  };
  switch_by("--btf,!--no-btf", solver.blocks, "look for a block triangular form (default), or do not");
  const auto set_threshold = [&solver](double given) {
    solver.threshold = std::max(given, DBL_MIN);  // 0 would be the method's own
  };
  app.add_option_function<double>("--pivot-tolerance", set_threshold,
                                  "least pivot, as part of the largest element of its column (ma48: 0.1, "
                                  "ma38: 0.5, mumps: 0.01); raised where a solution would be too inexact")
      ->check(apps::between(0, 1));
  switch_by(
      "--prefer-diagonal,!--no-prefer-diagonal", solver.diagonal,
      "have ma38 take pivots from the diagonal wherever they are large enough, which saves digits where "
      "the diagonal is heavy, as on grids, and is the default if the diagonal is not empty; or wherever "
      "the factors stay sparse");
  app.add_option("--bound", solver.bound,
                 "componentwise backward error that the solution may have (default 1e-12)")
      ->check(apps::between(1e-16, 1));
}

void declare(CLI::App& app, Options& options) {
  solve::Task& task = options.task;
  const CLI::Validator named = apps::not_empty();
  app.add_option("matrix", task.matrix_path,
                 "the matrix A (Matrix Market, coordinate or array); - is standard input")
      ->required()
      ->check(named);
  app.add_option(
         "--rhs", task.rhs_path,
         "the right-hand side b (Matrix Market, or numbers, one a line); without it, b is A times ones")
      ->check(named);
  app.add_flag("--transpose", task.transpose, "solve with the transpose of A");
  app.add_flag("--refine", task.refine, "refine the solution as far as rounding lets it");
  app.add_flag("--error-estimate", task.estimate, "refine, and bound the forward error");
  app.add_option("--refactor-with", task.second_path,
                 "a matrix with entries in the same places: factorise A, then this one on the pivots of A, "
                 "and solve with this one")
      ->check(named);
  app.add_option("--out", task.out_path,
                 "write the solution to this file (Matrix Market, array); with - to standard output, and the "
                 "report to the error stream; without it, the report shows up to 20 unknowns")
      ->check(named);
  app.add_option("--report", options.report_folder,
                 "write a page with the pattern, the blocks, times and errors into this folder, and its line "
                 "into index.html and index.tsv there, also if A is singular")
      ->check(named)
      ->check(apps::no_stream("folder"));
  declare_solver(app, task);
  declare_pattern(app, task.pattern);
  CLI::Option* const json = app.add_flag("--json", options.json, "print the report as JSON");
  apps::add_quiet(app, options.quiet)->excludes(json);
}

/// Refuses what needs all entries in one process, or class SparseSolver.
void check_mumps(const CLI::App& app, const Options& options) {
  if (!solve::has_mumps()) throw CLI::ValidationError("--solver", "this build has no MUMPS");
  for (const char* option :
       {"--refactor-with", "--try-all", "--btf", "--prefer-diagonal", "--reorder", "--spy"})
    if (apps::is_given(app, option)) throw CLI::ValidationError(option, "is not for --solver mumps");
  if (ranks->size() > 1 && apps::is_standard_stream(options.task.matrix_path))
    throw CLI::ValidationError("matrix", "must be a file that all processes can read, not -");
}

/// Checks what the parser cannot tell.
void check_options(const CLI::App& app, const Options& options) {
  const solve::Task& task = options.task;
  if (task.by_mumps) check_mumps(app, options);
  if (!task.by_mumps && ranks->size() > 1)
    throw CLI::ValidationError("--solver", "only mumps goes over several processes");
  apps::check_inputs({task.matrix_path, task.rhs_path, task.second_path});
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
  const bool by_ma38 = task.solver.method != SparseMethod::ma48 || task.try_all;
  if (apps::is_given(app, "--prefer-diagonal") && !by_ma38)
    throw CLI::ValidationError(task.solver.diagonal > 0 ? "--prefer-diagonal" : "--no-prefer-diagonal",
                               "has no effect on ma48");
}

}  // namespace

int main(int argc, char** argv) {
  apps::Processes all(argc, argv);
  ranks = &all;
  all.let_first_speak();
  const apps::Program<Options> program{
      "corvidnum-solve",
      "Solves a sparse system of linear equations A x = b.",
      "Exit codes: 0 solved (or reordered, if A is a pattern and nothing asks for a solution), 1 a file "
      "cannot\n"
      "be used or there is no room, 2 bad options, 3 A is singular, exactly or to working precision: the\n"
      "message names equations and unknowns at fault, 4 no solution meets the bound of the backward error.\n"
      "Only 0 comes with a solution; --reorder and --try-all tell what they found whatever becomes of it.\n"
      "Every solution is judged; where it misses the bound it is refined, then new pivots, a higher pivot\n"
      "tolerance and the other method are tried; mumps tries refinement and a higher pivot tolerance alone.\n"
      "Forward errors above 0.01 are told unasked. Files that gzip has compressed are read as they are.",
      declare,
      check_options,
      run,
      file};
  const int code = apps::run_program(program, argc, argv);
  if (!running) apps::agree_on_options(*ranks, false);
  return code;
}
