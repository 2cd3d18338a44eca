// The program as a user meets it: exit codes, streams, and the files that it reads and writes.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <regex>
#include <string>

#include "apps/common/output.h"
#include "apps/common/platform.h"
#include "tests/apps/bad_input.h"
#include "tests/support/number.h"
#include "tests/support/program.h"

namespace {

class ColumnProgram : public ProgramTest {
 protected:
  ColumnProgram() : ProgramTest(COLUMN_PROGRAM) {
    constexpr auto kReplacing = fs::copy_options::recursive | fs::copy_options::overwrite_existing;
    fs::copy(COLUMN_CASES, folder_ / "cases", kReplacing);
    fs::copy(COLUMN_DATA, folder_ / "data", kReplacing);
  }
  /// A shipped case with one thing in it replaced.
  /// @return its path
  std::string varied(const std::string& name, const std::string& what, const std::string& by) {
    const std::string path = "cases/varied-" + std::to_string(++varied_) + ".toml";
    write(path, altered(contents(folder_ / "cases" / (name + ".toml")), what, by));
    return path;
  }
  int varied_ = 0;
};

const std::string kButane = "cases/butane-pentane.toml", kMeasured = "cases/measured.toml";

TEST_F(ColumnProgram, SolvesWhatShipsWithEachAcceleration) {
  for (const std::string name : {"binary32", "butane-pentane", "aromatics-pumparound"}) {
    for (const std::string how : {"", " --compare --accelerate dominant", " --compare --accelerate automatic",
                                  " --compare --accelerate multiple --eigen 3 --frequency 2"}) {
      expect_solves("cases/" + name + ".toml --dense" + how,
                    {"converged in ", "largest of all", "dense against arrow"});
      for (const char* words :
           {"\naccelerated: ", "\nnone  ", "\ndominant  ", "\nmultiple, ", "\nautomatic "})
        EXPECT_EQ(printed(words), !how.empty()) << words << " in " << out_;
      EXPECT_FALSE(printed("  differs\n")) << out_;
    }
  }
  expect_solves(kButane + " --compare --eigen 5");
  EXPECT_FALSE(printed("accelerated: "));
  // Passes, steps taken, refused and taken back, milliseconds, difference.
  for (const char* row :
       {R"(\nnone +89 +0 +0 +0 +\S+ *\n)", R"(\ndominant +\d\d +\d +\d\d +0 +\S+ +\S+e-\d+\n)",
        R"(\nmultiple, 5 eigenvalues +\d\d +\d +\d +0 +\S+ +\S+e-\d+\n)",
        R"(\nautomatic +\d\d +\d +\d+ +0 +\S+ +\S+e-\d+\n)"})
    EXPECT_TRUE(std::regex_search(out_, std::regex(row))) << out_;
}

TEST_F(ColumnProgram, ExitCodeTellsWhatWentWrong) {
  write("broken.toml", "title = \"x\"\nmodel = 3\n");
  const std::string hasty = varied("butane-pentane", "[solver]", "[solver]\nmax_passes = 20");
  const std::string strange = varied("binary32", "0.935420", "0.945420");
  const std::string hopeless = varied("aromatics-pumparound", "reflux_ratio = 2.5", "reflux_ratio = 1e6");
  write("cut.toml", std::string("\x1f\x8b\x08\0\0\0\0\0\0\x03", 10));
  expect_runs({
      {"broken.toml", 1, "broken.toml:2: \"model\" in the case must be a text, not integer\n"},
      {"none.toml", 1, "none.toml: No such file or directory\n"},
      {"cases", 1, "cases: Is a directory\n"},
      {"- <broken.toml", 1, "standard input:2: \"model\" in the case must be a text, not integer\n"},
      {"cut.toml", 1, "cut.toml: the compressed text is cut short\n"},
      {"fit cut.toml", 1, "cut.toml: the compressed text is cut short\n"},
      {"fit - <cases/binary32.toml", 1, "standard input:1: unknown heading"},
      {"fit - data/benzene.csv -", 2, "-: standard input can be read only once\n"},
      {"fit data/benzene.csv --properties -", 2, "--properties: must be a file, not -"},
      {kButane + " --report -", 2, "--report: must be a folder, not -"},
      {kButane + " --compare --debug-log -", 2, "--debug-log: must be a file, not -"},
      {"--strict fit data/benzene.csv", 2, "--strict excludes fit"},
      {"fit --version", 0, "corvidnum-column "},
      {"fit --help", 0, "\nExit codes: 0 fitted, 1 a file cannot be used, 2 bad options.\n"},
      {"fit broken.toml --properties no/such", 1, "no/such: No such file or directory\n"},
      {strange, 0, "*    0.945420     0.935419  differs\n"},
      {strange, 0, "1 of 2 published values differ; a * stands before each\n"},
      {strange + " --strict --quiet", 5, ".toml: 1 of 2 published values differ\n"},
      {"", 2, "case is required"},
      {kButane + " --tolerance 9.9999e-13", 2, "must lie between 1e-12 and 1 degree, not 9.9999e-13\n"},
      {kButane + " --tolerance 10", 2, "--tolerance: must lie between 1e-12 and 1 degree, not 10\n"},
      {kButane + " --tolerance nan", 2, "--tolerance: must lie between 1e-12 and 1 degree, not nan\n"},
      {kButane + " --csv \"\"", 2, "--csv: the name is empty"},
      {kButane + " --properties \"\"", 2, "--properties: the name is empty"},
      {kButane + " --frobnicate", 2, "--frobnicate"},
      {kButane + " --accelerate newton", 2, "--accelerate"},
      {kButane + " --accelerate 1", 2, "--accelerate"},
      {kButane + " --accelerate multiple --eigen 0", 2, "--eigen"},
      {kButane + " --accelerate multiple --eigen 2.5", 2, "--eigen"},
      {kButane + " --accelerate multiple --eigen 21", 2, "--eigen"},
      {kButane + " --accelerate dominant --frequency 0", 2, "--frequency"},
      {kButane + " --accelerate dominant --eigen 2", 2, "--eigen: needs --accelerate multiple"},
      {kButane + " --accelerate none --frequency 2", 2, "--frequency: needs --accelerate other than none"},
      {kButane + " --debug-log x", 2, "--debug-log: needs --accelerate other than none"},
      {kButane + " --compare --debug-log no/such", 1, "no/such.LOG: No such file or directory\n"},
      {kButane + " --compare --debug-log z --csv z.LOG", 2, "--csv: z.LOG is written by --debug-log too"},
      {kButane + " --method secant", 2, "--method"},
      {kButane + " --method newton --solver ma47", 2, "--solver"},
      {kButane + " --solver ma38", 2, "--solver: needs --method newton"},
      {hasty, 3, "not converged: after 20 passes"},
      {hasty + " --method newton --dense", 3, "nothing to check by the dense matrix"},
      {hopeless, 4, "balances close only to "},
      {kButane + " --csv no/such/folder.csv", 1, "No such file or directory\n"},
      {kButane + " --csv cases", 1, "Is a directory\n"},
      {kButane + " --csv " + kButane, 2, " would be replaced, and is read"},
      {kMeasured + " --csv data/benzene.csv", 2, " would be replaced, and is read"},
      {"fit data/benzene.csv --properties data/benzene.csv", 2, " would be replaced, and is read"},
      {"fit", 2, "tables is required"},
      {kMeasured + " fit x.csv", 2, "case excludes fit"},
  });
}

TEST_F(ColumnProgram, ExitCodeTellsWhatIsWrongBehindALinkOrAStrangeName) {
  if (!test_support::system_is_posix()) GTEST_SKIP() << test_support::kNeedsLinks;
  write("a.LOG", "");
  fs::create_symlink("a.LOG", folder_ / "link");
  fs::create_symlink("/dev/full", folder_ / "full.LOG");
  expect_runs({
      {"'no\nsuch.toml'", 1, "no such.toml: No such file or directory\n"},
      {kButane + " --compare --debug-log a --csv link", 2, "is written by"},
      {kButane + " --compare --debug-log full", 1, "full.LOG: the log was not written whole; is the disk"},
  });
}

TEST_F(ColumnProgram, TellsRefusedMemory) { expect_refused_memory_told(); }

TEST_F(ColumnProgram, NewtonGoesOnWhereTheBubblePointMethodStops) {
  expect_solves(varied("butane-pentane", "[solver]", "[solver]\nmax_passes = 3") + " --method newton",
                {"no comparison was possible"});
  EXPECT_FALSE(printed("nan")) << out_;
}

TEST_F(ColumnProgram, PrintsBothAnswersAndTheirAgreement) {
  expect_solves(kButane + " --method newton --csv newton.csv",
                {"converged in 89 passes", "\nnewton: one system of 102 unknowns",
                 "\nnewton against bubble-point, largest relative difference: ",
                 "bandwidth    profile\n  numbered by stages                 11        661\n"});
  expect_solves(kButane + " --method bubble-point --csv bubble.csv");
  EXPECT_FALSE(printed("newton")) << out_;
  EXPECT_NE(contents(folder_ / "newton.csv"), contents(folder_ / "bubble.csv")) << "the answer asked for";
  expect_solves(kButane + " --method newton --solver ma38", {" entries in its matrix, solved by ma38\n"});
  EXPECT_EQ(run(kButane + " --method newton --tolerance 1e-3"), 4);
  EXPECT_NE(err_.find("newton and bubble-point answers differ by "), std::string::npos) << err_;
}

TEST_F(ColumnProgram, KeepsTheAcceleratorsAccount) {
  write("account.LOG", "the old one");
  for (const std::string how : {"--accelerate dominant", "--accelerate multiple", "--compare"}) {
    expect_solves(kButane + " --debug-log account " + how);
    const std::string text = contents(folder_ / "account.LOG");
    EXPECT_EQ(
        text.rfind("Accel - Received new vector from client - vector number is -1, vector is\n     ", 0), 0u)
        << text.substr(0, 200);
    const auto told = [&](const char* words) { return text.find(words) != std::string::npos; };
    EXPECT_TRUE(told("Accel - finished performing an acceleration step\n"));
    EXPECT_EQ(told("DomEigenAccel - Oldlambda = "), how != "--accelerate multiple");
    EXPECT_EQ(told("Try to accelerate with 4 eigenvalues\n"), how != "--accelerate dominant");
  }
}

TEST_F(ColumnProgram, AWholeFileIsNobodyElsesBeforeItTakesThePlace) {
  const std::string path = write("whole", "the old one");
  const std::string number = std::to_string(apps::platform::process_number());
  const std::string other = write("whole." + number + "-0.part", "untouched");
  EXPECT_FALSE(apps::obstacle_to_writing(path));
  EXPECT_EQ(contents(path), "the old one");
  EXPECT_FALSE(apps::write_whole_file(path, "the new one"));
  EXPECT_EQ(contents(path) + contents(other), "the new oneuntouched");
}

TEST_F(ColumnProgram, WritesTheProfileWhole) {
  write("profile.csv", "the old one");
  expect_solves("cases/binary32.toml --csv profile.csv");
  const std::string text = contents(folder_ / "profile.csv");
  EXPECT_EQ(text.rfind("stage,K(alpha=1),liquid,vapour,x light,x heavy,y light,y heavy\n1,", 0), 0u) << text;
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1 + 32);
  std::size_t at = text.find("\n32,");
  ASSERT_NE(at, text.npos);
  for (int commas = 0; commas < 4; ++commas) at = text.find(',', at) + 1;
  EXPECT_NEAR(test_support::number_at(text.substr(at)), 0.064581, 5e-7);

