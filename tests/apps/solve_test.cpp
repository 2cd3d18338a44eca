// Reading Matrix Market files, and the program that solves them as a user meets it.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cmath>
#include <iterator>
#include <locale>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include "apps/common/number.h"
#include "apps/common/reordering.h"
#include "apps/solve/matrix_market.h"
#include "apps/solve/report.h"
#include "apps/solve/spy.h"
#include "apps/solve/structure.h"
#include "corvidnum_version.h"
#include "host/corvid_host.h"
#include "tests/apps/bad_input.h"
#include "tests/support/dense_reference.h"
#include "tests/support/number.h"
#include "tests/support/program.h"

namespace {

using solve::Matrix;

/// The option that chooses a solver.
const char* const kSolvers[] = {" --solver ma48", " --solver ma38"};

std::string head(const std::string& kind) { return "%%MatrixMarket matrix coordinate " + kind + "\n"; }

std::string array(const std::string& kind) { return "%%MatrixMarket matrix array " + kind + "\n"; }

/// @param lines  of the file, behind the first one
Matrix real_matrix(const std::string& lines, const std::string& name = "f") {
  return solve::parse_matrix(head("real general") + lines, name);
}

std::string entries(const Matrix& matrix) {
  std::string text;
  for (std::size_t k = 0; k < matrix.value.size(); ++k)
    text += fmt::format("{},{}={} ", matrix.row[k], matrix.column[k], matrix.value[k]);
  return text;
}

TEST(MatrixMarket, ReadsEveryKind) {
  const struct {
    std::string text, entries;
  } files[] = {
      {head("real general") + "% a comment\n\n 2 3 3 \n+1 1 +1.5\n2 3 -2e-3\r\n1 1 1\n",
       "1,1=1.5 2,3=-0.002 1,1=1 "},
      {head("integer general") + "2 2 2\n1 2 -7\n%in between\n2 1 +3", "1,2=-7 2,1=3 "},
      {head("pattern general") + "2 2 2\n1 2\n2 1\n", "1,2=1 2,1=1 "},
      {head("real symmetric") + "2 2 2\n1 1 4\n2 1 5\n", "1,1=4 2,1=5 1,2=5 "},
      {head("pattern symmetric") + "2 2 1\n2 1\n", "2,1=1 1,2=1 "},
      {head("real skew-symmetric") + "2 2 1\n2 1 5\n", "2,1=5 1,2=-5 "},
      {"%%matrixmarket MATRIX Coordinate Real GENERAL\n1 1 1\n1 1 1e-400\n", "1,1=0 "},
      {head("real general") + "3 3 0\n", ""},
      {head("real general") + "1 2 2\n1 1 -1.5D+2\n1 2 +2d-1\n", "1,1=-150 1,2=0.2 "},
      {array("real general") + "2 2\n1D0\n0\n% by columns\n-3\r\n4\n", "1,1=1 1,2=-3 2,2=4 "},
      {array("integer symmetric") + "2 2\n1\n2\n3\n", "1,1=1 2,1=2 1,2=2 2,2=3 "},
      {array("real skew-symmetric") + "3 3\n1\n0\n3\n", "2,1=1 1,2=-1 3,2=3 2,3=-3 "},
  };
  for (const auto& file : files) {
    SCOPED_TRACE(file.text);
    EXPECT_EQ(entries(solve::parse_matrix(file.text, "f")), file.entries);
  }
}

TEST(MatrixMarket, TellsLineAndFaultOfABadFile) {
  const std::string good = head("real general") + "3 3 2\n1 1 1\n2 2 1\n";
  const std::vector<BadInput> rows{
      {good, "", 1, "not a Matrix Market file: its first line must begin with %%MatrixMarket"},
      {"%%", "\n%%", 2, "not a Matrix Market file"},
      {" general", "", 1, "the first line must read %%MatrixMarket matrix, format, field, symmetry"},
      {"matrix coord", "vector coord", 1, "object \"vector\" is not handled; it must be matrix"},
      {"coordinate", "dense", 1, "format \"dense\" is not handled; it must be coordinate, array"},
      {"coordinate", "array", 2, "the size line must hold 2 counts, not 3"},
      {"coordinate real", "array pattern", 1, "field \"pattern\" is not handled; it must be real, integer"},
      {"real", "complex", 1, "field \"complex\" is not handled; it must be real, integer, pattern"},
      {"general", "hermitian", 1, "\"hermitian\" is not handled; it must be general, symmetric, skew-"},
      {"3 3 2\n1 1 1\n2 2 1\n", "% only this\n", 2, "the file ends before its size line"},
      {"3 3 2", "3 3", 2, "the size line must hold 3 counts, not 2"},
      {"3 3 2", "3 -3 2", 2, "count of columns \"-3\" must lie between 0 and 1073741823"},
      {"3 3 2", "3 3 99999999999999999999", 2, "\"99999999999999999999\" must lie between 0 and 1073741823"},
      {"3 3 2", "3 3 1.5", 2, "count of entries \"1.5\" is not an integer"},
      {"2 2 1\n", "\n", 4, "the file ends after 1 of 2 entries"},
      {"2 2 1\n", "2 2 1\n\n3 3 1\n", 6, "more than the 2 entries that the size line announces"},
      {"1 1 1", "% x\n4 1 1", 4, "row \"4\" must lie between 1 and 3"},
      {"1 1 1", "+-1 1 1", 3, "row \"+-1\" is not an integer"},
      {"1 1 1", "1 0 1", 3, "column \"0\" must lie between 1 and 3"},
      {"1 1 1", "1 1 1 0", 3, "an entry must hold row, column and value, not 4 words"},
      {"1 1 1", "1 1 1,5", 3, "\"1,5\" is not a number"},
      {"1 1 1", "1 1 nan", 3, "\"nan\" is not finite"},
      {"1 1 1", "1 1 1D400", 3, "\"1D400\" is not finite"},
      {"1 1 1", "1 1 1D", 3, "\"1D\" is not a number"},
      {"1 1 1", "1 1 " + std::string(50, 'x'), 3, " \"" + std::string(40, 'x') + "...\" is not a number"},
      {"real general\n3 3 2\n1 1 1", "integer general\n3 3 2\n1 1 2.0", 3, "\"2.0\" is not an integer"},
      {"real", "pattern", 3, "an entry must hold row and column, not 3 words"},
      {"general\n3 3", "symmetric\n2 3", 2, "a symmetric matrix cannot be 2 x 3"},
      {"general\n3 3 2\n1 1", "symmetric\n3 3 2\n1 2", 3, "entry (1, 2) lies above the diagonal of a sym"},
      {"general", "skew-symmetric", 3, "entry (1, 1) lies on the diagonal of a skew-symmetric matrix"},
  };
  expect_file_line_and_fault(good, rows, solve::parse_matrix);
}

/// Writes numbers as in much of Europe: 1.234,5.
class CommaForPoint : public std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

TEST(Numbers, AreReadAndWrittenAlikeUnderEveryLocale) {
  using apps::NumberFault;
  const std::string many(400, '0'), digits = "99999999999999999999";
  const struct {
    std::string word;
    NumberFault fault;
    double value;
  } rows[] = {{"1.5", NumberFault::kNone, 1.5},
              {"+.5D+1", NumberFault::kNone, 5},
              {"-2d-3", NumberFault::kNone, -0.002},
              {"4.9e-324", NumberFault::kNone, 4.9e-324},
              {"1e-" + digits, NumberFault::kNone, 0},
              {"-0." + many + "1", NumberFault::kNone, 0},
              {"0." + many + "1e390", NumberFault::kNone, 1e-11},
              {"1" + many + "e-720", NumberFault::kNone, 1e-320},
              {"1" + many + "e-800", NumberFault::kNone, 0},
              {"0e" + digits, NumberFault::kNone, 0},
              {"1" + many, NumberFault::kOutOfRange, 0},
              {"0." + many + "1e720", NumberFault::kOutOfRange, 0},
              {"1e" + digits, NumberFault::kOutOfRange, 0},
              {"-inf", NumberFault::kOutOfRange, 0},
              {"1,5", NumberFault::kNotANumber, 0},
              {"+-1", NumberFault::kNotANumber, 0},
              {"1D", NumberFault::kNotANumber, 0},
              {"0x1", NumberFault::kNotANumber, 0},
              {"", NumberFault::kNotANumber, 0}};
  const std::vector<double> x{1234567.5, -0.25};
  const auto read_all = [&] {
    for (const auto& row : rows) {
      double value = 0;
      EXPECT_EQ(apps::read_number(row.word, value), row.fault) << row.word;
      EXPECT_EQ(value, row.value) << row.word;
    }
    EXPECT_EQ(solve::vector_text(x), array("real general") + "2 1\n1234567.5\n-0.25\n");
  };
  read_all();
  const std::locale before = std::locale::global(std::locale(std::locale::classic(), new CommaForPoint));
  // Not every system has the C library's counterpart of this locale.
  for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "de_DE"})
    if (std::setlocale(LC_ALL, name)) break;
  read_all();
  std::setlocale(LC_ALL, "C");
  std::locale::global(before);
}

