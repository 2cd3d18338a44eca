#pragma once

// State of the frontal kernel: one diagonal block under factorisation, and the objects that hold it.

#include "sparse/ma38/front/block.h"
#include "sparse/ma38/front/column_object.h"
#include "sparse/ma38/front/degree_lists.h"

namespace corvidnum {
namespace ma38 {

/// A row object, at rp(row): | length | degree | tuples: element and offset in its L list | room | columns |
/// rt(row) tuples and ro(row) original columns are in use.
constexpr Index kRowHeader = 2;

/// A contribution block that waits, at rp(element): its lists are those of its LU element.
///   | LU element | leading dimension | values | next | prev | live columns | live rows |
/// A dead one has its length, 7, in word 0, -1 in word 1 and 0 in word 6, and rp(element) is its LU element.
enum ContributionWord { kLuElement = 0, kLeading = 1, kLiveColumns = 5, kLiveRows = 6 };
constexpr Index kContributionWords = 7;

constexpr int kOutsideRow = -1;     // row_map
constexpr int kOutsideColumn = -2;  // col_map
constexpr int kPivotalColumn = -1;

/// What has been tested to fit.
inline int to_int(Wide value) { return static_cast<int>(value); }

struct Frontal {
  const Index n, dn, nd;  // nd = n + dn: numbers above n are dense columns as elements
  const Index dense_limit;
  Space& space;
  const Results& results;
  const FrontControls& controls;
  FactorTotals& totals;

  // The vectors at the bottom of the integer space, and the lists.
  OneBased<int> cp, row_map, col_map, scratch;  // [n]
  DegreeLists degree_lists;                     // with [n] heads
  /// rp: object of a row, an element, or the LU element of a dead one. A number 1 .. n is a row while
  /// 0 <= rt <= nd; from its pivot on it is an element: a live one has rt > nd (a stamp), a dead one
  /// dead_mark(). ro and rt of an element count its rows and columns outside the front, above the stamp.
  OneBased<int> rp, rt, ro;  // [nd]
  /// Rows and columns of the front from the bottom up, the pivots found from the top down.
  OneBased<int> frows, fcols;  // [n]
  int dead_mark() const { return static_cast<int>(-2 - nd); }

  // Where the block's reals begin; words of the caller's arrays in use that neither the block's
  // objects and front nor the tails take.
  Index first_real = 1;
  Wide ints_elsewhere = 0, reals_elsewhere = 0;

  // Owners of reals in the head, in the order of their addresses: positions in the integer space, 0: none.
  Index first_owner = 0, last_owner = 0;
  Index hole = 0;        // the owner whose hole is the largest
  Index hole_size = -1;  // -1: none is known

  // The front: dr x dc by columns at `front` in the reals, live part in the top left corner, pivots of the
  // batch from the bottom right corner, and a work column of dr behind.
  Index front = 0;  // 0: there is none
  Index dr = 0, dc = 0, fnrows = 0, fncols = 0;
  Index batch = 0, updated = 0;  // pivots since the last flush (k), those whose updates are done (kd)

  Index stamp = 0;
  Index remaining = 0;  // order of what is not factorised
  Index pivots = 0;
  Index elements = 0;       // LU elements stored
  Index largest_front = 0;  // or dense column: the next stamp is above all counters

  // The LU elements of the present front, and the elements assembled since the last flush: a list through
  // row_map, -2 - next, which no row needs any more (see note_child).
  Index chain_first = 0;                    // LU element that opened the chain; 0: none stored yet
  Index chain_rows = 0, chain_columns = 0;  // most rows and columns, pivots included
  Index first_child = 0, last_child = 0, children = 0;
  Wide chain_peak = 0;          // factors and contributions while the chain lasted
  Wide contribution_reals = 0;  // of LU elements that wait
  Index longest_l = 0, longest_u = 0;

