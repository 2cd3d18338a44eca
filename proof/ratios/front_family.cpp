// SparseSolver by each method: with a bound that asks for full accuracy, with its defaults, and without
// judging. Its factors cannot be read. With the defaults the limit is what the bound allows; without judging
// nothing is promised, and the same limit tells only whether something is badly wrong.

#include <string>

#include "proof/ratios/families.h"
#include "sparse/sparse_solver.h"

namespace ratios {
namespace {

using corvidnum::SparseDiagnosis;
using corvidnum::SparseMethod;
using corvidnum::SparseOptions;
using corvidnum::SparseSolver;
using corvidnum::SparseStatus;

constexpr double kTightBound = 1e-15;  // at which the ratio of the residual is below LAPACK's limit

/// Returns the largest ratio of the residual that a componentwise backward error allows: |b - A x| is then at
/// most `bound` times |A||x| + |b|, whose norm is about twice norm(A) norm(x) at most.
constexpr double ratio_within(double bound) { return 2 * bound / (reference::kEpsilon / 2); }
static_assert(ratio_within(kTightBound) < kLimit);

class FrontRun {
 public:
  FrontRun(const Problem& problem, const SparseOptions& options, Findings& findings)
      : problem_(problem),
        options_(options),
        findings_(findings),
        entries_(entries_of(problem)),
        solver_(problem.order(), entries_.entries(), entries_.rows.data(), entries_.columns.data(), 1,
                options) {}

  void run() {
    if (problem_.order() == 0) {
      findings_.expect(solver_.State() == SparseStatus::BadInput, "order 0 is taken");
      findings_.refused(Refusal::kOrderZero);
      return;
    }
    const SparseStatus status = solver_.Factorise(entries_.values.data());
    if (problem_.singular()) return expect_singular(status);
    expect(status, SparseStatus::Factorised);
    solve();
    expect(solver_.Refactorise(entries_.values.data()), SparseStatus::Factorised);
    solve();
  }

 private:
  void expect(SparseStatus status, SparseStatus expected) {
    findings_.expect(status == expected, StatusText(status));
  }

  /// A zero column that shows in the pattern lowers the structural rank, and one of given zeros the other.
  void expect_singular(SparseStatus status) {
    expect(status, SparseStatus::Singular);
    SparseDiagnosis diagnosis;
    expect(solver_.Diagnose(&diagnosis), SparseStatus::Singular);
    const int found = problem_.shape == Shape::kFull ? diagnosis.numerical_rank : diagnosis.structural_rank;
    findings_.expect(found == rank(problem_.kind, problem_.order()), "the rank is " + std::to_string(found));
  }

  void solve() {
    for (const bool transposed : {false, true}) {
      for (const int count : kRightHandSides) {
        Vector x(static_cast<std::size_t>(problem_.order() * count));
        const double* b = problem_.right_hand_sides(transposed);
        const SparseStatus status =
            transposed ? solver_.SolveTransposed(b, x.data(), count) : solver_.Solve(b, x.data(), count);
        expect(status, options_.judge ? SparseStatus::Solved : SparseStatus::Unjudged);
        findings_.solutions(problem_, transposed, x, count);
      }
    }
  }

  const Problem& problem_;
  const SparseOptions& options_;
  Findings& findings_;
  const reference::Coordinates entries_;
  SparseSolver solver_;
};

}  // namespace

void judge_front(const Problem& problem, Findings& findings) {
  const struct {
    Family family;
    int judge;
    double bound;  // of the componentwise backward error
  } ways[] = {{Family::kFrontTight, 1, kTightBound},
              {Family::kFront, 1, SparseOptions().bound},
              {Family::kFrontUnjudged, 0, SparseOptions().bound}};
  for (const SparseMethod method : {SparseMethod::automatic, SparseMethod::ma48, SparseMethod::ma38}) {
    for (const auto& way : ways) {
      SparseOptions options;
      options.method = method;
      options.judge = way.judge;
      options.bound = way.bound;
      findings.begin(way.family, problem, MethodName(method));
      if (way.family != Family::kFrontTight) findings.allow_solutions(ratio_within(way.bound) / kLimit);
      FrontRun(problem, options, findings).run();
    }
  }
}

}  // namespace ratios
