#pragma once

#include <optional>
#include <string>

#include "apps/column/bubble_point.h"
#include "apps/column/closure.h"
#include "apps/column/column_case.h"
#include "apps/column/flows.h"
#include "apps/column/jacobian_ordering.h"
#include "apps/column/method_comparison.h"
#include "apps/column/newton.h"
#include "apps/column/published.h"
#include "apps/column/shortcut.h"

namespace column {

/// Returns what a run prints of a solved column: stages, products, closure, published answers.
std::string report(const ColumnCase& c, const InternalFlows& flows, const Solution& solution,
                   const Closure& closed);

/// How far the dense solution is from the arrow one.
struct DenseCheck {
  double systems;           // of the component systems at the final temperatures
  ProfileDifference final;  // of the profiles that two separate runs ended with
  int passes;               // of the dense run
  double seconds;

  /// Above it the two do not agree.
  static constexpr double kLimit = 1e-11;
  double largest() const;
};
std::string report(const DenseCheck& check);

/// Newton's answer, stage by stage, and how far the bubble-point method's is from it.
std::string report(const ColumnCase& c, const InternalFlows& flows, const NewtonSolution& newton,
                   const Closure& closed, const NewtonCheck& check);

/// Tells how narrow the matrix of Newton's method is, as numbered and reordered.
std::string report(const JacobianOrdering& ordering);

/// One row for each way to converge the case.
std::string report(const ColumnCase& c, const MethodComparison& comparison);

}  // namespace column
