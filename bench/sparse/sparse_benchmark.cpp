// Compares the sparse direct solvers with others on Jacobians of process models and on grids, in three tasks:
// analyse and factorise from scratch, factorise new values with the same pivots, solve. Each solver allocates
// its memory within the first task and gets the matrix in its own form. The process keeps freed memory, so
// that no solver pays for page faults of its own. Times are processor times; everything runs in one thread.
// Counters: the best time, in seconds, and the share of a solver's operations that matrix-matrix kernels do,
// if it counts them.
//
// With --matrices=FOLDER it runs over the Matrix Market files of a folder instead; the new values are then
// the old ones changed by up to a per cent.

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <time.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "apps/solve/matrix_market.h"
#include "bench/sparse/automatic_solver.h"
#include "bench/sparse/eigen_solver.h"
#include "bench/sparse/grids.h"
#include "bench/sparse/ma38_solver.h"
#include "bench/sparse/ma48_solver.h"
#include "bench/sparse/mumps_solver.h"
#include "bench/sparse/problem.h"
#include "bench/sparse/process_matrices.h"
#include "bench/sparse/superlu_solver.h"
#include "bench/support/ratio_report.h"
#include "bench/support/run.h"

namespace {

using bench::Problem;
using bench::Vector;

struct Case {
  std::string family;  // wide: a column with many components
  int order;           // approximate order
  std::function<Problem()> make;

  std::string name() const { return family + '/' + std::to_string(order); }
};

using Generator = reference::Coordinates (*)(int width, int pieces, int step);

/// @param width, pieces components, or dimensions of a grid; stages, units, or nodes per side
Case generated(const char* family, int order, Generator matrix, int width, int pieces) {
  return {family, order, [=] {
            return Problem(matrix(width, pieces, 0), matrix(width, pieces, 1), matrix == bench::grid_matrix);
          }};
}

const std::vector<Case> kProcessCases = {
    generated("column", 1000, bench::column_jacobian, 8, 100),
    generated("column", 10000, bench::column_jacobian, 8, 1000),
    generated("column", 100000, bench::column_jacobian, 8, 10000),
    generated("wide", 1000, bench::column_jacobian, 18, 50),
    generated("wide", 10000, bench::column_jacobian, 38, 250),
    generated("wide", 100000, bench::column_jacobian, 98, 1000),
    generated("flowsheet", 1000, bench::flowsheet_jacobian, 10, 60),
    generated("flowsheet", 10000, bench::flowsheet_jacobian, 10, 600),
    generated("flowsheet", 100000, bench::flowsheet_jacobian, 10, 6000),
};

/// Grids on squares and cubes, whose matrices are nearly symmetric.
const std::vector<Case> kGridCases = {
    generated("square", 10000, bench::grid_matrix, 2, 100),
    generated("square", 30000, bench::grid_matrix, 2, 173),
    generated("square", 100000, bench::grid_matrix, 2, 316),
    generated("cube", 10000, bench::grid_matrix, 3, 22),
    generated("cube", 30000, bench::grid_matrix, 3, 31),
    generated("cube", 100000, bench::grid_matrix, 3, 46),
};

/// Returns the square matrices of a folder.
std::vector<Case> cases_of_folder(const std::string& folder) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    if (entry.path().extension() == ".mtx") files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  std::vector<Case> cases;
  for (const std::filesystem::path& file : files) {
    const solve::Matrix matrix = solve::read_matrix(file.string());
    if (matrix.rows != matrix.columns) continue;
    reference::Coordinates first{matrix.rows, matrix.columns, matrix.row, matrix.column, matrix.value};
    reference::Coordinates second = first;
    reference::Random random(1);
    for (double& value : second.values) value *= 1 + 0.01 * reference::uniform(random);
    cases.push_back({file.stem().string(), matrix.rows, [=] { return Problem(first, second, false); }});
  }
  return cases;
}

/// On larger cubes ma48 takes too long.
bool takes_ma48(const Case& grid) { return grid.family == "square" || grid.order <= 10000; }

/// Returns the problem of a case, which is made at the first use and kept.
const Problem& problem_of(const Case& c) {
  static std::map<const Case*, std::unique_ptr<Problem>> problems;
  std::unique_ptr<Problem>& problem = problems[&c];
  if (!problem) problem = std::make_unique<Problem>(c.make());
  return *problem;
}

template <class Solver>
bool solves(Solver& solver, const Problem& problem, int step) {
  Vector x(problem.rhs.size());
  return solver.solve(problem.rhs, x) &&
         reference::scaled_residual(problem.coordinates[step], x, problem.rhs) < 1e-10;
}

/// A solver that has factorised the first values of a case. It knows whether its solutions are right, with
/// these factors and after each change of values. The solver of the last case is kept.
template <class Solver>
class Prepared {
 public:
  static Prepared& of(const Case& c) {
    static std::unique_ptr<Prepared> last;
    if (!last || last->case_ != &c) {
      last.reset();
      last.reset(new Prepared(c));
    }
    return *last;
  }

  const Problem& problem() const { return problem_; }
  Solver& solver() { return solver_; }
  bool factorises() const { return factorises_; }
  /// Returns whether factorisations of new values give right solutions. The first call does them, and may
  /// leave factors of other values than the first ones, or none.
  bool refactorises() {
    if (!refactorises_)
      refactorises_ = factorises_ && solver_.refactorise(1) && solves(solver_, problem_, 1) &&
                      solver_.refactorise(0) && solves(solver_, problem_, 0);
    return *refactorises_;
  }

 private:
  explicit Prepared(const Case& c)
      : case_(&c),
        problem_(problem_of(c)),
        solver_(problem_),
        factorises_(solver_.analyse_factorise() && solves(solver_, problem_, 0)) {}

