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

/// An element that waits for its assembly: a contribution block, or a dense column. Members of its lists that
/// have been assembled are negative.
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

/// A row or column object: tuples and original entries.
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

/// A row acceptable as pivot row: least degree bound, then lowest number.
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

// ---- Steps

struct Pivot {
  Index row = 0, column = 0;
  double seen = 0.0;  // its value when it was chosen to extend a front
  bool found() const { return row != 0; }
};

/// Members that have come into the front: those from number `first` on, and one that was moved, at `moved`
/// (0: none), into the place of the pivot.
struct Newcomers {
  Index first, moved;
  bool any(Index count) const { return moved != 0 || first <= count; }
  template <class Visit>
  void each(const OneBased<int>& list, Index count, Visit visit) const {
    if (moved != 0) visit(list(moved));
    for (Index i = first; i <= count; ++i) visit(list(i));
  }
};
struct Arrivals {
  Pivot pivot;
  bool opening;  // the first of the front: the pivot has come in, too
  Newcomers rows, columns;
};

/// Finds the best pivot of the columns of lowest degree; its other rows are in front.rows. False: a shortage.
bool search_pivot(Frontal& f, Pivot& pivot);
/// Opens a front of zeros with the pivot's rows and columns. False: a shortage.
bool form_front(Frontal& f, const Pivot& pivot);
/// Adds contribution blocks and original entries that have come to lie inside; renews degree bounds.
void assemble(Frontal& f, const Arrivals& arrivals);
/// Eliminates, extends, updates and stores, until no further pivot fits. False: a shortage.
bool eliminate_front(Frontal& f, Pivot pivot);
/// Stores the batch as an LU element with the first `rows`, `columns` of the lists. False: a shortage.
bool store_batch(Frontal& f, Index rows, Index columns, Index last_pivot_row);
/// Leaves what is not eliminated as a contribution block. False: a shortage.
bool end_front(Frontal& f, Index last_pivot_row);
/// Writes pivot order, header, and lists by pivot positions. False: a shortage.
bool end_block(Frontal& f);

}  // namespace ma38
}  // namespace corvidnum
