// corvidnum-column CASE.toml: solves a staged distillation column by the bubble-point method.

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "examples/column/acceleration.h"
#include "examples/column/bubble_point.h"
#include "examples/column/case_file.h"
#include "examples/column/closure.h"
#include "examples/column/csv.h"
#include "examples/column/flows.h"
#include "examples/column/method_comparison.h"
#include "examples/column/report.h"
#include "frame/debug_out.h"

namespace {

enum ExitCode { kSolved = 0, kBadInput = 1, kBadUsage = 2, kNotConverged = 3, kInexact = 4 };

struct Options {
  std::string case_path, csv_path, log_name;
  std::optional<double> tolerance;
  column::AccelerationSettings acceleration;
  bool dense = false;
  bool compare = false;
};

int complain(ExitCode code, const std::string& message) {
  fmt::print(stderr, "{}\n", message);
  return code;
}

/// Opens NAME.LOG anew. Null if that cannot be written.
std::unique_ptr<DebugOut> open_log(const std::string& name) {
  auto log = std::make_unique<DebugOut>(Text(name.c_str()), 0, static_cast<unsigned char>(0));
  log->Open();
  const bool there = log->file.Exists(0) && access((name + ".LOG").c_str(), W_OK) == 0;
  return there ? std::move(log) : nullptr;
}

/// Solves the case once more through the dense matrix and prints how far the answers are apart.
int check_dense(const column::ColumnCase& c, const column::InternalFlows& flows,
                const column::AccelerationSettings& acceleration, const column::Solution& arrow) {
  const column::Solution dense = column::solve(c, flows, column::Solver::kDense, acceleration);
  if (dense.outcome != column::Outcome::kOk)
    return complain(kNotConverged, "dense run not converged: " + dense.complaint);
  const column::DenseCheck check{column::solver_difference(c, flows, arrow.profile.temperature),
                                 column::profile_difference(arrow.profile, dense.profile), dense.passes(),
                                 dense.seconds};
  fmt::print("{}", column::report(check));
  if (check.largest() <= column::DenseCheck::kLimit) return kSolved;
  return complain(kInexact, fmt::format("arrow and dense solutions differ by {:.1e}, more than {:g}",
                                        check.largest(), column::DenseCheck::kLimit));
}

/// Converges the case in each of the ways there are and prints them side by side.
int compare(const Options& options, const column::ColumnCase& c, const column::InternalFlows& flows,
            DebugOut* log) {
  const column::MethodComparison comparison = column::compare_methods(c, flows, options.acceleration, log);
  fmt::print("{}", column::report(c, comparison));
  if (const auto* run = comparison.failed())
    return complain(kNotConverged,
                    fmt::format("acceleration {}: not converged: {}", run->name, run->solution.complaint));
  if (const auto* run = comparison.disagreeing())
    return complain(kInexact,
                    fmt::format("acceleration {} comes out {:.1e} {} away, more than {:g}", run->name,
                                run->apart, c.model->scale().common_unit, comparison.limit));
  return kSolved;
}

int run(const Options& options) {
  column::ColumnCase c = column::read_case(options.case_path);
  if (options.tolerance) c.tolerance = *options.tolerance;
  const column::InternalFlows flows = column::internal_flows(c);
  std::unique_ptr<DebugOut> log;
  if (!options.log_name.empty() && !(log = open_log(options.log_name)))
    return complain(kBadInput, options.log_name + ".LOG: cannot be written");
  const column::Solution solution =
      column::solve(c, flows, column::Solver::kArrow, options.acceleration, log.get());
  if (solution.outcome != column::Outcome::kOk)
    return complain(kNotConverged,
                    fmt::format("{}: not converged: {}", options.case_path, solution.complaint));
  const column::Closure closed = column::closure(c, flows, solution.profile);
  fmt::print("{}", column::report(c, flows, solution, closed));
  if (std::fflush(stdout) != 0) return complain(kBadInput, "standard output cannot be written");
  if (!(closed.worst() <= column::Closure::kLimit))
    return complain(kInexact,
                    fmt::format("{}: balances close only to {:.1e}, not to {:g}: K-values lie too far apart",
                                options.case_path, closed.worst(), column::Closure::kLimit));
  if (!options.csv_path.empty()) {
    const std::string csv = column::profile_csv(c, flows, solution.profile);
    if (const auto failure = column::write_whole_file(options.csv_path, csv))
      return complain(kBadInput, options.csv_path + ": " + *failure);
  }
  int code = kSolved;
  if (options.dense) code = check_dense(c, flows, options.acceleration, solution);
  if (code == kSolved && options.compare) code = compare(options, c, flows, log.get());
  return code;
}

void add_acceleration_options(CLI::App& app, Options& options) {
  using column::Acceleration;
  const std::map<std::string, Acceleration> kinds{{"none", Acceleration::kNone},
                                                  {"dominant", Acceleration::kDominant},
                                                  {"multiple", Acceleration::kMultiple}};
  column::AccelerationSettings& settings = options.acceleration;
  app.add_option_function<std::string>(
         "--accelerate", [&settings, kinds](const std::string& name) { settings.kind = kinds.at(name); },
         "the eigenvalues to extrapolate by (default none)")
      ->check(CLI::IsMember(kinds));
  app.add_option("--eigen", settings.eigenvalues, "eigenvalues that multiple fits")
      ->check(CLI::Range(1, 100))
      ->capture_default_str();
  app.add_option("--frequency", settings.frequency, "passes from one step to the next, at least")
      ->check(CLI::Range(1, 1000))
      ->capture_default_str();
  app.add_option("--debug-log", options.log_name,
                 "keep the accelerator's account in the file of this name with .LOG behind it");
  app.add_flag("--compare", options.compare,
               "converge the case without and with each acceleration, and tell");
}

/// An option without an effect is a mistake.
void check_acceleration_options(const CLI::App& app, const Options& options) {
  using column::Acceleration;
  if (options.compare) return;
  const Acceleration kind = options.acceleration.kind;
  for (const char* option : {"--eigen", "--frequency", "--debug-log"})
    if (kind == Acceleration::kNone && app.count(option) > 0)
      throw CLI::ValidationError(option, "needs --accelerate dominant or multiple, or --compare");
  if (kind == Acceleration::kDominant && app.count("--eigen") > 0)
    throw CLI::ValidationError("--eigen", "needs --accelerate multiple, or --compare");
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  CLI::App app{
      "Solves a staged distillation column by the bubble-point method with constant molar overflow."};
  app.add_option("case", options.case_path, "case file (TOML)")->required();
  app.add_option("--csv", options.csv_path, "write the profile to this file");
  app.add_option("--tolerance", options.tolerance,
                 "largest change of a stage temperature, for that of the case")
      ->check(CLI::PositiveNumber);
  app.add_flag("--dense", options.dense,
               "solve through the dense matrix too, and print the largest difference");
  add_acceleration_options(app, options);
  try {
    app.parse(argc, argv);
    check_acceleration_options(app, options);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kSolved : kBadUsage;
  }
  try {
    return run(options);
  } catch (const std::exception& error) {
    return complain(kBadInput, error.what());
  }
}
