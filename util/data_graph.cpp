// Searches for a connected multigraph with given valencies that leaves as few link ends free as possible.
//
// A depth-first search with backtracking over the links:
//  1. The cursor (a, b) names the next link to try. It moves on to nodes with free ends.
//  2. A link that would fill both of its nodes while others still have free ends is skipped, because the two
//     would be shut off from the rest. Otherwise the link is added.
//  3. If no second node has a free end, or the link is the one just undone with its ends exchanged, the
//     newest link is undone and the search resumes from its second node.
//  4. The search ends with at most one free end. With none, the graph must also be connected: if it is not,
//     the search backtracks.
// Invariants: stack_[0 .. stack_count_ - 1] are the links of the graph, in the order in which they were
// added, and stack_[stack_count_] is the link undone last unless one was added since; free_ends_ is the sum
// of the valencies minus twice stack_count_.
//
// The effort is bounded by the number of resumptions from the last node, the number of skipped links and the
// size of the stack. So the search is not exhaustive: its answer is the best that it met. These bounds and
// the order of the steps decide the answer and are part of the contract.

#include "util/data_graph.h"

#include <algorithm>
#include <functional>

#include "frame/corvid.h"
#include "frame/host_memory.h"
#include "frame/module.h"

using namespace corvidnum;

namespace {

constexpr unsigned kMostValency = 10;
constexpr unsigned kMostNodes = 0x7FFFFFFFU / kMostValency;  // so that the sum of all valencies fits an int
constexpr int kStackSize = 1024;
constexpr int kNone = -1;  // no node
constexpr int kNoAnswer = -3;
constexpr unsigned char kUnmarked = 0, kMarked = 1;

struct Node {
  int valency;
  int linkCount;
  int links[kMostValency];  // the other node of each link, in order of attachment; kNone: a free end

  void begin(int ends) {
    valency = ends;
    linkCount = 0;
    std::fill(links, links + ends, kNone);
  }
  bool full() const { return linkCount >= valency; }
  bool one_left() const { return linkCount + 1 == valency; }
  void attach(int other) { links[linkCount++] = other; }
  void detach() { links[--linkCount] = kNone; }
};

struct Link {
  int first, second;
};
constexpr Link kNoLink = {kNone, kNone};

/// How a step of the search ended.
enum class Status {
  kGoOn,         // the search goes on; returned by search(): fewer than two ends are free
  kOver,         // backtracking has resumed from the last node as often as there are nodes
  kNothingLeft,  // there is no link left to undo
  kOverflow,     // the stack is full
  kClosedPairs,  // more links were skipped than there are nodes
};

/// The search. The next link to try joins the nodes a_ and b_.
class LinkSearch {
 public:
  /// Prepares a search; the cursor stands at the nodes 0 and 1.
  /// @param nodes [count] without links; count is at least 2. The caller owns them
  LinkSearch(Node* nodes, int count);

  /// Returns the result of DataGraph_FreeLinks.
  int run();

 private:
  Status search();        // adds links until fewer than two ends are free, or the search ends
  bool seek_free_ends();  // moves a_ and b_ to nodes with free ends; false: only a_ has any
  bool undone_just_now() const;
  bool closes_pair() const;
  Status add_link();
  Status skip_link();
  Status backtrack();
  bool connected(unsigned char* marks) const;  // [node_count_]
  void mark_from(int node, unsigned char* marks) const;

  int next(int node) const { return node + 1 == node_count_ ? 0 : node + 1; }
  bool full(int node) const { return nodes_[node].full(); }