TEST(MatrixMarket, VectorsComeBackAsWritten) {
  const std::vector<double> x{0.1, -1.0 / 3, 1e-300, 12345678901234567.0};
  EXPECT_EQ(solve::parse_vector(solve::vector_text(x), "f"), x);
  for (const std::string& text : {head("real general") + "3 1 3\n1 1 1\n3 1 2\n3 1 5\n",
                                  std::string("# plain\n+1\n\n0\r\n% here too\n.7D1")})
    EXPECT_EQ(solve::parse_vector(text, "f", 3), (std::vector<double>{1, 0, 7})) << text;
  const std::vector<BadInput> rows{
      {"2 1\n", "3 1\n", 2, "3 numbers for a matrix of order 2"},
      {"array", "coordinate", 2, "the size line must hold 3 counts, not 2"},
      {"array real", "coordinate pattern", 1, "a right-hand side needs values, and this is a pattern"},
      {array("real general") + "2 1\n3\n", "", 1, "1 number for a matrix of order 2"},
      {array("real general") + "2 1\n3\n4\n", "# none\n", 1, "the file holds no numbers"},
      {array("real general"), "", 1, "a line must hold one number, not 2 words"},
      {"2 1\n", "2 2\n", 2, "a right-hand side has one column, not 2"},
      {"3\n4\n", "3\n", 3, "the file ends after 1 of 2 numbers"},
      {"3\n4\n", "3\n4\n5\n", 5, "more than the 2 numbers that the size line announces"},
      {"3\n4\n", "3 4\n", 3, "a line must hold one number, not 2 words"},
  };
  expect_file_line_and_fault(
      array("real general") + "2 1\n3\n4\n", rows,
      [](const std::string& text, const char* name) { solve::parse_vector(text, name, 2); });
}

TEST(MatrixMarket, ValuesOfAnotherFileFollowTheOrderOfTheFirst) {
  const Matrix a = real_matrix("2 2 3\n2 1 1\n1 1 2\n2 2 3\n", "a");
  EXPECT_EQ(solve::values_in_order_of(a, real_matrix("2 2 3\n1 1 7\n2 2 8\n2 1 9\n", "b")),
            (std::vector<double>{9, 7, 8}));
  const std::string others[][2] = {
      {"2 2 2\n1 1 7\n2 1 9\n", "a:5: entry (2, 2) has no counterpart in b"},
      {"2 2 3\n1 1 7\n1 2 7\n2 1 9\n", "b:4: entry (1, 2) has no counterpart in a"},
      {"3 3 3\n1 1 7\n2 2 8\n2 1 9\n", "b:2: the matrix is of order 3, a of order 2"},
      {"2 2 4\n1 1 7\n2 2 8\n2 2 8\n2 1 9\n", "b:5: entry (2, 2) has no counterpart in a"},
  };
  for (const auto& [lines, says] : others)
    EXPECT_EQ(complaint([&, of = lines] { solve::values_in_order_of(a, real_matrix(of, "b")); }), says);
}

