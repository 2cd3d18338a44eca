// Reading Matrix Market files, and the program that solves them as a user meets it.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "apps/common/multifrontal.h"
#include "apps/common/reordering.h"
#include "apps/common/toml_reader.h"
#include "apps/solve/direct_solver.h"
#include "apps/solve/matrix_market.h"
#include "apps/solve/refinement.h"
#include "apps/solve/residual.h"
#include "apps/solve/spy.h"
#include "tests/support/dense_reference.h"
#include "tests/support/program.h"

namespace {

using solve::Matrix;

/// The option that chooses a solver; none for the default.
const char* const kSolvers[] = {"", " --solver ma38"};

std::string head(const std::string& kind) { return "%%MatrixMarket matrix coordinate " + kind + "\n"; }

/// What the reader complains of, if it does.
template <class Read>
std::string complaint(const Read& read) {
  try {
    read();
  } catch (const apps::BadCase& error) {
    return error.what();
  }
  return "accepted";
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
  };
  for (const auto& file : files) {
    SCOPED_TRACE(file.text);
    EXPECT_EQ(entries(solve::parse_matrix(file.text, "f")), file.entries);
  }
}

TEST(MatrixMarket, TellsLineAndFaultOfABadMatrix) {
  const std::string real = head("real general"), three = real + "3 3 2\n";
  const struct {
    std::string text, complaint;
  } files[] = {
      {"", "f:1: not a Matrix Market file: its first line must begin with %%MatrixMarket"},
      {"\n" + real, "f:2: not a Matrix Market file: its first line must begin with %%MatrixMarket"},
      {"%%MatrixMarket matrix coordinate real\n",
       "f:1: the first line must read %%MatrixMarket matrix, format, field, symmetry"},
      {"%%MatrixMarket vector coordinate real general\n",
       "f:1: object \"vector\" is not handled; it must be matrix"},
      {"%%MatrixMarket matrix array real general\n",
       "f:1: format \"array\" is not handled; it must be coordinate"},
      {head("complex general"), "f:1: field \"complex\" is not handled; it must be real, integer, pattern"},
      {head("real hermitian"),
       "f:1: symmetry \"hermitian\" is not handled; it must be general, symmetric, skew-symmetric"},
      {real + "% only this\n", "f:2: the file ends before its size line"},
      {real + "3 3\n", "f:2: the size line must hold 3 counts, not 2"},
      {real + "3 -3 1\n", "f:2: count of columns \"-3\" must lie between 0 and 1073741823"},
      {real + "3 3 99999999999999999999\n",
       "f:2: count of entries \"99999999999999999999\" must lie between 0 and 1073741823"},
      {real + "3 3 1.5\n", "f:2: count of entries \"1.5\" is not an integer"},
      {three + "1 1 1\n\n", "f:4: the file ends after 1 of 2 entries"},
      {three + "1 1 1\n2 2 1\n\n3 3 1\n", "f:6: more than the 2 entries that the size line announces"},
      {three + "% x\n4 1 1\n", "f:4: row \"4\" must lie between 1 and 3"},
      {three + "+-1 1 1\n", "f:3: row \"+-1\" is not an integer"},
      {three + "1 0 1\n", "f:3: column \"0\" must lie between 1 and 3"},
      {three + "1 1\n", "f:3: an entry must hold row, column and value, not 2 words"},
      {three + "1 1 1 0\n", "f:3: an entry must hold row, column and value, not 4 words"},
      {three + "1 1 1,5\n", "f:3: \"1,5\" is not a number"},
      {three + "1 1 +-1\n", "f:3: \"+-1\" is not a number"},
      {three + "1 1 nan\n", "f:3: \"nan\" is not finite"},
      {three + "1 1 1e400\n", "f:3: \"1e400\" is not finite"},
      {three + "1 1 " + std::string(50, 'x') + "\n",
       "f:3: \"" + std::string(40, 'x') + "...\" is not a number"},
      {head("integer general") + "1 1 1\n1 1 2.0\n", "f:3: \"2.0\" is not an integer"},
      {head("pattern general") + "1 1 1\n1 1 1\n", "f:3: an entry must hold row and column, not 3 words"},
      {head("real symmetric") + "2 3 1\n", "f:2: a symmetric matrix cannot be 2 x 3"},
      {head("real symmetric") + "2 2 1\n1 2 1\n",
       "f:3: entry (1, 2) lies above the diagonal of a symmetric matrix"},
      {head("real skew-symmetric") + "2 2 1\n1 1 1\n",
       "f:3: entry (1, 1) lies on the diagonal of a skew-symmetric matrix"},
  };
  for (const auto& file : files)
    EXPECT_EQ(complaint([&] { solve::parse_matrix(file.text, "f"); }), file.complaint) << file.text;
}

