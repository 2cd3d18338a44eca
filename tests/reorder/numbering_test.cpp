// The numbering of one component whose levels are given, sound or damaged.

#include "reorder/numbering.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>
#include <utility>
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

/// The same numbering, step by step on an order without ends, which fills in either direction.
int model_bandwidth(Component c, int start, bool ascending, std::map<int, int>& order) {
  const auto near = [&](int node) {
    const int begin = c.row_start[node - 1] - 1;
    return Numbers(c.connect.begin() + begin, c.connect.begin() + begin + c.degree[node - 1]);
  };
  const auto level_of = [&](int node) -> int& { return c.level_number[node - 1]; };
  const auto lower = [&](int i, int j) { return c.degree[i - 1] < c.degree[j - 1]; };
  const auto sort_group = [&](int begin, int end, int step) {
    Numbers group;
    for (int p = begin; p != end; p += step) group.push_back(order[p]);
    std::stable_sort(group.begin(), group.end(), lower);
    for (const int node : group) order[std::exchange(begin, begin + step)] = node;
  };
  const int nodes = c.pointers.back() - 1, step = ascending ? 1 : -1;
  int first = ascending ? 1 : nodes, tail = first + step;
  order[first] = start;
  const bool from_top = level_of(start) == c.depth;
  level_of(start) = 0;
  for (int counter = 1; counter <= c.depth; ++counter) {
    const int level = from_top ? c.depth - counter + 1 : counter;
    const int begin = c.pointers[level - 1], end = c.pointers[level];
    int remaining = end - begin, read = first, next_tail = first + remaining * step;
    const int stop = next_tail;
    for (;;) {
      for (; read != tail; read += step, --remaining) {
        const int tail_before = tail, next_before = next_tail;
        for (const int node : near(order[read])) {
          const int its_level = std::exchange(level_of(node), 0);
          if (its_level == 0) continue;
          if (std::abs(its_level - level) > 1) return 54;
          int& place = its_level == level ? tail : next_tail;
          order[place] = node;
          place += step;
        }
        sort_group(tail_before, tail, step);
        sort_group(next_before, next_tail, step);
      }
      if (tail == stop && remaining == 0) break;
      if (remaining < 1 || remaining != (stop - tail) * step) return 52;
      Numbers unplaced;
      for (int k = begin; k < end && static_cast<int>(unplaced.size()) < remaining; ++k) {
        const int node = c.work[c.list_base + k - 1];
        if (level_of(node) != 0) unplaced.push_back(node);
      }
      if (unplaced.empty()) return 55;
      order[tail] = *std::min_element(unplaced.begin(), unplaced.end(), lower);
      level_of(order[tail]) = 0;
      tail += step;
    }
    if (next_tail == stop && counter < c.depth) return 51;
    first = stop;
    tail = next_tail;
  }
  return 0;
}

// Any levels, and neighbours mostly of the levels beside them, of which some do not know of each other.
TEST(NumberBandwidth, EndsAsItsStepsDoOnGraphsThatAreNone) {
  std::mt19937 random(11);
  const auto below = [&random](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  std::map<int, int> met;
  for (int k = 0; k < 60000; ++k) {
    const int n = 2 + below(11), depth = 1 + below(std::min(n, 5));
    Lists levels(depth), neighbours(n);
    Numbers level_of(n);
    for (int i = 0; i < n; ++i) {
      level_of[i] = i < depth ? i : below(depth);
      levels[level_of[i]].push_back(i + 1);
    }
    for (int edges = below(3 * n); edges > 0; --edges) {
      const int i = below(n), j = below(n);
      if (std::abs(level_of[i] - level_of[j]) > 1 && below(8) != 0) continue;
      neighbours[i].push_back(j + 1);
      if (below(3) != 0) neighbours[j].push_back(i + 1);
    }
    const int start = 1 + below(n);
    const bool ascending = below(2) != 0;
    Component component(neighbours, levels);
    std::map<int, int> expected;
    const int error = model_bandwidth(component, start, ascending, expected);
    ++met[error];
    Numbers order;
    SCOPED_TRACE(testing::Message() << "graph " << k << " of " << n << " nodes");
    ASSERT_EQ(component.number_bandwidth(start, start, ascending, order), error);
    for (int p = 1; p <= n && error == 0; ++p) ASSERT_EQ(order[p - 1], expected[p]) << p;
  }
  for (const int error : {0, 51, 52, 54, 55}) EXPECT_GT(met[error], 100) << error;
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

// Level 1 needs 3 elements, each node of level 2 one more, and the queue of level 2 from 6 to 11.
TEST(NumberProfile, TellsWhereQueueAndStackMeet) {
  const Lists star = {{2, 3, 4}, {1, 5}, {1, 5}, {1, 5}, {2, 3, 4}};
  const struct {
    int room, error, space;
  } kRooms[] = {{2, 160, 4}, {3, 160, 4},  {4, 160, 3}, {5, 160, 2},
                {6, 160, 3}, {13, 160, 3}, {14, 0, 28}, {20, 0, 28}};
  for (const auto& row : kRooms) {
    SCOPED_TRACE(row.room);
    Component component(star, {{1}, {2, 3, 4}, {5}}, row.room);
    int next_number = 1;
    const GpsStatus status = component.number_profile(5, next_number);
    EXPECT_EQ(status.error, row.error);
    EXPECT_EQ(status.space, row.space);
  }
  for (const int room : {6, 7}) {  // a level without a next one: the queue alone takes 7
    Component triangle({{2, 3}, {1, 3}, {1, 2}}, {{1, 2, 3}}, room);
    int next_number = 1;
    const GpsStatus status = triangle.number_profile(3, next_number);
    EXPECT_EQ(status.error, room == 7 ? 0 : 160);
    EXPECT_EQ(status.space, room == 7 ? 16 : 3);
  }
}

}  // namespace
}  // namespace corvidnum
