// Flowsheets converged: Cavett's published answers, closed forms, and what must not change an answer.

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "apps/recycle/case_file.h"
#include "apps/recycle/convergence.h"
#include "apps/recycle/k_values.h"
#include "apps/recycle/report.h"
#include "frame/debug_out.h"
#include "tests/apps/refusals.h"

namespace recycle {
namespace {

const Method kMethods[] = {Method::None, Method::Dominant, Method::Multiple, Method::Automatic};

/// Of Cavett's flowsheet.
const std::vector<std::string> kTears[] = {
    {"Z1", "R3"}, {"Z1", "Z2"}, {"R1", "R2", "R3"}, {"S1", "S2", "S3"}};

RecycleCase cavett() { return read_case(RECYCLE_CASES "/cavett.toml"); }

RunResult run(const RecycleCase& c, Method method, double tolerance, int eigenvalues = 4,
              const std::vector<std::string>& tears = {}) {
  RunSettings settings;
  settings.acceleration.method = method;
  settings.acceleration.eigenvalues = eigenvalues;
  settings.tolerance = tolerance;
  settings.max_passes = c.max_passes;
  return converge(c.flowsheet, make_plan(c.flowsheet, tears.empty() ? c.tears : tears), settings);
}

int passes(const RunResult& r) { return static_cast<int>(r.passes.size()); }

Rates stream(const RecycleCase& c, const RunResult& r, const std::string& name) {
  return r.streams.at(static_cast<std::size_t>(c.flowsheet.stream(name).value()));
}

double apart(const Rates& a, const Rates& b) {
  double top = 0;
  for (std::size_t i = 0; i < a.size(); ++i) top = std::max(top, std::fabs(a[i] - b[i]));
  return top;
}

TEST(Cavett, TakesThePublishedPasses) {
  const RecycleCase c = cavett();
  const struct {
    double tolerance;
    int passes;
  } published[] = {{1e-4, 53}, {1e-6, 105}, {1e-8, 157}, {1e-10, 208}};
  for (const auto& row : published)
    EXPECT_NEAR(passes(run(c, Method::None, row.tolerance)), row.passes, 2) << row.tolerance;
  EXPECT_LE(passes(run(c, Method::Dominant, 1e-8)), 39);
  EXPECT_LE(passes(run(c, Method::Multiple, 1e-8)), 24);
  EXPECT_LE(passes(run(c, Method::Automatic, 1e-8)), 31);
  for (const int eigenvalues : {2, 3})
    EXPECT_LE(passes(run(c, Method::Multiple, 1e-8, eigenvalues)), 40) << eigenvalues;
}

TEST(Cavett, ComesOutAtThePublishedAnswersByEveryMethod) {
  const RecycleCase c = cavett();
  for (const Method method : kMethods) {
    SCOPED_TRACE(name_of(method));
    const RunResult r = run(c, method, 1e-8);
    ASSERT_TRUE(r.converged) << r.complaint;
    for (const auto& [name, bound] :
         {std::pair{"P1", 1e-3}, {"P2", 1e-3}, {"R1", 0.03}, {"R2", 0.03}, {"R3", 0.03}}) {
      const Stream& s = c.flowsheet.streams.at(static_cast<std::size_t>(c.flowsheet.stream(name).value()));
      ASSERT_EQ(s.published.size(), 16u);
      EXPECT_LE(distance_from_published(s, stream(c, r, name)), bound) << name;
    }
    ASSERT_TRUE(r.eigenvalue);
    EXPECT_NEAR(*r.eigenvalue, 0.91474, 0.01 * 0.91474);
    EXPECT_EQ(r.flashes, 4 * passes(r));
    EXPECT_EQ(r.accepted() > 0, method != Method::None);
    EXPECT_LT(overall_imbalance(c.flowsheet, r.streams).worst, 1e-7);
  }
}

TEST(Cavett, AnswersDoNotDependOnMethodTearsOrFeed) {
  const RecycleCase c = cavett();
  RecycleCase tenfold = c;
  for (Stream& s : tenfold.flowsheet.streams)
    for (double& rate : s.rates) rate *= 10;
  const double allowed = 1e-6 * c.flowsheet.total_feed();
  const RunResult reference = run(c, Method::None, 1e-12);
  for (const Method method : kMethods) {
    SCOPED_TRACE(name_of(method));
    std::vector<RunResult> others;
    for (const auto& tears : kTears) others.push_back(run(c, method, 1e-12, 4, tears));
    others.push_back(run(tenfold, method, 1e-12));
    for (Rates& rates : others.back().streams)
      for (double& rate : rates) rate /= 10;
    for (const RunResult& other : others) {
      ASSERT_TRUE(other.converged) << other.complaint;
      for (const char* name : {"P1", "P2", "R1", "R2", "R3", "Z1"})
        EXPECT_LE(apart(stream(c, other, name), stream(c, reference, name)), allowed) << name;
    }
  }
}

TEST(Cavett, FindsATearSetThatCutsEachRecycleOnce) {
  RecycleCase c = cavett();
  const Plan found = make_plan(c.flowsheet, {});
  EXPECT_EQ(found.tears.size(), 2u);
  c.tears.clear();
  EXPECT_NEAR(passes(run(c, Method::None, 1e-8)), 157, 6);  // {Z1, Z2}, which cuts one twice, takes 240
}

/// One mixer, one splitter that returns `returned` of each component.
RecycleCase loop(const std::vector<double>& feed, const std::vector<double>& returned) {
  std::vector<std::string> components;
  for (std::size_t i = 0; i < feed.size(); ++i) components.push_back(fmt::format("{{name = \"{}\"}}", i));
  return parse_case(
      fmt::format(R"(title = "loop"
component = [{}]
feed = [{{stream = "F", rates = [{:f}]}}]
unit = [{{name = "mix", kind = "mixer", inlets = ["F", "R"], outlet = "Z"}},
        {{name = "split", kind = "component-splitter", inlet = "Z", outlets = ["R", "P"], recoveries = [{:f}]}}]
solver = {{tolerance = 1e-10, tears = ["Z"]}}
)",
                  fmt::join(components, ", "), fmt::join(feed, ", "), fmt::join(returned, ", ")),
      "loop");
}

TEST(Loop, ConvergesToTheClosedForm) {
  const std::vector<double> feed{5, 3, 2}, returned{0.95, 0.6, 0.2};
  const RecycleCase c = loop(feed, returned);
  for (const Method method : kMethods) {
    SCOPED_TRACE(name_of(method));
    const RunResult r = run(c, method, 1e-12);
    ASSERT_TRUE(r.converged);
    const Rates z = stream(c, r, "Z");
    for (std::size_t i = 0; i < z.size(); ++i) EXPECT_NEAR(z[i], feed[i] / (1 - returned[i]), 1e-9);
    EXPECT_NEAR(r.eigenvalue.value(), 0.95, 1e-3);
  }
}

TEST(Loop, ATornStreamIsSeenAsGuessedEvenBehindItsSource) {
  const RecycleCase c = loop({5, 3}, {0.9, 0.5});
  const RunResult once = run(c, Method::None, 1e-9), twice = run(c, Method::None, 1e-9, 4, {"Z", "R"});
  EXPECT_NEAR(passes(twice), 2 * passes(once), 3);  // each turn of the loop now takes two passes
  EXPECT_NEAR(twice.eigenvalue.value(), std::sqrt(0.9), 1e-3);
}

TEST(Loop, StepsLeadToNoNegativeRates) {
  // Component 1 is not fed and dies out fast; component 0 makes every long step carry it below zero.
  RecycleCase c = loop({1, 0}, {0.95, 0.5});
  c.flowsheet.streams.at(static_cast<std::size_t>(c.flowsheet.stream("Z").value())).start = {1, 1e-3};
  const RunResult r = run(c, Method::Dominant, 1e-10);
  const auto clipped = [](const auto& p) { return p.reason == corvidnum::FixedPointReason::Clipped; };
  EXPECT_TRUE(std::any_of(r.passes.begin(), r.passes.end(), clipped));
  ASSERT_TRUE(r.converged) << r.complaint;
  EXPECT_NEAR(stream(c, r, "Z")[0], 20, 1e-7);
  EXPECT_GE(stream(c, r, "Z")[1], 0);
}

TEST(Loop, SaysThatAComponentWithoutAWayOutDoesNotSettle) {
  for (const int passes : {60, 5000}) {
    RecycleCase c = loop({1, 1}, {1, 0.5});
    c.max_passes = passes;
    for (const Method method : kMethods) {
      SCOPED_TRACE(name_of(method) + std::to_string(passes));
      const RunResult r = run(c, method, 1e-10);
      EXPECT_FALSE(r.converged);
      const char* const says =
          passes == 60 ? "eigenvalue is about 1, not below 1" : "stopped getting smaller";
      EXPECT_NE(r.complaint.find(says), std::string::npos) << r.complaint;
      EXPECT_LE(r.passes.size(), 1000u) << "a stalled iteration ends by itself";
      for (const Rates& rates : r.streams)
        for (const double rate : rates) EXPECT_TRUE(std::isfinite(rate));
    }
  }
}

TEST(Loop, SaysThatItsChangesGrow) {
  RecycleCase c = loop({1, 1}, {0.5, 0.5});
  for (Unit& unit : c.flowsheet.units)
    if (unit.kind == UnitKind::kComponentSplitter) unit.shares = {1.1, 0.5};
  const RunResult r = run(c, Method::Automatic, 1e-10);
  EXPECT_FALSE(r.converged);
  EXPECT_NE(r.complaint.find("the changes grow"), std::string::npos) << r.complaint;
  EXPECT_NE(r.complaint.find("dominant eigenvalue is about 1.1, not below 1"), std::string::npos)
      << r.complaint;
}

TEST(Forecast, NearOneSaysWhatTheEigenvalueSays) {
  const struct {
    double returned;
    const char* says;
  } rows[] = {{0.9999999, "eigenvalue is about 1, not below 1"},
              {0.999999, "eigenvalue of about 0.999999 direct substitution takes more than 1000000 passes"},
              {0.9999, "eigenvalue of about 0.9999 direct substitution takes some "}};
  for (const auto& row : rows) {
    RecycleCase c = loop({1, 1}, {0.5, 0.5});
    for (Unit& unit : c.flowsheet.units)
      if (unit.kind == UnitKind::kComponentSplitter) unit.shares = {row.returned, 0.5};
    for (c.max_passes = 20; c.max_passes < 40; c.max_passes += 5) {
      const std::string said = run(c, Method::None, 1e-10).complaint;
      EXPECT_NE(said.find(row.says), std::string::npos) << said;
    }
  }
}

TEST(Forecast, WaitsUntilTheEigenvalueIsSettled) {
  const std::string words = "direct substitution takes some ";
  for (const auto& tears : kTears) {
    RecycleCase c = cavett();
    const int truth = passes(run(c, Method::None, 1e-8, 4, tears));
    int forecasts = 0;
    for (c.max_passes = 1; c.max_passes < 60; ++c.max_passes) {
      const std::string said = run(c, Method::None, 1e-8, 4, tears).complaint;
      const std::size_t at = said.find(words);
      EXPECT_EQ(said.rfind(c.max_passes == 1 ? "after 1 pass the" : "after ", 0), 0u) << said;
      if (at == std::string::npos) continue;
      ++forecasts;
      EXPECT_NEAR(c.max_passes + std::stoi(said.substr(at + words.size())), truth, 0.08 * truth) << said;
    }
    EXPECT_GT(forecasts, 30) << tears[0] << tears[1];
  }
}

TEST(Comparison, MeasuresFromARunToASmallerTolerance) {
  const RecycleCase c = cavett();
  const Plan plan = make_plan(c.flowsheet, c.tears);
  RunSettings settings;
  std::vector<RunResult> runs;
  for (const Method method : kMethods) runs.push_back(run(c, method, settings.tolerance));
  const std::optional<Reference> reference = find_reference(c.flowsheet, plan, settings, runs);
  ASSERT_TRUE(reference);
  EXPECT_EQ(reference->run.method, Method::Multiple) << "the fastest";
  const RunResult truth = run(c, Method::None, 1e-14);
  for (const RunResult& each : runs) {
    const double error = largest_difference(c.flowsheet, truth, each);
    EXPECT_GT(error, settings.tolerance);
    EXPECT_NEAR(largest_difference(c.flowsheet, reference->run, each), error, 0.01 * error);
  }
  EXPECT_EQ(comparison(c, runs, reference).find("0.0e+00"), std::string::npos);
  for (RunResult& each : runs) each.converged = false;
  EXPECT_FALSE(find_reference(c.flowsheet, plan, settings, runs));
  EXPECT_NE(comparison(c, runs, std::nullopt).find("error: not known"), std::string::npos);
}

TEST(Report, KeepsAStreamBesideItsPublishedRates) {
  const RecycleCase c = cavett();
  const std::string text = report(c, run(c, Method::Multiple, 1e-8)), empty(12, ' ');
  int published = 0;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind(empty, 0) != 0) continue;  // not the heading of a table, whose columns take 14 letters
    EXPECT_NE(line.find("published"), line.find_first_not_of(' ')) << line;
    EXPECT_LE(line.size(), 12 + 6 * 14u) << line;
    for (std::size_t at = 0; (at = line.find("published", at)) != line.npos; ++at) ++published;
  }
  EXPECT_EQ(published, 5) << text;
}

