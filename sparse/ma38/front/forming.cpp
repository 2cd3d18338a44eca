// Forming of the front around its first pivot.

#include "sparse/ma38/front/steps.h"

namespace corvidnum {
namespace ma38 {
namespace {

void push_column(Frontal& f, Index column) {
  if (f.col_map(column) != kOutsideColumn) return;
  f.col_map(column) = 0;
  f.fcols(++f.fncols) = static_cast<int>(column);
}

/// Fcols: all columns of the pivot row; those that are pivotal by now are not pushed.
void list_columns(Frontal& f, Index pivot_row) {
  f.fncols = 0;
  const Object row = row_object(f, pivot_row);
  for (Index t = 0; t < row.tuple_count; ++t) {
    const Index e = row.tuples[2 * t];
    if (!is_live(f, e)) continue;
    const Waiting element = waiting(f, e);
    for (Index j = 0; j < element.column_count; ++j) {
      if (element.columns[j] > 0) push_column(f, element.columns[j]);
    }
  }
  for (Index i = 0; i < row.entry_count; ++i) push_column(f, row.entries[i]);
}

/// The limit of a dimension: its first size times the growth, and no more than is left of the block.
Index grown(const Frontal& f, Index count) {
  const double wanted = static_cast<double>(count) * f.controls.growth;
  return wanted < static_cast<double>(f.remaining) ? static_cast<Index>(wanted) : f.remaining;
}

/// The pivot's slots are the last, the others stand in list order.
void set_maps(Frontal& f, const Pivot& pivot) {
  Index place = 1;
  while (f.fcols(place) != pivot.column) ++place;
  f.fcols(place) = f.fcols(f.fncols--);
  for (Index i = 1; i <= f.fnrows; ++i) f.row_map(f.frows(i)) = static_cast<int>(i - 1);
  for (Index j = 1; j <= f.fncols; ++j) f.col_map(f.fcols(j)) = static_cast<int>((j - 1) * f.dr);
  f.row_map(pivot.row) = static_cast<int>(f.dr - 1);
  f.col_map(pivot.column) = static_cast<int>((f.dc - 1) * f.dr);
}

void clear_front(Frontal& f) {
  const auto clear_column = [&f](Index column) {
    double* first = &f.at(0, column * f.dr);
    std::fill(first, first + f.fnrows, 0.0);
    first[f.dr - 1] = 0.0;
  };
  for (Index j = 0; j < f.fncols; ++j) clear_column(j);
  clear_column(f.dc - 1);
}

}  // namespace

bool form_front(Frontal& f, const Pivot& pivot) {
  list_columns(f, pivot.row);
  f.dr = grown(f, f.fnrows + 1);
  f.dc = grown(f, f.fncols);
  f.largest_front = std::max(f.largest_front, std::max(f.dr, f.dc));
  set_maps(f, pivot);
  if (!f.store.open_front(f.dr * f.dc + f.dr)) return false;
  clear_front(f);
  for (Index j = 1; j <= f.fncols; ++j) f.degree_lists.leave(f.fcols(j));

  f.batch = f.updated = 0;
  f.chain_first = f.chain_rows = f.chain_columns = 0;
  f.chain_peak = f.totals.factor_reals + f.contribution_reals;
  return true;
}

}  // namespace ma38
}  // namespace corvidnum
