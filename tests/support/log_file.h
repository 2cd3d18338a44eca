#pragma once

// A log in a folder of its own that ends with the test, read back from the disk.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "frame/debug_out.h"
#include "host/corvid_host.h"

namespace test_support {

class LogFile : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = testing::TempDir() + "corvidnum_log_XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
    blocks_ = corvid_host::LiveBlocks();
  }
  void TearDown() override {
    EXPECT_EQ(corvid_host::LiveBlocks(), blocks_) << "blocks left";
    std::filesystem::remove_all(folder_);
  }
  Text name() const { return Text((folder_ / "debug").c_str()); }
  std::string content() const {
    std::ifstream stream(folder_ / "debug.LOG", std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  /// What `use` writes into a new log.
  template <class Use>
  std::string written(Use&& use) const {
    {
      DebugOut log(name(), 0, 0);
      log.Open();
      use(log);
    }
    return content();
  }

  std::filesystem::path folder_;
  std::int64_t blocks_ = 0;
};

}  // namespace test_support
