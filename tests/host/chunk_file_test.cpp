#include <signal.h>
#include <sys/resource.h>

#include <climits>
#include <functional>
#include <sstream>

#include "host/checksum.h"
#include "tests/host/own_folder.h"
#include "tests/support/failing_fsync.h"

namespace {

using namespace corvid_host;

class ChunkFileTest : public OwnFolder {
 protected:
  void SetUp() override {
    OwnFolder::SetUp();
    path_ = folder_ / "a file";
  }
  void TearDown() override {
    StopFailing();
    OwnFolder::TearDown();
  }
  auto files() const { return std::distance(fs::directory_iterator(folder_), fs::directory_iterator()); }
  /// Whether the file opens.
  bool opens() {
    ChunkFile file;
    const bool open = file.Open(path_.c_str());
    EXPECT_EQ(*file.ErrorText() == '\0', open);
    return open;
  }
  bool opens(const std::string& bytes) {
    put(path_, bytes);
    return opens();
  }
  fs::path path_;
};

/// The example of the document. Whether every step succeeds.
bool write_example(ChunkFile& file) {
  file.SetNextTag(MakeChunkTag("PROP"));
  ChunkHeader outer, inner;
  return outer.Create(file, 2) && inner.Create(file, 1) && file.WriteInt(10) && file.WriteDouble(-32767) &&
         inner.Close(file) && file.WriteInt(-1) && outer.Close(file);
}

bool commit_example(const fs::path& path) {
  ChunkFile file;
  return file.Create(path.c_str()) && write_example(file) && file.Commit();
}

/// From lines such as "0014  50 52 4f 50               PROP" between two fences.
std::string documented_bytes() {
  constexpr std::size_t kOffsetWidth = 6, kBytesWidth = 24;
  std::ifstream document(FORMAT_DOCUMENT);
  std::string bytes, line;
  while (std::getline(document, line) && line != "```") continue;
  while (std::getline(document, line) && line != "```") {
    EXPECT_EQ(std::stoul(line, nullptr, 16), bytes.size());
    std::istringstream digits(line.substr(kOffsetWidth, kBytesWidth));
    for (unsigned byte; digits >> std::hex >> byte;) bytes += static_cast<char>(byte);
  }
  return bytes;
}

TEST_F(ChunkFileTest, EveryCutAndEveryChangedByteIsFound) {
  const std::string whole = documented_bytes();
  const std::int64_t before = LiveBytes();
  ResetPeakBytes();
  for (std::size_t length = 0; length < whole.size(); ++length)
    EXPECT_FALSE(opens(whole.substr(0, length))) << length;
  EXPECT_FALSE(opens(whole + '\0'));
  EXPECT_TRUE(opens(whole));
  std::fstream bytes(path_, std::ios::binary | std::ios::in | std::ios::out);
  for (std::size_t at = 0; at < whole.size(); ++at) {
    for (int change = 255; change >= 0; --change) {
      bytes.seekp(static_cast<std::streamoff>(at)).put(static_cast<char>(whole[at] ^ change)).flush();
      EXPECT_EQ(opens(), change == 0) << "byte " << at << " changed by " << change;
    }
  }
  EXPECT_LT(PeakBytes() - before, 1000);
}

void put_number(std::string& bytes, std::size_t at, std::uint32_t number) {
  for (int i = 0; i < 4; ++i) bytes[at + static_cast<std::size_t>(i)] = static_cast<char>(number >> 8 * i);
}

TEST_F(ChunkFileTest, WrongNumbersUnderRightChecksumsDoNoHarm) {
  const struct {
    const char* what;
    std::size_t at;
    std::uint32_t number;
    bool opens, enters;  // the file, the nested chunk
  } cases[] = {{"as it was", 0x2c, 12, true, true},        {"another format", 0x08, 2, false, false},
               {"outer too long", 0x1c, 37, false, false}, {"inner to the end", 0x2c, 16, true, false},
               {"inner too long", 0x2c, 17, true, false},  {"inner of 4 GiB", 0x2c, UINT32_MAX, true, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    std::string bytes = documented_bytes();
    put_number(bytes, c.at, c.number);
    for (const auto& [begin, end] : {std::pair(0x00u, 0x10u), {0x14, 0x20}, {0x24, 0x30}, {0x24, 0x48}})
      put_number(bytes, end, checksum(reinterpret_cast<unsigned char*>(&bytes[begin]), end - begin));
    EXPECT_EQ(opens(bytes), c.opens);
    ChunkFile file;
    if (!file.Open(path_.c_str())) continue;
    ChunkHeader outer, inner;
    EXPECT_EQ(outer.Open(file), 1);
    EXPECT_EQ(inner.Open(file), c.enters);
  }
}

TEST_F(ChunkFileTest, ManyNumbersComeBackAndAReadEndsWithItsChunk) {
  constexpr int kMany = 1000;  // longer than the first memory
  ChunkFile file;
  ChunkHeader outer, inner;
  ASSERT_TRUE(file.Create(path_.c_str()) && outer.Create(file, 1) && inner.Create(file, SHRT_MIN));
  for (int i = 0; i < kMany; ++i) ASSERT_TRUE(file.WriteInt(INT_MIN + i) && file.WriteDouble(-0.1 * i));
  ASSERT_TRUE(inner.Close(file) && file.WriteInt(5) && outer.Close(file) && file.Commit());

  ASSERT_TRUE(file.Open(path_.c_str()) && outer.Open(file) && inner.Open(file));
  EXPECT_EQ(inner.Version(), SHRT_MIN);
  int number = 0;
  double value = 0;
  for (int i = 0; i < kMany; ++i) {
    ASSERT_TRUE(file.ReadInt(&number) && number == INT_MIN + i);
    ASSERT_TRUE(file.ReadDouble(&value) && value == -0.1 * i);
  }
  number = 77, value = 7.5;
  EXPECT_FALSE(file.ReadInt(&number) || file.ReadDouble(&value));  // more stands in the file
  ASSERT_TRUE(inner.Close(file));
  EXPECT_FALSE(file.ReadDouble(&value));  // 4 bytes are left
  EXPECT_TRUE(number == 77 && value == 7.5);
  EXPECT_TRUE(file.ReadInt(&number) && number == 5 && outer.Close(file));
}

TEST_F(ChunkFileTest, ChunksNestToTheirLimit) {
  ChunkFile file;
  ChunkHeader headers[ChunkFile::kDeepest];
  for (const bool deeper : {false, true}) {
    ASSERT_TRUE(file.Create(path_.c_str()));
    for (ChunkHeader& header : headers) ASSERT_TRUE(header.Create(file, 1));
    EXPECT_FALSE(deeper && ChunkHeader().Create(file, 1));
    for (int i = ChunkFile::kDeepest; i-- > 0;) EXPECT_EQ(headers[i].Close(file), !deeper);
    EXPECT_EQ(file.Commit(), !deeper);
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

TEST_F(ChunkFileTest, TheOldFileStaysUnlessANewOneIsComplete) {
  int number;
  ChunkHeader one, two;
  const fs::path folder = folder_ / "folder";
  fs::create_directory(folder);
  const struct {
    const char* what;
    const char* error;
    std::function<bool(ChunkFile&)> committed;
  } cases[] = {
      {"not committed", "", [](ChunkFile&) { return false; }},
      {"closed", "it is not open for writing", [](ChunkFile& f) { return f.Close(), f.Commit(); }},
      {"a chunk open", "a chunk was not ended", [&](ChunkFile& f) { return one.Create(f, 1), f.Commit(); }},
      {"a number in no chunk", "a number stands in no chunk",
       [](ChunkFile& f) { return f.WriteInt(1), f.Commit(); }},
      {"read from", "it is not open for reading",  // the first failure is told
       [&](ChunkFile& f) { return f.ReadInt(&number), f.WriteInt(1), f.Commit(); }},
      {"ended out of turn", "a chunk was ended out of turn",
       [&](ChunkFile& f) {
         return one.Create(f, 1), two.Create(f, 1), one.Close(f), two.Close(f), f.Commit();
       }},
      {"the disk is full", "File too large", commit_on_a_full_disk},
      {"a folder in the way", "it is not a regular file",
       [&](ChunkFile& f) { return f.Create(folder.c_str()) && f.Commit(); }},
      {"no such folder", "No such file or directory",
       [&](ChunkFile& f) { return f.Create((folder / "no/file").c_str()) && f.Commit(); }},
  };
  put(path_, "the old file");
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    {
      ChunkFile file;
      ASSERT_TRUE(file.Create(path_.c_str()) && write_example(file));
      EXPECT_FALSE(c.committed(file));
      EXPECT_STREQ(file.ErrorText(), c.error);
    }
    EXPECT_EQ(content_of(path_), "the old file");
    EXPECT_EQ(files(), 2);
  }
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

TEST_F(ChunkFileTest, ANewFileHasTheDocumentedBytesAndKeepsPermissionsAndLinks) {
  put(path_, "the old file");
  fs::permissions(path_, fs::perms(0640));
  const fs::path link = folder_ / "link";
  fs::create_symlink("a file", link);
  ASSERT_TRUE(commit_example(link));
  EXPECT_EQ(content_of(path_), documented_bytes());
  EXPECT_EQ(fs::status(path_).permissions(), fs::perms(0640));
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_EQ(files(), 2);
}

TEST_F(ChunkFileTest, WithoutMemoryAFileIsTheOldOneOrTheNew) {
  int failing = 0;
  for (bool refused = true; refused; StopFailing()) {
    ASSERT_LT(failing, 20);
    put(path_, "the old file");
    const std::int64_t before = RefusedAllocations();
    FailAllocation(++failing);
    const bool committed = commit_example(path_);
    refused = RefusedAllocations() > before;
    EXPECT_TRUE(committed || refused);
    EXPECT_EQ(content_of(path_), committed ? documented_bytes() : "the old file") << failing;
    EXPECT_EQ(files(), 1);
  }
  EXPECT_GT(failing, 3);  // the path, the file, the name beside it
  ChunkFile file;
  FailAllocation(1);
  EXPECT_FALSE(file.Open(path_.c_str()));
  EXPECT_STREQ(file.ErrorText(), "no memory is left");
}

}  // namespace
