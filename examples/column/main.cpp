// corvidnum-column CASE.toml: solves a staged distillation column by the bubble-point method.

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>

#include "examples/column/bubble_point.h"
#include "examples/column/case_file.h"
#include "examples/column/closure.h"
#include "examples/column/csv.h"
#include "examples/column/flows.h"
#include "examples/column/report.h"

namespace {

enum ExitCode { kSolved = 0, kBadInput = 1, kBadUsage = 2, kNotConverged = 3, kInexact = 4 };

struct Options {
  std::string case_path, csv_path;
  std::optional<double> tolerance;
  bool dense = false;
};

int complain(ExitCode code, const std::string& message) {
  fmt::print(stderr, "{}\n", message);
  return code;
}

/// Solves the case once more through the dense matrix and prints how far the answers are apart.
int check_dense(const column::ColumnCase& c, const column::InternalFlows& flows,
                const column::Solution& arrow) {
  const column::Solution dense = column::solve(c, flows, column::Solver::kDense);
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

int run(const Options& options) {
  column::ColumnCase c = column::read_case(options.case_path);
  if (options.tolerance) c.tolerance = *options.tolerance;
  const column::InternalFlows flows = column::internal_flows(c);
  const column::Solution solution = column::solve(c, flows, column::Solver::kArrow);
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
  return options.dense ? check_dense(c, flows, solution) : kSolved;
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
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kSolved : kBadUsage;
  }
  try {
    return run(options);
  } catch (const std::exception& error) {
    return complain(kBadInput, error.what());
  }
}