TEST(Reordering, MeasuresTiesInEitherHalfOnce) {
  // The path 3 1 4 2, its places given below or above the diagonal or twice, and an unknown without ties.
  const std::vector<int> rows{1, 1, 3, 2, 4, 5}, columns{1, 4, 1, 4, 2, 5};
  for (const auto goal : {apps::Goal::kBandwidth, apps::Goal::kProfile}) {
    const apps::Reordering found = apps::reorder(5, rows, columns, goal);
    EXPECT_EQ(found.before.bandwidth, 3);
    EXPECT_EQ(found.before.profile, 2 + 3);
    EXPECT_EQ(found.after.bandwidth, 1);
    EXPECT_EQ(found.after.profile, 3);
  }
}

int dots(const std::string& picture) {
  int count = 0;
  for (std::size_t at = 0; (at = picture.find("h1v1h-1z", at)) != picture.npos; ++at) ++count;
  return count;
}

TEST(Spy, HasADotForEachPlace) {
  const Matrix a = real_matrix("3 3 5\n1 1 1\n2 2 0\n3 1 1\n3 1 1\n2 3 1\n");
  const std::string given = solve::spy_svg(a, {}, "");
  EXPECT_NE(given.find("\"M0 0h1v1h-1z\nM1 1h1v1h-1z\nM2 1h1v1h-1z\nM0 2h1v1h-1z\n\""), given.npos) << given;
  const std::string turned = solve::spy_svg(a, {2, 3, 1}, "");
  EXPECT_NE(turned.find("\"M1 0h1v1h-1z\nM1 1h1v1h-1z\nM0 2h1v1h-1z\nM2 2h1v1h-1z\n\""), turned.npos)
      << turned;

  Matrix large;  // its last row and its diagonal
  large.rows = large.columns = 2500;
  for (int i = 1; i <= large.rows; ++i) {
    large.row.insert(large.row.end(), {i, large.rows});
    large.column.insert(large.column.end(), {i, i});
  }
  const std::string scaled = solve::spy_svg(large, {}, "scaled down");
  EXPECT_EQ(dots(scaled), 1999);
  EXPECT_NE(scaled.find("M999 999h1v1h-1z\n\""), scaled.npos);
}

TEST(Report, SaysWhereTheMethodsDisagree) {
  solve::Report report;
  report.found.emplace();
  report.other.emplace();
  report.found->report.method = corvidnum::SparseMethod::ma38;
  report.other->report.method = corvidnum::SparseMethod::ma48;
  for (auto* one : {&*report.found, &*report.other}) {
    one->status = corvidnum::SparseStatus::Solved;
    one->forward_error = 1e-3;
    one->x = {1, 4};
  }
  const auto says = [&](const std::string& words) {
    EXPECT_NE(solve::report_text(report).find(words + "\n"), std::string::npos) << solve::report_text(report);
    const bool agree = words.find("disagree") == words.npos;
    EXPECT_NE(solve::report_json(report).find(fmt::format("\"methods_agree\": {}", agree)),
              std::string::npos);
  };
  report.other->x = {1.004, 4};
  says("the solutions differ by 1.0e-03 of the largest element, within the bounds of their errors");
  report.other->x = {1.04, 4};
  says("by 1.0e-02 of the largest element, more than the bounds of their errors; the methods disagree");
  report.found->status = corvidnum::SparseStatus::Inexact;
  says("only ma48 solves the system; the methods disagree");
  report.other->status = corvidnum::SparseStatus::Singular;
  says("neither method solves the system; the methods disagree");
}

class SolveProgram : public ProgramTest {
 protected:
  SolveProgram() : ProgramTest(SOLVE_PROGRAM) {}

  void write_matrix(const std::string& name, const std::string& lines) {
    write(name, head("real general") + lines);
  }
  /// The largest difference of the numbers in x.mtx from `expected`.
  double off(const std::vector<double>& expected) const {
    const std::vector<double> x = solve::read_vector((folder_ / "x.mtx").string());
    if (x.size() != expected.size()) return HUGE_VAL;
    double largest = 0;
    for (std::size_t i = 0; i < expected.size(); ++i)
      largest = std::max(largest, std::abs(x[i] - expected[i]));
    return largest;
  }
  /// Writes what a script that ships generated when the tests were built.
  void write_generated(const std::string& name, const std::string& generated) const {
    fs::copy_file(SOLVE_GENERATED "/" + generated, folder_ / name, fs::copy_options::overwrite_existing);
  }
  /// The number behind a name in the JSON that was printed.
  double figure(const std::string& name) const {
    const std::size_t at = out_.find("\"" + name + "\": ");
    return at == std::string::npos ? NAN : test_support::number_at(out_.substr(at + name.size() + 4));
  }
};

