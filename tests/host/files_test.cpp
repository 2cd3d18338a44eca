#include "tests/host/own_folder.h"

namespace {

class FilesTest : public OwnFolder {
 protected:
  Text name() const { return Text((folder_ / "50% done").c_str()); }
  fs::path path() const { return folder_ / "50% done.LOG"; }
};

unsigned char create(TextFile& file) { return file.Create(); }
unsigned char append(TextFile& file) {
  file.Open(1);
  return file.Open(1);  // closes what is open
}
unsigned char open(TextFile& file) { return file.Open(0); }

TEST_F(FilesTest, EachWayToOpenKeepsWhatItShould) {
  const struct {
    const char* what;
    unsigned char (*open)(TextFile&);
    const char* before;  // null: the file is not there
    const char* after;
    bool opens;
  } cases[] = {
      {"create", create, nullptr, "new\n", true},
      {"create over an old one", create, "old text", "new\n", true},
      {"append", append, "old text", "old textnew\n", true},
      {"append to none", append, nullptr, nullptr, false},
      {"open", open, "old text", "new\ntext", true},
      {"open none", open, nullptr, nullptr, false},
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
    EXPECT_EQ(content_of(path()), c.after ? c.after : "");
  }
}

TEST_F(FilesTest, WhatIsNoFileDoesNotOpen) {
  fs::create_directory(path());
  TextFile folder(name(), "LOG"), without_name("", "LOG"), without_extension(name(), "");
  for (TextFile* file : {&folder, &without_name, &without_extension}) {
    EXPECT_EQ(file->Exists(0), 0);
    EXPECT_EQ(file->Create(), 0);
    EXPECT_EQ(file->Open(0), 0);
    EXPECT_EQ(file->Open(1), 0);
    file->Write(Text("lost"), 0);
    file->Write('x');
  }
}

}  // namespace
