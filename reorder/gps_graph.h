#pragma once

// What the routines of the reordering share: the graph, whose degrees carry the marks of visited nodes, and
// the error codes.

#include "frame/one_based.h"

namespace corvidnum {

/// Error codes of gpskca. A code below 100 means that the graph is inconsistent or an invariant is broken,
/// but for kNoRoomForInverse; from 101 on `work` is too short. The space reported is -1 unless stated
/// otherwise. The numbers are public and never change.
enum GpsError : int {
  kGpsOk = 0,
  // the driver
  kNegativeDegree = 1,     // also an impossible row start or neighbour
  kNoRootLeft = 2,         // nodes are left, but none has a positive degree
  kTransitionPlace = 3,    // the level numbers are not where the plan has them
  kNoRoomForPacking = 4,   // the packed levels would overlap the level totals
  kNoRoomForInverse = 10,  // `work` is shorter than 2n; space: what is missing
  // the pseudo-diameter
  kLastLevelSort = 11,     // the sort of the last level failed
  kBadWalk = 12,           // the root has degree 0, or a walk reached more nodes than are left
  kWalkCountDiffers = 13,  // a walk reached another number of nodes than the first one
  // transition, combination and search of components, packing
  kColumnsTooLong = 20,       // three columns exceed `work`
  kTooManyMatched = 30,       // more nodes agree than the component has
  kComponentSize = 31,        // the size of a component is out of range
  kComponentSort = 32,        // the sort of the components failed
  kNeighbourUnlevelled = 33,  // a neighbour has no level number
  kNoComponentRoot = 34,      // no root is left for a component
  kComponentSum = 35,         // the sizes of the components don't add up
  kNodeUnassigned = 40,       // a node was not marked as assigned
  kLevelOverfull = 41,        // a level received more nodes than its total
  // numbering for the bandwidth
  kNextLevelEmpty = 51,
  kLevelCount = 52,        // the count of nodes left in the level is inconsistent
  kWrongLevelInList = 53,  // the list of a level holds a node of another
  kLevelSkipped = 54,      // a neighbour lies more than one level away
  kNothingToResume = 55,   // no unnumbered node is left in the level
  kBandwidthSort = 56,     // a sort failed
  // numbering for the profile; the space does not change
  kQueueNotUsedUp = 61,
  kLevelListRanOut = 62,
  kNumberedCount = 63,  // the count of numbered nodes is wrong at the end
  kProfileSort = 64,    // a sort failed
  // the final measurement
  kUnnumberedBandwidth = 70,  // a node of positive degree is not numbered
  kUnnumberedProfile = 71,
  // `work` is too short
  kTooShortForLevels = 101,  // a column of the search would be shorter than n
  kTooShortForPlan = 102,    // no room for what follows the search
  kColumnFull = 110,  // a level structure does not fit its column; space: an estimate of what is missing
  kColumnFullLimited = 111,    // the same, in gps_rooted_levels_limited
  kColumnsTooShort = 120,      // a column is shorter than n; space: what is missing
  kTooManyComponents = 130,    // space: nodes that have no component yet
  kNoRoomForComponents = 131,  // space: what is missing
  kQueueMeetsStack = 160,      // in the profile numbering; space: nodes of this level that are not yet
                               // numbered, plus nodes of the next level that are not yet reached
};

/// How a step ended. The meaning of `space`, a number of elements of `work`, depends on step and error.
struct GpsStatus {
  int error = kGpsOk;
  int space = 0;
};

/// The neighbours of a node, in adjacency order: [first, last).
struct Neighbours {
  const int* first;
  const int* last;
  const int* begin() const { return first; }
  const int* end() const { return last; }
};

/// An undirected graph of nodes 1 .. n in adjacency lists, which the caller owns. |degree(i)| is the number
/// of neighbours of node i. The sign of degree(i) is the only mark of a node: a walk makes it negative for
/// the nodes that it has reached, and numbered nodes keep a negative degree until the final measurement.
struct GpsGraph {
  int n;
  OneBased<int> degree;           // [n]
  OneBased<const int> row_start;  // [n] where a node's list begins in `connect`; not read for degree 0
  OneBased<const int> connect;    // the adjacency lists

  /// Walks prefetch the adjacency list of the node this many places ahead, since the lists of successive
  /// nodes lie anywhere in memory.
  static constexpr int kAhead = 6;
  void fetch_row(int node) const { __builtin_prefetch(neighbours(node).begin()); }
  bool unmarked(int node) const { return degree(node) > 0; }
  void flip_mark(int node) const { degree(node) = -degree(node); }
  int neighbour_count(int node) const { return degree(node) < 0 ? -degree(node) : degree(node); }
  Neighbours neighbours(int node) const {
    const int* first = connect.data() + (static_cast<std::ptrdiff_t>(row_start(node)) - 1);
    return {first, first + neighbour_count(node)};
  }
};

}  // namespace corvidnum