TEST_F(SolveProgram, SolvesTheFilesThatShip) {
  const std::string folder = SOLVE_MATRICES "/", plate = folder + "plate.mtx",
                    recycle = folder + "recycle.mtx --out x.mtx --rhs " + folder + "recycle_feed.mtx";
  expect_solves(recycle, {"order                    8\n", "entries                  19\n",
                          "blocks                   4, 2 of order 1, order of the largest 3\n",
                          "solver                   ma48: the matrix is small\n",
                          "pivots                   tolerance 0.1\n", "entries in the factors   25\n"});
  EXPECT_LT(off({156.25, 6.25, 62.5, 100, 56.25, 6.25, 6.25, 93.75}), 1e-12);
  EXPECT_FALSE(printed("forward error"));

  expect_solves(recycle + " --refactor-with " + folder + "recycle_80.mtx");
  const double m = 100 / 0.82, o = 0.8 * m / 0.9375;
  EXPECT_LT(off({m, o / 16, 0.2 * m, o, 0.18 * m, o / 16, 0.02 * m, 0.8 * m}), 1e-12);
  for (const std::string solver : kSolvers) {
    expect_solves(plate + " --error-estimate --out x.mtx" + solver, {"forward error bound"});
    EXPECT_LT(off(std::vector<double>(9, 1.0)), 1e-14);
  }
  expect_solves(plate + " --solver ma38 --no-btf",
                {"solver                   ma38: asked for\n", "blocks                   not looked for\n",
                 "pivots                   tolerance 0.5, the diagonal preferred\n"});
}

TEST_F(SolveProgram, ReadsAndWritesStreamsAndCompressedFiles) {
  write("a.mtx", "\xef\xbb\xbf" + array("real general") + "2 2\r\n1.5D0\r\n0\r\n0\r\n4\r\n");
  write("b.txt", "3\n2\n");
  // The same file as gzip compresses it.
  constexpr char kCompressed[] =
      "\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\x03\x7b\xbf\x7b\xbf\xaa\xaa\x6f\x62\x49\x51\x66\x85\x6f\x62\x51"
      "\x76"
      "\x6a\x89\x42\x2e\x98\xa3\x90\x58\x54\x94\x58\xa9\x50\x94\x9a\x98\xa3\x90\x9e\x9a\x97\x5a\x94\x98\xc3"
      "\x65"
      "\xa4\x60\xc4\xcb\x65\xa8\x67\xea\x62\xc0\xcb\x05\x41\x26\xbc\x5c\x00\xdb\xf1\xeb\x27\x41\x00\x00\x00";
  const std::string compressed(kCompressed, sizeof kCompressed - 1);
  constexpr std::size_t kTail = 8;  // the checksum and the length
  write("a", compressed);
  write("cut", compressed.substr(0, 60));
  write("damaged", compressed.substr(0, compressed.size() - kTail) + "12345678");
  write("twice", compressed + compressed);
  const std::string solution = array("real general") + "2 1\n2\n0.5\n",
                    shown = "solution\n       1                    2\n";
  for (const std::string command : {"a --rhs b.txt", "- --rhs b.txt <a.mtx", "a.mtx --rhs - <b.txt"}) {
    expect_solves(command, {(shown + "       2                  0.5\n").c_str()});
    expect_solves(command + " --json", {"\"solution\": [2, 0.5]\n"});
    expect_solves(command + " --quiet --out x.mtx");
    EXPECT_EQ(out_, "");
    expect_solves(command + " --quiet --out -");
    EXPECT_EQ(out_, solution);
    EXPECT_EQ(contents(folder_ / "x.mtx"), solution);
    EXPECT_EQ(run(command + " --out -"), 0);
    EXPECT_EQ(out_, solution);
    EXPECT_EQ(err_.rfind("matrix      ", 0), 0u) << err_;
    EXPECT_EQ(err_.find("solution"), err_.npos) << err_;
  }
  expect_runs({{"cut", 1, "cut: the compressed text is cut short\n"},
               {"damaged", 1, "damaged: the compressed text is damaged\n"},
               {"twice", 1, "twice:7: more than the 4 numbers that the size line announces\n"},
               {"- <b.txt", 1, "standard input:1: not a Matrix Market file: its first line must begin with"},
               {"- --rhs - <b.txt", 2, "-: standard input can be read only once\n"},
               {"a --json --quiet", 2, "--json excludes --quiet"},
               {"a --out no/such --quiet", 1, "no/such: No such file or directory\n"}});
  std::string lines = "21 21 21\n";
  for (int i = 1; i <= 21; ++i) lines += fmt::format("{0} {0} 1\n", i);
  write_matrix("large.mtx", lines);
  expect_solves("large.mtx");
  EXPECT_FALSE(printed("solution")) << out_;
}

TEST_F(SolveProgram, TellsOnATerminalWhatTakesLong) {
  if (!test_support::system_is_posix()) GTEST_SKIP() << test_support::kNeedsTerminal;
  expect_runs({{"- <&-", 1, "standard input: Bad file descriptor\n"}});
  write_matrix("a.mtx", "1 1 1\n1 1 1\n");
  for (const std::string options : {"", " --quiet"}) {
    const std::string slow = "(sleep 1.2; cat a.mtx) | '" + program_ + "' -" + options;
    EXPECT_EQ(shell("script -qec \"" + slow + " >answer\" shown"), 0);
    const bool told = contents(folder_ / "shown").find("\rreading ... 1.0 s\r\033[K") != std::string::npos;
    EXPECT_EQ(told, options.empty()) << contents(folder_ / "shown");
    EXPECT_EQ(contents(folder_ / "answer").empty(), !options.empty());
  }
}

TEST_F(SolveProgram, CountsEntriesInTheFactors) {
  // Lower triangular: what stands in the matrix. Full, of order 2: its four factors. Two full blocks of
  // order 2 and one entry between them: eight and one.
  const struct {
    std::string lines;
    int blocks, entries;
  } cases[] = {
      {"3 3 4\n1 1 2\n2 2 2\n3 3 2\n3 1 1\n", 3, 4},
      {"2 2 4\n1 1 2\n1 2 1\n2 1 1\n2 2 2\n", 1, 4},
      {"4 4 9\n1 1 2\n1 2 1\n2 1 1\n2 2 2\n3 3 2\n3 4 1\n4 3 1\n4 4 2\n1 4 1\n", 2, 9},
  };
  for (const auto& expected : cases) {
    write_matrix("a.mtx", expected.lines);
    for (const std::string solver : kSolvers) {
      expect_solves("a.mtx --json" + solver);
      EXPECT_EQ(figure("blocks"), expected.blocks) << expected.lines;
      EXPECT_EQ(figure("factor_entries"), expected.entries) << expected.lines;
    }
  }
}

