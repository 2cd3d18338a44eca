// corvidnum-solve --solver mumps, as one process and under mpirun.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include "apps/common/toml_reader.h"
#include "apps/solve/matrix_market.h"
#include "tests/support/program.h"

namespace {

const std::string kHead = "%%MatrixMarket matrix coordinate real general\n";

/// Gives a text in pieces of a few bytes, so that lines and words are cut.
solve::Matrix share_of(const std::string& text, const solve::Share& share, std::size_t piece) {
  std::size_t at = 0;
  const auto more = [&](std::string& out) {
    const std::size_t before = out.size();
    out += text.substr(at, piece);
    at = std::min(at + piece, text.size());
    return out.size() > before;
  };
  return solve::read_share(more, "f", share);
}

TEST(MatrixShare, PartsHaveEveryEntryOnceHoweverTheTextIsCut) {
  const std::string texts[] = {
      kHead + "% of five\n3 3 5\n1 1 1\n\n2 2 2\n3 1 3\n1 1 4\n3 3 5",
      "%%MatrixMarket matrix coordinate integer symmetric\n3 3 2\n2 1 7\n3 3 8\n",
      "%%MatrixMarket matrix array real general\n2 3\n1\n0\n3\n4\n5\n6\n",
      kHead + "4 4 0\n",
  };
  for (const std::string& text : texts) {
    const solve::Matrix whole = solve::parse_matrix(text, "f");
    for (const int parts : {1, 2, 3, 8}) {
      for (const std::size_t piece : {1, 2, 7, 1000}) {
        solve::Matrix all;
        for (int part = 0; part < parts; ++part) {
          const solve::Matrix share = share_of(text, {part, parts}, piece);
          EXPECT_EQ(share.rows, whole.rows);
          all.row.insert(all.row.end(), share.row.begin(), share.row.end());
          all.column.insert(all.column.end(), share.column.begin(), share.column.end());
          all.value.insert(all.value.end(), share.value.begin(), share.value.end());
          all.line.insert(all.line.end(), share.line.begin(), share.line.end());
        }
        EXPECT_EQ(all.row, whole.row) << text;
        EXPECT_EQ(all.column, whole.column);
        EXPECT_EQ(all.value, whole.value);
        EXPECT_EQ(all.line, whole.line);
      }
    }
  }
  EXPECT_THROW(share_of(kHead + "2 2 2\n1 1 1\n", {0, 2}, 4), apps::BadCase) << "the other part is cut short";
}

#ifdef MPIEXEC

/// Processes that are left when one has failed end at once, instead of a second later.
const std::string kMpirun = MPIEXEC " --allow-run-as-root --oversubscribe --mca odls_base_sigkill_timeout 0";

class MumpsProgram : public ProgramTest {
 protected:
  MumpsProgram() : ProgramTest(SOLVE_PROGRAM) {}

  void write(const std::string& name, const std::string& text) { std::ofstream(folder_ / name) << text; }

  /// Runs the program with MUMPS.
  /// @param ranks  0: without mpirun
  int solve_by(int ranks, const std::string& arguments) {
    return run(arguments + " --solver mumps", ranks == 0 ? "" : fmt::format("{} -n {}", kMpirun, ranks));
  }

