#pragma once

// Tables in files of a folder that ends with the test, whole and failing.

#include "host/corvid_host.h"
#include "tests/host/own_folder.h"
#include "tests/tables/open_table.h"

namespace test_support {

/// Fails at one of its numbers, counted from 0.
class FailingFile : public corvid_host::ChunkFile {
 public:
  explicit FailingFile(int good) : left_(good) {}
  unsigned char ReadDouble(double* v) override { return left_-- != 0 && ChunkFile::ReadDouble(v); }
  unsigned char ReadInt(int* v) override { return left_-- != 0 && ChunkFile::ReadInt(v); }
  unsigned char WriteDouble(double v) override { return left_-- != 0 && ChunkFile::WriteDouble(v); }
  unsigned char WriteInt(int v) override { return left_-- != 0 && ChunkFile::WriteInt(v); }

 private:
  int left_;
};

class TableFile : public OwnFolder {
 protected:
  void SetUp() override {
    OwnFolder::SetUp();
    path_ = folder_ / "table";
  }
  void TearDown() override {
    table_chunk_size = 10;
    corvid_host::StopFailing();
    corvid_host::LimitBlockBytes(0);
    OwnFolder::TearDown();
  }
  template <class Write>
  void write(Write&& content) const {
    corvid_host::ChunkFile file;
    ASSERT_TRUE(file.Create(name_of(path_).c_str()));
    content(file);
    ASSERT_TRUE(file.Commit()) << file.ErrorText();
  }
  /// @param good_numbers that the file gives; below 0: all
  /// @param refused      allocation of the table that fails, counted from 1; 0: none
  template <class Table>
  bool recall(Table& table, int good_numbers = -1, int refused = 0) const {
    FailingFile file(good_numbers);
    if (!file.Open(name_of(path_).c_str())) return false;
    if (refused > 0) corvid_host::FailAllocation(refused);
    const bool result = table.Recall(file);
    corvid_host::StopFailing();
    return result;
  }

  /// A stored table comes back as it was, into any other; a failing number gives false both ways.
  template <class Table>
  void expect_round_trip(Table& stored, int numbers) const {
    write([&](BinaryFile& file) { EXPECT_EQ(stored.Store(file), 1); });
    Table back;
    back.AddPoint(1.0, 2.0);
    EXPECT_TRUE(recall(back));
    EXPECT_TRUE(same(back.Content(), stored.Content()));
    for (int good = 0; good <= numbers; ++good) {
      Table part;
      FailingFile file(good);
      ASSERT_TRUE(file.Create(name_of(folder_ / "never").c_str()));
      EXPECT_EQ(stored.Store(file), good == numbers) << good;
      EXPECT_EQ(recall(part, good), good == numbers) << good;
    }
  }
  fs::path path_;
};

}  // namespace test_support