TEST(MatrixMarket, VectorsComeBackAsWritten) {
  const std::vector<double> x{0.1, -1.0 / 3, 1e-300, 12345678901234567.0};
  EXPECT_EQ(solve::parse_vector(solve::vector_text(x), "f").value, x);
  const std::string array = "%%MatrixMarket matrix array real general\n";
  const struct {
    std::string text, complaint;
  } files[] = {
      {array + "2 2\n", "f:2: a right-hand side has one column, not 2"},
      {array + "2 1\n1\n", "f:3: the file ends after 1 of 2 numbers"},
      {array + "1 1\n1\n2\n", "f:4: more than the 1 numbers that the size line announces"},
      {array + "2 1\n1 2\n", "f:3: a line must hold one number, not 2 words"},
  };
  for (const auto& file : files)
    EXPECT_EQ(complaint([&] { solve::parse_vector(file.text, "f"); }), file.complaint) << file.text;
}

TEST(MatrixMarket, ValuesOfAnotherFileFollowTheOrderOfTheFirst) {
  const auto parse = [](const std::string& lines, const char* name) {
    return solve::parse_matrix(head("real general") + lines, name);
  };
  const Matrix a = parse("2 2 3\n2 1 1\n1 1 2\n2 2 3\n", "a");
  EXPECT_EQ(solve::values_in_order_of(a, parse("2 2 3\n1 1 7\n2 2 8\n2 1 9\n", "b")),
            (std::vector<double>{9, 7, 8}));
  const struct {
    std::string lines, complaint;
  } others[] = {
      {"2 2 2\n1 1 7\n2 1 9\n", "a:5: entry (2, 2) has no counterpart in b"},
      {"2 2 3\n1 1 7\n1 2 7\n2 1 9\n", "b:4: entry (1, 2) has no counterpart in a"},
      {"3 3 3\n1 1 7\n2 2 8\n2 1 9\n", "b:2: the matrix is of order 3, a of order 2"},
      {"2 2 4\n1 1 7\n2 2 8\n2 2 8\n2 1 9\n", "b:5: entry (2, 2) has no counterpart in a"},
  };
  for (const auto& other : others)
    EXPECT_EQ(complaint([&] { solve::values_in_order_of(a, parse(other.lines, "b")); }), other.complaint);
}

TEST(DirectSolver, CountsEntriesInTheFactors) {
  // Lower triangular: what stands in the matrix. Full, of order 2: its four factors. Two full blocks of
  // order 2 and one entry between them: eight and one.
  const struct {
    std::string lines;
    int blocks[2], entries;  // ma48 takes neighbours that are triangular together for one block
  } cases[] = {
      {"3 3 4\n1 1 2\n2 2 2\n3 3 2\n3 1 1\n", {1, 3}, 4},
      {"2 2 4\n1 1 2\n1 2 1\n2 1 1\n2 2 2\n", {1, 1}, 4},
      {"4 4 9\n1 1 2\n1 2 1\n2 1 1\n2 2 2\n3 3 2\n3 4 1\n4 3 1\n4 4 2\n1 4 1\n", {2, 2}, 9},
  };
  for (const auto& expected : cases) {
    SCOPED_TRACE(expected.lines);
    const Matrix a = solve::parse_matrix(head("real general") + expected.lines, "f");
    for (const auto method : {solve::Method::kMa48, solve::Method::kMa38}) {
      solve::SolverSettings settings;
      settings.method = method;
      const auto solver = solve::make_solver(a, settings);
      solver->analyse();
      solver->factorise(a.value, a.name);
      EXPECT_EQ(solver->facts().blocks, expected.blocks[static_cast<int>(method)]) << name_of(method);
      EXPECT_EQ(solver->facts().factor_entries, expected.entries) << name_of(method);
    }
  }
}

TEST(Multifrontal, GrowsItsArraysWhereTheFactorsFillIn) {
  constexpr int kOrder = 400;
  reference::Random random(7);
  Matrix a;
  a.rows = a.columns = kOrder;
  for (int i = 1; i <= kOrder; ++i) {
    for (int k = 0; k < 4; ++k) {
      a.row.push_back(i);
      a.column.push_back(k == 0 ? i : std::uniform_int_distribution<int>(1, kOrder)(random));
      a.value.push_back(k == 0 ? 4 : std::uniform_real_distribution<double>(-1, 1)(random));
    }
  }
  apps::Multifrontal solver(kOrder, a.row, a.column, {true, false, 1.0});
  const std::vector<double> x(kOrder, 1.0);
  ASSERT_GE(solver.factorise(a.value), 0);
  EXPECT_GT(solver.kept_reals(), 30 * kOrder) << "more than what there was at first";
  for (int round = 0; round < 3; ++round) {
    const solve::Equations equations{a, a.value, false};
    const std::vector<double> b = product(equations, x);
    EXPECT_LT(residuals(equations, solver.solve(b, false, 0).x, b).of_worst_row, 1e-12);
    for (double& value : a.value) value *= std::uniform_real_distribution<double>(0.9, 1)(random);
    ASSERT_GE(solver.refactorise(a.value), 0);
  }
}

