// Eliminates the pivots of an element and stores its factors. For each pivot, whose row and column are the
// last of the active part of the front:
//   1. update the pivot column by the pivots of the batch that have not been applied to it yet;
//   2. refuse the pivot if it is zero or not finite, or its reciprocal is not; else divide the column by it;
//   3. when block_size pivots wait, or it is the last of the element, apply the batch to the columns left: a
//      triangular solve and one rank-k update.
// Then store_element() writes the pivot columns and rows at the tail. Few multiplications are done by plain
// loops, more by the BLAS.

#include <algorithm>

#include "frame/blas.h"
#include "sparse/ma38/factors/layout.h"
#include "sparse/ma38/front/pivot_test.h"
#include "sparse/ma38/replay/steps.h"

namespace corvidnum {
namespace ma38 {
namespace {

constexpr double kOne = 1.0, kMinusOne = -1.0;
constexpr int kUnitStep = 1;
/// Up to this many multiplications plain loops are quicker than the routines: for one column, for a batch.
constexpr Index kFewForColumn = 1024, kFewForBatch = 8192;

int as_int(Index value) { return static_cast<int>(value); }
double as_double(Index value) { return static_cast<double>(value); }

/// The pivots of an element, the j-th at row `rows` - j and column `columns` - j; the first `done` have been
/// applied to all columns left.
struct Batch {
  Index rows, columns, done;
};

/// The columns of L of some pivots, in the order of elimination; a column that they are applied to has their
/// rows, backwards, behind `rows` others.
constexpr Index kMostAtOnce = 4;
struct Multipliers {
  const double* l[kMostAtOnce];
  Index rows;
};

/// Applies M pivots to two columns, one being `to_next` behind the other, or to one. Each place takes them
/// one by one.
template <int M, int kColumns>
void apply_some(const Multipliers& m, double* first, Index to_next) {
  const double* l[M];
  std::copy_n(m.l, M, l);
  double factors[kColumns][M];
  for (int c = 0; c < kColumns; ++c) {
    double* const pivot_row = first + c * to_next + m.rows;
    for (int k = 0; k < M; ++k) {
      double value = pivot_row[M - 1 - k];
      for (int t = 0; t < k; ++t) value -= factors[c][t] * l[t][m.rows + M - 1 - k];
      factors[c][k] = pivot_row[M - 1 - k] = value;
    }
  }
#ifdef __clang__
#pragma clang loop vectorize(assume_safety)
#else
#pragma GCC ivdep
#endif
  for (Index i = 0; i < m.rows; ++i) {
    for (int c = 0; c < kColumns; ++c) {
      double value = first[i + c * to_next];
      for (int t = 0; t < M; ++t) value -= factors[c][t] * l[t][i];
      first[i + c * to_next] = value;
    }
  }
}

template <int M>
void apply_to_columns(const Multipliers& m, double* first, Index to_next, Index columns) {
  for (; columns >= 2; columns -= 2, first += 2 * to_next) apply_some<M, 2>(m, first, to_next);
  if (columns == 1) apply_some<M, 1>(m, first, to_next);
}

/// Applies the pivots from number `first` to `last` to columns from `column` on, in the order of elimination.
void apply_plainly(const Replay& f, const Batch& b, Index first, Index last, double* column, Index columns) {
  for (Index q = first; q <= last; q += kMostAtOnce) {
    const Index count = std::min(kMostAtOnce, last - q + 1);
    Multipliers m = {{}, b.rows - q - count + 1};
    for (Index k = 0; k < count; ++k) m.l[k] = f.front.at(0, b.columns - q - k);
    if (count == 1) apply_to_columns<1>(m, column, f.front.max_rows, columns);
    if (count == 2) apply_to_columns<2>(m, column, f.front.max_rows, columns);
    if (count == 3) apply_to_columns<3>(m, column, f.front.max_rows, columns);
    if (count == 4) apply_to_columns<4>(m, column, f.front.max_rows, columns);
  }
}

/// Brings the column of the j-th pivot up to date.
void update_pivot_column(const Replay& f, const Batch& b, Index j) {
  const Index pending = j - 1 - b.done, row = b.rows - j, column = b.columns - j;
  if (pending == 0) return;
  f.results(MA38_RINFO_LEVEL2_FLOPS) +=
      as_double((pending - 1) * pending) + 2.0 * as_double(pending) * as_double(row + 1);
  if (pending * b.rows <= kFewForColumn) {
    apply_plainly(f, b, b.done + 1, j - 1, f.front.at(0, column), 1);
    return;
  }
  const int m = as_int(pending), rows = as_int(row + 1), ld = as_int(f.front.max_rows);
  if (m > 1) {
    dtrsv_("U", "N", "U", &m, f.front.at(row + 1, column + 1), &ld, f.front.at(row + 1, column), &kUnitStep,
           1, 1, 1);
  }
  dgemv_("N", &rows, &m, &kMinusOne, f.front.at(0, column + 1), &ld, f.front.at(row + 1, column), &kUnitStep,
         &kOne, f.front.at(0, column), &kUnitStep, 1);
}

/// Applies the pending pivots, up to the j-th, to the columns that are left.
void apply_batch(const Replay& f, Batch& b, Index j) {
  const Index pending = j - b.done, row = b.rows - j, column = b.columns - j;
  const double per_column = as_double((pending - 1) * pending) + 2.0 * as_double(row) * as_double(pending);
  f.results(MA38_RINFO_LEVEL3_FLOPS) += per_column * as_double(column);
  if (pending == 1 || pending * b.rows * column <= kFewForBatch) {
    apply_plainly(f, b, b.done + 1, j, f.front.at(0, 0), column);
  } else if (column > 0) {
    const int m = as_int(pending), rows = as_int(row), columns = as_int(column),
              ld = as_int(f.front.max_rows);
    dtrsm_("L", "U", "N", "U", &m, &columns, &kOne, f.front.at(row, column), &ld, f.front.at(row, 0), &ld, 1,
           1, 1, 1);
    if (rows > 0) {
      dgemm_("N", "N", &rows, &columns, &m, &kMinusOne, f.front.at(0, column), &ld, f.front.at(row, 0), &ld,
             &kOne, f.front.at(0, 0), &ld, 1, 1);
    }
  }
  b.done = j;
}

}  // namespace

int eliminate(Replay& f, const Element& element) {
  Batch b{f.front.row_count + element.pivots, f.front.column_count + element.pivots, 0};
  for (Index j = 1; j <= element.pivots; ++j) {
    update_pivot_column(f, b, j);
    double* const column = f.front.at(0, b.columns - j);
    const Index rows = b.rows - j;
    if (!is_usable_pivot(column[rows])) return MA38_STATUS_PIVOT_ORDER_FAILED;
    divide_by_pivot(column, rows, column[rows]);
    f.results(MA38_RINFO_LEVEL1_FLOPS) += as_double(rows);
    f.results.add(MA38_INFO_PIVOTS, 1);
    if (j - b.done >= f.block.block_size || j == element.pivots) apply_batch(f, b, j);
  }
  return kGood;
}

namespace {

/// Writes pivot block over L, then U; pivots in the order of elimination, which is backwards in the front.
void store_reals(const Replay& f, const Element& element) {
  const Index k = element.pivots, rows = f.front.row_count, columns = f.front.column_count,
              leading = f.front.max_rows;
  double* to = f.space.reals.data() + (f.space.xtail - 1);
  const auto copy_pivot_rows = [k, &to](const double* pivot_rows) {
    for (Index q = k - 1; q >= 0; --q) *to++ = pivot_rows[q];
  };
  const double* column = f.front.at(0, columns + k - 1);
  for (Index p = 0; p < k; ++p, column -= leading) {
    copy_pivot_rows(column + rows);
    for (Index i = 0; i < rows; ++i) to[i] = column[i];
    to += rows;
  }
  column = f.front.at(rows, 0);
  if (k == 1) {  // half of all elements
    for (Index j = 0; j < columns; ++j) to[j] = column[j * leading];
    return;
  }
  for (Index j = 0; j < columns; ++j, column += leading) copy_pivot_rows(column);
}

void retire(Replay& f, Index pivots) {
  std::fill_n(&f.front.row_place(f.pivots + 1), pivots, kOutside);
  std::fill_n(&f.front.column_offset(f.pivots + 1), pivots, kOutside);
  f.pivots += pivots;
}

}  // namespace

int store_element(Replay& f, const Element& element) {
  const Index reals = static_cast<Index>(element_reals(element.pivots, element.l, element.u));
  if (!reserve_factors(f, reals)) return MA38_STATUS_VALUE_TOO_SHORT;
  element.words[kElementReals] = static_cast<int>(f.space.xtail);
  store_reals(f, element);
  if (!all_finite(&f.space.reals(f.space.xtail), reals)) return MA38_STATUS_PIVOT_ORDER_FAILED;
  f.results.add_factor_entries(element.pivots, element.l, element.u);
  f.totals.factor_reals += reals;
  note_peak(f);
  retire(f, element.pivots);
  return kGood;
}

}  // namespace ma38
}  // namespace corvidnum
