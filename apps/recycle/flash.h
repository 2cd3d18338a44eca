#pragma once

#include <vector>

namespace recycle {

using Rates = std::vector<double>;  // [component] molar rates of a stream

/// Holds the two outlets of a flash.
struct Phases {
  Rates vapour, liquid;
};

/// Splits a stream into equilibrium vapour and liquid at given K-values. Solves the equation of Rachford and
/// Rice (J. Petrol. Technol. 4 (10), 19, 1952) to rounding, for the fraction of the smaller phase. A stream
/// below its bubble point is all liquid, one above its dew point all vapour. Of each component, the rate in
/// the phase that gets less of it comes from the equation, and the other is the rest of the feed. So both
/// have a relative error of rounding, and their sum is the feed.
/// @param feed  [component] none negative
/// @param k     [component] K-values, all positive
Phases flash(const Rates& feed, const std::vector<double>& k);

}  // namespace recycle
