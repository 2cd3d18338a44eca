#pragma once

// A fixture with a folder of its own that ends with the test, and a look at the blocks left.

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "host/corvid_host.h"

namespace fs = std::filesystem;

inline std::string content_of(const fs::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// The name as the host library takes it, which is UTF-8 on every system.
inline std::string name_of(const fs::path& path) { return path.u8string(); }

inline void put(const fs::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

class OwnFolder : public testing::Test {
 protected:
  void SetUp() override {
    do folder_ = fs::path(testing::TempDir()) / ("corvid_files_" + std::to_string(std::random_device()()));
    while (!fs::create_directory(folder_));
    blocks_ = corvid_host::LiveBlocks();
  }
  void TearDown() override {
    EXPECT_EQ(corvid_host::LiveBlocks(), blocks_);
    fs::remove_all(folder_);
  }

  fs::path folder_;
  std::int64_t blocks_ = 0;
};
