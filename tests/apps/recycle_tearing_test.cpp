// Tearing on small random graphs, against trying every set of edges.

#include "apps/recycle/tearing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <tuple>

namespace recycle {
namespace {

using Edges = std::vector<int>;

Graph random_graph(std::mt19937& random) {
  Graph graph;
  graph.units = std::uniform_int_distribution<int>(1, 6)(random);
  std::uniform_int_distribution<int> unit(0, graph.units - 1);
  const int edges = std::uniform_int_distribution<int>(0, 11)(random);
  for (int e = 0; e < edges; ++e) graph.edges.push_back({unit(random), unit(random)});
  return graph;
}

/// Whether no walk along edges goes on for ever: the longest one to each unit is then found.
bool acyclic(const Graph& graph, const Edges& without) {
  std::vector<int> longest(static_cast<std::size_t>(graph.units));
  for (int round = 0; round <= graph.units; ++round) {
    bool longer = false;
    for (std::size_t e = 0; e < graph.edges.size(); ++e) {
      const auto from = static_cast<std::size_t>(graph.edges[e].from),
                 to = static_cast<std::size_t>(graph.edges[e].to);
      if (std::count(without.begin(), without.end(), static_cast<int>(e)) != 0 || longest[to] > longest[from])
        continue;
      longest[to] = longest[from] + 1;
      longer = true;
    }
    if (!longer) return true;
  }
  return false;
}

/// Cycles enter and leave each of their units once; without one edge nothing of a single cycle is left.
bool is_simple_cycle(const Graph& graph, const Edges& edges) {
  std::set<int> from, to;
  Graph alone{graph.units, {}};
  for (const int e : edges) {
    alone.edges.push_back(graph.edges[static_cast<std::size_t>(e)]);
    from.insert(alone.edges.back().from);
    to.insert(alone.edges.back().to);
  }
  return !edges.empty() && from.size() == edges.size() && from == to && acyclic(alone, {0});
}

std::vector<Edges> every_set(const Graph& graph) {
  std::vector<Edges> sets{{}};
  for (int e = 0; e < static_cast<int>(graph.edges.size()); ++e)
    for (std::size_t s = sets.size(); s-- > 0;) {
      sets.push_back(sets[s]);
      sets.back().push_back(e);
    }
  return sets;
}

/// The fewest edges, then the fewest cuts of cycles, then the earliest edges.
Edges best_by_trying_all(const Graph& graph) {
  const std::vector<Edges> sets = every_set(graph);
  std::vector<long> cycles_through(graph.edges.size());
  for (const Edges& set : sets)
    if (is_simple_cycle(graph, set))
      for (const int e : set) ++cycles_through[static_cast<std::size_t>(e)];
  std::tuple<std::size_t, long, Edges> best{graph.edges.size() + 1, 0, {}};
  for (const Edges& set : sets) {
    if (set.size() > std::get<0>(best) || !acyclic(graph, set)) continue;
    long cuts = 0;
    for (const int e : set) cuts += cycles_through[static_cast<std::size_t>(e)];
    best = std::min(best, std::tuple(set.size(), cuts, set));
  }
  return std::get<2>(best);
}

TEST(Tearing, FindsWhatTryingAllSetsFinds) {
  std::mt19937 random(3);
  int torn = 0;
  for (int trial = 0; trial < 300; ++trial) {
    SCOPED_TRACE(trial);
    const Graph graph = random_graph(random);
    const auto tears = smallest_tear_set(graph);
    ASSERT_TRUE(tears);
    EXPECT_EQ(*tears, best_by_trying_all(graph));
    torn += tears->size() > 1;

    std::vector<int> order = order_of_units(graph, *tears), place(order.size());
    ASSERT_EQ(static_cast<int>(order.size()), graph.units);
    for (std::size_t i = 0; i < order.size(); ++i)
      place[static_cast<std::size_t>(order[i])] = static_cast<int>(i);
    for (std::size_t e = 0; e < graph.edges.size(); ++e)
      if (std::count(tears->begin(), tears->end(), static_cast<int>(e)) == 0) {
        EXPECT_LT(place[static_cast<std::size_t>(graph.edges[e].from)],
                  place[static_cast<std::size_t>(graph.edges[e].to)]);
      }
  }
  EXPECT_GT(torn, 50);
}

TEST(Tearing, LeavesOutWhatIsBehindACycleAndGivesUpOnEntangledGraphs) {
  const Graph chain{4, {{0, 1}, {1, 2}, {2, 1}, {2, 3}}};
  EXPECT_EQ(order_of_units(chain, {}), std::vector<int>{0});
  EXPECT_EQ(order_of_units(chain, {2}), (std::vector<int>{0, 1, 2, 3}));
  Graph complete{14, {}};
  for (int a = 0; a < complete.units; ++a)
    for (int b = 0; b < complete.units; ++b) complete.edges.push_back({a, b});
  EXPECT_FALSE(smallest_tear_set(complete));
}

}  // namespace
}  // namespace recycle
