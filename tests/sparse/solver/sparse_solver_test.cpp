// Solutions of SparseSolver: what is `Solved` meets the bound, on hard systems too; what misses it is
// repaired step by step, and each status and count says what happened.

#include <thread>

#include "tests/sparse/solver/solving.h"

namespace solver_tests {
namespace {

using corvidnum::SparseDiagnosis;
using reference::HardMatrix;
using reference::HardRightHandSide;
using reference::Rank;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double kForwardSlack =
    3;  // the bound rests on an estimate that may be too low by about this factor

double largest(const Vector& x) {
  double most = 0;
  for (const double element : x) most = std::max(most, std::fabs(element));
  return most;
}

/// The largest error of an element relative to the largest element.
double relative_error(const Vector& x, const Vector& solution) {
  Vector difference = x;
  for (std::size_t i = 0; i < x.size(); ++i) difference[i] -= solution[i];
  return largest(difference) == 0 ? 0 : largest(difference) / largest(x);
}

/// Solves some right-hand sides of a hard system at once, then each alone, and judges what came out.
class HardSystem {
 public:
  int regular = 0, confessed = 0, repaired = 0;  // of all systems examined

  void examine(const HardMatrix& matrix, SparseMethod method, bool transposed, Random& random) {
    const Coordinates &a = matrix.a, system = transposed ? reference::transpose(a) : a;
    std::vector<HardRightHandSide> right;
    Vector b;
    for (int k = 0; k < kCount; ++k) {
      right.push_back(reference::hard_right_hand_side(system, random));
      b.insert(b.end(), right[k].b.begin(), right[k].b.end());
    }
    Solver solver(a, by(method), reference::number(random, 0, 1));
    SparseStatus status = SparseStatus::NotFactorised;
    if (!matrix.earlier_values.empty()) status = solver.Factorise(matrix.earlier_values.data());
    status = status == SparseStatus::Factorised ? solver.Refactorise(a.values.data())
                                                : solver.Factorise(a.values.data());
    Vector x = b;
    if (status == SparseStatus::Factorised) status = solver.solve(transposed, x.data(), x.data(), kCount);
    if (matrix.rank == Rank::kRegular) {
      ++regular;
      EXPECT_EQ(status, SparseStatus::Solved) << StatusText(status);
    }
    if (status == SparseStatus::Singular) {
      double condition = 0;
      EXPECT_EQ(solver.Solve(x.data(), x.data()), SparseStatus::Singular);
      EXPECT_EQ(solver.ConditionEstimate(&condition, nullptr), SparseStatus::Singular);
      EXPECT_EQ(condition, kInfinity);
      return;
    }
    EXPECT_TRUE(status == SparseStatus::Solved || status == SparseStatus::Inexact) << StatusText(status);
    const SparseReport report = solver.Report();
    repaired += report.new_pivots + report.raised_thresholds + report.changed_methods;
    Vector alone(a.n);
    double worst = 0, worst_alone = 0;
    for (int k = 0; k < kCount; ++k) {
      const Vector one(x.begin() + k * a.n, x.begin() + (k + 1) * a.n);
      worst = std::max(worst, reference::componentwise_error(system, one.data(), right[k].b.data()));
      if (status != SparseStatus::Solved) continue;
      EXPECT_EQ(solver.solve(transposed, right[k].b.data(), alone.data()), SparseStatus::Solved);
      worst_alone = std::max(worst_alone, solver.Report().backward_error);
      if (report.factorisations == 1) {
        EXPECT_EQ(alone, one) << "right-hand side " << k;
      }
      expect_error_told(solver, matrix, transposed, right[k], one, report);
    }
    EXPECT_LE(worst, 1.01 * report.backward_error + 100 * reference::kEpsilon);
    if (status != SparseStatus::Solved) return;
    EXPECT_LE(worst, solver.Options().bound);
    if (report.factorisations == 1) {
      EXPECT_EQ(worst_alone, report.backward_error);
    }
    if (matrix.rank == Rank::kDeficient && !matrix.earlier_values.empty()) {
      ++confessed;
      SparseDiagnosis diagnosis;  // tests what was not tested
      EXPECT_EQ(solver.Diagnose(&diagnosis), SparseStatus::Singular);
      EXPECT_EQ(solver.State(), SparseStatus::Singular);
    }
  }

 private:
  static constexpr int kCount = 3;

