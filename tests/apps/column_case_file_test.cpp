#include "apps/column/case_file.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/apps/bad_input.h"

namespace column {
namespace {

const std::string kGood = R"(title = "a column"
model = "antoine"
[[component]]
name = "benzene"
antoine = [6.90565, 1211.033, 220.790]
[[component]]
name = "toluene"
antoine = [6.95464, 1344.800, 219.482]
[column]
stages = 12
condenser = "total"
pressure = 760
reflux_ratio = 2.5
distillate = 5
bottoms = 4
[[feed]]
stage = 6
rate = 10
composition = [0.4, 0.6]
[[draw]]
stage = 3
phase = "liquid"
rate = 1
[[pumparound]]
from = 8
to = 4
rate = 2
[solver]
tolerance = 1e-8
[shortcut]
relative_volatilities = [2.4, 1]
light_key = "benzene"
heavy_key = "toluene"
light_in_distillate = 3
heavy_in_distillate = 1
[published.temperatures]
first_stage = 10
celsius = [80, 90, 100]
decimals = 1
)";

const std::vector<BadInput> kBadFiles{
    {"stages = 12", "stages = ", 10, ""},
    {"stages = 12", "stages = 12\nstages = 13", 11, "stages"},
    {"title = \"a column\"", "titel = \"a column\"", 1, "unknown key \"titel\" in the case"},
    {"a column", "a\\ncolumn", 1, "\"title\" in the case must be one line of plain characters"},
    {"title = \"a column\"", "title = 5", 1, "\"title\" in the case must be a text, not integer"},
    {"\"antoine\"", "\"margules\"", 2,
     "must be one of relative-volatility, depriester, antoine, measured, not \"margules\""},
    {"\"antoine\"", "\"depriester\"", 5, "unknown key \"antoine\" in [[component]]"},
    {"\"toluene\"", "\"tol\\nuene\"", 7, "must be one line of plain characters"},
    {"tolerance = 1e-8", "tolerance = 9.9999e-13", 29, "must lie between 1e-12 and 1 degree, not 9.9999e-13"},
    {"tolerance = 1e-8", "tolerance = 1000", 29, "must lie between 1e-12 and 1 degree, not 1000"},
    {"\"toluene\"", "\"benzene\"", 7, "repeats \"benzene\""},
    {", 1211.033", "", 5, "must hold 3 numbers (A, B, C), not 2"},
    {"1211.033", "-1211.033", 5, "must have B above 0"},
    {"[[component]]\nname = \"benzene\"\nantoine = [6.90565, 1211.033, 220.790]\n", "", 3,
     "at least 2 tables"},
    {"stages = 12\n", "", 9, "[column] lacks \"stages\""},
    {"stages = 12", "stages = 12.0", 10, "must be an integer, not floating-point"},
    {"stages = 12", "stages = 2", 10, "must lie between 3 and 1000, not 2"},
    {"pressure = 760", "pressure = nan", 12, "must be finite"},
    {"distillate = 5", "distillate = 9.5", 14, "distillate and draws take 10.5, the feed brings only 10"},
    {"bottoms = 4", "bottoms = 5", 15, "is 5, but the feed leaves 4"},
    {"stage = 6", "stage = 13", 17, "\"stage\" in [[feed]] must lie between 2 and 12, not 13"},
    {"rate = 10", "rates = [4, 6]\nrate = 10", 18, "excludes \"rate\""},
    {"[0.4, 0.6]", "[0.4, 0.7]", 19, "adds up to 1.1, not to 1"},
    {"[0.4, 0.6]", "[1.4, -0.4]", 19, "holds the negative amount -0.4"},
    {"[0.4, 0.6]", "[1.0, 0.0]", 16, "no feed brings any toluene"},
    {"distillate = 5\nbottoms = 4", "distillate = 0.1", 19, "the liquid flow leaving stage 3 comes to -0.75"},
    {"to = 4", "to = 8", 26, "is the stage that the stream comes from"},
    {"rate = 2", "rate = 2\ncondensed = -1", 28, "must be at least 0, not -1"},
    {"[0.4, 0.6]", "[0.4, 0.6]\nliquid_fraction = -2", 16, "the liquid flow leaving stage 6 comes to -6.5"},
    {"[0.4, 0.6]", "[0.4, 0.6]\nliquid_fraction = -0.8", 16, "the vapour flow leaving stage 7 comes to -0.5"},
    {"tolerance = 1e-8", "tolerance = 1e-8\nstart_temperature = -250", 30,
     "must lie between -218.482 and 1500 deg C"},
    {"light_in_distillate = 3", "light_in_distillate = 4", 30, "less of each in the distillate"},
    {"first_stage = 10", "first_stage = 11", 38, "holds 3 temperatures, the column ends after 2"},
};

const auto parse = [](const std::string& text, const char* name) { return parse_case(text, name); };

TEST(CaseFile, ReadsTheGoodCase) {
  const ColumnCase c = parse(kGood, "my.file");
  EXPECT_EQ(c.stages, 12);
  EXPECT_EQ(c.feeds.at(0).stage, 5);  // from 0
  EXPECT_EQ(c.feeds.at(0).rates, (std::vector<double>{4, 6}));
  EXPECT_EQ(c.ties.at(0).from, 7);
  EXPECT_EQ(c.published.size(), 3u);
}

TEST(CaseFile, NamesFileLineAndFaultInOneMessage) {
  expect_file_line_and_fault(kGood, kBadFiles, parse);
  expect_cuts_refused(kGood, parse);
}

}  // namespace
}  // namespace column
