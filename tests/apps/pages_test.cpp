// The pages that the programs write, as a browser shows them on a screen and on a phone. Needs Chromium and a
// font; without a browser these tests are skipped.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "apps/common/output.h"
#include "apps/report/index.h"
#include "tests/support/program.h"

namespace {

constexpr int kWidths[] = {1200, 360};

/// A run of a program that adds a page to the folder of reports.
struct ReportRun {
  const char* program;
  std::string arguments;
  std::string page;
  int plots;
  int code = 0;
};

const std::string kCases = COLUMN_CASES "/", kData = COLUMN_DATA "/";
const std::string kFlowsheets = RECYCLE_CASES "/", kMatrices = SOLVE_MATRICES "/";

/// Its last two equations are for one unknown.
constexpr char kSingularMatrix[] =
    "%%MatrixMarket matrix coordinate real general\n3 3 4\n1 1 1\n1 3 2\n2 2 1\n3 2 1\n";
const ReportRun kRuns[] = {
    {COLUMN_PROGRAM, kCases + "butane-pentane.toml", "column-butane-pentane.html", 4},
    {COLUMN_PROGRAM, kCases + "binary32.toml --method newton", "column-binary32.html", 4},
    {COLUMN_PROGRAM, kCases + "measured.toml", "column-measured.html", 4},
    {COLUMN_PROGRAM, kCases + "aromatics-pumparound.toml --accelerate multiple",
     "column-aromatics-pumparound.html", 4},
    {COLUMN_PROGRAM, "fit " + kData + "benzene.csv " + kData + "toluene.csv", "fit-benzene-and-1-more.html",
     4},
    {RECYCLE_PROGRAM, kFlowsheets + "cavett.toml --compare", "recycle-cavett.html", 3},
    {RECYCLE_PROGRAM, kFlowsheets + "purge-loop.toml --method direct --max-passes 5",
     "recycle-purge-loop.html", 3, 3},
    {SOLVE_PROGRAM, kMatrices + "plate.mtx --try-all --reorder profile", "solve-plate.html", 5},
    {SOLVE_PROGRAM, kMatrices + "recycle.mtx --refactor-with " + kMatrices + "recycle_80.mtx",
     "solve-recycle.html", 5},
    {SOLVE_PROGRAM, "singular.mtx", "solve-singular.html", 3, 3},
};

/// What the browser measured of a page at one width.
struct Measured {
  std::string page;
  int width, plots;
  std::string faults;  // empty: none
};

struct Page {
  std::string name, html;
};

class Pages : public ProgramTest {
 protected:
  Pages() : ProgramTest("chromium") {}

  void SetUp() override {
    if (!test_support::system_is_posix())
      GTEST_SKIP() << "the browser is a program of Linux, as is its search";
    for (const char* name : {"chromium", "chromium-browser", "google-chrome"})
      if (browser_.empty() && shell(std::string("command -v ") + name) == 0) browser_ = name;
    if (browser_.empty()) GTEST_SKIP() << "no chromium: install the packages chromium and fonts-dejavu-core";
  }

  /// Shows the pages at all widths, each in a frame of its own, in one run of the browser.
  std::vector<Measured> measure(const std::vector<Page>& pages) {
    std::string viewer = "<!DOCTYPE html><meta charset=\"utf-8\"><script>" + contents(PAGES_MEASURE) +
                         "</script><pre id=\"measured\"></pre>\n";
    for (const Page& page : pages)
      for (const int width : kWidths)
        viewer += fmt::format("<iframe name=\"{}\" width=\"{}\" height=\"800\" srcdoc=\"{}\"></iframe>\n",
                              page.name, width, report::escaped(page.html));
    write("viewer.html", viewer);
    shell("id -u");
    const std::string root = out_ == "0\n" ? " --no-sandbox" : "";  // the sandbox refuses to run as root
    const int code = shell("timeout 50 " + browser_ + root +
                           " --headless --disable-gpu --disable-dev-shm-usage --user-data-dir=profile"
                           " --enable-logging=stderr --v=0 --dump-dom viewer.html");
    EXPECT_EQ(code, 0) << err_;
    return parse(out_);
  }

  static std::vector<Measured> parse(const std::string& dom) {
    const std::regex line("page (\\S+) (\\d+) plots (\\d+) (.*)\n");
    std::vector<Measured> all;
    for (std::sregex_iterator at(dom.begin(), dom.end(), line), end; at != end; ++at)
      all.push_back({(*at)[1], std::stoi((*at)[2]), std::stoi((*at)[3]), (*at)[4]});
    return all;
  }

  bool console_is_silent() const { return err_.find("CONSOLE") == std::string::npos; }

