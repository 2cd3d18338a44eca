// Owners of reals in the head, in the order of their addresses. Each reaches to the next one, the last to the
// front or to the end of the head, so what an owner gives up inside its extent comes back with the extent.

#include "sparse/ma38/front/frontal.h"

namespace corvidnum {
namespace ma38 {
namespace {

bool owns(const Frontal& f, Index object) {
  return f.first_owner == object || f.word(object, kPrevious) != 0;
}

void put_between(Frontal& f, Index object, Index previous, Index next) {
  f.word(object, kPrevious) = to_int(previous);
  f.word(object, kNext) = to_int(next);
  show_neighbours(f, previous, next, object, object);
}

void clear_links(Frontal& f, Index object) {
  f.word(object, kValues) = 0;
  f.word(object, kNext) = 0;
  f.word(object, kPrevious) = 0;
}

bool is_hole(const Frontal& f, Index object) { return object != 0 && f.word(object, kOwned) == 0; }

}  // namespace

void show_neighbours(Frontal& f, Index previous, Index next, Index seen_by_previous, Index seen_by_next) {
  if (previous != 0) {
    f.word(previous, kNext) = to_int(seen_by_previous);
  } else {
    f.first_owner = seen_by_previous;
  }
  if (next != 0) {
    f.word(next, kPrevious) = to_int(seen_by_next);
  } else {
    f.last_owner = seen_by_next;
  }
}

void link_at_end(Frontal& f, Index object) { put_between(f, object, f.last_owner, 0); }

void link_before(Frontal& f, Index object, Index next) {
  put_between(f, object, f.word(next, kPrevious), next);
}

void unlink(Frontal& f, Index object) {
  const Index previous = f.word(object, kPrevious), next = f.word(object, kNext);
  show_neighbours(f, previous, next, next, previous);
  clear_links(f, object);
  if (f.hole == object) forget_hole(f);
}

void forget_hole(Frontal& f) {
  f.hole = 0;
  f.hole_size = -1;
}

void move_in_list(Frontal& f, Index old, Index copy) {
  f.word(copy, kValues) = f.word(old, kValues);
  f.word(copy, kNext) = f.word(old, kNext);
  f.word(copy, kPrevious) = f.word(old, kPrevious);
  if (!owns(f, old)) return;
  show_neighbours(f, f.word(old, kPrevious), f.word(old, kNext), copy, copy);
  clear_links(f, old);
  if (f.hole == old) f.hole = copy;
}

Index extent(const Frontal& f, Index object) {
  const Index next = f.word(object, kNext);
  const Index end = next != 0 ? f.word(next, kValues) : f.front != 0 ? f.front : f.space.xhead;
  return end - f.word(object, kValues);
}

void free_reals(Frontal& f, Index object) {
  f.word(object, kOwned) = 0;
  const Index previous = f.word(object, kPrevious), next = f.word(object, kNext);
  if (is_hole(f, previous)) {
    const int begin = f.word(previous, kValues);
    unlink(f, previous);
    f.word(object, kValues) = begin;
  }
  if (is_hole(f, next)) unlink(f, next);
  const Index size = extent(f, object);
  if (size > f.hole_size) {
    f.hole = object;
    f.hole_size = size;
  }
}

Index place_in_hole(Frontal& f, Index object, Index size) {
  const Index hole = f.hole, begin = f.word(hole, kValues);
  link_before(f, object, hole);
  f.word(object, kValues) = to_int(begin);
  f.word(hole, kValues) = to_int(begin + size);
  f.hole_size -= size;
  if (f.hole_size == 0) unlink(f, hole);
  return begin;
}

void free_tail(Frontal& f) {
  if (!is_hole(f, f.last_owner)) return;
  f.space.set_real_head(f.word(f.last_owner, kValues));
  unlink(f, f.last_owner);
}

bool room_for_ints(Frontal& f, Index count, bool leave_slack) {
  if (f.space.free_ints() >= count) return true;
  f.results.add(kIndexCollections, 1);
  ma38_compact(f, leave_slack);
  // The slack must not be what is missing in the end.
  if (leave_slack && f.space.free_ints() < count) ma38_compact(f, false);
  return f.space.has_ints(f.results, count);
}

bool room_for_reals(Frontal& f, Index count) { return room_for_both(f, 0, count); }

bool room_for_both(Frontal& f, Index ints, Index reals) {
  const bool ints_are_short = f.space.free_ints() < ints, reals_are_short = f.space.free_reals() < reals;
  if (!ints_are_short && !reals_are_short) return true;
  if (ints_are_short) f.results.add(kIndexCollections, 1);
  if (reals_are_short) f.results.add(kValueCollections, 1);
  ma38_compact(f, false);
  const bool ints_are_there = f.space.has_ints(f.results, ints);
  const bool reals_are_there = f.space.has_reals(f.results, reals);
  return ints_are_there && reals_are_there;
}

}  // namespace ma38
}  // namespace corvidnum
