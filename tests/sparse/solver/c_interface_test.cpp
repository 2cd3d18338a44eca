// The C interface of the sparse solver beside the class that it stands on.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "host/corvid_host.h"
#include "sparse/corvidnum_sparse.h"
#include "sparse/sparse_solver.h"

namespace {

using corvidnum::SparseSolver;
using Ints = std::vector<int>;
using Doubles = std::vector<double>;

struct Destroy {
  void operator()(corvidnum_sparse* solver) const { corvidnum_sparse_destroy(solver); }
};
using Handle = std::unique_ptr<corvidnum_sparse, Destroy>;

/// A matrix of order 4, indices from 1, with blocks of 1 and 3 and one duplicate.
const Ints kRows = {1, 1, 2, 2, 3, 3, 4, 4, 4}, kColumns = {1, 3, 2, 3, 3, 4, 2, 4, 4};
const Doubles kValues = {2, 1, 3, 1, 4, 1, -1, 2, 3};
constexpr int kOrder = 4, kEntries = 9;

/// Unknowns 1 and 2 stand in one equation only, unknown 4 in two that hold nothing else; 3 is regular.
const Ints kSingularRows = {1, 1, 2, 3, 4}, kSingularColumns = {1, 2, 3, 4, 4};

Handle make(const Ints& rows, const Ints& columns, int base = 1) {
  return Handle(
      corvidnum_sparse_create(kOrder, static_cast<int>(rows.size()), rows.data(), columns.data(), base));
}

Ints list(const corvidnum_sparse* solver, int which) {
  Ints indices(kOrder);
  indices.resize(corvidnum_sparse_indices(solver, which, indices.data(), kOrder));
  return indices;
}

Ints copy(const corvidnum::SparseIndices& from) { return Ints(from.index, from.index + from.count); }

Doubles all_items(const corvidnum_sparse* solver) {
  Doubles items;
  for (int item = CORVIDNUM_SPARSE_REPORT_ORDER; item <= CORVIDNUM_SPARSE_REPORT_GROWTH; ++item)
    items.push_back(corvidnum_sparse_report(solver, item));
  return items;
}

template <class... Number>
Doubles doubles(Number... numbers) {
  return {static_cast<double>(numbers)...};
}

/// Returns the fields of a report in the order of the items.
Doubles fields(const corvidnum::SparseReport& r) {
  return doubles(r.order, r.entries, r.duplicates, r.first_fault, r.method, r.prefers_diagonal, r.threshold,
                 r.pattern_symmetry, r.diagonal_entries, r.structural_rank, r.rank, r.blocks,
                 r.factor_entries, r.operations, r.condition, r.factorisations, r.refactorisations,
                 r.array_growths, r.new_pivots, r.raised_thresholds, r.changed_methods, r.backward_error,
                 r.first_backward_error, r.corrections, r.growth);
}

TEST(CInterface, ComputesWhatTheClassComputes) {
  const Handle handle = make(kRows, kColumns);
  corvidnum_sparse* const c = handle.get();
  SparseSolver solver(kOrder, kEntries, kRows.data(), kColumns.data(), 1);
  Doubles b = {4, 9, 16, 19, 1, -2, 3, -4}, x(8), y(8);
  const auto step = [&](int status, corvidnum::SparseStatus expected) {
    EXPECT_EQ(status, static_cast<int>(expected));
    EXPECT_EQ(corvidnum_sparse_state(c), static_cast<int>(solver.State()));
    EXPECT_EQ(x, y);
    EXPECT_EQ(all_items(c), fields(solver.Report()));
    EXPECT_STREQ(corvidnum_sparse_reason(c), solver.Report().reason);
  };
  step(corvidnum_sparse_solve(c, b.data(), x.data(), 1), solver.Solve(b.data(), y.data()));
  step(corvidnum_sparse_factorise(c, kValues.data()), solver.Factorise(kValues.data()));
  step(corvidnum_sparse_solve(c, b.data(), x.data(), 2), solver.Solve(b.data(), y.data(), 2));
  EXPECT_DOUBLE_EQ(2 * x[0] + x[2], b[0]);
  step(corvidnum_sparse_solve_transposed(c, b.data(), x.data(), 2),
       solver.SolveTransposed(b.data(), y.data(), 2));
  EXPECT_DOUBLE_EQ(2 * x[0], b[0]);
  step(corvidnum_sparse_condition(c, x.data(), &x[1]), solver.ConditionEstimate(y.data(), &y[1]));
  EXPECT_GE(x[0], 1);
  for (const bool transposed : {false, true}) {
    const Doubles guess(kOrder, 1.0);
    step(corvidnum_sparse_forward_error(c, b.data(), guess.data(), transposed ? 7 : 0, x.data()),
         solver.ForwardErrorBound(b.data(), guess.data(), transposed, y.data()));
    EXPECT_GT(x[0], 0);
  }
  Doubles others = kValues;
  for (double& value : others) value *= 3;
  step(corvidnum_sparse_refactorise(c, others.data()), solver.Refactorise(others.data()));
  others[4] = NAN;
  step(corvidnum_sparse_refactorise(c, others.data()), solver.Refactorise(others.data()));
  EXPECT_EQ(corvidnum_sparse_report(c, CORVIDNUM_SPARSE_REPORT_FIRST_FAULT), 4);
  for (const int item : {0, -1, CORVIDNUM_SPARSE_REPORT_GROWTH + 1})
    EXPECT_TRUE(std::isnan(corvidnum_sparse_report(c, item))) << item;
}

TEST(CInterface, SetsOptionsByTheNamesOfItsTable) {
  const Handle handle = make(kRows, kColumns);
  corvidnum_sparse* const c = handle.get();
  const char *name = nullptr, *meaning = nullptr;
  double lowest = 0, standard = 0, highest = 0;
  int places = 0;
  for (; corvidnum_sparse_option_table(places, &name, &meaning, &lowest, &standard, &highest); ++places) {
    SCOPED_TRACE(name);
    EXPECT_GT(std::strlen(meaning), 0u);
    EXPECT_EQ(corvidnum_sparse_option(c, name), standard);
    EXPECT_EQ(corvidnum_sparse_set_option(c, name, highest), CORVIDNUM_SPARSE_NOT_FACTORISED);
    EXPECT_EQ(corvidnum_sparse_set_option(c, name, 2 * highest + 1), CORVIDNUM_SPARSE_BAD_INPUT);
    EXPECT_EQ(corvidnum_sparse_set_option(c, name, NAN), CORVIDNUM_SPARSE_BAD_INPUT);
    EXPECT_EQ(corvidnum_sparse_option(c, name), highest);
  }
  int count = 0;
  corvidnum::SparseOptionTable(&count);
  EXPECT_EQ(places, count);
  EXPECT_EQ(corvidnum_sparse_option_table(-1, &name, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(corvidnum_sparse_option_table(0, nullptr, nullptr, nullptr, nullptr, nullptr), 1);
  for (const char* unknown : {"", "Bound", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(corvidnum_sparse_set_option(c, unknown, 1), CORVIDNUM_SPARSE_BAD_INPUT);
    EXPECT_TRUE(std::isnan(corvidnum_sparse_option(c, unknown)));
  }
  ASSERT_EQ(corvidnum_sparse_set_option(c, "judge", 0), CORVIDNUM_SPARSE_NOT_FACTORISED);
  ASSERT_EQ(corvidnum_sparse_factorise(c, kValues.data()), CORVIDNUM_SPARSE_FACTORISED);
  Doubles x(kOrder, 1.0);
  EXPECT_EQ(corvidnum_sparse_solve(c, x.data(), x.data(), 1), CORVIDNUM_SPARSE_UNJUDGED);
}

TEST(CInterface, CopiesTheListsOfADiagnosis) {
  const Handle handle = make(kSingularRows, kSingularColumns);
  corvidnum_sparse* const c = handle.get();
  EXPECT_EQ(list(c, CORVIDNUM_SPARSE_UNMATCHED_EQUATIONS), Ints()) << "before any diagnosis";
  int structural = 0, numerical = 0;
  EXPECT_EQ(corvidnum_sparse_diagnose(c, &structural, &numerical), CORVIDNUM_SPARSE_SINGULAR);
  EXPECT_EQ(structural, 3);
  EXPECT_EQ(numerical, -1);
  EXPECT_EQ(list(c, CORVIDNUM_SPARSE_OVERDETERMINED_EQUATIONS), Ints({3, 4}));
  EXPECT_EQ(list(c, CORVIDNUM_SPARSE_OVERDETERMINED_UNKNOWNS), Ints({4}));
  EXPECT_EQ(list(c, CORVIDNUM_SPARSE_UNDERDETERMINED_EQUATIONS), Ints({1}));
  EXPECT_EQ(list(c, CORVIDNUM_SPARSE_UNDERDETERMINED_UNKNOWNS), Ints({1, 2}));
  SparseSolver solver(kOrder, 5, kSingularRows.data(), kSingularColumns.data(), 1);
  corvidnum::SparseDiagnosis diagnosis;
  solver.Diagnose(&diagnosis);
  EXPECT_EQ(list(c, CORVIDNUM_SPARSE_UNMATCHED_EQUATIONS), copy(diagnosis.unmatched_equations));
  EXPECT_EQ(list(c, CORVIDNUM_SPARSE_UNMATCHED_UNKNOWNS), copy(diagnosis.unmatched_unknowns));
  EXPECT_EQ(list(c, CORVIDNUM_SPARSE_DEPENDENT_EQUATIONS), Ints());
  EXPECT_EQ(list(c, 0), Ints());
  EXPECT_EQ(list(c, CORVIDNUM_SPARSE_DEPENDENT_UNKNOWNS + 1), Ints());

  Ints two = {-7, -7};
  EXPECT_EQ(corvidnum_sparse_indices(c, CORVIDNUM_SPARSE_UNDERDETERMINED_UNKNOWNS, two.data(), 1), 2);
  EXPECT_EQ(two, Ints({1, -7})) << "no more than there is room for";
  EXPECT_EQ(corvidnum_sparse_indices(c, CORVIDNUM_SPARSE_UNDERDETERMINED_UNKNOWNS, two.data(), -1), 2);
  EXPECT_EQ(corvidnum_sparse_indices(c, CORVIDNUM_SPARSE_UNDERDETERMINED_UNKNOWNS, nullptr, 2), 2);
  EXPECT_EQ(two, Ints({1, -7}));

  const Handle dependent = make({1, 1, 2, 3, 3, 4}, {1, 3, 2, 1, 3, 4});
  EXPECT_EQ(corvidnum_sparse_factorise(dependent.get(), Doubles({1, 2, 5, 2, 4, 1}).data()),
            CORVIDNUM_SPARSE_SINGULAR);
  EXPECT_EQ(corvidnum_sparse_diagnose(dependent.get(), nullptr, &numerical), CORVIDNUM_SPARSE_SINGULAR);
  EXPECT_EQ(numerical, 3);
  const Ints equation = list(dependent.get(), CORVIDNUM_SPARSE_DEPENDENT_EQUATIONS);
  EXPECT_TRUE(equation == Ints({1}) || equation == Ints({3})) << testing::PrintToString(equation);
  EXPECT_EQ(list(dependent.get(), CORVIDNUM_SPARSE_DEPENDENT_UNKNOWNS).size(), 1u);
}

TEST(CInterface, CopiesTheBlocks) {
  const Handle handle = make(kRows, kColumns);
  int count = 0;
  Ints begin(kOrder + 1, -7), row(kOrder), column(kOrder);
  ASSERT_EQ(corvidnum_sparse_blocks(handle.get(), &count, begin.data(), row.data(), column.data()),
            CORVIDNUM_SPARSE_FACTORISED);
  SparseSolver solver(kOrder, kEntries, kRows.data(), kColumns.data(), 1);
  corvidnum::SparseBlocks blocks;
  solver.Blocks(&blocks);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(begin, Ints({0, 1, 4, -7, -7}));
  EXPECT_EQ(row, Ints(blocks.row, blocks.row + kOrder));
  EXPECT_EQ(column, Ints(blocks.column, blocks.column + kOrder));
  EXPECT_EQ(corvidnum_sparse_blocks(handle.get(), nullptr, nullptr, nullptr, nullptr),
            CORVIDNUM_SPARSE_FACTORISED);
  const Handle singular = make(kSingularRows, kSingularColumns);
  EXPECT_EQ(corvidnum_sparse_blocks(singular.get(), &count, begin.data(), nullptr, nullptr),
            CORVIDNUM_SPARSE_SINGULAR);
  EXPECT_EQ(count, 0);
}

/// Calls everything that takes a handle, and expects one status of all that have one.
void expect_of_all(corvidnum_sparse* c, int status) {
  const Doubles in(kEntries, 1.0);
  Doubles out(kOrder, -7.0);
  Ints ints(kOrder + 1, -7);
  EXPECT_EQ(corvidnum_sparse_state(c), status);
  EXPECT_EQ(corvidnum_sparse_set_option(c, "judge", 1), status);
  EXPECT_EQ(corvidnum_sparse_factorise(c, in.data()), status);
  EXPECT_EQ(corvidnum_sparse_refactorise(c, in.data()), status);
  EXPECT_EQ(corvidnum_sparse_solve(c, in.data(), out.data(), 1), status);
  EXPECT_EQ(corvidnum_sparse_solve_transposed(c, in.data(), out.data(), 1), status);
  EXPECT_EQ(corvidnum_sparse_forward_error(c, in.data(), in.data(), 0, out.data()), status);
  EXPECT_EQ(corvidnum_sparse_diagnose(c, nullptr, nullptr), status);
  EXPECT_EQ(corvidnum_sparse_blocks(c, nullptr, ints.data(), ints.data(), ints.data()), status);
  EXPECT_EQ(out, Doubles(kOrder, -7.0));
  EXPECT_EQ(corvidnum_sparse_condition(c, nullptr, nullptr), status);
  EXPECT_EQ(corvidnum_sparse_indices(c, CORVIDNUM_SPARSE_UNMATCHED_EQUATIONS, ints.data(), kOrder), 0);
  EXPECT_EQ(ints, Ints(kOrder + 1, -7));
  EXPECT_EQ(corvidnum_sparse_report(c, CORVIDNUM_SPARSE_REPORT_RANK), -1);
  EXPECT_STREQ(corvidnum_sparse_reason(c), "");
}

TEST(CInterface, AnswersWithoutAUsableSolver) {
  expect_of_all(nullptr, CORVIDNUM_SPARSE_NO_MEMORY);
  EXPECT_TRUE(std::isnan(corvidnum_sparse_option(nullptr, "bound")));
  corvidnum_sparse_destroy(nullptr);
  const Handle bad = make(kRows, kColumns, 2);
  ASSERT_TRUE(bad);
  expect_of_all(bad.get(), CORVIDNUM_SPARSE_BAD_INPUT);
  EXPECT_STREQ(corvidnum_sparse_status_text(99), "unknown status");
  EXPECT_STREQ(corvidnum_sparse_method_name(-1), "unknown method");
}

TEST(CInterface, SurvivesRefusedMemoryWhileItIsMade) {
  const std::int64_t before = corvid_host::LiveBlocks();
  bool refused = true;
  int made = 0;
  for (int n = 1; refused; ++n) {
    SCOPED_TRACE(n);
    corvid_host::FailAllocation(n);
    const std::int64_t refusals = corvid_host::RefusedAllocations();
    const Handle handle = make(kRows, kColumns);
    refused = corvid_host::RefusedAllocations() > refusals;
    corvid_host::StopFailing();
    EXPECT_EQ(handle == nullptr, n == 1);
    if (refused)
      expect_of_all(handle.get(), CORVIDNUM_SPARSE_NO_MEMORY);
    else
      EXPECT_EQ(corvidnum_sparse_state(handle.get()), CORVIDNUM_SPARSE_NOT_FACTORISED);
    ++made;
  }
  EXPECT_GT(made, 2);
  EXPECT_EQ(corvid_host::LiveBlocks(), before);
}

}  // namespace
