#pragma once

#include "accel/fixed_point.h"

namespace column {

using Acceleration = corvidnum::FixedPointMethod;

/// Tells how corvidnum::FixedPoint is to accelerate the passes. The defaults suit the columns that ship: see
/// --compare. FixedPoint's own least passes between steps, 7 for four eigenvalues, leave many plain passes
/// behind steps that the smooth iteration of a column does not need.
struct AccelerationSettings {
  Acceleration method = Acceleration::None;
  int eigenvalues = 4;  // of Acceleration::Multiple
  int frequency = 4;    // passes from one step to the next, at least
};

}  // namespace column
