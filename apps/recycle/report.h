#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/recycle/case_file.h"
#include "apps/recycle/convergence.h"

namespace recycle {

/// Returns what a run prints of a case before its results: title, units in order, torn streams.
std::string heading(const RecycleCase& c, const Plan& plan);

/// Returns one line for each pass.
std::string pass_lines(const RunResult& run);

/// Returns how a run converged, its stream table with each published stream beside its own, and how far these
/// are apart.
std::string report(const RecycleCase& c, const RunResult& run);

/// Runs of the same case by several methods side by side, and how far their answers lie from the reference.
std::string comparison(const RecycleCase& c, const std::vector<RunResult>& runs,
                       const std::optional<Reference>& reference);

/// Returns the passes of all runs as comma-separated text: a heading, then one line a pass with all digits.
std::string history_csv(const std::vector<RunResult>& runs);

/// Returns the largest difference of a stream from its published rates.
double distance_from_published(const Stream& stream, const Rates& rates);

}  // namespace recycle
