// The driver of the reordering.
//
//  1. Number the isolated nodes, in index order.
//  2. For each component, beginning with an unnumbered node of smallest degree: find a pseudo-diameter,
//     combine the rooted level structures of its ends into one, pack its levels, and number its nodes.
//  3. Measure the new numbering, its reverse and the caller's over the whole graph, and choose the best.
// Invariants: work(1 .. next_number_ - 1) holds the numbered nodes in order; the degree of a numbered node is
// negative or 0 until step 3 restores it. After an error in steps 1 and 2 all degrees are made positive.
// Source: Gibbs, Poole, Stockmeyer, SIAM J. Numer. Anal. 13, 236 (1976).

#include "reorder/gpskca.h"

#include <algorithm>
#include <climits>
#include <cstdint>

#include "frame/clamp.h"
#include "frame/module.h"
#include "reorder/combination.h"
#include "reorder/gps_graph.h"
#include "reorder/level_structures.h"
#include "reorder/numbering.h"
#include "reorder/work_plan.h"

namespace corvidnum {
namespace {

constexpr int kNoFigure = -1;

/// Bandwidth and profile of a numbering. 64 bits wide, because a caller may pass any integers as its
/// numbering.
struct Measure {
  std::int64_t bandwidth = 0, profile = 0;

  void add_row(std::int64_t width) {
    if (width <= 0) return;
    bandwidth = std::max(bandwidth, width);
    profile += width;
  }
};

/// One call of gpskca.
class Reordering {
 public:
  Reordering(const GpsGraph& graph, OneBased<int> work, int work_length, OneBased<int> permutation,
             bool optimize_profile)
      : graph_(graph),
        n_(graph.n),
        work_(work),
        work_length_(work_length),
        permutation_(permutation),
        optimize_profile_(optimize_profile) {}

  /// Returns bandwidth and profile of the chosen numbering, or -1 and -1 after an error.
  Measure run();
  GpsStatus status() const { return status_; }

 private:
  // Each step returns whether the next one may follow; if not, it has set the status.
  bool number_all();
  bool number_isolated();
  bool number_component();
  bool combine_and_number(const WorkPlan& plan, int available, PseudoDiameter& diameter);
  bool number_levels(const WorkPlan& plan, const PseudoDiameter& diameter, bool reverse_numbering);

  bool plausible(int node) const;
  int root_of_next_component();
  void need(std::int64_t elements) { status_.space = std::max(status_.space, clamped(elements)); }
  bool fail(int error, std::int64_t space = kNoFigure) {
    status_ = {error, clamped(space)};
    return false;
  }
  bool passed(const GpsStatus& step) { return step.error == kGpsOk || fail(step.error, step.space); }
  void restore_degrees();

  bool measure();
  void measure_rows_of(int node);
  Measure choose();
  void take_new();
  void take_reversed();

