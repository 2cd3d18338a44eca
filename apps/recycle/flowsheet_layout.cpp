// Lays out a flowsheet in layers. All is computed as if they ran from left to right; where they run down, x
// and y change places in the end, and the height of a box in here is its width on the page.
//   1. A depth-first search from the feeds finds the recycles: the streams that lead back on the search path.
//      (The torn streams would not do: they cut the recycles where the iteration likes it best, often in the
//      middle of the sheet.)
//   2. The layer of a unit is the longest path to it without recycles. Feeds start in front of the first
//      layer and products end behind the last one. A stream that skips layers gets a bend in each of them.
//   3. The order within a layer is by the barycentre of the neighbours; the best of several sweeps counts.
//   4. Heights come from least squares: each node is drawn to where its streams are straight, and pool
//      adjacent violators keeps the nodes apart in their order.
//   5. Between two layers each stream with a vertical part gets a track. Their order is improved by moving
//      single tracks until no move gives fewer crossings.
// Sources: K. Sugiyama, S. Tagawa and M. Toda, IEEE Trans. Syst. Man Cybern. 11, 109 (1981); R. E. Barlow et
// al., Statistical Inference under Order Restrictions, Wiley (1972), for step 4.

#include "apps/recycle/flowsheet_layout.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <utility>

namespace recycle {
namespace {

constexpr double kLeastPortStep = 20;  // between two streams at the same side of a box
constexpr double kBoxHeight = 48;      // at least
constexpr double kNodeDistance = 30;   // between two boxes of a layer, at least
constexpr double kTrackStep = 12;      // between two parallel parts of streams
constexpr double kArrowRoom = 20;      // between the last track and the next layer
constexpr double kTearRoom = 18;       // behind a label
constexpr double kLetter = 7.4;        // width of a letter
constexpr double kLineHeight = 16;
constexpr double kTextMargin = 6;  // between a line's end and its label
constexpr double kMargin = 8;      // around the drawing
constexpr double kIconRoom = 34;   // in a box
constexpr std::size_t kLongestName = 16;

std::size_t at(int index) { return static_cast<std::size_t>(index); }

double text_width(const std::string& name) {
  return kLetter * static_cast<double>(std::min(name.size(), kLongestName));
}

/// Rounds a length up, so that heights made from it are exact and can be compared.
double even(double length) { return 2 * std::ceil(length / 2); }

/// Holds what stands in a layer: a unit, the end of a feed or product, or the bend of a stream.
struct Node {
  int unit = kOutside;
  int layer = 0;
  int sheet = 0;  // connected part of the flowsheet that it belongs to
  double width = 0, height = 0;
  double rank = 0;           // place in its layer
  double y = 0;              // of the middle
  std::vector<int> in, out;  // streams at the left and right side, from the top
  std::vector<std::size_t> links_in, links_out;
  bool is_bend() const { return unit == kOutside; }
};

/// Holds the part of a stream from one layer to the next.
struct Link {
  int stream, from, to;  // nodes
};

/// Holds a part of a stream that runs vertically between two layers, with the horizontal parts at its ends.
struct Riser {
  static constexpr double kNone = std::numeric_limits<double>::infinity();
  int stream;
  double top, bottom;
  std::array<double, 2> left, right;  // y of the parts that go on to each side; kNone where there is none
  int track = 0;

  static Riser forward(int stream, double from, double to) {
    return make(stream, from, to, {from, kNone}, {to, kNone});
  }
  /// Makes the part between a unit and the lane of a recycle that leaves, or enters, the unit.
  static Riser leaving(int stream, double port, double lane) {
    return make(stream, port, lane, {port, lane}, {kNone, kNone});
  }
  static Riser entering(int stream, double port, double lane) {
    return make(stream, port, lane, {kNone, kNone}, {port, lane});
  }

  /// Returns whether the stream goes on from one layer to the next.
  bool is_forward() const { return left[0] != kNone && right[0] != kNone; }
  bool runs_through(double y) const { return top < y && y < bottom; }
  bool meets(const Riser& other) const {
    return top - kTrackStep < other.bottom && other.top - kTrackStep < bottom;
  }