TEST(Report, MarksPublishedRatesThatDiffer) {
  RecycleCase c = cavett();
  const RunResult r = run(c, Method::Multiple, 1e-8);
  Stream& p1 = c.flowsheet.streams.at(static_cast<std::size_t>(c.flowsheet.stream("P1").value()));
  p1.published[1] += 0.1;
  p1.published[3] += 0.1 * p1.within;
  const std::string text = report(c, r);
  EXPECT_EQ(std::count(text.begin(), text.end(), '*'), 2) << text;
  EXPECT_NE(text.find("*    4958.9712"), text.npos) << text;
  EXPECT_NE(text.find("\n  1 of 80 published values differ; a * stands before each\n"), text.npos) << text;
}

TEST(Report, NamesTheComponentAndTheTotalsThatDiffer) {
  RecycleCase c = loop({5, -0.0, 2}, {0, 0, 0});
  RunResult r = run(c, Method::None, 1e-10, 4, {"Z"});
  EXPECT_EQ(report(c, r).find("-0.0"), std::string::npos) << report(c, r);
  r.streams.at(static_cast<std::size_t>(c.flowsheet.stream("P").value())) = {4.93, 0, 2.21};
  EXPECT_NE(report(c, r).find("at most 3.0e-02 of the feed in a component (2); their totals by 2.0e-02"),
            std::string::npos)
      << report(c, r);
  EXPECT_FALSE(overall_imbalance(c.flowsheet, r.streams).is_within(0.0299));
  r.streams.back()[1] = std::nan("");
  EXPECT_FALSE(overall_imbalance(c.flowsheet, r.streams).is_within(1e300));
}

