#pragma once

// Residuals and backward errors of a solution.

#include <cstddef>
#include <vector>

#include "apps/solve/direct_solver.h"
#include "apps/solve/matrix_market.h"

namespace solve {

/// The matrix of a system: its own pattern with given values, perhaps transposed.
struct Equations {
  const Matrix& matrix;
  const std::vector<double>& values;  // in place of its own values
  bool transposed;

  const std::vector<int>& rows() const { return transposed ? matrix.column : matrix.row; }
  const std::vector<int>& columns() const { return transposed ? matrix.row : matrix.column; }
};

/// Returns the index from 0 of an index from 1.
inline std::size_t place(int index) { return static_cast<std::size_t>(index - 1); }

/// Returns A x.
std::vector<double> product(const Equations& equations, const std::vector<double>& x);

/// Sizes of the residual b - A x of a solution.
struct Residuals {
  double of_worst_row = 0;  // largest |b - A x| / (|A| |x| + |b|) over the rows; rows of zeros count as 0
  double overall = 0;       // largest |b - A x| over the largest term of any row, rounded to a power of 2

  /// Returns whether half of the digits or more are lost, or the residual is NaN. Rounding alone hardly takes
  /// that many, however rows and columns are scaled; element growth in the factorisation does.
  bool digits_lost() const { return !(overall <= 1e-8); }
};

/// Computes the residuals. All numbers must be finite; their products and sums may overflow.
Residuals residuals(const Equations& equations, const std::vector<double>& x, const std::vector<double>& b);

/// Computes the componentwise backward errors: omega1 over the rows whose |A||x| + |b| is significant, omega2
/// over the others, whose terms nearly vanish beside |A| times the largest |x|.
/// Source: M. Arioli, J. W. Demmel and I. S. Duff, SIAM J. Matrix Anal. Appl. 10, 165 (1989).
BackwardErrors backward_errors(const Equations& equations, const std::vector<double>& x,
                               const std::vector<double>& b);

}  // namespace solve
