#pragma once

// Stable insertion sorts for lists that are short or nearly in order. Each sorts the first `count`
// elements and returns false, with nothing done, if `count` is below 1.

#include "frame/one_based.h"

namespace corvidnum {

/// Sorts keys in decreasing order and moves each companion along with its key.
[[nodiscard]] bool gps_sort_pairs_decreasing(int count, OneBased<int> keys, OneBased<int> companions);
/// Sorts numbers in decreasing order.
[[nodiscard]] bool gps_sort_decreasing(int count, OneBased<int> list);
/// Sorts nodes by increasing key(node); `key` is indexed by node.
[[nodiscard]] bool gps_sort_nodes_increasing(int count, OneBased<int> nodes, OneBased<const int> key);

}  // namespace corvidnum
