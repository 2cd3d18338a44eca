// The errors of single steps that no graph leads to: their arguments contradict each other here. The other
// errors, and what the steps and the sorts make of whole graphs, are judged by gpskca_test.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <vector>

#include "reorder/combination.h"
#include "reorder/level_structures.h"
#include "reorder/numbering.h"

namespace corvidnum {
namespace {

using List = std::vector<int>;
using Lists = std::vector<List>;

template <class T>
int size(const std::vector<T>& list) {
  return static_cast<int>(list.size());
}

OneBased<int> view(List& list) { return {list.data(), static_cast<std::ptrdiff_t>(list.size())}; }

/// Arrays of exact length, so that a sanitizer sees every step beyond. Node i has element i - 1.
struct Graph {
  List degree, row_start, connect;

  explicit Graph(const Lists& neighbours) {
    for (const List& row : neighbours) {
      row_start.push_back(size(connect) + 1);
      degree.push_back(size(row));
      connect.insert(connect.end(), row.begin(), row.end());
    }
  }
  GpsGraph get() { return {size(degree), view(degree), view(row_start), view(connect)}; }
};

Lists path(int n) {
  Lists rows{{}};
  for (int i = 1; i < n; ++i) {
    rows.back().push_back(i + 1);
    rows.push_back({i});
  }
  return rows;
}

// ---- Up to the packed levels

GpsStatus rooted(const Lists& neighbours, int nodes_left) {
  Graph graph(neighbours);
  List column(9);
  RootedLevels levels{};
  return gps_rooted_levels(graph.get(), 1, view(column), nodes_left, levels);
}

GpsStatus transition(int length, int n, int available) {
  List work(static_cast<std::size_t>(length));
  PseudoDiameter diameter{};
  bool reversed1 = false;
  return gps_transition(WorkPlan(view(work), n, 1), n, available, diameter, reversed1);
}

/// A path whose nodes have the given levels in both structures.
GpsStatus combine(List levels, int node_count) {
  Graph graph(path(size(levels)));
  List same = levels, totals(levels.size()), space(9), more1 = totals, more2 = totals;
  PseudoDiameter diameter{};
  diameter.node_count = node_count;
  diameter.depth = size(levels);
  bool reverse = false;
  return gps_combine(graph.get(), diameter, false,
                     {view(levels), view(same), view(totals), view(space), view(more1), view(more2)},
                     reverse);
}

GpsStatus components(List levels1) {
  Graph graph(path(size(levels1)));
  List list(2), starts(2), sizes(2);
  int count = 0;
  return gps_components(graph.get(), view(levels1), 2, view(list), 2, view(starts), view(sizes), count);
}

GpsStatus pack(List levels1, List totals) {
  List list(levels1.size()), pointers(totals.size() + 1);
  return gps_pack_levels(size(levels1), size(totals), view(levels1), view(list), view(pointers),
                         view(totals));
}

TEST(LevelStructures, EndWithTheirCodes) {
  const struct {
    const char* what;
    std::function<GpsStatus()> run;
    int error, space;
  } cases[] = {
      {"isolated root", [] { return rooted({{}}, 1); }, kBadWalk, -1},
      {"more nodes than are left", [] { return rooted(path(3), 2); }, kBadWalk, -1},
      {"columns beyond the work array", [] { return transition(8, 3, 3); }, kColumnsTooLong, -1},
      {"columns below n", [] { return transition(9, 5, 3); }, kColumnsTooShort, 6},
      {"more agree than there are",
       [] {
         return combine({1, 2, 3}, 2);
       },
       kTooManyMatched, -1},
      {"no node left",
       [] {
         return components({1, -1, -1});
       },
       kNoComponentRoot, -1},
      {"more nodes than told",
       [] {
         return components({1, 1, 1});
       },
       kComponentSum, -1},
      {"not assigned",
       [] {
         return pack({-1, 2}, {1, 1});
       },
       kNodeUnassigned, -1},
      {"too many in a level",
       [] {
         return pack({-1, -1}, {1, 1});
       },
       kLevelOverfull, -1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const GpsStatus status = c.run();
    EXPECT_EQ(status.error, c.error);
    EXPECT_EQ(status.space, c.space);
  }
}

// ---- The search for the ends, with candidates measured together or one by one

using Random = std::mt19937;

int below(int limit, Random& random) { return static_cast<int>(random() % static_cast<unsigned>(limit)); }

/// Levels behind node 1, the last one of `ends` nodes. Each node is joined to a node of the level before it,
/// and some to more of them or to one of their own level: the ends see levels of different widths.
Lists layered(int depth, int ends, Random& random) {
  Lists rows{{}};
  const auto join = [&](int i, int j) {
    List& row = rows[static_cast<std::size_t>(i) - 1];
    if (i == j || std::count(row.begin(), row.end(), j) != 0) return;
    row.push_back(j);
    rows[static_cast<std::size_t>(j) - 1].push_back(i);
  };
  for (int level = 2, before = 1, begin = 2; level <= depth; ++level) {
    const int count = level == depth ? ends : 1 + below(20, random);
    for (int i = begin; i < begin + count; ++i) {
      rows.emplace_back();
      for (int more = 1 + below(3, random); more > 0; --more) join(i, before + below(begin - before, random));
      if (random() % 2 == 0) join(i, begin + below(i - begin + 1, random));
    }
    before = begin;
    begin += count;
  }
  return rows;
}

/// All that the search finds, and the two structures that it leaves in the columns.
struct Search {
  GpsStatus status;
  List found, forward, backward;

  Search(const Lists& rows, int nodes_left, int available) {
    Graph graph(rows);
    const List degree = graph.degree;
    List work(3 * static_cast<std::size_t>(available));
    PseudoDiameter ends{};
    const Columns columns{view(work), available};
    status = gps_pseudo_diameter(graph.get(), columns, nodes_left, 1, ends);
    if (status.error != kGpsOk) return;
    EXPECT_EQ(graph.degree, degree);
    found = {ends.start_node, ends.end_node, ends.forward,       ends.best_backward,
             ends.node_count, ends.depth,    ends.forward_width, ends.backward_width};
    forward = structure(columns.column(ends.forward), ends);
    backward = structure(columns.column(ends.best_backward), ends);
  }
  static List structure(const LevelColumn& column, const PseudoDiameter& ends) {
    List all;
    for (int k = 1; k <= ends.node_count; ++k) all.push_back(column.node(k));
    for (int level = 1; level <= ends.depth + 1; ++level) all.push_back(column.level_start(level));
    return all;
  }
};

// Columns of 2 n + 1 elements have just enough room to measure candidates together; with a node more in the
// graph, which nothing joins, they have not. The first candidate is always tried alone, so 33 candidates
// leave a group of 32. Deeper candidates end the search; wider ones are abandoned.
TEST(PseudoDiameter, IsTheSameIfCandidatesAreMeasuredTogether) {
  Random random(4);
  int restarts = 0, not_first = 0, refusals = 0;
  for (const int candidates : {1, 2, 8, 9, 32, 33, 34, 40, 41, 65, 66, 73, 100}) {
    for (int k = 0; k < 120; ++k) {
      SCOPED_TRACE(testing::Message() << candidates << " candidates, graph " << k);
      Lists rows = layered(2 + below(9, random), candidates, random);
      // Not symmetric: one end leads nowhere.
      if (k % 6 == 5) rows.back().assign(static_cast<std::size_t>(1 + k / 6 % 4), size(rows));
      const int nodes = size(rows), available = 2 * nodes + 1;
      const Search together(rows, nodes, available);
      rows.emplace_back();
      const Search alone(rows, nodes, available);
      ASSERT_EQ(together.status.error, alone.status.error);
      ASSERT_EQ(together.status.space, alone.status.space);
      ASSERT_EQ(together.found, alone.found);
      ASSERT_EQ(together.forward, alone.forward);
      ASSERT_EQ(together.backward, alone.backward);
      refusals += alone.status.error == kWalkCountDiffers;
      if (alone.status.error != kGpsOk) continue;
      restarts += alone.found[0] != 1;
      not_first += alone.found[0] == 1 && alone.found[1] != nodes - candidates + 1;
    }
  }
  EXPECT_GT(restarts, 100);
  EXPECT_GT(not_first, 100);
  EXPECT_GT(refusals, 20);
}

// ---- The numbering of one component

/// A graph with its levels, packed behind some work space, which are damaged after they are built.
struct Component : Graph {
  static constexpr int kRoom = 40;
  int depth;
  List level_number, pointers{1}, list;

  Component(const Lists& neighbours, const Lists& levels)
      : Graph(neighbours), depth(size(levels)), level_number(neighbours.size()) {
    for (int k = 1; k <= depth; ++k) {
      for (const int node : levels[k - 1]) level_number[node - 1] = k;
      list.insert(list.end(), levels[k - 1].begin(), levels[k - 1].end());
      pointers.push_back(size(list) + 1);
    }
  }
  PackedLevels levels(int* first) {
    return {depth, {first, pointers.back() - 1}, view(pointers), view(level_number)};
  }
  int number_bandwidth(bool reverse_numbering) {
    List order(2 * list.size() + 1);  // room for all that may wait behind the order
    return gps_number_bandwidth(get(), view(order), size(list), 1, 1, reverse_numbering, levels(list.data()));
  }
  GpsStatus number_profile(int node_count) {
    List work(kRoom);
    work.insert(work.end(), list.begin(), list.end());
    int next_number = 1;
    GpsStatus status{kGpsOk, 7};
    gps_number_profile(get(), view(work), kRoom, next_number, node_count, levels(work.data() + kRoom),
                       status);
    return status;
  }
};

const Component kPath(path(5), {{1}, {2}, {3}, {4}, {5}});
/// Two pairs; nothing joins 1 and 2, nor 3 and 4.
const Component kTwoPairs({{3}, {4}, {1}, {2}}, {{1, 2}, {3, 4}});

TEST(NumberBandwidth, NamesWhatIsWrongWithTheLevels) {
  const struct {
    int error;
    Component component;
    void (*damage)(Component&);
  } kDamages[] = {
      {kNextLevelEmpty, {{{2}, {1}, {4}, {3}}, {{1, 2}, {3, 4}}}, [](Component&) {}},
      {kLevelCount, kPath, [](Component& c) { c.level_number[1] = 1, c.level_number[2] = 2; }},
      {kLevelCount, kPath, [](Component& c) { --c.pointers[5]; }},
      {kLevelCount, kPath, [](Component& c) { --c.depth; }},
      {kWrongLevelInList, kTwoPairs, [](Component& c) { c.list[1] = 4; }},
      {kNothingToResume, kTwoPairs, [](Component& c) { c.list[1] = 1; }},
      {kLevelSkipped, kPath, [](Component& c) { c.level_number[1] = 3; }},
      // The start is none of the component, and takes a place in an order that has none to spare.
      {kLevelCount, {{{3}, {3}, {2, 4}, {3}}, {{2}, {3}, {4}}}, [](Component&) {}},
  };
  for (const auto& row : kDamages) {
    for (const bool ascending : {true, false}) {
      SCOPED_TRACE(testing::Message() << row.error << (ascending ? " up" : " down"));
      Component component = row.component;
      row.damage(component);
      EXPECT_EQ(component.number_bandwidth(ascending), row.error);
    }
  }
}

TEST(NumberProfile, NamesWhatIsWrongWithTheLevels) {
  Component complete = kPath, damaged({{3}, {1}, {1}, {}}, {{1, 2}, {3, 4}});
  damaged.level_number[3] = 0;
  const GpsStatus too_few = complete.number_profile(6), ran_out = damaged.number_profile(4);
  EXPECT_EQ(too_few.error, kNumberedCount);
  EXPECT_EQ(ran_out.error, kLevelListRanOut);
  EXPECT_TRUE(too_few.space == 7 && ran_out.space == 7) << "not written";
}

}  // namespace
}  // namespace corvidnum
