// DataGraph_FreeLinks with any valencies.

#include <algorithm>
#include <numeric>
#include <vector>

#include "fuzz/bytes.h"
#include "fuzz/guarded_array.h"
#include "host/corvid_host.h"
#include "util/data_graph.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using fuzz::require;
  corvid_host::SetLineSink([](void*, corvid_host::LineKind, const char*) {});
  const std::int64_t blocks = corvid_host::LiveBlocks();
  fuzz::Bytes bytes(data, size);
  const bool tame = bytes.flag();
  const int count = bytes.below(8) == 0 ? bytes.below(300) : bytes.below(12);
  fuzz::GuardedArray<unsigned int> valencies(static_cast<std::size_t>(count));
  for (unsigned int& valency : valencies)
    valency = static_cast<unsigned int>(tame || bytes.below(32) != 0 ? bytes.between(1, 4) : bytes.integer());
  std::vector<unsigned int> given = valencies.copy();
  const int result = DataGraph_FreeLinks(static_cast<unsigned int>(count), valencies.data());
  require(corvid_host::LiveBlocks() == blocks, "all memory is given back");

  std::vector<unsigned int> sorted = valencies.copy();
  require(count == 1 || result == -3 || std::is_sorted(sorted.rbegin(), sorted.rend()),
          "the valencies are sorted");
  std::sort(given.begin(), given.end()), std::sort(sorted.begin(), sorted.end());
  require(given == sorted, "the valencies are only moved");
  if (count == 1 || result == -3) return 0;
  // A tree of all nodes uses up two ends for each of its links, any further link two more; a node's ends
  // beyond those of all the others stay free.
  const auto ends = std::accumulate(given.begin(), given.end(), 0LL);
  const long long largest = given.back();
  require(result >= std::max(0LL, 2 * largest - ends) && result <= ends - 2 * (count - 1LL) &&
              (ends - result) % 2 == 0,
          "so many ends can stay free");
  return 0;
}
