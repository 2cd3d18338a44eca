// The last step of the reordering: numbers the nodes of one component along its combined level structure.
//
// For the bandwidth, the order is a breadth-first search from one end:
//  1. number the start node;
//  2. go through the numbered nodes of the level in the order of their numbers. Append the unnumbered
//     neighbours of each to its own level or to the next one, each group by increasing degree;
//  3. if a part of the level is not reached, continue with its node of smallest degree;
//  4. repeat with the next level.
//
// For the profile, the order of the nodes inside a level follows King's rule:
//  1. queue the nodes of the level, those that the level before has reached first;
//  2. number the queued node with the fewest unreached neighbours in the next level, which are what it adds
//     to the wavefront; push these neighbours on a stack, and lower the counts of their neighbours in the
//     queue;
//  3. repeat until the queue is empty. The stack is the beginning of the next queue.
//
// Ties are decided by the order in which nodes were reached, so every order below is part of the result.
//
// Source: Gibbs, Poole, Stockmeyer, SIAM J. Numer. Anal. 13, 236 (1976), algorithm III; King, Int. J. Numer.
// Meth. Eng. 2, 523 (1970).

#include "reorder/numbering.h"

#include <algorithm>
#include <cassert>
#include <climits>
#include <cstdint>

#include "frame/clamp.h"
#include "reorder/sorts.h"

namespace corvidnum {
namespace {

constexpr int kPlaced = 0;  // replaces the level number of a node that is in the order

/// Numbers a component for the bandwidth. The new order is the queue of the breadth-first search; a numbering
/// that runs down is reversed at the end. While a level is numbered:
///   | levels before | searched | placed, not searched |  free  | placed, of the next level |  free |
///                   first      read                   tail     stop                        next_tail
/// Always true:
///  1. first <= read <= tail, and first + size of the level = stop <= next_tail;
///  2. the nodes in first .. tail - 1 and in stop .. next_tail - 1 are placed.
/// tail <= stop holds in symmetric graphs only. In others a level may receive more nodes than its size; they
/// then overwrite places of the next level, and next_tail may run behind the order. Such a numbering always
/// fails, but the error code depends on the nodes that the search meets there, so it goes on.
class BandwidthNumbering {
 public:
  BandwidthNumbering(const GpsGraph& graph, OneBased<int> queue, int node_count, const PackedLevels& levels)
      : graph_(graph), queue_(queue), node_count_(node_count), levels_(levels) {}

  int run(int start, bool ascending);

 private:
  int first_of(int level) const { return levels_.pointers(level); }

  int number_level(int level);                // the places first_ .. stop_ - 1 are all taken
  int place_neighbours(int node, int level);  // all neighbours of the node are placed
  int resume(int level, int remaining);       // one node of the level that was not reached is placed
  bool sort_by_degree(int begin, int end) const;
  bool all_placed(int begin, int end) const;
  [[maybe_unused]] bool consistent(int level) const;  // the invariants above; debug builds check them

