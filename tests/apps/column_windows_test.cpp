// The program on Windows: arguments and names of files beyond the system's page of characters, letters of
// either case, devices, locks, and files that somebody else uses.

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "apps/common/output.h"
#include "apps/common/platform.h"
#include "tests/support/program.h"

// After the headers of the library: it defines macros for words that they use.
#include <windows.h>

namespace {

class WindowsProgram : public ProgramTest {
 protected:
  WindowsProgram() : ProgramTest(COLUMN_PROGRAM) {
    fs::copy_file(fs::path(COLUMN_CASES) / "binary32.toml", folder_ / "binary32.toml");
  }
  void copy_case(const std::string& name) const {
    fs::copy_file(folder_ / "binary32.toml", folder_ / fs::u8path(name));
  }
  /// Starts the program in the folder; its error stream goes to the file `err` there.
  /// @param arguments  in UTF-8
  /// @return the process, or null
  HANDLE start(const std::string& arguments) const {
    std::wstring command = fs::u8path("\"" + program_ + "\" " + arguments).wstring();
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    STARTUPINFOW streams = {};
    streams.cb = sizeof streams;
    streams.dwFlags = STARTF_USESTDHANDLES;
    streams.hStdError =
        CreateFileW((folder_ / "err").c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                    CREATE_ALWAYS, 0, nullptr);
    streams.hStdOutput = CreateFileW(L"NUL", GENERIC_WRITE, 0, &inherited, OPEN_EXISTING, 0, nullptr);
    PROCESS_INFORMATION begun = {};
    const BOOL done = CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                     folder_.c_str(), &streams, &begun);
    CloseHandle(streams.hStdError);
    CloseHandle(streams.hStdOutput);
    if (!done) return nullptr;
    CloseHandle(begun.hThread);
    return begun.hProcess;
  }
  /// Waits for the end of a program.
  /// @return its exit code
  int finish(HANDLE program) {
    DWORD code = 0;
    WaitForSingleObject(program, INFINITE);
    GetExitCodeProcess(program, &code);
    CloseHandle(program);
    err_ = contents(folder_ / "err");
    return static_cast<int>(code);
  }
  int run_wide(const std::string& arguments) { return finish(start(arguments)); }
};

TEST_F(WindowsProgram, TakesArgumentsInAnyLanguage) {
  const std::string name = u8"\u00e4-\u03a9-\u6c34";
  copy_case(name + ".toml");
  EXPECT_EQ(run_wide("\"" + name + ".toml\" --quiet --csv \"" + name + " .csv\" --report " + name), 0)
      << err_;
  EXPECT_TRUE(fs::exists(folder_ / fs::u8path(name + " .csv")));
  EXPECT_TRUE(fs::exists(folder_ / fs::u8path(name) / fs::u8path("column-" + name + ".html")));
  EXPECT_EQ(run_wide(name + "/none.toml"), 1);
  EXPECT_EQ(err_, name + "/none.toml: No such file or directory\n");
}

TEST_F(WindowsProgram, TakesLettersOfEitherCaseForTheSame) {
  expect_runs({
      {"binary32.toml --compare --debug-log z --csv Z.log", 2, "--csv: Z.log is written by --debug-log too"},
      {"binary32.toml --report pages --csv PAGES/INDEX.tsv", 2, "is written by --report too"},
      {"binary32.toml --csv BINARY32.toml", 2, " would be replaced, and is read"},
      {"binary32.toml --report pages --csv NUL", 0, ""},
      {"BINARY32.TOML --report PAGES", 0, ""},
  });
  const std::string index = contents(folder_ / "pages" / "index.tsv");
  EXPECT_EQ(std::count(index.begin(), index.end(), '\n'), 1) << index;
}

TEST_F(WindowsProgram, KnowsTheNamesOfDevices) {
  for (const char* name : {"NUL", "nul", "CON", "con", "\\\\.\\pipe\\x"})
    EXPECT_TRUE(apps::platform::is_name_of_device(name)) << name;
  for (const char* name : {"nulls", "nulls.csv", "folder/console", ""})
    EXPECT_FALSE(apps::platform::is_name_of_device(name)) << name;
  EXPECT_FALSE(apps::write_whole_file("NUL", "gone"));
}

TEST_F(WindowsProgram, WaitsForTheLockOfAFolder) {
  const fs::path reports = folder_ / "reports";
  fs::create_directory(reports);
  constexpr DWORD kLongerThanARun = 3000;  // milliseconds
  std::optional<apps::platform::FolderLock> lock(reports);
  const HANDLE waiting = start("binary32.toml --quiet --report REPORTS");
  EXPECT_EQ(WaitForSingleObject(waiting, kLongerThanARun), static_cast<DWORD>(WAIT_TIMEOUT));
  EXPECT_FALSE(fs::exists(reports / "index.tsv"));
  lock.reset();
  EXPECT_EQ(finish(waiting), 0) << err_;
  EXPECT_TRUE(fs::exists(reports / "index.tsv"));
}

TEST_F(WindowsProgram, ProgramsShareAFolderOfReports) {
  std::vector<HANDLE> programs;
  for (const std::string name : {"a.toml", "b.toml", "c.toml", "d.toml"}) {
    copy_case(name);
    programs.push_back(start(name + " --quiet --report pages"));
  }
  for (const HANDLE program : programs) EXPECT_EQ(finish(program), 0) << err_;
  const std::string index = contents(folder_ / "pages" / "index.tsv");
  EXPECT_EQ(std::count(index.begin(), index.end(), '\n'), 4) << index;
}

TEST_F(WindowsProgram, LeavesAFileThatMustNotChangeOrIsInUse) {
  const fs::path path = write("whole", "the old one");
  const DWORD attributes = GetFileAttributesW(path.c_str());
  SetFileAttributesW(path.c_str(), attributes | FILE_ATTRIBUTE_READONLY);
  EXPECT_EQ(apps::write_whole_file(path.u8string(), "new"), std::optional<std::string>("Permission denied"));
  SetFileAttributesW(path.c_str(), attributes);
  const HANDLE user =
      CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  EXPECT_TRUE(apps::write_whole_file(path.u8string(), "new"));
  CloseHandle(user);
  EXPECT_EQ(contents(path), "the old one");
  expect_no_part_files();
  EXPECT_FALSE(apps::write_whole_file(path.u8string(), "new"));
  EXPECT_EQ(contents(path), "new");
}

}  // namespace
