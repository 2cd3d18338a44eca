// Bandwidth and profile of a numbering, counted plainly from the edges.

#include "bench/reorder/measures.h"

#include <algorithm>
#include <cstddef>

namespace bench {
namespace {

bool is_numbering(const Numbering& number) {
  Numbering sorted = number;
  std::sort(sorted.begin(), sorted.end());
  for (std::size_t i = 0; i < sorted.size(); ++i) {
    if (sorted[i] != static_cast<int>(i) + 1) return false;
  }
  return true;
}

}  // namespace

Measures measures(const Mesh& mesh, const Numbering& number) {
  if (static_cast<int>(number.size()) != mesh.n || !is_numbering(number)) return {-1, -1};
  std::vector<int> row_width(number.size());
  for (const auto& [i, j] : mesh.edges) {
    const auto [low, high] =
        std::minmax({number[static_cast<std::size_t>(i) - 1], number[static_cast<std::size_t>(j) - 1]});
    int& width = row_width[static_cast<std::size_t>(high) - 1];
    width = std::max(width, high - low);
  }
  Measures result;
  for (const int width : row_width) {
    result.bandwidth = std::max(result.bandwidth, width);
    result.profile += width;
  }
  return result;
}

Numbering reversed(Numbering number) {
  for (int& i : number) i = static_cast<int>(number.size()) + 1 - i;
  return number;
}

}  // namespace bench
