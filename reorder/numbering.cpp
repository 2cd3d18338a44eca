#include "reorder/numbering.h"

#include <algorithm>
#include <climits>
#include <cstdint>

#include "reorder/sorts.h"
#include "reorder/work_plan.h"

namespace corvidnum {
namespace {

constexpr int kPlaced = 0;  // instead of a level number

/// The order is a queue, numbered from its start node on; one that runs down is turned round at the end. In a
/// level of `size` nodes:
///   | levels before | numbered | reached |  free  | reached, of the next level |  free |
///                   first      read      tail     stop                         next_tail
/// In a graph that is not symmetric more nodes than belong there may wait for a level, and the queue then
/// runs on behind the order. No such numbering succeeds, but what these nodes meet decides how it ends.
class BandwidthNumbering {
 public:
  BandwidthNumbering(const GpsGraph& graph, OneBased<int> queue, int node_count, const PackedLevels& levels)
      : graph_(graph), queue_(queue), node_count_(node_count), levels_(levels) {}

  int run(int start, bool ascending);

 private:
  int first_of(int level) const { return levels_.pointers(level); }

  int number_level(int level);                // its places, first_ .. stop_, are all taken
  int reach_neighbours(int node, int level);  // all neighbours of the node are placed
  int resume(int level, int remaining);       // one node that nothing reached is placed
  bool sort_by_degree(int begin, int end) const;

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
  // Levels that don't hold the component between them: what is in the order is not all of it.
  if (first_ <= node_count_) return kLevelCount;
  if (!ascending) std::reverse(queue_.data(), queue_.data() + node_count_);
  for (int k = 1; k <= node_count_; ++k) graph_.flip_mark(queue_(k));
  return kGpsOk;
}

int BandwidthNumbering::number_level(int level) {
  int remaining = levels_.size(level);
  stop_ = next_tail_ = first_ + remaining;
  read_ = first_;
  for (;;) {
    for (; read_ != tail_; ++read_) {
      --remaining;
      const int ahead = read_ + GpsGraph::kAhead;
      if (ahead < tail_) graph_.fetch_row(queue_(ahead));
      if (const int error = reach_neighbours(queue_(read_), level)) return error;
    }
    if (tail_ == stop_ && remaining == 0) return kGpsOk;
    if (remaining < 1 || remaining != stop_ - tail_) return kLevelCount;
    if (const int error = resume(level, remaining)) return error;
  }
}

int BandwidthNumbering::reach_neighbours(int node, int level) {
  const OneBased<int> level_of = levels_.number_of;
  const int tail_before = tail_, next_before = next_tail_;
  for (const int neighbour : graph_.neighbours(node)) {
    const int its_level = level_of(neighbour);
    if (its_level == kPlaced) continue;
    level_of(neighbour) = kPlaced;
    const int distance = its_level - level;
    // Either side: the levels may run from either end.
    if (distance < -1 || distance > 1) return kLevelSkipped;
    int& end = distance == 0 ? tail_ : next_tail_;
    if (end > queue_.size()) return kLevelCount;
    queue_(end++) = neighbour;
  }
  const bool sorted = sort_by_degree(tail_before, tail_) && sort_by_degree(next_before, next_tail_);
  return sorted ? kGpsOk : kBandwidthSort;
}

int BandwidthNumbering::resume(int level, int remaining) {
  int lowest = 0;  // the first found of the smallest degree
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

/// One level at a time. In `work`, from `next_number` upward; an arrow tells which way a part grows:
///   | numbered -> |      | links of the queue   | its nodes |      | <- next level, | levels that are done,
///   | |             |      | head, elements 0, .. |           |      | as reached     | levels still to come
///   |
///     next_number          links - 1              nodes       queue_end stack_top    stack_base
/// The queue is linked by element numbers; the nodes of level 1 are queued where they are listed.
/// State of a node, in place of its level number: positive, not reached; 0, reached or numbered, or queued
/// without a neighbour in the next level that is not reached; negative, queued with that as its priority.
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
  static constexpr int kHead = -1;  // the element before the first
  int& link(int element) const { return work_(links_ + element); }
  int& node(int element) const { return work_(nodes_ + element); }
  int size_after(int level) const { return level < levels_.depth ? levels_.size(level + 1) : 0; }
  void lower_gap(int gap) {
    if (gap < smallest_gap_) smallest_gap_ = gap;
  }

  int number_component(int node_count);
  int queue_first_level();                    // as listed
  int queue_level(int level);                 // as reached, the rest as listed
  int unreached_in_list(int& k, int end);     // the next such node from list(k) on; 0: none
  void set_priority(int queued, int level);   // and the greatest one with it
  int number_level(int level);                // the queue is used up; what it reached is on the stack
  int before_best() const;                    // the element before the first of greatest priority
  int stack_neighbours(int of, int level);    // all its neighbours in the level are reached, by node number
  void raise_priorities_around(int reached);  // of queued nodes that had it among their neighbours

  const GpsGraph& graph_;
  const PackedLevels& levels_;
  const OneBased<int> state_;
  const OneBased<int> work_;
  const int list_base_;
  int& next_number_;
  int links_ = 0, nodes_ = 0, queue_end_ = 0;
  int stack_base_ = 0, stack_top_ = 0;
  int unseen_ = 0;                 // nodes of the next level that are not reached
  int left_ = 0;                   // elements in the queue
  int greatest_ = 0;               // no priority in the queue is above it
  std::int64_t smallest_gap_ = 0;  // between queue and stack
};

void ProfileNumbering::run(int node_count, GpsStatus& status) {
  const std::int64_t whole = std::int64_t{levels_.depth} + list_base_ + graph_.n + node_count + 1;
  smallest_gap_ = whole;
  status.error = number_component(node_count);
  if (status.error == kQueueMeetsStack) status.space = unseen_ + left_;
  if (status.error != kGpsOk) return;
  const int used = clamped_to_int(whole - smallest_gap_);
  if (used > status.space) status.space = used;
}

int ProfileNumbering::number_component(int node_count) {
  const int stop = next_number_ + node_count;
  for (int level = 1; level <= levels_.depth; ++level) {
    if (const int error = level == 1 ? queue_first_level() : queue_level(level)) return error;
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
    // With the next level all reached, the queue goes from its head.
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
    // The greatest priority is a bound that no node need meet.
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
