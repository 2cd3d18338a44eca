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

  /// Learns nominal sizes, if they are to be learned, from a pass. Sizes grow with the outcome. In the first
  /// passes they also shrink with unknowns that have settled at smaller values, so that a start far too large
  /// is forgotten.
  /// @param point, outcome [n] of the pass; for the start both are the same
  /// @param first_passes false: sizes grow at most to the largest of the first passes
  /// @return whether a size in use is another one now, so that scaled vectors of before are not comparable
  bool learn(const double* point, const double* outcome, bool first_passes);
  /// Shrinks learned sizes of unknowns that have become much smaller and still change, relative to what they
  /// are now, by more than the tolerance. A change at the rounding level of the largest learned size of the
  /// unknown counts as none, or an unknown that goes to 0 would never converge.
  /// @return whether a size shrank
  bool shrink(const double* point, const double* outcome);
  /// Returns whether an unknown whose size is learned has not settled yet.
  bool is_moving(const double* point, const double* outcome) const;
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
    visit_array(visit, largest_, n_);
    visit_array(visit, factor_, n_);
    visit_array(visit, active_, n_);
  }

 private:
  void set_size(int i, double size);

  int n_ = 0;
  double tolerance_ = 0;
  bool learning_ = true;
  double* nominal_ = nullptr;  // 0: not known yet
  double* largest_ = nullptr;  // learned in the first passes
  double* factor_ = nullptr;   // a power of two
  double* lower_ = nullptr;    // null: no bounds
  double* upper_ = nullptr;
  signed char* active_ = nullptr;  // -1, 0, 1: on the lower bound, inside, on the upper
};

bool all_finite(int n, const double* x);

}  // namespace corvidnum
