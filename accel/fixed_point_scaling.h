#pragma once

#include "accel/fixed_point_parts.h"

namespace corvidnum {

/// Nominal sizes, bounds, and the powers of two by which the accelerators see each unknown.
class Scaling {
 public:
  Scaling() = default;
  Scaling(const Scaling&) = delete;
  Scaling& operator=(const Scaling&) = delete;
  ~Scaling();

  /// @param nominal, lower, upper [n] or null, copied
  /// @return false if memory is refused
  bool allocate(int n, double tolerance, const double* nominal, const double* lower, const double* upper);
  /// Forgets the learned sizes.
  void begin();

  /// Grows the nominal sizes, if they are to be learned, to the elements of x.
  /// @param may_grow false: only sizes not known yet are learned
  /// @return whether a size that was in use grew, so that scaled vectors of before are not comparable
  bool learn(const double* x, bool may_grow);
  /// Moves x into its bounds. Marks in `active` which elements lie on or beyond a bound.
  /// @return whether an element was beyond
  bool clip(double* x) const;
  /// Returns whether all unknowns are bounded on both sides, so that nothing can diverge.
  bool is_bounded() const;
  /// Notes which elements of x lie on a bound. @return whether they are others than at the last call
  bool note_active(const double* x);
  /// Returns the largest |a - b| / nominal; not finite if any is.
  double largest_change(const double* a, const double* b) const;

  void scale(const double* x, double* scaled) const;
  void unscale(const double* scaled, double* x) const;
  const double* nominal() const { return nominal_; }

  template <class Visitor>
  void each_part(Visitor& visit) {
    visit_array(visit, nominal_, n_);
    visit_array(visit, factor_, n_);
    visit_array(visit, active_, n_);
  }

 private:
  void set_size(int i, double size);

  int n_ = 0;
  int tolerance_exponent_ = 0;
  bool learning_ = true;
  double* nominal_ = nullptr;  // 0: not known yet
  double* factor_ = nullptr;   // a power of two
  double* lower_ = nullptr;    // null: no bounds
  double* upper_ = nullptr;
  signed char* active_ = nullptr;  // -1, 0, 1: on the lower bound, inside, on the upper
};

bool all_finite(int n, const double* x);

}  // namespace corvidnum
