// Names, permissions and other users of a file, as Windows has them.

#include <windows.h>

#include "tests/host/example_file.h"

namespace {

using namespace corvid_host;

TEST_F(ChunkFileTest, AFileThatMustNotChangeStays) {
  put(path_, "the old file");
  const DWORD attributes = GetFileAttributesW(path_.c_str());
  SetFileAttributesW(path_.c_str(), attributes | FILE_ATTRIBUTE_READONLY);
  ChunkFile file;
  ASSERT_TRUE(file.Create(name_of(path_).c_str()) && write_example(file));
  EXPECT_FALSE(file.Commit());
  EXPECT_STREQ(file.ErrorText(), "Permission denied");
  SetFileAttributesW(path_.c_str(), attributes);
  EXPECT_EQ(content_of(path_), "the old file");
  EXPECT_EQ(files(), 1);
}

TEST_F(ChunkFileTest, AFileInUseIsReplacedAllTheSameOrStays) {
  put(path_, "the old file");
  for (const bool shared : {false, true}) {
    const DWORD sharing = shared ? FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE : FILE_SHARE_READ;
    const HANDLE user = CreateFileW(path_.c_str(), GENERIC_READ, sharing, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(user, INVALID_HANDLE_VALUE);
    EXPECT_EQ(commit_example(path_), shared);
    CloseHandle(user);
    EXPECT_EQ(content_of(path_), shared ? documented_bytes() : "the old file");
    EXPECT_EQ(files(), 1);
  }
}

TEST_F(ChunkFileTest, APathMayBeAsLongAsTheSystemAllows) {
  constexpr std::size_t kMostCharacters = MAX_PATH - 1;
  const std::size_t length = kMostCharacters - (fs::absolute(folder_).wstring().size() + 1);
  path_ = fs::absolute(folder_) / std::string(length, 'n');
  for (const bool is_there : {false, true}) {
    EXPECT_TRUE(commit_example(path_)) << is_there;
    EXPECT_TRUE(opens());
    EXPECT_EQ(files(), 1);
  }
}

TEST_F(ChunkFileTest, ADeviceIsNoFile) {
  ChunkFile file;
  EXPECT_FALSE(file.Open("NUL"));
  EXPECT_STREQ(file.ErrorText(), "it is not a regular file");
  EXPECT_FALSE(commit_example("NUL"));
  EXPECT_FALSE(file.Open("\xff\xfe"));  // is not UTF-8
  EXPECT_STREQ(file.ErrorText(), "No such file or directory");
}

}  // namespace
