#pragma once

// The store in which the pivot selection keeps its active submatrix: lists of indices with free places
// between them (the columns with their values, the rows as a pattern), and lists of columns or rows by their
// count.

#include <algorithm>
#include <cstddef>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "frame/one_based.h"

namespace corvidnum {

/// Packs a store of lists towards its first place. The lists keep their order in the store.
/// @param la    unused; part of the kernel's argument list
/// @param a     [at least end - 1] values that belong to the indices; not read if `reals` is 0
/// @param ind   [at least end - 1] indices above 0; a 0 marks a free place
/// @param lists number of lists
/// @param ptr   [lists] in, out: first place of each list. A list with 0 or less has left, its places must be
///              free; an empty list gets the new `end`
/// @param count [lists] indices in each list
/// @param end   in, out: first place behind the store; the places that become free are set to 0
/// @param reals not 0: the values move with their indices
int ma50_compress(const int* la, double* a, int* ind, const int* lists, int* ptr, const int* count, int* end,
                  const int* reals);

/// A sparse matrix by columns or by rows: lists of indices in one array, with free places between them.
/// A list is active while start(list) > 0. Always true between two operations:
///  1. 1 <= end() <= la + 1;
///  2. each active list that is not empty has its places start .. start + count - 1 before end(), and none of
///     them is free;
///  3. before end(), exactly as many places are taken as the active lists have entries: no two lists overlap,
///     and a list that has left holds no place.
/// Nothing is known of the places from end() on.
class ListStore {
 public:
  /// @param values [la] or null: a store of indices alone
  ListStore(double* values, int* indices, std::ptrdiff_t la, int* starts, int* counts, std::ptrdiff_t lists)
      : index(indices, la),
        start(starts, lists),
        count(counts, lists),
        value(values, values ? la : 0),
        la_(la) {}

  const OneBased<int> index;  // 0: a free place
  const OneBased<int> start;  // below 0: the list has left the active submatrix
  const OneBased<int> count;
  const OneBased<double> value;  // of each index

  /// Returns the place of the list's last entry.
  std::ptrdiff_t last(std::ptrdiff_t list) const { return std::ptrdiff_t{start(list)} + count(list) - 1; }
  std::ptrdiff_t end() const { return end_; }
  void set_end(std::ptrdiff_t end) { end_ = end; }
  int compressions() const { return compressions_; }

  /// Prefetches the first entries of a list that will be read soon.
  void fetch(std::ptrdiff_t list) const {
    __builtin_prefetch(&index(start(list)));
    if (value.data()) __builtin_prefetch(&value(start(list)));
  }
  /// Returns the place of the entry `wanted` in the list, or the last place if no other holds it: a caller
  /// who is not sure that the list has it compares index(place).
  std::ptrdiff_t find(std::ptrdiff_t list, std::ptrdiff_t wanted) const;
  /// Removes the entry at `place`; the last entry moves there.
  void erase(std::ptrdiff_t list, std::ptrdiff_t place) const;
  /// Makes room for `extra` entries behind the list, from free places behind it, then in front of it, else by
  /// moving it to the end of the store. The caller fills the room or sets it to 0, and raises the count.
  /// @return false if there is no room; the list is then as before
  bool grow(std::ptrdiff_t list, std::ptrdiff_t extra);
  /// Adds an entry to a list of a store without values: behind it, else in front of it, else behind it after
  /// a move to the end. The order of the entries decides ties between pivots, so this sequence must stay.
  /// @return false if there is no room
  bool add(std::ptrdiff_t list, std::ptrdiff_t entry);

  /// Tells whether the invariants hold, by a pass over the store. For assertions.
  bool consistent() const;