TEST_F(SolveProgram, EveryOptionSolvesAGeneratedMatrix) {
  write_generated("a.mtx", "flowsheet.mtx");
  write_generated("a2.mtx", "flowsheet_later.mtx");
  for (const std::string options :
       {"", "--transpose", "--refine", "--solver ma48", "--error-estimate", "--no-btf",
        "--pivot-tolerance 0.9", "--transpose --error-estimate --no-btf",
        "--transpose --refactor-with a2.mtx", "--solver ma38", "--solver ma38 --transpose --no-btf",
        "--solver ma38 --pivot-tolerance 0.9 --refine",
        "--solver ma38 --transpose --error-estimate --prefer-diagonal",
        "--solver ma38 --error-estimate --refactor-with a2.mtx"}) {
    SCOPED_TRACE(options);
    expect_solves("a.mtx --json --out x.mtx " + options);
    EXPECT_LE(figure("backward_error"), 1e-12) << out_;
    EXPECT_GT(figure("operations"), 0);
    const double error = off(std::vector<double>(400, 1.0));
    EXPECT_LT(error, 1e-10);
    if (options.find("estimate") != std::string::npos) {
      EXPECT_GT(figure("forward_error"), error / 10) << out_;
      EXPECT_LT(figure("forward_error"), 1e-8) << out_;
    }
  }
  EXPECT_TRUE(printed("\"new_pivots\": false")) << out_;
}

/// Entries on the diagonal, and a 1 behind each.
std::string cycle(double diagonal) {
  std::string lines = "8 8 16\n";
  for (int i = 1; i <= 8; ++i) lines += fmt::format("{0} {0} {1}\n{0} {2} 1\n", i, diagonal, i % 8 + 1);
  return lines;
}

TEST_F(SolveProgram, RefactorisesWithNewPivotsWhereTheOldOnesFail) {
  write_matrix("a.mtx", cycle(4));  // pivots on the diagonal, which become 0, or rows that sum to 0
  write_matrix("zero.mtx", cycle(0));
  write_matrix("tiny.mtx", cycle(1e-20));  // taken, but no digit is left
  write_matrix("small.mtx", cycle(0.03));  // digits are lost, and refinement brings them back
  write_matrix("flat.mtx", cycle(-1));
  for (const std::string solver : kSolvers) {
    SCOPED_TRACE(solver);
    for (const std::string second : {"zero.mtx", "tiny.mtx", "small.mtx"}) {
      expect_solves("a.mtx --out x.mtx --refactor-with " + second + solver);
      if (second == "small.mtx")
        EXPECT_TRUE(printed("on the same pivots") && printed("1, backward error without ")) << out_;
      else
        EXPECT_TRUE(printed("with new pivots: the old ones did not suit")) << out_;
      EXPECT_LT(off(std::vector<double>(8, 1.0)), 1e-14);
    }
    expect_runs({{"a.mtx --refactor-with flat.mtx" + solver, 3,
                  "flat.mtx: the matrix is singular to working precision: rank 7, order 8; equations"}});
  }
}

TEST_F(SolveProgram, ReordersAMeshAndShowsIt) {
  const int entries = 108 + 2 * (12 * 8 + 11 * 9 + 11 * 8);
  write_generated("mesh.mtx", "mesh.mtx");
  const fs::path before = folder_ / "a/b/before.svg", after = folder_ / "a/b/after.svg";
  expect_solves("mesh.mtx --spy a/b");
  EXPECT_FALSE(printed("reordered")) << out_;
  EXPECT_EQ(dots(contents(before)), entries);
  EXPECT_FALSE(fs::exists(after));

  const std::string measures = R"(: \{"before": (\d+), "after": (\d+)\},\n)";
  for (const std::string goal : {"bandwidth", "profile"}) {
    SCOPED_TRACE(goal);
    expect_solves("mesh.mtx --spy a/b --json --reorder " + goal);
    std::smatch m;
    ASSERT_TRUE(std::regex_search(out_, m,
                                  std::regex("\"reordered_for\": \"" + goal + "\",\n  \"bandwidth\"" +
                                             measures + "  \"profile\"" + measures)))
        << out_;
    EXPECT_GT(std::stoi(m[1]), 80);
    EXPECT_LE(std::stoi(m[2]), 14) << "nodes of three short sides, nearly";
    EXPECT_LT(3 * std::stoi(m[4]), std::stoi(m[3]));
    EXPECT_EQ(dots(contents(before)), entries);
    EXPECT_EQ(dots(contents(after)), entries);
    const std::string caption =
        fmt::format(">reordered for {}: order 108, {} entries, bandwidth {}, profile {}<", goal, entries,
                    m[2].str(), m[4].str());
    EXPECT_NE(contents(after).find(caption), std::string::npos) << caption;
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_ / "a/b"), {}), 2) << "nothing but the pictures";
}

TEST_F(SolveProgram, TellsAReorderingWhateverBecomesOfTheSolution) {
  write("pattern.mtx", head("pattern general") + "3 3 7\n1 1\n1 3\n2 2\n2 3\n3 1\n3 2\n3 3\n");
  write_matrix("zeros.mtx", "3 3 7\n1 1 0\n1 3 0\n2 2 0\n2 3 0\n3 1 0\n3 2 0\n3 3 0\n");
  const std::pair<std::string, int> runs[] = {{"pattern.mtx", 0},
                                              {"pattern.mtx --transpose --solver ma38", 0},
                                              {"pattern.mtx --out x.mtx", 0},
                                              {"zeros.mtx", 3},
                                              {"zeros.mtx --solver ma38", 3}};
  for (const auto& [arguments, code] : runs)
    for (const std::string more : {"", " --json"}) {
      expect_runs({{arguments + " --reorder profile --spy a" + more, code, ""}});
      EXPECT_EQ(printed("backward"), arguments.find("--out") != std::string::npos) << out_;
      EXPECT_TRUE(printed(more.empty() ? "bandwidth                2, reordered 1\n"
                                       : "\"bandwidth\": {\"before\": 2, \"after\": 1}"))
          << out_;
      EXPECT_EQ(dots(contents(folder_ / "a/after.svg")), 7);
    }
}

