#pragma once

// Bandwidth and profile of a numbering, counted plainly from the edges.

#include <cstdint>
#include <vector>

#include "bench/reorder/meshes.h"

namespace bench {

/// The new number of each node, from 1.
using Numbering = std::vector<int>;

struct Measures {
  int bandwidth = 0;
  std::int64_t profile = 0;
};

/// Returns bandwidth and profile, counted from the list of edges; -1 for both if `number` is not a
/// permutation.
Measures measures(const Mesh& mesh, const Numbering& number);

/// Returns the reverse numbering.
Numbering reversed(Numbering number);

}  // namespace bench
