// Eliminations in a front. A batch of k pivots, kd of them applied to the live part, stands in the corner:
//
//             0      fncols      dc-k    dc-1
//        0    | live |           | L of the |
//      fnrows |______|           | batch    |
//             |                  |          |
//      dr-k   | U of |           | pivot    |
//      dr-1   | the batch        | block    |   the first pivot last

#include <cmath>

#include "frame/blas.h"
#include "sparse/ma38/front/pivot_test.h"
#include "sparse/ma38/front/steps.h"

namespace corvidnum {
namespace ma38 {
namespace {

constexpr double kOne = 1.0, kMinusOne = -1.0;
constexpr int kUnitStep = 1;

/// The rows and columns of the front before an extension is tried.
struct Extent {
  Index rows, columns;
};

// ---- Elimination

void retire(Frontal& f, const Pivot& pivot) {
  const Object row = row_object(f, pivot.row), column = column_object(f, pivot.column);
  f.space.release(row.needed(), 0);
  f.space.release(column.needed(), column.entry_count);
  f.word(row.at, kDegree) = f.word(column.at, kDegree) = kGone;
  f.rp(pivot.row) = f.cp(pivot.column) = 0;
  f.rt(pivot.row) = f.ro(pivot.row) = f.dead_mark();
  f.row_map(pivot.row) = kOutsideRow;
  f.col_map(pivot.column) = kPivotalColumn;
}

/// A column whose element in the pivot row is infinite or NaN can have no finite factors: it is out for good.
void drop_infinite_columns(Frontal& f, Index pivot_row) {
  for (Index j = 0; j < f.fncols; ++j) {
    if (!std::isfinite(f.at(pivot_row, j * f.dr))) column_degree(f, f.fcols(j + 1)) = dead_column(f);
  }
}

void eliminate(Frontal& f, const Pivot& pivot) {
  const Index slot_row = f.dr - f.batch - 1, slot_column = (f.dc - f.batch - 1) * f.dr;
  double& value = f.at(slot_row, slot_column);
  double* const column = &f.at(0, slot_column);
  // Summed in another order than when it was chosen, a value of the size of rounding can have vanished, and
  // sums can overflow.
  if (!is_usable_pivot(value)) value = pivot.seen;
  divide_by_pivot(column, f.fnrows, value);
  if (is_usable_pivot(value) && all_finite(column, f.fnrows)) f.results.add(kPivots, 1);
  drop_infinite_columns(f, slot_row);
  f.results(kLevel1Flops) += static_cast<double>(f.fnrows);
  ++f.batch;
  --f.remaining;
  ++f.pivots;
  f.frows(f.n - f.pivots + 1) = static_cast<int>(pivot.row);
  f.fcols(f.n - f.pivots + 1) = static_cast<int>(pivot.column);
  retire(f, pivot);
}

// ---- Pending updates

int as_int(Index value) { return static_cast<int>(value); }

/// Products that a plain loop has summed up before a call of the BLAS begins to.
constexpr Index kFewProducts = 128;

void subtract_multiple(const double* __restrict x, double factor, double* __restrict y, Index count) {
  for (Index i = 0; i < count; ++i) y[i] -= x[i] * factor;
}

/// y -= L of the pending pivots times x, their entries in a column; in the order of elimination, from the
/// last column of L to the first.
void subtract_pivots(const double* l, Index ld, const double* x, Index pending, double* y, Index rows) {
  for (Index p = pending - 1; p >= 0; --p) subtract_multiple(l + p * ld, x[p], y, rows);
}

/// y (live rows) -= L of the pending pivots times what their rows have in `column`.
void update_column(const Frontal& f, Index column, double* y, Index rows) {
  const Index pending = f.batch - f.updated;
  if (rows == 0 || pending == 0) return;
  const double* l = &f.at(0, (f.dc - f.batch) * f.dr);
  const double* x = &f.at(f.dr - f.batch, column * f.dr);
  if (rows * pending <= kFewProducts) {
    subtract_pivots(l, f.dr, x, pending, y, rows);
    return;
  }
  const int m = as_int(rows), n = as_int(pending), ld = as_int(f.dr);
  dgemv_("N", &m, &n, &kMinusOne, l, &ld, x, &kUnitStep, &kOne, y, &kUnitStep, 1);
}

/// Row `row` over the live columns -= its L entries of the pending pivots times their U.
void update_row(const Frontal& f, Index row, Index first_pending, Index pending) {
  if (f.fncols == 0 || pending == 0) return;
  const double* u = &f.at(f.dr - first_pending, 0);
  const double* l = &f.at(row, (f.dc - first_pending) * f.dr);
  double* y = &f.at(row, 0);
  if (f.fncols * pending <= kFewProducts) {
    for (Index j = 0; j < f.fncols; ++j, u += f.dr, y += f.dr) {
      for (Index p = pending - 1; p >= 0; --p) *y -= l[p * f.dr] * u[p];
    }
    return;
  }
  const int m = as_int(pending), n = as_int(f.fncols), ld = as_int(f.dr);
  dgemv_("T", &m, &n, &kMinusOne, u, &ld, l, &ld, &kOne, y, &ld, 1);
}

/// Applies the pending pivots to the live part as it was before the extension.
void update_live(Frontal& f, const Extent& live) {
  const Index pending = f.batch - f.updated;
  f.results(kLevel3Flops) +=
      2.0 * static_cast<double>(pending) * static_cast<double>(live.rows) * static_cast<double>(live.columns);
  f.updated = f.batch;
  if (pending == 0 || live.rows == 0 || live.columns == 0) return;
  const double* l = &f.at(0, (f.dc - f.batch) * f.dr);
  if (live.rows * live.columns * pending <= kFewProducts) {
    for (Index j = 0; j < live.columns; ++j) {
      subtract_pivots(l, f.dr, &f.at(f.dr - f.batch, j * f.dr), pending, &f.at(0, j * f.dr), live.rows);
    }
    return;
  }
  const int m = as_int(live.rows), n = as_int(live.columns), k = as_int(pending), ld = as_int(f.dr);
  dgemm_("N", "N", &m, &n, &k, &kMinusOne, l, &ld, &f.at(f.dr - f.batch, 0), &ld, &kOne, &f.at(0, 0), &ld, 1,
         1);
}

// ---- The next pivot of the same front

/// Of the front's columns that of the least bound, then of the lowest number; 0: none.
Index choose_column(const Frontal& f) {
  Index best = 0, least = 0;
  for (Index j = 1; j <= f.fncols; ++j) {
    const Index column = f.fcols(j), bound = column_degree(f, column);
    if (bound < 0) continue;
    if (best == 0 || bound < least || (bound == least && column < best)) {
      best = column;
      least = bound;
    }
  }
  return best;
}

/// Adds a value to the work column; its row comes into the front if need be. False: there is no room.
bool add_to_work(Frontal& f, double* work, int row, double value) {
  if (f.row_map(row) < 0) {
    if (f.fnrows == f.dr) return false;
    f.row_map(row) = static_cast<int>(f.fnrows);
    work[f.fnrows] = 0.0;
    f.frows(++f.fnrows) = row;
  }
  work[f.row_map(row)] += value;
  return true;
}

/// Adds what waits for the column: blocks of elements, which may reach outside, and original entries.
bool gather_waiting(Frontal& f, Index column, double* work) {
  const Object object = column_object(f, column);
  for (Index t = 0; t < object.tuple_count; ++t) {
    const Index e = object.tuples[2 * t];
    if (!is_live(f, e)) continue;
    const Waiting element = waiting(f, e);
    const double* from = element.column(object.tuples[2 * t + 1]);
    for (Index i = 0; i < element.row_count; ++i) {
      if (element.rows[i] > 0 && !add_to_work(f, work, element.rows[i], from[i])) return false;
    }
  }
  if (object.entry_count == 0) return true;
  const double* from = &f.space.reals(f.word(object.at, kValues));
  for (Index i = 0; i < object.entry_count; ++i) {
    if (!add_to_work(f, work, object.entries[i], from[i])) return false;
  }
  return true;
}

/// The whole column as it would be now, in the work column; its new rows are in the front. False: they do not
/// fit.
bool fill_work_column(Frontal& f, Index column) {
  if (f.fnrows + f.word(f.cp(column), kOwned) > f.dr) return false;
  const Index place = f.col_map(column) / f.dr;
  double* work = f.space.reals.data() + (f.work_column() - 1);
  std::memcpy(work, &f.at(0, place * f.dr), static_cast<std::size_t>(f.fnrows) * sizeof(double));
  f.results(kSearchFlops) += 2.0 * static_cast<double>(f.batch - f.updated) * static_cast<double>(f.fnrows);
  update_column(f, place, work, f.fnrows);
  return gather_waiting(f, column, work);
}

/// A pivot row for the column in the work column, among the rows that were in the front before; 0: none.
Index choose_pivot_row(Frontal& f, Index column, Index old_rows) {
  const double* work = f.space.reals.data() + (f.work_column() - 1);
  const double amax = largest_magnitude(work, f.fnrows);
  f.results(kSearchFlops) += static_cast<double>(f.fnrows);
  if (!is_usable_pivot(amax)) {
    column_degree(f, column) = dead_column(f);
    return 0;
  }
  Index diagonal = f.controls.prefer_diagonal ? f.row_map(column) : -1;
  if (diagonal >= old_rows) diagonal = -1;
  return choose_row(f, f.frows.data(), work, old_rows, diagonal, amax).row;
}

bool bring_column(Frontal& f, int column) {
  if (f.col_map(column) != kOutsideColumn) return true;
  if (f.fncols == f.dc) return false;
  f.col_map(column) = static_cast<int>(f.fncols * f.dr);
  f.fcols(++f.fncols) = column;
  return true;
}

/// All columns of the pivot row come into the front. False: they do not fit.
bool bring_columns(Frontal& f, Index row) {
  const Object object = row_object(f, row);
  for (Index t = 0; t < object.tuple_count; ++t) {
    const Index e = object.tuples[2 * t];
    if (!is_live(f, e)) continue;
    const Waiting element = waiting(f, e);
    if (f.word(element.object, kLiveColumns) > f.dc) return false;
    for (Index j = 0; j < element.column_count; ++j) {
      if (element.columns[j] > 0 && !bring_column(f, element.columns[j])) return false;
    }
  }
  for (Index i = 0; i < object.entry_count; ++i) {
    if (!bring_column(f, object.entries[i])) return false;
  }
  return true;
}

/// What an extension that failed has brought in leaves again.
void withdraw(Frontal& f, const Extent& old) {
  for (; f.fnrows > old.rows; --f.fnrows) f.row_map(f.frows(f.fnrows)) = kOutsideRow;
  for (; f.fncols > old.columns; --f.fncols) f.col_map(f.fcols(f.fncols)) = kOutsideColumn;
}

/// The next pivot, with its new rows and columns in the lists; not found: the front is as before.
Pivot next_pivot(Frontal& f, const Extent& old) {
  Pivot pivot;
  if (f.fnrows == 0) return pivot;
  const Index column = choose_column(f);
  if (column == 0) return pivot;
  if (fill_work_column(f, column)) {
    const Index row = choose_pivot_row(f, column, old.rows);
    if (row != 0 && bring_columns(f, row)) {
      pivot.row = row;
      pivot.column = column;
      pivot.seen = f.space.reals(f.work_column() + f.row_map(row));
    }
  }
  if (!pivot.found()) withdraw(f, old);
  return pivot;
}

// ---- Acceptance

void clear(double* first, Index count) { std::fill(first, first + count, 0.0); }

/// New rows and columns are zero, in the live part and beside the pending pivots.
void clear_arrivals(Frontal& f, const Extent& old) {
  const Index new_rows = f.fnrows - old.rows;
  for (Index j = 0; j < f.fncols; ++j) {
    double* column = &f.at(0, j * f.dr);
    if (j < old.columns) {
      clear(column + old.rows, new_rows);
    } else {
      clear(column, f.fnrows);
      clear(column + (f.dr - f.batch), f.batch);
    }
  }
  for (Index j = f.dc - f.batch; j < f.dc; ++j) clear(&f.at(0, j * f.dr) + old.rows, new_rows);
}

/// The column goes into the next slot, the last live one into its place.
void move_to_slot_column(Frontal& f, Index column) {
  const Index place = f.col_map(column) / f.dr, last = f.fncols - 1, slot = f.dc - f.batch - 1;
  double* from = &f.at(0, place * f.dr);
  double* to = &f.at(0, slot * f.dr);
  const double* filler = &f.at(0, last * f.dr);
  const auto exchange = [=](Index begin, Index end) {
    for (Index i = begin; i < end; ++i) {
      const double value = from[i];
      from[i] = filler[i];
      to[i] = value;
    }
  };
  exchange(0, f.fnrows);
  exchange(f.dr - f.batch, f.dr);
  const int moved = f.fcols(f.fncols);
  f.fcols(place + 1) = moved;
  f.col_map(moved) = static_cast<int>(place * f.dr);
  f.col_map(column) = static_cast<int>(slot * f.dr);
  --f.fncols;
}

/// The same for the row, over the live columns, the pending pivot columns and that of the new pivot.
void move_to_slot_row(Frontal& f, Index row) {
  const Index place = f.row_map(row), last = f.fnrows - 1, slot = f.dr - f.batch - 1;
  const auto exchange = [&](Index begin, Index end) {
    double* column = &f.at(0, 0) + begin * f.dr;
    for (Index j = begin; j < end; ++j, column += f.dr) {
      const double value = column[place];
      column[place] = column[last];
      column[slot] = value;
    }
  };
  exchange(0, f.fncols);
  exchange(f.dc - f.batch - 1, f.dc);
  const int moved = f.frows(f.fnrows);
  f.frows(place + 1) = moved;
  f.row_map(moved) = static_cast<int>(place);
  f.row_map(row) = static_cast<int>(slot);
  --f.fnrows;
}

/// Newcomers were numbers old + 1 .. count before the pivot at `place` left and the last took its place.
Newcomers newcomers(Index old, Index count, Index place) { return {old + 1, count > old ? place : 0}; }

/// The pivot stands in its slot, up to date but for what waits; new rows and columns are in.
Arrivals accept(Frontal& f, const Pivot& pivot, const Extent& old) {
  for (Index j = old.columns + 1; j <= f.fncols; ++j) f.degree_lists.leave(f.fcols(j));
  clear_arrivals(f, old);
  const Index row_place = f.row_map(pivot.row) + 1, column_place = f.col_map(pivot.column) / f.dr + 1;
  const Arrivals arrivals{pivot, false, newcomers(old.rows, f.fnrows, row_place),
                          newcomers(old.columns, f.fncols, column_place)};

  const double pending = static_cast<double>(f.batch - f.updated);
  update_column(f, column_place - 1, &f.at(0, (column_place - 1) * f.dr), f.fnrows);
  f.results(kLevel2Flops) += 2.0 * pending * static_cast<double>(f.fnrows);
  move_to_slot_column(f, pivot.column);
  move_to_slot_row(f, pivot.row);
  update_row(f, f.dr - f.batch - 1, f.batch, f.batch - f.updated);
  f.results(kLevel2Flops) += 2.0 * pending * static_cast<double>(f.fncols);
  return arrivals;
}

}  // namespace

bool eliminate_front(Frontal& f, Pivot pivot) {
  assemble(f, {pivot, true, {1, 0}, {1, 0}});
  for (;;) {
    after_step(f);
    eliminate(f, pivot);
    const Extent old{f.fnrows, f.fncols};
    const Pivot next = next_pivot(f, old);
    const bool flush = !next.found() || f.dr - f.batch < f.fnrows || f.dc - f.batch < f.fncols;
    if (flush || f.batch - f.updated >= f.controls.block_size) update_live(f, old);
    if (flush && !store_batch(f, old.rows, old.columns, pivot.row)) return false;
    if (!next.found()) return end_front(f, pivot.row);
    if (flush) note_child(f, pivot.row);  // the element just stored is the first child of the next
    const Arrivals arrivals = accept(f, next, old);
    if (arrivals.rows.any(f.fnrows) || arrivals.columns.any(f.fncols)) assemble(f, arrivals);
    pivot = next;
  }
}

}  // namespace ma38
}  // namespace corvidnum
