#include "apps/recycle/report.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "apps/common/output.h"
#include "apps/common/rate_unit.h"
#include "apps/recycle/wording.h"

namespace recycle {
namespace {

using apps::Page;

/// Returns what became of a step on a pass, and why; nothing where none was due.
std::string step_text(const corvidnum::FixedPointRecord& pass) {
  using corvidnum::FixedPointReason;
  if (pass.step == corvidnum::FixedPointStep::NotTried) return "";
  std::string text = TextOf(pass.step);
  if (pass.step == corvidnum::FixedPointStep::Taken)
    text += fmt::format(" by {}", counted(static_cast<std::size_t>(pass.eigenvalues), "eigenvalue"));
  return pass.reason == FixedPointReason::None ? text : text + ": " + TextOf(pass.reason);
}

/// Returns the passes that direct substitution would still take; "-" if that is not known.
std::string ahead_text(const corvidnum::FixedPointRecord& pass) {
  return pass.passes_ahead >= 0 ? fmt::format("{:.0f}", pass.passes_ahead) : "-";
}

std::string radius_text(double radius) { return radius >= 0 ? fmt::format("{:.5f}", radius) : "-"; }

/// Tells of returns to the best outcome, which take back all steps since then; nothing if there was none.
std::string returns_text(const RunResult& run) {
  const auto returns = static_cast<std::size_t>(run.counts.returns);
  return returns == 0 ? "" : ", " + counted(returns, "return") + " to the best outcome";
}

std::string eigenvalue_text(const RunResult& run) { return radius_text(run.eigenvalue.value_or(-1)); }

/// Describes a column of the stream table.
struct Column {
  std::string heading;
  const Rates* rates;
  const Stream* published_of = nullptr;  // the stream whose published rates these are
  const Rates* own = nullptr;            // its own rates, beside them
};
using Columns = std::vector<Column>;

Columns columns_of(const Stream& stream, const Rates& rates) {
  Columns columns{{stream.name, &rates}};
  if (!stream.published.empty()) columns.push_back({"published", &stream.published, &stream, &rates});
  return columns;
}

bool differs(const Stream& stream, const Rates& own, std::size_t component) {
  return !(std::fabs(own[component] - stream.published[component]) <= stream.within);
}

/// Returns what stands in front of a rate: the mark of a published one that differs, or a blank.
char mark(const Column& c, std::size_t component) {
  return c.published_of && differs(*c.published_of, *c.own, component) ? '*' : ' ';
}

void add_table(Page& page, const Flowsheet& flowsheet, const Columns& columns) {
  page.add("\n{:<12}", "");
  for (const Column& c : columns) page.add(" {:>13}", c.heading);
  page.add("\n");
  for (std::size_t i = 0; i < flowsheet.components.size(); ++i) {
    page.add("{:<12}", flowsheet.components[i]);
    for (const Column& c : columns) page.add("{}{:>13}", mark(c, i), rate_text((*c.rates)[i]));
    page.add("\n");
  }
  page.add("{:<12}", "total");
  for (const Column& c : columns)
    page.add(" {:>13}", rate_text(std::accumulate(c.rates->begin(), c.rates->end(), 0.0)));
  page.add("\n");
}

/// Adds the stream table, in parts of as many columns as a terminal has room for. A stream and its published
/// rates stay in one part.
void add_streams(Page& page, const Flowsheet& flowsheet, const RunResult& run) {
  constexpr std::size_t kColumns = 6;
  Columns block;
  for (std::size_t s = 0; s < run.streams.size(); ++s) {
    const Columns next = columns_of(flowsheet.streams[s], run.streams[s]);
    if (block.size() + next.size() > kColumns) {
      add_table(page, flowsheet, block);
      block.clear();
    }
    block.insert(block.end(), next.begin(), next.end());
  }
  add_table(page, flowsheet, block);
}

void add_published(Page& page, const Flowsheet& flowsheet, const RunResult& run) {
  const char* title = "\nlargest difference from the published rates\n";
  for (std::size_t s = 0; s < run.streams.size(); ++s) {
    const Stream& stream = flowsheet.streams[s];
    if (stream.published.empty()) continue;
    const bool differs = count_published(stream, run.streams[s]).differing > 0;
    page.add("{}  {:<12} {:.1e}{}\n", title, stream.name, distance_from_published(stream, run.streams[s]),
             differs ? fmt::format(", more than {:.1e}", stream.within) : "");
    title = "";
  }
  const apps::PublishedCount counted = count_published(flowsheet, run);
  if (counted.all > 0) page.add("  {}\n", counted.words_below_table());
}

/// Lists how much of its feed each flash makes vapour.
void add_vapour_fractions(Page& page, const Flowsheet& flowsheet, const RunResult& run) {
  const char* title = "\nvapour fraction of each flash, molar\n";
  for (const Unit& unit : flowsheet.units) {
    if (unit.kind != UnitKind::kFlash) continue;
    const auto fraction = vapour_fraction(unit, run.streams);
    page.add("{}  {:<12} {}\n", title, unit.name, fraction ? fmt::format("{:.6f}", *fraction) : "no feed");
    title = "";
  }
}

template <class Name>
std::string joined(const std::vector<int>& numbers, const char* between, Name name) {
  std::vector<std::string> names;
  names.reserve(numbers.size());
  for (const int number : numbers) names.push_back(name(static_cast<std::size_t>(number)));
  return fmt::format("{}", fmt::join(names, between));
}

}  // namespace

std::string heading(const RecycleCase& c, const Plan& plan) {
  const Flowsheet& sheet = c.flowsheet;
  Page page;
  page.add("{}\n", c.title);
  if (!c.source.empty()) page.add("{}\n", c.source);
  page.add("{}", apps::rate_unit_line(c.rate_unit));
  page.add("\nunits in order: {}\n",
           joined(plan.order, ", ", [&](std::size_t u) { return sheet.units[u].name; }));
  if (plan.tears.empty()) {
    page.add("no recycle, so nothing is torn\n");
  } else {
    page.add("torn streams: {}\n",
             joined(plan.tears, ", ", [&](std::size_t s) { return sheet.streams[s].name; }));
  }
  return page.take();
}

std::string pass_lines(const RunResult& run) {
  Page page;
  page.add("\n{:>5} {:>12} {:>11} {:>12}  step ({})\n", "pass", "change/feed", "eigenvalue", "passes ahead",
           name_of(run.method));
  for (const auto& pass : run.passes)
    page.add("{:>5} {:>12.4e} {:>11} {:>12}  {}\n", pass.pass, pass.change, radius_text(pass.radius),
             ahead_text(pass), step_text(pass));
  return page.take();
}

std::string report(const RecycleCase& c, const RunResult& run) {
  Page page;
  page.add("\nconverged in {}, {}; last change {:.1e} of the feed (tolerance {:g})\n",
           counted(run.passes.size(), "pass"), counted(static_cast<std::size_t>(run.flashes), "flash"),
           run.passes.back().change, c.tolerance);
  if (run.method != Method::None)
    page.add("{}: {} accepted, {} refused, {} taken back{}\n", name_of(run.method),
             counted(static_cast<std::size_t>(run.accepted()), "step"), run.counts.steps_refused,
             run.counts.steps_taken_back, returns_text(run));
  page.add("estimated dominant eigenvalue of a pass: {}\n", eigenvalue_text(run));
  add_streams(page, c.flowsheet, run);
  add_vapour_fractions(page, c.flowsheet, run);
  add_published(page, c.flowsheet, run);
  const Imbalance apart = overall_imbalance(c.flowsheet, run.streams);
  page.add(
      "\nfeeds and products differ by at most {:.1e} of the feed in a component ({}); their totals by "
      "{:.1e}\n",
      apart.worst, c.flowsheet.components[apart.component], apart.total);
  return page.take();
}

std::string comparison(const RecycleCase& c, const std::vector<RunResult>& runs,
                       const std::optional<Reference>& reference) {
  const auto error_text = [&](const RunResult& run) {
    return reference ? fmt::format("{:.1e}", largest_difference(c.flowsheet, reference->run, run)) : "-";
  };
  Page page;
  page.add("\n{:<10} {:>7} {:>8} {:>9} {:>8} {:>11} {:>11} {:>12}\n", "method", "passes", "flashes",
           "accepted", "refused", "taken back", "eigenvalue", "error/feed");
  for (const RunResult& run : runs)
    page.add("{:<10} {:>7} {:>8} {:>9} {:>8} {:>11} {:>11} {:>12}{}\n", name_of(run.method),
             run.passes.size(), run.flashes, run.accepted(), run.counts.steps_refused,
             run.counts.steps_taken_back, eigenvalue_text(run), error_text(run),
             run.converged ? "" : "  not converged");
  if (reference) {
    page.add("error: the largest difference of a rate from a run by {} to a tolerance of {:g}\n",
             name_of(reference->run.method), reference->tolerance);
  } else {
    page.add("error: not known, because no run to a smaller tolerance converges\n");
  }
  return page.take();
}

std::string history_csv(const std::vector<RunResult>& runs) {
  Page page;
  page.add("method,pass,change,step\n");
  for (const RunResult& run : runs)
    for (const auto& pass : run.passes)
      page.add("{},{},{},{}\n", name_of(run.method), pass.pass, pass.change,
               apps::csv_field(step_text(pass)));
  return page.take();
}

apps::PublishedCount count_published(const Stream& stream, const Rates& rates) {
  apps::PublishedCount counted;
  for (std::size_t i = 0; i < stream.published.size(); ++i) counted.add(differs(stream, rates, i));
  return counted;
}

apps::PublishedCount count_published(const Flowsheet& flowsheet, const RunResult& run) {
  apps::PublishedCount counted;
  for (std::size_t s = 0; s < run.streams.size(); ++s)
    counted.add(count_published(flowsheet.streams[s], run.streams[s]));
  return counted;
}

double distance_from_published(const Stream& stream, const Rates& rates) {
  double top = 0;
  for (std::size_t i = 0; i < rates.size(); ++i)
    top = std::max(top, std::fabs(rates[i] - stream.published[i]));
  return top;
}

}  // namespace recycle
