#pragma once

// Rooted level structures, and the search for two nodes that lie far apart. Level 1 of a structure is its
// root, and level k+1 the nodes not yet reached that are neighbours of level k.
//
// Every walk marks the nodes that it reaches by a negative degree and takes its marks back at the end; after
// an error they stay for the driver. A node that found no place is not marked. A marked node at the start is
// outside of the graph.

#include "reorder/gps_graph.h"
#include "reorder/work_plan.h"

namespace corvidnum {

/// The end of a step whose error has nothing to say about space.
constexpr GpsStatus broken(GpsError error) { return {error, -1}; }

struct RootedLevels {
  int node_count;  // nodes that were reached
  int depth;       // levels
  int width;       // nodes of the widest level
};

/// What the search found. `forward` and `best_backward` are the numbers of the columns with the structures of
/// start_node and end_node; the transition makes them positions in `work`.
struct PseudoDiameter {
  int start_node, end_node;
  int forward, best_backward;
  int node_count, depth;
  int forward_width, backward_width;
};

/// Builds the structure of any root, and measures its component.
/// @param root       a node that is not marked
/// @param column     [available], 1 or more
/// @param nodes_left nodes that are not yet numbered, 1 or more
/// @param levels     out
/// @return 12 if root has no neighbours or more than nodes_left nodes are reached; 110 if the column is full
GpsStatus gps_rooted_levels(const GpsGraph& graph, int root, OneBased<int> column, int nodes_left,
                            RootedLevels& levels);

/// Builds the structure of a root in a component that has been measured. A structure that becomes max_width
/// wide or wider cannot win: it is given up, with depth 0 and width n + 1.
/// @param column     [available]; available > node_count + max_depth
/// @param node_count nodes of the component
/// @param levels     out; of a structure that was given up node_count means nothing
/// @return 13 if another number of nodes is reached (the graph is not symmetric); 111 if there are more than
///         max_depth levels
GpsStatus gps_rooted_levels_limited(const GpsGraph& graph, int root, OneBased<int> column, int node_count,
                                    int max_depth, int max_width, RootedLevels& levels);

/// Walks from start_node, then from the ends of that walk, the ones of small degree first. An end with a
/// deeper structure becomes the start node; of the others that with the narrowest structure is the end node.
/// @param columns three; available is n or more
/// @param found   out: all of it
/// @return as gps_rooted_levels and gps_rooted_levels_limited, or 11 if a sort fails
GpsStatus gps_pseudo_diameter(const GpsGraph& graph, const Columns& columns, int nodes_left, int start_node,
                              PseudoDiameter& found);

}  // namespace corvidnum
