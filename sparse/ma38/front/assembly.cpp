// Assembly into the front, and renewal of degree bounds, after rows and columns have come into the front.
//
//   1. Count, for each element with a tuple in a newcomer, how many of its live rows and columns are outside
//      the front: ro(e) - stamp and rt(e) - stamp.
//   2. Scan the columns: an element whose rows are all inside gives the column away, or all its columns that
//      are inside at once; if its columns are all inside, too, it is absorbed. Original entries in rows of
//      the front move there.
//   3. Scan the rows likewise, for elements whose columns are all inside.
// Each scan also lowers the degree bound of its column or row to what its elements and entries have outside.
//
// During a scan, elements that have given away all they have inside are linked: ro(e), in the scan of rows
// rt(e), is minus the next one, and of the last one -(nd + 1). restore() walks that list and sets the
// counters back to the stamp, which means that nothing is outside.

#include <limits>

#include "sparse/ma38/front/steps.h"

namespace corvidnum {
namespace ma38 {

namespace {

// ---- Counting

// Rescanning a row or column that was in the front before usually finds nothing: each of its elements still
// has a part outside. Only members with a mark need the scan; a mark is set when the member enters the front
// or when one of its elements loses its last row (column) outside. The first assembly of a front scans all.
int& column_mark(const Frontal& f, Index column) { return f.word(f.cp(column), kColumnMark); }
int& row_mark(const Frontal& f, Index row) { return f.row_marks(row); }

void mark_arrivals(Frontal& f, const Arrivals& arrivals) {
  for (Index j = 1; j <= f.front.column_count; ++j) column_mark(f, f.front.columns(j)) = 0;
  for (Index i = 1; i <= f.front.row_count; ++i) row_mark(f, f.front.rows(i)) = 0;
  arrivals.columns.each(f.front.columns, f.front.column_count, [&f](Index j) { column_mark(f, j) = 1; });
  arrivals.rows.each(f.front.rows, f.front.row_count, [&f](Index i) { row_mark(f, i) = 1; });
}

void mark_columns_of(const Frontal& f, Index e) {
  const Waiting element = waiting(f, e);
  for (Index j = 0; j < element.column_count; ++j) {
    const int column = element.columns[j];
    if (column > 0 && f.front.column_offset(column) >= 0) column_mark(f, column) = 1;
  }
}
void mark_rows_of(const Frontal& f, Index e) {
  const Waiting element = waiting(f, e);
  for (Index i = 0; i < element.row_count; ++i) {
    const int row = element.rows[i];
    if (row > 0 && f.front.row_place(row) >= 0) row_mark(f, row) = 1;
  }
}

/// Sets the counters of an element that is counted for the first time in this front: all is outside.
void start_counting(Frontal& f, Index e) {
  const Index element = f.rp(e);
  f.rt(e) = to_int(f.stamp + f.word(element, kLiveColumns));
  f.ro(e) = to_int(f.stamp + f.word(element, kLiveRows));
}

/// Lowers, for each element of the object's tuples, the count of columns (`counter` is rt) or rows (ro)
/// outside. Calls complete(e) for those that have none left.
template <class Complete>
void count_tuples(Frontal& f, const Object& object, const OneBased<int>& counter, Complete complete) {
  const int stamp = to_int(f.stamp);
  const OneBased<int> outside = counter;  // a copy, which no store can alias
  const int* const end = object.tuples + 2 * object.tuple_count;
  for (const int* tuple = object.tuples; tuple != end; tuple += 2) {
    const int e = *tuple;
    if (outside(e) < stamp) {
      if (outside(e) < 0) continue;  // dead
      start_counting(f, e);
    }
    const int left = --outside(e);
    if (left == stamp) complete(e);
  }
}

void count_arrivals(Frontal& f, const Arrivals& arrivals) {
  const bool marking = !arrivals.opening;
  const auto count_row = [&f, marking](Index row) {
    count_tuples(f, row_object(f, row), f.ro, [&f, marking](Index e) {
      if (marking) mark_columns_of(f, e);
    });
  };
  const auto count_column = [&f, marking](Index column) {
    count_tuples(f, column_object(f, column), f.rt, [&f, marking](Index e) {
      if (marking) mark_rows_of(f, e);
    });
  };
  if (arrivals.opening) {
    count_row(arrivals.pivot.row);
    count_column(arrivals.pivot.column);
  } else {
    mark_arrivals(f, arrivals);
  }
  arrivals.rows.each(f.front.rows, f.front.row_count, count_row);
  arrivals.columns.each(f.front.columns, f.front.column_count, count_column);
}

// ---- Elements

/// Adds column `offset` of the element to a column of the front, in the rows that are live and inside.
void add_column(const Frontal& f, const Waiting& element, Index offset, Index front_column) {
  const double* from = element.column(offset);
  double* to = f.front.column_at(front_column);
  const OneBased<const int> map = f.front.row_place;
  for (Index i = 0; i < element.row_count; ++i) {
    const int row = element.rows[i];
    if (row > 0 && map(row) >= 0) to[map(row)] += from[i];
  }
}

/// Adds a column of an element whose live rows are all inside.
void add_complete_column(const Frontal& f, const Waiting& element, Index offset, Index front_column) {
  if (f.word(element.object, kLiveRows) != element.row_count) {
    add_column(f, element, offset, front_column);
    return;
  }
  const double* from = element.column(offset);
  double* to = f.front.column_at(front_column);
  const OneBased<const int> map = f.front.row_place;
  for (Index i = 0; i < element.row_count; ++i) to[map(element.rows[i])] += from[i];
}

/// Adds row `offset` of the element over its live columns, which are all inside.
void add_row(const Frontal& f, const Waiting& element, Index offset, Index front_row) {
  for (Index j = 0; j < element.column_count; ++j) {
    const int column = element.columns[j];
    if (column > 0)
      f.front.column_at(f.front.column_offset(column))[front_row] += element.column(j + 1)[offset - 1];
  }
}

/// Adds all that is live and drops the element; its reals become a hole.
void absorb(Frontal& f, Index e) {
  const Waiting element = waiting(f, e);
  for (Index j = 0; j < element.column_count; ++j) {
    if (element.columns[j] > 0)
      add_complete_column(f, element, j + 1, f.front.column_offset(element.columns[j]));
  }
  const Index object = element.object;
  const Index reals = element.row_count * element.column_count;
  f.rt(e) = f.ro(e) = f.dead_mark();
  if (e > f.n) {
    f.rp(e) = 0;
    f.store.drop_object(kColumnHeader + element.row_count, reals);
  } else {
    f.rp(e) = f.word(object, kLuElement);
    f.word(object, kLength) = static_cast<int>(kContributionWords);
    f.store.drop_object(kContributionWords, reals);
    f.contribution_reals -= reals;
  }
  f.word(object, kDegree) = kGone;
  f.store.release_reals(object);
}

/// Assembles the columns of e that are inside, all at once. All its rows must be inside.
void assemble_columns(Frontal& f, Index e, Index& chain) {
  const Waiting element = waiting(f, e);
  for (Index j = 0; j < element.column_count; ++j) {
    const int column = element.columns[j];
    if (column < 0 || f.front.column_offset(column) < 0) continue;
    add_complete_column(f, element, j + 1, f.front.column_offset(column));
    element.columns[j] = -column;
  }
  f.word(element.object, kLiveColumns) = static_cast<int>(f.rt(e) - f.stamp);
  f.ro(e) = static_cast<int>(-chain);
  chain = e;
}

/// Assembles the rows of e that are inside, all at once. All its columns must be inside.
void assemble_rows(Frontal& f, Index e, Index& chain) {
  const Waiting element = waiting(f, e);
  for (Index j = 0; j < element.column_count; ++j) {
    const int column = element.columns[j];
    if (column > 0) add_column(f, element, j + 1, f.front.column_offset(column));
  }
  for (Index i = 0; i < element.row_count; ++i) {
    const int row = element.rows[i];
    if (row > 0 && f.front.row_place(row) >= 0) element.rows[i] = -row;
  }
  f.word(element.object, kLiveRows) = static_cast<int>(f.ro(e) - f.stamp);
  f.rt(e) = static_cast<int>(-chain);
  chain = e;
}

/// Assembles what the tuple's element e, whose rows are all inside, can give: all of it, or this column if
/// most of its columns are outside, or all columns that are inside.
void assemble_column_tuple(Frontal& f, Index e, Index offset, Index column, Index& chain) {
  if (f.ro(e) < 0) return;  // dead, or taken in this scan
  if (e <= f.n) f.chain.note_child(e);
  const Index outside = f.rt(e) - f.stamp;
  if (outside == 0) {
    absorb(f, e);
  } else if (outside > f.word(f.rp(e), kLiveColumns) / 2) {
    const Waiting element = waiting(f, e);
    add_complete_column(f, element, offset, f.front.column_offset(column));
    element.columns[offset - 1] = -element.columns[offset - 1];
    --f.word(element.object, kLiveColumns);
  } else {
    assemble_columns(f, e, chain);
  }
}

/// Assembles what the tuple's element e, whose columns are all inside, can give: this row if most of its rows
/// are outside, or all rows that are inside.
void assemble_row_tuple(Frontal& f, Index e, Index offset, Index row, Index& chain) {
  if (f.rt(e) < 0) return;
  if (e <= f.n) f.chain.note_child(e);
  const Index outside = f.ro(e) - f.stamp;  // above 0: else the scan of columns has absorbed e
  if (outside > f.word(f.rp(e), kLiveRows) / 2) {
    const Waiting element = waiting(f, e);
    add_row(f, element, offset, f.front.row_place(row));
    element.rows[offset - 1] = -element.rows[offset - 1];
    --f.word(element.object, kLiveRows);
  } else {
    assemble_rows(f, e, chain);
  }
}

// ---- Scans

/// Sums what the elements of tuples have outside.
class OutsideSum {
 public:
  OutsideSum(const Frontal& f, const OneBased<int>& counter) : counter_(counter), one_(f.stamp + 1) {}