  const std::string hasty = varied("binary32", "[solver]", "[solver]\nmax_passes = 3");
  expect_runs({{hasty + " --csv profile.csv", 3, ""}}, 3);
  EXPECT_EQ(contents(folder_ / "profile.csv"), text) << "a run that fails leaves the file alone";
}

TEST_F(ColumnProgram, ReadsAndWritesStreams) {
  expect_solves("- <cases/aromatics-pumparound.toml", {"rates in kmol/h\n"});
  expect_solves("cases/binary32.toml --csv profile.csv --strict --quiet");
  EXPECT_EQ(out_, "");
  EXPECT_EQ(run("- --csv - <cases/binary32.toml"), 0);
  EXPECT_EQ(out_, contents(folder_ / "profile.csv"));
  EXPECT_NE(err_.find("rates in moles per unit of time"), err_.npos) << err_;
  expect_solves("fit - <data/benzene.csv", {"6 of 10 points are within the limits (5.50 C and above)\n"});
  expect_solves("--quiet fit data/benzene.csv");
  EXPECT_EQ(out_, "");
  expect_solves("fit - --quiet --properties stored <data/benzene.csv");
  EXPECT_EQ(out_, "");
}

TEST_F(ColumnProgram, KeepsWhatStandsInTheFileOfAStream) {
  expect_solves("cases/binary32.toml --csv profile.csv");
  if (test_support::system_is_posix()) {  // others have no file that leads to a stream
    write("joined", "kept\n");
    EXPECT_EQ(run("cases/binary32.toml --quiet --csv /dev/stdout >>joined || exit 9"), 0);
    EXPECT_EQ(contents(folder_ / "joined"), "kept\n" + contents(folder_ / "profile.csv"));
  }
  EXPECT_EQ(run("cases/binary32.toml --csv out"), 0);
  EXPECT_EQ(out_.rfind(contents(folder_ / "profile.csv"), 0), 0u) << "the report stands behind the profile";
  EXPECT_NE(out_.find("rates in moles per unit of time"), out_.npos) << out_;
}

