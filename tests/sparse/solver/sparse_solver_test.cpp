// Solutions of SparseSolver: what is `Solved` meets the bound, on hard systems too; what misses it is
// repaired step by step, and each status and count says what happened.

#include <thread>

#include "tests/sparse/solver/solving.h"

namespace solver_tests {
namespace {

using reference::Rank;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();

double largest_difference(const Vector& one, const Vector& other) {
  double most = 0;
  for (std::size_t i = 0; i < one.size(); ++i) most = std::max(most, std::fabs(one[i] - other[i]));
  return most;
}

double largest(const Vector& x) { return largest_difference(x, Vector(x.size())); }

TEST(SparseSolver, SolvedMeansWithinTheBound) {
  constexpr int kRounds = 20;
  int regular = 0, regular_solved = 0;
  for (int round = 0; round < kRounds; ++round) {
    for (const reference::HardKind& kind : reference::kHardKinds) {
      Random random(static_cast<unsigned>(round));
      const reference::HardMatrix matrix = kind.make(random);
      const bool transposed = round % 3 == 0;
      const Coordinates& a = matrix.a;
      const Coordinates system = transposed ? reference::transpose(a) : a;
      const Vector b = reference::hard_right_hand_side(system, random).b;
      for (const SparseMethod method : kMethods) {
        SCOPED_TRACE(testing::Message() << kind.name << ", round " << round << ", " << MethodName(method));
        Solver solver(a, by(method));
        if (!matrix.earlier_values.empty()) solver.Factorise(matrix.earlier_values.data());
        SparseStatus status = matrix.earlier_values.empty() ? solver.Factorise(a.values.data())
                                                            : solver.Refactorise(a.values.data());
        Vector x(b.size());
        if (status == SparseStatus::Factorised)
          status = transposed ? solver.SolveTransposed(b.data(), x.data()) : solver.Solve(b.data(), x.data());
        regular += matrix.rank == Rank::kRegular;
        if (status == SparseStatus::Solved) {
          const double error = reference::componentwise_error(system, x.data(), b.data());
          EXPECT_LE(error, solver.Options().bound);
          EXPECT_LE(error, 1.01 * solver.Report().backward_error + 100 * reference::kEpsilon);
          regular_solved += matrix.rank == Rank::kRegular;
        } else {
          EXPECT_TRUE(status == SparseStatus::Singular || status == SparseStatus::Inexact)
              << StatusText(status);
        }
      }
    }
  }
  EXPECT_EQ(regular_solved, regular);
  EXPECT_GT(regular, 8 * kRounds * 3);
}

TEST(SparseSolver, AgreesWithADenseSolutionAndBoundsItsError) {
  Random random(14);
  for (int round = 0; round < 60; ++round) {
    SCOPED_TRACE(round);
    const Coordinates a = reference::random_square(reference::number(random, 1, 30), 3, random);
    const Vector solution = reference::random_vector(a.n, random);
    const bool transposed = round % 2 != 0;
    const Vector b = reference::product(transposed ? reference::transpose(a) : a, solution);
    Vector expected;
    reference::dense_solve(reference::dense(transposed ? reference::transpose(a) : a), b, expected);
    Solver solver(a, by(kMethods[round % 3]));
    ASSERT_EQ(solver.Factorise(a.values.data()), SparseStatus::Factorised);
    const Vector x = expect_solved(solver, a, b, transposed);
    double bound = -1;
    ASSERT_EQ(solver.ForwardErrorBound(b.data(), x.data(), transposed, &bound), SparseStatus::Factorised);
    EXPECT_LE(largest_difference(x, solution), 3 * bound * largest(x));
    EXPECT_LE(largest_difference(x, expected), 1e-9 * largest(x));
    EXPECT_LT(bound, 1e-6);
    Vector wrong = x;
    wrong[0] += 0.01 * largest(x);
    solver.ForwardErrorBound(b.data(), wrong.data(), transposed, &bound);
    EXPECT_GE(3 * bound, 0.009);
  }
}

TEST(SparseSolver, SolvesManyRightHandSidesAsOneByOneAndWithEitherIndexBase) {
  Random random(15);
  constexpr int kCount = 5;
  const Coordinates a = reference::random_square(20, 3, random);
  std::vector<int> rows = a.rows, columns = a.columns;
  for (std::size_t k = 0; k < rows.size(); ++k) --rows[k], --columns[k];
  SparseSolver from_zero(a.n, a.entries(), rows.data(), columns.data(), 0);
  Solver from_one(a);
  from_zero.Factorise(a.values.data());
  from_one.Factorise(a.values.data());
  const Vector b = reference::random_vector(a.n * kCount, random);
  Vector together(b.size()), in_place = b;
  EXPECT_EQ(from_zero.Solve(b.data(), together.data(), kCount), SparseStatus::Solved);
  EXPECT_EQ(from_one.Solve(in_place.data(), in_place.data(), kCount), SparseStatus::Solved);
  EXPECT_EQ(in_place, together);
  const double worst = from_one.Report().backward_error;
  double most = 0;
  for (int k = 0; k < kCount; ++k) {
    Vector x(b.begin() + k * a.n, b.begin() + (k + 1) * a.n);
    x = expect_solved(from_one, a, x);
    EXPECT_TRUE(std::equal(x.begin(), x.end(), together.begin() + k * a.n));
    most = std::max(most, from_one.Report().backward_error);
  }
  EXPECT_EQ(worst, most);
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
  EXPECT_EQ(solver.Solve(nullptr, x), SparseStatus::BadInput);
  EXPECT_EQ(solver.Solve(x, nullptr), SparseStatus::BadInput);
  EXPECT_EQ(solver.Solve(x, x, 0), SparseStatus::BadInput);
  EXPECT_EQ(solver.ForwardErrorBound(x, x, false, nullptr), SparseStatus::BadInput);
  EXPECT_EQ(solver.Diagnose(nullptr), SparseStatus::BadInput);
  EXPECT_EQ(solver.Blocks(nullptr), SparseStatus::BadInput);
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
    EXPECT_EQ(y[0], 2);
    EXPECT_EQ(y[1], 2);
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
  Coordinates a{41, 41, {}, {}, {}};
  for (int i = 1; i <= a.n; ++i) {
    a.add(i, i, diagonal);
    if (i < a.n) a.add(i, i + 1, 1), a.add(i + 1, i, 1 + 0.1 * (i % 7));
  }
  for (int i = 1; i < a.n; i += 2) a.add(i, i, 1e-3 * diagonal * i);
  a.add(a.n, a.n, 1);
  return a;
}

/// A matrix whose pivots have become tiny.
struct Drift {
  Coordinates before = tridiagonal(20), after;
  Vector b;
  explicit Drift(double diagonal) : after(tridiagonal(diagonal)), b(41) {
    for (std::size_t i = 0; i < b.size(); ++i) b[i] = 1 + 0.1 * static_cast<double>(i % 5);
  }
};

TEST(SparseSolver, ChoosesNewPivotsWhereOldOnesFail) {
  const Drift drift(1e-9);
  Vector x(drift.b.size());
  for (const SparseMethod method : kMethods) {
    SCOPED_TRACE(MethodName(method));
    SparseOptions options = by(method);
    options.repair = options.corrections = 0;
    Solver left_alone(drift.before, options);
    left_alone.Factorise(drift.before.values.data());
    ASSERT_EQ(left_alone.Refactorise(drift.after.values.data()), SparseStatus::Factorised);
    EXPECT_EQ(left_alone.Solve(drift.b.data(), x.data()), SparseStatus::Inexact);
    EXPECT_GT(left_alone.Report().backward_error, options.bound);
    EXPECT_EQ(left_alone.Report().new_pivots, 0);
    options.repair = 1;
    Solver repaired(drift.before, options);
    repaired.Factorise(drift.before.values.data());
    repaired.Refactorise(drift.after.values.data());
    expect_solved(repaired, drift.after, drift.b);
    expect_solved(repaired, drift.after, drift.b);
    const SparseReport& report = repaired.Report();
    EXPECT_EQ(report.new_pivots, 1);
    EXPECT_EQ(report.factorisations, 2);
    EXPECT_EQ(report.refactorisations, 1);
    EXPECT_EQ(report.raised_thresholds + report.changed_methods, 0);
    EXPECT_GE(report.condition, 1) << "new pivots were not tested";
  }
}

TEST(SparseSolver, RefinesBeforeItRepairs) {
  const Drift drift(1e-5);
  Solver solver(drift.before);
  solver.Factorise(drift.before.values.data());
  solver.Refactorise(drift.after.values.data());
  expect_solved(solver, drift.after, drift.b);
  const SparseReport& report = solver.Report();
  EXPECT_GT(report.first_backward_error, solver.Options().bound);
  EXPECT_GE(report.corrections, 1);
  EXPECT_EQ(report.factorisations, 1);
}

TEST(SparseSolver, RaisesALowThresholdWhereElementsGrow) {
  Coordinates a{40, 40, {}, {}, {}};  // every pivot on the diagonal is cheap, and far too small
  for (int i = 1; i <= a.n; ++i) {
    a.add(i, i, 1e-9);
    if (i < a.n) a.add(i, i + 1, 1), a.add(i + 1, i, 1 + 0.1 * i);
  }
  const Vector b(static_cast<std::size_t>(a.n), 1.0);
  Vector x(b.size());
  for (const SparseMethod method : {SparseMethod::ma48, SparseMethod::ma38}) {
    SCOPED_TRACE(MethodName(method));
    SparseOptions options = by(method);
    options.threshold = 1e-12;
    options.corrections = options.repair = 0;
    options.diagonal = 1;
    Solver left_alone(a, options);
    left_alone.Factorise(a.values.data());
    EXPECT_EQ(left_alone.Solve(b.data(), x.data()), SparseStatus::Inexact);
    EXPECT_EQ(left_alone.Report().threshold, 1e-12);
    options.repair = 1;
    Solver repaired(a, options);
    repaired.Factorise(a.values.data());
    expect_solved(repaired, a, b);
    EXPECT_EQ(repaired.Report().raised_thresholds, 1);
    EXPECT_EQ(repaired.Report().threshold, 1);
    EXPECT_EQ(repaired.Report().method, method);
    EXPECT_EQ(repaired.Report().changed_methods, 0);
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
    SparseOptions options = by(method);
    options.bound = 1e-16;  // out of reach
    options.corrections = 0;
    options.repair = 1;
    Solver alone(a, options);
    Vector x(b.size());
    alone.Factorise(a.values.data());
    ASSERT_EQ(alone.Solve(b.data(), x.data()), SparseStatus::Inexact);
    EXPECT_EQ(alone.Report().changed_methods, 0);
    options.repair = 2;
    Solver solver(a, options);
    solver.Factorise(a.values.data());
    ASSERT_EQ(solver.Solve(b.data(), x.data()), SparseStatus::Inexact);
    const SparseReport report = solver.Report();
    EXPECT_EQ(report.changed_methods, 1);
    EXPECT_LE(report.backward_error, alone.Report().backward_error);
    EXPECT_NEAR(reference::componentwise_error(a, x.data(), b.data()), report.backward_error,
                0.5 * report.backward_error);
    ++(report.method == method ? kept_first : kept_other);
    EXPECT_EQ(report.threshold, 1) << "the threshold of factors that were given up";
    ASSERT_EQ(solver.Solve(b.data(), x.data()), SparseStatus::Inexact);  // nothing is left to try
    EXPECT_EQ(solver.Report().factorisations, report.factorisations);
  }
  EXPECT_GT(kept_first, 0);
  EXPECT_GT(kept_other, 0);
}

TEST(SparseSolver, RefactorisesWithoutMoreWorkThanNeeded) {
  Random random(19);
  const Coordinates a = reference::random_square(15, 3, random);
  for (const SparseMethod method : kMethods) {
    SCOPED_TRACE(MethodName(method));
    Solver solver(a, by(method));
    EXPECT_EQ(solver.Refactorise(a.values.data()), SparseStatus::Factorised);  // chooses pivots
    EXPECT_EQ(solver.Report().factorisations, 1);
    Coordinates other = a;
    for (double& value : other.values) value *= 1 + 0.01 * reference::uniform(random);
    EXPECT_EQ(solver.Refactorise(other.values.data()), SparseStatus::Factorised);
    expect_solved(solver, other, Vector(static_cast<std::size_t>(a.n)));  // zeros prove nothing
    expect_solved(solver, other, reference::random_vector(a.n, random));
    EXPECT_EQ(solver.Report().factorisations, 1);
    EXPECT_EQ(solver.Report().refactorisations, 1);
    EXPECT_EQ(solver.Report().condition, 0);
  }
}

TEST(SparseSolver, ChoosesNewScalesWhereOldOnesLoseDigits) {
  Random random(20);
  for (const double to : {-15.0, -6.0, 0.0}) {
    const Coordinates plain = reference::random_square(10, 3, random);
    Coordinates before = plain, after = plain;
    before.values = reference::kinds::shifted(plain.values, 300);
    for (std::size_t k = 0; k < plain.values.size(); ++k)
      after.values[k] *= std::pow(10.0, plain.rows[k] % 2 ? 300 : to);
    for (const SparseMethod method : kMethods) {
      SCOPED_TRACE(testing::Message() << MethodName(method) << ", " << to);
      Solver solver(before, by(method));
      solver.Factorise(before.values.data());
      ASSERT_EQ(solver.Refactorise(after.values.data()), SparseStatus::Factorised);
      EXPECT_EQ(solver.Report().factorisations, 2);
      expect_solved(solver, after, reference::product(after, reference::random_vector(after.n, random)));
    }
  }
}

TEST(SparseSolver, JudgesWhatUnderflowLeavesOfASolution) {
  const Coordinates a{1, 1, {1}, {1}, {3e10}};
  const double b = 1e-308;
  double x = 0;
  Solver solver(a);
  solver.Factorise(a.values.data());
  EXPECT_EQ(solver.Solve(&b, &x),
            SparseStatus::Inexact);  // x has few digits below the smallest normal number
  const double error = reference::componentwise_error(a, &x, &b);
  EXPECT_NEAR(solver.Report().backward_error, error, error / 10);
}

TEST(SparseSolver, TwoThreadsGiveTheBitsOfOne) {
  Random random(21);
  const Coordinates matrices[] = {reference::flowsheet_matrix(60, 6, random),
                                  reference::column_matrix(60, 5, random)};
  const auto work = [&](const Coordinates& a, Vector& results) {
    for (const SparseMethod method : kMethods) {
      Solver solver(a, by(method));
      for (int round = 0; round < 10; ++round) {
        Vector x(static_cast<std::size_t>(a.n), 1.0);
        round % 2 ? solver.Refactorise(a.values.data()) : solver.Factorise(a.values.data());
        solver.Solve(x.data(), x.data());
        x.push_back(solver.Report().backward_error);
        x.push_back(solver.Report().condition);
        results.insert(results.end(), x.begin(), x.end());
      }
    }
  };
  Vector alone[2], together[2];
  for (int k = 0; k < 2; ++k) work(matrices[k], alone[k]);
  std::thread other([&] { work(matrices[1], together[1]); });
  work(matrices[0], together[0]);
  other.join();
  for (int k = 0; k < 2; ++k) EXPECT_EQ(together[k], alone[k]);
}

TEST(SparseSolver, EstimatesTheConditionPlainAndEquilibrated) {
  Random random(22);
  for (int round = 0; round < 30; ++round) {
    SCOPED_TRACE(round);
    const Coordinates a = reference::random_square(reference::number(random, 1, 25), 3, random);
    const Coordinates scaled = reference::badly_scaled(a, 24, random);
    const double truth = reference::dense_condition(reference::dense(a));
    double raw = 0, equilibrated = 0, raw_scaled = 0, equilibrated_scaled = 0;
    Solver solver(a), badly(scaled);
    EXPECT_EQ(solver.ConditionEstimate(&raw, &equilibrated), SparseStatus::NotFactorised);
    EXPECT_TRUE(std::isnan(raw));
    solver.Factorise(a.values.data());
    badly.Factorise(scaled.values.data());
    ASSERT_EQ(solver.ConditionEstimate(&raw, &equilibrated), SparseStatus::Factorised);
    ASSERT_EQ(badly.ConditionEstimate(&raw_scaled, nullptr), SparseStatus::Factorised);
    badly.ConditionEstimate(nullptr, &equilibrated_scaled);
    EXPECT_LE(raw, 1.0001 * truth);
    EXPECT_GE(raw, truth / 5);
    EXPECT_GE(solver.Report().condition, equilibrated / 100);
    EXPECT_LE(solver.Report().condition, 1e6 * equilibrated);  // its scaling is a quick one
    const double truth_scaled = reference::dense_condition(reference::dense(scaled));
    EXPECT_LE(raw_scaled, 1.0001 * truth_scaled);
    EXPECT_GE(raw_scaled, truth_scaled / 5);
    EXPECT_LE(equilibrated_scaled, 1000 * equilibrated);
  }
}

}  // namespace
}  // namespace solver_tests
