// SparseSolver where the host refuses memory: a clear status, nothing lost, and the object is usable again.

#include <functional>

#include "host/corvid_host.h"
#include "tests/sparse/solver/solving.h"

namespace solver_tests {
namespace {

/// A solver and one operation of each kind, in order, on a regular matrix and its double.
class Course {
 public:
  static constexpr int kOperations = 9;

  Course(const Coordinates& a, const SparseOptions& options)
      : a_(a), other_(a), b_(reference::product(a, ones())) {
    for (double& value : other_.values) value *= 2;
    solver_ = new Solver(a, options);
  }
  ~Course() { delete solver_; }
  Course(const Course&) = delete;
  Course& operator=(const Course&) = delete;

  SparseSolver* solver() { return solver_; }

  SparseStatus run(int operation) {
    x_ = b_;
    double* x = x_.data();
    double number = 0;
    corvidnum::SparseDiagnosis diagnosis;
    corvidnum::SparseBlocks blocks;
    switch (operation) {
      case 0:
        return solver_->Diagnose(&diagnosis);
      case 1:
        return solver_->Blocks(&blocks);
      case 2:
        return solver_->Factorise(a_.values.data());
      case 3:
        return solver_->Solve(x, x);
      case 4:
        return solver_->Refactorise(other_.values.data());
      case 5:
        return solver_->SolveTransposed(x, x);
      case 6:
        return solver_->ConditionEstimate(&number, &number);
      case 7:
        return solver_->ForwardErrorBound(x, x, false, &number);
      default:
        return solver_->Diagnose(&diagnosis);
    }
  }

  void expect_usable() {
    EXPECT_EQ(run(2), SparseStatus::Factorised);
    expect_solved(*solver_, a_, b_);
  }

 private:
  Vector ones() const { return Vector(static_cast<std::size_t>(a_.n), 1.0); }

  const Coordinates& a_;
  Coordinates other_;
  const Vector b_;
  Vector x_;
  Solver* solver_ = nullptr;  // by the class's own operator new, which may refuse
};

/// Runs all operations with the n-th allocation refused. @return whether there was one so far on
bool survives(const Coordinates& a, const SparseOptions& options, std::int64_t n,
              const std::vector<SparseStatus>& expected) {
  const std::int64_t live = corvid_host::LiveBlocks(), refused = corvid_host::RefusedAllocations();
  bool ended = false;
  {
    corvid_host::FailAllocation(n);
    Course course(a, options);
    SparseStatus before = SparseStatus::NotFactorised;
    int without_memory = 0;
    for (int k = 0; course.solver() && k < Course::kOperations; ++k) {
      const SparseStatus status = course.run(k);
      const bool lost_factors = status == SparseStatus::NotFactorised && before == SparseStatus::NoMemory;
      if (status == SparseStatus::NoMemory)
        ++without_memory;
      else
        EXPECT_TRUE(status == expected[static_cast<std::size_t>(k)] || lost_factors)
            << "operation " << k << ": " << StatusText(status);
      if (!lost_factors) before = status;
    }
    corvid_host::StopFailing();
    ended = corvid_host::RefusedAllocations() == refused;
    if (course.solver() && course.solver()->State() != SparseStatus::NoMemory) {
      EXPECT_EQ(without_memory, ended ? 0 : 1);
      course.expect_usable();
    } else if (course.solver()) {  // it could not take the pattern
      EXPECT_EQ(without_memory, Course::kOperations);
    }
  }
  EXPECT_EQ(corvid_host::LiveBlocks(), live);
  return !ended;
}

TEST(SparseMemory, EachAllocationMayBeRefused) {
  Random random(41);
  // The second one fills in so much that arrays have to grow.
  const Coordinates matrices[] = {reference::random_square(12, 2, random),
                                  reference::random_square(250, 8, random)};
  for (const Coordinates& a : matrices) {
    for (const SparseMethod method : {SparseMethod::ma48, SparseMethod::ma38}) {
      std::vector<SparseStatus> expected;
      Course course(a, by(method));
      for (int k = 0; k < Course::kOperations; ++k) expected.push_back(course.run(k));
      EXPECT_EQ(expected[3], SparseStatus::Solved);
      if (a.n == 250) {
        EXPECT_GT(course.solver()->Report().array_growths, 0);
      }
      std::int64_t n = 1;
      for (;; ++n) {
        SCOPED_TRACE(testing::Message() << MethodName(method) << ", order " << a.n << ", allocation " << n);
        if (!survives(a, by(method), n, expected) || testing::Test::HasFailure()) break;
      }
      EXPECT_GT(n, 40);
    }
  }
}

TEST(SparseMemory, DiagnoseKnowsWhatWasNotFactorised) {
  Random random(42);
  Coordinates a = reference::random_square(10, 3, random);
  a = reference::badly_scaled(a, 6, random);
  Solver solver(a);
  corvid_host::FailAllocation(1);
  EXPECT_EQ(solver.Factorise(a.values.data()), SparseStatus::NoMemory);
  corvid_host::StopFailing();
  EXPECT_EQ(solver.State(), SparseStatus::NotFactorised);
  corvidnum::SparseDiagnosis diagnosis;
  EXPECT_EQ(solver.Diagnose(&diagnosis), SparseStatus::Factorised);
  EXPECT_EQ(diagnosis.dependent_equations.count, 0);
}

TEST(SparseMemory, ALateTestThatIsRefusedSaysSo) {
  Random random(43);
  const Coordinates a = reference::random_square(10, 3, random);
  SparseOptions options;
  options.judge = 0;
  Solver solver(a, options);
  solver.Factorise(a.values.data());
  options.judge = 1;
  solver.SetOptions(options);
  Vector x(static_cast<std::size_t>(a.n), 1.0);
  corvid_host::FailAllocation(1);
  EXPECT_EQ(solver.Solve(x.data(), x.data()), SparseStatus::NoMemory);
  corvid_host::StopFailing();
  EXPECT_EQ(x[0], 1.0);
  EXPECT_EQ(solver.Factorise(a.values.data()), SparseStatus::Factorised);
  EXPECT_EQ(solver.Solve(x.data(), x.data()), SparseStatus::Solved);
}

TEST(SparseMemory, ManyRefactorisationsNeedNoMore) {
  Random random(44);
  Coordinates a = reference::flowsheet_matrix(10, 5, random);
  for (const SparseMethod method : {SparseMethod::ma48, SparseMethod::ma38}) {
    SCOPED_TRACE(MethodName(method));
    Solver solver(a, by(method));
    solver.Factorise(a.values.data());
    Vector x(static_cast<std::size_t>(a.n));
    std::int64_t settled = 0, requests = 0;
    for (int round = 0; round < 2000; ++round) {
      for (double& value : a.values) value *= 1 + 1e-3 * reference::uniform(random);
      ASSERT_EQ(solver.Refactorise(a.values.data()), SparseStatus::Factorised);
      std::fill(x.begin(), x.end(), 1.0);
      ASSERT_EQ(solver.Solve(x.data(), x.data()), SparseStatus::Solved);
      if (round == 0) settled = corvid_host::LiveBytes(), requests = corvid_host::TotalAllocations();
    }
    EXPECT_EQ(corvid_host::LiveBytes(), settled);
    if (solver.Report().new_pivots == 0) {
      EXPECT_EQ(corvid_host::TotalAllocations(), requests);
    }
  }
}

}  // namespace
}  // namespace solver_tests
