#include "accel/dom_eigen_accel.h"

#include <cmath>
#include <cstdint>

#include "accel/debug_line.h"
#include "accel/vectors.h"
#include "frame/corvid.h"
#include "frame/module.h"

using namespace corvidnum;

/// Writes the lines of DomEigenAccel. Private to it.
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

/// What is smaller counts as zero: no division by it.
constexpr double kSmallestDivisor = 1e-30;

/// A NaN may divide.
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
    // Also after a refusal, so that oldProject is always that of the last try.
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

/// Each test rejects only where its comparison is true, so a NaN passes.
bool DomEigenAccel::LambdaIsTrusted() const {
  if (iter <= startIteration) return false;
  if (lambda > kLargestLambda) return false;
  if ((oldLambda - 1.0) * (lambda - 1.0) < 0.0) return false;                       // it crossed 1
  if (std::fabs(1.0 - lambda) < 2.0 * std::fabs(lambda - oldLambda)) return false;  // it is not settled
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

/// The sum of the geometric tail, in units of the newest difference.
/// @param variance residual variance of the fit that gave lambda
double DomEigenAccel::ExtrapolationFactor(double variance) const {
  if (!may_divide_by(lambda - 1.0)) return 0.0;
  if (!conservative) return lambda / (1.0 - lambda);
  // The estimate is pushed away from 1 in the denominator alone, by intent. A NaN goes the second way.
  const double pushed = lambda <= 1.0 ? lambda - 2.0 * variance : lambda + 2.0 * variance;
  return lambda / (1.0 - pushed);
}
