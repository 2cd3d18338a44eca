#pragma once

// State of the frontal kernel: one diagonal block under factorisation, and the objects that hold it.

#include "sparse/ma38/front/block.h"
#include "sparse/ma38/front/degree_lists.h"
#include "sparse/ma38/front/element_chain.h"
#include "sparse/ma38/front/front.h"
#include "sparse/ma38/store/object_store.h"

namespace corvidnum {
namespace ma38 {

/// Holds what is counted in a block before its objects are made.
struct BlockCounts {
  Index dense = 0;   // columns of more entries than dense_limit()
  Wide entries = 0;  // entries of the block
  Wide above = 0;    // entries in its columns, but in rows of earlier blocks
};

/// Views the kernel's vectors, at the bottom of the block's integers.
struct KernelVectors {
  OneBased<int> rows, columns;     // [n] lists of the front
  OneBased<int> row_map, col_map;  // [n] places in the front; other uses see Frontal
  OneBased<int> scratch;           // [n] uses see Frontal
  OneBased<int> heads;             // [n] of the degree lists
  ObjectStore::Pointers pointers;
};

/// Holds the state of one block under factorisation. Rows and columns are numbered 1 .. n within the block.
struct Frontal {
  /// Lays out the vectors and makes objects of the block's columns, for which there must be room (see
  /// room_for_block).
  Frontal(const Block& block, const BlockCounts& counts, Index limit, Space& space,
          const FrontControls& controls, FactorTotals& totals, const Results& results);
  Frontal(const Frontal&) = delete;
  Frontal& operator=(const Frontal&) = delete;

  const Index n, dn, nd;  // nd = n + dn: numbers above n are dense columns as elements
  const Index dense_limit;
  Space& space;
  const Results& results;
  const FrontControls& controls;
  FactorTotals& totals;

  OneBased<int> cp, rp, rt, ro;  // the store's pointers to its objects
  ObjectStore store;
  DegreeLists degree_lists;

  Front front;
  ElementChain chain;

  // One vector [n], for one use at a time.
  OneBased<int> candidate_rows;    // in a search: the pattern of the candidate
  OneBased<int> row_marks;         // in an assembly: 1 if the tuples of a row of the front are to be scanned
  OneBased<int> element_ordinals;  // at the end: of elements, by the row that names them
  // More uses of the memory of front.row_place and front.column_offset, when no front is open.
  OneBased<int> candidate_places;                 // in a search: place of a row in candidate_rows
  OneBased<int> row_positions, column_positions;  // at the end: positions in the pivot order

  int dead_mark() const { return static_cast<int>(-2 - nd); }

  Index stamp = 0;      // counters rt and ro of live elements below it are of an earlier front
  Index remaining = 0;  // rows and columns that are not pivotal yet
  Index pivots = 0;     // found so far
  Index elements = 0;   // LU elements stored
  /// Largest dimension of a front or length of a dense column so far. The stamp grows by more than it, and so
  /// passes all counters.
  Index largest_front = 0;

  Wide contribution_reals = 0;         // of contribution blocks that wait for their assembly
  Index longest_l = 0, longest_u = 0;  // lengths of the longest lists stored

  int& word(Index object, Index which) const { return store.word(object, which); }

 private:
  Frontal(const KernelVectors& vectors, Index limit, Space& space, const FrontControls& controls,
          FactorTotals& totals, const Results& results, Index first_real, const Space::Words& elsewhere);
};

/// Returns what stands at rp(i).
inline ObjectKind kind_of(const Frontal& f, Index i) { return f.store.kind_of(i); }

/// Returns which invariant of the kernel's structures does not hold, or null.
const char* find_inconsistency(const Frontal& f);
/// In debug builds, inspects the structures and aborts at a fault: after each step of a small block, of a
/// large one after some, or after all if set_frontal_checks() wants it. A release build does nothing.
void after_step(const Frontal& f);
void set_frontal_checks(bool every_step);

// ---- Columns of the block (column_objects.cpp)

/// Returns the dense-column limit, max(0, KEEP(7), KEEP(8) sqrt(n)) for a block of order n: a column with
/// more entries is held as a dense one, an element of its own.
Index dense_limit(const Block& block, const FrontControls& controls);
/// Counts the entries and the dense columns of a block.
BlockCounts count_block(const Block& block, Index limit);
/// Returns the length of the kernel's vectors.
Wide vector_words(const Block& block, Index dense);
/// Adds the room that the block's objects and vectors take to the needs. Returns false after a shortage,
/// which is flagged in `space`.
bool room_for_block(const Block& block, const BlockCounts& counts, Space& space, const Results& results);
/// Takes the vectors out of the needs again, when the block is done.
void release_vectors(const Block& block, const BlockCounts& counts, Space& space);

// ---- The kernel (kernel.cpp and the files of its steps)

/// Builds elements of dense columns, row objects, tuples and degree lists out of the column objects. Returns
/// false after a shortage, which is flagged in the space.
bool prepare_objects(Frontal& f);
/// Factorises the block, and leaves its header and LU elements at the tails. Returns false after a shortage,
/// which is flagged in the space.
bool ma38_frontal_kernel(Frontal& f);

}  // namespace ma38
}  // namespace corvidnum
