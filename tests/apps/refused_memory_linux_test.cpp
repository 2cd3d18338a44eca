// Memory that is refused to the programs themselves, in places where an exception could not get out. The
// operators new and delete of this program take the place of the library's.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <new>
#include <optional>
#include <sstream>
#include <string>

#include "apps/common/output.h"
#include "apps/common/program.h"
#include "apps/common/program_options.h"
#include "apps/report/index.h"
#include "tests/support/new_folder.h"

namespace {

constexpr int kNever = -1;
int requests_to_failure = kNever;  // once 0, it stays so: all requests fail
bool fails_once = false;           // then one request fails only

}  // namespace

// Not inlined, or else the compiler sees a block of operator new that free() gets.
[[gnu::noinline]] void* operator new(std::size_t bytes) {
  if (requests_to_failure == 0) {
    if (fails_once) requests_to_failure = kNever;
    throw std::bad_alloc();
  }
  if (requests_to_failure > 0) --requests_to_failure;
  if (void* const block = std::malloc(bytes > 0 ? bytes : 1)) return block;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { std::free(block); }

namespace {

namespace fs = std::filesystem;

TEST(RefusedMemory, IsToldByTheSearchForAnOption) {
  CLI::App app;
  const std::string name = "--an-option-whose-name-takes-memory";
  app.add_flag(name);
  bool refused = true;
  for (int served = 0; refused; ++served) {
    requests_to_failure = served;
    try {
      EXPECT_FALSE(apps::is_given(app, name));
      refused = false;
    } catch (const std::bad_alloc&) {
    }
    requests_to_failure = kNever;
  }
}

TEST(RefusedMemory, LeavesNoNewFileAndNoNewFolder) {
  const fs::path folder = new_folder("refused-memory-whose-name-takes-memory");
  {
    std::optional<apps::Replacement> file(std::in_place, (folder / "file").string(), ".part");
    std::optional<report::Folder> reports(std::in_place, (folder / "reports").string(), "page.html");
    EXPECT_TRUE(fs::exists(file->name()) && fs::exists(folder / "reports"));
    requests_to_failure = 0;
    file.reset();
    reports.reset();
    requests_to_failure = kNever;
  }
  EXPECT_TRUE(fs::is_empty(folder));
  fs::remove_all(folder);
}

// A stream that reads a line ends early, without a word, where memory is refused to it.
TEST(RefusedMemory, LosesNoLineOfAnIndex) {
  const fs::path folder = new_folder("refused-memory-index");
  const std::string old =
      "old.html\tcorvidnum-solve\tan older page whose line takes memory\t3\t0.1\tnone\t-\n";
  const report::Page page("a page", "corvidnum-solve");
  bool refused = true;
  for (int served = 0; refused; ++served) {
    std::ofstream(folder / "index.tsv") << old;
    fails_once = true;
    try {
      report::Folder reports(folder.string(), "page.html");
      requests_to_failure = served;
      reports.add(page, {});
      refused = requests_to_failure == kNever;
    } catch (const std::exception&) {
    }
    requests_to_failure = kNever;
    fails_once = false;
    for (const char* index : {"index.tsv", "index.html"}) {
      std::ostringstream text;
      text << std::ifstream(folder / index).rdbuf();
      EXPECT_TRUE(!fs::exists(folder / index) || text.str().find("old.html") != std::string::npos)
          << index << ", " << served;
    }
  }
  fs::remove_all(folder);
}

void refuse() { throw std::bad_alloc(); }
void let_nothing_out() noexcept { refuse(); }

TEST(RefusedMemory, IsToldWhereNoExceptionGetsOut) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT((std::set_terminate(apps::end_without_memory), let_nothing_out()),
              testing::ExitedWithCode(apps::kBadInput), "^the memory does not suffice\n$");
}

}  // namespace
