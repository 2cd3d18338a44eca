// Draws plots. All text has one size and the margins are made for the widest labels, by an estimate of the
// width of texts that is on the safe side for the fonts of common systems.

#include "apps/report/plot.h"

#include <fmt/format.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <iterator>
#include <optional>
#include <utility>

#include "apps/report/page.h"

namespace report {
namespace {

constexpr double kFont = 13;  // as in the style sheet of the page
constexpr double kLineHeight = 17;
constexpr double kDescent = 3;             // of letters below the baseline
constexpr double kGap = 6;                 // between a tick's label and the frame
constexpr double kTop = kLineHeight + 10;  // the title of the y axis stands above the frame
constexpr double kBottom = 2 * kLineHeight + 10;
constexpr std::size_t kMostPoints = 1500;  // of a series that is drawn point by point
constexpr double kDotsApart = 6;           // pixels, at least; closer ones would hide the line

struct Size {
  double width, height;
};

Size size_of(const Plot& plot, bool for_phone) {
  if (for_phone) return {360, plot.tall ? 470.0 : 310.0};
  return {plot.width == Width::kFull ? 1088.0 : 530.0, 380};
}

struct Point {
  double x, y;
};

struct Box {
  Point upper_left, lower_right;
};

bool lies_within(Point p, const Box& box) {
  return p.x > box.upper_left.x && p.x < box.lower_right.x && p.y > box.upper_left.y &&
         p.y < box.lower_right.y;
}

bool overlap(const Box& a, const Box& b) {
  return a.upper_left.x < b.lower_right.x && b.upper_left.x < a.lower_right.x &&
         a.upper_left.y < b.lower_right.y && b.upper_left.y < a.lower_right.y;
}

void append_point(std::string& path, char command, Point p) {
  fmt::format_to(std::back_inserter(path), "{}{:.1f} {:.1f}", command, p.x, p.y);
}

/// Returns the path of a mark about a point: circle, square, diamond, triangle, in turn.
std::string mark_path(int shape, Point p) {
  const double x = p.x, y = p.y;
  switch (shape % 4) {
    case 0:
      return fmt::format("M{:.1f} {:.1f}a3 3 0 1 0 6 0a3 3 0 1 0 -6 0z", x - 3, y);
    case 1:
      return fmt::format("M{:.1f} {:.1f}h5.4v5.4h-5.4z", x - 2.7, y - 2.7);
    case 2:
      return fmt::format("M{:.1f} {:.1f}l3.9 3.9l-3.9 3.9l-3.9 -3.9z", x, y - 3.9);
    default:
      return fmt::format("M{:.1f} {:.1f}l3.7 6.2h-7.4z", x, y - 3.7);
  }
}

std::string style_classes(const Plot& plot, std::size_t index) {
  const Series& series = plot.series[index];
  const int colour = series.colour >= 0 ? series.colour : static_cast<int>(index);
  const bool dashed = series.dashed || colour >= kColours;
  return fmt::format("s{}{}", colour % kColours, dashed ? " dashed" : "");
}

std::vector<double> all_values(const Plot& plot, bool of_x) {
  std::vector<double> values;
  for (const Series& s : plot.series) {
    const std::vector<double>& part = of_x ? s.x : s.y;
    values.insert(values.end(), part.begin(), part.end());
  }
  for (const Limit& limit : plot.limits)
    if (limit.upright == of_x) values.push_back(limit.at);
  return values;
}

/// One drawing of a plot, in one size.
class Drawing {
 public:
  Drawing(const Plot& plot, Size size)
      : plot_(plot), size_(size), x_(plot.x, all_values(plot, true)), y_(plot.y, all_values(plot, false)) {
    lay_out();
  }
  std::string svg(const std::string& id, const char* css_class) const;

 private:
  void lay_out();
  std::optional<Point> point(double x, double y) const;
  double column(double x) const { return left_ + (right_ - left_) * x_.place(x); }
  double row(double y) const {
    const double place = plot_.y.reversed ? 1 - y_.place(y) : y_.place(y);
    return bottom_ - (bottom_ - top_) * place;
  }
  std::string description() const;
  void add_bands(std::string& svg) const;
  void add_axes(std::string& svg) const;
  void add_limits(std::string& svg) const;
  int points_within(const Box& box) const;
  Box name_box(const std::string& name, double x, double baseline, bool ends) const;
  void add_name(std::string& svg, const std::string& name, double x, double baseline, bool ends) const;
  void add_upright_names(std::string& svg, std::vector<Box>& taken) const;
  void add_level_names(std::string& svg, std::vector<Box>& taken) const;
  void add_series(std::string& svg, std::size_t index) const;
  std::string line_path(const Series& series) const;
  void add_points(std::string& svg, const Series& series, int shape) const;

