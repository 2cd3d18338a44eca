#pragma once

// Columns that the tests solve.

#include <string>
#include <vector>

#include "apps/column/case_file.h"

namespace column {

const char* const kShipped[] = {"binary32", "butane-pentane", "measured", "aromatics-pumparound"};

inline ColumnCase shipped(const std::string& name) {
  return read_case(std::string(COLUMN_CASES "/") + name + ".toml");
}

/// The pumparound case with everything that the shipped ones lack: ties that cross, two of them between the
/// same stages, a returned vapour, a partial condenser, a vapour draw, a partly vaporised second feed.
inline ColumnCase crowded() {
  ColumnCase c = shipped("aromatics-pumparound");
  c.title = "crowded";
  c.condenser = Condenser::kPartial;
  c.feeds.push_back({20, {2, 3, 4, 1}, 0.4, 0});
  c.draws.push_back({22, Phase::kVapour, 3, 0});
  c.ties.push_back({25, 3, Phase::kLiquid, 7, 0, 0});
  c.ties.push_back({10, 23, Phase::kVapour, 5, 0, 0});
  c.ties.push_back({10, 23, Phase::kVapour, 2, 0, 0});
  return c;
}

inline std::vector<ColumnCase> all_cases() {
  std::vector<ColumnCase> cases{crowded()};
  for (const char* name : kShipped) cases.push_back(shipped(name));
  return cases;
}

}  // namespace column
