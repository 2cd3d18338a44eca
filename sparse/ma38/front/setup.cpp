// Makes all objects that the kernel works with out of the columns of a block:
//
//   | vectors | columns and elements of dense columns | columns of those elements | rows |   free
//
//   1. link the columns that have entries in the memory list;
//   2. turn columns over the dense limit into elements with one column, each with a new column object whose
//      only tuple points to it;
//   3. make the row objects, with a tuple for each dense column and an entry for each other one;
//   4. hang the columns in the degree lists.

#include "sparse/ma38/front/steps.h"

namespace corvidnum {
namespace ma38 {
namespace {

constexpr Wide kLeastInts = 24;
constexpr Index kDenseColumnObject = kColumnHeader + 2;  // one tuple, no entry
constexpr Index kSlackOverLimit = 6;

bool has_least_room(Frontal& f) {
  Space& space = f.space;
  f.results.raise(MA38_INFO_INDEX_NEEDED, space.ineed + kLeastInts);
  if (space.itail - 1 >= kLeastInts) return true;
  return space.lack_ints(f.results, kLeastInts - (space.itail - 1));
}

void clear_vectors(Frontal& f) {
  for (Index i = 1; i <= f.n; ++i) {
    f.front.row_place(i) = kOutsideRow;
    f.front.column_offset(i) = kOutsideColumn;
    f.rt(i) = 0;
    f.ro(i) = 0;
  }
  f.degree_lists.clear();
  f.stamp = f.nd + 2;
  f.remaining = f.n;
}

void link_columns(Frontal& f) {
  for (Index col = 1; col <= f.n; ++col) {
    if (f.word(f.cp(col), kOwned) > 0) {
      f.store.append_owner(f.cp(col));
    } else {
      f.word(f.cp(col), kValues) = 0;
    }
  }
}

struct EntryCounts {
  Wide all = 0, dense = 0;
};

/// Turns columns over the limit into elements, and counts the columns of each row in ro, its elements in rt.
EntryCounts count_rows(Frontal& f) {
  EntryCounts counts;
  Index element = f.n;
  for (Index col = 1; col <= f.n; ++col) {
    const Index object = f.cp(col), entries = f.word(object, kOwned);
    const bool dense = entries > f.dense_limit;
    const OneBased<int>& counter = dense ? f.rt : f.ro;
    const int* rows = &f.word(object, 0) + kColumnHeader;
    for (Index k = 0; k < entries; ++k) ++counter(rows[k]);
    counts.all += entries;
    if (!dense) continue;
    counts.dense += entries;
    f.largest_front = std::max(f.largest_front, entries);
    f.rp(++element) = to_int(object);
    f.rt(element) = f.ro(element) = to_int(f.stamp - 1);
    f.word(object, kTuples) = 1;
    f.word(object, kDenseColumn) = to_int(col);
  }
  return counts;
}

/// Makes the new column objects of dense elements, with `slack` words of room each.
void make_dense_columns(Frontal& f, Index slack) {
  for (Index element = f.n + 1; element <= f.nd; ++element) {
    const Index values = f.rp(element), col = f.word(values, kDenseColumn),
                object = f.store.append_object(kDenseColumnObject + slack);
    std::fill_n(&f.word(object, 0), kColumnHeader, 0);
    f.word(object, kLength) = to_int(kDenseColumnObject + slack);
    f.word(object, kDegree) = f.word(values, kDegree);
    f.word(object, kTuples) = 1;
    f.word(object, kColumnTuples) = to_int(element);
    f.word(object, kColumnTuples + 1) = 1;
    f.cp(col) = to_int(object);
  }
}

/// Makes row objects of the right length. Their tuples and columns are filled in, and counted again, later.
void make_rows(Frontal& f) {
  for (Index row = 1; row <= f.n; ++row) {
    const Index length = kRowHeader + f.ro(row) + 2 * Index{f.rt(row)},
                object = f.store.append_object(length);
    f.word(object, kLength) = to_int(length);
    f.word(object, kDegree) = f.ro(row) + f.rt(row);
    f.rp(row) = to_int(object);
    f.rt(row) = f.ro(row) = 0;
  }
}

void fill_tuples(Frontal& f) {
  for (Index element = f.n + 1; element <= f.nd; ++element) {
    const Index object = f.rp(element), entries = f.word(object, kOwned);
    for (Index k = 0; k < entries; ++k) {
      const Index row = f.word(object, kColumnHeader + k);
      const Index tuple = kRowHeader + 2 * Index{f.rt(row)++};
      f.word(f.rp(row), tuple) = to_int(element);
      f.word(f.rp(row), tuple + 1) = to_int(k + 1);
    }
  }
}

void fill_columns_of_rows(Frontal& f) {
  for (Index col = 1; col <= f.n; ++col) {
    const Index object = f.cp(col), entries = f.word(object, kOwned);
    const int* rows = &f.word(object, 0) + kColumnHeader;
    for (Index k = 0; k < entries; ++k) {
      const Index row = rows[k];
      f.word(f.rp(row), kRowHeader + 2 * Index{f.rt(row)} + f.ro(row)++) = to_int(col);
    }
  }
}

void fill_degree_lists(Frontal& f) {
  for (Index col = f.n; col >= 1; --col) {
    int& degree = column_degree(f, col);
    if (degree == 0) {
      degree = dead_column(f);
    } else {
      f.degree_lists.enter(col);
    }
  }
}

}  // namespace

bool prepare_objects(Frontal& f) {
  if (!has_least_room(f)) return false;
  clear_vectors(f);
  link_columns(f);
  const EntryCounts counts = count_rows(f);
  const Wide needed = kDenseColumnObject * f.dn + kRowHeader * f.n + counts.all + counts.dense;
  if (!f.store.room_for_new_objects(needed)) return false;
  const Index spare = f.space.free_ints() - static_cast<Index>(needed);
  make_dense_columns(f, f.dn == 0 ? 0 : std::min(f.dense_limit + kSlackOverLimit, spare / f.dn));
  make_rows(f);
  fill_tuples(f);
  fill_columns_of_rows(f);
  f.results(MA38_RINFO_ASSEMBLY_FLOPS) += static_cast<double>(counts.all);
  fill_degree_lists(f);
  f.space.note_use(f.results);
  return true;
}

}  // namespace ma38
}  // namespace corvidnum
