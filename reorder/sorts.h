#pragma once

// Insertion sorts for lists that are short or nearly in order. Equal keys keep their order. A count of 1
// is in order already; one below 1 fails.

#include "frame/one_based.h"

namespace corvidnum {

/// @return false if count is below 1; that holds for all
/// keys decreasing, each companion moved along with its key
[[nodiscard]] bool gps_sort_pairs_decreasing(int count, OneBased<int> keys, OneBased<int> companions);
[[nodiscard]] bool gps_sort_decreasing(int count, OneBased<int> list);
/// nodes by key(node)
[[nodiscard]] bool gps_sort_nodes_increasing(int count, OneBased<int> nodes, OneBased<const int> key);

}  // namespace corvidnum
