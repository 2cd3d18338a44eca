// The C interface of the sparse solver beside the class that it stands on.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
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

constexpr int kOrder = 4;

/// A matrix whose indices count from 1, by C and by the class.
struct Both {
  Ints rows, columns;
  Handle handle;
  corvidnum_sparse* c;
  SparseSolver solver;

  Both(const Ints& i, const Ints& j, int base = 1)
      : rows(i),
        columns(j),
        handle(corvidnum_sparse_create(kOrder, count(), i.data(), j.data(), base)),
        c(handle.get()),
        solver(kOrder, count(), i.data(), j.data(), base) {}
  int count() const { return static_cast<int>(rows.size()); }

  /// Expects the same status and the same report, item by item.
  void expect_same(int status, corvidnum::SparseStatus expected) {
    EXPECT_EQ(status, static_cast<int>(expected));
    EXPECT_EQ(corvidnum_sparse_state(c), static_cast<int>(solver.State()));
    EXPECT_STREQ(corvidnum_sparse_reason(c), solver.Report().reason);
    const corvidnum::SparseReport& r = solver.Report();
    const double fields[] = {double(r.order),
                             double(r.entries),
                             double(r.duplicates),
                             double(r.first_fault),
                             double(r.method),
                             double(r.prefers_diagonal),
                             r.threshold,
                             r.pattern_symmetry,
                             double(r.diagonal_entries),
                             double(r.structural_rank),
                             double(r.rank),
                             double(r.blocks),
                             double(r.factor_entries),
                             r.operations,
                             r.condition,
                             double(r.factorisations),
                             double(r.refactorisations),
                             double(r.array_growths),
                             double(r.new_pivots),
                             double(r.raised_thresholds),
                             double(r.changed_methods),
                             r.backward_error,
                             r.first_backward_error,
                             double(r.corrections),
                             r.growth};
    int item = CORVIDNUM_SPARSE_REPORT_ORDER;
    for (const double field : fields) EXPECT_EQ(corvidnum_sparse_report(c, item++), field) << item - 1;
    EXPECT_TRUE(std::isnan(corvidnum_sparse_report(c, 0)));
    EXPECT_TRUE(std::isnan(corvidnum_sparse_report(c, item)));
  }

  /// Expects the same diagnosis, list by list.
  void expect_same_diagnosis() {
    corvidnum::SparseDiagnosis d;
    int structural = 0, numerical = 0;
    expect_same(corvidnum_sparse_diagnose(c, &structural, &numerical), solver.Diagnose(&d));
    EXPECT_EQ(structural, d.structural_rank);
    EXPECT_EQ(numerical, d.numerical_rank);
    const corvidnum::SparseIndices lists[] = {{},
                                              d.unmatched_equations,
                                              d.unmatched_unknowns,
                                              d.overdetermined_equations,
                                              d.overdetermined_unknowns,
                                              d.underdetermined_equations,
                                              d.underdetermined_unknowns,
                                              d.dependent_equations,
                                              d.dependent_unknowns,
                                              {}};
    int which = 0;
    for (const corvidnum::SparseIndices& list : lists) {
      Ints found(kOrder, -7);
      EXPECT_EQ(corvidnum_sparse_indices(c, which, found.data(), kOrder), list.count) << which;
      for (int k = 0; k < kOrder; ++k) EXPECT_EQ(found[k], k < list.count ? list.index[k] : -7) << which;
      ++which;
    }
  }
};

/// Blocks of 1 and 3, and one duplicate.
const Ints kRows = {1, 1, 2, 2, 3, 3, 4, 4, 4}, kColumns = {1, 3, 2, 3, 3, 4, 2, 4, 4};
const Doubles kValues = {2, 1, 3, 1, 4, 1, -1, 2, 3};
/// Unknowns 1 and 2 stand in one equation only, unknown 4 in two that hold nothing else; 3 is regular.
const Ints kSingularRows = {1, 1, 2, 3, 4}, kSingularColumns = {1, 2, 3, 4, 4};

