// Assembly into the front, and renewal of degree bounds.
//
// For a live element e met in this front, rt(e) - stamp of its columns and ro(e) - stamp of its rows lie
// outside. While e hangs in the chain of a scan, one of its counters is minus the next of the chain.

#include "sparse/ma38/frontal_steps.h"

namespace corvidnum {
namespace ma38 {

void note_child(Frontal& f, Index e) {
  if (f.row_map(e) != kOutsideRow) return;  // noted
  f.row_map(e) = -2;
  if (f.last_child != 0) {
    f.row_map(f.last_child) = static_cast<int>(-2 - e);
  } else {
    f.first_child = e;
  }
  f.last_child = e;
  ++f.children;
}

namespace {

// ---- Counting

/// The object's elements are known to have one column (of `counter` rt) or row (ro) more inside.
void count_tuples(Frontal& f, const Object& object, OneBased<int> counter) {
  const Index stamp = f.stamp;
  for (Index t = 0; t < object.tuple_count; ++t) {
    const Index e = object.tuples[2 * t];
    if (!is_live(f, e)) continue;
    if (f.rt(e) < stamp) {
      const Index element = f.rp(e);
      f.rt(e) = static_cast<int>(stamp + f.word(element, kLiveColumns));
      f.ro(e) = static_cast<int>(stamp + f.word(element, kLiveRows));
    }
    --counter(e);
  }
}

void count_arrivals(Frontal& f, const Arrivals& arrivals) {
  const auto count_row = [&f](Index row) { count_tuples(f, row_object(f, row), f.ro); };
  const auto count_column = [&f](Index column) { count_tuples(f, column_object(f, column), f.rt); };
  if (arrivals.opening) {
    count_row(arrivals.pivot.row);
    count_column(arrivals.pivot.column);
  }
  arrivals.rows.each(f.frows, f.fnrows, count_row);
  arrivals.columns.each(f.fcols, f.fncols, count_column);
}

// ---- Elements

/// Adds column `offset` of the element, in the rows that are alive and inside.
void add_column(const Frontal& f, const Waiting& element, Index offset, Index front_column) {
  const double* from = element.column(offset);
  double* to = &f.at(0, front_column);
  const int* map = f.row_map.data() - 1;
  for (Index i = 0; i < element.row_count; ++i) {
    const int row = element.rows[i];
    if (row > 0 && map[row] >= 0) to[map[row]] += from[i];
  }
}

/// Adds row `offset` of the element over all columns that are alive; they are all inside.
void add_row(const Frontal& f, const Waiting& element, Index offset, Index front_row) {
  for (Index j = 0; j < element.column_count; ++j) {
    const int column = element.columns[j];
    if (column > 0) f.at(front_row, f.col_map(column)) += element.column(j + 1)[offset - 1];
  }
}

/// Adds all that is alive; the element is dead, its reals are a hole.
void absorb(Frontal& f, Index e) {
  const Waiting element = waiting(f, e);
  for (Index j = 0; j < element.column_count; ++j) {
    if (element.columns[j] > 0) add_column(f, element, j + 1, f.col_map(element.columns[j]));
  }
  const Index object = element.object;
  const Index reals = element.row_count * element.column_count;
  f.space.xneed -= reals;
  f.rt(e) = f.ro(e) = f.dead_mark();
  if (e > f.n) {
    f.rp(e) = 0;
    f.space.ineed -= kColumnHeader + element.row_count;
  } else {
    f.rp(e) = f.word(object, kLuElement);
    f.word(object, kLength) = static_cast<int>(kContributionWords);
    f.space.ineed -= kContributionWords;
    f.contribution_reals -= reals;
  }
  f.word(object, kDegree) = kColumnIsPivotal;
  free_reals(f, object);
}

/// All rows of e are inside: its columns that are inside go at once.
void take_columns(Frontal& f, Index e, Index& chain) {
  const Waiting element = waiting(f, e);
  for (Index j = 0; j < element.column_count; ++j) {
    const int column = element.columns[j];
    if (column < 0 || f.col_map(column) < 0) continue;
    add_column(f, element, j + 1, f.col_map(column));
    element.columns[j] = -column;
  }
  f.word(element.object, kLiveColumns) = static_cast<int>(f.rt(e) - f.stamp);
  f.ro(e) = static_cast<int>(-chain);
  chain = e;
}

/// All columns of e are inside: its rows that are inside go at once.
void take_rows(Frontal& f, Index e, Index& chain) {
  const Waiting element = waiting(f, e);
  for (Index j = 0; j < element.column_count; ++j) {
    const int column = element.columns[j];
    if (column > 0) add_column(f, element, j + 1, f.col_map(column));
  }
  for (Index i = 0; i < element.row_count; ++i) {
    const int row = element.rows[i];
    if (row > 0 && f.row_map(row) >= 0) element.rows[i] = -row;
  }
  f.word(element.object, kLiveRows) = static_cast<int>(f.ro(e) - f.stamp);
  f.rt(e) = static_cast<int>(-chain);
  chain = e;
}

/// A tuple of a column: false if it stays, because rows of its element are outside.
bool settle_column_tuple(Frontal& f, Index e, Index offset, Index column, Index& chain, Wide& bound) {
  const Index stamp = f.stamp;
  if (f.ro(e) > stamp) {
    bound += f.ro(e) - stamp;
    return false;
  }
  if (f.ro(e) < 0) return true;  // dead, or taken in this scan
  if (e <= f.n) note_child(f, e);
  const Index outside = f.rt(e) - stamp;
  if (outside == 0) {
    absorb(f, e);
  } else if (outside > f.word(f.rp(e), kLiveColumns) / 2) {
    const Waiting element = waiting(f, e);
    add_column(f, element, offset, f.col_map(column));
    element.columns[offset - 1] = -element.columns[offset - 1];
    --f.word(element.object, kLiveColumns);
  } else {
    take_columns(f, e, chain);
  }
  return true;
}

bool settle_row_tuple(Frontal& f, Index e, Index offset, Index row, Index& chain, Wide& bound) {
  const Index stamp = f.stamp;
  if (f.rt(e) > stamp) {
    bound += f.rt(e) - stamp;
    return false;
  }
  if (f.rt(e) < 0) return true;
  if (e <= f.n) note_child(f, e);
  const Index outside = f.ro(e) - stamp;  // above 0: else the scan of columns has absorbed e
  if (outside > f.word(f.rp(e), kLiveRows) / 2) {
    const Waiting element = waiting(f, e);
    add_row(f, element, offset, f.row_map(row));
    element.rows[offset - 1] = -element.rows[offset - 1];
    --f.word(element.object, kLiveRows);
  } else {
    take_rows(f, e, chain);
  }
  return true;
}

/// Those tuples stay, in order, that `settle` leaves. Returns their count.
template <class Settle>
Index keep_tuples(Frontal& f, const Object& object, Settle settle) {
  int* to = object.tuples;
  for (Index t = 0; t < object.tuple_count; ++t) {
    const int e = object.tuples[2 * t], offset = object.tuples[2 * t + 1];
    if (settle(e, offset)) continue;
    *to++ = e;
    *to++ = offset;
  }
  const Index kept = (to - object.tuples) / 2;
  f.space.ineed -= 2 * (object.tuple_count - kept);
  return kept;
}

/// Entries kept are packed at the end of the object.
void pack_at_end(const Object& object, Index kept) {
  if (kept == object.entry_count) return;
  std::memmove(object.entries + (object.entry_count - kept), object.entries,
               static_cast<std::size_t>(kept) * sizeof(int));
}

// ---- Scans

/// Original entries of the column in rows of the front move there.
void take_column_entries(Frontal& f, Index column, const Object& object) {
  if (object.entry_count == 0) return;
  double* values = &f.space.reals(f.word(object.at, kValues));
  double* to = &f.at(0, f.col_map(column));
  Index kept = 0;
  for (Index i = 0; i < object.entry_count; ++i) {
    const int row = object.entries[i];
    const int place = f.row_map(row);
    if (place >= 0) {
      to[place] += values[i];
    } else {
      object.entries[kept] = row;
      values[kept++] = values[i];
    }
  }
  pack_at_end(object, kept);
  const Index gone = object.entry_count - kept;
  f.space.ineed -= gone;
  f.space.xneed -= gone;
  f.word(object.at, kOwned) = static_cast<int>(kept);
  if (kept == 0) free_reals(f, object.at);
}

void scan_column(Frontal& f, Index column, Index& chain) {
  const Object object = column_object(f, column);
  Wide bound = 0;
  f.word(object.at, kTuples) = static_cast<int>(keep_tuples(f, object, [&](Index e, Index offset) {
    return settle_column_tuple(f, e, offset, column, chain, bound);
  }));
  take_column_entries(f, column, object);
  bound = std::min<Wide>(bound + f.word(object.at, kOwned), f.remaining - 1 - f.fnrows);
  int& degree = f.word(object.at, kDegree);
  degree = static_cast<int>(std::min<Wide>(degree, bound));
}

/// Original entries of the row that have come inside are forgotten. Long rows are left as they are: their
/// scan would cost more than it brings.
void drop_row_entries(Frontal& f, Index row, const Object& object) {
  if (object.entry_count > std::max<Wide>(f.dense_limit, f.dc)) return;
  Index kept = 0;
  for (Index i = 0; i < object.entry_count; ++i) {
    const int column = object.entries[i];
    if (f.col_map(column) == kOutsideColumn) object.entries[kept++] = column;
  }
  pack_at_end(object, kept);
  f.space.ineed -= object.entry_count - kept;
  f.ro(row) = static_cast<int>(kept);
}

void scan_row(Frontal& f, Index row, Index& chain) {
  const Object object = row_object(f, row);
  Wide bound = 0;
  f.rt(row) = static_cast<int>(keep_tuples(
      f, object, [&](Index e, Index offset) { return settle_row_tuple(f, e, offset, row, chain, bound); }));
  drop_row_entries(f, row, object);
  bound = std::min<Wide>(bound + f.ro(row), f.remaining - 1 - f.fncols);
  int& degree = f.word(object.at, kDegree);
  degree = static_cast<int>(std::min<Wide>(degree, bound));
}

/// What has been taken in a scan has nothing outside in that direction.
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
  const bool new_rows = arrivals.rows.any(f.fnrows), new_columns = arrivals.columns.any(f.fncols);
  const Newcomers all{1, 0};

  // A new row can complete elements and entries of any column of the front, not only of the new ones.
  Index chain = f.nd + 1;
  scan_column(f, arrivals.pivot.column, chain);
  (new_rows ? all : arrivals.columns).each(f.fcols, f.fncols, [&](Index j) { scan_column(f, j, chain); });
  restore(f, chain, f.ro);

  chain = f.nd + 1;
  scan_row(f, arrivals.pivot.row, chain);
  (new_columns ? all : arrivals.rows).each(f.frows, f.fnrows, [&](Index i) { scan_row(f, i, chain); });
  restore(f, chain, f.rt);
}

}  // namespace ma38
}  // namespace corvidnum
