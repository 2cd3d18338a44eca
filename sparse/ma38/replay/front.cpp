// Opens, extends and ends the front of the replay: gives rows and columns their places before values are
// assembled.
//
//   begin_front()     reserves a front of the size that the chain needs, puts the rows and columns of the
//                     element's lists at its top left in list order and the pivots behind them, and clears
//                     it;
//   continue_front()  moves the pivots of the next element from where they are to the slots behind the live
//                     part as it will be, fills their places with the last live rows and columns, appends the
//                     new ones, and clears what is new;
//   end_front()       leaves the live part as a contribution block: in place, or in a hole if one is large
//                     enough.
// The lists of an element come from outside the library: a list that does not fit the front ends the replay
// with MA38_STATUS_CORRUPTED. Invariants of the front: ReplayFront.

#include <algorithm>

#include "sparse/ma38/factors/layout.h"
#include "sparse/ma38/replay/steps.h"

namespace corvidnum {
namespace ma38 {
namespace {

// ---- Begin

/// Appends the members of a list to the first `count` members of the front and maps them, place k to k *
/// step. Returns false if one of them has been eliminated or is in the front already.
bool append(const int* list, Index length, Index last_pivot, int* map, Index step, int* members,
            Index count) {
  Index place = count * step;
  for (Index k = 0; k < length; ++k, place += step) {
    const Index member = list[k];
    if (member <= last_pivot || map[member - 1] != kOutside) return false;
    map[member - 1] = static_cast<int>(place);
    members[count++] = static_cast<int>(member);
  }
  return true;
}

/// Maps the pivots, which stand in reverse order behind the live part.
void map_pivots(const Replay& f, const Element& element) {
  for (Index q = 1; q <= element.pivots; ++q) {
    f.front.row_place(f.pivots + q) = static_cast<int>(f.front.row_count + element.pivots - q);
    f.front.column_offset(f.pivots + q) =
        static_cast<int>((f.front.column_count + element.pivots - q) * f.front.max_rows);
  }
}

void clear_columns(const Replay& f, Index columns, Index rows) {
  if (rows == f.front.max_rows) {
    std::fill_n(f.front.at(0, 0), columns * rows, 0.0);
  } else {
    for (Index j = 0; j < columns; ++j) std::fill_n(f.front.at(0, j), rows, 0.0);
  }
}

}  // namespace

int begin_front(Replay& f, const Element& element) {
  if (!open_front(f, element.words[kFrontRows], element.words[kFrontColumns])) {
    return MA38_STATUS_VALUE_TOO_SHORT;
  }
  f.results.add(MA38_INFO_FRONTS, 1);
  const Index last_pivot = f.pivots + element.pivots;
  f.front.row_count = element.l;
  f.front.column_count = element.u;
  const bool good =
      append(element.l_list(), element.l, last_pivot, f.front.row_place.data(), 1, f.front.rows.data(), 0) &&
      append(element.u_list(), element.u, last_pivot, f.front.column_offset.data(), f.front.max_rows,
             f.front.columns.data(), 0);
  if (!good) return MA38_STATUS_CORRUPTED;
  map_pivots(f, element);
  clear_columns(f, element.u + element.pivots, element.l + element.pivots);
  return kGood;
}

namespace {

// ---- Continuation
//
// Each pivot row that is in the front moves to its slot, behind the live part as it will be, and the last
// live row moves to the place that it leaves; likewise each pivot column. The slot can be the place of the
// last live one itself. Rows and columns that are new are set to zero.

/// Lists moves of rows: move m, from 0, takes pivot `pivots[m]` of the element, from 1, out of place
/// `places[m]`.
struct Moves {
  int *places, *pivots;
  Index count = 0;
};

/// Removes the pivot from the list; the last member takes its place. Returns that place, or kOutside if the
/// pivot was not in the front.
Index leave_list(OneBased<int> map, Index pivot, Index step, int* members, Index& count) {
  if (map(pivot) == kOutside) return kOutside;
  const Index place = map(pivot) / step;
  const int last = members[--count];
  members[place] = last;
  map(last) = static_cast<int>(place * step);
  return place;
}

void move_column(const Replay& f, Index place, Index last, Index slot) {
  double* const from = f.front.at(0, place);
  const double* const filler = f.front.at(0, last);
  double* const to = f.front.at(0, slot);
  for (Index i = 0; i < f.front.row_count; ++i) {
    const double value = from[i];
    from[i] = filler[i];
    to[i] = value;
  }
}

/// Moves the pivot columns to their slots, over the rows that are still live. Returns false if the pattern is
/// damaged.
bool move_pivot_columns(Replay& f, const Element& element) {
  for (Index q = 1; q <= element.pivots; ++q) {
    const Index pivot = f.pivots + q, slot = element.u + element.pivots - q;
    const Index place = leave_list(f.front.column_offset, pivot, f.front.max_rows, f.front.columns.data(),
                                   f.front.column_count);
    if (f.front.column_count > slot) return false;
    if (place != kOutside) {
      move_column(f, place, f.front.column_count, slot);
    } else {
      std::fill_n(f.front.at(0, slot), f.front.row_count, 0.0);
    }
    f.front.column_offset(pivot) = static_cast<int>(slot * f.front.max_rows);
  }
  return true;
}

/// Notes the moves of the pivot rows, which are to be made in each column. Returns false if the pattern is
/// damaged.
bool plan_row_moves(Replay& f, const Element& element, Moves& moves) {
  for (Index q = 1; q <= element.pivots; ++q) {
    const Index pivot = f.pivots + q, slot = element.l + element.pivots - q;
    const Index place = leave_list(f.front.row_place, pivot, 1, f.front.rows.data(), f.front.row_count);
    if (f.front.row_count > slot) return false;
    if (place != kOutside) {
      moves.places[moves.count] = static_cast<int>(place);
      moves.pivots[moves.count++] = static_cast<int>(q);
    }
    f.front.row_place(pivot) = static_cast<int>(slot);
  }
  return true;
}

/// Appends the members of the element's list that are not in the front yet, and puts the list in the order of
/// the front. Returns false if the members of the two are not the same then.
bool complete_list(int* list, Index length, Index last_pivot, OneBased<int> map, Index step, int* members,
                   Index& count) {
  for (Index k = 0; k < length; ++k) {
    const int member = list[k];
    if (member <= last_pivot) return false;
    if (map(member) != kOutside) continue;
    if (count == length) return false;
    map(member) = static_cast<int>(count * step);
    members[count++] = member;
  }
  if (count != length) return false;
  if (length > 0) std::memcpy(list, members, static_cast<std::size_t>(length) * sizeof(int));
  return true;
}

/// Moves the pivot rows of one column to their slots and clears what is new.
void move_rows_of_column(double* column, const Moves& moves, Index live, Index rows, Index pivots) {
  double* const first_slot = column + (rows + pivots);  // of pivot 1, behind it
  Index next = 0;
  for (Index q = 1; q <= pivots; ++q) {
    if (next < moves.count && moves.pivots[next] == q) {
      double& place = column[moves.places[next++]];
      const double value = place;
      place = column[--live];
      first_slot[-q] = value;
    } else {
      first_slot[-q] = 0.0;
    }
  }
  for (; live < rows; ++live) column[live] = 0.0;
}

}  // namespace

int continue_front(Replay& f, const Element& element) {
  Moves moves{f.work1, f.work2};
  const Index last_pivot = f.pivots + element.pivots, old_rows = f.front.row_count;
  if (!move_pivot_columns(f, element)) return MA38_STATUS_CORRUPTED;
  const Index old_columns = f.front.column_count;
  if (!plan_row_moves(f, element, moves)) return MA38_STATUS_CORRUPTED;
  if (!complete_list(element.l_list(), element.l, last_pivot, f.front.row_place, 1, f.front.rows.data(),
                     f.front.row_count) ||
      !complete_list(element.u_list(), element.u, last_pivot, f.front.column_offset, f.front.max_rows,
                     f.front.columns.data(), f.front.column_count)) {
    return MA38_STATUS_CORRUPTED;
  }
  const Index columns = f.front.column_count + element.pivots;
  for (Index j = 0; j < columns; ++j) {
    if (j < old_columns || j >= f.front.column_count) {
      move_rows_of_column(f.front.at(0, j), moves, old_rows, f.front.row_count, element.pivots);
    } else {
      std::fill_n(f.front.at(0, j), f.front.row_count + element.pivots, 0.0);
    }
  }
  return kGood;
}

namespace {

// ---- End

/// Leaves the live part where it is, ends the head behind it and closes the front.
void leave_in_place(Replay& f) {
  const WaitingBlocks& block = f.waiting.nodes();
  block.begin(f.open) = static_cast<int>(f.front.begin);
  block.leading(f.open) = static_cast<int>(f.front.max_rows);
  f.waiting.append(f.open);
  close_front(f, (f.front.column_count - 1) * f.front.max_rows + f.front.row_count);
}

/// Copies the live part into the hole in use and closes the front.
void copy_to_hole(Replay& f, Index size) {
  f.waiting.nodes().leading(f.open) = static_cast<int>(f.front.row_count);
  double* to = f.space.reals.data() + (f.waiting.place_in_hole(f.open, size) - 1);
  for (Index j = 0; j < f.front.column_count; ++j, to += f.front.row_count) {
    std::memcpy(to, f.front.at(0, j), static_cast<std::size_t>(f.front.row_count) * sizeof(double));
  }
  close_front(f, 0);
}

}  // namespace

void end_front(Replay& f) {
  if (!f.front.is_open()) return;
  const Index size = f.front.row_count * f.front.column_count;
  add_block(f, size);
  f.results(MA38_RINFO_ASSEMBLY_FLOPS) += static_cast<double>(size);
  if (size == 0) {
    close_front(f, 0);
  } else if (f.waiting.has_hole_for(size)) {
    copy_to_hole(f, size);
  } else {
    leave_in_place(f);
  }
}

}  // namespace ma38
}  // namespace corvidnum