TEST(CInterface, ComputesWhatTheClassComputes) {
  Both both(kRows, kColumns);
  corvidnum_sparse* const c = both.c;
  SparseSolver& solver = both.solver;
  const Doubles b = {4, 9, 16, 19, 1, -2, 3, -4};
  Doubles x(8), y(8);
  const auto step = [&](int status, corvidnum::SparseStatus expected) {
    both.expect_same(status, expected);
    EXPECT_EQ(x, y);
  };
  step(corvidnum_sparse_solve(c, b.data(), x.data(), 1), solver.Solve(b.data(), y.data()));
  step(corvidnum_sparse_factorise(c, kValues.data()), solver.Factorise(kValues.data()));
  step(corvidnum_sparse_solve(c, b.data(), x.data(), 2), solver.Solve(b.data(), y.data(), 2));
  step(corvidnum_sparse_solve_transposed(c, b.data(), x.data(), 2),
       solver.SolveTransposed(b.data(), y.data(), 2));
  step(corvidnum_sparse_condition(c, x.data(), &x[1]), solver.ConditionEstimate(y.data(), &y[1]));
  const Doubles guess(kOrder, 1.0);
  for (const int transposed : {0, 7})
    step(corvidnum_sparse_forward_error(c, b.data(), guess.data(), transposed, x.data()),
         solver.ForwardErrorBound(b.data(), guess.data(), transposed != 0, y.data()));
  Doubles others = kValues;
  for (const double value : {9.0, double{NAN}}) {
    others[4] = value;
    step(corvidnum_sparse_refactorise(c, others.data()), solver.Refactorise(others.data()));
  }
  both.expect_same_diagnosis();

  int count = 0;
  Ints begin(kOrder + 1, -7), row(kOrder), column(kOrder);
  corvidnum::SparseBlocks blocks;
  both.expect_same(corvidnum_sparse_blocks(c, &count, begin.data(), row.data(), column.data()),
                   solver.Blocks(&blocks));
  EXPECT_EQ(count, 2);
  EXPECT_EQ(begin, Ints({0, 1, 4, -7, -7}));
  EXPECT_EQ(row, Ints(blocks.row, blocks.row + kOrder));
  EXPECT_EQ(column, Ints(blocks.column, blocks.column + kOrder));
  EXPECT_EQ(corvidnum_sparse_blocks(c, nullptr, nullptr, nullptr, nullptr), CORVIDNUM_SPARSE_FACTORISED);
}

TEST(CInterface, CopiesTheListsOfADiagnosis) {
  Both structural(kSingularRows, kSingularColumns);
  corvidnum_sparse* const c = structural.c;
  constexpr int kList = CORVIDNUM_SPARSE_UNDERDETERMINED_UNKNOWNS;
  EXPECT_EQ(corvidnum_sparse_indices(c, kList, nullptr, 0), 0) << "before any diagnosis";
  structural.expect_same_diagnosis();
  Ints two = {-7, -7};
  for (const int room : {1, -1}) EXPECT_EQ(corvidnum_sparse_indices(c, kList, two.data(), room), 2);
  EXPECT_EQ(corvidnum_sparse_indices(c, kList, nullptr, 2), 2);
  EXPECT_EQ(two, Ints({1, -7})) << "no more than there is room for";
  int count = 9;
  EXPECT_EQ(corvidnum_sparse_blocks(c, &count, two.data(), nullptr, nullptr), CORVIDNUM_SPARSE_SINGULAR);
  EXPECT_EQ(count, 0);

  Both numerical({1, 1, 2, 3, 3, 4}, {1, 3, 2, 1, 3, 4});
  const Doubles values = {1, 2, 5, 2, 4, 1};
  numerical.expect_same(corvidnum_sparse_factorise(numerical.c, values.data()),
                        numerical.solver.Factorise(values.data()));
  EXPECT_EQ(corvidnum_sparse_diagnose(numerical.c, nullptr, nullptr), CORVIDNUM_SPARSE_SINGULAR);
  numerical.expect_same_diagnosis();
}

