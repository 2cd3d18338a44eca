// The property side: formulas, tables and their fits, the property file, and the column on measured tables.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>

#include "apps/column/bubble_point.h"
#include "apps/column/fit_command.h"
#include "apps/column/formula.h"
#include "apps/column/property_file.h"
#include "apps/column/table_csv.h"
#include "host/corvid_host.h"
#include "tests/apps/bad_input.h"
#include "tests/support/program.h"

namespace column {
namespace {

std::string data(const std::string& name) { return COLUMN_DATA "/" + name + ".csv"; }
const char* const kShipped[] = {"benzene", "toluene", "ethylbenzene", "o-xylene", "m-xylene", "p-xylene"};
Tables shipped() {
  std::vector<std::string> paths;
  for (const char* name : kShipped) paths.push_back(data(name));
  return read_tables(paths);
}

TEST(Formula, IsRefusedOnlyWhereNoMoleculeCanBe) {
  using Verdict = FormulaCheck::Verdict;
  const struct {
    const char* formula;
    int atoms, valencies;
    bool refused;
    const char* says;
  } rows[] = {
      {"CH4", 5, 8, false, ""},
      {"C6H4(CH3)2", 18, 42, false, ""},
      {"Si((CH3)2)2", 17, 32, false, ""},
      {"C3", 3, 12, false, ""},  // the search leaves two ends free, the best wiring none
      {"C30H62", 92, 182, false, ""},
      {"CH5", 6, 9, true, "9 valencies in all, an odd number"},
      {"CH4CH4", 10, 16, true, "18 are needed to join them"},
      {"CO", 2, 6, true, "one of them alone 4"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.formula);
    const FormulaCheck check = check_formula(row.formula);
    EXPECT_EQ(check.verdict == Verdict::kRefused, row.refused);
    EXPECT_EQ(check.atoms, row.atoms);
    EXPECT_EQ(check.valencies, row.valencies);
    EXPECT_EQ(check.why.empty(), !row.refused);
    EXPECT_NE(check.why.find(row.says), std::string::npos) << check.why;
  }
  for (const char* bad :
       {"", "c", "Xx2", "6C", "C0", "C99999999999999999999", "(CH3", "CH3)", "C()H4", "C H4"})
    EXPECT_THROW(check_formula(bad), BadFormula) << bad;
}

TEST(PressureTable, LinesAreThePublishedOnes) {
  const struct {
    const char* name;
    double a, b, unit_a, unit_b;
  } rows[] = {{"benzene", 8.75201, 2035.33, 1e-5, 1e-2},
              {"toluene", 8.087348, 1984.1330, 1e-6, 1e-4},
              {"p-xylene", 8.126039, 2143.6999, 1e-6, 1e-4}};
  for (const auto& row : rows) {
    const ClapeyronLine line = read_table_csv(data(row.name))->clapeyron(true);
    EXPECT_EQ(line.points, 10);
    EXPECT_NEAR(line.log10_line.a, row.a, 0.5 * row.unit_a) << row.name;
    EXPECT_NEAR(line.log10_line.b, row.b, 0.5 * row.unit_b) << row.name;
    EXPECT_NEAR(line.heat, 8.314462618e-3 * std::log(10) * row.b, 1e-3);
    EXPECT_TRUE(line.heat_deviation > 0 && line.heat_deviation < 0.05 * line.heat);
  }
}

double squares(VapourPressureTable& table, const AntoineConstants& c) {
  double sum = 0, t = 0, p = 0;
  for (int i = 0; table.GetActivePoint(i, t, p) != 0; ++i)
    sum += std::pow(std::log(p) - c.ln_pressure(t - 273.15).value, 2);
  return sum;
}

TEST(PressureTable, FitsAreBestAndTheirStatisticsTrue) {
  for (const auto& table : shipped()) {
    SCOPED_TRACE(table->info().name);
    const AntoineConstants best = table->fit()->constants;
    const double least = squares(*table, best);
    for (const double step : {-1e-3, -1e-5, 1e-5, 1e-3}) {
      // The curve moves least along the valley in which B and A follow C.
      const double c = best.c + 1e3 * step, factor = (400 + c) / (400 + best.c);
      const AntoineConstants moved[] = {{best.a + step, best.b, best.c},
                                        {best.a, best.b + 1e3 * step, best.c},
                                        {best.a, best.b * factor, c},
                                        {best.a + step, best.b + 350 * step, best.c}};
      for (const AntoineConstants& other : moved) EXPECT_GT(squares(*table, other), 0.999 * least);
    }
    const int n = table->active_points();
    EXPECT_NEAR(table->fit()->standard_error, std::sqrt(least / (n - 3)) / std::log(10), 1e-12);
  }
  const auto benzene = read_table_csv(data("benzene"));
  EXPECT_EQ(benzene->active_points(), 6) << "the points over the solid do not count";
  EXPECT_LT(std::fabs(benzene->MaxError()), 0.1);
  EXPECT_EQ(benzene->CompName(0).Characters(), std::string("benzene"));
  EXPECT_LT(benzene->PctError(0), -100) << "but are compared";
}

constexpr double kPascalPerMmHg = 133.322387415;

/// A table whose points lie on ln p = 18 - 4000/T, a curve with C = 273.15; blanks where `blank` says so.
std::string on_a_line(const std::string& units, double (*temperature)(double), double pascal_per_unit,
                      const std::string& blank) {
  std::string text = "component,x\nformula,CH4\nunits," + units + "\ntemperature,pressure\n";
  for (std::size_t i = 0; i < blank.size(); ++i) {
    const double kelvin = 300 + 10.0 * static_cast<double>(i);
    const double pressure = std::exp(18 - 4000 / kelvin) * kPascalPerMmHg / pascal_per_unit;
    text += (blank[i] == 't' || blank[i] == 'b' ? "" : fmt::format("{}", temperature(kelvin))) + "," +
            (blank[i] == 'p' || blank[i] == 'b' ? "" : fmt::format("{}", pressure)) + "\r\n";
  }
  return text;
}

TEST(PressureTable, GapsAreFilledWhereTheLineHasThem) {
  const auto kelvin = [](double t) { return t; };
  const auto celsius = [](double t) { return t - 273.15; };
  const auto fahrenheit = [](double t) { return t * 1.8 - 459.67; };
  const struct {
    std::string text;
    std::string kept;  // of the table: 'm' measured, 'f' filled in
  } rows[] = {
      {on_a_line("K,mmHg", kelvin, kPascalPerMmHg, "mptmmm"), "mffmmm"},
      {on_a_line("degC,kPa", celsius, 1e3, "mpptmm"), "mfffmm"},
      {on_a_line("degF,bar", fahrenheit, 1e5, "mbtmpm"), "mfmfm"},
      {on_a_line("K,atm", kelvin, 101325, "pmtmmmt"), "mfmmm"},  // nothing is invented beyond the ends
      {on_a_line("K,Pa", kelvin, 1, "mtmmb"), "mfmm"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    const auto table = parse_table_csv(row.text, "x.csv");
    ASSERT_EQ(table->NDataPoints(), static_cast<int>(row.kept.size()));
    double last = 0;
    for (int i = 0; i < table->NDataPoints(); ++i) {
      double t = 0, p = 0;
      ASSERT_NE(table->GetPoint(i, t, p), 0);
      EXPECT_NEAR(std::log(p), 18 - 4000 / t, 1e-8) << i;
      EXPECT_NEAR(std::remainder(t, 10), 0, 1e-6) << i;
      EXPECT_EQ(table->filled(i), row.kept[static_cast<std::size_t>(i)] == 'f') << i;
      EXPECT_GT(t, last);
      last = t;
    }
    EXPECT_NEAR(table->fit()->constants.c, 273.15, 1e-3);
    EXPECT_NEAR(table->fit()->constants.a, 18 / std::log(10), 1e-5);
    EXPECT_GT(table->R2(), 1 - 1e-12);
  }
}

TEST(PressureTable, BadOnesAreRefusedByFileAndLine) {
  const std::string good =
      "# a table\ncomponent,x\nformula,CH4\nsource,\"a, \"\"b\"\"\"\nlimits,10,\nunits,degC,mmHg\n"
      "temperature,pressure\n20,100\n40,200\n60,370\n80,700\n";
  ASSERT_EQ(parse_table_csv(good, "x.csv")->info().source, "a, \"b\"");
  const auto other =
      parse_table_csv(altered(altered(good, "formula,CH4\n", ""), "20,100", "+2.0D1,1d+2"), "x");
  ASSERT_EQ(other->info().formula, "");
  ASSERT_EQ(other->fit()->constants.a, parse_table_csv(good, "x.csv")->fit()->constants.a);
  const std::vector<BadInput> rows{
      {good.c_str(), "", 1, "there is no line \"temperature,pressure\""},
      {"component,x\n", "", 6, "no \"component\" stands above"},
      {"component,x", "component,", 2, "\"component\" is blank"},
      {"component,x", "name,x", 2, "unknown heading \"name\""},
      {"CH4", "CH5", 3, "\"CH5\" cannot be one molecule: its 6 atoms have 9 valencies"},
      {"\"\"b\"\"\"", "", 4, "a quote is not closed"},
      {"limits,10,", "limits,10", 5, "\"limits\" takes 2 fields, not 1"},
      {"limits,10,", "limits,50,", 11, "the 2 points within the limits have no Antoine fit"},
      {"limits,10,", "antoine,7,1200,x", 5, "\"x\" is not a number"},
      {"limits,10,", "component,y", 5, "repeats \"component\""},
      {"mmHg", "torr", 6, "unit \"torr\" is none of Pa, atm, bar, kPa, mmHg, psia"},
      {"degC", "C", 6, "unit \"C\" is none of K, degC, degF"},
      {"temperature,pressure", "temperature,p", 7, "the columns must be"},
      {"20,100", "20,100,1", 8, "a point has 2 fields, not 3"},
      {"20,100", "20,nan", 8, "\"nan\" is not a number"},
      {"20,100", "\"20,5\",100", 8, "\"20,5\" is not a number"},
      {"20,100", "20,1D400", 8, "\"1D400\" is not a number"},
      {"20,100", "20,-1", 8, "pressure -1 is not above 0"},
      {"20,100", "-300,1", 8, "temperature -300 lies below absolute zero"},
      {"40,200\n60,370\n80,700", "20,200\n20,\n20,100", 10, "the gap cannot be filled"},
      {"40,200\n60,370\n80,700", "20,101\n20,99\n20,100", 11, "have no Antoine fit"},
  };
  expect_file_line_and_fault(good, rows, parse_table_csv);
}

TEST(MeasuredModel, HasTheBubblePointsOfItsFits) {
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> share(0, 1);
  const Tables tables = shipped();
  const Measured measured(tables);
  std::vector<AntoineConstants> constants;
  for (const auto& table : tables) constants.push_back(table->fit()->constants);
  const Antoine by_newton(constants);
  for (int round = 0; round < 200; ++round) {
    std::vector<double> liquid(tables.size());
    for (double& x : liquid) x = std::max(0.0, share(random) - 0.3);
    liquid[static_cast<std::size_t>(round) % liquid.size()] += 0.1;
    const double pressure = std::pow(10, 5 * share(random)), guess = 2000 * share(random) - 300;
    const auto t = bubble_temperature(measured, liquid, pressure, guess);
    const auto expected = bubble_temperature(by_newton, liquid, pressure, 80);
    ASSERT_EQ(t.has_value(), expected.has_value()) << round;
    if (!t) continue;
    EXPECT_NEAR(*t, *expected, 1e-10 * std::max(1.0, std::fabs(*expected))) << round;
  }
  EXPECT_FALSE(bubble_temperature(measured, {1, 1, 1, 1, 1, 1}, 1e30, 80));
}

class Properties : public ProgramTest {  // for its folder
 protected:
  Properties() : ProgramTest(COLUMN_PROGRAM) {}
  const std::string file_ = (folder_ / "a.properties").string();
};

TEST_F(Properties, ComeBackAsTheyWereOrNotAtAll) {
  Tables tables = shipped();
  const auto kelvin = [](double t) { return t; };
  tables.push_back(parse_table_csv(on_a_line("K,mmHg", kelvin, kPascalPerMmHg, "mptmmm"), "x.csv"));
  ASSERT_FALSE(store_tables(file_, tables));
  const Tables recalled = recall_tables(file_);
  ASSERT_EQ(recalled.size(), tables.size());
  for (std::size_t i = 0; i < tables.size(); ++i) {
    EXPECT_TRUE(recalled[i]->same_as(*tables[i])) << tables[i]->info().name;
    EXPECT_FALSE(recalled[i]->same_as(*tables[(i + 1) % tables.size()]));
  }
  ASSERT_FALSE(store_tables(file_, {tables.back()}));
  const std::string small = contents(file_);
  const auto blocks = corvid_host::LiveBlocks();
  for (std::size_t at = 0; at < small.size(); at += 3) {
    const std::string said = complaint([&] { recall_tables(write("bad", small.substr(0, at))); });
    EXPECT_EQ(said.rfind((folder_ / "bad").string() + ": ", 0), 0u) << at;
  }
  EXPECT_EQ(corvid_host::LiveBlocks(), blocks);

  EXPECT_TRUE(store_tables((folder_ / "no/such").string(), tables));
  corvid_host::FailAllocation(2);
  EXPECT_TRUE(store_tables(file_, tables));
  corvid_host::StopFailing();
  EXPECT_EQ(contents(file_), small) << "a failure leaves the file alone";
}

/// A file of components, each with one point and room for more in its table.
void forge(const std::string& path, const std::vector<std::string>& names, int room,
           const std::string& formula = "CH4") {
  struct Roomy : RegressTable {
    explicit Roomy(int of_room) {
      AddPoint(300, 1);
      capacity = of_room;
    }
  };
  corvid_host::ChunkFile file;
  ASSERT_TRUE(file.Create(path.c_str()));
  for (const std::string& name : names) {
    const auto write = [&file](const std::string& text) {  // of 4 letters at most
      int letters = 0;
      for (std::size_t i = text.size(); i-- > 0;) letters = letters * 256 + text[i];
      file.WriteInt(static_cast<int>(text.size()));
      file.WriteInt(letters);
    };
    file.SetNextTag(corvid_host::MakeChunkTag("COMP"));
    ChunkHeader chunk;
    ASSERT_TRUE(chunk.Create(file, 1));
    write(name);
    write(formula);
    file.WriteInt(0);  // no source
    for (int i = 0; i < 10; ++i) file.WriteDouble(1);
    for (const int number : {1, 0}) file.WriteInt(number);  // one point, measured
    ASSERT_TRUE(Roomy(room).Store(file) && chunk.Close(file));
  }
  ASSERT_TRUE(file.Commit());
}

TEST_F(Properties, AForgedFileTakesNoMoreMemoryThanItsLengthAllows) {
  const std::vector<std::string> names{"a", "b", "c", "d", "e", "f", "g", "h"};
  ASSERT_NO_FATAL_FAILURE(forge(file_, names, 10));
  EXPECT_EQ(recall_tables(file_).size(), names.size()) << "well forged";
  for (const int room : {100000, 8000000}) {
    ASSERT_NO_FATAL_FAILURE(forge(file_, names, room));
    corvid_host::ResetPeakBytes();
    const auto before = corvid_host::PeakBytes();
    EXPECT_EQ(complaint([&] { recall_tables(file_); }),
              file_ + ": a table needs more memory than there is, or than the length of the file allows");
    EXPECT_LE(corvid_host::PeakBytes() - before, 2 << 20);
  }
  void* const block = Corvid_malloc(std::size_t{8} << 20);
  EXPECT_NE(block, nullptr) << "the limit ends with the reading";
  Corvid_free(block);
  ASSERT_NO_FATAL_FAILURE(forge(file_, {"a\nb"}, 10));
  EXPECT_EQ(complaint([&] { recall_tables(file_); }),
            file_ + ": the name of a component is not one line of plain characters");
  ASSERT_NO_FATAL_FAILURE(forge(file_, {"ab"}, 10, "C\x01"));
  EXPECT_EQ(complaint([&] { recall_tables(file_); }),
            file_ + ": the formula of a component is not one line of plain characters");

  const auto large = std::make_shared<VapourPressureTable>(ComponentInfo{"large", "CH4", "", {}, {}});
  for (int i = 0; i < 40000; ++i) large->add(300 + 0.01 * i, std::exp(18 - 4000 / (300 + 0.01 * i)), false);
  ASSERT_TRUE(large->fit_all());
  ASSERT_FALSE(store_tables(file_, {large}));
  EXPECT_TRUE(recall_tables(file_).at(0)->same_as(*large));
}

TEST_F(Properties, OtherChunksArePassedOver) {
  corvid_host::ChunkFile file;
  ASSERT_TRUE(file.Create(file_.c_str()));
  ChunkHeader header;
  ASSERT_NE(header.Create(file, 9), 0);
  ASSERT_NE(file.WriteInt(5) & header.Close(file), 0);
  ASSERT_TRUE(file.Commit());
  EXPECT_EQ(complaint([&] { recall_tables(file_); }), file_ + ": it holds no component");
}

}  // namespace
}  // namespace column
