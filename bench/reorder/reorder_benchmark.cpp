// Compares the reordering with the orderings of Boost.Graph that have the same aim, on meshes: reverse
// Cuthill-McKee for the bandwidth, Sloan for the profile. Each chooses its starting nodes. Counter: the best
// time, in seconds.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <deque>
#include <limits>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "bench/dense/compare.h"
#include "bench/reorder/boost_orderings.h"
#include "bench/reorder/gpskca_ordering.h"
#include "bench/reorder/meshes.h"
#include "bench/support/ratio_report.h"
#include "bench/support/run.h"

namespace {

using bench::BoostOrderings;
using bench::GpskcaOrdering;
using bench::Mesh;
using bench::MeshFamily;

using Meshes = std::vector<Mesh>;

/// Returns a mesh, in several random numberings if it is small, because branch prediction would learn a
/// single one. The meshes are made at the first use and kept.
const Meshes& meshes_of(const MeshFamily& family, int order) {
  static std::map<std::pair<const MeshFamily*, int>, Meshes> known;
  Meshes& meshes = known[{&family, order}];
  for (int i = static_cast<int>(meshes.size()); i == 0 || (i + 1) * order <= 32000; ++i)
    meshes.push_back(family.make(order, i));
  return meshes;
}

/// Times a piece of work, which goes through all numberings of the mesh.
/// @param prepare runs before each piece of work and is not timed
template <class Prepare, class Work>
void measure(benchmark::State& state, const Meshes& meshes, Prepare&& prepare, Work&& work) {
  double best = std::numeric_limits<double>::infinity();
  for (auto _ : state) {
    prepare();
    const double seconds = bench::seconds_of(work) / static_cast<double>(meshes.size());
    state.SetIterationTime(seconds);
    best = std::min(best, seconds);
  }
  state.counters["best"] = best;
  state.counters["nodes"] = meshes.front().n;
  state.counters["edges"] = static_cast<double>(meshes.front().edges.size());
}

void BM_Gpskca(benchmark::State& state, const Meshes& meshes, bool by_profile) {
  std::deque<GpskcaOrdering> orderings;
  for (const Mesh& mesh : meshes) {
    GpskcaOrdering& ordering = orderings.emplace_back(mesh, by_profile);
    ordering.prepare();
    if (!ordering.reorder() || !ordering.is_right()) return state.SkipWithError("wrong numbering");
  }
  const auto prepare = [&] {
    for (GpskcaOrdering& ordering : orderings) ordering.prepare();
  };
  measure(state, meshes, prepare, [&] {
    for (GpskcaOrdering& ordering : orderings) ordering.reorder();
  });
}

void BM_Peer(benchmark::State& state, const Meshes& meshes, void (BoostOrderings::*reorder)()) {
  std::deque<BoostOrderings> orderings(meshes.begin(), meshes.end());
  const auto prepare = [] {};
  measure(state, meshes, prepare, [&] {
    for (BoostOrderings& ordering : orderings) (ordering.*reorder)();
  });
  for (std::size_t i = 0; i < meshes.size(); ++i) {
    if (measures(meshes[i], orderings[i].numbering()).bandwidth < 0)
      return state.SkipWithError("wrong numbering");
  }
}

template <class Timed, class Argument>
void add(const std::string& name, const MeshFamily& family, int order, Timed timed, Argument argument) {
  benchmark::RegisterBenchmark(
      name.c_str(),
      [=, &family](benchmark::State& state) { timed(state, meshes_of(family, order), argument); })
      ->UseManualTime()
      ->Unit(benchmark::kMillisecond);
}

/// Adds runs that are compared one right after the other, so that the load of the machine is about the same
/// for both.
void add_all() {
  for (const MeshFamily& family : bench::mesh_families()) {
    for (int order = 1000; order <= family.largest; order *= 10) {
      const std::string place = std::string("/") + family.name + '/' + std::to_string(order) + '/';
      add("bandwidth" + place + "gpskca", family, order, BM_Gpskca, false);
      add("bandwidth" + place + "cuthill", family, order, BM_Peer, &BoostOrderings::reverse_cuthill_mckee);
      add("profile" + place + "gpskca", family, order, BM_Gpskca, true);
      add("profile" + place + "sloan", family, order, BM_Peer, &BoostOrderings::sloan);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  add_all();
  bench::RatioReport report({"gpskca"}, {"cuthill", "sloan"});
  return bench::run(argc, argv, &report);
}
