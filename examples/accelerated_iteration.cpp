// Accelerates a fixed-point iteration x := G(x) by extrapolation with its two dominant eigenvalues.
//
// The accelerator sees each vector and may replace it by an extrapolated one. Such a step may be too long, or
// not even finite, so the host judges it by the pass that follows and undoes it if the change has grown. The
// tests of the accelerator are absolute, at 1e-8: choose a unit of x in which differences stay well above
// that.

#include <accel/mul_dom_eigen_accel.h>

#include <cmath>
#include <cstdio>
#include <vector>

namespace {

const std::vector<double> rate = {0.95, 0.9, 0.5,
                                  0.3};  // eigenvalues of G; its fixed point is 1000 everywhere

/// Replaces x by G(x) and returns the largest change.
double pass(std::vector<double>& x) {
  double change = 0;
  for (std::size_t i = 0; i < x.size(); ++i) {
    const double next = 1000 + rate[i] * (x[i] - 1000);
    change = std::fmax(change, std::abs(next - x[i]));
    x[i] = next;
  }
  return change;
}

}  // namespace

int main() {
  const double tolerance = 1e-4;
  std::vector<double> plain(rate.size()), x(rate.size());
  int plain_passes = 1, passes = 1;
  while (pass(plain) > tolerance) ++plain_passes;

  //! [sample]
  MulDomEigenAccel accel(static_cast<int>(x.size()), 2, 4, 0, 0);  // eigenvalues, differences kept
  accel.MaxAccelFrequency(6);                                      // a step every six passes at most
  double before = 0, change;
  for (bool stepped = false; (change = pass(x)) > tolerance; ++passes, before = change) {
    if (stepped && !(change <= before)) accel.UndoAndReset(x.data()), accel.Reset();
    stepped = accel.Accelerate(x.data());
  }
  //! [sample]

  std::printf("%d passes, %d without acceleration\n", passes, plain_passes);
  double error = 0;
  for (const double value : x) error = std::fmax(error, std::abs(value - 1000));
  return error < 0.01 && passes < plain_passes / 2 ? 0 : 1;
}
