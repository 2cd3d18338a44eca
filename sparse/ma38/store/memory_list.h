#pragma once

#include "sparse/ma38/report/results.h"

namespace corvidnum {
namespace ma38 {

/// Links the owners of reals in the head of VALUE, in the order of their addresses. An owner reaches to the
/// next one, the last to the end of the list, where the front begins or the head ends; so reals that an owner
/// no longer uses are regained only when the owner is released. An owner that has released its reals is a
/// hole.
///
/// `Nodes` holds the words of the owners, which are numbered from 1, by
///   int& begin(node), int& next(node), int& previous(node)   next and previous: 0, none
///   bool is_hole(node), void make_hole(node)
///
/// Always true:
///  1. the links run both ways, from first() to last();
///  2. addresses ascend along the list;
///  3. no two holes stand side by side, and none is empty;
///  4. hole() is a hole of hole_size() reals, or 0 with size -1.
/// A new hole that is larger than hole() takes its place. When hole() is used up or joins another, the older
/// holes are not searched for the next largest, because that would take a scan, and where blocks are placed,
/// and so the lengths needed, depends on this rule.
template <class Nodes>
class MemoryList {
 public:
  explicit MemoryList(const Nodes& nodes) : nodes_(nodes) {}

  const Nodes& nodes() const { return nodes_; }
  Index first() const { return first_; }
  Index last() const { return last_; }
  Index hole() const { return hole_; }
  Index hole_size() const { return hole_size_; }
  bool has_hole_for(Index size) const { return hole_size_ >= size; }
  bool is_hole(Index node) const { return node != 0 && nodes_.is_hole(node); }
  /// Returns how many reals belong to an owner or hole. @param end where the list ends
  Index extent(Index node, Index end) const {
    const Index next = nodes_.next(node);
    return (next != 0 ? nodes_.begin(next) : end) - nodes_.begin(node);
  }

  /// Appends the owner of the last reals.
  void append(Index node) { put_between(node, last_, 0); }

  /// Makes a hole of the owner's reals, which free neighbours join; those leave the list.
  void release(Index node, Index end) {
    nodes_.make_hole(node);
    const Index previous = nodes_.previous(node), next = nodes_.next(node);
    if (is_hole(previous)) {
      const int begin = nodes_.begin(previous);
      unlink(previous);
      nodes_.begin(node) = begin;
    }
    if (is_hole(next)) unlink(next);
    const Index size = extent(node, end);
    if (size <= hole_size_) return;
    hole_ = node;
    hole_size_ = size;
  }

  /// Gives the first reals of hole() to a new owner, and its place in the list. Returns where they begin.
  Index place_in_hole(Index node, Index size) {
    const Index hole = hole_, begin = nodes_.begin(hole);
    put_between(node, nodes_.previous(hole), hole);
    nodes_.begin(node) = static_cast<int>(begin);
    nodes_.begin(hole) = static_cast<int>(begin + size);
    hole_size_ -= size;
    if (hole_size_ == 0) unlink(hole);
    return begin;
  }

  /// Removes an owner or hole from the list.
  void unlink(Index node) {
    const Index previous = nodes_.previous(node), next = nodes_.next(node);
    // Each neighbour sees the other one instead of the node, so the last two change places.
    show(previous, next, next, previous);  // NOLINT(readability-suspicious-call-argument)
    clear(node);
    if (hole_ != node) return;
    hole_ = 0;
    hole_size_ = -1;
  }

  /// Removes a hole at the end of the list, if there is one. Returns where the list ends now.
  Index trim(Index end) {
    if (!is_hole(last_)) return end;
    const Index begin = nodes_.begin(last_);
    unlink(last_);
    return begin;
  }

  /// Moves the links of `old` to `copy`, which takes its place.
  void replace(Index old, Index copy) {
    nodes_.begin(copy) = nodes_.begin(old);
    nodes_.next(copy) = nodes_.next(old);
    nodes_.previous(copy) = nodes_.previous(old);
    if (first_ != old && nodes_.previous(old) == 0) return;  // it is in no list
    renew_links_to(copy);
    clear(old);
    if (hole_ == old) hole_ = copy;
  }

  /// Makes the neighbours of an owner that was moved with its links point to it again.
  void renew_links_to(Index node) { show(nodes_.previous(node), nodes_.next(node), node, node); }

  /// Drops all holes, and calls pack(node, to) for each owner in order, which moves its reals to `to` and
  /// returns their end there. Returns the end of the last.
  template <class Pack>
  Index pack(Index to, const Pack& pack_reals) {
    for (Index node = first_, next; node != 0; node = next) {
      next = nodes_.next(node);
      if (nodes_.is_hole(node)) {
        unlink(node);
      } else {
        to = pack_reals(node, to);
      }
    }
    return to;
  }

  /// Returns which invariant does not hold, or null. @param bottom where the first owner must begin
  const char* find_fault(Index bottom, Index end) const {
    Index previous = 0;
    bool hole_seen = false;
    for (Index node = first_; node != 0; previous = node, node = nodes_.next(node)) {
      if (nodes_.previous(node) != previous) return "links of the memory list";
      if (previous == 0 && nodes_.begin(node) != bottom) return "first owner";
      if (extent(node, end) < 0) return "owners out of order";
      if (!is_hole(node)) continue;
      if (extent(node, end) == 0) return "empty hole";
      if (is_hole(previous)) return "holes not joined";
      hole_seen |= node == hole_;
    }
    if (previous != last_) return "end of the memory list";
    if (hole_ == 0) return hole_size_ == -1 ? nullptr : "size of no hole";
    if (!hole_seen) return "hole in use is none";
    return hole_size_ == extent(hole_, end) ? nullptr : "size of the hole in use";
  }

 private:
  void put_between(Index node, Index previous, Index next) {
    nodes_.previous(node) = static_cast<int>(previous);
    nodes_.next(node) = static_cast<int>(next);
    renew_links_to(node);
  }
  void clear(Index node) { nodes_.begin(node) = nodes_.next(node) = nodes_.previous(node) = 0; }
  /// Sets what the neighbours, or the ends of the list, link to.
  void show(Index previous, Index next, Index seen_by_previous, Index seen_by_next) {
    (previous != 0 ? nodes_.next(previous) : first_) = static_cast<int>(seen_by_previous);
    (next != 0 ? nodes_.previous(next) : last_) = static_cast<int>(seen_by_next);
  }

  Nodes nodes_;
  int first_ = 0, last_ = 0;  // 0: the list is empty
  Index hole_ = 0, hole_size_ = -1;
};

}  // namespace ma38
}  // namespace corvidnum
