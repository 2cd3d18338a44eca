// The whole reordering, as a host calls it.

#include "reorder/gpskca.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <map>
#include <numeric>
#include <ostream>
#include <random>
#include <set>

#include "tests/support/gps_model.h"

namespace {

using gps_model::Lists;
using gps_model::Numbers;

using Random = std::mt19937;

/// What an array may hold that nobody has written: mostly numbers that could be nodes or positions.
int garbage() {
  static Random random(9);
  const int any = static_cast<int>(random());
  return random() % 8 == 0 ? any : any % 64;
}

/// One call, with arrays of exactly the documented lengths, so that a sanitizer sees the ends.
struct Call {
  int n, bandwidth = 77, profile = 77, error = 77, space = 77;
  Numbers degree, row_start, connect, permutation, work;  // from element 0

  explicit Call(const Lists& neighbours) : n(static_cast<int>(neighbours.size()) - 1) {
    for (int i = 1; i <= n; ++i) {
      const Numbers& row = neighbours[i];
      degree.push_back(static_cast<int>(row.size()));
      row_start.push_back(row.empty() ? -12345 : static_cast<int>(connect.size()) + 1);
      connect.insert(connect.end(), row.begin(), row.end());
    }
    permutation.resize(n);
    std::iota(permutation.begin(), permutation.end(), 1);
  }
  Call& run(int optimize_profile, int work_length) {
    work.resize(std::max(work_length, 0));
    for (int& element : work) element = garbage();
    gpskca(&n, degree.data(), row_start.data(), connect.data(), &optimize_profile, &work_length,
           permutation.data(), work.data(), &bandwidth, &profile, &error, &space);
    return *this;
  }
  Call& run(int optimize_profile) { return run(optimize_profile, 6 * n + 3); }
  bool is_permutation() const {
    Numbers sorted(permutation), identity(n);
    std::sort(sorted.begin(), sorted.end());
    std::iota(identity.begin(), identity.end(), 1);
    return sorted == identity;
  }
};

Lists graph_of(int n, const std::vector<std::pair<int, int>>& edges, Random& random) {
  std::set<std::pair<int, int>> seen;
  Lists neighbours(n + 1);
  for (const auto& [i, j] : edges) {
    if (i == j || !seen.insert(std::minmax(i, j)).second) continue;
    neighbours[i].push_back(j);
    neighbours[j].push_back(i);
  }
  for (Numbers& row : neighbours) std::shuffle(row.begin(), row.end(), random);
  return neighbours;
}

constexpr int kShapes = 8;

/// `nodes` numbered at random, joined as the shape tells.
Lists shaped(int shape, int nodes, Random& random) {
  Numbers label(nodes);
  std::iota(label.begin(), label.end(), 1);
  std::shuffle(label.begin(), label.end(), random);
  std::vector<std::pair<int, int>> edges;
  const int wide = 1 + static_cast<int>(random() % 6);
  for (int i = 0; i < nodes; ++i) {
    Numbers all(i);
    std::iota(all.begin(), all.end(), 0);
    // none, a path, a star, a mesh, pairs, a tree, a band, complete
    const Numbers earlier[kShapes] = {{},
                                      {i - 1},
                                      {0},
                                      {i - wide, i % wide ? i - 1 : i},
                                      {i % 2 ? i - 1 : i},
                                      {(i - 1) / 2},
                                      {i - 1, i - wide},
                                      all};
    for (const int j : earlier[shape]) {
      if (j >= 0) edges.emplace_back(label[j], label[i]);
    }
  }
  return graph_of(nodes, edges, random);
}

Lists random_graph(int nodes, Random& random) {
  std::vector<std::pair<int, int>> edges;
  const int count = nodes == 0 ? 0 : static_cast<int>(random() % (2 * nodes + 1));
  for (int k = 0; k < count; ++k) {
    const int i = 1 + static_cast<int>(random() % nodes);  // drawn in one order with every compiler
    edges.emplace_back(i, 1 + static_cast<int>(random() % nodes));
  }
  return graph_of(nodes, edges, random);
}

Lists any_graph(unsigned k, int most, Random& random) {
  const int nodes = static_cast<int>(random() % (most + 1));
  return k % 2 ? random_graph(nodes, random) : shaped(static_cast<int>(random() % kShapes), nodes, random);
}

TEST(Gpskca, AgreesWithThePlainModel) {
  Random random(1);
  int reversals = 0;
  for (unsigned k = 0; k < 12000; ++k) {
    const Lists neighbours = any_graph(k, k % 200 == 0 ? 300 : 40, random);
    const int optimize_profile = static_cast<int>(k / 2 % 2);
    Call call(neighbours);
    const Numbers degree = call.degree;
    if (k % 3 == 0) std::shuffle(call.permutation.begin(), call.permutation.end(), random);
    Numbers callers(call.permutation);
    callers.insert(callers.begin(), 0);
    const gps_model::Answer expected = gps_model::reorder(neighbours, optimize_profile != 0, callers);
    call.run(optimize_profile);
    SCOPED_TRACE(testing::Message() << "graph " << k << " of " << call.n << " nodes");
    ASSERT_EQ(call.error, 0);
    ASSERT_EQ(call.permutation, Numbers(expected.permutation.begin() + 1, expected.permutation.end()));
    ASSERT_EQ(call.bandwidth, expected.bandwidth);
    ASSERT_EQ(call.profile, expected.profile);
    ASSERT_EQ(call.space, expected.space);
    ASSERT_EQ(call.degree, degree);
    // Behind the order stands its inverse, before a reversal; neither tells of the caller's numbering.
    if (call.permutation == Numbers(callers.begin() + 1, callers.end())) continue;
    bool reversed = false;
    for (int i = 0; i < call.n; ++i) {
      ASSERT_EQ(call.work[call.permutation[i] - 1], i + 1);
      reversed |= call.work[call.n + i] != call.permutation[i];
    }
    for (int i = 0; i < call.n && reversed; ++i) {
      ASSERT_EQ(call.work[call.n + i], call.n + 1 - call.permutation[i]);
    }
    reversals += reversed;
  }
  EXPECT_GT(reversals, 0);
}

// Two isolated nodes that change places leave the profile as it is.
TEST(Gpskca, PrefersItsOwnNumberingsInATie) {
  Random random(6);
  for (unsigned k = 0; k < 400; ++k) {
    Lists neighbours = any_graph(k, 30, random);
    neighbours.insert(neighbours.end(), 2, {});
    Call call(neighbours);
    std::shuffle(call.permutation.begin(), call.permutation.end(), random);
    const Numbers callers = call.permutation, best = call.run(1).permutation;
    if (best == callers) continue;
    std::swap(call.permutation[call.n - 1], call.permutation[call.n - 2]);
    ASSERT_EQ(call.run(1).permutation, best) << k;
  }
}

/// How often a code was met, and the sum of all that these calls reported beside it.
struct Met {
  int calls = 0, reported = 0;
  void add(const Call& call) { ++calls, reported += call.space + call.bandwidth + call.profile; }
  bool operator==(const Met& other) const { return calls == other.calls && reported == other.reported; }
};
void PrintTo(const Met& met, std::ostream* out) { *out << met.calls << ", " << met.reported; }

/// One-sided edges, nodes that list themselves or one node twice.
void spoil(Lists& neighbours, unsigned faults, Random& random) {
  const unsigned n = static_cast<unsigned>(neighbours.size()) - 1;
  for (; n > 0 && faults > 0; --faults) {
    Numbers& row = neighbours[1 + random() % n];
    if (random() % 2 || row.empty()) {
      row.push_back(1 + static_cast<int>(random() % n));
    } else {
      row.erase(row.begin() + random() % row.size());
    }
  }
}

// The codes tell of too little room, and how much is missing, or of what is no graph; a sanitizer watches the
// ends.
TEST(Gpskca, EndsWithACodeWhateverTheRoomAndTheGraph) {
  Random random(3);
  std::map<int, Met> met;
  for (unsigned k = 0; k < 40000; ++k) {
    Lists neighbours = any_graph(k, 24, random);
    const bool spoilt = k % 4 > 1;
    if (spoilt) spoil(neighbours, 1 + k % 5, random);
    Call call(neighbours);
    const Numbers degree = call.degree, identity = call.permutation;
    const int enough = 6 * call.n + 3;
    const int length = k % 3 ? -1 + static_cast<int>(random() % (enough + 1)) : enough;
    SCOPED_TRACE(testing::Message() << "graph " << k << " of " << call.n << " nodes, " << length);
    call.run(static_cast<int>(k / 4 % 2), length);
    ASSERT_EQ(call.degree, degree);
    met[call.error].add(call);
    if (call.error == 0) {
      ASSERT_TRUE(call.is_permutation());
      ASSERT_TRUE(2 * call.n <= length && call.space <= enough);
      continue;
    }
    ASSERT_EQ(call.permutation, identity);
    ASSERT_EQ(std::make_pair(call.bandwidth, call.profile), std::make_pair(-1, -1));
    if (!spoilt) {
      ASSERT_LT(length, enough);
      ASSERT_EQ(call.space > 0, call.error != 101 && call.error != 102) << call.error;
    }
    if (call.error == 10) {
      ASSERT_EQ(call.space, 2 * call.n - length);
    }
  }
  EXPECT_EQ(met, (std::map<int, Met>{{0, {18904, 1400785}},
                                     {10, {879, 3754}},
                                     {13, {1590, -4770}},
                                     {33, {680, -2040}},
                                     {51, {4, -12}},
                                     {52, {27, -81}},
                                     {54, {411, -1233}},
                                     {55, {4, -12}},
                                     {101, {12142, -36426}},
                                     {102, {288, -864}},
                                     {110, {4593, 34791}},
                                     {111, {97, 367}},
                                     {130, {251, 889}},
                                     {131, {13, -6}},
                                     {160, {117, 1486}}}));
}

TEST(Gpskca, RefusesAGraphThatPointsElsewhere) {
  const struct {
    const char* what;
    void (*spoil)(Call&);
    int degree;  // of node 3 afterwards
  } kFaults[] = {
      {"a negative degree", [](Call& c) { c.degree[2] = -2; }, 2},
      {"the lowest degree", [](Call& c) { c.degree[2] = INT_MIN; }, INT_MAX},
      {"a row start below 1", [](Call& c) { c.row_start[2] = 0; }, 2},
      {"neighbour 0", [](Call& c) { c.connect[3] = 0; }, 2},
      {"neighbour n + 1", [](Call& c) { c.connect[3] = 6; }, 2},
  };
  for (const auto& fault : kFaults) {
    SCOPED_TRACE(fault.what);
    Call call({{}, {2}, {1, 3}, {2, 4}, {3, 5}, {4}});
    fault.spoil(call);
    std::swap(call.permutation[0], call.permutation[4]);
    call.run(0);
    EXPECT_EQ(call.degree, (Numbers{1, 2, fault.degree, 2, 1}));
    EXPECT_EQ(call.permutation, (Numbers{5, 2, 3, 4, 1}));
    EXPECT_EQ((Numbers{call.error, call.space, call.bandwidth, call.profile}), (Numbers{1, -1, -1, -1}));
  }
}

// Graphs of no node and of nodes without neighbours are among those of the sweeps.
TEST(Gpskca, TakesLessThanNoNodesForNone) {
  Call call(Lists(1));
  call.n = -2;
  call.run(0, 0);
  EXPECT_EQ((Numbers{call.error, call.space, call.bandwidth, call.profile}), Numbers(4));
}

// Nodes joined at random: no numbering is narrow.
TEST(Gpskca, ReportsAProfileBeyondIntAsTheLargest) {
  Random random(5);
  constexpr int kNodes = 95000;
  Lists neighbours(kNodes + 1);
  for (int k = 0; k < 3 * kNodes; ++k) {
    const int i = 1 + static_cast<int>(random() % kNodes), j = 1 + static_cast<int>(random() % kNodes);
    neighbours[i].push_back(j);
    neighbours[j].push_back(i);
  }
  Call call(neighbours);
  for (int& number : call.permutation) number = static_cast<int>(random());  // no numbering at all
  call.run(0);
  EXPECT_EQ(call.error, 0);
  EXPECT_TRUE(call.is_permutation());
  EXPECT_EQ(call.profile, INT_MAX);
}

}  // namespace