TEST(Residuals, AreThatOfTheWorstRowAndThatOfAllRows) {
  const struct {
    std::string lines;
    std::vector<double> x, b;
    double worst_row[2], overall[2];  // of the matrix, and of its transpose
  } cases[] = {
      // A large column hides nothing: |3-2|/(2+3) in the first row. A large row does, overall.
      {"2 2 2\n1 1 2\n2 2 1e200\n", {1, 1}, {3, 1e200}, {0.2, 0.2}, {4e-201, 4e-201}},
      {"2 2 2\n1 2 1\n2 1 1\n", {0, 1}, {1, 0}, {0, 0}, {0, 0}},
      {"2 2 3\n1 1 1\n1 2 1\n2 2 1\n", {1, 2}, {4, 1}, {1.0 / 3, 0.6}, {0.125, 0.375}},
      // Sums and products beyond all numbers, and below them.
      {"2 2 3\n1 1 1e308\n1 2 1e308\n2 2 1e308\n", {1, 1}, {1e308, 1e308}, {1.0 / 3, 1.0 / 3}, {0.5, 0.5}},
      {"1 1 1\n1 1 1e300\n", {1e300}, {1}, {1, 1}, {0.5, 0.5}},
      {"1 1 1\n1 1 1e-300\n", {1e-300}, {0}, {1, 1}, {0.5, 0.5}},
      {"1 1 1\n1 1 1\n", {0}, {0}, {0, 0}, {0, 0}},
  };
  for (const auto& expected : cases) {
    SCOPED_TRACE(expected.lines);
    const Matrix a = solve::parse_matrix(head("real general") + expected.lines, "f");
    for (const bool transposed : {false, true}) {
      const solve::Equations equations{a, a.value, transposed};
      const solve::Residuals found = residuals(equations, expected.x, expected.b);
      EXPECT_DOUBLE_EQ(found.of_worst_row, expected.worst_row[transposed]) << transposed;
      EXPECT_LE(found.overall, 2 * expected.overall[transposed]) << transposed;
      EXPECT_GE(found.overall, expected.overall[transposed] / 2) << transposed;
    }
  }
}

/// Solves systems with the matrix (2 1; 1 3), with an error of a part of the solution.
class Sloppy final : public solve::DirectSolver {
 public:
  explicit Sloppy(double error) : factor_(1 + error) {}
  bool analyse() override { return true; }
  void factorise(const std::vector<double>&, const std::string&) override {}
  bool refactorise(const std::vector<double>&) override { return true; }
  solve::Solution solve(const std::vector<double>& b, bool, solve::Effort) override {
    solve::Solution solution;
    solution.x = {factor_ * (3 * b[0] - b[1]) / 5, factor_ * (2 * b[1] - b[0]) / 5};
    return solution;
  }
  solve::Facts facts() const override { return {}; }

 private:
  const double factor_;
};

TEST(Refinement, AddsCorrectionsWhileTheyHalveTheError) {
  const Matrix matrix =
      solve::parse_matrix(head("real general") + "2 2 4\n1 1 2\n1 2 1\n2 1 1\n2 2 3\n", "a");
  const std::vector<double> b{4, 7};
  const solve::Equations equations{matrix, matrix.value, false};
  const struct {
    double error;
    int steps;
    double left;  // at the most
  } cases[] = {{1e-6, 2, 1e-15}, {0.01, 7, 1e-15}, {0.3, 10, 1e-5}, {0.4, 1, 0.17}, {-2.5, 0, 2.6}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.error);
    Sloppy solver(c.error);
    solve::Solution solution = solver.solve(b, false, solve::Effort::kPlain);
    solve::refine(solver, equations, b, solution);
    EXPECT_EQ(solution.refinements, c.steps);
    EXPECT_EQ(solution.refined, c.steps < 10);
    const double error = std::fabs(solution.x[0] - 1);
    EXPECT_LE(error, c.left);
    EXPECT_NEAR(solution.backward_errors->omega1, error / (1 + std::fabs(solution.x[0])), 1e-15);
  }
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
  try {
    apps::reorder(400000000, {}, {}, apps::Goal::kProfile);
    FAIL() << "accepted";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "400000000 unknowns are too many to be reordered");
  }
}

int dots(const std::string& picture) {
  int count = 0;
  for (std::size_t at = 0; (at = picture.find("h1v1h-1z", at)) != picture.npos; ++at) ++count;
  return count;
}

