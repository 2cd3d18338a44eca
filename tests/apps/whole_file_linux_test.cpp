// What becomes of a file that is replaced, where the system's calls can be made to fail and links can be
// made.

#include <gtest/gtest.h>

#include <string>

#include "apps/common/output.h"
#include "apps/common/platform.h"
#include "tests/support/failing_fsync.h"
#include "tests/support/program.h"

namespace {

class WholeFile : public ProgramTest {
 protected:
  WholeFile() : ProgramTest(COLUMN_PROGRAM) {}
};

TEST_F(WholeFile, IsOnDiskAndNobodyElsesBeforeItTakesThePlace) {
  const std::string path = write("whole", "the old one");
  fsync_fails = true;
  EXPECT_TRUE(apps::write_whole_file(path, "the new one"));
  fsync_fails = false;
  EXPECT_EQ(contents(path), "the old one");
  expect_no_part_files();

  const std::string other = write("other", "untouched");
  fs::create_symlink(other, path + "." + std::to_string(apps::platform::process_number()) + "-0.part");
  EXPECT_FALSE(apps::write_whole_file(path, "the new one"));
  EXPECT_EQ(contents(path) + contents(other), "the new oneuntouched");
}

TEST_F(WholeFile, KeepsThePermissionsOfTheOldOne) {
  const std::string path = write("whole", "the old one");
  constexpr fs::perms kOwners = fs::perms::owner_read | fs::perms::owner_write;
  for (const fs::perms permissions : {kOwners, kOwners | fs::perms::others_write}) {
    fs::permissions(path, permissions);
    EXPECT_FALSE(apps::write_whole_file(path, "again"));
    EXPECT_EQ(fs::status(path).permissions(), permissions);
  }
}

}  // namespace
