// Sets figures that a case quotes from its source beside the program's own, with the decimals of the source:
// the difference is told in units of the last digit.

#include "apps/column/published.h"

#include <fmt/format.h>

#include <cmath>
#include <utility>

#include "apps/common/number.h"

namespace column {
namespace {

using What = Published::What;

std::string label(const ColumnCase& c, const Published& p) {
  switch (p.what) {
    case What::kLiquidFraction:
      return fmt::format("x of {} on stage {}", c.components[p.component], p.stage + 1);
    case What::kDistillateRate:
      return fmt::format("{} in the distillate", c.components[p.component]);
    case What::kTemperature:
      return fmt::format("{} of stage {}", c.model->scale().shown_as, p.stage + 1);
    case What::kPasses:
      return fmt::format("passes to {:g} {}", p.tolerance, c.model->scale().unit);
    case What::kMinimumStages:
      return "minimum stages";
    case What::kMinimumReflux:
      return fmt::format("minimum reflux (root to {} dec.)", p.root_decimals);
  }
  return {};
}

/// Returns the minimum reflux ratio with the Underwood root rounded to `decimals`, as in a calculation by
/// hand.
double reflux_at_rounded_root(const ColumnCase& c, const ShortcutResult& limits, int decimals) {
  const double unit = std::pow(10.0, -decimals);
  const double root = unit * std::round(limits.underwood_root / unit);
  return underwood_reflux(*c.shortcut, total_feed(c), root);
}

std::optional<double> own_figure(const ColumnCase& c, const Solution& s,
                                 const std::optional<ShortcutResult>& limits, const Published& p) {
  switch (p.what) {
    case What::kLiquidFraction:
      return s.profile.liquid[p.component][p.stage];
    case What::kDistillateRate: {
      const double k = c.condenser == Condenser::kPartial ? s.profile.k[p.component][0] : 1.0;
      return c.distillate * k * s.profile.liquid[p.component][0];
    }
    case What::kTemperature:
      return c.model->scale().shown(s.profile.temperature[p.stage]);
    case What::kPasses:
      if (s.accelerated || s.outcome != Outcome::kOk) return std::nullopt;
      if (const int passes = s.passes_to(p.tolerance); passes > 0) return passes;
      return std::nullopt;
    case What::kMinimumStages:
      return limits ? std::optional(limits->minimum_stages) : std::nullopt;
    case What::kMinimumReflux:
      return limits ? std::optional(reflux_at_rounded_root(c, *limits, p.root_decimals)) : std::nullopt;
  }
  return std::nullopt;
}

double as_printed(const std::string& figure) {
  double value = std::nan("");
  apps::read_number(figure, value);
  return value;
}

Comparison compare(std::string what, const Published& p, double own) {
  Comparison row{std::move(what), fmt::format("{:.{}f}", p.value, p.decimals),
                 fmt::format("{:.{}f}", own, p.decimals), 0};
  row.units_apart =
      std::round(std::fabs(as_printed(row.published) - as_printed(row.own)) * std::pow(10.0, p.decimals));
  return row;
}

}  // namespace

const char* Comparison::verdict() const {
  if (differs()) return "differs";
  return units_apart == 0 ? "agrees" : "1 in the last digit";
}

std::vector<Comparison> compare_with_published(const ColumnCase& c, const Solution& solution,
                                               const std::optional<ShortcutResult>& limits) {
  std::vector<Comparison> rows;
  for (const Published& p : c.published) {
    const std::optional<double> own = own_figure(c, solution, limits, p);
    if (own) rows.push_back(compare(label(c, p), p, *own));
  }
  return rows;
}

apps::PublishedCount count(const std::vector<Comparison>& rows) {
  apps::PublishedCount counted;
  for (const Comparison& row : rows) counted.add(row.differs());
  return counted;
}

}  // namespace column
