// Meshes by their edges, which are then renumbered at random and turned into adjacency lists.

#include "bench/reorder/meshes.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <numeric>
#include <random>

namespace bench {
namespace {

using Edges = std::vector<std::pair<int, int>>;
using Random = std::mt19937_64;

std::size_t at(int i) { return static_cast<std::size_t>(i); }

/// Returns new numbers for the nodes that have edges, from 1 in random order; 0 for the others.
std::vector<int> random_numbers(const Edges& edges, int numbering) {
  int last = 0;
  for (const auto& [i, j] : edges) last = std::max({last, i, j});
  std::vector<int> number(at(last) + 1), used;
  for (const auto& [i, j] : edges) number[at(i)] = number[at(j)] = 1;
  for (int i = 0; i <= last; ++i) {
    if (number[at(i)]) used.push_back(i);
  }
  Random random(static_cast<Random::result_type>(numbering) + 20);
  for (std::size_t left = used.size(); left > 0; --left) {
    std::swap(used[random() % left], used[left - 1]);
    number[at(used[left - 1])] = static_cast<int>(left);
  }
  return number;
}

/// Makes a mesh with random numbers.
/// @param edges between nodes numbered from 0; edges may occur more than once
Mesh renumbered(Edges edges, int numbering) {
  const std::vector<int> number = random_numbers(edges, numbering);
  for (auto& [i, j] : edges) {
    i = number[at(i)], j = number[at(j)];
    if (i > j) std::swap(i, j);
  }
  std::sort(edges.begin(), edges.end());
  edges.erase(std::unique(edges.begin(), edges.end()), edges.end());

  Edges both = edges;
  for (const auto& [i, j] : edges) both.emplace_back(j, i);
  std::sort(both.begin(), both.end());
  Mesh mesh;
  mesh.n = both.back().first;
  mesh.degree.resize(at(mesh.n));
  for (const auto& [i, j] : both) {
    ++mesh.degree[at(i - 1)];
    mesh.connect.push_back(j);
  }
  mesh.row_start.assign(at(mesh.n), 1);
  std::partial_sum(mesh.degree.begin(), mesh.degree.end() - 1, mesh.row_start.begin() + 1);
  for (int i = 1; i < mesh.n; ++i) ++mesh.row_start[at(i)];
  mesh.edges = std::move(edges);
  return mesh;
}

enum class Cut { kRising, kRandom, kBoth };

/// Makes a mesh of the cells of a grid of nodes, with their diagonals.
/// @param node returns the number of the node in column x and row y, negative where there is none
template <class Node>
Mesh cells(int wide, int high, Cut cut, int numbering, Node&& node) {
  Edges edges;
  Random random(10);
  for (int y = 0; y < high; ++y) {
    for (int x = 0; x < wide; ++x) {
      const int a = node(x, y), b = node(x + 1, y), c = node(x, y + 1), d = node(x + 1, y + 1);
      if (std::min({a, b, c, d}) < 0) continue;
      edges.insert(edges.end(), {{a, b}, {c, d}, {a, c}, {b, d}});
      const bool rising = cut != Cut::kRandom || random() % 2 == 0;
      if (rising) edges.emplace_back(a, d);
      if (!rising || cut == Cut::kBoth) edges.emplace_back(b, c);
    }
  }
  return renumbered(std::move(edges), numbering);
}

Mesh square(int order, Cut cut, int numbering) {
  const int side = static_cast<int>(std::lround(std::sqrt(order)));
  return cells(side - 1, side - 1, cut, numbering, [side](int x, int y) { return y * side + x; });
}

Mesh triangles(int order, int numbering) { return square(order, Cut::kRising, numbering); }
Mesh random_cut(int order, int numbering) { return square(order, Cut::kRandom, numbering); }
Mesh nine_point(int order, int numbering) { return square(order, Cut::kBoth, numbering); }

Mesh l_shape(int order, int numbering) {
  const int arm = static_cast<int>(std::lround(std::sqrt(order / 3.0))), side = 2 * arm;
  return cells(side - 1, side - 1, Cut::kRandom, numbering,
               [=](int x, int y) { return x >= arm && y >= arm ? -1 : y * side + x; });
}

/// Makes a ring whose circumference is four times its thickness.
Mesh ring(int order, int numbering) {
  const int thick = static_cast<int>(std::lround(std::sqrt(order / 4.0))), around = 4 * thick;
  return cells(around, thick - 1, Cut::kRandom, numbering,
               [=](int x, int y) { return y * around + x % around; });
}

/// Makes a cube of nodes.
/// @param reach in how many coordinates two neighbours may differ, by 1 each
Mesh cube(int order, int reach, int numbering) {
  const int side = static_cast<int>(std::lround(std::cbrt(order)));
  const auto inside = [side](int c) { return 0 <= c && c < side; };
  Edges edges;
  for (int i = 0; i < side * side * side; ++i) {
    const int x = i % side, y = i / side % side, z = i / side / side;
    for (int step = 0; step < 27; ++step) {
      const int dx = step % 3 - 1, dy = step / 3 % 3 - 1, dz = step / 9 - 1;
      const int differing = std::abs(dx) + std::abs(dy) + std::abs(dz);
      if (differing == 0 || differing > reach) continue;
      if (inside(x + dx) && inside(y + dy) && inside(z + dz))
        edges.emplace_back(i, i + dx + side * (dy + side * dz));
    }
  }
  return renumbered(std::move(edges), numbering);
}

Mesh seven_point(int order, int numbering) { return cube(order, 1, numbering); }
Mesh twentyseven_point(int order, int numbering) { return cube(order, 3, numbering); }

}  // namespace

const std::vector<MeshFamily>& mesh_families() {
  static const std::vector<MeshFamily> families = {
      {"triangles", triangles, 100000},     {"random_cut", random_cut, 100000},
      {"l_shape", l_shape, 100000},         {"ring", ring, 100000},
      {"nine_point", nine_point, 100000},   {"cube_7", seven_point, 10000},
      {"cube_27", twentyseven_point, 10000}};
  return families;
}

}  // namespace bench
