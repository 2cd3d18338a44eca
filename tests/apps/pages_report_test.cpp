// Pages, plots and the index of a folder of reports, without a browser.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <stdexcept>

#include "apps/report/index.h"
#include "tests/support/program.h"

namespace {

using report::Axis;
using report::FittedAxis;
using report::Scale;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN(), kInf = HUGE_VAL;

std::string labels(const FittedAxis& axis, int most) {
  std::string text;
  for (const report::Tick& tick : axis.ticks(most)) text += (text.empty() ? "" : " ") + tick.label;
  return text;
}

Axis axis(Scale scale, bool whole = false) {
  Axis a;
  a.scale = scale;
  a.whole = whole;
  return a;
}

TEST(ReportAxis, HasRoundTicks) {
  const Axis linear = axis(Scale::kLinear), log = axis(Scale::kLog), whole = axis(Scale::kLinear, true);
  Axis fraction = linear;
  fraction.least = 0;
  fraction.most = 1;
  const struct {
    Axis axis;
    std::vector<double> values;
    int most;
    const char* labels;
  } kAxes[] = {
      {linear, {58.2, 113.7}, 6, "60 70 80 90 100 110"},
      {linear, {-0.25, kNaN, 0.1, kInf}, 4, "−0.2 −0.1 0.0 0.1"},
      {linear, {105, 105, 105}, 4, "100 105 110"},
      {linear, {0}, 5, "−0.4 −0.2 0.0 0.2 0.4"},
      {linear, {}, 5, "−0.4 −0.2 0.0 0.2 0.4"},
      {linear, {2e-8, 3e-8}, 6, "2.0·10⁻⁸ 2.2·10⁻⁸ 2.4·10⁻⁸ 2.6·10⁻⁸ 2.8·10⁻⁸ 3.0·10⁻⁸"},
      {linear, {0, 3e12}, 4, "0 1·10¹² 2·10¹² 3·10¹²"},
      {fraction, {0.2, 0.4}, 5, "0.0 0.2 0.4 0.6 0.8 1.0"},
      {fraction, {0.2, 1.3}, 5, "0.0 0.5 1.0"},
      {whole, {1, 17}, 4, "1 5 10 15"},
      {whole, {1, 2}, 10, "1 2"},
      {whole, {1}, 10, "1"},
      {log, {1, 760}, 5, "1 10 100"},
      {log, {0, -1, 1e-12, 50}, 5, "10⁻¹² 10⁻⁹ 10⁻⁶ 10⁻³ 10⁰"},
      {log, {30, 200}, 6, "50 100 200"},
      {log, {100, 110}, 6, "100 102 104 106 108 110"},
      {log, {7}, 5, "5 10 20"},
  };
  for (const auto& each : kAxes)
    EXPECT_EQ(labels(FittedAxis(each.axis, each.values), each.most), each.labels);
}

TEST(ReportAxis, SurvivesExtremeValues) {
  const double kExtremes[] = {0,     5e-324, 1e-300, 1,      1 + 1e-15, 1 + 1e-8, 1e15,
                              1e299, 1e308,  -1,     -1e300, kNaN,      -kInf};
  for (const double a : kExtremes) {
    for (const double b : kExtremes) {
      for (const Scale scale : {Scale::kLinear, Scale::kLog}) {
        const FittedAxis fitted(axis(scale), {a, b});
        const std::vector<report::Tick> ticks = fitted.ticks(6);
        SCOPED_TRACE(fmt::format("{} {} {}", a, b, scale == Scale::kLog));
        EXPECT_GE(ticks.size(), 1U);
        EXPECT_LE(ticks.size(), 13U);
        for (std::size_t i = 0; i < ticks.size(); ++i) {
          EXPECT_GE(fitted.place(ticks[i].at), -1e-6);
          EXPECT_LE(fitted.place(ticks[i].at), 1 + 1e-6);
          EXPECT_TRUE(i == 0 || ticks[i].label != ticks[i - 1].label);
        }
        for (const double v : {a, b})
          EXPECT_TRUE(!fitted.has_place(v) || (fitted.place(v) >= 0 && fitted.place(v) <= 1)) << v;
      }
    }
  }
}

int count(const std::string& text, const std::string& word) {
  int found = 0;
  for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) ++found;
  return found;
}

