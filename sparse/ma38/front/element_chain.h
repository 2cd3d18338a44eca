#pragma once

#include <algorithm>

#include "sparse/ma38/report/results.h"

namespace corvidnum {
namespace ma38 {

/// Records the chain of LU elements that one front leaves, and the children of the next of them: the elements
/// that were assembled into the front since the last one was stored.
///
/// The children are a list in the order in which they were noted. Element e links to the next one by
/// link(e) = -2 - next, the last one by -2; kNotNoted: e is not in the list. The links share their memory
/// with Front::row_place, which is free for e, the number of a row that is pivotal; as they are negative,
/// that row is outside the front.
///
/// Always true:
///  1. from first to last there are children() elements, each once;
///  2. the elements in the list are those with a link other than kNotNoted;
///  3. largest_rows() and largest_columns() are 0 as long as first_element() is.
class ElementChain {
 public:
  static constexpr int kNotNoted = -1;

  explicit ElementChain(OneBased<int> links) : links_(links) {}

  /// Begins the chain of a new front.
  /// @param reals the reals that factors and contribution blocks take now
  void open(Wide reals) {
    first_element_ = rows_ = columns_ = 0;
    peak_ = reals;
  }
  /// Notes a child, once.
  void note_child(Index e) {
    if (links_(e) != kNotNoted) return;
    links_(e) = kLast;
    if (last_ != 0) {
      links_(last_) = static_cast<int>(kLast - e);
    } else {
      first_ = e;
    }
    last_ = e;
    ++children_;
  }
  /// Calls visit(e) for each child in order and empties the list.
  template <class Visit>
  void empty_children(const Visit& visit) {
    for (Index e = first_; e != 0;) {
      visit(e);
      const Index next = kLast - links_(e);
      links_(e) = kNotNoted;
      e = next;
    }
    first_ = last_ = children_ = 0;
  }
  /// Notes an LU element of the chain.
  /// @param lu            its position in INDEX
  /// @param rows, columns of the front, the pivots of the element included
  /// @param reals         the reals that factors and contribution blocks take now
  void note_element(Index lu, Index rows, Index columns, Wide reals) {
    if (first_element_ == 0) first_element_ = lu;
    rows_ = std::max(rows_, rows);
    columns_ = std::max(columns_, columns);
    peak_ = std::max(peak_, reals);
  }

  Index children() const { return children_; }
  Index first_element() const { return first_element_; }  // the LU element that opened it; 0: none yet
  Index largest_rows() const { return rows_; }
  Index largest_columns() const { return columns_; }
  Wide peak() const { return peak_; }  // most reals of factors and contribution blocks while it lasted

  /// Returns whether the invariants hold, but for what is not noted.
  bool consistent() const {
    Index count = 0, last = 0;
    for (Index e = first_; e != 0; last = e, e = kLast - links_(e)) {
      if (e < 1 || e > links_.size() || links_(e) > kLast || ++count > children_) return false;
    }
    return count == children_ && last == last_ && (first_element_ != 0 || (rows_ == 0 && columns_ == 0));
  }

 private:
  static constexpr int kLast = -2;

  OneBased<int> links_;
  Index first_ = 0, last_ = 0, children_ = 0;
  Index first_element_ = 0, rows_ = 0, columns_ = 0;
  Wide peak_ = 0;
};

}  // namespace ma38
}  // namespace corvidnum
