// Collection of garbage in both arrays. While it runs, word 1 of each object in use is a tag that tells what
// it is, and its pointer keeps the word:
//
//   1 .. n  contribution block | n+1 .. 2n  column | 2n+1 .. 3n  row | 3n+1 .. 3n+dn  dense element

#include <cstring>

#include "sparse/ma38/factors/layout.h"
#include "sparse/ma38/front/frontal.h"

namespace corvidnum {
namespace ma38 {
namespace {

class Compaction {
 public:
  Compaction(Frontal& f, bool leave_slack) : f_(f), leave_slack_(leave_slack) {}
  void run();

 private:
  void tag_objects();
  void tag(int& pointer, Index tag);
  int& pointer_of(Index tag) const;
  bool is_contribution(Index tag) const { return tag <= f_.n; }
  bool is_column(Index tag) const { return f_.n < tag && tag <= 2 * f_.n; }
  bool is_row(Index tag) const { return 2 * f_.n < tag && tag <= 3 * f_.n; }

  void pack_reals();
  Index pack_values_of(Index object, Index to);
  Index pack_contribution(Index object, Index to);
  void move_reals(Index from, Index to, Index count);

  void pack_ints();
  Index slide(Index from, Index to, Index tag);
  Index slide_with_tail(Index from, Index to, Index front_part, Index tail);
  void move_ints(Index from, Index to, Index count);
  void settle_owner(Index object);

  Frontal& f_;
  const bool leave_slack_;
  Index slack_ = 0;
};

void Compaction::run() {
  f_.space.note_use(f_.results);  // the heads are about to fall
  tag_objects();
  pack_reals();  // first, as freed objects are still holes of the memory list
  pack_ints();
  f_.results.raise(kIndexNeeded, f_.space.ineed + slack_);
}

void Compaction::tag_objects() {
  for (Index col = 1; col <= f_.n; ++col) {
    if (f_.cp(col) != 0) tag(f_.cp(col), f_.n + col);
  }
  for (Index i = 1; i <= f_.nd; ++i) {
    const ObjectKind kind = kind_of(f_, i);
    if (kind == kNoObject) continue;
    tag(f_.rp(i), kind == kContribution ? i : 2 * f_.n + i);
  }
}

void Compaction::tag(int& pointer, Index tag) {
  int& word = f_.word(pointer, kDegree);
  pointer = word;
  word = to_int(tag);
}

int& Compaction::pointer_of(Index tag) const {
  if (is_column(tag)) return f_.cp(tag - f_.n);
  return f_.rp(is_contribution(tag) ? tag : tag - 2 * f_.n);
}

/// All holes leave the list, the largest among them.
void Compaction::pack_reals() {
  Index to = f_.first_real;
  for (Index object = f_.first_owner, next; object != 0; object = next) {
    next = f_.word(object, kNext);
    if (f_.word(object, kOwned) == 0) {
      unlink(f_, object);
    } else {
      to = pack_values_of(object, to);
    }
  }
  if (f_.front != 0) {
    const Index size = f_.dr * f_.dc + f_.dr;
    move_reals(f_.front, to, size);
    f_.front = to;
    to += size;
  }
  f_.space.set_real_head(to);
}

Index Compaction::pack_values_of(Index object, Index to) {
  const Index tag = f_.word(object, kDegree);
  if (is_contribution(tag)) return pack_contribution(object, to);
  // A dense element keeps the places of deleted rows, as tuples count them.
  const Index count = is_column(tag) ? f_.word(object, kOwned) : pointer_of(tag);
  move_reals(f_.word(object, kValues), to, count);
  f_.word(object, kValues) = to_int(to);
  return to + count;
}

/// Squeezes the slack of the leading dimension; deleted rows and columns stay, as tuples count them.
Index Compaction::pack_contribution(Index object, Index to) {
  const Index lu = f_.word(object, kLuElement);
  const Index rows = f_.word(lu, kElementL), columns = f_.word(lu, kElementU);
  int& leading = pointer_of(f_.word(object, kDegree));
  const Index from = f_.word(object, kValues);
  f_.word(object, kValues) = to_int(to);
  if (leading == rows) {
    move_reals(from, to, rows * columns);
  } else {
    for (Index j = 0; j < columns; ++j) move_reals(from + j * leading, to + j * rows, rows);
    leading = to_int(rows);
  }
  return to + rows * columns;
}

void Compaction::move_reals(Index from, Index to, Index count) {
  if (from == to || count <= 0) return;
  std::memmove(&f_.space.reals(to), &f_.space.reals(from), sizeof(double) * static_cast<std::size_t>(count));
}

void Compaction::pack_ints() {
  const Index end = f_.space.ihead;
  Index to = objects_begin(f_);
  for (Index from = to, length; from < end; from += length) {
    const Index tag = f_.word(from, kDegree);
    length = tag > 0 && is_contribution(tag) ? kContributionWords : f_.word(from, kLength);
    if (tag > 0) to = slide(from, to, tag);
  }
  f_.space.set_int_head(to);
}

/// Returns the end of the object in its new place.
Index Compaction::slide(Index from, Index to, Index tag) {
  int& pointer = pointer_of(tag);
  Index end;
  if (is_column(tag)) {
    end = slide_with_tail(from, to, kColumnHeader + 2 * Index{f_.word(from, kTuples)}, f_.word(from, kOwned));
  } else if (is_row(tag)) {
    const Index row = tag - 2 * f_.n;
    end = slide_with_tail(from, to, kRowHeader + 2 * Index{f_.rt(row)}, f_.ro(row));
  } else {
    const Index length = is_contribution(tag) ? kContributionWords : f_.word(from, kLength);
    move_ints(from, to, length);
    end = to + length;
  }
  f_.word(to, kDegree) = pointer;
  pointer = to_int(to);
  if (!is_row(tag)) settle_owner(to);
  return end;
}

/// Of the room between an object's front part and its tail only two spare words are kept, if at all.
Index Compaction::slide_with_tail(Index from, Index to, Index front_part, Index tail) {
  const Index end = from + f_.word(from, kLength);
  const Index spare = leave_slack_ && end - to >= front_part + tail + 2 ? 2 : 0;
  move_ints(from, to, front_part);
  move_ints(end - tail, to + front_part + spare, tail);
  f_.word(to, kLength) = to_int(front_part + spare + tail);
  slack_ += spare;
  return to + front_part + spare + tail;
}

void Compaction::move_ints(Index from, Index to, Index count) {
  if (from == to || count <= 0) return;
  std::memmove(&f_.space.ints(to), &f_.space.ints(from), sizeof(int) * static_cast<std::size_t>(count));
}

/// The neighbours in the memory list learn where the object went. One that owns nothing now has no links.
void Compaction::settle_owner(Index object) {
  if (f_.word(object, kOwned) == 0) return;
  const Index previous = f_.word(object, kPrevious), next = f_.word(object, kNext);
  show_neighbours(f_, previous, next, object, object);
}

}  // namespace

void ma38_compact(Frontal& f, bool leave_slack) { Compaction(f, leave_slack).run(); }

}  // namespace ma38
}  // namespace corvidnum
