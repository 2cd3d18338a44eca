// The search for a connected wiring: what it finds free is what some connected wiring leaves free. Where it
// need not go back, a plain model tells its answer; elsewhere it may miss what exists, because it is bounded.

#include <algorithm>
#include <functional>
#include <numeric>

#include "proof/differential/comparison.h"
#include "proof/differential/families.h"
#include "tests/util/connected_wirings.h"
#include "util/data_graph.h"

namespace {

constexpr int kNone = -3;  // no answer

/// The first descent of the search: links from node to node, until fewer than two ends are free.
class Descent {
 public:
  explicit Descent(const connected_wirings::Valencies& valencies)
      : free_(valencies.begin(), valencies.end()), group_(valencies.size()) {
    std::sort(free_.begin(), free_.end(), std::greater<int>());
    std::iota(group_.begin(), group_.end(), 0);
  }

  /// @return the free ends that are left, or kNone if the search would have to go back
  int run() {
    const std::size_t nodes = free_.size();
    if (nodes == 1) return free_[0];
    int left = std::accumulate(free_.begin(), free_.end(), 0);
    std::size_t a = 0, b = 1, skipped = 0;
    while (left > 1) {
      for (; free_[a] == 0; b = a == b ? next(b) : b) a = next(a);
      for (; free_[b] == 0 && b != a; b = next(b)) {
      }
      if (b == a) return kNone;  // one node has all the ends that are free
      if (left > 2 && free_[a] == 1 && free_[b] == 1) {
        if (++skipped > nodes) return kNone;
        a = b, b = next(b);
        continue;
      }
      --free_[a], --free_[b], left -= 2;
      join(group_[a], group_[b]);
    }
    const bool connected = std::count(group_.begin(), group_.end(), group_[0]) == std::ptrdiff_t(nodes);
    return left > 0 || connected ? left : kNone;
  }

 private:
  std::size_t next(std::size_t node) const { return node + 1 == free_.size() ? 0 : node + 1; }
  void join(int one, int other) { std::replace(group_.begin(), group_.end(), other, one); }

  std::vector<int> free_, group_;
};

}  // namespace

std::string free_links_difference(std::uint64_t seed) {
  differential::Draw draw(seed);
  connected_wirings::Valencies valencies(static_cast<std::size_t>(1 + draw.below(12)));
  const int most = 1 + draw.below(10);
  for (unsigned& valency : valencies) valency = 1 + static_cast<unsigned>(draw.below(most));
  const std::set<int> connected = connected_wirings::free_ends_of_connected(valencies);
  const int expected = Descent(valencies).run();
  const int found = DataGraph_FreeLinks(static_cast<unsigned>(valencies.size()), valencies.data());
  std::string nodes;
  for (const unsigned valency : valencies) nodes += ' ' + std::to_string(valency);
  if (expected != kNone && found != expected)
    return std::to_string(found) + " ends are free, in the model " + std::to_string(expected) + ", of" +
           nodes;
  if (found == kNone && !connected.empty()) note_undecided();
  if (found == kNone || connected.count(found) == 1) return {};
  return "no connected wiring leaves " + std::to_string(found) + " ends free of" + nodes;
}
