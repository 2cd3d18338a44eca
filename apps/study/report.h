#pragma once

#include <cstdint>
#include <string>

#include "apps/study/study.h"
#include "apps/study/tally.h"

namespace study {

/// What a run has done, beside its rows.
struct RunFacts {
  double seconds = 0;
  std::int64_t found = 0;  // cases that were there already
  int threads = 1, ranks = 1;
};

/// Returns what the program prints of a study that is done: how many cases, how fast, and how far each result
/// goes.
std::string report(const Study& study, const Tally& tally, const RunFacts& facts);

}  // namespace study
