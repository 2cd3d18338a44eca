// The scaling of FixedPoint.
//
// The accelerators hold differences against absolute limits: 1e-8 for noise, and 1e-8 for the pivots of the
// normal equations, that is products of differences. Element i is therefore multiplied by
//
//   2^(e - exponent of nominal(i)),   e such that a change at the tolerance becomes about 2^20
//
// so that both limits stay far below the differences until the iteration has converged. Powers of two round
// nothing, and the passes do not depend on the unit of an unknown.
//
// Sizes that the host does not give are learned:
//
//  1. They begin with the start, or the first outcome other than 0, and grow with the outcomes.
//  2. In the first passes they shrink where an unknown has settled at smaller values.
//  3. Where all changes are within the tolerance, sizes that no longer fit shrink to the newest values, but
//     never so far that changes at the rounding level of the largest learned size would matter.

#include "accel/fixed_point_scaling.h"

#include <algorithm>
#include <cmath>

#include "accel/vectors.h"
#include "frame/host_memory.h"

namespace corvidnum {
namespace {

/// Binary exponent of a scaled change at the tolerance.
constexpr int kExponentAtTolerance = 20;
/// Keeps a factor and its inverse finite and normal.
constexpr int kLargestExponent = 900;
/// A size that is exceeded by this factor, or exceeds by it, is learned anew.
constexpr double kGrowth = 4;
/// An unknown that changes by a smaller part of its value has settled.
constexpr double kSettledPart = 0.5;
/// Changes by this part of the largest size, some units in the last place, are rounding.
constexpr double kRounding = 0x1p-48;

bool has_settled(double point, double outcome) {
  return point == outcome || std::fabs(outcome - point) < kSettledPart * std::fabs(outcome);
}

bool copy_if_given(int n, const double* from, double*& to) {
  if (!from) return true;
  to = allocate_array<double>(n);
  if (to) copy(n, from, to);
  return to != nullptr;
}

}  // namespace

Scaling::~Scaling() {
  free_array(nominal_);
  free_array(largest_);
  free_array(factor_);
  free_array(lower_);
  free_array(upper_);
  free_array(active_);
}

bool Scaling::allocate(int n, double tolerance, const double* nominal, const double* lower,
                       const double* upper) {
  n_ = n;
  tolerance_ = tolerance;
  learning_ = nominal == nullptr;
  nominal_ = allocate_zeros(n);
  largest_ = allocate_zeros(n);
  factor_ = allocate_zeros(n);
  active_ = allocate_array<signed char>(n);
  if (!nominal_ || !largest_ || !factor_ || !active_) return false;
  if (!copy_if_given(n, lower, lower_) || !copy_if_given(n, upper, upper_)) return false;
  for (int i = 0; nominal && i < n; ++i) set_size(i, nominal[i]);
  begin();
  return true;
}

void Scaling::begin() {
  for (int i = 0; i < n_; ++i) {
    active_[i] = 0;
    if (!learning_) continue;
    nominal_[i] = largest_[i] = 0;
    factor_[i] = 1;
  }
}

void Scaling::set_size(int i, double size) {
  nominal_[i] = size;
  const int exponent = kExponentAtTolerance - std::ilogb(tolerance_) - std::ilogb(size);
  factor_[i] = std::ldexp(1.0, std::clamp(exponent, -kLargestExponent, kLargestExponent));
}

bool Scaling::learn(const double* point, const double* outcome, bool first_passes) {
  if (!learning_) return false;
  bool changed = false;
  for (int i = 0; i < n_; ++i) {
    const double size = std::fabs(outcome[i]);
    if (size == 0) continue;
    const bool first = nominal_[i] == 0;  // all vectors of before hold 0 there, which no factor changes
    const double room = first || first_passes ? size : std::min(size, largest_[i]);
    const double both = std::max(size, std::fabs(point[i]));
    const bool shrinks = first_passes && has_settled(point[i], outcome[i]) && kGrowth * both < largest_[i];
    if (shrinks) largest_[i] = both;
    if (!first && !shrinks && !(room > kGrowth * nominal_[i])) continue;
    changed = changed || !first;
    set_size(i, shrinks ? both : room);
    largest_[i] = std::max(largest_[i], nominal_[i]);
  }
  return changed;
}

bool Scaling::shrink(const double* point, const double* outcome) {
  if (!learning_) return false;
  bool shrank = false;
  for (int i = 0; i < n_; ++i) {
    const double newest = std::max(std::fabs(point[i]), std::fabs(outcome[i]));
    const double size = std::max(newest, kRounding / tolerance_ * largest_[i]);
    if (!(kGrowth * size < nominal_[i])) continue;
    if (!(std::fabs(outcome[i] - point[i]) / size > tolerance_)) continue;
    set_size(i, size);
    shrank = true;
  }
  return shrank;
}

bool Scaling::is_moving(const double* point, const double* outcome) const {
  if (!learning_) return false;
  for (int i = 0; i < n_; ++i) {
    if (!has_settled(point[i], outcome[i])) return true;
  }
  return false;
}

bool Scaling::clip(double* x) const {
  bool beyond = false;
  for (int i = 0; i < n_; ++i) {
    if (lower_ && x[i] < lower_[i]) {
      x[i] = lower_[i];
      beyond = true;
    }
    if (upper_ && x[i] > upper_[i]) {
      x[i] = upper_[i];
      beyond = true;
    }
  }
  return beyond;
}

bool Scaling::is_bounded() const {
  return lower_ && upper_ && all_finite(n_, lower_) && all_finite(n_, upper_);
}

bool Scaling::note_active(const double* x) {
  bool changed = false;
  for (int i = 0; i < n_; ++i) {
    signed char active = 0;
    if (lower_ && x[i] <= lower_[i]) active = -1;
    if (upper_ && x[i] >= upper_[i]) active = 1;
    changed = changed || active != active_[i];
    active_[i] = active;
  }
  return changed;
}

double Scaling::largest_change(const double* a, const double* b) const {
  double top = 0;
  for (int i = 0; i < n_; ++i) {
    if (a[i] == b[i]) continue;  // also where the size is not known
    const double change = std::fabs(a[i] - b[i]) / nominal_[i];
    if (!std::isfinite(change)) return change;
    top = std::max(top, change);
  }
  return top;
}

void Scaling::scale(const double* x, double* scaled) const {
  for (int i = 0; i < n_; ++i) scaled[i] = x[i] * factor_[i];
}

void Scaling::unscale(const double* scaled, double* x) const {
  for (int i = 0; i < n_; ++i) x[i] = scaled[i] / factor_[i];
}

bool all_finite(int n, const double* x) {
  for (int i = 0; i < n; ++i) {
    if (!std::isfinite(x[i])) return false;
  }
  return true;
}

}  // namespace corvidnum
