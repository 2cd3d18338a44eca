#pragma once

#include <string>
#include <vector>

#include "apps/recycle/flash.h"

namespace recycle {

enum class UnitKind { kMixer, kFlash, kComponentSplitter, kStreamSplitter };

/// One unit of a flowsheet. Streams are known by their numbers.
struct Unit {
  UnitKind kind;
  std::string name;
  std::vector<int> inlets;
  std::vector<int> outlets;    // a flash: vapour, liquid
  std::vector<double> k;       // a flash: by component
  std::vector<double> shares;  // a component splitter: of each component in the first outlet;
                               // a stream splitter: of the stream in each outlet
  int line = 0;                // in the case file
};

/// What leaves the unit by each outlet. No rate is negative if none comes in so; of each component, the
/// outlets together carry what comes in, to rounding.
std::vector<Rates> outflow(const Unit& unit, const std::vector<Rates>& inflow);

}  // namespace recycle