  Node* const nodes_;
  const int node_count_;
  int a_ = 0, b_ = 1;
  Link stack_[kStackSize];  // the links of the graph, then the link undone last
  int stack_count_ = 0;
  int free_ends_ = 0;
  int fewest_free_;
  int wraps_ = 0;  // how often backtracking has resumed from the last node
  int skips_ = 0;  // links skipped in the whole call; never reset, which bounds the search
};

LinkSearch::LinkSearch(Node* nodes, int count) : nodes_(nodes), node_count_(count) {
  std::fill(stack_, stack_ + kStackSize, kNoLink);
  for (int i = 0; i < count; ++i) free_ends_ += nodes[i].valency;
  fewest_free_ = free_ends_;
}

int LinkSearch::run() {
  for (;;) {
    switch (search()) {
      case Status::kClosedPairs:
        return kNoAnswer;
      case Status::kOverflow:
        ErrorMsg("StackOverflow");
        return kNoAnswer;
      case Status::kOver:
      case Status::kNothingLeft:
        return fewest_free_;
      case Status::kGoOn:
        break;
    }
    if (free_ends_ != 0) return fewest_free_;
    unsigned char* const marks = allocate_array<unsigned char>(node_count_);
    if (!marks) return kNoAnswer;
    const bool found = connected(marks);
    Corvid_delete(marks);
    if (found) return fewest_free_;
    const Status status = backtrack();
    if (status == Status::kOver) return kNoAnswer;
    if (status == Status::kNothingLeft) return fewest_free_;
  }
}

Status LinkSearch::search() {
  for (;;) {
    Status status;
    if (!seek_free_ends() || undone_just_now()) {
      status = backtrack();
    } else if (free_ends_ > 2 && closes_pair()) {
      status = skip_link();
    } else {
      status = add_link();
      if (status == Status::kGoOn && free_ends_ < 2) return status;
    }
    if (status != Status::kGoOn) return status;
  }
}

bool LinkSearch::seek_free_ends() {
  while (full(a_)) {
    a_ = next(a_);
    if (a_ == b_) b_ = next(b_);
  }
  while (full(b_)) {
    b_ = next(b_);
    if (b_ == a_) return false;
  }
  return true;
}

/// Returns whether the next link is the one undone last with its ends exchanged, which would lead back to the
/// graph that was just left.
bool LinkSearch::undone_just_now() const {
  return stack_[stack_count_].first == b_ && stack_[stack_count_].second == a_;
}

/// Returns whether the next link would fill both of its nodes.
bool LinkSearch::closes_pair() const { return nodes_[a_].one_left() && nodes_[b_].one_left(); }

Status LinkSearch::skip_link() {
  ++skips_;
  a_ = b_;
  b_ = next(b_);
  return skips_ > node_count_ ? Status::kClosedPairs : Status::kGoOn;
}

Status LinkSearch::add_link() {
  stack_[stack_count_++] = {a_, b_};
  if (stack_count_ == kStackSize) return Status::kOverflow;
  nodes_[a_].attach(b_);
  nodes_[b_].attach(a_);
  free_ends_ -= 2;
  fewest_free_ = std::min(fewest_free_, free_ends_);
  return Status::kGoOn;
}

Status LinkSearch::backtrack() {
  if (wraps_ == node_count_) return Status::kOver;
  stack_[stack_count_] = kNoLink;
  if (stack_count_ == 0) return Status::kNothingLeft;
  free_ends_ += 2;
  const Link undone = stack_[--stack_count_];  // not cleared: undone_just_now() reads it
  nodes_[undone.first].detach();
  nodes_[undone.second].detach();
  a_ = undone.second;
  b_ = next(a_);
  if (a_ == node_count_ - 1) ++wraps_;
  return Status::kGoOn;
}

bool LinkSearch::connected(unsigned char* marks) const {
  std::fill(marks, marks + node_count_, kUnmarked);
  mark_from(0, marks);
  return std::find(marks, marks + node_count_, kUnmarked) == marks + node_count_;
}

/// Marks the nodes that can be reached from `node`, by depth-first search. Each level of the recursion
/// follows a different link, so at most kStackSize calls are nested.
void LinkSearch::mark_from(int node, unsigned char* marks) const {
  marks[node] = kMarked;
  for (int i = 0; i < nodes_[node].linkCount; ++i) {
    const int other = nodes_[node].links[i];
    if (marks[other] == kUnmarked) mark_from(other, marks);
  }
}

bool legal(unsigned valency) { return valency >= 1 && valency <= kMostValency; }

}  // namespace

int DataGraph_FreeLinks(unsigned int count, unsigned int* valencies) {
  enter_library();
  if (count == 0 || count > kMostNodes || !valencies) return kNoAnswer;
  if (count == 1) return static_cast<int>(valencies[0]);
  Node* const nodes = allocate_array<Node>(count);
  if (!nodes) return kNoAnswer;
  std::sort(valencies, valencies + count, std::greater<unsigned>());
  if (!std::all_of(valencies, valencies + count, legal)) {
    Corvid_delete(nodes);  // before the report, from which the host need not return
    ErrorMsg("CompWithNoBond");
    return kNoAnswer;
  }
  for (unsigned i = 0; i < count; ++i) nodes[i].begin(static_cast<int>(valencies[i]));
  const int result = LinkSearch(nodes, static_cast<int>(count)).run();
  Corvid_delete(nodes);
  return result;
}