TEST_F(ColumnProgram, FitsStoresAndSolvesOnMeasuredTables) {
  const std::string tables = "data/benzene.csv data/toluene.csv data/ethylbenzene.csv data/o-xylene.csv";
  expect_solves("fit " + tables + " --properties a.properties",
                {"benzene, C6H6\nD. R. Stull", "6 of 10 points are within", "largest error",
                 "heat of vaporisation", "4 tables stored, recalled, the same bit for bit"});
  expect_solves(kMeasured, {"  benzene                      on 30 of 30 stages (measured 7.6 .. 80.1 C)\n",
                            "beside ", "largest difference: 0.3757 deg C of a stage"});
  EXPECT_FALSE(printed("  o-xylene                     on ")) << out_;
  const auto stages = [this] { return out_.substr(out_.find("\nstage")); };
  const std::string on_csv = stages(), stored = contents(folder_ / "a.properties");
  expect_solves(kMeasured + " --properties a.properties");
  EXPECT_EQ(stages(), on_csv);

  expect_solves("fit data/benzene.csv --properties one");
  write("damaged", stored.substr(0, 700));
  write("hasty.toml", altered(contents(folder_ / "cases/aromatics-pumparound.toml"), "[solver]",
                              "[solver]\nmax_passes = 3"));
  const auto measured = [this](const std::string& what, const std::string& by) {
    return varied("measured", what, by);
  };
  expect_runs({
      {"fit " + tables + " data/toluene.csv", 1, "data/toluene.csv: is a second table of toluene\n"},
      {"fit " + tables + " --properties no/such", 1, "no/such: "},
      {kMeasured + " --properties one", 1, "\"toluene\" is not in one"},
      {kMeasured + " --properties damaged", 1, "damaged: the file is cut short\n"},
      {"cases/aromatics-pumparound.toml --properties a.properties", 1,
       "aromatics-pumparound.toml:4: a property file goes with the model measured only\n"},
      {measured("toluene.csv", "p-xylene.csv"), 1,
       ".toml:13: \"table\" in [[component]] is that of p-xylene, not of toluene\n"},
      {measured("compare_with", "properties = \"../a.properties\"\n# "), 0, ""},
      {measured("compare_with", "properties = \"none\"\n# "), 1, "none: "},
      {measured("name = \"toluene\"\ntable", "name = \"toluene\"\n# "), 1,
       "needs a \"table\", or the case \"properties\"\n"},
      {measured("/toluene.csv", "/none.csv"), 1,
       ":13: \"table\" in [[component]] names a file that cannot be used: cases/../data/none.csv: No "
       "such "},
      {measured("aromatics-pumparound", "binary32"), 1,
       ":5: \"compare_with\" names a case that cannot be used: cases/binary32.toml: has other stages"},
      {measured("aromatics-pumparound", "none"), 1,
       ":5: \"compare_with\" names a case that cannot be used: "},
      {measured("aromatics-pumparound", "../hasty"), 1, "hasty.toml: not converged: after 3 "},
  });
  EXPECT_EQ(contents(folder_ / "a.properties"), stored) << "a run that fails leaves the file alone";
}

}  // namespace
