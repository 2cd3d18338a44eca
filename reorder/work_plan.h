#pragma once

// The layout of the one work array of gpskca. The regions of successive phases overlap, so that the caller
// need not supply their sum: each phase reads what the phase before it has left. Only this header knows
// positions.
//
//           1        p                                                                      length
//  always   | numbered |
//  search              |    column 1    |    column 2    |    column 3    |
//  transition          | levels2 |         column 2 (or 3) is read ...         |   levels1   |
//  combination         | levels2 | totals | list, starts, sizes >   < incr2 | incr1 |  levels1   |
//  packing             |         | totals |      < level list | level pointers |   levels1   |
//  numbering           | numbered, queue ...  < level list | level pointers |     levels1     |
//  measurement  | new order, n | new numbers, n |
//
// p is the next number to be given; what lies below it is final. An arrow shows the direction in which a part
// grows.

#include <cstddef>

#include "frame/one_based.h"

namespace corvidnum {

/// A rooted level structure in a column of the search: the nodes from the front, in order of discovery, and
/// the starts of the levels from the back. Level k starts at node(level_start(k)), and level_start(k) is
/// list(available - k + 1):
///
///   1              node_count           available - depth                                  available
///   | nodes in order of discovery | free | node_count + 1 | start of level depth | ... | 1 |
class LevelColumn {
 public:
  explicit LevelColumn(OneBased<int> list) : list_(list) {}
  int available() const { return static_cast<int>(list_.size()); }
  OneBased<int> list() const { return list_; }
  int& node(int k) const { return list_(k); }
  /// Returns the place of a level's start; for depth + 1, of one past the last node.
  int& level_start(int level) const { return list_(list_.size() - level + 1); }

 private:
  OneBased<int> list_;
};

/// The three columns of the search, one after the other, numbered from 1.
struct Columns {
  OneBased<int> storage;  // [3 available] or more
  int available;

  OneBased<int> list(int column) const {
    return storage.part(std::ptrdiff_t{available} * (column - 1) + 1, available);
  }
  LevelColumn column(int number) const { return LevelColumn(list(number)); }
};

/// The regions of the combination.
struct CombinationRegions {
  OneBased<int> levels1, levels2;          // [n] level of each node in either structure
  OneBased<int> level_totals;              // [depth] number of nodes assigned to each level so far
  OneBased<int> components;                // [available] nodes, then starts, then sizes of the components
  OneBased<int> increments1, increments2;  // [depth] nodes that a component adds to each level, either way
};

/// The layout of `work` for one component; `next` is the next number to be given. Regions whose length
/// depends on the component take its depth or size as an argument.
class WorkPlan {
 public:
  WorkPlan(OneBased<int> work, int n, int next) : work_(work), n_(n), next_(next) {}

  std::ptrdiff_t length() const { return work_.size(); }

  // search
  Columns columns(int available) const { return {work_.from(next_), available}; }

  // from the transition on: the level of each node in either structure, 0 outside the component
  OneBased<int> levels2() const { return work_.part(levels2_at(), n_); }
  OneBased<int> levels1() const { return work_.part(levels1_at(), n_); }
  std::ptrdiff_t levels2_at() const { return next_; }
  std::ptrdiff_t levels1_at() const { return work_.size() - n_ + 1; }

  // combination; the totals are kept until the levels are packed
  OneBased<int> level_totals(int depth) const { return work_.part(next_ + n_, depth); }
  /// Returns the regions of the combination.
  /// @param available length of `components`, at most work_.size() + 1 - 3 depth - 2 n - next
  CombinationRegions combination(int depth, int available) const {
    return {levels1(),
            levels2(),
            level_totals(depth),
            work_.part(next_ + n_ + depth, available),
            work_.part(levels1_at() - depth, depth),
            work_.part(levels1_at() - 2 * std::ptrdiff_t{depth}, depth)};
  }

  // packing and numbering
  std::ptrdiff_t level_pointers_at(int depth) const { return levels1_at() - 1 - depth; }
  std::ptrdiff_t level_list_at(int depth, int node_count) const {
    return level_pointers_at(depth) - node_count;
  }
  OneBased<int> level_pointers(int depth) const { return work_.part(level_pointers_at(depth), depth + 1); }
  OneBased<int> level_list(int depth, int node_count) const {
    return work_.part(level_list_at(depth, node_count), node_count);
  }
  /// Returns the places from the component's first number up to the list of its levels: those of the order
  /// itself and depth + next - 1 or more behind it.
  OneBased<int> queue(int depth, int node_count) const {
    return work_.part(next_, level_list_at(depth, node_count) - next_);
  }

  // measurement
  OneBased<int> new_order() const { return work_.part(1, n_); }
  OneBased<int> new_number() const { return work_.part(std::ptrdiff_t{n_} + 1, n_); }

 private:
  OneBased<int> work_;
  int n_;
  std::ptrdiff_t next_;
};

}  // namespace corvidnum
