#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/recycle/flash.h"

namespace recycle {

enum class UnitKind { kMixer, kFlash, kComponentSplitter, kStreamSplitter };

/// Describes a unit of a flowsheet. Streams are given by their numbers.
struct Unit {
  UnitKind kind;
  std::string name;
  std::vector<int> inlets;
  std::vector<int> outlets;    // of a flash: vapour, liquid
  std::vector<double> k;       // of a flash: [component] K-values
  std::vector<double> shares;  // of a component splitter: [component] fraction that goes to the first outlet;
                               // of a stream splitter: [outlet] fraction of the stream
  int line = 0;                // line of the case file that it begins in
};

/// Returns the part of what leaves a flash that is vapour, by amount; nothing if nothing leaves it.
/// @param streams  [stream] rates of the whole flowsheet
std::optional<double> vapour_fraction(const Unit& flash, const std::vector<Rates>& streams);

/// Computes the rates of each outlet of a unit. If no inflow is negative, no outflow is. The outlets together
/// carry the inflow of each component, to rounding.
/// @param inflow  [inlet]
/// @return [outlet]
std::vector<Rates> outflow(const Unit& unit, const std::vector<Rates>& inflow);

}  // namespace recycle
