#pragma once

// A numbering of unknowns for which the pattern of a matrix is narrow.

#include <cstdint>
#include <vector>

namespace apps {

struct Measures {
  int bandwidth = 0;         // largest distance of an entry from the diagonal
  std::int64_t profile = 0;  // places from the first entry of each row to the diagonal, summed
};

enum class Goal { kBandwidth, kProfile };

/// "bandwidth" or "profile".
const char* name_of(Goal goal);

struct Reordering {
  Goal goal;
  std::vector<int> numbering;  // the new number of each unknown, from 1
  Measures before, after;
};

/// Renumbers the unknowns by the pattern of A + A' without its diagonal. Never worse than as they were
/// numbered, by the measure that is the goal.
/// @param rows, columns  of the entries of A, counted from 1; a place may be given twice
/// @throws std::runtime_error if there are too many unknowns
Reordering reorder(int order, const std::vector<int>& rows, const std::vector<int>& columns, Goal goal);

}  // namespace apps
