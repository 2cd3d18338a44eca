// Chooses the streams to tear. In each strongly connected component with a cycle (Tarjan) it lists the simple
// cycles and searches, by iterative deepening, for the smallest set of edges that cuts them all; then it
// orders the units topologically.

#include "apps/recycle/tearing.h"

#include <algorithm>
#include <cstdint>
#include <set>
#include <utility>

namespace recycle {
namespace {

constexpr std::int64_t kMostWork =
    2'000'000;  // limit of the edges followed, or sets tried, in one group; takes about a second

std::vector<std::vector<int>> edges_by_source(const Graph& graph) {
  std::vector<std::vector<int>> leaving(static_cast<std::size_t>(graph.units));
  for (std::size_t e = 0; e < graph.edges.size(); ++e)
    leaving[static_cast<std::size_t>(graph.edges[e].from)].push_back(static_cast<int>(e));
  return leaving;
}

/// Finds strongly connected components by Tarjan's depth-first search. `low` of a unit is the visiting number
/// of the earliest unit on the stack that it is known to reach.
class StrongComponents {
 public:
  explicit StrongComponents(const Graph& graph)
      : graph_(graph),
        leaving_(edges_by_source(graph)),
        visit_(leaving_.size(), kUnseen),
        low_(leaving_.size()),
        on_stack_(leaving_.size()) {
    for (std::size_t unit = 0; unit < leaving_.size(); ++unit)
      if (visit_[unit] == kUnseen) explore(unit);
  }
  std::vector<std::vector<int>> take() { return std::move(components_); }

 private:
  static constexpr int kUnseen = -1;

  void explore(std::size_t unit) {
    visit_[unit] = low_[unit] = visits_++;
    stack_.push_back(static_cast<int>(unit));
    on_stack_[unit] = true;
    for (const int e : leaving_[unit]) {
      const auto next = static_cast<std::size_t>(graph_.edges[static_cast<std::size_t>(e)].to);
      if (visit_[next] == kUnseen) {
        explore(next);
        low_[unit] = std::min(low_[unit], low_[next]);
      } else if (on_stack_[next]) {
        low_[unit] = std::min(low_[unit], visit_[next]);
      }
    }
    if (low_[unit] == visit_[unit]) close_component(static_cast<int>(unit));
  }

  void close_component(int root) {
    std::vector<int> component;
    do {
      component.push_back(stack_.back());
      on_stack_[static_cast<std::size_t>(stack_.back())] = false;
      stack_.pop_back();
    } while (component.back() != root);
    std::sort(component.begin(), component.end());
    components_.push_back(std::move(component));
  }

  const Graph& graph_;
  const std::vector<std::vector<int>> leaving_;
  std::vector<int> visit_, low_;
  std::vector<bool> on_stack_;
  std::vector<int> stack_;
  int visits_ = 0;
  std::vector<std::vector<int>> components_;
};

using Cycle = std::vector<int>;  // edges

/// Lists the simple cycles of a group by depth-first search, each once: from its unit of the lowest number.
class CycleList {
 public:
  CycleList(const Graph& graph, const std::vector<int>& group)
      : graph_(graph), leaving_(edges_by_source(graph)), open_(leaving_.size()) {
    for (const int unit : group) open_[static_cast<std::size_t>(unit)] = true;
    for (const int root : group) {
      follow(root, root);
      open_[static_cast<std::size_t>(root)] = false;  // its cycles are all listed
    }
  }
  bool complete() const { return work_ <= kMostWork; }
  const std::vector<Cycle>& cycles() const { return cycles_; }

 private:
  void follow(int root, int unit) {
    for (const int e : leaving_[static_cast<std::size_t>(unit)]) {
      if (++work_ > kMostWork) return;
      const int next = graph_.edges[static_cast<std::size_t>(e)].to;
      if (!open_[static_cast<std::size_t>(next)]) continue;
      path_.push_back(e);
      if (next == root) {
        cycles_.push_back(path_);
        work_ += static_cast<std::int64_t>(path_.size());
      } else {
        open_[static_cast<std::size_t>(next)] = false;
        follow(root, next);
        open_[static_cast<std::size_t>(next)] = true;
      }
      path_.pop_back();
    }
  }

