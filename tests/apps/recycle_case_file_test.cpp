#include "apps/recycle/case_file.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/apps/bad_input.h"

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

const std::vector<BadInput> kBadFiles{
    {"\"wilson\"", "\"raoult\"", 2, "must be one of constant, depriester, wilson, not \"raoult\""},
    {"a loop", "a\\nloop", 1, "\"title\" in the case must be one line of plain characters"},
    {"\"nC6\"", "\"n\\nC6\"", 7, "must be one line of plain characters"},
    {"\"F\"", "\"F\\u007f\"", 10, "\"stream\" in [[feed]] must be one line"},
    {"\"mix\"", "\"m\\rix\"", 13, "must be one line of plain characters"},
    {"\"R1\"", "\"\\tR1\"", 15, "\"inlets\" in [[unit]] of kind mixer must be one line"},
    {"outlet = \"Z\"", "outlet = \"Z\\n\"", 16, "must be one line of plain characters"},
    {"vapour = \"D\"", "vapour = \"D\\n\"", 21, "must be one line of plain characters"},
    {"\"nC6\"", "\"C3\"", 7, "repeats \"C3\""},
    {"369.83", "-369.83", 5, "critical constants above 0"},
    {"[5, 6]", "[5, -6]", 11, "holds the negative rate -6"},
    {"[5, 6]", "[1e308, 1e308]", 9, "a finite amount above 0"},
    {"[5, 6]", "[5, 6]\n[[feed]]\nstream = \"F\"\nrates = [1, 1]", 13, "repeats \"F\""},
    {"[5, 6]", "[5, 6]\n[[feed]]\nstream = \"G\"\nrates = [1, 1]", 13, "feed \"G\" enters no unit"},
    {"[\"F\", \"R1\", \"R2\"]", "[\"F\", \"R1\", \"R1\"]", 15, "repeats \"R1\""},
    {"[\"F\", \"R1\", \"R2\"]", "[\"F\", \"R1\", \"R7\"]", 15, "\"R7\" is no feed and leaves no unit"},
    {"outlet = \"Z\"", "outlet = \"F\"", 16, "names the feed \"F\""},
    {"outlet = \"Z\"", "outlets = [\"Z\"]", 16, "unknown key \"outlets\" in [[unit]] of kind mixer"},
    {"inlet = \"Z\"", "inlet = \"R1\"", 20, "names \"R1\", which enters another unit"},
    {"vapour = \"D\"", "vapour = \"Z\"", 21, "names \"Z\", which leaves another outlet"},
    {"pressure = 4\n", "", 17, "lacks \"pressure\""},
    {"temperature = 320", "temperature = 3", 23, "must give K-values between 1e-30 and 1e+30"},
    {"temperature = 320", "k = [2, 0.5]", 24, "has no meaning for constant K-values"},
    {"temperature = 320\npressure = 4", "k = [2, 0]", 23, "must hold K-values between"},
    {"[0.7, 0.3]", "[0.7, 0.4]", 30, "adds up to 1.1, not to 1"},
    {"[0.7, 0.3]", "[1.7, -0.7]", 30, "must lie between 0 and 1, not 1.7"},
    {"[\"R2\", \"L\"]", "[\"R2\", \"L\", \"M\"]", 35, "must hold 2 texts"},
    {"stream = \"Z\"", "stream = \"Q\"", 38, "names no stream of the case: \"Q\""},
    {"= 1e-8", "= 10", 41, "\"tolerance\" in [solver] must lie between 1e-15 and 0.01 of the feed, not 10"},
    {"= 1e-8", "= 9e-16", 41, "must lie between 1e-15 and 0.01 of the feed, not 9e-16"},
    {"tears = [\"Z\"]", "tears = [\"Y\"]", 42, "there is no stream \"Y\" to tear"},
    {"tears = [\"Z\"]", "tears = [\"V\"]", 42, "\"V\" cannot be torn"},
    {"tears = [\"Z\"]", "tears = [\"R1\"]", 42, "leave a recycle through \"mix\" whole"},
    {"rates = [1, 6]", "rates = [1, 6]\nwithin = -1", 46, "\"within\" in [[published]] must be at least 0"},
    {"rates = [1, 6]", "rates = [1, 6]\n[[published]]\nstream = \"L\"\nrates = [1, 6]", 47, "repeats \"L\""},
};

const auto parse = [](const std::string& text, const char* name) { return parse_case(text, name); };

TEST(RecycleCaseFile, ReadsTheGoodCase) {
  const RecycleCase c = parse(kGood, "my.file");
  EXPECT_EQ(c.flowsheet.components, (std::vector<std::string>{"C3", "nC6"}));
  EXPECT_EQ(c.flowsheet.units.size(), 4u);
  EXPECT_EQ(c.flowsheet.streams.size(), 8u);
  const Plan plan = make_plan(c.flowsheet, c.tears);
  EXPECT_EQ(plan.tears, std::vector<int>{c.flowsheet.stream("Z").value()});
  EXPECT_EQ(start_vector(c.flowsheet, plan), (TearVector{6, 7}));
}

TEST(RecycleCaseFile, NamesFileLineAndFaultInOneMessage) {
  expect_file_line_and_fault(kGood, kBadFiles, parse);
  expect_cuts_refused(kGood, parse);
}

std::string repeated(int count, const std::string& text) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

/// Texts that nest `deep` levels in line 2 and less elsewhere, each in its own way.
std::vector<std::string> nested(int deep) {
  const int half = deep / 2;
  return {
      "\na" + repeated(deep - 1, R"( . "b\".")") + " = 1",
      "\n [a" + repeated(deep - 1, ".'b.['") + "]",
      "\n[[a" + repeated(deep - 1, ".b") + "]] # [[",
      "\na = " + repeated(deep - 1, "[") + "1.5" + repeated(deep - 1, "]"),
      "a = [\n" + repeated(half - 1, "{ 'c' = ") + repeated(deep - 2 * half, "[") + "1" + repeated(deep, "}"),
      "[a.b.c]\nd" + repeated(deep - 4, ".e") + " = 1",
  };
}

TEST(CaseNesting, IsRefusedWithItsLineWhereItIsDeep) {
  constexpr int kDeepest = apps::kDeepestNesting;
  for (const int deep : {kDeepest, kDeepest + 1, 40000})
    for (const std::string& text : nested(deep)) {
      SCOPED_TRACE(text.substr(0, 60));
      const std::string said = complaint([&] { parse(text, "my.file"); });
      const bool refused = said == "my.file:2: keys, arrays and tables are nested more than 32 deep";
      EXPECT_EQ(refused, deep > kDeepest) << deep << ": " << said;
    }
}

TEST(CaseNesting, CountsNothingInStringsCommentsAndNumbers) {
  const std::string deep = repeated(100, "[{a.b=");
  for (const std::string& text : {
           "# " + deep + "\na = 1",
           "a = \"" + deep + "\\\"" + deep + "\" # " + deep,
           "a = '" + deep + "\\' # '",
           R"(a = """""\"""\\)" + deep + R"(""""" # )" + deep,
           "a = '''\\\n''" + deep + "'''''# " + deep,
           "a = [" + repeated(100, "1.5, [{b.c = 1}, {}],\n") + "]",
           "\"a\" = [" + repeated(100, "'',\"\",") + "]",
           repeated(100, "[a.b.c]\nd.e = 1.5 # [\n\n"),
           "a = {" + repeated(100, "b.c = [1.5], ") + "}",
       })
    EXPECT_NO_THROW(apps::check_nesting(text)) << text;
}

}  // namespace
}  // namespace recycle
