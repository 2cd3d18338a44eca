#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <vector>

namespace recycle {

/// Estimates the dominant eigenvalue of a pass, from what the last passes made of what they were given.
/// Near the solution a difference dx of two guesses comes out as J dx. J is projected on the space of the
/// last few dx (Rayleigh-Ritz; Saad, Numerical Methods for Large Eigenvalue Problems, ch. 4), so that any
/// way to choose the guesses will do, accelerated or not.
class EigenvalueEstimate {
 public:
  /// Takes in one pass.
  void note(const std::vector<double>& guess, const std::vector<double>& outcome);
  /// Returns the magnitude of the dominant eigenvalue; nothing before the second pass, or if no guess moved.
  std::optional<double> magnitude() const { return magnitude_of(passes_.size()); }
  /// The same, if it was so one and two passes ago, too: nothing as long as it still moves by so much that
  /// the passes foretold from these estimates would differ by more than a few in a hundred.
  std::optional<double> settled_magnitude() const;

 private:
  /// Estimates from the oldest `count` passes.
  std::optional<double> magnitude_of(std::size_t count) const;

  struct Pass {
    std::vector<double> guess, outcome;
  };
  std::deque<Pass> passes_;
};

}  // namespace recycle
