// Breadth-first searches that build rooted level structures in their columns, and the pseudo-diameter search.
//
//  1. Build the rooted level structure of the start node.
//  2. Sort the nodes of its last level by increasing degree; they are the candidates for the other end.
//  3. Build the structure of each candidate; abandon it when it gets as wide as the narrowest one so far. If
//     it is deeper than that of the start node, the candidate becomes the start node: go to step 2.
//  4. The candidate with the narrowest structure is the end node.
// Invariants: the nodes in a structure under construction have a negative degree. Three columns serve all
// structures; the search exchanges column numbers instead of copying. The contract accepts that a candidate
// which would prove deeper is abandoned for its width before.
// Source: Gibbs, Poole, Stockmeyer, SIAM J. Numer. Anal. 13, 236 (1976), algorithm I.

#include "reorder/level_structures.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "frame/clamp.h"
#include "reorder/sorts.h"

namespace corvidnum {
namespace {

/// A rooted level structure under construction. Nodes node(begin) .. node(end - 1) form the last complete
/// level; the nodes behind them belong to the next level.
struct LevelWalk {
  const GpsGraph& graph;
  const LevelColumn column;
  int begin = 1, end = 2;
  int node_count = 1, depth = 0, width = 0;

  LevelWalk(const GpsGraph& of_graph, int root, OneBased<int> list);
  bool in_level() const { return begin < end; }
  void measure_level() { width = end - begin > width ? end - begin : width; }
  int end_position(int level) const { return column.available() - level; }  // position of the end of a level
  void record_end() const { column.level_start(depth + 1) = node_count + 1; }
  bool reach_next_level(int most_nodes);         // false: there is a node beyond most_nodes, not marked
  void reach_all(const Neighbours& neighbours);  // requires room for more nodes than these
  bool reach_at_most(int most_nodes, const Neighbours& neighbours);  // false: as in reach_next_level()
  void next_level();
  void take_marks_back() const;
  int missing_space(int expected_nodes) const;  // estimate, if the other nodes need as many levels per node
  RootedLevels result() const { return {node_count, depth, width}; }
};

LevelWalk::LevelWalk(const GpsGraph& of_graph, int root, OneBased<int> list) : graph(of_graph), column(list) {
  column.node(1) = root;
  graph.flip_mark(root);
  column.level_start(1) = 1;
}

bool LevelWalk::reach_next_level(int most_nodes) {
  for (int front = begin; front < end; ++front) {
    const int ahead = front + GpsGraph::kAhead;
    if (ahead <= node_count) graph.fetch_row(column.node(ahead));
    const int node = column.node(front);
    if (graph.neighbour_count(node) < most_nodes - node_count) {
      reach_all(graph.neighbours(node));
    } else if (!reach_at_most(most_nodes, graph.neighbours(node))) {
      return false;
    }
  }
  return true;
}

void LevelWalk::reach_all(const Neighbours& neighbours) {
  const OneBased<int> degree = graph.degree, list = column.list();
  int count = node_count;
  for (const int neighbour : neighbours) {
    const int old = degree(neighbour);
    list(count + 1) = neighbour;  // kept only if it was unmarked; without a branch that mispredicts
    count += old > 0;
    degree(neighbour) = old > 0 ? -old : old;
  }
  node_count = count;
}

bool LevelWalk::reach_at_most(int most_nodes, const Neighbours& neighbours) {
  for (const int neighbour : neighbours) {
    if (!graph.unmarked(neighbour)) continue;
    if (node_count == most_nodes) return false;
    graph.flip_mark(neighbour);
    column.node(++node_count) = neighbour;
  }
  return true;
}

void LevelWalk::next_level() {
  begin = end;
  end = node_count + 1;
}

void LevelWalk::take_marks_back() const {
  for (int k = 1; k <= node_count; ++k) graph.flip_mark(column.node(k));
}

int LevelWalk::missing_space(int expected_nodes) const {
  const std::int64_t missing_nodes = std::int64_t{expected_nodes} - node_count + 1;
  return clamped(3 * (missing_nodes * depth / expected_nodes + missing_nodes));
}

/// Sorts the nodes of the last level, the candidates for the other end, in place by increasing degree.
/// Returns false if there are none.
/// @param ends out: the candidates
bool sort_last_level(const GpsGraph& graph, const LevelColumn& column, int depth, OneBased<int>& ends) {
  const int begin = column.level_start(depth);
  const int count = column.level_start(depth + 1) - begin;
  ends = column.list().part(begin, count);
  return gps_sort_nodes_increasing(count, ends, graph.degree);
}

/// Appends empty levels up to wanted_depth. In a graph that is not symmetric the end node's structure may be
/// less deep than the start node's.
void append_empty_levels(const LevelColumn& column, int node_count, int depth, int wanted_depth) {
  for (int level = depth + 1; level <= wanted_depth; ++level) column.level_start(level + 1) = node_count + 1;
}

}  // namespace

GpsStatus gps_rooted_levels(const GpsGraph& graph, int root, OneBased<int> column, int nodes_left,
                            RootedLevels& levels) {
  LevelWalk walk(graph, root, column);
  for (; walk.in_level(); walk.next_level()) {
    walk.measure_level();
    ++walk.depth;
    const int room = walk.end_position(walk.depth) - 1;
    if (walk.node_count > room) return {kColumnFull, walk.missing_space(nodes_left)};
    walk.record_end();
    if (graph.degree(root) == 0) return broken(kBadWalk);
    if (!walk.reach_next_level(std::min(room, nodes_left))) {
      if (walk.node_count < room) return broken(kBadWalk);
      ++walk.node_count;  // counts the node for which there is no room
      return {kColumnFull, walk.missing_space(nodes_left)};
    }
  }
  walk.take_marks_back();
  levels = walk.result();
  return {};
}

GpsStatus gps_rooted_levels_limited(const GpsGraph& graph, int root, OneBased<int> column, int node_count,
                                    int max_depth, int max_width, RootedLevels& levels) {
  LevelWalk walk(graph, root, column);
  const auto give_up = [&]() -> GpsStatus {
    walk.take_marks_back();
    levels = {walk.node_count, 0, graph.n + 1};
    return {};
  };
  for (; walk.in_level(); walk.next_level()) {
    walk.measure_level();
    if (walk.width >= max_width) return give_up();
    ++walk.depth;
    if (walk.depth > max_depth) return {kColumnFullLimited, walk.missing_space(node_count)};
    // Up to max_depth levels leave room for node_count nodes; a search that reaches more would overwrite the
    // starts of the levels.
    const int room = walk.end_position(walk.depth) - 1;
    if (walk.node_count > room) return broken(kWalkCountDiffers);
    walk.record_end();
    const int narrow = walk.node_count + max_width - 1;  // with more nodes the next level is too wide
    if (!walk.reach_next_level(std::min(room, narrow))) {
      return walk.node_count == narrow ? give_up() : broken(kWalkCountDiffers);
    }
  }
  if (walk.node_count != node_count) return broken(kWalkCountDiffers);
  walk.take_marks_back();
  levels = walk.result();
  return {};
}

GpsStatus gps_pseudo_diameter(const GpsGraph& graph, const Columns& columns, int nodes_left, int start_node,
                              PseudoDiameter& found) {
  int backward = 2;
  found = {start_node, 0, 1, 3, 0, 0, 0, 0};
  RootedLevels levels;
  GpsStatus status = gps_rooted_levels(graph, start_node, columns.list(found.forward), nodes_left, levels);
  if (status.error != kGpsOk) return status;
  found.node_count = levels.node_count;
  const int max_depth = columns.available - found.node_count - 1;

  for (bool deeper = true; deeper;) {
    deeper = false;
    found.forward_width = levels.width;
    found.depth = levels.depth;
    found.backward_width = graph.n + 1;
    OneBased<int> ends(nullptr, 0);
    if (!sort_last_level(graph, columns.column(found.forward), found.depth, ends))
      return broken(kLastLevelSort);
    for (int k = 1; k <= ends.size() && !deeper; ++k) {
      status = gps_rooted_levels_limited(graph, ends(k), columns.list(backward), found.node_count, max_depth,
                                         found.backward_width, levels);
      if (status.error != kGpsOk) return status;
      if (levels.depth > found.depth) {
        std::swap(found.forward, backward);
        found.start_node = ends(k);
        deeper = true;
      } else if (levels.width < found.backward_width) {
        append_empty_levels(columns.column(backward), found.node_count, levels.depth, found.depth);
        std::swap(found.best_backward, backward);
        found.backward_width = levels.width;
        found.end_node = ends(k);
      }
    }
  }
  return {};
}

}  // namespace corvidnum
