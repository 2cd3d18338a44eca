#pragma once

// Wirings of nodes with given numbers of ends: what connected ones leave free.

#include <algorithm>
#include <numeric>
#include <set>
#include <vector>

namespace connected_wirings {

using Valencies = std::vector<unsigned>;

/// The numbers of free ends that connected wirings of these nodes have: those with the parity of the sum,
/// from the least that a multigraph leaves to what a spanning tree leaves. Source: Hakimi, J. SIAM 10, 496
/// (1962).
inline std::set<int> free_ends_of_connected(const Valencies& valencies) {
  const int sum = static_cast<int>(std::accumulate(valencies.begin(), valencies.end(), 0U));
  const int largest = static_cast<int>(*std::max_element(valencies.begin(), valencies.end()));
  const int tree = 2 * (static_cast<int>(valencies.size()) - 1);
  std::set<int> figures;
  for (int free_ends = std::max(sum % 2, 2 * largest - sum); free_ends <= sum - tree; free_ends += 2)
    figures.insert(free_ends);
  return figures;
}

}  // namespace connected_wirings
