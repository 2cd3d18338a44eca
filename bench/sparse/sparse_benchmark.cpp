// The sparse direct solvers beside others on Jacobians of process models: analysis and factorisation from
// scratch, factorisation of new values with the same pivots, solution. All of them reserve their memory
// within the first, and get the matrix in their own form. Counter: the best time, in seconds.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <limits>
#include <map>
#include <memory>
#include <string>

#include "bench/dense/compare.h"
#include "bench/sparse/eigen_solver.h"
#include "bench/sparse/ma48_solver.h"
#include "bench/sparse/problem.h"
#include "bench/sparse/process_matrices.h"
#include "bench/sparse/ratio_report.h"
#include "bench/sparse/superlu_solver.h"

namespace {

using bench::Problem;
using bench::Vector;

struct Case {
  const char* family;  // wide: a column with many components
  int order;           // about
  reference::Coordinates (*jacobian)(int, int, int);
  int components, pieces;

  std::string name() const { return std::string(family) + '/' + std::to_string(order); }
};

constexpr Case kCases[] = {
    {"column", 1000, bench::column_jacobian, 8, 100},
    {"column", 10000, bench::column_jacobian, 8, 1000},
    {"column", 100000, bench::column_jacobian, 8, 10000},
    {"wide", 1000, bench::column_jacobian, 18, 50},
    {"wide", 10000, bench::column_jacobian, 38, 250},
    {"wide", 100000, bench::column_jacobian, 98, 1000},
    {"flowsheet", 1000, bench::flowsheet_jacobian, 10, 60},
    {"flowsheet", 10000, bench::flowsheet_jacobian, 10, 600},
    {"flowsheet", 100000, bench::flowsheet_jacobian, 10, 6000},
};

/// Made when first asked for, and kept.
const Problem& problem_of(const Case& c) {
  static std::map<const Case*, std::unique_ptr<Problem>> problems;
  std::unique_ptr<Problem>& problem = problems[&c];
  if (!problem)
    problem = std::make_unique<Problem>(c.jacobian(c.components, c.pieces, 0),
                                        c.jacobian(c.components, c.pieces, 1));
  return *problem;
}

template <class Solver>
bool solves(Solver& solver, const Problem& problem, int step) {
  Vector x(problem.rhs.size());
  return solver.solve(problem.rhs, x) &&
         reference::scaled_residual(problem.coordinates[step], x, problem.rhs) < 1e-10;
}

/// Whether the solver's solutions are right, from scratch and after each change of values.
template <class Solver>
bool is_right(const Problem& problem) {
  Solver solver(problem);
  if (!solver.analyse_factorise() || !solves(solver, problem, 0)) return false;
  for (const int step : {1, 0}) {
    if (!solver.refactorise(step) || !solves(solver, problem, step)) return false;
  }
  return true;
}

/// @param prepare runs untimed before each piece of work
template <class Prepare, class Work>
void measure(benchmark::State& state, const Problem& problem, Prepare&& prepare, Work&& work) {
  double best = std::numeric_limits<double>::infinity();
  bool good = true;
  for (auto _ : state) {
    prepare();
    const double seconds = bench::seconds_of([&] { good = good && work(); });
    state.SetIterationTime(seconds);
    best = std::min(best, seconds);
  }
  if (!good) state.SkipWithError("failed");
  state.counters["best"] = best;
  state.counters["n"] = problem.n;
  state.counters["entries"] = problem.entries;
}

template <class Solver>
void BM_Analyse(benchmark::State& state, const Problem& problem) {
  std::unique_ptr<Solver> solver;
  measure(
      state, problem, [&] { solver = std::make_unique<Solver>(problem); },
      [&] { return solver->analyse_factorise(); });
}

template <class Solver>
void BM_Refactorise(benchmark::State& state, const Problem& problem) {
  Solver solver(problem);
  solver.analyse_factorise();
  int step = 0;
  measure(
      state, problem, [&] { step = 1 - step; }, [&] { return solver.refactorise(step); });
}

template <class Solver>
void BM_Solve(benchmark::State& state, const Problem& problem) {
  Solver solver(problem);
  solver.analyse_factorise();
  Vector x(problem.rhs.size());
  measure(
      state, problem, [] {}, [&] { return solver.solve(problem.rhs, x); });
}

template <class Solver>
void add(const std::string& what, const Case& c,
         void (*timed)(benchmark::State& state, const Problem& problem)) {
  const auto checked = [&c, timed](benchmark::State& state) {
    static std::map<const Case*, bool> right;
    const auto [known, is_new] = right.try_emplace(&c, false);
    if (is_new) known->second = is_right<Solver>(problem_of(c));
    if (!known->second) return state.SkipWithError("wrong solution");
    timed(state, problem_of(c));
  };
  benchmark::RegisterBenchmark((what + '/' + c.name() + '/' + Solver::kName).c_str(), checked)
      ->UseManualTime()
      ->Unit(benchmark::kMillisecond);
}

/// Next to each other, so that the machine is in the same mood for all.
template <class... Solvers>
void add_all() {
  for (const Case& c : kCases) {
    (add<Solvers>("analyse", c, BM_Analyse<Solvers>), ...);
    (add<Solvers>("refactorise", c, BM_Refactorise<Solvers>), ...);
    (add<Solvers>("solve", c, BM_Solve<Solvers>), ...);
  }
}

}  // namespace

int main(int argc, char** argv) {
  add_all<bench::Ma48Solver, bench::EigenSolver, bench::SuperLuSolver>();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  bench::RatioReport report(bench::Ma48Solver::kName);
  benchmark::RunSpecifiedBenchmarks(&report);
  benchmark::Shutdown();
}