TEST(Spy, HasADotForEachPlace) {
  const Matrix a =
      solve::parse_matrix(head("real general") + "3 3 5\n1 1 1\n2 2 0\n3 1 1\n3 1 1\n2 3 1\n", "f");
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

class SolveProgram : public ProgramTest {
 protected:
  SolveProgram() : ProgramTest(SOLVE_PROGRAM) {}

  /// The largest difference of the numbers in a written vector from `expected`.
  double off(const std::string& name, const std::vector<double>& expected) const {
    const solve::Vector x = solve::read_vector((folder_ / name).string());
    if (x.value.size() != expected.size()) return HUGE_VAL;
    double largest = 0;
    for (std::size_t i = 0; i < expected.size(); ++i)
      largest = std::max(largest, std::abs(x.value[i] - expected[i]));
    return largest;
  }
  /// What a script that ships generates, in a file whose path is quoted.
  std::string generated(const std::string& name, const std::string& script, const std::string& variables) {
    const std::string command =
        "awk " + variables + " -f '" SOLVE_MATRICES "/" + script + "' >" + in_folder(name);
    EXPECT_EQ(std::system(command.c_str()), 0);
    return in_folder(name);
  }
  /// The number behind a name in the JSON that was printed.
  double figure(const std::string& name) const {
    const std::size_t at = out_.find("\"" + name + "\": ");
    return at == std::string::npos ? NAN : std::strtod(out_.c_str() + at + name.size() + 4, nullptr);
  }
};

TEST_F(SolveProgram, SolvesTheFilesThatShip) {
  const std::string folder = SOLVE_MATRICES "/", feed = " --rhs " + folder + "recycle_feed.mtx";
  const std::string out = " --out " + in_folder("x.mtx");
  ASSERT_EQ(run(folder + "recycle.mtx" + feed + out), 0) << err_;
  EXPECT_EQ(err_, "");
  EXPECT_LT(off("x.mtx", {156.25, 6.25, 62.5, 100, 56.25, 6.25, 6.25, 93.75}), 1e-12);
  for (const char* line : {"order                    8\n", "entries                  19\n",
                           "blocks                   4, order of the largest that is not triangular 3\n",
                           "numerical rank           8\n", "entries in the factors   25\n"})
    EXPECT_TRUE(printed(line)) << line << " in " << out_;
  EXPECT_FALSE(printed("forward error"));
  expect_no_part_files();

  ASSERT_EQ(run(folder + "recycle.mtx --refactor-with " + folder + "recycle_80.mtx" + feed + out), 0) << err_;
  const double m = 100 / 0.82, o = 0.8 * m / 0.9375;
  EXPECT_LT(off("x.mtx", {m, o / 16, 0.2 * m, o, 0.18 * m, o / 16, 0.02 * m, 0.8 * m}), 1e-12);
  for (const char* more : {"", " --solver ma38"}) {
    ASSERT_EQ(run(folder + "plate.mtx --error-estimate" + out + more), 0) << err_;
    EXPECT_LT(off("x.mtx", std::vector<double>(9, 1.0)), 1e-14);
    EXPECT_TRUE(printed("forward error estimate"));
  }
  ASSERT_EQ(run(folder + "plate.mtx --solver ma38 --no-btf --json"), 0) << err_;
  const double kept = figure("kept_numbers");
  ASSERT_EQ(run(folder + "plate.mtx --solver ma38 --no-btf --json --keep-matrix"), 0) << err_;
  EXPECT_EQ(figure("kept_numbers"), kept + figure("entries"));
}

TEST_F(SolveProgram, EveryOptionSolvesAGeneratedMatrix) {
  const std::string matrix = generated("a.mtx", "flowsheet.awk", "-v units=50");
  const std::string second =
      " --refactor-with " + generated("a2.mtx", "flowsheet.awk", "-v units=50 -v drift=0.01");
  const std::vector<double> ones(400, 1.0);
  for (const std::string& options : std::vector<std::string>{
           "", "--transpose", "--refine", "--error-estimate", "--no-btf", "--pivot-tolerance 0.9",
           "--transpose --error-estimate --no-btf", "--transpose" + second, "--solver ma38",
           "--solver ma38 --transpose --no-btf --keep-matrix", "--solver ma38 --pivot-tolerance 0.9 --refine",
           "--solver ma38 --transpose --error-estimate --prefer-diagonal",
           "--solver ma38 --error-estimate" + second}) {
    SCOPED_TRACE(options);
    ASSERT_EQ(run(matrix + " --json --out " + in_folder("x.mtx") + " " + options), 0) << err_;
    EXPECT_EQ(err_, "");
    EXPECT_LT(figure("scaled_residual"), 1e-13) << out_;
    EXPECT_EQ(figure("numerical_rank"), 400);
    EXPECT_GT(figure("operations"), 0);
    const double error = off("x.mtx", ones);
    EXPECT_LT(error, 1e-10);
    if (options.find("estimate") != std::string::npos) {
      EXPECT_GT(figure("forward_error"), error / 10) << out_;
      EXPECT_LT(figure("forward_error"), 1e-8) << out_;
    }
  }
  EXPECT_TRUE(printed("\"new_pivots\": false")) << out_;
}

TEST_F(SolveProgram, RefactorisesWithNewPivotsWhereTheOldOnesFail) {
  // A cycle: pivots of 4 on the diagonal are chosen, and become 0, or rows that sum to 0.
  const auto cycle = [](double diagonal) {
    std::string text = head("real general") + "8 8 16\n";
    for (int i = 1; i <= 8; ++i) text += fmt::format("{0} {0} {1}\n{0} {2} 1\n", i, diagonal, i % 8 + 1);
    return text;
  };
  write("a.mtx", cycle(4));
  write("zero.mtx", cycle(0));
  write("tiny.mtx", cycle(1e-20));  // taken, but no digit is left
  write("small.mtx", cycle(0.03));  // six digits are left, or none, and refinement brings the others back
  write("flat.mtx", cycle(-1));
  const struct {
    std::string option, singular;
  } solvers[] = {{"", "numerically singular"}, {" --solver ma38", "singular"}};
  for (const auto& solver : solvers) {
    SCOPED_TRACE(solver.option);
    for (const char* second : {"zero.mtx", "tiny.mtx", "small.mtx"}) {
      ASSERT_EQ(run(in_folder("a.mtx") + " --refactor-with " + in_folder(second) + " --out " +
                    in_folder("x.mtx") + solver.option),
                0)
          << err_;
      if (second == std::string("small.mtx"))
        EXPECT_TRUE(printed("on the same pivots") && printed("1, since the backward errors were above 1e-12"))
            << out_;
      else
        EXPECT_TRUE(printed("with new pivots: the old ones did not suit") && printed(", to factorise "))
            << out_;
      EXPECT_LT(off("x.mtx", std::vector<double>(8, 1.0)), 1e-14);
    }
    EXPECT_EQ(run(in_folder("a.mtx") + " --refactor-with " + in_folder("flat.mtx") + solver.option), 3);
    EXPECT_NE(err_.find("flat.mtx: the matrix is " + solver.singular + ": rank 7, order 8\n"),
              std::string::npos)
        << err_;
  }
}

TEST_F(SolveProgram, ReordersAMeshAndShowsIt) {
  const int entries = 108 + 2 * (12 * 8 + 11 * 9 + 11 * 8);
  const std::string mesh = generated("mesh.mtx", "mesh.awk", "-v rows=12 -v columns=9");
  const std::string spy = " --spy " + in_folder("a/b");
  const fs::path before = folder_ / "a/b/before.svg", after = folder_ / "a/b/after.svg";

  ASSERT_EQ(run(mesh + spy), 0) << err_;
  EXPECT_FALSE(printed("reordered")) << out_;
  EXPECT_EQ(dots(contents(before)), entries);
  EXPECT_FALSE(fs::exists(after));

  for (const std::string goal : {"bandwidth", "profile"}) {
    SCOPED_TRACE(goal);
    ASSERT_EQ(run(mesh + spy + " --json --reorder " + goal), 0) << err_;
    EXPECT_TRUE(printed("\"reordered_for\": \"" + goal + "\"")) << out_;
    int wide[2] = {}, narrow[2] = {};
    const std::size_t at = out_.find("  \"bandwidth\": ");
    ASSERT_NE(at, out_.npos) << out_;
    EXPECT_EQ(std::sscanf(out_.c_str() + at,
                          " \"bandwidth\": {\"before\": %d, \"after\": %d}, \"profile\": {\"before\": %d, "
                          "\"after\": %d}",
                          &wide[0], &narrow[0], &wide[1], &narrow[1]),
              4)
        << out_;
    EXPECT_LE(narrow[0], 14) << "nodes of three short sides, nearly";
    EXPECT_GT(wide[0], 80);
    EXPECT_LT(3 * narrow[1], wide[1]);
    EXPECT_EQ(dots(contents(before)), entries);
    EXPECT_EQ(dots(contents(after)), entries);
    EXPECT_NE(contents(after).find(
                  fmt::format(">reordered for {}: order 108, {} entries, bandwidth {}, profile {}<", goal,
                              entries, narrow[0], narrow[1])),
              std::string::npos);
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_ / "a/b"), {}), 2) << "nothing but the pictures";
}

