#pragma once

// The report of a case as a page.

#include <optional>
#include <vector>

#include "apps/recycle/case_file.h"
#include "apps/recycle/convergence.h"
#include "apps/report/index.h"
#include "apps/report/page.h"

namespace recycle {

/// Holds what is known of a case that was run, converged or not. All parts stay the caller's.
struct CaseResults {
  const RecycleCase& c;
  const Plan& plan;
  const std::vector<RunResult>& runs;  // at least one; the streams shown are those of the last one
  const std::optional<Reference>& reference;
  double seconds;  // that all runs took
};

/// Returns the page: flowsheet, convergence of each run, flashes, streams, balances.
report::Page page_of(const CaseResults& results);

/// Returns the line of the page in the index of reports.
report::Entry entry_of(const CaseResults& results);

}  // namespace recycle
