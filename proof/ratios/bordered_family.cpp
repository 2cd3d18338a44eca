// ArrowMatrix: LU of the band, then of the Schur complement of the border, whose pivots have a limit. It has
// no transposed solve.

#include <cmath>
#include <string>

#include "dense/arrow_matrix.h"
#include "proof/ratios/families.h"

namespace ratios {
namespace {

/// The diagonals that a leading block has below and above the main one.
struct Widths {
  int below, above;
};
Widths widths(const Problem& problem, int leading) {
  const int all = std::max(leading - 1, 0);
  switch (problem.kind) {
    case Kind::kDiagonal:
      return {0, 0};
    case Kind::kUpperTriangular:
      return {0, all};
    case Kind::kLowerTriangular:
      return {all, 0};
    default:
      return {std::min(kBelow, all), std::min(kAbove, all)};
  }
}

/// Eliminates the leading block, with interchanges of its rows, from the trailing one.
RealMatrix schur_complement(RealMatrix a, int leading) {
  for (int k = 0; k < leading; ++k) {
    int pivot = k;
    for (int i = k + 1; i < leading; ++i)
      if (std::fabs(a(i, k)) > std::fabs(a(pivot, k))) pivot = i;
    a.swap_rows(k, pivot);
    for (int i = k + 1; i < a.order; ++i) {
      const Real factor = a(i, k) / a(k, k);
      for (int j = k; j < a.order; ++j) a(i, j) -= factor * a(k, j);
    }
  }
  RealMatrix corner(a.order - leading);
  for (int j = 0; j < corner.order; ++j)
    for (int i = 0; i < corner.order; ++i) corner(i, j) = a(leading + i, leading + j);
  return corner;
}

/// An ArrowMatrix whose factors can be read.
class ReadableBordered : public ArrowMatrix {
 public:
  ReadableBordered(const Dense& a, int leading, Widths band_widths, TrackNZType track_type)
      : ArrowMatrix(leading, band_widths.below, band_widths.above, a.rows - leading, track_type) {
    for (int j = 0; j < a.cols; ++j)
      for (int i = 0; i < a.rows; ++i)
        if (a(i, j) != 0.0) (*this)(i, j) = a(i, j);
  }
  /// Returns what stands for A: the product of the factors of the band in place of A11, and in place of A22
  /// that of the corner's plus what the elimination subtracts.
  /// @param a the matrix, whose border the object keeps
  RealMatrix product(const Dense& a, bool corner_factorised) const {
    RealMatrix result(a);
    const RealMatrix band_product = product_of_band();
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i) result(i, j) = band_product(i, j);
    if (!corner_factorised || m == 0) return result;
    RealMatrix corner = product_of_triangles(m, m, [this](int i, int j) { return a22[j * m + i]; });
    for (int k = m - 1; k >= 0; --k) corner.swap_rows(k, cornerPivots[k] - 1);
    const RealMatrix eliminated = schur_complement(result, n);
    for (int j = 0; j < m; ++j)
      for (int i = 0; i < m; ++i) result(n + i, n + j) += corner(i, j) - eliminated(i, j);
    return result;
  }

 private:
  /// Multiplies out the band's factors: interchanges and columns of L alternate, as LAPACK's dgbtf2 leaves
  /// them.
  RealMatrix product_of_band() const {
    const auto element = [this](int i, int j) { return band[j * (2 * kl + ku + 1) + kl + ku + i - j]; };
    RealMatrix result(n);
    for (int j = 0; j < n; ++j)
      for (int i = std::max(0, j - kl - ku); i <= j; ++i) result(i, j) = element(i, j);
    for (int k = n - 1; k >= 0; --k) {
      for (int i = k + 1; i <= std::min(k + kl, n - 1); ++i)
        for (int j = 0; j < n; ++j) result(i, j) += Real{element(i, k)} * result(k, j);
      result.swap_rows(k, bandPivots[k] - 1);
    }
    return result;
  }
};

/// Tells whether the corner has no pivot above the limit in some column.
bool corner_is_refused(const Dense& a, int leading) {
  const RealMatrix corner = schur_complement(RealMatrix(a), leading);
  Dense rounded(corner.order, corner.order);
  rounded.values.assign(corner.values.begin(), corner.values.end());
  std::vector<int> pivots(static_cast<std::size_t>(corner.order));
  return reference::textbook_lu(rounded, pivots, kPivotLimit) > 0;
}

void judge_tracked(const Problem& problem, ArrowMatrix::TrackNZType track, Findings& findings) {
  findings.begin(Family::kBordered, problem, track == ArrowMatrix::TrackNone ? "no list" : "own list");
  const int order = problem.order(), leading = order - border(problem.shape, order);
  ReadableBordered matrix(problem.a, leading, widths(problem, leading), track);
  int info = 0;
  const bool failed = matrix.FactorLU(info) != Matrix::MatrixOK;
  if (problem.singular()) {
    const int first_zero = first_zero_column(problem.kind, order);
    const bool in_band = first_zero < leading;
    findings.expect(
        failed && info == (in_band ? first_zero + 1 : 0),
        "zero column " + std::to_string(first_zero + 1) + ", but info is " + std::to_string(info));
    findings.factors(problem, matrix.product(problem.a, !in_band));
    return;
  }
  findings.expect(info == 0, "info is " + std::to_string(info));
  const bool refused = corner_is_refused(problem.a, leading);
  findings.expect(failed == refused, failed ? "the corner is refused" : "the corner is not refused");
  if (refused) {
    findings.refused(Refusal::kPivotLimit);
    const Problem accepted = problem.scaled_to(kAcceptedExponent);
    const bool acceptable = !corner_is_refused(accepted.a, leading);
    findings.expect(acceptable, "refused at any scale");
    if (acceptable) judge_tracked(accepted, track, findings);
    return;
  }
  findings.factors(problem, matrix.product(problem.a, true));
  judge_solutions(problem, false, findings, [&](Vector b) {
    Vector x(b.size());
    findings.expect(matrix.BackSub(x.data(), b.data()) == Matrix::MatrixOK, "not solved");
    return x;
  });
}

}  // namespace

void judge_bordered(const Problem& problem, Findings& findings) {
  for (const auto track : {ArrowMatrix::TrackNone, ArrowMatrix::TrackInternal})
    judge_tracked(problem, track, findings);
}

}  // namespace ratios
