#pragma once

/// @file
/// The zero of a function of one variable.

#include "frame/export.h"
#include "frame/host_memory.h"

/// Proposes the next I in the search for a zero of a function E(I) that the caller evaluates: the secant step
/// through the last two points, kept inside the bracket of the best point on each side of zero, with
/// bisection as the safeguard. Objects are plain values; separate objects may be used by separate threads. An
/// I or E of EmptyValue (-32767) counts as not given.
class CORVIDNUM_API BoundedSecant : public HostAllocated {
 public:
  /// Begins a search without points.
  BoundedSecant();
  /// Copies points and bounds.
  BoundedSecant(const BoundedSecant& other) = default;
  /// Copies points and bounds.
  BoundedSecant& operator=(const BoundedSecant& other);

  /// Adds a point of the function. It becomes a bound unless an earlier E of its sign was nearer to zero.
  void AddIEPoints(double I, double E);
  /// Drops the bounds; the last two points stay.
  void ClearBounds();
  /// Returns the next I to try: the secant step if a bound is missing or the step lies strictly between the
  /// bounds, else their midpoint. If the last two E are equal (to 1e-30) it returns the midpoint even without
  /// bounds, which has no meaning then.
  /// @return EmptyValue before the second point
  double GetGuess();

 private:
  double prevI;  // the point before the last one
  double lastI;  // the last point
  double prevE;
  double lastE;
  double negI;  // the bound with E below zero: the point whose E is nearest to zero
  double posI;  // the bound with E above zero
  double negE;
  double posE;
};
