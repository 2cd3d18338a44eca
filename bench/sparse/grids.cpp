// Finite-difference operators of convection and diffusion.

#include "bench/sparse/grids.h"

#include <random>

namespace bench {
namespace {

constexpr double kPeclet = 0.8;  // mesh Peclet number where the flow is fastest; below 1 no oscillations

struct Node {
  int place[3];  // from 0; the third is 0 in a square
};

Node node_of(int number, int side) { return {{number % side, number / side % side, number / side / side}}; }

/// Returns the component of the flow along an axis, at most 1 in magnitude.
double flow(const Node& node, int axis, int side) {
  const auto from_middle = [&](int a) { return 2.0 * node.place[a] / (side - 1) - 1.0; };
  if (axis == 0) return from_middle(1);
  if (axis == 1) return -from_middle(0);
  return 0.5;
}

}  // namespace

reference::Coordinates grid_matrix(int dimensions, int side, int step) {
  const int order = dimensions == 2 ? side * side : side * side * side;
  const double strength = kPeclet * (1.0 + 0.03 * step);
  std::mt19937 random(static_cast<unsigned>(step) + 1);
  reference::Coordinates a{order, order, {}, {}, {}};
  for (int k = 0; k < order; ++k) {
    const Node node = node_of(k, side);
    const double reaction = 0.1 * static_cast<double>(random()) / 4294967296.0;
    a.add(k + 1, k + 1, 2.0 * dimensions + reaction);
    for (int axis = 0, stride = 1; axis < dimensions; ++axis, stride *= side) {
      const double drift = strength * flow(node, axis, side);
      if (node.place[axis] > 0) a.add(k + 1, k + 1 - stride, -1.0 - drift);
      if (node.place[axis] < side - 1) a.add(k + 1, k + 1 + stride, -1.0 + drift);
    }
  }
  return a;
}

}  // namespace bench
