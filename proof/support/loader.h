#pragma once

// The callback by which the class ma48 asks for its matrix again.

#include <algorithm>

#include "sparse/ma48/ma48.h"
#include "tests/support/sparse_matrices.h"

namespace proof {

/// Gives the entries of a matrix, as it is when they are asked for.
class Loader : public ma48callback {
 public:
  /// @param matrix  must outlive this object
  explicit Loader(const reference::Coordinates& matrix) : matrix_(matrix) {}
  unsigned char LoadMatrix(int* rows, int* columns, double* values, int) override {
    std::copy(matrix_.rows.begin(), matrix_.rows.end(), rows);
    std::copy(matrix_.columns.begin(), matrix_.columns.end(), columns);
    std::copy(matrix_.values.begin(), matrix_.values.end(), values);
    return 1;
  }

 private:
  const reference::Coordinates& matrix_;
};

}  // namespace proof
