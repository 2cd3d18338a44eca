// Compares dgetrf_tol with the unblocked LU of the linked LAPACK, dgetf2, on random matrices.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <random>
#include <vector>

#include "bench/dense/compare.h"
#include "bench/support/run.h"
#include "dense/lu.h"

extern "C" void dgetf2_(const int* m, const int* n, double* a, const int* lda, int* ipiv, int* info);

namespace {

using Routine = void (*)(const int* n, double* a, int* pivots, int* info);

void ours(const int* n, double* a, int* pivots, int* info) {
  corvidnum::dgetrf_tol(n, n, a, n, pivots, info);
}
void lapack(const int* n, double* a, int* pivots, int* info) { dgetf2_(n, n, a, n, pivots, info); }

/// Different matrices of one order, as many as about fill a second-level cache.
struct Batch {
  int n;
  std::size_t size, count;
  std::vector<double> original, work;
  std::vector<int> pivots;

  explicit Batch(int order)
      : n(order),
        size(static_cast<std::size_t>(n * n)),
        count(std::max<std::size_t>(1, 32768 / size)),
        original(size * count),
        pivots(static_cast<std::size_t>(n) * count) {
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    for (double& value : original) value = uniform(random);
  }

  void refill() { work = original; }

  void factor(Routine routine) {
    int info = 0;
    for (std::size_t i = 0; i < count; ++i)
      routine(&n, &work[i * size], &pivots[i * static_cast<std::size_t>(n)], &info);
  }
};

/// Returns the largest difference between the factors of both routines; their pivots must be the same.
double disagreement(Batch& batch) {
  batch.refill();
  batch.factor(lapack);
  const auto expected = batch.work;
  const auto expected_pivots = batch.pivots;
  batch.refill();
  batch.factor(ours);
  if (batch.pivots != expected_pivots) return HUGE_VAL;
  double largest = 0.0;
  for (std::size_t i = 0; i < expected.size(); ++i) {
    largest = std::max(largest, std::fabs(batch.work[i] - expected[i]));
  }
  return largest;
}

void BM_Lu(benchmark::State& state) {
  Batch batch(static_cast<int>(state.range(0)));
  if (!(disagreement(batch) < 1e-9)) return state.SkipWithError("factors differ from those of LAPACK");
  bench::compare(
      state, static_cast<double>(batch.count), 1.0, [&] { batch.refill(); }, [&] { batch.factor(ours); },
      [&] { batch.factor(lapack); });
}
BENCHMARK(BM_Lu)->Arg(5)->Arg(10)->Arg(20)->Arg(50)->Arg(100)->Arg(200)->UseManualTime();

}  // namespace

int main(int argc, char** argv) { return bench::run(argc, argv); }
