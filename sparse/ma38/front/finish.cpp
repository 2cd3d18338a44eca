// Stores batches of pivots as LU elements at the tails, ends a front, and ends the block:
//   store_batch  writes the pivot rows and columns, their lists and the children assembled for them;
//   end_front    renews degree bounds, and leaves what is not eliminated as a contribution block with a tuple
//                in each of its rows and columns;
//   end_block    makes the pivot order and tells lists and children by positions in it.

#include <climits>
#include <cstdlib>

#include "sparse/ma38/factors/layout.h"
#include "sparse/ma38/front/steps.h"

namespace corvidnum {
namespace ma38 {
namespace {

// ---- Storing a batch

/// Returns the code of a child by how it was assembled: whole, by columns with its rows complete, or by rows
/// with its columns complete.
Index child_code(const Frontal& f, Index e) {
  if (f.rt(e) == f.dead_mark()) return e + kWhole * f.n;
  return e + (f.ro(e) == f.stamp ? kRowsComplete : kColumnsComplete) * f.n;
}

void store_integers(Frontal& f, Index lu, Index rows, Index columns) {
  int* words = &f.word(lu, 0);
  words[kElementReals] = to_int(f.space.xtail);
  words[kElementPivots] = to_int(f.front.batch);
  words[kElementU] = to_int(columns);
  words[kElementL] = to_int(rows);
  words[kElementChildren] = to_int(f.chain.children());
  words[kFrontColumns] = words[kFrontRows] = 0;
  std::memcpy(words + kElementLists, f.front.rows.data(), static_cast<std::size_t>(rows) * sizeof(int));
  std::memcpy(words + kElementLists + rows, f.front.columns.data(),
              static_cast<std::size_t>(columns) * sizeof(int));
  int* to = words + kElementLists + rows + columns;
  f.chain.empty_children([&f, &to](Index e) { *to++ = to_int(child_code(f, e)); });
}

/// Writes pivot block over L, then U; pivots in the order of elimination, which is backwards in the front.
void store_reals(const Frontal& f, Index rows, Index columns) {
  double* to = f.space.reals.data() + (f.space.xtail - 1);
  const auto copy_pivot_rows = [&](const double* column) {
    for (Index q = 1; q <= f.front.batch; ++q) *to++ = column[f.front.max_rows - q];
  };
  for (Index p = 1; p <= f.front.batch; ++p) {
    const double* column = f.front.column(f.front.max_columns - p);
    copy_pivot_rows(column);
    std::memcpy(to, column, static_cast<std::size_t>(rows) * sizeof(double));
    to += rows;
  }
  for (Index j = 0; j < columns; ++j) copy_pivot_rows(f.front.column(j));
}

void note_in_chain(Frontal& f, Index lu, Index rows, Index columns) {
  f.chain.note_element(lu, f.front.batch + rows, f.front.batch + columns,
                       f.totals.factor_reals + f.contribution_reals);
  f.longest_l = std::max(f.longest_l, rows);
  f.longest_u = std::max(f.longest_u, columns);
}

}  // namespace

bool store_batch(Frontal& f, Index rows, Index columns, Index last_pivot_row) {
  const Index ints = kElementLists + rows + columns + f.chain.children();
  const Index reals = static_cast<Index>(element_reals(f.front.batch, rows, columns));
  if (!f.store.reserve_factors(ints, reals)) return false;
  const Index lu = f.space.itail;
  store_integers(f, lu, rows, columns);
  store_reals(f, rows, columns);
  f.results.add_factor_entries(f.front.batch, rows, columns);
  f.totals.factor_reals += reals;
  note_in_chain(f, lu, rows, columns);
  ++f.elements;
  f.rp(last_pivot_row) = to_int(lu);
  f.front.batch = f.front.updated = 0;
  return true;
}

namespace {

// ---- End of a front

void finish_chain(Frontal& f) {
  f.word(f.chain.first_element(), kFrontColumns) = to_int(f.chain.largest_columns());
  f.word(f.chain.first_element(), kFrontRows) = to_int(f.chain.largest_rows());
  f.results.add(MA38_INFO_FRONTS, 1);
  f.totals.peak_reals = std::max(f.totals.peak_reals,
                                 f.chain.peak() + Wide{f.chain.largest_rows()} * f.chain.largest_columns());
}

/// Adds to the bounds what the front's other rows or columns have, and returns the columns to their lists.
/// They go back to their lists in the order of their numbers: on patterns that are symmetric the row rule,
/// which takes the lowest number among equals, then leads to the diagonal. In the order of fcols pivots off
/// the diagonal, with large multipliers, would pile up.
void renew_degrees(Frontal& f) {
  for (Index j = 1; j <= f.front.column_count; ++j) {
    int& degree = column_degree(f, f.front.columns(j));
    if (degree < 0) continue;
    degree = to_int(std::min(degree + f.front.row_count, f.remaining));
    if (degree > 0) f.degree_lists.enter(f.front.columns(j));
  }
  for (Index i = 1; i <= f.front.row_count; ++i) {
    int& degree = f.word(f.rp(f.front.rows(i)), kDegree);
    degree = to_int(std::min(degree + f.front.column_count, f.remaining));
  }
}

/// Advances the stamp, which makes this front's counters stale; near INT_MAX resets stamp and counters.
void advance_stamp(Frontal& f) {
  f.stamp += 1 + f.largest_front;
  if (f.stamp + f.n < INT_MAX) return;
  f.stamp = f.nd + 2;
  for (Index e = 1; e <= f.nd; ++e) {
    if (f.rt(e) > f.nd) f.rt(e) = to_int(f.stamp - 1);
    if (f.ro(e) > f.nd) f.ro(e) = to_int(f.stamp - 1);
  }
}

/// Leaves the live part where it is, and ends the head behind it.
void leave_in_place(Frontal& f, Index object) {
  f.word(object, kLeading) = to_int(f.front.max_rows);
  f.word(object, kValues) = to_int(f.store.front());
  f.store.close_front((f.front.column_count - 1) * f.front.max_rows + f.front.row_count);
  f.store.append_owner(object);
}

/// Copies the live part into the hole in use.
void copy_to_hole(Frontal& f, Index object) {
  f.word(object, kLeading) = to_int(f.front.row_count);
  double* to = &f.space.reals(f.store.place_in_hole(object, f.front.row_count * f.front.column_count));
  for (Index j = 0; j < f.front.column_count; ++j, to += f.front.row_count) {
    std::memcpy(to, f.front.column(j), static_cast<std::size_t>(f.front.row_count) * sizeof(double));
  }
  f.store.close_front(0);
}

/// Makes what is left of the front the contribution block of element e. Returns false after a shortage.
bool make_contribution(Frontal& f, Index e) {
  if (!f.store.room_for_ints(kContributionWords)) return false;
  const Index object = f.store.append_object(kContributionWords);
  f.word(object, kLuElement) = f.rp(e);
  f.word(object, kLiveColumns) = to_int(f.front.column_count);
  f.word(object, kLiveRows) = to_int(f.front.row_count);
  f.rp(e) = to_int(object);
  f.rt(e) = f.ro(e) = to_int(f.stamp - 1);
  const Index size = f.front.row_count * f.front.column_count;
  if (f.store.owners().has_hole_for(size)) {
    copy_to_hole(f, object);
  } else {
    leave_in_place(f, object);
  }
  f.store.count_contribution(size);
  f.contribution_reals += size;
  f.results(MA38_RINFO_ASSEMBLY_FLOPS) += static_cast<double>(size);
  f.space.note_use(f.results);
  return true;
}

// ---- Tuples of the new element

/// Returns the length of a copy with room for more tuples, `header` words included.
Index longer_length(const Frontal& f, Index header, Index tuples, Index entries) {
  const Index need = entries + 2 + 2 * tuples;
  return std::min(need + std::max<Index>(need, 16), f.n + 2 * f.nd) + header;
}

/// Copies an object to the head of the integers, with more room in front of its entries, and makes the old
/// one a gap. Returns the copy; 0: a shortage.
template <class View>
Index enlarge(Frontal& f, Index header, View view) {
  const Object before = view();
  const Index length = longer_length(f, header, before.tuple_count, before.entry_count);
  if (!f.store.room_for_ints(length, true)) return 0;
  const Object old = view();  // it may have moved
  const Index copy = f.store.append_object(length);
  int* words = &f.word(copy, 0);
  std::memcpy(words, &f.word(old.at, 0),
              static_cast<std::size_t>(header + 2 * old.tuple_count) * sizeof(int));
  if (old.entry_count > 0) {
    std::memcpy(words + length - old.entry_count, old.entries,
                static_cast<std::size_t>(old.entry_count) * sizeof(int));
  }
  words[kLength] = to_int(length);
  f.word(old.at, kDegree) = kGone;
  return copy;
}

void write_tuple(Frontal& f, Index place, Index e, Index offset) {
  f.word(place, 0) = to_int(e);
  f.word(place, 1) = to_int(offset);
  f.store.count_tuple();
}

bool append_to_column(Frontal& f, Index column, Index e, Index offset) {
  const Object object = column_object(f, column);
  if (f.word(object.at, kLength) < object.entry_count + kColumnHeader + 2 + 2 * object.tuple_count) {
    const Index copy = enlarge(f, kColumnHeader, [&] { return column_object(f, column); });
    if (copy == 0) return false;
    const Index old = f.cp(column);
    f.store.replace_owner(old, copy);
    f.word(old, kOwned) = 0;
    f.cp(column) = to_int(copy);
  }
  const Index place = f.cp(column);
  write_tuple(f, place + kColumnTuples + 2 * Index{f.word(place, kTuples)++}, e, offset);
  return true;
}

bool append_to_row(Frontal& f, Index row, Index e, Index offset) {
  const Object object = row_object(f, row);
  if (f.word(object.at, kLength) < object.entry_count + kRowHeader + 2 + 2 * object.tuple_count) {
    const Index copy = enlarge(f, kRowHeader, [&] { return row_object(f, row); });
    if (copy == 0) return false;
    f.rp(row) = to_int(copy);
  }
  write_tuple(f, f.rp(row) + kRowHeader + 2 * Index{f.rt(row)++}, e, offset);
  return true;
}

bool append_tuples(Frontal& f, Index e) {
  for (Index j = 1; j <= f.front.column_count; ++j) {
    if (!append_to_column(f, f.front.columns(j), e, j)) return false;
  }
  for (Index i = 1; i <= f.front.row_count; ++i) {
    if (!append_to_row(f, f.front.rows(i), e, i)) return false;
  }
  f.space.note_use(f.results);
  return true;
}

void clear_maps(Front& front) {
  for (Index i = 1; i <= front.row_count; ++i) front.row_place(front.rows(i)) = kOutsideRow;
  for (Index j = 1; j <= front.column_count; ++j) front.column_offset(front.columns(j)) = kOutsideColumn;
}

}  // namespace

bool end_front(Frontal& f, Index last_pivot_row) {
  finish_chain(f);
  renew_degrees(f);
  advance_stamp(f);
  clear_maps(f.front);
  if (f.front.row_count > 0 && f.front.column_count > 0) {
    if (!make_contribution(f, last_pivot_row) || !append_tuples(f, last_pivot_row)) return false;
  } else {
    f.store.close_front(0);
  }
  f.front.row_count = f.front.column_count = 0;
  return true;
}

namespace {

// ---- End of the block

/// Gives the rows and columns of a singular block that have no pivot the positions after the last one, and
/// releases their objects' needs.
void place_the_rest(Frontal& f) {
  Index last_row = f.pivots, last_column = f.pivots;
  for (Index i = 1; i <= f.n; ++i) {
    if (f.cp(i) != 0) {
      const Object column = column_object(f, i);
      f.store.drop_object(column.needed(), column.entry_count);
      f.front.columns(f.n - last_column++) = to_int(i);
    }
    if (kind_of(f, i) == kRow) {
      const Object row = row_object(f, i);
      f.store.drop_object(row.needed(), 0);
      f.front.rows(f.n - last_row++) = to_int(i);
    }
  }
}

void close_elements(Frontal& f) {
  for (Index e = 1; e <= f.nd; ++e) {
    const ObjectKind kind = kind_of(f, e);
    if (kind != kContribution && kind != kDenseElement) continue;
    const Waiting element = waiting(f, e);
    f.store.drop_object(kind == kContribution ? kContributionWords : kColumnHeader + element.row_count,
                        element.row_count * element.column_count);
    f.rp(e) = kind == kContribution ? f.word(element.object, kLuElement) : 0;
    f.rt(e) = f.ro(e) = f.dead_mark();
  }
  f.contribution_reals = 0;
}

/// Reverses the lists, which hold the pivots from the top down, so that they become the pivot order, and
/// makes its inverse.
void make_pivot_order(Frontal& f) {
  std::reverse(f.front.rows.data(), f.front.rows.data() + f.n);
  std::reverse(f.front.columns.data(), f.front.columns.data() + f.n);
  for (Index k = 1; k <= f.n; ++k) {
    f.row_positions(f.front.rows(k)) = to_int(k);
    f.column_positions(f.front.columns(k)) = to_int(k);
  }
}

/// Writes the block's header at the tail. A block without elements keeps one real, so that the factors have
/// some. Returns false after a shortage, which is flagged.
bool write_header(Frontal& f) {
  if (!f.store.reserve_factors(kBlockPointers + f.elements, f.elements == 0 ? 1 : 0)) return false;
  const Index h = f.space.itail;
  f.word(h, kBlockReals) = to_int(f.space.xtail);
  f.word(h, kBlockElements) = to_int(f.elements);
  f.word(h, kBlockPivots) = to_int(f.pivots);
  f.word(h, kBlockMaxL) = to_int(f.longest_l);
  f.word(h, kBlockMaxU) = to_int(f.longest_u);
  if (f.elements == 0) {
    f.space.reals(f.space.xtail) = 0.0;
    f.totals.factor_reals += 1;
  }
  return true;
}

Index length_of(const Frontal& f, Index lu) {
  return kElementLists + f.word(lu, kElementL) + f.word(lu, kElementU) + f.word(lu, kElementChildren);
}

/// Writes the pointers to the elements, which stand in the reverse order of their storing, and their ordinals
/// by the row that names them.
void number_elements(Frontal& f) {
  const Index pointers = f.space.itail + kBlockPointers - 1, first = pointers + f.elements + 1;
  Index last_pivot = f.pivots;
  Index lu = first;
  for (Index i = f.elements; i >= 1; --i) {
    f.word(pointers, i) = to_int(lu - first + 1);
    f.element_ordinals(f.front.rows(last_pivot)) = to_int(i);
    last_pivot -= f.word(lu, kElementPivots);
    lu += length_of(f, lu);
  }
}

/// Tells lists and children of an element by pivot positions and ordinals, and its reals from the block's on.
void renumber(Frontal& f, Index lu) {
  int* words = &f.word(lu, 0);
  words[kElementReals] = to_int(words[kElementReals] - f.space.xtail + 1);
  int* to = words + kElementLists;
  for (int* end = to + words[kElementL]; to != end; ++to) *to = f.row_positions(std::abs(*to));
  for (int* end = to + words[kElementU]; to != end; ++to) *to = f.column_positions(std::abs(*to));
  const int n = to_int(f.n);
  for (int* end = to + words[kElementChildren]; to != end; ++to) {
    const int kind = (*to - 1) / n;
    *to = f.element_ordinals(*to - kind * n) + kind * n;
  }
}

}  // namespace

bool end_block(Frontal& f) {
  place_the_rest(f);
  close_elements(f);
  f.store.close();  // nothing of the objects is read any more
  make_pivot_order(f);
  if (!write_header(f)) return false;
  number_elements(f);
  const Index pointers = f.space.itail + kBlockPointers - 1, first = pointers + f.elements + 1;
  for (Index i = 1; i <= f.elements; ++i) renumber(f, first + f.word(pointers, i) - 1);
  f.totals.maxl = std::max<Wide>(f.totals.maxl, f.longest_l);
  f.totals.maxu = std::max<Wide>(f.totals.maxu, f.longest_u);
  f.totals.elements += f.elements;
  return true;
}

}  // namespace ma38
}  // namespace corvidnum