  std::string browser_;
};

/// Returns a page with plots of numbers that need long labels, of few points, and of many lines.
std::string page_of_extremes() {
  using report::Width;
  const std::vector<std::vector<double>> kValues = {
      {5},           {0, 1},          {-2.5e-8, 3.1e-8}, {1e15, 1e15 + 4}, {-1e299, 1e299},
      {380, 380.01}, {1e-200, 1e200}, {0.30, 0.31},      {1e7, 9e7},       {1, 1'000'000},
      {1e-5, 2e-5}};
  report::Page page(std::string(300, 'x'), "test");
  int serial = 0;
  for (const std::vector<double>& values : kValues) {
    for (const report::Scale scale : {report::Scale::kLinear, report::Scale::kLog}) {
      report::Plot plot;
      plot.title = std::to_string(serial);
      plot.x = {"x", scale};
      plot.y = {"y", scale};
      plot.width =
          std::vector{Width::kThird, Width::kHalf, Width::kFull}[static_cast<std::size_t>(serial % 3)];
      plot.tall = serial++ % 2 == 0;
      for (int i = 0; i < 12; ++i) plot.series.push_back({"a component of a long name", values, values});
      for (const double v : values) {
        plot.limits.push_back({"a limit", v});
        plot.limits.push_back({"another limit", v, true});
      }
      page.plots({plot});
    }
  }
  page.table({"", {"a"}, {std::vector<report::Cell>(60, "wide")}});
  return page.html();
}

TEST_F(Pages, AreDrawnWholeOnAScreenAndOnAPhone) {
  std::vector<Page> pages;
  std::vector<int> plots;
  write("singular.mtx", kSingularMatrix);
  for (const ReportRun& run : kRuns) {
    ASSERT_EQ(shell(fmt::format("\"{}\" {} --report reports", run.program, run.arguments)), run.code) << err_;
    pages.push_back({run.page, contents(folder_ / "reports" / run.page)});
    plots.push_back(run.plots);
  }
  pages.push_back({"index.html", contents(folder_ / "reports" / "index.html")});
  plots.push_back(0);
  pages.push_back({"extremes", page_of_extremes()});
  plots.push_back(22);
  const std::vector<Measured> measured = measure(pages);
  ASSERT_EQ(measured.size(), pages.size() * std::size(kWidths)) << out_ << err_;
  for (std::size_t i = 0; i < measured.size(); ++i) {
    const Measured& m = measured[i];
    EXPECT_EQ(m.plots, plots[i / std::size(kWidths)]) << m.page;
    EXPECT_EQ(m.faults, "") << m.page << " at " << m.width;
  }
  EXPECT_TRUE(console_is_silent()) << err_;
}

/// Checks the measuring itself.
TEST_F(Pages, FaultsAreSeen) {
  const auto svg = [](const std::string& inside) {
    return report::document(
        "", "<svg class=\"plot\" role=\"img\" viewBox=\"0 0 360 100\"><title>t</title><desc>d</desc>" +
                inside + "</svg>");
  };
  const std::string curve = "<path class=\"line s0\" d=\"M0 0L100 100\"/>";
  const std::vector<std::pair<Page, std::string>> faulty = {
      {{"clipped", svg(curve + "<text x=\"340\" y=\"50\">12345</text>")}, "clipped \"12345\""},
      {{"overlapping", svg(curve + "<text x=\"10\" y=\"50\">12</text><text x=\"20\" y=\"52\">34</text>")},
       "overlap \"12\" \"34\""},
      {{"small", svg(curve + "<text x=\"10\" y=\"50\" style=\"font-size:2px\">1</text>")}, "small \"1\""},
      {{"empty", svg("<path class=\"axis\" d=\"M0 0L100 100\"/>")}, "empty plot"},
      {{"wide", report::document("", "<div style=\"width:2000px\">.</div><script>console.error(1)</script>")},
       "page 20"},
      {{"mute", report::document("", "<svg role=\"img\" viewBox=\"0 0 9 9\">" + curve + "</svg>")},
       "plot without a description"},
  };
  std::vector<Page> pages;
  for (const auto& [page, fault] : faulty) pages.push_back(page);
  const std::vector<Measured> measured = measure(pages);
  ASSERT_EQ(measured.size(), pages.size() * std::size(kWidths)) << out_ << err_;
  for (std::size_t i = 0; i < measured.size(); ++i) {
    const std::string& fault = faulty[i / std::size(kWidths)].second;
    EXPECT_EQ(measured[i].faults.compare(0, fault.size(), fault), 0) << fault << ": " << measured[i].faults;
  }
  EXPECT_FALSE(console_is_silent());
}

}  // namespace
