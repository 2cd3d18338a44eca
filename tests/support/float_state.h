#pragma once

#include <cfenv>
#include <limits>

#include "tests/support/platform.h"

namespace test_support {

/// What of the calling thread's floating-point state belongs to the host: rounding, traps, denormals.
struct FloatState {
  int rounding;
  int traps;
  bool keepsDenormals;
};

inline FloatState float_state() {
  volatile double smallest = std::numeric_limits<double>::min();
  return {std::fegetround(), enabled_traps(), smallest / 2 > 0};
}

inline bool operator==(const FloatState& a, const FloatState& b) {
  return a.rounding == b.rounding && a.traps == b.traps && a.keepsDenormals == b.keepsDenormals;
}

}  // namespace test_support
