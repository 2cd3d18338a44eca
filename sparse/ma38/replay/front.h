#pragma once

#include "sparse/ma38/store/space.h"

namespace corvidnum {
namespace ma38 {

constexpr int kOutside = -1;  // in row_place and column_offset

/// The front of a replay: a dense matrix of max_rows x max_columns by columns in the reals of the space. Its
/// live rows and columns fill it from the top left, and the pivots of the present element follow them, the
/// first one last:
///
///               0    column_count
///             0 | live |  L    |
///     row_count |______|_______|
///               |  U   | pivot |
///               |      | block |
///
/// Places and offsets count from 0. Always true between two elements, when the front is open:
///  1. rows(1 .. row_count) are the live rows, and row_place(rows(i)) = i - 1; likewise the columns, but with
///     column_offset(columns(j)) = (j - 1) max_rows, so that assembly needs no multiplication;
///  2. all other rows and columns are outside: kOutside;
///  3. row_count <= max_rows, column_count <= max_columns.
struct ReplayFront {
  OneBased<double> space_reals;            // those of the space
  OneBased<int> row_place, column_offset;  // [n]
  OneBased<int> rows, columns;             // [longest_l], [longest_u] live ones

  Index begin = 0;                        // position in the reals of the space; 0: no front is open
  Index max_rows = 0, max_columns = 0;    // what it can grow to
  Index row_count = 0, column_count = 0;  // live

  bool is_open() const { return begin != 0; }
  Index size() const { return max_rows * max_columns; }
  /// Returns the address of the element at row and column, counted from 0.
  double* at(Index row, Index column) const {
    return space_reals.data() + (begin - 1) + row + column * max_rows;
  }
  /// Forgets the front: no row or column is inside. Its reals belong to the caller.
  void close() {
    for (Index i = 1; i <= row_count; ++i) row_place(rows(i)) = kOutside;
    for (Index j = 1; j <= column_count; ++j) column_offset(columns(j)) = kOutside;
    begin = row_count = column_count = 0;
  }
  /// Returns whether the invariants hold, but for the rows and columns outside.
  bool consistent() const {
    if (!is_open()) return row_count == 0 && column_count == 0;
    if (row_count > max_rows || column_count > max_columns) return false;
    for (Index i = 1; i <= row_count; ++i) {
      if (row_place(rows(i)) != i - 1) return false;
    }
    for (Index j = 1; j <= column_count; ++j) {
      if (column_offset(columns(j)) != (j - 1) * max_rows) return false;
    }
    return true;
  }
};

}  // namespace ma38
}  // namespace corvidnum
