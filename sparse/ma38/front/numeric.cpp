// Eliminations in a front, whose picture and invariants are in front.h. After each pivot:
//   1. choose the column of the front of least degree bound, and assemble it whole, updated by the pending
//      pivots, in the work column; its new rows come into the front;
//   2. choose an acceptable row among those that were in the front before; its new columns come in. If they
//      do not fit, or there is no such row, the newcomers leave again and the front ends;
//   3. when enough updates are pending, or the front grows over the batch, apply them to the live part;
//   4. exchange the pivot's row and column with the last live ones, into the next slot of the corner.
// Updates are made in the order of elimination: the sums, and so the rounding, depend on it.

#include <cmath>

#include "frame/blas.h"
#include "sparse/ma38/front/pivot_test.h"
#include "sparse/ma38/front/steps.h"

namespace corvidnum {
namespace ma38 {
namespace {

constexpr double kOne = 1.0, kMinusOne = -1.0;
constexpr int kUnitStep = 1;

/// Counts the rows and columns of the front before an extension is tried.
struct Extent {
  Index rows, columns;
};

// ---- Elimination

void retire(Frontal& f, const Pivot& pivot) {
  const Object row = row_object(f, pivot.row), column = column_object(f, pivot.column);
  f.store.drop_object(row.needed(), 0);
  f.store.drop_object(column.needed(), column.entry_count);
  f.word(row.at, kDegree) = f.word(column.at, kDegree) = kGone;
  f.rp(pivot.row) = f.cp(pivot.column) = 0;
  f.rt(pivot.row) = f.ro(pivot.row) = f.dead_mark();
  f.front.row_place(pivot.row) = kOutsideRow;
  f.front.column_offset(pivot.column) = kPivotalColumn;
}

/// Excludes columns whose element in the pivot row is infinite or NaN from pivoting for the rest of the
/// block: they have no finite factors.
void drop_infinite_columns(Frontal& f, Index pivot_row) {
  for (Index j = 0; j < f.front.column_count; ++j) {
    if (!std::isfinite(f.front.at(pivot_row, j))) column_degree(f, f.front.columns(j + 1)) = dead_column(f);
  }
}

void eliminate(Frontal& f, const Pivot& pivot) {
  const Index slot_row = f.front.max_rows - f.front.batch - 1,
              slot_column = f.front.max_columns - f.front.batch - 1;
  double& value = f.front.at(slot_row, slot_column);
  double* const column = f.front.column(slot_column);
  // Summed in another order than when it was chosen, a value of the size of rounding can have vanished, and
  // sums can overflow.
  if (!is_usable_pivot(value)) value = pivot.seen;
  divide_by_pivot(column, f.front.row_count, value);
  if (is_usable_pivot(value) && all_finite(column, f.front.row_count)) f.results.add(MA38_INFO_PIVOTS, 1);
  drop_infinite_columns(f, slot_row);
  f.results(MA38_RINFO_LEVEL1_FLOPS) += static_cast<double>(f.front.row_count);
  ++f.front.batch;
  --f.remaining;
  ++f.pivots;
  f.front.rows(f.n - f.pivots + 1) = static_cast<int>(pivot.row);
  f.front.columns(f.n - f.pivots + 1) = static_cast<int>(pivot.column);
  retire(f, pivot);
}

// ---- Pending updates

int as_int(Index value) { return static_cast<int>(value); }

/// Limits the products for which a plain loop is quicker than a call of the BLAS.
constexpr Index kFewProducts = 128;

void subtract_multiple(const double* __restrict x, double factor, double* __restrict y, Index count) {
  for (Index i = 0; i < count; ++i) y[i] -= x[i] * factor;
}

/// Subtracts L of the pending pivots times x, their entries in a column, from y; in the order of elimination,
/// from the last column of L to the first.
void subtract_pivots(const double* l, Index ld, const double* x, Index pending, double* y, Index rows) {
  for (Index p = pending - 1; p >= 0; --p) subtract_multiple(l + p * ld, x[p], y, rows);
}

/// Updates a column of the live rows by the pending pivots: y -= L times what the pivot rows have in
/// `column`.
void update_column(const Front& front, Index column, double* y, Index rows) {
  const Index pending = front.pending();
  if (rows == 0 || pending == 0) return;
  const double* l = front.column(front.max_columns - front.batch);
  const double* x = &front.at(front.max_rows - front.batch, column);
  if (rows * pending <= kFewProducts) {
    subtract_pivots(l, front.max_rows, x, pending, y, rows);
    return;
  }
  const int m = as_int(rows), n = as_int(pending), ld = as_int(front.max_rows);
  dgemv_("N", &m, &n, &kMinusOne, l, &ld, x, &kUnitStep, &kOne, y, &kUnitStep, 1);
}

/// Subtracts, over the live columns, the row's L entries of the pending pivots times their U from row `row`.
void update_row(const Front& front, Index row, Index first_pending, Index pending) {
  if (front.column_count == 0 || pending == 0) return;
  const double* u = &front.at(front.max_rows - first_pending, 0);
  const double* l = &front.at(row, front.max_columns - first_pending);
  double* y = &front.at(row, 0);
  if (front.column_count * pending <= kFewProducts) {
    for (Index j = 0; j < front.column_count; ++j, u += front.max_rows, y += front.max_rows) {
      for (Index p = pending - 1; p >= 0; --p) *y -= l[p * front.max_rows] * u[p];
    }
    return;
  }
  const int m = as_int(pending), n = as_int(front.column_count), ld = as_int(front.max_rows);
  dgemv_("T", &m, &n, &kMinusOne, u, &ld, l, &ld, &kOne, y, &ld, 1);
}

/// Applies the pending pivots to the live part as it was before the extension (rank-k update).
void update_live(Frontal& f, const Extent& live) {
  const Index pending = f.front.pending();
  f.results(MA38_RINFO_LEVEL3_FLOPS) +=
      2.0 * static_cast<double>(pending) * static_cast<double>(live.rows) * static_cast<double>(live.columns);
  f.front.updated = f.front.batch;
  if (pending == 0 || live.rows == 0 || live.columns == 0) return;
  const double* l = f.front.column(f.front.max_columns - f.front.batch);
  if (live.rows * live.columns * pending <= kFewProducts) {
    for (Index j = 0; j < live.columns; ++j) {
      subtract_pivots(l, f.front.max_rows, &f.front.at(f.front.max_rows - f.front.batch, j), pending,
                      f.front.column(j), live.rows);
    }
    return;
  }
  const int m = as_int(live.rows), n = as_int(live.columns), k = as_int(pending),
            ld = as_int(f.front.max_rows);
  dgemm_("N", "N", &m, &n, &k, &kMinusOne, l, &ld, &f.front.at(f.front.max_rows - f.front.batch, 0), &ld,
         &kOne, &f.front.at(0, 0), &ld, 1, 1);
}

// ---- The next pivot of the same front

/// Returns the front's column of the least bound, among equals of the lowest number; 0: none.
Index choose_column(const Frontal& f) {
  Index best = 0, least = 0;
  for (Index j = 1; j <= f.front.column_count; ++j) {
    const Index column = f.front.columns(j), bound = column_degree(f, column);
    if (bound < 0) continue;
    if (best == 0 || bound < least || (bound == least && column < best)) {
      best = column;
      least = bound;
    }
  }
  return best;
}

/// Adds a value to the work column, and its row to the front if it is outside. Returns false if the front has
/// no room for it.
bool add_to_work(Frontal& f, double* work, int row, double value) {
  if (f.front.row_place(row) < 0) {
    if (f.front.row_count == f.front.max_rows) return false;
    f.front.row_place(row) = static_cast<int>(f.front.row_count);
    work[f.front.row_count] = 0.0;
    f.front.rows(++f.front.row_count) = row;
  }
  work[f.front.row_place(row)] += value;
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

/// Computes the column as it would be after all pivots so far, in the work column, and adds its new rows to
/// the front. Returns false if they do not fit.
bool fill_work_column(Frontal& f, Index column) {
  if (f.front.row_count + f.word(f.cp(column), kOwned) > f.front.max_rows) return false;
  const Index place = f.front.column_offset(column) / f.front.max_rows;
  double* work = f.front.work_column();
  std::memcpy(work, f.front.column(place), static_cast<std::size_t>(f.front.row_count) * sizeof(double));
  f.results(MA38_RINFO_SEARCH_FLOPS) +=
      2.0 * static_cast<double>(f.front.pending()) * static_cast<double>(f.front.row_count);
  update_column(f.front, place, work, f.front.row_count);
  return gather_waiting(f, column, work);
}

/// Returns a pivot row for the column in the work column, among the rows that were in the front before; 0:
/// none.
Index choose_pivot_row(Frontal& f, Index column, Index old_rows) {
  const double* work = f.front.work_column();
  const double amax = largest_magnitude(work, f.front.row_count);
  f.results(MA38_RINFO_SEARCH_FLOPS) += static_cast<double>(f.front.row_count);
  if (!is_usable_pivot(amax)) {
    column_degree(f, column) = dead_column(f);
    return 0;
  }
  Index diagonal = f.controls.prefer_diagonal ? f.front.row_place(column) : -1;
  if (diagonal >= old_rows) diagonal = -1;
  return choose_row(f, f.front.rows.data(), work, old_rows, diagonal, amax).row;
}

bool bring_column(Front& front, int column) {
  if (front.column_offset(column) != kOutsideColumn) return true;
  if (front.column_count == front.max_columns) return false;
  front.column_offset(column) = static_cast<int>(front.column_count * front.max_rows);
  front.columns(++front.column_count) = column;
  return true;
}

/// Adds all columns of the pivot row to the front. Returns false if they do not fit.
bool bring_columns(Frontal& f, Index row) {
  const Object object = row_object(f, row);
  for (Index t = 0; t < object.tuple_count; ++t) {
    const Index e = object.tuples[2 * t];
    if (!is_live(f, e)) continue;
    const Waiting element = waiting(f, e);
    if (f.word(element.object, kLiveColumns) > f.front.max_columns) return false;
    for (Index j = 0; j < element.column_count; ++j) {
      if (element.columns[j] > 0 && !bring_column(f.front, element.columns[j])) return false;
    }
  }
  for (Index i = 0; i < object.entry_count; ++i) {
    if (!bring_column(f.front, object.entries[i])) return false;
  }
  return true;
}

/// Takes out again what an extension that failed has brought in.
void withdraw(Front& front, const Extent& old) {
  for (; front.row_count > old.rows; --front.row_count)
    front.row_place(front.rows(front.row_count)) = kOutsideRow;
  for (; front.column_count > old.columns; --front.column_count)
    front.column_offset(front.columns(front.column_count)) = kOutsideColumn;
}

/// Returns the next pivot, its new rows and columns being in the lists. If none is found the front is as
/// before.
Pivot next_pivot(Frontal& f, const Extent& old) {
  Pivot pivot;
  if (f.front.row_count == 0) return pivot;
  const Index column = choose_column(f);
  if (column == 0) return pivot;
  if (fill_work_column(f, column)) {
    const Index row = choose_pivot_row(f, column, old.rows);
    if (row != 0 && bring_columns(f, row)) {
      pivot.row = row;
      pivot.column = column;
      pivot.seen = f.front.work_column()[f.front.row_place(row)];
    }
  }
  if (!pivot.found()) withdraw(f.front, old);
  return pivot;
}

// ---- Acceptance

void clear(double* first, Index count) { std::fill(first, first + count, 0.0); }

/// Clears new rows and columns, in the live part and beside the pending pivots.
void clear_arrivals(Front& front, const Extent& old) {
  const Index new_rows = front.row_count - old.rows;
  for (Index j = 0; j < front.column_count; ++j) {
    double* column = front.column(j);
    if (j < old.columns) {
      clear(column + old.rows, new_rows);
    } else {
      clear(column, front.row_count);
      clear(column + (front.max_rows - front.batch), front.batch);
    }
  }
  for (Index j = front.max_columns - front.batch; j < front.max_columns; ++j)
    clear(front.column(j) + old.rows, new_rows);
}

/// Moves the column into the next slot, and the last live one into its place.
void move_to_slot_column(Front& front, Index column) {
  const Index place = front.column_offset(column) / front.max_rows, last = front.column_count - 1,
              slot = front.max_columns - front.batch - 1;
  double* from = front.column(place);
  double* to = front.column(slot);
  const double* filler = front.column(last);
  const auto exchange = [=](Index begin, Index end) {
    for (Index i = begin; i < end; ++i) {
      const double value = from[i];
      from[i] = filler[i];
      to[i] = value;
    }
  };
  exchange(0, front.row_count);
  exchange(front.max_rows - front.batch, front.max_rows);
  const int moved = front.columns(front.column_count);
  front.columns(place + 1) = moved;
  front.column_offset(moved) = static_cast<int>(place * front.max_rows);
  front.column_offset(column) = static_cast<int>(slot * front.max_rows);
  --front.column_count;
}

/// Moves the row likewise, over the live columns, the pending pivot columns and that of the new pivot.
void move_to_slot_row(Front& front, Index row) {
  const Index place = front.row_place(row), last = front.row_count - 1,
              slot = front.max_rows - front.batch - 1;
  const auto exchange = [&](Index begin, Index end) {
    double* column = front.column(begin);
    for (Index j = begin; j < end; ++j, column += front.max_rows) {
      const double value = column[place];
      column[place] = column[last];
      column[slot] = value;
    }
  };
  exchange(0, front.column_count);
  exchange(front.max_columns - front.batch - 1, front.max_columns);
  const int moved = front.rows(front.row_count);
  front.rows(place + 1) = moved;
  front.row_place(moved) = static_cast<int>(place);
  front.row_place(row) = static_cast<int>(slot);
  --front.row_count;
}

/// Returns the newcomers, numbers old + 1 .. count before the pivot at `place` left and the last took its
/// place.
Newcomers newcomers(Index old, Index count, Index place) { return {old + 1, count > old ? place : 0}; }

/// Moves the pivot into its slot, updated by the pending pivots. Returns what has come into the front.
Arrivals accept(Frontal& f, const Pivot& pivot, const Extent& old) {
  for (Index j = old.columns + 1; j <= f.front.column_count; ++j) f.degree_lists.leave(f.front.columns(j));
  clear_arrivals(f.front, old);
  const Index row_place = f.front.row_place(pivot.row) + 1,
              column_place = f.front.column_offset(pivot.column) / f.front.max_rows + 1;
  const Arrivals arrivals{pivot, false, newcomers(old.rows, f.front.row_count, row_place),
                          newcomers(old.columns, f.front.column_count, column_place)};

  const double pending = static_cast<double>(f.front.pending());
  update_column(f.front, column_place - 1, f.front.column(column_place - 1), f.front.row_count);
  f.results(MA38_RINFO_LEVEL2_FLOPS) += 2.0 * pending * static_cast<double>(f.front.row_count);
  move_to_slot_column(f.front, pivot.column);
  move_to_slot_row(f.front, pivot.row);
  update_row(f.front, f.front.max_rows - f.front.batch - 1, f.front.batch, f.front.pending());
  f.results(MA38_RINFO_LEVEL2_FLOPS) += 2.0 * pending * static_cast<double>(f.front.column_count);
  return arrivals;
}

}  // namespace

bool eliminate_front(Frontal& f, Pivot pivot) {
  assemble(f, {pivot, true, {1, 0}, {1, 0}});
  for (;;) {
    after_step(f);
    eliminate(f, pivot);
    const Extent old{f.front.row_count, f.front.column_count};
    const Pivot next = next_pivot(f, old);
    const bool flush = !next.found() || f.front.max_rows - f.front.batch < f.front.row_count ||
                       f.front.max_columns - f.front.batch < f.front.column_count;
    if (flush || f.front.pending() >= f.controls.block_size) update_live(f, old);
    if (flush && !store_batch(f, old.rows, old.columns, pivot.row)) return false;
    if (!next.found()) return end_front(f, pivot.row);
    if (flush) f.chain.note_child(pivot.row);  // the element just stored is the first child of the next
    const Arrivals arrivals = accept(f, next, old);
    if (arrivals.rows.any(f.front.row_count) || arrivals.columns.any(f.front.column_count))
      assemble(f, arrivals);
    pivot = next;
  }
}

}  // namespace ma38
}  // namespace corvidnum
