#pragma once

#include <optional>
#include <string>

#include "apps/solve/attempt.h"
#include "apps/solve/pattern.h"

namespace solve {

/// What a run found out, for printing.
struct Report {
  std::string file, refactored_file;  // the second empty if there was none
  bool transposed = false;
  bool shows_solution = false;  // if it is short
  bool estimate = false;        // of the forward error was asked for
  int order = 0, entries = 0;
  PatternFacts pattern;
  double read_time = 0;          // s
  std::optional<Attempt> found;  // nothing if only the pattern was studied
  std::optional<Attempt> other;  // by the method that was not chosen, for comparison
};

std::string report_text(const Report& report);
std::string report_json(const Report& report);

}  // namespace solve
