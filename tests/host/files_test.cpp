#include "tests/host/own_folder.h"

namespace {

using namespace corvid_host;
using FilesTest = OwnFolder;

TEST_F(FilesTest, WhatIsNoFileDoesNotOpenNorComeIntoBeing) {
  fs::create_directory(folder_ / "50% done.LOG");
  const Text name((folder_ / "50% done").c_str());
  TextFile folder(name, "LOG"), without_name("", "LOG"), without_extension(name, "");
  for (TextFile* file : {&folder, &without_name, &without_extension}) {
    EXPECT_FALSE(file->Exists(0) || file->Create() || file->Open(0) || file->Open(1));
    file->Write(Text("lost"), 0);
  }
  TextFile missing(name, "other");
  EXPECT_FALSE(missing.Open(0) || missing.Open(1) || missing.Exists(0));
  EXPECT_TRUE(missing.Create() && missing.Exists(0));
}

TEST_F(FilesTest, WhatADiskDoesNotTakeIsCounted) {
  fs::create_symlink("/dev/full", folder_ / "full.LOG");
  const std::string text(100, 'x');
  for (const char* name : {"good", "full"}) {
    for (const std::size_t repeats : {1, 1000}) {  // all of it still in the buffer at the end, and not
      const std::int64_t before = IncompleteTextFiles();
      TextFile file(Text((folder_ / name).c_str()), "LOG");
      EXPECT_TRUE(file.Create());
      for (std::size_t i = 0; i < repeats; ++i) file.Write(Text(text.c_str()), 0);
      file.Close();
      EXPECT_EQ(IncompleteTextFiles() - before, name == std::string("full") ? 1 : 0) << name << repeats;
    }
  }
}

}  // namespace