  const GpsGraph& graph_;
  const OneBased<int> queue_;
  const int node_count_;
  const PackedLevels& levels_;
  int first_ = 1;
  int read_ = 0, tail_ = 0, stop_ = 0, next_tail_ = 0;
};

int BandwidthNumbering::run(int start, bool ascending) {
  const bool from_top = levels_.number_of(start) == levels_.depth;
  queue_(first_) = start;
  levels_.number_of(start) = kPlaced;
  tail_ = first_ + 1;
  for (int counter = 1; counter <= levels_.depth; ++counter) {
    if (const int error = number_level(from_top ? levels_.depth - counter + 1 : counter)) return error;
    if (next_tail_ == stop_ && counter < levels_.depth) return kNextLevelEmpty;
    first_ = stop_;
    tail_ = next_tail_;
  }
  // The levels together have fewer nodes than the component: a part of it is not in the order.
  if (first_ <= node_count_) return kLevelCount;
  if (!ascending) std::reverse(queue_.data(), queue_.data() + node_count_);
  for (int k = 1; k <= node_count_; ++k) graph_.flip_mark(queue_(k));
  return kGpsOk;
}

int BandwidthNumbering::number_level(int level) {
  int remaining = levels_.size(level);
  stop_ = next_tail_ = first_ + remaining;
  read_ = first_;
  assert(consistent(level));
  for (;;) {
    for (; read_ != tail_; ++read_) {
      --remaining;
      const int ahead = read_ + GpsGraph::kAhead;
      if (ahead < tail_) graph_.fetch_row(queue_(ahead));
      if (const int error = place_neighbours(queue_(read_), level)) return error;
    }
    assert(consistent(level));
    if (tail_ == stop_ && remaining == 0) return kGpsOk;
    if (remaining < 1 || remaining != stop_ - tail_) return kLevelCount;
    if (const int error = resume(level, remaining)) return error;
  }
}

int BandwidthNumbering::place_neighbours(int node, int level) {
  const OneBased<int> level_of = levels_.number_of;
  const int tail_before = tail_, next_before = next_tail_;
  for (const int neighbour : graph_.neighbours(node)) {
    const int its_level = level_of(neighbour);
    if (its_level == kPlaced) continue;
    level_of(neighbour) = kPlaced;
    const int distance = its_level - level;
    // Both signs, because the numbering may go through the levels from either end.
    if (distance < -1 || distance > 1) return kLevelSkipped;
    int& end = distance == 0 ? tail_ : next_tail_;
    if (end > queue_.size()) return kLevelCount;
    queue_(end++) = neighbour;
  }
  const bool sorted = sort_by_degree(tail_before, tail_) && sort_by_degree(next_before, next_tail_);
  return sorted ? kGpsOk : kBandwidthSort;
}

int BandwidthNumbering::resume(int level, int remaining) {
  int lowest = 0;  // the node of smallest degree, the first one among equals; 0: none yet
  const int end = first_of(level + 1);
  for (int k = first_of(level); k < end && remaining > 0; ++k) {
    const int node = levels_.list(k), its_level = levels_.number_of(node);
    if (its_level == kPlaced) continue;
    if (its_level != level) return kWrongLevelInList;
    if (lowest == 0 || graph_.degree(node) < graph_.degree(lowest)) lowest = node;
    --remaining;
  }
  if (lowest == 0) return kNothingToResume;
  queue_(tail_++) = lowest;
  levels_.number_of(lowest) = kPlaced;
  return kGpsOk;
}

bool BandwidthNumbering::sort_by_degree(int begin, int end) const {
  const int count = end - begin;
  return count < 2 || gps_sort_nodes_increasing(count, queue_.from(begin), graph_.degree);
}

bool BandwidthNumbering::all_placed(int begin, int end) const {
  return std::all_of(queue_.data() + (begin - 1), queue_.data() + (end - 1),
                     [this](int node) { return levels_.number_of(node) == kPlaced; });
}

bool BandwidthNumbering::consistent(int level) const {
  return first_ <= read_ && read_ <= tail_ && first_ + levels_.size(level) == stop_ && stop_ <= next_tail_ &&
         all_placed(first_, tail_) && all_placed(stop_, next_tail_);
}

/// Numbers a component for the profile. In `work`, where an arrow shows the direction in which a part grows:
///   | numbered -> | places of | links of the queue:  | nodes of  | free | <- stack: nodes  | lists of    |
///   |             | the queue | head, elements 0, .. | the queue |      | reached of the   | levels, to  |
///   |             |           |                      |           |      | next level       | be overwritten
///     next_number   links - 1                          nodes       queue_end  stack_top     stack_base
/// The queue is a singly linked list of element numbers. The queue of level 1 has no copy of its nodes: it
/// uses the list of that level. state(i), in place of the level number of node i:
///   > 0  the level of i, which has not been reached;
///   < 0  i is queued, and -state(i) of its neighbours in the next level are unreached. This is its
///        priority: a larger value, nearer 0, is numbered first;
///   0    i is on the stack, is numbered, or is queued and has no unreached neighbour in the next level.
/// Always true between two numbers:
///  1. next_number + left = links - 1: the free places below the links are as many as the queued nodes;
///  2. queue_end <= stack_top + 1: queue and stack do not overlap;
///  3. from the head, `left` links lead to elements in increasing order, and one more leads to the number of
///     nodes of the level;
///  4. below the last level, the nodes on the stack have state 0, and they and the unseen nodes are together
///     as many as the nodes of the next level.
/// In a graph that is not symmetric a priority may differ from the count that it stands for; this changes the
/// numbering, but harms nothing.
class ProfileNumbering {
 public:
  ProfileNumbering(const GpsGraph& graph, OneBased<int> work, int list_base, int& next_number,
                   const PackedLevels& levels)
      : graph_(graph),
        levels_(levels),
        state_(levels.number_of),
        work_(work),
        list_base_(list_base),
        next_number_(next_number) {}

  void run(int node_count, GpsStatus& status);

