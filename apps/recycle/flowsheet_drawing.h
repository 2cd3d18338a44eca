#pragma once

#include <string>

#include "apps/recycle/flowsheet_layout.h"
#include "apps/report/plot.h"

namespace recycle {

/// Draws a flowsheet as SVG for a report::Page: units as boxes with their names and kinds, streams as lines
/// with arrows, recycles in a colour of their own, torn streams marked.
/// @param streams  [stream] rates, whose sums appear when the pointer rests on a stream; may be empty
std::string flowsheet_svg(const Flowsheet& flowsheet, const FlowsheetLayout& layout,
                          const std::vector<Rates>& streams);

/// Draws a flowsheet twice, to the right for wide pages and down for narrow ones, with a legend.
report::Figure flowsheet_figure(const Flowsheet& flowsheet, const Plan& plan,
                                const std::vector<Rates>& streams);

/// Returns the name of a kind of unit.
const char* name_of(UnitKind kind);

}  // namespace recycle