TEST(Memory, ARefusalEndsTheRunAndLeavesNothing) {
  const RecycleCase c = read_case(RECYCLE_CASES "/purge-loop.toml");
  const Plan plan = make_plan(c.flowsheet, c.tears);
  RunSettings settings;
  DebugOut log("unused", 0, 0);  // not open: its lines are made all the same
  settings.acceleration.log = &log;
  for (const Method method : {Method::Dominant, Method::Multiple, Method::Automatic}) {
    SCOPED_TRACE(name_of(method));
    settings.acceleration.method = method;
    const auto history = [&] { return history_csv({converge(c.flowsheet, plan, settings)}); };
    EXPECT_GT(expect_refusals_told(history, 200), 0);
  }
}

TEST(KValues, ComeFromWilsonsForm) {
  // By Wilson's form K is Pc/P at Tc, and about 1 at 0.7 Tc and 10^-(1 + omega) Pc.
  const Wilson w{500, 40, 0.3};
  EXPECT_DOUBLE_EQ(w.k(500, 8), 5);
  EXPECT_NEAR(w.k(350, 40 * std::pow(10, -1.3)), 1, 2e-3);
  const RecycleCase c = read_case(RECYCLE_CASES "/purge-loop.toml");
  const RunResult r = run(c, Method::Multiple, 1e-11);
  ASSERT_TRUE(r.converged);
  const Rates v = stream(c, r, "D"), l = stream(c, r, "B"), f = stream(c, r, "F");
  const double ratio = std::accumulate(l.begin(), l.end(), 0.0) / std::accumulate(v.begin(), v.end(), 0.0);
  EXPECT_NEAR(v[2] / l[2] * ratio, Wilson({425.12, 37.96, 0.200}).k(320, 8), 1e-12);
  EXPECT_NEAR(0.1 * v[0], f[0], 1e-8) << "all methane leaves by the purge";
}

}  // namespace
}  // namespace recycle
