#include "tests/host/own_folder.h"

namespace {

using namespace corvid_host;
using FilesTest = OwnFolder;

TEST_F(FilesTest, WhatIsNoFileDoesNotOpenNorComeIntoBeing) {
  fs::create_directory(folder_ / "50% done.LOG");
  const Text name(name_of(folder_ / "50% done").c_str());
  TextFile folder(name, "LOG"), without_name("", "LOG"), without_extension(name, "");
  for (TextFile* file : {&folder, &without_name, &without_extension}) {
    EXPECT_FALSE(file->Exists(0) || file->Create() || file->Open(0) || file->Open(1));
    file->Write(Text("lost"), 0);
  }
  TextFile missing(name, "other");
  EXPECT_FALSE(missing.Open(0) || missing.Open(1) || missing.Exists(0));
  EXPECT_TRUE(missing.Create() && missing.Exists(0));
}

TEST_F(FilesTest, LinesEndWithOneCharacterAndNamesAreUtf8) {
  const fs::path path = folder_ / fs::u8path("Protokoll \u00e4\u03c9.LOG");
  TextFile file(Text(name_of(folder_ / fs::u8path("Protokoll \u00e4\u03c9")).c_str()), "LOG");
  ASSERT_TRUE(file.Create());
  file.Write(Text("one\ntwo\n"), 0);
  ASSERT_TRUE(file.Open(1) && file.Exists(0));
  file.Write('\n');
  file.Close();
  EXPECT_EQ(content_of(path), "one\ntwo\n\n");
}

}  // namespace
