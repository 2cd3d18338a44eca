#pragma once

// Meshes whose nodes are numbered at random, with fixed seeds.

#include <utility>
#include <vector>

namespace bench {

/// An undirected graph by adjacency lists. Nodes and positions count from 1: the degree(i) neighbours of node
/// i, in ascending order, begin at connect(row_start(i)).
struct Mesh {
  int n = 0;
  std::vector<int> degree, row_start, connect;
  std::vector<std::pair<int, int>> edges;  // each edge once
};

struct MeshFamily {
  const char* name;
  /// Makes a mesh of the family.
  /// @param order     the number of nodes, approximately
  /// @param numbering which random numbering
  Mesh (*make)(int order, int numbering);
  int largest;  // the largest order that is measured
};

/// Returns the families: squares cut into triangles with all diagonals alike (`triangles`) or each at random
/// (`random_cut`), an L and a ring of such triangles, the 9-point grid, and cubes with 7 and 27 points.
const std::vector<MeshFamily>& mesh_families();

}  // namespace bench
