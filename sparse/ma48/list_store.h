#pragma once

// What the choice of pivots keeps its active matrix in.

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "frame/one_based.h"

namespace corvidnum {

/// Packs a store of lists, whose order in the store stays.
/// @param la    length of `a` and `ind`; at least `end` - 1
/// @param a     [la] values that go with the indices; not looked at unless `reals`
/// @param la    not looked at
/// @param ind   [la] indices above 0; a 0 marks a free place
/// @param lists number of lists
/// @param ptr   [lists] first place of a list; a list with 0 or less is gone, its places are free
/// @param count [lists] indices in a list; an empty one gets the new `end` as its first place
/// @param end   the first place behind the store
/// @param reals not 0: values move with their indices
int ma50_compress(const int* la, double* a, int* ind, const int* lists, int* ptr, const int* count, int* end,
                  const int* reals);

/// A sparse matrix by columns or by rows: lists of indices in one array, with free places between them.
class ListStore {
 public:
  ListStore(double* values, int* indices, std::ptrdiff_t la, int* starts, int* counts, std::ptrdiff_t lists)
      : index(indices, la),
        start(starts, lists),
        count(counts, lists),
        value(values, values ? la : 0),
        la_(la) {}

  const OneBased<int> index;  // 0: a free place. Nothing is known of the places from end() on
  const OneBased<int> start;  // below 0: the list has left the active matrix
  const OneBased<int> count;
  const OneBased<double> value;  // of each index; null: a store of indices alone

  std::ptrdiff_t last(std::ptrdiff_t list) const { return std::ptrdiff_t{start(list)} + count(list) - 1; }
  std::ptrdiff_t end() const { return end_; }
  void set_end(std::ptrdiff_t end) { end_ = end; }
  int compressions() const { return compressions_; }

  /// The list will be read soon: the memory may get its first entries ready.
  void fetch(std::ptrdiff_t list) const {
    __builtin_prefetch(&index(start(list)));
    if (value.data()) __builtin_prefetch(&value(start(list)));
  }
  /// The place of an index that the list has: the last place if no other has it.
  std::ptrdiff_t find(std::ptrdiff_t list, std::ptrdiff_t wanted) const;
  /// Takes an entry out; the last one moves to its place.
  void erase(std::ptrdiff_t list, std::ptrdiff_t place) const;
  /// Makes room for `extra` more behind the list; false: there is none.
  bool grow(std::ptrdiff_t list, std::ptrdiff_t extra);
  /// Adds an index: behind the list, else in front of it, else the list moves to the end; false: there is no
  /// room. Such a store has no values.
  bool add(std::ptrdiff_t list, std::ptrdiff_t entry);

 private:
  bool move_to_end(std::ptrdiff_t list, std::ptrdiff_t extra);
  void move(std::ptrdiff_t list, std::ptrdiff_t to) const;  // the places it leaves are free
  bool is_free(std::ptrdiff_t place) const { return place >= end_ || index(place) == 0; }
  void compress();

  const std::ptrdiff_t la_;
  std::ptrdiff_t end_ = 1;
  int compressions_ = 0;
};

constexpr int kBatch = 16;  // indices compared at once

inline bool batch_has(const int* batch, int wanted) {
  using Lanes = int __attribute__((vector_size(16)));
  Lanes lanes[4];
  static_assert(sizeof lanes == kBatch * sizeof(int), "a batch is compared whole");
  std::memcpy(lanes, batch, sizeof lanes);
  const Lanes sought = {wanted, wanted, wanted, wanted};
  const Lanes hits =
      (lanes[0] == sought) | (lanes[1] == sought) | (lanes[2] == sought) | (lanes[3] == sought);
  long long halves[2];
  std::memcpy(halves, &hits, sizeof halves);
  return (halves[0] | halves[1]) != 0;
}

inline std::ptrdiff_t ListStore::find(std::ptrdiff_t list, std::ptrdiff_t wanted) const {
  const std::ptrdiff_t first = start(list), behind = count(list) - 1;
  const int* const entries = &index(first);
  const int sought = static_cast<int>(wanted);
  std::ptrdiff_t k = 0;
  while (k + kBatch <= behind && !batch_has(entries + k, sought)) k += kBatch;
  while (k < behind && entries[k] != sought) ++k;
  return first + k;
}

inline void ListStore::erase(std::ptrdiff_t list, std::ptrdiff_t place) const {
  const std::ptrdiff_t last_place = last(list);
  if (value.data()) value(place) = value(last_place);
  index(place) = index(last_place);
  index(last_place) = 0;
  --count(list);
}

/// Columns, or rows, by their number of entries. A list runs from the latest pushed to the first.
struct CountLists {
  const OneBased<int> first;     // of a count
  const OneBased<int> previous;  // 0 at the head
  const OneBased<int> next;

  void clear() const { std::fill_n(first.data(), first.size(), 0); }
  void push(std::ptrdiff_t item, std::ptrdiff_t count) const {
    const int head = first(count);
    previous(item) = 0;
    next(item) = head;
    if (head != 0) previous(head) = static_cast<int>(item);
    first(count) = static_cast<int>(item);
  }
  void remove(std::ptrdiff_t item, std::ptrdiff_t count) const {
    const int before = previous(item), after = next(item);
    (before != 0 ? next(before) : first(count)) = after;
    if (after != 0) previous(after) = before;
  }
};

}  // namespace corvidnum
