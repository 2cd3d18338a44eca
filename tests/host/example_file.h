#pragma once

// The example of the document on the file format, and files of it in a folder of the test's own.

#include <sstream>
#include <string>

#include "tests/host/own_folder.h"

class ChunkFileTest : public OwnFolder {
 protected:
  void SetUp() override {
    OwnFolder::SetUp();
    path_ = folder_ / "a file";
  }
  void TearDown() override {
    corvid_host::StopFailing();
    OwnFolder::TearDown();
  }
  auto files() const { return std::distance(fs::directory_iterator(folder_), fs::directory_iterator()); }
  /// Whether the file opens.
  bool opens() {
    corvid_host::ChunkFile file;
    const bool open = file.Open(name_of(path_).c_str());
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
inline bool write_example(corvid_host::ChunkFile& file) {
  file.SetNextTag(corvid_host::MakeChunkTag("PROP"));
  ChunkHeader outer, inner;
  return outer.Create(file, 2) && inner.Create(file, 1) && file.WriteInt(10) && file.WriteDouble(-32767) &&
         inner.Close(file) && file.WriteInt(-1) && outer.Close(file);
}

inline bool commit_example(const fs::path& path) {
  corvid_host::ChunkFile file;
  return file.Create(name_of(path).c_str()) && write_example(file) && file.Commit();
}

/// From lines such as "0014  50 52 4f 50               PROP" between two fences.
inline std::string documented_bytes() {
  constexpr std::size_t kOffsetWidth = 6, kBytesWidth = 24;
  std::ifstream document(FORMAT_DOCUMENT);
  std::string bytes, line;
  while (std::getline(document, line) && line != "```") continue;
  while (std::getline(document, line) && line != "```") {
    EXPECT_EQ(std::stoul(line, nullptr, 16), bytes.size());
    std::istringstream digits(line.substr(kOffsetWidth, kBytesWidth));
    for (unsigned value; digits >> std::hex >> value;) bytes += static_cast<char>(value);
  }
  return bytes;
}
