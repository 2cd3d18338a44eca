// Eigenvalues of an iteration, from what its last passes made of what they were given.
//
// Near the solution a difference dx of two points comes out as J dx.
//  1. The differences of successive points are made orthonormal (Gram-Schmidt), the newest last. J being
//     linear, the differences of the outcomes take the same steps.
//  2. What remains of the newest pair when the older ones are subtracted is what they do not explain: nearly
//     nothing on a smooth iteration, nearly all where noise rules.
//  3. J projected on these directions is a small matrix, whose eigenvalues stand for the dominant ones.
// Any way to choose the points will do, accelerated or not.
// Source: the Rayleigh-Ritz method; Saad, Numerical Methods for Large Eigenvalue Problems, ch. 4.

#include "accel/fixed_point_spectrum.h"

#include <algorithm>
#include <cmath>

#include "accel/vectors.h"
#include "frame/host_memory.h"

namespace corvidnum {
namespace {

/// Below this part of a difference, what is new in it is mostly rounding and curvature.
constexpr double kNewDirection = 1e-3;

double dot(int n, const double* x, const double* y) { return dot_with_each(n, x, &y, 1).with[0]; }
double norm(int n, const double* x) { return std::sqrt(dot(n, x, x)); }

}  // namespace

PairSpectrum::~PairSpectrum() {
  free_array(points_);
  free_array(outcomes_);
  free_array(directions_rows_);
  free_array(images_rows_);
}

bool PairSpectrum::allocate(int n) {
  n_ = n;
  const std::int64_t length = std::int64_t{kPairs} * n;
  points_ = allocate_zeros(length);
  outcomes_ = allocate_zeros(length);
  directions_rows_ = allocate_zeros(length);
  images_rows_ = allocate_zeros(length);
  begin();
  return points_ && outcomes_ && directions_rows_ && images_rows_;
}

void PairSpectrum::begin() {
  state_ = State();
  state_.unexplained = 1;
}

double PairSpectrum::radius() const {
  const SmallSpectrum& s = state_.eigenvalues;
  return s.count > 0 ? std::hypot(s.real[0], s.imaginary[0]) : -1;
}

int PairSpectrum::place(int age) const { return (state_.newest - age + kPairs) % kPairs; }

void PairSpectrum::note(const double* point, const double* outcome) {
  state_.newest = (state_.newest + 1) % kPairs;
  state_.count = std::min(state_.count + 1, kPairs);
  copy(n_, point, row(points_, state_.newest));
  copy(n_, outcome, row(outcomes_, state_.newest));
  directions_ = 0;
  state_.unexplained = 1;
  if (state_.count < 2) return;
  add_older();
  add_newest();
  project();
}

/// Puts the differences of two pairs, of these ages, behind the last direction and image.
/// @return whether the points differ
bool PairSpectrum::take_differences(int newer, int older) {
  double* const direction = row(directions_rows_, directions_);
  double* const image = row(images_rows_, directions_);
  copy(n_, row(points_, place(newer)), direction);
  add_multiple(n_, -1.0, row(points_, place(older)), direction);
  copy(n_, row(outcomes_, place(newer)), image);
  add_multiple(n_, -1.0, row(outcomes_, place(older)), image);
  const double length = norm(n_, direction);
  if (!(length > 0) || !std::isfinite(length)) return false;
  scale(n_, 1 / length, direction, direction);
  scale(n_, 1 / length, image, image);
  return true;
}

/// Subtracts from the new direction its parts along all others, and the same multiples from its image. Twice,
/// because the first time leaves rounding errors of the size of what was subtracted.
void PairSpectrum::orthogonalise() {
  double* const direction = row(directions_rows_, directions_);
  double* const image = row(images_rows_, directions_);
  for (int round = 0; round < 2; ++round) {
    for (int k = 0; k < directions_; ++k) {
      const double along = dot(n_, direction, row(directions_rows_, k));
      add_multiple(n_, -along, row(directions_rows_, k), direction);
      add_multiple(n_, -along, row(images_rows_, k), image);
    }
  }
}

/// Keeps the new direction if enough of it is new.
void PairSpectrum::normalise() {
  double* const direction = row(directions_rows_, directions_);
  double* const image = row(images_rows_, directions_);
  const double fresh = norm(n_, direction);
  if (!(fresh > kNewDirection) || directions_ == kMostEigenvaluesSeen) return;
  scale(n_, 1 / fresh, direction, direction);
  scale(n_, 1 / fresh, image, image);
  ++directions_;
}

void PairSpectrum::add_older() {
  for (int age = 1; age + 1 < state_.count; ++age) {
    if (!take_differences(age, age + 1)) continue;
    orthogonalise();
    normalise();
  }
}

void PairSpectrum::add_newest() {
  if (!take_differences(0, 1)) return;
  const double* const image = row(images_rows_, directions_);
  const double whole = norm(n_, image);
  orthogonalise();
  const double rest = norm(n_, image);
  if (directions_ > 0 && std::isfinite(rest)) state_.unexplained = whole > 0 ? rest / whole : 0;
  normalise();
}

void PairSpectrum::project() {
  double matrix[kMostEigenvaluesSeen][kMostEigenvaluesSeen];
  for (int i = 0; i < directions_; ++i) {
    for (int j = 0; j < directions_; ++j)
      matrix[i][j] = dot(n_, row(directions_rows_, i), row(images_rows_, j));
  }
  small_eigenvalues(directions_, matrix, state_.eigenvalues);
}

}  // namespace corvidnum
