// Renumbers unknowns by gpskca: makes the graph of A + A' without its diagonal (count the ties of each
// unknown, list them, sort, drop those given twice), has it numbered, and measures bandwidth and profile
// before and after.

#include "apps/common/reordering.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <stdexcept>

#include "reorder/gpskca.h"

namespace apps {
namespace {

std::size_t size(std::int64_t count) { return static_cast<std::size_t>(count); }

/// Which unknowns a place off the diagonal ties. Neighbours ascend, and none is there twice.
struct Graph {
  std::vector<int> degree, row_start;  // by unknown; row_start counts from 1
  std::vector<int> connect;            // the neighbours, from 1, of unknown after unknown
};

/// Counts, for each unknown, the entries off the diagonal in its row and in its column.
std::vector<int> count_ties(int order, const std::vector<int>& rows, const std::vector<int>& columns) {
  std::vector<int> count(size(order), 0);
  for (std::size_t k = 0; k < rows.size(); ++k) {
    if (rows[k] == columns[k]) continue;
    ++count[size(rows[k] - 1)];
    ++count[size(columns[k] - 1)];
  }
  return count;
}

/// Lists the neighbours of each unknown, one unknown after the other, unsorted and some of them twice.
/// @return for each unknown the index in `connect`, from 0, behind its last neighbour
std::vector<std::size_t> collect_ties(const std::vector<int>& rows, const std::vector<int>& columns,
                                      Graph& graph) {
  std::vector<std::size_t> next(graph.degree.size());
  std::size_t ties = 0;
  for (std::size_t i = 0; i < next.size(); ++i) {
    next[i] = ties;
    ties += size(graph.degree[i]);
  }
  graph.connect.resize(ties);
  for (std::size_t k = 0; k < rows.size(); ++k) {
    if (rows[k] == columns[k]) continue;
    graph.connect[next[size(rows[k] - 1)]++] = columns[k];
    graph.connect[next[size(columns[k] - 1)]++] = rows[k];
  }
  return next;
}

Graph graph_of(int order, const std::vector<int>& rows, const std::vector<int>& columns) {
  Graph graph{count_ties(order, rows, columns), std::vector<int>(size(order)), {}};
  const std::vector<std::size_t> ends = collect_ties(rows, columns, graph);
  auto kept = graph.connect.begin();
  for (std::size_t i = 0; i < ends.size(); ++i) {
    const auto last = graph.connect.begin() + static_cast<std::ptrdiff_t>(ends[i]);
    const auto first = last - graph.degree[i], begin = kept;
    std::sort(first, last);
    kept = std::unique_copy(first, last, begin);
    graph.row_start[i] = static_cast<int>(begin - graph.connect.begin()) + 1;
    graph.degree[i] = static_cast<int>(kept - begin);
  }
  graph.connect.erase(kept, graph.connect.end());
  return graph;
}

/// Returns the length of work that suffices for any graph.
int work_length(int order) {
  const std::int64_t length = 6 * std::int64_t{order} + 3;
  if (length > std::numeric_limits<int>::max())
    throw std::runtime_error(fmt::format("{} unknowns are too many to be reordered", order));
  return static_cast<int>(length);
}

Measures measure(const Graph& graph, const std::vector<int>& numbering) {
  Measures measures;
  for (std::size_t i = 0; i < graph.degree.size(); ++i) {
    const auto first = graph.connect.begin() + (graph.row_start[i] - 1);
    int width = 0;
    for (auto neighbour = first; neighbour != first + graph.degree[i]; ++neighbour)
      width = std::max(width, numbering[i] - numbering[size(*neighbour - 1)]);
    measures.bandwidth = std::max(measures.bandwidth, width);
    measures.profile += width;
  }
  return measures;
}

}  // namespace

const char* name_of(Goal goal) { return goal == Goal::kProfile ? "profile" : "bandwidth"; }

Reordering reorder(int order, const std::vector<int>& rows, const std::vector<int>& columns, Goal goal) {
  const int optimize_profile = goal == Goal::kProfile, length = work_length(order);
  Graph graph = graph_of(order, rows, columns);
  Reordering result{goal, std::vector<int>(size(order)), {}, {}};
  std::iota(result.numbering.begin(), result.numbering.end(), 1);
  result.before = measure(graph, result.numbering);
  std::vector<int> work(size(length));
  int bandwidth = 0, profile = 0, error = 0, space = 0;
  gpskca(&order, graph.degree.data(), graph.row_start.data(), graph.connect.data(), &optimize_profile,
         &length, result.numbering.data(), work.data(), &bandwidth, &profile, &error, &space);
  if (error != 0) throw std::runtime_error(fmt::format("the reordering ended with code {}", error));
  result.after = measure(graph, result.numbering);  // a profile may be too large for the routine to tell
  return result;
}

}  // namespace apps
