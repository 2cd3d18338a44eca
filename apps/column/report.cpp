#include "apps/column/report.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "apps/column/products.h"
#include "apps/common/output.h"
#include "apps/common/rate_unit.h"

namespace column {
namespace {

using apps::Page;

double largest(const std::vector<double>& values) { return *std::max_element(values.begin(), values.end()); }

void add_heading(Page& page, const ColumnCase& c, const Solution& s) {
  page.add("{}\n", c.title);
  if (!c.source.empty()) page.add("{}\n", c.source);
  page.add("{}", apps::rate_unit_line(c.rate_unit));
  page.add("\nconverged in {} passes, {:.2f} ms; last change {:.1e} {} (tolerance {:g})\n", s.passes(),
           1e3 * s.seconds, s.changes.back(), c.model->scale().unit, c.tolerance);
  if (s.accelerated)
    page.add("accelerated: {} steps taken, {} refused, {} taken back; {} returns to the best outcome\n",
             s.counts.steps_taken, s.counts.steps_refused, s.counts.steps_taken_back, s.counts.returns);
}

void add_stages(Page& page, const ColumnCase& c, const InternalFlows& flows, const Profile& profile) {
  const TemperatureScale scale = c.model->scale();
  page.add("\n{:>5} {:>10} {:>10} {:>10}  x:", "stage", scale.shown_as, "liquid", "vapour");
  for (const std::string& name : c.components) page.add(" {:>12}", name);
  page.add("\n");
  for (int j = 0; j < c.stages; ++j) {
    page.add("{:>5} {:>10.4f} {:>10.4f} {:>10.4f}    ", j + 1, scale.shown(profile.temperature[j]),
             flows.liquid[j], flows.vapour[j]);
    for (const std::vector<double>& x : profile.liquid) page.add(" {:>12.6g}", x[j]);
    page.add("\n");
  }
}

void add_products(Page& page, const ColumnCase& c, const InternalFlows& flows, const Profile& profile) {
  page.add("\n{:<20} {:>12}", "products", "rate");
  for (const std::string& name : c.components) page.add(" {:>12}", name);
  page.add("\n");
  for (const Product& product : products(c, flows, profile)) {
    page.add("{:<20} {:>12.5f}", product.name, product.rate);
    for (const double rate : product.by_component) page.add(" {:>12.5f}", rate);
    page.add("\n{:<20} {:>12}", "  mole fraction", "");
    for (std::size_t i = 0; i < c.components.size(); ++i)
      page.add(" {:>12.6f}", product.fraction(static_cast<int>(i)));
    page.add("\n");
  }
}

/// Lists the stages whose temperature is outside the measured range of a component, if the model knows one.
void add_extrapolation(Page& page, const ColumnCase& c, const Profile& profile) {
  const char* title = "\nK-values extrapolated beyond the measured points\n";
  for (int i = 0; i < c.model->components(); ++i) {
    const auto range = c.model->measured_range(i);
    if (!range) continue;
    const auto outside = std::count_if(profile.temperature.begin(), profile.temperature.end(),
                                       [&](double t) { return t < range->lowest || t > range->highest; });
    if (outside == 0) continue;
    page.add("{}  {:<28} on {} of {} stages (measured {:.1f} .. {:.1f} C)\n", title, c.components[i], outside,
             c.stages, c.model->scale().shown(range->lowest), c.model->scale().shown(range->highest));
    title = "";
  }
}

void add_closure(Page& page, const ColumnCase& c, const Closure& closed) {
  page.add("\nclosure of the balances, relative\n");
  for (std::size_t i = 0; i < c.components.size(); ++i)
    page.add("  {:<28} {:.1e}\n", c.components[i], closed.component[i]);
  page.add("  {:<28} {:.1e}\n", "overall", closed.overall);
  page.add("  {:<28} {:.1e}\n", "stages, all components", largest(closed.stage));
  page.add("  {:<28} {:.1e}\n", "stages, each component", largest(closed.stage_component));
  page.add("  {:<28} {:.1e}\n", "largest of all", closed.worst());
  page.add("  fractions add up to one within {:.1e} (liquid), {:.1e} (vapour)\n", closed.liquid_sum,
           closed.vapour_sum);
}

void add_shortcut(Page& page, const ShortcutResult& limits) {
  page.add("\nshort cut: minimum stages {:.4f}, minimum reflux ratio {:.4f} (Underwood root {:.5f})\n",
           limits.minimum_stages, limits.minimum_reflux, limits.underwood_root);
}

std::string difference(const MethodComparison& comparison, const MethodComparison::Run& run) {
  if (&run == comparison.failed()) return "not converged";
  return &run == &comparison.runs.front() ? "" : fmt::format("{:.1e}", run.apart);
}

}  // namespace

std::string report(const ColumnCase& c, const InternalFlows& flows, const Solution& solution,
                   const Closure& closed) {
  const std::optional<ShortcutResult> limits = shortcut(c);
  Page page;
  add_heading(page, c, solution);
  add_stages(page, c, flows, solution.profile);
  add_products(page, c, flows, solution.profile);
  add_extrapolation(page, c, solution.profile);
  add_closure(page, c, closed);
  if (limits) add_shortcut(page, *limits);
  return page.take();
}

std::string report(const std::vector<Comparison>& published) {
  if (published.empty()) return "";
  Page page;
  page.add("\n{:<34} {:>12} {:>12}\n", "against the source", "published", "here");
  for (const Comparison& row : published)
    page.add("{:<34}{}{:>12} {:>12}  {}\n", row.what, row.differs() ? '*' : ' ', row.published, row.own,
             row.verdict());
  page.add("{}\n", count(published).words_below_table());
  return page.take();
}

double DenseCheck::largest() const { return std::max({systems, final.temperature, final.liquid}); }

std::string report(const DenseCheck& check) {
  Page page;
  page.add("\ndense against arrow, largest relative difference\n");
  page.add("  {:<42} {:.1e}\n", "solutions of the same component systems", check.systems);
  page.add("  {:<42} {:.1e} (x), {:.1e} (temperatures)\n", "final profiles of two runs", check.final.liquid,
           check.final.temperature);
  page.add("  the dense run took {} passes, {:.2f} ms\n", check.passes, 1e3 * check.seconds);
  return page.take();
}

std::string report(const ColumnCase& c, const InternalFlows& flows, const NewtonSolution& newton,
                   const Closure& closed, const NewtonCheck& check) {
  Page page;
  page.add("\nnewton: one system of {} unknowns, {} entries in its matrix, solved by {}\n", newton.unknowns,
           newton.entries, corvidnum::MethodName(newton.solver));
  page.add(
      "converged in {} steps ({} damped) from {} bubble-point passes, {:.2f} ms; pivot orders chosen: {}\n",
      newton.steps, newton.damped_steps, newton.start_passes, 1e3 * newton.seconds, newton.pivot_orders);
  page.add("last change {:.1e} {}; largest residual {:.1e}\n", newton.last_change, c.model->scale().unit,
           newton.residual);
  add_stages(page, c, flows, newton.profile);
  page.add(
      "\nbalances close within {:.1e}; fractions add up to one within {:.1e} (liquid), {:.1e} (vapour)\n",
      closed.worst(), closed.liquid_sum, closed.vapour_sum);
  if (!std::isnan(check.largest()))
    page.add("newton against bubble-point, largest relative difference: {:.1e} (x), {:.1e} (temperatures)\n",
             check.difference.liquid, check.difference.temperature);
  return page.take();
}

std::string report(const JacobianOrdering& ordering) {
  Page page;
  page.add("\n{:<28} {:>10} {:>10}\n", "pattern of newton's matrix", "bandwidth", "profile");
  const auto add_row = [&](const char* numbered, const apps::Measures& measures) {
    page.add("  {:<26} {:>10} {:>10}\n", numbered, measures.bandwidth, measures.profile);
  };
  add_row("numbered by stages", ordering.for_profile.before);
  add_row("reordered for bandwidth", ordering.for_bandwidth.after);
  add_row("reordered for profile", ordering.for_profile.after);
  return page.take();
}

std::string report(const ColumnCase& c, const MethodComparison& comparison) {
  Page page;
  page.add("\n{:<24} {:>7} {:>7} {:>8} {:>11} {:>8} {:>16}\n", "acceleration", "passes", "steps", "refused",
           "taken back", "ms", fmt::format("difference/{}", c.model->scale().common_unit));
  for (const MethodComparison::Run& run : comparison.runs) {
    const Solution& s = run.solution;
    page.add("{:<24} {:>7} {:>7} {:>8} {:>11} {:>8.2f} {:>16}\n", run.name, s.passes(), s.counts.steps_taken,
             s.counts.steps_refused, s.counts.steps_taken_back, 1e3 * s.seconds, difference(comparison, run));
  }
  return page.take();
}

}  // namespace column