  /// Expects the forward error within its bound, or a condition that confesses a deficient matrix. With a
  /// random right-hand side, rounding has made the deficient system one with a solution that nobody meant;
  /// then hardly a digit may be said to be sure.
  static void expect_error_told(Solver& solver, const HardMatrix& matrix, bool transposed,
                                const HardRightHandSide& right, const Vector& x, const SparseReport& report) {
    constexpr double kHardlyADigit = 0.1;
    const bool deficient = matrix.rank == Rank::kDeficient;
    if (largest(right.b) == 0 || (right.solution.empty() && !deficient)) return;
    const double error = right.solution.empty() ? kHardlyADigit : relative_error(x, right.solution);
    if (deficient && report.condition * std::max(report.backward_error, reference::kEpsilon) >= error) return;
    double bound = 0;
    solver.ForwardErrorBound(right.b.data(), x.data(), transposed, &bound);
    EXPECT_LE(error, kForwardSlack * bound);
  }
};

TEST(SparseSolver, SolvedMeansWithinTheBoundOnHardSystems) {
  constexpr int kRounds = 30;
  HardSystem systems;
  for (int round = 0; round < kRounds; ++round) {
    for (const reference::HardKind& kind : reference::kHardKinds) {
      Random random(round);
      const HardMatrix matrix = kind.make(random);
      for (const SparseMethod method : kMethods) {
        SCOPED_TRACE(testing::Message() << kind.name << ", round " << round << ", " << MethodName(method));
        systems.examine(matrix, method, round % 3 == 0, random);
      }
    }
  }
  EXPECT_GT(systems.regular, 8 * kRounds * 3);
  EXPECT_GT(systems.confessed, 0);
  EXPECT_GT(systems.repaired, 0);
}

TEST(SparseSolver, BoundsErrorsAndEstimatesConditions) {
  Random random(14);
  for (int round = 0; round < 40; ++round) {
    SCOPED_TRACE(round);
    const Coordinates a = reference::random_square(reference::number(random, 1, 25), 3, random);
    const Coordinates scaled = reference::badly_scaled(a, 24, random);
    const Vector b = reference::random_vector(a.n, random);
    const bool transposed = round % 2 != 0;
    Solver solver(a, by(kMethods[round % 3])), badly(scaled);
    double bound = -1, raw = 0, equilibrated = 0, raw_scaled = 0, equilibrated_scaled = 0;
    EXPECT_EQ(solver.ConditionEstimate(&raw, &equilibrated), SparseStatus::NotFactorised);
    EXPECT_TRUE(std::isnan(raw));
    solver.Factorise(a.values.data());
    badly.Factorise(scaled.values.data());
    Vector x = expect_solved(solver, a, b, transposed);
    ASSERT_EQ(solver.ForwardErrorBound(b.data(), x.data(), transposed, &bound), SparseStatus::Factorised);
    EXPECT_LT(bound, 1e-6);
    x[0] += 0.01 * largest(x);
    solver.ForwardErrorBound(b.data(), x.data(), transposed, &bound);
    EXPECT_GE(kForwardSlack * bound, 0.009);
    ASSERT_EQ(solver.ConditionEstimate(&raw, &equilibrated), SparseStatus::Factorised);
    ASSERT_EQ(badly.ConditionEstimate(&raw_scaled, nullptr), SparseStatus::Factorised);
    badly.ConditionEstimate(nullptr, &equilibrated_scaled);
    for (const auto& [estimate, matrix] : {std::pair(raw, a), std::pair(raw_scaled, scaled)}) {
      const double truth = reference::dense_condition(reference::dense(matrix));
      EXPECT_LE(estimate, 1.0001 * truth);
      EXPECT_GE(estimate, truth / 5);
    }
    EXPECT_GE(solver.Report().condition, equilibrated / 100);
    EXPECT_LE(solver.Report().condition, 1e6 * equilibrated);  // its scaling is a quick one
    EXPECT_LE(equilibrated_scaled, 1000 * equilibrated);
  }
}

TEST(SparseSolver, TellsTheFirstFault) {
  const int rows[] = {1, 2, 3, 1}, columns[] = {1, 2, 2, 4}, good[] = {1, 2, 1, 2};
  const struct {
    const char* what;
    int order, entries;
    const int *rows, *columns;
    int base;
    std::int64_t fault;
  } kBad[] = {{"row above", 2, 3, rows, columns, 1, 2}, {"column above", 3, 4, rows, columns, 1, 3},
              {"row below", 3, 4, good, good, 2, -1},   {"column 4 of 2", 2, 1, rows, columns + 3, 1, 0},
              {"order 0", 0, 0, good, good, 1, -1},     {"entries negative", 2, -1, good, good, 1, -1},
              {"no rows", 2, 2, nullptr, good, 1, -1},  {"no columns", 2, 2, good, nullptr, 1, -1},
              {"past the end", 2, 2, good, good, 0, 1}};
  double x[2] = {1, 1};
  for (const auto& bad : kBad) {
    SCOPED_TRACE(bad.what);
    SparseSolver solver(bad.order, bad.entries, bad.rows, bad.columns, bad.base);
    EXPECT_EQ(solver.State(), SparseStatus::BadInput);
    EXPECT_EQ(solver.Report().first_fault, bad.fault);
    EXPECT_EQ(solver.Factorise(x), SparseStatus::BadInput);
    EXPECT_EQ(solver.Solve(x, x), SparseStatus::BadInput);
  }
  SparseSolver solver(2, 4, good, good, 1);
  double values[] = {1, 2, 1, 2};
  EXPECT_EQ(solver.Solve(x, x), SparseStatus::NotFactorised);
  EXPECT_EQ(solver.Factorise(nullptr), SparseStatus::BadInput);
  EXPECT_EQ(solver.Factorise(values), SparseStatus::Factorised);
  for (const SparseStatus status :
       {solver.Solve(nullptr, x), solver.Solve(x, nullptr), solver.Solve(x, x, 0),
        solver.ForwardErrorBound(x, x, false, nullptr), solver.Diagnose(nullptr), solver.Blocks(nullptr)})
    EXPECT_EQ(status, SparseStatus::BadInput);
  for (const double wrong : {kInfinity, kNotANumber}) {
    values[2] = wrong;
    for (const bool again : {false, true}) {
      EXPECT_EQ(again ? solver.Refactorise(values) : solver.Factorise(values), SparseStatus::NotFinite);
      EXPECT_EQ(solver.Report().first_fault, 2);
    }
    double b[] = {4, 8, 1, wrong}, y[] = {7, 7, 7, 7};
    EXPECT_EQ(solver.Solve(b, y, 2), SparseStatus::NotFinite);
    EXPECT_EQ(solver.Report().first_fault, 3);
    EXPECT_EQ(y[0], 7);
    EXPECT_EQ(solver.Solve(b, y), SparseStatus::Solved);  // the earlier factors stand
    EXPECT_TRUE(y[0] == 2 && y[1] == 2);
  }
  const double overflowing[] = {1e308, 1, 1e308, 1};  // finite, but not their sums
  EXPECT_EQ(solver.Factorise(overflowing), SparseStatus::NotFinite);
  EXPECT_EQ(solver.Report().first_fault, 0);
}

TEST(SparseSolver, WithoutJudgingNothingIsSolved) {
  Random random(16);
  const Coordinates a = reference::random_square(12, 3, random);
  const Vector b = reference::random_vector(a.n, random);
  SparseOptions options;
  options.judge = 0;
  Solver solver(a, options);
  EXPECT_EQ(solver.Factorise(a.values.data()), SparseStatus::Factorised);
  EXPECT_EQ(solver.Report().condition, 0);
  Vector x(b.size());
  EXPECT_EQ(solver.Solve(b.data(), x.data()), SparseStatus::Unjudged);
  EXPECT_EQ(solver.Report().backward_error, -1);
  EXPECT_LE(reference::componentwise_error(a, x.data(), b.data()), 1e-10);
  options.judge = 1;  // now the factors are tested
  solver.SetOptions(options);
  expect_solved(solver, a, b);
  EXPECT_GE(solver.Report().condition, 1);
  EXPECT_EQ(solver.Report().factorisations, 1);
}

// ---- The repairs

/// A tridiagonal matrix.
/// @param diagonal 20: pivots are chosen on the diagonal; tiny: there they let elements grow
Coordinates tridiagonal(double diagonal) {
  Coordinates a{40, 40, {}, {}, {}};
  for (int i = 1; i <= a.n; ++i) {
    a.add(i, i, diagonal);
    if (i < a.n) a.add(i, i + 1, 1), a.add(i + 1, i, 1 + 0.1 * i);
  }
  return a;
}

TEST(SparseSolver, RepairsStepByStep) {
  const Coordinates before = tridiagonal(20);
  const struct {
    const char* what;
    bool drifted;                // the pivots come from the values before
    double diagonal, threshold;  // of the matrix to solve
    int corrections, repair;
    SparseStatus status;
    int new_pivots, raised_thresholds;
  } rows[] = {
      {"old pivots, left alone", true, 1e-9, 0, 0, 0, SparseStatus::Inexact, 0, 0},
      {"old pivots", true, 1e-9, 0, 0, 1, SparseStatus::Solved, 1, 0},
      {"refined, not repaired", true, 1e-5, 0, 10, 2, SparseStatus::Solved, 0, 0},
      {"low threshold, left alone", false, 1e-9, 1e-12, 0, 0, SparseStatus::Inexact, 0, 0},
      {"low threshold", false, 1e-9, 1e-12, 0, 1, SparseStatus::Solved, 0, 1},
  };
  for (const auto& row : rows) {
    const Coordinates after = tridiagonal(row.diagonal);
    Vector b(after.n), x(after.n);
    for (int i = 0; i < after.n; ++i) b[i] = 1 + 0.1 * (i % 5);
    for (const SparseMethod method : {SparseMethod::ma48, SparseMethod::ma38}) {
      SCOPED_TRACE(testing::Message() << row.what << ", " << MethodName(method));
      SparseOptions options = by(method);
      options.threshold = row.threshold;
      options.corrections = row.corrections;
      options.repair = row.repair;
      options.diagonal = 1;
      Solver solver(after, options);
      solver.Factorise((row.drifted ? before : after).values.data());
      if (row.drifted) solver.Refactorise(after.values.data());
      for (int again = 0; again < 2; ++again) {  // a repair lasts
        EXPECT_EQ(solver.Solve(b.data(), x.data()), row.status);
        const SparseReport& report = solver.Report();
        const double error = reference::componentwise_error(after, x.data(), b.data());
        EXPECT_EQ(error <= options.bound, row.status == SparseStatus::Solved);
        EXPECT_EQ(report.backward_error <= options.bound, row.status == SparseStatus::Solved);
        EXPECT_EQ(report.corrections > 0, row.corrections > 0);
        EXPECT_EQ(report.first_backward_error > options.bound,
                  row.corrections > 0 || row.status == SparseStatus::Inexact || (row.repair && !again));
        EXPECT_EQ(report.new_pivots, row.new_pivots);
        EXPECT_EQ(report.raised_thresholds, row.raised_thresholds);
        EXPECT_EQ(report.changed_methods, 0);
        EXPECT_EQ(report.method, method);
        EXPECT_EQ(report.factorisations, 1 + row.new_pivots + row.raised_thresholds);
        EXPECT_EQ(report.refactorisations, row.drifted);
        EXPECT_EQ(report.condition >= 1, !row.drifted || row.new_pivots) << "new pivots are tested";
        if (row.threshold > 0) {
          EXPECT_EQ(report.threshold, row.raised_thresholds ? 1 : row.threshold);
        }
      }
    }
  }
}

TEST(SparseSolver, TriesTheOtherMethodLastAndKeepsTheBetterOne) {
  Random random(18);
  int kept_first = 0, kept_other = 0;
  for (int round = 0; round < 20; ++round) {
    SCOPED_TRACE(round);
    const Coordinates a = reference::random_square(40, 4, random);
    const Vector b = reference::random_vector(a.n, random);
    const SparseMethod method = kMethods[1 + round % 2];
    SparseReport reports[3];
    for (const int repair : {1, 2}) {
      SparseOptions options = by(method);
      options.bound = 1e-16;  // out of reach
      options.corrections = 0;
      options.repair = repair;
      Solver solver(a, options);
      Vector x(b.size());
      solver.Factorise(a.values.data());
      ASSERT_EQ(solver.Solve(b.data(), x.data()), SparseStatus::Inexact);
      const SparseReport report = reports[repair] = solver.Report();
      EXPECT_EQ(report.changed_methods, repair - 1);
      EXPECT_EQ(report.threshold, 1) << "the threshold of factors that were given up";
      const double error = reference::componentwise_error(a, x.data(), b.data());
      EXPECT_NEAR(error, report.backward_error, 0.5 * report.backward_error);
      ASSERT_EQ(solver.Solve(b.data(), x.data()), SparseStatus::Inexact);  // nothing is left to try
      EXPECT_EQ(solver.Report().factorisations, report.factorisations);
    }
    EXPECT_LE(reports[2].backward_error, reports[1].backward_error);
    ++(reports[2].method == method ? kept_first : kept_other);
  }
  EXPECT_GT(kept_first, 0);
  EXPECT_GT(kept_other, 0);
}

TEST(SparseSolver, RefactorisesWithoutMoreWorkThanNeeded) {
  Random random(19);
  const Coordinates plain = reference::random_square(15, 3, random);
  // Powers of ten that multiply all rows before, and the even ones behind; the odd ones keep the former.
  for (const double to : {300.0, 0.0, -6.0, -15.0}) {
    Coordinates before = plain, after = plain;
    for (std::size_t k = 0; k < plain.values.size(); ++k) {
      before.values[k] *= 1e300;
      after.values[k] *=
          (1 + 0.01 * reference::uniform(random)) * std::pow(10.0, plain.rows[k] % 2 ? 300 : to);
    }
    for (const SparseMethod method : kMethods) {
      SCOPED_TRACE(testing::Message() << MethodName(method) << ", " << to);
      Solver solver(before, by(method));
      const SparseReport& report = solver.Report();
      EXPECT_EQ(solver.Refactorise(before.values.data()), SparseStatus::Factorised);  // chooses pivots
      EXPECT_EQ(report.factorisations, 1);
      EXPECT_EQ(solver.Refactorise(after.values.data()), SparseStatus::Factorised);
      const bool new_scales = to < 300;               // the old ones would lose digits
      expect_solved(solver, after, Vector(plain.n));  // zeros prove nothing
      expect_solved(solver, after, reference::product(after, reference::random_vector(after.n, random)));
      EXPECT_EQ(report.factorisations, new_scales ? 2 : 1);
      EXPECT_EQ(report.refactorisations, new_scales ? 0 : 1);
      EXPECT_EQ(report.condition > 0, new_scales);
    }
  }
}

// The error of the second equation, whose terms are far below the first unknown, is judged beside the sum of
// its row (column).
TEST(SparseSolver, JudgesNewValuesByTheirOwnSums) {
  const Coordinates a{2, 2, {1, 2}, {1, 2}, {1, 3}};
  const Vector values{1, 49}, b{1, 0x1p-66};
  for (const bool transposed : {false, true}) {
    Solver solved_before(a), solver(a);
    Vector x(2);
    for (Solver* one : {&solved_before, &solver})
      EXPECT_EQ(one->Factorise(a.values.data()), SparseStatus::Factorised);
    EXPECT_EQ(solved_before.solve(transposed, b.data(), x.data()), SparseStatus::Solved);
    for (Solver* one : {&solved_before, &solver}) {
      EXPECT_EQ(one->Refactorise(values.data()), SparseStatus::Factorised);
      EXPECT_EQ(one->solve(transposed, b.data(), x.data()), SparseStatus::Solved);
    }
    EXPECT_GT(solver.Report().backward_error, 0);
    EXPECT_EQ(solver.Report().backward_error, solved_before.Report().backward_error);
  }
}

TEST(SparseSolver, JudgesWhatUnderflowLeavesOfASolution) {
  const Coordinates a{1, 1, {1}, {1}, {3e10}};
  const double b = 1e-308;
  double x = 0;
  Solver solver(a);
  solver.Factorise(a.values.data());
  // x has few digits below the smallest normal number.
  EXPECT_EQ(solver.Solve(&b, &x), SparseStatus::Inexact);
  const double error = reference::componentwise_error(a, &x, &b);
  EXPECT_NEAR(solver.Report().backward_error, error, error / 10);
}

TEST(SparseSolver, TwoThreadsGiveTheBitsOfOne) {
  Random random(21);
  const Coordinates matrices[] = {reference::flowsheet_matrix(60, 6, random),
                                  reference::column_matrix(60, 5, random)};
  const auto work = [&](const Coordinates& a, Vector& results) {
    for (int round = 0; round < 30; ++round) {
      Solver solver(a, by(kMethods[round % 3]));
      Vector x(a.n, 1.0);
      solver.Factorise(a.values.data());
      solver.Refactorise(a.values.data());
      solver.Solve(x.data(), x.data());
      x.push_back(solver.Report().backward_error);
      results.insert(results.end(), x.begin(), x.end());
    }
  };
  Vector alone[2], together[2];
  for (int k = 0; k < 2; ++k) work(matrices[k], alone[k]);
  std::thread other([&] { work(matrices[1], together[1]); });
  work(matrices[0], together[0]);
  other.join();
  for (int k = 0; k < 2; ++k) EXPECT_EQ(together[k], alone[k]);
}

}  // namespace
}  // namespace solver_tests
