// The road from a matrix to its solution through the exported routines: analysis, factorisation, solution.

#include <array>
#include <climits>
#include <functional>
#include <limits>
#include <set>
#include <thread>

#include "sparse/ma48/kernel_codes.h"
#include "sparse/ma48/kernels.h"
#include "tests/sparse/ma48/routines.h"

namespace {

using namespace reference;
const double kNaN = std::numeric_limits<double>::quiet_NaN();

double largest(const Vector& x) {
  double result = 0.0;
  for (const double value : x) result = std::max(result, std::fabs(value));
  return result;
}
double largest_difference(Vector x, const Vector& y) {
  std::transform(x.begin(), x.end(), y.begin(), x.begin(), std::minus<>());
  return largest(x);
}

std::vector<Coordinates> regular_matrices(Random& random) {
  std::vector<Coordinates> result = {Coordinates{1, 1, {1}, {1}, {4.0}},
                                     shuffled(banded_matrix(40, 2, 3, random), random),
                                     block_triangular_matrix({1, 1, 5, 1, 8, 2, 1, 12, 3, 7}, random),
                                     block_triangular_matrix(Ints(15, 1), random),
                                     column_matrix(12, 4, random),
                                     shuffled(column_matrix(25, 3, random), random),
                                     shuffled(flowsheet_matrix(20, 5, random), random)};
  result.push_back(with_faulty_entries(result[2], 5, 4, random));
  result.push_back(with_faulty_entries(result[6], 10, 4, random));
  for (int n = 5; n <= 40; n += 7) {
    Coordinates a = random_matrix(n, n, 3.0 / n, random);
    for (int i = 1; i <= n; ++i) a.add(i, n + 1 - i, 3.0 + uniform(random));
    result.push_back(a);
  }
  return result;
}

/// Blocks of order 1 in a row make up one triangular block; the others are general.
TEST(Ma48Analysis, FindsTheBlocks) {
  Random random(6);
  for (int trial = 0; trial < 60; ++trial) {
    Ints orders;
    for (int k = number(random, 2, 12); k > 0; --k) orders.push_back(std::max(1, number(random, -4, 9)));
    const int n = std::accumulate(orders.begin(), orders.end(), 0);
    const auto ones = static_cast<int>(std::count(orders.begin(), orders.end(), 1));
    Solver solver(block_triangular_matrix(orders, random));
    ASSERT_EQ(0, solver.analyse());
    std::multiset<int> general, expected(orders.begin(), orders.end());
    expected.erase(1);
    int triangular = 0;
    const auto keep = solver.view();
    for (int block = 1; block <= keep.block_count(); ++block) {
      if (keep.block_kind(block) < 0) {
        triangular += keep.block_order(block);
      } else {
        general.insert(keep.block_order(block));
      }
    }
    EXPECT_EQ(expected, general);
    EXPECT_EQ(ones, triangular);
    EXPECT_EQ((Ints{n, n - ones, n}), (Ints{solver.INFO(MA48_INFO_RANK), solver.INFO(MA48_INFO_GENERAL_ORDER),
                                            solver.INFO(MA48_INFO_STRUCTURAL_RANK)}));
    EXPECT_TRUE(expected.empty() || solver.INFO(MA48_INFO_LARGEST_BLOCK) == *expected.rbegin());
  }
  Solver diagonal(banded_matrix(12, 0, 0, random), 24);
  EXPECT_EQ(0, diagonal.analyse());
  EXPECT_EQ((Ints{1, -12}), (Ints{diagonal.view().block_count(), diagonal.view().block_kind(1)}));
}

/// Which is the rank for almost all values.
TEST(Ma48Analysis, FindsTheStructuralRank) {
  Random random(48);
  for (int trial = 0; trial < 300; ++trial) {
    const int n = number(random, 1, 30);
    const Coordinates a = random_matrix(n, n, std::array{0.03, 0.05, 0.08, 0.15}[trial % 4], random);
    if (a.entries() == 0) continue;
    Solver solver(a);
    solver.ICNTL(MA48_ICNTL_SINGULAR_IS_ERROR) = 0;
    ASSERT_GE(solver.analyse(), 0);
    EXPECT_EQ(dense_rank(dense(a)), solver.INFO(MA48_INFO_STRUCTURAL_RANK)) << trial;
  }
}

/// The last row has the first column only, so that all other rows have to give theirs up, one after the
/// other.
TEST(Ma48Analysis, WalksAPathThatIsVeryLong) {
  constexpr int kOrder = 200000;
  for (const bool transposed : {false, true}) {
    Coordinates a{kOrder, kOrder, {}, {}, {}};
    for (int i = 1; i < kOrder; ++i) a.add(i, i + 1, 1.0), a.add(i, i, 2.0);
    a.add(kOrder, 1, 1.0);
    if (transposed) a.rows.swap(a.columns);
    Solver solver(a, 20 * kOrder);
    ASSERT_EQ(0, solver.analyse());
    EXPECT_EQ(1, solver.view().block_count());
    EXPECT_EQ(kOrder, solver.INFO(MA48_INFO_STRUCTURAL_RANK));
  }
}

TEST(Ma48Analysis, LeavesMarkedColumnsLast) {
  Random random(2);
  Solver solver(banded_matrix(8, 7, 7, random), 400);
  solver.ICNTL(MA48_ICNTL_COLUMNS_LAST) = 1;
  solver.marks = {1, 1, 0, 1, 1, 0, 1, 1};
  ASSERT_EQ(0, solver.analyse());
  const auto keep = solver.view();
  EXPECT_EQ(2, keep.left_to_last(1, 1));
  EXPECT_EQ((std::set<int>{3, 6}), (std::set<int>{keep.column_at(7), keep.column_at(8)}));
}

TEST(Ma48Analysis, ReportsFaultsInItsOrder) {
  using Change = std::function<void(Solver&)>;
  const auto allow_singular = [](Solver& s) { s.ICNTL(MA48_ICNTL_SINGULAR_IS_ERROR) = 0; };
  const auto column_3_to = [](Solver& s, int column) {
    std::replace(s.matrix.columns.begin(), s.matrix.columns.end(), 3, column);
  };
  // Columns 1 and 2 have row 1 only, which a full part does not see; the column `empty` has none.
  const auto columns_share_a_row = [&](Solver& s, int empty) {
    for (int k = 0; k < s.matrix.entries(); ++k) {
      const int column = s.matrix.columns[k];
      if ((column <= 2 && s.matrix.rows[k] != 1) || column == empty) s.matrix.rows[k] = 0;
    }
    allow_singular(s);
    s.CNTL(MA48_CNTL_DENSITY) = 0.0;
  };
  const std::pair<Change, int> table[] = {
      {[](Solver& s) { s.matrix.m = 0; }, MA48_STATUS_BAD_ORDER},
      {[](Solver& s) { s.matrix.n = INT_MIN, s.job = 9; }, MA48_STATUS_BAD_ORDER},
      {[](Solver& s) { s.matrix.values.clear(); }, MA48_STATUS_BAD_ENTRY_COUNT},
      {[](Solver& s) { s.la = 2 * s.matrix.entries() - 1, s.job = 0; }, MA48_STATUS_TOO_SHORT},
      {[](Solver& s) { s.job = 0; }, MA48_STATUS_BAD_JOB},
      {[](Solver& s) { s.job = 4; }, MA48_STATUS_BAD_JOB},
      {[](Solver& s) { s.job = 2; }, MA48_STATUS_BAD_PERMUTATION},  // without permutations
      {[](Solver& s) { s.job = 2, s.order = {1, 2, 3, 4, 5, 6, 1, 2, 3, 4, 5, 1}; },
       MA48_STATUS_BAD_PERMUTATION},
      {[&](Solver& s) { column_3_to(s, 4); }, MA48_STATUS_STRUCTURALLY_SINGULAR},
      {[&](Solver& s) { column_3_to(s, 0), allow_singular(s); }, 3},
      {[&](Solver& s) { columns_share_a_row(s, 9); }, 3},
      {[&](Solver& s) { columns_share_a_row(s, 4); }, 3},  // already the kernel finds it deficient
      {[&](Solver& s) {
         columns_share_a_row(s, 4);
         s.CNTL(MA48_CNTL_DENSITY) = 1.0;
         s.CNTL(MA48_CNTL_THRESHOLD) = kNaN;  // which no pivot passes
       },
       7},
      {[&](Solver& s) { s.matrix.columns.assign(s.matrix.entries(), INT_MAX), allow_singular(s); }, 3},
      {[](Solver& s) { s.matrix.values.assign(s.matrix.entries(), std::nan("")); }, 2},
  };
  for (const auto& row : table) {
    SCOPED_TRACE(&row - table);
    Random random(1);
    Solver solver(banded_matrix(6, 1, 1, random));
    row.first(solver);
    EXPECT_EQ(row.second, solver.analyse());
    EXPECT_TRUE(row.second != MA48_STATUS_TOO_SHORT ||
                solver.INFO(MA48_INFO_ANALYSIS_LENGTH) == 2 * solver.matrix.entries());
  }
}

/// Of blocks that are cycles: a column of zeros or of infinities makes one deficient, and a threshold that is
/// not a number leaves one without a pivot.
TEST(Ma48Analysis, SumsTheWarningsOfItsBlocks) {
  const double inf = HUGE_VAL;
  const struct {
    double second, first[2];  // values of the blocks; those of the first block's first column apart
    double threshold;
    int status;
  } cases[] = {{1, {1, 1}, 0.1, 0},  {0, {0, 0}, 0.1, 2},  {inf, {1, inf}, 0.1, 2}, {1, {1, 1}, kNaN, 4},
               {1, {0, 0}, kNaN, 6}, {0, {1, 1}, kNaN, 6}, {0, {0, 1}, kNaN, 6}};
  for (const auto& c : cases) {
    Coordinates a{6, 6, {}, {}, {}};
    for (int j = 1; j <= 6; ++j) {
      const double value = j > 3 ? c.second : c.first[j > 1];
      a.add(j, j, value);
      a.add(j % 3 ? j + 1 : j - 2, j, value);
    }
    Solver solver(a);
    solver.CNTL(MA48_CNTL_DENSITY) = 1.0;
    solver.CNTL(MA48_CNTL_THRESHOLD) = c.threshold;
    EXPECT_EQ(solver.analyse(), c.status);
  }
}

TEST(Ma48Analysis, CountsNoDiagonalWithoutReciprocal) {
  for (const double diagonal : {0x1p-1024, std::nextafter(0x1p-1024, 1.0)}) {
    Solver solver({3, 3, {1, 1, 2, 2, 3}, {1, 2, 2, 3, 3}, {1.0, 1.0, diagonal, 1.0, 1.0}});
    solver.analyse();
    EXPECT_EQ(solver.INFO(MA48_INFO_RANK), diagonal > 0x1p-1024 ? 3 : 2);
  }
}

/// The cheapest entry, which also comes first, is too small beside the others; any threshold lets it pass.
TEST(Ma48Analysis, TakesNoPivotWithoutReciprocal) {
  const struct {
    int job, search_limit;
  } searches[] = {{1, 3}, {1, 0}, {2, 3}};  // by columns, by rows too, columns in the given order
  for (const double small : {0.0, 0x1p-1024, std::nextafter(0x1p-1024, 1.0)}) {
    for (const auto& search : searches) {
      Solver solver({3, 3, {1, 2, 3, 2, 3, 2, 3}, {1, 1, 1, 2, 2, 3, 3}, {small, 1, 3, 1, 1, 1, 2}});
      solver.job = search.job;
      solver.order = {1, 2, 3, 1, 2, 3};
      solver.ICNTL(MA48_ICNTL_SEARCH_LIMIT) = search.search_limit;
      solver.ICNTL(MA48_ICNTL_SMALLEST_BLOCK) = 4;
      solver.CNTL(MA48_CNTL_DENSITY) = 1.0;
      solver.CNTL(MA48_CNTL_THRESHOLD) = 0.0;
      solver.analyse();
      EXPECT_EQ(small > 0x1p-1024, solver.view().row_place(1) == 1) << small << ", " << &search - searches;
    }
  }
}

TEST(Ma48Analysis, AsksForAsMuchAsAnArrayMayHave) {
  const int order = 5, most = INT_MAX, job = 1;
  Ints info(MA48_INFO_LENGTH), icntl(MA48_ICNTL_LENGTH);
  Vector cntl(MA48_CNTL_LENGTH);
  ma48ad_(&order, &order, &most, &job, &most, nullptr, nullptr, nullptr, nullptr, cntl.data(), icntl.data(),
          nullptr, info.data(), nullptr);
  EXPECT_EQ(
      (Ints{MA48_STATUS_TOO_SHORT, corvidnum::kMostPlaces}),
      (Ints{ma48_info(info.data(), MA48_INFO_STATUS), ma48_info(info.data(), MA48_INFO_ANALYSIS_LENGTH)}));
}

TEST(Ma48Defaults, AreWritten) {
  Vector cntl(MA48_CNTL_LENGTH), kernel_cntl(corvidnum::kMa50CntlLength);
  Ints icntl(MA48_ICNTL_LENGTH), kernel_icntl(corvidnum::kMa50IcntlLength);
  ma48id_(cntl.data(), icntl.data());
  corvidnum::ma50id_(kernel_cntl.data(), kernel_icntl.data());
  EXPECT_EQ((Vector{0.5, 0.1, 0.0, 0.0, 0.5}), cntl);
  EXPECT_EQ((Ints{6, 6, 2, 3, 32, 1, 1, 0, 10}), icntl);
  EXPECT_EQ((Vector{0.5, 0.1, 0.0, 0.0}), kernel_cntl);
  EXPECT_EQ((Ints{6, 6, 1, 3, 32, 0, 0}), kernel_icntl);
}

/// Both systems are solved, by basic solutions.
void expect_solved(Solver& solver, Random& random, double limit = 1e-11, int job = 1) {
  for (const int transposed : {0, 1}) {
    const Vector truth = random_vector(transposed ? solver.matrix.m : solver.matrix.n, random);
    const Vector b = multiply(solver.matrix, truth, transposed != 0);
    const Vector x = solver.solve(b, transposed, job);
    EXPECT_LT(scaled_residual(solver.matrix, x, b, transposed != 0), limit)
        << "transposed " << transposed << ", job " << job;
    EXPECT_EQ(solver.INFO(MA48_INFO_STATUS), MA48_STATUS_OK);
    EXPECT_LE(std::count_if(x.begin(), x.end(), [](double v) { return v != 0.0; }),
              solver.INFO(MA48_INFO_RANK));
    if (job == 1 || limit > 1e-10) continue;
    EXPECT_LT(solver.ERROR(MA48_ERROR_OMEGA1) + solver.ERROR(MA48_ERROR_OMEGA2), limit);
    EXPECT_EQ(solver.ERROR(MA48_ERROR_FORWARD) > 0.0,
              job == 4 && solver.ERROR(MA48_ERROR_OMEGA1) + solver.ERROR(MA48_ERROR_OMEGA2) > 0.0);
  }
}

/// INFO tells what was dropped and what was summed, and the matrix stays as it was given.
void expect_entries_counted(Solver& solver) {
  std::set<std::pair<int, int>> places;
  int strays = 0;
  for (int k = 0; k < solver.matrix.entries(); ++k) {
    if (solver.matrix.counts(k)) {
      places.emplace(solver.matrix.rows[k], solver.matrix.columns[k]);
    } else {
      ++strays;
    }
  }
  const int kept = static_cast<int>(places.size());
  EXPECT_EQ(strays, solver.INFO(MA48_INFO_OUT_OF_RANGE));
  EXPECT_EQ(solver.matrix.entries() - strays - kept, solver.INFO(MA48_INFO_DUPLICATES));
  EXPECT_EQ(solver.INFO(MA48_INFO_STATUS) % 2 == 1,
            solver.INFO(MA48_INFO_DUPLICATES) + solver.INFO(MA48_INFO_OUT_OF_RANGE) > 0);
  EXPECT_EQ(kept, solver.view().off_diagonal_start(solver.matrix.n + 1) - 1);
  EXPECT_TRUE(std::equal(solver.matrix.values.begin(), solver.matrix.values.end(), solver.a.begin()));
}

/// Columns that JOB 2 and 3 take as they were: those of general blocks that were not left to last, if any
/// were.
std::vector<char> kept_columns(Solver& solver) {
  const auto keep = solver.view();
  const int blocks = keep.block_count();
  std::vector<char> kept(solver.matrix.n + 1);
  for (int block = 1, j = 1; solver.ICNTL(MA48_ICNTL_COLUMNS_LAST) != 0 && block <= blocks; ++block) {
    const int end = j + keep.block_order(block), last = keep.left_to_last(blocks, block);
    for (; j < end; ++j) kept[keep.column_at(j)] = keep.block_kind(block) >= 0 && last > 0 && j < end - last;
  }
  return kept;
}

TEST(Ma48Routines, EveryJobAgreesWithTheFirstHoweverTheMatrixIsAnalysed) {
  Random random(21);
  int trial = 0, several = 0;
  for (const Settings& settings : kSettings) {
    for (const Coordinates& matrix : regular_matrices(random)) {
      SCOPED_TRACE(testing::Message() << settings.name << ", trial " << ++trial << ", order " << matrix.n);
      Solver solver(matrix);
      solver.use(settings, random);
      solver.ICNTL(MA48_ICNTL_DENSE_BLOCK_SIZE) = trial % 3 == 2 ? 32 : trial % 3;
      solver.CNTL(MA48_CNTL_THRESHOLD) = 0.5;  // columns left to last let elements grow
      ASSERT_GE(solver.analyse(), 0);
      expect_entries_counted(solver);
      several += settings.columns_last && solver.view().block_count() > 1;
      const std::vector<char> kept = kept_columns(solver);
      int overlooked = 0;  // named as changing, and still kept: one column a block at most
      for (int j = 1; j <= matrix.n; ++j) overlooked += kept[j] && solver.marks[j - 1] == 0;
      EXPECT_LE(overlooked, settings.job == 2 ? 0 : solver.view().block_count());
      for (const int job : {1, 2, 3, 2, 3}) {
        Solver fresh = solver;
        ASSERT_EQ(fresh.factor(1), 0);
        ASSERT_EQ(solver.factor(job), MA48_STATUS_OK) << "job " << job;
        EXPECT_EQ(solver.INFO(MA48_INFO_RANK), matrix.n);
        expect_solved(solver, random, 1e-11, 1 + ++trial % 4);
        const Vector b = random_vector(matrix.n, random), x = fresh.solve(b);
        EXPECT_LT(largest_difference(solver.solve(b), x), 1e-8 * largest(x)) << "job " << job;
        for (int k = 0; k < matrix.entries(); ++k) {
          if (!matrix.counts(k) || !kept[matrix.columns[k]])
            solver.matrix.values[k] *= 1.0 + 0.05 * uniform(random);
        }
      }
    }
  }
  EXPECT_GT(several, 5);
}

TEST(Ma48Routines, EveryLengthFromTheLeastLeadsToASolution) {
  Random random(22);
  for (int trial = 0; trial < 25; ++trial) {
    const Coordinates matrix =
        trial % 5 == 0   ? shuffled(banded_matrix(number(random, 10, 40), 2, 1, random), random)
        : trial % 5 == 1 ? shuffled(column_matrix(6, 3, random), random)
        : trial % 5 == 2 ? shuffled(flowsheet_matrix(12, 4, random), random)
        : trial % 5 == 3
            ? random_matrix(20, 20, 0.5, random)
            : with_faulty_entries(block_triangular_matrix({4, 1, 8, 2, 1, 6, 9}, random), 5, 4, random);
    int enough = 2 * matrix.entries();
    for (int length = enough; length <= enough; ++length) {
      SCOPED_TRACE(testing::Message() << "order " << matrix.n << ", length " << length);
      Solver solver(matrix, length);
      ASSERT_GE(solver.analyse_with_room(), 0);
      Solver again = solver;
      ASSERT_EQ(0, solver.with_room(MA48_INFO_FACTOR_LENGTH, [&] {
        const int status = solver.factor(), needed = solver.INFO(MA48_INFO_FACTOR_LENGTH);
        if (status == MA48_STATUS_TOO_SHORT) {
          EXPECT_EQ(solver.factor(2), MA48_STATUS_INCOMPATIBLE);  // no factors to build on
          solver.info[MA48_INFO_FACTOR_LENGTH - 1] = needed;
        }
        return status;
      }));
      if (solver.la > enough) enough = solver.la;
      for (const int job : {1, 2, 3}) {
        ASSERT_EQ(solver.factor(job), MA48_STATUS_OK);
        expect_solved(solver, random);
      }
      again.resize(solver.la);  // as a class does that loses its arrays
      ASSERT_GE(again.analyse(), 0);
      EXPECT_EQ(again.factor(), 0);
    }
    EXPECT_GT(enough, 2 * matrix.entries());
  }
}

TEST(Ma48Routines, NothingIsSolvedAfterAFactorisationThatFailed) {
  Random random(26);
  int failed = 0;
  for (int trial = 0; trial < 60; ++trial) {
    Solver solver(trial % 2 ? random_matrix(20, 20, 0.5, random)
                            : shuffled(flowsheet_matrix(12, 4, random), random));
    ASSERT_GE(solver.analyse(), 0);
    ASSERT_GE(solver.factor(), 0);
    const int enough = solver.la, needed = solver.INFO(MA48_INFO_FACTOR_LENGTH);
    solver.la =
        number(random, 2 * solver.matrix.entries(), std::max(2 * solver.matrix.entries(), needed - 1));
    if (solver.factor() != MA48_STATUS_TOO_SHORT) continue;
    ++failed;
    solver.la = enough;
    const Vector x = solver.solve(Vector(solver.matrix.n, 1.0));
    EXPECT_EQ(solver.INFO(MA48_INFO_STATUS), MA48_STATUS_INCOMPATIBLE);
    EXPECT_EQ(x, Vector(x.size(), 77.0));
  }
  EXPECT_GT(failed, 20);
}

/// With other pivots the first block's factors get longer or shorter, and those behind them move: their old
/// order is lost, and JOB 3 has to choose anew.
TEST(Ma48Routines, SameOrderBesideABlockWhoseFactorsChangeTheirLength) {
  Random random(29);
  int longer = 0, shorter = 0;
  for (int trial = 0; trial < 60; ++trial) {
    Coordinates a = block_triangular_matrix(Ints(3, 1), random);
    for (int first : {4, 19, 34}) {
      for (int k = 0; k < 60; ++k) {
        a.add(first + k % 15, first + (k < 15 ? k : k < 30 ? (k + 1) % 15 : number(random, 0, 14)), 1.0);
      }
    }
    a.m = a.n = 48;
    for (double& value : a.values) value = uniform(random) + 1.5;
    Solver solver(shuffled(a, random));
    solver.CNTL(MA48_CNTL_DENSITY) = 2.0;
    ASSERT_GE(solver.analyse(), 0);
    for (int pass = 0, start = 0; pass < 3; ++pass) {
      ASSERT_EQ(solver.factor(pass == 0 ? MA48_FACTOR_FREELY : MA48_FACTOR_SAME_ORDER), MA48_STATUS_OK);
      expect_solved(solver, random, 1e-9);
      int now = 0;
      for (int block = 2; block <= solver.view().block_count(); ++block)
        now = std::max(now, solver.view().block_start(block));
      if (pass > 0) longer += now > start, shorter += now < start;
      start = now;
      for (double& value : solver.matrix.values) value = uniform(random) * std::pow(10.0, uniform(random));
    }
  }
  EXPECT_GT(longer, 5);
  EXPECT_GT(shorter, 5);
}

TEST(Ma48Routines, TriangularBlockWithNullDiagonalBecomesGeneral) {
  Random random(23);
  Solver solver(block_triangular_matrix({1, 1, 1, 1, 1}, random));
  ASSERT_EQ(solver.analyse(), 0);
  ASSERT_EQ(solver.view().block_kind(1), -5);
  ASSERT_EQ(solver.factor(), MA48_STATUS_OK);
  const Vector values = solver.matrix.values;
  for (double& value : solver.matrix.values) value = value > 1.0 ? 0.0 : value;  // diagonals are above 1
  EXPECT_EQ(solver.factor(2), MA48_STATUS_INCOMPATIBLE);
  EXPECT_EQ(solver.factor(1), 2);
  EXPECT_EQ(solver.view().block_kind(1), 5);
  EXPECT_LT(solver.INFO(MA48_INFO_RANK), 5);
  solver.matrix.values = values;
  for (const int job : {1, 2, 3}) {
    EXPECT_EQ(solver.factor(job), MA48_STATUS_OK);
    expect_solved(solver, random);
  }
}

TEST(Ma48Routines, FaultsHaveTheirStatusAndLeaveARetryPossible) {
  Random random(24);
  Solver sound(block_triangular_matrix({6, 1, 1, 7, 5}, random));
  ASSERT_EQ(sound.analyse(), 0);
  ASSERT_EQ(sound.factor(), 0);
  const struct {
    std::function<void(Solver&)> change;
    int job, status;
  } factorisations[] = {
      {[](Solver& s) { s.matrix.m = 0; }, 1, MA48_STATUS_BAD_ORDER},
      {[](Solver& s) { s.matrix.values.clear(); }, 1, MA48_STATUS_BAD_ENTRY_COUNT},
      {[](Solver& s) { s.la = 2 * s.matrix.entries() - 1; }, 1, MA48_STATUS_TOO_SHORT},
      {[](Solver&) {}, 0, MA48_STATUS_BAD_JOB},
      {[](Solver&) {}, 4, MA48_STATUS_BAD_JOB},
      {[](Solver& s) { s.matrix.values.assign(s.matrix.entries(), 0.0); }, 1, 2},
      {[](Solver& s) { s.matrix.values.assign(s.matrix.entries(), 0.0); }, 2, MA48_STATUS_INCOMPATIBLE},
      {[](Solver& s) { s.matrix.values.assign(s.matrix.entries(), kNaN); }, 1, 2},
      {[](Solver& s) { s.matrix.values.assign(s.matrix.entries(), kNaN); }, 2, MA48_STATUS_INCOMPATIBLE},
      {[](Solver& s) { s.CNTL(MA48_CNTL_DROP_TOLERANCE) = 0.3, s.factor(); }, 2, MA48_STATUS_BAD_JOB},
      {[](Solver& s) { s.CNTL(MA48_CNTL_DROP_TOLERANCE) = 0.3, s.factor(); }, 3, MA48_STATUS_BAD_JOB},
  };
  for (const auto& row : factorisations) {
    SCOPED_TRACE(&row - factorisations);
    Solver solver = sound;
    row.change(solver);
    EXPECT_EQ(solver.factor(row.job), row.status);
    if (row.status != MA48_STATUS_INCOMPATIBLE) continue;
    solver.matrix = sound.matrix;
    for (const int job : {2, 1}) {
      EXPECT_EQ(solver.factor(job), MA48_STATUS_OK);
      expect_solved(solver, random);
    }
  }
  const int n = sound.matrix.n;
  const Vector b = random_vector(n, random), untouched(n, 77.0);
  const struct {
    std::function<void(Solver&)> change;
    int job, status;
  } solutions[] = {{[](Solver& s) { s.matrix.n = 0; }, 1, MA48_STATUS_BAD_ORDER},
                   {[](Solver&) {}, 0, MA48_STATUS_BAD_JOB},
                   {[](Solver&) {}, 5, MA48_STATUS_BAD_JOB}};
  for (const auto& row : solutions) {
    SCOPED_TRACE(&row - solutions);
    Solver solver = sound;
    row.change(solver);
    EXPECT_EQ(solver.solve(b, 1, row.job), untouched);
    EXPECT_EQ(solver.INFO(MA48_INFO_STATUS), row.status);
  }
}

/// Blocks with nothing between them, of ones along a cycle: those of even order lack one of their pivots.
Coordinates separate_cycles(const Ints& orders, Random& random) {
  const int n = std::accumulate(orders.begin(), orders.end(), 0);
  Coordinates a{n, n, {}, {}, {}};
  int first = 1;
  for (const int order : orders) {
    for (int k = 0; k < order; ++k) {
      a.add(first + k, first + k, 1.0);
      if (order > 1) a.add(first + k, first + (k + 1) % order, 1.0);
    }
    first += order;
  }
  return shuffled(a, random);
}

TEST(Ma48Routines, CountsWhatItDropsFromAColumnWithoutPivot) {
  Coordinates matrix{8, 8, {}, {}, {}};
  for (int j = 1; j <= 8; ++j) {
    for (int i = std::max(j - 1, 1); i <= std::min(j + 1, 8); ++i) matrix.add(i, j, i == j ? 4.0 : -1.0);
  }
  for (const double drop_tolerance : {0.0, 1e-6}) {
    int dropped = 0;
    for (int weak = 1; weak <= 8; ++weak) {
      Solver solver(matrix);
      solver.CNTL(MA48_CNTL_DENSITY) = 1.0;  // full blocks, which drop nothing, are small
      solver.CNTL(MA48_CNTL_DROP_TOLERANCE) = drop_tolerance;
      solver.CNTL(MA48_CNTL_PIVOT_TOLERANCE) = 0.01;
      ASSERT_EQ(solver.analyse(), MA48_STATUS_OK);
      for (int k = 0; k < matrix.entries(); ++k) {
        if (matrix.columns[k] == weak) solver.matrix.values[k] *= 1e-4;  // above the one, below the other
      }
      ASSERT_EQ(solver.factor(), MA48_WARNING_RANK_DEFICIENT);
      EXPECT_EQ(solver.INFO(MA48_INFO_RANK), 7);
      dropped += solver.INFO(MA48_INFO_DROPPED);
    }
    EXPECT_EQ(dropped > 0, drop_tolerance > 0.0);
  }
}

TEST(Ma48Routines, RectangularAndDeficientSystemsHaveTheirRankAndASolution) {
  Random random(25);
  for (int trial = 0; trial < 800; ++trial) {
    Coordinates a = random_matrix(number(random, 1, 30), number(random, 1, 30), 0.15, random);
    if (trial % 4 == 0) a = random_matrix(a.m, a.m, 0.4, random);
    if (trial % 4 == 1) {
      a = shuffled(low_rank_matrix(a.m, a.n, number(random, 1, std::min(a.m, a.n)), random), random);
    } else if (trial % 4 == 2) {
      a = separate_cycles({6, 1, 8, 5, 1, 10, 7}, random);
    }
    const int m = a.m, n = a.n;
    if (a.entries() == 0) continue;
    if (trial % 5 == 0) a = with_faulty_entries(a, 5, 5, random);
    SCOPED_TRACE(testing::Message() << "trial " << trial << ", " << m << " x " << n);
    Solver solver(a, 2 * a.entries());
    solver.use(kSettings[trial % 9], random);
    solver.ICNTL(MA48_ICNTL_DENSE_BLOCK_SIZE) = std::array{32, 1, 0, 2, 3, 8, INT_MAX, -3}[trial % 8];
    solver.ICNTL(MA48_ICNTL_SINGULAR_IS_ERROR) = 0;
    solver.CNTL(MA48_CNTL_DENSITY) =
        std::array{0.5, 0.0, 2.0}[trial / 3 % 3];   // all, some or nothing of it is a full part
    solver.CNTL(MA48_CNTL_PIVOT_TOLERANCE) = 1e-9;  // what dependence leaves of a column is rounding
    ASSERT_GE(solver.analyse_with_room(), 0);
    EXPECT_LE(solver.INFO(MA48_INFO_RANK), std::min(m, n));
    expect_entries_counted(solver);
    for (int k = 0; trial % 4 == 2 && k < a.entries(); ++k) {  // a null column where a pivot was chosen
      if (a.columns[k] % 6 == 0) solver.matrix.values[k] = 0.0;
    }
    const int rank = dense_rank(dense(solver.matrix));
    ASSERT_GE(solver.with_room(MA48_INFO_FACTOR_LENGTH, [&] { return solver.factor(); }), 0);
    const Vector b = random_vector(m, random), x = solver.solve(b);
    for (const int job : {2, 3}) {
      EXPECT_EQ(solver.factor(job), rank < std::min(m, n) ? 2 : 0);
      EXPECT_EQ(solver.INFO(MA48_INFO_RANK), rank);
      EXPECT_TRUE(job == 3 || solver.solve(b) == x);  // the same work on the same numbers
      for (const int solveJob : {1, 3, 4}) expect_solved(solver, random, 1e-9, solveJob);
      EXPECT_TRUE(m == n || solver.ERROR(MA48_ERROR_FORWARD) == 0.0);
    }
  }
}

/// A column that has no pivot with a finite reciprocal, or elements that are not finite, counts as null in
/// the analysis and with jobs 1 and 3; job 2, which chooses pivots in the full part only, refuses it
/// elsewhere.
TEST(Ma48Routines, WhatHasNoFiniteFactorsIsNoPivot) {
  const Coordinates cycle{3, 3, {1, 2, 2, 3, 3, 1}, {1, 1, 2, 2, 3, 3}, Vector(6, 1.0)};
  const Coordinates triangle{3, 3, {1, 1, 2, 2, 3}, {1, 2, 2, 3, 3}, Vector(5, 1.0)};
  const double inf = HUGE_VAL;
  const struct {
    const Coordinates& matrix;
    double density;
    int column;  // gets these values
    Vector values;
    int rank, ofJob2;
  } cases[] = {
      {cycle, 1.0, 1, {1e-310, -1e-310}, 2, MA48_STATUS_INCOMPATIBLE},
      {cycle, 0.0, 1, {1e-310, -1e-310}, 2, 2},
      {cycle, 1.0, 1, {1.0, inf}, 2, MA48_STATUS_INCOMPATIBLE},
      {cycle, 1.0, 2, {1.0, inf}, 2, 2},
      {cycle, 1.0, 1, {1.0, kNaN}, 2, MA48_STATUS_INCOMPATIBLE},
      {cycle, 0.0, 3, {1.0, kNaN}, 2, 2},
      {cycle, 1.0, 2, {inf, 1.0}, 2, MA48_STATUS_INCOMPATIBLE},
      {cycle, 0.0, 2, {-inf, 1.0}, 2, 2},
      {triangle, 0.5, 2, {1.0, 1e-310}, 2, MA48_STATUS_INCOMPATIBLE},
      {triangle, 0.5, 2, {1.0, inf}, 2, MA48_STATUS_INCOMPATIBLE},
      {triangle, 0.5, 2, {inf, 1.0}, 2, MA48_STATUS_INCOMPATIBLE},
      {triangle, 0.5, 2, {kNaN, 1.0}, 2, MA48_STATUS_INCOMPATIBLE},
      {triangle, 0.5, 2, {1.0, 6e-309}, 3, 0},
      {cycle, 1.0, 1, {6e-309, 6e-309}, 3, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    Solver solver(c.matrix);
    solver.CNTL(MA48_CNTL_DENSITY) = c.density;
    ASSERT_EQ(solver.analyse(), 0);
    ASSERT_EQ(solver.factor(), MA48_STATUS_OK);
    for (int k = 0, next = 0; k < c.matrix.entries(); ++k) {
      if (c.matrix.columns[k] == c.column) solver.matrix.values[k] = c.values[next++];
    }
    for (const int job : {2, 1, 3}) {
      EXPECT_EQ(solver.factor(job), job == 2 ? c.ofJob2 : c.rank < 3 ? 2 : 0) << "job " << job;
      if (solver.INFO(MA48_INFO_STATUS) < 0) continue;
      EXPECT_EQ(solver.INFO(MA48_INFO_RANK), c.rank);
      for (const int transposed : {0, 1}) {
        if (c.rank == 3) continue;  // solutions as large as 1e308
        for (const double x : solver.solve({1.0, 2.0, 4.0}, transposed)) EXPECT_TRUE(std::isfinite(x)) << x;
      }
    }
  }
}

TEST(Ma48Routines, BadlyScaledSystems) {
  Random random(28);
  for (int trial = 0; trial < 20; ++trial) {
    const Coordinates a = badly_scaled(column_matrix(12, 4, random), 6.0, random);
    Solver solver(a);
    ASSERT_EQ(solver.analyse(), 0);
    ASSERT_EQ(solver.factor(), MA48_STATUS_OK);
    for (const int transposed : {0, 1}) {
      const Vector b = multiply(a, random_vector(a.n, random), transposed != 0);
      const Vector x = solver.solve(b, transposed), product = multiply(a, x, transposed != 0);
      // By norms: the pivot threshold is one of columns, so a row of small entries may fare worse.
      EXPECT_LT(largest_difference(b, product), 1e-12 * (norm1(dense(a)) * norm1(x) + norm1(b)));
    }
  }
}

/// A factorised solver whose matrix is then changed a little: solutions have errors well above rounding.
Solver with_other_factors(const Coordinates& a, double change, Random& random) {
  Solver solver(a);
  EXPECT_EQ(solver.analyse(), 0);
  EXPECT_EQ(solver.factor(), MA48_STATUS_OK);
  for (int k = 0; k < a.entries(); ++k)
    solver.matrix.values[k] = solver.a[solver.jcn[k] - 1] *= 1.0 + change * uniform(random);
  return solver;
}

TEST(Ma48Routines, BackwardErrorIsThatOfTheSolution) {
  Random random(23);
  Solver solver = with_other_factors(shuffled(flowsheet_matrix(20, 5, random), random), 1e-6, random);
  for (const int transposed : {0, 1}) {
    solver.ICNTL(MA48_ICNTL_MOST_REFINEMENTS) = 10;
    const Vector b = random_vector(solver.matrix.n, random), x = solver.solve(b, transposed, 2);
    const double backward = scaled_residual(solver.matrix, x, b, transposed != 0);
    const struct {
      int job, most, status;
    } calls[] = {{2, 10, MA48_STATUS_OK}, {3, 10, MA48_STATUS_OK}, {3, 1, MA48_STATUS_NOT_CONVERGED}};
    for (const auto& call : calls) {
      solver.ICNTL(MA48_ICNTL_MOST_REFINEMENTS) = call.most;
      EXPECT_EQ(solver.solve(b, transposed, call.job), x);  // a correction alone has the greater error
      EXPECT_EQ(solver.INFO(MA48_INFO_STATUS), call.status);
      EXPECT_NEAR(solver.ERROR(MA48_ERROR_OMEGA1) / backward, 1.0, 1e-6);
      EXPECT_GT(solver.ERROR(MA48_ERROR_OMEGA1), 1e-9);
      EXPECT_EQ(solver.ERROR(MA48_ERROR_OMEGA2), 0.0);
    }
    solver.ICNTL(MA48_ICNTL_MOST_REFINEMENTS) = 0;
    EXPECT_EQ(solver.solve(b, transposed, 2), Vector(b.size()));
    EXPECT_EQ(solver.INFO(MA48_INFO_STATUS), MA48_STATUS_NOT_CONVERGED);
  }
}

TEST(Ma48Routines, ForwardErrorIsBounded) {
  Random random(24);
  for (int trial = 0; trial < 40; ++trial) {
    Solver solver = with_other_factors(shuffled(column_matrix(10, 3, random), random), 1e-7, random);
    const int transposed = trial % 2;
    Vector truth = random_vector(solver.matrix.n, random);
    for (double& value : truth) value *= trial % 3 == 0 ? 1e6 : 1.0;  // ERROR(3) is relative
    const Vector x = solver.solve(multiply(solver.matrix, truth, transposed != 0), transposed, 4);
    EXPECT_EQ(solver.INFO(MA48_INFO_STATUS), MA48_STATUS_OK);
    const double error = largest_difference(x, truth) / largest(x);
    EXPECT_GT(solver.ERROR(MA48_ERROR_FORWARD) * 10.0, error);
    EXPECT_LT(solver.ERROR(MA48_ERROR_FORWARD), 100.0 * error);  // not a bound that is always true
  }
}

TEST(Ma48Routines, ForwardErrorThatIsNotFiniteIsNoEstimate) {
  Solver solver({2, 2, {1, 2, 1, 2}, {1, 1, 2, 2}, {2e307, 1e308, 1.7e308, 2e307}});
  ASSERT_EQ(solver.analyse(), 0);
  ASSERT_EQ(solver.factor(), MA48_STATUS_OK);
  for (const int transposed : {0, 1}) {
    const Vector b{9.5e306, 6e306}, x = solver.solve(b, transposed, MA48_SOLVE_FORWARD_ERROR);
    EXPECT_EQ(solver.INFO(MA48_INFO_STATUS), MA48_STATUS_NO_FORWARD_ERROR);
    EXPECT_TRUE(std::isfinite(solver.ERROR(MA48_ERROR_FORWARD)));
    EXPECT_LT(solver.ERROR(MA48_ERROR_OMEGA1) + solver.ERROR(MA48_ERROR_OMEGA2), 1e-15);
    EXPECT_EQ(x, solver.solve(b, transposed, MA48_SOLVE_BACKWARD_ERRORS));
  }
}

TEST(Ma48Routines, NotANumberEndsAndShows) {
  Random random(27);
  Solver solver(column_matrix(5, 2, random));
  ASSERT_EQ(solver.analyse(), 0);
  ASSERT_EQ(solver.factor(), MA48_STATUS_OK);
  Vector b = random_vector(solver.matrix.n, random);
  b[3] = kNaN;
  solver.ICNTL(MA48_ICNTL_MOST_REFINEMENTS) = std::numeric_limits<int>::max();
  for (int job = 2; job <= 4; ++job) {
    solver.solve(b, 0, job);
    EXPECT_TRUE(std::isnan(solver.ERROR(MA48_ERROR_OMEGA1) + solver.ERROR(MA48_ERROR_OMEGA2)));
    EXPECT_EQ(solver.INFO(MA48_INFO_STATUS), job == 2 ? MA48_STATUS_OK : MA48_STATUS_NOT_CONVERGED);
  }
}

TEST(Ma48Routines, ThreadsSolveSeparately) {
  const auto work = [](Vector& result, unsigned seed) {
    Random random(seed);
    for (int pass = 0; pass < 10; ++pass) {
      Solver solver(shuffled(flowsheet_matrix(12, 5, random), random));
      EXPECT_TRUE(solver.analyse() == 0 && solver.factor() == MA48_STATUS_OK);
      const Vector x = solver.solve(random_vector(solver.matrix.n, random), 0, 4);
      result.insert(result.end(), x.begin(), x.end());
      result.push_back(solver.ERROR(MA48_ERROR_FORWARD));
    }
  };
  Vector alone[4], together[4];
  std::vector<std::thread> threads;
  for (unsigned seed = 0; seed < 4; ++seed) work(alone[seed], seed);
  for (unsigned seed = 0; seed < 4; ++seed) threads.emplace_back(work, std::ref(together[seed]), seed);
  for (std::thread& thread : threads) thread.join();
  for (int seed = 0; seed < 4; ++seed) EXPECT_EQ(alone[seed], together[seed]);
}

}  // namespace
