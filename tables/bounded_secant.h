#pragma once

#include "frame/export.h"
#include "frame/host_memory.h"

/// Proposes where to look next for a zero of E(I), a function that the caller evaluates: the secant through
/// the last two points, kept between the best point on each side of zero. Objects are plain values; separate
/// ones may be used by separate threads. An I or E of EmptyValue (-32767) counts as not given.
class CORVIDNUM_API BoundedSecant : public HostAllocated {
 public:
  BoundedSecant();
  BoundedSecant(const BoundedSecant& other) = default;
  BoundedSecant& operator=(const BoundedSecant& other);

  /// Tells a point of the function. It becomes a bound if no E of its sign was nearer to zero.
  void AddIEPoints(double I, double E);
  /// Forgets the bounds; the last two points stay.
  void ClearBounds();
  /// The next I to try. As long as a bound is missing, the secant may lead anywhere; with both, a secant
  /// that leaves them, or meets one, gives way to their midpoint, as does one through two equal E.
  /// @return EmptyValue before the second point
  double GetGuess();

 private:
  double prevI;  // the point before last
  double lastI;
  double prevE;
  double lastE;
  double negI;  // the point of E below zero that is nearest to it
  double posI;  // the same above zero
  double negE;
  double posE;
};
