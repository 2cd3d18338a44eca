#include "dense/arrow_matrix.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <numeric>
#include <utility>
#include <vector>

#include "host/corvid_host.h"
#include "tests/support/dense_reference.h"

namespace {

using namespace reference;
using Tracking = ArrowMatrix::TrackNZType;

constexpr Tracking kTrackings[] = {ArrowMatrix::TrackNone, ArrowMatrix::TrackInternal,
                                   ArrowMatrix::TrackProvided, static_cast<Tracking>(-7)};

/// Where the list comes from. The caller's may take the place of the own one, which goes on growing.
constexpr std::pair<Tracking, bool> kLists[] = {{ArrowMatrix::TrackNone, false},
                                                {ArrowMatrix::TrackInternal, false},
                                                {ArrowMatrix::TrackInternal, true},
                                                {ArrowMatrix::TrackProvided, true},
                                                {static_cast<Tracking>(-7), true}};

struct Shape {
  int n, kl, ku, m;
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

  /// Sets the elements. With `provided` lists the zeros of A21 are not listed, and other values stand there.
  FilledArrow(const Shape& s, Tracking tracking, bool provided, const Dense& a) : FilledArrow(s, tracking) {
    if (provided) provide(a);
    for (int j = 0; j < a.cols; ++j) {
      for (int i = 0; i < a.rows; ++i) {
        const bool zero_in_a21 = i >= n && j < n && a(i, j) == 0.0;
        if (!zero_in_a21) {
          (*this)(i, j) = a(i, j);
        } else if (provided) {
          (*this)(i, j) = 4711.0;
        }
      }
    }
  }

  std::vector<int> starts() const { return {rowStart, rowStart + m}; }
  std::vector<int> counts() const { return {rowCount, rowCount + m}; }
  std::vector<int> columns() const {
    return {colIndex, colIndex + std::accumulate(rowCount, rowCount + m, 0)};
  }
  int list_capacity() const { return capacity; }

