// Elimination of the pivots of an element, and its storing. At each pivot the active part of the front is all
// rows and columns up to the pivot's own, which are the last.

#include <algorithm>

#include "frame/blas.h"
#include "sparse/ma38/pivot_scaling.h"
#include "sparse/ma38/refactor_steps.h"

namespace corvidnum {
namespace ma38 {
namespace {

constexpr double kOne = 1.0, kMinusOne = -1.0;
constexpr int kUnitStep = 1;
/// Up to this many multiplications plain loops are quicker than the routines: for one column, for a batch.
constexpr Index kFewForColumn = 256, kFewForBatch = 2048;

int as_int(Index value) { return static_cast<int>(value); }
double as_double(Index value) { return static_cast<double>(value); }

/// The pivots of an element, the j-th at row `rows` - j and column `columns` - j; the first `done` have been
/// applied to all columns left.
struct Batch {
  Index rows, columns, done;
};

/// Applies the pivots from number `first` to `last` to a column, one by one.
void apply_plainly(const Replay& f, const Batch& b, Index first, Index last, double* column) {
  for (Index q = first; q <= last; ++q) {
    const double factor = column[b.rows - q];
    const double* const l = f.at(0, b.columns - q);
    for (Index i = 0; i < b.rows - q; ++i) column[i] -= factor * l[i];
  }
}

/// Brings the column of the j-th pivot up to date.
void update_pivot_column(const Replay& f, const Batch& b, Index j) {
  const Index pending = j - 1 - b.done, row = b.rows - j, column = b.columns - j;
  if (pending == 0) return;
  f.results(kLevel2Flops) +=
      as_double((pending - 1) * pending) + 2.0 * as_double(pending) * as_double(row + 1);
  if (pending * b.rows <= kFewForColumn) {
    apply_plainly(f, b, b.done + 1, j - 1, f.at(0, column));
    return;
  }
  const int m = as_int(pending), rows = as_int(row + 1), ld = as_int(f.dr);
  if (m > 1) {
    dtrsv_("U", "N", "U", &m, f.at(row + 1, column + 1), &ld, f.at(row + 1, column), &kUnitStep, 1, 1, 1);
  }
  dgemv_("N", &rows, &m, &kMinusOne, f.at(0, column + 1), &ld, f.at(row + 1, column), &kUnitStep, &kOne,
         f.at(0, column), &kUnitStep, 1);
}

/// Applies the pending pivots, up to the j-th, to the columns that are left.
void apply_batch(const Replay& f, Batch& b, Index j) {
  const Index pending = j - b.done, row = b.rows - j, column = b.columns - j;
  const double per_column = as_double((pending - 1) * pending) + 2.0 * as_double(row) * as_double(pending);
  f.results(kLevel3Flops) += per_column * as_double(column);
  if (pending == 1 || pending * b.rows * column <= kFewForBatch) {
    for (Index c = 0; c < column; ++c) apply_plainly(f, b, b.done + 1, j, f.at(0, c));
  } else if (column > 0) {
    const int m = as_int(pending), rows = as_int(row), columns = as_int(column), ld = as_int(f.dr);
    dtrsm_("L", "U", "N", "U", &m, &columns, &kOne, f.at(row, column), &ld, f.at(row, 0), &ld, 1, 1, 1, 1);
    if (rows > 0) {
      dgemm_("N", "N", &rows, &columns, &m, &kMinusOne, f.at(0, column), &ld, f.at(row, 0), &ld, &kOne,
             f.at(0, 0), &ld, 1, 1);
    }
  }
  b.done = j;
}

}  // namespace

int eliminate(Replay& f, const Element& element) {
  Batch b{f.fnrows + element.pivots, f.fncols + element.pivots, 0};
  for (Index j = 1; j <= element.pivots; ++j) {
    update_pivot_column(f, b, j);
    double* const column = f.at(0, b.columns - j);
    const Index rows = b.rows - j;
    if (column[rows] == 0.0) return kPivotOrderFailed;
    divide_by_pivot(column, rows, column[rows]);
    f.results(kLevel1Flops) += as_double(rows);
    f.results.add(kPivots, 1);
    if (j - b.done >= f.block.block_size || j == element.pivots) apply_batch(f, b, j);
  }
  return kGood;
}

namespace {

/// Pivot block over L, then U; pivots in the order of elimination, which is backwards in the front.
void store_reals(const Replay& f, const Element& element) {
  const Index k = element.pivots, rows = f.fnrows + k, columns = f.fncols + k;
  double* to = f.space.reals.data() + (f.space.xtail - 1);
  const auto copy_pivot_rows = [&](const double* column) {
    for (Index q = 1; q <= k; ++q) *to++ = column[rows - q];
  };
  for (Index p = 1; p <= k; ++p) {
    const double* const column = f.at(0, columns - p);
    copy_pivot_rows(column);
    to = std::copy_n(column, f.fnrows, to);
  }
  for (Index j = 0; j < f.fncols; ++j) copy_pivot_rows(f.at(0, j));
}

void retire(Replay& f, Index pivots) {
  std::fill_n(&f.row_map(f.pivots + 1), pivots, kOutside);
  std::fill_n(&f.col_map(f.pivots + 1), pivots, kOutside);
  f.pivots += pivots;
}

}  // namespace

int store_element(Replay& f, const Element& element) {
  const Index reals = static_cast<Index>(element_reals(element.pivots, element.l, element.u));
  f.space.xneed += reals;
  if (!room_for_reals(f, reals)) return kValueTooShort;
  f.space.xtail -= reals;
  f.space.note_use(f.results);
  element.words[kElementReals] = static_cast<int>(f.space.xtail);
  store_reals(f, element);
  f.results.add_factor_entries(element.pivots, element.l, element.u);
  f.totals.factor_reals += reals;
  note_peak(f);
  retire(f, element.pivots);
  return kGood;
}

}  // namespace ma38
}  // namespace corvidnum
