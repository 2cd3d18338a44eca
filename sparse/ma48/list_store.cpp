// Lists of numbers in one array: growth, compression, and the checks of the invariants that list_store.h
// numbers.

#include "sparse/ma48/list_store.h"

#include <cassert>
#include <cstring>

namespace corvidnum {
namespace {

/// Moves `count` elements, above 0, to places in front of them, which may overlap, or to others.
template <class T>
void shift(const T* from, std::ptrdiff_t count, T* to) {
  constexpr std::ptrdiff_t kFew = 8;  // no call pays for these
  if (count > kFew) {
    std::memmove(to, from, static_cast<std::size_t>(count) * sizeof *to);
  } else {
    for (std::ptrdiff_t k = 0; k < count; ++k) to[k] = from[k];
  }
}

}  // namespace

bool ListStore::consistent() const {
  if (end_ < 1 || end_ > la_ + 1) return false;
  std::ptrdiff_t entries = 0, taken = 0;
  for (std::ptrdiff_t list = 1; list <= start.size(); ++list) {
    if (start(list) <= 0 || count(list) == 0) continue;
    if (count(list) < 0 || last(list) >= end_) return false;
    for (std::ptrdiff_t place = start(list); place <= last(list); ++place) {
      if (index(place) <= 0) return false;
    }
    entries += count(list);
  }
  for (std::ptrdiff_t place = 1; place < end_; ++place) taken += index(place) != 0;
  return taken == entries;
}

bool CountLists::consistent(const ListStore& items) const {
  std::ptrdiff_t to_be_met = 0;
  for (std::ptrdiff_t item = 1; item <= items.start.size(); ++item) {
    to_be_met += items.start(item) > 0 && items.count(item) > 0;
  }
  for (std::ptrdiff_t count = 1; count <= first.size(); ++count) {
    int before = 0;
    for (int item = first(count); item != 0; item = next(item)) {
      if (item < 0 || item > items.start.size() || previous(item) != before) return false;
      if (items.start(item) <= 0 || items.count(item) != count) return false;
      if (--to_be_met < 0) return false;  // a cycle, or a list that two counts share
      before = item;
    }
  }
  return to_be_met == 0;
}

std::ptrdiff_t ListStore::free_behind(std::ptrdiff_t place, std::ptrdiff_t wanted) const {
  const std::ptrdiff_t most = std::min(wanted, la_ - place), in_store = std::min(most, end_ - 1 - place);
  std::ptrdiff_t found = 0;
  while (found < in_store && index(place + found + 1) == 0) ++found;
  return found < in_store ? found : most;
}

bool ListStore::grow(std::ptrdiff_t list, std::ptrdiff_t extra) {
  const std::ptrdiff_t first = start(list), last_place = last(list);
  const std::ptrdiff_t behind = free_behind(last_place, extra), needed = extra - behind;
  std::ptrdiff_t before = 0;
  while (before < needed && first - before > 1 && is_free(first - before - 1)) ++before;
  if (before < needed) return move_to_end(list, extra);
  if (needed > 0) move(list, first - needed);
  end_ = std::max(end_, last_place + behind + 1);
  return true;
}

bool ListStore::add_elsewhere(std::ptrdiff_t list, std::ptrdiff_t entry) {
  std::ptrdiff_t place = last(list) + 1;
  const std::ptrdiff_t before = std::ptrdiff_t{start(list)} - 1;
  if (place == end_ && end_ <= la_) {
    ++end_;
  } else if (before >= 1 && index(before) == 0) {
    place = start(list) = static_cast<int>(before);
  } else {
    if (!move_to_end(list, 1)) return false;
    place = last(list) + 1;
  }
  index(place) = static_cast<int>(entry);
  ++count(list);
  return true;
}

bool ListStore::move_to_end(std::ptrdiff_t list, std::ptrdiff_t extra) {
  const std::ptrdiff_t room = count(list) + extra;
  if (room + end_ > la_ + 1) {
    compress();
    if (room + end_ > la_ + 1) return false;
  }
  const std::ptrdiff_t to = end_;
  end_ += room;
  move(list, to);
  return true;
}

void ListStore::move(std::ptrdiff_t list, std::ptrdiff_t to) const {
  const std::ptrdiff_t first = start(list), entries = count(list);
  start(list) = static_cast<int>(to);
  if (entries == 0) return;
  if (value.data()) shift(&value(first), entries, &value(to));
  shift(&index(first), entries, &index(to));
  // A list that moves down may keep some of its places.
  const std::ptrdiff_t freed = to < first ? std::max(first, to + entries) : first;
  std::fill_n(&index(freed), first + entries - freed, 0);
}

void ListStore::compress() {
  const int la = static_cast<int>(la_), lists = static_cast<int>(start.size()), reals = value.data() ? 1 : 0;
  int end = static_cast<int>(end_);
  ma50_compress(&la, value.data(), index.data(), &lists, start.data(), count.data(), &end, &reals);
  end_ = end;
  ++compressions_;
}

int ma50_compress(const int* /*la*/, double* a, int* ind, const int* lists, int* ptr, const int* count,
                  int* end, const int* reals) {
  const int list_count = *lists, old_end = *end;
  // Minus the number of the list goes to its first place, and the index from there to the pointer, so that
  // one pass over the store meets the lists in the order of their places.
  for (int list = 1; list <= list_count; ++list) {
    if (ptr[list - 1] <= 0 || count[list - 1] <= 0) continue;
    int& first = ind[ptr[list - 1] - 1];
    ptr[list - 1] = first;
    first = -list;
  }
  int to = 0, from = 0;
  while (from < old_end - 1) {
    if (ind[from] == 0) {
      const bool batch = from + kBatch < old_end && matches_in_batch(ind + from, 0) == kWholeBatch;
      from += batch ? kBatch : 1;
      continue;
    }
    assert(ind[from] < 0);  // the places of a list follow its first one
    const int list = -ind[from] - 1, entries = count[list];
    ind[from] = ptr[list];
    ptr[list] = to + 1;
    if (to != from) {
      if (*reals != 0) shift(a + from, entries, a + to);
      shift(ind + from, entries, ind + to);
    }
    from += entries;
    to += entries;
  }
  *end = to + 1;
  for (int list = 0; list < list_count; ++list) {
    if (ptr[list] > 0 && count[list] <= 0) ptr[list] = *end;
  }
  for (; to < old_end - 1; ++to) ind[to] = 0;
  return 0;
}

}  // namespace corvidnum
