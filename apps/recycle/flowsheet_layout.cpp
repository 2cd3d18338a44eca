// Places the layers of a flowsheet and leads its streams. All is computed as if they ran from left to right;
// where they run down, x and y change places in the end, and the height of a box in here is its width on the
// page.
//   1. Heights come from least squares: each node is drawn to where its streams are straight, and pool
//      adjacent violators keeps the nodes apart in their order.
//   2. Recycles get lanes above and below the units.
//   3. Between two layers each stream with a vertical part gets a track. Their order is improved by moving
//      single tracks until no move gives fewer crossings.
// Source of step 1: R. E. Barlow et al., Statistical Inference under Order Restrictions, Wiley (1972).

#include "apps/recycle/flowsheet_layout.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "apps/recycle/flowsheet_layers.h"

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

double text_width(const std::string& name) {
  return kLetter * static_cast<double>(std::min(name.size(), kLongestName));
}

/// Rounds a length up, so that heights made from it are exact and can be compared.
double even(double length) { return 2 * std::ceil(length / 2); }

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

/// Holds a node with its size and place.
struct PlacedNode : Node {
  explicit PlacedNode(const Node& node) : Node(node) {}
  double width = 0, height = 0;
  double y = 0;  // of the middle
};

class Layout {
 public:
  Layout(const Flowsheet& flowsheet, const Plan& plan, Direction direction, const Layers& layers)
      : sheet_(flowsheet),
        plan_(plan),
        runs_down_(direction == Direction::kDown),
        port_step_(runs_down_ ? even(std::max(kLeastPortStep, widest_label() + 2 * kTextMargin))
                              : kLeastPortStep),
        links_(layers.links),
        layers_(layers.order),
        is_recycle_(layers.is_recycle),
        chain_(layers.chain),
        side_(layers.side),
        nodes_(layers.nodes.begin(), layers.nodes.end()),
        lane_(flowsheet.streams.size()) {}

  FlowsheetLayout make() {
    size_boxes();
    place_vertically();
    place_lanes();
    make_risers();
    place_horizontally();
    return draw();
  }

 private:
  // ---- Sizes

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

  /// Gives each unit a box, high enough for the streams at its sides.
  void size_boxes() {
    for (PlacedNode& node : nodes_) {
      if (node.is_bend()) continue;
      const double box = box_width(sheet_.units[at(node.unit)]);
      const auto ports = static_cast<double>(std::max(node.in.size(), node.out.size()));
      node.width = runs_down_ ? kBoxHeight : box;
      node.height = std::max(runs_down_ ? box : kBoxHeight, port_step_ * (ports + 1));
    }
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

  double least_distance(const PlacedNode& upper, const PlacedNode& lower) const {
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
      const PlacedNode& node = nodes_[at(n)];
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
      const PlacedNode& node = nodes_[at(layer[k])];
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
        PlacedNode& node = nodes_[at(layer[k])];
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
    const PlacedNode& node = nodes_[at(n)];
    if (node.rank == 0) return -std::numeric_limits<double>::max();
    const PlacedNode& upper = nodes_[at(layers_[at(node.layer)][static_cast<std::size_t>(node.rank) - 1])];
    return upper.y + least_distance(upper, node);
  }
  double highest_y(int n) const {
    const PlacedNode& node = nodes_[at(n)];
    const auto& layer = layers_[at(node.layer)];
    const auto next = static_cast<std::size_t>(node.rank) + 1;
    if (next == layer.size()) return std::numeric_limits<double>::max();
    return nodes_[at(layer[next])].y - least_distance(node, nodes_[at(layer[next])]);
  }

  /// Moves all so that the highest node begins at 0.
  void measure_height() {
    double top = std::numeric_limits<double>::max();
    for (const PlacedNode& node : nodes_) top = std::min(top, node.y - node.height / 2);
    for (PlacedNode& node : nodes_) {
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

  double node_left(const PlacedNode& node) const {
    const auto l = at(node.layer);
    return node.is_bend() ? left_[l] : (left_[l] + right_[l] - node.width) / 2;
  }
  double node_right(const PlacedNode& node) const {
    return node.is_bend() ? right_[at(node.layer)] : node_left(node) + node.width;
  }

  FlowsheetLayout draw() const {
    FlowsheetLayout layout;
    if (runs_down_) layout.direction = Direction::kDown;
    const double first = room_beside(Side::kAbove);
    double products = 0;
    for (std::size_t u = 0; u < sheet_.units.size(); ++u) {
      const PlacedNode& node = nodes_[u];
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
    const PlacedNode& from = nodes_[at(sheet_.streams[at(s)].from)];
    const PlacedNode& to = nodes_[at(sheet_.streams[at(s)].to)];
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
  const std::vector<Link>& links_;  // these five as in Layers
  const std::vector<std::vector<int>>& layers_;
  const std::vector<bool>& is_recycle_;
  const std::vector<std::vector<int>>& chain_;
  const std::vector<Side>& side_;
  std::vector<PlacedNode> nodes_;         // the units come first, in their order
  std::vector<int> lane_;                 // [stream] of a recycle, from the units outwards
  std::array<int, 2> lanes_{};            // [side] how many there are
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
  return Layout(flowsheet, plan, direction, arrange_in_layers(flowsheet)).make();
}

}  // namespace recycle
