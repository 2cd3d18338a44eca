// Dominant-eigenvalue extrapolation of a vector sequence.
//
// With d(0) the newest difference, d(1) the one before and n the length of the vectors:
//   lambda     = (d(1) . d(0)) / (d(1) . d(1))                       least squares fit of d(0) = lambda d(1)
//   variance   = (d(0) . d(0) - lambda d(1) . d(0)) / (n - 1)         residual variance of the fit
//   correction = lambda / (1 - lambda) d(0)                           sum of the geometric series
// A try runs in this order: noise test, estimate, tests of lambda, test against the previous correction,
// step. A test that fails does not end the try: the vectors that the next try compares with stay up to date.
// Source: Orbach and Crowe, Can. J. Chem. Eng. 49, 509 (1971), the dominant eigenvalue method.

#include "accel/dom_eigen_accel.h"

#include <cmath>
#include <cstdint>

#include "accel/debug_line.h"
#include "accel/vectors.h"
#include "frame/corvid.h"
#include "frame/module.h"

using namespace corvidnum;

/// Writes the log lines of DomEigenAccel.
class DomEigenPrinter : public HostAllocated {
 public:
  explicit DomEigenPrinter(const DomEigenAccel* accel) : owner(accel) {}

  void Sums(const Moments& sums) const {
    if (!log()) return;
    write_line(log(),
               FormattedText("DomEigenAccel - sxx = %g, sxy = %g, syy = %g\n", sums.xx, sums.xy, sums.yy));
  }
  void Lambdas() const {
    if (!log()) return;
    write_line(log(), FormattedText("DomEigenAccel - Oldlambda = %g, Newlambda = %g\n", owner->oldLambda,
                                    owner->lambda));
  }
  void Outcome(unsigned char accept, const double* x) const {
    if (log()) write_outcome(log(), accept, owner->numVar, owner->correction, x);
  }

 private:
  DebugOut* log() const { return owner->debugOut; }

  const DomEigenAccel* owner;
};

namespace {

/// A divisor of smaller magnitude counts as zero.
constexpr double kSmallestDivisor = 1e-30;

/// Returns whether a divisor is not tiny. A NaN passes: it reaches the correction, where it can be seen.
bool may_divide_by(double divisor) { return !(std::fabs(divisor) < kSmallestDivisor); }

constexpr double kLargestLambda = 0.999;

}  // namespace

// ---- Life and vectors

DomEigenAccel::DomEigenAccel(int variables, int ringLength, unsigned char values, unsigned char pred,
                             unsigned char damped, unsigned char cached)
    : Accel(variables, ringLength, cached),
      cachedCorrection(cached),
      correction(nullptr),
      checkValues(values),
      checkPred(pred),
      conservative(damped),
      oldLambda(0.0),
      lambda(0.0),
      printer2(new DomEigenPrinter(this)),
      oldProject(nullptr) {
  if (cachedCorrection) return;
  correction = allocate_zeros(numVar);
  oldProject = allocate_zeros(numVar);
  if (!correction || !oldProject) ReleaseCorrections();
}

DomEigenAccel::~DomEigenAccel() {
  enter_library();
  delete printer2;
  if (!cachedCorrection) ReleaseCorrections();
}

void DomEigenAccel::ReleaseCorrections() {
  free_array(correction);
  free_array(oldProject);
}

void DomEigenAccel::UseCachedArrays(double** arrays, int count, int ignored) {
  enter_library();
  const bool present = arrays && count >= 2;
  correction = present ? arrays[count - 1] : nullptr;
  oldProject = present ? arrays[count - 2] : nullptr;
  Accel::UseCachedArrays(arrays, present ? count - 2 : 0, ignored);
  ResetAll();
}

void DomEigenAccel::StopUsingCachedArrays() {
  enter_library();
  correction = nullptr;
  oldProject = nullptr;
  Accel::StopUsingCachedArrays();
}

// ---- Settings

void DomEigenAccel::ResetAll() {
  enter_library();
  oldLambda = 0.0;
}

void DomEigenAccel::SetCheckValues(unsigned char on) {
  enter_library();
  checkValues = on;
}

void DomEigenAccel::SetCheckPred(unsigned char on) {
  enter_library();
  checkPred = on;
}

void DomEigenAccel::SetConservative(unsigned char on) {
  enter_library();
  conservative = on;
}

// ---- Acceleration

unsigned char DomEigenAccel::Accelerate(double* x) {
  enter_library();
  NewVector(x);
  if (!OKToAccelerate()) return 0;
  return TryToAccelerate(x);
}

unsigned char DomEigenAccel::TryToAccelerate(double* x) {
  enter_library();
  if (!Ready(x) || !correction || !oldProject) return 0;
  bool accept = CheckNoise() && Difference(1);
  if (accept) {
    Project();
    if (Logging() && printer2) printer2->Lambdas();
    if (checkValues) accept = LambdaIsTrusted();
  } else {
    clear(numVar, correction);
  }
  if (checkPred) {
    const bool compare = iter > std::int64_t{startIteration} + 1;
    // Runs after a refusal too, because it stores the correction that the next try compares with.
    const bool agrees = CheckProjectedPoint(compare, correction, oldProject);
    accept = accept && agrees;
  }
  WorkVector(x);
  if (accept) {
    add_multiple(numVar, 1.0, correction, x);
    PerformedAcceleration(x);
  }
  if (Logging() && printer2) printer2->Outcome(accept, x);
  return accept;
}

/// Returns whether the estimate may be used. Each test rejects only if its comparison is true, so a NaN
/// passes.
bool DomEigenAccel::LambdaIsTrusted() const {
  if (iter <= startIteration) return false;
  if (lambda > kLargestLambda) return false;
  if ((oldLambda - 1.0) * (lambda - 1.0) < 0.0) return false;                       // lambda crossed 1
  if (std::fabs(1.0 - lambda) < 2.0 * std::fabs(lambda - oldLambda)) return false;  // lambda has not settled
  return true;
}

void DomEigenAccel::Project() {
  enter_library();
  const double* const x = Difference(1);
  const double* const y = Difference(0);
  if (!x || !y || !correction) return;
  const Moments sums = moments(numVar, x, y);
  if (Logging() && printer2) printer2->Sums(sums);
  oldLambda = lambda;
  lambda = may_divide_by(sums.xx) ? sums.xy / sums.xx : 0.0;
  const double variance = numVar > 1 ? (sums.yy - sums.xy * lambda) / (numVar - 1) : 0.0;
  scale(numVar, ExtrapolationFactor(variance), y, correction);
}

/// Returns the sum lambda + lambda^2 + ... of the geometric series, by which the newest difference is to be
/// multiplied; 0 if lambda is 1.
/// @param variance residual variance of the fit that gave lambda
double DomEigenAccel::ExtrapolationFactor(double variance) const {
  if (!may_divide_by(lambda - 1.0)) return 0.0;
  if (!conservative) return lambda / (1.0 - lambda);
  // Moving lambda away from 1 shortens the step. The contract moves it only in the denominator, where an
  // error matters most, and by twice the variance (not twice its root). A NaN takes the second branch.
  const double pushed = lambda <= 1.0 ? lambda - 2.0 * variance : lambda + 2.0 * variance;
  return lambda / (1.0 - pushed);
}
