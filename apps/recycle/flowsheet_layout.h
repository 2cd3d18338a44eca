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

/// The way that streams take but for recycles: to the right on wide pages, down on narrow ones.
enum class Direction { kRight, kDown };

/// Holds a box around a unit, with room for an icon, its name and its kind.
struct UnitBox {
  double left = 0, top = 0, width = 0, height = 0;
};

enum class Anchor { kStart, kMiddle, kEnd };

/// Holds the line of a stream.
struct StreamLine {
  std::vector<Point> corners;  // from the source to the arrow head; all parts are horizontal or vertical
  bool is_recycle = false;     // runs back to the unit that it enters, or to one before it
  bool is_torn = false;
  Point tear_mark;  // a point of the first part, for the mark of a torn stream
  Point label;      // base line of the name, at its beginning, middle or end
  Anchor anchor = Anchor::kStart;
};

struct FlowsheetLayout {
  Direction direction = Direction::kRight;
  double width = 0, height = 0;
  std::vector<UnitBox> units;       // [unit]
  std::vector<StreamLine> streams;  // [stream]
};

/// Returns a name cut to what a drawing has room for.
std::string short_name(const std::string& name);

/// Lays out a flowsheet in layers. Feeds enter at one edge, products leave at the opposite one. Recycles run
/// back beside the units. No line crosses a box, and the same flowsheet always gives the same layout.
FlowsheetLayout lay_out(const Flowsheet& flowsheet, const Plan& plan, Direction direction);

}  // namespace recycle
