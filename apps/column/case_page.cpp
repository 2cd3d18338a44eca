// Draws a solved column. Stages run down the plots as they do in the column, with lines where streams enter
// and leave.

#include "apps/column/case_page.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include "apps/column/closure.h"
#include "apps/column/products.h"
#include "apps/column/published.h"
#include "apps/column/shortcut.h"
#include "apps/common/rate_unit.h"

namespace column {
namespace {

using report::Plot;
using report::Series;
using report::Table;
using report::Tone;

constexpr int kTemperatureColour = 7;
constexpr double kNotDrawn = std::numeric_limits<double>::quiet_NaN();

/// Returns 1, 2, ... : numbers of stages or passes.
std::vector<double> counts(std::size_t last) {
  std::vector<double> numbers(last);
  std::iota(numbers.begin(), numbers.end(), 1.0);
  return numbers;
}

/// Returns the unit of the model's temperatures as people write it.
std::string unit_of(const ColumnCase& c) {
  const std::string unit = c.model->scale().unit;
  if (unit.compare(0, 4, "deg ") == 0) return "°" + unit.substr(4);
  return unit.compare(0, 3, "in ") == 0 ? unit.substr(3) : unit;
}

bool has_temperatures(const ColumnCase& c) { return std::string(c.model->scale().shown_as) == "T/C"; }

Tone tone_of(double error, double limit) { return error <= limit ? Tone::kGood : Tone::kBad; }

std::vector<report::Limit> streams_by_stage(const ColumnCase& c) {
  std::vector<report::Limit> lines;
  for (const Feed& feed : c.feeds) lines.push_back({"feed", feed.stage + 1.0});
  for (const Draw& draw : c.draws)
    lines.push_back({draw.phase == Phase::kVapour ? "vapour draw" : "liquid draw", draw.stage + 1.0});
  for (const Tie& tie : c.ties) {
    lines.push_back({"pumparound, out", tie.from + 1.0});
    lines.push_back({"pumparound, back", tie.to + 1.0});
  }
  return lines;
}

/// Returns a plot of quantities down the column, without its series.
Plot plot_by_stage(const ColumnCase& c, const std::string& title, const std::string& quantity) {
  Plot plot;
  plot.title = title;
  plot.x.title = quantity;
  plot.y.title = "stage";
  plot.y.whole = true;
  plot.y.reversed = true;
  plot.limits = streams_by_stage(c);
  plot.width = report::Width::kThird;
  plot.tall = true;
  return plot;
}

/// Adds rings at published figures, which tell by eye whether they are the program's own.
/// @param value  of a figure, if it belongs to this plot
template <class Value>
void add_published_rings(Plot& plot, const ColumnCase& c, int colour, Value value) {
  Series rings{"", {}, {}, false, false};
  rings.colour = colour;
  for (const Published& p : c.published) {
    const std::optional<double> x = value(p);
    if (!x) continue;
    rings.marked.push_back(rings.x.size());
    rings.x.push_back(*x);
    rings.y.push_back(p.stage + 1.0);
  }
  if (rings.x.empty()) return;
  plot.series.push_back(std::move(rings));
  plot.mark_meaning = "published";
}

Plot temperature_plot(const SolvedCase& s) {
  const TemperatureScale scale = s.c.model->scale();
  Plot plot = has_temperatures(s.c) ? plot_by_stage(s.c, "Temperature", "temperature, °C")
                                    : plot_by_stage(s.c, "K-value", "K of a component of volatility 1");
  Series series{"", {}, counts(static_cast<std::size_t>(s.c.stages))};
  for (const double t : s.solution.profile.temperature) series.x.push_back(scale.shown(t));
  series.colour = kTemperatureColour;
  plot.series = {series};
  add_published_rings(plot, s.c, kTemperatureColour, [](const Published& p) {
    return p.what == Published::What::kTemperature ? std::optional(p.value) : std::nullopt;
  });
  return plot;
}

Plot flow_plot(const SolvedCase& s) {
  Plot plot =
      plot_by_stage(s.c, "Flows that leave the stages", apps::with_rate_unit("molar flow", s.c.rate_unit));
  plot.x.least = 0;
  std::vector<double> vapour = s.flows.vapour;
  if (vapour.front() == 0) vapour.front() = kNotDrawn;  // a total condenser
  const std::vector<double> stages = counts(static_cast<std::size_t>(s.c.stages));
  plot.series = {{"liquid, down", s.flows.liquid, stages}, {"vapour, up", vapour, stages}};
  return plot;
}

Plot composition_plot(const SolvedCase& s) {
  Plot plot = plot_by_stage(s.c, "Composition of the liquid", "mole fraction");
  plot.x.least = 0;
  plot.x.most = 1;
  const std::vector<double> stages = counts(static_cast<std::size_t>(s.c.stages));
  for (std::size_t i = 0; i < s.c.components.size(); ++i)
    plot.series.push_back({s.c.components[i], s.solution.profile.liquid[i], stages});
  for (int i = 0; i < static_cast<int>(s.c.components.size()); ++i)
    add_published_rings(plot, s.c, i, [i](const Published& p) {
      const bool belongs = p.what == Published::What::kLiquidFraction && p.component == i;
      return belongs ? std::optional(p.value) : std::nullopt;
    });
  return plot;
}

std::string name_of(const SolvedCase& s, const MethodComparison::Run& run) {
  return &run == &s.comparison.runs.front() ? "plain passes" : run.name;
}

Plot convergence_plot(const SolvedCase& s) {
  Plot plot;
  plot.title = "Convergence of each method";
  plot.x.title = "pass or step";
  plot.x.whole = true;
  plot.y.title = has_temperatures(s.c) ? "largest change of a stage temperature, " + unit_of(s.c)
                                       : "largest change on a stage, " + unit_of(s.c);
  plot.y.scale = report::Scale::kLog;
  plot.width = report::Width::kFull;
  plot.limits = {{"tolerance", s.c.tolerance}};
  plot.mark_meaning = "extrapolated by the accelerator";
  for (const MethodComparison::Run& run : s.comparison.runs) {
    const std::vector<double>& changes = run.solution.changes;
    Series series{name_of(s, run), counts(changes.size()), changes};
    series.marked.assign(run.solution.extrapolated.begin(), run.solution.extrapolated.end());
    plot.series.push_back(std::move(series));
  }
  if (s.newton.changes.empty()) return plot;
  plot.note =
      fmt::format("Newton's method begins with {} passes; each step then solves the whole column at once.",
                  s.newton.start_passes);
  plot.series.push_back({"Newton's method", counts(s.newton.changes.size()), s.newton.changes});
  return plot;
}

/// Returns how far a run came out from the answer of the page.
report::Cell difference(const SolvedCase& s, Outcome outcome, const Profile& found) {
  if (outcome != Outcome::kOk) return {"not converged", Tone::kBad};
  const double degrees = largest_change(s.solution.profile.temperature, found.temperature);
  return fmt::format("{:.1e}", s.c.model->scale().common_degrees * degrees);
}

Table method_table(const SolvedCase& s) {
  Table table{"Differences are the largest of a stage temperature from the answer shown here.",
              {{"method", true},
               "passes",
               "steps taken",
               "refused",
               "taken back",
               fmt::format("difference, {}", s.c.model->scale().common_unit)},
              {}};
  const auto text = [](auto number) { return fmt::format("{}", number); };
  for (const MethodComparison::Run& run : s.comparison.runs) {
    const auto& counted = run.solution.counts;
    table.rows.push_back({name_of(s, run), text(run.solution.passes()), text(counted.steps_taken),
                          text(counted.steps_refused), text(counted.steps_taken_back),
                          difference(s, run.solution.outcome, run.solution.profile)});
  }
  table.rows.push_back({"Newton's method", text(s.newton.start_passes), text(s.newton.steps), "", "",
                        difference(s, s.newton.outcome, s.newton.profile)});
  return table;
}

/// Returns a table with a column for each component, and its rows to be filled in.
Table component_table(const ColumnCase& c, const std::string& caption, const std::string& total) {
  Table table{caption, {{"", true}}, {}};
  if (!total.empty()) table.columns.emplace_back(total);
  for (const std::string& name : c.components) table.columns.emplace_back(name);
  return table;
}

void add_products(report::Page& page, const SolvedCase& s) {
  Table rates = component_table(s.c, apps::with_rate_unit("Molar flows", s.c.rate_unit), "total");
  Table fractions = component_table(s.c, "Mole fractions", "");
  Table recoveries = component_table(s.c, "Recoveries, per cent of the feed", "");
  const std::vector<double> feed = total_feed(s.c);
  const auto add_rates = [&rates](const std::string& name, double total, const std::vector<double>& parts) {
    std::vector<report::Cell> row{name, fmt::format("{:.5g}", total)};
    for (const double part : parts) row.emplace_back(fmt::format("{:.5f}", part));
    rates.rows.push_back(std::move(row));
  };
  add_rates("feed", s.flows.total_feed, feed);
  for (const Product& product : products(s.c, s.flows, s.solution.profile)) {
    add_rates(product.name, product.rate, product.by_component);
    std::vector<report::Cell> x{product.name}, recovered{product.name};
    for (std::size_t i = 0; i < feed.size(); ++i) {
      x.emplace_back(fmt::format("{:.6f}", product.fraction(static_cast<int>(i))));
      recovered.emplace_back(feed[i] > 0 ? fmt::format("{:.3f}", 100 * product.by_component[i] / feed[i])
                                         : "");
    }
    fractions.rows.push_back(std::move(x));
    recoveries.rows.push_back(std::move(recovered));
  }
  page.heading("Products");
  page.tables({rates, fractions, recoveries});
}

double largest(const std::vector<double>& values) {
  return values.empty() ? 0 : *std::max_element(values.begin(), values.end());
}

void add_balances(report::Page& page, const SolvedCase& s, const Closure& closed) {
  Table table{"|in − out|, relative to the larger of the two", {{"balance", true}, "error"}, {}};
  const auto add = [&table](const std::string& what, double error) {
    table.rows.push_back({what, fmt::format("{:.1e}", error)});
  };
  for (std::size_t i = 0; i < s.c.components.size(); ++i) add(s.c.components[i], closed.component[i]);
  add("all feeds against all products", closed.overall);
  add("stages, all components together", largest(closed.stage));
  add("stages, each component", largest(closed.stage_component));
  page.heading("Balances");
  page.table(table);
  page.paragraph(
      fmt::format("The mole fractions of a stage add up to one within {:.1e} in the liquid and {:.1e} in "
                  "the vapour; this error follows the tolerance.",
                  closed.liquid_sum, closed.vapour_sum));
}

void add_published(report::Page& page, const std::vector<Comparison>& rows) {
  if (rows.empty()) return;
  Table table{"", {{"figure", true}, "published", "here", {"", true}}, {}};
  for (const Comparison& row : rows) {
    const Tone tone = row.differs() ? Tone::kBad : row.units_apart == 0 ? Tone::kGood : Tone::kPlain;
    table.rows.push_back({row.what, row.published, row.own, report::Cell(row.verdict(), tone)});
  }
  page.heading("Against the published answer");
  page.table(table);
}

std::vector<Comparison> published(const SolvedCase& s) {
  return compare_with_published(s.c, s.solution, shortcut(s.c));
}

/// Returns whether the answer is Newton's because the passes did not converge.
bool is_newtons(const SolvedCase& s) { return s.solution.outcome != Outcome::kOk; }

std::string count_of_work(const SolvedCase& s) {
  return fmt::format("{}", is_newtons(s) ? s.newton.steps : s.solution.passes());
}

void add_facts(report::Page& page, const SolvedCase& s, const Closure& closed,
               const std::vector<Comparison>& rows) {
  std::vector<report::Fact> facts{{"stages", fmt::format("{}", s.c.stages)},
                                  {"components", fmt::format("{}", s.c.components.size())},
                                  {is_newtons(s) ? "steps of Newton's method" : "passes", count_of_work(s)},
                                  {"largest balance error", fmt::format("{:.1e}", closed.worst()),
                                   tone_of(closed.worst(), Closure::kLimit)}};
  if (!rows.empty()) {
    const apps::PublishedCount counted = count(rows);
    facts.push_back({"published values that agree",
                     fmt::format("{} of {}", counted.all - counted.differing, counted.all),
                     tone_of(counted.differing, 0)});
  }
  page.facts(facts);
}

}  // namespace

SolvedCase solve_for_page(const ColumnCase& c, const InternalFlows& flows, const Solution& solution,
                          const AccelerationSettings& settings, StepMethod solver) {
  SolvedCase solved{c, flows, solution, compare_methods(c, flows, settings, nullptr),
                    solve_newton(c, flows, solver)};
  // The comparison ends with the first run that fails; the one that was asked for may not be among its runs.
  if (solved.comparison.failed() && solution.accelerated && solution.outcome == Outcome::kOk)
    solved.comparison.runs.push_back({"as asked for", solution});
  return solved;
}

report::Page case_page(const SolvedCase& s) {
  const Closure closed = closure(s.c, s.flows, s.solution.profile);
  const std::vector<Comparison> rows = published(s);
  report::Page page(s.c.title, "corvidnum-column");
  if (!s.c.source.empty()) page.paragraph(s.c.source);
  add_facts(page, s, closed, rows);
  page.heading("Down the column");
  page.plots({temperature_plot(s), flow_plot(s), composition_plot(s)});
  page.heading("Convergence");
  page.plots({convergence_plot(s)});
  page.table(method_table(s));
  add_products(page, s);
  add_balances(page, s, closed);
  add_published(page, rows);
  return page;
}

report::Entry case_entry(const SolvedCase& s) {
  report::Entry entry;
  entry.what = s.c.title;
  entry.size = fmt::format("{} stages, {} {}", s.c.stages, count_of_work(s),
                           is_newtons(s) ? "Newton steps" : "passes");
  entry.seconds = is_newtons(s) ? s.newton.seconds : s.solution.seconds;
  entry.error = fmt::format("balances {:.1e}", closure(s.c, s.flows, s.solution.profile).worst());
  entry.published = report::verdict_on_published(count(published(s)));
  return entry;
}

}  // namespace column
