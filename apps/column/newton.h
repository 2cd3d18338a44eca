#pragma once

// The column solved as one system by Newton's method: all compositions and temperatures at once.
// Source of the idea: L. M. Naphtali, D. P. Sandholm, AIChE J. 17, 148 (1971), with the overflow kept
// constant. A few bubble-point passes make the start; a step is halved until the residuals fall.

#include <cmath>
#include <string>
#include <vector>

#include "apps/column/bubble_point.h"
#include "apps/column/column_case.h"
#include "apps/column/flows.h"
#include "apps/column/step_solver.h"

namespace column {

struct NewtonSolution {
  StepMethod solver = StepMethod::ma48;
  Outcome outcome = Outcome::kOk;
  std::string complaint;  // why not, if the outcome is not kOk
  int unknowns = 0, entries = 0;
  int start_passes = 0;  // of the bubble-point method
  int steps = 0;
  int damped_steps = 0;         // of these
  int pivot_orders = 0;         // chosen; the other steps were factorised in an order that stood
  std::vector<double> changes;  // largest of a temperature in each start pass and each step, in their order
  double last_change = 0;       // largest change of a temperature in the last step
  double residual = 0;          // largest, at the end of the steps; flows as parts of the total feed
  Profile profile;              // on kOk only
  double seconds = 0;
};

/// Steps until no temperature changes by the tolerance of the case any more and no fraction noticeably.
NewtonSolution solve_newton(const ColumnCase& c, const InternalFlows& flows,
                            StepMethod solver = StepMethod::ma48);

/// The answers of both methods side by side.
struct NewtonCheck {
  ProfileDifference difference{std::nan(""), std::nan("")};  // NaN without an answer to compare with
  /// Above it they do not agree.
  static constexpr double kLimit = 1e-8;
  double largest() const;
};

}  // namespace column
