#pragma once

// A fixture that runs a program in a folder of its own and keeps what it prints.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/new_folder.h"
#include "tests/support/shell.h"

namespace fs = std::filesystem;

inline std::string contents(const fs::path& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

/// A run: its exit code, and words that must stand in what it prints or, if it fails, in its complaint.
struct ProgramRun {
  std::string arguments;
  int code;
  std::string says;
};

class ProgramTest : public testing::Test {
 protected:
  explicit ProgramTest(std::string program) : program_(std::move(program)) {}
  ~ProgramTest() override { fs::remove_all(folder_); }

  /// Runs the program in the folder, so that plain names are those of files there.
  /// Its streams are then in out_ and err_.
  /// @param limits  commands of a POSIX shell that come first
  /// @return its exit code; -1 if it did not get as far as that
  int run(const std::string& arguments, const std::string& limits = "") {
    return shell(limits + " \"" + program_ + "\" " + arguments);
  }
  /// Does the same with a command of the shell.
  int shell(const std::string& command) {
    const fs::path former = fs::current_path();
    fs::current_path(folder_);
    const int code = test_support::run_in_shell(command + " >out 2>err");
    fs::current_path(former);
    out_ = contents(folder_ / "out");
    err_ = contents(folder_ / "err");
    return code;
  }
  /// Runs each. What went wrong is told in one line, though usage errors (code 2) may come with a hint.
  /// @param silent  failures up to this code print nothing: what can be checked before the work, is
  void expect_runs(const std::vector<ProgramRun>& runs, int silent = 2) {
    for (const auto& [arguments, code, says] : runs) {
      SCOPED_TRACE(arguments);
      EXPECT_EQ(run(arguments), code) << err_;
      EXPECT_NE((code == 0 ? out_ : err_).find(says), std::string::npos) << out_ << err_;
      EXPECT_TRUE(code == 0 || code > silent || out_.empty()) << out_;
      EXPECT_TRUE(code == 2 || std::count(err_.begin(), err_.end(), '\n') == (code != 0)) << err_;
      expect_no_part_files();
    }
  }
  /// Runs the program, which must succeed and print all these words.
  void expect_solves(const std::string& arguments, std::initializer_list<const char*> words = {}) {
    expect_runs({{arguments, 0, ""}});
    for (const char* each : words) EXPECT_TRUE(printed(each)) << each << " in " << out_;
  }
  /// Runs the program on a file that is larger than the memory it may have.
  void expect_refused_memory_told() {
    if (!test_support::system_is_posix()) GTEST_SKIP() << test_support::kNeedsLimits;
#ifdef CORVIDNUM_SANITIZED
    GTEST_SKIP() << "the sanitizers need more addresses than the limit leaves";
#endif
    write("huge", "");
    fs::resize_file(folder_ / "huge", 1 << 30);  // a hole: takes no room on the disk
    EXPECT_EQ(run("huge", "ulimit -v 300000;"), 1);
    EXPECT_EQ(err_, "huge: the memory does not suffice\n");
  }
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
  const fs::path folder_ = new_folder(fs::path(program_).filename().string());
  std::string out_, err_;
};
