#pragma once

// Meshes whose nodes were numbered at random, with fixed seeds.

#include <utility>
#include <vector>

namespace bench {

/// An undirected graph in adjacency form, everything numbered from 1: the neighbours of node i, ascending,
/// are connect[row_start[i] ..], degree[i] of them.
struct Mesh {
  int n = 0;
  std::vector<int> degree, row_start, connect;
  std::vector<std::pair<int, int>> edges;  // each once
};

struct MeshFamily {
  const char* name;
  /// @param order     a number of nodes to come near to
  /// @param numbering which of the random ones
  Mesh (*make)(int order, int numbering);
  int largest;  // order to measure
};

/// Squares cut into triangles with all diagonals alike (`triangles`) or each at random (`random_cut`), an L
/// and a ring of such triangles, the 9-point grid, and cubes with 7 and 27 points.
const std::vector<MeshFamily>& mesh_families();

}  // namespace bench