 private:
  static Riser make(int stream, double a, double b, std::array<double, 2> left, std::array<double, 2> right) {
    return {stream, std::min(a, b), std::max(a, b), left, right};
  }
};

enum class Side { kAbove, kBelow };

class Layout {
 public:
  Layout(const Flowsheet& flowsheet, const Plan& plan, Direction direction)
      : sheet_(flowsheet),
        plan_(plan),
        runs_down_(direction == Direction::kDown),
        port_step_(runs_down_ ? even(std::max(kLeastPortStep, widest_label() + 2 * kTextMargin))
                              : kLeastPortStep),
        is_recycle_(flowsheet.streams.size()),
        chain_(flowsheet.streams.size()),
        side_(flowsheet.streams.size(), Side::kBelow),
        lane_(flowsheet.streams.size()) {}

  FlowsheetLayout make() {
    make_unit_nodes();
    find_recycles();
    find_layers();
    make_links();
    order_layers();
    choose_sides();
    order_ports();
    place_vertically();
    place_lanes();
    make_risers();
    place_horizontally();
    return draw();
  }

 private:
  // ---- Sizes of texts

  static double box_width(const Unit& unit) {
    constexpr double kPadding = 8;
    const double kind = kLetter * 9;  // "separator"
    return even(kIconRoom + std::max(text_width(unit.name), kind) + kPadding);
  }

  /// Returns the width of the longest name of a stream between two units.
  double widest_label() const {
    double width = 0;
    for (const Stream& stream : sheet_.streams)
      if (stream.from != kOutside && stream.to != kOutside) width = std::max(width, text_width(stream.name));
    return width;
  }

  /// Returns the length of a name along the layers' axis.
  double along(const std::string& name) const { return runs_down_ ? kLineHeight : text_width(name); }

  // ---- Recycles and layers

