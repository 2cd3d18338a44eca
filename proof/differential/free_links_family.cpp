// The search for a connected wiring: what it finds free is what some connected wiring leaves free.

#include "proof/differential/comparison.h"
#include "proof/differential/families.h"
#include "tests/util/connected_wirings.h"
#include "util/data_graph.h"

std::string free_links_difference(std::uint64_t seed) {
  differential::Draw draw(seed);
  connected_wirings::Valencies valencies(static_cast<std::size_t>(1 + draw.below(12)));
  const int most = 1 + draw.below(10);
  for (unsigned& valency : valencies) valency = 1 + static_cast<unsigned>(draw.below(most));
  const std::set<int> connected = connected_wirings::free_ends_of_connected(valencies);
  const int none = -3;  // the search is bounded: it may miss what exists, but finds nothing that does not
  const int found = DataGraph_FreeLinks(static_cast<unsigned>(valencies.size()), valencies.data());
  if (found == none || connected.count(found) == 1) return {};
  std::string nodes;
  for (const unsigned valency : valencies) nodes += ' ' + std::to_string(valency);
  return "no connected wiring leaves " + std::to_string(found) + " ends free of" + nodes;
}
