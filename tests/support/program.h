#pragma once

// A fixture that runs a program in a folder of its own and keeps what it prints.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

inline std::string contents(const fs::path& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

/// A run that fails or succeeds: its exit code, and words that must stand in its standard error.
struct ProgramRun {
  std::string arguments;
  int code;
  std::string says;
};

class ProgramTest : public testing::Test {
 protected:
  explicit ProgramTest(std::string program) : program_(std::move(program)) {
    fs::create_directories(folder_);
  }
  ~ProgramTest() override { fs::remove_all(folder_); }

  /// Runs the program; its streams are then in out_ and err_.
  /// @return its exit code; -1 if it did not get as far as that
  int run(const std::string& arguments) {
    const std::string command =
        "'" + program_ + "' " + arguments + " >" + in_folder("out") + " 2>" + in_folder("err");
    const int status = std::system(command.c_str());
    out_ = contents(folder_ / "out");
    err_ = contents(folder_ / "err");
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  /// Runs each; what went wrong is told in one line, though usage errors (code 2) may come with a hint.
  /// @param silent  up to this code nothing is printed: what can be checked before the work, is
  void expect_runs(const std::vector<ProgramRun>& runs, int silent = 2) {
    for (const ProgramRun& expected : runs) {
      SCOPED_TRACE(expected.arguments);
      EXPECT_EQ(run(expected.arguments), expected.code);
      EXPECT_NE(err_.find(expected.says), std::string::npos) << err_;
      EXPECT_TRUE(expected.code > silent || out_.empty()) << out_;
      EXPECT_TRUE(expected.code == 2 || std::count(err_.begin(), err_.end(), '\n') == 1) << err_;
      expect_no_part_files();
    }
  }
  /// Runs the program on a file that is larger than the memory it may have.
  void expect_refused_memory_told() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizers need more addresses than the limit leaves";
#endif
    write("huge", "");
    fs::resize_file(folder_ / "huge", 1 << 30);  // a hole: takes no room on the disk
    const std::string limited = write("limited", "ulimit -v 300000; exec '" + program_ + "' \"$@\"");
    const std::string command = "sh '" + limited + "' " + in_folder("huge") + " 2>" + in_folder("err");
    const int status = std::system(command.c_str());
    EXPECT_EQ(WEXITSTATUS(status), 1);
    EXPECT_EQ(contents(folder_ / "err"), (folder_ / "huge").string() + ": the memory does not suffice\n");
  }
  /// The path of a file in the folder, quoted for the shell.
  std::string in_folder(const std::string& name) const { return "'" + (folder_ / name).string() + "'"; }
  std::string write(const std::string& name, const std::string& text) {
    std::ofstream(folder_ / name, std::ios::binary) << text;
    return (folder_ / name).string();
  }
  bool printed(const std::string& words) const { return out_.find(words) != std::string::npos; }
  void expect_no_part_files() const {
    for (const auto& entry : fs::directory_iterator(folder_))
      EXPECT_EQ(entry.path().string().find(".part"), std::string::npos) << entry.path();
  }

  const std::string program_;
  const fs::path folder_ = fs::path(testing::TempDir()) /
                           (fs::path(program_).filename().string() + "-" + std::to_string(getpid()));
  std::string out_, err_;
};
