#pragma once

// The steps of the frontal kernel, in the order of kernel.cpp, and views of the objects they work on.

#include <algorithm>
#include <cstring>

#include "sparse/ma38/factors/layout.h"
#include "sparse/ma38/front/frontal.h"

namespace corvidnum {
namespace ma38 {

// ---- Views of objects. Pointers into the store are good until the next call of ObjectStore's room
// functions.

/// Views an element that waits for its assembly: a contribution block, or a dense column. Members of its
/// lists that have been assembled are negative. Offsets in it count from 1.
struct Waiting {
  Index object;
  int* rows;
  int* columns;
  Index row_count, column_count, leading;
  double* values;
  const double* column(Index offset) const { return values + (offset - 1) * leading; }
};
inline Waiting waiting(const Frontal& f, Index e) {
  const Index object = f.rp(e);
  double* values = &f.space.reals(f.word(object, kValues));
  if (e > f.n) {
    const Index entries = f.word(object, kDegree);
    return {object, &f.word(object, kColumnTuples), &f.word(object, kDenseColumn), entries, 1, entries,
            values};
  }
  const Index lu = f.word(object, kLuElement), rows = f.word(lu, kElementL);
  int* lists = &f.word(lu, 0) + kElementLists;
  return {object, lists, lists + rows, rows, f.word(lu, kElementU), f.word(object, kLeading), values};
}
inline bool is_live(const Frontal& f, Index e) { return f.rt(e) >= 0; }  // e comes from a tuple

/// Views a row or column object: its tuples (element, offset), 2 tuple_count words, and its original entries.
struct Object {
  Index at;
  Index header;
  int* tuples;
  Index tuple_count;
  int* entries;
  Index entry_count;
  Index needed() const { return header + 2 * tuple_count + entry_count; }  // words without room between
};
inline Object column_object(const Frontal& f, Index column) {
  const Index at = f.cp(column);
  int* words = &f.word(at, 0);
  const Index entries = words[kOwned];
  return {at,     kColumnHeader, words + kColumnTuples, words[kTuples], words + words[kLength] - entries,
          entries};
}
inline Object row_object(const Frontal& f, Index row) {
  const Index at = f.rp(row);
  int* words = &f.word(at, 0);
  const Index entries = f.ro(row);
  return {at, kRowHeader, words + kRowHeader, f.rt(row), words + words[kLength] - entries, entries};
}
inline int row_degree(const Frontal& f, Index row) { return f.word(f.rp(row), kDegree); }
inline int& column_degree(const Frontal& f, Index column) { return f.word(f.cp(column), kDegree); }
inline int dead_column(const Frontal& f) { return static_cast<int>(-2 - f.n); }

// ---- Choice of a row (search.cpp)

/// Keeps, of the rows offered, the one of the least degree bound, and of these the lowest number. 0: none
/// yet.
struct RowChoice {
  Index row = 0, degree = 0;
  void offer(Index candidate, Index bound) {
    if (row == 0 || bound < degree || (bound == degree && candidate < row)) {
      row = candidate;
      degree = bound;
    }
  }
};
/// Returns the acceptable row of a column, if there is one: values[i] belongs to rows[i]; `diagonal` is the
/// position of the preferred row, or -1; `amax` is the column's largest magnitude. A column that is zero, or
/// not finite, has none.
RowChoice choose_row(const Frontal& f, const int* rows, const double* values, Index count, Index diagonal,
                     double amax);

// ---- Steps. Those that return a bool return false after a shortage, which is flagged in the space.

struct Pivot {
  Index row = 0, column = 0;  // from 1; 0: none
  double seen = 0.0;          // its value when it was chosen to extend a front
  bool found() const { return row != 0; }
};

/// Tells which members of a list of the front have come in: those from number `first` on, and one that was
/// moved, at `moved` (0: none), into the place of the pivot.
struct Newcomers {
  Index first, moved;
  bool any(Index count) const { return moved != 0 || first <= count; }
  template <class Visit>
  void each(const OneBased<int>& list, Index count, Visit visit) const {
    if (moved != 0) visit(list(moved));
    for (Index i = first; i <= count; ++i) visit(list(i));
  }
};
/// Tells what has come into the front since its last assembly.
struct Arrivals {
  Pivot pivot;
  bool opening;  // the first of the front: the pivot has come in, too
  Newcomers rows, columns;
};

/// Finds the best pivot of the columns of lowest degree, and writes the other rows of its column to
/// front.rows. Finds none if all columns left are zero or not finite.
bool search_pivot(Frontal& f, Pivot& pivot);
/// Opens a front of zeros with the pivot's rows and columns.
bool form_front(Frontal& f, const Pivot& pivot);
/// Adds the contribution blocks and original entries that have come to lie inside the front, and recomputes
/// the degree bounds of its rows and columns.
void assemble(Frontal& f, const Arrivals& arrivals);
/// Eliminates the pivot, extends the front, updates and stores, until no further pivot fits.
bool eliminate_front(Frontal& f, Pivot pivot);
/// Stores the batch as an LU element whose lists are the first `rows` rows and `columns` columns of the
/// front.
bool store_batch(Frontal& f, Index rows, Index columns, Index last_pivot_row);
/// Leaves what is not eliminated as a contribution block.
bool end_front(Frontal& f, Index last_pivot_row);
/// Writes the pivot order and the header, and renumbers the lists of all LU elements by pivot positions.
bool end_block(Frontal& f);

}  // namespace ma38
}  // namespace corvidnum