TEST_F(SolveProgram, TellsAReorderingWhateverBecomesOfTheSolution) {
  const std::string places = "3 3 7\n1 1\n1 3\n2 2\n2 3\n3 1\n3 2\n3 3\n";
  std::string zeros = places;
  for (std::size_t at = 6; (at = zeros.find('\n', at)) != zeros.npos; at += 3) zeros.insert(at, " 0");
  write("pattern.mtx", head("pattern general") + places);
  write("zeros.mtx", head("real general") + zeros);
  const std::string spy = " --spy " + in_folder("a");
  const struct {
    std::string arguments;
    int code;
  } runs[] = {
      {in_folder("pattern.mtx"), 0},
      {in_folder("pattern.mtx") + " --transpose --solver ma38", 0},
      {in_folder("pattern.mtx") + " --out " + in_folder("x.mtx"), 0},
      {in_folder("zeros.mtx"), 3},
      {in_folder("zeros.mtx") + " --solver ma38", 3},
  };
  for (const auto& expected : runs) {
    SCOPED_TRACE(expected.arguments);
    const bool solved = expected.arguments.find("--out") != std::string::npos;
    for (const std::string more : {"", " --json"}) {
      EXPECT_EQ(run(expected.arguments + " --reorder profile" + spy + more), expected.code) << err_;
      EXPECT_EQ(err_.empty(), expected.code == 0) << err_;
      EXPECT_EQ(printed("residual"), solved) << out_;
      EXPECT_TRUE(printed(more.empty() ? "bandwidth                2, reordered 1\n"
                                       : "\"bandwidth\": {\"before\": 2, \"after\": 1}"))
          << out_;
      EXPECT_EQ(dots(contents(folder_ / "a/after.svg")), 7);
    }
  }
}

