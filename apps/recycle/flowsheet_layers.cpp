// Arranges a flowsheet in layers.
//   1. A depth-first search from the feeds finds the recycles: the streams that lead back on the search path.
//      (The torn streams would not do: they cut the recycles where the iteration likes it best, often in the
//      middle of the sheet.)
//   2. The layer of a unit is the longest path to it without recycles. Feeds start in front of the first
//      layer and products end behind the last one. A stream that skips layers gets a bend in each of them.
//   3. The order within a layer is by the barycentre of the neighbours; the best of several sweeps counts.
//   4. Each recycle runs back on the side where it crosses fewer streams, and the streams at each side of a
//      unit are sorted by where they lead.
// Source: K. Sugiyama, S. Tagawa and M. Toda, IEEE Trans. Syst. Man Cybern. 11, 109 (1981).

#include "apps/recycle/flowsheet_layers.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <numeric>
#include <utility>

namespace recycle {
namespace {

class Arrangement {
 public:
  explicit Arrangement(const Flowsheet& flowsheet) : sheet_(flowsheet) {
    const std::size_t streams = flowsheet.streams.size();
    is_recycle_.resize(streams);
    chain_.resize(streams);
    side_.resize(streams, Side::kBelow);
  }

  Layers make() {
    make_unit_nodes();
    find_recycles();
    find_layers();
    make_links();
    order_layers();
    choose_sides();
    order_ports();
    return std::move(result_);
  }

 private:
  // ---- Recycles and layers

  void make_unit_nodes() {
    for (std::size_t u = 0; u < sheet_.units.size(); ++u) {
      Node node;
      node.unit = static_cast<int>(u);
      nodes_.push_back(node);
    }
    sheets_.resize(nodes_.size());
    std::iota(sheets_.begin(), sheets_.end(), 0);
    for (const Stream& stream : sheet_.streams)
      if (stream.from != kOutside && stream.to != kOutside) join(stream.from, stream.to);
  }

  /// Gives two units, and all that are joined to them, the same number of a connected part.
  void join(int a, int b) {
    const int low = std::min(sheets_[at(a)], sheets_[at(b)]), high = std::max(sheets_[at(a)], sheets_[at(b)]);
    std::replace(sheets_.begin(), sheets_.end(), high, low);
  }

  void find_recycles() {
    visited_.assign(nodes_.size(), false);
    on_path_.assign(nodes_.size(), false);
    for (const Stream& stream : sheet_.streams)
      if (stream.is_feed) search(stream.to);
    for (std::size_t u = 0; u < nodes_.size(); ++u) search(static_cast<int>(u));
  }

  void search(int unit) {
    if (visited_[at(unit)]) return;
    visited_[at(unit)] = on_path_[at(unit)] = true;
    for (const int s : sheet_.units[at(unit)].outlets) {
      const int next = sheet_.streams[at(s)].to;
      if (next == kOutside) continue;
      is_recycle_[at(s)] = on_path_[at(next)];
      search(next);
    }
    on_path_[at(unit)] = false;
    downstream_first_.push_back(unit);
  }

  void find_layers() {
    for (auto u = downstream_first_.rbegin(); u != downstream_first_.rend(); ++u) {
      Node& node = nodes_[at(*u)];
      node.layer = std::max(node.layer, 1);
      node.sheet = sheets_[at(*u)];
      for (const int s : sheet_.units[at(*u)].outlets) {
        const int next = sheet_.streams[at(s)].to;
        if (next != kOutside && !is_recycle_[at(s)])
          nodes_[at(next)].layer = std::max(nodes_[at(next)].layer, node.layer + 1);
      }
      last_layer_ = std::max(last_layer_, node.layer + 1);
    }
  }

  // ---- Streams as chains of nodes

  int add_bend(int layer, int sheet) {
    Node node;
    node.layer = layer;
    node.sheet = sheet;
    nodes_.push_back(node);
    return static_cast<int>(nodes_.size()) - 1;
  }

