// The program as a user meets it: exit codes, streams, files, kills, and several processes.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "apps/common/platform.h"
#include "tests/support/program.h"

namespace {

class StudyProgram : public ProgramTest {
 protected:
  StudyProgram() : ProgramTest(STUDY_PROGRAM) {
    for (const char* name : {COLUMN_CASES "/binary32.toml", RECYCLE_CASES "/purge-loop.toml"})
      fs::copy(name, folder_);
    write("s.toml", kStudy);
  }

  static constexpr char kStudy[] = R"(title = "Reflux and feed stage"
column = "binary32.toml"
results = ["distillate.fraction[light]", "passes", "eigenvalue"]
chunk = 8
[[parameter]]
name = "reflux ratio"
place = "column.reflux_ratio"
range = { from = -0.1, to = 4.0, count = 42 }
[[parameter]]
name = "feed stage"
place = "feed[1].stage"
values = [12, 14, 16, 17, 18, 20]
)";

  std::string rows_of_one_thread() {
    EXPECT_EQ(run("s.toml --csv one.csv --threads 1 --quiet"), 0) << err_;
    EXPECT_EQ(out_, "");
    return contents(folder_ / "one.csv");
  }
};

TEST_F(StudyProgram, SolvesWritesAndReports) {
  const std::string rows = rows_of_one_thread();
  EXPECT_EQ(std::count(rows.begin(), rows.end(), '\n'), 42 * 6 + 1);
  EXPECT_EQ(
      rows.rfind("case,reflux ratio,feed stage,distillate.fraction[light],passes,eigenvalue,outcome\n", 0),
      0u);
  expect_solves("s.toml --csv two.csv --threads 2 --report pages",
                {"252 cases, of which 12 have no answer", "cases a second", "must be above 0, not -0.1"});
  EXPECT_EQ(contents(folder_ / "two.csv"), rows);
  expect_solves("s.toml --csv two.csv", {"252 of them were there already"});
  EXPECT_EQ(run("s.toml --csv - --threads 4 --report pages"), 0) << err_;
  EXPECT_EQ(out_, rows);
  EXPECT_EQ(err_.rfind("Reflux and feed stage\n", 0), 0u) << err_;
  const std::string page = contents(folder_ / "pages" / "study-s.html");
  for (const char* words : {"Responses", "Histogram of passes", "Cases with and without an answer",
                            "feed stage 12", "must be above 0, not -0.1", "12 cases have no answer"})
    EXPECT_NE((page + contents(folder_ / "pages" / "index.tsv")).find(words), std::string::npos) << words;
}

TEST_F(StudyProgram, AStudyThatIsKilledGoesOn) {
  if (!test_support::system_is_posix()) GTEST_SKIP() << test_support::kNeedsLimits;
  const std::string rows = rows_of_one_thread();
  int kills = 0;
  // The time grows, so that a slow machine comes to the end too.
  for (int milliseconds = 5;; milliseconds += milliseconds / 8 + 3, ++kills) {
    const std::string patience = "timeout -s KILL " + fmt::format("{}", milliseconds / 1000.0);
    if (run("s.toml --csv killed.csv --threads 2 --quiet", patience) == 0) break;
    const std::string part = contents(folder_ / "killed.csv");
    ASSERT_EQ(part, rows.substr(0, part.size())) << "after " << kills << " kills";
  }
  EXPECT_GE(kills, 3);
  EXPECT_EQ(contents(folder_ / "killed.csv"), rows);
}

TEST_F(StudyProgram, ExitCodeTellsWhatWentWrong) {
  write("broken.toml", "title = \"x\"\ncolumn = 3\n");
  std::string text = kStudy;
  write("huge.toml", text.replace(text.find("count = 42"), 10, "count = 10000000"));
  text = kStudy;
  write("none.toml", text.replace(text.find("to = 4.0"), 8, "to = -0.05"));
  write("other.csv", "x");
  expect_runs({
      {"broken.toml --csv c.csv", 1, "broken.toml:2: \"column\" in the study must be a text, not integer\n"},
      {"huge.toml --csv c.csv", 1, "huge.toml:5: the parameters make more than 10000000 cases\n"},
      {"no.toml --csv c.csv", 1, "no.toml: No such file or directory\n"},
      {"s.toml", 2, "--csv is required"},
      {"s.toml --csv c.csv --threads 0", 2, "--threads: must lie between 1 and 1024, not 0"},
      {"s.toml --csv s.toml", 2, "s.toml would be replaced, and is read"},
      {"s.toml --csv binary32.toml --restart", 2, "binary32.toml would be replaced, and is read"},
      {"s.toml --csv other.csv", 1,
       "other.csv: is there without the journal of a study; --restart replaces it\n"},
      {"s.toml --csv no/such.csv", 1, "such.csv.journal: No such file or directory\n"},
      {"s.toml --csv " + std::string(300, 'c'), 1, "c: File name too long\n"},
      {"s.toml --csv " + std::string(250, 'c'), 1, "c.journal: File name too long\n"},
      {"none.toml --csv none.csv", 3, "none.toml: no case has an answer\n"},
  });
  EXPECT_FALSE(fs::exists(folder_ / "c.csv"));
  if (!test_support::system_is_posix()) return;
  EXPECT_EQ(run("s.toml --csv /dev/full"), 1);
  EXPECT_EQ(err_, "/dev/full: No space left on device\n");
}

