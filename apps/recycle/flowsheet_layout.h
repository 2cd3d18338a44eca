#pragma once

// Places the units and streams of a flowsheet for a drawing. All lengths are in pixels, x to the right and y
// downwards.

#include <string>
#include <vector>

#include "apps/recycle/flowsheet.h"

namespace recycle {

struct Point {
  double x = 0, y = 0;
};

/// Holds a box around a unit, with the lines of text that it has room for.
struct UnitBox {
  double left = 0, top = 0, width = 0, height = 0;
};

/// Holds the line of a stream.
struct StreamLine {
  std::vector<Point> corners;  // from the source to the arrow head; all parts are horizontal or vertical
  bool is_recycle = false;     // runs back to the unit that it enters, or to one before it
  bool is_torn = false;
  Point tear_mark;          // a point of the first part, for the mark of a torn stream
  Point label;              // base line of the name
  bool ends_label = false;  // the name ends at `label` (a feed) and does not begin there
};

struct FlowsheetLayout {
  double width = 0, height = 0;
  std::vector<UnitBox> units;       // [unit]
  std::vector<StreamLine> streams;  // [stream]
};

/// Returns a name cut to what a drawing has room for.
std::string short_name(const std::string& name);

/// Lays out a flowsheet in layers from left to right (K. Sugiyama, S. Tagawa and M. Toda, IEEE Trans. Syst.
/// Man Cybern. 11, 109, 1981). Feeds enter at the left edge, products leave at the right one. Recycles run
/// back above or below all units. No line crosses a box, and the same flowsheet always gives the same layout.
FlowsheetLayout lay_out(const Flowsheet& flowsheet, const Plan& plan);

}  // namespace recycle
