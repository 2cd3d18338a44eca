// Tables of points, through 200 random operations each.

#include "proof/differential/families.h"
#include "tests/tables/table_model.h"

std::string xy_table_difference(std::uint64_t seed) {
  using namespace test_support;
  std::mt19937 random(static_cast<unsigned>(seed));
  const int chunks[] = {10, 3, 1, 0, -4};
  table_chunk_size = chunks[random() % 5];
  auto table = std::make_unique<OpenXYTable>();
  TableModel model{{}, std::max(table_chunk_size, 0), 0};
  for (int step = 0; step < 200; ++step) {
    const std::string what = act(table, model, random);
    if (!what.empty()) return what + ", step " + std::to_string(step);
  }
  return {};
}
