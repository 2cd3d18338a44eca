// The reordering beside the routines of Boost.Graph with the same aim, on meshes: reverse Cuthill-McKee for
// the bandwidth, Sloan for the profile. Each chooses its starting nodes. Counter: the best time, in seconds.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <limits>
#include <map>
#include <string>
#include <utility>

#include "bench/dense/compare.h"
#include "bench/reorder/boost_orderings.h"
#include "bench/reorder/gpskca_ordering.h"
#include "bench/reorder/meshes.h"
#include "bench/sparse/ratio_report.h"

namespace {

using bench::BoostOrderings;
using bench::GpskcaOrdering;
using bench::Mesh;
using bench::MeshFamily;

/// Made when first asked for, and kept.
const Mesh& mesh_of(const MeshFamily& family, int order) {
  static std::map<std::pair<const MeshFamily*, int>, Mesh> meshes;
  const auto [known, is_new] = meshes.try_emplace({&family, order});
  if (is_new) known->second = family.make(order);
  return known->second;
}

/// @param prepare runs untimed before each piece of work
template <class Prepare, class Work>
void measure(benchmark::State& state, const Mesh& mesh, Prepare&& prepare, Work&& work) {
  double best = std::numeric_limits<double>::infinity();
  for (auto _ : state) {
    prepare();
    const double seconds = bench::seconds_of(work);
    state.SetIterationTime(seconds);
    best = std::min(best, seconds);
  }
  state.counters["best"] = best;
  state.counters["nodes"] = mesh.n;
  state.counters["edges"] = static_cast<double>(mesh.edges.size());
}

void BM_Gpskca(benchmark::State& state, const Mesh& mesh, bool by_profile) {
  GpskcaOrdering ordering(mesh, by_profile);
  ordering.prepare();
  if (!ordering.reorder() || !ordering.is_right()) return state.SkipWithError("wrong numbering");
  measure(
      state, mesh, [&] { ordering.prepare(); }, [&] { ordering.reorder(); });
}

void BM_Peer(benchmark::State& state, const Mesh& mesh, void (BoostOrderings::*reorder)()) {
  BoostOrderings orderings(mesh);
  measure(
      state, mesh, [] {}, [&] { (orderings.*reorder)(); });
  if (measures(mesh, orderings.numbering()).bandwidth < 0) state.SkipWithError("wrong numbering");
}

template <class Timed, class Argument>
void add(const std::string& name, const MeshFamily& family, int order, Timed timed, Argument argument) {
  benchmark::RegisterBenchmark(
      name.c_str(), [=, &family](benchmark::State& state) { timed(state, mesh_of(family, order), argument); })
      ->UseManualTime()
      ->Unit(benchmark::kMillisecond);
}

/// Next to each other, so that the machine is in the same mood for both.
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
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  bench::RatioReport report("gpskca");
  benchmark::RunSpecifiedBenchmarks(&report);
  benchmark::Shutdown();
}
