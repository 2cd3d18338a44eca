// The accelerators as FixedPoint uses them. The settings were found on Cavett's recycle, the butane-pentane
// splitter and bench/accel/fixed_point_maps.

#include "accel/fixed_point_steps.h"

#include <algorithm>
#include <cmath>

namespace corvidnum {
namespace {

// With the tests of lambda and of the correction on, steps by one eigenvalue may follow one another freely. A
// projection tolerance of 0.5 lets steps pass while other eigenvalues still show, which costs the splitter
// four passes and Cavett's recycle six; with 0.1 so many are refused that Cavett's takes 19 passes more.
constexpr int kDominantRing = 2;

constexpr double kDominantProjectTolerance = 0.25;
// A fit of m eigenvalues uses m + 1 differences, and a second fit has to confirm the first; with three passes
// more than eigenvalues between steps, none of these differences spans a step. A smooth iteration, as the
// splitter's, does with fewer: the projection test refuses the fits that a step has spoilt.
constexpr int kMultipleBeyondEigenvalues = 3;
constexpr double kMultipleProjectTolerance = 0.3;

}  // namespace

DominantSteps::DominantSteps(int n, int least_between, bool beyond_one)
    // Not conservative: that shortens steps by a variance in the unit of the scaled vector.
    : Watched(n, kDominantRing, /*checkValues=*/static_cast<unsigned char>(!beyond_one),
              /*checkPred=*/static_cast<unsigned char>(1), /*conservative=*/static_cast<unsigned char>(0),
              /*cached=*/static_cast<unsigned char>(0)) {
  MaxAccelFrequency(std::max(1, least_between));
  setProjectTol(kDominantProjectTolerance);
}

double DominantSteps::misfit() const {
  const double *older = History(1), *newer = History(0);
  if (!older || !newer) return 1;
  const Moments sums = moments(numVar, older, newer);
  if (!(sums.xx > 0) || !(sums.yy > 0)) return 1;
  return root(1 - sums.xy / sums.xx * (sums.xy / sums.yy));
}

MultipleSteps::MultipleSteps(int n, int eigenvalues, int least_between)
    : Watched(n, eigenvalues, eigenvalues + 2, static_cast<unsigned char>(0), static_cast<unsigned char>(0)) {
  MaxAccelFrequency(least_between > 0 ? least_between : eigenvalues + kMultipleBeyondEigenvalues);
  setProjectTol(kMultipleProjectTolerance);
}

}  // namespace corvidnum
