// The matching and the strong components, against plain searches.

#include <gtest/gtest.h>

#include <functional>
#include <set>

#include "sparse/ma48/kernels.h"
#include "tests/support/sparse_matrices.h"

namespace {

using reference::Random;
using List = std::vector<int>;

/// Rows of a pattern, one behind the other; arrays have exactly the documented lengths.
struct Pattern {
  int n = 0;
  List columns, starts, lengths;

  bool has(int row, int column) const {
    const auto r = static_cast<std::size_t>(row - 1);
    const auto first = columns.begin() + starts[r] - 1;
    return std::find(first, first + lengths[r], column) != first + lengths[r];
  }
};

Pattern random_pattern(int n, double density, Random& random) {
  Pattern p{n, {}, {}, {}};
  for (int row = 1; row <= n; ++row) {
    p.starts.push_back(static_cast<int>(p.columns.size()) + 1);
    for (int column = 1; column <= n; ++column) {
      if (std::fabs(reference::uniform(random)) < density) p.columns.push_back(column);
    }
    p.lengths.push_back(static_cast<int>(p.columns.size()) + 1 - p.starts.back());
    std::shuffle(p.columns.begin() + p.starts.back() - 1, p.columns.end(), random);
  }
  return p;
}

std::size_t at(int i) { return static_cast<std::size_t>(i); }

int plain_structural_rank(const Pattern& p) {
  List row_of(at(p.n + 1), 0);
  int rank = 0;
  for (int row = 1; row <= p.n; ++row) {
    std::vector<bool> seen(at(p.n + 1), false);
    const std::function<bool(int)> match = [&](int r) {
      for (int column = 1; column <= p.n; ++column) {
        if (!p.has(r, column) || seen[at(column)]) continue;
        seen[at(column)] = true;
        if (row_of[at(column)] == 0 || match(row_of[at(column)])) {
          row_of[at(column)] = r;
          return true;
        }
      }
      return false;
    };
    rank += match(row);
  }
  return rank;
}

struct Shape {
  int n, draws;
  double density;
};
constexpr Shape kShapes[] = {{1, 4, 0.5},    {2, 20, 0.5},   {5, 60, 0.3},  {8, 60, 0.15}, {12, 60, 0.1},
                             {30, 20, 0.04}, {30, 20, 0.07}, {30, 10, 0.0}, {30, 5, 1.0},  {80, 5, 0.03}};

void for_patterns(const std::function<void(const Pattern&)>& check) {
  Random random(48);
  for (const Shape& shape : kShapes) {
    for (int draw = 0; draw < shape.draws; ++draw) {
      SCOPED_TRACE("order " + std::to_string(shape.n) + ", density " + std::to_string(shape.density) +
                   ", draw " + std::to_string(draw));
      check(random_pattern(shape.n, shape.density, random));
      if (testing::Test::HasFailure()) return;
    }
  }
}

TEST(Matching, IsAsLargeAsCanBeAndCompletesToAPermutation) {
  for_patterns([](const Pattern& p) {
    List matches(at(p.n)), work(at(4 * p.n));
    int rank = -1;
    const int length = static_cast<int>(p.columns.size());
    EXPECT_EQ(0, corvidnum::ma48_matching_entry(&p.n, p.columns.data(), &length, p.starts.data(),
                                                p.lengths.data(), matches.data(), &rank, work.data()));
    EXPECT_EQ(plain_structural_rank(p), rank);
    int matched = 0;
    std::set<int> rows;
    for (int column = 1; column <= p.n; ++column) {
      const int row = matches[at(column - 1)];
      rows.insert(std::abs(row));
      if (row <= 0) continue;
      ++matched;
      EXPECT_TRUE(p.has(row, column));
    }
    EXPECT_EQ(rank, matched);
    EXPECT_EQ(at(p.n), rows.size());
    EXPECT_TRUE(*rows.begin() == 1 && *rows.rbegin() == p.n);
  });
}

/// The order of search decides which of many matchings comes out; worked by hand.
TEST(Matching, FollowsItsOrder) {
  const int n = 3, length = 7;
  const List columns{1, 2, 1, 2, 1, 2, 3}, starts{1, 3, 5}, lengths{2, 2, 3};
  List matches(3), work(12);
  int rank = 0;
  corvidnum::ma48_matching_entry(&n, columns.data(), &length, starts.data(), lengths.data(), matches.data(),
                                 &rank, work.data());
  EXPECT_EQ((List{1, 2, 3}), matches);
  const List crossed{2, 1, 2, 2, 3};  // row 2 takes column 2 from row 1, row 3 gets 3
  const List at_rows{1, 3, 4}, of_rows{2, 1, 2};
  const int entries = 5;
  corvidnum::ma48_matching_entry(&n, crossed.data(), &entries, at_rows.data(), of_rows.data(), matches.data(),
                                 &rank, work.data());
  EXPECT_EQ((List{1, 2, 3}), matches);
}

TEST(StrongComponents, AreThoseOfMutualReachInOrder) {
  for_patterns([](const Pattern& p) {
    List order(at(p.n)), starts(at(p.n)), work(at(3 * p.n));
    int count = -1;
    const int length = static_cast<int>(p.columns.size());
    EXPECT_EQ(0, corvidnum::ma48_strong_components_entry(&p.n, p.columns.data(), &length, p.starts.data(),
                                                         p.lengths.data(), order.data(), starts.data(),
                                                         &count, work.data()));
    std::vector<std::vector<bool>> reach(at(p.n + 1), std::vector<bool>(at(p.n + 1)));
    for (int i = 1; i <= p.n; ++i) {
      for (int j = 1; j <= p.n; ++j) reach[at(i)][at(j)] = i == j || p.has(i, j);
    }
    for (int k = 1; k <= p.n; ++k) {
      for (int i = 1; i <= p.n; ++i) {
        for (int j = 1; j <= p.n; ++j) {
          if (reach[at(i)][at(k)] && reach[at(k)][at(j)]) reach[at(i)][at(j)] = true;
        }
      }
    }
    ASSERT_EQ(at(p.n), std::set<int>(order.begin(), order.end()).size());
    ASSERT_TRUE(1 <= count && count <= p.n && starts[0] == 1);
    List component(at(p.n + 1));
    for (int c = 1, place = 1; place <= p.n; ++place) {
      if (c < count && starts[at(c)] == place) ++c;
      component[at(order[at(place - 1)])] = c;
    }
    for (int i = 1; i <= p.n; ++i) {
      for (int j = 1; j <= p.n; ++j) {
        EXPECT_EQ(reach[at(i)][at(j)] && reach[at(j)][at(i)], component[at(i)] == component[at(j)]);
        EXPECT_TRUE(!p.has(i, j) || component[at(i)] >= component[at(j)]) << "what is reached stands before";
      }
    }
  });
}

TEST(GraphKernels, WorkOnAPathThatIsVeryLong) {
  const int n = 200000, length = 2 * n - 1;
  Pattern p{n, {}, {}, {}};
  for (int row = 1; row <= n;
       ++row) {  // row i: columns i + 1 and i, so the last row has to walk to the first
    p.starts.push_back(static_cast<int>(p.columns.size()) + 1);
    if (row < n) p.columns.push_back(row + 1);
    p.columns.push_back(row < n ? row : 1);
    p.lengths.push_back(row < n ? 2 : 1);
  }
  List a(at(n)), b(at(n)), work(at(4 * n));
  int count = 0;
  corvidnum::ma48_matching_entry(&n, p.columns.data(), &length, p.starts.data(), p.lengths.data(), a.data(),
                                 &count, work.data());
  EXPECT_EQ(n, count);
  corvidnum::ma48_strong_components_entry(&n, p.columns.data(), &length, p.starts.data(), p.lengths.data(),
                                          a.data(), b.data(), &count, work.data());
  EXPECT_EQ(1, count);  // the last row leads back to the first
}

}  // namespace
