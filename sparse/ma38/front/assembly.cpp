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

#include <cstdint>

#include "sparse/ma38/front/steps.h"

namespace corvidnum {
namespace ma38 {

namespace {

// ---- Counting

// Rescanning a row or column that was in the front before usually finds nothing: each of its elements still
// has a part outside. Only members with a mark need the scan, which takes the mark away; a mark is set when
// the member enters the front or when one of its elements loses its last row (column) outside. After an
// assembly no member of the front has a mark.
int& column_mark(const Frontal& f, Index column) { return f.word(f.cp(column), kColumnMark); }
int& row_mark(const Frontal& f, Index row) { return f.row_marks(row); }

void mark_arrivals(Frontal& f, const Arrivals& arrivals) {
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
  const int stamp = to_int(f.stamp), last = stamp + 1;
  const OneBased<int> outside = counter;  // a copy, which no store can alias
  const int* const end = object.tuples + 2 * object.tuple_count;
  for (const int* tuple = object.tuples; tuple != end; tuple += 2) {
    const int e = *tuple;
    if (outside(e) > last) {  // mostly: more than one are outside
      --outside(e);
      continue;
    }
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

/// Sums what the elements of tuples, which all reach outside, have there: the sum of counter - stamp.
/// Unsigned sums of 32 bits, which may wrap, take less than half the instructions of the sum in OutsideSum.
/// The result is right, because it fits into an int: for every row (column) that an element has outside it
/// holds a real in this column (row), and all reals have places that an int can number.
Wide sum_outside(const OneBased<int>& counter, Index stamp, const int* tuple, Index count) {
  const auto count_of = [counters = counter](int e) { return static_cast<std::uint32_t>(counters(e)); };
  std::uint32_t sum = 0;
  sum -= static_cast<std::uint32_t>(stamp) * static_cast<std::uint32_t>(count);
  for (; count >= 4; count -= 4, tuple += 8)
    sum += count_of(tuple[0]) + count_of(tuple[2]) + count_of(tuple[4]) + count_of(tuple[6]);
  for (; count > 0; --count, tuple += 2) sum += count_of(*tuple);
  return Wide{sum};
}

/// Sums what the elements of tuples have outside, and finds those that have nothing there.
class OutsideSum {
 public:
  OutsideSum(const OneBased<int>& counter, Index stamp) : counter_(counter), one_(stamp + 1) {}

  /// Adds the counts of the tuples' elements in order. Stops at the first element that has nothing outside.
  /// Returns the tuple where it stopped, or `end`.
  const int* add(const int* tuple, const int* end) {
    for (; end - tuple >= 8; tuple += 8) {
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

/// Keeps the tuples whose elements reach outside, in order, and calls assemble_tuple(e, offset) for the
/// others. Sets `count` to how many stay. Returns the sum of what these have outside.
template <class Assemble>
Wide keep_tuples(Frontal& f, int* tuples, int& count, const OneBased<int>& counter, Assemble assemble_tuple) {
  OutsideSum outside(counter, f.stamp);
  const int* const end = tuples + 2 * Index{count};
  const int* from = outside.add(tuples, end);
  int* to = tuples + (from - tuples);
  while (from != end) {
    assemble_tuple(from[0], from[1]);
    const int* const next = outside.add(from + 2, end);
    for (from += 2; from != next; ++from) *to++ = *from;
  }
  const Index kept = (to - tuples) / 2;
  f.store.drop_tuples(count - kept);
  count = to_int(kept);
  return outside.sum();
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

/// Moves the column's original entries in rows of the front there; the first `kept` are outside. Returns how
/// many are left.
[[gnu::noinline]] Index move_entries(Frontal& f, Index column, const Object& object, Index kept) {
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

Index assemble_entries(Frontal& f, Index column, const Object& object) {
  const Index kept = outside_entries(object, f.front.row_place, kOutsideRow);
  return kept == object.entry_count ? kept : move_entries(f, column, object, kept);
}

/// Drops the row's original entries in columns of the front, whose values the columns have brought; the first
/// `kept` are outside. Returns how many are left.
[[gnu::noinline]] Index remove_entries(Frontal& f, Index row, const Object& object, Index kept) {
  for (Index i = kept; i < object.entry_count; ++i) {
    const int column = object.entries[i];
    if (f.front.column_offset(column) == kOutsideColumn) object.entries[kept++] = column;
  }
  pack_at_end(object, kept);
  f.store.drop_row_entries(object.entry_count - kept);
  f.ro(row) = to_int(kept);
  return kept;
}

/// Leaves long rows as they are: their scan would cost more than it brings.
Index drop_row_entries(Frontal& f, Index row, const Object& object) {
  if (object.entry_count > std::max<Wide>(f.dense_limit, f.front.max_columns)) return object.entry_count;
  const Index kept = outside_entries(object, f.front.column_offset, kOutsideColumn);
  return kept == object.entry_count ? kept : remove_entries(f, row, object, kept);
}

/// Holds what the scan of the columns, or that of the rows, has for all of them.
struct Scan {
  const OneBased<int> counter;  // of what elements have outside in the other dimension
  const Index stamp;
  const Index others;  // rows (columns) outside the front, which no bound need pass
  Index chain;         // of the elements that have given away all they have inside
};

/// Scans a column with a mark. This is not part of scan_column(), which then needs few registers.
[[gnu::noinline]] void scan_marked_column(Frontal& f, Index column, const Object& object, Scan& scan) {
  f.word(object.at, kColumnMark) = 0;
  int& tuples = f.word(object.at, kTuples);
  const Wide outside = keep_tuples(f, object.tuples, tuples, scan.counter, [&](Index e, Index offset) {
    assemble_column_tuple(f, e, offset, column, scan.chain);
  });
  int& bound = f.word(object.at, kDegree);
  bound = to_int(std::min<Wide>({bound, scan.others, outside + assemble_entries(f, column, object)}));
}

[[gnu::noinline]] void scan_marked_row(Frontal& f, Index row, const Object& object, Scan& scan) {
  row_mark(f, row) = 0;
  const Wide outside = keep_tuples(f, object.tuples, f.rt(row), scan.counter, [&](Index e, Index offset) {
    assemble_row_tuple(f, e, offset, row, scan.chain);
  });
  int& bound = f.word(object.at, kDegree);
  bound = to_int(std::min<Wide>({bound, scan.others, outside + drop_row_entries(f, row, object)}));
}

/// Lowers the bound of a row or column without a mark, which has `entries` original entries outside.
void lower_bound(const Scan& scan, const Object& object, Index entries, int& bound) {
  const Index limit = std::min<Index>(bound, scan.others);
  bound = to_int(limit);
  if (entries >= limit) return;
  const Wide outside = sum_outside(scan.counter, scan.stamp, object.tuples, object.tuple_count);
  bound = to_int(std::min<Wide>(limit, outside + entries));
}

void scan_column(Frontal& f, Index column, Scan& scan) {
  const Object object = column_object(f, column);
  if (f.word(object.at, kColumnMark) != 0) return scan_marked_column(f, column, object, scan);
  lower_bound(scan, object, assemble_entries(f, column, object), f.word(object.at, kDegree));
}

void scan_row(Frontal& f, Index row, Scan& scan) {
  const Object object = row_object(f, row);
  if (row_mark(f, row) != 0) return scan_marked_row(f, row, object, scan);
  lower_bound(scan, object, drop_row_entries(f, row, object), f.word(object.at, kDegree));
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
  mark_arrivals(f, arrivals);
  count_arrivals(f, arrivals);
  const bool new_rows = arrivals.rows.any(f.front.row_count),
             new_columns = arrivals.columns.any(f.front.column_count);
  const Newcomers all{1, 0};
  const Index pivot_row = arrivals.pivot.row, pivot_column = arrivals.pivot.column;

  // A new row can complete elements and entries of any column of the front, not only of the new ones.
  Scan columns{f.ro, f.stamp, f.remaining - 1 - f.front.row_count, f.nd + 1};
  scan_marked_column(f, pivot_column, column_object(f, pivot_column), columns);
  (new_rows ? all : arrivals.columns).each(f.front.columns, f.front.column_count, [&](Index j) {
    scan_column(f, j, columns);
  });
  restore(f, columns.chain, f.ro);

  Scan rows{f.rt, f.stamp, f.remaining - 1 - f.front.column_count, f.nd + 1};
  scan_marked_row(f, pivot_row, row_object(f, pivot_row), rows);
  (new_columns ? all : arrivals.rows).each(f.front.rows, f.front.row_count, [&](Index i) {
    scan_row(f, i, rows);
  });
  restore(f, rows.chain, f.rt);
}

}  // namespace ma38
}  // namespace corvidnum
