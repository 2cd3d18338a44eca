// Makes room in the store. When a head and its tail leave too few free words between them, garbage is
// collected (garbage_collection.cpp), which INFO(14) counts for INDEX and INFO(15) for VALUE; when that does
// not help, a shortage is flagged, which ends the call with -3, -4 or -5.

#include "sparse/ma38/store/object_store.h"

namespace corvidnum {
namespace ma38 {

ObjectStore::ObjectStore(Space& space, const Results& results, const Pointers& pointers, Index first_real,
                         Space::Words elsewhere)
    : space_(space),
      results_(results),
      pointers_(pointers),
      n_(pointers.cp.size()),
      nd_(pointers.rp.size()),
      first_real_(first_real),
      elsewhere_(elsewhere),
      owners_(OwnerWords{space.ints}) {}

bool ObjectStore::room_for_ints(Index count, bool leave_slack) {
  if (space_.free_ints() >= count) return true;
  results_.add(MA38_INFO_INDEX_COLLECTIONS, 1);
  collect_garbage(leave_slack);
  // The slack must not be what is missing in the end.
  if (leave_slack && space_.free_ints() < count) collect_garbage(false);
  return space_.has_ints(results_, count);
}

bool ObjectStore::room_for_both(Index ints, Index reals) {
  const bool ints_are_short = space_.free_ints() < ints, reals_are_short = space_.free_reals() < reals;
  if (!ints_are_short && !reals_are_short) return true;
  if (ints_are_short) results_.add(MA38_INFO_INDEX_COLLECTIONS, 1);
  if (reals_are_short) results_.add(MA38_INFO_VALUE_COLLECTIONS, 1);
  collect_garbage(false);
  const bool has_ints = space_.has_ints(results_, ints), has_reals = space_.has_reals(results_, reals);
  return has_ints && has_reals;
}

bool ObjectStore::reserve_factors(Index ints, Index reals) {
  if (!room_for_both(ints, reals)) return false;
  space_.push_tail_ints(ints);
  space_.push_tail_reals(reals);
  space_.need(ints, reals);
  space_.note_use(results_);
  return true;
}

bool ObjectStore::open_front(Index reals) {
  if (!room_for_reals(reals)) return false;
  front_ = space_.push_reals(reals);
  front_reals_ = reals;
  space_.need(0, reals);
  space_.note_use(results_);
  return true;
}

void ObjectStore::close_front(Index kept) {
  space_.set_real_head(front_ + kept);
  space_.release(0, front_reals_);
  front_ = front_reals_ = 0;
}

void ObjectStore::close() {
  space_.set_int_head(objects_begin());
  space_.set_real_head(first_real_);
}

}  // namespace ma38
}  // namespace corvidnum
