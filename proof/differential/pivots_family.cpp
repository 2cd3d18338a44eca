// The pivot choice of ma48 on one block, in ample room and in little.

#include "proof/differential/families.h"
#include "tests/support/pivot_calls.h"

std::string pivots_difference(std::uint64_t seed) {
  std::mt19937 random(static_cast<unsigned>(seed));
  const pivot_model::Problem problem = pivot_model::random_problem(random);
  const int least = pivot_model::entries(problem), ample = 10 * least + 400;
  const pivot_model::Result unhindered = pivot_model::select(problem, ample);
  const std::string what = pivot_model::difference(pivot_model::Model(problem, ample).run(), unhindered);
  if (!what.empty()) return what;

  const int needed = unhindered.info[2];
  const int little = least + static_cast<int>(random() % static_cast<unsigned>(needed - least + 1));
  const pivot_model::Result result = pivot_model::select(problem, little);
  const std::string room = ", in " + std::to_string(little) + " places";
  if (result.info[0] == -3) return result.info[2] > little ? "" : "asks for no more places" + room;
  const std::string there = pivot_model::difference(pivot_model::Model(problem, little).run(), result);
  return there.empty() ? there : there + room;
}
