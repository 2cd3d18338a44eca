// Prints bandwidth and profile of meshes after the reordering and after the orderings of Boost.Graph. A
// profile is the smaller one of the ordering and its reverse, because the reordering tries both.
//
//   reorder_quality [--results FILE] [--largest NODES]

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include "bench/reorder/boost_orderings.h"
#include "bench/reorder/gpskca_ordering.h"
#include "bench/reorder/measures.h"
#include "bench/reorder/meshes.h"
#include "bench/support/result_lines.h"
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

void keep(const char* family, int order, int n, const Results& results, bench::ResultLines& lines) {
  for (std::size_t k = 0; k < std::size(kNames); ++k) {
    const std::string name = std::string("quality/") + family + '/' + std::to_string(order) + '/' + kNames[k];
    lines.add(name, "nodes", n);
    lines.add(name, "bandwidth", results.of[k].bandwidth);
    lines.add(name, "profile", static_cast<double>(results.of[k].profile));
  }
}

struct Settings {
  std::string results;
  int largest = 100'000;
};

bool read_options(int argc, char** argv, Settings& settings) {
  for (int k = 1; k + 1 < argc; k += 2) {
    if (std::strcmp(argv[k], "--results") == 0)
      settings.results = argv[k + 1];
    else if (std::strcmp(argv[k], "--largest") == 0)
      settings.largest = std::atoi(argv[k + 1]);
    else
      return false;
  }
  return argc % 2 == 1;
}

}  // namespace

int main(int argc, char** argv) {
  Settings settings;
  if (!read_options(argc, argv, settings)) {
    std::fprintf(stderr, "usage: %s [--results FILE] [--largest NODES]\n", argv[0]);
    return EXIT_FAILURE;
  }
  if (!bench::build_is_optimised()) return EXIT_FAILURE;
  for (const auto& [name, value] : bench::conditions()) std::printf("%s: %s\n", name.c_str(), value.c_str());
  int meshes = 0, best_bandwidth = 0, best_profile = 0, wrong = 0;
  bench::ResultLines lines;
  print_heading();
  for (const bench::MeshFamily& family : bench::mesh_families()) {
    for (int order = 1000; order <= std::min(family.largest, settings.largest); order *= 10) {
      const Mesh mesh = family.make(order, 0);
      const Results results = results_of(mesh);
      print(family.name, mesh.n, results);
      keep(family.name, order, mesh.n, results, lines);
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
  if (!settings.results.empty()) {
    std::ofstream file(settings.results);
    lines.write(file);
    if (!file.flush()) return EXIT_FAILURE;
  }
  return wrong != 0;
}
