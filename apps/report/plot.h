#pragma once

// Plots as SVG for a report::Page, whose style sheet gives them their colours.

#include <string>
#include <vector>

#include "apps/report/axis.h"

namespace report {

/// The part of a wide page's width that a figure takes. On a phone every figure takes all of it.
enum class Width { kThird, kHalf, kFull };

struct Series {
  std::string name;          // in the legend; empty: not listed there
  std::vector<double> x, y;  // as long as each other; a point without a place on the axes interrupts the line
  bool line = true, points = true;
  bool dashed = false;
  int colour = -1;                       // 0 .. kColours - 1; below 0: the next one
  std::vector<std::size_t> marked = {};  // indices of points that get a ring
};

/// How many colours there are. Beyond, series repeat colours with dashed lines.
constexpr int kColours = 8;

/// Describes a line across the plot with a name beside it. The axis covers it.
struct Limit {
  std::string name;
  double at;
  bool upright = false;  // at a value of x; otherwise at a value of y
};

/// Describes a shaded range of x, from one end of the plot to the other where a value is not finite.
struct Band {
  double from, to;
};

struct Plot {
  std::string title;
  Axis x, y;
  std::vector<Series> series;
  std::vector<Limit> limits;
  std::vector<Band> bands;
  std::string mark_meaning;  // what a ring about a point means, for the legend
  std::string note;          // below the plot
  Width width = Width::kHalf;
  bool tall = false;  // higher than wide, for what runs down a column
};

/// A figure of a page: SVG, written by hand or made from a plot.
struct Figure {
  std::string title;  // above; plain text, as all texts here
  std::string html;   // the picture: <svg role="img" viewBox=...> with <title> and <desc>, and its legend
  std::string note;   // below
  Width width = Width::kHalf;
};

/// Draws a plot. The same plot gives the same bytes. Figures of half and full width are drawn twice, for a
/// wide page and for a phone, and the style sheet shows one of the two, so that text is of the same size on
/// both. A line of thousands of points is thinned to what can be seen of it.
/// @param id  different for each figure of a page; letters and digits
Figure draw(const Plot& plot, const std::string& id);

}  // namespace report
