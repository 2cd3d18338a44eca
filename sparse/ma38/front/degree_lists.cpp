// Degree lists: chains of newcomers and of columns put back, over ordered sets (see the header).

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
  return head < 0 ? word8(-head) : head;
}

int& DegreeLists::ordered(Index degree) const {
  int& below = below_newcomers(degree);
  return is_in_chain(below) ? word8(below) : below;
}

// ---- Chains

/// The column becomes the first of a chain; `first` is the present one, 0: there is none, and `below`
/// follows.
inline void DegreeLists::push(int column, int first, int below) const {
  word7(column) = ~first;
  if (first != 0) {
    word8(column) = word8(first);
    word8(first) = column;
  } else {
    word8(column) = below;
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
  const int follower = next(column), word = word8(column);
  int& below = below_newcomers(degree);
  if (follower != 0) word8(follower) = word;
  if (heads_(degree) == -column) {
    heads_(degree) = follower != 0 ? -follower : word;
  } else if (below == column) {
    below = follower != 0 ? follower : word;
  } else {
    word7(word) = ~follower;
  }
}

// ---- The ordered set. A link is a place that holds the root of a part.

void DegreeLists::insert(int* link, int column) const {
  for (int bit = highest_bit_; *link != 0; bit /= 2) {
    const int root = *link;
    if (column < root) {  // it takes the place, and the root goes down
      *link = column;
      word7(column) = word7(root);
      word8(column) = word8(root);
      column = root;
    }
    link = (column & bit) == 0 ? &word7(*link) : &word8(*link);
  }
  *link = column;
  word7(column) = word8(column) = 0;
}

int* DegreeLists::find(int* link, int column) const {
  for (int bit = highest_bit_; *link != column; bit /= 2)
    link = (column & bit) == 0 ? &word7(*link) : &word8(*link);
  return link;
}

/// The lowest number below takes the place of one that has left, and so on down.
void DegreeLists::remove(int* link) const {
  int lower = word7(*link), upper = word8(*link);
  while ((*link = lower != 0 ? lower : upper) != 0) {
    int& new_lower = word7(*link);
    int& new_upper = word8(*link);
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
  heads_(degree) = word8(column);
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
    if (next(column) != 0 && word8(next(column)) != column) return false;
  }
  return true;
}

bool DegreeLists::is_sound_set(Index degree, int root, int parent, const Part& part) const {
  if (root == 0) return true;
  if (!is_member(degree, root) || root <= parent || (root & part.parted) != part.prefix) return false;
  if (word7(root) < 0 || (part.bit == 0 && (word7(root) != 0 || word8(root) != 0))) return false;
  return is_sound_set(degree, word7(root), root, part.lower()) &&
         is_sound_set(degree, word8(root), root, part.upper());
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
