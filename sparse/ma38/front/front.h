#pragma once

#include <cassert>

#include "sparse/ma38/store/object_store.h"

namespace corvidnum {
namespace ma38 {

constexpr int kOutsideRow = -1;     // row_place; any negative number there means outside
constexpr int kOutsideColumn = -2;  // column_offset
constexpr int kPivotalColumn = -1;

/// The front: a dense matrix of max_rows x max_columns by columns in the reals of the store, and a work
/// column of max_rows behind it. The live part stands in the top left corner, the pivots of the batch from
/// the bottom right corner on, the first one last:
///
///                 0   column_count     max_columns - batch
///               0 |  live  |          |  L of     |
///       row_count |________|          | the batch |
///                 |                   |           |
///  max_rows-batch | U of   |          |  pivot    |
///      max_rows-1 | batch  |          |  block    |
///
/// Always true between two eliminations, when a front is open:
///  1. rows(1 .. row_count) are the live rows, and row_place(rows(i)) = i - 1; likewise the columns, but with
///     column_offset(columns(j)) = (j - 1) max_rows, so that assembly needs no multiplication;
///  2. all other rows and columns that are not pivotal are outside, but for the pivot to come;
///  3. row_count + batch <= max_rows, column_count + batch <= max_columns, updated <= batch;
///  4. the store's front has max_rows (max_columns + 1) reals.
class Front {
 public:
  /// Lays the front over the reals of the store. It is closed at first.
  /// @param row_list, column_list [n] live rows and columns, from element 1 up. The pivots of all fronts are
  ///                              noted from element n down
  /// @param places, offsets       [n] by row and by column, see invariant 1
  Front(const ObjectStore& store, OneBased<double> reals, OneBased<int> row_list, OneBased<int> column_list,
        OneBased<int> places, OneBased<int> offsets)
      : rows(row_list),
        columns(column_list),
        row_place(places),
        column_offset(offsets),
        store_(store),
        reals_(reals) {}

  bool is_open() const { return store_.front() != 0; }
  /// Returns the element at row and column, counted from 0.
  double& at(Index row, Index column) const { return reals_(store_.front() + row + column * max_rows); }
  double* column(Index j) const { return &at(0, j); }
  /// Returns the column at an offset of column_offset.
  double* column_at(Index offset) const { return &reals_(store_.front() + offset); }
  double* work_column() const { return column(max_columns); }
  Index pending() const { return batch - updated; }  // pivots whose updates of the live part are due

  Index max_rows = 0, max_columns = 0;    // what it can grow to
  Index row_count = 0, column_count = 0;  // live
  Index batch = 0;                        // pivots since the last LU element was stored
  Index updated = 0;                      // those of the batch that have been applied to the live part
  const OneBased<int> rows, columns;
  const OneBased<int> row_place, column_offset;

 private:
  const ObjectStore& store_;
  const OneBased<double> reals_;
};

}  // namespace ma38
}  // namespace corvidnum