  int& word(Index object, Index which) const { return space.ints(object + which); }
  double& at(Index row_offset, Index col_offset) const {
    return space.reals(front + row_offset + col_offset);
  }
  Index work_column() const { return front + dr * dc; }
};

// ---- Owners of reals (frontal_memory.cpp)

void link_at_end(Frontal& f, Index object);
void link_before(Frontal& f, Index object, Index next);
/// The object was copied within the integer space: `copy` takes its place in the list (words 2 .. 4,
/// neighbours, ends and the largest hole), `old` is no longer in it.
void move_in_list(Frontal& f, Index old, Index copy);
/// The reals of the object are a hole from now on: word 6 is 0, free neighbours join it (they leave the
/// list), the largest hole is kept. The object's integer words stay till the next compaction.
void free_reals(Frontal& f, Index object);
/// The object takes the first reals of the largest hole, and its place in the list; returns where. The hole
/// shrinks and leaves the list when it is empty.
Index place_in_hole(Frontal& f, Index object, Index size);
void unlink(Frontal& f, Index object);
void forget_hole(Frontal& f);
/// The neighbours, or the ends of the list, see these objects at last.
void show_neighbours(Frontal& f, Index previous, Index next, Index seen_by_previous, Index seen_by_next);
/// From the values of an owner to those of the next, or to the front, or to the head's end.
Index extent(const Frontal& f, Index object);
/// Drops the last owner if it is free, and the head with it; no two holes stand side by side.
void free_tail(Frontal& f);

// ---- Room (frontal_memory.cpp, compaction.cpp)

/// At least `count` free words, after a compaction if need be, which is counted; false: a shortage, flagged.
bool room_for_ints(Frontal& f, Index count, bool leave_slack = false);
bool room_for_reals(Frontal& f, Index count);
/// One compaction for both, counted for each that is short.
bool room_for_both(Frontal& f, Index ints, Index reals);
/// Slides everything down; the front and its work column move along. leave_slack: two spare words stay in
/// each column and row object.
void ma38_compact(Frontal& f, bool leave_slack);

enum ObjectKind { kNoObject, kRow, kContribution, kDenseElement };
/// What stands at rp(i).
inline ObjectKind kind_of(const Frontal& f, Index i) {
  if (f.rp(i) == 0 || f.rt(i) < 0) return kNoObject;
  if (i > f.n) return kDenseElement;
  return f.rt(i) > f.nd ? kContribution : kRow;
}
/// The objects follow the vectors.
inline Index objects_begin(const Frontal& f) { return f.ro.data() + f.nd - f.space.ints.data() + 1; }

/// A text that tells what is wrong with the store, or null. Debug builds run it after each step when the
/// tests switch it on.
const char* find_inconsistency(const Frontal& f);
void set_frontal_checks(bool on);
void after_step(const Frontal& f);  // does nothing in a release build

// ---- Columns of the block (column_objects.cpp)

/// Columns of more entries are held as dense ones.
Index dense_limit(const Block& block, const FrontControls& controls);
struct BlockCounts {
  Index dense = 0;   // columns over the limit
  Wide entries = 0;  // of the block
  Wide above = 0;    // in its columns, but in rows of earlier blocks
};
BlockCounts count_block(const Block& block, Index limit);
/// Words of the kernel's vectors.
Wide vector_words(const Block& block, Index dense);
/// Counts what the block takes as used; false: a shortage, flagged.
bool room_for_block(const Block& block, const BlockCounts& counts, Space& space, const Results& results);
/// The kernel's state, its vectors and, behind them, the columns as objects, once there is room.
Frontal make_column_objects(const Block& block, const BlockCounts& counts, Index limit, Space& space,
                            const FrontControls& controls, FactorTotals& totals, const Results& results);

// ---- The kernel (frontal_kernel.cpp and the files of its steps)

/// Builds elements of dense columns, row objects, tuples and degree lists out of the column objects.
bool prepare_objects(Frontal& f);
/// Factorises the block. False: a shortage, flagged.
bool ma38_frontal_kernel(Frontal& f);

}  // namespace ma38
}  // namespace corvidnum
