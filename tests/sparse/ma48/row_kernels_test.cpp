// The inner loops of ma48 against the formulas in their header, bit by bit, in both versions: that for any
// processor and the one chosen for this processor.

#include "sparse/ma48/row_kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace {

using corvidnum::ColumnUpdate;
using corvidnum::OffsetSet;
using corvidnum::RowKernels;
using Values = std::vector<double>;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

bool same_bits(const Values& a, const Values& b) {
  return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof a[0]) == 0);
}

/// A column of `entries` distinct rows out of twice as many, and a pivot column of 63 offsets that has some
/// of them. Values have full mantissas, so that a fused multiply-add would show, and zeros of both signs.
struct Problem {
  std::vector<int> rows, offset_of_row;
  Values values, pivots;
  std::ptrdiff_t met = 0;
  OffsetSet offsets = 0;

  explicit Problem(int entries) {
    std::mt19937 random(static_cast<unsigned>(entries));
    std::uniform_real_distribution<double> number(-2.0, 2.0);
    pivots.push_back(-0.0);
    for (int k = 1; k <= 63; ++k) pivots.push_back(k % 9 == 0 ? 0.0 : number(random));
    offset_of_row.assign(static_cast<std::size_t>(2 * entries + 1), 0);
    int offset = 63;
    for (int k = 0; k < entries; ++k) {
      rows.push_back(2 * k + 1 + static_cast<int>(random() % 2));
      values.push_back(k % 5 == 0 ? -0.0 : number(random));
      if (k % 3 == 1 || offset == 0) continue;
      offset_of_row[static_cast<std::size_t>(rows.back() - 1)] = offset;
      ++met;
      offsets |= OffsetSet{1} << offset--;
    }
    std::shuffle(rows.begin(), rows.end(), random);
  }
  Values updated(double multiplier) const {
    Values result = values;
    for (std::size_t k = 0; k < rows.size(); ++k) {
      const int offset = offset_of_row[static_cast<std::size_t>(rows[k] - 1)];
      const volatile double term = multiplier * pivots[static_cast<std::size_t>(offset)];
      result[k] += term;
    }
    return result;
  }
};

class RowKernelsIn : public testing::TestWithParam<const RowKernels*> {
 protected:
  const RowKernels& kernels_ = *GetParam();
};

INSTANTIATE_TEST_SUITE_P(Versions, RowKernelsIn,
                         testing::Values(&corvidnum::portable_row_kernels(), &corvidnum::row_kernels()),
                         [](const auto& version) { return version.index == 0 ? "portable" : "chosen"; });

TEST_P(RowKernelsIn, UpdateColumnsOfAnyLength) {
  constexpr double kMultiplier = 0.7310585786300049;
  for (int entries = 0; entries <= 90; ++entries) {
    SCOPED_TRACE(entries);
    Problem problem(entries);
    const Values expected = problem.updated(kMultiplier);
    const auto n = static_cast<std::ptrdiff_t>(entries);
    const ColumnUpdate update = {kMultiplier, problem.pivots.data(), problem.offset_of_row.data()};
    for (const int side : {1, -1}) {
      std::vector<int> signed_offsets = problem.offset_of_row;
      for (int& offset : signed_offsets) offset *= side;
      Values values = problem.values;
      const ColumnUpdate mirrored = {kMultiplier, problem.pivots.data(), signed_offsets.data()};
      EXPECT_EQ(kernels_.add_to_column(n, values.data(), problem.rows.data(), mirrored, side), problem.met);
      EXPECT_TRUE(same_bits(values, expected)) << "side " << side;
    }
    Values values = problem.values;
    const OffsetSet met = kernels_.add_and_note(n, values.data(), problem.rows.data(), update);
    EXPECT_EQ(met & ~OffsetSet{1}, problem.offsets);
    EXPECT_TRUE(same_bits(values, expected));
  }
}

TEST_P(RowKernelsIn, AddToTheRowsOfAColumnOnly) {
  for (int entries = 0; entries <= 40; ++entries) {
    SCOPED_TRACE(entries);
    const Problem problem(entries);
    Values w(problem.offset_of_row.size()), expected;
    for (std::size_t i = 0; i < w.size(); ++i) w[i] = std::sin(static_cast<double>(i)) / 3;
    expected = w;
    for (std::size_t k = 0; k < problem.rows.size(); ++k) {
      const volatile double term = -1.1 * problem.values[k];
      expected[static_cast<std::size_t>(problem.rows[k] - 1)] += term;
    }
    kernels_.add_to_rows(entries, -1.1, problem.values.data(), problem.rows.data(), w.data());
    EXPECT_TRUE(same_bits(w, expected));
  }
}

TEST_P(RowKernelsIn, FindTheLargestNumberAtAnyPlace) {
  for (std::size_t entries = 1; entries <= 21; ++entries) {
    for (std::size_t at = 0; at < entries; ++at) {
      SCOPED_TRACE(testing::Message() << entries << " entries, the largest at " << at);
      Values values(entries, -1.5);
      values[at] = -3.25;
      EXPECT_EQ(kernels_.largest(static_cast<std::ptrdiff_t>(entries), values.data()), 3.25);
      values.assign(entries, kNan);
      EXPECT_TRUE(std::isnan(kernels_.largest(static_cast<std::ptrdiff_t>(entries), values.data())));
      for (const double number : {-0.0, 5e-324, -kInfinity}) {
        values[at] = number;
        EXPECT_EQ(kernels_.largest(static_cast<std::ptrdiff_t>(entries), values.data()), std::fabs(number));
      }
    }
  }
}

}  // namespace
