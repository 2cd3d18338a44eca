#pragma once

// Graphs drawn at random, calls of gpskca on them, and the comparison of a call with the plain model.

#include <algorithm>
#include <numeric>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "reorder/gpskca.h"
#include "tests/support/gps_model.h"

namespace gps_calls {

using gps_model::Lists;
using gps_model::Numbers;

using Random = std::mt19937;

/// What an array may hold that nobody has written: mostly numbers that could be nodes or positions.
inline int garbage() {
  static Random random(9);
  const int any = static_cast<int>(random());
  return random() % 8 == 0 ? any : any % 64;
}

/// One call, with arrays of exactly the documented lengths, so that a sanitizer sees the ends.
struct Call {
  int n, bandwidth = 77, profile = 77, error = 77, space = 77;
  Numbers degree, row_start, connect, permutation, work;  // from element 0

  explicit Call(const Lists& neighbours) : n(static_cast<int>(neighbours.size()) - 1) {
    for (int i = 1; i <= n; ++i) {
      const Numbers& row = neighbours[i];
      degree.push_back(static_cast<int>(row.size()));
      row_start.push_back(row.empty() ? -12345 : static_cast<int>(connect.size()) + 1);
      connect.insert(connect.end(), row.begin(), row.end());
    }
    permutation.resize(n);
    std::iota(permutation.begin(), permutation.end(), 1);
  }
  Call& run(int optimize_profile, int work_length) {
    work.resize(std::max(work_length, 0));
    for (int& element : work) element = garbage();
    gpskca(&n, degree.data(), row_start.data(), connect.data(), &optimize_profile, &work_length,
           permutation.data(), work.data(), &bandwidth, &profile, &error, &space);
    return *this;
  }
  Call& run(int optimize_profile) { return run(optimize_profile, 6 * n + 3); }
  /// Whether the space behind the order holds the inverse of the reversed order, as after a reversal.
  bool reversed() const {
    for (int i = 0; i < n; ++i) {
      if (work[n + i] != permutation[i]) return true;
    }
    return false;
  }
  bool is_permutation() const {
    Numbers sorted(permutation), identity(n);
    std::sort(sorted.begin(), sorted.end());
    std::iota(identity.begin(), identity.end(), 1);
    return sorted == identity;
  }
};

inline Lists graph_of(int n, const std::vector<std::pair<int, int>>& edges, Random& random) {
  std::set<std::pair<int, int>> seen;
  Lists neighbours(n + 1);
  for (const auto& [i, j] : edges) {
    if (i == j || !seen.insert(std::minmax(i, j)).second) continue;
    neighbours[i].push_back(j);
    neighbours[j].push_back(i);
  }
  for (Numbers& row : neighbours) std::shuffle(row.begin(), row.end(), random);
  return neighbours;
}

constexpr int kShapes = 8;

/// `nodes` numbered at random, joined as the shape tells.
inline Lists shaped(int shape, int nodes, Random& random) {
  Numbers label(nodes);
  std::iota(label.begin(), label.end(), 1);
  std::shuffle(label.begin(), label.end(), random);
  std::vector<std::pair<int, int>> edges;
  const int wide = 1 + static_cast<int>(random() % 6);
  for (int i = 0; i < nodes; ++i) {
    Numbers all(i);
    std::iota(all.begin(), all.end(), 0);
    // none, a path, a star, a mesh, pairs, a tree, a band, complete
    const Numbers earlier[kShapes] = {{},
                                      {i - 1},
                                      {0},
                                      {i - wide, i % wide ? i - 1 : i},
                                      {i % 2 ? i - 1 : i},
                                      {(i - 1) / 2},
                                      {i - 1, i - wide},
                                      all};
    for (const int j : earlier[shape]) {
      if (j >= 0) edges.emplace_back(label[j], label[i]);
    }
  }
  return graph_of(nodes, edges, random);
}

inline Lists random_graph(int nodes, Random& random) {
  std::vector<std::pair<int, int>> edges;
  const int count = nodes == 0 ? 0 : static_cast<int>(random() % (2 * nodes + 1));
  for (int k = 0; k < count; ++k) {
    const int i = 1 + static_cast<int>(random() % nodes);  // drawn in one order with every compiler
    edges.emplace_back(i, 1 + static_cast<int>(random() % nodes));
  }
  return graph_of(nodes, edges, random);
}

inline Lists any_graph(unsigned k, int most, Random& random) {
  const int nodes = static_cast<int>(random() % (most + 1));
  return k % 2 ? random_graph(nodes, random) : shaped(static_cast<int>(random() % kShapes), nodes, random);
}

/// Runs the call, and says where its outcome is not that of the model; empty if it is.
inline std::string difference_from_model(Call& call, const Lists& neighbours, int optimize_profile) {
  const Numbers degree = call.degree;
  Numbers callers(call.permutation);
  callers.insert(callers.begin(), 0);
  const gps_model::Answer expected = gps_model::reorder(neighbours, optimize_profile != 0, callers);
  call.run(optimize_profile);
  const auto differs = [](const char* what, int found, int wanted) {
    return std::string(what) + " is " + std::to_string(found) + ", in the model " + std::to_string(wanted);
  };
  if (call.error != 0) return differs("the error", call.error, 0);
  for (int i = 0; i < call.n; ++i) {
    if (call.permutation[i] == expected.permutation[i + 1]) continue;
    return differs(("the number of node " + std::to_string(i + 1)).c_str(), call.permutation[i],
                   expected.permutation[i + 1]);
  }
  if (call.bandwidth != expected.bandwidth)
    return differs("the bandwidth", call.bandwidth, expected.bandwidth);
  if (call.profile != expected.profile) return differs("the profile", call.profile, expected.profile);
  if (call.space != expected.space) return differs("the space", call.space, expected.space);
  if (call.degree != degree) return "the degrees are not what they were";
  // Behind the order stands its inverse, before a reversal; neither tells of the caller's numbering.
  if (call.permutation == Numbers(callers.begin() + 1, callers.end())) return {};
  const bool reversed = call.reversed();
  for (int i = 0; i < call.n; ++i) {
    const int number = call.permutation[i];
    if (call.work[number - 1] != i + 1) return differs("a node in the order", call.work[number - 1], i + 1);
    if (reversed && call.work[call.n + i] != call.n + 1 - number) {
      return differs("a number before the reversal", call.work[call.n + i], call.n + 1 - number);
    }
  }
  return {};
}

}  // namespace gps_calls
