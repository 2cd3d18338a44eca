// Bad case files: each row spoils one thing in a case that is otherwise good, and says what must come of it.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "examples/column/case_file.h"
#include "examples/common/toml_reader.h"

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

struct BadFile {
  const char *good, *bad;  // the first occurrence of `good` becomes `bad`
  int line;                // that the complaint must name
  const char* says;        // words that must stand in it
};

const BadFile kBadFiles[] = {
    {"stages = 12", "stages = ", 10, ""},
    {"[column]", "[column", 9, ""},
    {"stages = 12", "stages = 12\nstages = 13", 11, "stages"},
    {"title = \"a column\"", "titel = \"a column\"", 1, "unknown key \"titel\" in the case"},
    {"title = \"a column\"\n", "", 1, "the case lacks \"title\""},
    {"title = \"a column\"", "title = 5", 1, "\"title\" in the case must be a text, not integer"},
    {"\"antoine\"", "\"margules\"", 2,
     "must be one of relative-volatility, depriester, antoine, measured, not \"margules\""},
    {"\"antoine\"", "\"depriester\"", 5, "unknown key \"antoine\" in [[component]]"},
    {"\"toluene\"", "\"benzene\"", 7, "repeats \"benzene\""},
    {", 1211.033", "", 5, "must hold 3 numbers (A, B, C), not 2"},
    {"1211.033", "\"1211\"", 5, "must be a number, not string"},
    {"1211.033", "-1211.033", 5, "must have B above 0"},
    {"[[component]]\nname = \"benzene\"\nantoine = [6.90565, 1211.033, 220.790]\n", "", 3,
     "at least 2 tables"},
    {"stages = 12\n", "", 9, "[column] lacks \"stages\""},
    {"stages = 12", "stagess = 12", 10, "unknown key \"stagess\" in [column]; it may hold stages"},
    {"stages = 12", "stages = 12.0", 10, "must be an integer, not floating-point"},
    {"stages = 12", "stages = 2", 10, "must lie between 3 and 1000, not 2"},
    {"stages = 12", "stages = 99999999999", 10, "must lie between 3 and 1000"},
    {"\"total\"", "\"none\"", 11, "must be one of total, partial"},
    {"pressure = 760", "pressure = nan", 12, "must be finite"},
    {"pressure = 760\n", "", 9, "[column] lacks \"pressure\""},
    {"reflux_ratio = 2.5", "reflux_ratio = -2.5", 13, "must be above 0, not -2.5"},
    {"distillate = 5", "distillate = 9.5", 14, "distillate and draws take 10.5, the feed brings only 10"},
    {"bottoms = 4", "bottoms = 5", 15, "is 5, but the feed leaves 4"},
    {"stage = 6", "stage = 13", 17, "\"stage\" in [[feed]] must lie between 2 and 12, not 13"},
    {"rate = 10", "rate = -10", 18, "must be above 0, not -10"},
    {"rate = 10", "rates = [4, 6]\nrate = 10", 18, "excludes \"rate\""},
    {"[0.4, 0.6]", "[0.4, 0.7]", 19, "adds up to 1.1, not to 1"},
    {"[0.4, 0.6]", "[1.4, -0.4]", 19, "holds the negative amount -0.4"},
    {"[0.4, 0.6]", "[0.4, 0.3, 0.3]", 19, "must hold 2 numbers (one a component), not 3"},
    {"[0.4, 0.6]", "[1.0, 0.0]", 16, "no feed brings any toluene"},
    {"[0.4, 0.6]", "0.4", 19, "must be an array of numbers, not floating-point"},
    {"[[feed]]", "[feed]", 16, "must be tables [[feed]]"},
    {"stage = 3", "stage = 1", 21, "must lie between 2 and 12"},
    {"\"liquid\"", "\"solid\"", 22, "must be one of liquid, vapour"},
    {"distillate = 5\nbottoms = 4", "distillate = 0.1", 19, "the liquid flow leaving stage 3 comes to -0.75"},
    {"to = 4", "to = 8", 26, "is the stage that the stream comes from"},
    {"rate = 2", "rate = 2\ncondensed = -1", 28, "must be at least 0, not -1"},
    {"[0.4, 0.6]", "[0.4, 0.6]\nliquid_fraction = -2", 16, "the liquid flow leaving stage 6 comes to -6.5"},
    {"[0.4, 0.6]", "[0.4, 0.6]\nliquid_fraction = -0.8", 16, "the vapour flow leaving stage 7 comes to -0.5"},
    {"tolerance = 1e-8", "tolerance = 0", 29, "must be above 0"},
    {"tolerance = 1e-8", "tolerance = 1e-8\nmax_passes = 0", 30, "must lie between 1 and"},
    {"tolerance = 1e-8", "tolerance = 1e-8\nstart_temperature = -250", 30,
     "must lie between -218.482 and 1500 deg C"},
    {"light_key = \"benzene\"", "light_key = \"bezene\"", 32,
     "must be one of benzene, toluene, not \"bezene\""},
    {"light_in_distillate = 3", "light_in_distillate = 4", 30, "less of each in the distillate"},
    {"first_stage = 10", "first_stage = 11", 38, "holds 3 temperatures, the column ends after 2"},
};

std::string complaint_about(const std::string& text) {
  try {
    parse_case(text, "my.toml");
  } catch (const examples::BadCase& bad) {
    return bad.what();
  }
  return "";
}

TEST(CaseFile, ReadsTheGoodCase) {
  const ColumnCase c = parse_case(kGood, "my.toml");
  EXPECT_EQ(c.stages, 12);
  EXPECT_EQ(c.feeds.at(0).stage, 5);  // from 0
  EXPECT_EQ(c.feeds.at(0).rates, (std::vector<double>{4, 6}));
  EXPECT_EQ(c.ties.at(0).from, 7);
  EXPECT_EQ(c.published.size(), 3u);
}

TEST(CaseFile, NamesFileLineAndFaultInOneMessage) {
  for (const BadFile& row : kBadFiles) {
    SCOPED_TRACE(std::string(row.good) + " -> " + row.bad);
    std::string text = kGood;
    const std::size_t at = text.find(row.good);
    ASSERT_NE(at, std::string::npos);
    text.replace(at, std::string(row.good).size(), row.bad);
    const std::string complaint = complaint_about(text);
    EXPECT_EQ(complaint.rfind("my.toml:" + std::to_string(row.line) + ": ", 0), 0u) << complaint;
    EXPECT_NE(complaint.find(row.says), std::string::npos) << complaint;
    EXPECT_EQ(std::count(complaint.begin(), complaint.end(), '\n'), 0) << complaint;
  }
}

TEST(CaseFile, EveryCutOfAGoodFileIsRefusedOrAWholeCase) {
  for (std::size_t length = 0; length < kGood.size(); ++length) {
    const std::string complaint = complaint_about(kGood.substr(0, length));
    if (complaint.empty()) {
      EXPECT_GT(length, kGood.find("tolerance = ")) << length;
    }
  }
}

}  // namespace
}  // namespace column
