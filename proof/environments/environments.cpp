// Runs a named set of finite cases, one or more of each family, under a floating-point environment, and
// prints a digest of the bits of each result.
//
//   corvidnum_environments MODE
//
// MODE is plain (to nearest, nothing traps); flush (denormals are flushed to zero and taken for zero); traps
// (invalid operations, divisions by zero and overflows trap); up, down or zero (the other roundings). The
// cases hold no denormal numbers, and none of their results is one. Each case runs in a process of its own,
// so that a trap ends that case alone. A case is at fault if it ends by a signal or does not end, if an
// operation does not succeed, or if the backward error, or what measures the result otherwise, is not small.
// Where it is known that a case cannot succeed in a rounding, it may tell so.

#include <fenv.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#if defined(__SSE2__)
#include <xmmintrin.h>
#endif

#include "accel/dom_eigen_accel.h"
#include "accel/fixed_point.h"
#include "accel/mul_dom_eigen_accel.h"
#include "dense/arrow_matrix.h"
#include "dense/regular_matrix.h"
#include "dense/singular_value_decomposition.h"
#include "frame/empty_value.h"
#include "proof/support/digest.h"
#include "proof/support/loader.h"
#include "proof/support/ring.h"
#include "sparse/ma38/ma38_routines.h"
#include "sparse/ma48/ma48.h"
#include "sparse/sparse_solver.h"
#include "tables/bounded_secant.h"
#include "tables/interpolator.h"
#include "tables/line_fit.h"
#include "tables/regress_table.h"
#include "tests/support/fixed_point_maps.h"
#include "tests/support/sparse_matrices.h"
#include "util/data_graph.h"