  std::vector<double> solution(const std::string& name) {
    return solve::parse_vector(contents(folder_ / name), name);
  }
};

/// Returns a matrix of entries at random places, some of them in the same place, with a heavy diagonal that
/// is out of its place.
std::string random_matrix(int order) {
  std::mt19937 random(7);
  std::uniform_int_distribution<int> place(1, order);
  std::uniform_real_distribution<double> value(-1, 1);
  std::string lines;
  for (int i = 1; i <= order; ++i) {
    lines += fmt::format("{} {} {}\n", i, i % order + 1, 4 + value(random));
    for (int k = 0; k < 3; ++k) lines += fmt::format("{} {} {}\n", i, place(random), value(random));
    lines += fmt::format("{} {} {}\n", i, i % order + 1, value(random));
  }
  return kHead + fmt::format("{} {} {}\n", order, order, 5 * order) + lines;
}

TEST_F(MumpsProgram, AgreesWithTheOtherMethodsWhateverTheNumberOfRanks) {
  write("a.mtx", random_matrix(400));
  std::string b;
  for (int i = 0; i < 400; ++i) b += fmt::format("{}\n", std::sin(i));
  write("b.txt", b);
  for (const char* options : {"", " --transpose", " --error-estimate"}) {
    const std::string arguments = std::string("a.mtx --rhs b.txt --out x.mtx") + options;
    ASSERT_EQ(run(arguments + " --solver ma48"), 0) << err_;
    const std::vector<double> expected = solution("x.mtx");
    for (const int ranks : {0, 1, 2, 3}) {
      fs::remove(folder_ / "x.mtx");
      ASSERT_EQ(solve_by(ranks, arguments), 0) << err_;
      const std::vector<double> found = solution("x.mtx");
      ASSERT_EQ(found.size(), expected.size());
      for (std::size_t i = 0; i < found.size(); ++i) EXPECT_NEAR(found[i], expected[i], 1e-11);
      std::smatch error;
      ASSERT_TRUE(std::regex_search(out_, error, std::regex("backward error +(\\S+)"))) << out_;
      EXPECT_LE(std::stod(error[1]), 1e-12);
      EXPECT_EQ(out_.find("order "), out_.rfind("order ")) << "one rank reports";
      EXPECT_NE(out_.find(fmt::format("processes                {}\n", std::max(ranks, 1))),
                std::string::npos);
    }
  }
}

TEST_F(MumpsProgram, SolvesMatricesWithoutGapsInTheirPattern) {
  const std::string array = "%%MatrixMarket matrix array real general\n";
  write("1.mtx", kHead + "1 1 1\n1 1 4\n");
  write("1-of-two-entries.mtx", kHead + "1 1 2\n1 1 4\n1 1 -1\n");
  write("2.mtx", array + "2 2\n4\n1\n1\n3\n");
  write("one-half-2.mtx", kHead + "2 2 3\n1 1 4\n2 1 1\n2 2 3\n");
  std::string dense = array + "5 5\n", lower, gap;  // gap: of the triangle, but for its corner
  for (int i = 1; i <= 5; ++i)
    for (int j = 1; j <= 5; ++j) {
      dense += fmt::format("{}\n", i == j ? 9 : i - 0.5 * j);
      const std::string line = fmt::format("{} {} {}\n", i, j, i + j);
      if (j <= i) lower += line;
      if (j <= i && i - j < 4) gap += line;
    }
  write("dense-5.mtx", dense);
  write("lower-5.mtx", kHead + "5 5 15\n" + lower);
  write("gap-5.mtx", kHead + "5 5 14\n" + gap);
  for (const int ranks : {0, 2})
    for (const char* name : {"1", "1-of-two-entries", "2", "one-half-2", "dense-5", "lower-5", "gap-5"}) {
      fs::remove(folder_ / "x.mtx");
      ASSERT_EQ(solve_by(ranks, std::string(name) + ".mtx --out x.mtx"), 0) << ranks << name << out_ << err_;
      for (const double each : solution("x.mtx")) EXPECT_NEAR(each, 1, 1e-14) << name;
    }
}

/// Returns a matrix with a condition number of 2400 on whose pivots from the diagonal, which are just above
/// 0.01 of their columns, elements grow about ninetyfold at each of 58 steps.
std::string growing_matrix() {
  constexpr int kOrder = 60;
  std::string lines;
  for (int i = 1; i < kOrder; ++i) {
    lines += fmt::format("{} {} 0.011\n{} {} 1\n", i, i, i, kOrder);
    lines += fmt::format("{} {} -1\n", i + 1, i);
  }
  lines += fmt::format("{} {} 1\n1 {} 0.5\n", kOrder, kOrder, kOrder / 2 + 1);
  return kHead + fmt::format("{} {} {}\n", kOrder, kOrder, 3 * kOrder - 1) + lines;
}

TEST_F(MumpsProgram, RaisesThePivotToleranceWhereASolutionIsInexact) {
  write("a.mtx", growing_matrix());
  write("rounded.mtx", random_matrix(400));
  for (const int ranks : {0, 2}) {
    for (const char* tolerance : {"", " --pivot-tolerance 0.005"}) {
      ASSERT_EQ(solve_by(ranks, std::string("a.mtx --out x.mtx") + tolerance), 0) << err_;
      EXPECT_TRUE(printed("repairs                  a higher pivot tolerance\n")) << out_;
      EXPECT_TRUE(printed("pivots                   tolerance 0.1\n")) << out_;
      EXPECT_TRUE(std::regex_search(out_, std::regex("condition estimate .*, of componentwise errors\n")));
      for (const double each : solution("x.mtx")) EXPECT_NEAR(each, 1, 1e-12);
    }
    EXPECT_EQ(solve_by(ranks, "a.mtx --pivot-tolerance 0.3"), 0) << err_;
    EXPECT_TRUE(printed("pivots                   tolerance 0.3\n")) << "it is never lowered: " << out_;
    EXPECT_EQ(solve_by(ranks, "rounded.mtx --bound 1e-16"), 4) << out_;
    EXPECT_NE(err_.find("rounded.mtx: the solution has a backward error of "), err_.npos) << err_;
  }
  EXPECT_EQ(run("a.mtx --solver ma48"), 0);
  EXPECT_FALSE(printed("componentwise errors")) << "a condition number in the 1-norm";
}

TEST_F(MumpsProgram, ReportsWhatTheOthersReport) {
  write("a.mtx", kHead + "3 3 5\n1 1 2\n1 1 1\n2 2 4\n3 3 5\n1 3 1\n");
  for (const int ranks : {1, 2}) {
    ASSERT_EQ(solve_by(ranks, "a.mtx --json --report pages"), 0) << err_;
    for (const char* key : {"matrix", "solver", "order", "entries", "factor_entries", "operations", "seconds",
                            "backward_error", "corrections", "condition", "solution", "memory_mb"})
      EXPECT_NE(out_.find('"' + std::string(key) + '"'), std::string::npos) << key;
    EXPECT_NE(out_.find("\"solver\": \"mumps\""), std::string::npos) << out_;
    EXPECT_NE(out_.find("\"entries\": 5,"), std::string::npos);
    std::smatch first;
    ASSERT_TRUE(std::regex_search(out_, first, std::regex("\"solution\": \\[([^,]+), [^,]+, [^,]+\\]")))
        << out_;
    EXPECT_NEAR(std::stod(first[1]), 1, 1e-15);
    const std::string page = contents(folder_ / "pages" / "solve-a.html");
    EXPECT_NE(page.find("Solved by mumps"), std::string::npos);
    EXPECT_EQ(page.find("no picture of the pattern") != page.npos, ranks > 1);
    EXPECT_EQ(page.find(">As given<") != page.npos, ranks == 1);
  }
}

/// Files of one name may differ between machines; here they have two names.
TEST_F(MumpsProgram, RefusesFilesThatDifferBetweenRanks) {
  write("a.mtx", kHead + "2 2 3\n1 1 1\n2 2 1\n1 2 1\n");
  // The last one differs in a value alone, which is in the share of the first process.
  const std::pair<std::string, std::string> others[] = {
      {kHead + "3 3 3\n1 1 1\n2 2 1\n3 3 1\n",
       "b.mtx:2: process 1 reads a matrix of 3 x 3 with 3 entries, but process 0 one of 2 x 2 with 3 "
       "entries\n"},
      {kHead + "2 2 2\n1 1 1\n2 2 1\n",
       "b.mtx:2: process 1 reads a matrix of 2 x 2 with 2 entries, but process 0 one of 2 x 2 with 3 "
       "entries\n"},
      {kHead + "2 2 3\n1 1 2\n2 2 1\n1 2 1\n",
       "b.mtx: process 1 reads another file than process 0: checksum "},
  };
  const std::string part = " -n 1 \"" + program_ + "\" --solver mumps ";
  for (const auto& [other, says] : others) {
    write("b.mtx", other);
    EXPECT_EQ(shell(kMpirun + part + "a.mtx :" + part + "b.mtx"), 1);
    EXPECT_NE(err_.find(says), err_.npos) << err_;
    EXPECT_EQ(out_, "");
  }
  // What counts is the text, compressed or not.
  EXPECT_EQ(shell("gzip -k a.mtx && " + kMpirun + part + "a.mtx :" + part + "a.mtx.gz"), 0) << err_;
}

TEST_F(MumpsProgram, EndsAllRanksWithOneMessage) {
  write("dependent.mtx", kHead + "3 3 5\n1 1 1\n1 2 2\n2 1 2\n2 2 4\n3 3 5\n");
  write("empty-row.mtx", kHead + "3 3 4\n1 1 1\n1 2 2\n2 1 2\n2 2 5\n");
  write("few.mtx", kHead + "9 9 1\n1 1 1\n");
  write("good.mtx", kHead + "2 2 2\n1 1 1\n2 2 1\n");
  write("late-fault.mtx", kHead + "2 2 2\n1 1 1\n2 3 1\n");
  write("long.txt", "1\n2\n3\n");
  write("oblong.mtx", kHead + "2 3 1\n1 1 1\n");
  const std::vector<ProgramRun> runs{
      {"dependent.mtx", 3, "dependent.mtx: the matrix is singular to working precision: rank 2, order 3"},
      {"dependent.mtx --transpose", 3, "unknowns without a pivot no. "},
      {"empty-row.mtx", 3, "rank 2, order 3; equations without a pivot no. 3"},
      {"few.mtx", 3, "few.mtx:2: the matrix is structurally singular: 1 entries, order 9"},
      {"none.mtx", 1, "none.mtx: No such file"},
      {"late-fault.mtx", 1, "late-fault.mtx:4: column \"3\" must lie between 1 and 2"},
      {"oblong.mtx", 1, "oblong.mtx:2: the matrix is 2 x 3, not square"},
      {"good.mtx --rhs long.txt", 1, "long.txt:3: 3 numbers for a matrix of order 2"},
      {"good.mtx --out no/x.mtx", 1, "no/x.mtx: "},
      {"good.mtx --try-all", 2, "--try-all: is not for --solver mumps"},
  };
  for (const int ranks : {0, 2})
    for (const auto& [arguments, code, says] : runs) {
      SCOPED_TRACE(fmt::format("{} ranks: {}", ranks, arguments));
      EXPECT_EQ(solve_by(ranks, arguments), code) << err_;
      const std::size_t told = err_.find(says);
      EXPECT_NE(told, err_.npos) << err_;
      EXPECT_EQ(told, err_.rfind(says)) << err_;
    }
  EXPECT_EQ(run("good.mtx", kMpirun + " -n 2"), 2);
  EXPECT_NE(err_.find("only mumps goes over several processes"), err_.npos) << err_;
  EXPECT_EQ(solve_by(2, "-"), 2);
  EXPECT_NE(err_.find("a file that all processes can read"), err_.npos) << err_;
  const std::string by_mumps = "good.mtx --solver mumps ";
  EXPECT_EQ(
      run(by_mumps + ": -n 1 " SOLVE_PROGRAM " " + by_mumps + "--bound 2", "timeout 60 " + kMpirun + " -n 1"),
      2);
  EXPECT_NE(err_.find("the options of rank 1 cannot be used"), err_.npos) << err_;
}

#else

class MumpsProgram : public ProgramTest {
 protected:
  MumpsProgram() : ProgramTest(SOLVE_PROGRAM) {}
};

TEST_F(MumpsProgram, SaysWhereABuildHasNone) {
  std::ofstream(folder_ / "a.mtx") << kHead + "1 1 1\n1 1 1\n";
  EXPECT_EQ(run("a.mtx --solver mumps"), 2);
  EXPECT_NE(err_.find("--solver: this build has no MUMPS"), err_.npos) << err_;
}

TEST_F(MumpsProgram, SolvesOverRanks) { GTEST_SKIP() << "this build has no MPI or no MUMPS"; }

#endif

}  // namespace