  /// Cuts each stream into links, which end at bends and, outside, at nodes of the edges of the drawing.
  void make_links() {
    for (std::size_t s = 0; s < sheet_.streams.size(); ++s) {
      const Stream& stream = sheet_.streams[s];
      const int number = static_cast<int>(s);
      if (is_recycle_[s]) {
        nodes_[at(stream.from)].out.push_back(number);
        nodes_[at(stream.to)].in.push_back(number);
        continue;
      }
      const int part = nodes_[at(stream.from != kOutside ? stream.from : stream.to)].sheet;
      int from = stream.from != kOutside ? stream.from : add_bend(0, part);
      const int to = stream.to != kOutside ? stream.to : add_bend(last_layer_, part);
      chain_[s].push_back(from);
      while (nodes_[at(from)].layer + 1 < nodes_[at(to)].layer) {
        const int bend = add_bend(nodes_[at(from)].layer + 1, part);
        add_link(number, from, bend);
        from = bend;
      }
      add_link(number, from, to);
    }
    layers_.resize(at(last_layer_) + 1);
    for (std::size_t n = 0; n < nodes_.size(); ++n)
      layers_[at(nodes_[n].layer)].push_back(static_cast<int>(n));
  }

  void add_link(int stream, int from, int to) {
    nodes_[at(from)].links_out.push_back(links_.size());
    nodes_[at(to)].links_in.push_back(links_.size());
    links_.push_back({stream, from, to});
    chain_[at(stream)].push_back(to);
    nodes_[at(from)].out.push_back(stream);
    nodes_[at(to)].in.push_back(stream);
  }

  // ---- Order in the layers

  bool has_fixed_outlets(const Node& node) const {
    return !node.is_bend() && sheet_.units[at(node.unit)].kind == UnitKind::kFlash;
  }

  /// Returns the place from which a stream leaves a node, as a part of the distance between two nodes: the
  /// vapour of a flash leaves above the liquid.
  double outlet_rank(const Node& node, int stream) const {
    if (!has_fixed_outlets(node)) return node.rank;
    return node.rank + (sheet_.units[at(node.unit)].outlets.front() == stream ? -0.25 : 0.25);
  }

  void number_layer(std::vector<int>& layer) {
    for (std::size_t k = 0; k < layer.size(); ++k) nodes_[at(layer[k])].rank = static_cast<double>(k);
  }

  /// Returns the mean place of the neighbours of a node in the layer before or behind it.
  double barycentre(const Node& node, bool by_sources) const {
    const std::vector<std::size_t>& links = by_sources ? node.links_in : node.links_out;
    if (links.empty()) return node.rank;
    double sum = 0;
    for (const std::size_t l : links)
      sum += by_sources ? outlet_rank(nodes_[at(links_[l].from)], links_[l].stream)
                        : nodes_[at(links_[l].to)].rank;
    return sum / static_cast<double>(links.size());
  }

  /// Sorts a layer by the barycentres of its nodes. Connected parts of the flowsheet stay one above the
  /// other.
  void sort_layer(std::vector<int>& layer, bool by_sources) {
    const auto key = [&](int n) {
      return std::make_pair(nodes_[at(n)].sheet, barycentre(nodes_[at(n)], by_sources));
    };
    std::stable_sort(layer.begin(), layer.end(), [&](int a, int b) { return key(a) < key(b); });
    number_layer(layer);
  }

  std::int64_t crossings() const {
    std::vector<std::vector<std::pair<double, double>>> gaps(layers_.size());
    for (const Link& link : links_)
      gaps[at(nodes_[at(link.from)].layer)].emplace_back(outlet_rank(nodes_[at(link.from)], link.stream),
                                                         nodes_[at(link.to)].rank);
    std::int64_t count = 0;
    for (const auto& gap : gaps)
      for (std::size_t a = 0; a < gap.size(); ++a)
        for (std::size_t b = 0; b < a; ++b)
          count += (gap[a].first - gap[b].first) * (gap[a].second - gap[b].second) < 0;
    return count;
  }

