#include <climits>
#include <functional>

#include "sparse/ma38/ma38_codes.h"
#include "tests/sparse/ma48/routines.h"

using namespace reference;

namespace {

int blocks_of(const Solver& solver, Ints* orders = nullptr, Ints* sparse = nullptr) {
  return ma48blocks_(&solver.matrix.m, &solver.matrix.n, solver.keep.data(),
                     orders ? orders->data() : nullptr, sparse ? sparse->data() : nullptr);
}

int64_t entries_of(const Solver& solver) {
  return ma48entries_(&solver.matrix.m, &solver.matrix.n, &solver.la, solver.irn.data(), solver.keep.data());
}

/// Full diagonal blocks in a chain: one entry above each but the first, so that their order is certain.
Coordinates chain_of_blocks(const Ints& orders, Random& random) {
  const int n = std::accumulate(orders.begin(), orders.end(), 0);
  Coordinates a{n, n, {}, {}, {}};
  int first = 1;
  for (const int order : orders) {
    if (first > 1) a.add(first - 1, first, 1.0);
    for (int i = 0; i < order * order; ++i)
      a.add(first + i / order, first + i % order, (i % (order + 1) == 0 ? order : 0) + uniform(random));
    first += order;
  }
  return shuffled(a, random);
}

}  // namespace

TEST(Ma48Queries, TellBlocksAndEntriesOfMatricesWhoseFactorsAreKnown) {
  Random random(48);
  const struct {
    const char* what;
    Coordinates matrix;
    double density;
    Ints orders, triangular;
    int64_t entries;
  } rows[] = {
      {"full", random_matrix(7, 7, 1.0, random), 0.5, {7}, {0}, 49},
      {"tall", random_matrix(9, 4, 1.0, random), 0.5, {4}, {0}, 36},
      {"wide", random_matrix(4, 9, 1.0, random), 0.5, {9}, {0}, 36},
      {"diagonal", banded_matrix(6, 0, 0, random), 0.5, {6}, {1}, 6},
      {"tridiagonal without fill", banded_matrix(20, 1, 1, random), 1.0, {20}, {0}, 58},
      {"blocks",
       chain_of_blocks({3, 1, 1, 4, 2, 5}, random),
       0.5,
       {3, 2, 4, 2, 5},
       {0, 1, 0, 0, 0},
       9 + 2 + 16 + 4 + 25 + 5},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Solver solver(row.matrix);
    ma48_set_cntl(solver.cntl.data(), MA48_CNTL_DENSITY, row.density);
    ASSERT_EQ(MA48_STATUS_OK, solver.analyse());
    ASSERT_EQ(MA48_STATUS_OK, solver.factor());
    Ints orders(row.matrix.n), sparse(row.matrix.n);
    const int blocks = blocks_of(solver, &orders, &sparse);
    EXPECT_EQ(blocks, blocks_of(solver));
    ASSERT_EQ(int(row.orders.size()), blocks);
    orders.resize(blocks);
    EXPECT_EQ(row.orders, orders);
    for (int b = 0; b < blocks; ++b) {
      EXPECT_EQ(row.triangular[b] != 0, sparse[b] < 0);
      EXPECT_LE(sparse[b], orders[b]);
    }
    EXPECT_EQ(row.entries, entries_of(solver));
  }
}

TEST(Ma48Queries, RefuseWhatHoldsNoAnalysisOrNoFactors) {
  Random random(49);
  constexpr int kNone = MA48_STATUS_INCOMPATIBLE;
  const struct {
    const char* what;
    std::function<void(Solver&)> do_it;
    int blocks;
    int64_t entries;
  } rows[] = {
      {"factorised", [](Solver&) {}, 1, 3 * 3 + 25},  // the last five columns are full
      {"no rows", [](Solver& s) { s.matrix.m = 0; }, MA48_STATUS_BAD_ORDER, MA48_STATUS_BAD_ORDER},
      {"another order", [](Solver& s) { s.matrix.m = s.matrix.n = 5; }, kNone, kNone},
      {"nothing done", [](Solver& s) { std::fill(s.keep.begin(), s.keep.end(), 0); }, kNone, kNone},
      {"only analysed", [](Solver& s) { s.analyse(); }, 1, kNone},
      {"no room for factors", [](Solver& s) { s.resize(2 * s.matrix.entries()), s.factor(); }, 1, kNone},
      {"shorter arrays", [](Solver& s) { s.la = s.matrix.entries() + 3; }, 1, kNone},
      {"block count", [](Solver& s) { s.view().block_count() = INT_MAX; }, kNone, kNone},
      {"entries off the only block", [](Solver& s) { ++s.view().off_diagonal_start(s.matrix.n + 1); }, kNone,
       kNone},
      {"order", [](Solver& s) { s.view().block_order(1) = 0; }, kNone, kNone},
      {"structurally singular",
       [](Solver& s) {
         for (int& column : s.matrix.columns) column = std::min(column, 7);
         s.analyse();
       },
       kNone, kNone},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Solver solver(banded_matrix(8, 1, 1, random));
    ASSERT_EQ(MA48_STATUS_OK, solver.analyse());
    ASSERT_EQ(MA48_STATUS_OK, solver.factor());
    row.do_it(solver);
    Ints orders(8, 77);
    EXPECT_EQ(row.blocks, blocks_of(solver, &orders));
    EXPECT_EQ(row.blocks > 0 ? 8 : 77, orders[0]);
    EXPECT_EQ(row.entries, entries_of(solver));
  }
}

TEST(Codes, AStatusHasTheWarningsOfItsSumAndAnErrorHasNone) {
  const struct {
    int status, deficient, no_diagonal;
  } rows[] = {{0, 0, 0}, {1, 0, 0}, {2, 1, 0}, {3, 1, 0}, {5, 0, 1}, {7, 1, 1}, {-2, 0, 0}, {-4, 0, 0}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.status);
    EXPECT_EQ(row.deficient, ma48_warned(&row.status, MA48_WARNING_RANK_DEFICIENT));
    EXPECT_EQ(row.no_diagonal, ma48_warned(&row.status, MA48_WARNING_NO_DIAGONAL_PIVOT));
    EXPECT_EQ(row.no_diagonal, ma38_warned(&row.status, MA38_WARNING_SINGULAR));
  }
}
