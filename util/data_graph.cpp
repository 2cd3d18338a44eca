#include "util/data_graph.h"

#include <algorithm>
#include <functional>

#include "frame/corvid.h"
#include "frame/host_memory.h"
#include "frame/module.h"

using namespace corvidnum;

namespace {

constexpr unsigned kMostValency = 10;
constexpr unsigned kMostNodes = 0x7FFFFFFFU / kMostValency;  // the ends of all nodes are counted in an int
constexpr int kStackSize = 1024;
constexpr int kNone = -1;  // no node
constexpr int kNoAnswer = -3;
constexpr unsigned char kUnmarked = 0, kMarked = 1;

struct Node {
  int valency;
  int linkCount;
  int links[kMostValency];  // the other node of each link, in order of attachment; kNone: not taken

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
  kGoOn,         // of the main loop: fewer than two ends are free
  kOver,         // backtracking has resumed from the last node as often as there are nodes
  kNothingLeft,  // no link is left to take back
  kOverflow,     // the stack is full
  kClosedPairs,  // too many links were skipped
};

/// Depth-first search over the links, with backtracking. The next link would join the nodes a and b.
class LinkSearch {
 public:
  /// @param nodes [count] not linked; count is at least 2; they stay the caller's
  LinkSearch(Node* nodes, int count);

  /// Returns what DataGraph_FreeLinks does.
  int run();

 private:
  Status search();        // the main loop
  bool seek_free_ends();  // a and b have free ends; false: there is none but those of a
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
  Link stack_[kStackSize];  // the links made, and behind them the one undone last
  int stack_count_ = 0;
  int free_ends_ = 0;
  int fewest_free_;
  int wraps_ = 0;  // how often backtracking has resumed from the last node
  int skips_ = 0;  // in the whole call
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

/// With its ends exchanged: it would lead to the wiring that was left just now.
bool LinkSearch::undone_just_now() const {
  return stack_[stack_count_].first == b_ && stack_[stack_count_].second == a_;
}

/// Both nodes would be full, and shut off from the rest.
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
  const Link undone = stack_[--stack_count_];  // stays there for undone_just_now
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

/// As deep as there are links at most.
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
    Corvid_delete(nodes);  // first: the host may do as it likes with an error
    ErrorMsg("CompWithNoBond");
    return kNoAnswer;
  }
  for (unsigned i = 0; i < count; ++i) nodes[i].begin(static_cast<int>(valencies[i]));
  const int result = LinkSearch(nodes, static_cast<int>(count)).run();
  Corvid_delete(nodes);
  return result;
}
