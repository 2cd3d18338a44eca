#pragma once

// The numbering of one component, level by level of its combined level structure: by increasing degree for a
// small bandwidth, by King's rule for a small profile. Both routines make the degrees of the nodes that they
// number negative.

#include "reorder/gps_graph.h"

namespace corvidnum {

/// The level structure of a component in packed form: the nodes of level k are
/// list(pointers(k)) .. list(pointers(k+1) - 1).
struct PackedLevels {
  int depth;                     // number of levels
  OneBased<int> list;            // [nodes of the component]
  OneBased<const int> pointers;  // [depth + 1]
  /// [n] the level of each node of the component, from 1; 0 for other nodes. The numbering routines overwrite
  /// it with the state of each node.
  OneBased<int> number_of;

  /// Returns the number of nodes of a level.
  int size(int level) const { return pointers(level + 1) - pointers(level); }
};

/// Numbers a component by the Gibbs-Poole-Stockmeyer rule: the unnumbered neighbours of each numbered node,
/// in the order of the numbering, by increasing degree.
/// @param queue      [node_count or more] out: the first `node_count` elements are the nodes in their new
///                   order, which begins at whichever of `start_node` and `end_node` has the smaller degree,
///                   the start node if they are equal. The elements behind are scratch, which only a graph
///                   that is not symmetric uses: more of them let its numbering go on until it meets a more
///                   telling error; where they do not suffice, the error is kLevelCount
/// @param node_count number of nodes of the component
/// @param reverse_numbering true: the order runs up if it begins at the start node, down if it begins at the
///                          end node; false: the other way round
/// @return kGpsOk or an error code, 51 to 56; the space that belongs to it is -1
int gps_number_bandwidth(const GpsGraph& graph, OneBased<int> queue, int node_count, int start_node,
                         int end_node, bool reverse_numbering, const PackedLevels& levels);

/// Numbers a component by King's rule, level by level: the next number goes to the node of the level that
/// adds the fewest nodes of the next level to the wavefront.
/// @param work        the whole work array, which contains `levels`; its part from `next_number` up to the
///                    list of the levels holds the new order on return, and scratch behind it
/// @param list_base   position in `work` right below the list of the levels; the list is overwritten
/// @param next_number in: position in `work` of the component's first node; out: one past its last
/// @param node_count  number of nodes of the component
/// @param status      in: the space needed so far; out: the error code. The space becomes the larger of the
///                    old one and the need on success, the nodes left (see GpsError) with error 160; with
///                    other errors it does not change
void gps_number_profile(const GpsGraph& graph, OneBased<int> work, int list_base, int& next_number,
                        int node_count, const PackedLevels& levels, GpsStatus& status);

}  // namespace corvidnum
