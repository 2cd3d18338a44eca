// Breadth-first searches that build rooted level structures in their columns, and the pseudo-diameter search.
//
//  1. Build the rooted level structure of the start node.
//  2. Sort the nodes of its last level by increasing degree; they are the candidates for the other end.
//  3. Build the structure of each candidate; abandon it when it gets as wide as the narrowest one so far. If
//     it is deeper than that of the start node, the candidate becomes the start node: go to step 2. Where the
//     columns have room, up to 32 candidates are measured in one search, and only the best structure is
//     built.
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

// Searches from roots near each other reach most nodes in the same level, so up to 32 of them go through the
// graph together: bit b of a word stands for the search from root b + 1. unseen(i) has the bits of the
// searches that have not reached node i, next(i) those that reach it in the next level, and front_words(k)
// those that have just reached node front(k). Along an edge from there to node i go the bits of its word in
// unseen(i). A node is listed once in a level, when its first bit arrives, and its edges are followed once
// for all of its bits. A search that gets too wide is abandoned by clearing its bit in `active`. Each search
// has the levels of a walk of its own, apart from the order within a level, which does not change its size.
// Roots have been reached from the start node, so no search leaves the component: `reached` is long enough.
// Source: Then et al., Proc. VLDB Endowment 8, 449 (2014), multi-source
// breadth-first search.
using Word = unsigned;
constexpr int kMostShared = 32;   // as many as a Word has bits
constexpr int kFewestShared = 8;  // it does not pay to measure fewer together

/// Arrays by node have an element 0, which no node uses.
struct SharedWalk {
  const GpsGraph& graph;
  int* const reached;       // [node_count] the nodes i of the next level, those with next[i] != 0
  Word* const unseen;       // [0 .. n]; behind `reached`, so that one more may be written there
  Word* const front_words;  // [node_count]
  Word* const next;         // [0 .. n]
  int* const front;         // the nodes of this level
  int reached_count = 0, front_count = 0;
  Word active = ~Word{0};

  void begin(OneBased<const int> roots);
  void enter_level(int max_width, RootedLevels* levels);
  void reach_next_level();
};

void SharedWalk::begin(OneBased<const int> roots) {
  for (int i = 1; i <= graph.n; ++i) unseen[i] = graph.unmarked(i) ? ~Word{0} : 0;
  std::fill_n(next + 1, graph.n, Word{0});
  for (; reached_count < roots.size(); ++reached_count) {
    const int root = reached[reached_count] = roots(reached_count + 1);
    next[root] = Word{1} << reached_count;
  }
}

void SharedWalk::enter_level(int max_width, RootedLevels* levels) {
  int sizes[kMostShared] = {};
  for (int k = 0; k < reached_count; ++k) {
    const int node = front[k] = reached[k];
    const Word word = front_words[k] = next[node];
    next[node] = 0;
    unseen[node] &= ~word;
    for (Word bits = word; bits != 0; bits &= bits - 1) ++sizes[__builtin_ctz(bits)];
  }
  front_count = reached_count;
  for (int b = 0; b < kMostShared; ++b) {
    if (sizes[b] == 0) continue;
    RootedLevels& its = levels[b];
    its = {its.node_count + sizes[b], its.depth + 1, std::max(its.width, sizes[b])};
    if (its.width < max_width) continue;
    its = {its.node_count, 0, graph.n + 1};
    active &= ~(Word{1} << b);
  }
}

void SharedWalk::reach_next_level() {
  Word *const still_unseen = unseen, *const arriving = next;  // copies, which stay in registers
  int* const list = reached;
  std::ptrdiff_t count = 0;
  for (int k = 0; k < front_count; ++k) {
    if (k + GpsGraph::kAhead < front_count) graph.fetch_row(front[k + GpsGraph::kAhead]);
    const Word word = front_words[k] & active;
    if (word == 0) continue;
    for (const int neighbour : graph.neighbours(front[k])) {
      const Word before = arriving[neighbour], after = before | (word & still_unseen[neighbour]);
      arriving[neighbour] = after;
      list[count] = neighbour;  // kept only if its first bit arrives; without a branch that mispredicts
      count += before == 0;
      count -= after == 0;
    }
  }
  reached_count = static_cast<int>(count);
}

/// Measures the structures of up to kMostShared candidates: levels[k - 1] is what gps_rooted_levels_limited()
/// returns for roots(k). Keeps the column of the start node's structure; overwrites the other two.
/// @param spare  the number of the column that holds neither the start node's nor the best structure
/// @return false, with `levels` without meaning, if a level has more nodes than there is space for, or a root
///         does not reach the whole component (the graph is not symmetric)
bool measure_together(const GpsGraph& graph, const Columns& columns, const PseudoDiameter& found, int spare,
                      OneBased<const int> roots, RootedLevels* levels) {
  const LevelColumn kept = columns.column(found.forward);
  int* const one = columns.list(spare).data();
  Word* const two = reinterpret_cast<Word*>(columns.list(found.best_backward).data());
  const int m = found.node_count, room = kept.available() - found.depth - 1 - m;  // of `front`
  SharedWalk walk{graph, one, reinterpret_cast<Word*>(one + m), two, two + m, kept.list().data() + m};
  std::fill_n(levels, roots.size(), RootedLevels{});
  for (walk.begin(roots); walk.reached_count > 0; walk.reach_next_level()) {
    if (walk.reached_count > room) return false;
    walk.enter_level(found.backward_width, levels);
  }
  return std::all_of(levels, levels + roots.size(), [&found](const RootedLevels& its) {
    return its.depth == 0 || its.node_count == found.node_count;
  });
}

