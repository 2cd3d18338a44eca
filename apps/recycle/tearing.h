#pragma once

// Chooses the streams of a flowsheet with recycles to tear, so that its units can be computed one after the
// other.

#include <optional>
#include <vector>

namespace recycle {

struct Edge {
  int from, to;  // units, counted from 0
};

/// Holds the streams between units as a directed graph.
struct Graph {
  int units = 0;
  std::vector<Edge> edges;
};

/// Returns the strongly connected components that hold a cycle, each as its units in ascending order (Tarjan,
/// SIAM J. Comput. 1, 146, 1972).
std::vector<std::vector<int>> recycle_groups(const Graph& graph);

/// Returns a tear set of the graph, as edges in ascending order: within each recycle group the fewest edges
/// that cut every cycle. Of equally small sets it is one that cuts the cycles the fewest times in all,
/// because a cycle that is torn twice converges more slowly (Upadhye and Grens, AIChE J. 21, 136, 1975), and
/// of those the one with the lowest edge numbers. Lists all simple cycles first.
/// @return nothing if the graph has too many cycles for that
std::optional<std::vector<int>> smallest_tear_set(const Graph& graph);

/// Returns a topological order of the units with the edges in `tears` left out: each unit stands behind those
/// that feed it. Where there is a choice the lowest number comes first. If a cycle is left, the units on it
/// and downstream of it are missing.
std::vector<int> order_of_units(const Graph& graph, const std::vector<int>& tears);

}  // namespace recycle
