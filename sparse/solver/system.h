#pragma once

// The matrix of a solver: its pattern without duplicates, its values, and the scaled matrix
// S = R A C that is factorised. R and C are powers of two, so that scaling rounds nothing.

#include <cstdint>

#include "sparse/solver/array.h"
#include "sparse/solver/pattern.h"
#include "sparse/solver/scaling.h"
#include "sparse/sparse_solver.h"

namespace corvidnum::solver {

/// Where a matrix or a vector was found to be wrong.
struct Fault {
  SparseStatus status;
  std::int64_t place;  // counted from 0; -1: no place
};

/// Coordinates as a caller gives them.
struct Coordinates {
  int order, entries;
  const int *rows, *columns;  // [entries] counted from index_base
  int index_base;
};

/// Returns the place of the first number that is not finite, or -1.
std::int64_t first_not_finite(const double* numbers, std::int64_t count);

class System {
 public:
  /// Takes the pattern. The status is `NotFactorised` if all is well.
  Fault set_pattern(const Coordinates& given);
  /// Takes the values of all entries, in the order of the coordinates, and sums duplicates. The scales stay.
  /// The status is `NotFactorised` if all is well; else the values held before stay.
  Fault set_values(const double* values);
  /// Chooses scales for the values held.
  /// @return false: memory was refused
  bool choose_scales(ScalingEffort effort);
  /// Computes the scaled matrix from the values and the scales.
  /// @return false: the scales do not suit the values, as those chosen for other values may. A scaled value
  /// lost
  ///         digits, or a row or column is so small or large that products with it could
  bool apply_scales();
  /// Returns how far a scaled value may be from the exact one: 0, unless apply_scales() lost digits.
  double lost() const { return lost_; }

  int order() const { return order_; }
  int entries() const { return static_cast<int>(column_.size()); }
  int duplicates() const { return duplicates_; }
  bool has_values() const { return has_values_; }
  Pattern pattern() const {
    return {order_, row_begin_.data(), column_.data(), column_begin_.data(), row_.data()};
  }

  /// Write S for a solver: rows and columns counted from 1, column after column.
  void write_indices(int* rows, int* columns) const;
  void write_values(double* values) const;
  /// Returns the scaled values by rows.
  const double* scaled() const { return scaled_.data(); }
  // Of the system S y = R b with x = C y, or of the transposed one S' z = C b with x = R z:
  /// Returns the exponents of the powers of two by which the right-hand side, or the unknowns, are
  /// multiplied, and these powers.
  const int* rhs_exponents(bool transposed) const {
    return (transposed ? column_exponent_ : row_exponent_).data();
  }
  const int* unknown_exponents(bool transposed) const { return rhs_exponents(!transposed); }
  const double* rhs_scale(bool transposed) const { return (transposed ? column_scale_ : row_scale_).data(); }
  const double* unknown_scale(bool transposed) const { return rhs_scale(!transposed); }
  /// Returns the sums of magnitudes of the equations, with scaled unknowns y and with the unknowns x.
  const double* scaled_sums(bool transposed) {
    find_sums(transposed);
    return (transposed ? column_sum_ : row_sum_).data();
  }
  const double* plain_sums(bool transposed) {
    find_sums(transposed);
    return (transposed ? plain_column_sum_ : plain_row_sum_).data();
  }
  /// Returns the 1-norm of S, the largest column sum of magnitudes; or that of the matrix whose rows and
  /// columns are multiplied by powers of two with these exponents.
  double scaled_norm();
  double norm(const Array<int>& rows, const Array<int>& columns) const;
  /// Finds the exponents of a thorough scaling, apart from the scales in use.
  /// @return false: memory was refused
  bool equilibrate_thoroughly(Array<int>& rows, Array<int>& columns) const {
    return equilibrate(pattern(), value_.data(), ScalingEffort::kThorough, rows, columns);
  }

 private:
  bool build_columns(const Coordinates& given);
  void close_gaps(const Coordinates& given, Array<int>& end);
  bool build_rows();
  bool allocate_values();
  bool scale_by_one_product();
  void scale_with_care();
  void find_sums(bool transposed);
  void sum_rows();
  void sum_columns();

  int order_ = 0, given_ = 0, duplicates_ = 0;
  bool has_values_ = false;
  double lost_ = 0, least_scaled_ = 0;
  Array<int> row_begin_, column_;  // by rows
  Array<int> column_begin_, row_;  // by columns
  Array<int> by_rows_;             // [entries] the place by rows of an entry by columns
  Array<int> place_;               // [entries given] the place by rows of an entry given
  Array<double> value_, summed_;   // [entries] by rows: A; scratch of set_values, if there are duplicates
  Array<double> scaled_;           // [entries] by rows: S
  Array<int> row_exponent_, column_exponent_;
  Array<double> row_scale_, column_scale_, row_unit_, column_unit_;  // 2^exponent and its reciprocal
  Array<double> row_sum_, column_sum_, plain_row_sum_, plain_column_sum_;
  bool sums_known_[2] = {};  // of the rows; of the columns
};

}  // namespace corvidnum::solver
