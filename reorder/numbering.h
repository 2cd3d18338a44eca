#pragma once

// The final order of one component, level by level of its combined structure. Both routines leave the degrees
// of the numbered nodes negative.

#include "reorder/gps_graph.h"

namespace corvidnum {

/// The levels of a component, packed: those of level k are list(pointers(k)) .. list(pointers(k+1) - 1).
struct PackedLevels {
  int depth;
  OneBased<int> list;            // [nodes of the component]
  OneBased<const int> pointers;  // [depth + 1]
  /// [n] the level of each node of the component, 0 for others; the routines keep the state of a node here.
  OneBased<int> number_of;

  int size(int level) const { return pointers(level + 1) - pointers(level); }
};

/// Gibbs-Poole-Stockmeyer: numbers outward from each numbered node, neighbours by increasing degree.
/// @param queue      [node_count or more] out: in the first `node_count` elements the nodes in their order,
/// which
///                   begins at `start_node` or `end_node`, whichever has the smaller degree, and runs up or
///                   down. Those behind serve to tell how a numbering fails whose graph is not symmetric:
///                   where they do not suffice, the error is kLevelCount.
/// @param node_count nodes of the component
/// @return the error code; its space is -1
int gps_number_bandwidth(const GpsGraph& graph, OneBased<int> queue, int node_count, int start_node,
                         int end_node, bool reverse_numbering, const PackedLevels& levels);

/// Gibbs-King: of a level, the node comes next that adds fewest nodes to the front.
/// @param work        the whole array; the levels lie in it, and between `next_number` and their list the
///                    routine works
/// @param list_base   position right below the list of the levels, which is spoilt
/// @param next_number in: position of the component's first node; out: one past its last
/// @param status      out: the error code; space only with error 160, and a success raises it to the need
void gps_number_profile(const GpsGraph& graph, OneBased<int> work, int list_base, int& next_number,
                        int node_count, const PackedLevels& levels, GpsStatus& status);

}  // namespace corvidnum
