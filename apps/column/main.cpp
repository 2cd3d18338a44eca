// corvidnum-column CASE.toml: solves a staged distillation column by the bubble-point method or by Newton's.
// corvidnum-column fit COMPONENT.csv...: fits measured vapour pressures, which a case can then use.

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "apps/column/acceleration.h"
#include "apps/column/bubble_point.h"
#include "apps/column/case_file.h"
#include "apps/column/case_page.h"
#include "apps/column/closure.h"
#include "apps/column/csv.h"
#include "apps/column/fit_command.h"
#include "apps/column/fit_page.h"
#include "apps/column/fit_report.h"
#include "apps/column/flows.h"
#include "apps/column/jacobian_ordering.h"
#include "apps/column/memory_watch.h"
#include "apps/column/method_comparison.h"
#include "apps/column/newton.h"
#include "apps/column/other_case.h"
#include "apps/column/published.h"
#include "apps/column/report.h"
#include "apps/column/shortcut.h"
#include "apps/common/input.h"
#include "apps/common/log_file.h"
#include "apps/common/output.h"
#include "apps/common/program.h"
#include "apps/common/program_options.h"
#include "apps/common/progress.h"
#include "apps/report/index.h"
#include "apps/report/option.h"

namespace {

using apps::complain;

using apps::kBadInput;
using apps::kSolved;

enum { kNotConverged = 3, kInexact = 4, kDiffers = 5 };  // exit codes in addition to those of all programs

constexpr char kFit[] = "fit";  // the subcommand

struct Options {
  std::string case_path, csv_path, log_name, properties, report_folder;
  std::vector<std::string> tables;  // arguments of the subcommand fit
  std::optional<double> tolerance;
  column::AccelerationSettings acceleration;
  bool newton = false;
  column::StepMethod solver = column::StepMethod::ma48;
  bool dense = false;
  bool compare = false;
  bool strict = false;  // published values must agree
  bool quiet = false;   // also of fit
};

// The functions below append what is to be printed to `text`, which is printed once all files are written.
// They return the exit code.

/// Returns the name of the case in messages.
std::string case_name(const Options& options) { return std::string(apps::input_name(options.case_path)); }

/// Prints an error about the case. Returns `code`.
int complain_of(const Options& options, int code, const std::string& what) {
  return complain(code, case_name(options) + ": " + what);
}

/// Returns the exit code of a run that has come to no answer.
int code_without_answer(column::Outcome outcome) {
  return outcome == column::Outcome::kNoMemory ? static_cast<int>(kBadInput) : kNotConverged;
}

/// Appends the answer of the bubble-point method, beside that of the other case if there is one.
int show_bubble_point(const Options& options, const column::ColumnCase& c, const column::InternalFlows& flows,
                      const column::Solution& solution, const std::optional<column::ColumnCase>& other,
                      std::string& text) {
  const column::Closure closed = column::closure(c, flows, solution.profile);
  text += column::report(c, flows, solution, closed);
  if (other)
    text += column::report(c, solution, column::compare_with_other(c, case_name(options), solution, *other));
  if (closed.worst() <= column::Closure::kLimit) return kSolved;
  return complain_of(
      options, kInexact,
      fmt::format("balances close only to {:.1e}, not to {:g}: K-values or flows lie too far apart",
                  closed.worst(), column::Closure::kLimit));
}

/// Solves the case again by the dense matrix and appends how far the answers are apart.
int check_dense(const Options& options, const column::ColumnCase& c, const column::InternalFlows& flows,
                const column::Solution& arrow, std::string& text) {
  if (arrow.outcome != column::Outcome::kOk)
    return complain_of(options, code_without_answer(arrow.outcome),
                       "nothing to check by the dense matrix: " + arrow.complaint);
  const column::Solution dense = apps::in_phase("solving by the dense matrix", [&] {
    return column::solve(c, flows, column::Solver::kDense, options.acceleration);
  });
  if (dense.outcome != column::Outcome::kOk)
    return complain_of(options, code_without_answer(dense.outcome),
                       "dense run not converged: " + dense.complaint);
  const column::DenseCheck check{column::solver_difference(c, flows, arrow.profile.temperature),
                                 column::profile_difference(arrow.profile, dense.profile), dense.passes(),
                                 dense.seconds};
  text += column::report(check);
  if (check.largest() <= column::DenseCheck::kLimit) return kSolved;
  return complain_of(options, kInexact,
                     fmt::format("arrow and dense solutions differ by {:.1e}, more than {:g}",
                                 check.largest(), column::DenseCheck::kLimit));
}

/// Prints an error if Newton's answer does not close its balances or differs from that of the bubble-point
/// method.
int judge_newton(const Options& options, const column::ColumnCase& c, const column::Solution& bubble_point,
                 const column::Closure& closed, const column::NewtonCheck& check, std::string& text) {
  if (!(closed.worst() <= column::Closure::kLimit))
    return complain_of(options, kInexact,
                       fmt::format("newton: balances close only to {:.1e}, not to {:g}", closed.worst(),
                                   column::Closure::kLimit));
  if (bubble_point.outcome != column::Outcome::kOk) {
    text +=
        "no comparison was possible: the bubble-point method has not converged: " + bubble_point.complaint +
        "\n";
    return kSolved;
  }
  if (check.largest() <= column::NewtonCheck::kLimit) return kSolved;
  return complain_of(options, kInexact,
                     fmt::format("newton and bubble-point answers differ by {:.1e}, more than {:g}: is the "
                                 "tolerance of {:g} too loose?",
                                 check.largest(), column::NewtonCheck::kLimit, c.tolerance));
}

/// Solves the case as one system by Newton's method. Appends that answer and how far it is from that of the
/// bubble-point method.
/// @param answer  out: set if the code is kSolved
int solve_by_newton(const Options& options, const column::ColumnCase& c, const column::InternalFlows& flows,
                    const column::Solution& bubble_point, column::Profile& answer, std::string& text) {
  const bool compared = bubble_point.outcome == column::Outcome::kOk;
  const column::NewtonSolution newton =
      apps::in_phase("solving by newton", [&] { return column::solve_newton(c, flows, options.solver); });
  if (newton.outcome != column::Outcome::kOk)
    return complain_of(options, code_without_answer(newton.outcome),
                       "newton: not converged: " + newton.complaint +
                           (compared ? "" : "; nor is the bubble-point method: " + bubble_point.complaint));
  const column::Closure closed = column::closure(c, flows, newton.profile);
  column::NewtonCheck check;
  if (compared) check.difference = column::profile_difference(bubble_point.profile, newton.profile);
  text += column::report(c, flows, newton, closed, check);
  text += column::report(column::reorder_jacobian(c, flows, newton.profile));
  answer = newton.profile;
  return judge_newton(options, c, bubble_point, closed, check, text);
}

/// Converges the case without and with each acceleration, and appends the runs side by side.
int compare(const Options& options, const column::ColumnCase& c, const column::InternalFlows& flows,
            DebugOut* log, std::string& text) {
  const column::MethodComparison comparison = apps::in_phase("comparing accelerations", [&] {
    return column::compare_methods(c, flows, options.acceleration, log);
  });
  text += column::report(c, comparison);
  if (const auto* run = comparison.failed())
    return complain_of(options, code_without_answer(run->solution.outcome),
                       fmt::format("acceleration {}: not converged: {}", run->name, run->solution.complaint));
  if (const auto* run = comparison.disagreeing())
    return complain_of(options, kInexact,
                       fmt::format("acceleration {} comes out {:.1e} {} away, more than {:g}", run->name,
                                   run->apart, c.model->scale().common_unit, comparison.limit));
  return kSolved;
}

/// Prints an error if published values differ.
int judge_published(const Options& options, const std::vector<column::Comparison>& published) {
  const apps::PublishedCount counted = column::count(published);
  return counted.differing == 0 ? kSolved : complain_of(options, kDiffers, counted.words());
}

void check_outputs(const Options& options, const column::ColumnCase& c) {
  std::vector<std::string> inputs = c.other_files;
  inputs.insert(inputs.end(), {options.case_path, options.properties});
  for (const std::string& input : inputs) {
    apps::check_output("--csv", options.csv_path, input);
    apps::check_output("--debug-log", options.log_name + ".LOG", input);
  }
}

/// Adds the page of a solved case to the folder of reports.
void write_page(const Options& options, const column::ColumnCase& c, const column::InternalFlows& flows,
                const column::Solution& answer, report::Folder& reports) {
  const column::SolvedCase solved =
      column::solve_for_page(c, flows, answer, options.acceleration, options.solver);
  reports.add(column::case_page(solved), column::case_entry(solved));
}

/// Solves the case by the methods asked for, and appends what they find.
/// @param answer  in: of the bubble-point method; its profile is replaced by Newton's where that is asked for
///                and converges
int show_answers(const Options& options, const column::ColumnCase& c, const column::InternalFlows& flows,
                 const std::optional<column::ColumnCase>& other, column::Solution& answer,
                 std::string& text) {
  const column::Solution bubble_point = answer;
  const bool converged = bubble_point.outcome == column::Outcome::kOk;
  if (!converged && !options.newton)
    return complain_of(options, code_without_answer(bubble_point.outcome),
                       "not converged: " + bubble_point.complaint);
  const int code = converged ? show_bubble_point(options, c, flows, bubble_point, other, text) : kSolved;
  if (code != kSolved || !options.newton) return code;
  return solve_by_newton(options, c, flows, bubble_point, answer.profile, text);
}

/// Solves the case by all methods asked for, writes the profile and the page, and appends the answers.
int solve_and_show(const Options& options, const column::ColumnCase& c,
                   const std::optional<column::ColumnCase>& other, DebugOut* log,
                   std::optional<report::Folder>& reports, std::string& text) {
  const column::InternalFlows flows = column::internal_flows(c);
  const column::Solution solution = apps::in_phase("solving by bubble points", [&] {
    return column::solve(c, flows, column::Solver::kArrow, options.acceleration, log);
  });
  column::Solution answer = solution;
  int code = show_answers(options, c, flows, other, answer, text);
  if (code != kSolved) return code;
  const std::vector<column::Comparison> published =
      column::compare_with_published(c, answer, column::shortcut(c));
  text += column::report(published);
  if (!options.csv_path.empty())
    apps::write_file(options.csv_path, column::profile_csv(c, flows, answer.profile));
  if (reports) write_page(options, c, flows, answer, *reports);
  if (options.dense) code = check_dense(options, c, flows, solution, text);
  if (code == kSolved && options.compare) code = compare(options, c, flows, log, text);
  if (code == kSolved && options.strict) code = judge_published(options, published);
  return code;
}

/// Solves a case and prints the answers. All files to read are read, and all files to write are tried, before
/// the work begins.
int solve_case(const Options& options) {
  column::ColumnCase c = column::read_case(options.case_path, options.properties);
  check_outputs(options, c);
  if (options.tolerance) c.tolerance = *options.tolerance;
  const std::optional<column::ColumnCase> other = column::read_other_case(c, case_name(options));
  std::optional<report::Folder> reports;
  report::open_reports(options.report_folder, report::page_name("column-", options.case_path), "--csv",
                       options.csv_path, reports);
  if (!options.csv_path.empty()) apps::check_writable(options.csv_path);
  std::optional<apps::LogFile> log;
  if (!options.log_name.empty()) log.emplace(options.log_name);
  std::string text;
  const int code = solve_and_show(options, c, other, log ? log->log() : nullptr, reports, text);
  if (log) {
    if (const auto failure = log->keep()) return code == kSolved ? complain(kBadInput, *failure) : code;
  }
  if (apps::ReportStream{options.quiet, options.csv_path}.print(text)) return code;
  return complain(code == kSolved ? kBadInput : code, apps::kNotPrinted);
}

void add_acceleration_options(CLI::App& app, Options& options) {
  using column::Acceleration;
  const std::map<std::string, Acceleration> kinds{{"none", Acceleration::None},
                                                  {"dominant", Acceleration::Dominant},
                                                  {"multiple", Acceleration::Multiple},
                                                  {"automatic", Acceleration::Automatic}};
  column::AccelerationSettings& settings = options.acceleration;
  apps::add_choice(app, "--accelerate", settings.method, kinds,
                   "the eigenvalues to extrapolate by; automatic: as many as pay (default none)");
  app.add_option("--eigen", settings.eigenvalues, "eigenvalues that multiple fits")
      ->check(apps::between(1, 20))
      ->capture_default_str();
  app.add_option("--frequency", settings.frequency, "passes from one step to the next, at least")
      ->check(apps::between(1, 1000))
      ->capture_default_str();
  app.add_option("--debug-log", options.log_name,
                 "keep the account of the accelerators in the file of this name with .LOG behind it")
      ->check(apps::not_empty())
      ->check(apps::no_stream());
  app.add_flag("--compare", options.compare,
               "converge the case without and with each acceleration, and tell");
}

void add_newton_options(CLI::App& app, Options& options) {
  using column::StepMethod;
  const std::map<std::string, StepMethod> methods{{"ma48", StepMethod::ma48}, {"ma38", StepMethod::ma38}};
  const std::map<std::string, bool> ways{{"bubble-point", false}, {"newton", true}};
  apps::add_choice(
      app, "--method", options.newton, ways,
      "newton: solve as one system too, and compare (default bubble-point); where only newton converges "
      "its answer stands alone, and the exit code is that of its balances");
  apps::add_choice(app, "--solver", options.solver, methods,
                   "what solves newton's systems: ma48 (default), or ma38, multifrontal");
}

// These two refuse options that would have no effect, because they are likely to be a mistake.

void check_newton_options(const CLI::App& app, const Options& options) {
  if (!options.newton && apps::is_given(app, "--solver"))
    throw CLI::ValidationError("--solver", "needs --method newton");
}

void check_acceleration_options(const CLI::App& app, const Options& options) {
  using column::Acceleration;
  if (options.compare) return;
  const Acceleration method = options.acceleration.method;
  for (const char* option : {"--eigen", "--frequency", "--debug-log"})
    if (method == Acceleration::None && apps::is_given(app, option))
      throw CLI::ValidationError(option, "needs --accelerate other than none, or --compare");
  if (method != Acceleration::Multiple && apps::is_given(app, "--eigen"))
    throw CLI::ValidationError("--eigen", "needs --accelerate multiple, or --compare");
}

void declare_fit(CLI::App& app, Options& options) {
  CLI::App* const fit = app.add_subcommand(kFit, "Fits measured vapour pressures by the Antoine form.");
  fit->footer("Exit codes: 0 fitted, 1 a file cannot be used, 2 bad options.");
  fit->set_version_flag("--version", app.version(), app.get_version_ptr()->get_description());
  const CLI::Validator named = apps::not_empty();
  fit->add_option("tables", options.tables, "tables of components (CSV); - is standard input")
      ->required()
      ->check(named);
  fit->add_option("--report", options.report_folder, "add a page with pictures to this folder")
      ->check(named)
      ->check(apps::no_stream("folder"));
  fit->add_option("--properties", options.properties, "store the fitted tables in this property file")
      ->check(named)
      ->check(apps::no_stream());
  apps::add_quiet(*fit, options.quiet);
}

void declare(CLI::App& app, Options& options) {
  const CLI::Validator named = apps::not_empty();
  app.add_option("case", options.case_path, "case file (TOML); - is standard input")->check(named);
  app.add_option(
         "--csv", options.csv_path,
         "write the profile to this file; with - to standard output, and the report to the error stream")
      ->check(named);
  app.add_option("--report", options.report_folder,
                 "add a page with pictures, of all methods, to this folder")
      ->check(named)
      ->check(apps::no_stream("folder"));
  app.add_option("--tolerance", options.tolerance,
                 "largest change of a stage temperature in degrees, for that of the case")
      ->check(apps::between(column::kSmallestTolerance, column::kLargestTolerance, " degree"));
  app.add_option("--properties", options.properties,
                 "take the measured tables of all components from this property file")
      ->check(named)
      ->check(apps::no_stream());
  add_newton_options(app, options);
  app.add_flag("--dense", options.dense,
               "solve through the dense matrix too, and print the largest difference");
  add_acceleration_options(app, options);
  app.add_flag("--strict", options.strict, "end with code 5 if a published value of the case differs");
  apps::add_quiet(app, options.quiet);
  declare_fit(app, options);
}

/// Checks that a case or the subcommand fit is given, and that fit comes without options that only a case
/// has.
void check_command(const CLI::App& app) {
  if (!app.got_subcommand(kFit)) {
    if (!apps::is_given(app, "case")) throw CLI::RequiredError("case");
    return;
  }
  for (const CLI::Option* option : app.get_options())
    if (option->count() > 0 && option->get_name() != "--quiet")
      throw CLI::ExcludesError(option->get_name(), kFit);
}

int fit_tables(const Options& options) {
  for (const std::string& table : options.tables)
    apps::check_output("--properties", options.properties, table);
  if (!options.properties.empty()) apps::check_writable(options.properties);
  std::optional<report::Folder> reports;
  report::open_reports(options.report_folder, column::fit_page_name(options.tables), "--properties",
                       options.properties, reports);
  const auto begin = std::chrono::steady_clock::now();
  const column::Tables tables = column::read_tables(options.tables);
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
  std::string stored;
  if (!options.properties.empty()) stored = column::store_and_recall(options.properties, tables);
  if (reports) reports->add(column::fit_page(tables), column::fit_entry(tables, time.count()));
  std::string text;
  for (const auto& table : tables) text += (text.empty() ? "" : "\n") + column::fit_report(*table);
  return apps::ReportStream{options.quiet, ""}.print(text + stored) ? kSolved
                                                                    : complain(kBadInput, apps::kNotPrinted);
}

void check(const CLI::App& app, const Options& options) {
  check_command(app);
  apps::check_inputs(options.tables);
  check_newton_options(app, options);
  check_acceleration_options(app, options);
  if (!options.log_name.empty())
    apps::check_outputs_differ("--csv", options.csv_path, "--debug-log", options.log_name + ".LOG");
}

/// Returns the path of the case, which is empty with the subcommand fit.
const std::string& file(const Options& options) { return options.case_path; }

int run(const CLI::App& app, const Options& options) {
  const column::MemoryWatch memory;
  const int code = app.got_subcommand(kFit) ? fit_tables(options) : solve_case(options);
  return code == kSolved && memory.refused()
             ? complain(kBadInput, apps::input_name(options.case_path), apps::kMemoryRefused)
             : code;
}

}  // namespace

int main(int argc, char** argv) {
  const apps::Program<Options> program{
      "corvidnum-column",
      "Solves a staged distillation column by the bubble-point method with constant molar overflow, and by\n"
      "Newton's method on the whole column at once if asked to.",
      "Exit codes: 0 solved, 1 a file cannot be used, 2 bad options, 3 not converged, 4 balances or\n"
      "methods do not agree as closely as they should, 5 with --strict, published values differ.",
      declare,
      check,
      run,
      file};
  return apps::run_program(program, argc, argv);
}