 private:
  static constexpr int kHead = -1;  // the element before the first; its link leads to the first
  int& link(int element) const { return work_(links_ + element); }
  int& node(int element) const { return work_(nodes_ + element); }
  int size_after(int level) const { return level < levels_.depth ? levels_.size(level + 1) : 0; }
  void lower_gap(int gap) {
    if (gap < smallest_gap_) smallest_gap_ = gap;
  }

  int number_component(int node_count);
  int queue_first_level();                   // the nodes are queued in the order of the level's list
  int queue_level(int level);                // first the reached nodes, in the order in which they were
  int unreached_in_list(int& k, int end);    // finds the next unreached node from list(k) on; 0: none
  void set_priority(int queued, int level);  // counts anew; greatest_ is not below it
  int number_level(int level);               // the queue is empty; the nodes it reached are on the stack
  int before_best() const;                   // finds the element before the first of greatest priority
  int stack_neighbours(int of, int level);   // its neighbours in the level are on the stack, sorted by number
  void raise_priorities_around(int reached);  // the queued neighbours of a node have one less to reach
  [[maybe_unused]] bool consistent(int level) const;  // the invariants above; debug builds check them
  bool links_consistent(int level) const;
  bool stack_consistent(int level) const;
  /// Returns whether it is time to check the invariants: at powers of two of left_, so that all checks of a
  /// level take no longer than going through it twice.
  bool check_is_due() const { return (left_ & (left_ - 1)) == 0; }

