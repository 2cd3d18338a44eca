#pragma once

// State of the frontal kernel: one diagonal block under factorisation, and the objects that hold it.

#include "sparse/ma38/front/block.h"
#include "sparse/ma38/front/degree_lists.h"
#include "sparse/ma38/store/object_store.h"

namespace corvidnum {
namespace ma38 {

constexpr int kOutsideRow = -1;     // row_map
constexpr int kOutsideColumn = -2;  // col_map
constexpr int kPivotalColumn = -1;

/// Columns that are counted before the block's objects are made.
struct BlockCounts {
  Index dense = 0;   // columns over the limit
  Wide entries = 0;  // of the block
  Wide above = 0;    // in its columns, but in rows of earlier blocks
};

/// The kernel's vectors, at the bottom of the integer space.
struct KernelVectors {
  OneBased<int> rows, columns;              // [n]
  OneBased<int> row_map, col_map, scratch;  // [n]
  OneBased<int> heads;                      // [n] of the degree lists
  ObjectStore::Pointers pointers;
};

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

  OneBased<int> row_map, col_map, scratch;  // [n]
  /// Rows and columns of the front from the bottom up, the pivots found from the top down.
  OneBased<int> frows, fcols;  // [n]
  int dead_mark() const { return static_cast<int>(-2 - nd); }

  // The front: dr x dc by columns, live part in the top left corner, pivots of the
  // batch from the bottom right corner, and a work column of dr behind.
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

  int& word(Index object, Index which) const { return store.word(object, which); }
  double& at(Index row_offset, Index col_offset) const {
    return space.reals(store.front() + row_offset + col_offset);
  }
  Index work_column() const { return store.front() + dr * dc; }

 private:
  Frontal(const KernelVectors& vectors, Index limit, Space& space, const FrontControls& controls,
          FactorTotals& totals, const Results& results, Index first_real, const Space::Words& elsewhere);
};

/// What stands at rp(i).
inline ObjectKind kind_of(const Frontal& f, Index i) { return f.store.kind_of(i); }

/// A text that tells what is wrong with the store, or null. Debug builds run it after each step when the
/// tests switch it on.
const char* find_inconsistency(const Frontal& f);
void set_frontal_checks(bool on);
void after_step(const Frontal& f);  // does nothing in a release build

// ---- Columns of the block (column_objects.cpp)

/// Columns of more entries are held as dense ones.
Index dense_limit(const Block& block, const FrontControls& controls);
BlockCounts count_block(const Block& block, Index limit);
/// Words of the kernel's vectors.
Wide vector_words(const Block& block, Index dense);
/// Counts what the block takes as used; false: a shortage, flagged.
bool room_for_block(const Block& block, const BlockCounts& counts, Space& space, const Results& results);
// ---- The kernel (frontal_kernel.cpp and the files of its steps)

/// Builds elements of dense columns, row objects, tuples and degree lists out of the column objects.
bool prepare_objects(Frontal& f);
/// Factorises the block. False: a shortage, flagged.
bool ma38_frontal_kernel(Frontal& f);

}  // namespace ma38
}  // namespace corvidnum