  const Graph& graph_;
  const std::vector<std::vector<int>> leaving_;
  std::vector<bool> open_;  // [unit] whether the path may still enter it
  Cycle path_;
  std::vector<Cycle> cycles_;
  std::int64_t work_ = 0;
};

/// Finds the best set of edges that has one in every cycle, by iterative deepening. Some edge of the first
/// cycle that is not cut yet must be in the set, so each of them is tried. The limit on the size of the set
/// rises by one until a set is found.
class TearSearch {
 public:
  TearSearch(const std::vector<Cycle>& cycles, std::size_t edges) : cycles_(cycles), weight_(edges) {
    for (const Cycle& cycle : cycles)
      for (const int e : cycle) ++weight_[static_cast<std::size_t>(e)];
    for (std::size_t room = 1; best_.empty() && complete(); ++room) extend(room, 0);
  }
  bool complete() const { return work_ <= kMostWork; }
  const std::vector<int>& best() const { return best_; }

 private:
  bool cut(const Cycle& cycle) const {
    return std::any_of(cycle.begin(), cycle.end(), [this](int e) { return chosen_.count(e) != 0; });
  }

  void extend(std::size_t room, std::size_t cycle) {
    while (cycle < cycles_.size() && cut(cycles_[cycle])) ++cycle, ++work_;
    if (cycle == cycles_.size()) return keep_if_better();
    if (room == 0) return;
    for (const int e : cycles_[cycle]) {
      if (++work_ > kMostWork) return;
      chosen_.insert(e);
      extend(room - 1, cycle + 1);
      chosen_.erase(e);
    }
  }

  void keep_if_better() {
    std::vector<int> set(chosen_.begin(), chosen_.end());
    if (best_.empty() || std::pair(cuts(set), set) < std::pair(cuts(best_), best_)) best_ = std::move(set);
  }

  /// Counts how often the set cuts a cycle, over all cycles.
  std::int64_t cuts(const std::vector<int>& set) const {
    std::int64_t total = 0;
    for (const int e : set) total += weight_[static_cast<std::size_t>(e)];
    return total;
  }

  const std::vector<Cycle>& cycles_;
  std::vector<std::int64_t> weight_;  // [edge] number of cycles through it
  std::set<int> chosen_;
  std::vector<int> best_;
  std::int64_t work_ = 0;
};

}  // namespace

std::vector<std::vector<int>> recycle_groups(const Graph& graph) {
  std::vector<std::vector<int>> groups = StrongComponents(graph).take();
  const auto has_cycle = [&](const std::vector<int>& group) {
    return group.size() > 1 || std::any_of(graph.edges.begin(), graph.edges.end(), [&](const Edge& e) {
             return e.from == group.front() && e.to == group.front();
           });
  };
  groups.erase(std::remove_if(groups.begin(), groups.end(), [&](const auto& g) { return !has_cycle(g); }),
               groups.end());
  std::sort(groups.begin(), groups.end());
  return groups;
}

std::optional<std::vector<int>> smallest_tear_set(const Graph& graph) {
  std::vector<int> tears;
  for (const std::vector<int>& group : recycle_groups(graph)) {
    const CycleList list(graph, group);
    if (!list.complete()) return std::nullopt;
    const TearSearch search(list.cycles(), graph.edges.size());
    if (!search.complete()) return std::nullopt;
    tears.insert(tears.end(), search.best().begin(), search.best().end());
  }
  std::sort(tears.begin(), tears.end());
  return tears;
}

std::vector<int> order_of_units(const Graph& graph, const std::vector<int>& tears) {
  const auto torn = [&](std::size_t e) {
    return std::find(tears.begin(), tears.end(), static_cast<int>(e)) != tears.end();
  };
  std::vector<int> awaited(static_cast<std::size_t>(graph.units));  // [unit] inlets that are not computed yet
  for (std::size_t e = 0; e < graph.edges.size(); ++e)
    if (!torn(e)) ++awaited[static_cast<std::size_t>(graph.edges[e].to)];
  std::set<int> ready;
  for (int unit = 0; unit < graph.units; ++unit)
    if (awaited[static_cast<std::size_t>(unit)] == 0) ready.insert(unit);
  std::vector<int> order;
  while (!ready.empty()) {
    const int unit = *ready.begin();
    ready.erase(ready.begin());
    order.push_back(unit);
    for (std::size_t e = 0; e < graph.edges.size(); ++e)
      if (graph.edges[e].from == unit && !torn(e) &&
          --awaited[static_cast<std::size_t>(graph.edges[e].to)] == 0)
        ready.insert(graph.edges[e].to);
  }
  return order;
}

}  // namespace recycle
