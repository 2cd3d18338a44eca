// gpskca on graphs of any kind, symmetric or not. Of a symmetric graph with enough work space the result must
// be a numbering whose bandwidth and profile are those told, and no worse than the caller's.

#include "reorder/gpskca.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "fuzz/bytes.h"
#include "fuzz/guarded_array.h"

namespace {

using fuzz::Bytes, fuzz::Ints, fuzz::require;

struct Graph {
  std::vector<std::vector<int>> neighbours;  // nodes from 1
  bool symmetric = true;
};

/// Reads edges, paths and stars; some edges may be listed with one of their nodes only.
Graph read_graph(Bytes& bytes) {
  const bool tame = bytes.flag();
  const int n = bytes.below(8) == 0 ? bytes.below(120) : bytes.below(14);
  Graph graph{std::vector<std::vector<int>>(static_cast<std::size_t>(n)), true};
  const auto listed = [&](int i) -> std::vector<int>& {
    return graph.neighbours[static_cast<std::size_t>(i - 1)];
  };
  const auto link = [&](int i, int j) {
    if (i == j || std::count(listed(i).begin(), listed(i).end(), j) != 0) return;
    listed(i).push_back(j), listed(j).push_back(i);
  };
  for (int parts = n > 0 ? bytes.below(40) : 0; parts > 0; --parts) {
    const int i = bytes.between(1, n), j = bytes.between(1, n);
    switch (bytes.below(6)) {
      case 0:
        for (int k = std::min(i, j); k < std::max(i, j); ++k) link(k, k + 1);
        break;
      case 1:
        for (int k = 1; k <= j; ++k) link(i, k);
        break;
      case 2:
        if (tame) break;
        listed(i).push_back(bytes.flag() ? j : bytes.integer());
        graph.symmetric = false;
        break;
      default:
        link(i, j);
    }
  }
  return graph;
}

struct Widths {
  int bandwidth = 0;
  std::int64_t profile = 0;
};
Widths widths(const Graph& graph, const std::vector<int>& number) {
  Widths all;
  for (std::size_t i = 0; i < number.size(); ++i) {
    int width = 0;
    for (const int j : graph.neighbours[i])
      width = std::max(width, number[i] - number[static_cast<std::size_t>(j - 1)]);
    all.bandwidth = std::max(all.bandwidth, width);
    all.profile += width;
  }
  return all;
}

bool is_numbering(const std::vector<int>& number) {
  std::vector<int> sorted = number;
  std::sort(sorted.begin(), sorted.end());
  for (std::size_t i = 0; i < sorted.size(); ++i)
    if (sorted[i] != static_cast<int>(i) + 1) return false;
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Bytes bytes(data, size);
  const Graph graph = read_graph(bytes);
  const std::size_t nodes = graph.neighbours.size();
  const int n = static_cast<int>(nodes);
  std::size_t ends = 0;
  for (const auto& list : graph.neighbours) ends += list.size();

  Ints degree(nodes), row_start(nodes), connect(ends), permutation(nodes);
  int at = 1;
  for (std::size_t i = 0; i < nodes; ++i) {
    degree[i] = static_cast<int>(graph.neighbours[i].size()), row_start[i] = at;
    for (const int j : graph.neighbours[i]) connect[static_cast<std::size_t>(at++ - 1)] = j;
    permutation[i] = static_cast<int>(i) + 1;
  }
  for (int swaps = n > 0 ? bytes.below(16) : 0; swaps > 0; --swaps)
    std::swap(permutation[static_cast<std::size_t>(bytes.below(n))],
              permutation[static_cast<std::size_t>(bytes.below(n))]);
  if (n > 0 && bytes.below(8) == 1) permutation[static_cast<std::size_t>(bytes.below(n))] = bytes.integer();
  if (n > 0 && bytes.below(16) == 1) degree[static_cast<std::size_t>(bytes.below(n))] *= -1;
  const bool numbered = is_numbering(permutation.copy());

  const int enough = 6 * n + 3, length = bytes.below(4) == 1 ? bytes.below(enough + 1) : enough;
  const int by_profile = bytes.below(2);
  Ints work(static_cast<std::size_t>(length));
  const std::vector<int> degrees = degree.copy(), before = permutation.copy();
  int bandwidth = 77, profile = 77, error = 77, space = 77;
  gpskca(&n, degree.data(), row_start.data(), connect.data(), &by_profile, &length, permutation.data(),
         work.data(), &bandwidth, &profile, &error, &space);

  require(error >= 0 && error <= 160, "the error code is one of the list");
  const std::vector<int> after = permutation.copy();
  const bool sound =
      graph.symmetric && std::none_of(degrees.begin(), degrees.end(), [](int d) { return d < 0; });
  if (error != 0) {
    require(after == before, "an error leaves the numbering unchanged");
    require(bandwidth == -1 && profile == -1, "after an error there are no widths");
    require(!sound || !numbered || length < enough, "a symmetric graph with enough work space is numbered");
  }
  if (error != 1 && error != 70 && error != 71) require(degree.copy() == degrees, "degrees are restored");
  if (error != 0 || !sound || !numbered) return 0;
  require(is_numbering(after), "the result is a numbering");
  const Widths told = widths(graph, after), old = widths(graph, before);
  require(told.bandwidth == bandwidth && told.profile == profile,
          "bandwidth and profile are those of the result");
  require(by_profile != 0 ? told.profile <= old.profile : told.bandwidth <= old.bandwidth,
          "the result is no worse than the caller's numbering");
  return 0;
}
