#pragma once

// Rooted level structures, and the search for a pseudo-diameter: two nodes that lie far apart. Level 1 of a
// rooted level structure is its root; level k+1 consists of the nodes not yet reached that are neighbours of
// level k.
//
// Each breadth-first search marks the nodes that it reaches by a negative degree and removes its marks at the
// end; after an error the marks stay, and the driver removes them. A node for which there is no room is not
// marked. Nodes that are marked from the start do not belong to the graph.

#include "reorder/gps_graph.h"
#include "reorder/work_plan.h"

namespace corvidnum {

/// Makes the status of an error for which the space is -1.
constexpr GpsStatus broken(GpsError error) { return {error, -1}; }

/// The size of a rooted level structure.
struct RootedLevels {
  int node_count;  // number of nodes reached
  int depth;       // number of levels
  int width;       // number of nodes in the widest level
};

/// Result of the pseudo-diameter search. `forward` and `best_backward` are the numbers, 1 to 3, of the
/// columns that hold the rooted level structures of start_node and end_node; gps_transition replaces them by
/// positions in `work`. forward_width and backward_width are the widths of the two structures.
struct PseudoDiameter {
  int start_node, end_node;
  int forward, best_backward;
  int node_count, depth;
  int forward_width, backward_width;
};

/// Builds the rooted level structure of any node, by breadth-first search.
/// @param root       a node that is not marked
/// @param column     [available] out: the structure in the form of LevelColumn; available is 1 or more
/// @param nodes_left number of nodes that are not yet numbered, 1 or more
/// @param levels     out
/// @return error 12 if root has no neighbours or more than nodes_left nodes are reached; 110 if the column is
///         full
GpsStatus gps_rooted_levels(const GpsGraph& graph, int root, OneBased<int> column, int nodes_left,
                            RootedLevels& levels);

/// Builds the rooted level structure of a node in a component whose size is known. A structure whose width
/// reaches max_width cannot be the narrowest: it is abandoned, with depth 0 and width n + 1.
/// @param column     [available] out: the structure; available > node_count + max_depth
/// @param node_count number of nodes of the component
/// @param levels     out; node_count has no meaning for an abandoned structure
/// @return error 13 if another number of nodes is reached (the graph is not symmetric); 111 if there are more
///         than max_depth levels
GpsStatus gps_rooted_levels_limited(const GpsGraph& graph, int root, OneBased<int> column, int node_count,
                                    int max_depth, int max_width, RootedLevels& levels);

/// Finds a pseudo-diameter. It builds the rooted level structure of start_node, then those of the nodes of
/// its last level, in order of increasing degree. A node whose structure is deeper becomes the start node,
/// and the search begins again; otherwise the node with the narrowest structure is the end node.
/// @param columns    three columns; available is n or more
/// @param nodes_left number of nodes that are not yet numbered, 1 or more
/// @param found      out: all fields
/// @return as gps_rooted_levels and gps_rooted_levels_limited, or error 11 if a sort fails
GpsStatus gps_pseudo_diameter(const GpsGraph& graph, const Columns& columns, int nodes_left, int start_node,
                              PseudoDiameter& found);

}  // namespace corvidnum
