// Compares one call of Accelerate with one daxpy of the same length. The differences that the accelerators
// see do not decay, so each call does the same work: all steps are accepted, or all are refused, or all are
// below the noise. Counters: ours and peer in seconds for one call, their ratio, its limit, the share of
// accepted calls.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "accel/dom_eigen_accel.h"
#include "accel/mul_dom_eigen_accel.h"
#include "bench/dense/compare.h"
#include "bench/support/run.h"

extern "C" void daxpy_(const int* n, const double* alpha, const double* x, const int* incx, double* y,
                       const int* incy);

namespace {

using Vector = std::vector<double>;

enum class Steps { kAccepted, kRefused, kNoise };

constexpr int kModes = 6;

/// Returns the amplitude of each mode in the step of a pass.
std::vector<double> amplitudes(Steps steps, int eigenvalues, int pass, std::mt19937_64& random) {
  std::vector<double> result(kModes, 0.0);
  if (steps == Steps::kNoise) return result;
  if (steps == Steps::kRefused) {
    for (double& value : result) value = std::uniform_real_distribution<double>(-1.0, 1.0)(random);
    return result;
  }
  // Eigenvalues on the unit circle: -1 alone, or a pair at 90 degrees and then -1 or a pair at 120 degrees.
  const double quarter = std::acos(0.0) * pass, third = std::acos(-0.5) * pass;
  const bool has_pair = eigenvalues >= 2;
  if (has_pair) {
    result[0] = std::cos(quarter);
    result[1] = std::sin(quarter);
  }
  if (eigenvalues == 1 || eigenvalues == 3) result[2] = pass % 2 ? -1.0 : 1.0;
  if (eigenvalues == 4) {
    result[3] = std::cos(third);
    result[4] = std::sin(third);
  }
  return result;
}

/// Accelerated iterations; several run in turn where a single call is too short to be timed.
class Iterations {
 public:
  template <class Make>
  Iterations(int n, Steps steps, int eigenvalues, Make&& make)
      : size_(n), steps_(steps), eigenvalues_(eigenvalues) {
    for (int mode = 0; mode < kModes; ++mode) modes_.push_back(random_vector());
    const int count = std::max(1, std::min(64, 2000 / n));
    for (int i = 0; i < count; ++i) {
      accelerators_.emplace_back(make());
      if (steps == Steps::kRefused) accelerators_.back()->setProjectTol(-1.0);
      x_.push_back(random_vector());
      peer_.push_back(x_.back());
    }
    for (int pass = 0; pass < 20; ++pass) {
      prepare();
      accelerate();
    }
    calls_ = accepted_ = 0;
  }

  double count() const { return static_cast<double>(x_.size()); }
  double accepted_share() const { return static_cast<double>(accepted_) / static_cast<double>(calls_); }

  /// Does the pass of the host, which computes the next vectors.
  void prepare() {
    if (stepped_) return;
    const auto amplitude = amplitudes(steps_, eigenvalues_, pass_++, random_);
    for (Vector& x : x_) {
      for (std::size_t mode = 0; mode < kModes; ++mode) {
        if (amplitude[mode] != 0.0) add(amplitude[mode], modes_[mode], x);
      }
    }
    stepped_ = true;
  }

  void accelerate() {
    for (std::size_t i = 0; i < x_.size(); ++i) accepted_ += accelerators_[i]->Accelerate(x_[i].data());
    calls_ += static_cast<long>(x_.size());
    stepped_ = false;
  }

  void peer() {
    for (std::size_t i = 0; i < x_.size(); ++i) add(1e-3, modes_[0], peer_[i]);
  }

 private:
  Vector random_vector() {
    Vector vector(static_cast<std::size_t>(size_));
    for (double& value : vector) value = std::uniform_real_distribution<double>(-100.0, 100.0)(random_);
    return vector;
  }
  void add(double factor, const Vector& from, Vector& to) const {
    const int one = 1;
    daxpy_(&size_, &factor, from.data(), &one, to.data(), &one);
  }

  int size_;
  Steps steps_;
  int eigenvalues_;
  std::mt19937_64 random_{1};
  std::vector<Vector> modes_, x_, peer_;
  std::vector<std::unique_ptr<Accel>> accelerators_;
  int pass_ = 0;
  bool stepped_ = false;
  long calls_ = 0, accepted_ = 0;
};

void measure(benchmark::State& state, Iterations& iterations, Steps steps, double limit) {
  bench::compare(
      state, iterations.count(), 1.0, [&] { iterations.prepare(); }, [&] { iterations.accelerate(); },
      [&] { iterations.peer(); });
  const double share = iterations.accepted_share();
  if (share != (steps == Steps::kAccepted ? 1.0 : 0.0)) state.SkipWithError("not the intended answers");
  state.counters["limit"] = limit;
  state.counters["accepted"] = share;
}

void BM_Dominant(benchmark::State& state, Steps steps) {
  const int n = static_cast<int>(state.range(0));
  Iterations iterations(n, steps, 1, [n] { return new DomEigenAccel(n, 5, 1, 1, 1, 0); });
  measure(state, iterations, steps, 12.0);
}

void BM_Multiple(benchmark::State& state, Steps steps) {
  const int n = static_cast<int>(state.range(0)), eigenvalues = static_cast<int>(state.range(1));
  Iterations iterations(n, steps, eigenvalues, [=] { return new MulDomEigenAccel(n, eigenvalues, 0, 0, 0); });
  measure(state, iterations, steps, 6.0 * (eigenvalues + 2) * (eigenvalues + 2) / 4.0);
}

const std::vector<std::int64_t> kLengths = {10, 100, 1000, 10000, 100000, 1000000};

#define FOR_EACH_LENGTH ->ArgsProduct({kLengths})->UseManualTime()
BENCHMARK_CAPTURE(BM_Dominant, accepted, Steps::kAccepted) FOR_EACH_LENGTH;
BENCHMARK_CAPTURE(BM_Dominant, refused, Steps::kRefused) FOR_EACH_LENGTH;
BENCHMARK_CAPTURE(BM_Dominant, noise, Steps::kNoise) FOR_EACH_LENGTH;

#define FOR_EACH_LENGTH_AND_COUNT ->ArgsProduct({kLengths, {1, 2, 3, 4}})->UseManualTime()
BENCHMARK_CAPTURE(BM_Multiple, accepted, Steps::kAccepted) FOR_EACH_LENGTH_AND_COUNT;
BENCHMARK_CAPTURE(BM_Multiple, refused, Steps::kRefused) FOR_EACH_LENGTH_AND_COUNT;

}  // namespace

int main(int argc, char** argv) { return bench::run(argc, argv); }