  /// Adds the counts of the tuples' elements in order. Stops at the first element that has nothing outside,
  /// or once the sum has reached `limit`. Returns the tuple where it stopped, or `end`.
  const int* add(const int* tuple, const int* end, Wide limit) {
    for (; end - tuple >= 8; tuple += 8) {
      if (sum_ >= limit) return tuple;
      const Wide a = above_one(tuple[0]), b = above_one(tuple[2]), c = above_one(tuple[4]),
                 d = above_one(tuple[6]);
      if ((a | b | c | d) < 0) break;
      sum_ += a + b + c + d + 4;
    }
    for (; tuple != end && above_one(*tuple) >= 0; tuple += 2) sum_ += above_one(*tuple) + 1;
    return tuple;
  }
  Wide sum() const { return sum_; }

 private:
  Wide above_one(int e) const { return counter_(e) - one_; }

  const OneBased<const int> counter_;
  const Wide one_;  // what a counter shows if one is outside
  Wide sum_ = 0;
};

constexpr Wide kNoLimit = std::numeric_limits<Wide>::max();

/// Keeps the tuples whose elements reach outside, in order, and calls assemble(e, offset) for the others.
/// Returns how many stay.
template <class Assemble>
Index keep_tuples(Frontal& f, const Object& object, OutsideSum& outside, Assemble assemble_tuple) {
  const int* const end = object.tuples + 2 * object.tuple_count;
  const int* from = outside.add(object.tuples, end, kNoLimit);
  int* to = object.tuples + (from - object.tuples);
  while (from != end) {
    assemble_tuple(from[0], from[1]);
    const int* const next = outside.add(from + 2, end, kNoLimit);
    for (from += 2; from != next; ++from) *to++ = *from;
  }
  const Index kept = (to - object.tuples) / 2;
  f.store.drop_tuples(object.tuple_count - kept);
  return kept;
}

/// Packs the first `kept` entries of the object at its end.
void pack_at_end(const Object& object, Index kept) {
  std::memmove(object.entries + (object.entry_count - kept), object.entries,
               static_cast<std::size_t>(kept) * sizeof(int));
}

/// Returns the number of entries before the first that is inside by `map`.
Index outside_entries(const Object& object, OneBased<const int> map, int outside) {
  Index i = 0;
  while (i < object.entry_count && map(object.entries[i]) == outside) ++i;
  return i;
}

/// Moves the column's original entries in rows of the front there. Returns how many are left.
Index assemble_entries(Frontal& f, Index column, const Object& object) {
  Index kept = outside_entries(object, f.front.row_place, kOutsideRow);
  if (kept == object.entry_count) return kept;
  double* values = &f.space.reals(f.word(object.at, kValues));
  double* to = f.front.column_at(f.front.column_offset(column));
  for (Index i = kept; i < object.entry_count; ++i) {
    const int row = object.entries[i];
    const int place = f.front.row_place(row);
    if (place >= 0) {
      to[place] += values[i];
    } else {
      object.entries[kept] = row;
      values[kept++] = values[i];
    }
  }
  pack_at_end(object, kept);
  f.store.drop_column_entries(object.entry_count - kept);
  f.word(object.at, kOwned) = to_int(kept);
  if (kept == 0) f.store.release_reals(object.at);
  return kept;
}

/// Drops the row's original entries in columns of the front, whose values the columns have brought. Leaves
/// long rows as they are: their scan would cost more than it brings. Returns how many are left.
Index drop_row_entries(Frontal& f, Index row, const Object& object) {
  if (object.entry_count > std::max<Wide>(f.dense_limit, f.front.max_columns)) return object.entry_count;
  Index kept = outside_entries(object, f.front.column_offset, kOutsideColumn);
  if (kept == object.entry_count) return kept;
  for (Index i = kept; i < object.entry_count; ++i) {
    const int column = object.entries[i];
    if (f.front.column_offset(column) == kOutsideColumn) object.entries[kept++] = column;
  }
  pack_at_end(object, kept);
  f.store.drop_row_entries(object.entry_count - kept);
  f.ro(row) = to_int(kept);
  return kept;
}

/// Returns the lower of `limit` and what the elements of the object and `entries` have outside.
int lowered(const Object& object, bool summed, OutsideSum& outside, Index entries, Wide limit) {
  if (!summed) outside.add(object.tuples, object.tuples + 2 * object.tuple_count, limit - entries);
  return to_int(std::min(limit, outside.sum() + entries));
}

void scan_column(Frontal& f, Index column, bool marked, Index& chain) {
  const Object object = column_object(f, column);
  OutsideSum outside(f, f.ro);
  if (marked) {
    f.word(object.at, kTuples) = to_int(keep_tuples(f, object, outside, [&](Index e, Index offset) {
      assemble_column_tuple(f, e, offset, column, chain);
    }));
  }
  const Index entries = assemble_entries(f, column, object);
  int& degree = f.word(object.at, kDegree);
  degree =
      lowered(object, marked, outside, entries, std::min<Wide>(degree, f.remaining - 1 - f.front.row_count));
}

void scan_row(Frontal& f, Index row, bool marked, Index& chain) {
  const Object object = row_object(f, row);
  OutsideSum outside(f, f.rt);
  if (marked) {
    f.rt(row) = to_int(keep_tuples(
        f, object, outside, [&](Index e, Index offset) { assemble_row_tuple(f, e, offset, row, chain); }));
  }
  const Index entries = drop_row_entries(f, row, object);
  int& degree = f.word(object.at, kDegree);
  degree = lowered(object, marked, outside, entries,
                   std::min<Wide>(degree, f.remaining - 1 - f.front.column_count));
}

/// Resets the counters that served as links of the scan's list to the stamp: the elements have nothing
/// outside in that direction.
void restore(const Frontal& f, Index chain, OneBased<int> counter) {
  while (chain != f.nd + 1) {
    const Index next = -counter(chain);
    counter(chain) = static_cast<int>(f.stamp);
    chain = next;
  }
}

}  // namespace

void assemble(Frontal& f, const Arrivals& arrivals) {
  count_arrivals(f, arrivals);
  const bool new_rows = arrivals.rows.any(f.front.row_count),
             new_columns = arrivals.columns.any(f.front.column_count);
  const bool all_marked = arrivals.opening;
  const Newcomers all{1, 0};

  // A new row can complete elements and entries of any column of the front, not only of the new ones.
  Index chain = f.nd + 1;
  scan_column(f, arrivals.pivot.column, true, chain);
  (new_rows ? all : arrivals.columns).each(f.front.columns, f.front.column_count, [&](Index j) {
    scan_column(f, j, all_marked || column_mark(f, j) != 0, chain);
  });
  restore(f, chain, f.ro);

  chain = f.nd + 1;
  scan_row(f, arrivals.pivot.row, true, chain);
  (new_columns ? all : arrivals.rows).each(f.front.rows, f.front.row_count, [&](Index i) {
    scan_row(f, i, all_marked || row_mark(f, i) != 0, chain);
  });
  restore(f, chain, f.rt);
}

}  // namespace ma38
}  // namespace corvidnum