  void order_layers() {
    constexpr int kSweeps = 8;
    for (auto& layer : layers_) {
      std::stable_sort(layer.begin(), layer.end(),
                       [&](int a, int b) { return nodes_[at(a)].sheet < nodes_[at(b)].sheet; });
      number_layer(layer);
    }
    auto best = layers_;
    std::int64_t fewest = std::numeric_limits<std::int64_t>::max();
    for (int sweep = 0; sweep < kSweeps && fewest > 0; ++sweep) {
      for (std::size_t l = 1; l < layers_.size(); ++l) sort_layer(layers_[l], true);
      for (std::size_t l = layers_.size() - 1; l-- > 0;) sort_layer(layers_[l], false);
      for (std::size_t l = 1; l < layers_.size(); ++l) sort_layer(layers_[l], true);
      if (const std::int64_t now = crossings(); now < fewest) {
        fewest = now;
        best = layers_;
      }
    }
    layers_ = best;
    for (auto& layer : layers_) number_layer(layer);
  }

  // ---- Sides of the recycles, and ports

  /// Leads each recycle above or below the units, where it crosses fewer streams; where that is the same, on
  /// the side that is nearer.
  void choose_sides() {
    for (std::size_t s = 0; s < sheet_.streams.size(); ++s) {
      if (!is_recycle_[s]) continue;
      const Node& from = nodes_[at(sheet_.streams[s].from)];
      const Node& to = nodes_[at(sheet_.streams[s].to)];
      int above = 0, below = 0;
      for (const Link& link : links_) {
        const Node& source = nodes_[at(link.from)];
        const Node& target = nodes_[at(link.to)];
        if (source.layer == from.layer) {
          const double leaves = outlet_rank(source, link.stream) - outlet_rank(from, static_cast<int>(s));
          above += leaves < 0;
          below += leaves > 0;
        }
        if (target.layer == to.layer) {
          above += target.rank < to.rank;
          below += target.rank > to.rank;
        }
      }
      const double middle = (static_cast<double>(layers_[at(from.layer)].size()) - 1) / 2;
      const bool is_high = outlet_rank(from, static_cast<int>(s)) < middle;
      side_[s] = above < below || (above == below && is_high) ? Side::kAbove : Side::kBelow;
    }
  }

  /// Sorts the streams at each side of each node, so that those which go up stand at the top.
  void order_ports() {
    for (std::size_t n = 0; n < nodes_.size(); ++n) {
      Node& node = nodes_[n];
      sort_ports(node.in, static_cast<int>(n), true);
      if (has_fixed_outlets(node)) {
        node.out = sheet_.units[at(node.unit)].outlets;
      } else {
        sort_ports(node.out, static_cast<int>(n), false);
      }
    }
  }

  void sort_ports(std::vector<int>& ports, int node, bool is_left) {
    constexpr double kFar = 1e6;
    const auto place = [&](int s) {
      if (is_recycle_[at(s)]) return side_[at(s)] == Side::kAbove ? -kFar : kFar;
      const auto& chain = chain_[at(s)];
      const auto here = std::find(chain.begin(), chain.end(), node);
      return is_left ? outlet_rank(nodes_[at(*(here - 1))], s) : nodes_[at(*(here + 1))].rank;
    };
    std::stable_sort(ports.begin(), ports.end(), [&](int a, int b) { return place(a) < place(b); });
  }

  const Flowsheet& sheet_;
  Layers result_;
  std::vector<Node>& nodes_ = result_.nodes;
  std::vector<Link>& links_ = result_.links;
  std::vector<std::vector<int>>& layers_ = result_.order;
  std::vector<bool>& is_recycle_ = result_.is_recycle;
  std::vector<std::vector<int>>& chain_ = result_.chain;
  std::vector<Side>& side_ = result_.side;
  std::vector<int> sheets_;              // [unit] lowest unit that it is connected with
  std::vector<bool> visited_, on_path_;  // [unit] of the search
  std::vector<int> downstream_first_;    // units, each behind those that it feeds but for recycles
  int last_layer_ = 0;                   // of the ends of products
};

}  // namespace

Layers arrange_in_layers(const Flowsheet& flowsheet) { return Arrangement(flowsheet).make(); }

}  // namespace recycle
