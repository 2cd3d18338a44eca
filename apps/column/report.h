#pragma once

#include <optional>
#include <string>
#include <vector>

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

/// Returns what a run prints about a solved column: stages, products, closure, short cut.
std::string report(const ColumnCase& c, const InternalFlows& flows, const Solution& solution,
                   const Closure& closed);

/// Returns published figures beside the program's own, and how many differ; nothing if there are none.
std::string report(const std::vector<Comparison>& published);

/// Tells how far the solution by the dense matrix is from that by the arrow matrix, all relative.
struct DenseCheck {
  double systems;           // largest difference of the component systems at the final temperatures
  ProfileDifference final;  // differences of the profiles that two separate runs ended with
  int passes;               // of the dense run
  double seconds;           // of the dense run

  /// Largest difference with which the two agree.
  static constexpr double kLimit = 1e-11;
  double largest() const;
};
/// Returns the check in words.
std::string report(const DenseCheck& check);

/// Returns Newton's answer, stage by stage, and how far that of the bubble-point method is from it.
std::string report(const ColumnCase& c, const InternalFlows& flows, const NewtonSolution& newton,
                   const Closure& closed, const NewtonCheck& check);

/// Returns bandwidth and profile of the Jacobian of Newton's method, as numbered and reordered.
std::string report(const JacobianOrdering& ordering);

/// Returns a table of one row for each run.
std::string report(const ColumnCase& c, const MethodComparison& comparison);

}  // namespace column
