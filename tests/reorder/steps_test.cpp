// The errors of single steps that no graph leads to: their arguments contradict each other here. The other
// errors, and what the steps and the sorts make of whole graphs, are judged by gpskca_test.

#include <gtest/gtest.h>

#include <functional>
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
