#pragma once

// Small plots side by side, as one SVG that needs nothing else.

#include <string>
#include <vector>

#include "bench/page/measures.h"

namespace page {

/// A line of a plot, drawn in the style of its place in Picture::lines.
struct Line {
  std::size_t style;
  std::vector<Point> points;
};

/// One plot, with both axes logarithmic.
struct Panel {
  std::string title;
  std::vector<Line> lines;
};

struct Picture {
  std::string title, x_title, y_title;  // plain text, as all texts here; titles of axes tell the units
  std::vector<std::string> lines;       // the legend: at most kStyles
  std::vector<Panel> panels;            // all have the same axes
  bool has_one = false;                 // the level 1 is dashed: below it the library is faster
};

constexpr std::size_t kStyles = 6;

/// Draws a picture for light and dark screens. The same picture gives the same bytes.
std::string draw(const Picture& picture);

}  // namespace page
