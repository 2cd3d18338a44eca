#pragma once

// Times a piece of work and that of a peer in turn, and reports the ratio of the best times: on a machine
// with other work the shortest time is the least disturbed one.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <limits>

namespace bench {

/// Returns the wall time of a piece of work.
template <class Work>
double seconds_of(Work&& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Times `ours` and `peer` in turn. Sets the counters `ours` and `peer`, the best times in seconds for one
/// piece of work, and `ratio`, the first over the second.
/// @param pieces     number of pieces of work in one call of `ours` and in one of `peer`
/// @param peer_share how many calls of `peer` do the same work as one of `ours`
/// @param prepare runs before each of the two and is not timed
template <class Prepare, class Ours, class Peer>
void compare(benchmark::State& state, double pieces, double peer_share, Prepare&& prepare, Ours&& ours,
             Peer&& peer) {
  double best_ours = std::numeric_limits<double>::infinity(), best_peer = best_ours;
  for (auto _ : state) {
    prepare();
    const double seconds = seconds_of(ours);
    state.SetIterationTime(seconds);
    best_ours = std::min(best_ours, seconds);
    prepare();
    best_peer = std::min(best_peer, seconds_of(peer));
  }
  state.counters["ours"] = best_ours / pieces;
  state.counters["peer"] = peer_share * best_peer / pieces;
  state.counters["ratio"] = best_ours / (peer_share * best_peer);
}

}  // namespace bench
