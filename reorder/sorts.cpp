// Stable insertion sorts that work from the back of the list. Which of two equal elements comes first decides
// ties of the reordering, so stability is part of the contract.

#include "reorder/sorts.h"

namespace corvidnum {
namespace {

/// A list of nodes or numbers.
struct SingleList {
  OneBased<int> list;
  using Element = int;
  Element get(int i) const { return list(i); }
  void put(int i, Element e) const { list(i) = e; }
};

/// A list of keys and a list of companions that move with them.
struct PairLists {
  OneBased<int> keys, companions;
  struct Element {
    int key, companion;
  };
  Element get(int i) const { return {keys(i), companions(i)}; }
  void put(int i, Element e) const {
    keys(i) = e.key;
    companions(i) = e.companion;
  }
};

/// Inserts the elements count - 1, ..., 1 in turn into the sorted stretch behind each of them.
/// @param misplaced misplaced(a, b) tells whether a must not stand before b; false for equal keys, which
///                  makes the sort stable
template <class Lists, class Misplaced>
bool insertion_sort(int count, const Lists& lists, Misplaced misplaced) {
  if (count < 1) return false;
  for (int i = count - 1; i >= 1; --i) {
    const typename Lists::Element lifted = lists.get(i);
    int j = i + 1;
    for (; j <= count && misplaced(lifted, lists.get(j)); ++j) lists.put(j - 1, lists.get(j));
    if (j > i + 1) lists.put(j - 1, lifted);
  }
  return true;
}

}  // namespace

bool gps_sort_pairs_decreasing(int count, OneBased<int> keys, OneBased<int> companions) {
  using Pair = PairLists::Element;
  return insertion_sort(count, PairLists{keys, companions},
                        [](const Pair& a, const Pair& b) { return a.key < b.key; });
}

bool gps_sort_decreasing(int count, OneBased<int> list) {
  return insertion_sort(count, SingleList{list}, [](int a, int b) { return a < b; });
}

bool gps_sort_nodes_increasing(int count, OneBased<int> nodes, OneBased<const int> key) {
  return insertion_sort(count, SingleList{nodes}, [key](int a, int b) { return key(a) > key(b); });
}

}  // namespace corvidnum
