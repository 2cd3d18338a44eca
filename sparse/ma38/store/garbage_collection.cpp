// Garbage collection in INDEX and VALUE: slides all objects, their reals and the front down, over gaps,
// holes, room between tuples and entries, and slack of leading dimensions. Two spare words stay in each
// column and row object if that is wanted. ObjectStore's room functions decide when (object_store.cpp).
//
//   1. Tag the objects: word 1 of each becomes a tag that tells what it is, and its pointer keeps that word;
//      gaps have no tag.
//         1 .. n  contribution block | n+1 .. 2n  column | 2n+1 .. 3n  row | 3n+1 .. 3n+dn  dense element
//   2. Slide the reals of the owners, in the order of the memory list, then the front. Holes leave the list.
//   3. Slide the objects in the order of their addresses, and set pointers and links to their new places.
// Reals go first: holes of the memory list are linked through freed objects, which step 3 would overwrite.

#include <cstring>

#include "sparse/ma38/factors/layout.h"
#include "sparse/ma38/store/object_store.h"

namespace corvidnum {
namespace ma38 {

class GarbageCollection {
 public:
  GarbageCollection(ObjectStore& store, bool leave_slack)
      : s_(store), space_(store.space_), p_(store.pointers_), n_(store.n_), leave_slack_(leave_slack) {}
  void run();

 private:
  void tag_objects();
  void tag(int& pointer, Index tag);
  int& pointer_of(Index tag) const;
  bool is_contribution(Index tag) const { return tag <= n_; }
  bool is_column(Index tag) const { return n_ < tag && tag <= 2 * n_; }
  bool is_row(Index tag) const { return 2 * n_ < tag && tag <= 3 * n_; }

  void pack_reals();
  Index pack_values_of(Index object, Index to);
  Index pack_contribution(Index object, Index to);
  void move_reals(Index from, Index to, Index count);

  void pack_ints();
  Index slide(Index from, Index to, Index tag);
  Index slide_with_tail(Index from, Index to, Index front_part, Index tail);
  void move_ints(Index from, Index to, Index count);
  void relink_owner(Index object);

