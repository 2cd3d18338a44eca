// Degree lists against plain sets.

#include "sparse/ma38/front/degree_lists.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "tests/support/dense_reference.h"

namespace corvidnum {
namespace ma38 {
namespace {

using reference::number;
using reference::Random;

/// Column objects of nothing but a header, the lists through them, and what the lists should hold.
class Lists {
 public:
  explicit Lists(int n)
      : n_(n),
        heads_(n),
        objects_(n),
        ints_(2 * kColumnHeader * n),
        truth_(n + 1),
        lists(view(heads_), view(objects_), view(ints_)) {
    for (int j = 0; j < n; ++j) objects_[j] = static_cast<int>(kColumnHeader) * j + 1;
    lists.clear();
  }

  int degree(int column) const { return ints_[objects_[column - 1] - 1 + kDegree]; }
  bool holds(int column) const { return degree(column) > 0; }

  void enter(int column, int degree) {
    set_degree(column, degree);
    lists.enter(column);
    truth_[degree].ordered.insert(column);
  }
  void put_back(int column, int degree) {
    set_degree(column, degree);
    lists.put_back(column);
    truth_[degree].top.push_back(column);
  }
  void leave(int column) {
    lists.leave(column);
    if (!holds(column)) return;
    Truth& list = truth_[degree(column)];
    if (list.ordered.erase(column) == 0) list.top.erase(std::find(list.top.begin(), list.top.end(), column));
    set_degree(column, 0);
  }
  /// Takes from both. @return what the lists gave
  int take_first() {
    int expected = 0;
    for (int degree = n_; degree >= 1; --degree) {
      if (!truth_[degree].top.empty()) {
        expected = truth_[degree].top.back();
      } else if (!truth_[degree].ordered.empty()) {
        expected = *truth_[degree].ordered.begin();
      }
    }
    const int column = static_cast<int>(lists.take_first());
    EXPECT_EQ(column, expected);
    if (column == 0 || column != expected) return 0;
    Truth& list = truth_[degree(column)];
    if (list.top.empty()) {
      list.ordered.erase(column);
    } else {
      list.top.pop_back();
    }
    set_degree(column, 0);
    return column;
  }
  /// Copies the object of a column elsewhere, as a compaction does.
  void move(int column) {
    int& object = objects_[column - 1];
    const int half = static_cast<int>(kColumnHeader) * n_,
              copy = object <= half ? object + half : object - half;
    std::copy_n(ints_.begin() + (object - 1), kColumnHeader, ints_.begin() + (copy - 1));
    std::fill_n(ints_.begin() + (object - 1), kColumnHeader, -99);
    object = copy;
  }
  void expect_consistent() const {
    ASSERT_TRUE(lists.consistent());
    std::multiset<Index> listed, expected;
    lists.each([&listed](Index column) { listed.insert(column); });
    for (int column = 1; column <= n_; ++column)
      if (holds(column)) expected.insert(column);
    EXPECT_EQ(listed, expected);
  }
  /// Any word of the heads and of the links.
  int& some_word(Random& random) {
    const int column = number(random, 1, n_), which = number(random, 0, 3);
    if (which == 0) return heads_[column - 1];
    constexpr int kWords[] = {0, kDegree, kFirstLink, kSecondLink};
    return ints_[objects_[column - 1] - 1 + kWords[which]];
  }

 private:
  struct Truth {
    std::vector<int> top;
    std::set<int> ordered;
  };
  static OneBased<int> view(std::vector<int>& v) { return {v.data(), static_cast<Index>(v.size())}; }
  void set_degree(int column, int degree) { ints_[objects_[column - 1] - 1 + kDegree] = degree; }

  const int n_;
  std::vector<int> heads_, objects_, ints_;
  std::vector<Truth> truth_;

 public:
  DegreeLists lists;
};

/// Operations as the kernel makes them: fronts that take columns out and bring them back, searches that take
/// a few and put them back at their degree or at a lower one; and any others between.
TEST(DegreeLists, AreStacksOverSortedSets) {
  for (unsigned seed = 0; seed < 400; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const int n = number(random, 1, seed % 8 == 0 ? 300 : 20), degrees = number(random, 1, std::min(n, 6));
    Lists lists(n);
    for (int j = n; j >= 1; --j)
      if (number(random, 0, 4) > 0) lists.enter(j, number(random, 1, degrees));
    for (int step = 0; step < 300; ++step) {
      const int column = number(random, 1, n);
      switch (number(random, 0, 9)) {
        case 0: {  // a search
          std::vector<std::pair<int, int>> taken;
          for (int width = number(random, 1, 5); width > 0; --width) {
            const int candidate = lists.take_first();
            if (candidate == 0) break;
            taken.push_back({candidate, number(random, 1, static_cast<int>(lists.lists.least()))});
          }
          for (std::size_t k = taken.size(); k-- > 1;) lists.put_back(taken[k].first, taken[k].second);
          break;
        }
        case 1:
          lists.move(column);
          break;
        case 2:
          if (!lists.holds(column)) lists.put_back(column, number(random, 1, n));
          break;
        default: {
          const bool entering = !lists.holds(column);
          lists.leave(column);
          if (entering) lists.enter(column, number(random, 1, degrees));
        }
      }
      lists.expect_consistent();
      if (HasFailure()) return;
    }
    while (lists.take_first() != 0) {
    }
    lists.expect_consistent();
  }
}

TEST(DegreeLists, TellThatTheyAreDamaged) {
  int damaged = 0, seen = 0;
  for (unsigned seed = 0; seed < 600; ++seed) {
    Random random(seed);
    const int n = number(random, 2, 12);
    Lists lists(n);
    for (int j = n; j >= 1; --j) lists.enter(j, number(random, 1, std::min(n, 3)));
    const int candidate = lists.take_first();
    lists.put_back(candidate, static_cast<int>(lists.lists.least()));
    lists.expect_consistent();
    int& word = lists.some_word(random);
    const int was = word;
    word = number(random, -n - 1, n);
    if (word == was) continue;
    ++damaged;
    if (!lists.lists.consistent()) {
      ++seen;
      continue;
    }
    int listed = 0;
    lists.lists.each([&listed](Index) { ++listed; });
    seen += listed != n;
  }
  EXPECT_GT(damaged, 400);
  EXPECT_GT(seen, damaged * 9 / 10);
}

}  // namespace
}  // namespace ma38
}  // namespace corvidnum
