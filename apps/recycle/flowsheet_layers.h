#pragma once

// The layers of a flowsheet: in which layer each unit stands, in which order within it, where streams that
// skip layers bend, and on which side recycles run back. All of it is counts and orders; there are no
// lengths.

#include <cstddef>
#include <vector>

#include "apps/recycle/flowsheet.h"

namespace recycle {

/// Returns a number of a node, stream or layer as an index.
inline std::size_t at(int number) { return static_cast<std::size_t>(number); }

/// Holds what stands in a layer: a unit, the end of a feed or product, or the bend of a stream.
struct Node {
  int unit = kOutside;
  int layer = 0;
  int sheet = 0;             // connected part of the flowsheet that it belongs to
  double rank = 0;           // place in its layer
  std::vector<int> in, out;  // streams at the left and right side, from the top
  std::vector<std::size_t> links_in, links_out;
  bool is_bend() const { return unit == kOutside; }
};

/// Holds the part of a stream from one layer to the next.
struct Link {
  int stream, from, to;  // nodes
};

enum class Side { kAbove, kBelow };

struct Layers {
  std::vector<Node> nodes;  // the units come first, in their order
  std::vector<Link> links;
  std::vector<std::vector<int>> order;  // [layer] nodes from the top
  std::vector<bool> is_recycle;         // [stream]
  std::vector<std::vector<int>> chain;  // [stream] nodes that it passes, if it is no recycle
  std::vector<Side> side;               // [stream] of a recycle
};

/// Arranges a flowsheet in layers from left to right. Feeds begin in the first one and products end in the
/// last one. The same flowsheet always gives the same layers.
Layers arrange_in_layers(const Flowsheet& flowsheet);

}  // namespace recycle
