#include "util/data_graph.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <numeric>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "host/corvid_host.h"
#include "tests/util/connected_wirings.h"

namespace {

using connected_wirings::free_ends_of_connected, connected_wirings::Valencies;

std::string text(const Valencies& valencies) {
  std::string all;
  for (const unsigned valency : valencies) all += std::to_string(valency) + " ";
  return all;
}

/// The call, with the lines that the host was sent; it has to leave the valencies sorted and no memory taken.
int free_links(Valencies valencies, std::string* lines = nullptr) {
  std::string sent;
  corvid_host::SetLineSink(
      [](void* context, corvid_host::LineKind, const char* line) {
        *static_cast<std::string*>(context) += std::string(line) + "\n";
      },
      &sent);
  Valencies sorted = valencies;
  std::sort(sorted.begin(), sorted.end(), std::greater<unsigned>());
  const auto blocks = corvid_host::LiveBlocks();
  const int result = DataGraph_FreeLinks(static_cast<unsigned>(valencies.size()), valencies.data());
  EXPECT_EQ(corvid_host::LiveBlocks(), blocks);
  EXPECT_EQ(valencies, sorted);
  corvid_host::SetLineSink(nullptr);
  if (lines) *lines = sent;
  return result;
}

/// All sets of up to `nodes` ascending valencies of at most 4 that begin with the chosen ones.
void for_each_set(unsigned nodes, const Valencies& chosen,
                  const std::function<void(const Valencies&)>& visit) {
  if (!chosen.empty()) visit(chosen);
  if (chosen.size() == nodes) return;
  for (unsigned valency = chosen.empty() ? 1 : chosen.back(); valency <= 4; ++valency) {
    Valencies longer = chosen;
    longer.push_back(valency);
    for_each_set(nodes, longer, visit);
  }
}

TEST(DataGraphFreeLinks, EveryFigureIsThatOfAConnectedWiring) {
  int sets = 0, answers = 0, best = 0;
  for_each_set(7, {}, [&](const Valencies& valencies) {
    SCOPED_TRACE(text(valencies));
    const std::set<int> connected = free_ends_of_connected(valencies);
    const int figure = free_links(valencies);
    ++sets;
    if (figure == -3) return;
    ++answers;
    ASSERT_EQ(connected.count(figure), 1U) << figure;  // so it is not below the least of them
    best += figure == *connected.begin();
  });
  EXPECT_EQ(sets, 329);
  // The search is bounded, and these are the sets that it decides; in three it does not find the least.
  EXPECT_EQ(answers, 135);
  EXPECT_EQ(best, 132);
}

TEST(DataGraphFreeLinks, KnownSets) {
  const auto kBadValency = "Counting free links: every node needs between 1 and 10 links.\n";
  const auto kOverflow =
      "Counting free links: the search was given up, it made more links than it can remember.\n";
  const struct {
    Valencies valencies;
    int result;
    const char* lines;
  } kSets[] = {
      {{}, -3, ""},
      {{25}, 25, ""},
      {{2, 2, 1}, -3, ""},        // a wiring exists; the bounded search misses it
      {{4, 4, 4}, 2, ""},         // so does one with no free end
      {{7, 9, 7, 8, 9}, -3, ""},  // given up only after links were taken back from every node
      {{10, 10}, 0, ""},
      {{1, 11}, -3, kBadValency},
      {{0, 5, 1}, -3, kBadValency},
      {{4294967295U, 1, 3}, -3, kBadValency},
      {Valencies(1023, 2), 0, ""},
      {Valencies(1024, 2), -3, kOverflow},
  };
  for (const auto& set : kSets) {
    SCOPED_TRACE(text(set.valencies).substr(0, 60));
    std::string lines;
    EXPECT_EQ(free_links(set.valencies, &lines), set.result);
    EXPECT_EQ(lines, set.lines);
  }
}

TEST(DataGraphFreeLinks, EndsWhateverTheSetAndTheMemory) {
  std::mt19937 random(7);
  const auto from_1_to = [&](unsigned most) {
    return std::uniform_int_distribution<unsigned>(1, most)(random);
  };
  for (int trial = 0; trial < 2000; ++trial) {
    Valencies valencies(1 + from_1_to(40));
    const unsigned most = from_1_to(10);
    unsigned ends = 0;
    for (unsigned& valency : valencies) ends += valency = from_1_to(most);
    const int figure = free_links(valencies);
    EXPECT_TRUE(figure == -3 || (static_cast<int>(ends) - figure) % 2 == 0) << text(valencies);
  }
  for (int n = 1; n <= 2; ++n) {
    Valencies valencies = {1, 1};
    corvid_host::FailAllocation(n);
    EXPECT_EQ(DataGraph_FreeLinks(2, valencies.data()), -3);
    corvid_host::StopFailing();
  }
  EXPECT_EQ(DataGraph_FreeLinks(3, nullptr), -3);
}

}  // namespace