/// Steps 2 to 4 of the search for a pseudo-diameter, round by round. A round tries the candidates of one
/// start node, whose structure is in column found.forward.
class EndSearch {
 public:
  /// @param found its start node, node_count and the numbers of two columns are set
  EndSearch(const GpsGraph& graph, const Columns& columns, PseudoDiameter& found)
      : graph_(graph),
        columns_(columns),
        found_(found),
        spare_(kSumOfColumns - found.forward - found.best_backward),
        may_share_(columns.available - graph.n > found.node_count) {}

  /// Tries the candidates of the start node until one proves deeper, which becomes the start node.
  /// @param start  size of the start node's structure; out: the same of the new one
  /// @param deeper out: whether there is a new start node
  GpsStatus run_round(RootedLevels& start, bool& deeper);

 private:
  static constexpr int kSumOfColumns = 1 + 2 + 3;

  GpsStatus measure(int k, RootedLevels& levels);
  bool measure_ahead(int k);
  GpsStatus build(int node, int column, int max_width, RootedLevels& levels) const;
  void take(int& node, int& column, int k);
  void build_unless_built(int node, int column) const;

  const GpsGraph& graph_;
  const Columns& columns_;
  PseudoDiameter& found_;
  int spare_;           // the column that is neither found_.forward nor found_.best_backward
  bool may_share_;      // there is room to measure candidates together, and doing so has not failed
  bool built_ = false;  // whether the column of the best candidate holds its structure
  OneBased<int> ends_{nullptr, 0};             // the candidates
  int together_first_ = 1, together_end_ = 1;  // candidates of which together_ has the sizes
  RootedLevels together_[kMostShared];
};

/// Builds the structure of a node of the component, unless it gets too wide.
GpsStatus EndSearch::build(int node, int column, int max_width, RootedLevels& levels) const {
  const int max_depth = columns_.available - found_.node_count - 1;
  return gps_rooted_levels_limited(graph_, node, columns_.list(column), found_.node_count, max_depth,
                                   max_width, levels);
}

/// Measures candidates from k on together, if that pays and is possible.
bool EndSearch::measure_ahead(int k) {
  const int left = static_cast<int>(ends_.size()) - k + 1, count = std::min(left, kMostShared);
  // The first candidate goes alone: its width soon stops most of the others.
  if (!may_share_ || k == 1 || left < kFewestShared) return false;
  built_ = false;  // both columns are overwritten
  may_share_ = measure_together(graph_, columns_, found_, spare_, ends_.part(k, count), together_);
  if (!may_share_) return false;
  together_first_ = k;
  together_end_ = k + count;
  return true;
}

/// Finds the size of the structure of candidate k. If it is measured alone, the structure is in the spare
/// column.
GpsStatus EndSearch::measure(int k, RootedLevels& levels) {
  if (k >= together_end_ && !measure_ahead(k)) return build(ends_(k), spare_, found_.backward_width, levels);
  levels = together_[k - together_first_];
  return {};
}

/// Takes candidate k, just measured, as `node`. Its structure's column is exchanged for the spare one.
void EndSearch::take(int& node, int& column, int k) {
  node = ends_(k);
  std::swap(column, spare_);
  built_ = k >= together_end_;
}

/// Builds the structure of a node that was measured together with others.
void EndSearch::build_unless_built(int node, int column) const {
  if (built_) return;
  RootedLevels levels;
  build(node, column, graph_.n + 1, levels);  // cannot fail: this walk has been measured
}

GpsStatus EndSearch::run_round(RootedLevels& start, bool& deeper) {
  found_.forward_width = start.width;
  found_.depth = start.depth;
  found_.backward_width = graph_.n + 1;
  if (!sort_last_level(graph_, columns_.column(found_.forward), found_.depth, ends_))
    return broken(kLastLevelSort);
  together_end_ = 1;
  deeper = false;
  int best_depth = 0;
  for (int k = 1; k <= ends_.size(); ++k) {
    RootedLevels levels;
    const GpsStatus status = measure(k, levels);
    if (status.error != kGpsOk) return status;
    if (levels.width >= found_.backward_width) continue;
    deeper = levels.depth > found_.depth;
    if (deeper) {
      take(found_.start_node, found_.forward, k);
      build_unless_built(found_.start_node, found_.forward);
      start = levels;
      return {};
    }
    take(found_.end_node, found_.best_backward, k);
    found_.backward_width = levels.width;
    best_depth = levels.depth;
  }
  build_unless_built(found_.end_node, found_.best_backward);
  append_empty_levels(columns_.column(found_.best_backward), found_.node_count, best_depth, found_.depth);
  return {};
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
  found = {};
  found.start_node = start_node;
  found.forward = 1;
  found.best_backward = 3;
  RootedLevels levels;
  GpsStatus status = gps_rooted_levels(graph, start_node, columns.list(found.forward), nodes_left, levels);
  if (status.error != kGpsOk) return status;
  found.node_count = levels.node_count;
  EndSearch search(graph, columns, found);
  for (bool deeper = true; deeper && status.error == kGpsOk;) status = search.run_round(levels, deeper);
  return status;
}

}  // namespace corvidnum
