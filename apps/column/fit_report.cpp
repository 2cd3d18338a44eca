#include "apps/column/fit_report.h"

#include <cmath>

#include "apps/common/output.h"
#include "frame/empty_value.h"

namespace column {
namespace {

using apps::Page;

constexpr double kCelsiusZero = 273.15;

std::string celsius(double kelvin) {
  return kelvin == EmptyValue ? "-" : fmt::format("{:.2f}", kelvin - kCelsiusZero);
}

/// Returns the limits of the points that count, in words.
std::string limits(VapourPressureTable& table) {
  const double lowest = table.LowerRegressionLimit(), highest = table.UpperRegressionLimit();
  if (lowest == EmptyValue && highest == EmptyValue) return "no limits";
  if (highest == EmptyValue) return celsius(lowest) + " C and above";
  if (lowest == EmptyValue) return celsius(highest) + " C and below";
  return celsius(lowest) + " .. " + celsius(highest) + " C";
}

struct Point {
  double kelvin, mmhg;
};

Point point(VapourPressureTable& table, int index) {
  Point p{};
  table.GetPoint(index, p.kelvin, p.mmhg);
  return p;
}

void add_antoine(Page& page, VapourPressureTable& table) {
  const AntoineFit& fit = *table.fit();
  page.add("\nlog10 p(mmHg) = A - B/(t(C) + C)   {:>10} {:>11} {:>10}\n", "A", "B", "C");
  const auto row = [&page](const char* what, const AntoineConstants& c) {
    page.add("  {:<32} {:>10.5f} {:>11.3f} {:>10.3f}\n", what, c.a, c.b, c.c);
  };
  row("fitted", fit.constants);
  if (table.info().antoine) row("published", *table.info().antoine);
  page.add("  {} of {} points are within the limits ({})\n", table.active_points(), table.NDataPoints(),
           limits(table));
  page.add("  R2 {:.9f}, standard error of log10 p {:.2e}, reciprocal condition {:.1e}\n", table.R2(),
           fit.standard_error, fit.condition);
  page.add("  largest error {:+.3f} % at {} C, smallest {:+.4f} % at {} C\n", table.MaxError(),
           celsius(table.MaxErrorTk()), table.MinError(), celsius(table.MinErrorTk()));
}

void add_line(Page& page, VapourPressureTable& table) {
  const bool limited = table.active_points() < table.NDataPoints();
  page.add("\nlog10 p = a - b/T(K)               {:>10} {:>11}   heat of vaporisation, kJ/mol\n", "a", "b");
  const auto row = [&](const char* what, bool all) {
    const ClapeyronLine line = table.clapeyron(all);
    page.add("  {:<32} {:>10.6f} {:>11.4f}   {:.3f} +- {:.3f}\n", what, line.log10_line.a, line.log10_line.b,
             line.heat, line.heat_deviation);
  };
  if (limited) row("points within the limits", false);
  row("all points", true);
  if (table.info().line)
    page.add("  {:<32} {:>10} {:>11}\n", "published, all points", fmt::format("{}", table.info().line->a),
             fmt::format("{}", table.info().line->b));
}

void add_points(Page& page, VapourPressureTable& table) {
  const auto& published = table.info().antoine;
  page.add("\n{:>10} {:>12} {:>12} {:>9} {:>15}\n", "t/C", "p/mmHg", "fit", "error/%",
           published ? "published/%" : "");
  for (int i = 0; i < table.NDataPoints(); ++i) {
    const Point p = point(table, i);
    page.add("{:>10.2f} {:>12.5g} {:>12.5g} {:>9.3f}", p.kelvin - kCelsiusZero, p.mmhg, table.YFit(i),
             table.PctError(i));
    if (published) {
      const double p_there = std::exp(published->ln_pressure(p.kelvin - kCelsiusZero).value);
      page.add(" {:>15.3f}", 100 * (p.mmhg - p_there) / p.mmhg);
    }
    page.add("{}{}\n", table.TempInRange(p.kelvin) != 0 ? "" : "  outside the limits",
             table.filled(i) ? "  filled in" : "");
  }
}

}  // namespace

std::string fit_report(VapourPressureTable& table) {
  const ComponentInfo& info = table.info();
  Page page;
  page.add("{}{}\n", info.name, info.formula.empty() ? "" : ", " + info.formula);
  if (!info.source.empty()) page.add("{}\n", info.source);
  add_antoine(page, table);
  add_line(page, table);
  add_points(page, table);
  return page.take();
}

}  // namespace column
