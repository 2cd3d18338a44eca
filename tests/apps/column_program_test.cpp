// The program as a user meets it: exit codes, streams, and the file that it writes.

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "apps/common/output.h"
#include "tests/support/failing_fsync.h"
#include "tests/support/program.h"

namespace {

/// Of the comparison of accelerations.
struct Row {
  int passes, evaluations, accepted, refused, taken_back;
  double apart;
};

class Program : public ProgramTest {
 protected:
  Program() : ProgramTest(COLUMN_PROGRAM) {}
  /// A shipped case with one thing in it replaced, as a file.
  std::string altered(const std::string& name, const std::string& what, const std::string& by) {
    std::string text = contents(COLUMN_CASES "/" + name + ".toml");
    text.replace(text.find(what), what.size(), by);
    return write(name + "-altered.toml", text);
  }
};

TEST_F(Program, SolvesWhatShips) {
  for (const char* name : {"binary32", "butane-pentane", "aromatics-pumparound"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(run("'" COLUMN_CASES "/" + std::string(name) + ".toml' --dense"), 0) << err_;
    EXPECT_EQ(err_, "");
    EXPECT_TRUE(printed("converged in ") && printed("largest of all") && printed("dense against arrow"))
        << out_;
    EXPECT_FALSE(printed("DIFFERS")) << out_;
  }
}

TEST_F(Program, ExitCodeTellsWhatWentWrong) {
  const std::string good = "'" COLUMN_CASES "/butane-pentane.toml'";
  const std::string broken = write("broken.toml", "title = \"x\"\nmodel = 3\n");
  const std::string hasty = altered("butane-pentane", "[solver]", "[solver]\nmax_passes = 20");
  const std::string hopeless = altered("aromatics-pumparound", "reflux_ratio = 2.5", "reflux_ratio = 1e6");
  write("a.LOG", "");
  fs::create_symlink("a.LOG", folder_ / "link");
  expect_runs({
      {"'" + broken + "'", 1, broken + ":2: \"model\" in the case must be a text, not integer\n"},
      {"'" + folder_.string() + "/none.toml'", 1, "none.toml: No such file or directory\n"},
      {"'" + folder_.string() + "'", 1, ": Is a directory\n"},
      {"'" + folder_.string() + "/no\nsuch.toml'", 1, "/no such.toml: No such file or directory\n"},
      {"", 2, "case is required"},
      {good + " --tolerance 9.9999e-13", 2,
       "--tolerance: must lie between 1e-12 and 1 degree, not 9.9999e-13\n"},
      {good + " --tolerance 10", 2, "--tolerance: must lie between 1e-12 and 1 degree, not 10\n"},
      {good + " --tolerance nan", 2, "--tolerance: must lie between 1e-12 and 1 degree, not nan\n"},
      {good + " --csv ''", 2, "--csv: the name is empty"},
      {good + " --properties ''", 2, "--properties: the name is empty"},
      {good + " --frobnicate", 2, "--frobnicate"},
      {good + " --accelerate newton", 2, "--accelerate"},
      {good + " --accelerate 1", 2, "--accelerate"},
      {good + " --accelerate", 2, "--accelerate"},
      {good + " --accelerate multiple --eigen 0", 2, "--eigen"},
      {good + " --accelerate multiple --eigen 2.5", 2, "--eigen"},
      {good + " --accelerate dominant --frequency 0", 2, "--frequency"},
      {good + " --accelerate dominant --eigen 2", 2, "--eigen: needs --accelerate multiple"},
      {good + " --accelerate none --frequency 2", 2, "--frequency: needs --accelerate dominant or multiple"},
      {good + " --debug-log x", 2, "--debug-log: needs --accelerate dominant or multiple"},
      {good + " --compare --debug-log '" + folder_.string() + "/no/such/folder'", 1,
       "/no/such/folder.LOG: No such file or directory\n"},
      {good + " --compare --debug-log " + in_folder("zz9") + " --csv " + in_folder("zz9.LOG"), 2,
       "--csv: " + (folder_ / "zz9.LOG").string() + " is written by --debug-log too"},
      {good + " --compare --debug-log " + in_folder("a") + " --csv " + in_folder("link"), 2, "is written by"},
      {"'" + hasty + "'", 3, "not converged: after 20 passes"},
      {"'" + hasty + "' --method newton --dense", 3, "nothing to check by the dense matrix"},
      {"'" + hopeless + "'", 4, "balances close only to "},
      {good + " --csv '" + folder_.string() + "/no/such/folder.csv'", 1, "No such file or directory\n"},
      {good + " --csv '" + folder_.string() + "'", 1, "Is a directory\n"},
  });
}

TEST_F(Program, ReplacesNothingThatItReads) {
  fs::create_directories(folder_ / "cases");
  fs::copy(COLUMN_DATA, folder_ / "data");
  const fs::path chart = folder_ / "cases/chart.toml", measured = folder_ / "cases/measured.toml";
  fs::copy(COLUMN_CASES "/butane-pentane.toml", chart);
  fs::copy(COLUMN_CASES "/measured.toml", measured);
  const std::string table = (folder_ / "data/benzene.csv").string();
  for (const std::string& arguments : {"'" + chart.string() + "' --csv '" + chart.string() + "'",
                                       "'" + measured.string() + "' --csv '" + table + "'",
                                       "fit '" + table + "' --properties '" + table + "'"}) {
    SCOPED_TRACE(arguments);
    EXPECT_EQ(run(arguments), 2) << out_;
    EXPECT_NE(err_.find(" would be replaced, and is read"), std::string::npos) << err_;
  }
  EXPECT_EQ(contents(chart), contents(COLUMN_CASES "/butane-pentane.toml"));
  EXPECT_EQ(contents(table), contents(COLUMN_DATA "/benzene.csv"));
}

TEST_F(Program, TellsRefusedMemory) { expect_refused_memory_told(); }

TEST_F(Program, NewtonGoesOnWhereTheBubblePointMethodStops) {
  const std::string hasty = altered("butane-pentane", "[solver]", "[solver]\nmax_passes = 3");
  EXPECT_EQ(run("'" + hasty + "' --method newton"), 0) << err_;
  EXPECT_EQ(err_, "");
  EXPECT_TRUE(printed("no comparison was possible")) << out_;
  EXPECT_FALSE(printed("nan")) << out_;
}

TEST_F(Program, AcceleratesAndCompares) {
  for (const char* name : {"binary32", "butane-pentane", "aromatics-pumparound"}) {
    for (const char* how : {"dominant", "multiple --eigen 3 --frequency 2"}) {
      SCOPED_TRACE(std::string(name) + ' ' + how);
      EXPECT_EQ(
          run("'" COLUMN_CASES "/" + std::string(name) + ".toml' --dense --compare --accelerate " + how), 0)
          << err_;
      EXPECT_EQ(err_, "");
      EXPECT_TRUE(printed("\naccelerated: ") && printed("dense against arrow")) << out_;
      EXPECT_TRUE(printed("\nnone  ") && printed("\ndominant  ") && printed("\nmultiple, ")) << out_;
      EXPECT_FALSE(printed("DIFFERS")) << out_;
    }
  }
  ASSERT_EQ(run("'" COLUMN_CASES "/butane-pentane.toml' --compare --eigen 5"), 0) << err_;
  EXPECT_FALSE(printed("accelerated: "));
  const auto row = [this](const char* name) {
    Row r{};
    const std::size_t at = out_.find(std::string("\n") + name);
    if (at == std::string::npos) return r;
    std::sscanf(out_.c_str() + at + 1 + std::string(name).size(), "%d %d %d %d %d %*f %lf", &r.passes,
                &r.evaluations, &r.accepted, &r.refused, &r.taken_back, &r.apart);
    return r;
  };
  const Row none = row("none"), dominant = row("dominant"), multiple = row("multiple, 5 eigenvalues");
  EXPECT_NEAR(none.passes, 89, 2) << out_;
  EXPECT_EQ(none.accepted + none.refused + none.taken_back, 0);
  for (const Row& r : {dominant, multiple}) {
    EXPECT_GT(r.accepted, 0) << out_;
    EXPECT_EQ(r.evaluations, r.passes + r.taken_back);
    EXPECT_LE(2 * r.evaluations, none.passes);
    EXPECT_GT(r.apart, 0);
    EXPECT_LT(r.apart, 1e-6);
  }
}

TEST_F(Program, KeepsTheAcceleratorsAccount) {
  const std::string log = (folder_ / "account").string();
  const std::string good = "'" COLUMN_CASES "/butane-pentane.toml' --debug-log '" + log + "' ";
  write("account.LOG", "the old one");
  for (const char* how : {"--accelerate dominant", "--accelerate multiple", "--compare"}) {
    SCOPED_TRACE(how);
    ASSERT_EQ(run(good + how), 0) << err_;
    const std::string text = contents(log + ".LOG");
    EXPECT_EQ(text.rfind("Accel - Maximum acceleration frequency set to 4\n"
                         "Accel - Received new vector from client - vector number is -1, vector is\n     ",
                         0),
              0u)
        << text.substr(0, 200);
    const auto told = [&](const char* words) { return text.find(words) != std::string::npos; };
    EXPECT_TRUE(told("Accel - finished performing an acceleration step\n"));
    EXPECT_EQ(told("DomEigenAccel - Oldlambda = "), std::string(how) != "--accelerate multiple");
    EXPECT_EQ(told("Try to accelerate with 4 eigenvalues\n"), std::string(how) != "--accelerate dominant");
  }
}

/// While it lives, no file grows longer, and what would go beyond fails as on a full disk.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    signal(SIGXFSZ, handler_);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit before_{};
  void (*const handler_)(int) = signal(SIGXFSZ, SIG_IGN);
};

TEST_F(Program, AFullDiskLeavesTheOldAccount) {
  const fs::path log = write("account.LOG", "the old one");
  fs::create_symlink("/dev/full", folder_ / "full.LOG");
  const std::string good = "'" COLUMN_CASES "/butane-pentane.toml' --compare --debug-log ";
  const FileSizeLimit limit(16384);  // too small for the account
  for (const char* name : {"account", "full"}) {
    EXPECT_EQ(run(good + in_folder(name)), 1) << name;
    EXPECT_EQ(out_, "");
    EXPECT_NE(err_.find(".LOG: the log was not written whole; is the disk full?\n"), std::string::npos)
        << err_;
  }
  EXPECT_EQ(contents(log), "the old one");
  expect_no_part_files();
}

TEST_F(Program, AWholeFileIsOnDiskAndNobodyElsesBeforeItTakesThePlace) {
  const std::string path = write("whole", "the old one");
  fsync_fails = true;
  EXPECT_TRUE(apps::write_whole_file(path, "the new one"));
  fsync_fails = false;
  EXPECT_EQ(contents(path), "the old one");
  expect_no_part_files();

  const std::string other = write("other", "untouched");
  fs::create_symlink(other, path + "." + std::to_string(getpid()) + "-0.part");
  EXPECT_FALSE(apps::obstacle_to_writing(path));
  EXPECT_EQ(contents(path), "the old one");
  EXPECT_FALSE(apps::write_whole_file(path, "the new one"));
  EXPECT_EQ(contents(path) + contents(other), "the new oneuntouched");
}

TEST_F(Program, WritesTheProfileWhole) {
  const fs::path csv = write("profile.csv", "the old one");
  ASSERT_EQ(run("'" COLUMN_CASES "/binary32.toml' --csv '" + csv.string() + "'"), 0) << err_;
  const std::string text = contents(csv);
  EXPECT_EQ(text.rfind("stage,K(alpha=1),liquid,vapour,x light,x heavy,y light,y heavy\n1,", 0), 0u) << text;
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1 + 32);
  EXPECT_NE(text.find("\n1,"), std::string::npos);
  double x = 0;
  ASSERT_EQ(std::sscanf(text.c_str() + text.find("\n32,"), "\n32,%*f,%*f,%*f,%lf", &x), 1);
  EXPECT_NEAR(x, 0.064581, 5e-7);

  ASSERT_EQ(run("'" + altered("binary32", "[solver]", "[solver]\nmax_passes = 3") + "' --csv '" +
                csv.string() + "'"),
            3);
  EXPECT_EQ(contents(csv), text) << "a run that fails leaves the file alone";
  expect_no_part_files();
}

}  // namespace
