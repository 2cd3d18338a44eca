#pragma once

// A fixture with a folder of its own that ends with the test, and a look at the blocks left.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "host/corvid_host.h"

namespace fs = std::filesystem;

inline std::string content_of(const fs::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

inline void put(const fs::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

class OwnFolder : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = testing::TempDir() + "corvid_files_XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
    blocks_ = corvid_host::LiveBlocks();
  }
  void TearDown() override {
    EXPECT_EQ(corvid_host::LiveBlocks(), blocks_);
    fs::remove_all(folder_);
  }

  fs::path folder_;
  std::int64_t blocks_ = 0;
};
