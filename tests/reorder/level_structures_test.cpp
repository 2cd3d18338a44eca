// Sorts, rooted level structures, and the errors of all steps up to the packed levels. What these steps make
// of whole graphs is judged by the model of gpskca_test.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include "reorder/combination.h"
#include "reorder/level_structures.h"
#include "reorder/sorts.h"

namespace corvidnum {
namespace {

using List = std::vector<int>;
using Adjacency = std::vector<List>;  // of nodes 1 .. n, in elements 0 .. n - 1

/// Element number i, from 1.
template <class T>
T& at(std::vector<T>& list, int i) {
  return list[static_cast<std::size_t>(i - 1)];
}
template <class T>
const T& at(const std::vector<T>& list, int i) {
  return list[static_cast<std::size_t>(i - 1)];
}
template <class T>
int size(const std::vector<T>& list) {
  return static_cast<int>(list.size());
}

OneBased<int> view(List& list) { return {list.data(), static_cast<std::ptrdiff_t>(list.size())}; }

/// Arrays of exact length, so that a sanitizer sees every step beyond.
struct Graph {
  List degree, row_start, connect;

  explicit Graph(const Adjacency& rows) {
    for (const List& row : rows) {
      row_start.push_back(size(connect) + 1);
      degree.push_back(size(row));
      connect.insert(connect.end(), row.begin(), row.end());
    }
  }
  int n() const { return size(degree); }
  GpsGraph get() { return {n(), view(degree), view(row_start), view(connect)}; }
};

void join(Adjacency& rows, int a, int b) {
  at(rows, a).push_back(b);
  at(rows, b).push_back(a);
}

Adjacency path(int n) {
  Adjacency rows(static_cast<std::size_t>(n));
  for (int i = 1; i < n; ++i) join(rows, i, i + 1);
  return rows;
}

Adjacency star(int leaves) {  // around node 1
  Adjacency rows(static_cast<std::size_t>(leaves) + 1);
  for (int i = 2; i <= leaves + 1; ++i) join(rows, 1, i);
  return rows;
}

/// Symmetric, without loops; about `edges` edges, in no order.
Adjacency random_graph(std::mt19937& random, int n, int edges) {
  Adjacency rows(static_cast<std::size_t>(n));
  std::uniform_int_distribution<int> node(1, n);
  std::set<std::pair<int, int>> known;
  for (int e = 0; e < edges; ++e) {
    const int a = node(random), b = node(random);
    if (a != b && known.insert({std::min(a, b), std::max(a, b)}).second) join(rows, a, b);
  }
  return rows;
}

/// The first node of smallest degree of those that are not marked, or 0.
int first_root(const List& degree) {
  int root = 0;
  for (int i = 1; i <= size(degree); ++i) {
    if (at(degree, i) > 0 && (root == 0 || at(degree, i) < at(degree, root))) root = i;
  }
  return root;
}

using Levels = std::vector<List>;

Levels plain_levels(const Adjacency& rows, int root) {
  Levels levels{{root}};
  std::set<int> seen{root};
  for (;;) {
    List next;
    for (const int node : levels.back()) {
      for (const int other : at(rows, node)) {
        if (at(rows, other).empty()) continue;  // isolated, whatever others say
        if (seen.insert(other).second) next.push_back(other);
      }
    }
    if (next.empty()) return levels;
    levels.push_back(next);
  }
}

int width_of(const Levels& levels) {
  int width = 0;
  for (const List& level : levels) width = std::max(width, size(level));
  return width;
}

TEST(Sorts, KeepTheOrderOfEqualKeys) {
  for (int count = 1; count <= 6; ++count) {
    int lists = 1;
    for (int i = 0; i < count; ++i) lists *= 3;
    for (int code = 0; code < lists; ++code) {
      List keys, nodes;
      for (int i = 0, rest = code; i < count; ++i, rest /= 3) {
        keys.push_back(rest % 3);
        nodes.push_back(count - i);  // so that the index itself is no tie break
      }
      const auto key = [&](int node) { return at(keys, node); };
      List up = nodes, down = nodes;
      std::stable_sort(up.begin(), up.end(), [&](int a, int b) { return key(a) < key(b); });
      std::stable_sort(down.begin(), down.end(), [&](int a, int b) { return key(a) > key(b); });
      List sorted = nodes;
      ASSERT_TRUE(gps_sort_nodes_increasing(count, view(sorted), view(keys)));
      ASSERT_EQ(sorted, up);
      sorted = nodes;
      ASSERT_TRUE(gps_sort_nodes_decreasing(count, view(sorted), view(keys)));
      ASSERT_EQ(sorted, down);
      List own_keys, single;
      for (const int node : nodes) own_keys.push_back(key(node));
      single = own_keys;
      sorted = nodes;
      ASSERT_TRUE(gps_sort_pairs_decreasing(count, view(own_keys), view(sorted)));
      ASSERT_EQ(sorted, down);
      ASSERT_TRUE(std::is_sorted(own_keys.rbegin(), own_keys.rend()));
      ASSERT_TRUE(gps_sort_decreasing(count, view(single)));
      ASSERT_EQ(single, own_keys);
    }
  }
  List none;
  EXPECT_FALSE(gps_sort_decreasing(0, view(none)));
  EXPECT_FALSE(gps_sort_pairs_decreasing(-1, view(none), view(none)));
}

TEST(RootedLevels, AreThoseOfABreadthFirstWalkInTheSmallestColumn) {
  std::mt19937 random(1);
  for (int round = 0; round < 300; ++round) {
    const int n = 2 + round % 25;
    const Adjacency rows = random_graph(random, n, 1 + round % (3 * n));
    Graph arrays(rows);
    const int root = first_root(arrays.degree);
    if (root == 0) continue;
    const Levels wanted = plain_levels(rows, root);
    List order, starts{1};
    for (const List& level : wanted) {
      order.insert(order.end(), level.begin(), level.end());
      starts.insert(starts.begin(), size(order) + 1);
    }
    const int count = size(order), depth = size(wanted);
    const List degree_before = arrays.degree;

    List column(static_cast<std::size_t>(count + depth + 1), -1), expected = order;
    expected.insert(expected.end(), starts.begin(), starts.end());
    RootedLevels got{};
    ASSERT_EQ(gps_rooted_levels(arrays.get(), root, view(column), n, got).error, 0);
    EXPECT_EQ(column, expected);
    EXPECT_EQ(got.width, width_of(wanted));
    EXPECT_EQ(arrays.degree, degree_before);

    column.assign(column.size(), -1);
    ASSERT_EQ(
        gps_rooted_levels_limited(arrays.get(), root, view(column), count, depth, got.width + 1, got).error,
        0);
    EXPECT_EQ(column, expected);
    EXPECT_EQ(got.depth, depth);
    EXPECT_EQ(arrays.degree, degree_before);

    ASSERT_EQ(gps_rooted_levels_limited(arrays.get(), root, view(column), count, depth, got.width, got).error,
              0);
    EXPECT_EQ(got.depth, 0);  // just too wide
    EXPECT_EQ(got.width, n + 1);
    EXPECT_EQ(arrays.degree, degree_before);

    for (int length = 1; length <= count + depth; ++length) {
      List short_column(static_cast<std::size_t>(length));
      const GpsStatus status = gps_rooted_levels(arrays.get(), root, view(short_column), n, got);
      ASSERT_EQ(status.error, kColumnFull);
      EXPECT_GT(status.space, 0);
      arrays.degree = degree_before;
    }
  }
}

// ---- errors

GpsStatus rooted(const Adjacency& rows, int root, int available, int nodes_left) {
  Graph graph(rows);
  List column(static_cast<std::size_t>(available));
  RootedLevels levels{};
  return gps_rooted_levels(graph.get(), root, view(column), nodes_left, levels);
}

GpsStatus limited(const Adjacency& rows, int root, int node_count, int max_depth) {
  Graph graph(rows);
  List column(static_cast<std::size_t>(node_count + max_depth + 1));
  RootedLevels levels{};
  return gps_rooted_levels_limited(graph.get(), root, view(column), node_count, max_depth, graph.n() + 1,
                                   levels);
}

GpsStatus search(const Adjacency& rows, int root, int available) {
  Graph graph(rows);
  List work(static_cast<std::size_t>(3 * available));
  PseudoDiameter found{};
  return gps_pseudo_diameter(graph.get(), {view(work), available}, graph.n(), root, found);
}

GpsStatus transition(int length, int n, int available) {
  List work(static_cast<std::size_t>(length));
  PseudoDiameter diameter{};
  bool reversed1 = false;
  return gps_transition(WorkPlan(view(work), n, 1), n, available, diameter, reversed1);
}

/// A path whose nodes have the given levels in either structure.
GpsStatus combine(List levels1, List levels2, int node_count, int available) {
  const int n = size(levels1), depth = n;
  Graph graph(path(n));
  List totals(levels1.size()), space(static_cast<std::size_t>(available)), more1 = totals, more2 = totals;
  PseudoDiameter diameter{};
  diameter.node_count = node_count;
  diameter.depth = depth;
  bool reverse = false;
  return gps_combine(graph.get(), diameter, false,
                     {view(levels1), view(levels2), view(totals), view(space), view(more1), view(more2)},
                     reverse);
}

GpsStatus components(List levels1, int unassigned, int max_components) {
  Graph graph(path(size(levels1)));
  List list(static_cast<std::size_t>(unassigned)), starts(static_cast<std::size_t>(max_components));
  List sizes = starts;
  int count = 0;
  return gps_components(graph.get(), view(levels1), unassigned, view(list), max_components, view(starts),
                        view(sizes), count);
}

GpsStatus pack(List levels1, List totals) {
  const int depth = size(totals);
  List list(levels1.size()), pointers(totals.size() + 1);
  return gps_pack_levels(size(levels1), depth, view(levels1), view(list), view(pointers), view(totals));
}

TEST(LevelStructures, EndWithTheirCodes) {
  const Adjacency one_way{{2}, {1}, {1, 4, 5}, {3}, {3}};  // from node 3 on more is reached than from 1
  const struct {
    const char* what;
    std::function<GpsStatus()> run;
    int error, space;
  } cases[] = {
      {"isolated root", [] { return rooted({{}}, 1, 9, 1); }, 12, -1},
      {"more nodes than are left", [] { return rooted(path(3), 1, 9, 2); }, 12, -1},
      {"full at a level's start", [] { return rooted(path(3), 1, 6, 3); }, 110, 3 * (1 * 3 / 3 + 1)},
      {"full early", [] { return rooted(path(3), 1, 4, 3); }, 110, 3 * (2 * 2 / 3 + 2)},
      {"full inside a level", [] { return rooted(star(5), 1, 5, 6); }, 110, 3 * (3 * 1 / 6 + 3)},
      {"too many levels", [] { return limited(path(3), 1, 3, 2); }, 111, 3 * (1 * 3 / 3 + 1)},
      {"too many levels early", [] { return limited(path(5), 1, 5, 1); }, 111, 3 * (4 * 2 / 5 + 4)},
      {"fewer nodes", [] { return limited(path(3), 1, 4, 3); }, 13, -1},
      {"more nodes", [] { return limited(path(3), 1, 2, 8); }, 13, -1},
      {"more nodes than the column holds", [&] { return limited(one_way, 3, 2, 2); }, 13, -1},
      {"more nodes than the column holds, at a level's start", [] { return limited(star(2), 1, 2, 2); }, 13,
       -1},
      {"a deeper end that does not fit", [] { return search(star(5), 1, 9); }, 111, 3 * (1 * 3 / 6 + 1)},
      {"columns beyond the work array", [] { return transition(8, 3, 3); }, 20, -1},
      {"columns below n", [] { return transition(9, 5, 3); }, 120, 6},
      {"more agree than there are",
       [] {
         return combine({1, 2, 3}, {1, 2, 3}, 2, 9);
       },
       30, -1},
      {"no room beside the list",
       [] {
         return combine({1, 2, 3}, {3, 2, 1}, 3, 2);
       },
       131, 2},
      {"room for one more",
       [] {
         return combine({1, 2, 3}, {3, 2, 1}, 3, 3);
       },
       131, 1},
      {"room for one of two components",
       [] {
         return combine({1, 2, 3}, {3, 2, 1}, 3, 4);
       },
       130, 1},
      {"a level in one structure only",
       [] {
         return combine({1, 1}, {2, 0}, 2, 9);
       },
       33, -1},
      {"a neighbour outside",
       [] {
         return components({1, 0, 1}, 2, 2);
       },
       33, -1},
      {"no node left",
       [] {
         return components({1, -1, -1}, 2, 2);
       },
       34, -1},
      {"more nodes than told",
       [] {
         return components({1, 1, 1}, 2, 2);
       },
       35, -1},
      {"the third component",
       [] {
         return components({1, -1, 1, -1, 1}, 3, 2);
       },
       130, 1},
      {"not assigned",
       [] {
         return pack({-1, 2}, {1, 1});
       },
       40, -1},
      {"too many in a level",
       [] {
         return pack({-1, -1}, {1, 1});
       },
       41, -1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const GpsStatus status = c.run();
    EXPECT_EQ(status.error, c.error);
    EXPECT_EQ(status.space, c.space);
  }
}

}  // namespace
}  // namespace corvidnum
