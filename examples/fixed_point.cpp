// Brings a fixed-point iteration x := G(x) to its end: a recycle of two components that returns most of what
// leaves it. The library chooses the steps, judges each, and says how the iteration ended.

#include <accel/fixed_point.h>

#include <cmath>
#include <cstdio>
#include <vector>

namespace {

/// Replaces the rates of the recycle by what comes back after one pass of the flowsheet.
void model(std::vector<double>& x) {
  const double first = 100 + x[0], second = 50 + x[1];  // fed, and returned
  x[0] = 0.95 * first;
  x[1] = 0.6 * second + 0.02 * first;
}

}  // namespace

int main() {
  using namespace corvidnum;
  //! [sample]
  std::vector<double> x = {0, 0};
  const std::vector<double> lower = {0, 0};  // rates are not negative
  FixedPointOptions options;
  options.lower = lower.data();
  FixedPoint iteration(static_cast<int>(x.size()), options);
  FixedPointVerdict verdict = iteration.Start(x.data());
  while (verdict == FixedPointVerdict::Continue) {
    model(x);
    verdict = iteration.Pass(x.data());
  }
  //! [sample]
  const FixedPointCounts counts = iteration.Counts();
  std::printf("%s after %d passes and %d steps: %.6f %.6f\n", TextOf(verdict),
              static_cast<int>(counts.passes), static_cast<int>(counts.steps_taken), x[0], x[1]);
  const double error = std::fabs(x[0] - 1900) + std::fabs(x[1] - 175);
  return verdict == FixedPointVerdict::Converged && error < 1e-3 && counts.passes < 40 ? 0 : 1;
}
