// Study files: what they may ask for, and one clear line about everything else.

#include <gtest/gtest.h>

#include <string>

#include "apps/study/sampling.h"
#include "apps/study/study_file.h"
#include "tests/apps/bad_input.h"

namespace {

using study::parse_study;

const std::string kColumn = R"(title = "t"
column = ")" COLUMN_CASES R"(/aromatics-pumparound.toml"
method = "multiple"
results = ["passes", "x[5][toluene]", "draw[1].recovery[toluene]", "temperature[30]", "eigenvalue"]
chunk = 10

[samples]
count = 20
seed = 3

[[parameter]]
name = "reflux"
place = "column.reflux_ratio"
range = { from = 2, to = 3, count = 5 }

[[parameter]]
place = "feed[1].rates[benzene]"
normal = { mean = 30, deviation = 1 }

[[parameter]]
place = "component[toluene].antoine[2]"
latin_hypercube = { from = 1344, to = 1345 }

[[parameter]]
place = "pumparound[1].rate"
values = [38, 40]
)";

const std::string kRecycle = R"(title = "t"
recycle = ")" RECYCLE_CASES R"(/purge-loop.toml"
results = ["stream[V].rate", "stream[L].fraction[nC6]", "stream[R1].rate[C1]", "unit[drum].vapour_fraction", "balance_error"]

[[parameter]]
place = "unit[drum].temperature"
values = [318, 322]

[[parameter]]
place = "unit[column].recoveries[C3]"
values = [0.85, 0.9]
)";