TEST(CInterface, SetsOptionsByTheNamesOfItsTable) {
  Both both(kRows, kColumns);
  corvidnum_sparse* const c = both.c;
  int count = 0;
  const corvidnum::SparseOption* table = corvidnum::SparseOptionTable(&count);
  const char *name = nullptr, *meaning = nullptr;
  double lowest = 0, standard = 0, highest = 0;
  for (int k = 0; k < count; ++k) {
    ASSERT_EQ(corvidnum_sparse_option_table(k, &name, &meaning, &lowest, &standard, &highest), 1);
    EXPECT_EQ(Doubles({lowest, standard, highest}),
              Doubles({table[k].lowest, table[k].standard, table[k].highest}));
    EXPECT_EQ(std::string(name) + meaning, std::string(table[k].name) + table[k].meaning);
    EXPECT_EQ(corvidnum_sparse_option(c, name), standard);
    EXPECT_EQ(corvidnum_sparse_set_option(c, name, highest), CORVIDNUM_SPARSE_NOT_FACTORISED);
    EXPECT_EQ(corvidnum_sparse_set_option(c, name, 2 * highest + 1), CORVIDNUM_SPARSE_BAD_INPUT);
    EXPECT_EQ(corvidnum_sparse_option(c, name), highest);
  }
  for (const int place : {-1, count})
    EXPECT_EQ(corvidnum_sparse_option_table(place, &name, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(corvidnum_sparse_option_table(0, nullptr, nullptr, nullptr, nullptr, nullptr), 1);
  for (const char* unknown : {"", "Bound", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(corvidnum_sparse_set_option(c, unknown, 1), CORVIDNUM_SPARSE_BAD_INPUT);
    EXPECT_TRUE(std::isnan(corvidnum_sparse_option(c, unknown)));
  }
  EXPECT_STREQ(corvidnum_sparse_status_text(99), "unknown status");
  EXPECT_STREQ(corvidnum_sparse_method_name(-1), "unknown method");
}

/// Calls everything that takes a handle, and expects one status of all that have one, and nothing written.
void expect_of_all(corvidnum_sparse* c, int status) {
  const Doubles in(kRows.size(), 1.0);
  Doubles out(kOrder, -7.0);
  Ints ints(kOrder + 1, -7);
  for (const int found :
       {corvidnum_sparse_state(c), corvidnum_sparse_set_option(c, "judge", 1),
        corvidnum_sparse_factorise(c, in.data()), corvidnum_sparse_refactorise(c, in.data()),
        corvidnum_sparse_solve(c, in.data(), out.data(), 1),
        corvidnum_sparse_solve_transposed(c, in.data(), out.data(), 1),
        corvidnum_sparse_forward_error(c, in.data(), in.data(), 0, out.data()),
        corvidnum_sparse_diagnose(c, nullptr, nullptr), corvidnum_sparse_condition(c, nullptr, nullptr),
        corvidnum_sparse_blocks(c, nullptr, ints.data(), ints.data(), ints.data())})
    EXPECT_EQ(found, status);
  EXPECT_EQ(corvidnum_sparse_indices(c, CORVIDNUM_SPARSE_UNMATCHED_EQUATIONS, ints.data(), kOrder), 0);
  EXPECT_EQ(out, Doubles(kOrder, -7.0));
  EXPECT_EQ(ints, Ints(kOrder + 1, -7));
  EXPECT_EQ(corvidnum_sparse_report(c, CORVIDNUM_SPARSE_REPORT_RANK), -1);
  EXPECT_STREQ(corvidnum_sparse_reason(c), "");
}

TEST(CInterface, AnswersWithoutAUsableSolver) {
  expect_of_all(nullptr, CORVIDNUM_SPARSE_NO_MEMORY);
  EXPECT_TRUE(std::isnan(corvidnum_sparse_option(nullptr, "bound")));
  corvidnum_sparse_destroy(nullptr);
  expect_of_all(Both(kRows, kColumns, 2).c, CORVIDNUM_SPARSE_BAD_INPUT);
  const std::int64_t before = corvid_host::LiveBlocks();
  for (const int refused : {1, 2}) {
    corvid_host::FailAllocation(refused);
    const Handle handle(corvidnum_sparse_create(kOrder, 9, kRows.data(), kColumns.data(), 1));
    corvid_host::StopFailing();
    EXPECT_EQ(handle == nullptr, refused == 1);
    expect_of_all(handle.get(), CORVIDNUM_SPARSE_NO_MEMORY);
  }
  EXPECT_EQ(corvid_host::LiveBlocks(), before);
}

}  // namespace
