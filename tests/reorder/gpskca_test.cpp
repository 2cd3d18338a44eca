// The whole reordering, as a host calls it.

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <map>
#include <numeric>
#include <ostream>
#include <random>
#include <set>

#include "tests/support/gps_calls.h"

namespace {

using namespace gps_calls;

TEST(Gpskca, AgreesWithThePlainModel) {
  Random random(1);
  int reversals = 0;
  for (unsigned k = 0; k < 12000; ++k) {
    const Lists neighbours = any_graph(k, k % 200 == 0 ? 300 : 40, random);
    const int optimize_profile = static_cast<int>(k / 2 % 2);
    Call call(neighbours);
    if (k % 3 == 0) std::shuffle(call.permutation.begin(), call.permutation.end(), random);
    const Numbers callers = call.permutation;
    ASSERT_EQ(difference_from_model(call, neighbours, optimize_profile), "")
        << "graph " << k << " of " << call.n << " nodes";
    reversals += call.permutation != callers && call.reversed();
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