  const GpsGraph& graph_;
  const int n_;
  const OneBased<int> work_;
  const int work_length_;
  const OneBased<int> permutation_;
  const bool optimize_profile_;
  GpsStatus status_;
  int next_number_ = 1;
  int root_ = 1, root_degree_ = 1;  // root of the last component and its degree
  Measure new_, reversed_, callers_;
};

Measure Reordering::run() {
  constexpr Measure none{kNoFigure, kNoFigure};
  if (!number_all()) {
    restore_degrees();
    return none;
  }
  return measure() ? choose() : none;
}

bool Reordering::number_all() {
  const std::int64_t at_end = 2 * std::int64_t{n_};
  need(at_end);
  if (!number_isolated()) return false;
  while (next_number_ <= n_) {
    if (!number_component()) return false;
  }
  return work_length_ >= at_end || fail(kNoRoomForInverse, at_end - work_length_);
}

bool Reordering::number_isolated() {
  for (int i = 1; i <= n_; ++i) {
    if (!plausible(i)) return fail(kNegativeDegree);
    if (graph_.degree(i) != 0) continue;
    // Without room the node is only counted; a later step reports the shortage.
    if (next_number_ <= work_length_) work_(next_number_) = i;
    ++next_number_;
  }
  return true;
}

bool Reordering::plausible(int node) const {
  if (graph_.degree(node) <= 0) return graph_.degree(node) == 0;
  if (graph_.row_start(node) < 1) return false;
  bool inside = true;
  for (const int neighbour : graph_.neighbours(node)) inside &= 1 <= neighbour && neighbour <= n_;
  return inside;
}

int Reordering::root_of_next_component() {
  // No remaining node has a smaller degree than the last root, and before that root none has the same. So the
  // next node of that degree, if there is one, is the first of smallest degree.
  for (int i = root_; i <= n_; ++i) {
    if (graph_.degree(i) == root_degree_) return root_ = i;
  }
  int root = 0;  // the first node of smallest degree
  for (int i = 1; i <= n_; ++i) {
    if (graph_.unmarked(i) && (root == 0 || graph_.degree(i) < graph_.degree(root))) root = i;
  }
  if (root != 0) root_degree_ = graph_.degree(root);
  return root_ = root;
}

bool Reordering::number_component() {
  const int root = root_of_next_component();
  if (root == 0) return fail(kNoRootLeft);
  const std::int64_t next = next_number_, n = n_;
  const int available = clamped((work_length_ - next + 1) / 3);
  const int nodes_left = n_ - next_number_ + 1;
  need(next + 3 * n - 1);
  if (available < n_) return fail(kTooShortForLevels);

  const WorkPlan plan(work_, n_, next_number_);
  PseudoDiameter diameter{};
  if (!passed(gps_pseudo_diameter(graph_, plan.columns(available), nodes_left, root, diameter))) return false;
  const std::int64_t depth = diameter.depth;
  need(next + 3 * (diameter.node_count + depth) + 2);
  const std::int64_t needed = std::max(next + 3 * depth + 2 * n - 1, 3 * n + 2 * depth + 1);
  need(needed);
  if (work_length_ < needed) return fail(kTooShortForPlan);
  return combine_and_number(plan, available, diameter);
}

bool Reordering::combine_and_number(const WorkPlan& plan, int available, PseudoDiameter& diameter) {
  bool reversed1 = false, reverse_numbering = false;
  if (!passed(gps_transition(plan, n_, available, diameter, reversed1))) return false;
  if (diameter.forward != plan.levels1_at() || diameter.best_backward != plan.levels2_at()) {
    return fail(kTransitionPlace);
  }
  const int depth = diameter.depth, node_count = diameter.node_count;
  const int between = work_length_ - 3 * depth - 2 * n_ - next_number_ + 1;
  const CombinationRegions regions = plan.combination(depth, between);
  const GpsStatus combined = gps_combine(graph_, diameter, reversed1, regions, reverse_numbering);
  if (!passed(combined)) return false;
  need(std::int64_t{combined.space} + next_number_ - 1);

  if (next_number_ + n_ + depth > plan.level_pointers_at(depth)) return fail(kNoRoomForPacking);
  const GpsStatus packed = gps_pack_levels(n_, depth, regions.levels1, plan.level_list(depth, node_count),
                                           plan.level_pointers(depth), regions.level_totals);
  return passed(packed) && number_levels(plan, diameter, reverse_numbering);
}

// The profile numbering sets the status itself: its errors 61 to 64 report the space needed so far, not -1.
bool Reordering::number_levels(const WorkPlan& plan, const PseudoDiameter& diameter, bool reverse_numbering) {
  const int depth = diameter.depth, node_count = diameter.node_count;
  const PackedLevels levels{depth, plan.level_list(depth, node_count), plan.level_pointers(depth),
                            plan.levels1()};
  if (optimize_profile_) {
    const int list_base = static_cast<int>(plan.level_list_at(depth, node_count)) - 1;
    gps_number_profile(graph_, work_, list_base, next_number_, node_count, levels, status_);
    return status_.error == kGpsOk;
  }
  const int error = gps_number_bandwidth(graph_, plan.queue(depth, node_count), node_count,
                                         diameter.start_node, diameter.end_node, reverse_numbering, levels);
  if (error != kGpsOk) return fail(error);
  next_number_ += node_count;
  return true;
}

void Reordering::restore_degrees() {
  for (int i = 1; i <= n_; ++i) {
    int& degree = graph_.degree(i);
    if (degree < 0) degree = degree == INT_MIN ? INT_MAX : -degree;
  }
}

// The final measurement. The new order is in work(1 .. n); its inverse, the new numbers, goes to
// work(n+1 .. 2n).

bool Reordering::measure() {
  const WorkPlan plan(work_, n_, next_number_);
  const OneBased<int> new_order = plan.new_order(), new_number = plan.new_number();
  for (int k = 1; k <= n_; ++k) new_number(new_order(k)) = k;
  for (int i = 1; i <= n_; ++i) {
    if (graph_.degree(i) == 0) continue;
    if (graph_.unmarked(i)) return fail(optimize_profile_ ? kUnnumberedProfile : kUnnumberedBandwidth);
    graph_.flip_mark(i);
    measure_rows_of(i);
  }
  return true;
}

void Reordering::measure_rows_of(int node) {
  const OneBased<int> new_number = WorkPlan(work_, n_, next_number_).new_number();
  int lowest = INT_MAX, highest = 0, callers_lowest = INT_MAX;
  for (const int neighbour : graph_.neighbours(node)) {
    lowest = std::min(lowest, new_number(neighbour));
    highest = std::max(highest, new_number(neighbour));
    callers_lowest = std::min(callers_lowest, permutation_(neighbour));
  }
  new_.add_row(std::int64_t{new_number(node)} - lowest);
  reversed_.add_row(std::int64_t{highest} - new_number(node));
  callers_.add_row(std::int64_t{permutation_(node)} - callers_lowest);
}

Measure Reordering::choose() {
  const bool new_is_best = optimize_profile_ ? new_.profile <= std::min(callers_.profile, reversed_.profile)
                                             : new_.bandwidth <= callers_.bandwidth;
  if (new_is_best) {
    take_new();
    return new_;
  }
  // The reversed numbering takes part for the profile only; it wins a tie with the caller's.
  if (!optimize_profile_ || callers_.profile < reversed_.profile) return callers_;
  take_reversed();
  return reversed_;
}

void Reordering::take_new() {
  const OneBased<int> new_number = WorkPlan(work_, n_, next_number_).new_number();
  for (int i = 1; i <= n_; ++i) permutation_(i) = new_number(i);
}

// Reverses the order but not its inverse behind it: the contract leaves that as it was.
void Reordering::take_reversed() {
  const WorkPlan plan(work_, n_, next_number_);
  for (int i = 1; i <= n_; ++i) permutation_(i) = n_ - plan.new_number()(i) + 1;
  std::reverse(plan.new_order().data(), plan.new_order().data() + n_);
}

}  // namespace
}  // namespace corvidnum

int gpskca(const int* n, int* degree, const int* rowStart, const int* connect, const int* optimizeProfile,
           const int* workLength, int* permutation, int* work, int* bandwidth, int* profile, int* errorCode,
           int* space) {
  using namespace corvidnum;
  enter_library();
  // The caller does not pass the length of `connect`; no adjacency list can end beyond this position.
  constexpr std::ptrdiff_t kUntold = 2 * std::ptrdiff_t{INT_MAX};
  const int nodes = std::max(*n, 0);
  const GpsGraph graph{nodes, {degree, nodes}, {rowStart, nodes}, {connect, kUntold}};
  Reordering reordering(graph, {work, std::max(*workLength, 0)}, *workLength, {permutation, nodes},
                        *optimizeProfile != 0);
  const Measure chosen = reordering.run();
  *bandwidth = clamped(chosen.bandwidth);
  *profile = clamped(chosen.profile);
  *errorCode = reordering.status().error;
  *space = reordering.status().space;
  return 0;
}
