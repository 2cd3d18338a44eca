#pragma once

#include "sparse/ma38/store/memory_list.h"
#include "sparse/ma38/store/objects.h"
#include "sparse/ma38/store/space.h"

namespace corvidnum {
namespace ma38 {

/// Returns a number that is known to fit into an int.
inline int to_int(Wide value) { return static_cast<int>(value); }

/// Views the words of the memory list in the objects that own reals (the Nodes of MemoryList). A node is the
/// position of an object.
struct OwnerWords {
  OneBased<int> ints;
  int& begin(Index object) const { return ints(object + kValues); }
  int& next(Index object) const { return ints(object + kNext); }
  int& previous(Index object) const { return ints(object + kPrevious); }
  bool is_hole(Index object) const { return ints(object + kOwned) == 0; }
  void make_hole(Index object) const { ints(object + kOwned) = 0; }
};

enum ObjectKind { kNoObject, kRow, kContribution, kDenseElement };

/// Holds the objects of one diagonal block under factorisation, in the heads of INDEX and VALUE, and its
/// front:
///
///   INDEX   | vectors | objects and gaps ->              | free | <- LU elements |
///   VALUE   | below | reals of owners and holes -> front | free | <- LU elements |
///
/// rp(i), rt(i) and ro(i) tell what number i is:
///
///   i is              | rt(i)                  | ro(i)              | rp(i)
///   row, not pivotal  | tuples in use, 0 .. nd | original columns   | its row object
///   live element      | stamp + columns        | stamp + rows       | its contribution block
///                     | outside the front      | outside the front  | or dense column
///   assembled element | dead_mark()            | dead_mark()        | its LU element; 0 for a dense column
///
/// Numbers 1 .. n are rows until their pivot, and from then on can be elements; n+1 .. nd are dense columns
/// as elements. A stamp is above nd.
///
/// Always true:
///  1. the objects and gaps fill the integers from objects_begin() to the head; word 1 of a gap is kGone;
///  2. each object is pointed to by exactly one cp or rp;
///  3. the memory list has all objects that own reals, and holes (see there); the reals of each owner lie
///     within its extent;
///  4. the front, if there is one, ends the head of the reals;
///  5. the needs are what objects, front and tails take without gaps, room and holes, and `elsewhere`.
/// find_fault() looks at all of these.
class ObjectStore {
 public:
  struct Pointers {
    OneBased<int> cp;          // [n] column objects; 0: the column is pivotal
    OneBased<int> rp, rt, ro;  // [nd]
  };
  /// @param first_real where the reals of the objects begin
  /// @param elsewhere  needs in neither objects nor tails
  ObjectStore(Space& space, const Results& results, const Pointers& pointers, Index first_real,
              Space::Words elsewhere);

  int& word(Index object, Index which) const { return space_.ints(object + which); }
  ObjectKind kind_of(Index i) const {
    if (pointers_.rp(i) == 0 || pointers_.rt(i) < 0) return kNoObject;
    if (i > n_) return kDenseElement;
    return pointers_.rt(i) > nd_ ? kContribution : kRow;
  }
  /// Returns where the objects begin, behind the vectors.
  Index objects_begin() const { return pointers_.ro.data() + nd_ - space_.ints.data() + 1; }
  Index first_real() const { return first_real_; }
  const Space::Words& elsewhere() const { return elsewhere_; }
  const MemoryList<OwnerWords>& owners() const { return owners_; }
  /// Returns where the owners' reals end.
  Index owners_end() const { return front_ != 0 ? front_ : Index{space_.xhead}; }

  // ---- Room. Pointers into the store are good until the next call.

  /// Make sure of at least `count` free words, after a garbage collection if need be, which INFO(14) (INDEX)
  /// or INFO(15) (VALUE) counts. Return false after a shortage, which is flagged in the space. leave_slack:
  /// see collect_garbage().
  bool room_for_ints(Index count, bool leave_slack = false);
  bool room_for_reals(Index count) { return room_for_both(0, count); }
  /// Collects garbage at most once for both arrays, counted for each that is short.
  bool room_for_both(Index ints, Index reals);
  /// Moves all objects, their reals and the front down over gaps and holes. With leave_slack, two spare words
  /// stay in each column and row object, so that not every new tuple moves its object again.
  void collect_garbage(bool leave_slack);

  // ---- Objects and factors. Needs count neither gaps nor room between tuples and entries. Only these
  // operations, and the garbage collection, change the heads, tails and needs while a block is factorised.

  /// Adds `words` of new objects to the need. Returns false after a shortage, which is flagged in the space.
  bool room_for_new_objects(Wide words) {
    space_.need(words, 0);
    return space_.has_ints(results_, words);
  }
  /// Appends an object of `length` words, for which there must be room. Its need is counted apart.
  Index append_object(Index length) { return space_.push_ints(length); }
  /// End the heads behind the objects, and the reals, of the columns that the block began with.
  void end_objects(Index position) { space_.set_int_head(position); }
  void end_reals(Index position) { space_.set_real_head(position); }
  /// Change the needs by what objects come to hold, or hold no longer.
  void count_tuple() { space_.need(2, 0); }
  void count_contribution(Index reals) { space_.need(kContributionWords, reals); }
  void drop_tuples(Index count) { space_.release(2 * count, 0); }
  void drop_row_entries(Index count) { space_.release(count, 0); }
  void drop_column_entries(Index count) { space_.release(count, count); }
  void drop_object(Index words, Index reals) { space_.release(words, reals); }
  /// Reserves words and reals of factors at the tails. Returns false after a shortage, which is flagged in
  /// the space.
  bool reserve_factors(Index ints, Index reals);

  // ---- Owners of reals

  void append_owner(Index object) { owners_.append(object); }
  void release_reals(Index object) { owners_.release(object, owners_end()); }
  Index place_in_hole(Index object, Index size) { return owners_.place_in_hole(object, size); }
  /// Puts `copy` in the place of `old` in the memory list.
  void replace_owner(Index old, Index copy) { owners_.replace(old, copy); }
  /// Lowers the head if the last owner is a hole.
  void release_last_hole() { space_.set_real_head(owners_.trim(space_.xhead)); }

  // ---- The front

  Index front() const { return front_; }  // 0: there is none
  Index front_reals() const { return front_reals_; }
  /// Reserves the reals of a front. Returns false after a shortage, which is flagged in the space.
  bool open_front(Index reals);
  /// Ends the front and the head behind the first `kept` reals.
  void close_front(Index kept);

  /// Drops all objects.
  void close();

  // ---- Checks (checks.cpp)

  /// Returns whether the invariants hold.
  bool consistent() const { return find_fault() == nullptr; }
  /// Returns which invariant does not hold, or null. Takes time proportional to the length of the store.
  const char* find_fault() const;

 private:
  friend class GarbageCollection;
  friend class StoreInspection;

  Space& space_;
  const Results& results_;
  const Pointers pointers_;
  const Index n_, nd_;
  const Index first_real_;
  const Space::Words elsewhere_;
  MemoryList<OwnerWords> owners_;
  Index front_ = 0, front_reals_ = 0;
};

}  // namespace ma38
}  // namespace corvidnum
