// The reordering: every number, the figures and the space, for graphs of up to 40 nodes and now and then 300.

#include "proof/differential/families.h"
#include "tests/support/gps_calls.h"

std::string gpskca_difference(std::uint64_t seed) {
  gps_calls::Random random(static_cast<unsigned>(seed));
  const gps_calls::Lists neighbours =
      gps_calls::any_graph(static_cast<unsigned>(random()), seed % 200 == 0 ? 300 : 40, random);
  gps_calls::Call call(neighbours);
  if (random() % 3 == 0) std::shuffle(call.permutation.begin(), call.permutation.end(), random);
  return gps_calls::difference_from_model(call, neighbours, static_cast<int>(random() % 2));
}
