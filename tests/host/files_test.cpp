#include <string>

#include "tests/host/own_folder.h"

namespace {

class FilesTest : public OwnFolder {
 protected:
  Text name() const { return Text((folder_ / "50% done").c_str()); }
  fs::path path() const { return folder_ / "50% done.LOG"; }
  std::string content() const { return content_of(path()); }
};

TEST_F(FilesTest, EachWayToOpenKeepsWhatItShould) {
  const struct {
    const char* what;
    unsigned char (*open)(TextFile&);
    const char* before;  // null: the file is not there
    unsigned char opens;
    const char* after;
  } cases[] = {
      {"create a new one", [](TextFile& f) { return f.Create(); }, nullptr, 1, "new\n"},
      {"create over an old one", [](TextFile& f) { return f.Create(); }, "old text", 1, "new\n"},
      {"append", [](TextFile& f) { return f.Open(1); }, "old text", 1, "old textnew\n"},
      {"append to none", [](TextFile& f) { return f.Open(1); }, nullptr, 0, nullptr},
      {"open", [](TextFile& f) { return f.Open(0); }, "old text", 1, "new\ntext"},
      {"open none", [](TextFile& f) { return f.Open(0); }, nullptr, 0, nullptr},
      {"do not open", [](TextFile&) -> unsigned char { return 0; }, "old text", 0, "old text"},
      {"close at once",
       [](TextFile& f) -> unsigned char {
         f.Create();
         f.Close();
         return 0;
       },
       "old", 0, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    fs::remove(path());
    if (c.before) put(path(), c.before);
    {
      TextFile file(name(), "LOG");
      EXPECT_EQ(file.Exists(0), c.before != nullptr);
      EXPECT_EQ(c.open(file), c.opens);
      file.Write(Text("new"), 0);
      file.Write('\n');
    }  // the destructor closes
    EXPECT_EQ(fs::exists(path()), c.after != nullptr);
    if (c.after) {
      EXPECT_EQ(content(), c.after);
    }
  }
}

TEST_F(FilesTest, WhatWasWrittenIsOnDiskAfterReopening) {
  const std::string large(100000, 'x');
  TextFile file(name(), "LOG");
  ASSERT_EQ(file.Create(), 1);
  file.Write(Text(large.c_str()), 0);
  file.Close();
  EXPECT_EQ(content(), large);
  ASSERT_EQ(file.Open(1), 1);
  file.Write('%');
  ASSERT_EQ(file.Open(1), 1);  // closes what is open
  EXPECT_EQ(content(), large + "%");
}

TEST_F(FilesTest, WhatIsNoFileDoesNotOpen) {
  fs::create_directory(path());
  TextFile folder(name(), "LOG");
  TextFile nowhere(Text((folder_ / "none" / "file").c_str()), "LOG");
  TextFile without_name("", "LOG");
  TextFile without_extension(name(), "");
  for (TextFile* file : {&folder, &nowhere, &without_name, &without_extension}) {
    EXPECT_EQ(file->Exists(0), 0);
    EXPECT_EQ(file->Create(), 0);
    EXPECT_EQ(file->Open(0), 0);
    EXPECT_EQ(file->Open(1), 0);
    file->Write(Text("lost"), 0);
    file->Write('x');
    file->Close();
  }
}

TEST_F(FilesTest, WithoutMemoryNoFileIsTouched) {
  put(path(), "kept");
  const Text file_name = name();
  // The requests: the extension's text, the copies of name and extension, the path for Exists, for Create.
  for (int failing = 1; failing <= 5; ++failing) {
    SCOPED_TRACE(failing);
    corvid_host::FailAllocationsFrom(failing);
    {
      TextFile file(file_name, "LOG");
      EXPECT_EQ(file.Exists(0), failing == 5);
      EXPECT_EQ(file.Create(), 0);
      file.Write('x');
    }
    corvid_host::StopFailing();
    EXPECT_EQ(content(), "kept");
  }
}

}  // namespace
