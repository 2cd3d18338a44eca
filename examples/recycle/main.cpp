// corvidnum-recycle CASE.toml: converges a flowsheet with recycles, unit by unit, pass by pass.

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "examples/common/file_options.h"
#include "examples/common/output.h"
#include "examples/recycle/case_file.h"
#include "examples/recycle/convergence.h"
#include "examples/recycle/report.h"
#include "frame/debug_out.h"

namespace {

using examples::complain;

enum ExitCode { kSolved = 0, kBadInput = 1, kBadUsage = 2, kNotConverged = 3 };

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

/// A log made anew, of which the host's file class could not tell whether it can be written.
std::unique_ptr<DebugOut> open_log(const std::string& name) {
  const std::string path = name + ".LOG";
  errno = 0;
  if (!std::ofstream(path, std::ios::app)) throw std::runtime_error(path + ": " + std::strerror(errno));
  auto log = std::make_unique<DebugOut>(Text(name.c_str()), 0, static_cast<unsigned char>(0));
  log->Open();
  return log;
}

std::vector<recycle::RunResult> run_all(const recycle::RecycleCase& c, const recycle::Plan& plan,
                                        const Options& options, DebugOut* log) {
  using recycle::Method;
  recycle::RunSettings settings{options.acceleration, c.tolerance, c.max_passes};
  settings.acceleration.log = log;
  std::vector<Method> methods{settings.acceleration.method};
  if (options.compare) methods = {Method::kDirect, Method::kDominant, Method::kMultiple};
  std::vector<recycle::RunResult> runs;
  for (const Method method : methods) {
    settings.acceleration.method = method;
    runs.push_back(recycle::converge(c.flowsheet, plan, settings));
  }
  return runs;
}

std::string output(const recycle::RecycleCase& c, const recycle::Plan& plan, const Options& options,
                   const std::vector<recycle::RunResult>& runs) {
  std::string text = recycle::heading(c, plan);
  for (const recycle::RunResult& run : runs)
    if (options.verbose) text += recycle::pass_lines(run);
  if (options.compare) text += recycle::comparison(c, runs);
  if (runs.back().converged) text += recycle::report(c, runs.back());
  return text;
}

int run(const Options& options) {
  recycle::RecycleCase c = recycle::read_case(options.case_path);
  if (options.tolerance) c.tolerance = *options.tolerance;
  if (options.max_passes) c.max_passes = *options.max_passes;
  const recycle::Plan plan = recycle::make_plan(c.flowsheet, options.tears.empty() ? c.tears : options.tears);
  if (!options.log_name.empty() && !accelerates(options))
    return complain(kBadUsage, "--debug-log needs --compare, or a --method that accelerates");
  std::unique_ptr<DebugOut> log;
  if (!options.log_name.empty()) log = open_log(options.log_name);
  const std::vector<recycle::RunResult> runs = run_all(c, plan, options, log.get());
  if (!print_whole(output(c, plan, options, runs)))
    return complain(kBadInput, "standard output cannot be written");
  if (!options.csv_path.empty()) {
    if (const auto failure = examples::write_whole_file(options.csv_path, recycle::history_csv(runs)))
      return complain(kBadInput, options.csv_path + ": " + *failure);
  }
  for (const recycle::RunResult& run : runs)
    if (!run.converged)
      return complain(kNotConverged, fmt::format("{}: {}: not converged: {}", options.case_path,
                                                 recycle::name_of(run.method), run.complaint));
  return kSolved;
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
      ->check(CLI::Range(1e-15, 1.0));
  app.add_option("--max-passes", options.max_passes, "for that of the case")->check(CLI::Range(1, 1000000));
  app.add_option("--tear", options.tears, "streams to tear, for those of the case")->expected(1, -1);
  app.add_flag("--compare", options.compare, "run all three methods and print them side by side");
  app.add_flag("--verbose", options.verbose, "print a line a pass");
  app.add_option("--csv", options.csv_path, "write the convergence history to this file")
      ->check(examples::not_empty());
  app.add_option("--debug-log", options.log_name, "write the account of the accelerators to NAME.LOG")
      ->check(examples::not_empty());
}

void check(const Options& options) {
  if (std::isnan(options.tolerance.value_or(1))) throw CLI::ValidationError("--tolerance", "is not a number");
  examples::check_output("--csv", options.csv_path, options.case_path);
  examples::check_output("--debug-log", options.log_name + ".LOG", options.case_path);
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
