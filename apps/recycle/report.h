#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/common/published_count.h"
#include "apps/recycle/case_file.h"
#include "apps/recycle/convergence.h"

namespace recycle {

/// Returns what the program prints about a case before its results: title, units in their order, torn
/// streams.
std::string heading(const RecycleCase& c, const Plan& plan);

/// Returns one line for each pass of a run.
std::string pass_lines(const RunResult& run);

/// Returns how a run converged, its stream table with published rates beside its own, and how far these are
/// apart.
std::string report(const RecycleCase& c, const RunResult& run);

/// Returns the runs of a case by several methods side by side, and how far their answers are from the
/// reference.
std::string comparison(const RecycleCase& c, const std::vector<RunResult>& runs,
                       const std::optional<Reference>& reference);

/// Returns the passes of all runs as comma-separated text: a heading, then one line for each
/// pass, with all digits.
std::string history_csv(const std::vector<RunResult>& runs);

/// Count the published rates of a stream, or of all streams, and those that the rates of a converged run
/// differ from by more than the case allows.
apps::PublishedCount count_published(const Stream& stream, const Rates& rates);
apps::PublishedCount count_published(const Flowsheet& flowsheet, const RunResult& run);

/// Returns the largest absolute difference of a component rate from the published one, which must exist.
double distance_from_published(const Stream& stream, const Rates& rates);

}  // namespace recycle