/// Random factors of the given rank multiplied, of order 20; columns get smaller over so many decades.
std::string full_matrix(int rank, double decades, reference::Random& random, double scale = 1) {
  constexpr int kOrder = 20;
  const reference::Dense left = reference::random_dense(kOrder, rank, random);
  const reference::Dense right = reference::random_dense(rank, kOrder, random);
  std::string text = head("real general") + fmt::format("{0} {0} {1}\n", kOrder, kOrder * kOrder);
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
    int seen_by_estimate = 0;
    for (int trial = 0; trial < 5; ++trial) {
      for (const char* transpose : {"", " --transpose"}) {
        write("a.mtx", full_matrix(19, 0, random));
        EXPECT_EQ(run(in_folder("a.mtx") + transpose + solver), 3);
        seen_by_estimate += err_.find(
                                "a.mtx: the matrix is singular to working precision (forward error "
                                "estimate ") != std::string::npos;
      }
      write("a.mtx", full_matrix(20, 18, random));
      EXPECT_EQ(run(in_folder("a.mtx") + solver), 4) << err_;
      EXPECT_EQ(run(in_folder("a.mtx") + " --rhs " + in_folder("b.mtx") + solver), 0) << err_;
    }
    EXPECT_GT(seen_by_estimate, 5);
  }

  write("zero.mtx", solve::vector_text({0, 0}));
  write("a.mtx", head("real general") + "2 2 4\n1 1 1e308\n1 2 1e307\n2 1 1e307\n2 2 5e307\n");
  EXPECT_EQ(run(in_folder("a.mtx") + " --error-estimate"), 0) << err_;
  EXPECT_TRUE(printed("e-16\n")) << "an estimate although the terms add up to too much: " << out_;
  EXPECT_EQ(run(in_folder("a.mtx") + " --error-estimate --rhs " + in_folder("zero.mtx")), 0) << err_;
  EXPECT_TRUE(printed("forward error estimate   not available\n")) << out_;
  for (const std::string solver : kSolvers) {  // near the largest numbers, where estimates may overflow
    for (int trial = 0; trial < 10; ++trial) {
      write("a.mtx", full_matrix(19, 0, random, 5e306));
      EXPECT_NE(run(in_folder("a.mtx") + solver), 0) << out_;
      EXPECT_NE(run(in_folder("a.mtx") + " --rhs " + in_folder("b.mtx") + solver), 0) << out_;
    }
  }
}

TEST_F(SolveProgram, JudgesByTheForwardError) {
  // Rows that differ by so many roundings. What is left of the digits is told, or there is no solution.
  const struct {
    double roundings;
    int code;
    std::string says;
  } cases[] = {
      {3, 3, "a.mtx: the matrix is singular to working precision (forward error estimate 0.67)\n"},
      {6, 4, "a.mtx: no digit of the solution is sure (forward error estimate 0.67)\n"},
      {20, 0, "2.00e-01, so that not even the first digit can be relied on\n"},
      {64, 0, "6.25e-02, so that only the first digit can be relied on\n"},
      {1000, 0, ""},
  };
  for (const std::string solver : kSolvers) {
    for (const auto& c : cases) {
      SCOPED_TRACE(fmt::format("{}{}", c.roundings, solver));
      write("a.mtx", head("real general") + fmt::format("2 2 4\n1 1 1\n1 2 1\n2 1 1\n2 2 {}\n",
                                                        1 + std::ldexp(c.roundings, -52)));
      EXPECT_EQ(run(in_folder("a.mtx") + solver), c.code);
      EXPECT_TRUE(printed(c.says) || err_.find(c.says) != std::string::npos) << out_ << err_;
      EXPECT_EQ(printed("forward error estimate"), c.code == 0 && !c.says.empty()) << out_;
    }
  }
}

TEST_F(SolveProgram, PrefersTheDiagonalOfScatteredEntries) {
  // Rows and columns differ in length, so that the sparsest pivots do not lie on the diagonal.
  reference::Random random(3);
  constexpr int kOrder = 200;
  std::string text = head("real general") + fmt::format("{0} {0} {1}\n", kOrder, 4 * kOrder);
  for (int i = 1; i <= kOrder; ++i)
    for (int k = 0; k < 4; ++k)
      text += fmt::format("{} {} {}\n", i, k == 0 ? i : std::uniform_int_distribution<int>(1, kOrder)(random),
                          k == 0 ? 1 : std::uniform_real_distribution<double>(0.5, 1)(random));
  write("a.mtx", text);
  const auto fill = [this](const std::string& options) {
    EXPECT_EQ(run(in_folder("a.mtx") + " --solver ma38 --json" + options), 0) << err_;
    return figure("factor_entries");
  };
  const double standard = fill("");
  EXPECT_EQ(fill(" --prefer-diagonal --pivot-tolerance 0.5"), standard);
  EXPECT_NE(fill(" --no-prefer-diagonal --pivot-tolerance 0.5"), standard) << "other pivots";
  EXPECT_NE(fill(" --pivot-tolerance 0.1"), standard) << "other pivots";
}

