#pragma once

// Inner loops of the elimination: updates of sparse columns whose rows are given by number. Each has a
// version for any processor and one for processors with AVX2; both round each element alike (a product, then
// a sum), so they give the same bits.

#include <cstddef>

namespace corvidnum {

/// The loops in one of their versions. All counts may be 0.
struct RowKernels {
  /// Computes values[k] += multiplier * pivot_column[side * offset_of_row[rows[k] - 1]]. Rows that the pivot
  /// column does not have get offset 0; the caller puts a signed zero into pivot_column[0], so adding it
  /// changes nothing and the loop needs no (unpredictable) branch.
  /// @param values, rows  [entries] a column; its rows are numbered from 1
  /// @param side          1 or -1, so that no offset is negative after the multiplication
  /// @return how many of the rows the pivot column has
  std::ptrdiff_t (*add_to_column)(std::ptrdiff_t entries, double* values, const int* rows, double multiplier,
                                  const double* pivot_column, int side, const int* offset_of_row);
};

/// Returns the versions for any processor.
const RowKernels& portable_row_kernels();
/// Returns the fastest versions for this processor.
const RowKernels& row_kernels();

}  // namespace corvidnum