  const Case* case_;
  const Problem& problem_;
  Solver solver_;
  bool factorises_;
  std::optional<bool> refactorises_;
};

template <class Solver>
void count_operations(benchmark::State& state, const Solver& solver) {
  if constexpr (std::is_base_of_v<bench::Ma38Solver, Solver>) {
    state.counters["level3"] = solver.level3_share();
    state.counters["operations"] = solver.operations();
  }
}

double processor_seconds() {
  timespec now;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

/// Times a piece of work.
/// @param prepare runs before each piece of work and is not timed
template <class Prepare, class Work>
void measure(benchmark::State& state, const Problem& problem, Prepare&& prepare, Work&& work) {
  double best = std::numeric_limits<double>::infinity();
  bool good = true;
  for (auto _ : state) {
    prepare();
    const double start = processor_seconds();
    good = good && work();
    const double seconds = processor_seconds() - start;
    state.SetIterationTime(seconds);
    best = std::min(best, seconds);
  }
  if (!good) state.SkipWithError("failed");
  state.counters["best"] = best;
  state.counters["n"] = problem.n;
  state.counters["entries"] = problem.entries;
}

template <class Solver>
void BM_Analyse(benchmark::State& state, Prepared<Solver>& prepared) {
  if (!prepared.factorises()) return state.SkipWithError("wrong solution");
  std::unique_ptr<Solver> solver;
  measure(
      state, prepared.problem(), [&] { solver = std::make_unique<Solver>(prepared.problem()); },
      [&] { return solver->analyse_factorise(); });
  count_operations(state, *solver);
}

template <class Solver>
void BM_Solve(benchmark::State& state, Prepared<Solver>& prepared) {
  if (!prepared.factorises()) return state.SkipWithError("wrong solution");
  Vector x(prepared.problem().rhs.size());
  measure(
      state, prepared.problem(), [] {}, [&] { return prepared.solver().solve(prepared.problem().rhs, x); });
}

template <class Solver>
void BM_Refactorise(benchmark::State& state, Prepared<Solver>& prepared) {
  if (!prepared.refactorises()) return state.SkipWithError("wrong solution");
  int step = 0;
  measure(
      state, prepared.problem(), [&] { step = 1 - step; },
      [&] { return prepared.solver().refactorise(step); });
}

template <class Solver>
void add(const std::string& what, const Case& c, void (*timed)(benchmark::State&, Prepared<Solver>&)) {
  benchmark::RegisterBenchmark(
      (what + '/' + c.name() + '/' + Solver::kName).c_str(),
      [&c, timed](benchmark::State& state) { timed(state, Prepared<Solver>::of(c)); })
      ->UseManualTime()
      ->Unit(benchmark::kMillisecond);
}

/// Adds the runs of all solvers on a case one after the other, so that the load of the machine is about the
/// same for all. Solutions come before new values, because these replace the factors.
template <class... Solvers>
void add_all(const Case& c) {
  (add<Solvers>("analyse", c, BM_Analyse<Solvers>), ...);
  (add<Solvers>("solve", c, BM_Solve<Solvers>), ...);
  (add<Solvers>("refactorise", c, BM_Refactorise<Solvers>), ...);
}

/// Adds the analysis of a grid by ma38 with each of the two controls that it has set there.
template <class... Solvers>
void add_controls(const Case& c) {
  (add<Solvers>("controls", c, BM_Analyse<Solvers>), ...);
}

using Automatic = bench::AutomaticSolver<false>;
using Judged = bench::AutomaticSolver<true>;

void add_every_solver(const Case& c) {
  using namespace bench;
  add_all<Ma48Solver, Ma38Solver, Automatic, Judged, EigenSolver, SuperLuSolver, MumpsSolver>(c);
}

void add_generated() {
  using namespace bench;
  for (const Case& c : kProcessCases) add_every_solver(c);
  for (const Case& c : kGridCases) {
    if (takes_ma48(c))
      add_every_solver(c);
    else
      add_all<Ma38Solver, Automatic, Judged, EigenSolver, SuperLuSolver, MumpsSolver>(c);
  }
  for (const Case& c : kGridCases)
    add_controls<Ma38With<false, 200>, Ma38With<true, 200>, Ma38With<false, 120>, Ma38With<true, 120>>(c);
}

/// Takes the option --matrices=FOLDER from the arguments.
/// @return the folder; empty: not given
std::string take_folder(int& argc, char** argv) {
  const std::string option = "--matrices=";
  for (int k = 1; k < argc; ++k) {
    const std::string argument = argv[k];
    if (argument.compare(0, option.size(), option) != 0) continue;
    std::copy(argv + k + 1, argv + argc + 1, argv + k);
    --argc;
    return argument.substr(option.size());
  }
  return {};
}

}  // namespace

int main(int argc, char** argv) try {
  using namespace bench;
  mallopt(M_MMAP_MAX, 0);
  mallopt(M_TRIM_THRESHOLD, -1);
  const std::string folder = take_folder(argc, argv);
  const std::vector<Case> cases = folder.empty() ? std::vector<Case>() : cases_of_folder(folder);
  for (const Case& c : cases) add_every_solver(c);
  if (folder.empty()) add_generated();
  RatioReport report({Ma48Solver::kName, Ma38Solver::kName, Automatic::kName, Judged::kName},
                     {EigenSolver::kName, SuperLuSolver::kName, MumpsSolver::kName}, SuperLuSolver::kName);
  return run(argc, argv, &report);
} catch (const std::exception& problem) {
  std::fprintf(stderr, "%s\n", problem.what());
  return EXIT_FAILURE;
}