TEST_F(SolveProgram, RefinesOrRefusesWhereDigitsWereLost) {
  // The sparsest row and column meet in a tiny element, and the rest is full.
  std::string text = "1 2 1\n2 1 1\n";
  for (int i = 2; i <= 6; ++i)
    for (int j = 2; j <= 6; ++j) text += fmt::format("{} {} {}\n", i, j, i == j ? 6 : 1 + i * j % 3 / 4.0);
  const std::string options = " --solver ma38 --pivot-tolerance 0 --out " + in_folder("x.mtx");
  const std::string solve = in_folder("a.mtx") + options;
  for (const char* tiny : {"1e-6", "1e-12"}) {  // leave residuals of 1e-12 and 1e-5
    write("a.mtx", head("real general") + "6 6 28\n1 1 " + tiny + "\n" + text);
    for (const char* more : {"", " --no-prefer-diagonal", " --refine", " --transpose --error-estimate"}) {
      ASSERT_EQ(run(solve + more), 0) << err_;
      EXPECT_LT(off("x.mtx", std::vector<double>(6, 1.0)), 1e-13) << tiny << more;
    }
    fs::remove(folder_ / "x.mtx");
  }
  // Two rows that nearly agree make up for the digits that remain: without refinement it looks singular.
  text = head("real general") + "4 4 16\n1 1 1e-6\n1 2 -8\n1 3 9\n1 4 9\n2 1 -2\n2 2 1e-6\n2 3 7\n2 4 -5\n";
  for (const char* row : {"3", "4"}) text += fmt::format("{0} 1 9\n{0} 2 8\n{0} 3 -8\n", row);
  write("a.mtx", text + "3 4 -9\n4 4 -8.99999999\n");
  EXPECT_EQ(run(solve), 0) << err_;
  fs::remove(folder_ / "x.mtx");

  text = head("real general") + "8 8 16\n";  // a cycle of them
  for (int i = 1; i <= 8; ++i) text += fmt::format("{0} {0} 1e-9\n{0} {1} 1\n", i, i % 8 + 1);
  write("a.mtx", text);
  const std::string larger = "a larger --pivot-tolerance\n";
  const std::string advice[][2] = {
      {"", larger}, {" --refine", larger}, {" --no-prefer-diagonal", "--prefer-diagonal, or " + larger}};
  for (const auto& [more, remedy] : advice) {
    EXPECT_EQ(run(solve + more), 4) << out_;
    EXPECT_EQ(err_.find(folder_.string() + "/a.mtx: the factors have lost the digits: residuals are up to "),
              0u);
    EXPECT_NE(err_.find(" of the terms; try " + remedy), std::string::npos) << err_;
    EXPECT_FALSE(fs::exists(folder_ / "x.mtx"));
  }
}

TEST_F(SolveProgram, TellsRefusedMemory) { expect_refused_memory_told(); }

