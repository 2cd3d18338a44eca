#include "dense/arrow_matrix.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "dense/regular_matrix.h"
#include "host/corvid_host.h"
#include "tests/support/dense_reference.h"

namespace {

using namespace reference;
using Tracking = ArrowMatrix::TrackNZType;

constexpr Tracking kTrackings[] = {ArrowMatrix::TrackNone, ArrowMatrix::TrackInternal,
                                   ArrowMatrix::TrackProvided, static_cast<Tracking>(-7)};

struct Shape {
  int n, kl, ku, m;
  std::string text() const {
    return "n " + std::to_string(n) + ", kl " + std::to_string(kl) + ", ku " + std::to_string(ku) + ", m " +
           std::to_string(m);
  }
};

Shape random_shape(Random& random) {
  const int n = number(random, 0, 9) == 0 ? 50 : number(random, 0, 10);
  return {n, number(random, 0, 4), number(random, 0, 4), number(random, 0, 4)};
}

/// An arrow whose band needs row interchanges where it is wide enough for them. The band is well conditioned
/// by itself, not only the whole: no elimination of the band first is backward stable without that.
Dense random_arrow(const Shape& s, Random& random) {
  const bool interchanged = s.kl > 0 && s.ku > 0;
  const int below = s.kl - interchanged, above = s.ku - interchanged;
  Dense a(s.n + s.m, s.n + s.m);
  for (int j = 0; j < a.cols; ++j) {
    for (int i = 0; i < a.rows; ++i) {
      const bool in_a21 = i >= s.n && j < s.n, in_a11 = i < s.n && j < s.n;
      if (in_a11 && (i - j > below || j - i > above)) continue;
      if (in_a21 && number(random, 0, 1) == 0) continue;
      a(i, j) = uniform(random);
    }
    a(j, j) += j < s.n ? below + above + 2 : s.n + s.m + 1;
    for (int i = 0; interchanged && j < s.n && i + 1 < s.n; i += 2) std::swap(a(i, j), a(i + 1, j));
  }
  return a;
}

/// An arrow with its list of non-zeros, however it is kept, and a look at the lists inside.
class FilledArrow : public ArrowMatrix {
 public:
  FilledArrow(const Shape& s, Tracking tracking) : ArrowMatrix(s.n, s.kl, s.ku, s.m, tracking) {}
  FilledArrow(const Shape& s, Tracking tracking, const Dense& a) : FilledArrow(s, tracking) {
    for (int j = 0; j < a.cols; ++j) {
      for (int i = 0; i < a.rows; ++i) {
        if (i < n || j >= n || a(i, j) != 0.0) (*this)(i, j) = a(i, j);
      }
    }
    if (track != TrackNone && track != TrackInternal) provide(a);
  }

  std::vector<int> starts() const { return {rowStart, rowStart + m}; }
  std::vector<int> counts() const { return {rowCount, rowCount + m}; }
  std::vector<int> columns() const {
    return {colIndex, colIndex + std::accumulate(rowCount, rowCount + m, 0)};
  }
  int list_capacity() const { return capacity; }

 private:
  /// Rows from the last to the first, with columns among them that do not exist.
  void provide(const Dense& a) {
    given_starts_.resize(static_cast<std::size_t>(m));
    given_counts_.resize(static_cast<std::size_t>(m));
    for (int r = m - 1; r >= 0; --r) {
      const auto row = static_cast<std::size_t>(r);
      given_starts_[row] = static_cast<int>(given_columns_.size());
      for (int j = n - 1; j >= 0; --j) {
        if (a(n + r, j) != 0.0) given_columns_.push_back(j);
      }
      for (const int nowhere : {n, -1, INT_MAX, INT_MIN}) given_columns_.push_back(nowhere);
      given_counts_[row] = static_cast<int>(given_columns_.size()) - given_starts_[row];
    }
    given_columns_.reserve(1);  // an address also for an empty list
    ProvideNZ(given_starts_.data(), given_counts_.data(), given_columns_.data());
  }

