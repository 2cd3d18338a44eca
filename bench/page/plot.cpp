// Draws plots on logarithmic axes that all panels of a picture share. Lines differ by colour and by the shape
// of their points, so that they can be told apart without seeing colours. The later half of them is dashed,
// which shows a line that it covers.

#include "bench/page/plot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace page {
namespace {

constexpr int kColumns = 3;  // panels in a row
constexpr double kPanelWidth = 236, kPanelHeight = 176, kGapAcross = 18, kGapDown = 46;
constexpr double kLeft = 64, kTop = 104, kBottom = 52, kRight = 20;

constexpr const char* kStyle = R"(<style>
svg { --paper: #ffffff; --ink: #24292f; --soft: #57606a; --grid: #d8dee4;
  --c0: #0969da; --c1: #bc4c00; --c2: #1a7f37; --c3: #6e7781; --c4: #8250df; --c5: #bf3989 }
@media (prefers-color-scheme: dark) {
svg { --paper: #161b22; --ink: #e6edf3; --soft: #9198a1; --grid: #30363d;
  --c0: #58a6ff; --c1: #f0883e; --c2: #3fb950; --c3: #9198a1; --c4: #bc8cff; --c5: #f778ba } }
text { font: 14px system-ui, "DejaVu Sans", sans-serif; fill: var(--ink) }
.title { font-size: 17px; font-weight: 600 } .panel { font-weight: 600 }
.tick { font-size: 12px; fill: var(--soft) } .end { text-anchor: end } .middle { text-anchor: middle }
.grid { stroke: var(--grid); fill: none } .one { stroke: var(--soft); stroke-dasharray: 5 4; fill: none }
.line { fill: none; stroke-width: 2; stroke-linejoin: round }
.s0 { stroke: var(--c0); fill: var(--c0) } .s1 { stroke: var(--c1); fill: var(--c1) }
.s2 { stroke: var(--c2); fill: var(--c2) } .s3 { stroke: var(--c3); fill: var(--c3) }
.s4 { stroke: var(--c4); fill: var(--c4) } .s5 { stroke: var(--c5); fill: var(--c5) }
path.line { fill: none } .s3 .line, .s4 .line, .s5 .line { stroke-dasharray: 7 4 }
</style>
)";

std::string formatted(const char* format, double a, double b = 0, double c = 0, double d = 0) {
  char text[160];
  std::snprintf(text, sizeof text, format, a, b, c, d);
  return text;
}

std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '&')
      result += "&amp;";
    else if (c == '<')
      result += "&lt;";
    else
      result += c;
  }
  return result;
}

std::string text(const std::string& css_class, double x, double y, const std::string& content) {
  return "<text class=\"" + css_class + '"' + formatted(" x=\"%.1f\" y=\"%.1f\">", x, y) + content +
         "</text>\n";
}

/// A place on an axis that has a label: digit times ten to the power of exponent.
struct Tick {
  int digit, exponent;
  double value() const { return digit * std::pow(10.0, exponent); }
};

/// Writes the number of a tick: plainly near 1, else a power of ten.
std::string label(Tick tick) {
  if (tick.digit != 1 || (tick.exponent >= -3 && tick.exponent <= 2)) return formatted("%g", tick.value());
  return "10<tspan dy=\"-5\" font-size=\"10\">" + std::string(tick.exponent < 0 ? "−" : "") +
         std::to_string(std::abs(tick.exponent)) + "</tspan>";
}

/// Draws the point of a line: circle, square, diamond, triangle, cross, plus.
std::string point_mark(std::size_t style, double x, double y) {
  const char* const shapes[kStyles] = {"a4 4 0 1 0 8 0a4 4 0 1 0 -8 0z", "v-3.5h7v7h-7z",
                                       "l4.5 -4.5l4.5 4.5l-4.5 4.5z",    "l4.2 -7.5l4.2 7.5z",
                                       "m0 -3.5l7 7m0 -7l-7 7",          "h8m-4 -4v8"};
  const double left[kStyles] = {4, 3.5, 4.5, 4.2, 3.5, 4}, down[kStyles] = {0, 0, 0, 3.5, 0, 0};
  return formatted("<path d=\"M%.1f %.1f", x - left[style], y + down[style]) + shapes[style] + "\"/>";
}

/// A logarithmic axis, a little longer than its data, so that points and labels keep off the ends.
struct Axis {
  static constexpr double kFewDecades = 3;
  double low = HUGE_VAL, high = -HUGE_VAL;  // logarithms to base 10
  void cover(double value) {
    low = std::min(low, std::log10(value));
    high = std::max(high, std::log10(value));
  }
  /// Lengthens an axis with labels between the powers of ten to the first label at or above its data.
  void reach_label() {
    if (high < low || high - low > kFewDecades) return;
    const double decade = std::floor(high);
    for (const double digit : {1, 2, 5, 10})
      if (const double label = decade + std::log10(digit); label >= high) {
        high = label;
        return;
      }
  }
  /// Lengthens the axis by a part of itself, and a short one to at least a decade. Without data it begins
  /// at 1.
  void lengthen() {
    constexpr double kPart = 0.08;
    if (high < low) low = high = 0;
    const double length = std::max(high - low, 1.0), middle = (low + high) / 2;
    low = middle - (0.5 + kPart) * length;
    high = middle + (0.5 + kPart) * length;
  }
  double place(double value) const { return (std::log10(value) - low) / (high - low); }
  /// Returns the powers of ten, and where there are few their doubles and fives.
  std::vector<Tick> ticks() const {
    std::vector<Tick> ticks;
    for (int exponent = static_cast<int>(std::floor(low)); exponent <= high; ++exponent)
      for (const int digit : {1, 2, 5}) {
        const Tick tick{digit, exponent};
        const double at = place(tick.value());
        if (at >= 0 && at <= 1 && (digit == 1 || high - low < kFewDecades)) ticks.push_back(tick);
      }
    return ticks;
  }
};

