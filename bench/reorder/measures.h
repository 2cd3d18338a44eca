#pragma once

#include <cstdint>
#include <vector>

#include "bench/reorder/meshes.h"

namespace bench {

/// New number of each node, from 1.
using Numbering = std::vector<int>;

struct Measures {
  int bandwidth = 0;
  std::int64_t profile = 0;
};

/// Counted from the list of edges. A numbering that is none has the measures -1.
Measures measures(const Mesh& mesh, const Numbering& number);

/// Last first.
Numbering reversed(Numbering number);

}  // namespace bench