/// Random factors of the given rank multiplied, of order 20; columns get smaller over so many decades.
std::string full_matrix(int rank, double decades, reference::Random& random, double scale = 1) {
  constexpr int kOrder = 20;
  const reference::Dense left = reference::random_dense(kOrder, rank, random);
  const reference::Dense right = reference::random_dense(rank, kOrder, random);
  std::string text = fmt::format("{0} {0} {1}\n", kOrder, kOrder * kOrder);
  for (int i = 0; i < kOrder; ++i) {
    for (int j = 0; j < kOrder; ++j) {
      double sum = 0;
      for (int k = 0; k < rank; ++k) sum += left(i, k) * right(k, j);
      text += fmt::format("{} {} {}\n", i + 1, j + 1, sum * scale * std::pow(10, -decades * j / kOrder));
    }
  }
  return text;
}

TEST_F(SolveProgram, TellsSingularFromBadlyScaled) {
  // Rounding keeps most pivots off zero that should be zero. Where columns differ much in size the solution
  // of ones may be as unsure, but the matrix is not at fault.
  reference::Random random(5);
  write("b.mtx", solve::vector_text(std::vector<double>(20, 1.0)));
  for (const std::string solver : kSolvers) {
    SCOPED_TRACE(solver);
    for (int trial = 0; trial < 5; ++trial) {
      for (const char* transpose : {"", " --transpose"}) {
        write_matrix("a.mtx", full_matrix(19, 0, random));
        expect_runs({{"a.mtx" + solver + transpose, 3,
                      "a.mtx: the matrix is singular to working precision: rank 19, order 20; equations"}});
      }
      write_matrix("a.mtx", full_matrix(20, 18, random));
      expect_runs({{"a.mtx" + solver, 0, "so that not even the first digit can be relied on"},
                   {"a.mtx --rhs b.mtx" + solver, 0, ""}});
      EXPECT_FALSE(printed("forward error")) << out_;
    }
  }

  write("zero.mtx", solve::vector_text({0, 0}));
  write_matrix("a.mtx", "2 2 4\n1 1 1e308\n1 2 1e307\n2 1 1e307\n2 2 5e307\n");
  expect_runs({{"a.mtx --error-estimate", 0, "e-16\n"},  // although the terms add up to too much
               {"a.mtx --error-estimate --rhs zero.mtx", 0, "forward error bound      0.00e+00\n"}});
  for (const std::string solver : kSolvers)  // near the largest numbers, where estimates may overflow
    for (int trial = 0; trial < 10; ++trial) {
      write_matrix("a.mtx", full_matrix(19, 0, random, 5e306));
      EXPECT_NE(run("a.mtx" + solver), 0) << out_;
      EXPECT_NE(run("a.mtx --rhs b.mtx" + solver), 0) << out_;
    }
}

TEST_F(SolveProgram, TellsHowManyDigitsAreLeft) {
  // Rows that differ by so many roundings.
  const struct {
    double roundings;
    int code;
    std::string says;
  } cases[] = {
      {3, 3,
       "a.mtx: the matrix is singular to working precision: rank 1, order 2; equations without a pivot"},
      {20, 0, "6.00e-01, so that not even the first digit can be relied on\n"},
      {1000, 0, "1.20e-02, so that only the first digit can be relied on\n"},
      {4000, 0, ""},
  };
  for (const std::string solver : kSolvers)
    for (const auto& c : cases) {
      write_matrix("a.mtx",
                   fmt::format("2 2 4\n1 1 1\n1 2 1\n2 1 1\n2 2 {}\n", 1 + std::ldexp(c.roundings, -52)));
      expect_runs({{"a.mtx" + solver, c.code, c.says}}, 3);
      EXPECT_EQ(printed("forward error"), c.code == 0 && !c.says.empty()) << out_;
    }
}

TEST_F(SolveProgram, NamesTheEquationsOfASingularSystem) {
  // Two equations for the first unknown, none for the last.
  write_matrix("a.mtx", "4 4 5\n1 1 1\n2 1 1\n3 2 1\n3 3 1\n4 3 1\n");
  // The third row is the sum of those before it, the fourth column twice the second one.
  write_matrix("b.mtx", "4 4 10\n1 1 2\n1 2 1\n1 4 2\n2 2 4\n2 4 8\n3 1 2\n3 2 5\n3 4 10\n4 3 1\n4 1 1\n");
  const std::string structural = "a.mtx: the matrix is structurally singular: structural rank 3, order 4; ";
  std::string many = "24 24 36\n";  // each of 12 unknowns stands alone in two equations and one more time
  for (int i = 1; i <= 12; ++i) many += fmt::format("{0} {0} 1\n{1} {0} 1\n{0} {0} 1\n", i, i + 12);
  write_matrix("many.mtx", many);
  for (const std::string solver : {"", " --solver ma48", " --solver ma38"}) {
    expect_runs({{"a.mtx" + solver, 3,
                  structural + "unmatched equations no. 2; unmatched unknowns no. 4; over-determined part: 2 "
                               "equations, 1 unknown; under-determined part: 0 equations, 1 unknown\n"},
                 {"a.mtx --transpose" + solver, 3,
                  structural + "unmatched equations no. 4; unmatched unknowns no. 2; over-determined part: 1 "
                               "equation, 0 unknowns; under-determined part: 1 equation, 2 unknowns\n"},
                 {"many.mtx" + solver, 3,
                  "; unmatched equations no. 13, 14, 15, 16, 17, 18, 19, 20, 21, 22 and 2 more; unmatched "
                  "unknowns no. 13, 14, 15, 16, 17, 18, 19, 20, 21, 22 and 2 more; over-determined"}});
    expect_runs(
        {{"b.mtx" + solver, 3, "b.mtx: the matrix is singular to working precision: rank 3, order 4; "}});
    EXPECT_TRUE(std::regex_search(
        err_, std::regex("equations without a pivot no. [123]; unknowns without a pivot no. [24]\n")))
        << err_;
  }
}

