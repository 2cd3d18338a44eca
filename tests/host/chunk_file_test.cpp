#include <climits>
#include <functional>

#include "host/checksum.h"
#include "tests/host/example_file.h"

namespace {

using namespace corvid_host;

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
    if (!file.Open(name_of(path_).c_str())) continue;
    ChunkHeader outer, inner;
    EXPECT_EQ(outer.Open(file), 1);
    EXPECT_EQ(inner.Open(file), c.enters);
  }
}

TEST_F(ChunkFileTest, ManyNumbersComeBackAndAReadEndsWithItsChunk) {
  constexpr int kMany = 1000;  // longer than the first memory
  ChunkFile file;
  ChunkHeader outer, inner;
  ASSERT_TRUE(file.Create(name_of(path_).c_str()) && outer.Create(file, 1) && inner.Create(file, SHRT_MIN));
  for (int i = 0; i < kMany; ++i) ASSERT_TRUE(file.WriteInt(INT_MIN + i) && file.WriteDouble(-0.1 * i));
  ASSERT_TRUE(inner.Close(file) && file.WriteInt(5) && outer.Close(file) && file.Commit());

  ASSERT_TRUE(file.Open(name_of(path_).c_str()) && outer.Open(file) && inner.Open(file));
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
    ASSERT_TRUE(file.Create(name_of(path_).c_str()));
    for (ChunkHeader& header : headers) ASSERT_TRUE(header.Create(file, 1));
    EXPECT_FALSE(deeper && ChunkHeader().Create(file, 1));
    for (int i = ChunkFile::kDeepest; i-- > 0;) EXPECT_EQ(headers[i].Close(file), !deeper);
    EXPECT_EQ(file.Commit(), !deeper);
  }
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
      {"a folder in the way", "it is not a regular file",
       [&](ChunkFile& f) { return f.Create(name_of(folder).c_str()) && f.Commit(); }},
      {"no such folder", "No such file or directory",
       [&](ChunkFile& f) { return f.Create(name_of(folder / "no/file").c_str()) && f.Commit(); }},
  };
  put(path_, "the old file");
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    {
      ChunkFile file;
      ASSERT_TRUE(file.Create(name_of(path_).c_str()) && write_example(file));
      EXPECT_FALSE(c.committed(file));
      EXPECT_STREQ(file.ErrorText(), c.error);
    }
    EXPECT_EQ(content_of(path_), "the old file");
    EXPECT_EQ(files(), 2);
  }
}

TEST_F(ChunkFileTest, ANewFileHasTheDocumentedBytesUnderItsName) {
  path_ = folder_ / fs::u8path("Tabelle \u00e4\u03c9");
  for (int round = 0; round < 2; ++round) {  // a new file, and one in the place of another
    ASSERT_TRUE(commit_example(path_) && opens());
    EXPECT_EQ(content_of(path_), documented_bytes());
    EXPECT_EQ(files(), 1);
  }
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
  EXPECT_FALSE(file.Open(name_of(path_).c_str()));
  EXPECT_STREQ(file.ErrorText(), "no memory is left");
}

}  // namespace
