// SparseSolver where the host refuses memory: a clear status, nothing lost, and the object is usable again.

#include <functional>
#include <memory>

#include "host/corvid_host.h"
#include "tests/sparse/solver/solving.h"

namespace solver_tests {
namespace {

constexpr int kFillsIn = 300;  // order from which a matrix of these tests outgrows the first arrays of ma48

/// Runs one operation of each kind, the n-th allocation of all refused.
/// @param expected the statuses with no refusal; empty: they are entered
/// @param made_up  raised by 1 if an allocation was refused and each operation succeeded all the same
/// @return whether there were n allocations
bool run(const Coordinates& a, const SparseOptions& options, std::int64_t n,
         std::vector<SparseStatus>& expected, int& made_up) {
  Coordinates other = a;
  for (double& value : other.values) value *= 2;
  const Vector b = reference::product(a, Vector(a.n, 1.0));
  Vector x = b;
  double number = 0;
  corvidnum::SparseDiagnosis diagnosis;
  corvidnum::SparseBlocks blocks;
  const std::int64_t refused = corvid_host::RefusedAllocations();
  if (n > 0) corvid_host::FailAllocation(n);
  const std::unique_ptr<Solver> solver(new Solver(a, options));  // by its own operator new, which may refuse
  if (!solver) return true;
  SparseOptions judging = options;
  judging.judge = 1;
  using Operation = std::function<SparseStatus()>;
  const Operation diagnose = [&] { return solver->Diagnose(&diagnosis); };
  const Operation operations[] = {
      diagnose,
      [&] { return solver->Blocks(&blocks); },
      [&] { return solver->Factorise(a.values.data()); },
      diagnose,  // makes up for refused factors
      [&] { return solver->SetOptions(judging); },
      [&] { return solver->Solve(b.data(), x.data()); },  // makes up for a test that was not asked for
      [&] { return solver->Refactorise(other.values.data()); },
      [&] { return solver->SolveTransposed(b.data(), x.data()); },
      [&] { return solver->ConditionEstimate(&number, &number); },
      [&] { return solver->ForwardErrorBound(b.data(), b.data(), false, &number); },
      diagnose,
  };
  int without_memory = 0;
  std::vector<SparseStatus> found;
  for (const Operation& operation : operations) {
    const Vector before = x;
    found.push_back(operation());
    const std::size_t k = found.size() - 1;
    if (found[k] == SparseStatus::NoMemory) {
      ++without_memory;
      EXPECT_EQ(x, before);
    } else if (!expected.empty() && found[k] != expected[k]) {
      EXPECT_EQ(found[k], SparseStatus::NotFactorised) << "operation " << k;
      EXPECT_GT(without_memory, 0) << "operation " << k;
      EXPECT_TRUE(k != 3 && k != 10) << "Diagnose did not factorise again";
    }
  }
  corvid_host::StopFailing();
  const bool ended = corvid_host::RefusedAllocations() == refused;
  if (solver->State() == SparseStatus::NoMemory) {  // it could not take the pattern
    EXPECT_EQ(without_memory, 11);
    return true;
  }
  const bool made_up_for = !ended && without_memory == 0;
  const bool grew = a.n < kFillsIn || solver->Report().array_growths > 0;
  if (made_up_for) {
    ++made_up;
    EXPECT_TRUE(grew) << "the length that was granted instead is enough";
  } else {
    EXPECT_EQ(without_memory, ended ? 0 : 1);
  }
  EXPECT_EQ(solver->Factorise(a.values.data()), SparseStatus::Factorised);
  expect_solved(*solver, a, b);
  if (expected.empty()) {
    expected = found;
    EXPECT_EQ(found[5], SparseStatus::Solved);
    EXPECT_TRUE(grew || options.method == SparseMethod::ma38) << "ma38 has ample room";
  }
  return !ended;
}

TEST(SparseMemory, EachAllocationMayBeRefused) {
  Random random(41);
  const std::int64_t live = corvid_host::LiveBlocks();
  // The second one fills in so much that arrays have to grow, in ma38 those that it gets where more is
  // refused.
  for (const Coordinates& a :
       {reference::random_square(12, 2, random), reference::random_square(kFillsIn, 8, random)}) {
    for (const SparseMethod method : {SparseMethod::ma48, SparseMethod::ma38}) {
      SparseOptions options = by(method);
      options.judge = 0;
      std::vector<SparseStatus> expected;
      int made_up = 0;
      run(a, options, 0, expected, made_up);
      std::int64_t n = 1;
      for (bool refused = true; refused && !HasFailure(); ++n) {
        SCOPED_TRACE(testing::Message() << MethodName(method) << ", order " << a.n << ", allocation " << n);
        refused = run(a, options, n, expected, made_up);
        EXPECT_EQ(corvid_host::LiveBlocks(), live);
      }
      EXPECT_GT(n, 40);
      EXPECT_EQ(made_up, method == SparseMethod::ma38 ? 1 : 0) << "ma38 asks for less than ample room";
    }
  }
}

// ma38 begins with far more room for a large mesh than its factors need, and returns what is left.
TEST(SparseMemory, LargeMeshesKeepAboutWhatTheirFactorsNeed) {
#ifdef _WIN32
  GTEST_SKIP() << "meshes get no more than others";
#endif
  Random random(45);
  constexpr int kBand = 3;
  Coordinates a = reference::banded_matrix(8000, kBand, kBand, random);
  for (std::size_t k = 0; k < a.values.size(); ++k)
    if (a.rows[k] == a.columns[k]) a.values[k] += 2 * kBand;
  const Vector b = reference::product(a, Vector(a.n, 1.0));
  const std::int64_t most = corvid_host::LiveBytes() + (std::int64_t{100} << 20);
  SparseOptions options = by(SparseMethod::ma38);
  options.judge = 0;
  Vector expected, expected_again;
  std::int64_t requests = 0;
  enum { kAmple, kLimited, kNotReturned };
  for (const int memory : {kAmple, kLimited, kNotReturned}) {
    SCOPED_TRACE(memory);
    Solver solver(a, options);
    const auto expect_solution = [&](Vector& same_as) {
      Vector x(b.size());
      EXPECT_EQ(solver.Solve(b.data(), x.data()), SparseStatus::Unjudged);
      if (same_as.empty()) same_as = x;
      EXPECT_EQ(x, same_as);
      EXPECT_LE(reference::componentwise_error(a, x.data(), b.data()), 1e-12);
    };
    const std::int64_t before = corvid_host::TotalAllocations();
    if (memory == kLimited) corvid_host::LimitLiveBytes(most);
    if (memory == kNotReturned) corvid_host::FailAllocation(requests);
    EXPECT_EQ(solver.Factorise(a.values.data()), SparseStatus::Factorised);
    corvid_host::LimitLiveBytes(0);
    corvid_host::StopFailing();
    if (memory == kAmple) requests = corvid_host::TotalAllocations() - before;
    EXPECT_EQ(corvid_host::LiveBytes() > most, memory == kNotReturned);
    EXPECT_EQ(solver.Report().array_growths, 0);
    expect_solution(expected);  // with the factors where they were moved to
    EXPECT_EQ(solver.Refactorise(a.values.data()), SparseStatus::Factorised);
    expect_solution(expected_again);
    EXPECT_EQ(solver.Factorise(a.values.data()), SparseStatus::Factorised);
    expect_solution(expected);
  }
}

TEST(SparseMemory, ManyRefactorisationsNeedNoMore) {
  Random random(44);
  Coordinates a = reference::flowsheet_matrix(10, 5, random);
  for (const SparseMethod method : {SparseMethod::ma48, SparseMethod::ma38}) {
    SCOPED_TRACE(MethodName(method));
    Solver solver(a, by(method));
    solver.Factorise(a.values.data());
    std::int64_t settled = 0, requests = 0;
    for (int round = 0; round < 500; ++round) {
      for (double& value : a.values) value *= 1 + 1e-3 * reference::uniform(random);
      ASSERT_EQ(solver.Refactorise(a.values.data()), SparseStatus::Factorised);
      expect_solved(solver, a, Vector(a.n, 1.0));
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
