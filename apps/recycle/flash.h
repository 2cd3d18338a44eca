#pragma once

#include <vector>

namespace recycle {

using Rates = std::vector<double>;  // by component

struct Phases {
  Rates vapour, liquid;
};

/// Splits a stream into equilibrium vapour and liquid at given K-values, by the equation of Rachford and
/// Rice (J. Petrol. Technol. 4 (10), 19, 1952) solved to rounding. A stream below its bubble point is all
/// liquid, one above its dew point all vapour. Of each component the scarcer share comes from the equation
/// and the other is what it leaves of the feed: both are good to rounding and together make up the feed.
/// @param feed  none negative
/// @param k     all positive
Phases flash(const Rates& feed, const std::vector<double>& k);

}  // namespace recycle
