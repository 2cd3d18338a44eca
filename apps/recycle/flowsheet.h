#pragma once

// A flowsheet as its case file describes it, and how a pass works it out. Streams, units and components
// count from 0. Rates are molar, in the unit of the case, whatever it is.

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "apps/recycle/tearing.h"
#include "apps/recycle/units.h"

namespace recycle {

constexpr int kOutside = -1;  // where feeds come from and products go to

struct Stream {
  std::string name;
  int from = kOutside, to = kOutside;  // units
  bool is_feed = false;
  Rates rates;      // of a feed
  Rates start;      // a guess from the case, for when the stream is torn; may be empty
  Rates published;  // the answer of the source; may be empty
};

struct Flowsheet {
  std::vector<std::string> components;
  std::vector<Stream> streams;  // in the order in which the case mentions them
  std::vector<Unit> units;

  std::optional<int> stream(const std::string& name) const;
  /// Returns the total rate of all feeds.
  double total_feed() const;
};

/// Tears that cannot be used; what() tells why.
struct BadTears : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The torn streams, and the units in an order in which all that they take in, torn streams apart, is known.
struct Plan {
  std::vector<int> tears, order;
};

/// @param tears  names of the streams to tear; if empty the smallest tear set is found
/// @throws BadTears
Plan make_plan(const Flowsheet& flowsheet, const std::vector<std::string>& tears);

/// The rates of the torn streams one after the other: what converges.
using TearVector = std::vector<double>;

/// Returns the start that the case gives for a torn stream; else the feeds that enter it through a mixer;
/// else 0.
TearVector start_vector(const Flowsheet& flowsheet, const Plan& plan);

struct PassResult {
  std::vector<Rates> streams;
  TearVector tears;  // as they come out
};

/// Works out every unit once.
/// @param guess  of the torn streams, for the units that take them in
PassResult run_pass(const Flowsheet& flowsheet, const Plan& plan, const TearVector& guess);

int flash_count(const Flowsheet& flowsheet);

/// How far feeds and products are apart, relative to the total feed.
struct Imbalance {
  double worst = 0;           // of all components; not finite if any is
  std::size_t component = 0;  // where that is
  double total = 0;           // of the sums of all components

  bool is_within(double bound) const { return worst <= bound; }
};

Imbalance overall_imbalance(const Flowsheet& flowsheet, const std::vector<Rates>& streams);

}  // namespace recycle