  std::vector<int> given_starts_, given_counts_, given_columns_;
};

TEST(ArrowMatrix, SolvesLikeTheDenseMatrix) {
  Random random(5);
  for (int trial = 0; trial < 400; ++trial) {
    const Shape s = random_shape(random);
    const Dense a = random_arrow(s, random);
    const Vector b = random_vector(a.rows, random);
    Vector dense_x(b.size()), rhs = b;
    RegularMatrix dense(a.rows, a.rows);
    for (int j = 0; j < a.cols; ++j) {
      for (int i = 0; i < a.rows; ++i) dense(i, j) = a(i, j);
    }
    int info = 99;
    ASSERT_EQ(dense.Solve(dense_x.data(), rhs.data(), info), Matrix::MatrixOK);

    for (const Tracking tracking : kTrackings) {
      SCOPED_TRACE(s.text() + ", track " + std::to_string(tracking));
      FilledArrow arrow(s, tracking, a);
      Vector x(b.size());
      rhs = b;
      info = 99;
      EXPECT_EQ(arrow.Solve(x.data(), rhs.data(), info), Matrix::MatrixOK);
      EXPECT_EQ(info, s.n + s.m > 0 ? 0 : 99);
      EXPECT_LT(solve_ratio(a, x, b), kRatioLimit);
      Vector difference = x;
      for (std::size_t i = 0; i < x.size(); ++i) difference[i] -= dense_x[i];
      EXPECT_LE(norm1(difference), 1e-12 * norm1(dense_x));
      EXPECT_TRUE(s.m > 0 || rhs == b) << "kept without a border";

      rhs = b;
      EXPECT_EQ(arrow.BackSub(rhs.data(), rhs.data()), Matrix::MatrixOK);
      EXPECT_EQ(rhs, x) << "again, and in place";
    }
  }
}

TEST(ArrowMatrix, NaNAndInfinityEndWithAResultOrACode) {
  Random random(6);
  for (int trial = 0; trial < 2000; ++trial) {
    const Shape s = random_shape(random);
    if (s.n + s.m == 0) continue;
    Dense a = random_arrow(s, random);
    Vector b = random_vector(a.rows, random), x(b.size(), 4711.0);
    const bool is_nan = trial % 2 == 0;
    double* const victim = &a(number(random, 0, a.rows - 1), number(random, 0, a.rows - 1));
    if (*victim == 0.0) continue;  // outside the band or the list
    *victim = is_nan ? std::nan("") : -HUGE_VAL;
    for (const Tracking tracking : kTrackings) {
      SCOPED_TRACE(s.text());
      FilledArrow arrow(s, tracking, a);
      Vector rhs = b;
      int info = 0;
      if (arrow.Solve(x.data(), rhs.data(), info) != Matrix::MatrixOK) continue;
      bool finite = true;
      for (const double value : x) {
        finite = finite && std::isfinite(value);
        EXPECT_NE(value, 4711.0);
      }
      EXPECT_FALSE(is_nan && finite);
    }
  }
}

TEST(ArrowMatrix, BandFailsOnZeroAndCornerOnTheLimit) {
  const struct {
    double band, corner;
    Matrix::ErrorCode code;
    int info;
  } kCases[] = {
      {1e-300, 1.1e-8, Matrix::MatrixOK, 0},
      {0.0, 1.0, Matrix::MatrixFailed, 2},
      {1.0, 1e-8, Matrix::MatrixFailed, 0},
      {1.0, std::nan(""), Matrix::MatrixFailed, 0},
  };
  for (const auto& c : kCases) {
    ArrowMatrix arrow(2, 1, 1, 1, ArrowMatrix::TrackNone);
    arrow(0, 0) = 1.0;
    arrow(1, 1) = c.band;
    arrow(2, 2) = c.corner;
    Vector x(3), b(3, 1.0);
    int info = 99;
    EXPECT_EQ(arrow.Solve(x.data(), b.data(), info), c.code);
    EXPECT_EQ(info, c.info);
  }
}

TEST(ArrowMatrix, AccessOutsideTheBandAndOutsideTheMatrix) {
  FilledArrow arrow({6, 1, 2, 2}, ArrowMatrix::TrackInternal);
  for (const auto& [row, col] : {std::pair{0, 5}, {5, 0}, {0, 3}, {2, 0}}) {
    arrow(row, col) = 7.0;
    EXPECT_EQ(arrow(row, col), 0.0) << row << ", " << col;
  }
  RegularMatrix regular(1, 1);
  double* const outside = arrow.Address(-1, 0);
  EXPECT_NE(outside, regular.Address(-1, 0));
  *outside = 5.0;
  for (const auto& [row, col] : {std::pair{0, -1}, {8, 0}, {0, 8}, {INT_MAX, INT_MIN}}) {
    EXPECT_EQ(&arrow(row, col), outside);
  }
  EXPECT_EQ(*outside, 5.0);
  *outside = 0.0;
  EXPECT_EQ(arrow.columns(), std::vector<int>{}) << "none of these is an element of the lower border";
}

TEST(ArrowMatrix, MarksFollowTheOrderOfAccess) {
  Random random(7);
  for (int trial = 0; trial < 50; ++trial) {
    const Shape s = {number(random, 1, 12), 0, 0, number(random, 1, 5)};
    FilledArrow arrow(s, ArrowMatrix::TrackInternal);
    std::size_t capacity = 10;
    for (int round = 0; round < 2; ++round) {  // the second after ZeroElements
      std::vector<std::pair<int, std::vector<int>>>
          rows;  // in the order of their first marks; newest column first
      std::size_t total = 0;
      for (int mark = 0; mark < 40; ++mark) {
        const int row = number(random, 0, s.m - 1), col = number(random, 0, s.n - 1);
        arrow(s.n + row, col);
        auto stretch = std::find_if(rows.begin(), rows.end(), [&](const auto& r) { return r.first == row; });
        if (stretch == rows.end()) stretch = rows.insert(rows.end(), {row, {}});
        std::vector<int>& marked = stretch->second;
        if (std::find(marked.begin(), marked.end(), col) == marked.end()) {
          marked.insert(marked.begin(), col);
          capacity = std::max(capacity, ++total);
        }
      }
      std::vector<int> starts(static_cast<std::size_t>(s.m), 0), counts = starts, columns;
      for (const auto& [row, marked] : rows) {
        starts[static_cast<std::size_t>(row)] = static_cast<int>(columns.size());
        counts[static_cast<std::size_t>(row)] = static_cast<int>(marked.size());
        columns.insert(columns.end(), marked.begin(), marked.end());
      }
      EXPECT_EQ(arrow.starts(), starts);
      EXPECT_EQ(arrow.counts(), counts);
      EXPECT_EQ(arrow.columns(), columns);
      EXPECT_EQ(arrow.list_capacity(), static_cast<int>(capacity));
      arrow.ZeroElements();
    }
  }
}

TEST(ArrowMatrix, EliminatesOverTheListAlone) {
  // [1 1; 1 2]: the one element of A21 decides whether x is (-1, 2) or (0.5, 0.5).
  const auto solve = [](ArrowMatrix& arrow) {
    for (const int j : {0, 1}) arrow(0, j) = 1.0;
    arrow(1, 1) = 2.0;
    Vector x(2), b = {1.0, 1.0};
    int info = 0;
    EXPECT_EQ(arrow.Solve(x.data(), b.data(), info), Matrix::MatrixOK);
    return x;
  };
  const Vector with = {1.0, 0.0}, without = {0.5, 0.5};

  ArrowMatrix marked(1, 0, 0, 1, ArrowMatrix::TrackInternal);
  double* const a21 = marked.Address(1, 0);
  *a21 = 1.0;
  EXPECT_EQ(solve(marked), with);
  marked.ZeroElements();
  *a21 = 1.0;  // not through an access, so it is not in the list
  EXPECT_EQ(solve(marked), without);

  for (const Tracking tracking : {ArrowMatrix::TrackInternal, ArrowMatrix::TrackProvided}) {
    int start = 0, count = 0, column = 0;
    ArrowMatrix provided(1, 0, 0, 1, tracking);
    provided(1, 0) = 1.0;
    provided.ProvideNZ(&start, &count, &column);
    EXPECT_EQ(solve(provided), without) << "the caller's list counts, whoever owns one";
    provided.ZeroElements();
    provided(1, 0) = 1.0;
    count = 1;
    EXPECT_EQ(solve(provided), with);
    EXPECT_EQ(count, 1);
  }
}

TEST(ArrowMatrix, AProvidedListStaysInUseWhileTheOwnOneGrows) {
  int start = 0, count = 1, column = 5;
  FilledArrow arrow({12, 0, 0, 1}, ArrowMatrix::TrackInternal);
  arrow.ProvideNZ(&start, &count, &column);
  for (int j = 0; j < 12; ++j) arrow(12, j);
  EXPECT_EQ(arrow.list_capacity(), 12);
  EXPECT_EQ(arrow.columns(), std::vector<int>{5});
}

TEST(ArrowMatrix, WithoutRowsNothingIsWritten) {
  ArrowMatrix arrow(0, 1, 1, 0, ArrowMatrix::TrackNone);
  int info = 99;
  EXPECT_EQ(arrow.FactorLU(info), Matrix::MatrixOK);
  EXPECT_EQ(arrow.BackSub(nullptr, nullptr), Matrix::MatrixOK);
  EXPECT_EQ(arrow.Solve(nullptr, nullptr, info), Matrix::MatrixOK);
  EXPECT_EQ(info, 99);
}

TEST(ArrowMatrix, PermutationInfoOfBandAndBorder) {
  ArrowMatrix arrow(2, 1, 0, 4, ArrowMatrix::TrackNone);
  const auto places = [&] {
    std::vector<int> found;
    for (const int i : {0, 1, 2, 3, 4, 5, 6, -1, INT_MAX, INT_MIN}) found.push_back(arrow.PermutationInfo(i));
    return found;
  };
  arrow(0, 0) = 1.0;
  arrow(1, 0) = 2.0;
  arrow(1, 1) = 1.0;
  const int row_of_column[] = {2, 0, 1, 3};  // interchanged in the places (0, 2) and (1, 2)
  for (int j = 0; j < 4; ++j) arrow(2 + row_of_column[j], 2 + j) = 1.0;
  int info = 0;
  ASSERT_EQ(arrow.FactorLU(info), Matrix::MatrixOK);
  EXPECT_EQ(places(), (std::vector<int>{2, 1, 1, 4, -1, -1, -1, -1, -1, -1}));
  arrow.ZeroElements();
  EXPECT_EQ(places(), (std::vector<int>{1, 2, 3, 4, -1, -1, -1, -1, -1, -1}));
}

/// Calls everything there is at places of all kinds. @return the code of the solution
Matrix::ErrorCode use_everything(ArrowMatrix& arrow) {
  Vector x(16, 1.0), b(16, 1.0);
  int info = 0;
  for (const int i : {-1, 0, 1, 2, 5, INT_MAX}) {
    for (const int j : {-1, 0, 1, 2, 5, INT_MAX}) *arrow.Address(i, j) = i == j ? 2.0 : 0.0;
    arrow.PermutationInfo(i);
  }
  arrow.FactorLU(info);
  arrow.BackSub(x.data(), b.data());
  arrow.ZeroElements();
  return arrow.Solve(x.data(), b.data(), info);
}

TEST(ArrowMatrix, StrangeSizesAreHarmless) {
  constexpr int kMany = 1 << 30;
  const struct {
    Shape shape;
    int valid;
  } kCases[] = {
      {{-1, 0, 0, 3}, 1},
      {{3, 0, 0, -1}, 1},
      {{3, -1, 4, 1}, 1},
      {{6, -3, 5, 1}, 1},
      {{3, 1, -1, 1}, 1},
      {{3, 0, -2, 1}, 1},
      {{-3, -3, -3, -3}, 1},
      {{3, kMany, 0, 1}, 0},
      {{3, 0, INT_MAX, 1}, 0},
      {{3, INT_MIN, 0, 1}, 0},
      {{INT_MIN, 0, 0, INT_MIN}, 1},
      {{1 << 20, 0, 0, 1 << 20}, 0},
  };
  testing::internal::CaptureStdout();  // the reports of illegal arguments
  for (const auto& c : kCases) {
    for (const Tracking tracking : kTrackings) {
      SCOPED_TRACE(c.shape.text());
      FilledArrow arrow(c.shape, tracking);
      EXPECT_EQ(arrow.Valid(), c.valid);
      EXPECT_EQ(use_everything(arrow), Matrix::MatrixFailed);
    }
  }
  FilledArrow no_list({2, 0, 0, 1}, ArrowMatrix::TrackProvided);
  EXPECT_EQ(use_everything(no_list), Matrix::MatrixFailed);
  testing::internal::GetCapturedStdout();
}

TEST(ArrowMatrix, RefusedMemoryClearsValidAndNothingLeaks) {
  for (const Tracking tracking : kTrackings) {
    const int requests = tracking == ArrowMatrix::TrackInternal ? 10 : 7;
    for (int refused = 1; refused <= requests; ++refused) {
      SCOPED_TRACE(refused);
      const auto live = corvid_host::LiveBlocks();
      {
        corvid_host::FailAllocation(refused);
        FilledArrow arrow({3, 1, 1, 2}, tracking);
        corvid_host::StopFailing();
        EXPECT_EQ(arrow.Valid(), 0);
        EXPECT_EQ(use_everything(arrow), Matrix::MatrixFailed);
      }
      EXPECT_EQ(corvid_host::LiveBlocks(), live);
    }
  }
}

/// A host that lends another list for a while and gives the object's own back.
class LendingArrow : public ArrowMatrix {
 public:
  LendingArrow() : ArrowMatrix(20, 0, 0, 1, TrackInternal) {}
  void LendAndReturn() {
    int* const starts = rowStart;
    int* const counts = rowCount;
    int* const columns = colIndex;
    ProvideNZ(nullptr, nullptr, nullptr);
    ProvideNZ(starts, counts, columns);
  }
};

TEST(ArrowMatrix, AListThatWasReturnedGrowsAsBefore) {
  LendingArrow arrow;
  arrow.LendAndReturn();
  for (int i = 0; i < 21; ++i) arrow(i, i) = 1.0;
  for (int j = 0; j < 12; ++j) arrow(20, j) = 1.0;
  Vector x(21), b(21, 1.0);
  int info = 0;
  ASSERT_EQ(arrow.Solve(x.data(), b.data(), info), Matrix::MatrixOK);
  EXPECT_EQ(x[20], 1.0 - 12.0);
  EXPECT_EQ(arrow.BackSub(nullptr, b.data()), Matrix::MatrixFailed);
  EXPECT_EQ(arrow.BackSub(x.data(), nullptr), Matrix::MatrixFailed);
}

TEST(ArrowMatrix, AProvidedStretchThatBeginsBelowZeroIsEmpty) {
  ArrowMatrix arrow(2, 0, 0, 1, ArrowMatrix::TrackProvided);
  int start = -1, count = 2, columns[] = {0, 1};
  arrow.ProvideNZ(&start, &count, columns);
  for (int i = 0; i < 3; ++i) arrow(i, i) = arrow(2, i) = 1.0;
  Vector x(3), b(3, 1.0);
  int info = 0;
  ASSERT_EQ(arrow.Solve(x.data(), b.data(), info), Matrix::MatrixOK);
  EXPECT_EQ(x[2], 1.0);
}

TEST(ArrowMatrix, FailedGrowthLosesTheMarkAndNoMore) {
  const auto live = corvid_host::LiveBlocks();
  {
    FilledArrow arrow({20, 0, 0, 1}, ArrowMatrix::TrackInternal);
    for (int j = 0; j < 10; ++j) arrow(20, j);
    corvid_host::FailAllocationsFrom(1);
    arrow(20, 10);
    arrow(20, 11);
    EXPECT_EQ(arrow.PermutationInfo(0), -1);
    corvid_host::StopFailing();
    EXPECT_EQ(arrow.Valid(), 0);
    EXPECT_EQ(arrow.list_capacity(), 12) << "raised for each try";
    EXPECT_EQ(arrow.columns().size(), 10u);
    arrow(20, 12);
    EXPECT_EQ(arrow.columns(), (std::vector<int>{12, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0}));
    EXPECT_EQ(arrow.list_capacity(), 13);
  }
  EXPECT_EQ(corvid_host::LiveBlocks(), live);
}

}  // namespace
