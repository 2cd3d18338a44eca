#pragma once

#include "sparse/ma38/store/objects.h"

namespace corvidnum {
namespace ma38 {

/// Holds the columns that may become pivotal and are in no front, a list for each degree bound 1 .. n.
/// Columns are numbered from 1, and 0 is none. A list holds first the candidates that searches put back, the
/// last one on top, then all other columns by ascending number.
///
/// Most columns that enter a list leave it before any search looks at that degree. So they wait in a chain,
/// which takes constant time, and are ordered only when a search asks for the lowest number of their degree:
///
///   newcomers (a chain) -> put back (a chain, the last one first) -> the others (an ordered set)
///
/// Each of the three can be missing. heads(d) is the first column of the list, negative if that is a
/// newcomer. Two words of each column object hold its links. They are column numbers, because objects move:
///
///                           | first link (kFirstLink)            | second link (kSecondLink)
///   first of a chain        | ~next                              | the first column below the chain
///   other member of a chain | ~next                              | previous
///   member of the set       | root of the lower half below it    | root of the upper half below it
///
/// The set is a digital heap tree: the root is its lowest number, and each step down parts the numbers below
/// by one more bit, from the highest. It is never deeper than a number has bits, and needs no balancing.
///
/// Always true:
///  1. a column in a list has that list's number as its degree bound, and is in it once;
///  2. lists below least() are empty;
///  3. heads(d) is negative exactly if the list has newcomers;
///  4. the first link is negative exactly in chains, which are linked both ways;
///  5. a member of the set is lower than all below it, and they agree with it in the bits parted so far.
class DegreeLists {
 public:
  /// Lays the lists over memory of the caller's. clear() must be the first call.
  /// @param heads   [n] out: (d) is the first column of the list of degree d, see above
  /// @param objects [n] (j) is the position of column j's object in `ints`
  /// @param ints    the integers of the space, which the column objects are in
  DegreeLists(OneBased<int> heads, OneBased<int> objects, OneBased<int> ints);

  /// Empties all lists.
  void clear();
  /// Puts a column among the others of its degree bound.
  void enter(Index column);
  /// Puts a candidate on top of the list of its degree bound.
  void put_back(Index column);
  /// Removes a column from its list. Does nothing if its degree bound is not above 0: then it is in no list.
  void leave(Index column);
  /// Removes the first column of the lowest list that is not empty, and returns it, or 0 if all are empty.
  Index remove_first();

  /// Returns a lower bound of the degrees whose lists are not empty.
  Index least() const { return least_; }
  /// Returns whether the invariants hold.
  bool consistent() const;
  /// Calls visit(column) for each column of all lists, by ascending degree. The lists must be consistent.
  template <class Visit>
  void each(const Visit& visit) const {
    for (Index degree = 1; degree <= heads_.size(); ++degree) {
      if (heads_(degree) < 0) visit_chain(-heads_(degree), visit);
      const int below = below_newcomers(degree);
      if (is_in_chain(below)) visit_chain(below, visit);
      visit_set(ordered(degree), visit);
    }
  }

 private:
  int& word(Index column, Index which) const { return ints_(objects_(column) + which); }
  // The two links of a column, by the names of their uses: in a chain, and in the ordered set.
  int& next_link(int column) const { return word(column, kFirstLink); }  // ~next
  int& back_link(int column) const {
    return word(column, kSecondLink);
  }  // previous, or what is below the chain
  int& lower_half(int column) const { return word(column, kFirstLink); }
  int& upper_half(int column) const { return word(column, kSecondLink); }
  Index degree_of(Index column) const { return word(column, kDegree); }
  bool is_in_chain(int column) const { return column != 0 && next_link(column) < 0; }
  int next(int column) const { return ~next_link(column); }

  int& below_newcomers(Index degree) const;  // link to the first of those put back, else to the root
  int& ordered(Index degree) const;          // link to the root of the set
  void push(int column, int first, int below) const;
  void unlink(Index degree, int column) const;
  void order_newcomers(Index degree) const;
  void insert(int* link, int column) const;
  void remove(int* link) const;
  int* find(int* link, int column) const;
  void note(Index degree) { least_ = degree < least_ ? degree : least_; }

  /// Describes the numbers that can stand below a place of the set: the bit parted next, a mask of the bits
  /// parted on the way, and the values that these bits have.
  struct Part {
    int bit, parted, prefix;
    Part lower() const { return {bit / 2, parted | bit, prefix}; }
    Part upper() const { return {bit / 2, parted | bit, prefix | bit}; }
  };
  bool is_member(Index degree, int column) const;
  bool is_sound_chain(Index degree, int first) const;
  bool is_sound_set(Index degree, int root, int parent, const Part& part) const;

  template <class Visit>
  void visit_chain(int first, const Visit& visit) const {
    for (int column = first; column != 0; column = next(column)) visit(Index{column});
  }
  template <class Visit>
  void visit_set(int root, const Visit& visit) const {  // no deeper than a number has bits
    if (root == 0) return;
    visit(Index{root});
    visit_set(lower_half(root), visit);
    visit_set(upper_half(root), visit);
  }

  OneBased<int> heads_, objects_, ints_;
  int highest_bit_ = 1;  // of n
  Index least_ = 1;
};

}  // namespace ma38
}  // namespace corvidnum
