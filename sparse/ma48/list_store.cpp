// Lists of numbers in one array: growth, compression, and the checks of the invariants that list_store.h
// numbers.

#include "sparse/ma48/list_store.h"

namespace corvidnum {

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

bool ListStore::grow(std::ptrdiff_t list, std::ptrdiff_t extra) {
  const std::ptrdiff_t first = start(list), last_place = last(list);
  std::ptrdiff_t behind = 0;
  while (behind < extra && last_place + behind < la_ && is_free(last_place + behind + 1)) ++behind;
  const std::ptrdiff_t needed = extra - behind;
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
  for (std::ptrdiff_t k = 0; k < entries; ++k) {  // ascending: a list that moves down may overlap itself
    if (value.data()) value(to + k) = value(first + k);
    index(to + k) = index(first + k);
    index(first + k) = 0;
  }
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
  int to = 0;
  for (int from = 0; from < old_end - 1; ++from) {
    int index = ind[from];
    if (index == 0) continue;
    if (index < 0) {
      const int list = -index;
      index = ptr[list - 1];
      ptr[list - 1] = to + 1;
    }
    if (*reals != 0) a[to] = a[from];
    ind[to++] = index;
  }
  *end = to + 1;
  for (int list = 0; list < list_count; ++list) {
    if (ptr[list] > 0 && count[list] <= 0) ptr[list] = *end;
  }
  for (; to < old_end - 1; ++to) ind[to] = 0;
  return 0;
}

}  // namespace corvidnum
