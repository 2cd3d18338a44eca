// corvidnum-recycle CASE.toml: converges a flowsheet with recycles by passes, each of which computes its
// units one after the other.

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "apps/common/input.h"
#include "apps/common/log_file.h"
#include "apps/common/output.h"
#include "apps/common/program.h"
#include "apps/common/program_options.h"
#include "apps/common/progress.h"
#include "apps/recycle/case_file.h"
#include "apps/recycle/case_page.h"
#include "apps/recycle/convergence.h"
#include "apps/recycle/report.h"
#include "apps/report/index.h"
#include "apps/report/option.h"

namespace {

using apps::complain;

using apps::between;
using apps::kBadInput;
using apps::kSolved;

enum { kNotConverged = 3, kInexact = 4, kDiffers = 5 };  // exit codes in addition to those of all programs

struct Options {
  std::string case_path, csv_path, log_name, report_folder;
  recycle::AccelerationSettings acceleration;
  std::optional<double> tolerance;
  std::optional<int> max_passes;
  std::vector<std::string> tears;
  bool compare = false, verbose = false, quiet = false, strict = false;
};

bool accelerates(const Options& options) {
  return options.compare || options.acceleration.method != recycle::Method::None;
}

/// Holds a case, its plan and its runs.
struct Job {
  recycle::RecycleCase c;
  recycle::Plan plan;
  std::vector<recycle::RunResult> runs;
  std::optional<recycle::Reference> reference;  // only with --compare
  double seconds = 0;                           // that all runs took
};

void run_all(Job& job, const Options& options, DebugOut* log) {
  using recycle::Method;
  using Clock = std::chrono::steady_clock;
  const Clock::time_point start = Clock::now();
  recycle::RunSettings settings{options.acceleration, job.c.tolerance, job.c.max_passes};
  settings.acceleration.log = log;
  std::vector<Method> methods{settings.acceleration.method};
  if (options.compare) methods = {Method::None, Method::Dominant, Method::Multiple, Method::Automatic};
  for (const Method method : methods) {
    settings.acceleration.method = method;
    job.runs.push_back(apps::in_phase(
        recycle::name_of(method), [&] { return recycle::converge(job.c.flowsheet, job.plan, settings); }));
  }
  job.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  if (!options.compare) return;
  job.reference = apps::in_phase("converging further, to compare with", [&] {
    return recycle::find_reference(job.c.flowsheet, job.plan, settings, job.runs);
  });
}

std::string output(const Job& job, const Options& options) {
  std::string text = recycle::heading(job.c, job.plan);
  for (const recycle::RunResult& run : job.runs)
    if (options.verbose) text += recycle::pass_lines(run);
  if (options.compare) text += recycle::comparison(job.c, job.runs, job.reference);
  if (job.runs.back().converged) text += recycle::report(job.c, job.runs.back());
  return text;
}

/// Prints an error about the first run that did not converge or, if all did, about the first whose balances
/// do not close or, if asked for, that the answer shown differs from published rates. Returns the exit code.
int judge(const Job& job, const Options& options) {
  const auto complain_of = [&](int code, const recycle::RunResult& run, const std::string& what) {
    return complain(code, fmt::format("{}: {}: {}", apps::input_name(options.case_path),
                                      recycle::name_of(run.method), what));
  };
  for (const recycle::RunResult& run : job.runs)
    if (!run.converged) return complain_of(kNotConverged, run, "not converged: " + run.complaint);
  const double promised = recycle::promised_imbalance(job.c.flowsheet, job.plan, job.c.tolerance);
  for (const recycle::RunResult& run : job.runs) {
    const recycle::Imbalance apart = recycle::overall_imbalance(job.c.flowsheet, run.streams);
    if (apart.is_within(promised)) continue;
    return complain_of(
        kInexact, run,
        fmt::format("the passes change nothing any more, but feeds and products differ by {:.1e} "
                    "of the feed in {}; the tolerance promises {:.1e}",
                    apart.worst, job.c.flowsheet.components[apart.component], promised));
  }
  if (!options.strict) return kSolved;
  const recycle::RunResult& shown = job.runs.back();
  const apps::PublishedCount counted = recycle::count_published(job.c.flowsheet, shown);
  return counted.differing == 0 ? kSolved : complain_of(kDiffers, shown, counted.words());
}

int converge(const Options& options) {
  Job job;
  job.c = recycle::read_case(options.case_path);
  if (options.tolerance) job.c.tolerance = *options.tolerance;
  if (options.max_passes) job.c.max_passes = *options.max_passes;
  job.plan = recycle::make_plan(job.c.flowsheet, options.tears.empty() ? job.c.tears : options.tears);
  std::optional<report::Folder> reports;
  report::open_reports(options.report_folder, report::page_name("recycle-", options.case_path), "--csv",
                       options.csv_path, reports);
  if (!options.csv_path.empty()) apps::check_writable(options.csv_path);
  std::optional<apps::LogFile> log;
  if (!options.log_name.empty()) log.emplace(options.log_name);
  run_all(job, options, log ? log->log() : nullptr);
  if (log) {
    if (const auto failure = log->keep()) return complain(kBadInput, *failure);
  }
  if (!options.csv_path.empty()) apps::write_file(options.csv_path, recycle::history_csv(job.runs));
  if (reports) {
    const recycle::CaseResults results{job.c, job.plan, job.runs, job.reference, job.seconds};
    reports->add(page_of(results), entry_of(results));
  }
  if (!apps::ReportStream{options.quiet, options.csv_path}.print(output(job, options)))
    return complain(kBadInput, apps::kNotPrinted);
  return judge(job, options);
}

int run(const CLI::App&, const Options& options) {
  try {
    return converge(options);
  } catch (const recycle::BadTears& error) {  // from --tear, because the tears of the case have been checked
    return complain(apps::kBadUsage, std::string("--tear: ") + error.what());
  }
}

const std::string& file(const Options& options) { return options.case_path; }

void declare(CLI::App& app, Options& options) {
  using recycle::Method;
  const std::map<std::string, Method> methods{{"direct", Method::None},
                                              {"dominant", Method::Dominant},
                                              {"multiple", Method::Multiple},
                                              {"automatic", Method::Automatic}};
  app.add_option("case", options.case_path, "case file (TOML); - is standard input")
      ->required()
      ->check(apps::not_empty());
  apps::add_choice(
      app, "--method", options.acceleration.method, methods,
      "direct, or accelerated by dominant or multiple eigenvalues, or by as many as pay (automatic, the "
      "default)");
  app.add_option("--eigen", options.acceleration.eigenvalues, "eigenvalues of --method multiple (4)")
      ->check(between(1, 20));
  app.add_option("--frequency", options.acceleration.frequency,
                 "least passes between steps (1 by one eigenvalue, eigenvalues + 3 by several)")
      ->check(between(1, 1000));
  app.add_option("--tolerance", options.tolerance,
                 "largest change of a torn rate in a pass, as part of the feed, for that of the case")
      ->check(between(recycle::kSmallestTolerance, recycle::kLargestTolerance, " of the feed"));
  app.add_option("--max-passes", options.max_passes, "for that of the case")
      ->check(between(1, recycle::kMostPasses));
  app.add_option("--tear", options.tears, "streams to tear, for those of the case")->expected(1, -1);
  app.add_flag("--compare", options.compare, "run all four methods and print them side by side");
  CLI::Option* const verbose = app.add_flag("--verbose", options.verbose, "print a line a pass");
  app.add_flag("--strict", options.strict, "end with code 5 if a published rate of the case differs");
  apps::add_quiet(app, options.quiet)->excludes(verbose);
  app.add_option(
         "--csv", options.csv_path,
         "write the convergence history to this file; with - to standard output, and the report to the "
         "error stream")
      ->check(apps::not_empty());
  app.add_option("--report", options.report_folder,
                 "write a page with the flowsheet, plots and tables into this folder, and its line into "
                 "index.html and index.tsv there, also if the recycles do not converge")
      ->check(apps::not_empty())
      ->check(apps::no_stream("folder"));
  app.add_option("--debug-log", options.log_name, "write the account of the accelerators to NAME.LOG")
      ->check(apps::not_empty())
      ->check(apps::no_stream());
}

void check(const CLI::App&, const Options& options) {
  const std::string log_path = options.log_name + ".LOG";
  const bool logs = !options.log_name.empty();
  if (logs && !accelerates(options))
    throw CLI::ValidationError("--debug-log", "needs a --method that accelerates, or --compare");
  if (logs) apps::check_outputs_differ("--csv", options.csv_path, "--debug-log", log_path);
  apps::check_output("--csv", options.csv_path, options.case_path);
  apps::check_output("--debug-log", log_path, options.case_path);
}

}  // namespace

int main(int argc, char** argv) {
  const apps::Program<Options> program{
      "corvidnum-recycle",
      "Converges a flowsheet with recycles by direct or accelerated substitution.",
      "Exit codes: 0 converged, 1 a file cannot be used, 2 bad options, 3 not converged, 4 feeds and "
      "products\n"
      "differ by more than the tolerance promises, 5 with --strict, published rates differ.",
      declare,
      check,
      run,
      file};
  return apps::run_program(program, argc, argv);
}
