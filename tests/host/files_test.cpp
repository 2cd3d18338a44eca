#include "tests/host/own_folder.h"

namespace {

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

}  // namespace
