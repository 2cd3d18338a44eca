// Tests how the page of measurements is made of results.

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/page/markdown.h"
#include "bench/page/measures.h"
#include "bench/page/page.h"
#include "bench/page/pictures.h"
#include "bench/page/results.h"
#include "bench/page/tables.h"

namespace {

using page::Results;

/// Reads the lines of one file, written with a blank where the file has a tab, and '_' where it has a blank.
Results results_of(std::string lines) {
  for (char& c : lines) {
    if (c == ' ') c = '\t';
    if (c == '_') c = ' ';
  }
  std::istringstream in(lines);
  Results results;
  results.read("sparse", in);
  return results;
}

std::vector<std::string> gaps(const std::string& page_template, const Results& results) {
  std::istringstream in(page_template);
  return page::gaps(in, results);
}

/// Expects lines in a page.
void expect_rows(const std::string& page, const std::vector<std::string>& rows) {
  for (const std::string& row : rows)
    EXPECT_NE(page.find(row + '\n'), std::string::npos) << row << "\n" << page;
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
    "analyse/column/10000/other best 0.0001\n";

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
  EXPECT_LT(page.find("| 1e3 |"), page.find("| 1e4 |"));
}

TEST(PerformancePage, HasAGapInEverySectionOfNoResults) {
  for (const auto& [name, section] : page::sections()) {
    SCOPED_TRACE(name);
    const std::string text = section(Results());
    for (const char* number : {"nan", "inf", "not finite"}) EXPECT_EQ(text.find(number), std::string::npos);
    EXPECT_FALSE(gaps('@' + name + "@\n", Results()).empty()) << text;
  }
}

/// Gives all tasks of a matrix the times of ma48, ma38, automatic, judged and one peer, in seconds; 0 leaves
/// a solver out.
std::string times_of(const std::string& matrix, std::vector<double> times) {
  const char* const solvers[] = {"ma48", "ma38", "automatic", "judged", "MUMPS"};
  std::string lines;
  for (const char* task : {"analyse/", "refactorise/", "solve/"})
    for (std::size_t k = 0; k < times.size(); ++k)
      if (times[k] > 0)
        lines += task + matrix + '/' + solvers[k] + " best " + std::to_string(times[k]) + '\n';
  return lines;
}

TEST(PerformancePage, TellsGapsFromWhatIsLeftOut) {
  // ma48 is not run on the larger cube; the peer of the square got no result.
  const std::string cubes = times_of("cube/10000", {4, 1, 2, 2, 1}) + times_of("cube/30000", {0, 4, 4, 4, 1});
  EXPECT_EQ(gaps("a – b\n@ratios@\n", results_of(cubes)), std::vector<std::string>());
  const Results results = results_of(cubes + times_of("square/10000", {1, 1, 1, 1}));
  EXPECT_EQ(gaps("@ratios@\n@sparse growth@\n", results).front(),
            "ratios: | `square` | 1e4 | – | – | – | – | – | – |");
  const std::string page = filled("@ratios@\n@sparse times@\n", results);
  expect_rows(page, {"| `cube` | 3e4 |  |  |  | 4.0 | 4.0 | 4.0 |",
                     "| solve | `cube` | 3e4 |  | 4000 | 4000 | 4000 | – | – | 1000 |",
                     // The means are those of the smaller cube, the only row with all ratios.
                     "| geometric mean of rows without a gap |  | 4.0 | 4.0 | 4.0 | 1.0 | 1.0 | 1.0 |"});
}

TEST(PerformancePage, ComparesOrderingsWithTheBestPeer) {
  std::string lines;
  const auto add = [&](const std::string& mesh, std::vector<int> bandwidths, std::vector<int> profiles) {
    const char* const orderings[] = {"gps", "gk", "rcm", "king", "sloan"};
    for (std::size_t k = 0; k < 5; ++k) {
      const std::string run = "quality/" + mesh + '/' + orderings[k];
      lines += run + " bandwidth " + std::to_string(bandwidths[k]) + '\n' + run + " profile " +
               std::to_string(profiles[k]) + '\n' + run + " nodes 99\n";
    }
  };
  add("ring/1000", {5, 9, 10, 20, 40}, {70, 60, 90, 80, 50});
  add("cube/1000", {1, 1, 9, 9, 9}, {1, 1, 9, 9, 9});  // no mesh of the page
  add("triangles/1000", {9, 9, 6, 7, 8}, {70, 40, 90, 80, 50});
  const Results results = results_of(lines);
  expect_rows(filled("@reordering quality@\n@reordering summary@\n", results),
              {"| `ring` | 99 | **5** | 9 | 10 | 20 | 40 | 70 | 60 | 90 | 80 | **50** |",
               "| bandwidth by `gps` | 2 | 1 | 0.50 | 1.50 |", "| profile by `gk` | 2 | 1 | 0.80 | 1.20 |"});
  expect_rows(filled("@reordering summary@\n", Results()), {"| bandwidth by `gps` | 0 | 0 | – | – |"});
}

TEST(PerformancePage, ComparesTheChoiceWithTheFasterMethod) {
  const std::string run = "choice/cube_8 ";
  expect_rows(filled("@choice@\n",
                     results_of(run + "order 512\n" + run + "entries 3200\n" + run + "method 2\n" + run +
                                "ma48 0.005\n" + run + "ma38 0.002\n" + run + "automatic 0.003\n" + run +
                                "judged 0.004\n" + "choice/square_9 ma48 1\n")),
              {"| cube 8 | 512 | 3200 | `ma38` | 5.00 | 2.00 | 1.5 | 2.0 | – |",
               "| square 9 | – | – | – | 1000 | – | – | – | – |"});
}

TEST(PerformancePage, TakesWrongSolutionsForResultsOnlyWhereFrontsGrowLittle) {
  std::istringstream in(
      "analyse/square/10000/ma38\tbest\t0.02\n"
      "controls/square/10000/ma38_growth\twrong solution\t1\n"
      "controls/square/10000/ma38_default\twrong solution\t1\n"
      "controls/square/10000/ma38_both\tbest\t0.03\n"
      "controls/square/10000/ma38_both\toperations\t2.6e7\n");
  Results results;
  results.read("sparse", in);
  expect_rows(
      filled("@controls@\n@scatter@\n", results),
      {"| default | – |", "| ICNTL(6) = 1 | – |", "| CNTL(2) = 1.2 alone | wrong solution |",
       "| both | 2.6e7, 30.0 ms |", "between 1.5 and 1.5 times as long, which is the scatter of one run."});
}

TEST(PerformancePage, NamesConditionsAndExactOrders) {
  const Results results = results_of(
      "# date today\n# repetitions 3\nanalyse/cube/10000/ma38 best 1\nanalyse/cube/10000/ma38 n 10648\n"
      "analyse/cube/10000/ma38 entries 71632\nanalyse/cube/20000/ma38 best 4\nanalyse/cube/20000/ma38 n "
      "21296\n");
  expect_rows(filled("@conditions@\n@matrices@\n@sparse growth@\n", results),
              {"- repetitions: 3", "- BLAS: –", "| `sparse` | today | – | – | – |",
               "| `cube` | 1e4 | 10648 | 71632 |", "| `cube` | 2e4 | 21296 | – |",
               "| analyse and factorise | `cube` |  | 2.0 | – | – | – |"});
}

TEST(PerformancePage, RefusesUnknownMarksAndLinesThatAreNoResults) {
  EXPECT_THROW(filled("@no such table@\n", Results()), std::runtime_error);
  for (const char* line : {"run best", "run best 1 2", "run best fast", "run best 1x", "run best "}) {
    SCOPED_TRACE(line);
    EXPECT_THROW(results_of(line), std::runtime_error);
  }
  try {
    results_of("run best 1\nrun best\n");
    FAIL();
  } catch (const std::runtime_error& problem) {
    EXPECT_EQ(std::string(problem.what()).rfind("sparse, line 2: ", 0), 0u) << problem.what();
  }
}

TEST(PerformancePage, RefusesAFolderWithoutResults) {
  const std::filesystem::path folder = std::filesystem::path(testing::TempDir()) / "no_results";
  std::filesystem::create_directory(folder);
  EXPECT_THROW(page::read_results(folder.string()), std::runtime_error);
  std::filesystem::remove(folder);
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

TEST(PerformancePage, LabelsTheAxisUpToItsHighestPoint) {
  const std::string svg = page::pictures(results_of(kTwoOrders))[0].second;  // 0.5 and 8
  EXPECT_NE(svg.find(">10</text>"), std::string::npos);
  EXPECT_EQ(svg.find(">20</text>"), std::string::npos);
  EXPECT_NE(svg.find("below it the library is faster"), std::string::npos);
}

TEST(PerformancePage, DrawsNoPointOfNoResults) {
  for (const auto& [name, picture] : page::pictures(Results())) {
    SCOPED_TRACE(name);
    for (const char* number : {"nan", "inf"}) EXPECT_EQ(picture.find(number), std::string::npos);
    EXPECT_EQ(picture.find("<g ", picture.find("class=\"panel\"")), std::string::npos);
  }
}

}  // namespace
