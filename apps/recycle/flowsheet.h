#pragma once

// A flowsheet as its case file describes it, and a pass that computes all its units once, in the order of a
// plan (sequential modular simulation). Streams, units and components count from 0. Rates are molar, in any
// unit, the same throughout a case.

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "apps/recycle/tearing.h"
#include "apps/recycle/units.h"

namespace recycle {

constexpr int kOutside = -1;  // in place of a unit: where feeds come from and products go to

/// Describes a stream.
struct Stream {
  std::string name;
  int from = kOutside, to = kOutside;  // units
  bool is_feed = false;
  Rates rates;        // of a feed, else empty
  Rates start;        // guess of the case, used if the stream is torn; may be empty
  Rates published;    // rates that the source of the case gives; may be empty
  double within = 0;  // largest difference from a published rate that counts as agreement
};

/// Holds the components, streams and units of a case.
struct Flowsheet {
  std::vector<std::string> components;
  std::vector<Stream> streams;  // in the order in which the case mentions them
  std::vector<Unit> units;

  /// Returns the stream of this name, if there is one.
  std::optional<int> stream(const std::string& name) const;
  /// Returns the total rate of all feeds.
  double total_feed() const;
};

/// Is thrown for tears that cannot be used; what() tells why.
struct BadTears : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Tells which streams are torn, and in which order the units are computed: each after those that its inlets
/// come from, except for torn streams.
struct Plan {
  std::vector<int> tears;  // streams
  std::vector<int> order;  // units
};

/// Makes a plan.
/// @param tears  names of the streams to tear; if empty the smallest tear set is found
/// @throws BadTears
Plan make_plan(const Flowsheet& flowsheet, const std::vector<std::string>& tears);

/// Holds the rates of the torn streams, one stream after the other: the unknowns of the iteration.
using TearVector = std::vector<double>;

/// Returns the first guess of the torn streams. For each it is the guess of the case; without one, the sum of
/// the feeds of the mixer that the stream leaves; else 0.
TearVector start_vector(const Flowsheet& flowsheet, const Plan& plan);

/// Holds the result of a pass.
struct PassResult {
  std::vector<Rates> streams;  // [stream]
  TearVector tears;            // torn streams as the units that they leave have computed them
};

/// Computes every unit once, in the order of the plan.
/// @param guess  of the torn streams, for the units that they enter
PassResult run_pass(const Flowsheet& flowsheet, const Plan& plan, const TearVector& guess);

/// Returns the number of flash units.
int flash_count(const Flowsheet& flowsheet);

/// Tells how far feeds and products are apart, relative to the total feed.
struct Imbalance {
  double worst = 0;           // largest error of a component balance; not finite if any is
  std::size_t component = 0;  // the component that has it
  double total = 0;           // error of the sum of all components

  bool is_within(double bound) const { return worst <= bound; }
};

/// Compares all feeds with all products. @param streams [stream] of a pass
Imbalance overall_imbalance(const Flowsheet& flowsheet, const std::vector<Rates>& streams);

}  // namespace recycle