  const Plot& plot_;
  const Size size_;
  const FittedAxis x_, y_;
  std::vector<Tick> x_ticks_, y_ticks_;
  double left_ = 0, right_ = 0, top_ = 0, bottom_ = 0;  // of the frame
};

double widest(const std::vector<Tick>& ticks) {
  double width = 0;
  for (const Tick& tick : ticks) width = std::max(width, kFont * text_width(tick.label));
  return width;
}

/// Chooses the ticks, and makes the margins fit their labels.
void Drawing::lay_out() {
  constexpr double kPixelsPerTick = 45, kApart = 14;
  constexpr int kMostTicks = 12;
  top_ = kTop;
  bottom_ = size_.height - kBottom;
  y_ticks_ = y_.ticks(static_cast<int>((bottom_ - top_) / kPixelsPerTick));
  left_ = widest(y_ticks_) + kGap + 2;
  for (int most = kMostTicks; most >= 2; --most) {
    x_ticks_ = x_.ticks(most);
    const double half = widest(x_ticks_) / 2;
    left_ = std::max(left_, half + 2);
    right_ = size_.width - std::max(half + 2, 10.0);
    bool fits = true;
    for (std::size_t i = 1; i < x_ticks_.size(); ++i)
      fits = fits && column(x_ticks_[i].at) - column(x_ticks_[i - 1].at) >= 2 * half + kApart;
    if (fits) break;
  }
}

std::optional<Point> Drawing::point(double x, double y) const {
  if (!x_.has_place(x) || !y_.has_place(y)) return std::nullopt;
  return Point{column(x), row(y)};
}

std::string Drawing::description() const {
  std::string text =
      fmt::format("{} from {:.4g} to {:.4g} across, {} from {:.4g} to {:.4g} {}.", plot_.x.title, x_.low(),
                  x_.high(), plot_.y.title, y_.low(), y_.high(), plot_.y.reversed ? "down" : "up");
  for (const Series& s : plot_.series)
    if (!s.name.empty()) text += fmt::format(" {}: {} points.", s.name, s.x.size());
  for (const Limit& limit : plot_.limits)
    if (!limit.name.empty()) text += fmt::format(" {} at {:.4g}.", limit.name, limit.at);
  return escaped(text);
}

void Drawing::add_bands(std::string& svg) const {
  for (const Band& band : plot_.bands) {
    const auto bounded = [this](double x, double without) {
      return x_.has_place(x) ? std::clamp(column(x), left_, right_) : without;
    };
    const double from = bounded(band.from, left_), to = bounded(band.to, right_);
    if (to > from)
      svg +=
          fmt::format("<rect class=\"band\" x=\"{:.1f}\" y=\"{:.1f}\" width=\"{:.1f}\" height=\"{:.1f}\"/>\n",
                      from, top_, to - from, bottom_ - top_);
  }
}

void Drawing::add_axes(std::string& svg) const {
  std::string grid;
  for (const Tick& t : x_ticks_)
    fmt::format_to(std::back_inserter(grid), "M{:.1f} {:.1f}V{:.1f}", column(t.at), top_, bottom_);
  for (const Tick& t : y_ticks_)
    fmt::format_to(std::back_inserter(grid), "M{:.1f} {:.1f}H{:.1f}", left_, row(t.at), right_);
  svg += fmt::format("<path class=\"grid\" d=\"{}\"/>\n", grid);
  svg += fmt::format("<path class=\"axis\" d=\"M{0:.1f} {1:.1f}V{2:.1f}H{3:.1f}\"/>\n", left_, top_, bottom_,
                     right_);
  constexpr double kToBaseline = 0.35 * kFont;
  for (const Tick& t : y_ticks_)
    svg += fmt::format("<text class=\"tick end\" x=\"{:.1f}\" y=\"{:.1f}\">{}</text>\n", left_ - kGap,
                       row(t.at) + kToBaseline, escaped(t.label));
  for (const Tick& t : x_ticks_)
    svg += fmt::format("<text class=\"tick middle\" x=\"{:.1f}\" y=\"{:.1f}\">{}</text>\n", column(t.at),
                       bottom_ + kLineHeight, escaped(t.label));
  svg += fmt::format("<text x=\"1\" y=\"{:.1f}\">{}</text>\n", kFont, escaped(plot_.y.title));
  svg += fmt::format("<text class=\"end\" x=\"{:.1f}\" y=\"{:.1f}\">{}</text>\n", right_,
                     size_.height - kFont / 2, escaped(plot_.x.title));
}

void Drawing::add_limits(std::string& svg) const {
  std::string lines;
  for (const Limit& limit : plot_.limits) {
    if (limit.upright && x_.has_place(limit.at))
      fmt::format_to(std::back_inserter(lines), "M{:.1f} {:.1f}V{:.1f}", column(limit.at), top_, bottom_);
    if (!limit.upright && y_.has_place(limit.at))
      fmt::format_to(std::back_inserter(lines), "M{:.1f} {:.1f}H{:.1f}", left_, row(limit.at), right_);
  }
  if (!lines.empty()) svg += fmt::format("<path class=\"limit\" d=\"{}\"/>\n", lines);
}

/// Returns how many drawn points lie within a box. Lines are taken as ten points for each piece.
int Drawing::points_within(const Box& box) const {
  constexpr int kParts = 10;
  int within = 0;
  for (const Series& s : plot_.series) {
    std::optional<Point> before;
    for (std::size_t i = 0; i < s.x.size(); ++i) {
      const std::optional<Point> p = point(s.x[i], s.y[i]);
      for (int k = s.line && before && p ? 1 : kParts; p && k <= kParts; ++k) {
        const double part = double(k) / kParts;
        const Point q =
            k == kParts ? *p
                        : Point{before->x + part * (p->x - before->x), before->y + part * (p->y - before->y)};
        within += lies_within(q, box);
      }
      before = p;
    }
  }
  return within;
}

/// Returns about what the name of a line covers.
/// @param ends  x is where the name ends; otherwise where it begins
Box Drawing::name_box(const std::string& name, double x, double baseline, bool ends) const {
  const double width = kFont * text_width(name);
  const double left = ends ? x - width : x;
  return {{left, baseline - kFont}, {left + width, baseline + kDescent}};
}

void Drawing::add_name(std::string& svg, const std::string& name, double x, double baseline,
                       bool ends) const {
  svg += fmt::format("<text class=\"name{}\" x=\"{:.1f}\" y=\"{:.1f}\">{}</text>\n", ends ? " end" : "", x,
                     baseline, escaped(name));
}

/// Writes the names of upright lines in their upper part, each in a row of its own.
void Drawing::add_upright_names(std::string& svg, std::vector<Box>& taken) const {
  double y = top_;
  for (const Limit& limit : plot_.limits) {
    if (!limit.upright || !x_.has_place(limit.at) || limit.name.empty()) continue;
    y += kLineHeight;
    const double x = column(limit.at);
    const bool ends = x + 2 * kGap + kFont * text_width(limit.name) > size_.width;
    add_name(svg, limit.name, ends ? x - kGap : x + kGap, y, ends);
    taken.push_back(name_box(limit.name, ends ? x - kGap : x + kGap, y, ends));
  }
}

/// Writes the names of level lines above them, at the end where fewer points are in the way. A name that has
/// no room there moves down, but not onto its line; if there is no room at all it is left out, and only the
/// description has it.
void Drawing::add_level_names(std::string& svg, std::vector<Box>& taken) const {
  constexpr double kAboveLine = 4, kDown = 2;
  for (const Limit& limit : plot_.limits) {
    if (limit.upright || !y_.has_place(limit.at) || limit.name.empty()) continue;
    const auto obstacles = [&](const Box& box) {
      const auto meets = [&box](const Box& other) { return overlap(box, other); };
      return std::any_of(taken.begin(), taken.end(), meets) ? INT_MAX : points_within(box);
    };
    const double line = row(limit.at);
    for (double y = std::max(line - kAboveLine, top_ + kFont); y < bottom_; y += kDown) {
      if (y > line - kAboveLine && y - kFont < line) continue;
      const Box right = name_box(limit.name, right_ - 3, y, true),
                left = name_box(limit.name, left_ + 3, y, false);
      const int at_right = obstacles(right), at_left = obstacles(left);
      if (std::min(at_right, at_left) == INT_MAX) continue;
      const bool ends = at_right <= at_left;
      add_name(svg, limit.name, ends ? right_ - 3 : left_ + 3, y, ends);
      taken.push_back(ends ? right : left);
      break;
    }
  }
}

/// Returns the line through the points. Of many points it keeps, for each pixel across, the first, the last
/// and the two extremes, which look the same.
std::string Drawing::line_path(const Series& series) const {
  std::string path;
  std::vector<Point> pixel;  // successive points of one pixel across
  bool begins = true;        // the next point begins a piece of the line
  const bool all = series.x.size() <= kMostPoints;
  const auto flush = [&] {
    if (pixel.empty()) return;
    const auto higher = [](Point a, Point b) { return a.y < b.y; };
    const auto [low, high] = std::minmax_element(pixel.begin(), pixel.end(), higher);
    std::vector<std::vector<Point>::iterator> kept{pixel.begin(), low, high, std::prev(pixel.end())};
    std::sort(kept.begin(), kept.end());
    kept.erase(std::unique(kept.begin(), kept.end()), kept.end());
    for (const auto p : kept) {
      append_point(path, begins ? 'M' : 'L', *p);
      begins = false;
    }
    pixel.clear();
  };
  for (std::size_t i = 0; i < series.x.size(); ++i) {
    const std::optional<Point> p = point(series.x[i], series.y[i]);
    if (!p || all || (!pixel.empty() && std::floor(pixel.front().x) != std::floor(p->x))) flush();
    if (p) pixel.push_back(*p);
    if (!p) begins = true;
  }
  flush();
  return path;
}

/// Draws marks about the points, which tell their values when pointed at, and rings about the marked ones.
void Drawing::add_points(std::string& svg, const Series& series, int shape) const {
  const double room = std::max(right_ - left_, bottom_ - top_);
  const bool has_room = kDotsApart * static_cast<double>(series.x.size()) <= room;
  if (series.points && (has_room || !series.line)) {
    for (std::size_t i = 0; i < series.x.size(); ++i)
      if (const auto p = point(series.x[i], series.y[i]))
        svg += fmt::format("<path class=\"dot\" d=\"{}\"><title>{:.6g}, {:.6g}</title></path>\n",
                           mark_path(shape, *p), series.x[i], series.y[i]);
  }
  for (const std::size_t i : series.marked)
    if (const auto p = i < series.x.size() ? point(series.x[i], series.y[i]) : std::nullopt)
      svg += fmt::format("<circle class=\"ring\" cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"5.5\"/>\n", p->x, p->y);
}

void Drawing::add_series(std::string& svg, std::size_t index) const {
  const Series& series = plot_.series[index];
  svg += fmt::format("<g class=\"{}\">\n", style_classes(plot_, index));
  const std::string path = series.line ? line_path(series) : "";
  if (!path.empty()) svg += fmt::format("<path class=\"line\" d=\"{}\"/>\n", path);
  add_points(svg, series, static_cast<int>(index));
  svg += "</g>\n";
}

std::string Drawing::svg(const std::string& id, const char* css_class) const {
  std::string svg = fmt::format(
      "<svg class=\"plot{0}\" role=\"img\" aria-labelledby=\"{1}t {1}d\" viewBox=\"0 0 {2} {3}\">\n"
      "<title id=\"{1}t\">{4}</title>\n<desc id=\"{1}d\">{5}</desc>\n",
      css_class, id, size_.width, size_.height, escaped(plot_.title), description());
  add_bands(svg);
  add_axes(svg);
  add_limits(svg);
  for (std::size_t i = 0; i < plot_.series.size(); ++i) add_series(svg, i);
  std::vector<Box> taken;  // by names
  add_upright_names(svg, taken);
  add_level_names(svg, taken);
  return svg + "</svg>\n";
}

/// Returns a small sample of a series for the legend.
std::string legend_sample(const Series& series, int shape) {
  constexpr Point kMiddle{14, 7};
  std::string sample;
  if (series.line) sample += "<path class=\"line\" d=\"M1 7H27\"/>";
  if (series.points) sample += fmt::format("<path class=\"dot\" d=\"{}\"/>", mark_path(shape, kMiddle));
  return sample;
}

/// Returns the legend as a list, which the browser breaks into lines. One series needs none.
std::string legend(const Plot& plot) {
  std::string items;
  const auto add = [&items](const std::string& classes, const std::string& sample, const std::string& name) {
    items += fmt::format(
        "<li class=\"{}\"><svg class=\"sample\" viewBox=\"0 0 28 14\" aria-hidden=\"true\">{}</svg>{}</li>\n",
        classes, sample, escaped(name));
  };
  for (std::size_t i = 0; i < plot.series.size(); ++i)
    if (!plot.series[i].name.empty())
      add(style_classes(plot, i), legend_sample(plot.series[i], static_cast<int>(i)), plot.series[i].name);
  const bool has_marks =
      std::any_of(plot.series.begin(), plot.series.end(), [](const Series& s) { return !s.marked.empty(); });
  if (has_marks && !plot.mark_meaning.empty())
    add("plain", "<circle class=\"ring\" cx=\"14\" cy=\"7\" r=\"5.5\"/>", plot.mark_meaning);
  return items.empty() ? "" : "<ul class=\"legend\">\n" + items + "</ul>\n";
}

}  // namespace

Figure draw(const Plot& plot, const std::string& id) {
  Figure figure{plot.title, legend(plot), plot.note, plot.width};
  const bool twice = plot.width != Width::kThird;
  if (twice) figure.html += Drawing(plot, size_of(plot, false)).svg(id + "w", " on-wide");
  figure.html += Drawing(plot, size_of(plot, true)).svg(id, twice ? " on-narrow" : "");
  return figure;
}

}  // namespace report
