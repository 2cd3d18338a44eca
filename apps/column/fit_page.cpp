// Draws measured vapour pressures and their fits.

#include "apps/column/fit_page.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "frame/empty_value.h"

namespace column {
namespace {

using report::Plot;
using report::Series;
using report::Table;

constexpr double kCelsiusZero = 273.15;
constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();
constexpr int kFittedColour = 0, kPublishedColour = 1, kOutsideColour = 5;

/// One point of a table, in the units of the page.
struct Point {
  double celsius, mmhg, fitted;
  double error, published_error;  // per cent; NaN if unknown
  bool is_active, is_filled;
};

double known(double value) { return value == EmptyValue ? kUnknown : value; }

/// Returns a number with so many decimals, or "-" if there is none.
std::string text(double value, int decimals) {
  if (!std::isfinite(value)) return "-";
  std::string rounded = fmt::format("{:.{}f}", value, decimals);
  const bool is_zero = rounded.find_first_not_of("-0.") == rounded.npos;
  return is_zero && rounded.front() == '-' ? rounded.substr(1) : rounded;
}

/// Returns the pressure by published constants; NaN below their pole.
double published_pressure(const AntoineConstants& constants, double celsius) {
  return celsius + constants.c > 0 ? std::exp(constants.ln_pressure(celsius).value) : kUnknown;
}

std::vector<Point> points_of(VapourPressureTable& table) {
  std::vector<Point> points;
  for (int i = 0; i < table.NDataPoints(); ++i) {
    double kelvin = 0, mmhg = 0;
    table.GetPoint(i, kelvin, mmhg);
    const double celsius = kelvin - kCelsiusZero;
    const auto& constants = table.info().antoine;
    const double there = constants ? published_pressure(*constants, celsius) : kUnknown;
    points.push_back({celsius, mmhg, known(table.YFit(i)), known(table.PctError(i)),
                      100 * (mmhg - there) / mmhg, table.TempInRange(kelvin) != 0, table.filled(i)});
  }
  return points;
}

/// Marks the limits of the fit, and shades what is outside of them.
void add_limits(Plot& plot, VapourPressureTable& table) {
  const double lower = known(table.LowerRegressionLimit()), upper = known(table.UpperRegressionLimit());
  if (std::isfinite(lower)) {
    plot.limits.push_back({"fitted from here on", lower - kCelsiusZero, true});
    plot.bands.push_back({kUnknown, lower - kCelsiusZero});
  }
  if (std::isfinite(upper)) {
    plot.limits.push_back({"fitted up to here", upper - kCelsiusZero, true});
    plot.bands.push_back({upper - kCelsiusZero, kUnknown});
  }
}

/// Adds the points for which `chosen` holds, if there are any.
template <class Chosen>
void add_points(Plot& plot, const std::string& name, int colour, const std::vector<Point>& points,
                Chosen chosen) {
  Series series{name, {}, {}, false};
  series.colour = colour;
  for (const Point& p : points) {
    if (!chosen(p)) continue;
    series.x.push_back(p.celsius);
    series.y.push_back(p.mmhg);
  }
  if (!series.x.empty()) plot.series.push_back(std::move(series));
}

/// Returns a curve over the temperatures of the points, without what lies far above or below all of them: a
/// fit may have its pole there.
template <class Pressure>
Series curve(const std::string& name, const std::vector<Point>& points, Pressure pressure) {
  constexpr int kPieces = 100;
  constexpr double kFar = 10;
  Series series{name, {}, {}, true, false};
  const auto by_pressure = [](const Point& a, const Point& b) { return a.mmhg < b.mmhg; };
  const auto [low, high] = std::minmax_element(points.begin(), points.end(), by_pressure);
  const double from = points.front().celsius, to = points.back().celsius;
  for (int i = 0; i <= kPieces; ++i) {
    const double t = from + (to - from) * i / kPieces, p = pressure(t);
    const bool near = p >= low->mmhg / kFar && p <= high->mmhg * kFar;
    series.x.push_back(t);
    series.y.push_back(near ? p : kUnknown);
  }
  return series;
}

Plot pressure_plot(VapourPressureTable& table, const std::vector<Point>& points) {
  Plot plot;
  plot.title = "Vapour pressure";
  plot.x.title = "temperature, °C";
  plot.y.title = "vapour pressure, mmHg";
  plot.y.scale = report::Scale::kLog;
  add_limits(plot, table);
  plot.series.push_back(
      curve("fitted curve", points, [&](double t) { return table.Func(t + kCelsiusZero); }));
  if (const auto& constants = table.info().antoine) {
    plot.series.push_back(
        curve("published constants", points, [&](double t) { return published_pressure(*constants, t); }));
    plot.series.back().dashed = true;
    plot.series.back().colour = kPublishedColour;
  }
  add_points(plot, "measured", kFittedColour, points,
             [](const Point& p) { return p.is_active && !p.is_filled; });
  add_points(plot, "outside the limits", kOutsideColour, points, [](const Point& p) { return !p.is_active; });
  add_points(plot, "filled in", 2, points, [](const Point& p) { return p.is_active && p.is_filled; });
  return plot;
}

/// Draws the errors of the points that were fitted. Those of the others may be a hundred times larger.
Plot error_plot(VapourPressureTable& table, const std::vector<Point>& points) {
  Plot plot;
  plot.title = "Error of the points";
  plot.x.title = "temperature, °C";
  plot.y.title = "measured − calculated, % of measured";
  plot.limits.push_back({"", 0.0});
  Series fitted{"fitted curve", {}, {}}, published{"published constants", {}, {}};
  published.dashed = true;
  for (const Point& p : points) {
    if (!p.is_active) continue;
    fitted.x.push_back(p.celsius);
    fitted.y.push_back(p.error);
    published.x.push_back(p.celsius);
    published.y.push_back(p.published_error);
  }
  if (fitted.x.size() < points.size())
    plot.note = "Points outside the limits are left out; the table has their errors.";
  plot.series = {fitted};
  if (table.info().antoine) plot.series.push_back(published);
  return plot;
}

Table coefficient_table(VapourPressureTable& table) {
  Table out{"log₁₀ p = A − B/(t + C), p in mmHg, t in °C", {{"constants", true}, "A", "B", "C"}, {}};
  const auto add = [&out](const char* what, const AntoineConstants& c) {
    out.rows.push_back(
        {what, fmt::format("{:.5f}", c.a), fmt::format("{:.3f}", c.b), fmt::format("{:.3f}", c.c)});
  };
  add("fitted", table.fit()->constants);
  if (table.info().antoine) add("published", *table.info().antoine);
  return out;
}

Table line_table(VapourPressureTable& table) {
  Table out{
      "log₁₀ p = a − b/T, T in K", {{"line through", true}, "a", "b", "heat of vaporisation, kJ/mol"}, {}};
  const auto add = [&](const char* what, bool all) {
    const ClapeyronLine line = table.clapeyron(all);
    const std::string deviation =
        std::isfinite(line.heat_deviation) ? fmt::format(" ± {:.3f}", line.heat_deviation) : "";
    out.rows.push_back({what, fmt::format("{:.6f}", line.log10_line.a),
                        fmt::format("{:.4f}", line.log10_line.b),
                        fmt::format("{:.3f}{}", line.heat, deviation)});
  };
  if (table.active_points() < table.NDataPoints()) add("points within the limits", false);
  add("all points", true);
  if (const auto& line = table.info().line)
    out.rows.push_back({"published, all points", fmt::format("{}", line->a), fmt::format("{}", line->b), ""});
  return out;
}

Table point_table(VapourPressureTable& table, const std::vector<Point>& points) {
  const bool has_published = table.info().antoine.has_value();
  Table out{"Points", {"t, °C", "p, mmHg", "fit, mmHg", "error, %"}, {}};
  if (has_published) out.columns.emplace_back("by published constants, %");
  out.columns.emplace_back("", true);
  for (const Point& p : points) {
    std::vector<report::Cell> row{fmt::format("{:.2f}", p.celsius), fmt::format("{:.5g}", p.mmhg),
                                  fmt::format("{:.5g}", p.fitted), text(p.error, 3)};
    if (has_published) row.emplace_back(text(p.published_error, 3));
    std::string remark = p.is_active ? "" : "outside the limits";
    if (p.is_filled) remark += remark.empty() ? "filled in" : ", filled in";
    row.emplace_back(remark);
    out.rows.push_back(std::move(row));
  }
  return out;
}

/// Returns the largest error of a fitted point, per cent.
double largest_error(VapourPressureTable& table) { return std::fabs(known(table.MaxError())); }

void add_component(report::Page& page, VapourPressureTable& table) {
  const ComponentInfo& info = table.info();
  const std::vector<Point> points = points_of(table);
  page.heading(info.formula.empty() ? info.name : info.name + ", " + info.formula);
  if (!info.source.empty()) page.paragraph(info.source);
  const double deviation = table.fit()->standard_error;
  page.facts(
      {{"points fitted", fmt::format("{} of {}", table.active_points(), table.NDataPoints())},
       {"largest error", text(largest_error(table), 3) + " %"},
       {"standard error of log₁₀ p", std::isfinite(deviation) ? fmt::format("{:.2e}", deviation) : "-"},
       {"1 − R²", fmt::format("{:.1e}", 1 - table.R2())}});
  page.plots({pressure_plot(table, points), error_plot(table, points)});
  page.tables({coefficient_table(table), line_table(table)});
  page.table(point_table(table, points));
}

std::string title_of(const Tables& tables) {
  constexpr std::size_t kMostNames = 6;
  std::string names;
  for (std::size_t i = 0; i < std::min(tables.size(), kMostNames); ++i)
    names += (i == 0 ? "" : ", ") + tables[i]->info().name;
  return "Vapour pressure of " + names + (tables.size() > kMostNames ? ", ..." : "");
}

}  // namespace

report::Page fit_page(const Tables& tables) {
  report::Page page(title_of(tables), "corvidnum-column fit");
  for (const auto& table : tables) add_component(page, *table);
  return page;
}

report::Entry fit_entry(const Tables& tables, double seconds) {
  int points = 0;
  double largest = 0;
  for (const auto& table : tables) {
    points += table->active_points();
    largest = std::max(largest, largest_error(*table));
  }
  report::Entry entry;
  entry.what = title_of(tables);
  entry.size = fmt::format("{} points", points);
  entry.seconds = seconds;
  entry.error = fmt::format("fit {:.2g} %", largest);
  return entry;
}

std::string fit_page_name(const std::vector<std::string>& paths) {
  const std::string others = paths.size() > 1 ? fmt::format("-and-{}-more", paths.size() - 1) : "";
  return report::page_name("fit-", paths.front(), others);
}

}  // namespace column
