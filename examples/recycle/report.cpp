#include "examples/recycle/report.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "examples/common/output.h"

namespace recycle {
namespace {

using examples::Page;

const char* name_of(StepOutcome step) {
  switch (step) {
    case StepOutcome::kNone:
      return "";
    case StepOutcome::kRefused:
      return "refused";
    case StepOutcome::kTaken:
      return "step";
    case StepOutcome::kUndoneNegative:
      return "undone: negative or not finite";
    case StepOutcome::kUndoneWorse:
      return "undone: worse";
  }
  return "";
}

std::string eigenvalue_text(const RunResult& run) {
  return run.eigenvalue ? fmt::format("{:.5f}", *run.eigenvalue) : std::string("-");
}

/// A column of the stream table.
struct Column {
  std::string heading;
  const Rates* rates;
};

std::vector<Column> columns(const Flowsheet& flowsheet, const RunResult& run) {
  std::vector<Column> all;
  for (std::size_t s = 0; s < run.streams.size(); ++s) {
    const Stream& stream = flowsheet.streams[s];
    all.push_back({stream.name, &run.streams[s]});
    if (!stream.published.empty()) all.push_back({"published", &stream.published});
  }
  return all;
}

void add_table(Page& page, const Flowsheet& flowsheet, const Column* first, const Column* last) {
  page.add("\n{:<12}", "");
  for (const Column* c = first; c != last; ++c) page.add(" {:>13}", c->heading);
  page.add("\n");
  for (std::size_t i = 0; i < flowsheet.components.size(); ++i) {
    page.add("{:<12}", flowsheet.components[i]);
    for (const Column* c = first; c != last; ++c) page.add(" {:>13.4f}", (*c->rates)[i]);
    page.add("\n");
  }
  page.add("{:<12}", "total");
  for (const Column* c = first; c != last; ++c)
    page.add(" {:>13.4f}", std::accumulate(c->rates->begin(), c->rates->end(), 0.0));
  page.add("\n");
}

/// Few enough columns side by side for a terminal.
void add_streams(Page& page, const Flowsheet& flowsheet, const RunResult& run) {
  constexpr std::size_t kColumns = 6;
  const std::vector<Column> all = columns(flowsheet, run);
  for (std::size_t first = 0; first < all.size(); first += kColumns)
    add_table(page, flowsheet, all.data() + first, all.data() + std::min(all.size(), first + kColumns));
}

void add_published(Page& page, const Flowsheet& flowsheet, const RunResult& run) {
  const char* title = "\nlargest difference from the published rates\n";
  for (std::size_t s = 0; s < run.streams.size(); ++s) {
    const Stream& stream = flowsheet.streams[s];
    if (stream.published.empty()) continue;
    page.add("{}  {:<12} {:.1e}\n", title, stream.name, distance_from_published(stream, run.streams[s]));
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
  page.add("\n{:>5} {:>12}  step ({})\n", "pass", "change/feed", name_of(run.method));
  int number = 0;
  for (const PassRecord& pass : run.passes)
    page.add("{:>5} {:>12.4e}  {}\n", ++number, pass.change, name_of(pass.step));
  return page.take();
}

std::string report(const RecycleCase& c, const RunResult& run) {
  Page page;
  page.add("\nconverged in {} passes, {} flashes; last change {:.1e} of the feed (tolerance {:g})\n",
           run.passes.size(), run.flashes, run.passes.back().change, c.tolerance);
  if (run.method != Method::kDirect)
    page.add("{}: {} steps accepted, {} refused, {} undone\n", name_of(run.method), run.accepted(),
             run.count(StepOutcome::kRefused), run.undone());
  page.add("estimated dominant eigenvalue of a pass: {}\n", eigenvalue_text(run));
  add_streams(page, c.flowsheet, run);
  add_published(page, c.flowsheet, run);
  page.add("\nfeeds and products differ by {:.1e} of the feed\n",
           overall_imbalance(c.flowsheet, run.streams));
  return page.take();
}

std::string comparison(const RecycleCase& c, const std::vector<RunResult>& runs) {
  Page page;
  page.add("\n{:<10} {:>7} {:>8} {:>9} {:>8} {:>7} {:>11} {:>12}\n", "method", "passes", "flashes",
           "accepted", "refused", "undone", "eigenvalue", "apart/feed");
  for (const RunResult& run : runs)
    page.add("{:<10} {:>7} {:>8} {:>9} {:>8} {:>7} {:>11} {:>12.1e}{}\n", name_of(run.method),
             run.passes.size(), run.flashes, run.accepted(), run.count(StepOutcome::kRefused), run.undone(),
             eigenvalue_text(run), largest_difference(c.flowsheet, runs.front(), run),
             run.converged ? "" : "  not converged");
  return page.take();
}

std::string history_csv(const std::vector<RunResult>& runs) {
  Page page;
  page.add("method,pass,change,step\n");
  for (const RunResult& run : runs) {
    int number = 0;
    for (const PassRecord& pass : run.passes)
      page.add("{},{},{},{}\n", name_of(run.method), ++number, pass.change,
               examples::csv_field(name_of(pass.step)));
  }
  return page.take();
}

double distance_from_published(const Stream& stream, const Rates& rates) {
  double top = 0;
  for (std::size_t i = 0; i < rates.size(); ++i)
    top = std::max(top, std::fabs(rates[i] - stream.published[i]));
  return top;
}

}  // namespace recycle
