// Degree lists: keeps the columns that may become pivotal by their degree bounds. The header draws a list and
// numbers the invariants.
//
//   enter()         pushes a column on the chain of newcomers of its degree, in constant time;
//   put_back()      pushes a candidate on the chain under the newcomers, in constant time;
//   leave()         unlinks a column from its chain, or finds it in the ordered set and removes it, which
//                   takes as many steps as a number has bits;
//   remove_first()  goes up to the lowest list that is not empty. Takes the candidate put back last or, if
//                   there is none, moves all newcomers into the ordered set and takes its lowest number.
// The ordered set is a digital heap tree, as in the radix priority search trees of E. M. McCreight, SIAM J.
// Comput. 14 (1985): each root is the lowest number of its part, and a bit decides between the halves below.

#include "sparse/ma38/front/degree_lists.h"

namespace corvidnum {
namespace ma38 {

DegreeLists::DegreeLists(OneBased<int> heads, OneBased<int> objects, OneBased<int> ints)
    : heads_(heads), objects_(objects), ints_(ints) {
  while (highest_bit_ <= heads.size() / 2) highest_bit_ *= 2;
}

void DegreeLists::clear() {
  for (Index degree = 1; degree <= heads_.size(); ++degree) heads_(degree) = 0;
  least_ = 1;
}

int& DegreeLists::below_newcomers(Index degree) const {
  int& head = heads_(degree);
  return head < 0 ? back_link(-head) : head;
}

int& DegreeLists::ordered(Index degree) const {
  int& below = below_newcomers(degree);
  return is_in_chain(below) ? back_link(below) : below;
}

// ---- Chains

/// Makes the column the first of a chain. `first` is the present first one (0: there is none), and `below`
/// follows.
inline void DegreeLists::push(int column, int first, int below) const {
  next_link(column) = ~first;
  if (first != 0) {
    back_link(column) = back_link(first);
    back_link(first) = column;
  } else {
    back_link(column) = below;
  }
}

void DegreeLists::enter(Index column) {
  const Index degree = degree_of(column);
  const int newcomer = static_cast<int>(column);
  int& head = heads_(degree);
  push(newcomer, head < 0 ? -head : 0, head);
  head = -newcomer;
  note(degree);
}

void DegreeLists::put_back(Index column) {
  const Index degree = degree_of(column);
  int& top = below_newcomers(degree);
  push(static_cast<int>(column), is_in_chain(top) ? top : 0, top);
  top = static_cast<int>(column);
  note(degree);
}

void DegreeLists::unlink(Index degree, int column) const {
  const int follower = next(column), back = back_link(column);
  int& below = below_newcomers(degree);
  if (follower != 0) back_link(follower) = back;
  if (heads_(degree) == -column) {
    heads_(degree) = follower != 0 ? -follower : back;
  } else if (below == column) {
    below = follower != 0 ? follower : back;
  } else {
    next_link(back) = ~follower;
  }
}

// ---- The ordered set. A link is a place that holds the root of a part.

void DegreeLists::insert(int* link, int column) const {
  for (int bit = highest_bit_; *link != 0; bit /= 2) {
    const int root = *link;
    if (column < root) {  // it takes the place, and the root goes down
      *link = column;
      lower_half(column) = lower_half(root);
      upper_half(column) = upper_half(root);
      column = root;
    }
    link = (column & bit) == 0 ? &lower_half(*link) : &upper_half(*link);
  }
  *link = column;
  lower_half(column) = upper_half(column) = 0;
}

int* DegreeLists::find(int* link, int column) const {
  for (int bit = highest_bit_; *link != column; bit /= 2)
    link = (column & bit) == 0 ? &lower_half(*link) : &upper_half(*link);
  return link;
}

/// Removes the root at the link: the lowest number below takes its place, and so on down.
void DegreeLists::remove(int* link) const {
  int lower = lower_half(*link), upper = upper_half(*link);
  while ((*link = lower != 0 ? lower : upper) != 0) {
    int& new_lower = lower_half(*link);
    int& new_upper = upper_half(*link);
    const int below_lower = new_lower, below_upper = new_upper;
    if (lower != 0) {
      new_upper = upper;
      link = &new_lower;
    } else {
      new_lower = 0;
      link = &new_upper;
    }
    lower = below_lower;
    upper = below_upper;
  }
}

void DegreeLists::order_newcomers(Index degree) const {
  int column = -heads_(degree);
  if (column < 0) return;
  heads_(degree) = back_link(column);
  int* const root = &ordered(degree);
  while (column != 0) {
    const int follower = next(column);
    insert(root, column);
    column = follower;
  }
}

// ---- Both

void DegreeLists::leave(Index column) {
  const Index degree = degree_of(column);
  if (degree <= 0) return;
  const int leaving = static_cast<int>(column);
  if (is_in_chain(leaving)) {
    unlink(degree, leaving);
  } else {
    remove(find(&ordered(degree), leaving));
  }
}

Index DegreeLists::remove_first() {
  while (least_ <= heads_.size() && heads_(least_) == 0) ++least_;
  if (least_ > heads_.size()) return 0;
  const int top = below_newcomers(least_);
  if (is_in_chain(top)) {
    unlink(least_, top);
    return top;
  }
  order_newcomers(least_);
  const int lowest = heads_(least_);
  remove(&heads_(least_));
  return lowest;
}

// ---- Checks

bool DegreeLists::is_member(Index degree, int column) const {
  return 1 <= column && column <= heads_.size() && objects_(column) != 0 && degree_of(column) == degree;
}

bool DegreeLists::is_sound_chain(Index degree, int first) const {
  Index length = 0;
  for (int column = first; column != 0; column = next(column)) {
    if (!is_member(degree, column) || !is_in_chain(column) || ++length > heads_.size()) return false;
    if (next(column) != 0 && back_link(next(column)) != column) return false;
  }
  return true;
}

bool DegreeLists::is_sound_set(Index degree, int root, int parent, const Part& part) const {
  if (root == 0) return true;
  if (!is_member(degree, root) || root <= parent || (root & part.parted) != part.prefix) return false;
  if (lower_half(root) < 0 || (part.bit == 0 && (lower_half(root) != 0 || upper_half(root) != 0)))
    return false;
  return is_sound_set(degree, lower_half(root), root, part.lower()) &&
         is_sound_set(degree, upper_half(root), root, part.upper());
}

bool DegreeLists::consistent() const {
  for (Index degree = 1; degree <= heads_.size(); ++degree) {
    if (heads_(degree) == 0) continue;
    if (degree < least_) return false;
    if (heads_(degree) < 0 && !is_sound_chain(degree, -heads_(degree))) return false;
    const int below = below_newcomers(degree);
    if (below != 0 && !is_member(degree, below)) return false;
    if (is_in_chain(below) && !is_sound_chain(degree, below)) return false;
    if (!is_sound_set(degree, ordered(degree), 0, {highest_bit_, 0, 0})) return false;
  }
  return true;
}

}  // namespace ma38
}  // namespace corvidnum
