// The ma38 routines: with and without the block triangular form, of the matrix and of its transpose, with and
// without refinement; factors with pivots chosen and repeated.

#include <algorithm>
#include <cmath>
#include <string>

#include "proof/ratios/families.h"
#include "sparse/ma38/ma38_routines.h"
#include "tests/support/ma38_factors.h"

namespace ratios {
namespace {

using Ints = std::vector<int>;
using reference::Coordinates;
using reference::StoredFactors;

struct Way {
  const char* name;
  bool blocks, transposed, prefer_diagonal;
  int refinements;
  double threshold;  // of the pivot test; 1: partial pivoting

  Family family() const {
    return threshold == 1.0 ? Family::kMa38Partial : refinements > 0 ? Family::kMa38Refined : Family::kMa38;
  }
};
constexpr Way kWays[] = {{"blocks", true, false, false, 0, 1.0},
                         {"one block", false, false, false, 0, 1.0},
                         {"transposed factors", true, true, false, 0, 1.0},
                         {"defaults", true, false, false, 0, 0.1},
                         {"transposed factors", true, true, false, 0, 0.1},
                         {"diagonal pivots", false, false, true, 3, 0.1},
                         {"transposed factors", true, true, false, 3, 0.1}};

/// The routines with all that they need.
class Ma38 {
 public:
  Ma38(const Coordinates& matrix, const Way& way)
      : matrix_(matrix),
        n_(matrix.n),
        job_(way.refinements > 0 ? MA38_FACTOR_KEEP_MATRIX : MA38_FACTOR_ONLY),
        transposed_(way.transposed),
        lvalue_(8 * n_ * n_ + 20 * matrix.entries() + 1000),
        lindex_(12 * n_ * n_ + 60 * n_ + 30 * matrix.entries() + 1000),
        value_(lvalue_),
        index_(lindex_),
        keep_(MA38_KEEP_LENGTH),
        w_(4 * n_) {
    ma38id_(keep_.data(), cntl_, icntl_);
    ma38_set_cntl(cntl_, MA38_CNTL_THRESHOLD, way.threshold);
    ma38_set_icntl(icntl_, MA38_ICNTL_USE_BLOCKS, way.blocks);
    ma38_set_icntl(icntl_, MA38_ICNTL_PREFER_DIAGONAL, way.prefer_diagonal);
    ma38_set_icntl(icntl_, MA38_ICNTL_MOST_REFINEMENTS, way.refinements);
  }
  int info(MA38_Info position) const { return ma38_info(info_, position); }
  int factor() { return factor_by(ma38ad_); }
  int refactor() { return factor_by(ma38bd_); }
  Vector solve(bool transposed, const Vector& b) {
    const int job = MA38_SOLVE_WHOLE, transc = transposed != (transposed_ != 0);
    Vector x(b.size());
    ma38cd_(&n_, &job, &transc, &lvalue_, &lindex_, value_.data(), index_.data(), keep_.data(), b.data(),
            x.data(), w_.data(), cntl_, icntl_, info_, rinfo_);
    return x;
  }
  /// Multiplies the factors out.
  /// @param fault out: what in the arrays is not as documented; empty if nothing is
  Product product(std::string& fault) const;

 private:
  template <class Routine>
  int factor_by(const Routine& routine) {
    const int ne = matrix_.entries();
    std::copy(matrix_.values.begin(), matrix_.values.end(), value_.begin());
    std::copy(matrix_.rows.begin(), matrix_.rows.end(), index_.begin());
    std::copy(matrix_.columns.begin(), matrix_.columns.end(), index_.begin() + ne);
    routine(&n_, &ne, &job_, &transposed_, &lvalue_, &lindex_, value_.data(), index_.data(), keep_.data(),
            cntl_, icntl_, info_, rinfo_);
    return info(MA38_INFO_STATUS);
  }
  double& element(Dense& a, int row, int column) const {
    return transposed_ ? a(column - 1, row - 1) : a(row - 1, column - 1);
  }