TEST_F(SolveProgram, TriesBothMethods) {
  write_matrix("a.mtx", cycle(4));
  const std::string row = R"( +[\d.]+ s +[\d.]+ s +(\d+) +[\d.e+-]+ +[\d.e+-]+  solved\n)";
  const std::string columns =
      "method +factorise +solve +factor entries +operations +backward error +status\n";
  for (const std::string chosen : {"ma48", "ma38"}) {
    expect_solves("a.mtx --try-all --solver " + chosen);
    std::smatch m;
    ASSERT_TRUE(
        std::regex_search(out_, m, std::regex("^" + columns + "ma48" + row + "ma38" + row + "the solu")))
        << out_;
    EXPECT_TRUE(printed(fmt::format("entries in the factors   {}\n", m[chosen == "ma48" ? 1 : 2].str())));
    EXPECT_TRUE(printed("solver                   " + chosen + ": asked for\n"));
    EXPECT_TRUE(printed("of the largest element, within the bounds of their errors\n")) << out_;
    expect_solves("a.mtx --try-all --json --solver " + chosen, {"\"methods_agree\": true"});
  }
  // Whatever becomes of the solution, the table comes.
  write_matrix("flat.mtx", cycle(-1));
  expect_runs({{"flat.mtx --try-all", 3, "flat.mtx: the matrix is singular"}});
  EXPECT_TRUE(printed("neither method solves the system\n")) << out_;
}

TEST_F(SolveProgram, FillsInAndPrefersTheDiagonalOfScatteredEntries) {
  // Rows and columns differ in length, so that the sparsest pivots do not lie on the diagonal.
  reference::Random random(3);
  constexpr int kOrder = 400;
  std::string lines[2];  // of two files with entries in the same places
  for (std::string& text : lines) text = fmt::format("{0} {0} {1}\n", kOrder, 4 * kOrder);
  for (int i = 1; i <= kOrder; ++i)
    for (int k = 0; k < 4; ++k) {
      const int j = k == 0 ? i : std::uniform_int_distribution<int>(1, kOrder)(random);
      for (std::string& text : lines)
        text += fmt::format("{} {} {}\n", i, j,
                            k == 0 ? 1 : std::uniform_real_distribution<double>(0.5, 1)(random));
    }
  write_matrix("a.mtx", lines[0]);
  write_matrix("b.mtx", lines[1]);
  const auto fill = [this](const std::string& options) {
    expect_solves("a.mtx --solver ma38 --json" + options);
    EXPECT_LE(figure("backward_error"), 1e-12);
    return figure("factor_entries");
  };
  const double standard = fill("");
  EXPECT_EQ(fill(" --prefer-diagonal --pivot-tolerance 0.5"), standard);
  EXPECT_NE(fill(" --no-prefer-diagonal --pivot-tolerance 0.5"), standard) << "other pivots";
  EXPECT_NE(fill(" --pivot-tolerance 0.1"), standard) << "other pivots";
  fill(" --refactor-with b.mtx");
}

TEST_F(SolveProgram, RefinesRepairsOrRefuses) {
  // The sparsest row and column meet in a tiny element, and the rest is full.
  std::string lines = "1 2 1\n2 1 1\n";
  for (int i = 2; i <= 6; ++i)
    for (int j = 2; j <= 6; ++j) lines += fmt::format("{} {} {}\n", i, j, i == j ? 6 : 1 + i * j % 3 / 4.0);
  const std::string solve = "a.mtx --solver ma38 --pivot-tolerance 0 --out x.mtx";
  for (const std::string tiny : {"1e-6", "1e-12"}) {  // leave errors of 1e-12 and 1e-5
    write_matrix("a.mtx", "6 6 28\n1 1 " + tiny + "\n" + lines);
    for (const std::string more :
         {"", " --no-prefer-diagonal", " --refine", " --transpose --error-estimate"}) {
      expect_solves(solve + more);
      EXPECT_TRUE(printed("tolerance 0\n") || printed("tolerance 0,")) << out_;
      EXPECT_TRUE(printed("corrections   ") || more.find("transpose") != more.npos) << more;
      EXPECT_LT(off(std::vector<double>(6, 1.0)), 1e-13) << tiny << more;
    }
  }
  fs::remove(folder_ / "x.mtx");

  write_matrix("a.mtx", cycle(1e-9));
  expect_solves(solve, {"repairs                  a higher pivot tolerance\n", "tolerance 1"});
  EXPECT_LT(off(std::vector<double>(8, 1.0)), 1e-14);
  fs::remove(folder_ / "x.mtx");

  // Hardly any solution comes closer than this; with a bound that is met, corrections still go on.
  write_generated("a.mtx", "flowsheet.mtx");
  const std::string refused = "a.mtx: the solution has a backward error of ";
  expect_runs({{"a.mtx --out x.mtx --bound 1e-16", 4, ", above 1e-16\n"},
               {"a.mtx --out x.mtx --bound 1e-16 --solver ma48", 4, ", above 1e-16; try --solver auto\n"}},
              4);
  EXPECT_EQ(err_.rfind(refused, 0), 0u) << err_;
  EXPECT_FALSE(fs::exists(folder_ / "x.mtx"));
  expect_solves("a.mtx --bound 0.1 --json");
  const double error = figure("backward_error");
  expect_solves("a.mtx --bound 0.1 --json --refine");
  EXPECT_LT(figure("backward_error"), error);
}

