// Compares SingularValueDecomposition with LAPACK's dgesvd (thin U and V', work of the length it asks for) on
// random matrices.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <random>
#include <vector>

#include "bench/dense/compare.h"
#include "bench/support/run.h"
#include "dense/singular_value_decomposition.h"

extern "C" void dgesvd_(const char* jobu, const char* jobvt, const int* m, const int* n, double* a,
                        const int* lda, double* s, double* u, const int* ldu, double* vt, const int* ldvt,
                        double* work, const int* lwork, int* info, std::size_t, std::size_t);

namespace {

using Vector = std::vector<double>;

/// One matrix, by rows for the library and by columns for the peer.
struct Problem {
  int m, n, info = 0;
  std::size_t rows, cols;
  Vector original, a, u, vt, s, work, row_values;
  std::vector<double*> row;
  SingularValueDecomposition svd;

  Problem(int m_, int n_)
      : m(m_),
        n(n_),
        rows(static_cast<std::size_t>(m)),
        cols(static_cast<std::size_t>(n)),
        original(rows * cols),
        a(rows * cols),
        u(rows * cols),
        vt(cols * cols),
        s(cols),
        work(1),
        row_values(rows * cols),
        svd(m, n) {
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    for (double& value : original) value = uniform(random);
    for (std::size_t i = 0; i < rows; ++i) row.push_back(&row_values[i * cols]);
    call_lapack(-1);
    work.resize(static_cast<std::size_t>(work[0]));
  }
  void refill() {
    a = original;
    for (std::size_t i = 0; i < rows; ++i) {
      for (std::size_t j = 0; j < cols; ++j) row[i][j] = original[j * rows + i];
    }
  }
  void call_lapack(int lwork) {
    dgesvd_("S", "S", &m, &n, a.data(), &m, s.data(), u.data(), &m, vt.data(), &n, work.data(), &lwork, &info,
            1, 1);
  }
  void ours() { info = svd.Decomposition(m, n, row.data()) ? 0 : 1; }
  void lapack() { call_lapack(static_cast<int>(work.size())); }

  /// Returns the largest difference of singular values, relative to the largest singular value.
  double disagreement() {
    refill();
    lapack();
    ours();
    if (info != 0) return HUGE_VAL;
    Vector values(svd.SVals(), svd.SVals() + n);
    std::sort(values.begin(), values.end(), std::greater<double>());
    double largest = 0.0;
    for (std::size_t k = 0; k < cols; ++k) largest = std::max(largest, std::fabs(values[k] - s[k]));
    return largest / s[0];
  }
};

void BM_Decomposition(benchmark::State& state) {
  Problem problem(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
  if (!(problem.disagreement() < 1e-13)) return state.SkipWithError("values differ from those of LAPACK");
  bench::compare(
      state, 1.0, 1.0, [&] { problem.refill(); }, [&] { problem.ours(); }, [&] { problem.lapack(); });
}
BENCHMARK(BM_Decomposition)
    ->Args({5, 3})
    ->Args({10, 10})
    ->Args({20, 5})
    ->Args({50, 10})
    ->Args({30, 30})
    ->Args({100, 30})
    ->Args({300, 100})
    ->UseManualTime();

}  // namespace

int main(int argc, char** argv) { return bench::run(argc, argv); }
