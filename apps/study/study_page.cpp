// Draws a study. With listed values alone, results are curves over the first parameter, one for each value of
// the second; with drawn ones, they are scattered over each of them.

#include "apps/study/study_page.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>

namespace study {
namespace {

using report::Plot;
using report::Series;
using report::Table;

constexpr std::size_t kMostDrawn = 8;      // results that get plots of their own
constexpr std::size_t kMostScattered = 4;  // parameters over which each of them is scattered
constexpr int kSolvedColour = 0, kFailedColour = 7;

std::string note_on_points(const Tally& tally) {
  return tally.every() > 1 ? fmt::format("One case in {} is drawn.", tally.every()) : "";
}

/// Says the same of a picture that has the cases without an answer beside the others.
std::string note_on_failed_points(const Tally& tally) {
  std::string note;
  if (tally.every() > 1) note = fmt::format("One case in {} with an answer is drawn", tally.every());
  if (tally.every() > 1 && tally.failed() > 0)
    note += tally.failed_every() > 1 ? fmt::format(", and one in {} without.", tally.failed_every())
                                     : ", and each without.";
  else if (tally.failed_every() > 1)
    note = fmt::format("One case in {} without an answer is drawn", tally.failed_every());
  return note.empty() || note.back() == '.' ? note : note + '.';
}

bool draws(const Study& study) {
  return std::any_of(study.parameters.begin(), study.parameters.end(),
                     [](const Parameter& p) { return p.drawn(); });
}

/// Returns the curves of a result over the first parameter. Further parameters than the second stand at the
/// values of the first case.
Plot response(const Study& study, const Tally& tally, std::size_t result) {
  Plot plot;
  plot.title = study.results[result];
  plot.x.title = study.parameters[0].name;
  plot.y.title = study.results[result];
  const std::size_t parameters = study.parameters.size();
  std::map<double, Series> curves;  // by the second parameter
  for (const Tally::Point& point : tally.points()) {
    const std::vector<double>& first = tally.points().front().values;
    if (parameters > 2 && !std::equal(first.begin() + 2, first.end(), point.values.begin() + 2)) continue;
    Series& curve = curves[parameters > 1 ? point.values[1] : 0];
    curve.x.push_back(point.values[0]);
    curve.y.push_back(point.results[result]);
  }
  // All the curves of a fine grid could not be told apart.
  const std::size_t step = (curves.size() + report::kColours - 1) / report::kColours;
  std::size_t at = 0;
  for (auto& [value, curve] : curves) {
    if (at++ % step != 0) continue;
    if (parameters > 1) curve.name = fmt::format("{} {:g}", study.parameters[1].name, value);
    plot.series.push_back(std::move(curve));
  }
  plot.note = note_on_points(tally);
  return plot;
}

Plot scatter(const Study& study, const Tally& tally, std::size_t result, std::size_t parameter) {
  Plot plot;
  plot.title = fmt::format("{} over {}", study.results[result], study.parameters[parameter].name);
  plot.x.title = study.parameters[parameter].name;
  plot.y.title = study.results[result];
  Series dots{"", {}, {}, false, true};
  dots.colour = static_cast<int>(parameter) % report::kColours;
  for (const Tally::Point& point : tally.points()) {
    dots.x.push_back(point.values[parameter]);
    dots.y.push_back(point.results[result]);
  }
  plot.series.push_back(std::move(dots));
  plot.note = note_on_points(tally);
  return plot;
}

/// Returns how many of the drawn cases have a result in each of some equal parts of its extent, as a stepped
/// line.
Plot histogram(const Study& study, const Tally& tally, std::size_t result) {
  constexpr int kBins = 30;
  const Tally::Extent& extent = tally.extents()[result];
  std::vector<int> counts(kBins, 0);
  const double width = (extent.most - extent.least) / kBins;
  for (const Tally::Point& point : tally.points()) {
    const double value = point.results[result];
    if (std::isnan(value)) continue;
    const int bin = width > 0 ? static_cast<int>((value - extent.least) / width) : 0;
    ++counts[static_cast<std::size_t>(std::clamp(bin, 0, kBins - 1))];
  }
  Plot plot;
  plot.title = "Histogram of " + study.results[result];
  plot.x.title = study.results[result];
  plot.y.title = "cases";
  plot.y.whole = true;
  plot.y.least = 0;
  Series steps{"", {extent.least}, {0}, true, false};
  for (int bin = 0; bin < kBins; ++bin)
    for (const int end : {bin, bin + 1}) {
      steps.x.push_back(extent.least + width * end);
      steps.y.push_back(counts[static_cast<std::size_t>(bin)]);
    }
  steps.x.push_back(extent.most);
  steps.y.push_back(0);
  plot.series.push_back(std::move(steps));
  plot.note = note_on_points(tally);
  return plot;
}

/// Returns where cases have an answer and where not, over the first two parameters; over the number of the
/// case if there is but one.
Plot failures_on_plane(const Study& study, const Tally& tally) {
  const bool plane = study.parameters.size() > 1;
  Plot plot;
  plot.title = "Cases with and without an answer";
  plot.x.title = study.parameters[0].name;
  plot.y.title = plane ? study.parameters[1].name : "case";
  Series solved{"answer", {}, {}, false, true}, failed{"no answer", {}, {}, false, true};
  solved.colour = kSolvedColour;
  failed.colour = kFailedColour;
  const auto draw = [plane](const Tally::Point& point, Series& series) {
    series.x.push_back(point.values[0]);
    series.y.push_back(plane ? point.values[1] : static_cast<double>(point.number));
  };
  for (const Tally::Point& point : tally.points())
    if (point.solved) draw(point, solved);
  for (const Tally::Point& point : tally.failed_points()) draw(point, failed);
  plot.series = {std::move(solved), std::move(failed)};
  plot.width = report::Width::kFull;
  plot.note = note_on_failed_points(tally);
  return plot;
}

std::vector<Plot> responses(const Study& study, const Tally& tally) {
  std::vector<Plot> plots;
  for (std::size_t r = 0; r < std::min(study.results.size(), kMostDrawn); ++r) {
    if (tally.extents()[r].count == 0) continue;
    if (!draws(study)) plots.push_back(response(study, tally, r));
    for (std::size_t p = 0; p < std::min(study.parameters.size(), kMostScattered); ++p)
      if (draws(study)) plots.push_back(scatter(study, tally, r, p));
  }
  return plots;
}

std::vector<Plot> histograms(const Study& study, const Tally& tally) {
  std::vector<Plot> plots;
  for (std::size_t r = 0; r < std::min(study.results.size(), kMostDrawn); ++r)
    if (tally.extents()[r].count > 0) plots.push_back(histogram(study, tally, r));
  return plots;
}

Table result_table(const Study& study, const Tally& tally) {
  Table table{"Over all cases that have an answer", {{"result", true}, "cases", "least", "mean", "most"}, {}};
  for (std::size_t r = 0; r < study.results.size(); ++r) {
    const Tally::Extent& e = tally.extents()[r];
    table.rows.push_back({study.results[r], fmt::format("{}", e.count)});
    if (e.count == 0) continue;
    for (const double value : {e.least, e.mean, e.most})
      table.rows.back().emplace_back(fmt::format("{:.7g}", value));
  }
  return table;
}

Table failure_table(const Study& study, const Tally& tally) {
  Table table{"", {{"case"}}, {}};
  if (tally.failed() > static_cast<std::int64_t>(tally.failures().size()))
    table.caption = fmt::format("The first {} of {}", tally.failures().size(), tally.failed());
  for (const Parameter& p : study.parameters) table.columns.emplace_back(p.name);
  table.columns.emplace_back("why", true);
  for (const Tally::Failure& f : tally.failures()) {
    std::vector<report::Cell> row{fmt::format("{}", f.point.number)};
    for (const double value : f.point.values) row.emplace_back(fmt::format("{:.6g}", value));
    row.emplace_back(f.reason, report::Tone::kBad);
    table.rows.push_back(std::move(row));
  }
  return table;
}

std::string failures_in_words(const Tally& tally) {
  return tally.failed() == 0 ? "all cases have an answer"
                             : fmt::format("{} cases have no answer", tally.failed());
}

}  // namespace

report::Page study_page(const Study& study, const Tally& tally, const RunFacts& facts) {
  report::Page page(study.title, "corvidnum-study");
  page.facts({{"cases", fmt::format("{}", tally.cases())},
              {"without an answer", fmt::format("{}", tally.failed()),
               tally.failed() == 0 ? report::Tone::kGood : report::Tone::kBad},
              {"parameters", fmt::format("{}", study.parameters.size())},
              {"threads", fmt::format("{}", facts.threads)},
              {"ranks", fmt::format("{}", facts.ranks)}});
  page.heading("Responses");
  page.plots(responses(study, tally));
  page.heading("Results");
  page.table(result_table(study, tally));
  page.plots(histograms(study, tally));
  page.heading("Where cases have no answer");
  page.plots({failures_on_plane(study, tally)});
  if (tally.failed() > 0) page.table(failure_table(study, tally));
  return page;
}

report::Entry study_entry(const Study& study, const Tally& tally, const RunFacts& facts) {
  report::Entry entry;
  entry.what = study.title;
  entry.size = fmt::format("{} cases", tally.cases());
  entry.seconds = facts.seconds;
  entry.error = failures_in_words(tally);
  entry.published = "-";
  return entry;
}

}  // namespace study
