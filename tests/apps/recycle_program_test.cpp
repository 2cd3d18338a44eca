// The program as a user meets it: exit codes, streams, and the files that it writes.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "tests/support/program.h"

namespace {

class RecycleProgram : public ProgramTest {
 protected:
  RecycleProgram() : ProgramTest(RECYCLE_PROGRAM) {
    fs::copy(RECYCLE_CASES "/cavett.toml", folder_, fs::copy_options::overwrite_existing);
  }
};

TEST_F(RecycleProgram, SolvesAndComparesWhatShips) {
  for (const char* path : {"cavett.toml --compare", RECYCLE_CASES "/purge-loop.toml --compare"})
    expect_solves(
        path, {"torn streams: Z", "\ndirect ", "\ndominant ", "\nmultiple ", "\nautomatic ", "eigenvalue"});
  expect_solves("cavett.toml --method direct",
                {"published", "largest difference from the published rates", "converged in 157 passes"});
  expect_solves("cavett.toml --strict",
                {"\nautomatic: ", " steps accepted, ", "rates in lbmol/h\n", "\n  drum 1       0.752650\n",
                 "  80 of 80 published values agree\n"});
  expect_solves("cavett.toml --quiet --csv h.csv");
  EXPECT_EQ(out_, "");
  EXPECT_EQ(run("- --csv - <cavett.toml"), 0);
  EXPECT_EQ(out_, contents(folder_ / "h.csv"));
  EXPECT_EQ(err_.rfind("Cavett's", 0), 0u) << err_;
}

TEST_F(RecycleProgram, ExitCodeTellsWhatWentWrong) {
  write("cut.gz", std::string("\x1f\x8b\x08\0\0\0\0\0\0\x03", 10));
  write("broken.toml", "title = \"x\"\nk_values = 3\n");
  // What circulates is so much that the feed is lost in its rounding: a pass changes nothing.
  write("stuck.toml", R"(title = "stuck"
component = [{name = "odd name"}]
feed = [{stream = "F", rates = [5]}]
unit = [{name = "m", kind = "mixer", inlets = ["F", "R"], outlet = "Z"},
        {name = "s", kind = "component-splitter", inlet = "Z", outlets = ["R", "P"], recoveries = [1]}]
start = [{stream = "Z", rates = [1e20]}]
solver = {tears = ["Z"], tolerance = 1e-8}
)");
  expect_runs({
      {"broken.toml", 1, "broken.toml:2: \"k_values\" in the case must be a text, not integer\n"},
      {"- <broken.toml", 1, "standard input:2: \"k_values\" in the case must be a text, not integer\n"},
      {"cut.gz", 1, "cut.gz: the compressed text is cut short\n"},
      {"cavett.toml --quiet --verbose", 2, "--verbose excludes --quiet"},
      {"cavett.toml --tolerance 1e-5 --strict", 5,
       "cavett.toml: automatic: 12 of 80 published values differ\n"},
      {".", 1, ".: Is a directory\n"},
      {"", 2, "case is required"},
      {"cavett.toml --tolerance nan", 2, "--tolerance: must lie between 1e-15 and 0.01 of the feed, not nan"},
      {"cavett.toml --tolerance 0.02", 2, "between 1e-15 and 0.01 of the feed, not 0.02"},
      {"cavett.toml --csv \"\"", 2, "--csv: the name is empty"},
      {"cavett.toml --csv ./cavett.toml", 2, "would be replaced, and is read"},
      {"cavett.toml --method newton", 2, "--method: newton not in {automatic,direct,dominant,multiple}"},
      {"cavett.toml --max-passes 0", 2, "--max-passes: must lie between 1 and 1000000, not 0"},
      {"cavett.toml --method direct --debug-log x", 2, "--debug-log: needs a --method that accelerates"},
      {"cavett.toml --tear Q", 2, "--tear: there is no stream \"Q\" to tear\n"},
      {"cavett.toml --tear Z1", 2, "--tear: the tears leave a recycle through \"mixer 2\" whole\n"},
      {"cavett.toml --method direct --max-passes 20", 3,
       "direct: not converged: after 20 passes the largest change is 2.1e-03 of the feed, not below 1e-08"},
      {"cavett.toml --compare --max-passes 60", 3, "direct: not converged: after 60 passes"},
      {"cavett.toml --csv no/such.csv", 1, "such.csv: No such file or directory\n"},
      {"cavett.toml --csv .", 1, ".: Is a directory\n"},
      {"cavett.toml --compare --debug-log x --csv ./x.LOG", 2, "x.LOG is written by --debug-log too"},
      {"cavett.toml --method multiple --debug-log no/such", 1, "such.LOG: No such file"},
      {"stuck.toml", 4, "differ by 1.0e+00 of the feed in odd name; the tolerance promises 1.0e-08\n"},
  });
}

TEST_F(RecycleProgram, WritesTheHistoryWholeAndTheAccountOfTheAccelerator) {
  write("h.csv", "the old one");
  expect_solves(
      "cavett.toml --method multiple --eigen 2 --frequency 5 --verbose --tear R1 R2 R3 --csv h.csv "
      "--debug-log log",
      {"torn streams: R1, R2, R3", " pass  change/feed  eigenvalue passes ahead  step (multiple)"});
  const std::string csv = contents(folder_ / "h.csv"), log = contents(folder_ / "log.LOG");
  EXPECT_EQ(csv.rfind("method,pass,change,step\nmultiple,1,", 0), 0u) << csv;
  EXPECT_NE(csv.find(",taken by 2 eigenvalues\n"), std::string::npos);
  const auto passes = std::count(csv.begin(), csv.end(), '\n') - 1;
  EXPECT_TRUE(printed("converged in " + std::to_string(passes) + " passes")) << out_;
  EXPECT_EQ(log.rfind("Accel - Received new vector from client - vector number is -1, vector is\n", 0), 0u);
  EXPECT_NE(log.find("Try to accelerate with 2 eigenvalues\n"), std::string::npos);
  EXPECT_EQ(log.find("Try to accelerate with 3 eigenvalues\n"), std::string::npos);
}

TEST_F(RecycleProgram, TellsRefusedMemory) { expect_refused_memory_told(); }

TEST_F(RecycleProgram, AFullDiskLeavesTheOldLog) {
  if (!test_support::system_is_posix()) GTEST_SKIP() << test_support::kNeedsLimits;
  fs::create_symlink("/dev/full", folder_ / "full.LOG");
  expect_runs({{"cavett.toml --compare --debug-log full", 1,
                "full.LOG: the log was not written whole; is the disk full?\n"}});
  write("log.LOG", "the old one");
  // In a build that counts its lines, the file of the counters would be too large as well.
  EXPECT_EQ(
      run("cavett.toml --compare --debug-log log", "trap '' XFSZ; ulimit -f 24; LLVM_PROFILE_FILE=/dev/null"),
      1);
  EXPECT_EQ(err_, "log.LOG: the log was not written whole; is the disk full?\n");
  EXPECT_EQ(contents(folder_ / "log.LOG"), "the old one");
  expect_no_part_files();
}

}  // namespace
