// Computes the outlets of a unit from its inlets: the sum of a mixer, the phases of a flash, the shares of a
// splitter.

#include "apps/recycle/units.h"

#include <algorithm>
#include <numeric>

namespace recycle {
namespace {

Rates sum(const std::vector<Rates>& streams) {
  Rates total = streams.front();
  for (std::size_t s = 1; s < streams.size(); ++s)
    for (std::size_t i = 0; i < total.size(); ++i) total[i] += streams[s][i];
  return total;
}

std::vector<Rates> split_components(const Rates& inflow, const std::vector<double>& shares) {
  Rates first = inflow, second = inflow;
  for (std::size_t i = 0; i < inflow.size(); ++i) {
    first[i] = inflow[i] * shares[i];
    second[i] = inflow[i] - first[i];
  }
  return {first, second};
}

/// Splits a stream by shares. The last outlet gets what the others leave, so that nothing is lost by
/// rounding.
std::vector<Rates> split_stream(const Rates& inflow, const std::vector<double>& shares) {
  std::vector<Rates> outlets(shares.size(), inflow);
  for (std::size_t i = 0; i < inflow.size(); ++i) {
    double left = inflow[i];
    for (std::size_t s = 0; s + 1 < shares.size(); ++s) {
      outlets[s][i] = std::min(left, inflow[i] * shares[s]);
      left -= outlets[s][i];
    }
    outlets.back()[i] = left;
  }
  return outlets;
}

}  // namespace

std::vector<Rates> outflow(const Unit& unit, const std::vector<Rates>& inflow) {
  switch (unit.kind) {
    case UnitKind::kMixer:
      return {sum(inflow)};
    case UnitKind::kFlash: {
      Phases phases = flash(inflow.front(), unit.k);
      return {std::move(phases.vapour), std::move(phases.liquid)};
    }
    case UnitKind::kComponentSplitter:
      return split_components(inflow.front(), unit.shares);
    case UnitKind::kStreamSplitter:
      return split_stream(inflow.front(), unit.shares);
  }
  return {};
}

std::optional<double> vapour_fraction(const Unit& flash, const std::vector<Rates>& streams) {
  const auto total = [&](int outlet) {
    const Rates& rates = streams[static_cast<std::size_t>(flash.outlets[static_cast<std::size_t>(outlet)])];
    return std::accumulate(rates.begin(), rates.end(), 0.0);
  };
  const double vapour = total(0), both = vapour + total(1);
  if (!(both > 0)) return std::nullopt;
  return vapour / both;
}

}  // namespace recycle
