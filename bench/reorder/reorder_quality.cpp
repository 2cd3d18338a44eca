// Prints bandwidth and profile of meshes after the reordering and after the orderings of Boost.Graph. A
// profile is the smaller one of the ordering and its reverse, because the reordering tries both.

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <iterator>

#include "bench/reorder/boost_orderings.h"
#include "bench/reorder/gpskca_ordering.h"
#include "bench/reorder/measures.h"
#include "bench/reorder/meshes.h"
#include "bench/support/run.h"

namespace {

using bench::BoostOrderings;
using bench::Measures;
using bench::Mesh;

/// The results of the two methods of the library, then those of the peers.
struct Results {
  Measures of[5];
};
constexpr const char* kNames[] = {"gps", "gk", "rcm", "king", "sloan"};

Measures better_direction(const Mesh& mesh, const bench::Numbering& numbering) {
  const Measures forward = measures(mesh, numbering), backward = measures(mesh, bench::reversed(numbering));
  return {forward.bandwidth, std::min(forward.profile, backward.profile)};
}

Measures of_library(const Mesh& mesh, bool by_profile) {
  bench::GpskcaOrdering ordering(mesh, by_profile);
  ordering.prepare();
  if (!ordering.reorder() || !ordering.is_right()) return {-1, -1};
  return better_direction(mesh, ordering.numbering());
}

Measures of_peer(const Mesh& mesh, void (BoostOrderings::*reorder)()) {
  BoostOrderings orderings(mesh);
  (orderings.*reorder)();
  return better_direction(mesh, orderings.numbering());
}

Results results_of(const Mesh& mesh) {
  return {{of_library(mesh, false), of_library(mesh, true),
           of_peer(mesh, &BoostOrderings::reverse_cuthill_mckee),
           of_peer(mesh, &BoostOrderings::reverse_king), of_peer(mesh, &BoostOrderings::sloan)}};
}

void print_heading() {
  std::printf("%-18s", "mesh, nodes");
  for (const char* name : kNames) std::printf("%7s", name);
  std::printf("  |");
  for (const char* name : kNames) std::printf("%10s", name);
  std::printf("\n%-18s%35s  |%50s\n", "", "bandwidth", "profile");
}

void print(const char* family, int n, const Results& results) {
  std::printf("%-11s%7d", family, n);
  for (const Measures& m : results.of) std::printf("%7d", m.bandwidth);
  std::printf("  |");
  for (const Measures& m : results.of) std::printf("%10" PRId64, m.profile);
  std::printf("\n");
  std::fflush(stdout);
}

}  // namespace

int main() {
  if (!bench::build_is_optimised()) return 1;
  for (const auto& [name, value] : bench::conditions()) std::printf("%s: %s\n", name.c_str(), value.c_str());
  int meshes = 0, best_bandwidth = 0, best_profile = 0, wrong = 0;
  print_heading();
  for (const bench::MeshFamily& family : bench::mesh_families()) {
    for (int order = 1000; order <= family.largest; order *= 10) {
      const Mesh mesh = family.make(order, 0);
      const Results results = results_of(mesh);
      print(family.name, mesh.n, results);
      const auto* peers = results.of + 2;
      ++meshes;
      best_bandwidth += std::all_of(peers, std::end(results.of), [&](const Measures& peer) {
        return results.of[0].bandwidth <= peer.bandwidth;
      });
      best_profile += std::all_of(peers, std::end(results.of), [&](const Measures& peer) {
        return results.of[1].profile <= peer.profile;
      });
      wrong += std::any_of(std::begin(results.of), std::end(results.of),
                           [](const Measures& m) { return m.bandwidth < 0; });
    }
  }
  std::printf(
      "of %d meshes, at least as small as the best peer: bandwidth %d, profile %d; wrong numberings %d\n",
      meshes, best_bandwidth, best_profile, wrong);
  return wrong != 0;
}
