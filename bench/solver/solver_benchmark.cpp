// Compares the automatic choice of SparseSolver with both methods, and tells what judging costs.
//
//   solver_benchmark [--matrices FOLDER] [--factorisations N] [--largest ORDER] [--results FILE]
//
// Without a folder it runs over generated grids, columns and flowsheets; with one over its Matrix Market
// files. For each matrix it prints: order, entries, symmetry of the pattern; the method chosen; milliseconds
// of ma48 and ma38 for making the object, factorising N times and solving once, without judging, and how much
// longer the automatic choice takes than the faster one, with and without judging; what judging adds to one
// solution, relative to it; status and backward error of the automatic choice and of both methods.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "apps/solve/matrix_market.h"
#include "bench/sparse/grids.h"
#include "bench/sparse/process_matrices.h"
#include "bench/support/result_lines.h"
#include "bench/support/run.h"
#include "sparse/sparse_solver.h"

namespace {

using corvidnum::SparseMethod;
using corvidnum::SparseOptions;
using corvidnum::SparseReport;
using corvidnum::SparseSolver;
using corvidnum::SparseStatus;
using Vector = std::vector<double>;

struct Settings {
  std::string folder, results;
  int factorisations = 1, largest = 100'000;
};

struct Case {
  std::string name;
  int order;
  std::vector<int> rows, columns;  // from 1
  Vector values, b;
};

/// What one way of solving took and gave.
struct Run {
  double milliseconds = std::numeric_limits<double>::infinity();
  SparseStatus status = SparseStatus::NotFactorised;
  SparseReport report;
};

double now_in_milliseconds() {
  using namespace std::chrono;
  return duration<double, std::milli>(steady_clock::now().time_since_epoch()).count();
}

Case make_case(std::string name, int order, std::vector<int> rows, std::vector<int> columns, Vector values) {
  Case made{std::move(name), order, std::move(rows), std::move(columns), std::move(values), {}};
  made.b.assign(static_cast<std::size_t>(order), 0.0);
  for (std::size_t k = 0; k < made.values.size(); ++k) {  // x is 1, 1.1, ... 1.6 in turn
    const double x = 1 + 0.1 * ((made.columns[k] - 1) % 7);
    made.b[static_cast<std::size_t>(made.rows[k] - 1)] += made.values[k] * x;
  }
  return made;
}

Case make_case(std::string name, const reference::Coordinates& a) {
  return make_case(std::move(name), a.n, a.rows, a.columns, a.values);
}

SparseOptions options_for(SparseMethod method, bool judge, const Settings& settings) {
  SparseOptions options;
  options.method = method;
  options.factorisations = settings.factorisations;
  options.judge = judge;
  return options;
}

Run run_once(const Case& problem, const SparseOptions& options) {
  Run run;
  Vector x(problem.b.size());
  const double begin = now_in_milliseconds();
  SparseSolver solver(problem.order, static_cast<int>(problem.values.size()), problem.rows.data(),
                      problem.columns.data(), 1, options);
  run.status = solver.Factorise(problem.values.data());
  for (int more = 1; more < options.factorisations; ++more)
    run.status = solver.Refactorise(problem.values.data());
  if (run.status == SparseStatus::Factorised) run.status = solver.Solve(problem.b.data(), x.data());
  run.milliseconds = now_in_milliseconds() - begin;
  run.report = solver.Report();
  return run;
}

/// Runs the ways of solving in turn, several times, and keeps the shortest time of each.
std::vector<Run> compare(const Case& problem, const std::vector<SparseOptions>& ways) {
  constexpr double kEnough = 300;  // milliseconds a way
  constexpr int kLeast = 3, kMost = 25;
  std::vector<Run> best(ways.size());
  double spent = 0;
  for (int round = 0; round < kLeast || (round < kMost && spent < kEnough * static_cast<double>(ways.size()));
       ++round)
    for (std::size_t k = 0; k < ways.size(); ++k) {
      Run run = run_once(problem, ways[k]);
      spent += run.milliseconds;
      run.milliseconds = std::min(run.milliseconds, best[k].milliseconds);
      best[k] = run;
      if (spent > 20 * kEnough && round > 0) return best;
    }
  return best;
}

/// Returns the time that judging adds to a solution, relative to one without; -1 without factors.
double cost_of_judging(const Case& problem) {
  SparseOptions options;
  SparseSolver solver(problem.order, static_cast<int>(problem.values.size()), problem.rows.data(),
                      problem.columns.data(), 1, options);
  if (solver.Factorise(problem.values.data()) != SparseStatus::Factorised) return -1;
  Vector x(problem.b.size());
  double best[2] = {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity()};
  const auto time = [&](int judge) {
    options.judge = judge;
    solver.SetOptions(options);
    const double begin = now_in_milliseconds();
    solver.Solve(problem.b.data(), x.data());
    best[judge] = std::min(best[judge], now_in_milliseconds() - begin);
  };
  for (int round = 0; round < 20; ++round)
    for (const int judge : {0, 1}) time(judge);
  return best[1] / best[0] - 1;
}

/// Sums logarithms, for geometric means over matrices that are not too small to be timed.
struct Mean {
  double logarithms = 0, worst = 0;
  int count = 0;
  void add(double ratio) {
    logarithms += std::log(ratio);
    worst = std::max(worst, ratio);
    ++count;
  }
  double value() const { return count ? std::exp(logarithms / count) : 0; }
};

struct Totals {
  Mean unjudged, judged, judging;
  double largest_overhead = 0;  // ms, of the matrices that take less than 1 ms
  bench::ResultLines lines;
};

void print_head() {
  std::printf("%-26s %7s %8s %5s %-6s %9s %9s %6s %6s %7s %-8s %8s %-8s %8s %-8s %8s\n", "matrix", "order",
              "entries", "sym", "chosen", "ma48 ms", "ma38 ms", "auto", "judged", "judging", "status",
              "error", "ma48", "error", "ma38", "error");
}

const char* word(SparseStatus status) {
  switch (status) {
    case SparseStatus::Solved:
      return "Solved";
    case SparseStatus::Inexact:
      return "Inexact";
    case SparseStatus::Singular:
      return "Singular";
    default:
      return corvidnum::StatusText(status);
  }
}

void measure(const Case& problem, const Settings& settings, Totals& totals) {
  const auto way = [&](SparseMethod method, bool judge) { return options_for(method, judge, settings); };
  const std::vector<Run> runs =
      compare(problem, {way(SparseMethod::ma48, false), way(SparseMethod::ma38, false),
                        way(SparseMethod::automatic, false), way(SparseMethod::automatic, true)});
  const double judging = cost_of_judging(problem);
  const Run &ma48 = runs[0], &ma38 = runs[1], &plain = runs[2], &judged = runs[3];
  const Run judged_ma48 = run_once(problem, way(SparseMethod::ma48, true));
  const Run judged_ma38 = run_once(problem, way(SparseMethod::ma38, true));
  const double fastest = std::min(ma48.milliseconds, ma38.milliseconds);
  if (judged.status != SparseStatus::Singular) {
    if (fastest >= 1) {
      totals.unjudged.add(plain.milliseconds / fastest);
      totals.judged.add(judged.milliseconds / fastest);
    } else {
      totals.largest_overhead = std::max(totals.largest_overhead, plain.milliseconds - fastest);
    }
    if (judging >= 0) totals.judging.add(1 + judging);
  }
  const std::string name = "choice/" + problem.name;
  const std::pair<const char*, double> measures[] = {{"order", judged.report.order},
                                                     {"entries", judged.report.entries},
                                                     {"method", static_cast<double>(plain.report.method)},
                                                     {"ma48", ma48.milliseconds / 1e3},
                                                     {"ma38", ma38.milliseconds / 1e3},
                                                     {"automatic", plain.milliseconds / 1e3},
                                                     {"judged", judged.milliseconds / 1e3},
                                                     {"judging", judging}};
  for (const auto& [measured, value] : measures) totals.lines.add(name, measured, value);
  std::printf(
      "%-26s %7d %8d %5.2f %-6s %9.3f %9.3f %6.2f %6.2f %7.2f %-8s %8.1e %-8s %8.1e %-8s %8.1e c %.1e\n",
      problem.name.c_str(), judged.report.order, judged.report.entries, judged.report.pattern_symmetry,
      MethodName(plain.report.method), ma48.milliseconds, ma38.milliseconds, plain.milliseconds / fastest,
      judged.milliseconds / fastest, judging, word(judged.status), judged.report.backward_error,
      word(judged_ma48.status), judged_ma48.report.backward_error, word(judged_ma38.status),
      judged_ma38.report.backward_error, judged.report.condition);
  std::fflush(stdout);
}

void measure_generated(const Settings& settings, Totals& totals) {
  const auto run = [&](std::string name, const reference::Coordinates& a) {
    if (a.n <= settings.largest) measure(make_case(std::move(name), a), settings, totals);
  };
  for (const int side : {20, 60, 100, 200, 300})
    run("square " + std::to_string(side), bench::grid_matrix(2, side, 0));
  for (const int side : {8, 15, 22, 30}) run("cube " + std::to_string(side), bench::grid_matrix(3, side, 0));
  for (const int stages : {8, 30, 125, 500, 1250})
    run("column " + std::to_string(stages) + " stages", bench::column_jacobian(10, stages, 0));
  for (const int components : {30, 80})
    run("column " + std::to_string(components) + " components", bench::column_jacobian(components, 40, 0));
  for (const int units : {6, 60, 300, 1500, 5800})
    run("flowsheet " + std::to_string(units) + " units", bench::flowsheet_jacobian(10, units, 0));
}

void measure_folder(const Settings& settings, Totals& totals) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(settings.folder))
    files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  for (const std::filesystem::path& file : files) {
    if (file.extension() != ".mtx") continue;
    try {
      const solve::Matrix a = solve::read_matrix(file.string());
      if (a.rows != a.columns || a.rows > settings.largest) continue;
      measure(make_case(file.stem().string(), a.rows, a.row, a.column, a.value), settings, totals);
    } catch (const std::exception& problem) {
      std::printf("%s\n", problem.what());
    }
  }
}