TEST_F(StudyProgram, TellsThatItWaitsForAnother) {
  if (!test_support::system_is_posix()) GTEST_SKIP() << "locks the journal as programs on POSIX do";
  rows_of_one_thread();
  std::optional<apps::platform::FolderLock> lock(folder_ / "one.csv.journal");
  const std::string line = "one.csv.journal: waits for another process that has it\n";
  std::thread other([&] {
    constexpr int kMostLooks = 1000;
    for (int look = 0; look < kMostLooks && contents(folder_ / "err") != line; ++look)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    lock.reset();
  });
  EXPECT_EQ(run("s.toml --csv one.csv --quiet"), 0);
  other.join();
  EXPECT_EQ(err_, line);
}

TEST_F(StudyProgram, StartsColdIfAskedTo) {
  rows_of_one_thread();
  EXPECT_EQ(run("s.toml --csv one.csv --cold"), 1);  // the rows that are there started warm
  EXPECT_NE(err_.find("one.csv.journal: is that of another study"), std::string::npos) << err_;
  expect_solves("s.toml --csv cold.csv --cold");
}

#ifdef MPIEXEC
class StudyOverRanks : public StudyProgram {
 protected:
  /// The time is for ranks that would wait for each other for ever.
  static constexpr char kLaunch[] = "timeout -s KILL 60 " MPIEXEC " --allow-run-as-root --oversubscribe -n ";

  int ranks(int count, const std::string& arguments) {
    return run(arguments, kLaunch + std::to_string(count));
  }
};

TEST_F(StudyOverRanks, AWorkerThatFailsEndsAll) {
  EXPECT_EQ(shell(kLaunch + std::string("2 \"" ODD_RANK "\" fails")), 1);
  EXPECT_NE(err_.find("one worker has failed\n"), std::string::npos) << err_;
}

// Over TCP a large message needs its sender again and again.
TEST_F(StudyOverRanks, RowsThatComeSlowlyHoldNobodyUp) {
  EXPECT_EQ(shell(kLaunch + std::string("2 --mca pml ob1 --mca btl tcp,self \"" ODD_RANK "\" naps")), 0)
      << err_;
}

// Each rank may use so many processors from a certain one on, as mpirun, srun or taskset may have it.
TEST_F(StudyOverRanks, DivideTheProcessorsThatTheyShare) {
  const auto threads = [this](const std::vector<std::string>& processors) {
    std::string command;
    for (const std::string& each : processors)
      command += (command.empty() ? kLaunch : " : -n ") + std::string("1 \"" RANK_THREADS "\" ") + each;
    EXPECT_EQ(shell(command), 0) << err_;
    return out_;
  };
  EXPECT_EQ(threads({"0 8"}), "8\n");
  EXPECT_EQ(threads({"0 8", "0 8", "0 8"}), "2\n2\n2\n") << "not bound";
  EXPECT_EQ(threads({"8 4", "12 4"}), "4\n4\n") << "bound to processors of their own";
  EXPECT_EQ(threads({"8 8", "16 8", "8 8", "16 8"}), "4\n4\n4\n4\n") << "two bound to each socket";
  EXPECT_EQ(threads({"3 1", "3 1"}), "1\n1\n") << "more ranks than processors";
}

TEST_F(StudyOverRanks, RefuseWhatIsNotTheSameForAll) {
  fs::create_directory(folder_ / "sub");
  fs::copy(folder_ / "s.toml", folder_ / "sub");
  std::string base = contents(folder_ / "binary32.toml");
  write("sub/binary32.toml", base.replace(base.find("volatility = 1.6"), 16, "volatility = 1.5"));
  // Another base case, another start of the cases, options that one rank cannot use, a stream that only
  // rank 0 gets.
  for (const auto& [first, second, code, says] : std::vector<std::array<std::string, 4>>{
           {"s.toml", "sub/s.toml", "1", "sub/s.toml: rank 1 has another study, "},
           {"s.toml", "s.toml --cold", "1", "s.toml: rank 1 has another study, "},
           {"s.toml", "s.toml --threads 0", "2", "the options of rank 1 cannot be used\n"},
           {"-", "-", "2", "study: must be a file that all processes can read, not -"}}) {
    SCOPED_TRACE(first + " : " + second);
    EXPECT_EQ(ranks(1, first + " --csv c.csv : -n 1 \"" + program_ + "\" --csv c.csv " + second),
              std::stoi(code))
        << err_;
    EXPECT_NE(err_.find(says), std::string::npos) << err_;
    EXPECT_EQ(err_.find(says), err_.rfind(says)) << "told once";
  }
  EXPECT_FALSE(fs::exists(folder_ / "c.csv"));
}

TEST_F(StudyOverRanks, ChangeNoByte) {
  const std::string rows = rows_of_one_thread();
  for (const int count : {1, 2, 4}) {
    EXPECT_EQ(ranks(count, "s.toml --csv ranks.csv --restart --threads 2"), 0) << err_;
    EXPECT_EQ(contents(folder_ / "ranks.csv"), rows) << count;
    EXPECT_TRUE(printed("ranks: " + std::to_string(count))) << out_;
    EXPECT_EQ(out_.find("252 cases"), out_.rfind("252 cases")) << "told once";
  }
  EXPECT_EQ(ranks(2, "s.toml --csv ranks.csv"), 0) << err_;
  EXPECT_TRUE(printed("252 of them were there already")) << out_;
  // One line of the program, among those of mpirun.
  for (const char* bad : {"no.toml --csv c.csv", "s.toml --csv no/such.csv", "s.toml --csv /dev/full"}) {
    EXPECT_NE(ranks(2, bad), 0);
    const std::size_t told = err_.find("No s");
    EXPECT_NE(told, std::string::npos) << err_;
    EXPECT_EQ(told, err_.rfind("No s")) << err_;
  }
}
#endif

}  // namespace
