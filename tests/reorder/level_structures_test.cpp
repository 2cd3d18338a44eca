// The errors of the steps up to the packed levels that no graph leads to. The others, and what these steps
// and the sorts make of whole graphs, are judged by gpskca_test.

#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "reorder/combination.h"
#include "reorder/level_structures.h"

namespace corvidnum {
namespace {

using List = std::vector<int>;
using Adjacency = std::vector<List>;  // of nodes 1 .. n, in elements 0 .. n - 1

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

Adjacency path(int n) {
  Adjacency rows{{}};
  for (int i = 1; i < n; ++i) {
    rows.back().push_back(i + 1);
    rows.push_back({i});
  }
  return rows;
}

GpsStatus rooted(const Adjacency& rows, int root, int available, int nodes_left) {
  Graph graph(rows);
  List column(static_cast<std::size_t>(available));
  RootedLevels levels{};
  return gps_rooted_levels(graph.get(), root, view(column), nodes_left, levels);
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
  const struct {
    const char* what;
    std::function<GpsStatus()> run;
    int error, space;
  } cases[] = {
      // clang-format off
      {"isolated root", [] { return rooted({{}}, 1, 9, 1); }, 12, -1},
      {"more nodes than are left", [] { return rooted(path(3), 1, 9, 2); }, 12, -1},
      {"columns beyond the work array", [] { return transition(8, 3, 3); }, 20, -1},
      {"columns below n", [] { return transition(9, 5, 3); }, 120, 6},
      {"more agree than there are", [] { return combine({1, 2, 3}, {1, 2, 3}, 2, 9); }, 30, -1},
      {"no node left", [] { return components({1, -1, -1}, 2, 2); }, 34, -1},
      {"more nodes than told", [] { return components({1, 1, 1}, 2, 2); }, 35, -1},
      {"not assigned", [] { return pack({-1, 2}, {1, 1}); }, 40, -1},
      {"too many in a level", [] { return pack({-1, -1}, {1, 1}); }, 41, -1},
      // clang-format on
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