 private:
  bool add_elsewhere(std::ptrdiff_t list, std::ptrdiff_t entry);  // add() for a list without room behind it
  bool move_to_end(std::ptrdiff_t list, std::ptrdiff_t extra);
  void move(std::ptrdiff_t list, std::ptrdiff_t to) const;  // the places it leaves become free
  /// Returns how many places behind `place` are free, as far as they are wanted.
  std::ptrdiff_t free_behind(std::ptrdiff_t place, std::ptrdiff_t wanted) const;
  bool is_free(std::ptrdiff_t place) const { return place >= end_ || index(place) == 0; }
  void compress();

  const std::ptrdiff_t la_;
  std::ptrdiff_t end_ = 1;
  int compressions_ = 0;
};

constexpr int kBatch = 16;      // indices that find() compares at once
constexpr int kFewEntries = 4;  // up to here it compares one after the other

constexpr unsigned kWholeBatch = (1u << kBatch) - 1;

/// Returns a word whose bit k tells whether batch[k] equals `wanted`, for k below kBatch.
inline unsigned matches_in_batch(const int* batch, int wanted) {
#if defined(__SSE2__)
  const __m128i sought = _mm_set1_epi32(wanted);
  const auto equal = [&](int k) {
    return _mm_cmpeq_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(batch + k)), sought);
  };
  const __m128i low = _mm_packs_epi32(equal(0), equal(4)), high = _mm_packs_epi32(equal(8), equal(12));
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(low, high)));
#else
  unsigned found = 0;
  for (int k = 0; k < kBatch; ++k) found |= static_cast<unsigned>(batch[k] == wanted) << k;
  return found;
#endif
}

inline std::ptrdiff_t ListStore::find(std::ptrdiff_t list, std::ptrdiff_t wanted) const {
  const std::ptrdiff_t first = start(list), behind = count(list) - 1;
  const int* const entries = &index(first);
  const int sought = static_cast<int>(wanted);
  std::ptrdiff_t k = 0;
  for (; k + kBatch <= behind; k += kBatch) {
    const unsigned found = matches_in_batch(entries + k, sought);
    if (found != 0) return first + k + __builtin_ctz(found);
  }
  // A batch may reach behind the list, but not behind the store. It counts as found at the last entry, if at
  // no other.
  if (behind - k >= kFewEntries && first + k + kBatch - 1 <= la_) {
    return first + k + __builtin_ctz(matches_in_batch(entries + k, sought) | 1u << (behind - k));
  }
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

inline bool ListStore::add(std::ptrdiff_t list, std::ptrdiff_t entry) {
  const std::ptrdiff_t place = last(list) + 1;
  if (place >= end_ || index(place) != 0) return add_elsewhere(list, entry);
  index(place) = static_cast<int>(entry);
  ++count(list);
  return true;
}

/// Doubly linked lists of the active columns, or rows, by their count of entries. The item pushed last is the
/// first of its list; the search for pivots follows this order, so it decides ties.
/// Always true between two pivots:
///  1. first(c) is 0 or an item whose previous is 0; next and previous are the inverse of each other;
///  2. an item in the list of count c is active and has c entries;
///  3. each active item that is not empty is in exactly one list.
struct CountLists {
  const OneBased<int> first;     // of each count
  const OneBased<int> previous;  // 0: the item is the first of its list
  const OneBased<int> next;      // 0: the item is the last

  /// Empties all lists.
  void clear() const { std::fill_n(first.data(), first.size(), 0); }
  /// Puts an item in front of the list of its count.
  void push(std::ptrdiff_t item, std::ptrdiff_t count) const {
    const int head = first(count);
    previous(item) = 0;
    next(item) = head;
    if (head != 0) previous(head) = static_cast<int>(item);
    first(count) = static_cast<int>(item);
  }
  /// Takes an item out of the list of its count.
  void remove(std::ptrdiff_t item, std::ptrdiff_t count) const {
    const int before = previous(item), after = next(item);
    (before != 0 ? next(before) : first(count)) = after;
    if (after != 0) previous(after) = before;
  }
  /// Tells whether the invariants hold for the lists of `items`. For assertions.
  bool consistent(const ListStore& items) const;
};

}  // namespace corvidnum