 private:
  void provide(const Dense& a) {
    for (int i = n; i < a.rows; ++i) {
      const auto before = columns_.size();
      for (int j = n - 1; j >= 0; --j) {
        if (a(i, j) != 0.0) columns_.push_back(j);
      }
      const bool empty = columns_.size() == before;  // of such a row the count means nothing
      starts_.push_back(empty ? -1 : static_cast<int>(before));
      columns_.insert(columns_.end(), {INT_MAX, n, -1});  // columns that do not exist
      counts_.push_back(static_cast<int>(columns_.size() - (empty ? 0 : before)));
    }
    ProvideNZ(starts_.data(), counts_.data(), columns_.data());
  }
  std::vector<int> starts_, counts_, columns_;
};

TEST(ArrowMatrix, SolvesUpToRoundingAndLosesNoNaN) {
  Random random(5);
  for (int trial = 0; trial < 400; ++trial) {
    const Shape s = random_shape(random);
    Dense a = random_arrow(s, random), poisoned = a;
    const Vector b = random_vector(a.rows, random);
    if (a.rows > 0) {
      double& element = poisoned(number(random, 0, a.rows - 1), number(random, 0, a.rows - 1));
      if (element != 0.0) element = std::nan("");  // zero: perhaps outside the band or the list
    }
    for (const auto& [tracking, provided] : kLists) {
      SCOPED_TRACE(testing::Message() << "trial " << trial << ", tracking " << tracking << provided);
      FilledArrow arrow(s, tracking, provided, a);
      Vector x(b.size()), rhs = b;
      int info = 99;
      EXPECT_EQ(arrow.Solve(x.data(), rhs.data(), info), Matrix::MatrixOK);
      EXPECT_EQ(info, a.rows > 0 ? 0 : 99);
      EXPECT_LT(solve_ratio(a, x, b), kRatioLimit);
      EXPECT_TRUE(s.m > 0 || rhs == b) << "kept without a border";
      rhs = b;
      EXPECT_EQ(arrow.BackSub(rhs.data(), rhs.data()), Matrix::MatrixOK);
      EXPECT_EQ(rhs, x) << "again, and in place";

      if (poisoned.values == a.values) continue;
      FilledArrow with_nan(s, tracking, provided, poisoned);
      const bool solved = with_nan.Solve(x.data(), rhs.data(), info) == Matrix::MatrixOK;
      EXPECT_FALSE(solved && std::isfinite(norm1(x)));
    }
  }
}

TEST(ArrowMatrix, BandFailsOnZeroAndCornerOnTheLimit) {
  const struct {
    double band, corner;
    Matrix::ErrorCode code;
    int info;
  } kCases[] = {{1e-300, 1.1e-8, Matrix::MatrixOK, 0},
                {0.0, 1.0, Matrix::MatrixFailed, 2},
                {1.0, 1e-8, Matrix::MatrixFailed, 0}};
  for (const auto& c : kCases) {
    ArrowMatrix arrow(2, 1, 1, 1, ArrowMatrix::TrackNone);
    arrow(0, 0) = 1.0;
    arrow(1, 1) = c.band;
    arrow(2, 2) = c.corner;
    int info = 99;
    EXPECT_EQ(arrow.FactorLU(info), c.code);
    EXPECT_EQ(info, c.info);
  }
}

TEST(ArrowMatrix, AccessOutsideTheBandAndOutsideTheMatrix) {
  FilledArrow arrow({6, 1, 2, 2}, ArrowMatrix::TrackInternal);
  for (const auto& [row, col] : {std::pair{0, 5}, {5, 0}, {0, 3}, {2, 0}}) {
    arrow(row, col) = 7.0;
    EXPECT_EQ(arrow(row, col), 0.0) << row << ", " << col;
  }
  double* const outside = arrow.Address(-1, 0);
  for (const auto& [row, col] : {std::pair{0, -1}, {8, 0}, {0, 8}, {INT_MAX, INT_MIN}}) {
    EXPECT_EQ(&arrow(row, col), outside);
  }
  EXPECT_TRUE(arrow.columns().empty()) << "none of these is an element of the lower border";
}

TEST(ArrowMatrix, MarksFollowTheOrderOfAccess) {
  FilledArrow arrow({12, 0, 0, 3}, ArrowMatrix::TrackInternal);
  for (const auto& [row, col] : {std::pair{2, 7}, {0, 3}, {2, 1}, {0, 3}, {2, 9}, {0, 4}, {2, 7}}) {
    arrow(12 + row, col);
  }
  EXPECT_EQ(arrow.starts(), (std::vector<int>{3, 0, 0}));
  EXPECT_EQ(arrow.counts(), (std::vector<int>{2, 0, 3}));
  EXPECT_EQ(arrow.columns(), (std::vector<int>{9, 1, 7, 4, 3}))
      << "rows by their first, columns by their last";
  arrow.ZeroElements();
  EXPECT_TRUE(arrow.columns().empty());
  for (int j = 0; j < 12; ++j) arrow(13, j);
  EXPECT_EQ(arrow.columns(), (std::vector<int>{11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0}));
  EXPECT_EQ(arrow.list_capacity(), 12);
}

TEST(ArrowMatrix, PermutationInfoOfBandAndBorder) {
  ArrowMatrix arrow(2, 1, 0, 4, ArrowMatrix::TrackNone);
  const auto places = [&] {
    std::vector<int> found;
    for (const int i : {0, 1, 2, 3, 4, 5, 6, -1, INT_MAX}) found.push_back(arrow.PermutationInfo(i));
    return found;
  };
  arrow(0, 0) = arrow(1, 1) = 1.0;
  arrow(1, 0) = 2.0;
  const int row_of_column[] = {2, 0, 1, 3};  // interchanged in the places (0, 2) and (1, 2)
  for (int j = 0; j < 4; ++j) arrow(2 + row_of_column[j], 2 + j) = 1.0;
  int info = 0;
  ASSERT_EQ(arrow.FactorLU(info), Matrix::MatrixOK);
  EXPECT_EQ(places(), (std::vector<int>{2, 1, 1, 4, -1, -1, -1, -1, -1}));
  arrow.ZeroElements();
  EXPECT_EQ(places(), (std::vector<int>{1, 2, 3, 4, -1, -1, -1, -1, -1}));
}

TEST(ArrowMatrix, WithoutRowsNothingIsWrittenAndNullIsRefusedOtherwise) {
  ArrowMatrix none(0, 1, 1, 0, ArrowMatrix::TrackNone), one(1, 0, 0, 0, ArrowMatrix::TrackNone);
  int info = 99;
  double x = 0.0;
  EXPECT_EQ(none.FactorLU(info), Matrix::MatrixOK);
  EXPECT_EQ(none.BackSub(nullptr, nullptr), Matrix::MatrixOK);
  EXPECT_EQ(info, 99);
  EXPECT_EQ(one.BackSub(nullptr, &x), Matrix::MatrixFailed);
  EXPECT_EQ(one.BackSub(&x, nullptr), Matrix::MatrixFailed);
}

TEST(ArrowMatrix, StrangeSizesAreHarmless) {
  constexpr int kMany = 1 << 30;
  const struct : Shape {
    int valid;
  } kCases[] = {{{-1, 0, 0, 3}, 1},
                {{3, 0, 0, -1}, 1},
                {{6, -3, 5, 1}, 1},
                {{3, 1, -1, 1}, 1},
                {{INT_MIN, 0, 0, INT_MIN}, 1},
                {{3, kMany, 0, 1}, 0},
                {{3, 0, INT_MAX, 1}, 0},
                {{3, INT_MIN, 0, 1}, 0},
                {{1 << 20, 0, 0, 1 << 20}, 0},
                {{INT_MAX, INT_MAX, 15, 1}, 0}};
  corvid_host::LimitBlockBytes(1 << 28);
  testing::internal::CaptureStdout();  // the reports of illegal arguments
  for (const auto& c : kCases) {
    for (const Tracking tracking : kTrackings) {
      SCOPED_TRACE(testing::Message() << c.n << ", " << c.kl << ", " << c.ku << ", " << c.m);
      FilledArrow arrow(c, tracking);
      EXPECT_EQ(arrow.Valid(), c.valid);
      EXPECT_EQ(use_everything(arrow), Matrix::MatrixFailed);
    }
  }
  FilledArrow no_list({2, 0, 0, 1}, ArrowMatrix::TrackProvided);
  EXPECT_EQ(use_everything(no_list), Matrix::MatrixFailed);
  // Vectors have n + m elements, which a negative m makes fewer than the band has rows.
  ArrowMatrix narrow(8, 0, 0, -2, ArrowMatrix::TrackNone);
  for (int k = 0; k < 8; ++k) narrow(k, k) = 1.0;
  std::vector<double> x(6, 7.0), b(6, 1.0);
  EXPECT_EQ(narrow.BackSub(x.data(), b.data()), Matrix::MatrixFailed);
  EXPECT_EQ(x, std::vector<double>(6, 7.0));
  testing::internal::GetCapturedStdout();
  corvid_host::LimitBlockBytes(0);
}

TEST(ArrowMatrix, RefusedMemoryClearsValidAndNothingLeaks) {
  const auto live = corvid_host::LiveBlocks();
  for (const Tracking tracking : kTrackings) {
    for (int refused = 1; refused <= (tracking == ArrowMatrix::TrackInternal ? 10 : 7); ++refused) {
      corvid_host::FailAllocation(refused);
      FilledArrow arrow({3, 1, 1, 2}, tracking);
      corvid_host::StopFailing();
      EXPECT_EQ(arrow.Valid(), 0) << refused;
      EXPECT_EQ(use_everything(arrow), Matrix::MatrixFailed);
    }
  }
  EXPECT_EQ(corvid_host::LiveBlocks(), live);
}

TEST(ArrowMatrix, FailedGrowthLosesTheMarkAndNoMore) {
  FilledArrow arrow({20, 0, 0, 1}, ArrowMatrix::TrackInternal);
  for (int j = 0; j < 10; ++j) arrow(20, j);
  corvid_host::FailAllocationsFrom(1);
  arrow(20, 10);
  arrow(20, 11);
  EXPECT_EQ(arrow.PermutationInfo(0), -1);
  corvid_host::StopFailing();
  EXPECT_EQ(arrow.Valid(), 0);
  EXPECT_EQ(arrow.list_capacity(), 12) << "raised for each try";
  arrow(20, 12);
  EXPECT_EQ(arrow.columns(), (std::vector<int>{12, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0}));
  EXPECT_EQ(arrow.list_capacity(), 13);
}

}  // namespace
