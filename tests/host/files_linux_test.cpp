// Failing disks, permissions and symbolic links, as Linux has them.

#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include "tests/host/example_file.h"
#include "tests/support/failing_fsync.h"

namespace {

using namespace corvid_host;
using FilesLinuxTest = OwnFolder;

TEST_F(FilesLinuxTest, WhatADiskDoesNotTakeIsCounted) {
  fs::create_symlink("/dev/full", folder_ / "full.LOG");
  const std::string text(100, 'x');
  for (const char* name : {"good", "full"}) {
    for (const std::size_t repeats : {1, 1000}) {  // all of it still in the buffer at the end, and not
      const std::int64_t before = IncompleteTextFiles();
      TextFile file(Text(name_of(folder_ / name).c_str()), "LOG");
      EXPECT_TRUE(file.Create());
      for (std::size_t i = 0; i < repeats; ++i) file.Write(Text(text.c_str()), 0);
      file.Close();
      EXPECT_EQ(IncompleteTextFiles() - before, name == std::string("full") ? 1 : 0) << name << repeats;
    }
  }
}

bool commit_on_a_full_disk(ChunkFile& file) {
  const auto former = signal(SIGXFSZ, SIG_IGN);
  rlimit limit;
  getrlimit(RLIMIT_FSIZE, &limit);
  const rlimit small{40, limit.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  const bool committed = file.Commit();
  setrlimit(RLIMIT_FSIZE, &limit);
  signal(SIGXFSZ, former);
  return committed;
}

TEST_F(ChunkFileTest, TheOldFileStaysIfTheDiskIsFull) {
  put(path_, "the old file");
  ChunkFile file;
  ASSERT_TRUE(file.Create(name_of(path_).c_str()) && write_example(file));
  EXPECT_FALSE(commit_on_a_full_disk(file));
  EXPECT_STREQ(file.ErrorText(), "File too large");
  EXPECT_EQ(content_of(path_), "the old file");
  EXPECT_EQ(files(), 1);
}

TEST_F(ChunkFileTest, ANewFileIsOnDiskAndNobodyElsesBeforeItTakesThePlace) {
  put(path_, "the old file");
  fsync_fails = true;
  EXPECT_FALSE(commit_example(path_));
  fsync_fails = false;
  EXPECT_EQ(content_of(path_), "the old file");
  EXPECT_EQ(files(), 1);

  const fs::path other = folder_ / "of somebody else";
  put(other, "untouched");
  constexpr int kNames = 1000;  // among them the next that the process would take
  for (int serial = 0; serial < kNames; ++serial)
    fs::create_symlink(other,
                       path_.string() + ".new-" + std::to_string(getpid()) + "-" + std::to_string(serial));
  EXPECT_TRUE(commit_example(path_) && opens());
  EXPECT_EQ(content_of(other), "untouched");
}

TEST_F(ChunkFileTest, ANewFileKeepsPermissionsAndLinks) {
  put(path_, "the old file");
  fs::permissions(path_, fs::perms(0640));
  const fs::path link = folder_ / "link";
  fs::create_symlink("a file", link);
  ASSERT_TRUE(commit_example(link));
  EXPECT_TRUE(opens());
  EXPECT_EQ(fs::status(path_).permissions(), fs::perms(0640));
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_EQ(files(), 2);
}

}  // namespace
