// The matching and the strong components, against plain searches.

#include <gtest/gtest.h>

#include <functional>
#include <set>

#include "sparse/ma48/kernels.h"
#include "tests/support/sparse_matrices.h"

namespace {

using reference::Random;
using Ints = std::vector<int>;

/// Rows of a pattern, one behind the other; arrays have exactly the documented lengths.
struct Pattern {
  int n = 0;
  Ints columns{}, starts{}, lengths{};
  std::vector<std::vector<bool>> has{};  // by row and column, both from 1

  void add_row(const Ints& row) {
    starts.push_back(static_cast<int>(columns.size()) + 1);
    lengths.push_back(static_cast<int>(row.size()));
    columns.insert(columns.end(), row.begin(), row.end());
  }
  int length() const { return static_cast<int>(columns.size()); }
  int match(Ints& matches) const {
    int rank = -1;
    const int licn = length();
    Ints work(4 * n);
    EXPECT_EQ(0, corvidnum::ma48_matching_entry(&n, columns.data(), &licn, starts.data(), lengths.data(),
                                                matches.data(), &rank, work.data()));
    return rank;
  }
  int components(Ints& order, Ints& first) const {
    int count = -1;
    const int licn = length();
    Ints work(3 * n);
    EXPECT_EQ(
        0, corvidnum::ma48_strong_components_entry(&n, columns.data(), &licn, starts.data(), lengths.data(),
                                                   order.data(), first.data(), &count, work.data()));
    return count;
  }
};

void for_patterns(const std::function<void(const Pattern&)>& check) {
  Random random(48);
  const struct {
    int n, draws;
    double density;
  } shapes[] = {{1, 4, 0.5},    {2, 20, 0.5},   {5, 60, 0.3},  {8, 60, 0.15}, {12, 60, 0.1},
                {30, 20, 0.04}, {30, 20, 0.07}, {30, 10, 0.0}, {30, 5, 1.0},  {80, 5, 0.03}};
  for (const auto& shape : shapes) {
    for (int draw = 0; draw < shape.draws; ++draw) {
      SCOPED_TRACE(testing::Message() << shape.n << ", density " << shape.density << ", draw " << draw);
      Pattern p{shape.n};
      p.has.assign(p.n + 1, std::vector<bool>(p.n + 1));
      for (int i = 1; i <= p.n; ++i) {
        Ints row;
        for (int j = 1; j <= p.n; ++j) {
          if (std::fabs(reference::uniform(random)) < shape.density) row.push_back(j), p.has[i][j] = true;
        }
        std::shuffle(row.begin(), row.end(), random);
        p.add_row(row);
      }
      check(p);
      if (testing::Test::HasFailure()) return;
    }
  }
}

int plain_structural_rank(const Pattern& p) {
  Ints row_of(p.n + 1);
  int rank = 0;
  for (int row = 1; row <= p.n; ++row) {
    std::vector<bool> seen(p.n + 1);
    const std::function<bool(int)> match = [&](int i) {
      for (int j = 1; j <= p.n; ++j) {
        if (!p.has[i][j] || seen[j]) continue;
        seen[j] = true;
        if (row_of[j] != 0 && !match(row_of[j])) continue;
        row_of[j] = i;
        return true;
      }
      return false;
    };
    rank += match(row);
  }
  return rank;
}

TEST(Matching, IsAsLargeAsCanBeAndCompletesToAPermutation) {
  for_patterns([](const Pattern& p) {
    Ints matches(p.n);
    const int rank = p.match(matches);
    EXPECT_EQ(plain_structural_rank(p), rank);
    int matched = 0;
    std::set<int> rows;
    for (int column = 1; column <= p.n; ++column) {
      const int row = matches[column - 1];
      rows.insert(std::abs(row));
      if (row <= 0) continue;
      ++matched;
      EXPECT_TRUE(p.has[row][column]);
    }
    EXPECT_EQ(rank, matched);
    EXPECT_TRUE(p.n == static_cast<int>(rows.size()) && *rows.begin() == 1 && *rows.rbegin() == p.n);
  });
}

TEST(StrongComponents, AreThoseOfMutualReachInOrder) {
  for_patterns([](const Pattern& p) {
    auto reach = p.has;
    for (int k = 1; k <= p.n; ++k) {
      reach[k][k] = true;
      for (int i = 1; i <= p.n; ++i) {
        for (int j = 1; j <= p.n; ++j) reach[i][j] = reach[i][j] || (reach[i][k] && reach[k][j]);
      }
    }
    Ints order(p.n), first(p.n), component(p.n + 1);
    const int count = p.components(order, first);
    ASSERT_EQ(p.n, static_cast<int>(std::set<int>(order.begin(), order.end()).size()));
    ASSERT_TRUE(1 <= count && count <= p.n && first[0] == 1);
    for (int c = 1, place = 1; place <= p.n; ++place) {
      if (c < count && first[c] == place) ++c;
      component[order[place - 1]] = c;
    }
    for (int i = 1; i <= p.n; ++i) {
      for (int j = 1; j <= p.n; ++j) {
        EXPECT_EQ(reach[i][j] && reach[j][i], component[i] == component[j]);
        EXPECT_TRUE(!p.has[i][j] || component[i] >= component[j]) << "what is reached stands before";
      }
    }
  });
}

TEST(GraphKernels, WorkOnAPathThatIsVeryLong) {
  Pattern p{200000};
  for (int i = 1; i < p.n; ++i) p.add_row({i + 1, i});
  p.add_row({1});  // has to walk to the first
  Ints a(p.n), b(p.n);
  EXPECT_EQ(p.n, p.match(a));
  EXPECT_EQ(1, p.components(a, b));
}

}  // namespace
