// The completion of the programs' options in bash and their description, against what is printed for --help.

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Words = std::set<std::string>;

/// Returns what a command of bash prints.
std::string printed(const std::string& command) {
  const std::string quoted = "bash -c '" + command + "'";
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(popen(quoted.c_str(), "r"), pclose);
  std::string text;
  char block[4096];
  while (const std::size_t count = std::fread(block, 1, sizeof block, pipe.get())) text.append(block, count);
  return text;
}

/// Returns what the last of some words is completed to. @param words  the program and what is typed behind it
Words completions(const std::string& words, const std::string& last) {
  std::istringstream out(printed("cd " PROGRAM_CASES "; source " COMPLETION "; COMP_WORDS=(" + words + " \"" +
                                 last +
                                 "\"); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _corvidnum $COMP_WORDS; "
                                 "printf \"%s\\n\" \"${COMPREPLY[@]}\""));
  Words found;
  for (std::string line; std::getline(out, line);)
    if (!line.empty()) found.insert(line);
  return found;
}

TEST(Completion, OffersEveryOptionThatTheHelpShows) {
  const std::string description = printed("cat " DESCRIPTION);
  std::vector<std::string> programs{SOLVE_PROGRAM, RECYCLE_PROGRAM, COLUMN_PROGRAM, COLUMN_PROGRAM " fit"};
#ifdef STUDY_PROGRAM
  programs.push_back(STUDY_PROGRAM);
#endif
  for (const std::string& program : programs) {
    Words shown;
    std::istringstream lines(printed(program + " --help"));
    for (std::string line; std::getline(lines, line);) {
      if (line.rfind("  -", 0) != 0) continue;
      std::istringstream names(line.substr(2, line.find(' ', 2) - 2));  // as in "--btf,--no-btf{false}"
      for (std::string name; std::getline(names, name, ',');)
        if (name.rfind("--", 0) == 0) shown.insert(name.substr(0, name.find('{')));
    }
    EXPECT_GE(shown.size(), 4u);
    EXPECT_EQ(completions(program, "--"), shown) << program;
    for (const std::string& option : shown)
      EXPECT_TRUE(description.find("`" + option + "`") != description.npos ||
                  description.find("`" + option + " ") != description.npos)
          << option << " is not described";
  }
}

TEST(Completion, OffersWordsAndFilesWhereAnOptionTakesThem) {
  const struct {
    std::string words, last;
    Words completed;
  } rows[] = {{SOLVE_PROGRAM " a.mtx --solver", "", {"auto", "ma38", "ma48", "mumps"}},
              {SOLVE_PROGRAM " a.mtx --solver", "ma3", {"ma38"}},
              {SOLVE_PROGRAM " a.mtx --solver =", "ma4", {"ma48"}},
              {SOLVE_PROGRAM " a.mtx --reorder", "=", {"bandwidth", "profile"}},
              {SOLVE_PROGRAM " a.mtx", "--no-b", {"--no-btf"}},
              {SOLVE_PROGRAM " a.mtx --bound", "", {}},
              {SOLVE_PROGRAM " --rhs", "measured.", {"measured.toml"}},
              {SOLVE_PROGRAM " --transpose", "butane", {"butane-pentane.toml"}},
              {COLUMN_PROGRAM, "fi", {"fit"}},
              {COLUMN_PROGRAM " --csv", "fi", {}},
              {COLUMN_PROGRAM " fit --properties x", "--q", {"--quiet"}},
              {COLUMN_PROGRAM " binary32.toml", "--verb", {}}};
  for (const auto& row : rows)
    EXPECT_EQ(completions(row.words, row.last), row.completed) << row.words << row.last;
}

}  // namespace
