// The program as a user meets it: exit codes, streams, and the files that it writes.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "tests/support/program.h"

namespace {

class RecycleProgram : public ProgramTest {
 protected:
  RecycleProgram() : ProgramTest(RECYCLE_PROGRAM) {}
  const std::string cavett_ = "'" RECYCLE_CASES "/cavett.toml'";
};

TEST_F(RecycleProgram, SolvesAndComparesWhatShips) {
  for (const char* name : {"cavett", "purge-loop"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(run("'" RECYCLE_CASES "/" + std::string(name) + ".toml' --compare"), 0) << err_;
    EXPECT_EQ(err_, "");
    for (const char* words : {"torn streams: Z", "\ndirect ", "\ndominant ", "\nmultiple ", "eigenvalue"})
      EXPECT_TRUE(printed(words)) << words << " in " << out_;
  }
  EXPECT_EQ(run(cavett_), 0);
  EXPECT_TRUE(printed("published") && printed("largest difference from the published rates")) << out_;
  EXPECT_TRUE(printed("converged in 157 passes")) << out_;
}

TEST_F(RecycleProgram, ExitCodeTellsWhatWentWrong) {
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
  fs::create_symlink("/dev/full", folder_ / "full.LOG");
  expect_runs({
      {in_folder("broken.toml"), 1, "broken.toml:2: \"k_values\" in the case must be a text, not integer\n"},
      {in_folder(""), 1, ": Is a directory\n"},
      {"", 2, "case is required"},
      {cavett_ + " --tolerance -1", 2, "--tolerance"},
      {cavett_ + " --tolerance nan", 2, "--tolerance: must lie between 1e-15 and 0.01 of the feed, not nan"},
      {cavett_ + " --tolerance 0.02", 2, "between 1e-15 and 0.01 of the feed, not 0.02"},
      {cavett_ + " --csv ''", 2, "--csv: the name is empty"},
      {cavett_ + " --csv " + cavett_, 2, "would be replaced, and is read"},
      {cavett_ + " --method newton", 2, "--method: newton not in {direct,dominant,multiple}"},
      {cavett_ + " --max-passes 0", 2, "--max-passes: must lie between 1 and 1000000, not 0"},
      {cavett_ + " --debug-log x", 2, "--debug-log: needs --compare"},
      {cavett_ + " --tear Q", 2, "--tear: there is no stream \"Q\" to tear\n"},
      {cavett_ + " --tear Z1", 2, "--tear: the tears leave a recycle through \"mixer 2\" whole\n"},
      {cavett_ + " --max-passes 20", 3,
       "direct: not converged: after 20 passes the largest change is 2.1e-03 of the feed, not below 1e-08"},
      {cavett_ + " --compare --max-passes 60", 3, "direct: not converged: after 60 passes"},
      {cavett_ + " --csv " + in_folder("no/such.csv"), 1, "such.csv: No such file or directory\n"},
      {cavett_ + " --csv " + in_folder(""), 1, "/: Is a directory\n"},
      {cavett_ + " --compare --debug-log " + in_folder("full"), 1,
       "full.LOG: the log was not written whole; is the disk full?\n"},
      {cavett_ + " --compare --debug-log " + in_folder("x") + " --csv " + in_folder("./x.LOG"), 2,
       "x.LOG is written by --debug-log too"},
      {in_folder("stuck.toml"), 4,
       "differ by 1.0e+00 of the feed in odd name; the tolerance promises 1.0e-08\n"},
      {cavett_ + " --method multiple --debug-log " + in_folder("no/such"), 1, "such.LOG: No such file"},
  });
}

TEST_F(RecycleProgram, WritesTheHistoryWholeAndTheAccountOfTheAccelerator) {
  write("h.csv", "the old one");
  ASSERT_EQ(run(cavett_ + " --method multiple --eigen 2 --frequency 5 --verbose --tear R1 R2 R3 --csv " +
                in_folder("h.csv") + " --debug-log " + in_folder("log")),
            0)
      << err_;
  EXPECT_TRUE(printed("torn streams: R1, R2, R3") && printed(" pass  change/feed")) << out_;
  const std::string csv = contents(folder_ / "h.csv");
  EXPECT_EQ(csv.rfind("method,pass,change,step\nmultiple,1,", 0), 0u) << csv;
  EXPECT_NE(csv.find(",step\n"), std::string::npos);
  const auto passes = std::count(csv.begin(), csv.end(), '\n') - 1;
  EXPECT_TRUE(printed("converged in " + std::to_string(passes) + " passes")) << out_;

  const std::string log = contents(folder_ / "log.LOG");
  EXPECT_EQ(log.rfind("Accel - Received new vector from client - vector number is -1, vector is\n", 0), 0u);
  EXPECT_NE(log.find("Try to accelerate with 2 eigenvalues\n"), std::string::npos);
  EXPECT_EQ(log.find("Try to accelerate with 3 eigenvalues\n"), std::string::npos);
  expect_no_part_files();
}

TEST_F(RecycleProgram, TellsRefusedMemory) { expect_refused_memory_told(); }

/// Runs the program where no file can grow beyond some blocks, as on a disk that is all but full.
class OnFullDisk : public ProgramTest {
 protected:
  OnFullDisk() : ProgramTest("/bin/sh") {
    write("limited", "trap '' XFSZ; ulimit -f 24; exec '" RECYCLE_PROGRAM "' \"$@\"");
  }
};

TEST_F(OnFullDisk, KeepsTheOldLogAndSaysThatTheNewOneIsIncomplete) {
  write("log.LOG", "the old one");
  EXPECT_EQ(run(in_folder("limited") + " '" RECYCLE_CASES "/cavett.toml' --compare --debug-log " +
                in_folder("log")),
            1);
  EXPECT_NE(err_.find("log.LOG: the log was not written whole; is the disk full?\n"), std::string::npos)
      << err_;
  EXPECT_EQ(contents(folder_ / "log.LOG"), "the old one");
  expect_no_part_files();
}

}  // namespace
