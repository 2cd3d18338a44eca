#pragma once

// Decides where to cut a graph with cycles, so that its units can be worked out one after the other.

#include <optional>
#include <vector>

namespace recycle {

struct Edge {
  int from, to;  // units, counted from 0
};

/// Units, and the streams between them.
struct Graph {
  int units = 0;
  std::vector<Edge> edges;
};

/// Returns the strongly connected components that hold a cycle, each as its units in ascending order (Tarjan,
/// SIAM J. Comput. 1, 146, 1972).
std::vector<std::vector<int>> recycle_groups(const Graph& graph);

/// Returns a tear set of the graph, as edges in ascending order: within each recycle group the fewest edges
/// that cut every cycle. Of equally small sets it is one that cuts the cycles the fewest times in all, since
/// a cycle cut twice passes its news on later (Upadhye and Grens, AIChE J. 21, 136, 1975), and of those the
/// one with the earliest edges. All simple cycles are listed for it.
/// @return nothing if there are too many cycles for that
std::optional<std::vector<int>> smallest_tear_set(const Graph& graph);

/// Orders the units so that each stands behind those that feed it by an edge outside `tears`; the earliest
/// first where there is a choice. If a cycle is left, the units on it and behind it are missing.
std::vector<int> order_of_units(const Graph& graph, const std::vector<int>& tears);

}  // namespace recycle
