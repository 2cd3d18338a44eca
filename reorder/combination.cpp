// Combination of the two rooted level structures of a pseudo-diameter into one level structure.
//
//  1. Transition: convert both structures to level numbers that count in the same direction.
//  2. Settle each node to which both give the same level; count the settled nodes of each level.
//  3. Find the connected components of the other nodes, and sort them by decreasing size.
//  4. For each component compare the widths that the levels it touches would get from either structure, and
//     choose the narrower; ties go by the widths of the whole structures.
//  5. Pack: list the nodes level by level.
// Invariants of steps 2 to 4: levels1(i) is positive for a node that is neither settled nor visited, negative
// for one that is, and 0 outside the component; level_totals(k) counts the nodes assigned to level k so far.
// Source: Gibbs, Poole, Stockmeyer, SIAM J. Numer. Anal. 13, 236 (1976), algorithm II.

#include "reorder/combination.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "frame/clamp.h"
#include "reorder/sorts.h"

namespace corvidnum {
namespace {

/// Copies a structure to another column, without the end of its last level, which is always node_count + 1.
void copy_column(const LevelColumn& from, const LevelColumn& to, int node_count, int depth) {
  for (int k = 1; k <= node_count; ++k) to.node(k) = from.node(k);
  for (int level = 1; level <= depth; ++level) to.level_start(level) = from.level_start(level);
}

/// Settles the nodes on which both structures agree and counts them by level. Returns their number.
int settle_agreed(int n, const CombinationRegions& regions) {
  int settled = 0;
  for (int i = 1; i <= n; ++i) {
    const int level = regions.levels1(i);
    if (level == 0 || level != regions.levels2(i)) continue;
    ++regions.level_totals(level);
    regions.levels1(i) = -level;
    ++settled;
  }
  return settled;
}

/// Counts the nodes of one component by level, in either structure. Returns false if a node has no level in
/// the second structure.
bool count_increments(const CombinationRegions& regions, OneBased<const int> nodes) {
  const OneBased<int>& increments1 = regions.increments1;
  const OneBased<int>& increments2 = regions.increments2;
  for (std::ptrdiff_t k = 1; k <= increments1.size(); ++k) increments1(k) = increments2(k) = 0;
  for (std::ptrdiff_t k = 1; k <= nodes.size(); ++k) {
    if (regions.levels2(nodes(k)) == 0) return false;
    ++increments1(-regions.levels1(nodes(k)));
    ++increments2(regions.levels2(nodes(k)));
  }
  return true;
}

/// Returns whether the component takes its levels from the second structure: whether the widest level that it
/// touches is narrower that way; at a tie whether levels2 is the narrower structure as a whole; at a further
/// tie whether levels2 is that of the end node.
bool second_is_narrower(const CombinationRegions& regions, const PseudoDiameter& diameter, bool reversed1) {
  int width1 = 0, width2 = 0;
  for (std::ptrdiff_t k = 1; k <= regions.level_totals.size(); ++k) {
    if (regions.increments1(k) == 0 && regions.increments2(k) == 0) continue;
    width1 = std::max(width1, regions.level_totals(k) + regions.increments1(k));
    width2 = std::max(width2, regions.level_totals(k) + regions.increments2(k));
  }
  if (width1 != width2) return width1 > width2;
  if (diameter.forward_width != diameter.backward_width) {
    return diameter.forward_width > diameter.backward_width;
  }
  return reversed1;
}

void add_increments(const CombinationRegions& regions, OneBased<const int> increments) {
  for (std::ptrdiff_t k = 1; k <= increments.size(); ++k) regions.level_totals(k) += increments(k);
}

void take_second_levels(const CombinationRegions& regions, OneBased<const int> nodes) {
  for (std::ptrdiff_t k = 1; k <= nodes.size(); ++k) regions.levels1(nodes(k)) = -regions.levels2(nodes(k));
}

/// Appends to the list the unsettled nodes that can be reached from its last node, by breadth-first search.
/// @param end in and out: one past the last node of the list
GpsStatus walk_component(const GpsGraph& graph, OneBased<int> levels1, OneBased<int> list, int& end) {
  for (int front = end - 1; front < end; ++front) {
    const int ahead = front + GpsGraph::kAhead;
    if (ahead < end) graph.fetch_row(list(ahead));
    for (const int neighbour : graph.neighbours(list(front))) {
      const int status = levels1(neighbour);
      if (status == 0) return broken(kNeighbourUnlevelled);
      if (status < 0) continue;
      if (end > list.size()) return broken(kComponentSum);
      levels1(neighbour) = -status;
      list(end++) = neighbour;
    }
  }
  return {};
}

}  // namespace

GpsStatus gps_transition(const WorkPlan& plan, int n, int available, PseudoDiameter& diameter,
                         bool& reversed1) {
  if (3 * std::int64_t{available} > plan.length()) return broken(kColumnsTooLong);
  if (available < n) return {kColumnsTooShort, clamped(3 * (std::int64_t{n} - available))};
  const Columns columns = plan.columns(available);
  const int node_count = diameter.node_count, depth = diameter.depth;
  const int old_forward = diameter.forward, old_best = diameter.best_backward;
  diameter.forward = static_cast<int>(plan.levels1_at());
  diameter.best_backward = static_cast<int>(plan.levels2_at());

  // levels2 overlaps column 1, and levels1 may overlap column 3: the order of the conversions below reads
  // each column before it is overwritten.
  if (old_forward == 1 || old_best == 1) {
    if (old_forward != 2 && old_best != 2) {
      copy_column(columns.column(3), columns.column(2), node_count, depth);
    }
    reversed1 = old_forward == 1;
    if (!reversed1) std::swap(diameter.forward_width, diameter.backward_width);
    gps_level_numbers(n, node_count, depth, columns.column(1), plan.levels1(), !reversed1);
    gps_level_numbers(n, node_count, depth, columns.column(2), plan.levels2(), reversed1);
  } else {
    reversed1 = old_forward == 2;
    if (!reversed1) std::swap(diameter.forward_width, diameter.backward_width);
    gps_level_numbers(n, node_count, depth, columns.column(3), plan.levels2(), reversed1);
    gps_level_numbers(n, node_count, depth, columns.column(2), plan.levels1(), !reversed1);
  }
  return {};
}

void gps_level_numbers(int n, int node_count, int depth, const LevelColumn& column, OneBased<int> levels,
                       bool reverse) {
  if (node_count != n) {
    for (int i = 1; i <= n; ++i) levels(i) = 0;
  }
  for (int level = 1, k = 1; level <= depth; ++level) {
    const int end = level < depth ? column.level_start(level + 1) : node_count + 1;
    const int number = reverse ? depth - level + 1 : level;
    for (; k < end; ++k) levels(column.node(k)) = number;
  }
}

GpsStatus gps_combine(const GpsGraph& graph, const PseudoDiameter& diameter, bool reversed1,
                      const CombinationRegions& regions, bool& reverse_numbering) {
  const int n = graph.n, depth = diameter.depth;
  for (int k = 1; k <= depth; ++k) regions.level_totals(k) = 0;
  const int unassigned = diameter.node_count - settle_agreed(n, regions);
  if (unassigned == 0) {
    reverse_numbering = true;
    return {kGpsOk, 2 * n};
  }
  if (unassigned < 0) return broken(kTooManyMatched);
  const int free = static_cast<int>(regions.components.size()) - unassigned;
  const int max_components = free / 2;
  if (max_components < 1) return {kNoRoomForComponents, 2 - free};

  const OneBased<int> list = regions.components.part(1, unassigned);
  const OneBased<int> starts = regions.components.part(unassigned + 1, max_components);
  const OneBased<int> sizes = regions.components.part(unassigned + max_components + 1, max_components);
  int component_count = 0;
  const GpsStatus status = gps_components(graph, regions.levels1, unassigned, list, max_components, starts,
                                          sizes, component_count);
  if (status.error != kGpsOk) return status;
  if (component_count > 1 && !gps_sort_pairs_decreasing(component_count, sizes, starts)) {
    return broken(kComponentSort);
  }
  for (int c = 1; c <= component_count; ++c) {
    if (sizes(c) < 0 || sizes(c) > unassigned) return broken(kComponentSize);
    const OneBased<const int> nodes = list.part(starts(c), sizes(c));
    if (!count_increments(regions, nodes)) return broken(kNeighbourUnlevelled);
    const bool second = second_is_narrower(regions, diameter, reversed1);
    if (c == 1) reverse_numbering = second == reversed1;
    add_increments(regions, second ? regions.increments2 : regions.increments1);
    if (second) take_second_levels(regions, nodes);
  }
  return {kGpsOk, unassigned + 3 * depth + 2 * (n + component_count)};
}

GpsStatus gps_components(const GpsGraph& graph, OneBased<int> levels1, int unassigned, OneBased<int> list,
                         int max_components, OneBased<int> starts, OneBased<int> sizes,
                         int& component_count) {
  component_count = 0;
  int end = 1;  // one past the last node of the list
  for (int root = 1; end <= unassigned; ++root) {
    while (root <= graph.n && levels1(root) <= 0) ++root;
    if (root > graph.n) return broken(kNoComponentRoot);
    if (++component_count > max_components) return {kTooManyComponents, unassigned - end + 1};
    const int start = end;
    starts(component_count) = start;
    levels1(root) = -levels1(root);
    list(end++) = root;
    const GpsStatus status = walk_component(graph, levels1, list, end);
    if (status.error != kGpsOk) return status;
    sizes(component_count) = end - start;
  }
  return {};
}

GpsStatus gps_pack_levels(int n, int depth, OneBased<int> levels1, OneBased<int> level_list,
                          OneBased<int> level_pointers, OneBased<int> level_totals) {
  int start = 1;
  for (int k = 1; k <= depth; ++k) {
    level_pointers(k) = start;
    start = level_totals(k) += start;
  }
  level_pointers(depth + 1) = start;
  for (int i = 1; i <= n; ++i) {
    const int status = levels1(i);
    if (status == 0) continue;
    if (status > 0) return broken(kNodeUnassigned);
    levels1(i) = -status;
    int& place = level_pointers(-status);
    if (place >= level_totals(-status)) return broken(kLevelOverfull);
    level_list(place++) = i;
  }
  level_pointers(1) = 1;
  for (int k = 1; k <= depth; ++k) level_pointers(k + 1) = level_totals(k);
  return {};
}

}  // namespace corvidnum