  void make_unit_nodes() {
    for (std::size_t u = 0; u < sheet_.units.size(); ++u) {
      Node node;
      node.unit = static_cast<int>(u);
      node.width = runs_down_ ? kBoxHeight : box_width(sheet_.units[u]);
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
    for (Node& node : nodes_) {
      if (node.is_bend()) continue;
      const auto ports = static_cast<double>(std::max(node.in.size(), node.out.size()));
      node.height = std::max(runs_down_ ? box_width(sheet_.units[at(node.unit)]) : kBoxHeight,
                             port_step_ * (ports + 1));
    }
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

  double port_offset(const std::vector<int>& ports, int stream) const {
    const auto index = std::find(ports.begin(), ports.end(), stream) - ports.begin();
    return port_step_ * (static_cast<double>(index) - (static_cast<double>(ports.size()) - 1) / 2);
  }
  double out_y(int node, int stream) const {
    return nodes_[at(node)].y + port_offset(nodes_[at(node)].out, stream);
  }
  double in_y(int node, int stream) const {
    return nodes_[at(node)].y + port_offset(nodes_[at(node)].in, stream);
  }

  // ---- Heights

  double least_distance(const Node& upper, const Node& lower) const {
    const double gap = upper.is_bend() && lower.is_bend() ? port_step_ : kNodeDistance;
    return (upper.height + lower.height) / 2 + gap;
  }

  void place_vertically() {
    constexpr int kRounds = 24;
    for (auto& layer : layers_) {
      double y = 0;
      for (std::size_t k = 0; k < layer.size(); ++k) {
        if (k > 0) y += least_distance(nodes_[at(layer[k - 1])], nodes_[at(layer[k])]);
        nodes_[at(layer[k])].y = y;
      }
    }
    for (int round = 0; round < kRounds; ++round) {
      const bool settle = round >= kRounds / 2;  // at first by one side only, which moves whole parts faster
      for (std::size_t l = 1; l < layers_.size(); ++l) straighten(layers_[l], true, settle);
      for (std::size_t l = layers_.size() - 1; l-- > 0;) straighten(layers_[l], settle, true);
    }
    snap();
    for (int round = 0; round < kRounds; ++round) take_out_steps(round % 2 == 0);
    measure_height();
  }

  /// Sums where nodes should stand.
  struct Wish {
    double sum = 0, weight = 0;
    void add(double height, double its_weight) {
      sum += its_weight * height;
      weight += its_weight;
    }
  };

  /// Moves the nodes of a layer to where their links to the given sides are straight, as far as the distances
  /// let them.
  void straighten(const std::vector<int>& layer, bool by_sources, bool by_targets) {
    std::vector<Wish> wishes;
    for (const int n : layer) {
      const Node& node = nodes_[at(n)];
      Wish wish;
      for (std::size_t k = 0; by_sources && k < node.links_in.size(); ++k) {
        const Link& link = links_[node.links_in[k]];
        wish.add(node.y + rise(link), straightness(link));
      }
      for (std::size_t k = 0; by_targets && k < node.links_out.size(); ++k) {
        const Link& link = links_[node.links_out[k]];
        wish.add(node.y - rise(link), straightness(link));
      }
      wishes.push_back(wish);
    }
    move_apart(layer, wishes);
  }

  /// Returns how much higher up a link ends than it begins.
  double rise(const Link& link) const { return out_y(link.from, link.stream) - in_y(link.to, link.stream); }

  /// Returns how much it counts that a link is straight.
  double straightness(const Link& link) const {
    constexpr double kOfUnits = 1, kTowardsBend = 2, kBetweenBends = 8;
    const bool from_bend = nodes_[at(link.from)].is_bend(), to_bend = nodes_[at(link.to)].is_bend();
    if (from_bend && to_bend) return kBetweenBends;
    return from_bend || to_bend ? kTowardsBend : kOfUnits;
  }

  /// Solves the least-squares problem: nodes nearest to their wishes, at least their distances apart.
  /// @param wishes  [place in the layer]
  void move_apart(const std::vector<int>& layer, const std::vector<Wish>& wishes) {
    constexpr double kInertia = 1e-3;  // of a node without a link
    struct Pool {
      double sum, weight;
      std::size_t size;
      double mean() const { return sum / weight; }
    };
    std::vector<Pool> pools;
    std::vector<double> shift;  // [place] distances from the first node, which turn the problem into an order
    for (std::size_t k = 0; k < layer.size(); ++k) {
      const Node& node = nodes_[at(layer[k])];
      shift.push_back(k == 0 ? 0 : shift.back() + least_distance(nodes_[at(layer[k - 1])], node));
      const double weight = wishes[k].weight + kInertia;
      pools.push_back({wishes[k].sum + kInertia * node.y - weight * shift.back(), weight, 1});
      while (pools.size() > 1 && pools[pools.size() - 2].mean() > pools.back().mean()) {
        const Pool last = pools.back();
        pools.pop_back();
        pools.back().sum += last.sum;
        pools.back().weight += last.weight;
        pools.back().size += last.size;
      }
    }
    std::size_t k = 0;
    for (const Pool& pool : pools)
      for (std::size_t i = 0; i < pool.size; ++i, ++k) nodes_[at(layer[k])].y = pool.mean() + shift[k];
  }

  /// Rounds heights to half the distance of ports, so that streams are straight or visibly not.
  void snap() {
    const double grid = port_step_ / 2;
    for (const auto& layer : layers_) {
      double least = -std::numeric_limits<double>::max();
      for (std::size_t k = 0; k < layer.size(); ++k) {
        Node& node = nodes_[at(layer[k])];
        node.y = grid * std::ceil(std::max(std::floor(node.y / grid + 0.5), least / grid));
        if (k + 1 < layer.size()) least = node.y + least_distance(node, nodes_[at(layer[k + 1])]);
      }
    }
  }

  /// Moves each bend to the height of the stream before it, or behind it, as far as its neighbours let it.
  void take_out_steps(bool from_left) {
    const auto level = [&](int node, double height) {
      if (nodes_[at(node)].is_bend())
        nodes_[at(node)].y = std::clamp(height, lowest_y(node), highest_y(node));
    };
    if (from_left) {
      for (const Link& link : links_) level(link.to, out_y(link.from, link.stream));
    } else {
      for (auto link = links_.rbegin(); link != links_.rend(); ++link)
        level(link->from, in_y(link->to, link->stream));
    }
  }

  /// Return the ends of the range in which a node may stand between its neighbours.
  double lowest_y(int n) const {
    const Node& node = nodes_[at(n)];
    if (node.rank == 0) return -std::numeric_limits<double>::max();
    const Node& upper = nodes_[at(layers_[at(node.layer)][static_cast<std::size_t>(node.rank) - 1])];
    return upper.y + least_distance(upper, node);
  }
  double highest_y(int n) const {
    const Node& node = nodes_[at(n)];
    const auto& layer = layers_[at(node.layer)];
    const auto next = static_cast<std::size_t>(node.rank) + 1;
    if (next == layer.size()) return std::numeric_limits<double>::max();
    return nodes_[at(layer[next])].y - least_distance(node, nodes_[at(layer[next])]);
  }

  /// Moves all so that the highest node begins at 0.
  void measure_height() {
    double top = std::numeric_limits<double>::max();
    for (const Node& node : nodes_) top = std::min(top, node.y - node.height / 2);
    for (Node& node : nodes_) {
      node.y -= top;
      bottom_ = std::max(bottom_, node.y + node.height / 2);
    }
  }

  // ---- Recycles beside the units

  /// Gives each recycle a lane above or below the units, the shorter ones the nearer ones.
  void place_lanes() {
    std::vector<int> recycles;
    for (std::size_t s = 0; s < is_recycle_.size(); ++s)
      if (is_recycle_[s]) recycles.push_back(static_cast<int>(s));
    const auto from_layer = [&](int s) { return nodes_[at(sheet_.streams[at(s)].from)].layer; };
    const auto to_layer = [&](int s) { return nodes_[at(sheet_.streams[at(s)].to)].layer; };
    std::stable_sort(recycles.begin(), recycles.end(),
                     [&](int a, int b) { return from_layer(a) - to_layer(a) < from_layer(b) - to_layer(b); });
    for (std::size_t k = 0; k < recycles.size(); ++k) {
      const int s = recycles[k];
      int& lane = lane_[at(s)];
      for (std::size_t i = 0; i < k; ++i) {
        const int other = recycles[i];
        const bool overlaps = from_layer(other) >= to_layer(s) - 1 && from_layer(s) >= to_layer(other) - 1;
        if (side_[at(other)] == side_[at(s)] && overlaps) lane = std::max(lane, lane_[at(other)] + 1);
      }
      int& lanes = lanes_[at(static_cast<int>(side_[at(s)]))];
      lanes = std::max(lanes, lane + 1);
    }
  }

  double lane_y(int stream) const {
    const double off = kNodeDistance + kTrackStep * lane_[at(stream)];
    return side_[at(stream)] == Side::kAbove ? -off : bottom_ + off;
  }

  // ---- Tracks between the layers. Gap g lies between the layers g and g + 1.

  void make_risers() {
    gaps_.resize(layers_.size() - 1);
    for (const Link& link : links_) {
      const double left = out_y(link.from, link.stream), right = in_y(link.to, link.stream);
      if (left != right) gap_behind(link.from).push_back(Riser::forward(link.stream, left, right));
    }
    for (std::size_t s = 0; s < is_recycle_.size(); ++s) {
      if (!is_recycle_[s]) continue;
      const int stream = static_cast<int>(s), from = sheet_.streams[s].from, to = sheet_.streams[s].to;
      gap_behind(from).push_back(Riser::leaving(stream, out_y(from, stream), lane_y(stream)));
      gaps_[at(nodes_[at(to)].layer) - 1].push_back(
          Riser::entering(stream, in_y(to, stream), lane_y(stream)));
    }
    for (auto& gap : gaps_) order_tracks(gap);
  }

  std::vector<Riser>& gap_behind(int node) { return gaps_[at(nodes_[at(node)].layer)]; }

  static constexpr std::int64_t kOverlap = 1000;  // as bad as so many crossings

  /// Counts what is bad about `a` standing left of `b`: crossings, and streams drawn on each other.
  static std::int64_t cost(const Riser& a, const Riser& b) {
    if (a.stream == b.stream) return a.left[0] == b.right[0] ? kOverlap : 0;  // two parts, from left to right
    std::int64_t count = 0;
    for (const double y : a.right) count += b.runs_through(y);
    for (const double y : b.left) count += a.runs_through(y);
    for (const double y : a.right)
      if (y != Riser::kNone) count += kOverlap * std::count(b.left.begin(), b.left.end(), y);
    return count;
  }

  void order_tracks(std::vector<Riser>& risers) const {
    improve_order(risers);
    for (std::size_t most = risers.size(); most > 0 && split_one(risers); --most) improve_order(risers);
    for (std::size_t k = 0; k < risers.size(); ++k)
      for (std::size_t i = 0; i < k; ++i)
        if (risers[i].meets(risers[k])) risers[k].track = std::max(risers[k].track, risers[i].track + 1);
  }

  static void improve_order(std::vector<Riser>& risers) {
    for (bool moved = true; moved;) {
      moved = false;
      for (std::size_t k = 0; k < risers.size(); ++k) moved |= move_to_best(risers, k);
    }
  }

  /// Looks for two streams that lie on each other in any order of their tracks, as two do that exchange their
  /// heights, and gives one of them two tracks, with a part between them at a height where no port is.
  /// Returns whether there were such streams.
  bool split_one(std::vector<Riser>& risers) const {
    for (std::size_t k = 0; k < risers.size(); ++k)
      for (std::size_t i = 0; i < k; ++i) {
        if (cost(risers[i], risers[k]) < kOverlap) continue;
        Riser& split = risers[i].is_forward() ? risers[i] : risers[k];
        if (!split.is_forward()) continue;
        const double grid = port_step_ / 2, from = split.left[0], to = split.right[0];
        const double middle =
            split.top + grid * std::floor((split.bottom - split.top) / (2 * grid)) + grid / 2;
        const int stream = split.stream;
        split = Riser::forward(stream, from, middle);
        risers.push_back(Riser::forward(stream, middle, to));
        return true;
      }
    return false;
  }

  /// Moves the track at place k to where it costs least. Returns whether that is better than where it was.
  static bool move_to_best(std::vector<Riser>& risers, std::size_t k) {
    const Riser moving = risers[k];
    risers.erase(risers.begin() + static_cast<std::ptrdiff_t>(k));
    std::int64_t now = 0;  // at place p
    for (const Riser& other : risers) now += cost(moving, other);
    std::int64_t best = now, at_k = now;
    std::size_t best_place = 0;
    for (std::size_t p = 1; p <= risers.size(); ++p) {
      now += cost(risers[p - 1], moving) - cost(moving, risers[p - 1]);
      if (now < best) best = now, best_place = p;
      if (p == k) at_k = now;
    }
    const bool is_better = best < at_k;
    risers.insert(risers.begin() + static_cast<std::ptrdiff_t>(is_better ? best_place : k), moving);
    return is_better;
  }

  // ---- Widths

  bool is_torn(int stream) const {
    return std::find(plan_.tears.begin(), plan_.tears.end(), stream) != plan_.tears.end();
  }

  /// Returns the room that labels at the right side of a layer need.
  double label_room(const std::vector<int>& layer) const {
    double room = 2 * kTextMargin;
    for (const int n : layer) {
      if (nodes_[at(n)].is_bend()) continue;
      for (const int s : nodes_[at(n)].out) {
        const bool labelled_here = sheet_.streams[at(s)].to != kOutside;
        const double label = labelled_here ? along(sheet_.streams[at(s)].name) + 2 * kTextMargin : 0;
        room = std::max(room, label + (is_torn(s) ? kTearRoom : 0));
      }
    }
    return room;
  }

  void place_horizontally() {
    double feeds = 0;
    for (const Stream& stream : sheet_.streams)
      if (stream.is_feed) feeds = std::max(feeds, along(stream.name));
    double x = kMargin + feeds + kTextMargin;
    for (std::size_t l = 0; l < layers_.size(); ++l) {
      left_.push_back(x);
      double width = 0;
      for (const int n : layers_[l]) width = std::max(width, nodes_[at(n)].width);
      x += width;
      right_.push_back(x);
      if (l + 1 == layers_.size()) break;
      first_track_.push_back(x + label_room(layers_[l]));
      int tracks = 0;
      for (const Riser& riser : gaps_[l]) tracks = std::max(tracks, riser.track + 1);
      x = first_track_.back() + kTrackStep * std::max(tracks - 1, 0) + kArrowRoom;
    }
  }

  double track_x(std::size_t gap, const Riser& riser) const {
    return first_track_[gap] + kTrackStep * riser.track;
  }

  /// Returns the parts of a stream in a gap, from the left.
  std::vector<Riser> risers_of(int stream, std::size_t gap) const {
    std::vector<Riser> found;
    for (const Riser& riser : gaps_[gap])
      if (riser.stream == stream) found.push_back(riser);
    return found;
  }

  // ---- The result

  double node_left(const Node& node) const {
    const auto l = at(node.layer);
    return node.is_bend() ? left_[l] : (left_[l] + right_[l] - node.width) / 2;
  }
  double node_right(const Node& node) const {
    return node.is_bend() ? right_[at(node.layer)] : node_left(node) + node.width;
  }

  FlowsheetLayout draw() const {
    FlowsheetLayout layout;
    if (runs_down_) layout.direction = Direction::kDown;
    const double first = room_beside(Side::kAbove);
    double products = 0;
    for (std::size_t u = 0; u < sheet_.units.size(); ++u) {
      const Node& node = nodes_[u];
      layout.units.push_back({node_left(node), node.y - node.height / 2 + first, node.width, node.height});
      if (runs_down_) exchange(layout.units.back());
    }
    for (std::size_t s = 0; s < sheet_.streams.size(); ++s) {
      layout.streams.push_back(line_of(static_cast<int>(s), first));
      if (sheet_.streams[s].to == kOutside)
        products = std::max(products, along(sheet_.streams[s].name) + kTextMargin);
    }
    layout.width = right_.back() + products + kMargin;
    layout.height = first + bottom_ + room_beside(Side::kBelow);
    if (runs_down_) std::swap(layout.width, layout.height);
    return layout;
  }

  static void exchange(UnitBox& box) {
    std::swap(box.left, box.top);
    std::swap(box.width, box.height);
  }

  /// Returns the room that the recycles and labels of one side need.
  double room_beside(Side side) const {
    const int lanes = lanes_[at(static_cast<int>(side))];
    return kMargin + (lanes > 0 ? kNodeDistance + kTrackStep * (lanes - 1) : kTextMargin);
  }

  /// @param down  how far all is moved, to make room for the recycles above
  StreamLine line_of(int s, double down) const {
    StreamLine line;
    line.is_recycle = is_recycle_[at(s)];
    line.is_torn = is_torn(s);
    line.corners = line.is_recycle ? corners_of_recycle(s) : corners_of_chain(s);
    for (Point& corner : line.corners) corner.y += down;
    const double label = along(sheet_.streams[at(s)].name) + kTextMargin;
    line.tear_mark = {line.corners.front().x + label + kTearRoom / 2, line.corners.front().y};
    if (runs_down_) {
      for (Point& corner : line.corners) std::swap(corner.x, corner.y);
      std::swap(line.tear_mark.x, line.tear_mark.y);
    }
    place_label(sheet_.streams[at(s)], line);
    return line;
  }

  void place_label(const Stream& stream, StreamLine& line) const {
    constexpr double kAboveLine = 5, kHalfLetter = 4.5, kLetterHeight = 9;
    const Point start = line.corners.front(), end = line.corners.back();
    const bool is_at_edge = stream.is_feed || stream.to == kOutside;
    if (is_at_edge)
      line.anchor = runs_down_ ? Anchor::kMiddle : stream.is_feed ? Anchor::kEnd : Anchor::kStart;
    if (stream.is_feed) {
      line.label = runs_down_ ? Point{start.x, start.y - kTextMargin}
                              : Point{start.x - kTextMargin, start.y + kHalfLetter};
    } else if (stream.to == kOutside) {
      line.label = runs_down_ ? Point{end.x, end.y + kTextMargin + kLetterHeight}
                              : Point{end.x + kTextMargin, end.y + kHalfLetter};
    } else {
      line.label = runs_down_ ? Point{start.x + kTextMargin, start.y + kTextMargin + kLetterHeight}
                              : Point{start.x + kTextMargin, start.y - kAboveLine};
    }
  }

  std::vector<Point> corners_of_recycle(int s) const {
    const Node& from = nodes_[at(sheet_.streams[at(s)].from)];
    const Node& to = nodes_[at(sheet_.streams[at(s)].to)];
    const double out = out_y(from.unit, s), in = in_y(to.unit, s), lane = lane_y(s);
    const std::size_t gap_out = at(from.layer), gap_in = at(to.layer) - 1;
    const double x_out = track_x(gap_out, risers_of(s, gap_out).front());
    const double x_in = track_x(gap_in, risers_of(s, gap_in).front());
    return {{node_right(from), out}, {x_out, out}, {x_out, lane}, {x_in, lane}, {x_in, in},
            {node_left(to), in}};
  }

  std::vector<Point> corners_of_chain(int s) const {
    const auto& chain = chain_[at(s)];
    std::vector<Point> corners{{node_right(nodes_[at(chain.front())]), out_y(chain.front(), s)}};
    for (std::size_t k = 0; k + 1 < chain.size(); ++k) {
      const std::size_t gap = at(nodes_[at(chain[k])].layer);
      for (const Riser& riser : risers_of(s, gap)) {
        corners.push_back({track_x(gap, riser), riser.left[0]});
        corners.push_back({track_x(gap, riser), riser.right[0]});
      }
    }
    corners.push_back({node_left(nodes_[at(chain.back())]), in_y(chain.back(), s)});
    return corners;
  }

  const Flowsheet& sheet_;
  const Plan& plan_;
  const bool runs_down_;
  const double port_step_;
  std::vector<bool> is_recycle_;         // [stream]
  std::vector<std::vector<int>> chain_;  // [stream] nodes that it passes, if it is no recycle
  std::vector<Side> side_;               // [stream] of a recycle; likewise lane_
  std::vector<int> lane_;                // from the units outwards
  std::array<int, 2> lanes_{};           // [side] how many there are
  std::vector<Node> nodes_;              // the units come first, in their order
  std::vector<int> sheets_;              // [unit] lowest unit that it is connected with
  std::vector<bool> visited_, on_path_;  // [unit] of the search
  std::vector<int> downstream_first_;    // units, each behind those that it feeds but for recycles
  int last_layer_ = 0;                   // of the ends of products
  std::vector<Link> links_;
  std::vector<std::vector<int>> layers_;  // [layer] nodes from the top
  std::vector<std::vector<Riser>> gaps_;  // from the left
  std::vector<double> left_, right_;      // [layer] edges
  std::vector<double> first_track_;       // [gap] x
  double bottom_ = 0;                     // of the lowest node
};

}  // namespace

std::string short_name(const std::string& name) {
  if (name.size() <= kLongestName) return name;
  std::size_t end = kLongestName - 1;
  while (end > 0 && (static_cast<unsigned char>(name[end]) & 0xC0u) == 0x80u) --end;  // not within a letter
  return name.substr(0, end) + "\u2026";
}

FlowsheetLayout lay_out(const Flowsheet& flowsheet, const Plan& plan, Direction direction) {
  return Layout(flowsheet, plan, direction).make();
}

}  // namespace recycle
