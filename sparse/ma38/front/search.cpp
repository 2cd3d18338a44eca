// Pivot search (Markowitz cost, threshold pivoting). Columns are taken from the degree lists, lowest degree
// bound first, until ICNTL(5) of them have an acceptable row. For each:
//   1. gather its original entries and what its elements hold, behind the head of the reals; the count is its
//      true degree, which replaces the bound;
//   2. choose_row(): take the rows whose entries pass the threshold test of CNTL(1) (PivotTest in
//      pivot_test.h), and of these the one of least degree bound, or the diagonal if it is preferred and
//      passes;
//   3. its Markowitz cost is (row bound - 1) (column degree - 1).
// The first candidate of least cost wins; the others go back on top of their lists. A column without an
// acceptable row is excluded from pivoting for the rest of the block.

#include "sparse/ma38/front/pivot_test.h"
#include "sparse/ma38/front/steps.h"

namespace corvidnum {
namespace ma38 {

/// Chooses a pivot row by the threshold test: a row is acceptable if the magnitude of its value is at least
/// CNTL(1) times `amax` (see PivotTest, and FrontControls for the clamped CNTL(1)). The preferred diagonal
/// wins if it is acceptable; else, of the acceptable rows, the one of least degree bound.
RowChoice choose_row(const Frontal& f, const int* rows, const double* values, Index count, Index diagonal,
                     double amax) {
  RowChoice choice;
  if (!is_usable_pivot(amax)) return choice;
  const PivotTest acceptable(f.controls.threshold, amax);
  if (diagonal >= 0 && acceptable(values[diagonal])) {
    choice.offer(rows[diagonal], row_degree(f, rows[diagonal]));
    return choice;
  }
  for (Index i = 0; i < count; ++i) {
    if (acceptable(values[i])) choice.offer(rows[i], row_degree(f, rows[i]));
  }
  return choice;
}

namespace {

/// Gathers the candidate's rows in candidate_rows and its values behind the head (scatter by
/// candidate_places). Rows that came by tuples are mapped; their count is `mapped`. Returns the true degree.
Index gather_column(Frontal& f, Index column, Index& mapped) {
  const Object object = column_object(f, column);
  int* rows = f.candidate_rows.data();
  const OneBased<int> map = f.candidate_places;
  double* values = f.space.reals.data() + (f.space.xhead - 1);
  Index length = 0;
  for (Index t = 0; t < object.tuple_count; ++t) {
    const Index e = object.tuples[2 * t];
    if (!is_live(f, e)) continue;
    const Waiting element = waiting(f, e);
    const double* from = element.column(object.tuples[2 * t + 1]);
    for (Index i = 0; i < element.row_count; ++i) {
      const int row = element.rows[i];
      if (row < 0) continue;
      if (map(row) < 0) {
        map(row) = static_cast<int>(length);
        rows[length] = row;
        values[length++] = 0.0;
      }
      values[map(row)] += from[i];
    }
  }
  mapped = length;
  if (object.entry_count > 0) {  // their rows cannot be among those of the elements
    const double* from = &f.space.reals(f.word(object.at, kValues));
    for (Index i = 0; i < object.entry_count; ++i) {
      rows[length] = object.entries[i];
      values[length++] = from[i];
    }
  }
  return length;
}

/// Returns the position of the row whose number is that of the column, or -1.
Index find_diagonal(const Frontal& f, Index column, Index mapped, Index length) {
  if (!f.controls.prefer_diagonal) return -1;
  // The map of a row that is pivotal may hold other things, all of them negative.
  if (f.candidate_places(column) >= 0) return f.candidate_places(column);
  for (Index i = mapped; i < length; ++i) {
    if (f.candidate_rows(i + 1) == column) return i;
  }
  return -1;
}

/// Copies the pattern of the candidate to the front's rows, without the pivot row, whose place the last
/// takes.
void keep_rows(Frontal& f, Index pivot_row, Index length) {
  std::memcpy(f.front.rows.data(), f.candidate_rows.data(), static_cast<std::size_t>(length) * sizeof(int));
  Index place = 1;
  while (f.front.rows(place) != pivot_row) ++place;
  f.front.rows(place) = f.front.rows(length);
  f.front.row_count = length - 1;
}

struct Candidate {
  RowChoice choice;
  Index degree;
};

/// Assembles the column, sets its degree bound to its true degree, and looks for a pivot row. Returns false
/// after a shortage, which is flagged.
bool examine_column(Frontal& f, Index column, Candidate& candidate) {
  Space& space = f.space;
  const Index bound = column_degree(f, column);
  if (!f.store.room_for_reals(bound)) return false;
  space.note_use(f.results, bound);

  Index mapped = 0;
  const Index length = gather_column(f, column, mapped);
  column_degree(f, column) = static_cast<int>(length);
  candidate.degree = length;
  candidate.choice = RowChoice();
  if (length > 0) {
    const double* values = space.reals.data() + (space.xhead - 1);
    const double amax = largest_magnitude(values, length);
    f.results(MA38_RINFO_SEARCH_FLOPS) += static_cast<double>(length);
    candidate.choice = choose_row(f, f.candidate_rows.data(), values, length,
                                  find_diagonal(f, column, mapped, length), amax);
  }
  for (Index i = 1; i <= mapped; ++i) f.candidate_places(f.candidate_rows(i)) = kOutsideRow;
  return true;
}

}  // namespace

bool search_pivot(Frontal& f, Pivot& pivot) {
  pivot = Pivot();
  Wide best_cost = 0;
  Index chain = 0;  // candidates, the last first, through a link of the degree lists, in which none is now
  Index candidates = 0;
  while (candidates < f.controls.search_width) {
    const Index column = f.degree_lists.remove_first();
    if (column == 0) break;
    Candidate candidate;
    if (!examine_column(f, column, candidate)) return false;
    const RowChoice& choice = candidate.choice;
    if (choice.row == 0) {
      column_degree(f, column) = dead_column(f);
      continue;
    }
    ++candidates;
    f.word(f.cp(column), kNextCandidate) = static_cast<int>(chain);
    chain = column;
    const Wide cost = Wide{choice.degree - 1} * (candidate.degree - 1);
    if (!pivot.found() || cost < best_cost) {
      best_cost = cost;
      pivot.row = choice.row;
      pivot.column = column;
      keep_rows(f, choice.row, candidate.degree);
    }
  }
  while (chain != 0) {
    const Index column = chain;
    chain = f.word(f.cp(column), kNextCandidate);
    if (column != pivot.column) f.degree_lists.put_back(column);
  }
  return true;
}

}  // namespace ma38
}  // namespace corvidnum
