// Bad case files: each row spoils one thing in a case that is otherwise good, and says what must come of it.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "examples/recycle/case_file.h"

namespace recycle {
namespace {

const std::string kGood = R"(title = "a loop"
k_values = "wilson"
[[component]]
name = "C3"
wilson = [369.83, 42.48, 0.152]
[[component]]
name = "nC6"
wilson = [507.6, 30.25, 0.301]
[[feed]]
stream = "F"
rates = [5, 6]
[[unit]]
name = "mix"
kind = "mixer"
inlets = ["F", "R1", "R2"]
outlet = "Z"
[[unit]]
name = "drum"
kind = "flash"
inlet = "Z"
vapour = "D"
liquid = "B"
temperature = 320
pressure = 4
[[unit]]
name = "purge"
kind = "stream-splitter"
inlet = "D"
outlets = ["R1", "V"]
fractions = [0.7, 0.3]
[[unit]]
name = "column"
kind = "component-splitter"
inlet = "B"
outlets = ["R2", "L"]
recoveries = [0.9, 0.0]
[[start]]
stream = "Z"
rates = [6, 7]
[solver]
tolerance = 1e-8
tears = ["Z"]
[[published]]
stream = "L"
rates = [1, 6]
)";

struct BadFile {
  const char *good, *bad;  // the first occurrence of `good` becomes `bad`
  int line;                // that the complaint must name
  const char* says;        // words that must stand in it
};

const BadFile kBadFiles[] = {
    {"title = \"a loop\"", "title = ", 1, ""},
    {"title = \"a loop\"", "titel = \"a loop\"", 1, "unknown key \"titel\" in the case"},
    {"\"wilson\"", "\"raoult\"", 2, "must be one of constant, depriester, wilson, not \"raoult\""},
    {"\"wilson\"", "\"depriester\"", 5, "unknown key \"wilson\" in [[component]]"},
    {"\"nC6\"", "\"C3\"", 7, "repeats \"C3\""},
    {"369.83", "-369.83", 5, "critical constants above 0"},
    {", 0.152", "", 5, "must hold 3 numbers"},
    {"[5, 6]", "[5, -6]", 11, "holds the negative rate -6"},
    {"[5, 6]", "[5, 6, 7]", 11, "must hold 2 numbers (one a component), not 3"},
    {"[5, 6]", "[0, 0]", 9, "a finite amount above 0"},
    {"[5, 6]", "[1e308, 1e308]", 9, "a finite amount above 0"},
    {"[5, 6]", "[5, nan]", 11, "must be finite"},
    {"[5, 6]", "[5, 6]\n[[feed]]\nstream = \"F\"\nrates = [1, 1]", 13, "repeats \"F\""},
    {"[5, 6]", "[5, 6]\n[[feed]]\nstream = \"G\"\nrates = [1, 1]", 13, "feed \"G\" enters no unit"},
    {"\"mixer\"", "\"pump\"", 14, "must be one of mixer, flash, component-splitter, stream-splitter"},
    {"\"drum\"", "\"mix\"", 18, "repeats \"mix\""},
    {"[\"F\", \"R1\", \"R2\"]", "[]", 15, "must hold at least 1 texts"},
    {"[\"F\", \"R1\", \"R2\"]", "[\"F\", \"R1\", \"R1\"]", 15, "repeats \"R1\""},
    {"[\"F\", \"R1\", \"R2\"]", "[\"F\", \"R1\", 2]", 15, "must hold texts"},
    {"[\"F\", \"R1\", \"R2\"]", "[\"F\", \"R1\", \"R7\"]", 15, "\"R7\" is no feed and leaves no unit"},
    {"outlet = \"Z\"", "outlet = \"F\"", 16, "names the feed \"F\""},
    {"outlet = \"Z\"", "outlets = [\"Z\"]", 16, "unknown key \"outlets\" in [[unit]] of kind mixer"},
    {"inlet = \"Z\"", "inlet = \"R1\"", 20, "names \"R1\", which enters another unit"},
    {"vapour = \"D\"", "vapour = \"Z\"", 21, "names \"Z\", which leaves another outlet"},
    {"liquid = \"B\"\n", "", 17, "lacks \"liquid\""},
    {"pressure = 4\n", "", 17, "lacks \"pressure\""},
    {"pressure = 4", "pressure = 0", 24, "must be above 0"},
    {"temperature = 320", "temperature = 3", 23, "must give K-values between 1e-30 and 1e+30"},
    {"temperature = 320", "k = [2, 0.5]", 24, "has no meaning for constant K-values"},
    {"temperature = 320\npressure = 4", "k = [2, 0]", 23, "must hold K-values between"},
    {"[0.7, 0.3]", "[0.7, 0.4]", 30, "adds up to 1.1, not to 1"},
    {"[0.7, 0.3]", "[1.7, -0.7]", 30, "must lie between 0 and 1, not 1.7"},
    {"[0.7, 0.3]", "[0.7, 0.2, 0.1]", 30, "must hold 2 numbers (one an outlet), not 3"},
    {"[\"R2\", \"L\"]", "[\"R2\", \"L\", \"M\"]", 35, "must hold 2 texts"},
    {"[0.9, 0.0]", "[0.9]", 36, "must hold 2 numbers"},
    {"stream = \"Z\"", "stream = \"Q\"", 38, "names no stream of the case: \"Q\""},
    {"tolerance = 1e-8", "tolerance = 0", 41, "must be above 0"},
    {"tolerance = 1e-8", "tolerance = 1e-8\nmax_passes = 0", 42, "must lie between 1 and"},
    {"tears = [\"Z\"]", "tears = [\"Y\"]", 42, "there is no stream \"Y\" to tear"},
    {"tears = [\"Z\"]", "tears = [\"V\"]", 42, "\"V\" cannot be torn"},
    {"tears = [\"Z\"]", "tears = [\"R1\"]", 42, "leave a recycle through \"mix\" whole"},
    {"stream = \"L\"", "stream = \"L\"\nrate = 5", 45, "unknown key \"rate\" in [[published]]"},
    {"rates = [1, 6]", "rates = [1, 6]\n[[published]]\nstream = \"L\"\nrates = [1, 6]", 47, "repeats \"L\""},
};

std::string complaint_about(const std::string& text) {
  try {
    parse_case(text, "my.toml");
  } catch (const examples::BadCase& bad) {
    return bad.what();
  }
  return "";
}

TEST(RecycleCaseFile, ReadsTheGoodCase) {
  const RecycleCase c = parse_case(kGood, "my.toml");
  EXPECT_EQ(c.flowsheet.components, (std::vector<std::string>{"C3", "nC6"}));
  EXPECT_EQ(c.flowsheet.units.size(), 4u);
  EXPECT_EQ(c.flowsheet.streams.size(), 8u);
  const Plan plan = make_plan(c.flowsheet, c.tears);
  EXPECT_EQ(plan.tears, std::vector<int>{c.flowsheet.stream("Z").value()});
  EXPECT_EQ(start_vector(c.flowsheet, plan), (TearVector{6, 7}));
}

TEST(RecycleCaseFile, NamesFileLineAndFaultInOneMessage) {
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

TEST(RecycleCaseFile, EveryCutOfAGoodFileIsRefusedOrAWholeCase) {
  for (std::size_t length = 0; length < kGood.size(); ++length)
    if (complaint_about(kGood.substr(0, length)).empty()) {
      EXPECT_GT(length, kGood.find("tolerance = ")) << length;
    }
}

}  // namespace
}  // namespace recycle
