#include "apps/recycle/case_page.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "apps/common/published_count.h"
#include "apps/common/rate_unit.h"
#include "apps/recycle/flowsheet_drawing.h"
#include "apps/recycle/report.h"
#include "apps/recycle/wording.h"

namespace recycle {
namespace {

using corvidnum::FixedPointRecord;
using corvidnum::FixedPointStep;
using report::Cell;
using report::Tone;

constexpr const char* kProgram = "corvidnum-recycle";

double sum(const Rates& rates) { return std::accumulate(rates.begin(), rates.end(), 0.0); }

const RunResult& shown(const CaseResults& r) { return r.runs.back(); }

/// Returns how far feeds and products are apart; nothing if no pass was computed.
std::optional<Imbalance> imbalance(const CaseResults& r, const RunResult& run) {
  if (run.streams.empty()) return std::nullopt;
  return overall_imbalance(r.c.flowsheet, run.streams);
}

bool closes(const CaseResults& r, const Imbalance& apart) {
  return apart.is_within(promised_imbalance(r.c.flowsheet, r.plan, r.c.tolerance));
}

std::string eigenvalue_text(const RunResult& run) {
  return run.eigenvalue ? fmt::format("{:.5f}", *run.eigenvalue) : "-";
}

/// Returns nothing counted for a run that did not converge: its rates are no answer.
apps::PublishedCount published(const CaseResults& r) {
  const RunResult& run = shown(r);
  return run.converged ? count_published(r.c.flowsheet, run) : apps::PublishedCount{};
}

Tone tone_of(const apps::PublishedCount& counted) {
  return counted.differing == 0 ? Tone::kGood : Tone::kBad;
}

// ---- Facts

void add_facts(report::Page& page, const CaseResults& r) {
  const RunResult& run = shown(r);
  std::vector<report::Fact> facts;
  facts.push_back({fmt::format("passes, {}", name_of(run.method)),
                   fmt::format("{}{}", run.passes.size(), run.converged ? "" : ", not converged"),
                   run.converged ? Tone::kGood : Tone::kBad});
  if (!run.passes.empty())
    facts.push_back({"last change, of the feed", fmt::format("{:.1e}", run.passes.back().change)});
  if (run.eigenvalue) facts.push_back({"dominant eigenvalue of a pass", eigenvalue_text(run)});
  if (const auto apart = imbalance(r, run))
    facts.push_back({"largest balance error, of the feed", fmt::format("{:.1e}", apart->worst),
                     closes(r, *apart) ? Tone::kGood : Tone::kBad});
  if (const apps::PublishedCount counted = published(r); counted.all > 0)
    facts.push_back({"published rates that agree",
                     fmt::format("{} of {}", counted.all - counted.differing, counted.all),
                     tone_of(counted)});
  page.facts(facts);
}

void add_complaints(report::Page& page, const CaseResults& r) {
  for (const RunResult& run : r.runs)
    if (!run.converged)
      page.paragraph(fmt::format("Not converged, {}: {}.", name_of(run.method), run.complaint));
}

void add_flowsheet(report::Page& page, const CaseResults& r, const RunResult& run) {
  constexpr std::size_t kMostDrawn = 120;
  const std::size_t units = r.c.flowsheet.units.size();
  if (units <= kMostDrawn) {
    page.figures({flowsheet_figure(r.c.flowsheet, r.plan, run.streams)});
  } else {
    page.paragraph(
        fmt::format("The flowsheet has {} units and is not drawn: {} are the most.", units, kMostDrawn));
  }
}

// ---- Convergence

double pass_number(const FixedPointRecord& pass) { return static_cast<double>(pass.pass); }

report::Series history(const RunResult& run, double FixedPointRecord::*what) {
  report::Series series;
  series.name = fmt::format("{}, {}", name_of(run.method), counted(run.passes.size(), "pass"));
  for (const FixedPointRecord& pass : run.passes) {
    series.x.push_back(pass_number(pass));
    series.y.push_back(pass.*what);
  }
  series.points = false;
  return series;
}

report::Plot change_plot(const CaseResults& r) {
  report::Plot plot;
  plot.title = "Largest change of a torn rate in each pass";
  plot.x.title = "pass";
  plot.x.whole = true;
  plot.y.title = "change / feed";
  plot.y.scale = report::Scale::kLog;
  for (const RunResult& run : r.runs) {
    plot.series.push_back(history(run, &FixedPointRecord::change));
    for (std::size_t k = 0; k < run.passes.size(); ++k)
      if (run.passes[k].step == FixedPointStep::Taken) plot.series.back().marked.push_back(k);
  }
  plot.limits.push_back({"tolerance", r.c.tolerance});
  plot.mark_meaning = "acceleration step taken";
  plot.width = report::Width::kHalf;
  return plot;
}

/// Shows the largest eigenvalue that the passes have shown so far: the factor by which plain passes go on.
report::Plot eigenvalue_plot(const CaseResults& r) {
  constexpr double kMostShown = 1.25;
  report::Plot plot;
  plot.title = "Dominant eigenvalue as the passes show it";
  plot.x.title = "pass";
  plot.x.whole = true;
  plot.y.title = "eigenvalue";
  bool leaves_out = false;
  for (const RunResult& run : r.runs) {
    plot.series.push_back(history(run, &FixedPointRecord::radius));
    for (double& radius : plot.series.back().y) {
      leaves_out = leaves_out || radius > kMostShown;
      if (radius < 0 || radius > kMostShown) radius = std::nan("");
    }
  }
  plot.limits.push_back({"from 1 on, plain passes do not converge", 1});
  plot.note = "The factor by which the changes of plain passes shrink in the end.";
  if (leaves_out)
    plot.note +=
        fmt::format(" Values above {}, which can be seen right behind a step, are left out.", kMostShown);
  return plot;
}

void add_comparison(report::Page& page, const CaseResults& r) {
  if (r.runs.size() < 2) return;
  report::Table table;
  table.columns = {{"method", true}, "passes",     "flashes",      "steps accepted", "refused",
                   "taken back",     "eigenvalue", "error / feed", {"", true}};
  for (const RunResult& run : r.runs)
    table.rows.push_back(
        {name_of(run.method), fmt::format("{}", run.passes.size()), fmt::format("{}", run.flashes),
         fmt::format("{}", run.accepted()), fmt::format("{}", run.counts.steps_refused),
         fmt::format("{}", run.counts.steps_taken_back), eigenvalue_text(run),
         r.reference ? fmt::format("{:.1e}", largest_difference(r.c.flowsheet, r.reference->run, run)) : "-",
         run.converged ? Cell("converged", Tone::kGood) : Cell("not converged", Tone::kBad)});
  page.table(table);
  if (r.reference)
    page.paragraph(
        fmt::format("Error: the largest difference of a rate from a run by {} to a tolerance of {:g}.",
                    name_of(r.reference->run.method), r.reference->tolerance));
}

void add_convergence(report::Page& page, const CaseResults& r) {
  if (r.plan.tears.empty()) {
    page.paragraph("There is no recycle, so that one pass is the answer.");
    return;
  }
  page.heading("Convergence");
  page.plots({change_plot(r), eigenvalue_plot(r)});
  add_comparison(page, r);
}

// ---- Streams

std::string rates_caption(const CaseResults& r) { return apps::with_rate_unit("Molar rates", r.c.rate_unit); }

std::string end_name(const Flowsheet& sheet, int unit, const char* outside) {
  return unit == kOutside ? outside : sheet.units[static_cast<std::size_t>(unit)].name;
}

void add_flashes(report::Page& page, const CaseResults& r, const RunResult& run) {
  const Flowsheet& sheet = r.c.flowsheet;
  report::Table table{rates_caption(r), {{"flash", true}, "feed", "vapour", "liquid", "vapour fraction"}, {}};
  const auto total = [&](int stream) { return sum(run.streams[static_cast<std::size_t>(stream)]); };
  for (const Unit& unit : sheet.units) {
    if (unit.kind != UnitKind::kFlash) continue;
    const double vapour = total(unit.outlets[0]), liquid = total(unit.outlets[1]);
    const double feed = vapour + liquid;
    table.rows.push_back({unit.name, rate_text(feed), rate_text(vapour), rate_text(liquid),
                          feed > 0 ? fmt::format("{:.5f}", vapour / feed) : "-"});
  }
  if (table.rows.empty()) return;
  page.heading("Flashes");
  page.table(table);
}

/// Exchanges rows and columns.
report::Table transposed(const report::Table& table) {
  report::Table other{table.caption, {table.columns.front()}, {}};
  for (const auto& row : table.rows) other.columns.emplace_back(row.front().text);
  for (std::size_t k = 1; k < table.columns.size(); ++k) {
    other.rows.push_back({table.columns[k].heading});
    for (const auto& row : table.rows) other.rows.back().push_back(row[k]);
  }
  return other;
}

/// Adds the stream table: where each stream comes from and goes to, its rates and their sum. The shorter one
/// of the lists, of streams and of components, runs across.
void add_streams(report::Page& page, const CaseResults& r, const RunResult& run) {
  const Flowsheet& sheet = r.c.flowsheet;
  report::Table table{rates_caption(r), {{"", true}, {"from", true}, {"to", true}}, {}};
  table.columns.insert(table.columns.end(), sheet.components.begin(), sheet.components.end());
  table.columns.emplace_back("total");
  for (std::size_t s = 0; s < sheet.streams.size(); ++s) {
    const Stream& stream = sheet.streams[s];
    std::vector<Cell> row{stream.name, end_name(sheet, stream.from, "feed"),
                          end_name(sheet, stream.to, "product")};
    for (const double rate : run.streams[s]) row.emplace_back(rate_text(rate));
    row.emplace_back(rate_text(sum(run.streams[s])));
    table.rows.push_back(std::move(row));
  }
  page.heading("Streams");
  page.table(table.rows.size() < table.columns.size() ? transposed(table) : table);
}

void add_published(report::Page& page, const CaseResults& r, const RunResult& run) {
  report::Table table{rates_caption(r),
                      {{"stream", true},
                       "published total",
                       "total here",
                       "largest difference of a rate",
                       "allowed",
                       {"", true}},
                      {}};
  for (std::size_t s = 0; s < run.streams.size(); ++s) {
    const Stream& stream = r.c.flowsheet.streams[s];
    if (stream.published.empty()) continue;
    const apps::PublishedCount counted = count_published(stream, run.streams[s]);
    table.rows.push_back({stream.name, rate_text(sum(stream.published)), rate_text(sum(run.streams[s])),
                          fmt::format("{:.1e}", distance_from_published(stream, run.streams[s])),
                          fmt::format("{:.1e}", stream.within),
                          Cell(report::verdict_on_published(counted), tone_of(counted))});
  }
  if (table.rows.empty()) return;
  page.heading("Published rates");
  page.table(table);
}

/// Adds the balance of each component over the whole flowsheet.
void add_balances(report::Page& page, const CaseResults& r, const RunResult& run) {
  const Flowsheet& sheet = r.c.flowsheet;
  Rates in(sheet.components.size(), 0.0), out = in;
  for (std::size_t s = 0; s < run.streams.size(); ++s) {
    const Stream& stream = sheet.streams[s];
    for (std::size_t i = 0; i < in.size(); ++i) {
      if (stream.is_feed) in[i] += run.streams[s][i];
      if (stream.to == kOutside) out[i] += run.streams[s][i];
    }
  }
  report::Table table{
      rates_caption(r), {{"component", true}, "feeds", "products", "difference / total feed"}, {}};
  const double feed = sheet.total_feed();
  const auto add = [&](const std::string& name, double entering, double leaving) {
    table.rows.push_back(
        {name, rate_text(entering), rate_text(leaving), fmt::format("{:.1e}", (entering - leaving) / feed)});
  };
  for (std::size_t i = 0; i < in.size(); ++i) add(sheet.components[i], in[i], out[i]);
  add("all", sum(in), sum(out));
  page.heading("Balances");
  page.table(table);
  const double promised = promised_imbalance(sheet, r.plan, r.c.tolerance);
  page.paragraph(
      fmt::format("The tolerance promises that no difference is above {:.1e} of the feed.", promised));
}

}  // namespace

report::Page page_of(const CaseResults& r) {
  report::Page page(r.c.title, kProgram);
  if (!r.c.source.empty()) page.paragraph(r.c.source);
  add_facts(page, r);
  add_complaints(page, r);
  const RunResult& run = shown(r);
  add_flowsheet(page, r, run);
  add_convergence(page, r);
  if (run.streams.empty()) return page;
  add_flashes(page, r, run);
  add_streams(page, r, run);
  if (run.converged) add_published(page, r, run);
  add_balances(page, r, run);
  return page;
}

report::Entry entry_of(const CaseResults& r) {
  report::Entry entry;
  const RunResult& run = shown(r);
  entry.what = r.c.title;
  entry.size = counted(run.passes.size(), "pass");
  entry.seconds = r.seconds;
  const auto apart = imbalance(r, run);
  entry.error = !run.converged ? "not converged" : apart ? fmt::format("balances {:.1e}", apart->worst) : "";
  entry.published = report::verdict_on_published(published(r));
  return entry;
}

}  // namespace recycle