TEST_F(SolveProgram, TellsRefusedMemory) { expect_refused_memory_told(); }

TEST_F(SolveProgram, OneMessageTellsWhatWentWrong) {
  write_matrix("good.mtx", "2 2 2\n1 1 1\n2 2 1\n");
  write_matrix("bad.mtx", "2 2 2\n1 1 1\n2 2 x\n");
  write_matrix("wide.mtx", "2 3 2\n1 1 1\n2 3 1\n");
  write_matrix("none.mtx", "0 0 0\n");
  write_matrix("huge.mtx", "1000000000 1000000000 1\n1 1 1\n");
  write_matrix("flat.mtx", "2 2 4\n1 1 1\n1 2 2\n2 1 2\n2 2 4\n");
  write_matrix("before.svg", "1 1 1\n1 1 1\n");
  write_matrix("null.mtx", "1 1 1\n1 1 0\n");
  write_matrix("far.mtx", "1 1 1\n1 1 1e-300\n");
  write_matrix("over.mtx", "2 2 3\n1 1 1.7e308\n1 2 1.7e308\n2 2 1\n");
  write("three.mtx", solve::vector_text({1, 2, 3}));
  write("large.mtx", solve::vector_text({1e300}));
  fs::create_directories(folder_ / "pictures/after.svg");
  std::vector<ProgramRun> runs{
      {"bad.mtx", 1, "bad.mtx:4: \"x\" is not a number\n"},
      {"wide.mtx", 1, "wide.mtx:2: the matrix is 2 x 3, not square\n"},
      {"none.mtx", 1, "none.mtx:2: the matrix is empty\n"},
      {"missing.mtx", 1, "missing.mtx: No such file or directory\n"},
      {"good.mtx --rhs three.mtx", 1, "three.mtx:2: 3 numbers for a matrix of order 2\n"},
      {"good.mtx --refactor-with flat.mtx", 1, "has no counterpart in"},
      // Before the work: otherwise the matrix would be found singular, or too large to be reordered.
      {"flat.mtx --out no/such.mtx", 1, "no/such.mtx: No such file or directory\n"},
      {"flat.mtx --out pictures", 1, "pictures: Is a directory\n"},
      {"huge.mtx --reorder profile --spy bad.mtx", 1, "bad.mtx: Not a directory\n"},
      {"huge.mtx --reorder profile --spy pictures", 1, "after.svg: Is a directory\n"},
      {"huge.mtx --reorder profile", 1, "huge.mtx: 1000000000 unknowns are too many to be reordered\n"},
      {"huge.mtx --spy a", 3,
       "huge.mtx:2: the matrix is structurally singular: 1 entries, order 1000000000\n"},
      {"huge.mtx --solver ma38", 3, "structurally singular: 1 entries, order 1000000000\n"},
      {"flat.mtx --no-btf --json", 3, "singular to working precision: rank 1, order 2; equations"},
      {"null.mtx", 3, "rank 0, order 1; equations without a pivot no. 1; unknowns without a pivot no. 1\n"},
      {"far.mtx --rhs large.mtx", 4, "the solution is too large for numbers"},
      {"over.mtx", 1, "over.mtx: A times ones is too large for numbers; give --rhs\n"},
      {"good.mtx --spy bad.mtx/pictures", 1, "bad.mtx/pictures: Not a directory\n"},
      {"good.mtx --reorder", 2, "--reorder"},
      {"good.mtx --reorder wavefront", 2, "--reorder"},
      {"good.mtx --spy \"\"", 2, "--spy: the name is empty"},
      {"good.mtx --spy -", 2, "--spy: must be a folder, not -"},
      {"before.svg --spy .", 2, "before.svg would be replaced, and is read"},
      {"good.mtx --spy new --out new/before.svg", 2, "before.svg is written by --spy too"},
      {"good.mtx --solver ma47", 2, "--solver"},
      {"good.mtx --pivot-tolerance 2", 2, "--pivot-tolerance: must lie between 0 and 1, not 2"},
      {"good.mtx --pivot-tolerance nan", 2, "--pivot-tolerance"},
      {"good.mtx --bound 0", 2, "--bound: must lie between"},
      {"good.mtx --solver ma48 --prefer-diagonal", 2, "--prefer-diagonal: has no effect on ma48"},
      {"good.mtx --solver ma48 --no-prefer-diagonal", 2, "--no-prefer-diagonal: has no effect on ma48"},
      {"good.mtx --version", 0, "corvidnum-solve " CORVIDNUM_VERSION_TEXT "\n"},
      {"good.mtx --rhs \"\"", 2, "--rhs: the name is empty"},
      {"good.mtx --out pictures/../good.mtx", 2, "is read"},
      {"good.mtx --rhs three.mtx --out three.mtx", 2, "is read"},
  };
  for (ProgramRun& one : runs)
    if (one.arguments.find("--out") == std::string::npos) one.arguments += " --out x.mtx";
  expect_runs(runs, 4);
  EXPECT_FALSE(fs::exists(folder_ / "x.mtx"));
}

// That there is no block form would be another answer.
TEST(BlockForm, TellsThatMemoryIsRefused) {
  const int rows[] = {1, 2, 2}, columns[] = {1, 1, 2};
  const double values[] = {1, 2, 3};
  corvidnum::SparseSolver solver(2, 3, rows, columns, 1);
  ASSERT_EQ(solver.Factorise(values), corvidnum::SparseStatus::Factorised);
  corvid_host::FailAllocationsFrom(1);
  EXPECT_THROW(solve::block_form(solver), std::bad_alloc);
  corvid_host::StopFailing();
  EXPECT_EQ(solve::block_form(solver).count(), 2);
}

}  // namespace