TEST(ReportPlot, InterruptsLinesAndThinsLongOnes) {
  report::Plot plot;
  plot.width = report::Width::kThird;
  plot.series = {{"gap", {1, 2, 3, 4, 5}, {1, 2, kNaN, 4, 5}, true, false}};
  const std::string gap = report::draw(plot, "p").html;
  const std::string path = gap.substr(gap.find("class=\"line\" d=\"M", gap.find("<g ")));
  EXPECT_EQ(count(path.substr(0, path.find("/>")), "M"), 2);

  report::Series noise{"", {}, {}};
  for (int i = 0; i < 1'000'000; ++i) {
    noise.x.push_back(i);
    noise.y.push_back(i == 700'001 ? 1000 : i % 7);
  }
  plot.series = {noise};
  const std::string long_one = report::draw(plot, "p").html;
  EXPECT_LT(long_one.size(), 50'000U);
  // The one high point, at the top of the frame, is still there.
  plot.series[0].y[700'001] = 1;
  EXPECT_NE(report::draw(plot, "p").html, long_one);
}

TEST(ReportPage, IsPlainTextEscapedAndTheSameEachTime) {
  const auto make = [] {
    report::Page page("<b>&\"x", "program");
    page.paragraph("a<script>b\x01\x7F");
    page.facts({{"<i>", "<u>", report::Tone::kBad}});
    page.table({"<s>", {{"<th>", true}}, {{{"<td>", report::Tone::kGood}, "beyond the columns"}}});
    report::Plot plot;
    plot.title = plot.x.title = plot.y.title = plot.note = "<q>";
    plot.series = {{"<q>", {1}, {1}}};
    plot.limits = {{"<q>", 1, true}, {"<q>", 1, false}};
    page.plots({plot, plot});
    return page.html();
  };
  const std::string html = make();
  EXPECT_EQ(html, make());
  for (const char* raw : {"<b>", "<script", "<i>", "<u>", "<s>", "<q>", "\x01", "\x7F", "http"})
    EXPECT_EQ(count(html, raw), 0) << raw;
  EXPECT_EQ(count(html, "<th>"), 0);
  EXPECT_EQ(count(html, " id=\"p1t\""), 1);
  EXPECT_EQ(count(html, " id=\"p2t\""), 1);
}

class ReportFolder : public ProgramTest {
 protected:
  ReportFolder() : ProgramTest(COLUMN_PROGRAM) {}
  std::string path(const std::string& name) const { return (folder_ / name).string(); }
  void add(const std::string& page, const std::string& what, const std::string& published) {
    report::Entry entry;
    entry.what = what;
    entry.size = "3\tpasses\n";
    entry.seconds = 0.0125;
    entry.published = published;
    report::Folder(path("a/b"), page).add(report::Page(what, "p"), entry);
  }
};

TEST_F(ReportFolder, KeepsALineForEachPage) {
  add("one.html", "first", "agrees");
  add("two.html", "second", "-");
  std::ofstream(path("a/b/index.tsv"), std::ios::app) << "not a line of the index\n";
  add("one.html", "again", report::verdict_on_published({9, 2}));
  EXPECT_EQ(contents(path("a/b/index.tsv")),
            "one.html\tp\tagain\t3 passes \t0.0125\t-\tdiffers (2 of 9)\n"
            "two.html\tp\tsecond\t3 passes \t0.0125\t-\t-\n");
  const std::string html = contents(path("a/b/index.html"));
  for (const char* words : {"<a href=\"one.html\">again</a>", "12.5 ms", "bad\">differs (2 of 9)"})
    EXPECT_EQ(count(html, words), words[0] == '1' ? 2 : 1) << words;
  add("ß%.html", "third", "-");
  EXPECT_EQ(count(contents(path("a/b/index.html")), "<a href=\"%C3%9F%25.html\">third</a>"), 1);
  EXPECT_EQ(report::page_name("column-", "x/a b&.v2.toml"), "column-a_b_.v2.html");
  EXPECT_EQ(report::page_name("solve-", "x/a.mtx.gz"), "solve-a.html");
  EXPECT_EQ(report::page_name("solve-", "ß.mtx"), "solve-ß.html");
}

TEST_F(ReportFolder, HoldsTheSamePageAfterEachRunOfACase) {
  for (const char* folder : {"x", "y"})
    expect_solves(COLUMN_CASES "/butane-pentane.toml --report " + std::string(folder));
  const std::string page = "column-butane-pentane.html";
  EXPECT_EQ(contents(folder_ / "x" / page), contents(folder_ / "y" / page));
  EXPECT_NE(contents(folder_ / "x/index.tsv").find("\tagrees\n"), std::string::npos);
}

TEST_F(ReportFolder, NamesThePagesOfStandardInput) {
  expect_solves("- --report r <" COLUMN_CASES "/binary32.toml");
  expect_solves("fit - --report r <" COLUMN_DATA "/toluene.csv");
  EXPECT_TRUE(fs::exists(folder_ / "r/column-standard-input.html"));
  EXPECT_TRUE(fs::exists(folder_ / "r/fit-standard-input.html"));
}

TEST_F(ReportFolder, JudgesPublishedValuesByTheAnswerShown) {
  std::string text = contents(COLUMN_CASES "/binary32.toml");
  text.replace(text.find("0.935420"), 8, "0.945420");
  write("strange.toml", text);
  write("stopped.toml", text.replace(text.find("[solver]"), 8, "[solver]\nmax_passes = 3"));
  for (const char* how : {"strange.toml", "strange.toml --method newton", "stopped.toml --method newton"}) {
    SCOPED_TRACE(how);
    EXPECT_EQ(run(std::string(how) + " --strict --report r"), 5);
    EXPECT_TRUE(printed("\n1 of 2 published values differ; a * stands before each\n")) << out_;
    const std::string name(how, std::strcspn(how, "."));
    const std::string html = contents(folder_ / ("r/column-" + name + ".html"));
    EXPECT_EQ(count(html, "<td class=\"words bad\">differs</td>"), 1) << html;
    EXPECT_EQ(count(html, "1 of 2</dd>"), 1);
  }
  EXPECT_EQ(count(contents(folder_ / "r/index.tsv"), "\tdiffers (1 of 2)\n"), 2);
}

TEST_F(ReportFolder, ShowsMethodsThatDoNotConverge) {
  std::string hasty = contents(COLUMN_CASES "/butane-pentane.toml");
  hasty.replace(hasty.find("[solver]"), 8, "[solver]\nmax_passes = 30");
  write("hasty.toml", hasty);
  const auto page_says = [&](const std::string& options, std::initializer_list<const char*> all) {
    expect_solves("hasty.toml --report reports " + options);
    const std::string html = contents(folder_ / "reports" / "column-hasty.html");
    for (const char* words : all) EXPECT_NE(html.find(words), std::string::npos) << words;
  };
  page_says("--method newton", {"not converged", "steps of Newton's method"});
  EXPECT_NE(contents(folder_ / "reports/index.tsv").find("17 stages, 5 Newton steps"), std::string::npos);
  page_says("--accelerate multiple", {"not converged", "as asked for"});
}

TEST_F(ReportFolder, LeavesOutWhatThreePointsCannotTell) {
  write("three.csv",
        "component,x\nformula,C6H6\nantoine,7,1500,-20\nunits,degC,mmHg\n"
        "temperature,pressure\n10,45\n50,271\n80,757\n");
  expect_solves("fit three.csv --report reports");
  const std::string html = contents(folder_ / "reports" / "fit-three.html");
  EXPECT_EQ(count(html, "nan"), 0) << html;
  EXPECT_EQ(count(html, "<dd>-</dd>"), 1);
}

TEST_F(ReportFolder, IsTriedBeforeTheWorkAndLeftAloneAfterAFailure) {
  write("file", "");
  write("bad.toml", "title = 3\n");
  write("bad.csv", "component,x\n");
  fs::create_directories(folder_ / "taken" / "index.html");
  const std::string kCase = COLUMN_CASES "/butane-pentane.toml";
  expect_runs(
      {{kCase + " --report file", 1, "file: "},
       {kCase + " --report taken", 1, "index.html: "},
       {"fit " COLUMN_DATA "/toluene.csv --report taken", 1, "index.html: "},
       {kCase + " --report new --csv new/index.tsv", 2, "is written by --report too"},
       {"fit " COLUMN_DATA "/toluene.csv --report . --properties fit-toluene.html", 2, "--report too"},
       {kCase + " --report \"\"", 2, "the name is empty"},
       {"bad.toml --report new", 1, "bad.toml:1: "},
       {"fit bad.csv --report new", 1, "bad.csv:1: "}});
  EXPECT_FALSE(fs::exists(folder_ / "new"));
}

}  // namespace
