#pragma once

// The report of a column as a page with pictures.

#include "apps/column/bubble_point.h"
#include "apps/column/column_case.h"
#include "apps/column/flows.h"
#include "apps/column/method_comparison.h"
#include "apps/column/newton.h"
#include "apps/report/index.h"
#include "apps/report/page.h"

namespace column {

/// Holds a solved case and the runs of all methods, whose convergence the page shows.
struct SolvedCase {
  const ColumnCase& c;
  const InternalFlows& flows;
  const Solution& solution;  // with the answer; its outcome is not kOk if that is Newton's alone
  MethodComparison comparison;
  NewtonSolution newton;
};

/// Runs the case by all methods.
/// @param solution  its profile is the answer; it is kept as a reference, like the case and the flows
SolvedCase solve_for_page(const ColumnCase& c, const InternalFlows& flows, const Solution& solution,
                          const AccelerationSettings& settings, StepMethod solver);

/// Returns the page: temperatures, flows and compositions by stage, the convergence of all methods, products,
/// balances, and published figures. It holds no times, so that a case always gives the same page.
report::Page case_page(const SolvedCase& solved);

/// Returns the line of the index.
report::Entry case_entry(const SolvedCase& solved);

}  // namespace column