TEST_F(SolveProgram, OneMessageTellsWhatWentWrong) {
  write("good.mtx", head("real general") + "2 2 2\n1 1 1\n2 2 1\n");
  write("bad.mtx", head("real general") + "2 2 2\n1 1 1\n2 2 x\n");
  write("wide.mtx", head("real general") + "2 3 2\n1 1 1\n2 3 1\n");
  write("none.mtx", head("real general") + "0 0 0\n");
  write("huge.mtx", head("real general") + "1000000000 1000000000 1\n1 1 1\n");
  write("hollow.mtx", head("real general") + "3 3 4\n1 1 1\n2 1 1\n3 1 1\n1 2 1\n");
  write("flat.mtx", head("real general") + "2 2 4\n1 1 1\n1 2 2\n2 1 2\n2 2 4\n");
  write("before.svg", head("real general") + "1 1 1\n1 1 1\n");
  write("null.mtx", head("real general") + "1 1 1\n1 1 0\n");
  write("far.mtx", head("real general") + "1 1 1\n1 1 1e-300\n");
  write("over.mtx", head("real general") + "2 2 3\n1 1 1.7e308\n1 2 1.7e308\n2 2 1\n");
  fs::create_directories(folder_ / "pictures/after.svg");
  write("three.mtx", solve::vector_text({1, 2, 3}));
  write("large.mtx", solve::vector_text({1e300}));
  std::vector<ProgramRun> runs{
      {in_folder("bad.mtx"), 1, "bad.mtx:4: \"x\" is not a number\n"},
      {in_folder("wide.mtx"), 1, "wide.mtx:2: the matrix is 2 x 3, not square\n"},
      {in_folder("none.mtx"), 1, "none.mtx:2: the matrix is empty\n"},
      {in_folder("missing.mtx"), 1, "missing.mtx: No such file or directory\n"},
      {in_folder("good.mtx") + " --rhs " + in_folder("three.mtx"), 1,
       "three.mtx:2: 3 numbers for a matrix of order 2\n"},
      {in_folder("good.mtx") + " --refactor-with " + in_folder("flat.mtx"), 1, "has no counterpart in"},
      // Before the work: otherwise the matrix would be found singular, or too large to be reordered.
      {in_folder("flat.mtx") + " --out " + in_folder("no/such.mtx"), 1,
       "no/such.mtx: No such file or directory\n"},
      {in_folder("flat.mtx") + " --out " + in_folder("pictures"), 1, "pictures: Is a directory\n"},
      {in_folder("huge.mtx") + " --reorder profile --spy " + in_folder("bad.mtx"), 1,
       "bad.mtx: Not a directory\n"},
      {in_folder("huge.mtx") + " --reorder profile --spy " + in_folder("pictures"), 1,
       "after.svg: Is a directory\n"},
      {in_folder("huge.mtx"), 3,
       "huge.mtx:2: the matrix is structurally singular: 1 entries, order 1000000000\n"},
      {in_folder("hollow.mtx"), 3,
       "hollow.mtx: the matrix is structurally singular: structural rank 2, order 3\n"},
      {in_folder("flat.mtx"), 3, "flat.mtx: the matrix is numerically singular: rank 1, order 2\n"},
      {in_folder("flat.mtx") + " --no-btf --json", 3,
       "the matrix is numerically singular: rank 1, order 2\n"},
      {in_folder("huge.mtx") + " --solver ma38", 3, "structurally singular: 1 entries, order 1000000000\n"},
      {in_folder("hollow.mtx") + " --solver ma38", 3,
       "hollow.mtx: the matrix is singular: rank 2, order 3\n"},
      {in_folder("null.mtx"), 3, "the matrix is numerically singular: rank 0, order 1\n"},
      {in_folder("far.mtx") + " --rhs " + in_folder("large.mtx"), 3, "the solution is too large for numbers"},
      {in_folder("over.mtx"), 1, "over.mtx: A times ones is too large for numbers; give --rhs\n"},
      {in_folder("good.mtx") + " --spy " + in_folder("bad.mtx"), 1, "bad.mtx: Not a directory\n"},
      {in_folder("good.mtx") + " --spy " + in_folder("bad.mtx/pictures"), 1,
       "bad.mtx/pictures: Not a directory\n"},
      {in_folder("huge.mtx") + " --spy " + in_folder("a"), 3, "structurally singular"},
      {in_folder("huge.mtx") + " --reorder profile", 1,
       "huge.mtx: 1000000000 unknowns are too many to be reordered\n"},
      {in_folder("good.mtx") + " --reorder", 2, "--reorder"},
      {in_folder("good.mtx") + " --reorder wavefront", 2, "--reorder"},
      {in_folder("good.mtx") + " --spy ''", 2, "--spy: the name is empty"},
      {in_folder("before.svg") + " --spy '" + folder_.string() + "'", 2,
       "before.svg would be replaced, and is read"},
      {in_folder("good.mtx") + " --spy " + in_folder("new") + " --out " + in_folder("new/before.svg"), 2,
       "before.svg is written by --spy too"},
      {in_folder("good.mtx") + " --solver ma47", 2, "--solver"},
      {in_folder("good.mtx") + " --keep-matrix", 2, "--keep-matrix: needs --solver ma38"},
      {in_folder("good.mtx") + " --pivot-tolerance 2", 2,
       "--pivot-tolerance: must lie between 0 and 1, not 2"},
      {in_folder("good.mtx") + " --pivot-tolerance nan", 2, "--pivot-tolerance"},
      {in_folder("good.mtx") + " --prefer-diagonal", 2, "--prefer-diagonal: needs --solver ma38"},
      {in_folder("good.mtx") + " --no-prefer-diagonal", 2, "--no-prefer-diagonal: needs --solver ma38"},
      {in_folder("good.mtx") + " --rhs ''", 2, "--rhs: the name is empty"},
      {in_folder("good.mtx") + " --out " + in_folder("../" + folder_.filename().string() + "/good.mtx"), 2,
       "is read"},
      {in_folder("good.mtx") + " --rhs " + in_folder("three.mtx") + " --out " + in_folder("three.mtx"), 2,
       "is read"},
  };
  for (ProgramRun& one : runs)
    if (one.arguments.find("--out") == std::string::npos) one.arguments += " --out " + in_folder("x.mtx");
  expect_runs(runs, 3);
  EXPECT_FALSE(fs::exists(folder_ / "x.mtx"));
}

}  // namespace