class Drawing {
 public:
  explicit Drawing(const Picture& picture) : picture_(picture) {
    for (const Panel& panel : picture.panels)
      for (const Line& line : panel.lines)
        for (const Point& point : line.points) {
          x_.cover(point.order);
          y_.cover(point.value);
        }
    if (picture.has_one) y_.cover(1);
    x_.lengthen();
    y_.reach_label();
    y_.lengthen();
  }

  std::string svg() const {
    std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\"" +
                      formatted(" viewBox=\"0 0 %.0f %.0f\"", width(), height()) +
                      " role=\"img\" aria-label=\"" + escaped(picture_.title) + "\">\n" + kStyle;
    svg += formatted(
        "<rect x=\"1\" y=\"1\" width=\"%.0f\" height=\"%.0f\" rx=\"10\" fill=\"var(--paper)\" "
        "stroke=\"var(--grid)\"/>\n",
        width() - 2, height() - 2);
    svg += text("title", 20, 30, escaped(picture_.title));
    svg += text("", 20, 54, escaped("up: " + picture_.y_title + "; across: " + picture_.x_title));
    add_legend(svg);
    for (std::size_t k = 0; k < picture_.panels.size(); ++k) add_panel(svg, k);
    return svg + "</svg>\n";
  }

 private:
  int columns() const { return std::min<int>(kColumns, static_cast<int>(picture_.panels.size())); }
  int rows() const { return (static_cast<int>(picture_.panels.size()) + kColumns - 1) / kColumns; }
  double width() const { return kLeft + kRight + columns() * kPanelWidth + (columns() - 1) * kGapAcross; }
  double height() const { return kTop + kBottom + rows() * kPanelHeight + (rows() - 1) * kGapDown; }

  void add_legend(std::string& svg) const {
    constexpr double kLetter = 8.4, kSample = 44, kBaseline = 78;
    double x = 20;
    for (std::size_t k = 0; k < picture_.lines.size(); ++k) {
      svg += "<g class=\"s" + std::to_string(k) + "\">" +
             formatted("<path class=\"line\" d=\"M%.1f %.1fh28\"/>", x, kBaseline - 5) +
             point_mark(k, x + 14, kBaseline - 5) + "</g>\n";
      svg += text("", x + 34, kBaseline, escaped(picture_.lines[k]));
      x += kSample + kLetter * static_cast<double>(picture_.lines[k].size()) + 10;
    }
    if (!picture_.has_one) return;
    svg += formatted("<path class=\"one\" d=\"M%.1f %.1fh28\"/>\n", x, kBaseline - 5);
    svg += text("", x + 34, kBaseline, "as fast; below it the library is faster");
  }

  void add_panel(std::string& svg, std::size_t index) const {
    const int row = static_cast<int>(index) / kColumns, column = static_cast<int>(index) % kColumns;
    const double left = kLeft + column * (kPanelWidth + kGapAcross);
    const double bottom = kTop + kPanelHeight + row * (kPanelHeight + kGapDown);
    add_grid(svg, left, bottom, column == 0);
    svg += text("panel", left + 6, bottom - kPanelHeight - 6, escaped(picture_.panels[index].title));
    for (const Line& line : picture_.panels[index].lines) add_line(svg, line, left, bottom);
  }

  void add_grid(std::string& svg, double left, double bottom, bool labels) const {
    svg += formatted("<path class=\"grid\" d=\"M%.1f %.1f", left, bottom) +
           formatted("h%.0fv-%.0fh-%.0fz\"/>\n", kPanelWidth, kPanelHeight, kPanelWidth);
    for (const Tick tick : y_.ticks()) {
      const double y = bottom - kPanelHeight * y_.place(tick.value());
      const bool is_one = picture_.has_one && tick.value() == 1;
      svg += std::string("<path class=\"") + (is_one ? "one" : "grid") +
             formatted("\" d=\"M%.1f %.1fh%.0f\"/>\n", left, y, kPanelWidth);
      if (labels) svg += text("tick end", left - 7, y + 4, label(tick));
    }
    for (const Tick tick : x_.ticks()) {
      if (tick.digit != 1) continue;
      const double x = left + kPanelWidth * x_.place(tick.value());
      svg += formatted("<path class=\"grid\" d=\"M%.1f %.1fv-%.0f\"/>\n", x, bottom, kPanelHeight);
      svg += text("tick middle", x, bottom + 18, label(tick));
    }
  }

  void add_line(std::string& svg, const Line& line, double left, double bottom) const {
    std::string path, marks;
    for (const Point& point : line.points) {
      const double x = left + kPanelWidth * x_.place(point.order);
      const double y = bottom - kPanelHeight * y_.place(point.value);
      path += formatted(path.empty() ? "M%.1f %.1f" : "L%.1f %.1f", x, y);
      marks += point_mark(line.style, x, y);
    }
    if (path.empty()) return;
    svg += "<g class=\"s" + std::to_string(line.style) + "\"><path class=\"line\" d=\"" + path + "\"/>" +
           marks + "</g>\n";
  }

  const Picture& picture_;
  Axis x_, y_;
};

}  // namespace

std::string draw(const Picture& picture) { return Drawing(picture).svg(); }

}  // namespace page
