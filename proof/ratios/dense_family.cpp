// RegularMatrix: LU with partial pivoting and a limit for the size of a pivot. It has no transposed solve.

#include <string>

#include "dense/regular_matrix.h"
#include "proof/ratios/families.h"

namespace ratios {
namespace {

/// A RegularMatrix whose factors can be read.
class ReadableDense : public RegularMatrix {
 public:
  explicit ReadableDense(const Dense& a) : RegularMatrix(a.rows, a.cols) {
    for (int j = 0; j < cols; ++j)
      for (int i = 0; i < rows; ++i) (*this)(i, j) = a(i, j);
  }
  /// Returns P L U.
  RealMatrix product() const {
    RealMatrix result = product_of_triangles(cols, cols, [this](int i, int j) { return data[j * rows + i]; });
    for (int k = cols - 1; k >= 0; --k) result.swap_rows(k, pivots[k] - 1);
    return result;
  }
};

/// Returns the first column, from 1, in which no pivot is above the limit; 0 if there is none.
int first_refused_column(Dense a) {
  std::vector<int> pivots(static_cast<std::size_t>(a.rows));
  return reference::textbook_lu(a, pivots, kPivotLimit);
}

}  // namespace

void judge_dense(const Problem& problem, Findings& findings) {
  findings.begin(Family::kDense, problem, "class");
  const int refused = first_refused_column(problem.a);
  ReadableDense matrix(problem.a);
  int info = -1;
  const Matrix::ErrorCode status = matrix.FactorLU(info);
  findings.expect(info == refused, "info is " + std::to_string(info) + ", not " + std::to_string(refused));
  findings.expect((status == Matrix::MatrixOK) == (info == 0), "the result does not follow info");
  if (problem.singular()) {
    const int first_zero = first_zero_column(problem.kind, problem.order()) + 1;
    findings.expect(info == first_zero, "the first zero column is " + std::to_string(first_zero));
    findings.factors(problem, matrix.product());
  } else if (refused > 0) {
    findings.refused(Refusal::kPivotLimit);
    const Problem accepted = problem.scaled_to(kAcceptedExponent);
    findings.expect(first_refused_column(accepted.a) == 0, "refused at any scale");
    if (first_refused_column(accepted.a) == 0) judge_dense(accepted, findings);
  } else {
    findings.factors(problem, matrix.product());
    judge_solutions(problem, false, findings, [&](Vector b) {
      Vector x(b.size());
      findings.expect(matrix.BackSub(x.data(), b.data()) == Matrix::MatrixOK, "not solved");
      return x;
    });
  }
}

}  // namespace ratios
