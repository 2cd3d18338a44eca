#pragma once

// The automatic choice of a method and its settings.

#include "sparse/solver/engine.h"

namespace corvidnum::solver {

/// A method, its settings, and why they were chosen.
struct Plan {
  SparseMethod method;
  EngineSettings settings;
  const char* reason;
};

/// What the choice is made from.
struct PatternFacts {
  int order, entries;
  double symmetry;       // share of the off-diagonal entries whose transposed place holds one, too
  int diagonal_entries;  // places of the diagonal that hold an entry
  int short_lines;       // rows of two entries, or such columns if there are more of them
};

PatternFacts study(const Pattern& pattern);
Plan choose_plan(const PatternFacts& facts, const SparseOptions& options);
/// Returns the plan for a given method, with the settings that the options ask for.
Plan plan_for(SparseMethod method, const PatternFacts& facts, const SparseOptions& options,
              const char* reason);

}  // namespace corvidnum::solver
