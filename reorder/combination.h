#pragma once

// From two rooted level structures to a single one that is narrower than either. Where both agree on a node
// its level is settled; the others fall into components, and each of these takes its levels from one of the
// structures, the largest component first.

#include "reorder/gps_graph.h"
#include "reorder/level_structures.h"
#include "reorder/work_plan.h"

namespace corvidnum {

/// Turns the two structures of the search into levels1 and levels2, the levels of each node. Both count from
/// the start node, so that a node on which they agree has the same number in both.
/// @param plan      columns(available) as the search left them
/// @param diameter  in: of the search; out: forward and best_backward are where levels1 and levels2 begin in
///                  `work`, forward_width and backward_width their widths
/// @param reversed1 out: levels1 comes from the start node and levels2 from the end node; else the other way
/// @return 20 if three columns exceed `work`; 120 if a column is shorter than n, with what is missing
GpsStatus gps_transition(const WorkPlan& plan, int n, int available, PseudoDiameter& diameter,
                         bool& reversed1);

/// Gives each node of a structure its level; 0 to all others.
/// @param levels  [n] out
/// @param reverse levels are counted from the last one
void gps_level_numbers(int n, int node_count, int depth, const LevelColumn& column, OneBased<int> levels,
                       bool reverse);

/// Chooses the level of each node.
/// @param diameter          as gps_transition left it
/// @param regions           in: levels1, levels2; out: level_totals; levels1 has the chosen levels, negative
/// @param reverse_numbering out: the numbering is to begin from the far end
/// @return 0 with the elements of `work` from the next number on that were needed; 30, 31, 32, 131 or that of
///         gps_components; 33 also for a node that has a level in one structure only
GpsStatus gps_combine(const GpsGraph& graph, const PseudoDiameter& diameter, bool reversed1,
                      const CombinationRegions& regions, bool& reverse_numbering);

/// Finds the components of the nodes that are not settled.
/// @param levels1         [n] in: positive not settled, negative settled, 0 outside; out: all negative
/// @param unassigned      nodes that are not settled, 1 or more
/// @param list            [unassigned] out: the nodes, component by component
/// @param starts, sizes   [max_components] out: positions of the components in list, and their nodes
/// @param component_count out
/// @return 33, 34, 35; 130 if there are more components
GpsStatus gps_components(const GpsGraph& graph, OneBased<int> levels1, int unassigned, OneBased<int> list,
                         int max_components, OneBased<int> starts, OneBased<int> sizes, int& component_count);

/// Lists the nodes level by level, in index order within a level.
/// @param levels1        [n] in: the levels, negative, 0 outside; out: positive
/// @param level_list     [node_count] out
/// @param level_pointers [depth + 1] out: where each level begins in level_list, then the end
/// @param level_totals   [depth] in: nodes of each level, node_count in all; spoilt
/// @return 40, 41
GpsStatus gps_pack_levels(int n, int depth, OneBased<int> levels1, OneBased<int> level_list,
                          OneBased<int> level_pointers, OneBased<int> level_totals);

}  // namespace corvidnum
