#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

/// Creates a folder for one test: no other test, in whatever process, has the same.
/// @param beginning  of its name
inline std::filesystem::path new_folder(const std::string& beginning) {
  namespace fs = std::filesystem;
  for (int serial = 0;; ++serial) {
    const fs::path folder = fs::path(testing::TempDir()) / (beginning + "-" + std::to_string(serial));
    if (fs::create_directory(folder)) return folder;
  }
}