TEST(StudyFileOfColumn, TellsFileLineAndFault) {
  const study::StudyFile file = parse_study(kColumn, "my.file");
  EXPECT_EQ(case_count(file.study), 200);
  EXPECT_EQ(file.study.parameters[1].name, "feed[1].rates[benzene]");
  expect_file_line_and_fault(
      kColumn,
      {
          {"title = \"t\"", "", 1, "lacks \"title\""},
          {"chunk", "chunks", 5, "unknown key \"chunks\""},
          {"chunk = 10", "chunk = 0", 5, "must lie between 1 and 10000, not 0"},
          {"aromatics", "no-such", 2, "\"column\" in the study names a case that cannot be used: "},
          {"/aromatics-pumparound.toml", "/../../recycle/cases/cavett.toml", 2, "cannot be used"},
          {"method = \"multiple\"", "recycle = \"x\"", 1, "needs one of \"column\" and \"recycle\""},
          {"\"multiple\"", "\"newton\"", 3, "must be one of none, dominant, multiple, automatic"},
          {"\"passes\"", "\"step\"", 4, "the result \"step\" is none of a column: passes,"},
          {"x[5][toluene]", "x[5][water]", 4, "asks for component \"water\""},
          {"x[5][toluene]", "x[5]", 4, "is none of a column"},
          {"x[5][toluene]", "x[5", 4, "lacks a \"]\""},
          {"x[5][toluene]", "x[5][toluene].rate", 4, "is none of a column"},
          {"temperature[30]", "temperature[31]", 4, "asks for stage \"31\""},
          {"temperature[30]", "temperature[0]", 4, "asks for stage \"0\""},
          {"draw[1]", "draw[2]", 4, "asks for draw \"2\""},
          {"name = \"reflux\"", "name = \"passes\"", 4,
           "hold \"passes\", which is the heading of another column"},
          {"\"eigenvalue\"", "\"passes\"", 4, "repeats \"passes\""},
          {"results = [", "results = [] # ", 4, "must hold at least 1 texts"},
          {"count = 20", "count = -20", 8, "must lie between 1 and 10000000, not -20"},
          {"count = 20", "count = 1000000000000", 8, "must lie between 1 and 10000000, not 1000000000000"},
          {"count = 20", "count = 1e12", 8, "must be an integer"},
          {"seed = 3", "", 7, "lacks \"seed\""},
          {"seed = 3", "seed = -1", 9, "must lie between 0"},
          {"[samples]\ncount = 20\nseed = 3\n", "\n\n\n", 16, "is drawn, which needs [samples]"},
          {"column.reflux_ratio", "column.reflux", 13,
           "is \"column.reflux\", which names \"reflux\", which \"column\" does not give; it gives"},
          {"column.reflux_ratio", "column.condenser", 13, "names \"condenser\", which is not a number"},
          {"column.reflux_ratio", "column", 13, "names \"column\", which is not a number"},
          {"column.reflux_ratio", "column.stages.x", 13, "goes on behind \"stages\", which is no table"},
          {"column.reflux_ratio", "column.stages[1]", 13, "has an index behind \"stages\""},
          {"column.reflux_ratio", "column..stages", 13, "lacks a key"},
          {"column.reflux_ratio", "feed[]", 13, "has nothing between its brackets"},
          {"column.reflux_ratio", "feed[2].stage", 13, "asks for element \"2\" of the 1 of \"feed\""},
          {"column.reflux_ratio", "pumparound[1].rate", 24, "two parameters set \"pumparound[1].rate\""},
          {"column.reflux_ratio", "feed[1].rates[1]", 16,
           "two parameters set the same number, as \"feed[1].rates[1]\" and as \"feed[1].rates[benzene]\""},
          {"column.reflux_ratio", "component[2].antoine[2]", 20,
           "as \"component[2].antoine[2]\" and as \"component[toluene].antoine[2]\""},
          {"name = \"reflux\"", "name = \"pumparound[1].rate\"", 24, "two parameters are called"},
          {"name = \"reflux\"", "name = \"outcome\"", 11, "no parameter can be called \"outcome\""},
          {"count = 5", "count = -5", 14, "must lie between 2 and 10000000, not -5"},
          {"count = 5", "count = 9000000", 11, "the parameters make more than 10000000 cases"},
          {"from = 2,", "from = 3,", 14, "begins an empty range, from 3 to 3"},
          {"from = 2, to = 3", "from = 1e308, to = inf", 14, "must be finite"},
          {"from = 2, to = 3", "from = -1e308, to = 1e308", 14, "is too far from the other end"},
          {"deviation = 1", "deviation = 0", 18, "must be above 0"},
          {"from = 1344", "from = 1346", 22, "begins an empty range"},
          {"values = [38, 40]", "values = []", 26, "must hold numbers"},
          {"values = [38, 40]", "values = [\"a\"]", 26, "must be a number"},
          {"values = [38, 40]", "", 24, "needs one of \"values\", \"range\""},
          {"values = [38, 40]", "values = [38]\nrange = {}", 24, "needs one of \"values\", \"range\""},
      },
      parse_study);
}

TEST(StudyFileOfRecycle, TellsFileLineAndFault) {
  expect_file_line_and_fault(
      kRecycle,
      {
          {"stream[V]", "stream[W]", 3, "asks for stream \"W\""},
          {"fraction[nC6]", "fraction[nC7]", 3, "asks for component \"nC7\""},
          {"fraction[nC6]", "fraction", 3, "is none of a flowsheet: passes,"},
          {"balance_error", "temperature[1]", 3, "is none of a flowsheet"},
          {"unit[drum].vapour", "unit[mixer].vapour", 3, "is that of a flash, which \"mixer\" is not"},
          {"unit[drum].t", "unit[drum2].t", 6, "asks for element \"drum2\" of the 4 of \"unit\""},
          {"[[parameter]]", "[samples]\ncount = 3\nseed = 1\n[[parameter]]", 5,
           "\"samples\" in the study has no meaning without a parameter that is drawn"},
      },
      parse_study);
}

TEST(StudyFile, AnotherTextHasAnotherHash) {
  const auto hash = [](const std::string& text) { return parse_study(text, "my.file").study.hash; };
  EXPECT_EQ(hash(kColumn), hash(kColumn));
  EXPECT_NE(hash(kColumn), hash(altered(kColumn, "38", "39")));
}

}  // namespace
