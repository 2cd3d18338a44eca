// Tests how the page of measurements is made of results.

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <stdexcept>
#include <string>

#include "bench/page/markdown.h"
#include "bench/page/measures.h"
#include "bench/page/page.h"
#include "bench/page/pictures.h"
#include "bench/page/results.h"
#include "bench/page/tables.h"

namespace {

using page::Results;

/// Reads the lines of one file, written with a blank where the file has a tab.
Results results_of(std::string lines) {
  for (char& c : lines)
    if (c == ' ') c = '\t';
  std::istringstream in(lines);
  Results results;
  results.read("sparse", in);
  return results;
}

std::string filled(const std::string& page_template, const Results& results) {
  std::istringstream in(page_template);
  return page::fill(in, results);
}

// At order 1000 ma48 takes half of the time of the fastest peer, at 10000 eight times as long.
const char* const kTwoOrders =
    "# date today\n"
    "analyse/column/1000/ma48 best 0.001\n"
    "analyse/column/1000/SuperLU best 0.002\n"
    "analyse/column/1000/MUMPS best 0.004\n"
    "analyse/column/10000/ma48 best 0.1\n"
    "analyse/column/10000/SuperLU best 0.02\n"
    "analyse/column/10000/MUMPS best 0.0125\n"
    "analyse/column/10000/ma38_default best 0.0001\n";

TEST(PerformancePage, DividesByTheFastestPeerThatWasMeasured) {
  const Results results = results_of(kTwoOrders);
  EXPECT_EQ(page::ratio_to_fastest(results, "analyse", "column", "1000", "ma48"), 0.5);
  EXPECT_EQ(page::ratio_to_fastest(results, "analyse", "column", "10000", "ma48"), 8.0);
  EXPECT_EQ(page::ratio_to_fastest(results, "analyse", "column", "10000", "ma38"), std::nullopt);
  EXPECT_EQ(page::ratio_to_fastest(results, "solve", "column", "10000", "ma48"), std::nullopt);
}

TEST(PerformancePage, PutsTablesInPlaceOfMarks) {
  const std::string page = filled("before\n@ratios@\nafter\n", results_of(kTwoOrders));
  EXPECT_EQ(page.substr(0, 7), "before\n");
  EXPECT_EQ(page.substr(page.size() - 6), "after\n");
  EXPECT_NE(page.find("| `column` | 1e3 | 0.50 | – | – |"), std::string::npos) << page;
  EXPECT_NE(page.find("| `column` | 1e4 | 8.0 | – | – |"), std::string::npos) << page;
  EXPECT_NE(page.find("| geometric mean |  | 2.0 | – | – |"), std::string::npos) << page;
  EXPECT_LT(page.find("| 1e3 |"), page.find("| 1e4 |"));
}

TEST(PerformancePage, MakesEverySectionOfNoResults) {
  for (const auto& [name, section] : page::sections()) {
    SCOPED_TRACE(name);
    EXPECT_EQ(filled('@' + name + "@\n", Results()), section(Results()));
  }
}

TEST(PerformancePage, RefusesUnknownMarksAndLinesThatAreNoResults) {
  EXPECT_THROW(filled("@no such table@\n", Results()), std::runtime_error);
  for (const char* line : {"run best", "run best 1 2", "run best fast", "run best 1x", "run best "}) {
    SCOPED_TRACE(line);
    EXPECT_THROW(results_of(line), std::runtime_error);
  }
}

TEST(PerformancePage, WritesTwoDigitsWithoutExponent) {
  const struct {
    double value;
    const char* text;
  } kValues[] = {{0.00497, "0.0050"}, {0.0996, "0.10"}, {0.333, "0.33"}, {0.996, "1.0"},
                 {9.94, "9.9"},       {9.96, "10"},     {134, "134"},    {0, "0.0"}};
  for (const auto& one : kValues) EXPECT_EQ(page::two_digits(one.value), one.text);
  EXPECT_EQ(page::two_digits(std::nullopt), "–");
}

TEST(PerformancePage, FitsThePowerOfGrowth) {
  EXPECT_EQ(page::growth({{10, 1}}), std::nullopt);
  EXPECT_NEAR(page::growth({{10, 3}, {100, 300}, {1000, 30000}}).value(), 2, 1e-12);
}

TEST(PerformancePage, DrawsEachPointThatWasMeasured) {
  const auto pictures = page::pictures(results_of(kTwoOrders));
  ASSERT_FALSE(pictures.empty());
  const std::string& svg = pictures[0].second;
  EXPECT_EQ(svg.rfind("<svg xmlns=\"http://www.w3.org/2000/svg\"", 0), 0u);
  // The line of ma48 goes through two points, the second one a factor of 16 above the first. The first such
  // group is the legend's.
  const std::size_t line = svg.rfind("<g class=\"s0\"><path class=\"line\" d=\"M");
  ASSERT_NE(line, std::string::npos);
  double x[2], y[2];
  char letter;
  std::istringstream path(svg.substr(svg.find("d=\"M", line) + 4));
  path >> x[0] >> y[0] >> letter >> x[1] >> y[1];
  EXPECT_EQ(letter, 'L');
  EXPECT_GT(x[1], x[0]);
  EXPECT_LT(y[1], y[0]);
  for (const auto& [name, picture] : pictures) {
    SCOPED_TRACE(name);
    EXPECT_EQ(picture.find("nan"), std::string::npos);
    EXPECT_EQ(picture.find("inf"), std::string::npos);
  }
}

TEST(PerformancePage, DrawsPicturesOfNoResults) {
  for (const auto& [name, picture] : page::pictures(Results())) {
    SCOPED_TRACE(name);
    EXPECT_EQ(picture.find("nan"), std::string::npos);
    EXPECT_EQ(picture.find("inf"), std::string::npos);
  }
}

}  // namespace
