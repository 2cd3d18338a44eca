#pragma once

// How well a solution solves a system.

#include <cstddef>
#include <vector>

#include "apps/solve/direct_solver.h"
#include "apps/solve/matrix_market.h"

namespace solve {

/// The left sides of a system as it is solved.
struct Equations {
  const Matrix& matrix;
  const std::vector<double>& values;  // for its own
  bool transposed;

  const std::vector<int>& rows() const { return transposed ? matrix.column : matrix.row; }
  const std::vector<int>& columns() const { return transposed ? matrix.row : matrix.column; }
};

/// Where an index from 1 stands.
inline std::size_t place(int index) { return static_cast<std::size_t>(index - 1); }

std::vector<double> product(const Equations& equations, const std::vector<double>& x);

/// What a solution leaves of its system.
struct Residuals {
  double of_worst_row = 0;  // the largest |b - A x| / (|A| |x| + |b|) of a row; rows of zeros do not count
  double overall = 0;       // the largest |b - A x| over the largest term of any row, that as a power of two

  /// Half of the digits and more. Rounding alone hardly takes that many, however rows and columns are scaled;
  /// elements that grow while the matrix is factorised do.
  bool digits_lost() const { return !(overall <= 1e-8); }
};

/// All numbers must be finite; neither their products nor sums of these need be.
Residuals residuals(const Equations& equations, const std::vector<double>& x, const std::vector<double>& b);

/// Of the rows judged by their terms, and of those whose terms nearly vanish beside what x could bring.
/// Source: M. Arioli, J. W. Demmel and I. S. Duff, SIAM J. Matrix Anal. Appl. 10, 165 (1989).
BackwardErrors backward_errors(const Equations& equations, const std::vector<double>& x,
                               const std::vector<double>& b);

}  // namespace solve