  const Coordinates& matrix_;
  int n_, job_, transposed_, lvalue_, lindex_;
  Vector value_;
  Ints index_, keep_;
  Vector w_;
  double cntl_[MA38_CNTL_LENGTH], rinfo_[MA38_RINFO_LENGTH];
  int icntl_[MA38_ICNTL_LENGTH], info_[MA38_INFO_LENGTH];
};

Product Ma38::product(std::string& fault) const {
  Product result(n_);
  const StoredFactors factors(keep_, index_, value_);
  fault = factors.fault;
  if (!fault.empty()) return result;
  Dense lower(n_, n_), upper(n_, n_), given = reference::dense(matrix_);
  factors.triangles(lower, upper);
  const Dense off_diagonal = reference::dense(factors.off_diagonal);
  for (const reference::LuBlock& block : factors.blocks) {
    const int k = block.first;  // a zero in a block of order 1 is stored as 1, so that solves go on
    if (block.singleton && element(given, factors.rperm[k], factors.cperm[k]) == 0.0) upper(k, k) = 0.0;
  }
  const auto triangles = [&](int i, int j) { return i > j ? lower(i, j) : upper(i, j); };
  const RealMatrix value = product_of_triangles(n_, n_, triangles);
  const RealMatrix magnitude =
      product_of_triangles(n_, n_, [&](int i, int j) { return std::fabs(triangles(i, j)); });
  for (int j = 0; j < n_; ++j) {
    for (int i = 0; i < n_; ++i) {
      int row = factors.rperm[i] - 1, column = factors.cperm[j] - 1;
      if (transposed_) std::swap(row, column);
      result.value(row, column) = value(i, j) + off_diagonal(i, j);
      result.magnitude(row, column) = magnitude(i, j) + std::fabs(off_diagonal(i, j));
    }
  }
  return result;
}

/// @return whether the system can be solved
bool factorised(Ma38& routines, const Way& way, int status, const Problem& problem, Findings& findings) {
  findings.expect(status == (problem.singular() ? int{MA38_WARNING_SINGULAR} : MA38_STATUS_OK),
                  "status of the factorisation: " + std::to_string(status));
  if (status < 0) return false;
  const int found = routines.info(MA38_INFO_PIVOTS);
  findings.expect(found == rank(problem.kind, problem.order()), "the rank is " + std::to_string(found));
  std::string fault;
  findings.factors(problem, routines.product(fault), way.threshold < 1.0);
  if (way.refinements > 0) findings.allow_solutions(1.0);
  findings.expect(fault.empty(), fault);
  return !problem.singular();
}

void judge_solutions_of(Ma38& routines, const Problem& problem, Findings& findings) {
  for (const bool transposed : {false, true}) {
    judge_solutions(problem, transposed, findings, [&](const Vector& b) {
      const Vector x = routines.solve(transposed, b);
      const int status = routines.info(MA38_INFO_STATUS);
      findings.expect(status == MA38_STATUS_OK, "status of a solution: " + std::to_string(status));
      return x;
    });
  }
}

void judge_way(const Problem& problem, const Coordinates& entries, const Way& way, Findings& findings) {
  Ma38 routines(entries, way);
  const int status = routines.factor();
  if (entries.entries() == 0) {
    findings.expect(status == MA38_STATUS_BAD_ENTRY_COUNT, "a matrix without entries is taken");
    return;
  }
  if (!factorised(routines, way, status, problem, findings)) return;
  judge_solutions_of(routines, problem, findings);
  findings.begin(way.family(), problem, way.name + std::string(", same pivots"));
  if (factorised(routines, way, routines.refactor(), problem, findings))
    judge_solutions_of(routines, problem, findings);
}

}  // namespace

void judge_ma38(const Problem& problem, Findings& findings) {
  const Coordinates entries = entries_of(problem);
  for (const Way& way : kWays) {
    findings.begin(way.family(), problem, way.name);
    if (problem.order() == 0) {
      findings.expect(Ma38(entries, way).factor() == MA38_STATUS_BAD_ORDER, "order 0 is taken");
      findings.refused(Refusal::kOrderZero);
    } else {
      judge_way(problem, entries, way, findings);
    }
  }
}

}  // namespace ratios
