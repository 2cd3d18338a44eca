// ma48ad_: the analysis tells the same matrix as the entries, in block form, whatever is wrong with them.

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <set>
#include <utility>

#include "sparse/ma48/kernels.h"
#include "sparse/ma48/layout.h"
#include "sparse/ma48/ma48_routines.h"
#include "tests/support/sparse_matrices.h"

namespace {

using corvidnum::KeepView;
using reference::Coordinates;
using reference::Dense;
using reference::Random;
using reference::Vector;
using List = std::vector<int>;

std::size_t at(std::ptrdiff_t i) { return static_cast<std::size_t>(i); }

/// The arguments of ma48ad_; every array on its own, of exactly the documented length.
struct Analysis {
  Coordinates matrix;
  int la, job = 1;
  Vector a, cntl = Vector(5);
  List irn, jcn, keep, icntl = List(9), iw, info = List(12, 77);
  double rinfo = -1.0;

  explicit Analysis(const Coordinates& given, int length = 0)
      : matrix(given),
        la(length != 0 ? length : 6 * given.entries() + 20),
        keep(at(corvidnum::keep_length(given.m, given.n)), -9),
        iw(at(6 * given.m + 3 * given.n), -9) {
    ma48id_(cntl.data(), icntl.data());
  }

  int run() {
    a = matrix.values;
    irn = matrix.rows;
    jcn = matrix.columns;
    a.resize(at(la));
    irn.resize(at(la), -9);
    jcn.resize(at(la), -9);
    const int ne = matrix.entries();
    ma48ad_(&matrix.m, &matrix.n, &ne, &job, &la, a.data(), irn.data(), jcn.data(), keep.data(), cntl.data(),
            icntl.data(), iw.data(), info.data(), &rinfo);
    return info[0];
  }
  /// Runs until the length suffices, each time with what INFO(3) asks for.
  int run_with_room() {
    for (int tries = 0; run() == -3 && tries < 40; ++tries) {
      EXPECT_GT(info[2], la);
      la = info[2];
    }
    return info[0];
  }
  KeepView<int> view() { return {keep.data(), matrix.m, matrix.n}; }
  int duplicates() const { return info[10]; }
  int strays() const { return info[11]; }
};

/// The permuted matrix, rebuilt from store, map and permutations, is the given one; below the blocks is
/// nothing.
void expect_same_matrix(Analysis& analysis) {
  const auto keep = analysis.view();
  const int m = analysis.matrix.m, n = analysis.matrix.n, ne = analysis.matrix.entries();
  const int end = keep.off_diagonal_start(n + 1);
  std::set<std::pair<int, int>> places;
  int strays = 0;
  for (int k = 0; k < ne; ++k) {
    if (!analysis.matrix.counts(at(k))) {
      ++strays;
    } else {
      places.emplace(analysis.matrix.rows[at(k)], analysis.matrix.columns[at(k)]);
    }
  }
  EXPECT_EQ(strays, analysis.strays());
  ASSERT_EQ(static_cast<int>(places.size()), end - 1);
  EXPECT_EQ(ne - strays - (end - 1), analysis.duplicates());
  ASSERT_EQ(keep.diagonal_start(n + 1), keep.off_diagonal_start(1));
  EXPECT_EQ(analysis.duplicates() > 0, analysis.jcn[0] < 0);
  EXPECT_EQ(analysis.matrix.values, Vector(analysis.a.begin(), analysis.a.begin() + ne));

  Vector store(at(ne));
  for (int k = 0; k < ne; ++k) {
    const int place = std::abs(analysis.jcn[at(k)]);
    ASSERT_TRUE(1 <= place && place <= ne);
    if (analysis.matrix.counts(at(k))) {
      ASSERT_LT(place, end);
      store[at(place - 1)] += analysis.matrix.values[at(k)];
    } else {
      EXPECT_EQ(ne, place);
    }
  }
  List block_of(at(n));
  for (int block = 1, first = 1; block <= keep.block_count(); first += keep.block_order(block++)) {
    ASSERT_LE(first - 1 + keep.block_order(block), n);
    std::fill_n(block_of.begin() + first - 1, keep.block_order(block), block);
    for (int j = first; keep.block_kind(block) < 0 && j < first + keep.block_order(block); ++j)
      EXPECT_EQ(j, analysis.irn[at(keep.diagonal_start(j) - 1)])
          << "a triangular block's diagonal comes first";
  }
  Dense permuted(m, n);
  const auto read = [&](int j, int from, int to, bool inside) {
    for (int k = from; k < to; ++k) {
      const int row = analysis.irn[at(k - 1)];
      ASSERT_TRUE(1 <= row && row <= m);
      if (m == n) {
        EXPECT_EQ(inside, block_of[at(row - 1)] == block_of[at(j - 1)]);
        EXPECT_LE(block_of[at(row - 1)], block_of[at(j - 1)]);
      }
      permuted(row - 1, j - 1) += store[at(k - 1)];
    }
  };
  for (int j = 1; j <= n; ++j) {
    read(j, keep.diagonal_start(j), keep.diagonal_start(j + 1), true);
    read(j, keep.off_diagonal_start(j), keep.off_diagonal_start(j + 1), false);
  }
  Dense difference = dense(analysis.matrix);
  for (int i = 1; i <= m; ++i) {
    for (int j = 1; j <= n; ++j)
      difference(i - 1, keep.column_at(j) - 1) -= permuted(keep.row_place(i) - 1, j - 1);
  }
  EXPECT_LE(norm1(difference), 1e-14 * ne);
}

struct Settings {
  const char* name;
  int job, smallest_block, singular_is_error, columns_last, search_limit;
};
constexpr Settings kSettings[] = {
    {"defaults", 1, 1, 1, 0, 3},
    {"no block form", 1, 1000000, 1, 0, 3},
    {"blocks of 4", 1, 4, 0, 0, 3},
    {"singular allowed", 1, 1, 0, 0, 0},
    {"columns last", 1, 1, 0, 1, 3},
    {"given permutations", 2, 1, 1, 0, 3},
    {"given, columns last", 2, 1, 1, 1, 3},
    {"diagonal pivots", 3, 1, 1, 0, -1},
    {"diagonal, columns last", 3, 1, 1, 1, 1},
};

void use(Analysis& analysis, const Settings& settings, Random& random) {
  analysis.job = settings.job;
  analysis.icntl[corvidnum::kSmallestBlock - 1] = settings.smallest_block;
  analysis.icntl[corvidnum::kSingularIsError - 1] = settings.singular_is_error;
  analysis.icntl[corvidnum::kColumnsLast - 1] = settings.columns_last;
  analysis.icntl[corvidnum::kSearchLimit - 1] = settings.search_limit;
  const int m = analysis.matrix.m, n = analysis.matrix.n;
  for (int j = 0; j < n; ++j) analysis.iw[at(j)] = reference::number(random, 0, 3);
  for (int i = 0; i < m; ++i) analysis.keep[at(i)] = i + 1;
  for (int j = 0; j < n; ++j) analysis.keep[at(m + j)] = j + 1;
  std::shuffle(analysis.keep.begin(), analysis.keep.begin() + m, random);
  std::shuffle(analysis.keep.begin() + m, analysis.keep.begin() + m + n, random);
}

std::vector<Coordinates> matrices(Random& random) {
  using namespace reference;
  std::vector<Coordinates> all{
      random_matrix(1, 1, 1.0, random),   random_matrix(7, 7, 0.4, random),
      random_matrix(20, 20, 0.1, random), random_matrix(9, 15, 0.3, random),
      random_matrix(15, 9, 0.3, random),  random_matrix(30, 30, 0.03, random),
      banded_matrix(25, 2, 1, random),    banded_matrix(12, 0, 0, random),
      banded_matrix(14, 0, 3, random),    block_triangular_matrix({1, 1, 1, 5, 2, 1, 3, 1, 1}, random),
      column_matrix(6, 3, random),        flowsheet_matrix(12, 4, random),
      low_rank_matrix(10, 10, 4, random), badly_scaled(random_matrix(20, 20, 0.2, random), 12.0, random)};
  const std::size_t sound = all.size();
  for (std::size_t k = 0; k < sound; ++k) {
    if (all[k].entries() > 0) all.push_back(with_faulty_entries(all[k], 5, 5, random));
  }
  return all;
}

TEST(Ma48Analysis, TellsTheSameMatrix) {
  Random random(4);
  for (const Settings& settings : kSettings) {
    int number = 0;
    for (const Coordinates& matrix : matrices(random)) {
      SCOPED_TRACE(std::string(settings.name) + ", matrix " + std::to_string(number++));
      if (matrix.entries() == 0) continue;
      Analysis analysis(matrix, 2 * matrix.entries());
      use(analysis, settings, random);
      int status = analysis.run();
      while (status == -3) {
        ASSERT_GT(analysis.info[2], analysis.la);
        EXPECT_EQ(0, analysis.view().block_count()) << "nothing to factorise after an error";
        use(analysis, settings, random);
        analysis.la = analysis.info[2];
        status = analysis.run();
      }
      if (status == -4) {
        EXPECT_LT(analysis.info[9], matrix.n);
        EXPECT_EQ(0, analysis.view().block_count());
        continue;
      }
      ASSERT_TRUE(0 <= status && status <= 7) << status;
      expect_same_matrix(analysis);
      EXPECT_EQ(status % 2 == 1, analysis.duplicates() + analysis.strays() > 0);
      EXPECT_LE(analysis.info[4], std::min(matrix.m, matrix.n));
      EXPECT_GE(analysis.info[3], matrix.entries());
      if (testing::Test::HasFailure()) return;
    }
  }
}

TEST(Ma48Analysis, FindsTheBlocks) {
  Random random(6);
  Analysis analysis(reference::block_triangular_matrix({1, 1, 5, 2, 1, 3}, random));
  ASSERT_EQ(0, analysis.run_with_room());
  List general;
  int triangular = 0;
  const auto keep = analysis.view();
  for (int block = 1; block <= keep.block_count(); ++block) {
    if (keep.block_kind(block) < 0) {
      triangular += keep.block_order(block);
    } else {
      general.push_back(keep.block_order(block));
    }
  }
  std::sort(general.begin(), general.end());
  EXPECT_EQ((List{2, 3, 5}), general);
  EXPECT_EQ(3, triangular);
  EXPECT_EQ((List{5, 10}), (List{analysis.info[6], analysis.info[7]}));
  EXPECT_EQ((List{13, 13}), (List{analysis.info[4], analysis.info[9]}));

  Analysis diagonal(reference::banded_matrix(12, 0, 0, random), 24);
  EXPECT_EQ(0, diagonal.run());
  EXPECT_EQ((List{1, -12}), (List{diagonal.view().block_count(), diagonal.view().block_kind(1)}));
}

struct Faulty {
  const char* name;
  std::function<void(Analysis&)> spoil;
  int status;
};

TEST(Ma48Analysis, ReportsFaultsInItsOrder) {
  const Faulty table[] = {
      {"no rows", [](Analysis& x) { x.matrix.m = 0; }, -1},
      {"no columns, though no such job", [](Analysis& x) { x.matrix.n = INT_MIN, x.job = 9; }, -1},
      {"no entries", [](Analysis& x) { x.matrix.values.clear(); }, -2},
      {"short, though no such job", [](Analysis& x) { x.la = 2 * x.matrix.entries() - 1, x.job = 0; }, -3},
      {"job 0", [](Analysis& x) { x.job = 0; }, -6},
      {"job 4", [](Analysis& x) { x.job = 4; }, -6},
      {"no permutation", [](Analysis& x) { x.job = 2; }, -5},
      {"column twice",
       [](Analysis& x) {
         x.job = 2;
         for (int i = 0; i < 12; ++i) x.keep[at(i)] = i % 6 + 1;
         x.keep[11] = 1;
       },
       -5},
      {"empty column",
       [](Analysis& x) { std::replace(x.matrix.columns.begin(), x.matrix.columns.end(), 3, 4); }, -4},
      {"empty column allowed",
       [](Analysis& x) {
         std::replace(x.matrix.columns.begin(), x.matrix.columns.end(), 3, 0);
         x.icntl[corvidnum::kSingularIsError - 1] = 0;
       },
       3},
      {"columns 1 and 2 have row 1 only, which a full part does not see",
       [](Analysis& x) {
         for (std::size_t k = 0; k < x.matrix.values.size(); ++k) {
           if (x.matrix.columns[k] <= 2 && x.matrix.rows[k] != 1) x.matrix.rows[k] = 0;
         }
         x.icntl[corvidnum::kSingularIsError - 1] = 0;
         x.cntl[corvidnum::kDensity - 1] = 0.0;
       },
       3},
      {"all out of range",
       [](Analysis& x) {
         std::fill(x.matrix.columns.begin(), x.matrix.columns.end(), INT_MAX);
         x.icntl[corvidnum::kSingularIsError - 1] = 0;
       },
       3},
      {"not a number",
       [](Analysis& x) { std::fill(x.matrix.values.begin(), x.matrix.values.end(), std::nan("")); }, 2},
  };
  for (const Faulty& row : table) {
    SCOPED_TRACE(row.name);
    Random random(1);
    Analysis analysis(reference::banded_matrix(6, 1, 1, random));
    row.spoil(analysis);
    EXPECT_EQ(row.status, analysis.run());
    EXPECT_TRUE(row.status != -3 || analysis.info[2] == 2 * analysis.matrix.entries());
  }
}

TEST(Ma48Analysis, AsksForAsMuchAsAnArrayMayHave) {
  const int m = 5, n = 5, ne = INT_MAX, job = 1, la = INT_MAX;
  List info(12), icntl(9);
  Vector cntl(5);
  ma48id_(cntl.data(), icntl.data());
  ma48ad_(&m, &n, &ne, &job, &la, nullptr, nullptr, nullptr, nullptr, cntl.data(), icntl.data(), nullptr,
          info.data(), nullptr);
  EXPECT_EQ((List{-3, 0x7ffffffe}), (List{info[0], info[2]}));
}

TEST(Ma48Analysis, LeavesMarkedColumnsLast) {
  Random random(2);
  Analysis analysis(reference::banded_matrix(8, 7, 7, random), 400);
  analysis.icntl[corvidnum::kColumnsLast - 1] = 1;
  std::fill_n(analysis.iw.begin(), 8, 1);
  analysis.iw[2] = analysis.iw[5] = 0;
  ASSERT_EQ(0, analysis.run());
  const auto keep = analysis.view();
  EXPECT_EQ(2, keep.left_to_last(1, 1));
  EXPECT_EQ((std::set<int>{3, 6}), (std::set<int>{keep.column_at(7), keep.column_at(8)}));
}

TEST(Ma48Defaults, AreWritten) {
  Vector cntl(5), kernel_cntl(4);
  List icntl(9), kernel_icntl(7);
  ma48id_(cntl.data(), icntl.data());
  corvidnum::ma50id_(kernel_cntl.data(), kernel_icntl.data());
  EXPECT_EQ((Vector{0.5, 0.1, 0.0, 0.0, 0.5}), cntl);
  EXPECT_EQ((List{6, 6, 2, 3, 32, 1, 1, 0, 10}), icntl);
  EXPECT_EQ((Vector{0.5, 0.1, 0.0, 0.0}), kernel_cntl);
  EXPECT_EQ((List{6, 6, 1, 3, 32, 0, 0}), kernel_icntl);
}

}  // namespace