  const GpsGraph& graph_;
  const PackedLevels& levels_;
  const OneBased<int> state_;
  const OneBased<int> work_;
  const int list_base_;
  int& next_number_;
  int links_ = 0, nodes_ = 0, queue_end_ = 0;
  int stack_base_ = 0, stack_top_ = 0;
  int unseen_ = 0;                 // number of nodes of the next level that are not reached
  int left_ = 0;                   // number of elements in the queue
  int greatest_ = 0;               // upper bound of the priorities in the queue
  std::int64_t smallest_gap_ = 0;  // the fewest elements that were free between queue and stack
};

void ProfileNumbering::run(int node_count, GpsStatus& status) {
  const std::int64_t whole = std::int64_t{levels_.depth} + list_base_ + graph_.n + node_count + 1;
  smallest_gap_ = whole;
  status.error = number_component(node_count);
  if (status.error == kQueueMeetsStack) status.space = unseen_ + left_;
  if (status.error != kGpsOk) return;
  const int used = clamped(whole - smallest_gap_);
  if (used > status.space) status.space = used;
}

int ProfileNumbering::number_component(int node_count) {
  const int stop = next_number_ + node_count;
  for (int level = 1; level <= levels_.depth; ++level) {
    if (const int error = level == 1 ? queue_first_level() : queue_level(level)) return error;
    assert(consistent(level));
    if (const int error = number_level(level)) return error;
  }
  return next_number_ == stop ? kGpsOk : kNumberedCount;
}

int ProfileNumbering::queue_first_level() {
  left_ = levels_.size(1);
  unseen_ = size_after(1);
  links_ = next_number_ + left_ + 1;
  nodes_ = list_base_ + 1;
  queue_end_ = links_ + left_;
  stack_base_ = stack_top_ = list_base_;
  if (queue_end_ > stack_top_ + 1) return kQueueMeetsStack;
  greatest_ = -graph_.n - 1;
  link(kHead) = 0;
  for (int e = 0; e < left_; ++e) {
    link(e) = e + 1;
    set_priority(node(e), 1);
  }
  return kGpsOk;
}

int ProfileNumbering::queue_level(int level) {
  const int size = levels_.size(level), start = levels_.pointers(level);
  links_ = next_number_ + size + 1;
  nodes_ = links_ + size;
  queue_end_ = nodes_ + size;
  left_ = size;
  if (queue_end_ > stack_top_ + 1) return kQueueMeetsStack;
  lower_gap(stack_top_ - queue_end_ + 1);
  greatest_ = -graph_.n - 1;
  link(kHead) = 0;
  const int reached = stack_base_ - stack_top_;
  int k = start;
  for (int e = 0; e < size; ++e) {
    const int queued = e < reached ? work_(stack_base_ - e) : unreached_in_list(k, start + size);
    if (queued == 0) return kLevelListRanOut;
    if (level < levels_.depth) set_priority(queued, level);  // the last level needs none
    link(e) = e + 1;
    node(e) = queued;
  }
  unseen_ = size_after(level);
  if (level < levels_.depth) stack_base_ = stack_top_ = list_base_ + start + size - 1;
  return kGpsOk;
}

int ProfileNumbering::unreached_in_list(int& k, int end) {
  for (; k < end; ++k) {
    if (state_(levels_.list(k)) >= 1) return levels_.list(k++);
  }
  return 0;
}

void ProfileNumbering::set_priority(int queued, int level) {
  int priority = 0;
  for (const int neighbour : graph_.neighbours(queued)) priority -= state_(neighbour) == level + 1;
  state_(queued) = priority;
  if (priority > greatest_) greatest_ = priority;
}

int ProfileNumbering::number_level(int level) {
  while (left_ > 0) {
    // Once the whole next level is reached all priorities are equal: the queue is numbered from its head.
    const bool searched = unseen_ != 0;
    const int before = searched ? before_best() : kHead;
    const int taken = node(link(before));
    const int priority = state_(taken);
    state_(taken) = 0;
    if (searched) {
      greatest_ = priority;
      if (const int error = stack_neighbours(taken, level + 1)) return error;
    }
    --left_;
    work_(next_number_++) = taken;
    graph_.flip_mark(taken);
    link(before) = link(link(before));
    assert(!check_is_due() || consistent(level));
  }
  lower_gap(stack_top_ - queue_end_);
  return next_number_ == links_ - 1 ? kGpsOk : kQueueNotUsedUp;
}

int ProfileNumbering::before_best() const {
  const int* const links = &link(0);
  const int* const nodes = &node(0);
  int before = kHead, best = kHead, best_priority = INT_MIN;
  for (int walked = 0; walked < left_; ++walked) {
    const int element = links[before];
    const int priority = state_(nodes[element]);
    if (priority == greatest_) return before;
    // greatest_ is only a bound: perhaps no node has that priority, so remember the best one met.
    if (priority > best_priority) {
      best_priority = priority;
      best = before;
    }
    before = element;
  }
  return best;
}

int ProfileNumbering::stack_neighbours(int of, int level) {
  const int top_before = stack_top_;
  for (const int neighbour : graph_.neighbours(of)) {
    if (state_(neighbour) != level) continue;
    if (stack_top_ < queue_end_) return kQueueMeetsStack;
    work_(stack_top_--) = neighbour;
    --unseen_;
    state_(neighbour) = 0;
    if (left_ != 1) raise_priorities_around(neighbour);
  }
  const int count = top_before - stack_top_;
  if (count > 1 && !gps_sort_decreasing(count, work_.from(stack_top_ + 1))) return kProfileSort;
  return kGpsOk;
}

void ProfileNumbering::raise_priorities_around(int reached) {
  int greatest = greatest_;
  for (const int neighbour : graph_.neighbours(reached)) {
    if (state_(neighbour) >= 0) continue;
    const int priority = ++state_(neighbour);
    if (priority > greatest) greatest = priority;
  }
  greatest_ = greatest;
}

bool ProfileNumbering::consistent(int level) const {
  return next_number_ + left_ == links_ - 1 && queue_end_ <= stack_top_ + 1 && links_consistent(level) &&
         (level == levels_.depth || stack_consistent(level));
}

bool ProfileNumbering::links_consistent(int level) const {
  int element = link(kHead);
  for (int walked = 0; walked < left_; ++walked) {
    if (link(element) <= element) return false;
    element = link(element);
  }
  return element == levels_.size(level);
}

bool ProfileNumbering::stack_consistent(int level) const {
  for (int k = stack_top_ + 1; k <= stack_base_; ++k) {
    if (state_(work_(k)) != 0) return false;
  }
  return stack_base_ - stack_top_ + unseen_ == size_after(level);
}

}  // namespace

int gps_number_bandwidth(const GpsGraph& graph, OneBased<int> queue, int node_count, int start_node,
                         int end_node, bool reverse_numbering, const PackedLevels& levels) {
  const bool from_start = graph.degree(start_node) <= graph.degree(end_node);
  const bool ascending = from_start == reverse_numbering;
  return BandwidthNumbering(graph, queue, node_count, levels)
      .run(from_start ? start_node : end_node, ascending);
}

void gps_number_profile(const GpsGraph& graph, OneBased<int> work, int list_base, int& next_number,
                        int node_count, const PackedLevels& levels, GpsStatus& status) {
  ProfileNumbering(graph, work, list_base, next_number, levels).run(node_count, status);
}

}  // namespace corvidnum
