#pragma once

// Inner loops of the elimination: updates of sparse columns whose rows are given by number. Each has a
// version for any processor and one for processors with AVX2; both round each element alike (a product, then
// a sum), so they give the same bits.

#include <cstddef>
#include <cstdint>

namespace corvidnum {

/// A set of offsets from 0 to kMostInSet, a bit each.
using OffsetSet = std::uint64_t;
constexpr std::ptrdiff_t kMostInSet = 63;

/// A multiple of the pivot column that is added to another column.
struct ColumnUpdate {
  double multiplier;
  const double* pivot_column;  // from offset 0; rows that the pivot column does not have get offset 0
  const int* offset_of_row;    // of row i at i - 1; may be negative, see `side`
};

/// The loops in one of their versions. All counts may be 0, the rows of a column are numbered from 1, and
/// none is there twice. add_to_column and add_and_note compute
///   values[k] += multiplier * pivot_column[offset of rows[k]]   for k from 0 to entries - 1
/// also for offset 0: the caller puts a signed zero into pivot_column[0], so adding it changes nothing and
/// the loop needs no (unpredictable) branch.
struct RowKernels {
  /// The offsets are `side` (1 or -1) times those of offset_of_row.
  /// @return how many of the rows the pivot column has
  std::ptrdiff_t (*add_to_column)(std::ptrdiff_t entries, double* values, const int* rows,
                                  const ColumnUpdate& update, int side);
  /// The same with `side` 1, for offsets up to kMostInSet.
  /// @return the offsets of the rows; 0 stands for those that the pivot column does not have
  OffsetSet (*add_and_note)(std::ptrdiff_t entries, double* values, const int* rows,
                            const ColumnUpdate& update);
  /// Returns the largest of |values[0]| .. |values[entries - 1]| other than NaN, or a NaN if there is none.
  double (*largest)(std::ptrdiff_t entries, const double* values);
  /// Computes w[rows[k] - 1] += multiplier * values[k] for k from 0 to entries - 1.
  void (*add_to_rows)(std::ptrdiff_t entries, double multiplier, const double* values, const int* rows,
                      double* w);
};

/// Up to so many entries a loop in place takes no longer than the call of add_to_rows.
constexpr int kFewForCall = 8;

/// Returns the versions for any processor.
const RowKernels& portable_row_kernels();
/// Returns the fastest versions for this processor.
const RowKernels& row_kernels();

}  // namespace corvidnum