bool read_options(int argc, char** argv, Settings& settings) {
  for (int k = 1; k + 1 < argc; k += 2) {
    if (std::strcmp(argv[k], "--matrices") == 0)
      settings.folder = argv[k + 1];
    else if (std::strcmp(argv[k], "--factorisations") == 0)
      settings.factorisations = std::max(1, std::atoi(argv[k + 1]));
    else if (std::strcmp(argv[k], "--largest") == 0)
      settings.largest = std::atoi(argv[k + 1]);
    else if (std::strcmp(argv[k], "--results") == 0)
      settings.results = argv[k + 1];
    else
      return false;
  }
  return argc % 2 == 1;
}

}  // namespace

int main(int argc, char** argv) {
  Settings settings;
  if (!read_options(argc, argv, settings)) {
    std::fprintf(stderr,
                 "usage: %s [--matrices FOLDER] [--factorisations N] [--largest ORDER] [--results FILE]\n",
                 argv[0]);
    return EXIT_FAILURE;
  }
  if (!bench::build_is_optimised()) return EXIT_FAILURE;
  for (const auto& [name, value] : bench::conditions()) std::printf("%s: %s\n", name.c_str(), value.c_str());
  print_head();
  Totals totals;
  settings.folder.empty() ? measure_generated(settings, totals) : measure_folder(settings, totals);
  std::printf(
      "\n%d matrices of at least 1 ms: automatic takes %.3f of the faster method (worst %.2f), judged "
      "%.3f (worst %.2f)\n",
      totals.unjudged.count, totals.unjudged.value(), totals.unjudged.worst, totals.judged.value(),
      totals.judged.worst);
  std::printf("smaller ones: at most %.3f ms more; judging a solution takes %.3f of it (worst %.2f) more\n",
              totals.largest_overhead, totals.judging.value() - 1, totals.judging.worst - 1);
  if (settings.results.empty()) return EXIT_SUCCESS;
  std::ofstream file(settings.results);
  totals.lines.write(file);
  return file.flush() ? EXIT_SUCCESS : EXIT_FAILURE;
}
