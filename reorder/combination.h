#pragma once

// Combines two rooted level structures into one that is usually narrower than either. A node to which both
// give the same level is settled. The remaining nodes fall into connected components, and each component, the
// largest first, takes its levels from the structure that keeps the combined one narrower.

#include "reorder/gps_graph.h"
#include "reorder/level_structures.h"
#include "reorder/work_plan.h"

namespace corvidnum {

/// Converts the two structures of the search into levels1 and levels2, the level of each node. Both count
/// levels from the start node, so a node on which they agree has the same number in both.
/// @param plan      columns(available) as the search left them
/// @param diameter  in: result of the search; out: forward and best_backward become the positions in `work`
///                  at which levels1 and levels2 begin, forward_width and backward_width their widths
/// @param reversed1 out: whether levels1 comes from the start node's structure and levels2 from the end
///                  node's; else the other way round
/// @return error 20 if three columns exceed `work`; 120 if a column is shorter than n, with the missing space
GpsStatus gps_transition(const WorkPlan& plan, int n, int available, PseudoDiameter& diameter,
                         bool& reversed1);

/// Sets levels(i) to the level of node i, from 1, and to 0 for nodes outside the structure.
/// @param node_count, depth number of nodes and levels of the structure
/// @param column  the structure
/// @param levels  [n] out
/// @param reverse whether levels are counted from the last one
void gps_level_numbers(int n, int node_count, int depth, const LevelColumn& column, OneBased<int> levels,
                       bool reverse);

/// Chooses the level of each node of the component.
/// @param diameter          as gps_transition left it
/// @param reversed1         as gps_transition set it
/// @param regions           in: levels1, levels2; out: level_totals, and the chosen levels, negative, in
///                          levels1
/// @param reverse_numbering out: for gps_number_bandwidth, the end from which the order is filled
/// @return error 0, with the number of elements of `work` from the next number on that were needed; 30, 31,
///         32, 131, or an error of gps_components; 33 also for a node that has a level in one structure only
GpsStatus gps_combine(const GpsGraph& graph, const PseudoDiameter& diameter, bool reversed1,
                      const CombinationRegions& regions, bool& reverse_numbering);

/// Finds the connected components of the nodes that are not settled, by breadth-first search.
/// @param levels1         [n] in: positive for nodes not settled, negative for settled ones, 0 for nodes
///                        outside the component; out: positive entries are made negative
/// @param unassigned      number of nodes that are not settled, 1 or more
/// @param list            [unassigned] out: the nodes, component by component
/// @param starts, sizes   [max_components] out: position of each component in list, and its number of nodes
/// @param component_count out: number of components
/// @return error 33, 34 or 35; 130 if there are more than max_components components
GpsStatus gps_components(const GpsGraph& graph, OneBased<int> levels1, int unassigned, OneBased<int> list,
                         int max_components, OneBased<int> starts, OneBased<int> sizes, int& component_count);

/// Packs the levels: lists the nodes level by level, in index order within a level.
/// @param levels1        [n] in: the levels, negative, 0 for nodes outside the component; out: positive
/// @param level_list     [node_count] out: the nodes
/// @param level_pointers [depth + 1] out: position of each level in level_list, then one past the last node
/// @param level_totals   [depth] in: number of nodes of each level, node_count in all; out: without meaning
/// @return error 40 or 41
GpsStatus gps_pack_levels(int n, int depth, OneBased<int> levels1, OneBased<int> level_list,
                          OneBased<int> level_pointers, OneBased<int> level_totals);

}  // namespace corvidnum
