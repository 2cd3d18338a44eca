#pragma once

#include <string>

#include "apps/recycle/flowsheet_layout.h"

namespace recycle {

/// Draws a flowsheet as SVG: units as boxes with their names and kinds, streams as lines with arrows,
/// recycles in a colour of their own, torn streams marked. Colours are the variables of a report page.
/// @param streams  [stream] rates, whose sums appear when the pointer rests on a stream; may be empty
std::string flowsheet_svg(const Flowsheet& flowsheet, const FlowsheetLayout& layout,
                          const std::vector<Rates>& streams);

/// Returns the name of a kind of unit.
const char* name_of(UnitKind kind);

}  // namespace recycle
