// corvidnum-recycle CASE.toml: converges a flowsheet with recycles, unit by unit, pass by pass.

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "apps/common/file_options.h"
#include "apps/common/log_file.h"
#include "apps/common/output.h"
#include "apps/recycle/case_file.h"
#include "apps/recycle/convergence.h"
#include "apps/recycle/report.h"

namespace {

using apps::complain;

enum ExitCode { kSolved = 0, kBadInput = 1, kBadUsage = 2, kNotConverged = 3, kInexact = 4 };

struct Options {
  std::string case_path, csv_path, log_name;
  recycle::AccelerationSettings acceleration;
  std::optional<double> tolerance;
  std::optional<int> max_passes;
  std::vector<std::string> tears;
  bool compare = false, verbose = false;
};

/// Prints all of `text`, or tells that it could not.
bool print_whole(const std::string& text) {
  return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
}

bool accelerates(const Options& options) {
  return options.compare || options.acceleration.method != recycle::Method::kDirect;
}

/// A case, how to run it, and what came of that.
struct Job {
  recycle::RecycleCase c;
  recycle::Plan plan;
  std::vector<recycle::RunResult> runs;
  std::optional<recycle::Reference> reference;  // only to compare
};

void run_all(Job& job, const Options& options, DebugOut* log) {
  using recycle::Method;
  recycle::RunSettings settings{options.acceleration, job.c.tolerance, job.c.max_passes};
  settings.acceleration.log = log;
  std::vector<Method> methods{settings.acceleration.method};
  if (options.compare) methods = {Method::kDirect, Method::kDominant, Method::kMultiple};
  for (const Method method : methods) {
    settings.acceleration.method = method;
    job.runs.push_back(recycle::converge(job.c.flowsheet, job.plan, settings));
  }
  if (options.compare) job.reference = recycle::find_reference(job.c.flowsheet, job.plan, settings, job.runs);
}

std::string output(const Job& job, const Options& options) {
  std::string text = recycle::heading(job.c, job.plan);
  for (const recycle::RunResult& run : job.runs)
    if (options.verbose) text += recycle::pass_lines(run);
  if (options.compare) text += recycle::comparison(job.c, job.runs, job.reference);
  if (job.runs.back().converged) text += recycle::report(job.c, job.runs.back());
  return text;
}

/// Complains of the first run that did not converge, or else of the first that did without closing.
int judge(const Job& job, const Options& options) {
  const auto complain_of = [&](int code, const recycle::RunResult& run, const std::string& what) {
    return complain(code, fmt::format("{}: {}: {}", options.case_path, recycle::name_of(run.method), what));
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
  return kSolved;
}

int run(const Options& options) {
  Job job;
  job.c = recycle::read_case(options.case_path);
  if (options.tolerance) job.c.tolerance = *options.tolerance;
  if (options.max_passes) job.c.max_passes = *options.max_passes;
  job.plan = recycle::make_plan(job.c.flowsheet, options.tears.empty() ? job.c.tears : options.tears);
  if (!options.csv_path.empty()) {
    if (const auto obstacle = apps::obstacle_to_writing(options.csv_path))
      return complain(kBadInput, options.csv_path + ": " + *obstacle);
  }
  std::optional<apps::LogFile> log;
  if (!options.log_name.empty()) log.emplace(options.log_name);
  run_all(job, options, log ? log->log() : nullptr);
  if (log) {
    if (const auto failure = log->keep()) return complain(kBadInput, *failure);
  }
  if (!options.csv_path.empty()) {
    if (const auto failure = apps::write_whole_file(options.csv_path, recycle::history_csv(job.runs)))
      return complain(kBadInput, options.csv_path + ": " + *failure);
  }
  if (!print_whole(output(job, options))) return complain(kBadInput, "standard output cannot be written");
  return judge(job, options);
}

/// A number within bounds, which the message tells as people write them.
CLI::Validator between(double lowest, double highest, const char* unit) {
  const auto check = [=](const std::string& text) {
    double value = 0;
    const bool is_within = CLI::detail::lexical_cast(text, value) && value >= lowest && value <= highest;
    return is_within ? std::string()
                     : fmt::format("must lie between {:g} and {:g}{}, not {}", lowest, highest, unit, text);
  };
  return CLI::Validator(check, fmt::format("{:g} to {:g}", lowest, highest));
}

void declare(CLI::App& app, Options& options) {
  using recycle::Method;
  const std::map<std::string, Method> methods{
      {"direct", Method::kDirect}, {"dominant", Method::kDominant}, {"multiple", Method::kMultiple}};
  app.add_option("case", options.case_path, "case file (TOML)")->required();
  app.add_option("--method", options.acceleration.method,
                 "direct, or accelerated by the dominant or multiple eigenvalues")
      ->transform(CLI::CheckedTransformer(methods));
  app.add_option("--eigen", options.acceleration.eigenvalues, "eigenvalues of --method multiple (4)")
      ->check(CLI::Range(1, 20));
  app.add_option("--frequency", options.acceleration.frequency,
                 "least passes between steps (dominant 1, multiple eigenvalues + 3)")
      ->check(CLI::Range(1, 1000));
  app.add_option("--tolerance", options.tolerance,
                 "largest change of a torn rate in a pass, as part of the feed, for that of the case")
      ->check(between(recycle::kSmallestTolerance, recycle::kLargestTolerance, " of the feed"));
  app.add_option("--max-passes", options.max_passes, "for that of the case")->check(CLI::Range(1, 1000000));
  app.add_option("--tear", options.tears, "streams to tear, for those of the case")->expected(1, -1);
  app.add_flag("--compare", options.compare, "run all three methods and print them side by side");
  app.add_flag("--verbose", options.verbose, "print a line a pass");
  app.add_option("--csv", options.csv_path, "write the convergence history to this file")
      ->check(apps::not_empty());
  app.add_option("--debug-log", options.log_name, "write the account of the accelerators to NAME.LOG")
      ->check(apps::not_empty());
}

bool name_one_file(const std::string& a, const std::string& b) {
  namespace fs = std::filesystem;
  std::error_code none;
  const fs::path first = fs::weakly_canonical(fs::absolute(a, none), none);
  return !first.empty() && first == fs::weakly_canonical(fs::absolute(b, none), none);
}

void check(const Options& options) {
  const std::string log_path = options.log_name + ".LOG";
  const bool logs = !options.log_name.empty();
  if (logs && !accelerates(options))
    throw CLI::ValidationError("--debug-log", "needs --compare, or a --method that accelerates");
  if (logs && !options.csv_path.empty() && name_one_file(options.csv_path, log_path))
    throw CLI::ValidationError("--csv", log_path + " is the debug log");
  apps::check_output("--csv", options.csv_path, options.case_path);
  apps::check_output("--debug-log", log_path, options.case_path);
}

int parse_and_run(int argc, char** argv) {
  Options options;
  CLI::App app{"Converges a flowsheet with recycles by direct or accelerated substitution."};
  declare(app, options);
  try {
    app.parse(argc, argv);
    check(options);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kSolved : kBadUsage;
  }
  return run(options);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return parse_and_run(argc, argv);
  } catch (const recycle::BadTears& error) {  // of --tear: those of the case have been checked
    std::fputs("--tear: ", stderr);
    return complain(kBadUsage, error.what());
  } catch (const std::exception& error) {
    return complain(kBadInput, error.what());
  }
}
