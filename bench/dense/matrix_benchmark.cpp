// Compares ArrowMatrix with LAPACK's band solver, and an element access with a bare virtual call.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <vector>

#include "bench/dense/compare.h"
#include "bench/support/run.h"
#include "dense/arrow_matrix.h"
#include "dense/regular_matrix.h"

extern "C" void dgbsv_(const int* n, const int* kl, const int* ku, const int* nrhs, double* ab,
                       const int* ldab, int* ipiv, double* b, const int* ldb, int* info);

namespace {

/// A bordered band matrix, element by element, whose row sums are 1, so that the solution for a right-hand
/// side of ones is ones.
struct Arrow {
  int n, width, m;

  int order() const { return n + m; }
  bool present(int i, int j) const { return i >= n || j >= n || std::abs(i - j) <= width; }
  double element(int i, int j) const {
    if (i == j) return i < n ? 8.0 : 10.0 + n;
    return 1.0 / (1.0 + (3 * i + 7 * j) % 11);
  }
  template <class Visit>
  void each(Visit&& visit) const {
    for (int j = 0; j < order(); ++j) {
      const int first = j < n ? std::max(0, j - width) : 0;
      const int last = j < n ? std::min(n - 1, j + width) : order() - 1;
      for (int i = first; i <= last; ++i) visit(i, j, element(i, j));
      for (int i = n; j < n && i < order(); ++i) visit(i, j, element(i, j));
    }
  }
};

void BM_ArrowSolve(benchmark::State& state) {
  const Arrow arrow{100000, 2, 4};
  const auto n = static_cast<std::size_t>(arrow.n), order = static_cast<std::size_t>(arrow.order());
  std::vector<double> b(order), x(order), rhs;
  ArrowMatrix matrix(arrow.n, arrow.width, arrow.width, arrow.m, ArrowMatrix::TrackNone);
  const int one = 1, ldab = 3 * arrow.width + 1;
  std::vector<double> band(static_cast<std::size_t>(ldab) * n), work;
  std::vector<int> pivots(n);
  arrow.each([&](int i, int j, double value) {
    b[static_cast<std::size_t>(i)] += value;
    if (i < arrow.n && j < arrow.n)
      band[static_cast<std::size_t>(j * ldab + 2 * arrow.width + i - j)] = value;
  });

  Matrix::ErrorCode code = Matrix::MatrixOK;
  int info = 0, band_info = 0;
  const auto refill = [&] {
    matrix.ZeroElements();
    arrow.each([&](int i, int j, double value) { matrix(i, j) = value; });
    work = band;
    rhs = b;
  };
  const auto solve = [&] { code = matrix.Solve(x.data(), rhs.data(), info); };
  const auto solve_band = [&] {
    dgbsv_(&arrow.n, &arrow.width, &arrow.width, &one, work.data(), &ldab, pivots.data(), rhs.data(),
           &arrow.n, &band_info);
  };
  bench::compare(state, 1.0, arrow.m + 2, refill, solve, solve_band);
  double error = 0.0;
  for (const double value : x) error = std::max(error, std::fabs(value - 1.0));
  if (code != Matrix::MatrixOK || band_info != 0 || !(error < 1e-9))
    state.SkipWithError("the solution is wrong");
  state.counters["error"] = error;
}
BENCHMARK(BM_ArrowSolve)->UseManualTime()->Unit(benchmark::kMillisecond);

// ---- Element access

class Plain {
 public:
  explicit Plain(int n) : n_(n), data_(static_cast<std::size_t>(n) * static_cast<std::size_t>(n)) {}
  virtual ~Plain() = default;
  virtual double& operator()(int row, int col);

 private:
  int n_;
  std::vector<double> data_;
};

__attribute__((noinline)) double& Plain::operator()(int row, int col) {
  return data_[static_cast<std::size_t>(col) * static_cast<std::size_t>(n_) + static_cast<std::size_t>(row)];
}

constexpr int kOrder = 60;

template <class AnyMatrix>
void add_everywhere(AnyMatrix* matrix) {
  benchmark::DoNotOptimize(matrix);  // hides the type of the object, so that calls stay virtual
  for (int j = 0; j < kOrder; ++j) {
    for (int i = 0; i < kOrder; ++i) (*matrix)(i, j) += 1.0;
  }
}

void compare_access(benchmark::State& state, std::unique_ptr<Matrix> matrix) {
  const std::unique_ptr<Plain> plain = std::make_unique<Plain>(kOrder);
  bench::compare(
      state, kOrder * kOrder, 1.0, [] {}, [&] { add_everywhere(matrix.get()); },
      [&] { add_everywhere(plain.get()); });
  if ((*matrix)(kOrder - 1, 7) != (*plain)(kOrder - 1, 7)) state.SkipWithError("an element is wrong");
}

void BM_RegularAccess(benchmark::State& state) {
  compare_access(state, std::make_unique<RegularMatrix>(kOrder, kOrder));
}
void BM_ArrowAccess(benchmark::State& state) {
  compare_access(state, std::make_unique<ArrowMatrix>(kOrder - 4, 2, 2, 4, ArrowMatrix::TrackNone));
}
BENCHMARK(BM_RegularAccess)->UseManualTime();
BENCHMARK(BM_ArrowAccess)->UseManualTime();

}  // namespace

int main(int argc, char** argv) { return bench::run(argc, argv); }
