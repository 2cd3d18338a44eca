// The errors of the numbering of one component whose levels are damaged. What it makes of whole graphs, and
// of too little room, is judged by gpskca_test.

#include "reorder/numbering.h"

#include <gtest/gtest.h>

#include <vector>

namespace corvidnum {
namespace {

using Numbers = std::vector<int>;
using Lists = std::vector<Numbers>;

/// A graph and its levels, each as lists; levels are damaged after they are built.
struct Component {
  int n, depth;
  Numbers degree, row_start, connect, level_number, pointers{1};
  Numbers work;  // `list_base` elements, then the list of the levels
  int list_base;

  Component(const Lists& neighbours, const Lists& levels, int room = 40)
      : n(static_cast<int>(neighbours.size())),
        depth(static_cast<int>(levels.size())),
        level_number(neighbours.size()),
        work(room),
        list_base(room) {
    for (const Numbers& row : neighbours) {
      degree.push_back(static_cast<int>(row.size()));
      row_start.push_back(static_cast<int>(connect.size()) + 1);
      connect.insert(connect.end(), row.begin(), row.end());
    }
    for (int k = 1; k <= depth; ++k) {
      for (const int node : levels[k - 1]) level_number[node - 1] = k;
      work.insert(work.end(), levels[k - 1].begin(), levels[k - 1].end());
      pointers.push_back(static_cast<int>(work.size()) - room + 1);
    }
  }
  GpsGraph graph() { return {n, {degree.data(), n}, {row_start.data(), n}, {connect.data(), n * n}}; }
  PackedLevels levels() {
    return {depth,
            {work.data() + list_base, pointers.back() - 1},
            {pointers.data(), depth + 1},
            {level_number.data(), n}};
  }
  int number_bandwidth(int start, int end, bool reverse_numbering, Numbers& order) {
    const int nodes = static_cast<int>(work.size()) - list_base;
    order.assign(2 * nodes + 1, 0);  // room for all that may wait behind the order
    return gps_number_bandwidth(graph(), {order.data(), 2 * nodes + 1}, nodes, start, end, reverse_numbering,
                                levels());
  }
  GpsStatus number_profile(int node_count, int& next_number) {
    GpsStatus status{kGpsOk, 7};
    const int length = static_cast<int>(work.size());
    gps_number_profile(graph(), {work.data(), length}, list_base, next_number, node_count, levels(), status);
    return status;
  }
};

Component path() { return {{{2}, {1, 3}, {2, 4}, {3, 5}, {4}}, {{1}, {2}, {3}, {4}, {5}}}; }
/// Two pairs; nothing joins 1 and 2, nor 3 and 4.
Component two_pairs() { return {{{3}, {4}, {1}, {2}}, {{1, 2}, {3, 4}}}; }

TEST(NumberBandwidth, NamesWhatIsWrongWithTheLevels) {
  const struct {
    int error;
    Component component;
    void (*damage)(Component&);
  } kDamages[] = {
      {kNextLevelEmpty, {{{2}, {1}, {4}, {3}}, {{1, 2}, {3, 4}}}, [](Component&) {}},
      {kLevelCount, path(), [](Component& c) { c.level_number[1] = 1, c.level_number[2] = 2; }},
      {kLevelCount, path(), [](Component& c) { --c.pointers[5]; }},
      {kWrongLevelInList, two_pairs(), [](Component& c) { c.work[c.list_base + 1] = 4; }},
      {kLevelSkipped, path(), [](Component& c) { c.level_number[1] = 3; }},
      {kNothingToResume, two_pairs(), [](Component& c) { c.work[c.list_base + 1] = 1; }},
      {kLevelCount, path(), [](Component& c) { --c.depth; }},
      // The start is none of the component, and takes a place in an order that has none to spare.
      {kLevelCount, {{{3}, {3}, {2, 4}, {3}}, {{2}, {3}, {4}}}, [](Component&) {}},
  };
  for (const auto& row : kDamages) {
    for (const bool ascending : {true, false}) {
      SCOPED_TRACE(testing::Message() << row.error << (ascending ? " up" : " down"));
      Component component = row.component;
      row.damage(component);
      Numbers order;
      EXPECT_EQ(component.number_bandwidth(1, 1, ascending, order), row.error);
    }
  }
}

TEST(NumberProfile, NamesWhatIsWrongWithTheLevels) {
  const auto error_of = [](Component component, int node_count) {
    int next_number = 1;
    const GpsStatus status = component.number_profile(node_count, next_number);
    EXPECT_EQ(status.space, 7);
    return status.error;
  };
  EXPECT_EQ(error_of(path(), 6), kNumberedCount);
  Component component({{3}, {1}, {1}, {}}, {{1, 2}, {3, 4}});
  component.level_number[3] = 0;
  EXPECT_EQ(error_of(component, 4), kLevelListRanOut);
}

}  // namespace
}  // namespace corvidnum