  ObjectStore& s_;
  Space& space_;
  const ObjectStore::Pointers& p_;
  const Index n_;
  const bool leave_slack_;
  Index slack_ = 0;
};

void GarbageCollection::run() {
  space_.note_use(s_.results_);  // the heads are about to fall
  tag_objects();
  pack_reals();  // first, as freed objects are still holes of the memory list
  pack_ints();
  s_.results_.raise(MA38_INFO_INDEX_NEEDED, space_.ineed + slack_);
}

void GarbageCollection::tag_objects() {
  for (Index col = 1; col <= n_; ++col) {
    if (p_.cp(col) != 0) tag(p_.cp(col), n_ + col);
  }
  for (Index i = 1; i <= s_.nd_; ++i) {
    const ObjectKind kind = s_.kind_of(i);
    if (kind == kNoObject) continue;
    tag(p_.rp(i), kind == kContribution ? i : 2 * n_ + i);
  }
}

void GarbageCollection::tag(int& pointer, Index tag) {
  int& word = s_.word(pointer, kDegree);
  pointer = word;
  word = to_int(tag);
}

int& GarbageCollection::pointer_of(Index tag) const {
  if (is_column(tag)) return p_.cp(tag - n_);
  return p_.rp(is_contribution(tag) ? tag : tag - 2 * n_);
}

/// Slides the owners' reals together, so that all holes leave the list, and the front behind them.
void GarbageCollection::pack_reals() {
  Index to = s_.owners_.pack(s_.first_real_,
                             [this](Index object, Index place) { return pack_values_of(object, place); });
  if (s_.front_ != 0) {
    move_reals(s_.front_, to, s_.front_reals_);
    s_.front_ = to;
    to += s_.front_reals_;
  }
  space_.set_real_head(to);
}

Index GarbageCollection::pack_values_of(Index object, Index to) {
  const Index tag = s_.word(object, kDegree);
  if (is_contribution(tag)) return pack_contribution(object, to);
  // A dense element keeps the places of deleted rows, because tuples hold offsets that count them.
  const Index count = is_column(tag) ? s_.word(object, kOwned) : pointer_of(tag);
  move_reals(s_.word(object, kValues), to, count);
  s_.word(object, kValues) = to_int(to);
  return to + count;
}

/// Squeezes the slack of the leading dimension. Deleted rows and columns stay, because tuples hold offsets
/// that count them. Returns the end of the block.
Index GarbageCollection::pack_contribution(Index object, Index to) {
  const Index lu = s_.word(object, kLuElement);
  const Index rows = s_.word(lu, kElementL), columns = s_.word(lu, kElementU);
  int& leading = pointer_of(s_.word(object, kDegree));
  const Index from = s_.word(object, kValues);
  s_.word(object, kValues) = to_int(to);
  if (leading == rows) {
    move_reals(from, to, rows * columns);
  } else {
    for (Index j = 0; j < columns; ++j) move_reals(from + j * leading, to + j * rows, rows);
    leading = to_int(rows);
  }
  return to + rows * columns;
}

void GarbageCollection::move_reals(Index from, Index to, Index count) {
  if (from == to || count <= 0) return;
  std::memmove(&space_.reals(to), &space_.reals(from), sizeof(double) * static_cast<std::size_t>(count));
}

void GarbageCollection::pack_ints() {
  const Index end = space_.ihead;
  Index to = s_.objects_begin();
  for (Index from = to, length; from < end; from += length) {
    const Index tag = s_.word(from, kDegree);
    length = tag > 0 && is_contribution(tag) ? kContributionWords : s_.word(from, kLength);
    if (tag > 0) to = slide(from, to, tag);
  }
  space_.set_int_head(to);
}

/// Returns the end of the object in its new place.
Index GarbageCollection::slide(Index from, Index to, Index tag) {
  int& pointer = pointer_of(tag);
  Index end;
  if (is_column(tag)) {
    end = slide_with_tail(from, to, kColumnHeader + 2 * Index{s_.word(from, kTuples)}, s_.word(from, kOwned));
  } else if (is_row(tag)) {
    const Index row = tag - 2 * n_;
    end = slide_with_tail(from, to, kRowHeader + 2 * Index{p_.rt(row)}, p_.ro(row));
  } else {
    const Index length = is_contribution(tag) ? kContributionWords : s_.word(from, kLength);
    move_ints(from, to, length);
    end = to + length;
  }
  s_.word(to, kDegree) = pointer;
  pointer = to_int(to);
  if (!is_row(tag)) relink_owner(to);
  return end;
}

/// Slides an object whose tail of entries stands behind room. Of this room two spare words are kept if slack
/// is wanted and the words are there, else none. Returns the end of the object in its new place.
Index GarbageCollection::slide_with_tail(Index from, Index to, Index front_part, Index tail) {
  const Index end = from + s_.word(from, kLength);
  const Index spare = leave_slack_ && end - to >= front_part + tail + 2 ? 2 : 0;
  move_ints(from, to, front_part);
  move_ints(end - tail, to + front_part + spare, tail);
  s_.word(to, kLength) = to_int(front_part + spare + tail);
  slack_ += spare;
  return to + front_part + spare + tail;
}

void GarbageCollection::move_ints(Index from, Index to, Index count) {
  if (from == to || count <= 0) return;
  std::memmove(&space_.ints(to), &space_.ints(from), sizeof(int) * static_cast<std::size_t>(count));
}

/// Links the neighbours in the memory list to the object's new place. An object that owns nothing has no
/// links.
void GarbageCollection::relink_owner(Index object) {
  if (s_.word(object, kOwned) != 0) s_.owners_.renew_links_to(object);
}

void ObjectStore::collect_garbage(bool leave_slack) { GarbageCollection(*this, leave_slack).run(); }

}  // namespace ma38
}  // namespace corvidnum