namespace {

using proof::Digest;
using reference::Coordinates;
using reference::Dense;
using reference::Random;
using reference::Vector;

constexpr double kSmall = 1e-9;  // error, relative to the case, that all roundings stay below
constexpr double kFailed = HUGE_VAL;
constexpr unsigned kMostSeconds = 60;  // that one case may take

/// Runs one case. @return its error, kFailed if an operation did not succeed
using Run = double (*)(Digest& digest);

// ---- Dense

double error_of(const Dense& a, const Vector& x, const Vector& b) {
  return reference::scaled_residual(reference::coordinates(a), x, b);
}

double solve_dense(Matrix& matrix, const Dense& a, Digest& digest) {
  const Vector b(static_cast<std::size_t>(a.rows), 1.0);
  Vector x = b, work = b;
  int info = 0;
  for (int j = 0; j < a.cols; ++j) {
    for (int i = 0; i < a.rows; ++i)
      if (a(i, j) != 0) matrix(i, j) = a(i, j);
  }
  if (matrix.Solve(x.data(), work.data(), info) != Matrix::MatrixOK) return kFailed;
  digest.add_all(x);
  return error_of(a, x, b);
}

double regular(Digest& digest) {
  Random random(1);
  const Dense a = reference::random_dense(40, 40, random);
  RegularMatrix matrix(40, 40);
  return solve_dense(matrix, a, digest);
}

double arrow(Digest& digest) {
  constexpr int kBand = 60, kBorder = 5, kReach = 2;
  Random random(2);
  Dense a(kBand + kBorder, kBand + kBorder);
  for (int j = 0; j < a.cols; ++j) {
    for (int i = 0; i < a.rows; ++i) {
      const bool in_band = i < kBand && j < kBand;
      if (!in_band || std::abs(i - j) <= kReach) a(i, j) = reference::uniform(random) + (i == j ? 4.0 : 0.0);
    }
  }
  ArrowMatrix matrix(kBand, kReach, kReach, kBorder, ArrowMatrix::TrackInternal);
  return solve_dense(matrix, a, digest);
}

double least_squares(Digest& digest) {
  constexpr int kRows = 20, kColumns = 6;
  Random random(3);
  double values[kRows][kColumns], *rows[kRows], b[kRows], x[kColumns];
  for (int i = 0; i < kRows; ++i) {
    rows[i] = values[i];
    b[i] = 0;
    for (int j = 0; j < kColumns; ++j) b[i] += values[i][j] = reference::uniform(random);
  }
  SingularValueDecomposition svd(kRows, kColumns);
  if (svd.LinearLeastSquare(kRows, kColumns, x, b, rows, nullptr) == EmptyValue) return kFailed;
  digest.add_all(x);
  digest.add(svd.ConditionNum(kColumns));
  double worst = 0;
  for (const double value : x) worst = std::fmax(worst, std::fabs(value - 1));
  return worst;
}

// ---- Sparse

Coordinates flowsheet() {
  Random random(4);
  return reference::shuffled(reference::flowsheet_matrix(20, 6, random), random);
}
Coordinates mesh() {
  Random random(5);
  return reference::shuffled(reference::column_matrix(30, 4, random), random);
}

double class_ma48(Digest& digest) {
  const Coordinates a = flowsheet();
  proof::Loader loader(a);
  ma48 solver(a.n, a.entries(), a.rows.data(), a.columns.data(), a.values.data(), &loader, 20 * a.entries());
  Vector b(static_cast<std::size_t>(a.n), 1.0), x = b;
  if (!solver.Solve(b.data(), x.data())) return kFailed;
  digest.add_all(x);
  return reference::scaled_residual(a, x, b);
}

double routines_of_ma38(Digest& digest) {
  const Coordinates a = mesh();
  const int job = 1, plain = 0, room = 40 * a.entries() + 1000, entries = a.entries();
  int keep[MA38_KEEP_LENGTH], icntl[MA38_ICNTL_LENGTH], info[MA38_INFO_LENGTH];
  double cntl[MA38_CNTL_LENGTH], rinfo[MA38_RINFO_LENGTH];
  ma38id_(keep, cntl, icntl);
  ma38_set_icntl(icntl, MA38_ICNTL_MOST_REFINEMENTS, 2);
  Vector value(static_cast<std::size_t>(room)), work(static_cast<std::size_t>(ma38_w_length(a.n)));
  std::vector<int> index(static_cast<std::size_t>(room));
  std::copy(a.values.begin(), a.values.end(), value.begin());
  std::copy(a.rows.begin(), a.rows.end(), index.begin());
  std::copy(a.columns.begin(), a.columns.end(), index.begin() + entries);
  ma38ad_(&a.n, &entries, &job, &plain, &room, &room, value.data(), index.data(), keep, cntl, icntl, info,
          rinfo);
  if (ma38_info(info, MA38_INFO_STATUS) != 0) return kFailed;
  const Vector b(static_cast<std::size_t>(a.n), 1.0);
  Vector x = b;
  ma38cd_(&a.n, &plain, &plain, &room, &room, value.data(), index.data(), keep, b.data(), x.data(),
          work.data(), cntl, icntl, info, rinfo);
  if (ma38_info(info, MA38_INFO_STATUS) != 0) return kFailed;
  digest.add_all(x);
  return reference::scaled_residual(a, x, b);
}

double front(Digest& digest, const Coordinates& a, corvidnum::SparseMethod method) {
  using corvidnum::SparseStatus;
  corvidnum::SparseOptions options;
  options.method = method;
  corvidnum::SparseSolver solver(a.n, a.entries(), a.rows.data(), a.columns.data(), 1, options);
  const Vector b(static_cast<std::size_t>(a.n), 1.0);
  Vector x = b, y = b;
  double raw = 0, equilibrated = 0, bound = 0;
  const bool done = solver.Factorise(a.values.data()) == SparseStatus::Factorised &&
                    solver.Solve(b.data(), x.data()) == SparseStatus::Solved &&
                    solver.Refactorise(a.values.data()) == SparseStatus::Factorised &&
                    solver.SolveTransposed(b.data(), y.data()) == SparseStatus::Solved &&
                    solver.ConditionEstimate(&raw, &equilibrated) == SparseStatus::Factorised &&
                    solver.ForwardErrorBound(b.data(), x.data(), false, &bound) == SparseStatus::Factorised;
  if (!done) return kFailed;
  digest.add_all(x);
  digest.add_all(y);
  digest.add(raw);
  return std::fmax(reference::scaled_residual(a, x, b), reference::scaled_residual(a, y, b, true));
}
double front_by_ma48(Digest& digest) { return front(digest, flowsheet(), corvidnum::SparseMethod::ma48); }
double front_by_ma38(Digest& digest) { return front(digest, mesh(), corvidnum::SparseMethod::ma38); }

/// The status is what must come back.
double front_singular(Digest& digest) {
  Coordinates a = mesh();
  for (std::size_t k = 0; k < a.values.size(); ++k)
    if (a.rows[k] == 3) a.values[k] = 0;
  corvidnum::SparseSolver solver(a.n, a.entries(), a.rows.data(), a.columns.data(), 1);
  corvidnum::SparseDiagnosis diagnosis;
  const auto status = solver.Factorise(a.values.data());
  solver.Diagnose(&diagnosis);
  digest.add(diagnosis.numerical_rank);
  return status == corvidnum::SparseStatus::Singular ? 0 : kFailed;
}

// ---- Accelerators

/// The error is how far the last vector is from the fixed point, in units that count 1e-6 as small.
double iterate(Accel& accelerator, maps::Map& map, Digest& digest) {
  constexpr int kPasses = 200;
  constexpr double kUnit = 1e3;
  maps::Vector x = map.start();
  int steps = 0;
  for (int pass = 0; pass < kPasses; ++pass) {
    map.pass(x);
    steps += accelerator.Accelerate(x.data());
  }
  digest.add_all(x);
  return steps > 0 ? map.error(x) / kUnit : kFailed;
}

maps::Map quick_map() { return {maps::Kind::kFast, 1}; }

double dominant(Digest& digest) {
  maps::Map map = quick_map();
  DomEigenAccel accelerator(map.n(), 3, 1, 0, 0, 0);
  return iterate(accelerator, map, digest);
}
double multiple(Digest& digest) {
  maps::Map map = quick_map();
  MulDomEigenAccel accelerator(map.n(), 2, 5, 0, 0);
  return iterate(accelerator, map, digest);
}

double fixed_point(Digest& digest) {
  using corvidnum::FixedPointVerdict;
  maps::Map map(maps::Kind::kEightSlow, 2);
  corvidnum::FixedPoint iteration(map.n(), {});
  maps::Vector x = map.start();
  FixedPointVerdict verdict = iteration.Start(x.data());
  while (verdict == FixedPointVerdict::Continue) {
    map.pass(x);
    verdict = iteration.Pass(x.data());
  }
  digest.add_all(x);
  constexpr double kUnit = 1e5;  // the tolerance is 1e-8, and the passes are slow
  return verdict == FixedPointVerdict::Converged ? map.error(x) / kUnit : kFailed;
}

// ---- Tables, and what computes with whole numbers

class Parabola : public RegressTable {
 public:
  double Func(double x) override { return x * x; }
};

double statistics(Digest& digest) {
  Parabola table;
  for (int i = 1; i <= 30; ++i) table.AddPoint(i, i * i * (1 + 1e-3 * (i % 3)));
  if (!table.Stats() || !table.UpdateYFit()) return kFailed;
  for (const double value :
       {table.R2(), table.MaxError(), table.MinError(), table.YFit(7), table.PctError(7)})
    digest.add(value);
  return table.R2() > 0.999 ? 0 : kFailed;
}

double line(Digest& digest) {
  constexpr int kPoints = 20;
  double x[kPoints], y[kPoints], a, sigma_a, b, sigma_b, chi_square;
  for (int i = 0; i < kPoints; ++i) x[i] = 0.3 * i, y[i] = 2 + 0.7 * x[i];
  if (!LineFit(x, y, kPoints, nullptr, &a, &b, &sigma_a, &sigma_b, &chi_square)) return kFailed;
  digest.add(a);
  digest.add(b);
  return std::fabs(a - 2) + std::fabs(b - 0.7);
}

double gaps(Digest& digest) {
  double row[] = {0, 1, 0, 4, 2, 0}, spacing[] = {0, 1, 2, 1, 0.5, 3};
  InterpStatusEnum status[] = {InterpUnknown, InterpKnown, InterpUnknown,
                               InterpKnown,   InterpKnown, InterpUnknown};
  if (!Interpolator().MainInterpolator(row, status, 6, InterpLinear, ExtrapLinear, 2, spacing))
    return kFailed;
  digest.add_all(row);
  return std::fabs(row[2] - 3);
}

double secant(Digest& digest) {
  BoundedSecant search;
  const auto function = [](double x) { return x * x * x - 2; };
  search.AddIEPoints(0, function(0));
  search.AddIEPoints(2, function(2));
  double guess = 0;
  for (int i = 0; i < 40 && function(guess) != 0; ++i) {
    guess = search.GetGuess();
    search.AddIEPoints(guess, function(guess));
    digest.add(guess);
  }
  return std::fabs(function(guess));
}

double reordering(Digest& digest) {
  proof::Ring<50> ring(7);
  const int error = ring.reorder();
  digest.add_all(ring.permutation);
  return error == 0 ? 0 : kFailed;
}

double links(Digest& digest) {
  unsigned valencies[] = {4, 4, 4};
  const int answer = DataGraph_FreeLinks(3, valencies);
  digest.add(answer);
  return answer >= 0 ? 0 : kFailed;
}

struct Case {
  const char* name;
  Run run;
  const char* fails_in = "";  // a rounding in which the case may tell that it fails
};
constexpr Case kCases[] = {
    {"RegularMatrix", regular},
    {"ArrowMatrix", arrow},
    {"SingularValueDecomposition", least_squares, "up"},
    {"class ma48", class_ma48},
    {"routines of ma38", routines_of_ma38},
    {"front by ma48", front_by_ma48},
    {"front by ma38", front_by_ma38},
    {"front, singular", front_singular},
    {"DomEigenAccel", dominant},
    {"MulDomEigenAccel", multiple},
    {"FixedPoint", fixed_point},
    {"RegressTable", statistics},
    {"LineFit", line},
    {"Interpolator", gaps},
    {"BoundedSecant", secant},
    {"gpskca", reordering},
    {"DataGraph_FreeLinks", links},
};

// ---- Modes

bool flush_denormals() {
#if defined(__SSE2__)
  constexpr unsigned kFlushToZero = 0x8000, kDenormalsAreZero = 0x0040;
  _mm_setcsr(_mm_getcsr() | kFlushToZero | kDenormalsAreZero);
  return true;
#else
  return false;
#endif
}

bool enter(const std::string& mode) {
  if (mode == "plain") return true;
  if (mode == "flush") return flush_denormals();
  if (mode == "traps") return feenableexcept(FE_INVALID | FE_DIVBYZERO | FE_OVERFLOW) >= 0;
  if (mode == "up") return fesetround(FE_UPWARD) == 0;
  if (mode == "down") return fesetround(FE_DOWNWARD) == 0;
  if (mode == "zero") return fesetround(FE_TOWARDZERO) == 0;
  return false;
}

/// Runs a case in a child process. @return whether it is at fault
bool is_at_fault(const Case& one, const std::string& mode) {
  std::fflush(stdout);
  const pid_t child = fork();
  if (child < 0) {
    std::perror("fork");
    std::exit(2);
  }
  if (child == 0) {
    alarm(kMostSeconds);
    if (!enter(mode)) _exit(2);
    Digest digest;
    const double error = one.run(digest);
    fedisableexcept(FE_ALL_EXCEPT);
    std::printf("%-28s %016llx\n", one.name, static_cast<unsigned long long>(digest.value()));
    const bool good = error < kSmall || (error == kFailed && mode == one.fails_in);
    if (!good) std::printf("  at fault: error %.1e\n", error);
    if (good && error == kFailed) std::printf("  tells that it fails\n");
    std::fflush(stdout);
    _exit(good ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFSIGNALED(status)) std::printf("%-28s at fault: ended by signal %d\n", one.name, WTERMSIG(status));
  return status != 0;
}

}  // namespace

int main(int count, char** arguments) {
  const std::string mode = count == 2 ? arguments[1] : "";
  bool known = false;
  for (const char* each : {"plain", "flush", "traps", "up", "down", "zero"}) known = known || mode == each;
  if (!known) {
    std::fputs("usage: corvidnum_environments plain|flush|traps|up|down|zero\n", stderr);
    return 2;
  }
  bool found = false;
  for (const Case& one : kCases) found = is_at_fault(one, mode) || found;
  return found;
}
