// Forms a front around its first pivot:
//   1. its columns are those of the pivot row; its rows, those of the pivot column, come from the search;
//   2. its limits are these counts times the growth control;
//   3. the live part stands in list order, the pivot in the last row and column;
//   4. its room is taken at the head of the reals and cleared, and its columns leave the degree lists.

#include "sparse/ma38/front/steps.h"

namespace corvidnum {
namespace ma38 {
namespace {

void push_column(Front& front, Index column) {
  if (front.column_offset(column) != kOutsideColumn) return;
  front.column_offset(column) = 0;
  front.columns(++front.column_count) = static_cast<int>(column);
}

/// Lists all columns of the pivot row, but for those that are pivotal by now.
void list_columns(Frontal& f, Index pivot_row) {
  f.front.column_count = 0;
  const Object row = row_object(f, pivot_row);
  for (Index t = 0; t < row.tuple_count; ++t) {
    const Index e = row.tuples[2 * t];
    if (!is_live(f, e)) continue;
    const Waiting element = waiting(f, e);
    for (Index j = 0; j < element.column_count; ++j) {
      if (element.columns[j] > 0) push_column(f.front, element.columns[j]);
    }
  }
  for (Index i = 0; i < row.entry_count; ++i) push_column(f.front, row.entries[i]);
}

/// Returns the limit of a dimension: its first size times the growth, and no more than is left of the block.
Index grown(const Frontal& f, Index count) {
  const double wanted = static_cast<double>(count) * f.controls.growth;
  return wanted < static_cast<double>(f.remaining) ? static_cast<Index>(wanted) : f.remaining;
}

/// Puts the pivot in the last slots and the others in list order.
void set_maps(Front& front, const Pivot& pivot) {
  Index place = 1;
  while (front.columns(place) != pivot.column) ++place;
  front.columns(place) = front.columns(front.column_count--);
  for (Index i = 1; i <= front.row_count; ++i) front.row_place(front.rows(i)) = static_cast<int>(i - 1);
  for (Index j = 1; j <= front.column_count; ++j)
    front.column_offset(front.columns(j)) = static_cast<int>((j - 1) * front.max_rows);
  front.row_place(pivot.row) = static_cast<int>(front.max_rows - 1);
  front.column_offset(pivot.column) = static_cast<int>((front.max_columns - 1) * front.max_rows);
}

void clear_front(Front& front) {
  const auto clear_column = [&front](Index column) {
    double* first = front.column(column);
    std::fill(first, first + front.row_count, 0.0);
    first[front.max_rows - 1] = 0.0;
  };
  for (Index j = 0; j < front.column_count; ++j) clear_column(j);
  clear_column(front.max_columns - 1);
}

}  // namespace

bool form_front(Frontal& f, const Pivot& pivot) {
  list_columns(f, pivot.row);
  f.front.max_rows = grown(f, f.front.row_count + 1);
  f.front.max_columns = grown(f, f.front.column_count);
  f.largest_front = std::max(f.largest_front, std::max(f.front.max_rows, f.front.max_columns));
  set_maps(f.front, pivot);
  if (!f.store.open_front(f.front.max_rows * f.front.max_columns + f.front.max_rows)) return false;
  clear_front(f.front);
  for (Index j = 1; j <= f.front.column_count; ++j) f.degree_lists.leave(f.front.columns(j));

  f.front.batch = f.front.updated = 0;
  f.chain.open(f.totals.factor_reals + f.contribution_reals);
  return true;
}

}  // namespace ma38
}  // namespace corvidnum
